#include "tmxtools/platform/date.h"

#include <chrono>
#include <climits>
#include <ctime>

#include "tests/support/print.h"

namespace {

TEST(Clock, IsTheSystemsUntilOneIsSet) {
  const std::time_t before = std::time(nullptr);
  const Date today;
  const std::time_t after = std::time(nullptr);
  const auto number = [](std::time_t moment) {
    std::tm parts{};
    localtime_r(&moment, &parts);
    return static_cast<unsigned long>((parts.tm_year + 1900) * 10000 + (parts.tm_mon + 1) * 100 +
                                      parts.tm_mday);
  };
  EXPECT_GE(today.GetDate(), number(before));
  EXPECT_LE(today.GetDate(), number(after));
}

TEST(Clock, TodayAndNowComeFromTheClockThatIsSet) {
  tmx::FixedClock clock(20240229, 13141516);
  {
    const tmx::ScopedClock scope(clock);
    EXPECT_EQ(Date().GetDate(), 20240229u);
    EXPECT_EQ(Time().GetTime(), 13141516);
    EXPECT_EQ(DateTime().GetDate(), Date(29, 2, 2024));
    EXPECT_EQ(DateTime().GetTime(), Time(13, 14, 15, 16));
  }
  EXPECT_NE(Date().GetDate(), 20240229u);
}

TEST(Date, IsYearMonthDayAsOneNumber) {
  const Date date(24, 12, 1999);
  EXPECT_EQ(date.GetDate(), 19991224u);
  EXPECT_EQ(date.GetDay(), 24);
  EXPECT_EQ(date.GetMonth(), 12);
  EXPECT_EQ(date.GetYear(), 1999);
  EXPECT_EQ(Date(19991224), date);
}

TEST(Date, TakesSetPartsModulo100And10000) {
  EXPECT_EQ(Date(131, 213, 12024), Date(31, 13, 2024));
  Date date(1, 1, 2000);
  date.SetDay(105);
  date.SetMonth(207);
  date.SetYear(65535);
  EXPECT_EQ(date.GetDate(), 55350705u);
}

TEST(Date, CountsTheNullDateAsDay0AndTheFirstOfYear1AsDay1) {
  EXPECT_EQ(Date(0UL).GetDayNumber(), 0);
  EXPECT_EQ(Date(1, 1, 1).GetDayNumber(), 1);
  EXPECT_EQ(Date(31, 12, 9999).GetDayNumber(), 3652059);
  EXPECT_EQ(Date(1, 1, 1) - 1, Date(0UL));
  EXPECT_EQ(Date(0UL) + 1, Date(1, 1, 1));
  EXPECT_EQ(Date(15, 10, 1582) - Date(4, 10, 1582), 11);
}

TEST(Date, AgreesWithTheStandardCalendarOnEveryDay) {
  using namespace std::chrono;
  const sys_days first = year(1) / January / 1;
  Date walking(1, 1, 1);
  for (long number = 1; number <= 3652059; ++number, ++walking) {
    const year_month_day expected = first + days(number - 1);
    const Date date(static_cast<unsigned short>(unsigned{expected.day()}),
                    static_cast<unsigned short>(unsigned{expected.month()}),
                    static_cast<unsigned short>(int{expected.year()}));
    ASSERT_EQ(walking, date);
    ASSERT_EQ(date.GetDayNumber(), number);
  }
}

TEST(Date, YearZeroWorks) {
  EXPECT_EQ(Date(29, 2, 0) + 1, Date(1, 3, 0));
  EXPECT_EQ(Date(1, 3, 0) - 1, Date(29, 2, 0));
  EXPECT_EQ(Date(1, 1, 0).GetDayNumber(), -365);
  EXPECT_EQ(Date(2, 1, 0) - 1, Date(1, 1, 0));
  EXPECT_EQ(Date(31, 12, 0).GetDayNumber(), 0);
  EXPECT_EQ(Date(31, 12, 0) + 1, Date(1, 1, 1));
}

TEST(Date, InvalidDatesCountOnFromTheFirstOfTheirMonth) {
  EXPECT_EQ(Date(31, 2, 2023) + 0, Date(3, 3, 2023));
  EXPECT_EQ(Date(0, 3, 2024) + 0, Date(29, 2, 2024));
  EXPECT_EQ(Date(1, 13, 2023) + 0, Date(1, 1, 2024));
  EXPECT_EQ(Date(99, 99, 2023) + 0, Date(1, 3, 2031) + 98);
  EXPECT_EQ(Date(5, 0, 2023) + 0, Date(5, 12, 2022));
}

TEST(Date, ArithmeticEndsAtTheCalendarsEnds) {
  EXPECT_EQ(Date(31, 12, 9999) + 1, Date(31, 12, 9999));
  EXPECT_EQ(Date(1, 1, 2000) + LONG_MAX, Date(31, 12, 9999));
  EXPECT_EQ(Date(1, 1, 2000) + LONG_MIN, Date(0UL));
  EXPECT_EQ(Date(1, 1, 2000) - LONG_MAX, Date(0UL));
  EXPECT_EQ(Date(1, 1, 2000) - LONG_MIN, Date(31, 12, 9999));
  EXPECT_EQ(Date(1, 1, 0) - 1, Date(0UL));
  EXPECT_EQ(Date(0xFFFFFFFFUL) + 0, Date(31, 12, 9999));
}

TEST(Date, DifferencesAreInDays) {
  EXPECT_EQ(Date(1, 3, 2024) - Date(28, 2, 2024), 2);
  EXPECT_EQ(Date(1, 1, 2023) - Date(1, 1, 2024), -365);
}

TEST(Date, OrdersByItsNumber) {
  EXPECT_LT(Date(0UL), Date(1, 1, 1));
  EXPECT_LT(Date(31, 12, 2023), Date(1, 1, 2024));
}

TEST(Time, IsItsPartsAsOneNumber) {
  const Time time(23, 59, 58, 57);
  EXPECT_EQ(time.GetTime(), 23595857);
  EXPECT_EQ(time.GetHour(), 23);
  EXPECT_EQ(time.GetMin(), 59);
  EXPECT_EQ(time.GetSec(), 58);
  EXPECT_EQ(time.Get100Sec(), 57);
  EXPECT_LT(Time(0L), time);
}

TEST(Time, SettersKeepTheOtherParts) {
  Time time(1, 2, 3, 4);
  time.SetHour(105);
  EXPECT_EQ(time, Time(5, 2, 3, 4));
  time.SetMin(6);
  time.SetSec(7);
  time.Set100Sec(8);
  EXPECT_EQ(time, Time(5, 6, 7, 8));
}

TEST(Time, NegativeNumbersKeepTheirSign) {
  Time time(-1020304L);
  EXPECT_EQ(time.GetHour(), 1);
  EXPECT_EQ(time.Get100Sec(), 4);
  time.SetMin(9);
  EXPECT_EQ(time.GetTime(), -1090304);
  EXPECT_EQ(Time(long{INT_MIN}).Get100Sec(), 48);
}

TEST(DateTime, OrdersByDateThenTime) {
  const DateTime early(Date(1, 1, 2024), Time(23, 0));
  const DateTime late(Date(2, 1, 2024), Time(1, 0));
  EXPECT_LT(early, late);
  EXPECT_LT(DateTime(Date(1, 1, 2024)), early);
  EXPECT_EQ(DateTime(Time(1, 0)).GetDate(), Date(0UL));
}

}  // namespace
