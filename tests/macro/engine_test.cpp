// The run loop: fetching, errors, observers, stopping, and calls from within callbacks.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "tests/macro/every_engine.h"
#include "tests/support/engine_run.h"
#include "tests/support/reference_engine.h"
#include "tests/variables/failing_memory.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;
constexpr unsigned kAlreadyRunning = 17499;
constexpr unsigned kStopped = 17500;

using Kind = ObserverEvent::Kind;

std::vector<unsigned> Breaks(const RunOutcome& outcome) {
  std::vector<unsigned> opcodes;
  for (const ObserverEvent& event : outcome.events)
    if (event.kind == Kind::kShouldBreak) opcodes.push_back(event.opcode);
  return opcodes;
}

long Count(const RunOutcome& outcome, Kind kind) {
  return std::ranges::count(outcome.events, kind, &ObserverEvent::kind);
}

ObserverPlan PauseAt(std::set<std::uint64_t> breaks) {
  ObserverPlan plan;
  plan.pause_at = std::move(breaks);
  return plan;
}

// ---- fetching --------------------------------------------------------------------------------

TEST(FetchTest, FillersBeforeAnOpcodeAreSkipped) {
  CodeBuilder code;
  code.Byte(255).Byte(255).Op(7, 1).Str("x").Byte(255).Exit();
  const RunOutcome outcome = RunCode(code);
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "x");
  EXPECT_EQ(outcome.steps, 2U);
}

TEST(FetchTest, ALineMarkRecordsTheLineAndIsSkipped) {
  CodeBuilder code;
  code.Op(161, 1).U16(1).Op(161, 77).U16(4711).Op(10, 0).Op(161, 0).U16(65535).Exit();
  const RunOutcome outcome = ObserveFiles({TestFile(code)});
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.steps, 2U);
  EXPECT_EQ(Breaks(outcome), (std::vector<unsigned>{10, 17}));
  std::vector<unsigned> lines;
  for (const ObserverEvent& event : outcome.events)
    if (event.kind == Kind::kShouldBreak) lines.push_back(event.line);
  EXPECT_EQ(lines, (std::vector<unsigned>{4711, 65535}));
}

TEST(FetchTest, AnUnknownOpcodeAbortsWithNameAndPosition) {
  for (const unsigned opcode : {4u, 6u, 200u})
    ExpectMacroError(RunCode(CodeBuilder().Op(10, 0).Op(opcode, 0).Exit()), kMalformed, At(4));
}

TEST(FetchTest, RunningPastTheLastByteAborts) {
  ExpectMacroError(RunCode(CodeBuilder().Op(10, 0)), kMalformed, kCodeFile);
}

TEST(FetchTest, AnEmptySubroutineAborts) {
  // Length 0 takes the rest of the code file, which is nothing.
  ExpectMacroError(RunCode(CodeBuilder()), kMalformed, kCodeFile);
}

TEST(FetchTest, AnErrorAtTheVeryEndIsFollowedByThatOfTheFetch) {
  ExpectMacroError(RunCode(CodeBuilder().Op(200, 0)), kMalformed, kCodeFile);
}

// ---- runs ------------------------------------------------------------------------------------

TEST(RunTest, CallResetsInputAndOutputButNotConditionAndStatics) {
  EngineHost host;
  CodeBuilder first, second;
  first.Op(58, 1).Str("input").Op(7, 1).Str("output").Op(55, 1).Char('i');
  first.Op(147, 3).Byte(5).U16(33).U32(7).Op(3, 3).Byte(5).Var(33).Int(1);
  first.Op(2, 4).Byte(5).Byte('=').Int(1).Int(1).Exit();
  host.Write(ImageBuilder("general").Build());
  host.PushFile(
      ImageBuilder("test").Sub("First", first).Sub("Second", CodeBuilder().Exit()).Build());
  const RunOutcome before = host.Run("First");
  EXPECT_EQ(before.input_pos, 1U);
  EXPECT_EQ(before.steps, 7U);
  const RunOutcome after = host.Run("Second");
  ExpectNoError(after);
  EXPECT_EQ(after.input, "");
  EXPECT_EQ(after.input_pos, 0U);
  EXPECT_EQ(after.output, "");
  EXPECT_TRUE(after.condition);
  EXPECT_EQ(after.statics.at(7).value, "1");
  EXPECT_EQ(after.steps, 1U);
}

