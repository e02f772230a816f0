// The fixed text of a bad subscript, and how a test gets at the text that a call throws.
#pragma once

#include <stdexcept>
#include <string>

inline constexpr char kBadSubscript[] = "invalid vector<T> subscript";

// The text of the std::out_of_range that a call throws.
template <class Call>
std::string ThrownText(Call call) {
  try {
    call();
  } catch (const std::out_of_range& error) {
    return error.what();
  }
  return "nothing thrown";
}
