#include "tmxtools/streams/file.h"

#include <new>

#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/crypt_file_stream.h"

namespace {

constexpr unsigned short kNotOpen = 17740;
constexpr unsigned short kOutOfMemory = 0x4554;

struct Keys {
  unsigned char* key;
  long key_length;
  const unsigned char* session_key;
  const unsigned char* key_encryption_key;

  bool AnyGiven() const {
    return key != nullptr || session_key != nullptr || key_encryption_key != nullptr;
  }
};

// The one place that decides which stream a file gets.
std::unique_ptr<SvStream> OpenStream(const String& name, unsigned short mode, const Keys& keys) {
  if (!keys.AnyGiven()) return std::make_unique<SvFileStream>(name, mode);
  return std::make_unique<HbCryptFileStream>(name, mode, keys.key, keys.key_length,
                                             keys.session_key, keys.key_encryption_key);
}

}  // namespace

HbFile::HbFile() = default;

HbFile::HbFile(const String& name) { SetName(name); }

HbFile::HbFile(HbError& err, const String& name, unsigned short mode) {
  HbFile::Open(err, name, mode, nullptr, 0, nullptr, nullptr);
}

HbFile::~HbFile() { Close(); }

void HbFile::SetName(const String& name) {
  name_ = name;
  try {
    DirEntry entry(name);
    entry.ToAbs();  // a name that cannot be made absolute fails when it is opened
    name_ = entry.GetFull();
  } catch (const std::bad_alloc&) {
    // It stays as it was given.
  }
}

bool HbFile::Open(HbError& err, const String& name, unsigned short mode, unsigned char* key,
                  long keyLength, const unsigned char* const sessionKey,
                  const unsigned char* const keyEncryptionKey) {
  SetName(name);
  return Open(err, mode, key, keyLength, sessionKey, keyEncryptionKey);
}

bool HbFile::Open(HbError& err, unsigned short mode, unsigned char* key, long keyLength,
                  const unsigned char* const sessionKey,
                  const unsigned char* const keyEncryptionKey) {
  ResetStatus();
  Close();
  try {
    stream_ = OpenStream(name_, mode, {key, keyLength, sessionKey, keyEncryptionKey});
  } catch (const std::bad_alloc&) {
    SetStatus(kOutOfMemory, name_);
  }
  if (GetStreamError(err)) stream_.reset();
  // Without memory there may be neither a stream nor an error.
  return stream_ != nullptr && !err.IsSet();
}

bool HbFile::IsOpen() const {
  const auto* const encrypted = dynamic_cast<const HbCryptFileStream*>(stream_.get());
  if (encrypted != nullptr) return encrypted->IsOpen();
  const auto* const plain = dynamic_cast<const SvFileStream*>(stream_.get());
  return plain != nullptr && plain->IsOpen();
}

void HbFile::Close() {
  if (stream_ == nullptr) return;
  stream_->Flush();
  HbError err;
  GetStreamError(err);
  stream_.reset();
}

bool HbFile::GetStreamError(HbError& err) {
  if (!GetStatus().IsSet() && stream_ != nullptr && stream_->HasError()) {
    HbError state;
    state.SetStreamState(*stream_);
    SetStatus(state.GetCode(), name_);
  }
  if (GetStatus().IsSet()) err = GetStatus();
  return err.IsSet();
}

bool HbFile::HasNoStatus(HbError& err) const {
  if (GetStatus().IsSet()) err = GetStatus();
  return !GetStatus().IsSet();
}

bool HbFile::ReadLine(String& line, HbError& err) {
  if (!HasNoStatus(err)) return false;
  if (!IsOpen()) {
    // Only the next call reports it in `err`, on purpose.
    SetStatus(kNotOpen, name_);
    return false;
  }
  const bool read = stream_->ReadLine(line);
  return !GetStreamError(err) && read;
}

bool HbFile::WriteLine(const String& line, HbError& err) {
  if (!HasNoStatus(err)) return false;
  if (!IsOpen()) {
    // Only the next call reports it in `err`, on purpose.
    SetStatus(kNotOpen, name_);
    return !err.IsSet();
  }
  stream_->WriteLine(line);
  return !GetStreamError(err);
}
