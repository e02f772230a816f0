// What the read, search and compare commands take from the input.
#include <gtest/gtest.h>

#include "tests/macro/every_engine.h"
#include "tmxtools/platform/clock.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;
constexpr unsigned kUnexpected = 17494;

// A run that starts with an input and variables of the host: 33 string, 34 date, 35 int, 36 long,
// 37 amount, 38 int.
struct Reading {
  RunOutcome outcome;
  std::string Text() const { return outcome.params[0].value; }
  std::string Date() const { return outcome.params[1].value; }
  std::string Int() const { return outcome.params[2].value; }
  std::string Long() const { return outcome.params[3].value; }
  std::string Amount() const { return outcome.params[4].value; }
  std::string OtherInt() const { return outcome.params[5].value; }
  std::uint64_t Cursor() const { return outcome.input_pos; }
  bool SoftError() const { return outcome.error == ErrorChain{{kUnexpected, param}}; }
  std::string param;  // of the soft error that the command would set
};

enum Variable { kText = 33, kDate, kInt, kLong, kAmount, kOtherInt };

struct Before {
  std::string input;
  unsigned cursor = 0;  // moved there by reading as many characters
  std::string date = "20011231";
  std::string amount = "7,00";
};

Reading Read(const Before& before, const CodeBuilder& command) {
  CodeBuilder code;
  code.Op(58, 1).Str(before.input);
  if (before.cursor != 0) code.Op(14, 2).Var(kText).Int(static_cast<int>(before.cursor));
  code.Op(3, 3).Byte(1).Var(kText).Str("old").Raw(command.Bytes());
  const std::size_t behind = code.Size();
  Reading reading{RunCode(code.Op(18, 0).Exit(), {{1, true, ""},
                                                  {2, before.date.empty(), before.date},
                                                  {5, false, "-9"},
                                                  {6, false, "-9"},
                                                  {8, false, before.amount},
                                                  {5, false, "-9"}}),
                  At(behind)};
  return reading;
}

// The same, but nobody catches a soft error.
Reading ReadUncaught(const Before& before, const CodeBuilder& command) {
  CodeBuilder code;
  code.Op(58, 1).Str(before.input);
  code.Raw(command.Bytes());
  const std::size_t behind = code.Size();
  return {RunCode(code.Exit(), {{1, true, ""},
                                {2, before.date.empty(), before.date},
                                {5, false, "-9"},
                                {6, false, "-9"},
                                {8, false, before.amount},
                                {5, false, "-9"}}),
          At(behind)};
}

// ---- 14 and 37: texts ------------------------------------------------------------------------

TEST(ReadStringTest, TheStopCharacterEndsTheFieldAndStaysInTheInput) {
  const Reading reading = Read({"AB;CD"}, CodeBuilder().Op(14, 3).Var(kText).Int(5).Char(';'));
  EXPECT_EQ(reading.Text(), "AB");
  EXPECT_EQ(reading.Cursor(), 2U);
}

TEST(ReadAppendTest, OneCharacterBehindTheFieldIsSkipped) {
  const Reading reading = Read({"AB;CD"}, CodeBuilder().Op(37, 3).Var(kText).Int(5).Char(';'));
  EXPECT_EQ(reading.Text(), "oldAB");
  EXPECT_EQ(reading.Cursor(), 3U);
}

TEST(ReadStringTest, TheLengthCutsBeforeAStopCharacterThatComesLater) {
  const Reading reading = Read({"ABCD;"}, CodeBuilder().Op(14, 3).Var(kText).Int(2).Char(';'));
  EXPECT_EQ(reading.Text(), "AB");
  EXPECT_EQ(reading.Cursor(), 2U);
}

TEST(ReadStringTest, WithoutALengthTheRestIsTaken) {
  const Reading reading = Read({"AB;CD", 1}, CodeBuilder().Op(14, 1).Var(kText));
  EXPECT_EQ(reading.Text(), "B;CD");
  EXPECT_EQ(reading.Cursor(), 5U);
}

