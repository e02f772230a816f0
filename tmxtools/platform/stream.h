// Byte streams: the base of files, memory, and everything that stands on them.
#pragma once

#include <cstdint>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

namespace tmx {

// Open modes of streams, to be combined.
//
// Share bits hold between all openings of one file, in this process and in others. An opening
// conflicts with an earlier one when it asks for an access that the earlier one denies or denies an
// access that the earlier one has. Without a deny bit nothing is denied; Share says so aloud.
namespace stream_mode {
inline constexpr std::uint16_t Read = 0x0001;
inline constexpr std::uint16_t Write = 0x0002;
inline constexpr std::uint16_t NoCreate = 0x0004;
inline constexpr std::uint16_t Truncate = 0x0008;
inline constexpr std::uint16_t Share = 0x0100;
inline constexpr std::uint16_t DenyRead = 0x0200;
inline constexpr std::uint16_t DenyWrite = 0x0400;
inline constexpr std::uint16_t DenyAll = 0x0800;
}  // namespace stream_mode

// Stream errors. The low 30 bits are the code; the top bit marks a warning.
namespace stream_error {
inline constexpr std::uint32_t None = 0;
inline constexpr std::uint32_t General = 0x20D;
inline constexpr std::uint32_t CannotSeek = 0x212;
inline constexpr std::uint32_t CannotTell = 0x213;
inline constexpr std::uint32_t FileNotFound = 0x302;
inline constexpr std::uint32_t PathNotFound = 0x31C;
inline constexpr std::uint32_t AccessDenied = 0x507;
inline constexpr std::uint32_t InvalidAccess = 0x518;
inline constexpr std::uint32_t LockingViolation = 0x708;
inline constexpr std::uint32_t InvalidParameter = 0x81A;
inline constexpr std::uint32_t DiskFull = 0x909;
inline constexpr std::uint32_t TooManyOpenFiles = 0x90E;
inline constexpr std::uint32_t OutOfMemory = 0x911;
inline constexpr std::uint32_t ReadError = 0xB0F;
inline constexpr std::uint32_t WriteError = 0xC10;
inline constexpr std::uint32_t WrongVersion = 0xE14;
inline constexpr std::uint32_t WrongFormat = 0xF15;
inline constexpr std::uint32_t CannotCreate = 0x1019;
inline constexpr std::uint32_t CodeMask = 0x3FFFFFFF;
inline constexpr std::uint32_t WarningBit = 0x80000000;
}  // namespace stream_error

}  // namespace tmx

// A sequence of bytes with a position, read and written through five operations that a derived
// class supplies. One call here is one call there; the base holds no bytes back, so what a read
// shows is never older than the read.
//
// Positions are 32-bit; a stream holds at most 0xFFFFFFFE bytes. An operation that would pass that
// limit is refused with 0x81A. A position may lie beyond the end: a read there finds nothing, a
// write fills the gap with zero bytes.
//
// The first error stays until ResetError(), and while it stays reads, writes and the like do
// nothing. A warning (top bit) hinders nothing and gives way to an error. The end of the stream is
// no error.
//
// No exception leaves a stream: bad_alloc becomes 0x911, a too long text 0x81A. Not copyable.
// Threads: one at a time.
class TMX_EXPORT SvStream {
 public:
  static constexpr unsigned long SeekToEnd = 0xFFFFFFFF;
  static constexpr unsigned long MaxSize = 0xFFFFFFFE;

  SvStream() = default;
  SvStream(const SvStream&) = delete;
  SvStream& operator=(const SvStream&) = delete;
  virtual ~SvStream() = default;

  // Read and write up to `count` bytes at the position and move it behind them. Both return the
  // number of bytes, which is smaller at the end or after an error.
  unsigned long Read(void* data, unsigned long count);
  unsigned long Write(const void* data, unsigned long count);
  // Moves to a position, or with SeekToEnd to the end; returns the position reached.
  unsigned long Seek(unsigned long position);
  unsigned long Tell() const { return position_; }
  // The number of bytes in the stream.
  unsigned long Size();
  // Hands everything written to what lies below.
  void Flush();
  // The same, and returns when it has reached the disk, if one lies below.
  void Sync();
  // Cuts the stream or fills it up with zero bytes; the position stays.
  bool SetStreamSize(unsigned long size);
  // How many bytes ReadLine() reads at a time; 0 reads byte by byte.
  void SetBufferSize(unsigned short size) { buffer_size_ = size; }
  unsigned short GetBufferSize() const { return buffer_size_; }
  bool IsWritable() const { return is_writable_; }
  // Whether the last read met the end.
  bool IsEof() const { return is_eof_; }

  // Reads to the next line end (LF, CR or CR LF), which is not part of the line; the last line may
  // lack it. False at the end of the stream and after an error; the line is then empty. A line
  // longer than a text can be is error 0x81A.
  bool ReadLine(String& line);
  // Writes the line and a line end (LF; CR LF on Windows).
  bool WriteLine(const String& line);

  // Four bytes, the lowest first. A number that is cut short by the end reads as 0.
  SvStream& operator<<(std::uint32_t number);
  SvStream& operator>>(std::uint32_t& number);
  // An unsigned long has eight bytes on some platforms and four on others.
  SvStream& operator<<(unsigned long) = delete;
  SvStream& operator>>(unsigned long&) = delete;
  // The number as decimal text; a fraction as its shortest text that reads back to the same value.
  void WriteDec(std::int32_t number);
  void WriteDec(double number);

  std::uint32_t GetError() const { return error_; }
  // Whether an error, not only a warning, is set.
  bool HasError() const {
    return (error_ & tmx::stream_error::WarningBit) == 0 &&
           (error_ & tmx::stream_error::CodeMask) != 0;
  }
  // Sets an error or warning unless one stands that it may not replace.
  void SetError(std::uint32_t error);
  virtual void ResetError();

 protected:
  // What a derived class supplies. Each works at the derived class's own position, reports failure
  // through SetError(), and may throw bad_alloc. GetData() and PutData() return the bytes done and
  // move behind them; SeekPos() returns the position reached and knows SeekToEnd.
  virtual unsigned long GetData(char* data, unsigned long count) = 0;
  virtual unsigned long PutData(const char* data, unsigned long count) = 0;
  virtual unsigned long SeekPos(unsigned long position) = 0;
  virtual void SetSize(unsigned long size) = 0;
  virtual void FlushData() = 0;
  // A stream over another one hands the call on; one without a disk has nothing more to do.
  virtual void SyncData() { FlushData(); }

  void SetWritable(bool is_writable) { is_writable_ = is_writable; }
  // Tells the base a position that changed by other means than its calls.
  void SetPosition(unsigned long position) {
    position_ = position;
    is_eof_ = false;
  }

 private:
  template <class Operation>
  void Guard(Operation operation);
  void ReadLineInto(String& line);

  unsigned long position_ = 0;
  std::uint32_t error_ = 0;
  unsigned short buffer_size_ = 512;
  bool is_writable_ = false;
  bool is_eof_ = false;
};
