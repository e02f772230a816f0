// Capital letters of ISO 8859-1.
#pragma once

#include <array>

namespace tmx {

inline constexpr auto kUpperCase = [] {
  std::array<char, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool small =
        (byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte <= 0xFE && byte != 0xF7);
    table[byte] = static_cast<char>(small ? byte - 0x20 : byte);
  }
  return table;
}();

inline char UpperCase(char byte) { return kUpperCase[static_cast<unsigned char>(byte)]; }

}  // namespace tmx
