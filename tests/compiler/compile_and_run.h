// Compiles a source and runs it on the engine, for tests of what macros do.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "compiler/compiler.h"
#include "tests/support/engine_run.h"

namespace tmx::compiler {

inline MacroImage CompileOrFail(const std::string& text, const CompileOptions& options = {}) {
  const Source source("test.hbm", text);
  Compiled compiled = Compile(source, options);
  EXPECT_FALSE(compiled.diagnostics.HasErrors()) << compiled.diagnostics.Render(source);
  return std::move(compiled.image);
}

// The messages of a source, without source lines and carets.
inline std::string MessagesOf(const std::string& text, const CompileOptions& options = {}) {
  const Source source("t", text);
  std::string out;
  const Compiled compiled = Compile(source, options);
  for (const Diagnostic& diagnostic : compiled.diagnostics.All())
    out += std::to_string(diagnostic.at.line) + ':' + std::to_string(diagnostic.at.column) +
           (diagnostic.severity == Severity::kError ? " error: " : " warning: ") + diagnostic.text +
           '\n';
  return out;
}

inline RunOutcome CompileAndRun(const std::string& text, const std::string& sub = "Main",
                                const std::vector<HostParam>& params = {}) {
  const MacroImage image = CompileOrFail(text);
  EngineHost host;
  host.Write({"general", "", "JHOG"});
  host.PushFile({"test", image.index, image.code});
  return host.Run(sub, params);
}

// The output of a run that must end well.
inline std::string OutputOf(const std::string& text, const std::string& sub = "Main",
                            const std::vector<HostParam>& params = {}) {
  const RunOutcome outcome = CompileAndRun(text, sub, params);
  EXPECT_TRUE(outcome.ok && outcome.status.empty()) << ToText(outcome);
  return outcome.output;
}

}  // namespace tmx::compiler
