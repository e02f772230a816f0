#include "demo/day.h"

#include <algorithm>

namespace tmx::demo {

std::string DayText(Day day) {
  const std::chrono::year_month_day date(day);
  const int number = static_cast<int>(date.year()) * 10000 +
                     static_cast<int>(static_cast<unsigned>(date.month())) * 100 +
                     static_cast<int>(static_cast<unsigned>(date.day()));
  const std::string digits = std::to_string(number);
  return std::string(8 - std::min<std::size_t>(digits.size(), 8), '0') + digits;
}

std::optional<Day> ParseDay(std::string_view text) {
  unsigned number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || number > 99999999) return std::nullopt;
    number = number * 10 + static_cast<unsigned>(c - '0');
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(number / 10000)),
                                         std::chrono::month(number / 100 % 100),
                                         std::chrono::day(number % 100));
  if (text.size() != 8 || !date.ok()) return std::nullopt;
  return Day(date);
}

}  // namespace tmx::demo
