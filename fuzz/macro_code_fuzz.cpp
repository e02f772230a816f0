// Runs bytes as a code file on the library's engine and on the reference engine, which must agree
// in everything that a host can see.
//
// The first byte's lowest bit attaches an observer that pauses now and then. The next two bytes say
// where the subroutine "A" ends; what follows it is "B". "A" gets a parameter of each type, so the
// ids 33 to 39 are variables from the start.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "fuzz/macro_disk.h"
#include "tests/support/engine_run.h"
#include "tests/support/reference_engine.h"
#include "tmxtools/platform/clock.h"

namespace {

using tmx::MacroDisk;

constexpr std::uint64_t kMaxFetches = 200;
constexpr std::uint64_t kStopAt = 100;

const std::vector<tmx::HostParam>& Params() {
  static const std::vector<tmx::HostParam> params = {
      {1, false, "HIRMS:3:2+3060::B?+ 1.234,56 05.03.81\n  42'"},
      {2, false, "20240229"},
      {5, false, "3"},
      {6, false, "-70000"},
      {8, false, "1234,50"},
      {10, false, "true"},
      {5, true, ""}};
  return params;
}

tmx::MacroImage ImageOf(std::string_view bytes) {
  const std::size_t end_of_a = static_cast<unsigned char>(bytes[1]) * std::size_t{256} +
                               static_cast<unsigned char>(bytes[2]);
  bytes.remove_prefix(3);
  const std::size_t split = std::min(end_of_a, bytes.size());
  return tmx::ImageBuilder("test")
      .Sub("A", bytes.substr(0, split))
      .Sub("B", bytes.substr(split))
      .Build();
}

tmx::RunOutcome Reference(const tmx::MacroImage& image, const tmx::ObserverPlan& plan,
                          bool& endless) {
  tmx::ReferenceEngine engine(MacroDisk::kMacroDir);
  engine.PushFile(MacroDisk::General());
  engine.PushFile(image);
  const tmx::RunOutcome outcome = engine.Run("A", Params(), plan, kMaxFetches);
  endless = engine.HitLimit();
  return outcome;
}

tmx::RunOutcome Production(const tmx::MacroImage& image, const tmx::ObserverPlan& plan) {
  MacroDisk disk(image);
  const tmx::ScopedEnv scope(disk);
  MeMacroEngine engine(MacroDisk::kMacroPath);
  HbError error;
  engine.PushFile(String(image.name), error);
  return tmx::RunOn(engine, "A", Params(), plan);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Longer subroutines find nothing that two short ones do not.
  if (size < 3 || size > 4096) return 0;
  static tmx::FixedClock clock(20260214);
  static tmx::ScopedClock scoped(clock);
  const tmx::MacroImage image = ImageOf({reinterpret_cast<const char*>(data), size});
  tmx::ObserverPlan plan;
  if ((data[0] & 1) != 0) {
    plan.attached = true;
    plan.pause_at = {2, 3, 7};
  }
  bool endless = false;
  tmx::RunOutcome expected = Reference(image, plan, endless);
  if (endless) {
    plan.attached = true;
    plan.stop_at = kStopAt;
    expected = Reference(image, plan, endless);
  }
  const tmx::RunOutcome outcome = Production(image, plan);
  if (outcome == expected) return 0;
  std::fprintf(stderr, "%s", tmx::Differences(outcome, expected).c_str());
  std::abort();
}
