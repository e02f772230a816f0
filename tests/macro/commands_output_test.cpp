// What the write commands append to the output.
#include <gtest/gtest.h>

#include "tests/macro/every_engine.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;

std::string OutputOf(CodeBuilder code) {
  const RunOutcome outcome = RunCode(code.Exit());
  ExpectNoError(outcome);
  return outcome.output;
}

// ---- the field -------------------------------------------------------------------------------

TEST(WriteStringTest, ATextWithoutWidthIsAppendedAsItIs) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 1).Str("AB").Op(7, 1).Str("").Op(7, 1).Str("C")), "ABC");
}

TEST(WriteStringTest, AShortTextInAFieldWithoutFillGetsTheMarker) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 2).Str("ABC").Int(5)), "ABC\\#");
}

TEST(WriteStringTest, ALongTextIsCutToTheWidthWithoutMarker) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 2).Str("ABC").Int(2)), "AB");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 2).Str("ABC").Int(3)), "ABC");
}

TEST(WriteStringTest, TheFillCharacterPadsOnTheSideThatRightAlignSays) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 4).Str("7").Int(3).Char('0').Bool(true)), "007");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 4).Str("7").Int(3).Char('0').Bool(false)), "700");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 3).Str("7").Int(3).Char('*')), "7**");
}

TEST(WriteStringTest, PaddingCountsFromTheOutputThatWasThereBefore) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 1).Str("abc").Op(7, 3).Str("7").Int(3).Char('-')),
            "abc7--");
  EXPECT_EQ(
      OutputOf(CodeBuilder().Op(7, 1).Str("abc").Op(7, 4).Str("7").Int(3).Char('-').Bool(true)),
      "abc--7");
}

TEST(WriteStringTest, WidthZeroCutsToNothing) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 2).Str("ABC").Int(0)), "");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 3).Str("ABC").Int(0).Char('x')), "");
}

TEST(WriteStringTest, ANegativeWidthIsTakenAsUnsigned) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 2).Str("ABC").Int(-1)), "ABC\\#");
  const std::string padded = OutputOf(CodeBuilder().Op(7, 3).Str("ABC").Int(-32768).Char('.'));
  EXPECT_EQ(padded.size(), 32768U);
  EXPECT_EQ(padded, "ABC" + std::string(32765, '.'));
}

TEST(WriteStringTest, ATextBeyond65535BytesIsAnErrorAndLeavesTheOutput) {
  CodeBuilder code;
  code.Op(7, 3).Str("x").Int(-1).Char('x');  // 65535 characters
  const std::size_t full = code.Size();
  code.Op(7, 1).Str("y");
  const std::size_t behind = code.Size();
  const RunOutcome outcome = RunCode(code.Exit());
  ExpectMacroError(outcome, kMalformed, At(behind));
  EXPECT_EQ(outcome.output.size(), 65535U);
  EXPECT_GT(behind, full);
}

TEST(WriteFieldTest, AValueBeyond65535BytesIsAnErrorThoughTheWidthWouldCutIt) {
  const CodeBuilder before = CodeBuilder().Op(7, 1).Str("before");
  CodeBuilder date = before, amount = before;
  date.Op(8, 3).Date(5, 3, 2003).Str(std::string(33000, 'y')).Int(5);
  amount.Op(9, 3).Amount("12,00").Str(std::string(33000, 'v')).Int(5);
  for (CodeBuilder& code : {std::ref(date), std::ref(amount)}) {
    const std::size_t behind = code.Size();
    const RunOutcome outcome = RunCode(code.Exit());
    ExpectMacroError(outcome, kMalformed, At(behind));
    EXPECT_EQ(outcome.output, "before");
  }
}

TEST(WriteFieldTest, AValueOf65535BytesIsCutToTheWidth) {
  const std::string format = '.' + std::string(32767, 'y');
  EXPECT_EQ(OutputOf(CodeBuilder().Op(8, 3).Date(5, 3, 2003).Str(format).Int(5)), ".2003");
}

