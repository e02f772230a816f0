// Searching sorted 32-bit keys with the vector instructions that the processor has.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tmxtools/platform/export.h"

namespace tmx {

// A key as it is searched: ids map onto it in their order. Vector instructions compare signed
// numbers, hence the shift by half the range.
using SearchKey = std::int32_t;
constexpr SearchKey ToSearchKey(std::uint32_t id) {
  return static_cast<SearchKey>(id ^ 0x80000000u);
}
constexpr std::uint32_t ToId(SearchKey key) {
  return static_cast<std::uint32_t>(key) ^ 0x80000000u;
}

// Keys come in blocks of this size; unused places behind the last key hold kNoKey, the greatest.
constexpr std::size_t kKeyBlock = 16;
constexpr SearchKey kNoKey = INT32_MAX;

// The number of keys below `key` among `blocks` sorted blocks, which is where it stands or would
// stand. Meant for at most some ten blocks: all are looked at.
using RankFunction = std::size_t (*)(const SearchKey* keys, std::size_t blocks, SearchKey key);

struct RankKernel {
  const char* name;
  RankFunction rank;
  bool supported;  // by this processor
};

// All kernels of this architecture, the best first; the last is plain C++ and always supported.
TMX_EXPORT std::span<const RankKernel> RankKernels();

// The best kernel that this processor supports; found out by the first call.
TMX_EXPORT extern std::atomic<RankFunction> best_rank;
inline std::size_t Rank(const SearchKey* keys, std::size_t blocks, SearchKey key) {
  return best_rank.load(std::memory_order_relaxed)(keys, blocks, key);
}

}  // namespace tmx