TEST(RunTest, AFailedRunLeavesNothingForTheNext) {
  EngineHost host;
  host.Write(ImageBuilder("general").Build());
  host.PushFile(ImageBuilder("test")
                    .Sub("Bad", CodeBuilder().Op(40, 0))
                    .Sub("Good", CodeBuilder().Op(18, 0).Exit())
                    .Build());
  EXPECT_EQ(host.Run("Bad").status.front().code, 17496U);
  const RunOutcome good = host.Run("Good");
  ExpectNoError(good);
  EXPECT_TRUE(good.condition);
}

TEST(RunTest, ASubroutineThatCannotBeLoadedHasTheReasonAsPreviousError) {
  const RunOutcome missing = RunFiles({TestFile(CodeBuilder().Exit())}, "Nowhere");
  EXPECT_FALSE(missing.loaded);
  EXPECT_EQ(missing.error, (ErrorChain{{17492, "Nowhere"}, {17492, "Nowhere"}}));
  EngineHost host;
  EXPECT_EQ(host.Run("SUB").error, (ErrorChain{{17492, "SUB"}, {17485, ""}}));
}

CodeBuilder Recursion(int depth) {
  CodeBuilder code;
  code.Op(1, 2).Byte(5).U16(33).Op(2, 4).Byte(5).Byte('<').Var(33).Int(depth);
  code.Op(31, 2).Byte(0).Target(0).Exit().Bind(0);
  code.Op(28, 5).Byte(5).Byte('+').Var(33).Var(33).Int(1);
  return code.Op(32, 2).RawText("SUB").Var(33).Exit();
}

TEST(RunTest, TenThousandFramesAreAllowed) {
  const RunOutcome outcome = RunFiles({TestFile(Recursion(9999))}, "SUB", {{5, false, "0"}});
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.params[0].value, "9999");
}

TEST(RunTest, RecursionDeeperThanTenThousandFramesIsAnError) {
  const RunOutcome outcome = RunFiles({TestFile(Recursion(10000))}, "SUB", {{5, false, "0"}});
  const std::size_t behind_call = Recursion(10000).Size() - 2;
  ExpectMacroError(outcome, kMalformed, At(behind_call));
  EXPECT_EQ(outcome.params[0].value, "10000");
}

// ---- observers -------------------------------------------------------------------------------

TEST(ObserverTest, TheEventsOfARunComeInOrder) {
  CodeBuilder sub;
  sub.Declare(5, 33).Op(32, 1).RawText("Callee").Exit();
  const RunOutcome outcome = ObserveFiles(
      {ImageBuilder("test").Sub("SUB", sub).Sub("Callee", CodeBuilder().Exit()).Build()});
  EXPECT_EQ(outcome.events, (std::vector<ObserverEvent>{
                                {Kind::kCurFrameChanged, 0, 1, 0},
                                {Kind::kFramePushed, 0, 1, 0},
                                {Kind::kShouldBreak, 130, 1, 0},
                                {Kind::kVariablesChanged, 0, 1, 0},
                                {Kind::kShouldBreak, 32, 1, 0},
                                {Kind::kCurFrameChanged, 0, 2, 0},
                                {Kind::kFramePushed, 0, 2, 0},
                                {Kind::kShouldBreak, 17, 2, 0},
                                {Kind::kCurFrameChanged, 0, 1, 0},
                                {Kind::kFramePopped, 0, 1, 0},
                                {Kind::kShouldBreak, 17, 1, 0},
                                {Kind::kCurFrameChanged, 0, 0, 0},
                                {Kind::kFramePopped, 0, 0, 0},
                                {Kind::kRunFinished, 0, 0, 0},
                            }));
}

TEST(ObserverTest, APauseBeforeEveryInstructionChangesNothing) {
  CodeBuilder sub;
  sub.Byte(255).Op(7, 1).Str("a").Op(161, 1).U16(3).Op(7, 1).Str("b");
  sub.Op(32, 1).RawText("Callee").Op(18, 0).Exit();
  const std::vector<MacroImage> files = {
      ImageBuilder("test").Sub("SUB", sub).Sub("Callee", CodeBuilder().Op(40, 0)).Build()};
  const RunOutcome outcome = ObserveFiles(files, "SUB", {}, PauseAt({1, 2, 3, 4, 5, 6, 7}));
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "ab");
  EXPECT_EQ(outcome.steps, 6U);
  // A resumed instruction is not announced again.
  EXPECT_EQ(Breaks(outcome), (std::vector<unsigned>{7, 7, 32, 40, 18, 17}));
}

