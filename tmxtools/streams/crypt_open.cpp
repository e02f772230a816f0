// Encrypted streams: keys, header and signature.
#include <algorithm>
#include <vector>

#include "tmxtools/streams/crypt_state.h"
#include "tmxtools/streams/crypt_stream.h"

namespace tmx {

namespace codes = stream_error;

namespace {

// What stands in the place of a signature until the first one is written.
constexpr std::uint8_t kNoSignature = 'S';

}  // namespace

bool CryptStreamState::ReadOnly() const {
  return Has(stream_mode::Read) && !Has(stream_mode::Write);
}

bool CryptStreamState::Init(const CryptKeysGiven& given, unsigned short mode, SvStream* inner) {
  ResetBlock();
  valid_ = false;
  mode_ = mode;
  header_ = CryptHeader();
  region_.Attach(inner);
  region_.Place(0, 0, false, nullptr);
  header_.tagged = Has(crypt_mode::Tagged);
  keys_ = CryptKeys();
  if (inner == nullptr || !keys_.Prepare(given, ReadOnly())) return Fail(codes::General);
  if (!keys_.CanWrap()) return true;
  if (Has(crypt_mode::Sign)) {
    header_.signature_length = static_cast<std::uint32_t>(keys_.WrappedLength(Digest().size()));
  }
  if (Has(crypt_mode::Encrypt) || ReadOnly()) {
    header_.key_block_length = static_cast<std::uint32_t>(keys_.WrappedLength(CryptKey::Size()));
  }
  return true;
}

void CryptStreamState::ResetBlock() {
  block_start_ = position_ = fill_ = 0;
  loaded_ = block_dirty_ = header_dirty_ = signature_current_ = false;
  pad_count_ = 0;
  linear_hash_.Forget();
}

void CryptStreamState::Detach() {
  linear_hash_.Forget();
  region_.Attach(nullptr);
  ResetBlock();
  valid_ = false;
}

bool CryptStreamState::StartHash() {
  hash_ = &linear_hash_;
  if (!Has(crypt_mode::Tagged)) return true;
  hash_ = &chunk_tree_;
  return chunk_tree_.Start(region_.Length()) || Fail(codes::OutOfMemory);
}

bool CryptStreamState::Open() {
  ResetBlock();
  valid_ = false;
  SvStream* const inner = Inner();
  if (inner == nullptr) return Fail(codes::General);
  if (!region_.CheckInner() || owner_.HasError()) return false;
  const bool empty = inner->Tell() == 0 && inner->Size() == 0;
  if (!region_.CheckInner()) return false;
  return empty && Has(stream_mode::Write) ? CreateHeader() : OpenExisting();
}

bool CryptStreamState::BeginAnew() {
  SvStream* const inner = Inner();
  if (inner == nullptr) return Fail(codes::General);
  if (!Has(stream_mode::Write)) return Fail(codes::WriteError);
  ResetBlock();
  valid_ = false;
  inner->SetStreamSize(0);
  return region_.CheckInner() && CreateHeader();
}

bool CryptStreamState::CreateHeader() {
  const bool encrypts = Has(crypt_mode::Encrypt);
  if (header_.tagged && !keys_.UseWrappingKey(true)) return Fail(codes::General);
  std::vector<std::uint8_t> bytes;
  if (header_.tagged) bytes.assign(CurrentMagic, CurrentMagic + MagicLength);
  bytes.insert(bytes.end(), header_.signature_length, kNoSignature);
  bytes.push_back(encrypts ? 1 : 0);
  bytes.push_back(pad_count_);
  if (!region_.WriteInner(0, bytes.data(), bytes.size())) return false;
  if (encrypts && header_.key_block_length && !WriteKeyBlock()) return false;
  region_.Place(header_.DataAt(encrypts), 0, encrypts, keys_.DataCipher());
  valid_ = StartHash() && MoveTo(0);
  return valid_;
}

bool CryptStreamState::ReadHeader(CryptMagic& magic) {
  SvStream& inner = *Inner();
  inner.Seek(0);
  if (header_.tagged) {
    magic = ReadMagic(inner);
    if (!region_.CheckInner()) return false;
    if (magic == CryptMagic::None) return Fail(codes::WrongFormat);
    inner.Seek(0);
  }
  if (header_.signature_length > 0) inner.Seek(header_.KeyBlockFlagAt());
  // On purpose the position must tell: tagged streams are always signed, and one that is opened
  // without Sign is not opened at all.
  if (inner.Tell() != header_.KeyBlockFlagAt()) return false;
  std::uint8_t fields[2];
  const bool complete = inner.Read(fields, sizeof(fields)) == sizeof(fields);
  if (!region_.CheckInner() || !complete) return false;
  if (fields[0] > 1) return Fail(codes::WrongFormat);
  const bool has_key_block = fields[0] == 1;
  pad_count_ = fields[1];
  if (has_key_block) {
    mode_ |= crypt_mode::Encrypt;
    if (!header_.key_block_length) return Fail(codes::General);
  }
  if (!keys_.UseWrappingKey(magic == CryptMagic::Current)) return Fail(codes::General);
  const std::uint32_t start = header_.DataAt(has_key_block);
  const unsigned long size = inner.Size();
  if (!region_.CheckInner() || size < start) return false;
  if (has_key_block && !ReadKeyBlock()) return false;
  region_.Place(start, static_cast<std::uint32_t>(size) - start, Has(crypt_mode::Encrypt),
                keys_.DataCipher());
  return true;
}

bool CryptStreamState::OpenExisting() {
  CryptMagic magic = CryptMagic::None;
  if (!ReadHeader(magic)) {
    // As far as it is known where the data would begin.
    if (!Inner()->HasError()) Inner()->Seek(header_.DataAt(true));
    return false;
  }
  if (!StartHash()) return false;
  signature_current_ = true;
  if (Has(crypt_mode::Sign) && !SignatureMatches()) return false;
  const bool outdated = magic == CryptMagic::Older && Has(stream_mode::Write);
  if (outdated && keys_.HasSymmetric() && !Upgrade()) return false;
  valid_ = true;
  MoveTo(0);
  return true;
}

// Turns a stream with the older magic into what would be written today.
bool CryptStreamState::Upgrade() {
  if (!keys_.UseWrappingKey(true)) return Fail(codes::General);
  const bool has_key_block = region_.Start() > header_.KeyBlockAt();
  // Only signed streams come here: tagged ones without a signature do not open.
  return region_.WriteInner(0, CurrentMagic, MagicLength) && (!has_key_block || WriteKeyBlock()) &&
         WriteSignature();
}

bool CryptStreamState::WriteKeyBlock() {
  std::vector<std::uint8_t> wrapped(*header_.key_block_length);
  if (!keys_.Wrap(keys_.Session().Data(), CryptKey::Size(), wrapped.data())) {
    return Fail(codes::General);
  }
  return region_.WriteInner(header_.KeyBlockAt(), wrapped.data(), wrapped.size());
}

bool CryptStreamState::ReadKeyBlock() {
  std::vector<std::uint8_t> wrapped(*header_.key_block_length);
  if (!region_.ReadInner(header_.KeyBlockAt(), wrapped.data(), wrapped.size())) return false;
  CryptKey session;
  if (!keys_.Unwrap(wrapped.data(), session.Data(), CryptKey::Size()) ||
      !keys_.SetSession(session)) {
    return Fail(codes::General);
  }
  return true;
}

bool CryptStreamState::CheckSignature() {
  if (!Has(crypt_mode::Sign) || Inner() == nullptr) return Fail(codes::General);
  return valid_ || SignatureMatches();
}

bool CryptStreamState::SignatureMatches() {
  if (!keys_.CanWrap()) return Fail(codes::General);
  Digest computed;
  Digest stored;
  std::vector<std::uint8_t> wrapped(header_.signature_length);
  return hash_->Compute(region_, computed) &&
         region_.ReadInner(header_.SignatureAt(), wrapped.data(), wrapped.size()) &&
         keys_.Unwrap(wrapped.data(), stored.data(), stored.size()) && stored == computed;
}

bool CryptStreamState::WriteSignature() {
  Digest digest;
  if (!hash_->Compute(region_, digest)) return false;
  std::vector<std::uint8_t> wrapped(header_.signature_length);
  if (!keys_.Wrap(digest.data(), digest.size(), wrapped.data())) return Fail(codes::General);
  return region_.WriteInner(header_.SignatureAt(), wrapped.data(), wrapped.size());
}

}  // namespace tmx
