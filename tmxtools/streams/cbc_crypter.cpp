#include "tmxtools/streams/cbc_crypter.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "tmxtools/platform/secret.h"

namespace {

using tmx::CipherDirection;
using tmx::SecretBytes;

constexpr unsigned short kEncryptFailed = 17756;
constexpr unsigned short kDecryptFailed = 17757;
constexpr unsigned short kLengthIsNoMultiple = 17758;
constexpr unsigned short kPadCountTooLarge = 17759;

constexpr std::size_t kBlock = tmx::TripleDes::BlockLength;
// How much of a stream is worked on at a time.
constexpr std::size_t kPiece = 8192;
static_assert(kPiece % kBlock == 0);

constexpr std::string_view kDigits = "0123456789abcdef";

std::uint8_t PadByteOf(std::size_t length) {
  return static_cast<std::uint8_t>(kBlock - length % kBlock);
}

// Fills up with zero bytes, of which the last becomes their number.
void Pad(SecretBytes& bytes) {
  const std::uint8_t count = PadByteOf(bytes.size());
  bytes.resize(bytes.size() + count);
  bytes.back() = count;
}

// The value of a hexadecimal digit of either case, or 16.
std::size_t DigitValue(char digit) {
  const bool is_upper = digit >= 'A' && digit <= 'F';
  return std::min(kDigits.find(is_upper ? static_cast<char>(digit - 'A' + 'a') : digit),
                  kDigits.size());
}

// Nothing when the text is no row of pairs of digits.
bool ParseHex(std::string_view text, SecretBytes& bytes) {
  if (text.size() % 2 != 0) return false;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::size_t high = DigitValue(text[i]);
    const std::size_t low = DigitValue(text[i + 1]);
    if (high == kDigits.size() || low == kDigits.size()) return false;
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  return true;
}

}  // namespace

struct HbtdCbcCrypter::Schedules {
  std::unique_ptr<tmx::TripleDes> cipher;
};

// One pass over a pair of streams.
class HbtdCbcCrypter::Run {
 public:
  Run(CipherDirection direction, HbError& error, SvStream& in, SvStream& out)
      : direction_(direction), error_(error), in_(in), out_(out) {}

  bool Do(const tmx::TripleDes& cipher, tmx::DesBlock vector, bool pad) {
    left_ = in_.Size();
    in_.Seek(0);
    if (in_.HasError()) return FailedAt(in_, "Input");
    out_.Seek(0);
    if (out_.HasError()) return FailedAt(out_, "Output");
    if (!Encrypts() && left_ % kBlock != 0) {
      error_.SetError(kLengthIsNoMultiple);
      return false;
    }
    bool goes_on = true;
    for (bool is_first = true; goes_on && (is_first || left_ != 0); is_first = false)
      goes_on = DoPiece(cipher, vector, pad, is_first);
    if (!goes_on) return false;
    for (SvStream* stream : {&in_, &out_}) {
      stream->ResetError();
      stream->Seek(0);
    }
    return true;
  }

 private:
  bool Encrypts() const { return direction_ == CipherDirection::Encrypt; }

  // Reads and writes as if it went block by block: what comes before a short read is still done.
  bool DoPiece(const tmx::TripleDes& cipher, tmx::DesBlock& vector, bool pad, bool is_first) {
    const std::size_t asked = std::min<std::size_t>(left_, kPiece);
    piece_.resize(asked);
    const std::size_t read = in_.Read(piece_.data(), asked);
    left_ -= static_cast<unsigned long>(read);
    const bool is_short = read != asked;
    const bool is_last = !is_short && left_ == 0;
    piece_.resize(is_short ? read - read % kBlock : read);

    if (is_last && Encrypts() && pad) Pad(piece_);
    const std::size_t odd = piece_.size() % kBlock;
    const std::size_t whole = piece_.size() - odd;
    Cbc(cipher, direction_, vector, piece_.data(), piece_.data(), whole);
    std::size_t wanted = whole;
    if (is_last && !Encrypts() && pad && !RemovePadding(wanted)) {
      // The blocks before the one with the bad count stand.
      Write(whole - kBlock);
      return false;
    }
    if (!Write(wanted)) return false;
    if (is_short) return FailedAt(in_, ShortReadAt(is_first && whole == 0));
    if (odd != 0) {
      error_.SetError(kLengthIsNoMultiple);
      error_.SetError(kEncryptFailed, error_);
    }
    return odd == 0;
  }

