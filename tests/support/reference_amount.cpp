#include "tests/support/reference_amount.h"

#include <algorithm>
#include <stdexcept>

namespace tmx {

BigInt PowerOfTen(std::uint32_t exponent) {
  BigInt power(1), factor(10);
  for (; exponent != 0; exponent /= 2) {
    if (exponent % 2 != 0) power *= factor;
    if (exponent > 1) factor *= BigInt(factor);
  }
  return power;
}

BigInt Digits(const std::string& text) {
  return BigInt(String(text.data(), static_cast<std::uint16_t>(text.size())));
}

std::string DigitsOf(const BigInt& number) { return std::string(number.ToString().View()); }

ReferenceAmount ReferenceAmount::FromText(const std::string& text) {
  ReferenceAmount amount;
  if (text.empty()) return amount;
  const std::size_t comma = text.find(',');
  if (comma != std::string::npos)
    amount.precision = static_cast<std::uint32_t>(text.size() - comma - 1);
  std::string digits = text;
  std::erase_if(digits, [](char c) { return c == '.' || c == ','; });
  if (!digits.empty()) amount.value = Digits(digits);
  return amount;
}

std::string ReferenceAmount::ToText() const {
  if (!value.IsSet()) return "";
  std::string text = DigitsOf(value);
  const std::size_t sign = value.IsNeg() ? 1 : 0, digits = text.size() - sign;
  if (precision != 0 && digits <= precision) text.insert(sign, precision - digits + 1, '0');
  text.insert(text.size() - precision, 1, ',');
  if (text.size() > 65535) throw std::length_error("amount");
  return text;
}

void ReferenceAmount::SetPrecision(std::uint32_t wanted) {
  if (value.IsSet() && wanted > precision) value *= PowerOfTen(wanted - precision);
  if (value.IsSet() && wanted < precision) {
    const BigInt divisor = PowerOfTen(precision - wanted);
    const bool negative = value.IsNeg();
    BigInt rest = value % divisor;
    if (rest.IsNeg()) rest = -rest;
    value /= divisor;
    if (rest >= divisor / BigInt(2)) value += BigInt(negative ? -1 : 1);
  }
  precision = wanted;
}

void ReferenceAmount::DropFraction() {
  if (value.IsSet()) value /= PowerOfTen(precision);
  precision = 0;
}

void ReferenceAmount::Add(const ReferenceAmount& other) {
  if (!other.value.IsSet()) return;
  if (!value.IsSet()) {
    *this = other;
    return;
  }
  ReferenceAmount addend = other;
  const std::uint32_t larger = std::max(precision, addend.precision);
  SetPrecision(larger);
  addend.SetPrecision(larger);
  value += addend.value;
}

void ReferenceAmount::Subtract(ReferenceAmount other) {
  if (other.value.IsSet()) other.value = -other.value;
  Add(other);
}

int CompareAmounts(const ReferenceAmount& a, const ReferenceAmount& b) {
  ReferenceAmount left = a, right = b;
  const std::uint32_t larger = std::max(a.precision, b.precision);
  left.SetPrecision(larger);
  right.SetPrecision(larger);
  return left.value < right.value ? -1 : left.value > right.value ? 1 : 0;
}

}  // namespace tmx