TEST(ObserverTest, APausedRunReturnsTrueKeepsItsFramesAndCanBeStopped) {
  EngineHost host;
  host.Write(ImageBuilder("general").Build());
  host.PushFile(TestFile(CodeBuilder().Op(7, 1).Str("x").Exit()));
  MeMacroEngine& engine = host.Engine();
  ObserverPlan plan = PauseAt({2});
  plan.attached = true;
  RecordingObserver observer(engine, plan);
  engine.SetObserver(&observer);
  HbError err;
  EXPECT_TRUE(engine.Call(engine.LoadSub("SUB", err), err));
  ASSERT_NE(engine.GetCallStack(), nullptr);
  EXPECT_EQ(engine.GetCallStack()->Count(), 1);
  EXPECT_EQ(engine.GetOutput(), "x");
  EXPECT_FALSE(engine.GetStatus().IsSet());

  // A paused run is a running one.
  EXPECT_FALSE(engine.Call(engine.LoadSub("SUB", err), err));
  EXPECT_EQ(err.GetCode(), kAlreadyRunning);

  engine.Stop(true);
  EXPECT_EQ(engine.GetCallStack(), nullptr);
  EXPECT_EQ(engine.GetStatus().GetCode(), kStopped);

  engine.SetObserver(nullptr);
  EXPECT_TRUE(engine.Call(engine.LoadSub("SUB", err), err));
}

TEST(ObserverTest, APauseInFrontOfABrokenInstructionReportsTheErrorOnResumption) {
  const RunOutcome outcome =
      ObserveFiles({TestFile(CodeBuilder().Op(200, 0).Exit())}, "SUB", {}, PauseAt({1}));
  ExpectMacroError(outcome, kMalformed, At(2));
}

// The fetch behind the last byte fails, and the observer is asked all the same.
TEST(ObserverTest, APauseAfterAFailedFetchReturnsFalseAndKeepsTheFramesUntilResumption) {
  for (const EngineHost::Variant variant : {EngineHost::kPlain, EngineHost::kDispatching}) {
    EngineHost host(variant);
    host.Write(ImageBuilder("general").Build());
    host.PushFile(TestFile(CodeBuilder().Op(10, 0)));
    MeMacroEngine& engine = host.Engine();
    RecordingObserver observer(engine, PauseAt({2}));
    engine.SetObserver(&observer);
    const ErrorChain broken = {{kMalformed, kCodeFile}};
    HbError err;
    EXPECT_FALSE(engine.Call(engine.LoadSub("SUB", err), err));
    EXPECT_EQ(ChainOf(err), broken);
    ASSERT_NE(engine.GetCallStack(), nullptr);
    EXPECT_EQ(engine.GetCallStack()->Count(), 1);

    err.Clear();
    EXPECT_FALSE(engine.Continue(&err));
    EXPECT_EQ(ChainOf(err), broken);
    EXPECT_EQ(ChainOf(engine.GetStatus()), broken);
    EXPECT_EQ(engine.GetCallStack(), nullptr);
    engine.SetObserver(nullptr);
  }
}

TEST(ObserverTest, VariableChangesAreReportedForReadsAndWrites) {
  CodeBuilder sub;
  sub.Declare(5, 33).Op(3, 3).Byte(5).Var(33).Int(1).Op(25, 1).Var(33).Exit();
  const RunOutcome outcome = ObserveFiles({TestFile(sub)});
  // The declaration, the target's lookup and its new value, the operand's lookup.
  EXPECT_EQ(Count(outcome, Kind::kVariablesChanged), 4);
}

TEST(ObserverTest, AnObserverMakesNoDifferenceToTheResult) {
  const CodeBuilder code = Recursion(50);
  const RunOutcome plain = RunFiles({TestFile(code)}, "SUB", {{5, false, "0"}});
  RunOutcome observed = ObserveFiles({TestFile(code)}, "SUB", {{5, false, "0"}});
  EXPECT_EQ(Count(observed, Kind::kFramePushed), 51);
  EXPECT_EQ(Count(observed, Kind::kFramePopped), 51);
  observed.events.clear();
  EXPECT_EQ(plain, observed);
}

