#include "tmxtools/platform/converter.h"

#include <array>

namespace vos {
namespace {

constexpr auto kUpper = [] {
  std::array<char, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool small =
        (byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte <= 0xFE && byte != 0xF7);
    table[byte] = static_cast<char>(small ? byte - 0x20 : byte);
  }
  return table;
}();

}  // namespace

String Converter::toUpper(const String& text, const char* /*locale_name*/) {
  String result;
  result.Reserve(text.Len());
  for (const char byte : text.View()) result += kUpper[static_cast<unsigned char>(byte)];
  return result;
}

}  // namespace vos
