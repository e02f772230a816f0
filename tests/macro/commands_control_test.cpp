// Declarations, jumps, calls and soft errors.
#include <gtest/gtest.h>

#include "tests/macro/every_engine.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;
constexpr unsigned kEndedByMacro = 17496;

// Files with "SUB" and "Callee".
RunOutcome RunPair(const CodeBuilder& sub, const CodeBuilder& callee,
                   const std::vector<HostParam>& params = {}) {
  return RunFiles({ImageBuilder("test").Sub("SUB", sub).Sub("Callee", callee).Build()}, "SUB",
                  params);
}

std::string OutputOf(CodeBuilder code, const std::vector<HostParam>& params = {}) {
  const RunOutcome outcome = RunCode(code.Exit(), params);
  ExpectNoError(outcome);
  return outcome.output;
}

CodeBuilder Write(const char* text) {
  CodeBuilder code;
  return code.Op(7, 1).Str(text);
}

// ---- declarations ----------------------------------------------------------------------------

TEST(DeclarationTest, IdsAreDenseAndStartAt33) {
  for (const unsigned opcode : {1u, 5u, 130u}) {
    ExpectNoError(RunCode(CodeBuilder().Op(opcode, 2).Byte(1).U16(33).Exit()));
    ExpectMacroError(RunCode(CodeBuilder().Op(opcode, 2).Byte(1).U16(34).Exit()), kMalformed,
                     At(5));
    ExpectMacroError(RunCode(CodeBuilder().Op(opcode, 2).Byte(1).U16(32).Exit()), kMalformed,
                     At(5));
  }
  ExpectMacroError(RunCode(CodeBuilder().Op(147, 3).Byte(1).U16(34).U32(1).Exit()), kMalformed,
                   At(9));
}

TEST(DeclarationTest, ALocalIsAlwaysNew) {
  CodeBuilder code;
  code.Op(5, 2).Byte(1).U16(33).Op(5, 2).Byte(1).U16(33);
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(10));
}

TEST(DeclarationTest, ADefaultIsStoredForEachType) {
  CodeBuilder code;
  code.Op(5, 3).Byte(1).U16(33).RawText("text").Op(5, 3).Byte(2).U16(34).RawDate(5, 3, 2003);
  code.Op(5, 3).Byte(5).U16(35).U16(0xFFFF).Op(5, 3).Byte(6).U16(36).U32(70000);
  code.Op(5, 3).Byte(8).U16(37).RawText("1,5").Op(5, 3).Byte(10).U16(38).Byte(1);
  code.Op(7, 1).Var(33).Op(8, 1).Var(34).Op(25, 1).Var(35).Op(50, 1).Var(36).Op(7, 1).Var(37);
  EXPECT_EQ(OutputOf(code), "text05032003-1700001,5");
}

TEST(DeclarationTest, ATypeWithoutLiteralReadsNoDefault) {
  for (const unsigned type : {4u, 7u, 9u})
    EXPECT_EQ(OutputOf(CodeBuilder().Op(5, 3).Byte(type).U16(33).Op(7, 1).Str("x")), "x");
}

TEST(DeclarationTest, ADefaultOfATypeThatHasNoVariablesIsAnError) {
  for (const unsigned type : {0u, 3u, 11u, 200u}) {
    ExpectNoError(RunCode(CodeBuilder().Op(5, 2).Byte(type).U16(33).Exit()));
    ExpectMacroError(RunCode(CodeBuilder().Op(5, 3).Byte(type).U16(33).Exit()), kMalformed, At(5));
  }
}

TEST(DeclarationTest, AParameterThatTheCallerPassedIsNotDeclaredAgain) {
  CodeBuilder code;
  code.Op(1, 2).Byte(1).U16(33).Op(7, 1).Var(33);
  EXPECT_EQ(OutputOf(code, {{1, false, "passed"}}), "passed");
}

TEST(DeclarationTest, AParametersDefaultOverwritesWhatTheCallerPassed) {
  CodeBuilder code;
  code.Op(1, 3).Byte(1).U16(33).RawText("default").Op(7, 1).Var(33);
  EXPECT_EQ(OutputOf(code, {{1, false, "passed"}}), "default");
  EXPECT_EQ(OutputOf(code), "default");
}

TEST(DeclarationTest, AVariableNameNeedsItsVariable) {
  CodeBuilder code;
  code.Declare(1, 33).Op(163, 2).U16(33).RawText("name");
  ExpectNoError(RunCode(CodeBuilder(code).Exit()));
  code.Op(163, 2).U16(34).RawText("name");
  const std::size_t behind = code.Size();
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
}

// ---- statics ---------------------------------------------------------------------------------

