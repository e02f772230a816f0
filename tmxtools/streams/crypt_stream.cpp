#include "tmxtools/streams/crypt_stream.h"

#include <new>

#include "tmxtools/streams/crypt_header.h"
#include "tmxtools/streams/crypt_state.h"

namespace codes = tmx::stream_error;

HbCryptStream::HbCryptStream() {
  try {
    state_ = std::make_unique<tmx::CryptStreamState>(*this);
  } catch (const std::bad_alloc&) {
    SetError(codes::OutOfMemory);
  }
}

HbCryptStream::HbCryptStream(unsigned char* key, long keyLength, unsigned char const* sessionKey,
                             unsigned short flags, SvStream* inner,
                             unsigned char const* keyEncryptionKey)
    : HbCryptStream() {
  Init(key, keyLength, sessionKey, flags, inner, keyEncryptionKey);
}

HbCryptStream::~HbCryptStream() { HbCryptStream::Close(); }

template <class Operation>
bool HbCryptStream::WithState(std::uint32_t code_without, Operation operation) {
  if (state_ == nullptr) {
    SetError(code_without);
    return false;
  }
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    SetError(codes::OutOfMemory);
    return false;
  }
}

bool HbCryptStream::IsCryptStream(SvStream& stream) {
  return tmx::ReadMagic(stream) != tmx::CryptMagic::None;
}

bool HbCryptStream::CheckSignature() {
  if (HasError()) return false;
  return WithState(codes::General, [&] { return state_->CheckSignature(); });
}

bool HbCryptStream::FlushSignature() { return false; }

void HbCryptStream::Close() {
  if (state_ == nullptr) return;
  if (IsWritable()) HbCryptStream::Flush();
  state_->Detach();
  SetPosition(0);
}

void HbCryptStream::ResetError() {
  SvStream::ResetError();
  if (state_ != nullptr && state_->Inner() != nullptr) state_->Inner()->ResetError();
}

bool HbCryptStream::Init(unsigned char* key, long keyLength, unsigned char const* sessionKey,
                         unsigned short flags, SvStream* inner,
                         unsigned char const* keyEncryptionKey) {
  mode_ = flags;
  SetPosition(0);
  SetWritable((flags & tmx::stream_mode::Write) != 0);
  constexpr unsigned short kBoth = tmx::stream_mode::Read | tmx::stream_mode::Write;
  SetBufferSize((flags & kBoth) == kBoth ? 8 : 256);
  return WithState(codes::General, [&] {
    return state_->Init({key, keyLength, sessionKey, keyEncryptionKey}, flags, inner);
  });
}

bool HbCryptStream::Open() {
  SetPosition(0);
  return WithState(codes::General, [&] {
    const bool valid = state_->Open();
    mode_ = state_->Mode();
    return valid;
  });
}

bool HbCryptStream::Open(SvStream* inner) {
  if (state_ != nullptr) state_->Attach(inner);
  return Open();
}

unsigned long HbCryptStream::GetData(char* data, unsigned long count) {
  unsigned long done = 0;
  WithState(codes::OutOfMemory, [&] {
    done = state_->Read(reinterpret_cast<std::uint8_t*>(data), count);
    return true;
  });
  return done;
}

unsigned long HbCryptStream::PutData(const char* data, unsigned long count) {
  unsigned long done = 0;
  WithState(codes::OutOfMemory, [&] {
    done = state_->Write(reinterpret_cast<const std::uint8_t*>(data), count);
    return true;
  });
  return done;
}

unsigned long HbCryptStream::SeekPos(unsigned long position) {
  unsigned long reached = 0;
  WithState(codes::OutOfMemory, [&] {
    reached = state_->Seek(position);
    return true;
  });
  return reached;
}

void HbCryptStream::SetSize(unsigned long size) {
  if (size != 0) return;
  WithState(codes::OutOfMemory, [&] { return state_->BeginAnew(); });
  SetPosition(0);
}

void HbCryptStream::FlushData() {
  WithState(codes::OutOfMemory, [&] { return state_->Flush(); });
}

void HbCryptStream::SyncData() {
  WithState(codes::OutOfMemory, [&] { return state_->Flush() && state_->SyncInner(); });
}
