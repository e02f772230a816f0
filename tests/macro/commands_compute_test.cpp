// Assignment, arithmetic, and the commands on texts and dates.
#include <gtest/gtest.h>

#include "tests/macro/every_engine.h"
#include "tmxtools/platform/clock.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;

enum Id { kText = 33, kDate, kInt, kLong, kAmount, kBool };

const std::vector<HostParam>& Host() {
  static const std::vector<HostParam> params = {{1, false, "text"}, {2, false, "20240229"},
                                                {5, false, "5"},    {6, false, "6"},
                                                {8, false, "8,00"}, {10, false, "false"}};
  return params;
}

struct Computed {
  RunOutcome outcome;
  std::string param;  // of an error raised behind the command
  const VariableState& State(Id id) const {
    return outcome.params[static_cast<std::size_t>(id - kText)];
  }
  std::string Value(Id id) const { return State(id).value; }
};

Computed Compute(const CodeBuilder& command, const std::vector<HostParam>& params = Host()) {
  CodeBuilder code = command;
  const std::size_t behind = code.Size();
  return {RunCode(code.Exit(), params), At(behind)};
}

std::string ValueAfter(Id id, const CodeBuilder& command) {
  const Computed computed = Compute(command);
  ExpectNoError(computed.outcome);
  return computed.Value(id);
}

CodeBuilder Op(unsigned type, char op, Id target, const CodeBuilder& a, const CodeBuilder& b) {
  CodeBuilder code;
  code.Op(28, 5).Byte(type).Byte(static_cast<unsigned char>(op)).Var(target);
  return code.Raw(a.Bytes()).Raw(b.Bytes());
}

// ---- 3: set ----------------------------------------------------------------------------------

TEST(SetTest, EachTypeIsStoredFromALiteral) {
  EXPECT_EQ(ValueAfter(kText, CodeBuilder().Op(3, 3).Byte(1).Var(kText).Str("new")), "new");
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(3, 3).Byte(2).Var(kDate).Date(5, 3, 2003)),
            "20030305");
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(3, 3).Byte(5).Var(kInt).Int(-3)), "-3");
  EXPECT_EQ(ValueAfter(kLong, CodeBuilder().Op(3, 3).Byte(6).Var(kLong).Long(-70000)), "-70000");
  EXPECT_EQ(ValueAfter(kAmount, CodeBuilder().Op(3, 3).Byte(8).Var(kAmount).Amount("1.5,x")),
            "1.5,x");
  EXPECT_EQ(ValueAfter(kBool, CodeBuilder().Op(3, 3).Byte(10).Var(kBool).Bool(true)), "true");
}

TEST(SetTest, AStoredValueClearsTheNullFlag) {
  const Computed computed =
      Compute(CodeBuilder().Op(3, 3).Byte(5).Var(33).Int(0), {{5, true, ""}, {5, true, ""}});
  EXPECT_FALSE(computed.outcome.params[0].null);
  EXPECT_TRUE(computed.outcome.params[1].null);
}

TEST(SetTest, AnyOtherTypeIsAnErrorBehindTheTarget) {
  for (const unsigned type : {0u, 3u, 4u, 7u, 9u, 11u, 12u, 255u}) {
    CodeBuilder code;
    code.Op(3, 3).Byte(type).Var(kInt);
    const std::size_t behind = code.Size();
    const RunOutcome outcome = RunCode(code.Int(1).Exit(), Host());
    ExpectMacroError(outcome, kMalformed, At(behind));
    EXPECT_EQ(outcome.params[2].value, "5");
  }
}

TEST(SetTest, ABoolByteOtherThanZeroAndOneIsFalseWithoutError) {
  EXPECT_EQ(ValueAfter(kBool, CodeBuilder().Op(3, 3).Byte(10).Var(kBool).U16(10).Byte(2)), "false");
}

TEST(SetTest, AnOperandErrorLeavesTheTarget) {
  const Computed computed = Compute(CodeBuilder().Op(3, 3).Byte(5).Var(kInt).Str("no number"));
  EXPECT_FALSE(computed.outcome.ok);
  EXPECT_EQ(computed.Value(kInt), "5");
}

// ---- 28: texts and dates ---------------------------------------------------------------------

