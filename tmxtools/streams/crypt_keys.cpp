#include "tmxtools/streams/crypt_keys.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace tmx {
namespace {

constexpr std::size_t kHalf = CryptKey::Size() / 2;
// The longest text that a symmetric key wraps: a hash of 20 bytes, filled up.
constexpr std::size_t kLongestText = 24;

std::size_t WholeBlocks(std::size_t length) {
  return (length + TripleDes::BlockLength - 1) / TripleDes::BlockLength * TripleDes::BlockLength;
}

// The lowest bits of seven bytes, the first one's highest; bit 0 stays clear.
std::uint8_t LowestBits(const std::uint8_t* bytes) {
  unsigned bits = 0;
  for (int i = 0; i < 7; ++i) bits = (bits | (bytes[i] & 1u)) << 1;
  return static_cast<std::uint8_t>(bits);
}

// Files are encrypted with a key whose last two bytes hold the bits of the given key that parity
// takes away, so it can be rebuilt from nothing but the key as it was given.
void Adjust(CryptKey& key, const CryptKey& given) {
  key.Data()[14] = LowestBits(given.Data());
  key.Data()[15] = LowestBits(given.Data() + 7);
}

void Normalise(CryptKey& key) {
  CurrentCrypto().NormaliseKeyHalf(key.Data());
  CurrentCrypto().NormaliseKeyHalf(key.Data() + kHalf);
}

}  // namespace

bool CryptKeys::Prepare(const CryptKeysGiven& given, bool read_only) {
  CryptKeys keys;
  if (!keys.Take(given, read_only)) return false;
  *this = std::move(keys);
  return true;
}

bool CryptKeys::Take(const CryptKeysGiven& given, bool read_only) {
  if (given.key != nullptr && given.key_length != 0) {
    if (given.key_length < 0) return false;
    asymmetric_ =
        CurrentCrypto().MakeAsymmetricKey(given.key, static_cast<std::size_t>(given.key_length),
                                          read_only ? AsymmetricUse::Read : AsymmetricUse::Write);
    if (asymmetric_ == nullptr) return false;
  }
  const bool wraps_with_session = read_only && given.session_key != nullptr;
  const std::uint8_t* const wrapping =
      wraps_with_session ? given.session_key : given.key_encryption_key;
  if (wrapping != nullptr) {
    given_wrapping_.emplace(wrapping);
    if (!UseWrappingKey(false)) return false;
  }
  if (wraps_with_session) return true;
  CryptKey session;
  if (given.session_key != nullptr) {
    session.Set(given.session_key);
  } else if (!CurrentCrypto().FillRandom(session.Data(), CryptKey::Size())) {
    return false;
  }
  return SetSession(session);
}

bool CryptKeys::UseWrappingKey(bool adjusted) {
  if (!given_wrapping_) return true;
  CryptKey key = *given_wrapping_;
  Normalise(key);
  if (adjusted) Adjust(key, *given_wrapping_);
  wrapping_cipher_ = CurrentCrypto().MakeTripleDes(key.Data());
  return wrapping_cipher_ != nullptr;
}

bool CryptKeys::SetSession(const CryptKey& key) {
  session_ = key;
  Normalise(*session_);
  data_cipher_ = CurrentCrypto().MakeTripleDes(session_->Data());
  return data_cipher_ != nullptr;
}

std::size_t CryptKeys::WrappedLength(std::size_t text_length) const {
  return asymmetric_ != nullptr ? asymmetric_->BlockLength() : WholeBlocks(text_length);
}

bool CryptKeys::Wrap(const std::uint8_t* text, std::size_t length, std::uint8_t* wrapped) const {
  if (asymmetric_ != nullptr) {
    const auto block = asymmetric_->Forward(text, length);
    if (!block || block->size() != asymmetric_->BlockLength()) return false;
    std::copy(block->begin(), block->end(), wrapped);
    return true;
  }
  if (!HasSymmetric()) return false;
  const std::size_t whole = WholeBlocks(length);
  std::fill(std::copy_n(text, length, wrapped), wrapped + whole, std::uint8_t{0});
  DesBlock vector{};
  Cbc(*wrapping_cipher_, CipherDirection::Encrypt, vector, wrapped, wrapped, whole);
  return true;
}

bool CryptKeys::Unwrap(const std::uint8_t* wrapped, std::uint8_t* text, std::size_t length) const {
  if (asymmetric_ != nullptr) {
    const auto found = asymmetric_->Inverse(wrapped, asymmetric_->BlockLength());
    const bool fits = found && found->size() == length;
    if (fits) std::copy(found->begin(), found->end(), text);
    return fits;
  }
  if (!HasSymmetric()) return false;
  const std::size_t whole = WholeBlocks(length);
  assert(whole <= kLongestText);
  Secret<kLongestText> plain;
  DesBlock vector{};
  Cbc(*wrapping_cipher_, CipherDirection::Decrypt, vector, wrapped, plain.Data(), whole);
  std::copy_n(plain.Data(), length, text);
  return true;
}

}  // namespace tmx