TEST(StaticTest, AStaticKeepsItsValueAcrossCallsUnderItsKey) {
  CodeBuilder callee;
  callee.Op(147, 3).Byte(5).U16(33).U32(7).Raw(
      CodeBuilder().Op(28, 5).Byte(5).Byte('+').Var(33).Var(33).Int(1).Bytes());
  CodeBuilder sub;
  for (int round = 0; round < 3; ++round) sub.Op(32, 1).RawText("Callee");
  sub.Op(147, 3).Byte(5).U16(33).U32(7).Op(25, 1).Var(33);
  const RunOutcome outcome = RunPair(sub.Exit(), callee.Exit());
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "3");
  EXPECT_EQ(outcome.statics.at(7), (VariableState{5, false, "3"}));
}

TEST(StaticTest, AKeyOfAnotherTypeCannotBeResolved) {
  CodeBuilder code;
  code.Op(147, 3).Byte(5).U16(33).U32(7).Op(3, 3).Byte(5).Var(33).Int(1);
  code.Op(147, 3).Byte(1).U16(34).U32(7).Op(7, 1).Var(34);
  const std::size_t behind = code.Size();
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
}

TEST(StaticTest, AmountsAndTextsAreStoredAlike) {
  CodeBuilder code;
  code.Op(147, 3).Byte(8).U16(33).U32(7).Op(3, 3).Byte(8).Var(33).Amount("1,5");
  code.Op(147, 3).Byte(1).U16(34).U32(7).Op(7, 1).Var(34);
  EXPECT_EQ(OutputOf(code), "1,5");
}

TEST(StaticTest, AnExistingHolderBecomesStaticWithoutTheCheckAndKeepsItsVariable) {
  CodeBuilder code;
  code.Declare(5, 33).Declare(5, 34).Op(3, 3).Byte(5).Var(33).Int(4);
  code.Op(147, 3).Byte(5).U16(33).U32(7).Op(25, 1).Var(33);
  const RunOutcome outcome = RunCode(code.Exit());
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "4");
  EXPECT_TRUE(outcome.statics.empty());
}

TEST(StaticTest, IsNullDoesNotCreateAStatic) {
  CodeBuilder code;
  code.Op(147, 3).Byte(5).U16(33).U32(7).Op(145, 1).U16(33);
  const RunOutcome outcome = RunCode(code.Exit());
  EXPECT_TRUE(outcome.condition);
  EXPECT_TRUE(outcome.statics.empty());
}

TEST(StaticTest, KeysAreUnsigned32Bit) {
  CodeBuilder code;
  code.Op(147, 3).Byte(5).U16(33).U32(0xFFFFFFFF).Op(3, 3).Byte(5).Var(33).Int(1);
  EXPECT_TRUE(RunCode(code.Exit()).statics.contains(0xFFFFFFFF));
}

// ---- jumps -----------------------------------------------------------------------------------

TEST(GotoTest, TheProgramCounterIsSet) {
  CodeBuilder code;
  code.Op(30, 1).Target(0).Raw(Write("skipped").Bytes()).Bind(0);
  EXPECT_EQ(OutputOf(code.Op(7, 1).Str("reached")), "reached");
}

TEST(GotoTest, ATargetInsideAnInstructionIsExecutedAsItStands) {
  // The literal's bytes are an instruction of their own: clear, then exit.
  CodeBuilder code;
  code.Op(7, 1).Str("x").Op(30, 1);
  code.U16(static_cast<unsigned>(code.Size() + 6)).Op(25, 1).U16(5).Op(10, 0).Exit();
  const RunOutcome outcome = RunCode(code);
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "");
}

TEST(GotoTest, ATargetBeyondTheEndCannotBeFetched) {
  ExpectMacroError(RunCode(CodeBuilder().Op(30, 1).U16(1000)), kMalformed, kCodeFile);
  ExpectMacroError(RunCode(CodeBuilder().Op(30, 1).U16(0xFFFF)), kMalformed, kCodeFile);
}

TEST(IfGotoTest, TheConditionDecides) {
  CodeBuilder code;
  code.Op(2, 4).Byte(5).Byte('=').Int(1).Int(1).Op(31, 2).Byte(0).Target(0);
  code.Raw(Write("skipped").Bytes()).Bind(0).Op(2, 4).Byte(5).Byte('=').Int(1).Int(2);
  code.Op(31, 2).Byte(0).Target(1).Raw(Write("reached").Bytes()).Bind(1);
  EXPECT_EQ(OutputOf(code), "reached");
}