TEST(OpTest, TextsAreJoined) {
  EXPECT_EQ(ValueAfter(kText, Op(1, '+', kText, CodeBuilder().Var(kText), CodeBuilder().Str("!"))),
            "text!");
}

TEST(OpTest, AnyOtherOperatorOnTextsLeavesTheTarget) {
  const Computed computed =
      Compute(Op(1, '-', kText, CodeBuilder().Str("a"), CodeBuilder().Str("b")));
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.Value(kText), "text");
}

TEST(OpTest, ATextBeyond65535BytesIsAnErrorAndLeavesTheTarget) {
  CodeBuilder code;
  code.Op(7, 3).Str("x").Int(-32768).Char('x').Op(150, 0).Op(14, 1).Var(kText);
  code.Raw(Op(1, '+', kText, CodeBuilder().Var(kText), CodeBuilder().Var(kText)).Bytes());
  const Computed computed = Compute(code);
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.Value(kText).size(), 32768U);
}

std::string DatePlus(char op, unsigned day, unsigned month, unsigned year, int days) {
  return ValueAfter(
      kDate, Op(2, op, kDate, CodeBuilder().Date(day, month, year), CodeBuilder().Int(days)));
}

TEST(OpTest, DaysAreAddedToAndTakenFromDates) {
  EXPECT_EQ(DatePlus('+', 28, 2, 2024, 1), "20240229");
  EXPECT_EQ(DatePlus('+', 28, 2, 2023, 1), "20230301");
  EXPECT_EQ(DatePlus('-', 1, 1, 2000, 1), "19991231");
  EXPECT_EQ(DatePlus('+', 1, 1, 2000, -1), "19991231");
  EXPECT_EQ(DatePlus('+', 28, 2, 1900, 1), "19000301");
}

TEST(OpTest, TheNullDateIsDayZero) {
  CodeBuilder null_date;
  null_date.Date(0, 0, 0);
  EXPECT_EQ(ValueAfter(kDate, Op(2, '+', kDate, null_date, CodeBuilder().Int(1))), "10101");
  EXPECT_EQ(ValueAfter(kInt, Op(5, '-', kInt, CodeBuilder().Date(1, 1, 1), null_date)), "1");
}

TEST(OpTest, AnyOtherOperatorOnDatesStoresTheNullDate) {
  const Computed computed =
      Compute(Op(2, '*', kDate, CodeBuilder().Date(1, 1, 2000), CodeBuilder().Int(1)));
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.State(kDate), (VariableState{2, false, "0"}));
}

// ---- 28: ints and longs ----------------------------------------------------------------------

std::string Ints(char op, int a, int b) {
  return ValueAfter(kInt, Op(5, op, kInt, CodeBuilder().Int(a), CodeBuilder().Int(b)));
}
std::string Longs(char op, std::int64_t a, std::int64_t b) {
  return ValueAfter(kLong, Op(6, op, kLong, CodeBuilder().Long(a), CodeBuilder().Long(b)));
}

TEST(OpTest, IntsWrapIn16Bits) {
  EXPECT_EQ(Ints('+', 30000, 30000), "-5536");
  EXPECT_EQ(Ints('-', -32768, 1), "32767");
  EXPECT_EQ(Ints('*', 256, 256), "0");
  EXPECT_EQ(Ints('/', -32768, -1), "-32768");
  EXPECT_EQ(Ints('%', -32768, -1), "0");
}

TEST(OpTest, DivisionTruncatesAndTheRemainderTakesTheSignOfTheDividend) {
  EXPECT_EQ(Ints('/', -7, 2), "-3");
  EXPECT_EQ(Ints('%', -7, 2), "-1");
  EXPECT_EQ(Ints('%', 7, -2), "1");
  EXPECT_EQ(Longs('/', -70001, 2), "-35000");
}

TEST(OpTest, LongsWrapIn32Bits) {
  EXPECT_EQ(Longs('+', 2147483647, 1), "-2147483648");
  EXPECT_EQ(Longs('*', 65536, 65536), "0");
  EXPECT_EQ(Longs('*', 65536, 65537), "65536");
  EXPECT_EQ(Longs('/', -2147483648LL, -1), "-2147483648");
  EXPECT_EQ(Longs('%', -2147483648LL, -1), "0");
}