TEST(ReadStringTest, AStopCharacterThatIsNotThereTakesTheRest) {
  const Reading reading = Read({"ABCD"}, CodeBuilder().Op(14, 3).Var(kText).Int(-1).Char(';'));
  EXPECT_EQ(reading.Text(), "ABCD");
}

TEST(ReadStringTest, AStopCharacterBeforeTheCursorDoesNotCount) {
  const Reading reading = Read({";ABC", 1}, CodeBuilder().Op(14, 3).Var(kText).Int(9).Char(';'));
  EXPECT_EQ(reading.Text(), "ABC");
}

TEST(ReadStringTest, AtTheEndOfTheInputAnEmptyTextIsRead) {
  const Reading reading = Read({"AB", 2}, CodeBuilder().Op(14, 1).Var(kText));
  ExpectNoError(reading.outcome);
  EXPECT_EQ(reading.Text(), "");
}

TEST(ReadStringTest, ACursorBeyondTheEndIsAnErrorOfTheMacro) {
  CodeBuilder code;
  code.Op(37, 1).Var(kText);  // empty input: the cursor goes to 1
  const Reading reading = ReadUncaught({""}, code.Op(14, 1).Var(kText));
  ExpectMacroError(reading.outcome, kMalformed, reading.param);
}

TEST(ReadAppendTest, ACursorBeyondTheEndReadsNothingAndGoesOn) {
  CodeBuilder code;
  code.Op(37, 1).Var(kText).Op(37, 1).Var(kText).Op(37, 1).Var(kText);
  const Reading reading = Read({"AB"}, code);
  ExpectNoError(reading.outcome);
  EXPECT_EQ(reading.Text(), "oldAB");
  EXPECT_EQ(reading.Cursor(), 5U);
}

TEST(ReadAppendTest, ATextBeyond65535BytesIsAnErrorAndLeavesTheVariable) {
  CodeBuilder code;
  code.Op(7, 3).Str("x").Int(-32768).Char('x').Op(150, 0);  // 32768 characters
  code.Op(3, 3).Byte(1).Var(kText).Str("");
  for (int round = 0; round < 2; ++round) {
    code.Op(37, 1).Var(kText);
    if (round == 0) code.Op(150, 0);
  }
  const Reading reading = ReadUncaught({""}, code);
  ExpectMacroError(reading.outcome, kMalformed, reading.param);
  EXPECT_EQ(reading.Text().size(), 32768U);
}

TEST(ReadCommandsTest, AMissingVariableEndsTheCommandBeforeItsOtherOperands) {
  for (const unsigned opcode : {14u, 15u, 16u, 37u, 48u, 54u}) {
    CodeBuilder code;
    code.Op(opcode, 2).Var(99);
    const std::size_t behind = code.Size();
    ExpectMacroError(RunCode(code.U16(4).Exit()), kMalformed, At(behind));
  }
}

// ---- 48 and 54: numbers ----------------------------------------------------------------------

TEST(ReadIntTest, TheCursorStaysSoThatTheSameDigitsAreReadAgain) {
  CodeBuilder code;
  code.Op(48, 1).Var(kInt).Op(48, 1).Var(kOtherInt);
  const Reading reading = Read({"123;"}, code);
  EXPECT_EQ(reading.Int(), "123");
  EXPECT_EQ(reading.OtherInt(), "123");
  EXPECT_EQ(reading.Cursor(), 0U);
}

TEST(ReadIntTest, LeadingBlanksArePassed) {
  EXPECT_EQ(Read({"   42x"}, CodeBuilder().Op(48, 1).Var(kInt)).Int(), "42");
}

TEST(ReadIntTest, TheLengthCountsTheBlanks) {
  EXPECT_EQ(Read({"  4242"}, CodeBuilder().Op(48, 2).Var(kInt).Int(3)).Int(), "4");
}

