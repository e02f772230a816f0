// The shipped macro sources, compiled and ready to run.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "compiler/compiler.h"
#include "compiler/verifier.h"
#include "tests/support/engine_run.h"

namespace tmx::test {

// A source below the tree's root, as "macros/general.hbm".
struct ShippedSource {
  std::string path;
  std::string text;

  std::string Name() const;  // "general"
};

std::optional<std::string> ReadFile(const std::string& path);

// Every source that the tree ships.
std::vector<ShippedSource> AllShipped();
ShippedSource Shipped(const std::string& path);

// The compiled source; records a failure of the test when the compiler has anything to say.
MacroImage Build(const ShippedSource& source, const compiler::Signatures* others = nullptr);

// An engine with "general" and the files of the paths, in their order.
class MacroHost {
 public:
  explicit MacroHost(const std::vector<std::string>& paths = {});

  RunOutcome Run(const std::string& sub, const std::vector<HostParam>& params) {
    return host_.Run(sub, params);
  }
  // Compiles a source of the test's own, which may call "general", and pushes it.
  void Add(const std::string& name, const std::string& source);

 private:
  EngineHost host_;
};

inline HostParam Text(std::string value) { return {1, false, std::move(value)}; }

}  // namespace tmx::test
