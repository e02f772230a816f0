// Days as messages and options name them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tmx::demo {

using Day = std::chrono::sys_days;

/// YYYYMMDD, and back: nothing for what is no day of the calendar.
std::string DayText(Day day);
std::optional<Day> ParseDay(std::string_view text);

}  // namespace tmx::demo
