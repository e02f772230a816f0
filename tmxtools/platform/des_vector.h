// Vectors for the DES kernels, and Boolean functions of them.
//
// Everything stands in an unnamed namespace: each file that includes this has a copy of its own,
// compiled for its own instruction set, and the linker never takes one for another.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tmx::des {
namespace {

static_assert(std::endian::native == std::endian::little, "blocks are loaded as they stand");

// A vector of 64-bit words, one block each where blocks go in and out, and its other views.
template <std::size_t Length>
struct VectorOf {
  typedef std::uint64_t Words __attribute__((vector_size(Length)));
  typedef std::uint32_t Halves __attribute__((vector_size(Length)));
  typedef std::uint8_t Bytes __attribute__((vector_size(Length)));
};

// Functions of two bits by their truth table: bit 2x + y holds the value for x and y.
template <unsigned Table, class V>
[[gnu::always_inline]] inline V Two(const V& x, const V& y) {
  if constexpr ((Table & 1) != 0) return ~Two<15 - Table>(x, y);
  if constexpr (Table == 0) return x ^ x;
  if constexpr (Table == 2) return ~x & y;
  if constexpr (Table == 4) return x & ~y;
  if constexpr (Table == 6) return x ^ y;
  if constexpr (Table == 8) return x & y;
  if constexpr (Table == 10) return y;
  if constexpr (Table == 12) return x;
  if constexpr (Table == 14) return x | y;
}

// Operations that every processor has, on vectors of the compiler.
template <std::size_t Length>
struct PlainOps {
  using V = typename VectorOf<Length>::Words;
  using Bytes = typename VectorOf<Length>::Bytes;
  using Halves = typename VectorOf<Length>::Halves;

  // Whether Mix() is one instruction.
  static constexpr bool kHasTernaryLogic = false;
  // A function of three bits: bit 4a + 2b + c of the table.
  template <unsigned Table>
  [[gnu::always_inline]] static V Mix(const V& a, const V& b, const V& c) {
    constexpr unsigned without_a = Table & 15;
    constexpr unsigned with_a = Table >> 4;
    return Two<without_a>(b, c) ^ (a & Two<without_a ^ with_a>(b, c));
  }

  [[gnu::always_inline]] static V Broadcast(std::uint32_t word) {
    return reinterpret_cast<V>(Halves{} + word);
  }
  // Adds to each byte.
  [[gnu::always_inline]] static V AddBytes(const V& v, std::uint8_t byte) {
    return reinterpret_cast<V>(reinterpret_cast<Bytes>(v) + byte);
  }
  // For each byte the entry that its low four bits name; 0 where its highest bit is set.
  // Operations may have Lookup64() too, which looks bytes below 64 up in a table of that length.
  [[gnu::always_inline]] static V Lookup(const std::uint8_t* table, const V& v) {
    const Bytes indexes = reinterpret_cast<Bytes>(v);
    Bytes found{};
    for (std::size_t i = 0; i < Length; ++i)
      found[i] = (indexes[i] & 0x80) != 0 ? std::uint8_t{0} : table[indexes[i] & 0x0F];
    return reinterpret_cast<V>(found);
  }
};

// Exchanges in each word the upper bits of each group of 2 * Shift bits of `a` with the lower ones
// of `b`. Done for all distances of a square of bits it is transposed.
template <int Shift, class V>
[[gnu::always_inline]] inline void Exchange(V& a, V& b) {
  constexpr std::uint64_t mask = ~std::uint64_t{0} / ((std::uint64_t{1} << Shift) + 1);
  const V moved = ((a >> Shift) ^ b) & mask;
  b ^= moved;
  a ^= moved << Shift;
}

// The three distances of eight rows: Shift for neighbours, four times that for the farthest.
template <int Shift, class V>
[[gnu::always_inline]] inline void TransposeEight(V (&rows)[8]) {
  Exchange<4 * Shift>(rows[0], rows[4]);
  Exchange<4 * Shift>(rows[1], rows[5]);
  Exchange<4 * Shift>(rows[2], rows[6]);
  Exchange<4 * Shift>(rows[3], rows[7]);
  Exchange<2 * Shift>(rows[0], rows[2]);
  Exchange<2 * Shift>(rows[1], rows[3]);
  Exchange<2 * Shift>(rows[4], rows[6]);
  Exchange<2 * Shift>(rows[5], rows[7]);
  Exchange<Shift>(rows[0], rows[1]);
  Exchange<Shift>(rows[2], rows[3]);
  Exchange<Shift>(rows[4], rows[5]);
  Exchange<Shift>(rows[6], rows[7]);
}

}  // namespace
}  // namespace tmx::des
