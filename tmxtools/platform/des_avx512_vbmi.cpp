#if defined(__AVX512VBMI__)
#include <immintrin.h>

#include "tmxtools/platform/des_avx512_ops.h"
#include "tmxtools/platform/des_levels.h"
#include "tmxtools/platform/des_narrow.h"
#include "tmxtools/platform/des_wide.h"

namespace tmx::des {
namespace {

// One instruction looks an S-box up.
struct VbmiOps : Avx512Ops {
  [[gnu::always_inline]] static V Lookup64(const std::uint8_t* table, const V& v) {
    return reinterpret_cast<V>(_mm512_maskz_permutexvar_epi8(
        ~__mmask64{0}, reinterpret_cast<__m512i>(v), _mm512_loadu_si512(table)));
  }
};

}  // namespace

const Kernels kAvx512Vbmi = {kWideKernel<Avx512Ops>, kNarrowKernel<VbmiOps>, 256, 4};

}  // namespace tmx::des
#endif
