// Streams whose changes can be taken back, also by a crash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/streams/undo_log.h"

// A stream over a data stream and a log stream. Between BeginTrans() and CommitTrans() the bytes
// that the data held when the transaction began go to the log before they are changed;
// RollbackTrans(), a failed commit and the next attachment after a crash put them back from there
// and restore the length. Outside of a transaction everything goes straight to the data.
//
// Whatever the moment of a crash, the data is afterwards, once the streams are attached again, as
// before or as after the transaction; once CommitTrans() has returned without an error, as after
// it. For that these hold (undo_log.h has what holds within the log):
//
//   1.  No byte below the protected length is changed before a record with its old value has been
//       synced, and nothing behind it before the length has been.
//   2.  The log is cleared only when the data has been synced: after a commit with all changes,
//       after a rollback or recovery with none.
//   3.  The clearing has been synced before a commit, rollback or recovery returns without an
//       error, and so before the next transaction writes to the log.
//   4.  What was written outside of transactions has been synced before a transaction begins; it
//       is the state to which a rollback leads.
//   5.  Outside of a transaction the data is not touched while something is in the log: when an
//       undoing failed, the next operation tries it once more.
//
// Each is kept by SvStream::Sync() of the two streams; SetDurable(false) leaves that out, for
// scratch files that only need rollback. The data stream must be readable and writable and must not
// be changed by others while it is attached.
//
// Owns neither stream; they must outlive the attachment. A stream that is destroyed without Close()
// does nothing, so that a transaction which is open is undone at the next attachment. Empty state:
// no streams; operations then set 0x20D. Errors are those of the two streams, without the warnings,
// and 0x81A for the 65536th nested transaction. Threads: one at a time.
class TMX_EXPORT HbTransactionStream : public SvStream {
 public:
  HbTransactionStream() { SetBufferSize(DefaultBufferSize); }
  HbTransactionStream(SvStream* data, SvStream* log) : HbTransactionStream() {
    SetStreams(data, log);
  }

  // Attaches two streams in place of those before, which are left as they are, and undoes what is
  // in the log. With null for either, none are attached.
  void SetStreams(SvStream* data, SvStream* log);

  // Transactions may be nested; only the outermost one counts.
  void BeginTrans();
  // When the outermost commit fails, everything is rolled back and the error stands.
  void CommitTrans();
  // Within another transaction, only ends the inner one. The position stays. Errors that stood
  // before are forgotten.
  void RollbackTrans();
  bool IsInTransaction() const { return depth_ > 0; }
  // Flushes the log and hands the writes that waited for it to the data.
  void FlushLog();

  // Flushes, rolls one transaction back if one is open, and detaches the streams. Deeper nesting
  // is only reduced by one: then the log is left for the next attachment.
  virtual void Close();
  // Forgets the errors of both streams and its own.
  void ResetError() override;

  // Whether barriers hold the order of writes also on the disk; at first they do.
  void SetDurable(bool is_durable) { is_durable_ = is_durable; }
  bool IsDurable() const { return is_durable_; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override;
  unsigned long PutData(const char* data, unsigned long count) override;
  unsigned long SeekPos(unsigned long position) override;
  void SetSize(unsigned long size) override;
  void FlushData() override;
  void SyncData() override;

  // Takes over an error of one of the streams; whether none stands.
  bool TakeError(const SvStream& stream);
  // Whether the last Close() left something in the log that is still to be undone.
  bool HasLeftLog() const { return has_left_log_; }

 private:
  static constexpr unsigned short DefaultBufferSize = 256;
  // A write below the protected length, waiting for its record to be synced.
  struct PendingWrite {
    tmx::UndoRecord where;
    std::size_t begin;  // of its bytes among the pending ones
  };

  // Whether an operation may go on: streams, no error, nothing left to be undone (invariant 5).
  bool IsReady();
  bool Barrier(SvStream& stream);

  bool SyncLog();
  bool Save(tmx::UndoRecord what);
  bool PrepareGrowth(unsigned long end);
  bool PrepareSize(std::uint32_t size);
  bool Overwrite(const char* bytes, tmx::UndoRecord where);
  bool WriteAt(std::uint32_t position, const char* bytes, std::uint32_t count);
  bool ApplyPending();
  std::size_t PendingSize() const;
  unsigned long ReadPending(char* bytes, std::uint32_t position, unsigned long count,
                            unsigned long done);

  bool BeginLog();
  void ClearLog();
  void Recover();
  void Undo();

  SvStream* data_ = nullptr;
  SvStream* log_stream_ = nullptr;
  tmx::UndoLog log_;
  std::vector<PendingWrite> pending_;
  std::vector<char> pending_bytes_;
  std::uint32_t protected_length_ = 0;
  std::uint16_t depth_ = 0;
  bool is_log_active_ = false;        // something may be in the log
  bool is_log_synced_ = false;        // all of it
  bool has_unsynced_writes_ = false;  // made outside of transactions
  bool has_left_log_ = false;
  bool is_durable_ = true;
};
