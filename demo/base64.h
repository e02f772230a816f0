// Base64, in which messages travel over HTTP.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tmx::demo {

/// Text is std::string or SecretString.
template <class Text = std::string>
Text ToBase64(std::string_view bytes);

/// Line breaks are passed over; nothing for anything else that is no Base64.
std::optional<std::string> FromBase64(std::string_view text);

}  // namespace tmx::demo
