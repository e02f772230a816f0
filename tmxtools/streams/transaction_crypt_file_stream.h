// Encrypted files whose changes can be taken back, also by a crash.
#pragma once

#include <memory>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/streams/crypt_stream.h"
#include "tmxtools/streams/transaction_file_stream.h"

// An encrypted stream over a transaction file stream of its own. What the log keeps is what is
// stored in the file: where the data is encrypted, so is the log.
//
// Owns the transaction stream; its destructor closes it. Empty state: closed; transactions then set
// 525. Codes: those of HbCryptStream and HbTransactionFileStream. Threads: one at a time.
class TMX_EXPORT HbTransactionCryptFileStream : public HbCryptStream {
 public:
  HbTransactionCryptFileStream();
  HbTransactionCryptFileStream(String const& dataName, String const& logName, unsigned short mode,
                               unsigned char* key, long keyLength, unsigned char const* sessionKey,
                               unsigned char const* keyEncryptionKey);
  ~HbTransactionCryptFileStream() override;

  // Closes what is open, forgets its error and opens: the files as HbTransactionFileStream does,
  // always for reading too, and the encrypted stream on them with keys as HbCryptStream has them.
  void Open(String const& dataName, String const& logName, unsigned short mode, unsigned char* key,
            long keyLength, unsigned char const* sessionKey, unsigned char const* keyEncryptionKey);
  // Closes the encrypted stream and then the files; a transaction that is open is treated as by
  // HbTransactionStream::Close().
  void Close();
  bool IsOpen() const { return transaction_ != nullptr && transaction_->IsOpen(); }

  // Before the outermost transaction this stream is flushed, so that a rollback leads back to
  // everything that was written before.
  void BeginTrans();
  // Flushes this stream and commits, if both succeed; otherwise rolls back, and the error stands.
  void CommitTrans();
  // Opens the stored stream anew afterwards, so the position is then 0. Errors that stood before an
  // outermost rollback are forgotten.
  void RollbackTrans();
  void FlushLog();

  void ResetError() override;

  // As HbTransactionStream::SetDurable(); holds also for the next Open().
  void SetDurable(bool is_durable);

 private:
  bool IsInTransaction() const;
  void TakeError();
  void Undo();

  std::unique_ptr<HbTransactionFileStream> transaction_;
  bool is_durable_ = true;
};
