// Where the engine takes a shortcut, held against the reference engine, which takes none: calls
// that begin without a frame, variables that commands and calls make, instructions that are taken
// together, and amounts and dates that are read and written as they stand.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "tests/macro/every_engine.h"
#include "tests/support/long_run.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;

// ---- calls without a frame ---------------------------------------------------------------------

CodeBuilder& AddTo(CodeBuilder& code, int to, int what) {
  return code.Op(28, 5).Byte(6).Byte('+').Var(to).Var(to).Var(what);
}
CodeBuilder LongParams(int count) {
  CodeBuilder code;
  for (int i = 0; i < count; ++i) code.Op(1, 2).Byte(6).U16(static_cast<unsigned>(33 + i));
  return code;
}
// Two longs, 33 and 34, a call of "Callee" with them, and what became of them.
CodeBuilder Caller() {
  CodeBuilder code;
  code.Op(5, 3).Byte(6).U16(33).U32(7).Op(5, 3).Byte(6).U16(34).U32(5);
  code.Op(32, 3).RawText("Callee").Var(33).Var(34);
  return code.Op(50, 1).Var(33).Op(7, 1).Str(" ").Op(50, 1).Var(34).Exit();
}
RunOutcome RunCaller(const CodeBuilder& callee, const CodeBuilder& caller = Caller()) {
  return RunFiles({ImageBuilder("test").Sub("SUB", caller).Sub("Callee", callee).Build()});
}

TEST(FramelessCallTest, WorksOnTheCallersVariables) {
  CodeBuilder callee = LongParams(2);
  const RunOutcome outcome = RunCaller(AddTo(callee, 33, 34).Exit());
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.output, "12 5");
}

TEST(FramelessCallTest, LoopsAndJumps) {
  CodeBuilder callee = LongParams(2);
  callee.Bind(1).Op(28, 5).Byte(6).Byte('+').Var(34).Var(34).Long(1);
  callee.Op(2, 4).Byte(6).Byte('<').Var(34).Long(9).Op(31, 2).Byte(0).Target(1);
  callee.Op(30, 1).Target(2).Op(7, 1).Str("skipped").Bind(2);
  EXPECT_EQ(RunCaller(callee.Exit()).output, "7 9");
}

TEST(FramelessCallTest, GetsItsFrameForACommand) {
  CodeBuilder callee = LongParams(2);
  AddTo(callee, 33, 34).Op(50, 1).Var(33).Op(5, 3).Byte(6).U16(35).U32(100);
  EXPECT_EQ(RunCaller(AddTo(callee, 34, 35).Exit()).output, "1212 105");
}

TEST(FramelessCallTest, GetsItsFrameForASourceLineAndAName) {
  CodeBuilder callee = LongParams(2);
  AddTo(callee, 33, 34).Op(161, 1).U16(42);
  AddTo(callee, 33, 34).Op(163, 2).U16(33).RawText("sum");
  EXPECT_EQ(RunCaller(AddTo(callee, 33, 34).Exit()).output, "22 5");
}

TEST(FramelessCallTest, GetsItsFrameForASourceFile) {
  CodeBuilder callee = LongParams(2);
  AddTo(callee, 33, 34).Op(160, 1).RawText("source.hbm");
  EXPECT_EQ(RunCaller(AddTo(callee, 33, 34).Exit()).output, "17 5");
}

TEST(FramelessCallTest, AnErrorBelongsToTheCallee) {
  CodeBuilder callee = LongParams(2);
  AddTo(callee, 33, 34).Op(50, 1).Var(40);
  const std::string position = At("Callee", callee.Size());
  ExpectMacroError(RunCaller(callee.Exit()), kMalformed, position);
}

TEST(FramelessCallTest, AVariableOfAnotherTypeIsRefused) {
  CodeBuilder caller;
  caller.Op(5, 3).Byte(6).U16(33).U32(7).Op(5, 3).Byte(5).U16(34).U16(5);
  caller.Op(32, 3).RawText("Callee").Var(33).Var(34).Exit();
  CodeBuilder callee = LongParams(2);
  callee.Op(28, 5).Byte(6).Byte('+').Var(33).Var(33).Long(1);
  AddTo(callee, 33, 34);
  const std::string position = At("Callee", callee.Size());
  ExpectMacroError(RunCaller(callee.Exit(), caller), kMalformed, position);
}

TEST(FramelessCallTest, AnArgumentWithoutVariableIsMade) {
  CodeBuilder caller;
  caller.Op(5, 3).Byte(6).U16(33).U32(7).Op(5, 2).Byte(6).U16(34);
  caller.Op(32, 3).RawText("Callee").Var(33).Var(34).Op(50, 1).Var(34).Exit();
  CodeBuilder callee = LongParams(2);
  EXPECT_EQ(RunCaller(AddTo(callee, 34, 33).Exit(), caller).output, "7");
}

TEST(FramelessCallTest, FewerArgumentsThanParameters) {
  CodeBuilder callee = LongParams(3);
  callee.Op(28, 5).Byte(6).Byte('+').Var(35).Var(35).Long(1);
  EXPECT_EQ(RunCaller(AddTo(callee, 33, 35).Exit()).output, "8 5");
}

