#include "tmxtools/platform/cpu_features.h"

#include <algorithm>
#include <atomic>

namespace tmx {
namespace {

CpuLevel Detect() {
#if defined(__x86_64__)
  // These ask the operating system too, whether it keeps the wide registers.
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2")) return CpuLevel::Portable;
  const bool has_512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                       __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
  return has_512 ? CpuLevel::Avx512 : CpuLevel::Avx2;
#else
  return CpuLevel::Portable;
#endif
}

// The highest level that kernels may use.
std::atomic<CpuLevel> highest{CpuLevel::Avx512};

}  // namespace

CpuLevel DetectedCpuLevel() {
  static const CpuLevel level = Detect();
  return level;
}

bool HasByteLookup() {
#if defined(__x86_64__)
  static const bool has =
      DetectedCpuLevel() == CpuLevel::Avx512 && __builtin_cpu_supports("avx512vbmi") != 0;
  return has;
#else
  return false;
#endif
}

CpuLevel CurrentCpuLevel() {
  return std::min(DetectedCpuLevel(), highest.load(std::memory_order_relaxed));
}

ScopedCpuLevel::ScopedCpuLevel(CpuLevel level)
    : before_(highest.exchange(level, std::memory_order_relaxed)) {}

ScopedCpuLevel::~ScopedCpuLevel() { highest.store(before_, std::memory_order_relaxed); }

}  // namespace tmx
