#include "tmxtools/core/date_time.h"

#include "tests/support/print.h"

namespace {

TEST(HbDate, DefaultIsNull) {
  EXPECT_TRUE(HbDate().IsNull());
  EXPECT_EQ(HbDate().GetDate(), 0u);
  EXPECT_TRUE(HbDate(0UL).IsNull());
}

TEST(HbDate, TakesItsValueFromEverySource) {
  EXPECT_EQ(HbDate(20030305UL).GetDate(), 20030305u);
  EXPECT_EQ(HbDate(5, 3, 2003).GetDate(), 20030305u);
  EXPECT_EQ(HbDate(Date(5, 3, 2003)).GetDate(), 20030305u);
  HbDate date(5, 3, 2003);
  const HbDate copy = date;
  EXPECT_EQ(copy.GetDate(), 20030305u);
  date = HbDate();
  EXPECT_TRUE(date.IsNull());
  EXPECT_FALSE(copy.IsNull());
}

TEST(HbDate, IsNullOnlyWithTheValueZero) {
  EXPECT_FALSE(HbDate(1UL).IsNull());
  HbDate date(1UL);
  date.SetDate(0);
  EXPECT_TRUE(date.IsNull());
}

TEST(HbDate, NullIsEarlierThanEveryRealDate) {
  EXPECT_LT(HbDate(), HbDate(1, 1, 1));
  EXPECT_LT(HbDate(), HbDate(1UL));
  EXPECT_EQ(HbDate(), HbDate(0UL));
  EXPECT_GT(HbDate(2, 1, 2003), HbDate(1, 1, 2003));
}

TEST(HbDate, HasTheArithmeticOfDates) {
  HbDate date(28, 2, 2024);
  date += 2;
  EXPECT_EQ(date, HbDate(1, 3, 2024));
  EXPECT_EQ(HbDate(1, 3, 2024) - HbDate(28, 2, 2024), 2);
  const HbDate next = HbDate(31, 12, 1999) + 1;
  EXPECT_EQ(next.GetYear(), 2000);
}

TEST(HbTime, DefaultIsZeroAndNull) {
  EXPECT_TRUE(HbTime().IsNull());
  EXPECT_EQ(HbTime().GetTime(), 0);
}

TEST(HbTime, ZeroIsNotNullAndNotEqualToTheDefault) {
  EXPECT_FALSE(HbTime(0L).IsNull());
  EXPECT_EQ(HbTime(0L).GetTime(), HbTime().GetTime());
  EXPECT_FALSE(HbTime(0L) == HbTime());
  EXPECT_TRUE(HbTime(0L) != HbTime());
}

TEST(HbTime, TakesItsValueFromEverySource) {
  EXPECT_EQ(HbTime(12345678L).GetTime(), 12345678);
  EXPECT_EQ(HbTime(12, 34, 56, 78).GetTime(), 12345678);
  EXPECT_FALSE(HbTime(0, 0, 0, 0).IsNull());
  const Time foundation(12, 34, 56, 78);
  EXPECT_EQ(HbTime(foundation).GetTime(), 12345678);
  EXPECT_FALSE(HbTime(foundation).IsNull());
  const HbTime null;
  const HbTime copy = null;
  EXPECT_TRUE(copy.IsNull());
}

TEST(HbTime, EverySetterClearsTheNullFlag) {
  HbTime value;
  value.SetTime(0UL);
  EXPECT_FALSE(value.IsNull());
  HbTime hour;
  hour.SetHour(7);
  EXPECT_FALSE(hour.IsNull());
  EXPECT_EQ(hour.GetTime(), 7000000);
  HbTime minute;
  minute.SetMin(7);
  EXPECT_FALSE(minute.IsNull());
  EXPECT_EQ(minute.GetTime(), 70000);
  HbTime second;
  second.SetSec(7);
  EXPECT_FALSE(second.IsNull());
  EXPECT_EQ(second.GetTime(), 700);
  HbTime hundredths;
  hundredths.Set100Sec(7);
  EXPECT_FALSE(hundredths.IsNull());
  EXPECT_EQ(hundredths.GetTime(), 7);
}

TEST(HbTime, SetHourOnNullKeepsTheOtherPartsZero) {
  HbTime time;
  time.SetHour(9);
  EXPECT_FALSE(time.IsNull());
  EXPECT_EQ(time, HbTime(9, 0, 0, 0));
}

// Times and moments follow one rule; so do these cases, for both.
template <class T>
struct Moments;
template <>
struct Moments<HbTime> {
  static HbTime Null() { return {}; }
  static HbTime Low() { return HbTime(1, 0); }
  static HbTime High() { return HbTime(2, 0); }
};
template <>
struct Moments<HbDateTime> {
  static HbDateTime Null() { return {}; }
  static HbDateTime Low() { return {Date(1, 1, 2000), Time(23, 0)}; }
  static HbDateTime High() { return {Date(2, 1, 2000), Time(1, 0)}; }
};

template <class T>
class MomentOrder : public testing::Test, public Moments<T> {};
using MomentTypes = testing::Types<HbTime, HbDateTime>;
TYPED_TEST_SUITE(MomentOrder, MomentTypes);

TYPED_TEST(MomentOrder, ComparesValues) {
  const TypeParam low = this->Low(), high = this->High();
  EXPECT_TRUE(low < high && low <= high && !(low > high) && !(low >= high));
  EXPECT_TRUE(high > low && high >= low && !(high < low) && !(high <= low));
  EXPECT_TRUE(low == low && low <= low && low >= low && !(low < low) && !(low > low));
  EXPECT_TRUE(low != high && !(low == high));
}

TYPED_TEST(MomentOrder, NullIsBelowEveryValue) {
  const TypeParam null = this->Null(), value = this->Low();
  EXPECT_TRUE(null < value && null <= value && !(null > value) && !(null >= value));
  EXPECT_TRUE(value > null && value >= null && !(value < null) && !(value <= null));
  EXPECT_TRUE(null != value);
}

TYPED_TEST(MomentOrder, TwoNullsAreNeitherBelowNorAboveEachOther) {
  const TypeParam a = this->Null(), b = this->Null();
  EXPECT_TRUE(a >= b && a <= b);
  EXPECT_FALSE(a > b || a < b);
}

TEST(HbDateTime, DefaultIsNullThoughItHoldsNow) {
  tmx::FixedClock clock(20240229, 13141516);
  const tmx::ScopedClock scope(clock);
  const HbDateTime moment;
  EXPECT_TRUE(moment.IsNull());
  EXPECT_EQ(moment.GetDate(), Date(29, 2, 2024));
  EXPECT_EQ(moment.GetTime(), Time(13, 14, 15, 16));
}

TEST(HbDateTime, TwoNullsWithDifferentValuesAreNotEqual) {
  tmx::FixedClock clock(20240229);
  const tmx::ScopedClock scope(clock);
  const HbDateTime first;
  clock.Set({20240301, 0});
  const HbDateTime second;
  EXPECT_FALSE(first == second);
  EXPECT_TRUE(first != second);
  EXPECT_TRUE(first >= second && first <= second && second <= first);
}

TEST(HbDateTime, TakesItsValueFromEverySource) {
  const Date date(5, 3, 2003);
  const Time time(1, 2, 3, 4);
  const HbDateTime from_date(date);
  EXPECT_FALSE(from_date.IsNull());
  EXPECT_EQ(from_date.GetDate(), date);
  EXPECT_EQ(from_date.GetTime().GetTime(), 0);
  const HbDateTime from_time(time);
  EXPECT_FALSE(from_time.IsNull());
  EXPECT_EQ(from_time.GetDate().GetDate(), 0u);
  EXPECT_EQ(from_time.GetTime(), time);
  const HbDateTime from_both(date, time);
  EXPECT_FALSE(from_both.IsNull());
  EXPECT_EQ(from_both, HbDateTime(DateTime(date, time)));
  const HbDateTime null;
  const HbDateTime copy = null;
  EXPECT_TRUE(copy.IsNull());
  EXPECT_EQ(copy, null);
}

TEST(HbDateTime, AssigningAFoundationValueClearsTheNullFlag) {
  HbDateTime moment;
  moment = DateTime(Date(5, 3, 2003), Time(1, 2));
  EXPECT_FALSE(moment.IsNull());
  EXPECT_EQ(moment.GetDate(), Date(5, 3, 2003));
  moment = HbDateTime();
  EXPECT_TRUE(moment.IsNull());
}

TEST(HbDateTime, SettersOfRawValuesClearTheNullFlag) {
  HbDateTime moment;
  moment.SetDate(20030305);
  EXPECT_FALSE(moment.IsNull());
  EXPECT_EQ(moment.GetDate().GetDate(), 20030305u);
  HbDateTime other;
  other.SetTime(1020304);
  EXPECT_FALSE(other.IsNull());
  EXPECT_EQ(other.GetTime(), Time(1, 2, 3, 4));
}

}  // namespace
