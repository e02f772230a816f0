#include "tests/demo/request_model.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace tmx::demo {
namespace {

constexpr const char* kComputed = "*";       // lengths that are known at last
constexpr const char* kMessageNumber = "2";  // the first one belongs to the dialog 0

}  // namespace

Elements SplitForm(std::string_view form) {
  Elements elements(1, {""});
  for (const char c : form) {
    if (c == '+') elements.push_back({""});
    if (c == ':') elements.back().emplace_back();
    if (c != '+' && c != ':') elements.back().back() += c;
  }
  return elements;
}

char TypeOf(const std::string& part) { return static_cast<char>(part[0] | 0x20); }
bool IsMandatory(const std::string& part) { return part[0] < 'a'; }
bool IsRepeated(const std::string& part) { return part.ends_with('*'); }

std::string RightValue(const std::string& part) {
  if (part[0] == '=') return part.substr(1);
  static const std::map<char, std::string> values{
      {'n', "1"}, {'t', kEscaped}, {'d', "20260115"}, {'h', "120000"},
      {'j', "N"}, {'b', kBytes},   {'z', "0"}};
  return values.at(TypeOf(part));
}

std::string ValueOfWrongType(const std::string& part) {
  if (part[0] == '=') return part.substr(1) + '1';
  static const std::map<char, std::string> values{{'n', "1x"},    {'t', kBytes}, {'d', "2026011"},
                                                  {'h', "12000"}, {'j', "Y"},    {'b', "text"},
                                                  {'z', "x"}};
  return values.at(TypeOf(part));
}

std::string ToBytes(const ModelSegment& segment) {
  std::string bytes = segment.code + ':' + segment.number + ':' + segment.version;
  bytes += segment.behind_head;
  for (const auto& parts : segment.elements) {
    for (std::size_t i = 0; i < parts.size(); ++i) bytes += (i == 0 ? '+' : ':') + parts[i];
  }
  return bytes + '\'';
}

void DropEmptyEnds(Elements& elements) {
  for (auto& parts : elements)
    while (parts.size() > 1 && parts.back().empty()) parts.pop_back();
  while (!elements.empty() && elements.back() == std::vector<std::string>{""}) elements.pop_back();
}

ModelSegment Filled(const test::SegmentForm& form, int standard, bool is_full) {
  const std::size_t colon = form.name.find(':');
  ModelSegment segment{std::string(form.name.substr(0, colon)),
                       std::string(form.name.substr(colon + 1)), "", "", SplitForm(form.elements)};
  for (auto& parts : segment.elements) {
    if (IsRepeated(parts.back()) && is_full) parts.push_back(parts.back());
    for (std::string& part : parts) part = is_full || IsMandatory(part) ? RightValue(part) : "";
  }
  if (segment.code == "HNHBK") segment.elements[0] = {kComputed};
  if (segment.code == "HNHBK") segment.elements[1] = {std::to_string(standard)};
  if (segment.code == "HNHBK") segment.elements[3] = {kMessageNumber};
  if (segment.code == "HNHBS") segment.elements[0] = {kMessageNumber};
  if (segment.code == "HNSHK") segment.elements[standard == 300 ? 1 : 0] = {"999"};
  if (segment.code == "HNVSD") segment.elements[0] = {kComputed};
  if (segment.code == "HKTAN") segment.elements[0] = {"4"};
  if (segment.code == "HKTAN") segment.elements[1] = {"HKTAN"};
  DropEmptyEnds(segment.elements);
  return segment;
}

const test::SegmentForm& FormOf(std::string_view name) {
  for (const test::SegmentForm& form : test::SegmentForms())
    if (form.name == name) return form;
  throw std::out_of_range(std::string(name));
}

bool IsAround(std::string_view code) { return code.starts_with("HN"); }

ModelMessage MessageWith(const test::SegmentForm& form, int standard, bool is_full) {
  const bool is_new = standard == 300;
  ModelMessage message;
  for (const std::string_view name :
       {std::string_view("HNHBK:3"), std::string_view(is_new ? "HNVSK:3" : "HNVSK:2"),
        std::string_view("HNVSD:1"), std::string_view(is_new ? "HNSHK:4" : "HNSHK:3"),
        IsAround(form.name) ? std::string_view("HKEND:1") : form.name,
        std::string_view(is_new ? "HNSHA:2" : "HNSHA:1"), std::string_view("HNHBS:1")})
    message.push_back(Filled(FormOf(name), standard, is_full || name != form.name));
  constexpr const char* kNumbers[] = {"1", "998", "999", "2", "3", "4", "5"};
  for (std::size_t i = 0; i < message.size(); ++i) message[i].number = kNumbers[i];
  return message;
}

std::string ToBytes(ModelMessage message, int wrong_size, int wrong_data_size) {
  std::string inside;
  for (std::size_t i = 3; i < 6; ++i) inside += ToBytes(message[i]);
  auto& data = message[2].elements;
  if (!data.empty() && data[0][0] == kComputed)
    data[0][0] =
        '@' + std::to_string(static_cast<int>(inside.size()) + wrong_data_size) + '@' + inside;
  const std::string rest = ToBytes(message[1]) + ToBytes(message[2]) + ToBytes(message[6]);
  auto& head = message[0].elements;
  if (!head.empty() && head[0][0] == kComputed) {
    head[0][0] = std::string(12, '0');
    const int right = static_cast<int>(ToBytes(message[0]).size() + rest.size());
    std::string size = std::to_string(right + wrong_size);
    head[0][0].replace(12 - size.size(), size.size(), size);
  }
  return ToBytes(message[0]) + rest;
}

ModelSegment& SegmentOf(ModelMessage& message, const test::SegmentForm& form) {
  return *std::ranges::find(message, form.name.substr(0, form.name.find(':')), &ModelSegment::code);
}

}  // namespace tmx::demo
