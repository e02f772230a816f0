// Two-key triple DES of many blocks at once. What one block alone takes is left to the crypto
// library; see TripleDes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/cpu_features.h"
#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/des_schedule.h"

namespace tmx::des {

// Ciphers `lanes` independent blocks where they stand.
struct Kernel {
  std::size_t lanes;
  void (*run)(const Schedule& schedule, std::uint64_t* blocks);
};

// A level's kernel for many blocks and that for few, which needs less time for a call and more for
// a block. Below `fewest` blocks at a time the crypto library is faster than both.
struct Kernels {
  Kernel wide;
  Kernel narrow;
  std::size_t narrow_up_to;  // blocks that the narrow kernel does faster
  std::size_t fewest;
};
inline constexpr std::size_t kMostLanes = 512;

const Kernels& KernelsFor(CpuLevel level);
// The kernels of AVX-512, without and with its lookup of 64 entries, as they run on any processor,
// for tests where there is no AVX-512.
const Kernels& PortableWidest();
const Kernels& PortableWidestLookup();

// How many blocks of `count` chained ones can be ciphered at the same time.
constexpr std::size_t AtATime(CipherDirection direction, std::size_t count) {
  return direction == CipherDirection::Encrypt ? count : 3 * count;
}

// As TripleDes does it, for any count.
void Blocks(const Kernels& kernels, const Schedules& schedules, CipherDirection direction,
            const std::uint8_t* in, std::uint8_t* out, std::size_t count);
void ChainedBlocks(const Kernels& kernels, const Schedules& schedules, CipherDirection direction,
                   const std::uint8_t* in, std::uint8_t* out, std::size_t count);

}  // namespace tmx::des