TEST(WriteStringTest, AnAmountVariableIsATextToo) {
  CodeBuilder code;
  code.Declare(8, 33).Op(3, 3).Byte(8).Var(33).Amount("1,50").Op(7, 1).Var(33);
  EXPECT_EQ(OutputOf(code), "1,50");
}

TEST(WriteCommandsTest, AnOperandErrorWritesNothing) {
  CodeBuilder code;
  code.Op(7, 1).Str("before").Op(7, 2).Str("text").Str("no width");
  const RunOutcome outcome = RunCode(code.Exit());
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.output, "before");
}

TEST(WriteCommandsTest, TheOperandsBehindABadOneAreStillReadAndTheLastErrorStands) {
  CodeBuilder code;
  code.Op(7, 3).Str("text").U16(4).U16(4);  // two wrong tags
  const std::size_t behind = code.Size();
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
}

TEST(WriteCommandsTest, CountZeroIsAnErrorForEveryWriteCommand) {
  for (const unsigned opcode : {7u, 8u, 9u, 25u, 50u})
    ExpectMacroError(RunCode(CodeBuilder().Op(opcode, 0).Exit()), kMalformed, At(2));
}

// ---- numbers ---------------------------------------------------------------------------------

TEST(WriteIntTest, NumbersAreDecimalWithAMinusForNegatives) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(25, 1).Int(0).Op(7, 1).Str(" ").Op(25, 1).Int(-32768)),
            "0 -32768");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(50, 1).Long(-2147483648LL).Op(50, 1).Long(2147483647)),
            "-21474836482147483647");
}

TEST(WriteIntTest, CountFiveReadsOnlyFourOperands) {
  for (const unsigned opcode : {25u, 50u}) {
    CodeBuilder code;
    code.Op(opcode, 5);
    opcode == 25 ? code.Int(42) : code.Long(42);
    code.Int(5).Char('0').Bool(true).Op(7, 1).Str(";");
    EXPECT_EQ(OutputOf(code), "00042;");
  }
}

TEST(WriteIntTest, ANumberIsCutLikeAText) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(25, 2).Int(12345).Int(3)), "123");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(50, 2).Long(12).Int(3)), "12\\#");
}

// ---- dates -----------------------------------------------------------------------------------

std::string DateAs(const char* format) {
  return OutputOf(CodeBuilder().Op(8, 2).Date(5, 3, 2003).Str(format));
}

TEST(WriteDateTest, TheDefaultFormatIsDayMonthAndFullYearWithoutSeparators) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(8, 1).Date(5, 3, 2003)), "05032003");
}

TEST(WriteDateTest, FormatLettersStandForPartsAndOthersForThemselves) {
  EXPECT_EQ(DateAs("d.m.yy"), "05.03.2003");
  EXPECT_EQ(DateAs("yymd"), "20030305");
  EXPECT_EQ(DateAs("Y=y M=m"), "Y=03 M=03");
  EXPECT_EQ(DateAs(""), "");
}

TEST(WriteDateTest, OneYIsTheShortYearAndThreeAreTheFullYearAndTheShortOne) {
  EXPECT_EQ(DateAs("y"), "03");
  EXPECT_EQ(DateAs("yyy"), "200303");
  EXPECT_EQ(DateAs("y.y"), "03.03");
}

TEST(WriteDateTest, TheNullDateIsFormattedAsZeros) {
  EXPECT_EQ(OutputOf(CodeBuilder().Declare(2, 33).Op(8, 2).Var(33).Str("d.m.yy")), "00.00.0000");
}

TEST(WriteDateTest, AFieldFollowsTheFormat) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(8, 3).Date(5, 3, 2003).Str("d").Int(1)), "0");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(8, 4).Date(5, 3, 2003).Str("d").Int(4).Char('_')), "05__");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(8, 5).Date(5, 3, 2003).Str("d").Int(4).Char('_').Bool(true)),
            "__05");
}

// ---- amounts ---------------------------------------------------------------------------------

