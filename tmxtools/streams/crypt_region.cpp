#include "tmxtools/streams/crypt_region.h"

#include <algorithm>

namespace tmx {

namespace codes = stream_error;

void CryptRegion::Place(std::uint32_t start, std::uint32_t length, bool encrypts,
                        const TripleDes* cipher) {
  start_ = start;
  length_ = length;
  encrypts_ = encrypts;
  cipher_ = cipher;
}

void CryptRegion::GrowTo(std::uint32_t length) { length_ = std::max(length_, length); }

bool CryptRegion::Fail(std::uint32_t code) {
  owner_.SetError(code);
  return false;
}

bool CryptRegion::CheckInner() {
  if (!inner_->HasError()) return true;
  return Fail(inner_->GetError() & codes::CodeMask);
}

bool CryptRegion::ReadInner(unsigned long at, std::uint8_t* bytes, std::size_t length) {
  inner_->Seek(at);
  const std::size_t done = inner_->Read(bytes, length);
  if (!CheckInner()) return false;
  if (done != length) return Fail(codes::ReadError);
  return true;
}

bool CryptRegion::WriteInner(unsigned long at, const std::uint8_t* bytes, std::size_t length) {
  inner_->Seek(at);
  const std::size_t done = inner_->Write(bytes, length);
  if (!CheckInner()) return false;
  if (done != length) return Fail(codes::WriteError);
  return true;
}

bool CryptRegion::ReadStored(std::uint32_t at, std::uint8_t* stored, std::size_t length) {
  return ReadInner(static_cast<unsigned long>(start_) + at, stored, length);
}

bool CryptRegion::Read(std::uint32_t at, std::uint8_t* plain, std::size_t length) {
  return ReadStored(at, plain, length) && Crypt(CipherDirection::Decrypt, plain, length);
}

bool CryptRegion::Write(std::uint32_t at, std::uint8_t* plain, std::size_t length) {
  return Crypt(CipherDirection::Encrypt, plain, length) &&
         WriteInner(static_cast<unsigned long>(start_) + at, plain, length);
}

bool CryptRegion::Crypt(CipherDirection direction, std::uint8_t* bytes, std::size_t length) {
  if (!encrypts_) return true;
  if (cipher_ == nullptr || length % TripleDes::BlockLength != 0) return Fail(codes::General);
  const std::size_t whole = length / BlockLength;
  if (whole > 0) cipher_->ChainedBlocks(direction, bytes, bytes, whole);
  std::uint8_t* const rest = bytes + whole * BlockLength;
  DesBlock vector{};
  Cbc(*cipher_, direction, vector, rest, rest, length % BlockLength);
  return true;
}

}  // namespace tmx