TEST(OpTest, DivisionByZeroIsAnErrorAndStoresZero) {
  for (const char op : {'/', '%'}) {
    const Computed ints = Compute(Op(5, op, kInt, CodeBuilder().Int(1), CodeBuilder().Int(0)));
    ExpectMacroError(ints.outcome, kMalformed, ints.param);
    EXPECT_EQ(ints.Value(kInt), "0");
    const Computed longs = Compute(Op(6, op, kLong, CodeBuilder().Long(1), CodeBuilder().Long(0)));
    ExpectMacroError(longs.outcome, kMalformed, longs.param);
    EXPECT_EQ(longs.Value(kLong), "0");
  }
}

TEST(OpTest, AnyOtherOperatorOnNumbersStoresZero) {
  const Computed ints = Compute(Op(5, '_', kInt, CodeBuilder().Int(1), CodeBuilder().Int(2)));
  ExpectMacroError(ints.outcome, kMalformed, ints.param);
  EXPECT_EQ(ints.Value(kInt), "0");
  const Computed longs = Compute(Op(6, '^', kLong, CodeBuilder().Long(1), CodeBuilder().Long(2)));
  ExpectMacroError(longs.outcome, kMalformed, longs.param);
  EXPECT_EQ(longs.Value(kLong), "0");
}

TEST(OpTest, TwoDatesGiveAnIntTheirDifferenceWhateverTheOperator) {
  for (const char op : {'-', '+', '*', '\0', '?'}) {
    EXPECT_EQ(ValueAfter(kInt, Op(5, op, kInt, CodeBuilder().Date(1, 3, 2024),
                                  CodeBuilder().Date(28, 2, 2024))),
              "2");
  }
  EXPECT_EQ(
      ValueAfter(kInt, Op(5, '-', kInt, CodeBuilder().Date(1, 3, 2024), CodeBuilder().Var(kDate))),
      "1");
}

TEST(OpTest, ATagWhoseLowByteIsTheCodeOfDatesIsNoDate) {
  CodeBuilder code;
  code.Declare(5, 33).Op(28, 5).Byte(5).Byte('+').Var(33).Date(12, 3, 2019);
  code.U16(0xBA02).RawDate(12, 3, 2020).Exit();
  // The operands are read as ints, so the tag of A is wrong and B's is read from A's value.
  ExpectMacroError(RunCode(code), 17490, At(15));
}

// A date on the right makes the engine read A as a date too; an error in A leaves the target.
TEST(OpTest, ADateDifferenceOfIntsNeedsADateOnTheLeft) {
  const auto behind_a = [](const CodeBuilder& a) { return Op(5, '-', kInt, a, {}).Size(); };
  const CodeBuilder date = CodeBuilder().Date(28, 2, 2024);
  // The look-ahead skips the literal, reading A does not: B is then looked for in its value.
  const Computed literal = Compute(Op(5, '-', kInt, CodeBuilder().Int(7), date));
  ExpectMacroError(literal.outcome, kMalformed, At(behind_a(CodeBuilder().Int(7))));
  EXPECT_EQ(literal.Value(kInt), "5");

  const Computed variable = Compute(Op(5, '-', kInt, CodeBuilder().Var(kLong), date));
  ExpectMacroError(variable.outcome, kMalformed, At(behind_a(CodeBuilder().Var(kLong))));
  EXPECT_EQ(variable.Value(kInt), "5");
}

// A stands at 6 and its value at 8, B at 12 and its value at 14.
TEST(OpTest, ADateDifferenceOfIntsThatIsCutOffLeavesTheTarget) {
  const std::string whole =
      Op(5, '-', kInt, CodeBuilder().Date(1, 3, 2024), CodeBuilder().Date(28, 2, 2024)).Bytes();
  ASSERT_EQ(whole.size(), 18U);
  for (std::size_t cut = 6; cut < whole.size(); ++cut) {
    SCOPED_TRACE(cut);
    const RunOutcome outcome = RunCode(CodeBuilder().Raw(whole.substr(0, cut)), Host());
    // With too little of A, its day and month are taken for the tag of B, and no variable has that
    // id; behind the very last byte the fetch fails as well.
    const bool is_tag = cut > 10 && cut < 14;
    ExpectMacroError(outcome, kMalformed, is_tag ? At(10) : kCodeFile);
    EXPECT_EQ(outcome.params[2].value, "5");
  }
  // Day 0 and month 2 are the tag of a date, so that both operands are dates and A is cut off.
  const CodeBuilder no_day = Op(5, '-', kInt, CodeBuilder().Date(0, 2, 2024), {});
  const RunOutcome outcome = RunCode(CodeBuilder().Raw(no_day.Bytes().substr(0, 11)), Host());
  ExpectMacroError(outcome, kMalformed, kCodeFile);
  EXPECT_EQ(outcome.params[2].value, "5");
}

