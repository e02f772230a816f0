// Reads bytes as an index file and looks subroutines up in it, on the library's engine and on the
// reference engine. The first byte says where the index ends, the second which name is looked up;
// what follows the index is the code file.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/macro_disk.h"
#include "tests/support/engine_run.h"
#include "tests/support/reference_engine.h"

namespace {

using tmx::MacroDisk;

constexpr std::uint64_t kMaxFetches = 50;

tmx::MacroImage ImageOf(const std::string& bytes) {
  const std::size_t index =
      std::min<std::size_t>(static_cast<unsigned char>(bytes[0]), bytes.size() - 1);
  tmx::MacroImage image{"test", bytes.substr(1, index), std::nullopt};
  if (bytes.size() > index + 1) image.code = bytes.substr(index + 1);
  return image;
}

tmx::RunOutcome Reference(const tmx::MacroImage& image, const std::string& sub,
                          const tmx::ObserverPlan& plan, bool& endless) {
  tmx::ReferenceEngine engine(MacroDisk::kMacroDir);
  engine.PushFile(MacroDisk::General());
  engine.PushFile(image);
  const tmx::RunOutcome outcome = engine.Run(sub, {}, plan, kMaxFetches);
  endless = engine.HitLimit();
  return outcome;
}

void Compare(const tmx::MacroImage& image, const std::string& sub) {
  tmx::ObserverPlan plan;
  bool endless = false;
  tmx::RunOutcome expected = Reference(image, sub, plan, endless);
  if (endless) {
    plan.attached = true;
    plan.stop_at = kMaxFetches / 2;
    expected = Reference(image, sub, plan, endless);
  }
  MacroDisk disk(image);
  const tmx::ScopedEnv scope(disk);
  MeMacroEngine engine(MacroDisk::kMacroPath);
  HbError error;
  engine.PushFile(String(image.name), error);
  const tmx::RunOutcome outcome = tmx::RunOn(engine, sub, {}, plan);
  if (outcome == expected) return;
  std::fprintf(stderr, "%s\n%s", sub.c_str(), tmx::Differences(outcome, expected).c_str());
  std::abort();
}

// The name of the last entry, as far as there is one.
std::string LastName(const std::string& index) {
  if (index.size() <= 9) return "A";
  const std::size_t end = index.size() - 9;
  const std::size_t before = index.rfind('\0', end == 0 ? 0 : end - 1);
  return index.substr(before == std::string::npos ? 0 : before + 1, end - before - 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const unsigned choice = static_cast<unsigned char>(bytes[1]) % 3;
  bytes.erase(1, 1);
  const tmx::MacroImage image = ImageOf(bytes);
  const std::string names[] = {"A", "", LastName(*image.index)};
  Compare(image, names[choice]);
  return 0;
}