TEST(IfGotoTest, NegateLeavesTheConditionInverted) {
  CodeBuilder code;
  code.Op(31, 2).Byte(1).Target(0).Raw(Write("skipped").Bytes()).Bind(0);
  const RunOutcome outcome = RunCode(code.Exit());
  EXPECT_EQ(outcome.output, "");
  EXPECT_TRUE(outcome.condition);
  CodeBuilder twice;
  twice.Op(31, 2).Byte(1).Target(0).Bind(0).Op(31, 2).Byte(1).Target(1).Bind(1);
  EXPECT_FALSE(RunCode(twice.Exit()).condition);
}

TEST(IfGotoTest, AnotherNegateByteIsFalse) {
  CodeBuilder code;
  code.Op(31, 2).Byte(2).Target(0).Raw(Write("reached").Bytes()).Bind(0);
  EXPECT_EQ(OutputOf(code), "reached");
}

// ---- calls -----------------------------------------------------------------------------------

TEST(CallTest, LiteralsArePassedByValueInOperandOrder) {
  CodeBuilder callee;
  callee.Op(7, 1).Var(33).Op(8, 1).Var(34).Op(25, 1).Var(35).Op(50, 1).Var(36).Op(7, 1).Var(37);
  CodeBuilder sub;
  sub.Op(32, 6).RawText("Callee").Str("a").Date(5, 3, 2003).Int(-1).Long(70000).Amount("1,5");
  EXPECT_EQ(RunPair(sub.Exit(), callee.Exit()).output, "a05032003-1700001,5");
}

TEST(CallTest, AnAmountByValueArrivesAsAMereText) {
  CodeBuilder sub;
  sub.Op(32, 2).RawText("Callee").Amount("1,50").Exit();
  EXPECT_EQ(RunPair(sub, CodeBuilder().Op(7, 1).Var(33).Exit()).output, "1,50");
  const RunOutcome outcome = RunPair(sub, CodeBuilder().Op(9, 1).Var(33).Exit());
  ExpectMacroError(outcome, kMalformed, At("Callee", 4));
}

TEST(CallTest, AVariableIsPassedByReference) {
  CodeBuilder sub;
  sub.Declare(5, 33).Op(32, 2).RawText("Callee").Var(33).Op(25, 1).Var(33).Exit();
  CodeBuilder callee;
  callee.Op(1, 2).Byte(5).U16(33).Op(3, 3).Byte(5).Var(33).Int(42).Exit();
  EXPECT_EQ(RunPair(sub, callee).output, "42");
}

TEST(CallTest, AReferenceKeepsTheDeclaredTypeOfTheCallersVariable) {
  CodeBuilder sub;
  sub.Declare(8, 33).Op(3, 3).Byte(8).Var(33).Amount("1,5").Op(32, 2).RawText("Callee").Var(33);
  EXPECT_EQ(
      RunPair(sub.Exit(), CodeBuilder().Op(9, 4).Var(33).Str("v,n").Int(3).Int(1).Exit()).output,
      "1,5");
}

// A call of "Callee" with both opcodes, which differ only in how they name it.
constexpr unsigned kCallOpcodes[] = {32, 33};
CodeBuilder CallOf(unsigned opcode, unsigned count) {
  CodeBuilder code;
  code.Op(opcode, count);
  return opcode == 32 ? code.RawText("Callee") : code.Str("Callee");
}

TEST(CallTest, AnUnknownVariableAbandonsTheCall) {
  for (const unsigned opcode : kCallOpcodes) {
    for (const int id : {32, 33, 34, 0x7FFF}) {
      SCOPED_TRACE(std::to_string(opcode) + " " + std::to_string(id));
      CodeBuilder sub = CallOf(opcode, 2).Var(id);
      const std::size_t behind = sub.Size();
      const RunOutcome outcome = RunPair(sub.Exit(), Write("never").Exit());
      ExpectMacroError(outcome, kMalformed, At(behind));
      EXPECT_EQ(outcome.output, "");
    }
  }
}

TEST(CallTest, AnUnknownVariableBehindAGoodArgumentAbandonsTheCallToo) {
  for (const unsigned opcode : kCallOpcodes) {
    for (const CodeBuilder& good : {CodeBuilder().Str("good"), CodeBuilder().Var(33)}) {
      CodeBuilder sub;
      sub.Declare(5, 33).Raw(CallOf(opcode, 3).Bytes()).Raw(good.Bytes()).Var(34);
      const std::size_t behind = sub.Size();
      const RunOutcome outcome = RunPair(sub.Str("unread").Exit(), Write("never").Exit());
      ExpectMacroError(outcome, kMalformed, At(behind));
      EXPECT_EQ(outcome.output, "");
    }
  }
}

