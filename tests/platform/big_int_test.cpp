#include "tmxtools/platform/big_int.h"

#include <limits>
#include <random>
#include <string>

#include "tests/support/print.h"

namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

BigInt Parse(const char* digits) { return BigInt(String(digits)); }

TEST(BigInt, IsUnsetByDefaultAndHoldsZero) {
  const BigInt number;
  EXPECT_FALSE(number.IsSet());
  EXPECT_TRUE(number.IsZero());
  EXPECT_FALSE(number.IsNeg());
  EXPECT_EQ(number.ToString(), "0");
  EXPECT_EQ(number, BigInt(0));
}

TEST(BigInt, IsSetFromNumbers) {
  EXPECT_TRUE(BigInt(0).IsSet());
  EXPECT_TRUE(BigInt(short{-3}).IsNeg());
  EXPECT_EQ(BigInt(4000000000u).ToString(), "4000000000");
  EXPECT_EQ(BigInt(kMin).ToString(), "-9223372036854775808");
  EXPECT_EQ(BigInt(~0UL).ToString(), "18446744073709551615");
}

TEST(BigInt, IsNotMadeFromAPlainCharacterPointer) {
  static_assert(!std::is_constructible_v<BigInt, const char*>);
  static_assert(std::is_constructible_v<BigInt, String>);
  static_assert(!std::is_convertible_v<String, BigInt>);
}

TEST(BigInt, ParseTakesBlanksMinusAndDigits) {
  EXPECT_EQ(Parse("  -12x34"), BigInt(-12));
  EXPECT_EQ(Parse("007"), BigInt(7));
  EXPECT_EQ(Parse("1,50"), BigInt(1));
  EXPECT_EQ(Parse("-0"), BigInt(0));
}

TEST(BigInt, ParseIsAlwaysSet) {
  for (const char* text : {"", "   ", "-", "x", "+5", "- 5", "--5"}) {
    EXPECT_TRUE(Parse(text).IsSet()) << text;
    EXPECT_EQ(Parse(text), BigInt(0)) << text;
  }
}

TEST(BigInt, ParseAndPrintKeepNumbersOfAnySize) {
  for (const char* text : {"9223372036854775807", "9223372036854775808", "-9223372036854775808",
                           "-9223372036854775809", "123456789012345678901234567890",
                           "-98765432109876543210987654321"}) {
    EXPECT_EQ(Parse(text).ToString(), text);
  }
  EXPECT_EQ(Parse("000123456789012345678901234567890").ToString(),
            "123456789012345678901234567890");
}

TEST(BigInt, IsSmallWhileTheValueFits64Bits) {
  BigInt number(kMax);
  EXPECT_TRUE(number.IsSmall());
  number += 1;
  EXPECT_FALSE(number.IsSmall());
  EXPECT_EQ(number.ToString(), "9223372036854775808");
  number -= 1;
  EXPECT_TRUE(number.IsSmall());
  EXPECT_EQ(number.Small(), kMax);
}

TEST(BigInt, OverflowsIntoTheLargeFormAtBothEnds) {
  EXPECT_EQ((BigInt(kMin) - 1).ToString(), "-9223372036854775809");
  EXPECT_EQ((BigInt(kMin) * BigInt(kMin)).ToString(), "85070591730234615865843651857942052864");
  EXPECT_EQ((BigInt(kMin) / -1).ToString(), "9223372036854775808");
  EXPECT_EQ((BigInt(kMin) % -1).ToString(), "0");
  EXPECT_EQ((-BigInt(kMin)).ToString(), "9223372036854775808");
}

TEST(BigInt, DivisionTruncatesAndTheRemainderFollowsTheDividend) {
  for (const std::int64_t scale : {std::int64_t{1}, std::int64_t{4000000000}}) {
    const BigInt big = BigInt(scale) * scale * scale;
    EXPECT_EQ((BigInt(7) * big) / (BigInt(2) * big), BigInt(3));
    EXPECT_EQ((BigInt(-7) * big) / (BigInt(2) * big), BigInt(-3));
    EXPECT_EQ((BigInt(-7) * big) % (BigInt(2) * big), -big);
    EXPECT_EQ((BigInt(7) * big) % (BigInt(-2) * big), big);
  }
}

