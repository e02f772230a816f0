// The hash that the signature of an encrypted stream covers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tmxtools/streams/crypt_region.h"
#include "tmxtools/streams/ripemd160.h"

namespace tmx {

using Digest = std::array<std::uint8_t, 20>;

// Hashes the stored bytes of a region and keeps what spares it work the next time: what was hashed
// and has not changed since is not read again.
//
// Empty state: nothing hashed. Threads: one at a time. Codes are set on the region's owner: those
// of reading.
class RegionHash {
 public:
  virtual ~RegionHash() = default;
  // How long a region may grow.
  virtual std::uint32_t MaxLength() const = 0;
  // Must be called before stored bytes in [begin, end) change; `end` is at most MaxLength().
  virtual void NoteChange(std::uint32_t begin, std::uint32_t end) = 0;
  virtual bool Compute(CryptRegion& region, Digest& digest) = 0;
  // Forgets what it has kept for the next time.
  virtual void Forget() = 0;
};

// One hash over the whole region; resumes at the start of the last block.
class LinearHash : public RegionHash {
 public:
  std::uint32_t MaxLength() const override { return SvStream::MaxSize; }
  void NoteChange(std::uint32_t begin, std::uint32_t end) override;
  bool Compute(CryptRegion& region, Digest& digest) override;
  void Forget() override;

 private:
  // Takes the stored bytes in [at, end).
  bool Take(CryptRegion& region, CiIterativeRipemd160Hasher& hasher, std::uint32_t at,
            std::uint32_t end, bool last);

  std::optional<CiIterativeRipemd160Hasher> saved_;
  std::uint32_t resume_point_ = 0;
};

// One bit for each chunk; those beyond the map's end count as set, and so do new ones.
class DirtyChunkMap {
 public:
  static constexpr std::size_t MaxLength = 65535;
  static constexpr std::size_t Slack = 128;  // how much longer than needed a map begins

  // A map for a region, all bits set; false when it would be longer than MaxLength.
  bool Start(std::uint32_t region_length);
  // Makes the map reach a chunk, which lies below 8 * MaxLength.
  void Reach(std::size_t chunk);
  void SetAll();
  void Set(std::size_t begin, std::size_t end);
  void Clear(std::size_t begin, std::size_t end);
  // The first set bit in [begin, end), or the first clear one; `end` if there is none.
  std::size_t Find(bool set, std::size_t begin, std::size_t end) const;

 private:
  bool Get(std::size_t chunk) const { return (bytes_[chunk / 8] >> chunk % 8 & 1) != 0; }

  std::vector<std::uint8_t> bytes_;
};

// A tree of hashes over chunks of 1000 bytes; only chunks that changed are hashed again.
//
// Level 0 is the region. Each level above holds the hashes of the chunks below, 20 bytes each. The
// first level of at most 1000 bytes is the top, whose hash is the result. One map serves all
// levels: a level's bits are cleared as its chunks are hashed, which sets bits for the level above;
// those stand no higher than the bits already dealt with.
class ChunkTree : public RegionHash {
 public:
  static constexpr std::size_t ChunkLength = 1000;
  static constexpr std::size_t MaxLevels = 10;
  // Of a region at the start; one that grows gets somewhat longer, but cannot be opened again then.
  static constexpr std::uint32_t MaxLengthAtStart =
      8 * (DirtyChunkMap::MaxLength - DirtyChunkMap::Slack + 1) * ChunkLength - 1;

  // False when the region is too long for the map.
  bool Start(std::uint32_t region_length);
  std::uint32_t MaxLength() const override {
    return 8 * DirtyChunkMap::MaxLength * ChunkLength - 1;
  }
  void NoteChange(std::uint32_t begin, std::uint32_t end) override;
  bool Compute(CryptRegion& region, Digest& digest) override;
  void Forget() override { dirty_.SetAll(); }

 private:
  using Bytes = std::vector<std::uint8_t>;

  bool ComputeLevels(CryptRegion& region, Digest& digest);
  // Hashes the dirty chunks of a level (null: the region) into the level above.
  bool HashLevel(CryptRegion& region, const Bytes* level, std::size_t length, Bytes& above);

  DirtyChunkMap dirty_;
  std::array<Bytes, MaxLevels> above_;
};

}  // namespace tmx