// ---- stopping and re-entry -------------------------------------------------------------------

// Does something of the test's choice at its n-th call of one kind.
class ActingObserver : public MeMacroObserver {
 public:
  ActingObserver(Kind kind, int at, std::function<void()> action)
      : kind_(kind), at_(at), action_(std::move(action)) {}

  bool ShouldBreak(unsigned short) override {
    ++breaks;
    Act(Kind::kShouldBreak);
    return false;
  }
  void OnFramePushed() override { Act(Kind::kFramePushed); }
  void OnFramePopped() override { Act(Kind::kFramePopped); }
  void OnCurFrameChanged() override { Act(Kind::kCurFrameChanged); }
  void OnVariablesChanged() override { Act(Kind::kVariablesChanged); }
  void OnRunFinished() override {
    ++finished;
    Act(Kind::kRunFinished);
  }

  int breaks = 0;
  int finished = 0;
  bool acted = false;

 private:
  void Act(Kind kind) {
    if (kind != kind_ || --at_ != 0) return;
    acted = true;
    action_();
  }

  Kind kind_;
  int at_;
  std::function<void()> action_;
};

class ReentryTest : public ::testing::Test {
 protected:
  ReentryTest() {
    host_.Write(ImageBuilder("general").Sub("Other", CodeBuilder().Exit()).Build());
    CodeBuilder sub, callee;
    sub.Declare(5, 33).Declare(1, 34).Op(58, 1).Str("12 input").Op(48, 1).Var(33);
    sub.Op(32, 3).RawText("Callee").Var(33).Str("by value").Op(18, 0);
    sub.Op(28, 5).Byte(5).Byte('+').Var(33).Var(33).Int(1).Op(51, 4).Var(34).Var(34).Int(0).Int(1);
    sub.Op(57, 3).Str("put").Int(1).Var(33).Var(33).Op(7, 2).Var(34).Var(33).Exit();
    callee.Op(1, 3).Byte(5).U16(33).U16(5).Op(5, 3).Byte(1).U16(35).RawText("local");
    callee.Op(147, 3).Byte(8).U16(36).U32(1).Op(16, 2).Var(36).Str("v").Op(18, 0);
    callee.Op(28, 5).Byte(8).Byte('+').Var(36).Var(36).Amount("1,00").Op(59, 2).Var(34).Var(35);
    callee.Exit();
    host_.PushFile(ImageBuilder("test").Sub("SUB", sub).Sub("Callee", callee).Build());
  }

  // Runs "SUB" while an observer acts; returns what Call does.
  bool RunWith(ActingObserver& observer) {
    engine_.SetObserver(&observer);
    HbError err;
    const bool ok = engine_.Call(engine_.LoadSub("SUB", err), err);
    engine_.SetObserver(nullptr);
    error_ = ChainOf(err);
    EXPECT_EQ(engine_.GetCallStack(), nullptr);
    return ok;
  }

  EngineHost host_;
  MeMacroEngine& engine_ = host_.Engine();
  ErrorChain error_;
};

// Source marks are for a debugger: the observer finds them in the frame and in the holder.
TEST_F(ReentryTest, AFileNameReachesTheFrameAndAVariableNameItsHolder) {
  CodeBuilder marked;
  marked.Op(160, 1).RawText("marked.hbm").Declare(5, 33).Declare(5, 34);
  marked.Op(163, 2).U16(34).RawText("count").Op(10, 0).Exit();
  host_.PushFile(ImageBuilder("marked").Sub("SUB", marked).Build());
  std::vector<std::string> seen;
  const auto look = [&] {
    const HbStackFrame& frame = *engine_.GetCallStack()->CurFrame();
    seen.emplace_back(frame.GetMacroSourceFile().View());
    for (const short id : {short{33}, short{34}})
      if (const HbVariableHolder* const holder = frame.GetHolder(id))
        seen.emplace_back(holder->GetName().View());
  };
  for (const int at : {1, 2, 4, 5}) {
    ActingObserver observer(Kind::kShouldBreak, at, look);
    EXPECT_TRUE(RunWith(observer));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"", "marked.hbm", "marked.hbm", "", "", "marked.hbm",
                                            "", "count"}));
}