TEST(BigInt, DivisionByZeroLeavesItUnset) {
  for (const char* text : {"5", "0", "123456789012345678901234567890"}) {
    EXPECT_FALSE((Parse(text) / 0).IsSet());
    EXPECT_FALSE((Parse(text) % 0).IsSet());
    EXPECT_TRUE((Parse(text) / 0).IsZero());
  }
}

TEST(BigInt, UnsetOperandsLeaveItUnset) {
  EXPECT_FALSE((BigInt() + 1).IsSet());
  EXPECT_FALSE((BigInt(1) - BigInt()).IsSet());
  EXPECT_FALSE((BigInt() * 5).IsSet());
  EXPECT_FALSE((BigInt() / 5).IsSet());
  EXPECT_FALSE((BigInt(5) % BigInt()).IsSet());
}

TEST(BigInt, OrdersValuesOfAllSizes) {
  const BigInt ascending[] = {Parse("-99999999999999999999"),
                              Parse("-9223372036854775809"),
                              BigInt(kMin),
                              BigInt(-1),
                              BigInt(0),
                              BigInt(kMax),
                              Parse("9223372036854775808"),
                              Parse("99999999999999999999")};
  for (const BigInt& a : ascending) {
    for (const BigInt& b : ascending) {
      EXPECT_EQ(a < b, &a < &b);
      EXPECT_EQ(a > b, &a > &b);
      EXPECT_EQ(a == b, &a == &b);
    }
  }
}

// The compiler's 128-bit numbers as a second opinion.
__extension__ using Wide = __int128;

BigInt FromWide(Wide value) {
  const bool negative = value < 0;
  BigInt result(0);
  for (int shift = 96; shift >= 0; shift -= 32) {
    const Wide magnitude = negative ? -value : value;
    result *= BigInt(0x100000000L);
    result += BigInt(static_cast<unsigned int>(magnitude >> shift));
  }
  return negative ? -result : result;
}

TEST(BigInt, AgreesWith128BitNumbersAroundThe64BitLimits) {
  std::mt19937_64 random(20240229);
  const auto pick = [&] {
    const auto bits = static_cast<std::int64_t>(random());
    return bits >> (random() % 64);
  };
  for (int round = 0; round < 20000; ++round) {
    const Wide a = Wide{pick()} * (round % 3 == 0 ? pick() % 8 : 1);
    const Wide b = Wide{pick()} * (round % 5 == 0 ? pick() % 8 : 1);
    const BigInt big_a = FromWide(a);
    const BigInt big_b = FromWide(b);
    ASSERT_EQ(big_a + big_b, FromWide(a + b));
    ASSERT_EQ(big_a - big_b, FromWide(a - b));
    ASSERT_EQ(big_a < big_b, a < b);
    if (round % 3 != 0 && round % 5 != 0) {
      ASSERT_EQ(big_a * big_b, FromWide(a * b));
    }
    if (b == 0) continue;
    ASSERT_EQ(big_a / big_b, FromWide(a / b));
    ASSERT_EQ(big_a % big_b, FromWide(a % b));
    ASSERT_EQ(Parse(big_a.ToString().Data()), big_a);
  }
}

TEST(BigInt, CopiesAreIndependent) {
  BigInt large = Parse("123456789012345678901234567890");
  const BigInt copy = large;
  large += 1;
  EXPECT_EQ(copy.ToString(), "123456789012345678901234567890");
  large = copy;
  EXPECT_EQ(large, copy);
  const BigInt& same = large;
  large = same;
  EXPECT_EQ(large, copy);
  large = BigInt(3);
  EXPECT_EQ(large, BigInt(3));
  large += large;
  EXPECT_EQ(large, BigInt(6));
}

TEST(BigInt, Low64WrapsLikeTwosComplement) {
  EXPECT_EQ(Parse("18446744073709551617").Low64(), 1);
  EXPECT_EQ(Parse("-18446744073709551617").Low64(), -1);
  EXPECT_EQ(Parse("9223372036854775808").Low64(), kMin);
  EXPECT_EQ(BigInt(-5).Low64(), -5);
}

TEST(BigInt, TextBeyondTheTextLimitThrows) {
  BigInt number = Parse("10");
  for (int i = 0; i < 16; ++i) number *= number;  // 10 to the power of 65536
  EXPECT_THROW(number.ToString(), std::length_error);
  EXPECT_EQ((number / 100).ToString().Len(), 65535);
}

}  // namespace
