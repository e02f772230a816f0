// The kernels of RIPEMD-160 that only some processors run.
#pragma once

#include "tmxtools/platform/ripemd160_kernels.h"

#if defined(__x86_64__)
namespace tmx::ripemd160 {

extern const LaneKernel kAvx2;
extern const LaneKernel kAvx512;

}  // namespace tmx::ripemd160
#endif
