#include "tmxtools/core/amount.h"

#include <boost/multiprecision/cpp_int.hpp>
#include <random>
#include <stdexcept>
#include <string>

#include "tests/support/print.h"

void PrintTo(const HbAmount& amount, std::ostream* out) {
  *out << amount.GetFull().View() << " at precision " << amount.GetPrecision();
}

namespace {

using boost::multiprecision::cpp_int;

HbAmount FromText(const char* text, const char* currency = "EUR") {
  HbAmount amount;
  amount.SetFromDecimalPointString(text, currency);
  return amount;
}

HbAmount Rescaled(HbAmount amount, unsigned short precision) {
  amount.SetPrecision(precision);
  return amount;
}

TEST(HbAmount, DefaultIsNullZeroAndWithoutCurrency) {
  const HbAmount amount;
  EXPECT_TRUE(amount.IsNull());
  EXPECT_TRUE(amount.IsZero());
  EXPECT_FALSE(amount.IsNeg());
  EXPECT_EQ(amount.GetPrecision(), 0);
  EXPECT_EQ(amount.GetCurrency(), "");
  EXPECT_EQ(amount.GetString(), "0");
}

TEST(HbAmount, IsMadeFromEveryKindOfNumber) {
  const String eur("EUR");
  for (const HbAmount& amount :
       {HbAmount(short{123}, 2, eur), HbAmount(123, 2, eur), HbAmount(123L, 2, eur),
        HbAmount(static_cast<unsigned short>(123), 2, eur), HbAmount(123u, 2, eur),
        HbAmount(123UL, 2, eur), HbAmount(BigInt(123), 2, eur), HbAmount(String("123"), 2, eur)}) {
    EXPECT_FALSE(amount.IsNull());
    EXPECT_EQ(amount.GetFull(), "1,23 EUR");
    EXPECT_EQ(amount.GetString(), "123");
    EXPECT_EQ(amount.GetPrecision(), 2);
    EXPECT_EQ(amount.GetCurrency(), "EUR");
  }
  EXPECT_EQ(HbAmount(0xFFFFFFFFFFFFFFFFUL, 0, eur).GetString(), "18446744073709551615");
  EXPECT_TRUE(HbAmount(short{-1}, 0, eur).IsNeg());
}

TEST(HbAmount, FromTextWithoutDigitsIsZeroAndNotNull) {
  const HbAmount amount(String("x"), 2, "EUR");
  EXPECT_FALSE(amount.IsNull());
  EXPECT_TRUE(amount.IsZero());
}

TEST(HbAmount, CopiesShareNothing) {
  HbAmount amount(BigInt(String("123456789012345678901234567890")), 2, "EUR");
  const HbAmount copy = amount;
  amount += HbAmount(1, 2, "EUR");
  EXPECT_EQ(copy.GetString(), "123456789012345678901234567890");
  EXPECT_EQ(amount.GetString(), "123456789012345678901234567891");
  const HbAmount& self = amount;
  amount = self;
  EXPECT_EQ(amount.GetString(), "123456789012345678901234567891");
}

TEST(HbAmount, StcHasFourPlacesAndEveryOtherCurrencyTwo) {
  EXPECT_EQ(HbAmount::GetCurrencyPrecision("STC"), 4);
  for (const char* currency : {"EUR", "stc", "", "STCX", "ST", "JPY"}) {
    EXPECT_EQ(HbAmount::GetCurrencyPrecision(currency), 2) << currency;
  }
  EXPECT_EQ(HbAmount::GetCurrencyPrecision(nullptr), 2);
}

TEST(HbAmount, RescalingRoundsHalfAwayFromZero) {
  EXPECT_EQ(Rescaled(HbAmount(12345, 2, ""), 1).GetString(), "1235");
  EXPECT_EQ(Rescaled(HbAmount(-12345, 2, ""), 1).GetString(), "-1235");
  EXPECT_EQ(Rescaled(HbAmount(12344, 2, ""), 1).GetString(), "1234");
  EXPECT_EQ(Rescaled(HbAmount(-12344, 2, ""), 1).GetString(), "-1234");
  EXPECT_EQ(Rescaled(HbAmount(12344, 2, ""), 4).GetString(), "1234400");
  EXPECT_EQ(Rescaled(HbAmount(12344, 2, ""), 2).GetString(), "12344");
}

TEST(HbAmount, RescalingHalfAUnitReachesMinusOneAndLessReachesZero) {
  EXPECT_EQ(Rescaled(FromText("-0,50"), 0).GetString(), "-1");
  EXPECT_EQ(Rescaled(FromText("-0,49"), 0).GetString(), "0");
}

TEST(HbAmount, RescalingANullAmountOnlyChangesThePrecision) {
  HbAmount amount;
  amount.SetPrecision(3);
  EXPECT_TRUE(amount.IsNull());
  EXPECT_EQ(amount.GetPrecision(), 3);
  EXPECT_FALSE(amount.GetBigInt(7).IsSet());
}

TEST(HbAmount, GetBigIntLeavesTheAmountAlone) {
  const HbAmount amount(12345, 2, "EUR");
  EXPECT_EQ(amount.GetBigInt(0), BigInt(123));
  EXPECT_EQ(amount.GetBigInt(2), BigInt(12345));
  EXPECT_EQ(amount.GetBigInt(3), BigInt(123450));
  EXPECT_EQ(amount.GetFull(), "123,45 EUR");
}

TEST(HbAmount, RescalesBetweenTheFurthestPrecisions) {
  HbAmount amount(-7, 0, "EUR");
  amount.SetPrecision(40000);
  EXPECT_EQ(amount.GetString().Len(), 40002);
  amount.SetPrecision(0);
  EXPECT_EQ(amount.GetString(), "-7");
  amount.SetPrecision(0xFFFF);
  EXPECT_THROW(amount.GetString(), std::length_error);
  EXPECT_THROW(amount.GetDecimalPointString(), std::length_error);
  amount.SetPrecision(0);
  EXPECT_EQ(amount.GetString(), "-7");
}

TEST(HbAmount, TextHasADecimalComma) {
  EXPECT_EQ(HbAmount(12345, 2, "").GetDecimalPointString(), "123,45");
  EXPECT_EQ(HbAmount(5, 2, "").GetDecimalPointString(), "0,05");
  EXPECT_EQ(HbAmount(-5, 2, "").GetDecimalPointString(), "-0,05");
  EXPECT_EQ(HbAmount(123, 3, "").GetDecimalPointString(), "0,123");
  EXPECT_EQ(HbAmount(0, 2, "").GetDecimalPointString(), "0,00");
  EXPECT_EQ(HbAmount(-123456789, 2, "").GetDecimalPointString(), "-1234567,89");
  EXPECT_EQ(HbAmount().GetDecimalPointString(), "");
}

TEST(HbAmount, TextAtPrecisionZeroEndsInAComma) {
  EXPECT_EQ(HbAmount(7, 0, "").GetDecimalPointString(), "7,");
  EXPECT_EQ(HbAmount(123, 0, "").GetDecimalPointString(), "123,");
  EXPECT_EQ(HbAmount(0, 0, "").GetDecimalPointString(), "0,");
  EXPECT_EQ(HbAmount(-7, 0, "").GetDecimalPointString(), "-7,");
}

TEST(HbAmount, TextOfTheSmallestSixtyFourBitNumber) {
  EXPECT_EQ(HbAmount(INT64_MIN, 2, "").GetDecimalPointString(), "-92233720368547758,08");
  EXPECT_EQ(HbAmount(INT64_MIN, 40, "").GetDecimalPointString(),
            "-0,0000000000000000000009223372036854775808");
}

TEST(HbAmount, FullTextAddsABlankAndTheCurrency) {
  EXPECT_EQ(HbAmount(12345, 2, "EUR").GetFull(), "123,45 EUR");
  EXPECT_EQ(HbAmount(12345, 2, "").GetFull(), "123,45 ");
  EXPECT_EQ(HbAmount().GetFull(), "");
}

TEST(HbAmount, ReadsThousandsSeparatorsAndComma) {
  EXPECT_EQ(FromText("1.234,56").GetString(), "123456");
  EXPECT_EQ(FromText("1.234,56").GetPrecision(), 2);
  EXPECT_EQ(FromText("12").GetString(), "12");
  EXPECT_EQ(FromText("12").GetPrecision(), 0);
  EXPECT_EQ(FromText("-0,05").GetFull(), "-0,05 EUR");
  EXPECT_EQ(FromText("7,").GetPrecision(), 0);
  EXPECT_EQ(FromText(",5").GetFull(), "0,5 EUR");
}

TEST(HbAmount, ReadingCountsEveryCharacterBehindTheFirstComma) {
  EXPECT_EQ(FromText("1,2.3").GetPrecision(), 3);
  EXPECT_EQ(FromText("1,2.3").GetString(), "123");
  EXPECT_EQ(FromText("1,2,3").GetPrecision(), 3);
  EXPECT_EQ(FromText("1,2,3").GetString(), "123");
}

TEST(HbAmount, ReadingStopsAtTheFirstOtherCharacter) {
  EXPECT_EQ(FromText(" 12,5").GetString(), "125");
  EXPECT_EQ(FromText("12a5,67").GetString(), "12");
  EXPECT_EQ(FromText("12a5,67").GetPrecision(), 2);
  EXPECT_EQ(FromText("1-2").GetString(), "1");
  EXPECT_EQ(FromText("--2").GetString(), "0");
  EXPECT_EQ(FromText("+2").GetString(), "0");
  EXPECT_EQ(FromText("-").GetString(), "0");
  EXPECT_FALSE(FromText("-").IsNull());
}

TEST(HbAmount, EmptyTextMakesANullAmountWithTheCurrency) {
  HbAmount amount(12345, 2, "USD");
  amount.SetFromDecimalPointString("", "EUR");
  EXPECT_TRUE(amount.IsNull());
  EXPECT_EQ(amount.GetCurrency(), "EUR");
  EXPECT_EQ(amount.GetPrecision(), 0);
  EXPECT_EQ(amount.GetFull(), "");
}

TEST(HbAmount, TextOfSeparatorsAloneIsNullAndKeepsThePrecisionFound) {
  EXPECT_TRUE(FromText(",").IsNull());
  EXPECT_EQ(FromText(",").GetPrecision(), 0);
  EXPECT_TRUE(FromText(",..").IsNull());
  EXPECT_EQ(FromText(",..").GetPrecision(), 2);
}

TEST(HbAmount, ReadsItsOwnText) {
  HbAmount amount(12345, 2, "EUR");
  amount.SetFromDecimalPointString(amount.GetCurrency(), amount.GetCurrency());
  EXPECT_EQ(amount.GetFull(), "0, EUR");
}

TEST(HbAmount, AddingTakesTheLargerPrecision) {
  HbAmount amount = FromText("1,00");
  amount += FromText("0,005");
  EXPECT_EQ(amount.GetFull(), "1,005 EUR");
  amount.SetPrecision(2);
  EXPECT_EQ(amount.GetFull(), "1,01 EUR");
  HbAmount finer = FromText("0,005");
  finer += FromText("1,00");
  EXPECT_EQ(finer.GetFull(), "1,005 EUR");
  finer -= FromText("1,0");
  EXPECT_EQ(finer.GetFull(), "0,005 EUR");
  amount -= FromText("0,005");
  EXPECT_EQ(amount.GetFull(), "1,005 EUR");
}

TEST(HbAmount, ArithmeticKeepsItsOwnCurrency) {
  HbAmount amount = FromText("1,00", "EUR");
  amount += FromText("1,00", "USD");
  amount -= FromText("0,50", "CHF");
  EXPECT_EQ(amount.GetFull(), "1,50 EUR");
}

TEST(HbAmount, ANullOperandIsLeftOut) {
  HbAmount amount = FromText("1,00");
  amount += HbAmount();
  amount -= HbAmount();
  EXPECT_EQ(amount.GetFull(), "1,00 EUR");
  HbAmount finer = FromText("1,0");
  finer += Rescaled(HbAmount(), 5);
  EXPECT_EQ(finer.GetPrecision(), 1);
}

TEST(HbAmount, ANullAmountTakesTheOtherWithPrecisionAndCurrency) {
  HbAmount sum;
  sum += FromText("1,005", "USD");
  EXPECT_EQ(sum.GetFull(), "1,005 USD");
  HbAmount difference;
  difference -= FromText("1,005", "USD");
  EXPECT_EQ(difference.GetFull(), "-1,005 USD");
  HbAmount null;
  null += HbAmount();
  EXPECT_TRUE(null.IsNull());
}

TEST(HbAmount, AddsToItself) {
  HbAmount amount = FromText("1,25");
  const HbAmount& self = amount;
  amount += self;
  EXPECT_EQ(amount.GetFull(), "2,50 EUR");
  amount -= self;
  EXPECT_EQ(amount.GetFull(), "0,00 EUR");
}

TEST(HbAmount, SumsGrowBeyondSixtyFourBits) {
  HbAmount amount(INT64_MAX, 2, "EUR");
  amount += HbAmount(1, 2, "EUR");
  EXPECT_EQ(amount.GetString(), "9223372036854775808");
  amount += HbAmount(1, 4, "EUR");
  EXPECT_EQ(amount.GetString(), "922337203685477580801");
  amount -= HbAmount(amount);
  EXPECT_TRUE(amount.IsZero());
  amount -= HbAmount(INT64_MIN, 4, "EUR");
  EXPECT_EQ(amount.GetString(), "9223372036854775808");
}

TEST(HbAmount, FactorsAndDivisorsChangeTheValueAlone) {
  HbAmount amount(12345, 2, "EUR");
  amount *= 3;
  EXPECT_EQ(amount.GetFull(), "370,35 EUR");
  amount /= 2;
  EXPECT_EQ(amount.GetFull(), "185,17 EUR");
  amount %= 100;
  EXPECT_EQ(amount.GetFull(), "0,17 EUR");
  HbAmount negative(-7, 2, "EUR");
  negative /= 2;
  EXPECT_EQ(negative.GetString(), "-3");
}

TEST(HbAmount, DividingByZeroMakesItNull) {
  HbAmount quotient(12345, 2, "EUR");
  quotient /= 0;
  EXPECT_TRUE(quotient.IsNull());
  HbAmount remainder(12345, 2, "EUR");
  remainder %= 0;
  EXPECT_TRUE(remainder.IsNull());
  EXPECT_EQ(remainder.GetPrecision(), 2);
}

TEST(HbAmount, FactorsLeaveANullAmountNull) {
  HbAmount amount;
  amount *= 3;
  amount /= 3;
  amount %= 3;
  EXPECT_TRUE(amount.IsNull());
}

TEST(HbAmount, EqualityLooksAtCurrencyAndNullStateAndOrderDoesNot) {
  const HbAmount euro(100, 2, "EUR"), tenths(10, 1, "EUR"), dollar(100, 2, "USD");
  EXPECT_TRUE(euro == tenths);
  EXPECT_FALSE(euro != tenths);
  EXPECT_FALSE(euro == dollar);
  EXPECT_TRUE(euro != dollar);
  EXPECT_FALSE(euro < dollar);
  EXPECT_FALSE(euro > dollar);
  EXPECT_TRUE(euro <= dollar);
  EXPECT_TRUE(euro >= dollar);
  EXPECT_FALSE(euro == HbAmount(100, 2, "eur"));
}

TEST(HbAmount, NullComparesAsZeroAndEqualsOnlyNull) {
  const HbAmount null, zero(0, 2, ""), one(1, 2, "");
  EXPECT_FALSE(null == zero);
  EXPECT_FALSE(null < zero);
  EXPECT_FALSE(null > zero);
  EXPECT_TRUE(null <= zero && null >= zero);
  EXPECT_TRUE(null < one && one > null);
  EXPECT_TRUE(null == Rescaled(HbAmount(), 4));
  EXPECT_FALSE(null == FromText("", "EUR"));
}

TEST(HbAmount, ComparesExactlyAtTheLargerPrecision) {
  EXPECT_TRUE(FromText("1,004") < FromText("1,01"));
  EXPECT_TRUE(FromText("1,01") > FromText("1,004"));
  EXPECT_TRUE(FromText("-1,01") < FromText("-1,004"));
  EXPECT_FALSE(FromText("1,004") == FromText("1,00"));
  EXPECT_TRUE(HbAmount(INT64_MAX, 0, "") > HbAmount(INT64_MAX, 1, ""));
}

// The same values in the plainest arithmetic there is.
struct Model {
  cpp_int value;
  unsigned precision = 0;
  bool set = false;

