// Calendar dates and times of day.
#pragma once

#include <compare>
#include <cstdint>

#include "tmxtools/platform/clock.h"
#include "tmxtools/platform/export.h"

// A date, held as the number year * 10000 + month * 100 + day.
//
// Any number may be held; nothing checks that it names a day of the calendar. Days are counted in
// the proleptic Gregorian calendar: the number 0 is day 0 and 1.1.0001 is day 1. A date that does
// not exist counts on from the first of its month, so 31.2. is two or three days after 28.2. Parts
// that are set are taken modulo 100 (day, month) and 10000 (year).
//
// Adding days ends at 31.12.9999; subtracting them ends at the number 0, which is also what day 0
// gives.
//
// Empty state: none of its own (the default is today); HbDate reads the number 0 as no date.
// Threads: as an int.
class TMX_EXPORT Date {
 public:
  // Today, from the clock.
  Date() : value_(tmx::Now().date) {}
  // The number; its low 32 bits are used.
  explicit constexpr Date(unsigned long value) : value_(static_cast<std::uint32_t>(value)) {}
  constexpr Date(unsigned short day, unsigned short month, unsigned short year)
      : value_(Number(day, month, year)) {}

  constexpr unsigned long GetDate() const { return value_; }
  constexpr void SetDate(unsigned long value) { value_ = static_cast<std::uint32_t>(value); }
  constexpr unsigned short GetDay() const { return static_cast<unsigned short>(value_ % 100); }
  constexpr unsigned short GetMonth() const {
    return static_cast<unsigned short>(value_ / 100 % 100);
  }
  constexpr unsigned short GetYear() const { return static_cast<unsigned short>(value_ / 10000); }
  constexpr void SetDay(unsigned short day) { value_ = Number(day, GetMonth(), GetYear()); }
  constexpr void SetMonth(unsigned short month) { value_ = Number(GetDay(), month, GetYear()); }
  constexpr void SetYear(unsigned short year) { value_ = Number(GetDay(), GetMonth(), year); }

  // The day's number in the count described above; it can be negative in year 0.
  constexpr long GetDayNumber() const { return DayNumber(); }

  constexpr Date& operator+=(long days) { return Move(Limit(days)); }
  constexpr Date& operator-=(long days) { return Move(-Limit(days)); }
  constexpr Date& operator++() { return *this += 1; }
  constexpr Date& operator--() { return *this += -1; }
  friend constexpr Date operator+(Date date, long days) { return date += days; }
  friend constexpr Date operator-(Date date, long days) { return date -= days; }
  // The days from `b` to `a`.
  friend constexpr long operator-(const Date& a, const Date& b) {
    return long{a.DayNumber()} - b.DayNumber();
  }

  friend constexpr bool operator==(const Date&, const Date&) = default;
  friend constexpr auto operator<=>(const Date&, const Date&) = default;

 private:
  static constexpr std::int32_t kLastDay = 3652059;   // 31.12.9999
  static constexpr std::int32_t kDayZero = 306;       // 0 counted from 1.3.0000
  static constexpr std::int32_t kCycleDays = 146097;  // in 400 years
  static constexpr std::int32_t kCycleYears = 400;

  static constexpr std::uint32_t Number(unsigned day, unsigned month, unsigned year) {
    return year % 10000 * 10000 + month % 100 * 100 + day % 100;
  }

  static constexpr std::int64_t Limit(long days) {
    constexpr std::int64_t limit = 0x7FFFFFFF;
    return days < -limit ? -limit : days > limit ? limit : days;
  }
  constexpr Date& Move(std::int64_t days) {
    value_ = FromDayNumber(DayNumber() + days);
    return *this;
  }

  // Years are counted from March here, so that the leap day is a year's last one.
  constexpr std::int32_t DayNumber() const {
    if (value_ == 0) return 0;
    // Month 0 is the December before; 13 and up run on into the next years.
    const auto months = static_cast<std::int32_t>(value_ / 10000 * 12 + value_ / 100 % 100);
    return DayOfMonthStart(months - 3) + static_cast<std::int32_t>(value_ % 100);
  }
  // The number of the day before the first of a month, counted in months from March of year 0.
  static constexpr std::int32_t DayOfMonthStart(std::int32_t months) {
    const std::int32_t year = (months + 12 * kCycleYears) / 12 - kCycleYears;
    const std::int32_t month = months - year * 12;
    const std::int32_t shifted = year + kCycleYears;
    const std::int32_t leap_days = shifted / 4 - shifted / 100 + shifted / 400;
    return shifted * 365 + leap_days - kCycleDays + (month * 153 + 2) / 5 - kDayZero;
  }
  static constexpr std::uint32_t FromDayNumber(std::int64_t number) {
    if (number == 0) return 0;
    if (number > kLastDay) return Number(31, 12, 9999);
    const std::int64_t from_march = number + kDayZero - 1 + kCycleDays;
    if (from_march < kCycleDays - 60) return 0;
    const auto shifted = static_cast<std::uint32_t>(from_march);
    const std::uint32_t cycle = shifted / kCycleDays;
    const std::uint32_t day = shifted % kCycleDays;
    const std::uint32_t year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
    const std::uint32_t day_of_year = day - (365 * year + year / 4 - year / 100);
    const std::uint32_t march_month = (5 * day_of_year + 2) / 153;
    const std::uint32_t month = march_month < 10 ? march_month + 3 : march_month - 9;
    const std::uint32_t years = cycle * kCycleYears + year + (month <= 2 ? 1 : 0) - kCycleYears;
    return Number(day_of_year - (153 * march_month + 2) / 5 + 1, month, years);
  }