TEST(ReadIntTest, CursorPlusLengthIsTheLimitCountedFromTheCursor) {
  EXPECT_EQ(Read({"ab12345", 2}, CodeBuilder().Op(48, 2).Var(kInt).Int(1)).Int(), "123");
}

TEST(ReadIntTest, AFieldOfBlanksIsZeroWithoutError) {
  const Reading reading = ReadUncaught({"  "}, CodeBuilder().Op(48, 2).Var(kInt).Int(2));
  ExpectNoError(reading.outcome);
  EXPECT_EQ(reading.Int(), "0");
}

TEST(ReadIntTest, WithoutANumberTheSoftErrorIsSetAndZeroStored) {
  const Reading reading = ReadUncaught({"X"}, CodeBuilder().Op(48, 1).Var(kInt));
  EXPECT_FALSE(reading.outcome.ok);
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.outcome.status, reading.outcome.error);
  EXPECT_EQ(reading.Int(), "0");
}

TEST(ReadIntTest, NumbersBeyondTheRangeWrap) {
  EXPECT_EQ(Read({"65537"}, CodeBuilder().Op(48, 1).Var(kInt)).Int(), "1");
  EXPECT_EQ(Read({"40000"}, CodeBuilder().Op(48, 1).Var(kInt)).Int(), "-25536");
  EXPECT_EQ(Read({"4294967297"}, CodeBuilder().Op(54, 1).Var(kLong)).Long(), "1");
}

TEST(ReadLongTest, DigitsAreTakenWithoutBlanksAndWithoutError) {
  EXPECT_EQ(Read({"123456;"}, CodeBuilder().Op(54, 1).Var(kLong)).Long(), "123456");
  const Reading blank = ReadUncaught({" 1"}, CodeBuilder().Op(54, 1).Var(kLong));
  ExpectNoError(blank.outcome);
  EXPECT_EQ(blank.Long(), "0");
  EXPECT_EQ(blank.Cursor(), 0U);
}

TEST(ReadLongTest, TheLengthCountsFromTheCursor) {
  EXPECT_EQ(Read({"ab12345", 2}, CodeBuilder().Op(54, 2).Var(kLong).Int(3)).Long(), "123");
}

// ---- 15: dates -------------------------------------------------------------------------------

Reading ReadDate(const Before& before, const char* format) {
  return Read(before, CodeBuilder().Op(15, 2).Var(kDate).Str(format));
}

TEST(ReadDateTest, TwoDigitYearsUpTo80AreInThisCentury) {
  EXPECT_EQ(ReadDate({"05.03.81"}, "d.m.y").Date(), "19810305");
  EXPECT_EQ(ReadDate({"05.03.80"}, "d.m.y").Date(), "20800305");
}

TEST(ReadDateTest, FullYearsAndOtherOrders) {
  const Reading reading = ReadDate({"20030305;"}, "yymd");
  EXPECT_EQ(reading.Date(), "20030305");
  EXPECT_EQ(reading.Cursor(), 8U);
}

TEST(ReadDateTest, AFieldOfBlanksKeepsTheDateAndTheCursor) {
  const Reading reading = ReadDate({"          x"}, "d.m.yy");
  EXPECT_EQ(reading.Date(), "20011231");
  EXPECT_EQ(reading.Cursor(), 0U);
}

TEST(ReadDateTest, AFieldOfBlanksMakesANullVariableNotNull) {
  const Reading reading = ReadDate({"   ", 0, ""}, "d");
  EXPECT_EQ(reading.Date(), "0");
  EXPECT_FALSE(reading.outcome.params[1].null);
}

TEST(ReadDateTest, AFormatWhoseWidthWrapsToZeroTakesEveryFieldForBlank) {
  const Reading reading = ReadDate({"05"}, std::string(32768, 'd').c_str());
  EXPECT_EQ(reading.Date(), "20011231");
  EXPECT_EQ(reading.Cursor(), 0U);
}

