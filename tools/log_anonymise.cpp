#include "tools/log_anonymise.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "tools/hbci_text.h"

namespace tmx::tools {
namespace {

using Kind = LogBlock::Kind;

// Which elements stay. A segment that is not listed keeps its head alone.
struct Rule {
  std::string_view code;
  // 0 ends the list; elements from `all_from` on stay, where that is not 0.
  std::array<unsigned, 12> elements{};
  unsigned all_from = 0;
  // In elements that do not stay, this many group elements at the start do.
  std::size_t groups = 0;
};
constexpr Rule kRules[] = {
    {"HNHBK", {}, 2},
    {"HNHBS", {}, 2},
    {"HNSHK", {2, 3, 4, 5}, 0, 1},
    {"HNSHA", {2}, 0},
    {"HNVSK", {2, 3, 6}, 0, 1},
    {"HNVSD", {}, 2},  // its content is segments of its own
    {"HKIDN", {5}, 0},
    {"HKVVB", {}, 2},
    {"HKSYN", {}, 2},
    {"HISYN", {3, 4, 5}, 0},
    {"HKEND", {}, 2},
    {"HIRMG", {}, 0, 2},
    {"HIRMS", {}, 0, 2},
    {"HIBPA", {2, 3, 5, 6, 7, 8, 9}, 0},
    {"HIKOM", {}, 2},
    {"HISHV", {}, 2},
    {"HIUPA", {3, 4}, 0},
    {"HIUPD", {}, 0},
    {"HKTAN", {2, 3}, 0},
    {"HITAN", {2}, 0},
};

const Rule* RuleOf(std::string_view code) {
  const auto rule = std::ranges::find(kRules, code, &Rule::code);
  return rule == std::end(kRules) ? nullptr : rule;
}

// Parameters of the bank's transactions: HIKAZS, HIPINS and their like.
bool IsParameters(std::string_view code) {
  return code.size() == 6 && code.starts_with("HI") && code.ends_with('S');
}

bool Stays(const Rule* rule, unsigned element, std::size_t group) {
  if (element == 1) return true;
  if (rule == nullptr) return false;
  if (rule->all_from != 0 && element >= rule->all_from) return true;
  return group < rule->groups || std::ranges::find(rule->elements, element) != rule->elements.end();
}

bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }
bool IsUpper(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 0xC0 && c < 0xDF); }
// Bytes above 127 are letters in ISO 8859-1, or parts of them in UTF-8.
bool IsLetter(unsigned char c) { return IsUpper(c) || (c >= 'a' && c <= 'z') || c >= 0x80; }
bool IsWord(unsigned char c) { return IsDigit(c) || IsLetter(c); }

// What a word is made of: "Aaa00".
std::string ShapeOf(std::string_view word) {
  std::string shape;
  for (const char c : word) {
    const auto byte = static_cast<unsigned char>(c);
    shape += IsDigit(byte) ? '0' : IsUpper(byte) ? 'A' : 'a';
  }
  return shape;
}

// The word of a shape with a number: its last characters count, digits by tens and letters by 26.
std::string Counted(std::string shape, std::uint32_t number) {
  for (std::size_t i = shape.size(); i-- != 0;) {
    char& c = shape[i];
    const std::uint32_t base = c == '0' ? 10 : 26;
    const char zero = c == '0' ? '0' : c == 'A' ? 'X' : 'x';
    const std::uint32_t value = number % base;
    number /= base;
    c = static_cast<char>(c == '0' ? zero + static_cast<char>(value)
                                   : zero - 23 + static_cast<char>((value + 23) % 26));
  }
  return shape;
}

}  // namespace

void Anonymiser::Word(char* data, std::size_t size) {
  const std::string_view word(data, size);
  auto known = replaced_.find(word);
  if (known == replaced_.end()) {
    const std::string shape = ShapeOf(word);
    known = replaced_.emplace(word, Counted(shape, ++counts_[shape])).first;
  }
  std::memcpy(data, known->second.data(), size);
}

