#include "tmxtools/streams/transaction_stream.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>

namespace codes = tmx::stream_error;

namespace {

// Writes wait until they and their heads of eight bytes fill this.
constexpr std::size_t kPendingLimit = 8163;
constexpr std::size_t kPendingHead = 8;
constexpr unsigned long kUndoPiece = 128;

}  // namespace

// ---- streams and errors -----------------------------------------------------------------------

void HbTransactionStream::SetStreams(SvStream* data, SvStream* log) {
  const bool attaches = data != nullptr && log != nullptr;
  data_ = attaches ? data : nullptr;
  log_stream_ = attaches ? log : nullptr;
  log_ = tmx::UndoLog(log_stream_);
  pending_.clear();
  pending_bytes_.clear();
  protected_length_ = 0;
  depth_ = 0;
  is_log_active_ = has_unsynced_writes_ = has_left_log_ = false;
  SetWritable(attaches && data->IsWritable());
  SetPosition(attaches ? data->Tell() : 0);
  if (attaches) Recover();
}

void HbTransactionStream::ResetError() {
  if (data_ != nullptr) {
    data_->ResetError();
    log_stream_->ResetError();
  }
  SvStream::ResetError();
}

bool HbTransactionStream::TakeError(const SvStream& stream) {
  if (stream.HasError()) SetError(stream.GetError() & codes::CodeMask);
  return !HasError();
}

bool HbTransactionStream::IsReady() {
  if (HasError()) return false;
  if (data_ == nullptr) {
    SetError(codes::General);
  } else if (depth_ == 0 && is_log_active_) {
    Recover();
  }
  return !HasError();
}

bool HbTransactionStream::Barrier(SvStream& stream) {
  if (is_durable_) {
    stream.Sync();
  } else {
    stream.Flush();
  }
  return TakeError(stream);
}

// ---- transactions -----------------------------------------------------------------------------

void HbTransactionStream::BeginTrans() {
  if (depth_ > 0) {
    if (depth_ == std::numeric_limits<std::uint16_t>::max()) {
      SetError(codes::InvalidParameter);
    } else {
      ++depth_;
    }
    return;
  }
  if (!IsReady()) return;
  if (BeginLog()) {
    depth_ = 1;
  } else {
    log_stream_->ResetError();
    ClearLog();
  }
}

bool HbTransactionStream::BeginLog() {
  if (has_unsynced_writes_ && !Barrier(*data_)) return false;  // invariant 4
  has_unsynced_writes_ = false;
  const unsigned long length = data_->Size();
  if (!TakeError(*data_)) return false;
  protected_length_ = static_cast<std::uint32_t>(length);
  is_log_active_ = true;
  is_log_synced_ = false;
  log_.Begin(protected_length_);
  log_stream_->Flush();
  return TakeError(*log_stream_);
}

void HbTransactionStream::CommitTrans() {
  if (depth_ == 0) return;
  if (depth_ == 1) {
    Flush();
    if (!HasError() && Barrier(*data_)) ClearLog();  // invariant 2
    if (HasError()) {
      const std::uint32_t error = GetError();
      Recover();
      SvStream::ResetError();
      SetError(error);
    }
  }
  --depth_;
}

void HbTransactionStream::RollbackTrans() {
  if (depth_ == 0) return;
  if (depth_ == 1) {
    Flush();
    Recover();
  }
  --depth_;
}

void HbTransactionStream::FlushLog() {
  if (!IsReady()) return;
  log_stream_->Flush();
  if (TakeError(*log_stream_)) ApplyPending();
}

void HbTransactionStream::Close() {
  if (data_ == nullptr) return;
  Flush();
  RollbackTrans();
  const bool leaves_log = depth_ > 0 || is_log_active_;
  SetStreams(nullptr, nullptr);
  has_left_log_ = leaves_log;
}

// ---- the log ----------------------------------------------------------------------------------

bool HbTransactionStream::SyncLog() {
  if (is_log_synced_) return true;
  if (!Barrier(*log_stream_)) return false;
  log_.SetSynced();
  return is_log_synced_ = true;
}

// Works in spite of an error that stands, as a beginning that failed must not leave a log behind.
void HbTransactionStream::ClearLog() {
  protected_length_ = 0;
  if (!is_log_active_) return;
  log_stream_->SetStreamSize(0);
  if (Barrier(*log_stream_); log_stream_->HasError()) return;  // invariant 3
  log_stream_->Seek(0);
  is_log_active_ = false;
}

void HbTransactionStream::Recover() {
  ResetError();
  pending_.clear();
  pending_bytes_.clear();
  Undo();
  data_->Seek(Tell());
  TakeError(*data_);
}

void HbTransactionStream::Undo() {
  // What this stream has logged itself was not cut.
  const bool is_own = is_log_active_;
  tmx::UndoLogReader log(*log_stream_);
  if (!TakeError(*log_stream_)) {
    is_log_active_ = true;
    return;
  }
  is_log_active_ = is_own || log_stream_->Size() > 0;
  if (log.IsEmpty()) {
    ClearLog();
    return;
  }
  const auto length_now = static_cast<std::uint32_t>(data_->Size());
  if (is_own || !log.MayBeCut(length_now)) data_->SetStreamSize(log.DataLength());
  std::array<char, kUndoPiece> piece;
  for (tmx::UndoRecord record; TakeError(*data_) && log.Previous(record);) {
    // Only a forged record ends beyond what a stream can hold; its offset may even mean the end.
    if (record.length > 0 && record.offset > MaxSize - record.length) {
      data_->SetError(codes::InvalidParameter);
    }
    data_->Seek(record.offset);
    for (unsigned long left = record.length; left > 0 && TakeError(*data_);) {
      const unsigned long count = log_stream_->Read(piece.data(), std::min(left, kUndoPiece));
      if (count == 0) log_stream_->SetError(codes::ReadError);
      if (!TakeError(*log_stream_)) return;
      data_->Write(piece.data(), count);
      left -= count;
    }
  }
  if (TakeError(*log_stream_) && Barrier(*data_)) ClearLog();  // invariant 2
}

