#include "demo/base64.h"

#include <cstddef>
#include <cstdint>

#include "demo/secret_string.h"

namespace tmx::demo {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

template <class Text>
Text ToBase64(std::string_view bytes) {
  Text text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view part = bytes.substr(at, 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i)
      bits = bits << 8 | (i < part.size() ? static_cast<unsigned char>(part[i]) : 0U);
    for (std::size_t i = 0; i < 4; ++i)
      text += i <= part.size() ? kDigits[bits >> (18 - 6 * i) & 63U] : '=';
  }
  return text;
}

template std::string ToBase64(std::string_view bytes);
template SecretString ToBase64(std::string_view bytes);

std::optional<std::string> FromBase64(std::string_view text) {
  std::string bytes;
  std::uint32_t bits = 0;
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (c == '\r' || c == '\n') continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const auto digit = kDigits.find(c);
    if (digit == std::string_view::npos || padding != 0) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    if (++digits % 4 == 0) {
      for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xFFU);
    }
  }
  if (padding > 2 || (digits + padding) % 4 != 0) return std::nullopt;
  // Two digits left are one byte, three are two; bits beyond them must be zero.
  const std::size_t left = digits % 4;
  if (left == 2 && (bits & 0xFU) == 0) return bytes += static_cast<char>(bits >> 4 & 0xFFU);
  if (left == 3 && (bits & 3U) == 0) {
    bytes += static_cast<char>(bits >> 10 & 0xFFU);
    return bytes += static_cast<char>(bits >> 2 & 0xFFU);
  }
  return left == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace tmx::demo