void Anonymiser::Words(char* data, std::size_t size) {
  char* const end = data + size;
  const auto is_word = [](char c) { return IsWord(static_cast<unsigned char>(c)); };
  while ((data = std::find_if(data, end, is_word)) != end) {
    char* const behind = std::find_if_not(data, end, is_word);
    Word(data, static_cast<std::size_t>(behind - data));
    data = behind;
  }
}

void Anonymiser::KnownWords(char* data, std::size_t size) {
  constexpr std::size_t kShortest = 3;
  char* const end = data + size;
  const auto is_word = [](char c) { return IsWord(static_cast<unsigned char>(c)); };
  const auto is_digit = [](char c) { return IsDigit(static_cast<unsigned char>(c)); };
  while ((data = std::find_if(data, end, is_word)) != end) {
    char* const behind = std::find_if_not(data, end, is_word);
    const std::string_view word(data, static_cast<std::size_t>(behind - data));
    const bool has_digit = std::ranges::any_of(word, is_digit);
    if (has_digit || (word.size() >= kShortest && replaced_.contains(word)))
      Word(data, word.size());
    data = behind;
  }
}

// Tags keep their names; their attributes' values and the text between them do not stay. References
// like "&amp;" and declarations do, as without them it would be no XML.
void Anonymiser::Markup(char* data, std::size_t size) {
  const std::string_view all(data, size);
  const auto find = [all](char c, std::size_t from) {
    return std::min(all.find(c, from), all.size());
  };
  for (std::size_t at = 0; at < size;) {
    const std::size_t tag = find('<', at);
    Text(data + at, tag - at);
    const std::size_t end = find('>', tag);
    if (!all.substr(tag).starts_with("<?")) {
      for (std::size_t quote = tag; (quote = all.find_first_of("\"'", quote)) < end;) {
        const std::size_t close = find(all[quote], quote + 1);
        Text(data + quote + 1, std::min(close, end) - quote - 1);
        quote = close + 1;
      }
    }
    at = std::min(end + 1, size);
  }
}

void Anonymiser::Text(char* data, std::size_t size) {
  constexpr std::size_t kLongestReference = 10;
  const std::string_view all(data, size);
  for (std::size_t at = 0; at < size;) {
    const std::size_t reference = std::min(all.find('&', at), size);
    Words(data + at, reference - at);
    const std::size_t end = all.find(';', reference);
    at = end != std::string_view::npos && end - reference < kLongestReference ? end + 1
         : reference < size                                                   ? reference + 1
                                                                              : size;
  }
}

void Anonymiser::Segment(char* data, std::string_view bytes, const struct Segment& segment) {
  const std::string code = segment.Code();
  if (IsParameters(code)) return;
  const Rule* const rule = RuleOf(code);
  for (std::size_t i = 0; i < segment.elements.size(); ++i) {
    for (std::size_t j = 0; j < segment.elements[i].size(); ++j) {
      const GroupElement& group = segment.elements[i][j];
      if (Stays(rule, static_cast<unsigned>(i + 1), j)) continue;
      char* const at = data + (group.raw.data() - bytes.data());
      if (group.is_binary && group.raw.find('<') != std::string_view::npos) {
        Markup(at, group.raw.size());
      } else {
        Words(at, group.raw.size());
      }
    }
  }
}

void Anonymiser::Message(char* data, std::string_view bytes) {
  for (const auto& segment : ParseSegments(bytes)) Segment(data, bytes, segment);
}

std::string Anonymiser::Body(const LogBlock& block, std::string_view body) {
  std::string result(body);
  switch (block.kind) {
    case Kind::Date:
    case Kind::Time:
      break;
    case Kind::Message:
      Message(result.data(), body);
      break;
    case Kind::Xml:
    case Kind::Instruction:
    case Kind::Page:
      Markup(result.data(), result.size());
      break;
    case Kind::Screen:
    case Kind::Broken:
      Words(result.data(), result.size());
      break;
    case Kind::Info:
      KnownWords(result.data(), result.size());
  }
  return result;
}

}  // namespace tmx::tools