TEST(ReadDateTest, PartsThatTheFormatLacksAreKept) {
  EXPECT_EQ(ReadDate({"05.03."}, "d.m.").Date(), "20010305");
}

TEST(ReadDateTest, AWrongLiteralIsASoftErrorThatLeavesTheVariableButNotTheCursor) {
  const Reading reading = ReadUncaught({"05/03"}, CodeBuilder().Op(15, 2).Var(kDate).Str("d.m"));
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Date(), "20011231");
  EXPECT_EQ(reading.Cursor(), 2U);
}

TEST(ReadDateTest, AnInputThatEndsBeforeTheFormatIsASoftError) {
  const Reading reading = ReadUncaught({"05."}, CodeBuilder().Op(15, 2).Var(kDate).Str("d.m"));
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Date(), "20011231");
  EXPECT_EQ(reading.Cursor(), 3U);
}

TEST(ReadDateTest, APartWithoutDigitsIsASoftErrorButTheWalkGoesOn) {
  const Reading reading =
      ReadUncaught({".03.2003"}, CodeBuilder().Op(15, 2).Var(kDate).Str("d.m.yy"));
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Date(), "20030300");
}

TEST(ReadDateTest, AFullYearWithoutDigitsIsASoftErrorAndTheYearIsInferred) {
  FixedClock clock(20260601);
  ScopedClock scoped(clock);
  const Reading this_year =
      ReadUncaught({"05.03.x"}, CodeBuilder().Op(15, 2).Var(kDate).Str("d.m.yy"));
  EXPECT_TRUE(this_year.SoftError());
  EXPECT_EQ(this_year.Date(), "20260305");
  EXPECT_EQ(this_year.Cursor(), 6U);
  const Reading last_year =
      ReadUncaught({"05.12.x"}, CodeBuilder().Op(15, 2).Var(kDate).Str("d.m.yy"));
  EXPECT_TRUE(last_year.SoftError());
  EXPECT_EQ(last_year.Date(), "20251205");
}

class YearlessDateTest : public ::testing::Test {
 protected:
  // The run's today is fixed.
  std::string On(std::uint32_t today, const char* input) {
    FixedClock clock(today);
    ScopedClock scoped(clock);
    return ReadDate({input, 0, ""}, "d.m.").Date();
  }
};

TEST_F(YearlessDateTest, ADateUpTo60DaysAheadIsThisYear) {
  EXPECT_EQ(On(20260601, "01.06."), "20260601");
  EXPECT_EQ(On(20260601, "31.07."), "20260731");
  EXPECT_EQ(On(20260601, "01.01."), "20260101");
}

TEST_F(YearlessDateTest, ADateFurtherAheadIsLastYear) {
  EXPECT_EQ(On(20260601, "01.08."), "20250801");
  EXPECT_EQ(On(20260601, "31.12."), "20251231");
}

// ---- 16: amounts -----------------------------------------------------------------------------

Reading ReadAmount(const Before& before, const char* format, int width = 0, int decimals = 2) {
  return Read(before, CodeBuilder().Op(16, 4).Var(kAmount).Str(format).Int(width).Int(decimals));
}
Reading ReadAmountUncaught(const Before& before, const char* format, int width = 0,
                           int decimals = 2) {
  return ReadUncaught(before,
                      CodeBuilder().Op(16, 4).Var(kAmount).Str(format).Int(width).Int(decimals));
}

TEST(ReadAmountTest, TheDefaultFormatIsIntegerPartCommaFraction) {
  const Reading reading = Read({"1.234,56;"}, CodeBuilder().Op(16, 1).Var(kAmount));
  EXPECT_EQ(reading.Amount(), "1234,56");
  EXPECT_EQ(reading.Cursor(), 8U);
}