TEST(FramelessCallTest, OneVariableTwiceAndCallsWithinCalls) {
  CodeBuilder caller;
  caller.Op(5, 3).Byte(6).U16(33).U32(7);
  caller.Op(32, 3).RawText("Middle").Var(33).Var(33).Op(50, 1).Var(33).Exit();
  CodeBuilder middle = LongParams(2);
  AddTo(middle, 33, 34).Op(32, 3).RawText("Callee").Var(34).Var(33);
  CodeBuilder callee = LongParams(2);
  AddTo(callee, 33, 34).Exit();
  const MacroImage image = ImageBuilder("test")
                               .Sub("SUB", caller)
                               .Sub("Middle", AddTo(middle, 33, 34).Exit())
                               .Sub("Callee", callee)
                               .Build();
  EXPECT_EQ(RunFiles({image}).output, "56");
}

TEST(FramelessCallTest, RecursionWhileTheSubroutineIsMetForTheFirstTime) {
  CodeBuilder callee = LongParams(2);
  callee.Op(28, 5).Byte(6).Byte('+').Var(33).Var(33).Long(1);
  callee.Op(2, 4).Byte(6).Byte('<').Var(33).Long(9).Op(31, 2).Byte(1).Target(1);
  callee.Op(32, 3).RawText("Callee").Var(33).Var(34);
  AddTo(callee.Bind(1), 34, 33);
  EXPECT_EQ(RunCaller(callee.Exit()).output, "9 23");
}

// ---- variables that are made
// ---------------------------------------------------------------------

// Locals without a value: a text 33, a date 34, an int 35, a long 36, an amount 37 and a bool 38.
CodeBuilder Locals() {
  CodeBuilder code;
  int id = 33;
  for (const unsigned type : {1u, 2u, 5u, 6u, 8u, 10u})
    code.Op(5, 2).Byte(type).U16(static_cast<unsigned>(id++));
  return code;
}

TEST(MadeVariableTest, CommandsMakeWhatTheyReadAndWrite) {
  CodeBuilder code = Locals();
  code.Op(58, 1).Str("one;two").Op(14, 3).Var(33).Int(-1).Char(';').Op(7, 1).Var(33);
  code.Op(8, 2).Var(34).Str("d.m.yy").Op(25, 1).Var(35).Op(50, 1).Var(36).Op(9, 2).Var(37).Str(
      "v.n");
  code.Op(2, 4).Byte(10).Byte('=').Var(38).Bool(false).Op(31, 2).Byte(0).Target(1);
  code.Op(7, 1).Str("true").Bind(1);
  ExpectNoError(RunCode(code.Exit()));
}

TEST(MadeVariableTest, EveryTypeIsReceivedAsAText) {
  for (int id = 33; id <= 39; ++id) {
    CodeBuilder code = Locals();
    code.Op(58, 1).Var(id).Op(5, 2).Byte(1).U16(39).Op(14, 1).Var(39).Op(7, 1).Var(39);
    const RunOutcome outcome = RunCode(code.Exit());
    EXPECT_EQ(outcome.output.empty(), id != 34 && id != 35 && id != 36) << id;
  }
}

TEST(MadeVariableTest, AValueOfEveryTypeIsReceivedAsAText) {
  CodeBuilder code;
  code.Op(5, 3).Byte(2).U16(33).RawDate(5, 3, 2003).Op(5, 3).Byte(5).U16(34).U16(0xFFFE);
  code.Op(5, 3).Byte(6).U16(35).U32(70000).Op(5, 3).Byte(8).U16(36).RawText("1,50");
  code.Op(5, 2).Byte(1).U16(37);
  for (int id = 33; id <= 36; ++id)
    code.Op(58, 1).Var(id).Op(14, 1).Var(37).Op(7, 1).Var(37).Op(7, 1).Str(" ");
  EXPECT_EQ(RunCode(code.Exit()).output, "05.03.2003 -2 70000 1,50 ");
}

TEST(MadeVariableTest, AnOperandOfAnotherTypeIsRefused) {
  CodeBuilder code = Locals();
  const std::string position = At(code.Size() + 4);
  ExpectMacroError(RunCode(code.Op(52, 2).Var(36).Var(33).Exit()), kMalformed, position);
}

TEST(MadeVariableTest, CallsMakeTheirArguments) {
  CodeBuilder caller = Locals();
  caller.Op(32, 4).RawText("Callee").Str("x").Var(33).Var(36);
  caller.Op(7, 1).Var(33).Op(50, 1).Var(36).Exit();
  CodeBuilder callee;
  callee.Op(1, 2).Byte(1).U16(33).Op(1, 2).Byte(1).U16(34).Op(1, 2).Byte(6).U16(35);
  callee.Op(3, 3).Byte(1).Var(34).Var(33).Op(3, 3).Byte(6).Var(35).Long(7);
  EXPECT_EQ(RunCaller(callee.Exit(), caller).output, "x7");
}