  static cpp_int Power(unsigned exponent) { return pow(cpp_int(10), exponent); }
  cpp_int At(unsigned to) const {
    if (to >= precision) return value * Power(to - precision);
    const cpp_int divisor = Power(precision - to);
    // Half away from zero, of the magnitude.
    const cpp_int rounded = (2 * abs(value) + divisor) / (2 * divisor);
    return value < 0 ? -rounded : rounded;
  }
  void Add(const Model& other, int sign) {
    if (!other.set) return;
    const unsigned to = set ? std::max(precision, other.precision) : other.precision;
    value = (set ? At(to) : cpp_int(0)) + sign * other.At(to);
    precision = to;
    set = true;
  }
  std::string Text() const {
    if (!set) return "";
    std::string digits = cpp_int(abs(value)).str();
    while (digits.size() <= precision) digits.insert(0, "0");
    return (value < 0 ? "-" : "") + digits.insert(digits.size() - precision, ",");
  }
};

class AmountModel : public testing::Test {
 protected:
  // Values around the borders of 64 bits and of the powers of ten as often as others.
  cpp_int RandomValue() {
    cpp_int value = 1;
    switch (random_() % 5) {
      case 0:
        value = static_cast<std::int64_t>(random_() % 2000) - 1000;
        break;
      case 1:
        value = cpp_int(1) << (random_() % 130);
        value += static_cast<int>(random_() % 5) - 2;
        break;
      case 2:
        value =
            Model::Power(static_cast<unsigned>(random_() % 25)) * static_cast<int>(random_() % 20);
        value /= 2;
        break;
      default:
        value = static_cast<std::int64_t>(random_()) >> (random_() % 64);
    }
    return random_() % 2 ? value : -value;
  }
  unsigned short RandomPrecision() {
    return static_cast<unsigned short>(random_() % (random_() % 8 == 0 ? 45 : 6));
  }
  std::pair<HbAmount, Model> RandomAmount() {
    if (random_() % 16 == 0) return {HbAmount(), Model()};
    const cpp_int value = RandomValue();
    const unsigned short precision = RandomPrecision();
    return {HbAmount(BigInt(String(value.str().c_str())), precision, "EUR"),
            Model{value, precision, true}};
  }
  static void ExpectSame(const HbAmount& amount, const Model& model) {
    ASSERT_EQ(amount.IsNull(), !model.set);
    ASSERT_EQ(amount.GetString(), cpp_int(model.set ? model.value : 0).str().c_str());
    ASSERT_EQ(amount.GetPrecision(), model.precision);
    ASSERT_EQ(amount.GetDecimalPointString(), model.Text().c_str());
    ASSERT_EQ(amount.IsNeg(), model.set && model.value < 0);
  }