TEST(ReadAmountTest, CountFiveReadsFourOperands) {
  CodeBuilder code;
  code.Op(16, 5).Var(kAmount).Str("v").Int(0).Int(2).Op(7, 1).Str("next");
  const Reading reading = Read({"12"}, code);
  EXPECT_EQ(reading.Amount(), "12,00");
  EXPECT_EQ(reading.outcome.output, "next");
}

TEST(ReadAmountTest, AShortFractionIsRaisedToTheDecimals) {
  EXPECT_EQ(ReadAmount({"12,5"}, "v,n").Amount(), "12,50");
  EXPECT_EQ(ReadAmount({"12,5"}, "v,n", 0, 3).Amount(), "12,500");
}

TEST(ReadAmountTest, MoreDigitsThanDecimalsAreASoftError) {
  const Reading reading = ReadAmountUncaught({"12,345"}, "v,n");
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Amount(), "7,00");
  EXPECT_EQ(reading.Cursor(), 3U);
}

TEST(ReadAmountTest, TheFractionOfANegativeAmountIsAdded) {
  EXPECT_EQ(ReadAmount({"-12,50"}, "v,n").Amount(), "-11,50");
}

TEST(ReadAmountTest, ThousandsSeparatorsAreDropped) {
  EXPECT_EQ(ReadAmount({"1.234.567"}, "v").Amount(), "1234567,00");
}

TEST(ReadAmountTest, TheWidthLimitsTheField) {
  const Reading reading = ReadAmount({"123456"}, "v", 3);
  EXPECT_EQ(reading.Amount(), "123,00");
  EXPECT_EQ(reading.Cursor(), 3U);
}

TEST(ReadAmountTest, OnlyBlanksUpToTheLimitAreZero) {
  const Reading reading = ReadAmount({"     x"}, "v,n", 5);
  EXPECT_EQ(reading.Amount(), "0,00");
  EXPECT_EQ(reading.Cursor(), 0U);
}

TEST(ReadAmountTest, AnEmptyInputIsASoftError) {
  const Reading reading = ReadAmountUncaught({""}, "v");
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Amount(), "7,00");
}

TEST(ReadAmountTest, AnIntegerPartWithoutDigitsFailsAtOnce) {
  const Reading reading = ReadAmountUncaught({"  x"}, "v,n");
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Cursor(), 0U);
}

TEST(ReadAmountTest, AFractionWithoutDigitsFailsAtOnce) {
  const Reading reading = ReadAmountUncaught({"12,x"}, "v,n");
  EXPECT_TRUE(reading.SoftError());
  EXPECT_EQ(reading.Cursor(), 3U);
}

TEST(ReadAmountTest, AWrongLiteralFails) {
  const Reading reading = ReadAmountUncaught({"12.50"}, "v;n");
  EXPECT_TRUE(reading.SoftError());
}

TEST(ReadAmountTest, AFractionAloneReplacesThatOfTheVariable) {
  EXPECT_EQ(ReadAmount({"5", 0, "", "12,34"}, "n").Amount(), "12,50");
  EXPECT_EQ(ReadAmount({"05", 0, "", ""}, "n").Amount(), "0,05");
}

TEST(ReadAmountTest, AnEmptyFormatStoresTheOldAmount) {
  EXPECT_EQ(ReadAmount({"5", 0, "", "12,3"}, "").Amount(), "12,3");
  EXPECT_EQ(ReadAmount({"5", 0, "", ""}, "").Amount(), "");
}

// They become 65535 places and fewer, which hardly any text holds.
TEST(ReadAmountTest, NegativeDecimalsAreUnsigned) {
  for (const char* const input : {"0", "12", "     "}) {
    const Reading reading = ReadAmountUncaught({input}, "v", 0, -1);
    ExpectMacroError(reading.outcome, kMalformed, reading.param);
    EXPECT_EQ(reading.Amount(), "7,00");
  }
  EXPECT_EQ(ReadAmount({"0"}, "v", 0, -3).Amount(), "0," + std::string(65533, '0'));
}

// ---- 57: search ------------------------------------------------------------------------------