TEST(OpTest, ADateDifferenceOfIntsWraps) {
  EXPECT_EQ(ValueAfter(kInt, Op(5, '-', kInt, CodeBuilder().Date(1, 1, 2000),
                                CodeBuilder().Date(1, 1, 1900))),
            "-29012");  // 36524 days
}

TEST(OpTest, ALongNeedsTheUnderscoreForADateDifference) {
  EXPECT_EQ(ValueAfter(kLong, Op(6, '_', kLong, CodeBuilder().Date(1, 1, 2000),
                                 CodeBuilder().Date(1, 1, 1900))),
            "36524");
  const Computed computed =
      Compute(Op(6, '-', kLong, CodeBuilder().Var(kDate), CodeBuilder().Var(kDate)));
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.Value(kLong), "6");
}

// ---- 28: amounts -----------------------------------------------------------------------------

std::string Amounts(char op, const char* a, const char* b) {
  return ValueAfter(kAmount, Op(8, op, kAmount, CodeBuilder().Amount(a), CodeBuilder().Amount(b)));
}
std::string AmountAndLong(char op, const char* a, std::int64_t b) {
  return ValueAfter(kAmount, Op(8, op, kAmount, CodeBuilder().Amount(a), CodeBuilder().Long(b)));
}

TEST(OpTest, AmountsAreAddedAtTheLargerPrecision) {
  EXPECT_EQ(Amounts('+', "1,00", "0,005"), "1,005");
  EXPECT_EQ(Amounts('-', "1,005", "1,00"), "0,005");
  EXPECT_EQ(Amounts('-', "0,00", "0,05"), "-0,05");
}

TEST(OpTest, AWholeAmountKeepsItsTrailingComma) { EXPECT_EQ(Amounts('+', "1", "2"), "3,"); }

TEST(OpTest, ANullAmountTakesTheOther) {
  EXPECT_EQ(Amounts('+', "", "1,50"), "1,50");
  EXPECT_EQ(Amounts('-', "", "1,50"), "-1,50");
  EXPECT_EQ(Amounts('+', "1,50", ""), "1,50");
  EXPECT_EQ(Amounts('+', "", ""), "");
}

TEST(OpTest, AmountsAreMultipliedAndDividedInTheirOwnUnits) {
  EXPECT_EQ(AmountAndLong('*', "1,25", 3), "3,75");
  EXPECT_EQ(AmountAndLong('/', "10,00", 3), "3,33");
  EXPECT_EQ(AmountAndLong('/', "-10,00", 3), "-3,33");
  EXPECT_EQ(AmountAndLong('%', "10,00", 3), "0,01");
}

TEST(OpTest, ANullAmountStaysNullUnderMultiplication) {
  for (const char op : {'*', '/', '%'}) EXPECT_EQ(AmountAndLong(op, "", 3), "");
}

TEST(OpTest, MalformedAmountTextReadsUpToTheFirstOtherCharacter) {
  EXPECT_EQ(Amounts('+', "12x", "0,00"), "12,00");
  EXPECT_EQ(Amounts('+', "  -7", "0"), "-7,");
}

TEST(OpTest, DividingAnAmountByZeroIsAnErrorAndStoresA) {
  for (const char op : {'/', '%'}) {
    const Computed computed =
        Compute(Op(8, op, kAmount, CodeBuilder().Amount("12,5"), CodeBuilder().Long(0)));
    ExpectMacroError(computed.outcome, kMalformed, computed.param);
    EXPECT_EQ(computed.Value(kAmount), "12,5");
  }
}

TEST(OpTest, AnyOtherOperatorOnAmountsStoresA) {
  const Computed computed =
      Compute(Op(8, '_', kAmount, CodeBuilder().Amount("12,5"), CodeBuilder().Amount("1,00")));
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.Value(kAmount), "12,5");
}

