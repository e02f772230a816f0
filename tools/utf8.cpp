#include "tools/utf8.h"

#include "tools/output.h"

namespace tmx::tools {
namespace {

// The length of the UTF-8 sequence that bytes begin with, 0 when they begin with none.
std::size_t SequenceLength(std::string_view bytes) {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned first = at(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || bytes.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((at(i) & 0xC0) != 0x80) return 0;
  const bool is_out_of_range = (first == 0xE0 && at(1) < 0xA0) || (first == 0xED && at(1) > 0x9F) ||
                               (first == 0xF0 && at(1) < 0x90) || (first == 0xF4 && at(1) > 0x8F);
  return is_out_of_range ? 0 : length;
}

bool IsUtf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = SequenceLength(bytes.substr(at));
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace

std::string AsUtf8(std::string_view bytes) {
  return IsUtf8(bytes) ? std::string(bytes) : Utf8(bytes);
}

std::string AsLatin1(std::string_view bytes) {
  if (!IsUtf8(bytes)) return std::string(bytes);
  std::string text;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = SequenceLength(bytes.substr(at));
    const auto first = static_cast<unsigned char>(bytes[at]);
    if (length == 1) {
      text += bytes[at];
    } else if (first <= 0xC3) {
      text += static_cast<char>((first & 3) << 6 | (bytes[at + 1] & 0x3F));
    } else {
      text += '?';
    }
    at += length;
  }
  return text;
}

}  // namespace tmx::tools