// The types of literals that cannot be passed, and tags that are no types.
constexpr unsigned kUnreadTags[] = {0, 3, 4, 7, 9, 11, 12, 31, 0x8000, 0xFFFF};

TEST(CallTest, ALiteralOfAnotherTypePassesNothingAndStaysUnread) {
  // The callee's first variable gets the first id. Its caller then goes on with the tag, whose
  // first byte is no opcode; of the last tag both are fillers.
  const CodeBuilder callee = CodeBuilder().Declare(5, 33).Op(7, 1).Str("called").Exit();
  for (const unsigned opcode : kCallOpcodes) {
    for (const unsigned tag : kUnreadTags) {
      SCOPED_TRACE(std::to_string(opcode) + " " + std::to_string(tag));
      CodeBuilder sub = CallOf(opcode, 2);
      const std::size_t at = sub.Size();
      const RunOutcome outcome = RunPair(sub.U16(tag).Exit(), callee);
      EXPECT_EQ(outcome.output, "called");
      if (tag == 0xFFFF) {
        ExpectNoError(outcome);
      } else {
        ExpectMacroError(outcome, kMalformed, At(at + 2));
      }
    }
  }
}

TEST(CallTest, AnUnreadTagIsMetAgainAsTheNextArgument) {
  const CodeBuilder callee = CodeBuilder().Declare(5, 33).Op(7, 1).Str("called").Exit();
  for (const unsigned opcode : kCallOpcodes) {
    for (const unsigned tag : kUnreadTags) {
      if (tag == 0xFFFF) continue;
      SCOPED_TRACE(std::to_string(opcode) + " " + std::to_string(tag));
      CodeBuilder sub = CallOf(opcode, 3);
      const std::size_t at = sub.Size();
      const RunOutcome outcome = RunPair(sub.U16(tag).Str("unread").Exit(), callee);
      EXPECT_EQ(outcome.output, "called");
      ExpectMacroError(outcome, kMalformed, At(at + 2));
    }
  }
}

TEST(CallTest, AGoodArgumentBeforeAnUnreadTagIsPassed) {
  const CodeBuilder callee = CodeBuilder().Declare(5, 34).Op(7, 1).Var(33).Exit();
  for (const unsigned opcode : kCallOpcodes) {
    for (const unsigned tag : kUnreadTags) {
      if (tag == 0xFFFF) continue;
      SCOPED_TRACE(std::to_string(opcode) + " " + std::to_string(tag));
      CodeBuilder sub = CallOf(opcode, 3).Str("good");
      const std::size_t at = sub.Size();
      const RunOutcome outcome = RunPair(sub.U16(tag).Exit(), callee);
      EXPECT_EQ(outcome.output, "good");
      ExpectMacroError(outcome, kMalformed, At(at + 2));
    }
  }
}

TEST(CallTest, TheLargestCountPasses254Literals) {
  for (const unsigned opcode : kCallOpcodes) {
    CodeBuilder sub = CallOf(opcode, 255);
    for (int i = 0; i < 254; ++i) sub.Int(1000 + i);
    CodeBuilder callee;
    callee.Op(25, 1).Var(33).Op(7, 1).Str(" ").Op(25, 1).Var(286).Declare(5, 287).Exit();
    const RunOutcome outcome = RunPair(sub.Op(7, 1).Str(" back").Exit(), callee);
    ExpectNoError(outcome);
    EXPECT_EQ(outcome.output, "1000 1253 back");
  }
}

TEST(CallTest, TheLargestCountPasses254References) {
  for (const unsigned opcode : kCallOpcodes) {
    CodeBuilder sub;
    for (int id = 33; id <= 286; ++id) sub.Declare(5, id).Op(3, 3).Byte(5).Var(id).Int(1000 + id);
    sub.Raw(CallOf(opcode, 255).Bytes());
    for (int id = 286; id >= 33; --id) sub.Var(id);  // the last one becomes the first
    sub.Op(25, 1).Var(33).Op(7, 1).Str(" ").Op(25, 1).Var(286);
    CodeBuilder callee;
    callee.Op(25, 1).Var(33).Op(7, 1).Str(" ").Op(25, 1).Var(286).Op(7, 1).Str(" ");
    callee.Op(3, 3).Byte(5).Var(33).Int(1).Op(3, 3).Byte(5).Var(286).Int(2).Declare(5, 287);
    const RunOutcome outcome = RunPair(sub.Exit(), callee.Exit());
    ExpectNoError(outcome);
    EXPECT_EQ(outcome.output, "1286 1033 2 1");
  }
}

