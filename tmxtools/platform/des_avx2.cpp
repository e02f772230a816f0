#if defined(__AVX2__)
#include <immintrin.h>

#include "tmxtools/platform/des_levels.h"
#include "tmxtools/platform/des_narrow.h"
#include "tmxtools/platform/des_wide.h"

namespace tmx::des {
namespace {

struct Avx2Ops : PlainOps<32> {
  [[gnu::always_inline]] static V Lookup(const std::uint8_t* table, const V& v) {
    const __m128i entries = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table));
    return reinterpret_cast<V>(
        _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(entries), reinterpret_cast<__m256i>(v)));
  }
};

}  // namespace

const Kernels kAvx2 = {kWideKernel<Avx2Ops>, kNarrowKernel<Avx2Ops>, 128, 4};

}  // namespace tmx::des
#endif