// ---- reading and writing ----------------------------------------------------------------------

unsigned long HbTransactionStream::GetData(char* data, unsigned long count) {
  if (!IsReady()) return 0;
  const auto position = static_cast<std::uint32_t>(Tell());
  data_->Seek(position);
  unsigned long done = data_->Read(data, count);
  if (!TakeError(*data_) || pending_.empty()) return done;
  const unsigned long reached = ReadPending(data, position, count, done);
  if (reached > done) {
    // Deliberate: pending bytes beyond the end stay readable.
    if (data_->Size() < position + reached) data_->SetStreamSize(position + reached);
    data_->Seek(position + reached);
    done = reached;
  }
  TakeError(*data_);
  return done;
}

// Lays what is pending over what was read; returns how far the bytes then reach.
unsigned long HbTransactionStream::ReadPending(char* bytes, std::uint32_t position,
                                               unsigned long count, unsigned long done) {
  const std::uint64_t end = std::uint64_t{position} + count;
  for (const PendingWrite& write : pending_) {
    const std::uint64_t from = std::max<std::uint64_t>(write.where.offset, position);
    const std::uint64_t to = std::min(std::uint64_t{write.where.offset} + write.where.length, end);
    if (from >= to) continue;
    if (from - position > done) std::fill(bytes + done, bytes + (from - position), '\0');
    const char* const source = pending_bytes_.data() + write.begin;
    std::copy(source + (from - write.where.offset), source + (to - write.where.offset),
              bytes + (from - position));
    done = std::max<unsigned long>(done, to - position);
  }
  return done;
}

unsigned long HbTransactionStream::PutData(const char* data, unsigned long count) {
  if (!IsReady()) return 0;
  const auto position = static_cast<std::uint32_t>(Tell());
  unsigned long old = 0;  // how many of the bytes are below the protected length
  if (depth_ == 0) {
    has_unsynced_writes_ = true;
  } else {
    old = position < protected_length_
              ? std::min<unsigned long>(count, protected_length_ - position)
              : 0;
    if (old > 0 && !Overwrite(data, {position, static_cast<std::uint32_t>(old)})) return 0;
    if (old < count && !PrepareGrowth(position + count)) return old;
  }
  data_->Seek(position + old);
  const unsigned long done = data_->Write(data + old, count - old);
  TakeError(*data_);
  return old + done;
}

bool HbTransactionStream::PrepareGrowth(unsigned long end) {
  if (!log_.MustSyncBefore(end)) return true;
  is_log_synced_ = false;
  return TakeError(*log_stream_) && SyncLog();
}

bool HbTransactionStream::Save(tmx::UndoRecord what) {
  is_log_synced_ = false;
  const bool saved = log_.Save(*data_, what);
  return TakeError(*data_) && TakeError(*log_stream_) && saved;
}

bool HbTransactionStream::Overwrite(const char* bytes, tmx::UndoRecord where) {
  if (!Save(where)) return false;
  if (PendingSize() + kPendingHead + where.length < kPendingLimit) {
    const std::size_t begin = pending_bytes_.size();
    pending_bytes_.insert(pending_bytes_.end(), bytes, bytes + where.length);
    pending_.push_back({where, begin});
    return true;
  }
  return ApplyPending() && SyncLog() && WriteAt(where.offset, bytes, where.length);
}

std::size_t HbTransactionStream::PendingSize() const {
  return pending_bytes_.size() + kPendingHead * pending_.size();
}

bool HbTransactionStream::WriteAt(std::uint32_t position, const char* bytes, std::uint32_t count) {
  assert(is_log_synced_);  // invariant 1
  data_->Seek(position);
  data_->Write(bytes, count);
  return TakeError(*data_);
}

bool HbTransactionStream::ApplyPending() {
  if (pending_.empty()) return !HasError();
  if (!SyncLog()) return false;
  for (const PendingWrite& write : pending_) {
    const char* const bytes = pending_bytes_.data() + write.begin;
    if (!WriteAt(write.where.offset, bytes, write.where.length)) return false;
  }
  data_->Seek(Tell());
  pending_.clear();
  pending_bytes_.clear();
  return TakeError(*data_);
}

unsigned long HbTransactionStream::SeekPos(unsigned long position) {
  if (!IsReady()) return Tell();
  const unsigned long reached = data_->Seek(position);
  TakeError(*data_);
  return reached;
}

void HbTransactionStream::SetSize(unsigned long size) {
  if (!IsReady()) return;
  if (depth_ == 0) {
    has_unsynced_writes_ = true;
  } else if (!PrepareSize(static_cast<std::uint32_t>(size)) || !ApplyPending()) {
    return;
  }
  data_->SetStreamSize(size);
  data_->Seek(Tell());
  if (TakeError(*data_) && size < protected_length_) {
    protected_length_ = static_cast<std::uint32_t>(size);
  }
}

bool HbTransactionStream::PrepareSize(std::uint32_t size) {
  if (size > protected_length_) return PrepareGrowth(size);
  if (size == protected_length_) return true;
  return Save({size, protected_length_ - size}) && SyncLog();
}

void HbTransactionStream::FlushData() {
  if (!IsReady() || !ApplyPending()) return;
  data_->Flush();
  TakeError(*data_);
}

void HbTransactionStream::SyncData() {
  if (!IsReady() || !ApplyPending()) return;
  if (Barrier(*data_) && depth_ == 0) has_unsynced_writes_ = false;
}