TEST(CallTest, CountsZeroAndOneReadTheNameAlone) {
  for (const unsigned count : {0u, 1u}) {
    for (const unsigned opcode : {32u, 33u}) {
      CodeBuilder sub;
      sub.Op(opcode, count);
      opcode == 32 ? sub.RawText("Callee") : sub.Str("Callee");
      EXPECT_EQ(RunPair(sub.Op(7, 1).Str("back").Exit(), Write("called").Exit()).output,
                "calledback");
    }
  }
}

TEST(CallTest, TheNameOfCallSubMayBeAVariable) {
  CodeBuilder sub;
  sub.Op(33, 1).Var(33).Exit();
  EXPECT_EQ(RunPair(sub, Write("called").Exit(), {{1, false, "Callee"}}).output, "called");
}

TEST(CallTest, AnUnknownSubroutineHasTheErrorOfTheFileStack) {
  ExpectMacroError(RunCode(CodeBuilder().Op(32, 1).RawText("Nowhere").Exit()), 17492, "Nowhere");
  ExpectMacroError(RunCode(CodeBuilder().Op(33, 1).Str("nowhere").Exit()), 17492, "nowhere");
}

TEST(CallTest, LocalsOfOneActivationDoNotReachTheNext) {
  CodeBuilder callee;
  callee.Op(5, 2).Byte(5).U16(33).Op(25, 1).Var(33).Op(3, 3).Byte(5).Var(33).Int(7).Exit();
  CodeBuilder sub;
  sub.Op(32, 1).RawText("Callee").Op(32, 1).RawText("Callee").Exit();
  EXPECT_EQ(RunPair(sub, callee).output, "00");
}

// ---- soft errors -----------------------------------------------------------------------------

TEST(SoftErrorTest, ASubroutineThatEndsWithStopIsCaughtBySuccess) {
  CodeBuilder sub;
  sub.Op(2, 4).Byte(5).Byte('=').Int(1).Int(1).Op(32, 1).RawText("Callee").Op(18, 0);
  const RunOutcome outcome = RunPair(sub.Op(7, 1).Str("on").Exit(), CodeBuilder().Op(40, 0));
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "on");
  EXPECT_FALSE(outcome.condition);
}

TEST(SoftErrorTest, AnythingElseBehindTheCallPropagatesIt) {
  CodeBuilder sub;
  sub.Op(32, 1).RawText("Callee").Op(7, 1).Str("never").Op(18, 0).Exit();
  const RunOutcome outcome = RunPair(sub, CodeBuilder().Op(40, 0));
  ExpectMacroError(outcome, kEndedByMacro, At("Callee", 2));
  EXPECT_EQ(outcome.output, "");
}

TEST(SoftErrorTest, SuccessInTheSameFrameCatchesItToo) {
  CodeBuilder sub;
  sub.Declare(5, 33).Op(48, 1).Var(33).Op(18, 0).Op(7, 1).Str("on").Exit();
  const RunOutcome outcome = RunCode(sub);
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "on");
  EXPECT_FALSE(outcome.condition);
}

TEST(SoftErrorTest, SuccessWithoutAnErrorIsTrue) {
  EXPECT_TRUE(RunCode(CodeBuilder().Op(18, 0).Exit()).condition);
}

TEST(SoftErrorTest, FillersAndLineMarksBeforeSuccessDoNotCount) {
  CodeBuilder sub;
  sub.Op(32, 1).RawText("Callee").Byte(255).Op(161, 1).U16(12).Byte(255).Op(18, 0).Exit();
  ExpectNoError(RunPair(sub, CodeBuilder().Op(40, 0)));
}

TEST(SoftErrorTest, StopInTheOutermostFrameReturnsTrueWithTheStatusSet) {
  const RunOutcome outcome = RunCode(CodeBuilder().Op(40, 0));
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.error, ErrorChain{});
  EXPECT_EQ(outcome.status, (ErrorChain{{kEndedByMacro, At(2)}}));
}

TEST(SoftErrorTest, AnUncaughtOneBecomesTheStatusAndTheReturnedError) {
  CodeBuilder sub;
  sub.Declare(5, 33).Op(48, 1).Var(33);
  const std::size_t behind = sub.Size();
  ExpectMacroError(RunCode(sub.Exit()), 17494, At(behind));
}

TEST(SoftErrorTest, APendingOneOutranksAStatusError) {
  // The callee stops; before the caller can look at that, its own code has ended.
  const RunOutcome outcome =
      RunPair(CodeBuilder().Op(32, 1).RawText("Callee").Byte(255), CodeBuilder().Op(40, 0));
  ExpectMacroError(outcome, kEndedByMacro, At("Callee", 2));
}

}  // namespace
}  // namespace tmx
