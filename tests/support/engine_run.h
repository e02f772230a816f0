// Runs macros on the library's engine, over files in memory, and takes down everything that a host
// can see.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tests/support/memory_env.h"
#include "tests/support/run_outcome.h"
#include "tmxtools/macro/engine.h"

namespace tmx {

ErrorChain ChainOf(const HbError& error);
VariableState StateOf(const HbVariable& variable);

// Takes down what an engine reports and pauses or stops it as planned.
class RecordingObserver : public MeMacroObserver {
 public:
  RecordingObserver(MeMacroEngine& engine, const ObserverPlan& plan)
      : engine_(engine), plan_(plan) {}

  bool ShouldBreak(unsigned short opcode) override;
  void OnFramePushed() override { Record(ObserverEvent::kFramePushed); }
  void OnFramePopped() override { Record(ObserverEvent::kFramePopped); }
  void OnCurFrameChanged() override { Record(ObserverEvent::kCurFrameChanged); }
  void OnVariablesChanged() override { Record(ObserverEvent::kVariablesChanged); }
  void OnRunFinished() override { Record(ObserverEvent::kRunFinished); }

  const std::vector<ObserverEvent>& Events() const { return events_; }

 private:
  void Record(ObserverEvent::Kind kind, unsigned opcode = 0);

  MeMacroEngine& engine_;
  ObserverPlan plan_;
  std::vector<ObserverEvent> events_;
  std::uint64_t breaks_ = 0;
};

// An engine whose commands all go through Dispatch, as those of derived engines do.
class DispatchingEngine : public MeMacroEngine {
 public:
  using MeMacroEngine::MeMacroEngine;
};

// Loads a subroutine and runs it to its end, through all planned pauses.
RunOutcome RunOn(MeMacroEngine& engine, const std::string& sub,
                 const std::vector<HostParam>& params = {}, const ObserverPlan& plan = {});

// An engine with macro files in memory below "/home".
class EngineHost {
 public:
  enum Variant { kPlain, kDispatching };

  static constexpr const char* kMacroPath = "/home";
  static constexpr const char* kMacroDir = "/home/macro";

  explicit EngineHost(Variant variant = kPlain);
  explicit EngineHost(std::unique_ptr<MeMacroEngine> engine);

  // Puts a file on the disk without pushing it.
  void Write(const MacroImage& image);
  // Writes a file and pushes it.
  void PushFile(const MacroImage& image);

  MeMacroEngine& Engine() { return *engine_; }
  RunOutcome Run(const std::string& sub, const std::vector<HostParam>& params = {},
                 const ObserverPlan& plan = {}) {
    return RunOn(*engine_, sub, params, plan);
  }

 private:
  MemoryEnv env_;
  ScopedEnv scoped_env_{env_};
  std::unique_ptr<MeMacroEngine> engine_;
};

}  // namespace tmx
