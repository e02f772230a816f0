// Files whose changes can be taken back, also by a crash.
#pragma once

#include <string_view>
#include <system_error>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/streams/transaction_stream.h"

// A transaction stream over a data file and a log file. The log file is there only while the
// stream is open, or after a crash; it is opened so that nobody else can open it meanwhile. To the
// invariants of HbTransactionStream it adds:
//
//   6.  The names of the files have reached the disk before the log is used, and so has that it is
//       empty if it is; the disappearance of the log's name has before Close() returns.
//
// Owns the two files; its destructor closes it. Empty state: closed. Errors are those of the files
// and of HbTransactionStream; when another one holds the log, it is 0x708 and the data is
// untouched. Threads: one at a time.
class TMX_EXPORT HbTransactionFileStream : public HbTransactionStream {
 public:
  HbTransactionFileStream() = default;
  HbTransactionFileStream(const String& data_name, const String& log_name, unsigned short mode) {
    Open(data_name, log_name, mode);
  }
  ~HbTransactionFileStream() override;

  // Closes what is open, forgets its error, and opens the data file with the mode (of
  // tmx::stream_mode) and the log file. A log left by a crash is applied first. To truncate comes
  // last, as a change outside of transactions.
  virtual void Open(const String& data_name, const String& log_name, unsigned short mode);
  // As HbTransactionStream::Close(); then closes the files and deletes the log file, unless
  // something in it is still to be undone.
  void Close() override;
  bool IsOpen() const { return data_file_.IsOpen(); }

 private:
  void OpenLog(const String& name);
  void SyncEmptyFiles();
  void RemoveLog();
  void SyncDirectory(std::string_view path);
  void Note(std::errc error);
  template <class Operation>
  void Guarded(Operation operation);

  SvFileStream data_file_;
  SvFileStream log_file_;
};
