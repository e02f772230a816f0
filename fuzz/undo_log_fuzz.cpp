// Any bytes as the undo log beside a data file. Opening must make of the data what recovery from
// the log's description makes of it, or fail and leave the log; after that a transaction must work,
// and a crash anywhere in it lose nothing.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/small_disk.h"
#include "tests/support/reference_undo_log.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/transaction_file_stream.h"
#include "tmxtools/streams/undo_log.h"

namespace {

using namespace tmx;

constexpr std::size_t kFileLimit = 4096;
constexpr std::string_view kData = "/data";
constexpr std::string_view kLog = "/log";

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

std::string_view Alphabets(std::size_t length) {
  static const std::string all = [] {
    std::string made(2048, '\0');
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<char>('a' + i % 26);
    return made;
  }();
  return std::string_view(all).substr(0, length);
}

void Open(HbTransactionFileStream& stream) {
  static const String data_name(kData);
  static const String log_name(kLog);
  stream.Open(data_name, log_name, stream_mode::Read | stream_mode::Write);
}

std::optional<std::string> RecoveredByDescription(std::string data, const std::string& log) {
  try {
    return reference::Recover(std::move(data), log, kFileLimit);
  } catch (const std::length_error&) {
    return std::nullopt;
  }
}

// The records one by one, as they are listed to those who ask what a leftover log would undo.
void CheckRecords(const std::string& log) {
  SvMemoryStream stream(log.size());
  stream.Write(log.data(), log.size());
  UndoLogReader reader(stream);
  const reference::UndoLog expected = reference::ReadUndoLog(log);
  Check(reader.RecordCount() == expected.records.size(), "another number of records");
  UndoRecord record;
  for (std::size_t i = expected.records.size(); i-- > 0;) {
    const reference::UndoRecord& wanted = expected.records[i];
    Check(reader.Previous(record), "a record is missing");
    std::string old_bytes(record.length, '\0');
    Check(stream.Read(old_bytes.data(), record.length) == record.length, "old bytes are missing");
    Check(record.offset == wanted.offset && old_bytes == wanted.old_bytes, "another record");
  }
  Check(!reader.Previous(record), "a record too many");
}

// Operations on an open stream beside a plain text and the text before the transaction.
class Transactions {
 public:
  Transactions(SmallDisk& disk, HbTransactionFileStream& stream, std::string text)
      : disk_(disk), stream_(stream), text_(std::move(text)), before_(text_) {}

  // Carries out an operation; false when the disk is full and everything was undone.
  bool Do(std::uint8_t operation, std::size_t operand) {
    switch (operation % 9) {
      case 0:
        at_ = std::min(operand * 8, text_.size());
        Check(stream_.Seek(at_) == at_, "a seek ends elsewhere");
        break;
      case 1:
        Write(operand);
        break;
      case 2:
        stream_.SetStreamSize(operand * 8);
        text_.resize(operand * 8);
        break;
      case 3:
        Read(operand);
        break;
      case 4:
        stream_.BeginTrans();
        if (depth_++ == 0) before_ = text_;
        break;
      case 5:
        stream_.CommitTrans();
        if (depth_ > 0) --depth_;
        break;
      case 6:
        stream_.RollbackTrans();
        if (depth_ == 1) text_ = before_;
        if (depth_ > 0) --depth_;
        break;
      case 7:
        stream_.FlushLog();
        break;
      case 8:
        CheckCrash();
        break;
    }
    if (depth_ == 0) before_ = text_;
    return !stream_.HasError();
  }

  // What the data must be once nothing of a transaction that was not committed is left.
  const std::string& Before() const { return before_; }
  unsigned Depth() const { return depth_; }

 private:
  void Write(std::size_t count) {
    const std::string bytes(count, '#');
    const std::size_t done = stream_.Write(bytes.data(), count);
    Check(done == count || stream_.HasError(), "a write is cut short");
    if (count == 0) return;
    if (at_ > text_.size()) text_.resize(at_);
    text_.replace(at_, std::min(count, text_.size() - at_), bytes);
    at_ += count;
  }

  void Read(std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(stream_.Read(bytes.data(), count));
    const std::string_view rest = std::string_view(text_).substr(std::min(at_, text_.size()));
    Check(bytes == rest.substr(0, count), "a read gives other bytes");
    at_ += bytes.size();
  }

  // What a process that ends here leaves behind is recovered on a disk of its own.
  void CheckCrash() {
    static SmallDisk left(kFileLimit);
    left.Clear();
    left.Put(kData, *disk_.Get(kData));
    left.Put(kLog, *disk_.Get(kLog));
    const ScopedEnv scope(left);
    HbTransactionFileStream again;
    Open(again);
    Check(!again.HasError() && left.Get(kData) == before_, "a crash loses something");
  }

  SmallDisk& disk_;
  HbTransactionFileStream& stream_;
  std::string text_;
  std::string before_;
  std::size_t at_ = 0;
  unsigned depth_ = 0;
};

void CheckRefusal(SmallDisk& disk, HbTransactionFileStream& stream, const std::string& log) {
  Check(disk.Get(kLog) == log, "a log that could not be applied was changed");
  stream.ResetError();
  char byte = 0;
  Check(stream.Read(&byte, 1) == 0 && stream.HasError(), "data is read that is not recovered");
  stream.Close();
  Check(disk.Get(kLog) == log, "a log that could not be applied is gone");
}

void CheckTransactions(SmallDisk& disk, HbTransactionFileStream& stream, std::string text,
                       const std::uint8_t* program, std::size_t length) {
  Transactions transactions(disk, stream, std::move(text));
  for (; length >= 2; program += 2, length -= 2) {
    if (transactions.Do(program[0], program[1])) continue;
    if (!stream.IsInTransaction()) return;
    while (stream.IsInTransaction()) stream.RollbackTrans();
    Check(!stream.HasError() && disk.Get(kData) == transactions.Before(),
          "a full disk loses something");
    return;
  }
  stream.Close();
  const bool leaves_log = transactions.Depth() > 1;
  Check(disk.Get(kLog).has_value() == leaves_log, "a log is left, or none where there must be one");
  if (leaves_log) Open(stream);
  Check(!stream.HasError() && disk.Get(kData) == transactions.Before(), "closing loses something");
}

}  // namespace

// The first two bytes say how much data there is and how long the program at the end is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static SmallDisk disk(kFileLimit);
  if (size < 2) return 0;
  const std::size_t program_length = std::min<std::size_t>(data[1] >> 3, size - 2);
  const std::string log(reinterpret_cast<const char*>(data) + 2, size - 2 - program_length);
  const std::string_view text = Alphabets(data[0] + 256u * (data[1] & 7u));
  CheckRecords(log);

  disk.Clear();
  disk.Put(kData, text);
  disk.Put(kLog, log);
  const ScopedEnv scope(disk);
  HbTransactionFileStream stream;
  Open(stream);
  std::optional<std::string> expected = RecoveredByDescription(std::string(text), log);
  Check(stream.HasError() == !expected, "recovery succeeds where it must not, or fails");
  if (!expected) {
    CheckRefusal(disk, stream, log);
    return 0;
  }
  Check(disk.Get(kData) == *expected, "recovery makes something else of the data");
  Check(disk.Get(kLog) == std::string_view(), "the log is not cleared");
  CheckTransactions(disk, stream, std::move(*expected), data + size - program_length,
                    program_length);
  return 0;
}