TEST(OpTest, AnAmountResultIsStoredEvenAfterAnOperandError) {
  const Computed bad_b =
      Compute(Op(8, '+', kAmount, CodeBuilder().Amount("12,5"), CodeBuilder().U16(4)));
  ExpectMacroError(bad_b.outcome, kMalformed, bad_b.param);
  EXPECT_EQ(bad_b.Value(kAmount), "12,5");
  const Computed bad_a =
      Compute(Op(8, '+', kAmount, CodeBuilder().U16(4), CodeBuilder().Amount("1,50")));
  EXPECT_FALSE(bad_a.outcome.ok);
  EXPECT_EQ(bad_a.Value(kAmount), "1,50");
}

TEST(OpTest, OtherTargetsStayAfterAnOperandError) {
  const Computed computed = Compute(Op(5, '+', kInt, CodeBuilder().U16(4), CodeBuilder().Int(1)));
  EXPECT_FALSE(computed.outcome.ok);
  EXPECT_EQ(computed.Value(kInt), "5");
}

TEST(OpTest, AmountsOfAnySizeAreExact) {
  EXPECT_EQ(Amounts('+', "99999999999999999999,99", "0,01"), "100000000000000000000,00");
}

// ---- 28: the look-ahead ----------------------------------------------------------------------

TEST(OpTest, AnUnknownVariableForBEndsTheCommandBehindItsTag) {
  CodeBuilder code = Op(8, '+', kAmount, CodeBuilder().Amount("1,50"), CodeBuilder().Var(99));
  const Computed computed = Compute(code);
  ExpectMacroError(computed.outcome, kMalformed, computed.param);
  EXPECT_EQ(computed.Value(kAmount), "8,00");  // not even an amount is stored
}

TEST(OpTest, AnUnknownTypeIsAnErrorBeforeTheOperands) {
  for (const unsigned type : {0u, 10u}) {
    CodeBuilder code;
    code.Op(28, 5).Byte(type).Byte('+').Var(kBool);
    const std::size_t behind_target = code.Size();
    const RunOutcome outcome = RunCode(code.Int(1).Int(1).Exit(), Host());
    ExpectMacroError(outcome, kMalformed, At(behind_target));
  }
}

// ---- texts -----------------------------------------------------------------------------------

std::string Sub(const char* source, int start, int length) {
  return ValueAfter(kText, CodeBuilder().Op(51, 4).Var(kText).Str(source).Int(start).Int(length));
}

TEST(SubStringTest, AsMuchIsTakenAsThereIs) {
  EXPECT_EQ(Sub("ABCD", 2, 10), "CD");
  EXPECT_EQ(Sub("ABCD", 1, 2), "BC");
  EXPECT_EQ(Sub("ABCD", 4, 1), "");
  EXPECT_EQ(Sub("ABCD", 9, 1), "");
  EXPECT_EQ(Sub("ABCD", 1, 0), "");
}

TEST(SubStringTest, NegativeStartAndLengthAreUnsigned) {
  EXPECT_EQ(Sub("ABCD", 1, -1), "BCD");
  EXPECT_EQ(Sub("ABCD", -1, 2), "");
}

TEST(StringLenTest, TheLengthInCharacters) {
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(52, 2).Var(kInt).Str("ABC")), "3");
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(52, 2).Var(kInt).Str("")), "0");
}

TEST(StringLenTest, ALengthBeyond16BitsOfAnIntWraps) {
  CodeBuilder code;
  code.Op(7, 3).Str("x").Int(-1).Char('x').Op(150, 0).Op(14, 1).Var(kText);
  EXPECT_EQ(ValueAfter(kInt, code.Op(52, 2).Var(kInt).Var(kText)), "-1");
}

CodeBuilder SetText(const char* text) {
  CodeBuilder code;
  return code.Op(3, 3).Byte(1).Var(kText).Str(text);
}

TEST(ReplaceCharsTest, WithoutAReplacementTheCharactersAreRemoved) {
  EXPECT_EQ(ValueAfter(kText, SetText("1.234,56").Op(59, 2).Var(kText).Str(".,")), "123456");
  EXPECT_EQ(ValueAfter(kText, SetText("a\r\nb").Op(59, 2).Var(kText).Str("")), "a\r\nb");
}

