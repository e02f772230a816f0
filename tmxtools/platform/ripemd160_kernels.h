// The compression of RIPEMD-160: of one stream, and of many streams of equal length side by side.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/cpu_features.h"

namespace tmx::ripemd160 {

inline constexpr std::size_t kBlockLength = 64;
inline constexpr std::size_t kDigestLength = 20;
inline constexpr std::size_t kMostLanes = 16;

using State = std::array<std::uint32_t, 5>;
inline constexpr State kInitialState = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

// Compresses `count` consecutive blocks of 64 bytes into the state.
void Compress(State& state, const std::uint8_t* blocks, std::size_t count);

// Compresses `count` consecutive blocks of each of `lanes` streams. `states` holds word 0 of all
// lanes, then word 1 of all lanes and so on; `blocks` has one pointer a lane. No alignment is
// asked.
struct LaneKernel {
  std::size_t lanes;
  void (*compress)(std::uint32_t* states, const std::uint8_t* const* blocks, std::size_t count);
};

// The widest kernel that runs on processors of this level.
const LaneKernel& KernelFor(CpuLevel level);
// The kernel of AVX-512 as it runs on any processor, for tests where there is no AVX-512.
const LaneKernel& PortableSixteenLanes();

}  // namespace tmx::ripemd160