std::string AmountAs(const char* amount, const char* format, int decimals = 2) {
  return OutputOf(CodeBuilder()
                      .Op(9, 4)
                      .Amount(amount)
                      .Str(format)
                      .Int(100)
                      .Int(decimals)
                      .Op(10, 0)
                      .Op(9, 6)
                      .Amount(amount)
                      .Str(format)
                      .Int(30)
                      .Int(decimals)
                      .Char('.')
                      .Bool(false));
}

std::string TrimmedAmount(const char* amount, const char* format, int decimals = 2) {
  std::string text = AmountAs(amount, format, decimals);
  text.erase(text.find_last_not_of('.') + 1);
  return text;
}

TEST(WriteAmountTest, TheDefaultFormatHasACommaAndTwoDecimals) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 1).Amount("1234,56")), "1234,56");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 2).Amount("1234,56").Str("v.n")), "1234.56");
}

TEST(WriteAmountTest, TheFractionIsPaddedToItsDecimals) {
  EXPECT_EQ(TrimmedAmount("1,05", "v,n"), "1,05");
  EXPECT_EQ(TrimmedAmount("0,05", "v,n"), "0,05");
  EXPECT_EQ(TrimmedAmount("7,005", "vxn", 3), "7x005");
}

TEST(WriteAmountTest, NothingIsRescaledSoAnotherNumberOfDigitsIsSplitLiterally) {
  EXPECT_EQ(TrimmedAmount("12,5", "v,n"), "1,25");
  EXPECT_EQ(TrimmedAmount("12", "v,n"), "0,12");
}

TEST(WriteAmountTest, WithoutDecimalsTheWholeNumberIsTheIntegerPart) {
  EXPECT_EQ(TrimmedAmount("12,34", "v", 0), "1234");
  EXPECT_EQ(TrimmedAmount("12,34", "v|n", 0), "1234|0");
}

TEST(WriteAmountTest, NegativeDecimalsAreNone) {
  for (const int decimals : {-1, -2, -32768})
    EXPECT_EQ(TrimmedAmount("12,34", "v|n", decimals), "1234|0");
}

TEST(WriteAmountTest, ANegativeAmountSplitsAsTheDivisionDoes) {
  EXPECT_EQ(TrimmedAmount("-12,50", "v,n"), "-12,-50");
  EXPECT_EQ(TrimmedAmount("-0,05", "v|n"), "0|-5");
}

TEST(WriteAmountTest, ANullAmountIsWrittenAsZero) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 1).Amount("")), "0,00");
  EXPECT_EQ(OutputOf(CodeBuilder().Declare(8, 33).Op(9, 1).Var(33)), "0,00");
}

TEST(WriteAmountTest, AnAmountLargerThan64BitsKeepsItsDigits) {
  EXPECT_EQ(TrimmedAmount("123456789012345678901,23", "v,n"), "123456789012345678901,23");
}

TEST(WriteAmountTest, TheWidthComesBeforeTheDecimals) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 3).Amount("12,34").Str("v,n").Int(7)), "12,34\\#");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 4).Amount("1,234").Str("v,n").Int(7).Int(3)), "1,234\\#");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(9, 5).Amount("1,2").Str("v,n").Int(7).Int(1).Char(' ')),
            "1,2    ");
  EXPECT_EQ(
      OutputOf(CodeBuilder().Op(9, 6).Amount("1,2").Str("v,n").Int(7).Int(1).Char(' ').Bool(true)),
      "    1,2");
}

// ---- clearing and feeding back ---------------------------------------------------------------

TEST(ClearTest, TheOutputIsEmptiedWhateverTheCount) {
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 1).Str("x").Op(10, 0)), "");
  EXPECT_EQ(OutputOf(CodeBuilder().Op(7, 1).Str("x").Op(10, 200)), "");
}

TEST(ReceiveOutputTest, ACopyOfTheOutputBecomesTheInput) {
  CodeBuilder code;
  code.Op(58, 1).Str("old").Op(7, 1).Str("new").Op(150, 0).Op(7, 1).Str("er").Exit();
  const RunOutcome outcome = RunCode(code);
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.input, "new");
  EXPECT_EQ(outcome.input_pos, 0U);
  EXPECT_EQ(outcome.output, "newer");
}

}  // namespace
}  // namespace tmx
