// How failed assertions show the platform's values. Every test file that compares them includes it.
#pragma once

#include <gtest/gtest.h>

#include <ostream>

#include "tmxtools/platform/big_int.h"
#include "tmxtools/platform/date.h"
#include "tmxtools/platform/string.h"

inline void PrintTo(const String& text, std::ostream* out) {
  *out << testing::PrintToString(text.View());
}
inline void PrintTo(const BigInt& number, std::ostream* out) {
  *out << (number.IsSet() ? number.ToString().View() : "unset");
}
inline void PrintTo(const Date& date, std::ostream* out) { *out << date.GetDate(); }
inline void PrintTo(const Time& time, std::ostream* out) { *out << time.GetTime(); }
