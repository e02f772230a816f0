#include "tmxtools/streams/ripemd160.h"

#include <algorithm>
#include <bit>

#include "tmxtools/platform/ripemd160_kernels.h"
#include "tmxtools/platform/ripemd160_steps.h"

namespace {

using namespace tmx::ripemd160;

constexpr unsigned short kPieceLength = 8;
constexpr unsigned short kPiecesInBlock = kBlockLength / kPieceLength;

void StoreWord(std::uint32_t word, unsigned char* bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(word >> 8 * i);
}

// The bytes behind the last whole block, and the padding behind them.
using Tail = std::array<unsigned char, 2 * kBlockLength>;

// Puts the padding behind `rest` bytes, the last of `total`; returns how many blocks of the tail
// are to be compressed. The quirk is here: a short last piece in the seventh place of its block
// leaves a block that is not compressed.
std::size_t PadTail(Tail& tail, std::size_t rest, std::uint64_t total, bool last_piece_is_short) {
  if (last_piece_is_short && rest / kPieceLength == 6) return 0;
  const std::size_t blocks = rest < kBlockLength - 8 ? 1 : 2;
  std::fill(tail.begin() + static_cast<std::ptrdiff_t>(rest), tail.end(), std::uint8_t{0});
  tail[rest] = 0x80;
  unsigned char* const bit_length = tail.data() + blocks * kBlockLength - 8;
  StoreWord(static_cast<std::uint32_t>(total << 3), bit_length);
  StoreWord(static_cast<std::uint32_t>(total >> 29), bit_length + 4);
  return blocks;
}

bool IsLastPieceShort(std::size_t length) { return length == 0 || length % kPieceLength != 0; }

// Hashes as many chunks at once as the kernel has lanes.
class LaneHasher {
 public:
  LaneHasher(const LaneKernel& kernel, std::size_t chunk_length)
      : kernel_(kernel), chunk_length_(chunk_length), rest_(chunk_length % kBlockLength) {
    for (Tail& tail : tails_) {
      tail_blocks_ = PadTail(tail, rest_, chunk_length, IsLastPieceShort(chunk_length));
    }
  }

  // With fewer chunks than lanes, the lanes left over hash the last chunk for nothing.
  void Hash(const std::uint8_t* chunks, std::size_t count, std::uint8_t* digests) {
    std::array<const std::uint8_t*, kMostLanes> blocks;
    std::array<const std::uint8_t*, kMostLanes> tails;
    std::array<std::uint32_t, 5 * kMostLanes> states;
    for (std::size_t lane = 0; lane < kernel_.lanes; ++lane) {
      blocks[lane] = chunks + std::min(lane, count - 1) * chunk_length_;
      std::copy_n(blocks[lane] + (chunk_length_ - rest_), rest_, tails_[lane].begin());
      tails[lane] = tails_[lane].data();
      for (std::size_t word = 0; word < 5; ++word) {
        states[word * kernel_.lanes + lane] = kInitialState[word];
      }
    }
    kernel_.compress(states.data(), blocks.data(), chunk_length_ / kBlockLength);
    kernel_.compress(states.data(), tails.data(), tail_blocks_);
    for (std::size_t i = 0; i < 5 * count; ++i) {
      StoreWord(states[i % 5 * kernel_.lanes + i / 5], digests + 4 * i);
    }
  }

 private:
  const LaneKernel& kernel_;
  std::size_t chunk_length_;
  std::size_t rest_;  // of a chunk, behind its whole blocks
  std::array<Tail, kMostLanes> tails_;
  std::size_t tail_blocks_ = 0;
};

}  // namespace

CiRipemd160Hasher::CiRipemd160Hasher() : init_value_(kInitialState), state_(kInitialState) {}

void CiRipemd160Hasher::CalcHash(SvStream& stream, unsigned char* const hash, bool pad) {
  if (pad) Pad(stream);
  InitHashValue();
  std::array<unsigned char, 64 * kBlockLength> blocks;
  const auto size = static_cast<unsigned long>(blocks.size());
  for (unsigned long done = size; done == size;) {
    done = stream.Read(blocks.data(), size);
    const unsigned long count = (done + kBlockLength - 1) / kBlockLength;
    std::fill(blocks.begin() + done, blocks.begin() + count * kBlockLength, std::uint8_t{0});
    HashBlocks(blocks.data(), count);
  }
  GetHash(hash);
}

void CiRipemd160Hasher::SetHashInitValue(unsigned long* const words) {
  for (std::uint32_t& word : init_value_) {
    word = static_cast<std::uint32_t>(words[&word - init_value_.data()]);
  }
}

void CiRipemd160Hasher::InitHashValue() { state_ = init_value_; }

void CiRipemd160Hasher::Pad(SvStream& stream) {
  const unsigned long position = stream.Tell();
  const unsigned long length = stream.Size();
  stream.Seek(SvStream::SeekToEnd);
  std::array<unsigned char, kBlockLength> filling{0x80};
  stream.Write(filling.data(), 1 + (2 * kBlockLength - 9 - length % kBlockLength) % kBlockLength);
  stream << static_cast<std::uint32_t>(length << 3) << static_cast<std::uint32_t>(length >> 29);
  stream.Seek(position);
}

