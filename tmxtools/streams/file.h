// Line files: the system's file handle.
#pragma once

#include <memory>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/platform/string.h"

// A file that is read and written by lines, plain or encrypted, and that turns the failures of its
// stream into errors.
//
// The name is made absolute when it is given. Modes are combinations of tmx::stream_mode bits. Any
// of the three keys selects an encrypted stream; a key length alone does not.
//
// The first error becomes the file's status and stays until the next Open(): until then every
// ReadLine(), WriteLine() and GetStreamError() gives it again. Codes: those that
// HbError::SetStreamState() makes of stream errors, and 17740 for reading or writing a file that is
// not open; the parameter is always the file's name.
//
// Owns the stream. Empty state: no name, closed. Threads: one at a time.
class TMX_EXPORT HbFile : public HbErrorHandler {
 public:
  HbFile();
  // Stores the name and does not open.
  explicit HbFile(const String& name);
  // Stores the name and opens the file plainly.
  HbFile(HbError& err, const String& name, unsigned short mode);
  HbFile(const HbFile&) = delete;
  HbFile& operator=(const HbFile&) = delete;
  ~HbFile() override;

  // Close what is open, reset the status and open. True when `err` is clear afterwards. An error
  // that `err` brings along counts as a failure: the file is then closed again.
  bool Open(HbError& err, const String& name, unsigned short mode, unsigned char* key,
            long keyLength, const unsigned char* const sessionKey,
            const unsigned char* const keyEncryptionKey);
  bool Open(HbError& err, unsigned short mode, unsigned char* key, long keyLength,
            const unsigned char* const sessionKey, const unsigned char* const keyEncryptionKey);

  bool IsOpen() const;
  // Flushes and closes; a failure becomes the status if that is clear.
  void Close();

  // Reads the next line. At the end of the file the result is false and `err` stays clear. When the
  // file is not open the result is false too, and the error 17740 is reported in `err` only by the
  // next call.
  bool ReadLine(String& line, HbError& err);
  // Writes a line. When the file is not open the result is true, and the error 17740 is reported
  // only by the next call.
  bool WriteLine(const String& line, HbError& err);

  const String& GetFileName() const { return name_; }
  // Null while the file is closed.
  SvStream* GetStream() { return stream_.get(); }
  // Copies the status into `err`, after making the stream's error the status if that is clear.
  // True when `err` is set.
  bool GetStreamError(HbError& err);

 private:
  void SetName(const String& name);
  // Whether the status is clear; gives it in `err` if not.
  bool HasNoStatus(HbError& err) const;

  std::unique_ptr<SvStream> stream_;
  String name_;
};
