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

std::size_t NumberFrom(const char* variable, std::size_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::vector<StoreKind> Kinds() { return {PlainFiles(), CryptFiles()}; }

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
            << simulator.Losses() << " losses; with those in recoveries there were "
            << simulator.Exhausted() + simulator.Sampled() << " moments: at "
            << simulator.Exhausted() << " everything that a power cut could leave was tried, at "
            << simulator.Sampled() << " some of it\n";
}

TEST(BarrierChecker, FindsNoneMissing) {
  for (const StoreKind& kind : Kinds()) {
    for (unsigned seed = 0; seed < 200; ++seed) {
      EXPECT_THAT(MissingBarriers(Record(kind, seed)), testing::IsEmpty()) << seed;
    }
  }
}

TEST(BarrierChecker, FindsEachThatIsMissing) {
  for (const Barrier barrier : {Barrier::kLogBeforeOverwrite, Barrier::kDataBeforeClearing,
                                Barrier::kClearing, Barrier::kLogName, Barrier::kDataName}) {
    for (const StoreKind& kind : Kinds()) {
      std::vector<Barrier> missing;
      for (unsigned seed = 0; missing.empty() && seed < 50; ++seed) {
        missing = MissingBarriers(Without(Record(kind, seed), barrier));
      }
      EXPECT_THAT(missing, Contains(barrier)) << kind.name << " " << static_cast<int>(barrier);
    }
  }
}

// Each barrier is needed: without it crashes lose something.
class WithoutABarrier : public testing::TestWithParam<Barrier> {
 protected:
  static void ExpectLosses(const StoreKind& kind) {
    Simulator simulator(1, GetParam());
    for (unsigned seed = 0; simulator.Losses() == 0 && seed < 200; ++seed) {
      simulator.Run(kind, Without(Record(kind, seed), GetParam()));
    }
    EXPECT_GT(simulator.Losses(), 0u) << kind.name;
  }
};

TEST_P(WithoutABarrier, CrashesLoseSomething) {
  ExpectLosses(PlainFiles());
  // Encrypted files hardly ever grow without overwriting their last block, whose record is synced,
  // and lengths that need the mark are those of short files.
  const bool is_for_growth =
      GetParam() == Barrier::kMark || GetParam() == Barrier::kLogBeforeGrowth;
  if (!is_for_growth) ExpectLosses(CryptFiles());
}

INSTANTIATE_TEST_SUITE_P(Each, WithoutABarrier,
                         testing::Values(Barrier::kLogBeforeOverwrite, Barrier::kLogBeforeGrowth,
                                         Barrier::kDataBeforeClearing, Barrier::kDataBeforeBegin,
                                         Barrier::kClearing, Barrier::kEmptyLogAtOpen,
                                         Barrier::kLogName, Barrier::kDataName, Barrier::kMark));

}  // namespace
