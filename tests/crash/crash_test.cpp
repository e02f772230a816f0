// How many crashes there are is said by TMX_CRASHES; `./dev crash` asks for a million.
#include <cstdlib>
#include <iostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/crash/simulator.h"

namespace {

using namespace tmx::crash;
using testing::Contains;
using testing::Each;
using testing::Not;

std::size_t NumberFrom(const char* variable, std::size_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::vector<StoreKind> Kinds() { return {PlainFiles()}; }

TEST(PowerCuts, LeaveTheStateBeforeOrTheStateAfter) {
  const std::size_t count = NumberFrom("TMX_CRASHES", 20000);
  Simulator simulator(1);
  std::size_t operations = 0;
  for (unsigned seed = 0; simulator.Crashes() < count; ++seed) {
    for (const StoreKind& kind : Kinds()) {
      const Trace trace = Record(kind, seed);
      operations += trace.moments.size();
      simulator.Run(kind, trace);
    }
    ASSERT_EQ(simulator.Losses(), 0u) << "seed " << seed << ": " << simulator.FirstLoss();
  }
  std::cout << simulator.Crashes() << " crashes at " << operations << " moments, "
            << simulator.Losses() << " losses\n";
}

TEST(BarrierChecker, FindsNoneMissing) {
  for (const StoreKind& kind : Kinds()) {
    for (unsigned seed = 0; seed < 200; ++seed) {
      EXPECT_THAT(MissingBarriers(Record(kind, seed)), testing::IsEmpty()) << seed;
    }
  }
}

// Each barrier is needed: without it the checker finds it missing and crashes lose something.
class WithoutABarrier : public testing::TestWithParam<Barrier> {
 protected:
  static void ExpectLosses(const StoreKind& kind) {
    Simulator simulator(1);
    for (unsigned seed = 0; simulator.Losses() == 0 && seed < 400; ++seed) {
      simulator.Run(kind, Without(Record(kind, seed), GetParam()));
    }
    EXPECT_GT(simulator.Losses(), 0u) << kind.name;
  }
};

TEST_P(WithoutABarrier, CrashesLoseSomething) {
  for (const StoreKind& kind : Kinds()) ExpectLosses(kind);
}

TEST_P(WithoutABarrier, TheCheckerFindsItMissing) {
  if (GetParam() == Barrier::kMark) GTEST_SKIP() << "the mark is no barrier of its own";
  for (const StoreKind& kind : Kinds()) {
    std::vector<Barrier> missing;
    for (unsigned seed = 0; missing.empty() && seed < 50; ++seed) {
      missing = MissingBarriers(Without(Record(kind, seed), GetParam()));
    }
    EXPECT_THAT(missing, Contains(GetParam())) << kind.name;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, WithoutABarrier,
                         testing::Values(Barrier::kLogBeforeOverwrite, Barrier::kDataBeforeClearing,
                                         Barrier::kClearing, Barrier::kLogName, Barrier::kMark));

}  // namespace
