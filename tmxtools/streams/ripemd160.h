// RIPEMD-160 (the published hash of 160 bits), of streams and of bytes that arrive in pieces.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"

// Hashes the rest of a stream in one call.
//
// Words that are handed over as `unsigned long` count with their low 32 bits. Owns nothing; copies
// take the initial value and the state along. Empty state: the standard's initial value. Threads:
// one at a time. Sets no codes; a stream that fails keeps its own.
class TMX_EXPORT CiRipemd160Hasher {
 public:
  CiRipemd160Hasher();
  CiRipemd160Hasher(const CiRipemd160Hasher&) = default;
  CiRipemd160Hasher& operator=(const CiRipemd160Hasher&) = default;
  virtual ~CiRipemd160Hasher() = default;

  // Hashes from the stream's position to its end into the 20 bytes of `hash`. Only with `pad` is
  // the result the standard's: the padding is then written to the end of the stream first, which
  // grows by 9 to 72 bytes, and its length counts the whole stream. A last block that is short is
  // filled up with zero bytes. After an error of the stream the hash is that of what could be read.
  void CalcHash(SvStream& stream, unsigned char* const hash, bool pad);
  // Replaces the five words with which later hashes begin.
  void SetHashInitValue(unsigned long* const words);

 protected:
  void InitHashValue();
  // Appends the standard's padding to the stream; the position stays.
  void Pad(SvStream& stream);
  // Compresses a block of 16 words into the state.
  void HashBlock(unsigned long* const words);
  // Compresses `count` blocks of 64 bytes into the state.
  void HashBlocks(const unsigned char* blocks, unsigned long count);
  // Writes the state as 20 bytes.
  void GetHash(unsigned char* const hash) const;

  static unsigned long RipemdROL(unsigned long word, unsigned short bits);
  // The Boolean function of a step from 0 to 79; 0 for others.
  static unsigned long RipemdF(unsigned short step, unsigned long x, unsigned long y,
                               unsigned long z);

 private:
  std::array<std::uint32_t, 5> init_value_;
  std::array<std::uint32_t, 5> state_;
};

// Hashes bytes that arrive in pieces of 8; a copy keeps an intermediate state.
//
// The standard's hash, with one exception that stored signatures rest on: when the last piece has
// fewer than 8 bytes and is the seventh of its block (the number of all bytes modulo 64 is then 48
// to 55), the last block does not enter the hash.
//
// Owns nothing. Empty state: no piece. Threads: one at a time. Sets no codes.
class TMX_EXPORT CiIterativeRipemd160Hasher : public CiRipemd160Hasher {
 public:
  CiIterativeRipemd160Hasher();

  // Takes a piece of 8 bytes, or of `length` if it is the last. With `first` a new hash begins,
  // after `last` the hash can be read. Bytes whose number is a multiple of 8 end in a full last
  // piece, none at all are one last piece of length 0.
  void HashBlock(unsigned char const* const piece, bool first, bool last, unsigned short length);
  // The same as one HashBlock() after the other, as many pieces as `length` bytes make; much
  // faster. Unless they are the last, `length` is a multiple of 8. The last bytes are at least one,
  // unless they are also the first.
  void HashBytes(const unsigned char* bytes, unsigned long length, bool first, bool last);
  using CiRipemd160Hasher::GetHash;

 protected:
  // Empties the block; also forgets the blocks before it, and begins with the initial value.
  void Reset(bool clearBlockCount, bool reloadInitValue);

 private:
  void TakePieces(const unsigned char* pieces, unsigned long count);
  void Store(const unsigned char* pieces, unsigned long count);
  void Finish(const unsigned char* piece, unsigned long length);

  std::array<unsigned char, 64> block_;
  std::uint32_t blocks_ = 0;   // before block_
  unsigned short pieces_ = 0;  // in block_
};

namespace tmx {

// The hashes of `count` consecutive chunks of `chunk_length` bytes each, 20 bytes each: what an
// iterative hasher gives for each chunk. Many chunks are hashed at once.
TMX_EXPORT void HashChunks(const std::uint8_t* data, std::size_t chunk_length, std::size_t count,
                           std::uint8_t* digests);

}  // namespace tmx
