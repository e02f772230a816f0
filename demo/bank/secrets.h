// The secrets of the sandbox bank's users.
#pragma once

#include <algorithm>
#include <string_view>

namespace tmx::demo {

/// Tests look for these in all that is written, so none of them may stand there by accident. A PIN
/// has letters and a '-', as no number, no time and no Base64 has. A TAN has digits above 5 only,
/// while every month, day, hour, minute and second begins with a smaller one.
inline constexpr std::string_view kPin = "Kiesel-7";        // of the first user
inline constexpr std::string_view kOtherPin = "Muschel-9";  // of the second
inline constexpr std::string_view kTan = "798768";          // right for every challenge

static_assert(std::ranges::all_of(kTan, [](char c) { return c > '5' && c <= '9'; }));

}  // namespace tmx::demo
