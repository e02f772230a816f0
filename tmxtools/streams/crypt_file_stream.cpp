#include "tmxtools/streams/crypt_file_stream.h"

HbCryptFileStream::HbCryptFileStream() = default;

HbCryptFileStream::HbCryptFileStream(String const& name, unsigned short mode, unsigned char* key,
                                     long keyLength, unsigned char const* sessionKey,
                                     unsigned char const* keyEncryptionKey) {
  HbCryptFileStream::Open(name, mode, key, keyLength, sessionKey, keyEncryptionKey);
}

HbCryptFileStream::~HbCryptFileStream() { HbCryptFileStream::Close(); }

void HbCryptFileStream::Open(String const& name, unsigned short mode, unsigned char* key,
                             long keyLength, unsigned char const* sessionKey,
                             unsigned char const* keyEncryptionKey) {
  Close();
  ResetError();
  file_.Open(name, mode | tmx::stream_mode::Read);
  SetError(file_.GetError());
  if (!file_.IsOpen()) return;
  if (Init(key, keyLength, sessionKey, mode, &file_, keyEncryptionKey)) HbCryptStream::Open();
}

void HbCryptFileStream::Close() {
  HbCryptStream::Close();
  file_.Close();
}