  std::uint32_t value_;
};

// A time of day, held as the number hour * 1000000 + minute * 10000 + second * 100 + hundredths,
// which may be negative. Nothing checks that it names a time of the day. Parts that are set are
// taken modulo 100 and keep the number's sign; the parts that are read have none.
//
// Empty state: none of its own (the default is now). Threads: as an int.
class TMX_EXPORT Time {
 public:
  // Now, from the clock.
  Time() : value_(tmx::Now().time) {}
  // The number; its low 32 bits are used.
  explicit constexpr Time(long value) : value_(static_cast<std::int32_t>(value)) {}
  constexpr Time(unsigned short hour, unsigned short minute, unsigned short second = 0,
                 unsigned short hundredths = 0)
      : value_(Number(hour, minute, second, hundredths)) {}

  constexpr long GetTime() const { return value_; }
  constexpr void SetTime(long value) { value_ = static_cast<std::int32_t>(value); }
  constexpr unsigned short GetHour() const { return Part(1000000, 10000); }
  constexpr unsigned short GetMin() const { return Part(10000, 100); }
  constexpr unsigned short GetSec() const { return Part(100, 100); }
  constexpr unsigned short Get100Sec() const { return Part(1, 100); }
  constexpr void SetHour(unsigned short hour) { SetParts(hour, GetMin(), GetSec(), Get100Sec()); }
  constexpr void SetMin(unsigned short minute) {
    SetParts(GetHour(), minute, GetSec(), Get100Sec());
  }
  constexpr void SetSec(unsigned short second) {
    SetParts(GetHour(), GetMin(), second, Get100Sec());
  }
  constexpr void Set100Sec(unsigned short hundredths) {
    SetParts(GetHour(), GetMin(), GetSec(), hundredths);
  }

  friend constexpr bool operator==(const Time&, const Time&) = default;
  friend constexpr auto operator<=>(const Time&, const Time&) = default;

 private:
  static constexpr std::int32_t Number(std::int32_t hour, std::int32_t minute, std::int32_t second,
                                       std::int32_t hundredths) {
    return hour % 100 * 1000000 + minute % 100 * 10000 + second % 100 * 100 + hundredths % 100;
  }
  constexpr unsigned short Part(std::uint32_t unit, std::uint32_t range) const {
    const auto bits = static_cast<std::uint32_t>(value_);
    return static_cast<unsigned short>((value_ < 0 ? 0 - bits : bits) / unit % range);
  }
  constexpr void SetParts(std::int32_t hour, std::int32_t minute, std::int32_t second,
                          std::int32_t hundredths) {
    const std::int32_t number = Number(hour, minute, second, hundredths);
    value_ = value_ < 0 ? -number : number;
  }

  std::int32_t value_;
};

// A date and a time of day, ordered by the date first. The default is now, from the clock.
//
// Empty state: none of its own. Threads: as an int.
class TMX_EXPORT DateTime {
 public:
  DateTime() : DateTime(tmx::Now()) {}
  explicit constexpr DateTime(const Date& date) : date_(date), time_(0L) {}
  explicit constexpr DateTime(const Time& time) : date_(0UL), time_(time) {}
  constexpr DateTime(const Date& date, const Time& time) : date_(date), time_(time) {}

  constexpr const Date& GetDate() const { return date_; }
  constexpr const Time& GetTime() const { return time_; }
  constexpr void SetDate(const Date& date) { date_ = date; }
  constexpr void SetTime(const Time& time) { time_ = time; }

  friend constexpr bool operator==(const DateTime&, const DateTime&) = default;
  friend constexpr auto operator<=>(const DateTime&, const DateTime&) = default;

 private:
  explicit constexpr DateTime(tmx::WallTime now) : date_(now.date), time_(now.time) {}

  Date date_;
  Time time_;
};
