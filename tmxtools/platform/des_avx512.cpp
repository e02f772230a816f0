#if defined(__AVX512F__)
#include "tmxtools/platform/des_avx512_ops.h"
#include "tmxtools/platform/des_levels.h"
#include "tmxtools/platform/des_narrow.h"
#include "tmxtools/platform/des_wide.h"

namespace tmx::des {

const Kernels kAvx512 = {kWideKernel<Avx512Ops>, kNarrowKernel<Avx512Ops>, 256, 4};

}  // namespace tmx::des
#endif