constexpr const char* kLines = "first\nsecond HIT\nthird";

Reading Search(const Before& before, const char* pattern, int mode) {
  return Read(before, CodeBuilder().Op(57, 3).Str(pattern).Int(mode).Var(kInt).Var(kOtherInt));
}

// The condition is overwritten by the test for soft errors; a jump keeps it.
bool Found(const Before& before, const char* pattern) {
  CodeBuilder code;
  code.Op(57, 1).Str(pattern);
  return ReadUncaught(before, code).outcome.condition;
}

TEST(SearchTest, CaseDoesNotMatterUmlautsIncluded) {
  EXPECT_TRUE(Found({"abc stra\xDF"
                     "e \xE4rger"},
                    "\xC4RGER"));
  EXPECT_TRUE(Found({"ABC"}, "bc"));
  EXPECT_FALSE(Found({"ABC"}, "bd"));
}

TEST(SearchTest, AnEmptyPatternIsNotFound) { EXPECT_FALSE(Found({"ABC"}, "")); }

TEST(SearchTest, NotFoundLeavesCursorAndVariables) {
  const Reading reading = Search({kLines, 3}, "nowhere", 1);
  EXPECT_EQ(reading.Cursor(), 3U);
  EXPECT_EQ(reading.Int(), "-9");
  EXPECT_EQ(reading.OtherInt(), "-9");
}

TEST(SearchTest, Mode0GoesToTheStartOfTheLine) {
  EXPECT_EQ(Search({kLines}, "hit", 0).Cursor(), 6U);
  EXPECT_EQ(Search({kLines}, "rst", 0).Cursor(), 0U);
}

TEST(SearchTest, Mode2GoesToTheStartOfTheNextLine) {
  EXPECT_EQ(Search({kLines}, "hit", 2).Cursor(), 17U);
  EXPECT_EQ(Search({kLines}, "third", 2).Cursor(), 22U);
}

TEST(SearchTest, AnyOtherModeGoesToTheHit) {
  EXPECT_EQ(Search({kLines}, "hit", 1).Cursor(), 13U);
  EXPECT_EQ(Search({kLines}, "hit", -3).Cursor(), 13U);
}

TEST(SearchTest, ColumnAndLineOfTheHit) {
  const Reading reading = Search({kLines}, "hit", 1);
  EXPECT_EQ(reading.Int(), "7");
  EXPECT_EQ(reading.OtherInt(), "1");
  const Reading first = Search({kLines}, "irst", 1);
  EXPECT_EQ(first.Int(), "1");
  EXPECT_EQ(first.OtherInt(), "0");
  const Reading start = Search({kLines}, "first", 1);
  EXPECT_EQ(start.Int(), "0");
  EXPECT_EQ(start.OtherInt(), "0");
}

TEST(SearchTest, ALineFeedAtPositionZeroIsNeverLookedAt) {
  const Reading reading = Search({"\nxy"}, "y", 1);
  EXPECT_EQ(reading.Int(), "2");
  EXPECT_EQ(reading.OtherInt(), "0");
}

TEST(SearchTest, APatternThatIsALineFeedHasColumnMinusOne) {
  const Reading reading = Search({"ab\ncd"}, "\ncd", 1);
  EXPECT_EQ(reading.Int(), "-1");
  EXPECT_EQ(reading.OtherInt(), "1");
}

// The hit counts from the cursor but is used as a position in the whole input.
TEST(SearchTest, TheRelativeHitIsUsedAsAnAbsolutePosition) {
  EXPECT_EQ(Search({"aXbXc", 2}, "X", 1).Cursor(), 1U);
}

TEST(SearchTest, TheLineFeedStepOfMode0AppliesWithoutSteppingBackToo) {
  // From cursor 2 the hit is 1, which is not behind the cursor; position 1 is a line feed.
  EXPECT_EQ(Search({"a\nbX", 2}, "X", 0).Cursor(), 2U);
}

