// Which instruction sets the processor offers to kernels that have a form for each.
#pragma once

namespace tmx {

// Each level has all that the levels before it have. A kernel without a form for a level uses that
// of the level below.
enum class CpuLevel {
  Portable,  // what the compiler's target has anyway
  Avx2,
  Avx512,  // F, BW, DQ and VL
};

// What processor and operating system offer.
CpuLevel DetectedCpuLevel();
// Whether beside AVX-512 there is a lookup of bytes in 64 entries (VBMI).
bool HasByteLookup();
// What kernels use: the detected level, unless a ScopedCpuLevel lowers it.
CpuLevel CurrentCpuLevel();

// For tests and benchmarks: keeps kernels at this level while it lives, or at the detected one if
// that is lower. Threads: set from one thread at a time.
class ScopedCpuLevel {
 public:
  explicit ScopedCpuLevel(CpuLevel level);
  ScopedCpuLevel(const ScopedCpuLevel&) = delete;
  ScopedCpuLevel& operator=(const ScopedCpuLevel&) = delete;
  ~ScopedCpuLevel();

 private:
  CpuLevel before_;
};

}  // namespace tmx
