#include "tmxtools/streams/undo_log.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>

namespace tmx {
namespace {

constexpr std::uint32_t kMarkSize = 8;
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

void PutNumber(char* to, std::uint32_t number) {
  for (int byte = 0; byte < 4; ++byte) to[byte] = static_cast<char>(number >> (8 * byte));
}

// The first power of 256 above the number: data that grows by less has no length from which the
// number comes by leaving out upper bytes.
std::uint64_t UnitAbove(std::uint32_t number) {
  std::uint64_t unit = 1;
  while (unit <= number) unit <<= 8;
  return unit;
}

}  // namespace

void UndoLog::Begin(std::uint32_t data_length) {
  data_length_ = data_length;
  end_ = LengthSize;
  has_rest_ = has_mark_ = false;
  safe_growth_ = 0;
  stream_->Seek(0);
  *stream_ << data_length;
}

bool UndoLog::Save(SvStream& data, UndoRecord what) {
  assert(what.length > 0);  // invariant 2
  constexpr std::uint32_t largest_piece = 65536;
  if (has_rest_) stream_->SetStreamSize(end_ + (has_mark_ ? kMarkSize : 0));  // invariant 2
  has_rest_ = true;
  stream_->Seek(end_);
  data.Seek(what.offset);
  buffer_.resize(RecordHead + std::min(what.length, largest_piece) + RecordTail);
  PutNumber(buffer_.data(), what.offset);
  PutNumber(buffer_.data() + 4, what.length);
  std::uint32_t filled = RecordHead;
  for (std::uint32_t left = what.length; left > 0;) {
    const std::uint32_t piece = std::min(left, largest_piece);
    if (data.Read(buffer_.data() + filled, piece) < piece) {
      data.SetError(stream_error::ReadError);
      return false;
    }
    left -= piece;
    filled += piece;
    if (left == 0) {
      PutNumber(buffer_.data() + filled, end_);
      filled += RecordTail;
    }
    stream_->Write(buffer_.data(), filled);
    if (stream_->HasError()) return false;
    filled = 0;
  }
  has_rest_ = has_mark_ = false;
  end_ += RecordHead + what.length + RecordTail;
  return true;
}

bool UndoLog::MustSyncBefore(std::uint64_t end) {
  if (end < safe_growth_) return false;
  if (end_ == LengthSize && !has_mark_ && end >= data_length_ + UnitAbove(data_length_)) {
    std::array<char, kMarkSize> mark;
    mark.fill('\xFF');
    stream_->Seek(LengthSize);
    stream_->Write(mark.data(), mark.size());
    has_mark_ = !stream_->HasError();
  }
  return true;
}

void UndoLog::SetSynced() {
  const bool only_length = end_ == LengthSize && !has_mark_;
  safe_growth_ = only_length ? data_length_ + UnitAbove(data_length_) : kNoLimit;
}

UndoLogReader::UndoLogReader(SvStream& log)
    : log_(log), size_(static_cast<std::uint32_t>(log.Size())) {
  if (IsEmpty()) return;
  log_.Seek(0);
  log_ >> data_length_;
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  log_ >> first >> second;
  has_certain_length_ = (first | second) != 0;
  UndoRecord record;
  for (std::uint32_t position = UndoLog::LengthSize; ReadWholeRecord(position, record);
       position += UndoLog::RecordHead + record.length + UndoLog::RecordTail) {
    ++count_;
    next_ = position;
  }
}

bool UndoLogReader::ReadWholeRecord(std::uint32_t position, UndoRecord& record) {
  constexpr std::uint32_t frame = UndoLog::RecordHead + UndoLog::RecordTail;
  if (size_ - position < frame) return false;
  log_.Seek(position);
  log_ >> record.offset >> record.length;
  if (size_ - position - frame < record.length) return false;
  std::uint32_t own_position = 0;
  log_.Seek(position + UndoLog::RecordHead + record.length);
  log_ >> own_position;
  return own_position == position && !log_.HasError();
}

bool UndoLogReader::MayBeCut(std::uint32_t length_now) const {
  if (has_certain_length_ || data_length_ >= length_now) return false;
  for (std::uint64_t unit = 1; unit <= length_now; unit <<= 8) {
    if (length_now % unit == data_length_) return true;
  }
  return false;
}

bool UndoLogReader::Previous(UndoRecord& record) {
  if (next_ == 0 || log_.HasError()) return false;
  const std::uint32_t position = next_;
  next_ = 0;
  // The number before the first record is no position of a record.
  if (position > UndoLog::LengthSize) {
    log_.Seek(position - UndoLog::RecordTail);
    log_ >> next_;
  } else {
    log_.Seek(position);
  }
  log_ >> record.offset >> record.length;
  return !log_.HasError();
}

}  // namespace tmx
