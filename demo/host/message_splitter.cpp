#include "demo/host/message_splitter.h"

#include <algorithm>
#include <charconv>

namespace tmx::demo {
namespace {

// A text of the engine holds 65535 bytes; what macros append to it must find room, too.
constexpr std::size_t kLongestText = 65000;
constexpr std::size_t kLongestPart = 4096;

bool IsDelimiter(char c) { return c == '+' || c == ':' || c == '\''; }

// Bytes that the macros use as marks of their own.
bool IsMark(char c) { return (c >= '\x01' && c <= '\x06') || c == kLifted || c == '\0'; }

template <class Number>
bool ReadNumber(std::string_view digits, Number& number) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size();
}

class Splitter {
 public:
  Splitter(std::string_view message, SplitMessage& result) : whole_(message), result_(result) {}

  void Run() { SplitRange(whole_); }

 private:
  void Report(const char* at, std::string what) {
    result_.problems.push_back({static_cast<std::size_t>(at - whole_.data()), std::move(what)});
  }

  void SplitRange(std::string_view rest) {
    rest_ = rest;
    while (!rest_.empty()) SplitSegment();
  }

  void SplitSegment() {
    const char* const start = rest_.data();
    MessageSegment segment;
    std::string_view content;
    bool good = TakeHead(segment);
    bool ended = last_ == '\'';
    while (!ended && !rest_.empty()) {
      const MessagePart part = TakePart();
      if (content.empty() && part.is_binary) content = part.bytes;
      Append(segment, part);
      ended = last_ == '\'';
      if (!ended && last_ != '\0') segment.elements += last_;
    }
    if (segment.elements.size() > kLongestText) LiftWhole(segment, start);
    if (!ended) Report(start, "the segment does not end");
    if (!good) return Report(start, "not the head of a segment");
    if (segment.code == "HNVSD") {
      segment.elements.clear();
      segment.lifted.clear();
    }
    const bool container = segment.code == "HNVSD";
    result_.segments.push_back(std::move(segment));
    // A container does not hold another one: what stands in it ends with it.
    if (container && !inside_) {
      const std::string_view behind = rest_;
      inside_ = true;
      SplitRange(content);
      inside_ = false;
      rest_ = behind;
    }
  }

  // A segment with more parts than a text can name becomes one part.
  void LiftWhole(MessageSegment& segment, const char* start) {
    segment.elements = kLifted + std::string("0");
    segment.lifted = {{{start, static_cast<std::size_t>(rest_.data() - start)}, true}};
    Report(start, "the segment has too many parts and is kept as bytes");
  }

  bool TakeHead(MessageSegment& segment) {
    std::string_view parts[4];
    std::size_t count = 0;
    do {
      const MessagePart part = TakePart();
      if (count < 4) parts[count] = part.bytes;
      ++count;
    } while (last_ == ':');
    segment.code = parts[0];
    const bool is_code = !segment.code.empty() && segment.code.size() <= 20 &&
                         std::all_of(segment.code.begin(), segment.code.end(), [](char c) {
                           return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
                         });
    return is_code && (count == 3 || count == 4) && ReadNumber(parts[1], segment.number) &&
           ReadNumber(parts[2], segment.version) && segment.number <= INT32_MAX &&
           segment.version <= INT16_MAX &&
           (count == 3 || parts[3].empty() ||
            (ReadNumber(parts[3], segment.reference) && segment.reference <= INT32_MAX));
  }

  // Takes a part and the delimiter behind it, which becomes `last_`; 0 at the end.
  MessagePart TakePart() {
    MessagePart part;
    if (!TakeBinary(part)) {
      part.is_binary = false;
      part.bytes = rest_.substr(0, TextLength(0));
    }
    rest_.remove_prefix(
        static_cast<std::size_t>(part.bytes.data() + part.bytes.size() - rest_.data()));
    last_ = rest_.empty() ? '\0' : rest_.front();
    if (!rest_.empty()) rest_.remove_prefix(1);
    return part;
  }

  std::size_t TextLength(std::size_t from) const {
    while (from < rest_.size() && !IsDelimiter(rest_[from])) from += rest_[from] == '?' ? 2 : 1;
    return std::min(from, rest_.size());
  }

  bool TakeBinary(MessagePart& part) {
    if (!rest_.starts_with('@')) return false;
    const std::size_t second = rest_.find('@', 1);
    std::size_t length = 0;
    if (second == std::string_view::npos || second > 11 ||
        !ReadNumber(rest_.substr(1, second - 1), length))
      return false;
    const std::string_view behind = rest_.substr(second + 1);
    part.is_binary = true;
    if (length > behind.size()) {
      Report(rest_.data(), "binary data is cut off");
      length = behind.size();
    } else if (length < behind.size() && !IsDelimiter(behind[length])) {
      Report(rest_.data(), "the announced length of binary data is wrong");
      if (length > 0 && IsDelimiter(behind[length - 1]))
        --length;
      else
        length = TextLength(second + 1 + length) - (second + 1);
    }
    part.bytes = behind.substr(0, length);
    return true;
  }

  void Append(MessageSegment& segment, const MessagePart& part) {
    const bool lift = part.is_binary || part.bytes.size() > kLongestPart ||
                      segment.elements.size() + part.bytes.size() > kLongestText ||
                      std::any_of(part.bytes.begin(), part.bytes.end(), IsMark);
    if (!lift) {
      segment.elements += part.bytes;
      return;
    }
    segment.elements += kLifted;
    segment.elements += std::to_string(segment.lifted.size());
    segment.lifted.push_back(part);
  }

  const std::string_view whole_;
  SplitMessage& result_;
  std::string_view rest_;
  char last_ = '\0';
  bool inside_ = false;
};

}  // namespace

SplitMessage Split(std::string_view message) {
  SplitMessage result;
  Splitter(message, result).Run();
  return result;
}

}  // namespace tmx::demo
