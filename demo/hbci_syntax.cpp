#include "demo/hbci_syntax.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace tmx::demo {
namespace {

constexpr std::string_view kSyntaxCharacters = "+:'?@";
constexpr std::size_t kLongestLength = 9;  // digits between the two '@'

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

class Parser {
 public:
  explicit Parser(std::string_view bytes) : bytes_(bytes) {}

  SegmentList Run() {
    SegmentList list;
    while (!error_ && at_ < bytes_.size()) {
      Segment segment;
      const std::size_t start = at_;
      if (ReadGroups(segment.groups) && TakeHead(segment, start))
        list.segments.push_back(std::move(segment));
    }
    list.error = error_;
    return list;
  }

 private:
  bool Fail(std::size_t position, std::string_view what) {
    error_ = SyntaxError{position, what};
    return false;
  }

  // Reads up to and with the segment's end.
  bool ReadGroups(std::vector<ElementGroup>& groups) {
    groups.emplace_back();
    for (;;) {
      DataElement element;
      if (!ReadElement(element)) return false;
      groups.back().push_back(std::move(element));
      const char end = bytes_[at_++];
      if (end == '\'') return true;
      if (end == '+') groups.emplace_back();
    }
  }

  // Reads one element and stops in front of the '+', ':' or '\'' behind it.
  bool ReadElement(DataElement& element) {
    if (at_ < bytes_.size() && bytes_[at_] == '@') return ReadBinary(element);
    for (; at_ < bytes_.size(); ++at_) {
      char c = bytes_[at_];
      if (c == '+' || c == ':' || c == '\'') return true;
      if (c == '@') return Fail(at_, "a '@' inside an element must be escaped");
      if (c == '?') {
        if (++at_ == bytes_.size()) break;
        c = bytes_[at_];
        if (kSyntaxCharacters.find(c) == std::string_view::npos)
          return Fail(at_, "a character is escaped that needs no escape");
      }
      element.bytes += c;
    }
    return Fail(bytes_.size(), "the last segment has no end");
  }

  bool ReadBinary(DataElement& element) {
    const std::size_t start = at_++;
    std::size_t length = 0;
    const std::size_t digits = at_;
    for (; at_ < bytes_.size() && IsDigit(bytes_[at_]) && at_ - digits < kLongestLength; ++at_)
      length = length * 10 + static_cast<std::size_t>(bytes_[at_] - '0');
    if (at_ == digits || at_ == bytes_.size() || bytes_[at_] != '@')
      return Fail(start, "a binary element without a length");
    ++at_;
    if (length >= bytes_.size() - at_) return Fail(start, "a binary element longer than the rest");
    element.bytes = bytes_.substr(at_, length);
    element.is_binary = true;
    at_ += length;
    if (bytes_[at_] == '+' || bytes_[at_] == ':' || bytes_[at_] == '\'') return true;
    return Fail(at_, "a binary element must end where its length says");
  }

  // Moves the first group into the head.
  bool TakeHead(Segment& segment, std::size_t start) {
    const ElementGroup head = std::move(segment.groups.front());
    segment.groups.erase(segment.groups.begin());
    const bool has_reference = head.size() == 4;
    if (head.size() != 3 && !has_reference)
      return Fail(start, "a segment head has 3 or 4 elements");
    if (std::any_of(head.begin(), head.end(), [](const auto& part) { return part.is_binary; }))
      return Fail(start, "a segment head has no binary elements");
    if (head[0].bytes.empty()) return Fail(start, "a segment without a code");
    const auto number = ParseNumber(head[1].bytes);
    const auto version = ParseNumber(head[2].bytes);
    if (!number || !version) return Fail(start, "a segment head with a wrong number");
    if (has_reference && !head[3].bytes.empty()) {
      segment.reference = ParseNumber(head[3].bytes);
      if (!segment.reference) return Fail(start, "a segment head with a wrong reference");
    }
    segment.code = head[0].bytes;
    segment.number = *number;
    segment.version = *version;
    return true;
  }

  std::string_view bytes_;
  std::size_t at_ = 0;
  std::optional<SyntaxError> error_;
};

void Append(std::string& out, const DataElement& element) {
  if (element.is_binary) {
    out += '@' + std::to_string(element.bytes.size()) + '@' + element.bytes;
    return;
  }
  for (const char c : element.bytes) {
    if (kSyntaxCharacters.find(c) != std::string_view::npos) out += '?';
    out += c;
  }
}

bool IsEmpty(const DataElement& element) { return !element.is_binary && element.bytes.empty(); }
bool IsEmptyGroup(const ElementGroup& group) {
  return std::all_of(group.begin(), group.end(), IsEmpty);
}

// The end of the range without what is empty at its end.
template <class Range, class Predicate>
auto WithoutEmptyEnd(const Range& range, Predicate is_empty) {
  return std::find_if_not(range.rbegin(), range.rend(), is_empty).base();
}

}  // namespace

const DataElement* Segment::Find(std::size_t group, std::size_t part) const {
  if (group >= groups.size() || part >= groups[group].size()) return nullptr;
  return &groups[group][part];
}

const std::string& Segment::At(std::size_t group, std::size_t part) const {
  static const std::string none;
  const DataElement* const element = Find(group, part);
  return element != nullptr ? element->bytes : none;
}

Segment& Segment::Add(std::string text) {
  groups.push_back({DataElement{std::move(text), false}});
  return *this;
}

Segment& Segment::Add(std::initializer_list<std::string_view> texts) {
  ElementGroup& group = groups.emplace_back();
  for (const std::string_view text : texts) group.push_back({std::string(text), false});
  return *this;
}

Segment& Segment::Add(const std::vector<std::string>& texts) {
  ElementGroup& group = groups.emplace_back();
  for (const std::string& text : texts) group.push_back({text, false});
  return *this;
}

Segment& Segment::AddBinary(std::string bytes) {
  groups.push_back({DataElement{std::move(bytes), true}});
  return *this;
}

SegmentList ParseSegments(std::string_view bytes) { return Parser(bytes).Run(); }

std::string ToBytes(const Segment& segment) {
  std::string out;
  Append(out, {segment.code, false});
  out += ':' + std::to_string(segment.number) + ':' + std::to_string(segment.version);
  if (segment.reference) out += ':' + std::to_string(*segment.reference);
  const auto groups_end = WithoutEmptyEnd(segment.groups, IsEmptyGroup);
  for (auto group = segment.groups.begin(); group != groups_end; ++group) {
    out += '+';
    const auto end = WithoutEmptyEnd(*group, IsEmpty);
    for (auto element = group->begin(); element != end; ++element) {
      if (element != group->begin()) out += ':';
      Append(out, *element);
    }
  }
  return out += '\'';
}

std::optional<int> ParseNumber(std::string_view digits) {
  if (digits.empty() || digits.size() > 9 || (digits.size() > 1 && digits[0] == '0'))
    return std::nullopt;
  if (!std::all_of(digits.begin(), digits.end(), IsDigit)) return std::nullopt;
  int value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

}  // namespace tmx::demo
