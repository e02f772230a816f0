#include "demo/host/payment_file.h"

#include <algorithm>
#include <optional>
#include <string>

#include "demo/xml.h"

namespace tmx::demo {
namespace {

constexpr std::size_t kMostDigits = 18;
constexpr std::size_t kCurrencyLength = 3;

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

}  // namespace

std::vector<HbAmount> PaymentsIn(std::string_view pain) {
  std::vector<HbAmount> payments;
  const auto document = ParseXml(pain);
  if (!document) return payments;
  for (const XmlLeaf* const leaf : document->Find("InstdAmt"))
    if (auto amount = AmountIn(*leaf)) payments.push_back(std::move(*amount));
  return payments;
}

}  // namespace tmx::demo