// ---- instructions taken together
// -----------------------------------------------------------------

TEST(RowTest, AnyNumberOfParametersStandsInARow) {
  constexpr int kCount = 10000;
  EXPECT_EQ(RunCaller(LongParams(kCount).Exit()).output, "7 5");
}

TEST(RowTest, AnyNumberOfAdditionsStandsInARow) {
  constexpr int kCount = 4000;
  CodeBuilder code;
  code.Op(5, 3).Byte(6).U16(33).U32(0);
  for (int i = 0; i < kCount; ++i) code.Op(28, 5).Byte(6).Byte('+').Var(33).Var(33).Long(1);
  EXPECT_EQ(RunCode(code.Op(50, 1).Var(33).Exit()).output, "4000");
}

// ---- amounts and dates as they stand -----------------------------------------------------------

// Reads items from a random input, each up to the next ';', and writes what it read.
template <class Unit>
void CompareOnRandomInput(std::uint32_t seed, std::string_view alphabet, std::size_t longest,
                          Unit unit) {
  constexpr int kItems = 40;
  std::mt19937 random(seed);
  std::string input;
  for (int i = 0; i < kItems; ++i) {
    for (std::size_t length = random() % (longest + 1); length > 0; --length)
      input += alphabet[random() % alphabet.size()];
    input += ';';
  }
  CodeBuilder code;
  code.Op(5, 3).Byte(8).U16(33).RawText("").Op(5, 3).Byte(2).U16(34).RawDate(0, 0, 0);
  code.Op(5, 3).Byte(1).U16(35).RawText("").Op(58, 1).Str(input);
  for (int i = 0; i < kItems; ++i) {
    unit(code);
    code.Op(18, 0).Op(14, 3).Var(35).Int(-1).Char(';').Op(55, 1).Char(';').Op(7, 1).Var(35);
  }
  const RunOutcome outcome = RunCode(code.Exit());
  ASSERT_FALSE(outcome.output.empty()) << input;
}

TEST(ShortcutTest, AmountsReadAsTheReferenceEngineReadsThem) {
  const auto runs = test::Runs<std::uint32_t>(250, 25000);
  for (std::uint32_t seed = 0; seed < runs && !testing::Test::HasFailure(); ++seed)
    CompareOnRandomInput(seed, seed % 2 == 0 ? "00123456789,,,,.- " : "01239,", 4 + seed % 24,
                         [seed](CodeBuilder& code) {
                           if (seed % 3 == 0) {
                             code.Op(16, 1).Var(33);
                           } else {
                             code.Op(16, 4).Var(33).Str("v,n").Int(0);
                             code.Int(static_cast<int>(seed % 5));
                           }
                           code.Op(18, 0).Op(7, 1).Var(33).Op(7, 1).Str("|");
                         });
}

TEST(ShortcutTest, AmountsAreWrittenAsTheReferenceEngineWritesThem) {
  const auto runs = test::Runs<std::uint32_t>(100, 10000);
  constexpr std::string_view kAlphabet = "00123456789,,,-.";
  std::mt19937 random(5);
  for (std::uint32_t run = 0; run < runs && !testing::Test::HasFailure(); ++run) {
    CodeBuilder code;
    for (int i = 0; i < 100; ++i) {
      std::string text;
      for (auto length = random() % 26; length > 0; --length)
        text += kAlphabet[random() % (i % 2 == 0 ? 14 : kAlphabet.size())];
      code.Op(9, 4).Amount(text).Str("v.n;").Int(30).Int(static_cast<int>(random() % 6) - 1);
      code.Op(9, 2).Amount(text).Str("n-v|");
    }
    const RunOutcome outcome = RunCode(code.Exit());
    ExpectNoError(outcome);
  }
}

TEST(ShortcutTest, DatesReadAsTheReferenceEngineReadsThem) {
  constexpr std::string_view kFormats[] = {"yymd", "d.m.yy", "dmy", "m/d", "d.m.y"};
  const auto runs = test::Runs<std::uint32_t>(250, 25000);
  for (std::uint32_t seed = 0; seed < runs && !testing::Test::HasFailure(); ++seed)
    CompareOnRandomInput(seed, seed % 2 == 0 ? "0123456789" : "0123456789. /", 10,
                         [seed, &kFormats](CodeBuilder& code) {
                           code.Op(15, 2).Var(34).Str(kFormats[seed % 5]);
                           code.Op(18, 0).Op(8, 2).Var(34).Str("d.m.yy y|");
                         });
}

TEST(ShortcutTest, ADateFormatHasAnyLength) {
  for (const std::size_t length : {20U, 22U, 24U, 1000U}) {
    std::string expected;
    for (std::size_t i = 0; i < length; i += 2) expected += "2003";
    CodeBuilder code;
    code.Op(8, 2).Date(5, 3, 2003).Str(std::string(length, 'y'));
    EXPECT_EQ(RunCode(code.Exit()).output, expected);
  }
}

}  // namespace
}  // namespace tmx
