#include "demo/host/payment_file.h"

#include <algorithm>
#include <optional>
#include <string>

#include "demo/xml.h"

namespace tmx::demo {
namespace {

constexpr std::size_t kMostDigits = 18;
constexpr std::size_t kCurrencyLength = 3;
constexpr std::string_view kPainMark = "pain.001.";

// The currency code among the attributes of a tag.
std::string_view CurrencyIn(std::string_view attributes) {
  for (const std::string_view name : {" Ccy=\"", " Ccy='"}) {
    const std::size_t at = attributes.find(name);
    if (at == std::string_view::npos) continue;
    const std::string_view value = attributes.substr(at + name.size());
    if (value.find(name.back()) == kCurrencyLength) return value.substr(0, kCurrencyLength);
  }
  return {};
}

// Digits, with a point among them or without.
bool IsAmount(std::string_view text) {
  return !text.empty() && text.size() <= kMostDigits && text != "." &&
         text.find_first_not_of("0123456789.") == std::string_view::npos &&
         std::ranges::count(text, '.') <= 1;
}

std::optional<HbAmount> AmountIn(const XmlLeaf& leaf) {
  const std::string_view currency = CurrencyIn(leaf.attributes);
  if (currency.empty() || !IsAmount(leaf.text)) return std::nullopt;
  std::string text = leaf.text;
  std::ranges::replace(text, '.', ',');
  HbAmount amount;
  amount.SetFromDecimalPointString(String(std::string_view(text)), String(currency));
  return amount;
}

// The value behind the name of an attribute; nothing if it is not quoted.
std::string_view QuotedBehind(std::string_view attribute) {
  const std::size_t open = attribute.find_first_of("\"'");
  if (open == std::string_view::npos) return {};
  const std::string_view value = attribute.substr(open + 1);
  return value.substr(0, std::min(value.find(attribute[open]), value.size()));
}

// The namespace that a root declares, that of a pain.001 if it declares several.
std::string_view NamespaceIn(std::string_view attributes) {
  std::string_view first;
  for (std::size_t at = 0; (at = attributes.find("xmlns", at)) != std::string_view::npos; ++at) {
    const std::string_view name = QuotedBehind(attributes.substr(at));
    if (name.find(kPainMark) != std::string_view::npos) return name;
    if (first.empty()) first = name;
  }
  return first;
}

// "pain.001.001.03" of a namespace or of what HISPAS calls it; empty for others.
std::string_view KindOf(std::string_view format) {
  const std::size_t at = format.find(kPainMark);
  if (at == std::string_view::npos) return {};
  return format.substr(at, kPainMark.size() + std::string_view("001.03").size());
}

}  // namespace

std::string ProblemOfPayment(std::string_view pain, std::string& format) {
  if (pain.empty()) return "is empty";
  if (pain.size() > kLongestPayment) return "is longer than the longest message, 9999 KB";
  const auto document = ParseXml(pain);
  if (!document) return "is no XML in UTF-8, or not whole";
  const std::string name(NamespaceIn(document->root_attributes));
  if (name.empty()) return "is no pain.001: its root names no namespace";
  if (KindOf(name).empty()) return "is no pain.001: its namespace is " + name;
  if (format.empty()) format = name;
  if (KindOf(format).empty() || KindOf(format) == KindOf(name)) return "";
  return "is in the namespace " + name + ", which is not " + format;
}

std::vector<HbAmount> PaymentsIn(std::string_view pain) {
  std::vector<HbAmount> payments;
  const auto document = ParseXml(pain);
  if (!document) return payments;
  for (const XmlLeaf* const leaf : document->Find("InstdAmt"))
    if (auto amount = AmountIn(*leaf)) payments.push_back(std::move(*amount));
  return payments;
}

}  // namespace tmx::demo
