// Encrypted and signed files.
#pragma once

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/crypt_stream.h"

// An encrypted stream over a file of its own.
//
// The mode holds tmx::stream_mode and tmx::crypt_mode bits; the file is always opened for reading
// too. Errors of the opening are the stream's errors.
//
// Owns the file and closes it with itself, after a flush. Empty state: closed. Threads: one at a
// time. Codes: those of HbCryptStream and SvFileStream.
class TMX_EXPORT HbCryptFileStream : public HbCryptStream {
 public:
  HbCryptFileStream();
  HbCryptFileStream(String const& name, unsigned short mode, unsigned char* key, long keyLength,
                    unsigned char const* sessionKey, unsigned char const* keyEncryptionKey);
  ~HbCryptFileStream() override;

  // Closes what is open, forgets its error and opens.
  void Open(String const& name, unsigned short mode, unsigned char* key, long keyLength,
            unsigned char const* sessionKey, unsigned char const* keyEncryptionKey);
  // Flushes and closes the file; an error that stands stays.
  void Close();
  bool IsOpen() const { return file_.IsOpen(); }

 private:
  SvFileStream file_;
};
