#include "tools/log_anonymise.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>

#include "demo/day.h"

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
  // Of these elements the dates and the times behind them do. 0 ends the list.
  std::array<unsigned, 2> dates{};
};
constexpr Rule kRules[] = {
    {"HNHBK", {}, 2},
    {"HNHBS", {}, 2},
    {"HNSHK", {2, 3, 4, 5, 6, 8, 9, 10, 11}, 0, 1},
    {"HNSHA", {2}, 0},
    {"HNVSK", {2, 3, 4, 6}, 0, 1},
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
    {"HITAN", {2}, 0, 0, {7}},
    {"HISAL", {}, 0, 0, {5, 6}},
    {"HKKAZ", {}, 0, 0, {4, 5}},
    {"HKCAZ", {}, 0, 0, {5, 6}},
};
constexpr std::string_view kCurrencies[] = {"EUR", "CHF", "GBP", "USD"};

const Rule* RuleOf(std::string_view code) {
  const auto rule = std::ranges::find(kRules, code, &Rule::code);
  return rule == std::end(kRules) ? nullptr : rule;
}

// Parameters of the bank's transactions: HIKAZS, HIPINS and their like.
bool IsParameters(std::string_view code) {
  return code.size() == 6 && code.starts_with("HI") && code.ends_with('S');
}

bool IsCodePart(char c) { return IsDigit(static_cast<unsigned char>(c)) || (c >= 'A' && c <= 'Z'); }

// What a head is made of. Other text in its place is none.
bool IsHeadPart(LogBytes& bytes, const GroupElement& group) {
  constexpr std::uint32_t kLongest = 6;
  if (group.raw.Size() > kLongest) return false;
  for (std::uint32_t at = group.raw.begin; at != group.raw.end; ++at)
    if (!IsCodePart(bytes.At(at))) return false;
  return true;
}

// The first position from `from` on where something holds, or the end.
template <class Holds>
std::uint32_t Find(LogBytes& bytes, std::uint32_t from, std::uint32_t end, Holds holds) {
  while (from != end && !holds(bytes.At(from))) ++from;
  return from;
}
auto Is(char wanted) {
  return [wanted](char c) { return c == wanted; };
}

// Lines of information name orders: "HKCCS".
bool IsOrder(LogBytes& bytes, Range word) {
  constexpr std::uint32_t kShortest = 5, kLongest = 6;
  return word.Size() >= kShortest && word.Size() <= kLongest && bytes.At(word.begin) == 'H' &&
         bytes.At(word.begin + 1) == 'K' &&
         Find(bytes, word.begin, word.end, std::not_fn(IsCodePart)) == word.end;
}

std::string StartOf(LogBytes& bytes, Range range) {
  constexpr std::uint32_t kLongest = 9;
  std::string start;
  for (std::uint32_t at = range.begin; at != range.end && start.size() < kLongest; ++at)
    start += bytes.At(at);
  return start;
}

// YYYYMMDD of this time, or HHMMSS.
bool IsDateOrTime(const std::string& text) {
  if (!std::ranges::all_of(text, [](unsigned char c) { return IsDigit(c); })) return false;
  const auto part = [&](std::size_t at, std::size_t size) {
    return static_cast<unsigned>(std::stoul(text.substr(at, size)));
  };
  if (text.size() == 6) return part(0, 2) < 24 && part(2, 2) < 60 && part(4, 2) < 60;
  return demo::ParseDay(text) && part(0, 4) >= 1990 && part(0, 4) <= 2099;
}

// What names nobody, wherever it stands: a single character, as of yes and no, a currency, the code
// of an order.
bool IsNobodys(LogBytes& bytes, Range whole) {
  if (whole.Size() <= 1 || IsOrder(bytes, whole)) return true;
  return std::ranges::find(kCurrencies, StartOf(bytes, whole)) != std::end(kCurrencies);
}

bool Stays(LogBytes& bytes, std::string_view code, const GroupElement& group) {
  if (group.element == 1) return IsHeadPart(bytes, group);
  if (IsParameters(code)) return true;
  if (!group.is_binary && IsNobodys(bytes, group.raw)) return true;
  const Rule* const rule = RuleOf(code);
  if (rule == nullptr) return false;
  if (rule->all_from != 0 && group.element >= rule->all_from) return true;
  if (std::ranges::find(rule->dates, group.element) != rule->dates.end() && !group.is_binary &&
      IsDateOrTime(StartOf(bytes, group.raw)))
    return true;
  return group.group < rule->groups ||
         std::ranges::find(rule->elements, group.element) != rule->elements.end();
}

