// Encrypted streams: reading and writing blocks.
#include "tmxtools/streams/crypt_state.h"

#include <algorithm>
#include <cassert>

#include "tmxtools/streams/crypt_stream.h"

namespace tmx {

namespace codes = stream_error;

namespace {

// Blocks that pass through the cipher in one call.
constexpr std::size_t kRunBlocks = 4096;
constexpr std::uint8_t kMaxPadCount = 8;

}  // namespace

std::uint8_t* CryptStreamState::RunBuffer(std::size_t blocks) {
  if (run_.size() < blocks * kBlock) run_ = SecretBytes(blocks * kBlock);
  return run_.data();
}

void CryptStreamState::SetPadCount(std::uint8_t count) {
  header_dirty_ |= pad_count_ != count;
  pad_count_ = count;
}

bool CryptStreamState::MoveTo(std::uint32_t block) {
  assert(!block_dirty_ && block % kBlock == 0);  // invariants 1 and 2
  block_start_ = block;
  position_ = fill_ = 0;
  loaded_ = false;
  if (region_.IsLast(block)) return LoadLastBlock();
  fill_ = kBlock;
  return true;
}

bool CryptStreamState::LoadBlock() {
  if (loaded_) return true;
  if (region_.IsLast(block_start_)) return LoadLastBlock();
  loaded_ = region_.Read(block_start_, block_.Data(), kBlock);
  return loaded_;
}

bool CryptStreamState::LoadLastBlock() {
  const std::uint32_t length = region_.Length() - std::min(region_.Length(), block_start_);
  if (length == 0) return StartEmptyBlock();
  if (!region_.Read(block_start_, block_.Data(), length)) return false;
  const std::uint8_t pad_count = block_[length - 1];
  // A last block of another length could not be stored again in its place.
  if (length % TripleDes::BlockLength != 0 || pad_count > kMaxPadCount || pad_count != pad_count_) {
    return Fail(codes::WrongFormat);
  }
  fill_ = length - pad_count;
  loaded_ = true;
  return true;
}

bool CryptStreamState::StartEmptyBlock() {
  fill_ = 0;
  loaded_ = true;
  if (Has(stream_mode::Write)) {
    SetPadCount(kMaxPadCount);
    block_dirty_ = true;
  }
  return true;
}

std::uint32_t CryptStreamState::MaxLength() const {
  return std::min(hash_->MaxLength(),
                  static_cast<std::uint32_t>(SvStream::MaxSize) - region_.Start());
}

bool CryptStreamState::Store(std::uint32_t at, std::uint8_t* plain, std::uint32_t length) {
  signature_current_ = false;
  if (length > MaxLength() - std::min(at, MaxLength())) {
    return Fail(header_.tagged ? codes::OutOfMemory : codes::InvalidParameter);
  }
  // Invariant 6: what was hashed is out of date as soon as the write begins.
  hash_->NoteChange(at, at + length);
  if (!region_.Write(at, plain, length)) return false;
  region_.GrowTo(at + length);
  return true;
}

bool CryptStreamState::StoreBlock() {
  if (!block_dirty_) return true;
  Secret<kBlock> bytes = block_;
  std::uint32_t length = fill_;
  if (fill_ < kBlock) {
    const auto pad_count = static_cast<std::uint8_t>(kMaxPadCount - fill_ % kMaxPadCount);
    length += pad_count;
    std::fill(bytes.Data() + fill_, bytes.Data() + length, std::uint8_t{0});
    bytes[length - 1] = pad_count;
    SetPadCount(pad_count);
  }
  if (!Store(block_start_, bytes.Data(), length)) return false;
  block_dirty_ = false;
  return true;
}

std::uint32_t CryptStreamState::Seek(unsigned long wanted) {
  const bool in_last = region_.IsLast(block_start_);
  // Where the text ends is not known yet when the last block could not be read before.
  if (in_last && !loaded_ && valid_ && !LoadLastBlock()) return block_start_ + position_;
  auto target = static_cast<std::uint32_t>(std::min<unsigned long>(wanted, SvStream::SeekToEnd));
  if (target >= region_.Length()) {
    target = in_last ? block_start_ + fill_ : region_.Length() - std::min(pad_count_, kMaxPadCount);
  }
  if (target == block_start_ + position_) return target;
  if (!valid_) {
    Fail(codes::CannotSeek);
    return 0;
  }
  const std::uint32_t block = target - target % kBlock;
  if (block != block_start_ && !LeaveFor(block)) return block_start_ + position_;
  position_ = std::min(target - block_start_, fill_);
  if (target - block_start_ > fill_) Fail(codes::CannotSeek);
  return target;
}

std::size_t CryptStreamState::Read(std::uint8_t* data, std::size_t count) {
  if (!valid_) {
    Fail(codes::ReadError);
    return 0;
  }
  std::size_t done = 0;
  while (done < count) {
    if (position_ == kBlock && !LeaveFor(block_start_ + kBlock)) break;
    if (!loaded_ && !region_.IsLast(block_start_)) {
      const std::size_t step = ReadRun(data + done, count - done);
      if (step == 0) break;
      done += step;
      continue;
    }
    if (!LoadBlock()) break;
    const std::size_t step = std::min<std::size_t>(count - done, fill_ - position_);
    if (step == 0) break;
    std::copy_n(block_.Data() + position_, step, data + done);
    position_ += static_cast<std::uint32_t>(step);
    done += step;
  }
  return done;
}

// Reads from the current block, which is not loaded, and those behind it, but for the last one.
std::size_t CryptStreamState::ReadRun(std::uint8_t* data, std::size_t count) {
  const std::size_t wanted = (position_ + count + kBlock - 1) / kBlock;
  const std::size_t before_last = (region_.Length() - block_start_ - 1) / kBlock;
  const std::size_t blocks = std::min({wanted, before_last, kRunBlocks});
  std::uint8_t* const plain = RunBuffer(blocks);
  if (!region_.Read(block_start_, plain, blocks * kBlock)) return 0;
  const std::size_t done = std::min(count, blocks * kBlock - position_);
  std::copy_n(plain + position_, done, data);
  std::copy_n(plain + (blocks - 1) * kBlock, kBlock, block_.Data());
  position_ = static_cast<std::uint32_t>(position_ + done - (blocks - 1) * kBlock);
  block_start_ += static_cast<std::uint32_t>((blocks - 1) * kBlock);
  loaded_ = true;
  return done;
}

std::size_t CryptStreamState::Write(const std::uint8_t* data, std::size_t count) {
  if (!Has(stream_mode::Write) || !valid_) {
    Fail(codes::WriteError);
    return 0;
  }
  std::size_t done = 0;
  while (done < count) {
    if (position_ == kBlock && !LeaveFor(block_start_ + kBlock)) break;
    const std::size_t left = count - done;
    const bool fills_block = left >= kBlock - position_;
    // A block that is overwritten whole need not be known.
    if ((position_ > 0 || !fills_block) && !LoadBlock()) break;
    if (!fills_block) {
      WriteInBlock(data + done, static_cast<std::uint32_t>(left));
      return count;
    }
    const std::size_t step = WriteRun(data + done, left);
    done += step;
    if (owner_.HasError()) break;
  }
  return done;
}

void CryptStreamState::WriteInBlock(const std::uint8_t* data, std::uint32_t count) {
  std::copy_n(data, count, block_.Data() + position_);
  position_ += count;
  fill_ = std::max(fill_, position_);
  block_dirty_ = true;
  region_.GrowTo(block_start_ + fill_);
}

// Fills the current block, stores it together with the whole blocks that follow, and makes the next
// one current.
std::size_t CryptStreamState::WriteRun(const std::uint8_t* data, std::size_t count) {
  // Blocks up to the limit are stored, as they would be one by one; a first one beyond it fails.
  const std::size_t within_limit = (MaxLength() - std::min(block_start_, MaxLength())) / kBlock;
  const std::size_t blocks =
      std::min({(position_ + count) / kBlock, kRunBlocks, std::max<std::size_t>(within_limit, 1)});
  const std::size_t bytes = blocks * kBlock;
  const std::size_t taken = bytes - position_;
  std::uint8_t* const plain = RunBuffer(blocks);
  std::copy_n(block_.Data(), position_, plain);
  std::copy_n(data, taken, plain + position_);
  if (!Store(block_start_, plain, static_cast<std::uint32_t>(bytes))) return 0;
  block_dirty_ = false;
  MoveTo(block_start_ + static_cast<std::uint32_t>(bytes));
  return taken;
}

bool CryptStreamState::Flush() {
  if (!valid_ || !Has(stream_mode::Write)) return false;
  if (!StoreBlock()) return false;
  if (header_dirty_) {
    if (!region_.WriteInner(header_.PadCountAt(), &pad_count_, 1)) return false;
    header_dirty_ = false;
  }
  SvStream& inner = *Inner();
  const bool signs = Has(crypt_mode::Sign);
  if (signs && (!inner.IsWritable() || !keys_.CanWrap())) return Fail(codes::General);
  if (signs && !signature_current_ && !WriteSignature()) return false;
  inner.Flush();
  if (!region_.CheckInner()) return false;
  signature_current_ |= signs;
  return true;
}

bool CryptStreamState::SyncInner() {
  Inner()->Sync();
  return region_.CheckInner();
}

}  // namespace tmx
