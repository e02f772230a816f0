#include "tmxtools/streams/transaction_crypt_file_stream.h"

#include <new>

namespace codes = tmx::stream_error;

HbTransactionCryptFileStream::HbTransactionCryptFileStream() = default;

HbTransactionCryptFileStream::HbTransactionCryptFileStream(
    String const& dataName, String const& logName, unsigned short mode, unsigned char* key,
    long keyLength, unsigned char const* sessionKey, unsigned char const* keyEncryptionKey) {
  Open(dataName, logName, mode, key, keyLength, sessionKey, keyEncryptionKey);
}

HbTransactionCryptFileStream::~HbTransactionCryptFileStream() { Close(); }

void HbTransactionCryptFileStream::Open(String const& dataName, String const& logName,
                                        unsigned short mode, unsigned char* key, long keyLength,
                                        unsigned char const* sessionKey,
                                        unsigned char const* keyEncryptionKey) {
  Close();
  HbTransactionCryptFileStream::ResetError();
  try {
    transaction_ = std::make_unique<HbTransactionFileStream>();
  } catch (const std::bad_alloc&) {
    SetError(codes::OutOfMemory);
    return;
  }
  transaction_->SetDurable(is_durable_);
  transaction_->Open(dataName, logName, static_cast<unsigned short>(mode | tmx::stream_mode::Read));
  TakeError();
  if (HasError()) return;
  if (Init(key, keyLength, sessionKey, mode, transaction_.get(), keyEncryptionKey)) {
    HbCryptStream::Open();
  }
}

void HbTransactionCryptFileStream::Close() {
  HbCryptStream::Close();
  if (transaction_ == nullptr) return;
  transaction_->Close();
  TakeError();
  transaction_.reset();
}

void HbTransactionCryptFileStream::BeginTrans() {
  if (HasError()) return;
  if (transaction_ == nullptr) {
    SetError(codes::General);
    return;
  }
  if (!IsInTransaction()) Flush();
  if (HasError()) return;
  transaction_->BeginTrans();
  TakeError();
}

void HbTransactionCryptFileStream::CommitTrans() {
  Flush();
  if (!IsInTransaction()) return;
  if (!HasError()) {
    transaction_->CommitTrans();
    TakeError();
  }
  if (!HasError()) return;
  const std::uint32_t error = GetError();
  Undo();
  SvStream::ResetError();
  SetError(error);
}

void HbTransactionCryptFileStream::RollbackTrans() {
  if (!IsInTransaction()) return;
  const std::uint32_t error = GetError();
  Undo();
  // A part of an outer transaction failed; only its own end can forget that.
  if (IsInTransaction()) SetError(error);
}

void HbTransactionCryptFileStream::Undo() {
  HbCryptStream::Close();
  SvStream::ResetError();
  transaction_->RollbackTrans();
  if (IsInTransaction()) transaction_->ResetError();
  transaction_->Seek(0);
  TakeError();
  if (!HasError()) HbCryptStream::Open(transaction_.get());
}

void HbTransactionCryptFileStream::FlushLog() {
  if (HasError()) return;
  if (transaction_ == nullptr) {
    SetError(codes::General);
    return;
  }
  transaction_->FlushLog();
  TakeError();
}

void HbTransactionCryptFileStream::ResetError() {
  HbCryptStream::ResetError();
  if (transaction_ != nullptr) transaction_->ResetError();
}

void HbTransactionCryptFileStream::SetDurable(bool is_durable) {
  is_durable_ = is_durable;
  if (transaction_ != nullptr) transaction_->SetDurable(is_durable);
}

bool HbTransactionCryptFileStream::IsInTransaction() const {
  return transaction_ != nullptr && transaction_->IsInTransaction();
}

void HbTransactionCryptFileStream::TakeError() {
  if (transaction_->HasError()) SetError(transaction_->GetError() & codes::CodeMask);
}