  std::mt19937_64 random_{20240229};
};

TEST_F(AmountModel, ArithmeticAndRescalingAgreeWithPlainArithmetic) {
  for (int i = 0; i < 20000; ++i) {
    auto [amount, model] = RandomAmount();
    const auto [other, other_model] = RandomAmount();
    ExpectSame(amount, model);
    const int sign = random_() % 2 ? 1 : -1;
    if (sign > 0) {
      amount += other;
    } else {
      amount -= other;
    }
    model.Add(other_model, sign);
    ExpectSame(amount, model);
    const unsigned short precision = RandomPrecision();
    amount.SetPrecision(precision);
    if (model.set) model.value = model.At(precision);
    model.precision = precision;
    ExpectSame(amount, model);
    if (HasFatalFailure()) FAIL() << "in round " << i;
  }
}

TEST_F(AmountModel, ComparisonsAgreeWithPlainArithmetic) {
  for (int i = 0; i < 20000; ++i) {
    const auto [amount, model] = RandomAmount();
    const auto [other, other_model] =
        random_() % 4 == 0 ? std::pair(Rescaled(amount, RandomPrecision()), model) : RandomAmount();
    const cpp_int a = model.At(100);
    const cpp_int b = Model{cpp_int(other.GetString().Data()), other.GetPrecision(), true}.At(100);
    ASSERT_EQ(amount < other, a < b);
    ASSERT_EQ(amount > other, a > b);
    ASSERT_EQ(amount <= other, a <= b);
    ASSERT_EQ(amount >= other, a >= b);
    const bool same_kind = amount.IsNull() == other.IsNull();
    ASSERT_EQ(amount == other, same_kind && (amount.IsNull() || a == b));
  }
}

// What the text means, read the long way round.
void ExpectReadsAs(const std::string& text) {
  Model model;
  const std::size_t comma = text.find(',');
  model.precision = comma == std::string::npos ? 0 : static_cast<unsigned>(text.size() - comma - 1);
  std::string rest;
  for (const char c : text) {
    if (c != '.' && c != ',') rest += c;
  }
  model.set = !rest.empty();
  rest.erase(0, rest.find_first_not_of(' '));
  const bool negative = !rest.empty() && rest[0] == '-';
  if (negative) rest.erase(0, 1);
  for (const char c : rest) {
    if (c < '0' || c > '9') break;
    model.value = model.value * 10 + (c - '0');
  }
  if (negative) model.value = -model.value;
  const HbAmount amount = FromText(text.c_str());
  ASSERT_EQ(amount.IsNull(), !model.set) << text;
  ASSERT_EQ(amount.GetPrecision(), model.precision) << text;
  ASSERT_EQ(amount.GetString(), model.value.str().c_str()) << text;
  ASSERT_EQ(amount.GetDecimalPointString(), model.Text().c_str()) << text;
}

TEST_F(AmountModel, ReadingAgreesWithTheRuleOnRandomTexts) {
  constexpr std::string_view alphabet = "0123456789012345678900,.- x";
  for (int i = 0; i < 50000; ++i) {
    std::string text;
    const std::size_t length = random_() % 28;
    // Mostly digits with a rare odd byte, so that long numbers are as frequent as broken ones.
    const std::size_t letters = random_() % 2 ? 23 : alphabet.size();
    while (text.size() < length) text += alphabet[random_() % letters];
    if (random_() % 4 == 0) text.insert(0, "-");
    ExpectReadsAs(text);
    if (HasFatalFailure()) FAIL() << "in round " << i;
  }
}

TEST_F(AmountModel, EveryAmountReadsItsTextBack) {
  for (int i = 0; i < 20000; ++i) {
    const HbAmount amount = RandomAmount().first;
    HbAmount read;
    read.SetFromDecimalPointString(amount.GetDecimalPointString(), amount.GetCurrency());
    ASSERT_EQ(read, amount);
    if (!amount.IsNull()) {
      ASSERT_EQ(read.GetPrecision(), amount.GetPrecision());
    }
  }
}

}  // namespace
