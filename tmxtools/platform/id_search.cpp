#include "tmxtools/platform/id_search.h"

#include <algorithm>
#include <array>
#include <bit>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tmx {
namespace {

std::size_t RankScalar(const SearchKey* keys, std::size_t blocks, SearchKey key) {
  return static_cast<std::size_t>(std::lower_bound(keys, keys + blocks * kKeyBlock, key) - keys);
}

#if defined(__x86_64__)

// The comparisons below give one bit for each key; in a sorted array as many bits as keys below.

std::size_t RankSse2(const SearchKey* keys, std::size_t blocks, SearchKey key) {
  const __m128i wanted = _mm_set1_epi32(key);
  const auto below = [&](const SearchKey* at) {
    return _mm_cmplt_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)), wanted);
  };
  std::size_t rank = 0;
  for (const SearchKey* const end = keys + blocks * kKeyBlock; keys != end; keys += kKeyBlock) {
    const __m128i low = _mm_packs_epi32(below(keys), below(keys + 4));
    const __m128i high = _mm_packs_epi32(below(keys + 8), below(keys + 12));
    const auto bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    rank += static_cast<std::size_t>(std::countr_one(bits));
  }
  return rank;
}

__attribute__((target("avx2,popcnt"))) std::size_t RankAvx2(const SearchKey* keys,
                                                            std::size_t blocks, SearchKey key) {
  const __m256i wanted = _mm256_set1_epi32(key);
  std::size_t rank = 0;
  for (const SearchKey* const end = keys + blocks * kKeyBlock; keys != end; keys += kKeyBlock) {
    const auto* const at = reinterpret_cast<const __m256i*>(keys);
    const __m256i low = _mm256_cmpgt_epi32(wanted, _mm256_loadu_si256(at));
    const __m256i high = _mm256_cmpgt_epi32(wanted, _mm256_loadu_si256(at + 1));
    const auto bits = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_packs_epi32(low, high)));
    rank += static_cast<std::size_t>(_mm_popcnt_u32(bits)) / 2;
  }
  return rank;
}

__attribute__((target("avx512f,popcnt"))) std::size_t RankAvx512(const SearchKey* keys,
                                                                 std::size_t blocks,
                                                                 SearchKey key) {
  const __m512i wanted = _mm512_set1_epi32(key);
  std::size_t rank = 0;
  for (const SearchKey* const end = keys + blocks * kKeyBlock; keys != end; keys += kKeyBlock) {
    const __mmask16 bits = _mm512_cmplt_epi32_mask(_mm512_loadu_si512(keys), wanted);
    rank += static_cast<std::size_t>(_mm_popcnt_u32(bits));
  }
  return rank;
}

#endif

std::size_t RankFirst(const SearchKey* keys, std::size_t blocks, SearchKey key) {
  const RankFunction rank =
      std::ranges::find_if(RankKernels(), [](const RankKernel& k) { return k.supported; })->rank;
  best_rank.store(rank, std::memory_order_relaxed);
  return rank(keys, blocks, key);
}

}  // namespace

constinit std::atomic<RankFunction> best_rank{&RankFirst};

std::span<const RankKernel> RankKernels() {
  static const auto kernels = std::to_array<RankKernel>({
#if defined(__x86_64__)
    {"avx512", &RankAvx512, __builtin_cpu_supports("avx512f") != 0},
        {"avx2", &RankAvx2, __builtin_cpu_supports("avx2") != 0}, {"sse2", &RankSse2, true},
#endif
        {"scalar", &RankScalar, true},
  });
  return kernels;
}

}  // namespace tmx
