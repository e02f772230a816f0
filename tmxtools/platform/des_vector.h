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
constexpr int CostOfTwo(unsigned table) {
  if (table == 0 || table == 10 || table == 12 || table == 15) return 0;
  const bool is_negated = (table & 1) != 0;
  return is_negated ? 1 + CostOfTwo(15 - table) : 1;
}

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

// A function of three bits (bit 4a + 2b + c of the table) made of functions of two: one of the
// three selects between f0 and f1, the functions that remain of the other two.
struct Choice {
  int selector;
  enum { FromZero, FromOne, Or } form;
  int cost;
  unsigned f0;
  unsigned f1;
};

constexpr unsigned Restrict(unsigned table, int selector, unsigned value) {
  const int shift = 2 - selector;
  unsigned result = 0;
  for (unsigned at = 0, out = 0; at < 8; ++at) {
    if ((at >> shift & 1) != value) continue;
    result |= (table >> at & 1) << out++;
  }
  return result;
}

constexpr int CostOfSelect(unsigned base, unsigned difference) {
  if (difference == 0) return CostOfTwo(base);
  const int selected = difference == 15 ? 0 : CostOfTwo(difference) + 1;
  return CostOfTwo(base) + selected + (base == 0 ? 0 : 1);
}

constexpr Choice Cheapest(unsigned table) {
  Choice best{0, Choice::FromZero, 99, 0, 0};
  for (int selector = 0; selector < 3; ++selector) {
    const unsigned f0 = Restrict(table, selector, 0);
    const unsigned f1 = Restrict(table, selector, 1);
    const Choice choices[] = {
        {selector, Choice::FromZero, CostOfSelect(f0, f0 ^ f1), f0, f1},
        {selector, Choice::FromOne, CostOfSelect(f1, f0 ^ f1), f0, f1},
        {selector, Choice::Or, f1 == 15 ? CostOfTwo(f0) + 1 : 99, f0, f1},
    };
    for (const Choice& choice : choices)
      if (choice.cost < best.cost) best = choice;
  }
  return best;
}

// Operations that every processor has, on vectors of the compiler.
template <std::size_t Length>
struct PlainOps {
  using V = typename VectorOf<Length>::Words;
  using Bytes = typename VectorOf<Length>::Bytes;
  using Halves = typename VectorOf<Length>::Halves;

  template <unsigned Table>
  [[gnu::always_inline]] static V Mix(const V& a, const V& b, const V& c) {
    constexpr Choice by = Cheapest(Table);
    constexpr unsigned difference = by.f0 ^ by.f1;
    const V& selector = by.selector == 0 ? a : by.selector == 1 ? b : c;
    const V& x = by.selector == 0 ? b : a;
    const V& y = by.selector == 2 ? b : c;
    if constexpr (by.form == Choice::Or)
      return selector | Two<by.f0>(x, y);
    else if constexpr (difference == 15)
      return Two<by.f0>(x, y) ^ selector;
    else if constexpr (by.form == Choice::FromZero)
      return Two<by.f0>(x, y) ^ (selector & Two<difference>(x, y));
    else
      return Two<by.f1>(x, y) ^ (~selector & Two<difference>(x, y));
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
