#include "tmxtools/platform/ripemd160_kernels.h"

// Vectors wider than the processor's go from function to function here, but all of these are
// inlined.
#pragma GCC diagnostic ignored "-Wpsabi"
#include "tmxtools/platform/ripemd160_lanes.h"
#include "tmxtools/platform/ripemd160_wide.h"

namespace tmx::ripemd160 {
namespace {

constexpr LaneKernel kPortable = {4, CompressLanes<4, PlainWords<Vector<4>>>};
constexpr LaneKernel kPortableSixteen = {16, CompressLanes<16, PlainWords<Vector<16>>>};

}  // namespace

void Compress(State& state, const std::uint8_t* blocks, std::size_t count) {
  State words = state;
  for (; count > 0; --count, blocks += kBlockLength) {
    std::uint32_t block[16];
    std::memcpy(block, blocks, sizeof(block));
    CompressWords<PlainWords<std::uint32_t>>(words.data(), block);
  }
  state = words;
}

const LaneKernel& KernelFor(CpuLevel level) {
#if defined(__x86_64__)
  if (level == CpuLevel::Avx512) return kAvx512;
  if (level == CpuLevel::Avx2) return kAvx2;
#endif
  static_cast<void>(level);
  return kPortable;
}

const LaneKernel& PortableSixteenLanes() { return kPortableSixteen; }

}  // namespace tmx::ripemd160
