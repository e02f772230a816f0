// RIPEMD-160 of several streams side by side, one in each lane of a vector. The vectors are those
// of the compiler, so the same text serves every instruction set; it is made for one by the file
// that includes it (see ripemd160_steps.h for the unnamed namespace).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "tmxtools/platform/ripemd160_kernels.h"
#include "tmxtools/platform/ripemd160_steps.h"

namespace tmx::ripemd160 {
namespace {

static_assert(std::endian::native == std::endian::little, "words are loaded as they stand");

template <std::size_t Lanes>
struct VectorOf {
  typedef std::uint32_t Type __attribute__((vector_size(Lanes * 4)));
};
template <std::size_t Lanes>
using Vector = typename VectorOf<Lanes>::Type;

// Vectors fall into groups of four lanes, within which and as which words move most cheaply.
constexpr int kGroup = 4;

// Interleaves runs of `Run` words of two vectors, group by group: the lower half of each group into
// `a`, the upper half into `b`.
template <int Run, class V, int... Lane>
[[gnu::always_inline]] inline void InterleaveWords(V& a, V& b,
                                                   std::integer_sequence<int, Lane...>) {
  constexpr int lanes = sizeof...(Lane);
  const V low = __builtin_shufflevector(a, b,
                                        (Lane / Run % 2 * lanes + Lane / kGroup * kGroup +
                                         Lane % kGroup / (2 * Run) * Run + Lane % Run)...);
  b = __builtin_shufflevector(a, b,
                              (Lane / Run % 2 * lanes + Lane / kGroup * kGroup + kGroup / 2 +
                               Lane % kGroup / (2 * Run) * Run + Lane % Run)...);
  a = low;
}

// Gathers the even groups of two vectors into `a`, their odd groups into `b`.
template <class V, int... Lane>
[[gnu::always_inline]] inline void SplitGroups(V& a, V& b, std::integer_sequence<int, Lane...>) {
  const V even = __builtin_shufflevector(a, b, (Lane / kGroup * 2 * kGroup + Lane % kGroup)...);
  b = __builtin_shufflevector(a, b, (Lane / kGroup * 2 * kGroup + kGroup + Lane % kGroup)...);
  a = even;
}

// Makes the rows of a square of words its columns.
template <std::size_t Lanes>
[[gnu::always_inline]] inline void Transpose(Vector<Lanes>* rows) {
  constexpr auto lanes = std::make_integer_sequence<int, Lanes>{};
  for (std::size_t i = 0; i < Lanes; i += 4) {
    InterleaveWords<1>(rows[i], rows[i + 1], lanes);
    InterleaveWords<1>(rows[i + 2], rows[i + 3], lanes);
    InterleaveWords<2>(rows[i], rows[i + 2], lanes);
    InterleaveWords<2>(rows[i + 1], rows[i + 3], lanes);
    std::swap(rows[i + 1], rows[i + 2]);
  }
  for (std::size_t distance = 4; distance < Lanes; distance *= 2) {
    for (std::size_t i = 0; i < Lanes; ++i) {
      if ((i & distance) == 0) SplitGroups(rows[i], rows[i + distance], lanes);
    }
  }
}

// A LaneKernel's function. Words is a PlainWords of Vector<Lanes> or derives from one.
template <std::size_t Lanes, class Words>
void CompressLanes(std::uint32_t* states, const std::uint8_t* const* blocks, std::size_t count) {
  using V = Vector<Lanes>;
  V state[5];
  std::memcpy(state, states, sizeof(state));
  for (std::size_t i = 0; i < count; ++i) {
    V block[16];
    for (std::size_t part = 0; part < 16; part += Lanes) {
      for (std::size_t lane = 0; lane < Lanes; ++lane) {
        std::memcpy(&block[part + lane], blocks[lane] + i * kBlockLength + part * 4, sizeof(V));
      }
      Transpose<Lanes>(block + part);
    }
    CompressWords<Words>(state, block);
  }
  std::memcpy(states, state, sizeof(state));
}

}  // namespace
}  // namespace tmx::ripemd160