TEST_F(ReentryTest, TheMacroRunsWell) {
  const RunOutcome outcome = host_.Run("SUB");
  ExpectNoError(outcome);
  EXPECT_GT(outcome.steps, 15U);
}

TEST_F(ReentryTest, StopFromAnyCallbackEndsTheRunWithItsError) {
  for (const Kind kind : {Kind::kShouldBreak, Kind::kFramePushed, Kind::kCurFrameChanged,
                          Kind::kFramePopped, Kind::kVariablesChanged}) {
    int stops = 0;
    for (int at = 1; at < 200; ++at) {
      SCOPED_TRACE("kind " + std::to_string(kind) + ", call " + std::to_string(at));
      bool still_running = false;
      ActingObserver observer(kind, at, [&] {
        still_running = engine_.GetCallStack()->CurFrame() != nullptr;
        engine_.Stop(true);
      });
      const bool ok = RunWith(observer);
      if (!observer.acted) break;
      EXPECT_EQ(observer.finished, 1);
      if (!still_running) continue;  // the outermost frame was popped already
      ++stops;
      EXPECT_EQ(engine_.GetStatus().GetCode(), kStopped);
      EXPECT_FALSE(ok);
      EXPECT_EQ(error_, (ErrorChain{{kStopped, ""}}));
      ExpectNoError(host_.Run("SUB"));
    }
    EXPECT_GT(stops, 0);
  }
}

TEST_F(ReentryTest, StopBeforeAnInstructionKeepsItFromRunning) {
  ActingObserver observer(Kind::kShouldBreak, 3, [&] { engine_.Stop(false); });
  EXPECT_FALSE(RunWith(observer));
  EXPECT_EQ(error_, (ErrorChain{{kStopped, ""}}));
  EXPECT_EQ(engine_.GetInput(), "");
  EXPECT_EQ(engine_.GetStepCount(), 2U);
  EXPECT_EQ(observer.breaks, 3);
}

TEST_F(ReentryTest, AFrameOnAnotherCallStackIsRefusedAndStaysThere) {
  HbError err;
  HbStackFrame* const frame = engine_.LoadSub("SUB", err);
  HbCallStack stack;
  stack.PushFrame(frame);
  EXPECT_FALSE(engine_.Call(frame, err));
  EXPECT_EQ(err.GetCode(), kAlreadyRunning);
  EXPECT_EQ(stack.CurFrame(), frame);
  EXPECT_EQ(frame->GetStack(), &stack);
}

TEST_F(ReentryTest, CallFromACallbackIsRefusedAndDisturbsNothing) {
  const RunOutcome undisturbed = host_.Run("SUB");
  for (const Kind kind : {Kind::kShouldBreak, Kind::kFramePushed, Kind::kFramePopped,
                          Kind::kCurFrameChanged, Kind::kVariablesChanged, Kind::kRunFinished}) {
    SCOPED_TRACE(kind);
    bool ok = true;
    HbError inner;
    ActingObserver observer(kind, 1, [&] {
      HbError ignored;
      ok = engine_.Call(engine_.LoadSub("Other", ignored), inner);
    });
    RunWith(observer);
    EXPECT_TRUE(observer.acted);
    EXPECT_FALSE(ok);
    EXPECT_EQ(inner.GetCode(), kAlreadyRunning);
    EXPECT_EQ(std::string(engine_.GetOutput().View()), undisturbed.output);
    EXPECT_EQ(engine_.GetStepCount(), undisturbed.steps);
  }
}

TEST_F(ReentryTest, ContinueFromACallbackIsRefusedAndDisturbsNothing) {
  const RunOutcome undisturbed = host_.Run("SUB");
  for (const Kind kind : {Kind::kShouldBreak, Kind::kFramePushed, Kind::kFramePopped,
                          Kind::kCurFrameChanged, Kind::kVariablesChanged, Kind::kRunFinished}) {
    SCOPED_TRACE(kind);
    bool ok = true;
    HbError inner;
    ActingObserver observer(kind, 1, [&] { ok = engine_.Continue(&inner); });
    RunWith(observer);
    EXPECT_TRUE(observer.acted);
    EXPECT_FALSE(ok);
    EXPECT_EQ(inner.GetCode(), kAlreadyRunning);
    EXPECT_EQ(std::string(engine_.GetOutput().View()), undisturbed.output);
    EXPECT_EQ(engine_.GetStepCount(), undisturbed.steps);
  }
}

