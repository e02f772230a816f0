// The operations of des_vector.h with AVX-512. For the unnamed namespace see there.
#pragma once

#if defined(__AVX512F__)
#include <immintrin.h>

#include <cstdint>

#include "tmxtools/platform/des_vector.h"

namespace tmx::des {
namespace {

struct Avx512Ops : PlainOps<64> {
  static constexpr bool kHasTernaryLogic = true;
  template <unsigned Table>
  [[gnu::always_inline]] static V Mix(const V& a, const V& b, const V& c) {
    return reinterpret_cast<V>(_mm512_ternarylogic_epi64(reinterpret_cast<__m512i>(a),
                                                         reinterpret_cast<__m512i>(b),
                                                         reinterpret_cast<__m512i>(c), Table));
  }
  [[gnu::always_inline]] static V Lookup(const std::uint8_t* table, const V& v) {
    const __m128i entries = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table));
    return reinterpret_cast<V>(_mm512_shuffle_epi8(_mm512_maskz_broadcast_i32x4(0xFFFF, entries),
                                                   reinterpret_cast<__m512i>(v)));
  }
};

}  // namespace
}  // namespace tmx::des
#endif
