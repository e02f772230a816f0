#include "tools/hbci_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tmx::tools {
namespace {

class Parser {
 public:
  Parser(std::string_view text, bool is_inside) : text_(text), is_inside_(is_inside) {}

  std::vector<Segment> Run() {
    std::vector<Segment> segments;
    while (at_ < text_.size()) {
      Segment segment = ReadSegment();
      std::vector<Segment> inside;
      if (!is_inside_ && segment.IsContainer()) {
        for (const DataElement& element : segment.elements)
          for (const GroupElement& group : element)
            if (group.is_binary) inside = Parser(group.raw, true).Run();
      }
      segments.push_back(std::move(segment));
      segments.insert(segments.end(), inside.begin(), inside.end());
    }
    return segments;
  }

 private:
  Segment ReadSegment() {
    Segment segment;
    segment.is_inside = is_inside_;
    segment.elements.emplace_back();
    for (;;) {
      segment.elements.back().push_back(ReadGroupElement());
      const char separator = at_ < text_.size() ? text_[at_++] : '\'';
      if (separator == '\'') return segment;
      if (separator == '+') segment.elements.emplace_back();
    }
  }

  // Stops at the separator.
  GroupElement ReadGroupElement() {
    GroupElement binary;
    if (ReadBinary(binary)) return binary;
    const std::size_t begin = at_;
    while (at_ < text_.size() && std::string_view("'+:").find(text_[at_]) == std::string_view::npos)
      at_ = std::min(at_ + (text_[at_] == '?' ? 2 : 1), text_.size());
    return {text_.substr(begin, at_ - begin), false};
  }

  bool ReadBinary(GroupElement& group) {
    if (at_ >= text_.size() || text_[at_] != '@') return false;
    const char* const digits = text_.data() + at_ + 1;
    const char* const end = text_.data() + text_.size();
    std::uint32_t length = 0;
    const auto [rest, error] = std::from_chars(digits, end, length);
    if (error != std::errc{} || rest == end || *rest != '@') return false;
    const auto data = static_cast<std::size_t>(rest + 1 - text_.data());
    if (length > text_.size() - data) return false;
    group = {text_.substr(data, length), true};
    at_ = data + length;
    return true;
  }

  std::string_view text_;
  bool is_inside_;
  std::size_t at_ = 0;
};

std::string Join(const DataElement& element) {
  std::string text;
  for (std::size_t i = 0; i < element.size(); ++i) {
    if (i != 0) text += ':';
    text += element[i].is_binary ? "<" + std::to_string(element[i].raw.size()) + " bytes>"
                                 : Printable(element[i].Text());
  }
  return text;
}

}  // namespace

std::string GroupElement::Text() const {
  if (is_binary) return std::string(raw);
  std::string text;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] == '?' && i + 1 < raw.size()) ++i;
    text += raw[i];
  }
  return text;
}

std::string Segment::Head() const { return Join(elements.front()); }
std::string Segment::Code() const { return elements.front().front().Text(); }

std::vector<Segment> ParseSegments(std::string_view message) {
  // Line ends behind the last segment, as editors leave them, are no segment.
  while (message.ends_with('\n') || message.ends_with('\r')) message.remove_suffix(1);
  return Parser(message, false).Run();
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

std::string SegmentLine(const Segment& segment) {
  std::string line = segment.is_inside ? "  " + segment.Head() : segment.Head();
  for (std::size_t i = 1; i < segment.elements.size(); ++i) {
    const std::string element = Join(segment.elements[i]);
    if (!element.empty()) line += "  " + std::to_string(i + 1) + "=" + element;
  }
  return line;
}

}  // namespace tmx::tools
