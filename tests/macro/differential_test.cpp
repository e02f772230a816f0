// The library's engine against the reference engine on random programs.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/engine_run.h"
#include "tests/support/long_run.h"
#include "tests/support/program_generator.h"
#include "tests/support/reference_engine.h"
#include "tmxtools/platform/clock.h"

namespace tmx {
namespace {

constexpr std::uint64_t kMaxFetches = 20000;
constexpr std::uint64_t kStopAt = 3000;

RunOutcome Reference(const Program& program, const ObserverPlan& plan, bool* endless = nullptr) {
  ReferenceEngine engine(EngineHost::kMacroDir);
  engine.PushFile(program.general);
  engine.PushFile(program.file);
  RunOutcome outcome = engine.Run(program.sub, program.params, plan, kMaxFetches);
  if (endless != nullptr) *endless = engine.HitLimit();
  return outcome;
}

RunOutcome Production(const Program& program, const ObserverPlan& plan,
                      EngineHost::Variant variant = EngineHost::kPlain) {
  EngineHost host(variant);
  host.Write(program.general);
  host.PushFile(program.file);
  return host.Run(program.sub, program.params, plan);
}

// The lines in which the engines differ, empty when they agree.
std::string Compare(const Program& program) {
  bool endless = false;
  const RunOutcome expected = Reference(program, {}, &endless);
  ObserverPlan plan;
  plan.attached = true;
  if (endless) {
    plan.stop_at = kStopAt;
    return Differences(Production(program, plan), Reference(program, plan));
  }
  std::string differences = Differences(Production(program, {}), expected);
  if (!differences.empty()) return "without observer\n" + differences;
  differences = Differences(Production(program, {}, EngineHost::kDispatching), expected);
  if (!differences.empty()) return "through Dispatch\n" + differences;
  plan.pause_at = {1 + program.seed % 3, 4 + program.seed % 7, 20 + program.seed % 11};
  if (program.seed % 5 == 0) plan.stop_at = 10 + program.seed % 13;
  differences = Differences(Production(program, plan), Reference(program, plan));
  return differences.empty() ? "" : "with observer\n" + differences;
}

TEST(DifferentialTest, TheEngineAgreesWithTheReferenceEngineOnRandomPrograms) {
  FixedClock clock(20260214);
  ScopedClock scoped(clock);
  // TMX_SEED=17 looks at one program alone.
  const char* only = std::getenv("TMX_SEED");
  const std::uint64_t first = only != nullptr ? std::strtoull(only, nullptr, 10) : 0;
  const std::uint64_t end = only != nullptr ? first + 1 : test::Runs<std::uint64_t>(5000, 100000);
  int failures = 0;
  for (std::uint64_t seed = first; seed < end && failures < 3; ++seed) {
    const Program program = MakeProgram(seed);
    const std::string differences = Compare(program);
    if (differences.empty()) continue;
    ++failures;
    ADD_FAILURE() << differences << program.Describe();
  }
}

// Guards the test above against programs that do nothing.
TEST(DifferentialTest, RandomPrograms) {
  int ended_well = 0, soft_errors = 0, hard_errors = 0;
  std::uint64_t steps = 0;
  for (std::uint64_t seed = 0; seed < 500; ++seed) {
    const RunOutcome outcome = Reference(MakeProgram(seed), {});
    steps += outcome.steps;
    ended_well += outcome.ok ? 1 : 0;
    const unsigned code = outcome.error.empty() ? 0 : outcome.error.front().code;
    soft_errors += code == 17494 ? 1 : 0;
    hard_errors += code == 17490 ? 1 : 0;
  }
  EXPECT_GT(ended_well, 100);
  EXPECT_GT(soft_errors, 5);
  EXPECT_GT(hard_errors, 50);
  EXPECT_GT(steps, 500U * 20);
}

TEST(DifferentialTest, OneSeedGivesOneProgram) {
  EXPECT_EQ(MakeProgram(17).Describe(), MakeProgram(17).Describe());
  EXPECT_NE(MakeProgram(17).Describe(), MakeProgram(18).Describe());
}

}  // namespace
}  // namespace tmx