TEST_F(ReentryTest, CallIsRefusedWhileAPausedRunIsStopped) {
  HbError inner;
  bool ok = true;
  bool paused = false;
  class Pausing : public ActingObserver {
   public:
    using ActingObserver::ActingObserver;
    bool ShouldBreak(unsigned short opcode) override {
      ActingObserver::ShouldBreak(opcode);
      return true;
    }
  } observer(Kind::kRunFinished, 1, [&] {
    HbError ignored;
    ok = engine_.Call(engine_.LoadSub("SUB", ignored), inner);
  });
  engine_.SetObserver(&observer);
  HbError err;
  paused = engine_.Call(engine_.LoadSub("SUB", err), err) && engine_.GetCallStack() != nullptr;
  engine_.Stop(true);
  engine_.SetObserver(nullptr);
  EXPECT_TRUE(paused);
  EXPECT_FALSE(ok);
  EXPECT_EQ(inner.GetCode(), kAlreadyRunning);
  EXPECT_EQ(engine_.GetCallStack(), nullptr);
  ExpectNoError(host_.Run("SUB"));
}

TEST_F(ReentryTest, ARunWithoutMemoryEndsAndHarmsNoLaterOne) {
  const RunOutcome undisturbed = host_.Run("SUB");
  MeMacroEngine engine(EngineHost::kMacroPath);
  bool ran = false;
  for (std::size_t allowed = 0; !ran; ++allowed) {
    engine.ClearFiles(true);
    HbError err;
    bool ok = false;
    {
      const FailingMemory failing(allowed);
      HbStackFrame* const frame =
          engine.PushFile("test", err) ? engine.LoadSub("SUB", err) : nullptr;
      if (frame != nullptr) ok = engine.Call(frame, err);
    }
    EXPECT_EQ(engine.GetCallStack(), nullptr);
    ran = ok && std::string(engine.GetOutput().View()) == undisturbed.output;
    ASSERT_LT(allowed, 2000U);
  }
}

TEST_F(ReentryTest, AFrameThatLacksAParameterIsNotRun) {
  HbError err;
  HbStackFrame* const frame = engine_.LoadSub("SUB", err);
  {
    const FailingMemory failing(0);
    frame->PushParam(true);
  }
  EXPECT_FALSE(engine_.Call(frame, err));
  EXPECT_EQ(err.GetCode(), kMalformed);
  EXPECT_EQ(engine_.GetStepCount(), 0U);
  EXPECT_EQ(engine_.GetCallStack(), nullptr);
  ExpectNoError(host_.Run("SUB"));
}

TEST_F(ReentryTest, ARunningFrameThatIsCalledAgainIsNotDeleted) {
  bool ok = true;
  ActingObserver observer(Kind::kShouldBreak, 4, [&] {
    HbError inner;
    ok = engine_.Call(engine_.GetCallStack()->CurFrame(), inner);
  });
  EXPECT_TRUE(RunWith(observer));
  EXPECT_FALSE(ok);
}

TEST_F(ReentryTest, ChangesOfTheFilesHoldFromTheNextLookupOn) {
  // Before the call, another file with another "Callee" is pushed.
  host_.Write(
      ImageBuilder("newer").Sub("Callee", CodeBuilder().Op(7, 1).Str("new").Exit()).Build());
  HbError err;
  ActingObserver observer(Kind::kShouldBreak, 2, [&] { engine_.PushFile("newer", err); });
  EXPECT_TRUE(RunWith(observer));
  EXPECT_TRUE(engine_.GetOutput().View().starts_with("new"));
}

TEST_F(ReentryTest, RunningFramesGoOnWhenTheirFileIsPopped) {
  int pops = 0;
  ActingObserver observer(Kind::kFramePushed, 2, [&] {
    while (engine_.PopFile(true)) ++pops;
    engine_.ClearFiles(true);
  });
  EXPECT_TRUE(RunWith(observer));
  EXPECT_EQ(pops, 2);
  HbError err;
  EXPECT_EQ(engine_.LoadSub("SUB", err), nullptr);
  EXPECT_EQ(ChainOf(err), (ErrorChain{{17492, "SUB"}, {17485, ""}}));
}

