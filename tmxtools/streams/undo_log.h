// The undo log of a transaction as it is stored.
#pragma once

#include <cstdint>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"

namespace tmx {

// Bytes of the data as they were before a change.
struct UndoRecord {
  std::uint32_t offset = 0;  // in the data
  std::uint32_t length = 0;
};

// Writes the log of one transaction:
//
//   log    = length of the data at the beginning, record...
//   record = offset in the data, number of bytes, those bytes, position in the log of this record
//
// with numbers of four bytes, the lowest first. A log of fewer than 4 bytes is empty.
//
// A crash may leave of what was not synced a prefix, followed by nothing or by zero bytes. A record
// is whole only when its last field is its own position, so no cut record passes for a whole one.
// For the length, which has no such field, this holds:
//
//   1.  The log is synced before the data changes for the first time. So a length that was cut
//       stands beside data that still has the length that was meant, and is that number without
//       some of its upper bytes.
//   2.  A synced log in which only the length counts never looks so: before the data grows so far
//       that its length could pass for the one that was meant, a mark of eight 0xFF bytes goes
//       behind the length. It is no whole record, and the first record takes its place; as no
//       record has zero bytes, the bytes 8 to 11 of a log with a mark are never all zero again.
//
// Owns nothing; the stream must outlive it. Errors are the stream's. Threads: one at a time.
class TMX_EXPORT UndoLog {
 public:
  static constexpr std::uint32_t LengthSize = 4;
  static constexpr std::uint32_t RecordHead = 8;
  static constexpr std::uint32_t RecordTail = 4;

  UndoLog() = default;
  explicit UndoLog(SvStream* stream) : stream_(stream) {}

  // Starts the log of a transaction in the empty stream.
  void Begin(std::uint32_t data_length);
  // Adds a record with what the data holds there; moves the data's position. False after an error
  // of either stream, and when the data has fewer bytes; the record then does not count.
  bool Save(SvStream& data, UndoRecord what);

  // Whether the log must be synced before the data is changed behind its protected part, up to
  // `end`; writes the mark if that takes one.
  bool MustSyncBefore(std::uint64_t end);
  // Says that everything written so far has been synced.
  void SetSynced();

 private:
  SvStream* stream_ = nullptr;
  std::uint32_t data_length_ = 0;
  std::uint32_t end_ = 0;  // of the last record
  bool has_rest_ = false;  // of a record that could not be written, behind the end
  bool has_mark_ = false;
  std::uint64_t safe_growth_ = 0;  // the data's end must stay below it without another sync
  std::vector<char> buffer_;
};

// Reads a log that was left over.
//
// Owns nothing; the stream must outlive it and stay unchanged. Errors are the stream's. Threads:
// one at a time.
class TMX_EXPORT UndoLogReader {
 public:
  // Walks over all whole records.
  explicit UndoLogReader(SvStream& log);

  // A log that was never begun.
  bool IsEmpty() const { return size_ < UndoLog::LengthSize; }
  // The length of the data to be restored.
  std::uint32_t DataLength() const { return data_length_; }
  // How many records are whole.
  std::uint32_t RecordCount() const { return count_; }
  // Whether the length may have been cut by a crash, so that data which now has the given length
  // was never changed.
  bool MayBeCut(std::uint32_t length_now) const;

  // Goes to the next record, newest first; the stream then stands at its bytes. False when there is
  // none.
  bool Previous(UndoRecord& record);

 private:
  bool ReadWholeRecord(std::uint32_t position, UndoRecord& record);

  SvStream& log_;
  std::uint32_t size_ = 0;
  std::uint32_t data_length_ = 0;
  std::uint32_t count_ = 0;
  std::uint32_t next_ = 0;  // where the next record to be given begins; 0: there is none
  bool has_certain_length_ = false;
};

}  // namespace tmx
