#include "tmxtools/core/amount.h"

#include <charconv>
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

// Lays out the decimal digits of a magnitude, `precision` of them behind the comma, with at least
// one in front of it. Behind `out` there is room for the longer of digits and precision plus 3.
char* PutDecimal(char* out, bool negative, std::string_view digits, std::size_t precision) {
  if (negative) *out++ = '-';
  const std::size_t zeros = digits.size() > precision ? 0 : precision + 1 - digits.size();
  const std::size_t whole = zeros > 0 ? 0 : digits.size() - precision;
  std::memcpy(out, digits.data(), whole);
  out += whole;
  if (zeros > 0) {
    *out++ = '0';
    *out++ = ',';
    std::memset(out, '0', zeros - 1);
    out += zeros - 1;
  } else {
    *out++ = ',';
  }
  std::memcpy(out, digits.data() + whole, digits.size() - whole);
  return out + (digits.size() - whole);
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
  constexpr std::size_t max_digits = 19;
  constexpr std::size_t max_plain_precision = 24;
  if (value_.IsSmall() && precision_ <= max_plain_precision) {
    const std::int64_t small = value_.Small();
    const auto bits = static_cast<std::uint64_t>(small);
    char digits[max_digits];
    const char* const end =
        std::to_chars(digits, digits + max_digits, small < 0 ? 0 - bits : bits).ptr;
    char text[std::max(max_digits, max_plain_precision) + 3];
    const char* const text_end =
        PutDecimal(text, small < 0, {digits, static_cast<std::size_t>(end - digits)}, precision_);
    return String(text, static_cast<std::uint16_t>(text_end - text));
  }
  const String number = value_.ToString();
  std::string_view digits = number.View();
  if (IsNeg()) digits.remove_prefix(1);
  std::string text(std::max<std::size_t>(digits.size(), precision_) + 3, '\0');
  text.resize(
      static_cast<std::size_t>(PutDecimal(text.data(), IsNeg(), digits, precision_) - text.data()));
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
