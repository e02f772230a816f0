#include "tests/macros/tokenizer.h"

#include <charconv>
#include <regex>
#include <stdexcept>

namespace tmx::test {
namespace {

// The offset behind the binary data that begins at `at`; `inside` is what it holds.
std::size_t SkipBinary(std::string_view text, std::size_t at, std::string_view& inside) {
  std::size_t length = 0;
  const auto [digits_end, error] =
      std::from_chars(text.data() + at + 1, text.data() + text.size(), length);
  const std::size_t begin = static_cast<std::size_t>(digits_end - text.data()) + 1;
  if (error != std::errc() || begin > text.size() || *digits_end != '@' ||
      length > text.size() - begin)
    throw std::runtime_error("bad binary data at " + std::to_string(at));
  inside = text.substr(begin, length);
  return begin + length;
}

void NameHead(Segment& segment) {
  static const std::regex kHead(R"(([A-Z]+):(\d+):(\d+)(?::\d*)?)");
  std::smatch parts;
  const std::string head(segment.bytes.substr(0, segment.bytes.find_first_of("+'")));
  if (!std::regex_match(head, parts, kHead)) throw std::runtime_error("no head: " + head);
  segment.code = parts[1];
  segment.number = parts[2];
  segment.version = parts[3];
}

}  // namespace

std::vector<Segment> Tokenize(std::string_view message) {
  std::vector<Segment> segments;
  for (std::size_t at = 0; at < message.size();) {
    Segment segment;
    const std::size_t begin = at;
    for (char before = '\''; at < message.size() && message[at] != '\''; before = message[at - 1]) {
      if (message[at] == '@' && (before == '+' || before == ':')) {
        at = SkipBinary(message, at, segment.inside);
        if (at < message.size() &&
            std::string_view("+:'").find(message[at]) == std::string_view::npos)
          throw std::runtime_error("binary data runs on at " + std::to_string(at));
        continue;
      }
      segment.elements += message[at] == '+';
      at += message[at] == '?' ? 2 : 1;
    }
    if (at >= message.size()) throw std::runtime_error("the last segment is not ended");
    segment.bytes = message.substr(begin, ++at - begin);
    NameHead(segment);
    segments.push_back(segment);
    if (segment.code != "HNVSD") continue;
    for (const Segment& inner : Tokenize(segment.inside)) segments.push_back(inner);
  }
  return segments;
}

}  // namespace tmx::test
