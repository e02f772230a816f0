#include "tmxtools/core/amount.h"

#include <array>
#include <cstring>
#include <string>
#include <string_view>

namespace {

BigInt PowerOfTen(unsigned exponent) {
  BigInt power = 1;
  BigInt square = 10;
  for (; exponent != 0; exponent >>= 1) {
    if (exponent & 1) power *= square;
    if (exponent > 1) square *= square;
  }
  return power;
}

constexpr auto kPairsOfDigits = [] {
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

// Writes a number in front of `out` with at least `digits` digits; returns where they begin.
char* PutInFront(char* out, std::uint64_t number, std::size_t digits) {
  const char* const begin = out - digits;
  for (; number >= 10; number /= 100) {
    out -= 2;
    std::memcpy(out, &kPairsOfDigits[number % 100 * 2], 2);
  }
  if (number != 0) *--out = static_cast<char>('0' + number);
  while (out > begin) *--out = '0';
  return out;
}

}  // namespace

unsigned short HbAmount::GetCurrencyPrecision(const char* currency) noexcept {
  return currency != nullptr && std::string_view(currency) == "STC" ? 4 : 2;
}

BigInt HbAmount::RescaledBig(const BigInt& value, unsigned short from, unsigned short to) {
  if (from == to || value.IsZero()) return value;
  if (from < to) return value * PowerOfTen(to - unsigned{from});
  const unsigned places = from - unsigned{to};
  // Half of 10^20 is more than any 64-bit value.
  if (value.IsSmall() && places >= 20) return 0;
  const BigInt divisor = PowerOfTen(places);
  BigInt remainder = value % divisor;
  if (remainder.IsNeg()) remainder = -remainder;
  BigInt quotient = value / divisor;
  if (remainder >= divisor / 2) quotient += value.IsNeg() ? -1 : 1;
  return quotient;
}

HbAmount& HbAmount::AddRescaled(const HbAmount& other) {
  if (other.IsNull()) return *this;
  if (IsNull()) return *this = other;
  if (precision_ > other.precision_) {
    value_ += Rescaled(other.value_, other.precision_, precision_);
  } else {
    SetPrecision(other.precision_);
    value_ += other.value_;
  }
  return *this;
}

HbAmount& HbAmount::SubtractRescaled(const HbAmount& other) {
  if (other.IsNull()) return *this;
  if (IsNull()) {
    *this = other;
    value_ = -value_;
  } else if (precision_ > other.precision_) {
    value_ -= Rescaled(other.value_, other.precision_, precision_);
  } else {
    SetPrecision(other.precision_);
    value_ -= other.value_;
  }
  return *this;
}

String HbAmount::GetDecimalPointString() const {
  if (IsNull()) return {};
  if (!value_.IsSmall() || precision_ >= kPowersOfTen.size()) return BigDecimalPointString();
  const auto bits = static_cast<std::uint64_t>(value_.Small());
  const std::uint64_t magnitude = IsNeg() ? 0 - bits : bits;
  const auto unit = static_cast<std::uint64_t>(kPowersOfTen[precision_]);
  char text[24];  // sign, 20 digits and comma
  char* const end = text + sizeof text;
  char* out = PutInFront(end, magnitude % unit, precision_);
  *--out = ',';
  out = PutInFront(out, magnitude / unit, 1);
  if (IsNeg()) *--out = '-';
  return String(out, static_cast<std::uint16_t>(end - out));
}

String HbAmount::BigDecimalPointString() const {
  const String number = value_.ToString();
  std::string text(number.View());
  const std::size_t sign = IsNeg() ? 1 : 0;
  const std::size_t digits = text.size() - sign;
  if (digits <= precision_) text.insert(sign, precision_ + 1 - digits, '0');
  text.insert(text.size() - precision_, 1, ',');
  return String(std::string_view(text));
}

String HbAmount::GetFull() const {
  String full = GetDecimalPointString();
  if (!full.IsEmpty()) {
    full += ' ';
    full += currency_;
  }
  return full;
}

bool HbAmount::ReadPlain(std::string_view text) {
  constexpr std::size_t max_digits = 18;
  std::int64_t number = 0;
  std::size_t digits = 0;
  bool negative = false;
  std::size_t comma = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto digit = static_cast<unsigned char>(text[i] - '0');
    if (digit <= 9) {
      if (++digits > max_digits) return false;
      number = number * 10 + digit;
    } else if (text[i] == ',') {
      comma = std::min(comma, i);
    } else if (text[i] == '-' && digits == 0 && !negative) {
      negative = true;
    } else if (text[i] != '.') {
      return false;
    }
  }
  if (digits == 0) return false;
  value_ = BigInt(negative ? -number : number);
  precision_ = static_cast<std::uint16_t>(comma == text.size() ? 0 : text.size() - comma - 1);
  return true;
}

void HbAmount::SetFromDecimalPointString(const String& text, const String& currency) {
  if (ReadPlain(text.View())) {
    currency_ = currency;
    return;
  }
  const std::uint16_t comma = text.Find(',');
  precision_ = comma == String::NotFound ? 0 : static_cast<std::uint16_t>(text.Len() - comma - 1);
  String digits = text;
  digits.RemoveSet(String(".,"));
  value_ = digits.IsEmpty() ? BigInt() : BigInt(digits);
  currency_ = currency;
}