void CiRipemd160Hasher::HashBlock(unsigned long* const words) {
  std::array<unsigned char, kBlockLength> block;
  for (std::size_t i = 0; i < 16; ++i) {
    StoreWord(static_cast<std::uint32_t>(words[i]), block.data() + 4 * i);
  }
  HashBlocks(block.data(), 1);
}

void CiRipemd160Hasher::HashBlocks(const unsigned char* blocks, unsigned long count) {
  Compress(state_, blocks, count);
}

void CiRipemd160Hasher::GetHash(unsigned char* const hash) const {
  for (std::size_t i = 0; i < state_.size(); ++i) StoreWord(state_[i], hash + 4 * i);
}

unsigned long CiRipemd160Hasher::RipemdROL(unsigned long word, unsigned short bits) {
  return std::rotl(static_cast<std::uint32_t>(word), bits);
}

unsigned long CiRipemd160Hasher::RipemdF(unsigned short step, unsigned long x, unsigned long y,
                                         unsigned long z) {
  using Function =
      std::uint32_t (*)(const std::uint32_t&, const std::uint32_t&, const std::uint32_t&);
  static constexpr Function kFunctions[] = {Mix<0>, Mix<1>, Mix<2>, Mix<3>, Mix<4>};
  if (step >= 80) return 0;
  return kFunctions[step / 16](static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y),
                               static_cast<std::uint32_t>(z));
}

CiIterativeRipemd160Hasher::CiIterativeRipemd160Hasher() { Reset(true, true); }

void CiIterativeRipemd160Hasher::Reset(bool clearBlockCount, bool reloadInitValue) {
  block_.fill(0);
  pieces_ = 0;
  if (clearBlockCount) blocks_ = 0;
  if (reloadInitValue) InitHashValue();
}

void CiIterativeRipemd160Hasher::HashBlock(unsigned char const* const piece, bool first, bool last,
                                           unsigned short length) {
  HashBytes(piece, last ? std::min(length, kPieceLength) : kPieceLength, first, last);
}

void CiIterativeRipemd160Hasher::HashBytes(const unsigned char* bytes, unsigned long length,
                                           bool first, bool last) {
  if (first) Reset(true, true);
  const unsigned long last_length = last && length > 0 ? (length - 1) % kPieceLength + 1 : 0;
  TakePieces(bytes, (length - last_length) / kPieceLength);
  if (last) Finish(bytes + (length - last_length), last_length);
}

void CiIterativeRipemd160Hasher::TakePieces(const unsigned char* pieces, unsigned long count) {
  if (pieces_ > 0) {
    const auto taken = std::min<unsigned long>(count, kPiecesInBlock - pieces_);
    Store(pieces, taken);
    pieces += taken * kPieceLength;
    count -= taken;
    if (pieces_ < kPiecesInBlock) return;
    HashBlocks(block_.data(), 1);
    ++blocks_;
    Reset(false, false);
  }
  const unsigned long whole = count / kPiecesInBlock;
  HashBlocks(pieces, whole);
  blocks_ += static_cast<std::uint32_t>(whole);
  Store(pieces + whole * kBlockLength, count % kPiecesInBlock);
}

void CiIterativeRipemd160Hasher::Store(const unsigned char* pieces, unsigned long count) {
  std::copy_n(pieces, count * kPieceLength, block_.begin() + pieces_ * kPieceLength);
  pieces_ = static_cast<unsigned short>(pieces_ + count);
}

void CiIterativeRipemd160Hasher::Finish(const unsigned char* piece, unsigned long length) {
  Tail tail;
  const std::size_t before = pieces_ * std::size_t{kPieceLength};
  std::copy_n(block_.begin(), before, tail.begin());
  std::copy_n(piece, length, tail.begin() + before);
  const std::uint64_t total = std::uint64_t{blocks_} * kBlockLength + before + length;
  HashBlocks(tail.data(), PadTail(tail, before + length, total, length < kPieceLength));
  Reset(true, false);
}

namespace tmx {

void HashChunks(const std::uint8_t* data, std::size_t chunk_length, std::size_t count,
                std::uint8_t* digests) {
  const LaneKernel& kernel = KernelFor(CurrentCpuLevel());
  LaneHasher lanes(kernel, chunk_length);
  while (count > 1) {
    const std::size_t done = std::min(count, kernel.lanes);
    lanes.Hash(data, done, digests);
    data += done * chunk_length;
    digests += done * kDigestLength;
    count -= done;
  }
  if (count == 0) return;
  CiIterativeRipemd160Hasher hasher;  // one chunk alone is quicker so
  hasher.HashBytes(data, chunk_length, true, true);
  hasher.GetHash(digests);
}

}  // namespace tmx
