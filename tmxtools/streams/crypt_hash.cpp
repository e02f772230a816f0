#include "tmxtools/streams/crypt_hash.h"

#include <algorithm>
#include <cassert>

namespace tmx {
namespace {

// Stored bytes are read in portions of this length; it is a multiple of 8 and of a chunk's length.
constexpr std::size_t kPortion = 192 * ChunkTree::ChunkLength;
constexpr std::size_t kDigestLength = Digest().size();

constexpr std::size_t ChunkCount(std::size_t length) {
  return (length + ChunkTree::ChunkLength - 1) / ChunkTree::ChunkLength;
}

// How many levels stand above a region.
constexpr std::size_t LevelCount(std::size_t length) {
  std::size_t count = 0;
  for (; length > ChunkTree::ChunkLength; ++count) length = kDigestLength * ChunkCount(length);
  return count;
}
static_assert(LevelCount(8 * DirtyChunkMap::MaxLength * ChunkTree::ChunkLength) <=
                  ChunkTree::MaxLevels,
              "the map ends before the levels do");

}  // namespace

void LinearHash::NoteChange(std::uint32_t begin, std::uint32_t) {
  if (begin < resume_point_) Forget();
}

void LinearHash::Forget() {
  saved_.reset();
  resume_point_ = 0;
}

bool LinearHash::Compute(CryptRegion& region, Digest& digest) {
  constexpr std::uint32_t kBlock = CryptRegion::BlockLength;
  const std::uint32_t length = region.Length();
  const std::uint32_t last_block = length == 0 ? 0 : (length - 1) / kBlock * kBlock;
  CiIterativeRipemd160Hasher hasher;
  if (saved_) hasher = *saved_;
  if (!Take(region, hasher, resume_point_, last_block, false)) return false;
  if (last_block > 0) {
    saved_ = hasher;
    resume_point_ = last_block;
  }
  if (!Take(region, hasher, last_block, length, true)) return false;
  hasher.GetHash(digest.data());
  return true;
}

bool LinearHash::Take(CryptRegion& region, CiIterativeRipemd160Hasher& hasher, std::uint32_t at,
                      std::uint32_t end, bool last) {
  std::vector<std::uint8_t> bytes(std::min<std::size_t>(end - at, kPortion));
  if (at == end && last) hasher.HashBytes(bytes.data(), 0, true, true);
  while (at < end) {
    const std::uint32_t count = std::min<std::uint32_t>(end - at, kPortion);
    if (!region.ReadStored(at, bytes.data(), count)) return false;
    hasher.HashBytes(bytes.data(), count, at == 0, last && at + count == end);
    at += count;
  }
  return true;
}

bool DirtyChunkMap::Start(std::uint32_t region_length) {
  const std::size_t length = region_length / (8 * ChunkTree::ChunkLength) + Slack;
  if (length > MaxLength) return false;
  bytes_.assign(length, 0xFF);
  return true;
}

void DirtyChunkMap::Reach(std::size_t chunk) {
  const std::size_t length = chunk / 8 + 1;
  assert(length <= MaxLength);
  if (length > bytes_.size()) bytes_.resize(std::min(length + Slack, MaxLength), 0xFF);
}

void DirtyChunkMap::SetAll() { std::fill(bytes_.begin(), bytes_.end(), std::uint8_t{0xFF}); }

void DirtyChunkMap::Set(std::size_t begin, std::size_t end) {
  for (; begin < end; ++begin) bytes_[begin / 8] |= static_cast<std::uint8_t>(1u << begin % 8);
}

void DirtyChunkMap::Clear(std::size_t begin, std::size_t end) {
  for (; begin < end; ++begin) bytes_[begin / 8] &= static_cast<std::uint8_t>(~(1u << begin % 8));
}

std::size_t DirtyChunkMap::Find(bool set, std::size_t begin, std::size_t end) const {
  const std::uint8_t none = set ? 0x00 : 0xFF;
  while (begin < end && Get(begin) != set) {
    begin = begin % 8 == 0 && bytes_[begin / 8] == none ? begin + 8 : begin + 1;
  }
  return std::min(begin, end);
}

bool ChunkTree::Start(std::uint32_t region_length) {
  for (Bytes& level : above_) level = Bytes();
  return dirty_.Start(region_length);
}

void ChunkTree::NoteChange(std::uint32_t begin, std::uint32_t end) {
  const std::size_t last = end / ChunkLength;
  dirty_.Reach(last);
  dirty_.Set(begin / ChunkLength, last + 1);
}

bool ChunkTree::Compute(CryptRegion& region, Digest& digest) {
  if (ComputeLevels(region, digest)) return true;
  // Some bits are cleared, but the levels above do not have the hashes yet.
  Forget();
  return false;
}

bool ChunkTree::ComputeLevels(CryptRegion& region, Digest& digest) {
  std::size_t length = region.Length();
  const Bytes* level = nullptr;
  for (Bytes& above : above_) {
    if (length <= ChunkLength) break;
    if (!HashLevel(region, level, length, above)) return false;
    level = &above;
    length = above.size();
  }
  if (level == nullptr) {
    std::array<std::uint8_t, ChunkLength> bytes;
    if (!region.ReadStored(0, bytes.data(), length)) return false;
    HashChunks(bytes.data(), length, 1, digest.data());
    return true;
  }
  dirty_.Clear(0, 1);
  HashChunks(level->data(), length, 1, digest.data());
  return true;
}

bool ChunkTree::HashLevel(CryptRegion& region, const Bytes* level, std::size_t length,
                          Bytes& above) {
  const std::size_t count = ChunkCount(length);
  const std::size_t above_length = count * kDigestLength;
  // Small steps: at its largest a level has 10 MB, and while it grows it exists twice.
  if (above.capacity() < above_length) above.reserve(above_length + above_length / 8 + ChunkLength);
  above.resize(above_length);
  Bytes portion(level == nullptr ? std::min(length, kPortion) : 0);
  for (std::size_t begin = dirty_.Find(true, 0, count); begin < count;) {
    const std::size_t limit = std::min(count, begin + kPortion / ChunkLength);
    const std::size_t end = dirty_.Find(false, begin, limit);
    const std::size_t at = begin * ChunkLength;
    const std::size_t bytes = std::min(end * ChunkLength, length) - at;
    const std::uint8_t* source = level != nullptr ? level->data() + at : portion.data();
    if (level == nullptr &&
        !region.ReadStored(static_cast<std::uint32_t>(at), portion.data(), bytes)) {
      return false;
    }
    const std::size_t whole = bytes / ChunkLength;
    std::uint8_t* const digests = above.data() + begin * kDigestLength;
    HashChunks(source, ChunkLength, whole, digests);
    if (bytes % ChunkLength != 0) {
      HashChunks(source + whole * ChunkLength, bytes % ChunkLength, 1,
                 digests + whole * kDigestLength);
    }
    dirty_.Clear(begin, end);
    constexpr std::size_t kHashesInChunk = ChunkLength / kDigestLength;
    dirty_.Set(begin / kHashesInChunk, (end - 1) / kHashesInChunk + 1);
    begin = dirty_.Find(true, end, count);
  }
  return true;
}

}  // namespace tmx
