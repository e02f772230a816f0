// Files as byte streams.
#pragma once

#include <memory>
#include <system_error>

#include "tmxtools/platform/env.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"

namespace tmx {

// The stream error that stands for an error of the operating system, or `otherwise` when the table
// has none.
TMX_EXPORT std::uint32_t StreamErrorOf(std::errc error, std::uint32_t otherwise);

}  // namespace tmx

// A file as a stream, opened with a combination of tmx::stream_mode bits; other bits are ignored.
//
// Without Read and Write, or with Truncate but not Write, an opening is refused with 0x81A. A file
// is created only with Write and without NoCreate. Nothing is held back between the calls and the
// operating system, so Flush() has nothing to do; Sync() waits for the disk, which holds the bytes
// and the size then, but the name of a new file only once its directory is synced. A file of more
// than 0xFFFFFFFE bytes is refused with 0x81A.
//
// Owns the open file and closes it with itself. Empty state: closed; operations then set 0x20D.
// Reading without Read or writing without Write is 0x507. Threads: one at a time.
class TMX_EXPORT SvFileStream : public SvStream {
 public:
  SvFileStream() = default;
  SvFileStream(const String& name, std::uint16_t mode) { Open(name, mode); }

  // Closes what is open, forgets its error and opens. What failed is in GetError(): 0x708 when
  // another opening conflicts, 0x302 or 0x31C when the file or its directory does not exist, or
  // another code by the cause.
  void Open(const String& name, std::uint16_t mode);
  // Opens a new file that has no name and that only its owner can read.
  void OpenTemporary();
  // Closes the file; an error that stands stays.
  void Close();
  bool IsOpen() const { return file_ != nullptr; }
  const String& GetFileName() const { return name_; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override;
  unsigned long PutData(const char* data, unsigned long count) override;
  unsigned long SeekPos(unsigned long position) override;
  void SetSize(unsigned long size) override;
  void FlushData() override {}
  void SyncData() override;

 private:
  void Take(std::unique_ptr<tmx::EnvFile> file, std::uint16_t mode);
  // Sets the error if there is one.
  bool Note(std::errc error, std::uint32_t otherwise);
  bool RequireAccess(bool allowed);
  unsigned long FileSize();

  std::unique_ptr<tmx::EnvFile> file_;
  String name_;
  unsigned long at_ = 0;
  bool can_read_ = false;
};