  // Only the first block of an encryption is told from the rest: later on a failing input is
  // reported as "Output", which hosts know and which is kept.
  const char* ShortReadAt(bool is_first_block) const {
    return Encrypts() && !is_first_block ? "Output" : "Input";
  }

  // Shortens by the pad count of the last block; 0 shortens by nothing.
  bool RemovePadding(std::size_t& length) {
    if (length == 0) return true;
    const std::uint8_t count = piece_[length - 1];
    if (count > kBlock) {
      error_.SetError(kPadCountTooLarge);
      return false;
    }
    length -= count;
    return true;
  }

  bool Write(std::size_t length) {
    return out_.Write(piece_.data(), length) == length || FailedAt(out_, "Output");
  }

  bool FailedAt(const SvStream& stream, const char* which) {
    error_.SetStreamState(stream);
    error_.SetError(Encrypts() ? kEncryptFailed : kDecryptFailed, String(which), error_);
    return false;
  }

  CipherDirection direction_;
  HbError& error_;
  SvStream& in_;
  SvStream& out_;
  unsigned long left_ = 0;
  SecretBytes piece_;
};

HbtdCbcCrypter::HbtdCbcCrypter() {
  try {
    schedules_ = std::make_shared<Schedules>();
  } catch (const std::bad_alloc&) {
    // It stays without a key.
  }
}

HbtdCbcCrypter::HbtdCbcCrypter(const HbtdCbcCrypter&) = default;
HbtdCbcCrypter& HbtdCbcCrypter::operator=(const HbtdCbcCrypter&) = default;
HbtdCbcCrypter::~HbtdCbcCrypter() = default;

void HbtdCbcCrypter::SetKey(unsigned char const* const key) {
  if (schedules_ == nullptr) return;
  schedules_->cipher.reset();
  try {
    schedules_->cipher = tmx::CurrentCrypto().MakeTripleDes(key);
  } catch (const std::bad_alloc&) {
    // No key is better than the one before.
  }
}

void HbtdCbcCrypter::SetIV(unsigned char const* const iv) {
  std::copy_n(iv, starting_vector_.size(), starting_vector_.begin());
}

bool HbtdCbcCrypter::HasKey() const {
  return schedules_ != nullptr && schedules_->cipher != nullptr;
}

bool HbtdCbcCrypter::Process(tmx::CipherDirection direction, HbError& error, SvStream& in,
                             SvStream& out, bool pad) {
  const unsigned short failed =
      direction == CipherDirection::Encrypt ? kEncryptFailed : kDecryptFailed;
  if (!HasKey()) {
    error.SetError(failed, String("Key"));
    return false;
  }
  try {
    return Run(direction, error, in, out).Do(*schedules_->cipher, starting_vector_, pad);
  } catch (const std::bad_alloc&) {
    error.SetError(failed);
    return false;
  }
}

bool HbtdCbcCrypter::Encrypt(HbError& error, SvStream& in, SvStream& out, bool pad) {
  return Process(CipherDirection::Encrypt, error, in, out, pad);
}

bool HbtdCbcCrypter::Decrypt(HbError& error, SvStream& in, SvStream& out, bool pad) {
  return Process(CipherDirection::Decrypt, error, in, out, pad);
}

bool HbtdCbcCrypter::HexdumpEncrypt(String& text) {
  if (!HasKey()) return false;
  try {
    const std::string_view plain = text.View();
    const std::size_t padded = plain.size() + PadByteOf(plain.size());
    if (padded * 2 > String::MaxLen) return false;
    SecretBytes bytes(plain.begin(), plain.end());
    Pad(bytes);
    tmx::DesBlock vector = starting_vector_;
    Cbc(*schedules_->cipher, CipherDirection::Encrypt, vector, bytes.data(), bytes.data(),
        bytes.size());
    std::string digits;
    for (const std::uint8_t byte : bytes) {
      digits += kDigits[byte / 16u];
      digits += kDigits[byte % 16u];
    }
    String encrypted{std::string_view(digits)};
    tmx::Wipe(text);
    text = std::move(encrypted);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool HbtdCbcCrypter::HexdumpDecrypt(String& text) {
  if (!HasKey()) return false;
  try {
    SecretBytes bytes;
    if (!ParseHex(text.View(), bytes) || bytes.size() % kBlock != 0) return false;
    tmx::DesBlock vector = starting_vector_;
    Cbc(*schedules_->cipher, CipherDirection::Decrypt, vector, bytes.data(), bytes.data(),
        bytes.size());
    const std::size_t count = bytes.empty() ? 0u : bytes.back();
    if (count > kBlock) return false;
    text =
        String(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size() - count));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}
