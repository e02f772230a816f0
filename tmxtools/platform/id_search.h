// Searching sorted 32-bit keys without branches that could be guessed wrong.
//
// Every key of a group of 16 is compared at once. On x86-64 that takes four compare instructions of
// the set that each such processor has; wider ones were measured and gain nothing, because the call
// through a run-time choice costs what they save. Elsewhere a plain search does the same.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Groups are aligned like vectors. Unused places, behind the last key, hold kNoKey, the greatest.
constexpr std::size_t kKeyGroup = 16;
constexpr SearchKey kNoKey = INT32_MAX;

// The plain forms, which the others must agree with. A rank is the number of keys below `key`:
// where it stands or would stand. The other gives the first place where it stands, kKeyGroup for
// none.
inline std::size_t PlainRank(const SearchKey* group, SearchKey key) {
  return static_cast<std::size_t>(std::lower_bound(group, group + kKeyGroup, key) - group);
}
inline std::size_t PlainFind(const SearchKey* group, SearchKey key) {
  return static_cast<std::size_t>(std::find(group, group + kKeyGroup, key) - group);
}

#if defined(__SSE2__)
// One bit for each key of a group, from comparing four at a time.
template <class Compare>
inline unsigned CompareGroup(const SearchKey* group, SearchKey key, Compare compare) {
  const __m128i wanted = _mm_set1_epi32(key);
  const auto* const quads = reinterpret_cast<const __m128i*>(group);
  const auto quad = [=](int i) { return compare(wanted, _mm_load_si128(quads + i)); };
  const __m128i low = _mm_packs_epi32(quad(0), quad(1));
  const __m128i high = _mm_packs_epi32(quad(2), quad(3));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
}
inline std::size_t RankInGroup(const SearchKey* group, SearchKey key) {
  const unsigned below = CompareGroup(
      group, key, [](__m128i wanted, __m128i quad) { return _mm_cmpgt_epi32(wanted, quad); });
  return static_cast<unsigned>(__builtin_ctz(~below));  // the upper half of `below` is clear
}
inline std::size_t FindInGroup(const SearchKey* group, SearchKey key) {
  const unsigned equal = CompareGroup(
      group, key, [](__m128i wanted, __m128i quad) { return _mm_cmpeq_epi32(wanted, quad); });
  return static_cast<unsigned>(__builtin_ctz(equal | 1u << kKeyGroup));
}
#else
inline std::size_t RankInGroup(const SearchKey* group, SearchKey key) {
  return PlainRank(group, key);
}
inline std::size_t FindInGroup(const SearchKey* group, SearchKey key) {
  return PlainFind(group, key);
}
#endif

}  // namespace tmx
