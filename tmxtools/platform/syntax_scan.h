// Finding the syntax characters of HBCI messages, many bytes at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/cpu_features.h"

namespace tmx {

// Characters of one block of 64 bytes; bit i stands for byte i.
struct SyntaxBits {
  std::uint64_t ends;      // "'", which ends segments
  std::uint64_t specials;  // "?" and "@", which take the meaning of what follows them
};

// One form for each instruction set. All give the same bits.
struct SyntaxScan {
  static constexpr std::size_t kBlock = 64;

  // Fills in one entry for each of `blocks` whole blocks.
  void (*find_ends)(const char* data, std::size_t blocks, SyntaxBits* found);
  // Where in one whole block any of ' + : ? @ stands.
  std::uint64_t (*find_all)(const char* block);
};

// The form for a level; the level must not be above DetectedCpuLevel().
const SyntaxScan& SyntaxScanFor(CpuLevel level);

}  // namespace tmx
