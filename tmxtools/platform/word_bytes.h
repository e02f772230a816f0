// Eight bytes at a time in plain arithmetic.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tmx {

constexpr std::uint64_t InEveryByte(std::uint8_t byte) { return byte * 0x0101010101010101u; }

// The first byte lowest, whichever way the processor orders them.
inline std::uint64_t LoadBytes(const char* data) {
  std::uint64_t word;
  std::memcpy(&word, data, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

// The top bit of every byte of `word` that equals `byte`; the other bits are 0.
constexpr std::uint64_t TopBitsWhereEqual(std::uint64_t word, char byte) {
  constexpr std::uint64_t low_bits = InEveryByte(0x7F);
  const std::uint64_t differences = word ^ InEveryByte(static_cast<std::uint8_t>(byte));
  return ~(((differences & low_bits) + low_bits) | differences | low_bits);
}

// Top bits as one bit for each byte, the first byte lowest.
constexpr std::uint64_t GatherTopBits(std::uint64_t top_bits) {
  return ((top_bits >> 7) * 0x0102040810204080u) >> 56;
}

}  // namespace tmx
