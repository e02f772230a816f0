// Dates and times that can be absent.
#pragma once

#include <concepts>

#include "tmxtools/platform/date.h"
#include "tmxtools/platform/export.h"

// A date or no date: the raw value 0 is the null date. Everything else is Date's, so the null date
// is earlier than every real one.
//
// Empty state: null. Threads: as an int.
class TMX_EXPORT HbDate : public Date {
 public:
  constexpr HbDate() : Date(0UL) {}
  // NOLINTBEGIN(google-explicit-constructor): foundation values are dates
  constexpr HbDate(unsigned long value) : Date(value) {}
  constexpr HbDate(const Date& date) : Date(date) {}
  // NOLINTEND
  constexpr HbDate(unsigned short day, unsigned short month, unsigned short year)
      : Date(day, month, year) {}

  constexpr bool IsNull() const { return GetDate() == 0; }
};

// A time of day or none, told apart by a flag: midnight is a time. A null time still holds a value,
// which the setters of single parts keep.
//
// Empty state: the value 0, null. Threads: as an int.
class TMX_EXPORT HbTime : public Time {
 public:
  using Foundation = Time;

  constexpr HbTime() : Time(0L), null_(true) {}
  // NOLINTBEGIN(google-explicit-constructor): foundation values are times
  constexpr HbTime(long value) : Time(value) {}
  constexpr HbTime(const Time& time) : Time(time) {}
  // NOLINTEND
  constexpr HbTime(unsigned short hour, unsigned short minute, unsigned short second = 0,
                   unsigned short hundredths = 0)
      : Time(hour, minute, second, hundredths) {}

  constexpr bool IsNull() const { return null_; }

  // Each of these makes the time not null.
  constexpr void SetTime(unsigned long value) {
    null_ = false;
    Time::SetTime(static_cast<long>(value));
  }
  constexpr void SetHour(unsigned short hour) {
    null_ = false;
    Time::SetHour(hour);
  }
  constexpr void SetMin(unsigned short minute) {
    null_ = false;
    Time::SetMin(minute);
  }
  constexpr void SetSec(unsigned short second) {
    null_ = false;
    Time::SetSec(second);
  }
  constexpr void Set100Sec(unsigned short hundredths) {
    null_ = false;
    Time::Set100Sec(hundredths);
  }

 private:
  bool null_ = false;
};

// A date with a time of day, or none, told apart by a flag.
//
// Empty state: now, by the clock, but null. Threads: as an int.
class TMX_EXPORT HbDateTime : public DateTime {
 public:
  using Foundation = DateTime;

  HbDateTime() : null_(true) {}
  // NOLINTBEGIN(google-explicit-constructor): foundation values are moments
  constexpr HbDateTime(const DateTime& moment) : DateTime(moment) {}
  constexpr HbDateTime(const Date& date) : DateTime(date) {}
  constexpr HbDateTime(const Time& time) : DateTime(time) {}
  // NOLINTEND
  constexpr HbDateTime(const Date& date, const Time& time) : DateTime(date, time) {}

  constexpr bool IsNull() const { return null_; }

  // Set the raw value of a half and make the moment not null.
  constexpr void SetDate(long value) {
    null_ = false;
    DateTime::SetDate(Date(static_cast<unsigned long>(value)));
  }
  constexpr void SetTime(long value) {
    null_ = false;
    DateTime::SetTime(Time(value));
  }

 private:
  bool null_ = false;
};

// Comparisons. Equality asks for equal values and equal null flags. The order puts null below every
// value; two nulls are neither below nor above each other, whatever values they hold. Which side is
// asked first differs between the operators on purpose: it decides what two nulls give.
template <class T>
concept HbMoment = std::same_as<T, HbTime> || std::same_as<T, HbDateTime>;

template <HbMoment T>
constexpr bool operator==(const T& a, const T& b) {
  const typename T::Foundation &value = a, &other = b;
  return value == other && a.IsNull() == b.IsNull();
}
template <HbMoment T>
constexpr bool operator>(const T& a, const T& b) {
  const typename T::Foundation &value = a, &other = b;
  return a.IsNull() ? false : b.IsNull() ? true : value > other;
}
template <HbMoment T>
constexpr bool operator>=(const T& a, const T& b) {
  const typename T::Foundation &value = a, &other = b;
  return b.IsNull() ? true : a.IsNull() ? false : value >= other;
}
template <HbMoment T>
constexpr bool operator<(const T& a, const T& b) {
  const typename T::Foundation &value = a, &other = b;
  return b.IsNull() ? false : a.IsNull() ? true : value < other;
}
template <HbMoment T>
constexpr bool operator<=(const T& a, const T& b) {
  const typename T::Foundation &value = a, &other = b;
  return a.IsNull() ? true : b.IsNull() ? false : value <= other;
}