TEST(ReplaceCharsTest, WithAReplacementLineEndsBecomeLineFeedsFirst) {
  EXPECT_EQ(ValueAfter(kText, SetText("a\r\nb\rc\n\r").Op(59, 3).Var(kText).Str("x").Char('y')),
            "a\nb\nc\n\n");
  EXPECT_EQ(ValueAfter(kText, SetText("a\r\nb").Op(59, 3).Var(kText).Str("\n").Char('|')), "a|b");
}

TEST(EraseTrailingTest, BlanksAreTheDefault) {
  EXPECT_EQ(ValueAfter(kText, SetText(" a b  ").Op(56, 1).Var(kText)), " a b");
  EXPECT_EQ(ValueAfter(kText, SetText("100").Op(56, 2).Var(kText).Char('0')), "1");
  EXPECT_EQ(ValueAfter(kText, SetText("000").Op(56, 2).Var(kText).Char('0')), "");
}

// ---- dates -----------------------------------------------------------------------------------

TEST(DatePartsTest, PartsOfALiteralAndOfAVariable) {
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(41, 2).Date(5, 3, 2003).Var(kInt)), "5");
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(42, 2).Date(5, 3, 2003).Var(kInt)), "3");
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(43, 2).Date(5, 3, 2003).Var(kInt)), "2003");
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(41, 2).Var(kDate).Var(kInt)), "29");
}

TEST(DatePartsTest, SettingAPartValidatesNothing) {
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(44, 2).Var(kDate).Int(31)), "20240231");
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(45, 2).Var(kDate).Int(13)), "20241329");
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(46, 2).Var(kDate).Int(1999)), "19990229");
}

TEST(DatePartsTest, PartsAreTakenModulo100And10000) {
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(44, 2).Var(kDate).Int(131)), "20240231");
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(45, 2).Var(kDate).Int(1207)), "20240729");
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(46, 2).Var(kDate).Int(12024)), "20240229");
}

TEST(DatePartsTest, AnInvalidDateCountsOnFromTheFirstOfItsMonth) {
  CodeBuilder code;
  code.Op(44, 2).Var(kDate).Int(31);  // 31 February 2024 is 2 March
  code.Raw(Op(5, '-', kInt, CodeBuilder().Var(kDate), CodeBuilder().Date(1, 3, 2024)).Bytes());
  EXPECT_EQ(ValueAfter(kInt, code), "1");
}

TEST(CurrentDateTest, TheClockSaysWhatIsToday) {
  FixedClock clock(20260703);
  ScopedClock scoped(clock);
  EXPECT_EQ(ValueAfter(kDate, CodeBuilder().Op(148, 1).Var(kDate)), "20260703");
}

TEST(EngineVersionTest, TheVersionIs2) {
  EXPECT_EQ(ValueAfter(kInt, CodeBuilder().Op(146, 1).Var(kInt)), "2");
}

// ---- 145: null -------------------------------------------------------------------------------

bool IsNull(const CodeBuilder& before, int id) {
  CodeBuilder code = before;
  return Compute(code.Op(145, 1).U16(static_cast<unsigned>(id)), {{5, true, ""}, {5, false, "0"}})
      .outcome.condition;
}

TEST(IsNullTest, NullVariablesAndMissingOnesAreNull) {
  EXPECT_TRUE(IsNull({}, 33));
  EXPECT_FALSE(IsNull({}, 34));
  EXPECT_TRUE(IsNull({}, 99));
  EXPECT_TRUE(IsNull({}, 0));
}

TEST(IsNullTest, ADeclaredVariableIsNullUntilItIsSet) {
  CodeBuilder code;
  code.Declare(5, 35);
  EXPECT_TRUE(IsNull(code, 35));
  EXPECT_FALSE(IsNull(code.Op(3, 3).Byte(5).Var(35).Int(0), 35));
}

TEST(IsNullTest, AVariableMadeByReadingItIsStillNull) {
  CodeBuilder code;
  code.Declare(5, 35).Op(25, 1).Var(35).Op(145, 1).U16(35);
  const Computed computed = Compute(code, {{5, true, ""}, {5, false, "0"}});
  ExpectNoError(computed.outcome);
  EXPECT_EQ(computed.outcome.output, "0");
  EXPECT_TRUE(computed.outcome.condition);
}

}  // namespace
}  // namespace tmx
