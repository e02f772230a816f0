// Benchmarks of kernels: a case is run once for each instruction set that this processor has, under
// the name CASE + level, so that a target binds only where its instruction set exists.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

#include "tmxtools/platform/cpu_features.h"

namespace tmx {

using BenchFunction = void (*)(benchmark::State&);

// Registers NAME_Ours at every level, each beside NAME_PEER, which knows no levels.
inline void RegisterAtEachLevel(const std::string& name, BenchFunction ours,
                                const std::string& peer_name, BenchFunction peer) {
  constexpr const char* kLevels[] = {"Portable", "Avx2", "Avx512"};
  for (int i = 0; i <= static_cast<int>(DetectedCpuLevel()); ++i) {
    const std::string level_name = name + kLevels[i];
    const auto at_level = [ours, level = static_cast<CpuLevel>(i)](benchmark::State& state) {
      const ScopedCpuLevel scope(level);
      ours(state);
    };
    benchmark::RegisterBenchmark((level_name + "_Ours").c_str(), at_level);
    benchmark::RegisterBenchmark((level_name + "_" + peer_name).c_str(), peer);
  }
}

}  // namespace tmx
