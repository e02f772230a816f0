// Messages whose text a test has changed on the way.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace tmx::demo {

// The message with another text in the place of one that stands once in its container. The lengths
// of message and container are those of the new one.
inline std::string Edited(std::string message, const std::string& before,
                          const std::string& after) {
  const std::size_t at = message.find(before);
  if (at == std::string::npos) {
    ADD_FAILURE() << "the message holds no " << before;
    return message;
  }
  message.replace(at, before.size(), after);
  const std::string container = "HNVSD:999:1+@";
  const std::size_t digits = message.find(container) + container.size();
  const std::size_t end = message.find('@', digits);
  const std::size_t length = std::stoul(message.substr(digits, end - digits));
  message.replace(digits, end - digits, std::to_string(length + after.size() - before.size()));
  std::string size = std::to_string(message.size());
  size.insert(0, 12 - size.size(), '0');
  return message.replace(message.find('+') + 1, size.size(), size);
}

}  // namespace tmx::demo