TEST_F(ReentryTest, AnEndlessLoopEndsByStop) {
  CodeBuilder loop;
  loop.Bind(0).Op(30, 1).Target(0).Exit();
  host_.PushFile(ImageBuilder("loop").Sub("SUB", loop).Build());
  ActingObserver observer(Kind::kShouldBreak, 100000, [&] { engine_.Stop(true); });
  EXPECT_FALSE(RunWith(observer));
  EXPECT_EQ(engine_.GetStatus().GetCode(), kStopped);
  EXPECT_EQ(observer.breaks, 100000);
}

TEST_F(ReentryTest, StopWithoutARunDoesNothing) {
  engine_.Stop(true);
  EXPECT_FALSE(engine_.GetStatus().IsSet());
}

// ---- derived engines -------------------------------------------------------------------------

// Handles one number of its own, stops its run loop on another, and looks at protected members.
class OwnEngine : public MeMacroEngine {
 public:
  using MeMacroEngine::MeMacroEngine;
  std::vector<unsigned> dispatched;
  int finished = 0;

 protected:
  void Dispatch(unsigned short opcode, unsigned short count) override {
    dispatched.push_back(opcode);
    if (opcode == 200) {
      own_operand = ReadIntAttrib();
    } else if (opcode == 201) {
      running_ = false;
    } else {
      MeMacroEngine::Dispatch(opcode, count);
    }
  }
  void OnFinished() override { ++finished; }

 public:
  int own_operand = 0;
};

class DerivedEngineTest : public ::testing::Test {
 protected:
  DerivedEngineTest() {
    env_.MakeDir("/home/macro");
    HbError err;
    engine_.PushFile("test", err);
  }
  bool Run(const CodeBuilder& code) {
    const MacroImage image = TestFile(code), general = ImageBuilder("general").Build();
    for (const MacroImage& file : {image, general}) {
      env_.Put("/home/macro/" + file.name + ".hbz", *file.index);
      env_.Put("/home/macro/" + file.name + ".hbx", *file.code);
    }
    HbError err;
    return engine_.Call(engine_.LoadSub("SUB", err), err);
  }

  MemoryEnv env_;
  ScopedEnv scoped_{env_};
  OwnEngine engine_{"/home"};
};

TEST_F(DerivedEngineTest, EveryCommandGoesThroughDispatchAndItsOwnNumberWorks) {
  EXPECT_TRUE(Run(CodeBuilder().Op(7, 1).Str("x").Op(200, 1).Int(42).Exit()));
  EXPECT_EQ(engine_.dispatched, (std::vector<unsigned>{7, 200, 17}));
  EXPECT_EQ(engine_.own_operand, 42);
  EXPECT_EQ(engine_.finished, 1);
}

TEST_F(DerivedEngineTest, ClearingRunningLeavesTheLoopAndContinueGoesOn) {
  EXPECT_TRUE(Run(CodeBuilder().Op(201, 0).Op(7, 1).Str("later").Exit()));
  EXPECT_EQ(engine_.GetOutput(), "");
  ASSERT_NE(engine_.GetCallStack(), nullptr);
  HbError err;
  EXPECT_TRUE(engine_.Continue(&err));
  EXPECT_EQ(engine_.GetOutput(), "later");
  EXPECT_EQ(engine_.finished, 1);
}

TEST_F(DerivedEngineTest, ContinueWithoutARunIsTrue) { EXPECT_TRUE(engine_.Continue(nullptr)); }

// ---- the file stack's frames -----------------------------------------------------------------

TEST(FrameReuseTest, AReusedFrameStartsWithoutHoldersAtTheBeginning) {
  CodeBuilder callee;
  callee.Declare(5, 33).Op(25, 1).Var(33).Exit();
  CodeBuilder sub;
  for (int round = 0; round < 3; ++round) sub.Op(32, 1).RawText("Callee");
  const RunOutcome outcome =
      RunFiles({ImageBuilder("test").Sub("SUB", sub.Exit()).Sub("Callee", callee).Build()});
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "000");
}

}  // namespace
}  // namespace tmx