void Copy(LogBytes& bytes, Range range, Gatherer& to) {
  bytes.Put(range, [&](std::string_view piece) { to.Add(piece); });
}

}  // namespace

void Anonymiser::Word(LogBytes& bytes, Range word, Gatherer& to) const {
  std::array<char, WordCipher::kLongest> piece;
  while (!word.IsEmpty()) {
    std::size_t size = 0;
    while (size < piece.size() && !word.IsEmpty()) piece[size++] = bytes.At(word.begin++);
    words_.Replace(piece.data(), size);
    to.Add({piece.data(), size});
  }
}

void Anonymiser::Words(LogBytes& bytes, Range range, Gatherer& to, IsKept is_kept) const {
  while (!range.IsEmpty()) {
    const std::uint32_t begin = Find(bytes, range.begin, range.end, IsWordPart);
    Copy(bytes, {range.begin, begin}, to);
    range.begin = Find(bytes, begin, range.end, std::not_fn(IsWordPart));
    const Range word{begin, range.begin};
    is_kept != nullptr&& is_kept(bytes, word) ? Copy(bytes, word, to) : Word(bytes, word, to);
  }
}

// Tags keep their names; their attributes' values and the text between them do not stay. References
// like "&amp;" and declarations do, as without them it would be no XML.
void Anonymiser::Markup(LogBytes& bytes, Range range, Gatherer& to) const {
  const auto is_quote = [](char c) { return c == '"' || c == '\''; };
  std::uint32_t at = range.begin;
  while (at != range.end) {
    const std::uint32_t tag = Find(bytes, at, range.end, Is('<'));
    Text(bytes, {at, tag}, to);
    const std::uint32_t end = Find(bytes, tag, range.end, Is('>'));
    const bool is_declaration = end - tag > 1 && bytes.At(tag + 1) == '?';
    at = tag;
    while (!is_declaration && at != end) {
      const std::uint32_t quote = Find(bytes, at, end, is_quote);
      const std::uint32_t value = std::min(quote + 1, end);
      Copy(bytes, {at, value}, to);
      at = quote == end ? end : Find(bytes, value, end, Is(bytes.At(quote)));
      Text(bytes, {value, at}, to);
      // The quote that ends the value begins no other one.
      if (at != end) Copy(bytes, {at, at + 1}, to), ++at;
    }
    const std::uint32_t behind = std::min(end + 1, range.end);
    Copy(bytes, {at, behind}, to);
    at = behind;
  }
}

void Anonymiser::Text(LogBytes& bytes, Range range, Gatherer& to) const {
  constexpr std::uint32_t kLongestReference = 10;
  while (!range.IsEmpty()) {
    const std::uint32_t reference = Find(bytes, range.begin, range.end, Is('&'));
    Words(bytes, {range.begin, reference}, to);
    const std::uint32_t limit = std::min(range.end - reference, kLongestReference) + reference;
    const std::uint32_t end = Find(bytes, reference, limit, Is(';'));
    range.begin = std::min(end != limit ? end + 1 : reference + 1, range.end);
    Copy(bytes, {reference, range.begin}, to);
  }
}

void Anonymiser::PutElement(LogBytes& bytes, std::string_view code, const GroupElement& group,
                            const Sink& to) const {
  if (Stays(bytes, code, group)) return bytes.Put(group.raw, to);
  Gatherer gathered(to);
  const bool is_markup =
      group.is_binary && Find(bytes, group.raw.begin, group.raw.end, Is('<')) != group.raw.end;
  is_markup ? Markup(bytes, group.raw, gathered) : Words(bytes, group.raw, gathered);
}

void Anonymiser::PutBody(LogBytes& bytes, const LogBlock& block, const Sink& to) const {
  const Range body{block.body, block.body + block.length};
  Gatherer gathered(to);
  switch (block.kind) {
    case Kind::Date:
    case Kind::Time:
      return Copy(bytes, body, gathered);
    case Kind::Xml:
    case Kind::Instruction:
    case Kind::Page:
      return Markup(bytes, body, gathered);
    case Kind::Info:
      return Words(bytes, body, gathered, IsOrder);
    default:
      return Words(bytes, body, gathered);
  }
}

}  // namespace tmx::tools
