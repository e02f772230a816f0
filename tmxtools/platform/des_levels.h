// The DES kernels that only some processors run.
#pragma once

#include "tmxtools/platform/des_kernels.h"

#if defined(__x86_64__)
namespace tmx::des {

extern const Kernels kAvx2;
extern const Kernels kAvx512;
extern const Kernels kAvx512Vbmi;

}  // namespace tmx::des
#endif
