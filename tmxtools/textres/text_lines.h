// The syntax of text resource files, read line by line.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace tmx {

// Lines end with a line feed. Blanks around a line do not count. A line that begins with '#' is a
// comment, "[name]" begins a section, "key: value" is an entry; further colons belong to the value.
struct TextLine {
  enum class Kind { Comment, Section, MissingBracket, Entry, MissingColon };

  Kind kind;
  std::size_t number;      // from 1
  std::string_view name;   // of the section, or the key
  std::string_view value;  // of an entry; of any other line the whole line
};

// What isspace() means in the "C" locale, whatever locale the program has set.
constexpr bool IsTextBlank(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

constexpr std::string_view TrimText(std::string_view text) {
  while (!text.empty() && IsTextBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsTextBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The first place of a byte, or the end; one call of the vectorised search of the C library.
inline std::size_t FindByte(std::string_view text, char byte) {
  const void* const hit =
      text.empty() ? nullptr
                   : std::memchr(text.data(), static_cast<unsigned char>(byte), text.size());
  return hit == nullptr ? text.size()
                        : static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
}

// Takes one trimmed line apart that is not empty.
inline TextLine ParseTextLine(std::string_view line, std::size_t number) {
  using Kind = TextLine::Kind;
  if (line.front() == '#') return {Kind::Comment, number, {}, line};
  if (line.front() == '[') {
    if (line.back() != ']') return {Kind::MissingBracket, number, {}, line};
    return {Kind::Section, number, line.substr(1, line.size() - 2), line};
  }
  const std::size_t colon = FindByte(line, ':');
  if (colon == line.size()) return {Kind::MissingColon, number, {}, line};
  return {Kind::Entry, number, TrimText(line.substr(0, colon)), TrimText(line.substr(colon + 1))};
}

// Calls `visit` with every line that is not empty, in order. The views point into `bytes`.
template <class Visitor>
void ScanTextLines(std::string_view bytes, Visitor&& visit) {
  for (std::size_t number = 1; !bytes.empty(); ++number) {
    const std::size_t end = FindByte(bytes, '\n');
    const std::string_view line = TrimText(bytes.substr(0, end));
    if (!line.empty()) visit(ParseTextLine(line, number));
    bytes.remove_prefix(end == bytes.size() ? end : end + 1);
  }
}

}  // namespace tmx
