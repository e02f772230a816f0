#include "tools/hbci_text.h"

#include <algorithm>
#include <limits>

namespace tmx::tools {

SegmentReader::SegmentReader(LogBytes& bytes, Range message) : bytes_(&bytes), rest_(message) {
  // Line ends behind the last segment, as editors leave them, are no segment.
  const auto is_line_end = [](char c) { return c == '\n' || c == '\r'; };
  while (!rest_.IsEmpty() && is_line_end(bytes.At(rest_.end - 1))) --rest_.end;
}

bool SegmentReader::NextSegment() {
  GroupElement group;
  while (NextElement(group)) {
  }
  if (content_) {
    outside_ = rest_;
    rest_ = *content_;
    content_.reset();
  }
  if (rest_.IsEmpty() && outside_) {
    rest_ = *outside_;
    outside_.reset();
  }
  if (rest_.IsEmpty()) return false;
  next_ = {};
  is_at_end_ = false;
  ReadCode();
  return true;
}

bool SegmentReader::NextElement(GroupElement& group) {
  if (is_at_end_) return false;
  group = next_;
  const std::optional<Range> binary = BinaryAt(rest_.begin);
  group.is_binary = binary.has_value();
  group.raw = binary ? *binary : Range{rest_.begin, EndOfText(rest_.begin)};
  if (binary && IsContainer() && !IsInside()) content_ = binary;
  rest_.begin = group.raw.end;
  const char separator = rest_.IsEmpty() ? '\'' : bytes_->At(rest_.begin++);
  is_at_end_ = separator == '\'';
  group.is_last = is_at_end_ || separator == '+';
  next_.element += separator == '+';
  next_.group = group.is_last ? 0 : next_.group + 1;
  return true;
}

std::optional<Range> SegmentReader::BinaryAt(std::uint32_t position) {
  const auto is_there = [&](auto is_it) {
    return position != rest_.end && is_it(bytes_->At(position));
  };
  if (!is_there([](char c) { return c == '@'; })) return std::nullopt;
  const std::uint32_t digits = ++position;
  std::uint64_t length = 0;
  while (is_there([](char c) { return c >= '0' && c <= '9'; })) {
    constexpr std::uint64_t kTooLong = std::numeric_limits<std::uint32_t>::max();
    const auto digit = static_cast<std::uint64_t>(bytes_->At(position++) - '0');
    length = std::min(length * 10 + digit, kTooLong);
  }
  if (position == digits || !is_there([](char c) { return c == '@'; })) return std::nullopt;
  ++position;
  if (length > rest_.end - position) return std::nullopt;
  return Range{position, position + static_cast<std::uint32_t>(length)};
}

std::uint32_t SegmentReader::EndOfText(std::uint32_t position) {
  for (; position < rest_.end; ++position) {
    const char c = bytes_->At(position);
    if (c == '\'' || c == '+' || c == ':') return position;
    if (c == '?') ++position;
  }
  return rest_.end;
}

void SegmentReader::ReadCode() {
  constexpr std::size_t kLongest = 15;
  code_.clear();
  SegmentReader head = *this;
  GroupElement first;
  head.NextElement(first);
  for (std::uint32_t at = first.raw.begin; at != first.raw.end && code_.size() < kLongest; ++at) {
    const bool is_escape = !first.is_binary && bytes_->At(at) == '?' && at + 1 != first.raw.end;
    if (is_escape) ++at;
    code_ += bytes_->At(at);
  }
}

void Unescaper::Add(std::string_view piece) {
  Gatherer gathered(to_);
  for (const char c : piece) {
    --left_;
    const bool is_escape = c == '?' && !is_escaped_ && left_ != 0;
    if (!is_escape) gathered.Add(c);
    is_escaped_ = is_escape;
  }
}

bool IsText(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](char c) {
    return static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\r' || c == '\t';
  });
}

std::string Printable(std::string_view bytes) {
  std::string text(bytes);
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }, '.');
  return text;
}

}  // namespace tmx::tools
