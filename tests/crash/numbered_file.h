// A file whose whole content follows from one number.
#pragma once

#include <cstdint>
#include <string>

#include "tmxtools/platform/stream.h"

namespace tmx::crash {

// Between 4 and some 20000 bytes; the first four are the number.
inline std::string ContentOf(std::uint32_t number) {
  const std::size_t size = 4 + (number * 7919u) % 20000;
  std::string content;
  content.reserve(size);
  for (std::size_t i = 0; i < size; ++i) {
    content += i < 4 ? static_cast<char>(number >> (8 * i)) : static_cast<char>(number * 31 + i);
  }
  return content;
}

inline std::string ReadWhole(SvStream& stream) {
  std::string content(stream.Size(), '\0');
  stream.Seek(0);
  content.resize(stream.Read(content.data(), content.size()));
  return content;
}

// 0 for an empty stream, which is that of number 0.
inline std::uint32_t NumberOf(SvStream& stream) {
  std::uint32_t number = 0;
  stream.Seek(0);
  stream >> number;
  return number;
}

}  // namespace tmx::crash
