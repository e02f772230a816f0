// The data region of an encrypted stream: stored bytes and what they stand for.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/stream.h"

namespace tmx {

// Moves bytes between memory and the data region of an inner stream. Positions count from the
// region's start and are multiples of 24 for everything that goes through the cipher.
//
// Errors, those of the inner stream included, go to the owner's error field. Owns nothing. Empty
// state: no inner stream. Threads: one at a time. Codes: 525 for an encrypted length that is no
// multiple of 8 and for a missing key, 2831 for bytes that are missing in the inner stream.
class CryptRegion {
 public:
  static constexpr std::uint32_t BlockLength = TripleDes::ChainedLength;

  explicit CryptRegion(SvStream& owner) : owner_(owner) {}

  void Attach(SvStream* inner) { inner_ = inner; }
  // Where the region lies, and the cipher of its blocks (null: they are stored plainly).
  void Place(std::uint32_t start, std::uint32_t length, bool encrypts, const TripleDes* cipher);

  std::uint32_t Start() const { return start_; }
  // The number of stored bytes, and of those that the current block will still add.
  std::uint32_t Length() const { return length_; }
  void GrowTo(std::uint32_t length);
  // Whether a block has no other one behind it.
  bool IsLast(std::uint32_t block) const {
    return length_ <= BlockLength || block >= length_ - BlockLength;
  }

  // Plain bytes of whole blocks and of the last one.
  bool Read(std::uint32_t at, std::uint8_t* plain, std::size_t length);
  // Stores plain bytes, which are encrypted where they stand.
  bool Write(std::uint32_t at, std::uint8_t* plain, std::size_t length);
  bool ReadStored(std::uint32_t at, std::uint8_t* stored, std::size_t length);

  // Reads and writes at positions of the inner stream.
  bool ReadInner(unsigned long at, std::uint8_t* bytes, std::size_t length);
  bool WriteInner(unsigned long at, const std::uint8_t* bytes, std::size_t length);
  // Takes over the inner stream's error; false if there is one.
  bool CheckInner();
  SvStream* Inner() const { return inner_; }

  // Sets an error of the owner; always false.
  bool Fail(std::uint32_t code);

 private:
  bool Crypt(CipherDirection direction, std::uint8_t* bytes, std::size_t length);

  SvStream& owner_;
  SvStream* inner_ = nullptr;
  std::uint32_t start_ = 0;
  std::uint32_t length_ = 0;
  bool encrypts_ = false;
  const TripleDes* cipher_ = nullptr;
};

}  // namespace tmx
