#if defined(__AVX2__)
#include "tmxtools/platform/ripemd160_lanes.h"
#include "tmxtools/platform/ripemd160_wide.h"

namespace tmx::ripemd160 {

const LaneKernel kAvx2 = {8, CompressLanes<8, PlainWords<Vector<8>>>};

}  // namespace tmx::ripemd160
#endif