TEST(SearchTest, OneVariableForBothIsSetStepByStep) {
  const Reading reading =
      Read({kLines}, CodeBuilder().Op(57, 3).Str("hit").Int(1).Var(kInt).Var(kInt));
  EXPECT_EQ(reading.Int(), "8");  // the column 7, and one line more
}

// ---- 2: compare ------------------------------------------------------------------------------

bool Compare(unsigned type, char op, const CodeBuilder& a, const CodeBuilder& b) {
  CodeBuilder code;
  code.Op(2, 4).Byte(type).Byte(static_cast<unsigned char>(op)).Raw(a.Bytes()).Raw(b.Bytes());
  const RunOutcome outcome = RunCode(code.Exit());
  ExpectNoError(outcome);
  return outcome.condition;
}

void ExpectOrder(unsigned type, const CodeBuilder& less, const CodeBuilder& more) {
  EXPECT_TRUE(Compare(type, '<', less, more));
  EXPECT_FALSE(Compare(type, '<', more, less));
  EXPECT_FALSE(Compare(type, '<', less, less));
  EXPECT_TRUE(Compare(type, '>', more, less));
  EXPECT_FALSE(Compare(type, '>', less, more));
  EXPECT_TRUE(Compare(type, '=', less, less));
  EXPECT_FALSE(Compare(type, '=', less, more));
}

TEST(CompareTest, EachTypeHasItsOrder) {
  ExpectOrder(1, CodeBuilder().Str("abc"), CodeBuilder().Str("ABD"));
  ExpectOrder(2, CodeBuilder().Date(31, 12, 1999), CodeBuilder().Date(1, 1, 2000));
  ExpectOrder(5, CodeBuilder().Int(-1), CodeBuilder().Int(1));
  ExpectOrder(6, CodeBuilder().Long(-70000), CodeBuilder().Long(-69999));
  ExpectOrder(8, CodeBuilder().Amount("1,9"), CodeBuilder().Amount("10,05"));
}

TEST(CompareTest, TextsAreComparedWithoutCaseByUnsignedBytes) {
  EXPECT_TRUE(Compare(1, '=',
                      CodeBuilder().Str("stra\xDF"
                                        "e"),
                      CodeBuilder().Str("STRA\xDF"
                                        "E")));
  EXPECT_TRUE(Compare(1, '=', CodeBuilder().Str("\xE4"), CodeBuilder().Str("\xC4")));
  EXPECT_TRUE(Compare(1, '<', CodeBuilder().Str("z"), CodeBuilder().Str("\xE4")));
  EXPECT_FALSE(Compare(1, '=', CodeBuilder().Str("\xF7"), CodeBuilder().Str("\xD7")));
}

TEST(CompareTest, AmountsAreComparedAtTheLargerPrecision) {
  EXPECT_TRUE(Compare(8, '=', CodeBuilder().Amount("1,5"), CodeBuilder().Amount("1,50")));
}

TEST(CompareTest, ANullAmountIsNotEqualToZeroAndYetNeitherIsLess) {
  EXPECT_FALSE(Compare(8, '=', CodeBuilder().Amount(""), CodeBuilder().Amount("0,00")));
  EXPECT_FALSE(Compare(8, '<', CodeBuilder().Amount(""), CodeBuilder().Amount("0,00")));
  EXPECT_FALSE(Compare(8, '>', CodeBuilder().Amount(""), CodeBuilder().Amount("0,00")));
  EXPECT_TRUE(Compare(8, '=', CodeBuilder().Amount(""), CodeBuilder().Amount("")));
}

TEST(CompareTest, BoolsHaveEqualityOnly) {
  EXPECT_TRUE(Compare(10, '=', CodeBuilder().Bool(true), CodeBuilder().Bool(true)));
  EXPECT_FALSE(Compare(10, '=', CodeBuilder().Bool(true), CodeBuilder().Bool(false)));
  for (const char op : {'<', '>'}) {
    CodeBuilder code;
    code.Op(2, 4).Byte(10).Byte(static_cast<unsigned char>(op)).Bool(true).Bool(false);
    const std::size_t behind = code.Size();
    ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
  }
}

