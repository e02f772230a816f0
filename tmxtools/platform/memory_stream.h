// Streams that begin in memory.
#pragma once

#include <string_view>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/platform/stream.h"

// Bytes in memory as a stream, always readable and writable.
//
// Owns its bytes. Empty state: no bytes. Threads: one at a time.
class TMX_EXPORT SvMemoryStream : public SvStream {
 public:
  // Makes room for `initial_size` bytes at the first write, and then for at least `growth` more at
  // a time.
  explicit SvMemoryStream(unsigned long initial_size = 512, unsigned long growth = 64)
      : initial_size_(initial_size), growth_(growth) {
    SetWritable(true);
  }

  // All bytes; valid until the next write or change of size.
  std::string_view View() const { return {bytes_.data(), bytes_.size()}; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override;
  unsigned long PutData(const char* data, unsigned long count) override;
  unsigned long SeekPos(unsigned long position) override;
  void SetSize(unsigned long size) override;
  void FlushData() override {}

 private:
  std::vector<char> bytes_;
  unsigned long initial_size_;
  unsigned long growth_;
  unsigned long at_ = 0;
};

// Bytes that stay in memory up to a limit and then move to a temporary file without a name that
// only its owner can read. The file vanishes with the stream.
//
// Owns its bytes and the file. Empty state: no bytes, no file. Codes: those of the file once there
// is one; when the move fails, its error is set, nothing is written and the bytes stay in memory.
// Threads: one at a time.
class TMX_EXPORT SvCacheStream : public SvStream {
 public:
  static constexpr unsigned long DefaultLimit = 65536;

  explicit SvCacheStream(unsigned long memory_limit = DefaultLimit) : limit_(memory_limit) {
    SetWritable(true);
  }

  bool IsInMemory() const { return !file_.IsOpen(); }
  void ResetError() override;

 protected:
  unsigned long GetData(char* data, unsigned long count) override;
  unsigned long PutData(const char* data, unsigned long count) override;
  unsigned long SeekPos(unsigned long position) override;
  void SetSize(unsigned long size) override;
  void FlushData() override {}

 private:
  SvStream& Current() { return file_.IsOpen() ? static_cast<SvStream&>(file_) : memory_; }
  // Moves to the file if the stream is to have more bytes than the limit; false after an error.
  bool MakeRoomFor(unsigned long size);

  SvMemoryStream memory_;
  SvFileStream file_;
  unsigned long limit_;
};