TEST(CompareTest, AnUnknownOperatorIsAnErrorBehindTheOperands) {
  CodeBuilder code;
  code.Op(2, 4).Byte(5).Byte('!').Int(1).Int(2);
  const std::size_t behind = code.Size();
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
}

TEST(CompareTest, AnUnknownTypeIsAnErrorBeforeTheOperands) {
  for (const unsigned type : {0u, 3u, 4u, 7u, 9u, 11u, 255u})
    ExpectMacroError(RunCode(CodeBuilder().Op(2, 4).Byte(type).Byte('=').Int(1).Int(1).Exit()),
                     kMalformed, At(4));
}

TEST(CompareTest, AnOperandErrorKeepsTheCondition) {
  CodeBuilder code;
  code.Op(2, 4).Byte(5).Byte('=').Int(1).Int(1);            // true
  code.Op(2, 4).Byte(5).Byte('=').Int(1).Str("no number");  // false if it were compared
  EXPECT_TRUE(RunCode(code.Exit()).condition);
}

// ---- 55, 58 ----------------------------------------------------------------------------------

TEST(EatLeadingTest, BlanksAreTheDefault) {
  EXPECT_EQ(Read({"   x"}, CodeBuilder().Op(55, 0)).Cursor(), 3U);
  EXPECT_EQ(Read({"00042"}, CodeBuilder().Op(55, 1).Char('0')).Cursor(), 3U);
}

TEST(EatLeadingTest, SkippingStopsAtTheEndAlsoForTheZeroCharacter) {
  EXPECT_EQ(Read({"   "}, CodeBuilder().Op(55, 0)).Cursor(), 3U);
  EXPECT_EQ(Read({"", 0}, CodeBuilder().Op(55, 1).Char('\0')).Cursor(), 0U);
}

std::string Received(const CodeBuilder& operand) {
  CodeBuilder code;
  code.Op(58, 1).Raw(operand.Bytes()).Exit();
  const RunOutcome outcome = RunCode(code);
  ExpectNoError(outcome);
  EXPECT_EQ(outcome.input_pos, 0U);
  return outcome.input;
}

TEST(ReceiveStringTest, EveryTypeWithATextBecomesTheInput) {
  EXPECT_EQ(Received(CodeBuilder().Str("text")), "text");
  EXPECT_EQ(Received(CodeBuilder().Amount("1.2,3")), "1.2,3");
  EXPECT_EQ(Received(CodeBuilder().Date(5, 3, 2003)), "05.03.2003");
  EXPECT_EQ(Received(CodeBuilder().Date(5, 3, 33)), "05.03.33");
  EXPECT_EQ(Received(CodeBuilder().Int(-32768)), "-32768");
  EXPECT_EQ(Received(CodeBuilder().Long(-70000)), "-70000");
}

TEST(ReceiveStringTest, ABoolOrACharacterHasNoText) {
  ExpectMacroError(RunCode(CodeBuilder().Op(58, 1).Bool(true).Exit()), kMalformed, At(4));
  ExpectMacroError(RunCode(CodeBuilder().Op(58, 1).Char('x').Exit()), kMalformed, At(4));
  CodeBuilder code;
  code.Declare(10, 33).Op(58, 1).Var(33);
  const std::size_t behind = code.Size();
  ExpectMacroError(RunCode(code.Exit()), kMalformed, At(behind));
}

TEST(ReceiveStringTest, AnErrorKeepsTheInput) {
  const RunOutcome outcome =
      RunCode(CodeBuilder().Op(58, 1).Str("kept").Op(58, 1).Bool(true).Exit());
  EXPECT_EQ(outcome.input, "kept");
}

}  // namespace
}  // namespace tmx
