// Exact money amounts.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tmxtools/platform/big_int.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

// A whole number of units of 10^-precision of a currency, or null. 123,45 in a currency with two
// decimal places is the value 12345 with precision 2.
//
// No operation passes through floating point, none is limited in size: values that fit 64 bits are
// computed in registers, larger ones by BigInt. Texts have a decimal comma. The currency is carried
// along; only == looks at it, arithmetic leaves it to the caller that the currencies agree.
//
// Fails only where memory ends (std::bad_alloc) and where a text would be longer than a String
// (std::length_error). Dividing by zero makes the amount null.
//
// Empty state: null, precision 0, no currency. Threads: as an int.
class TMX_EXPORT HbAmount {
 public:
  HbAmount() noexcept = default;
  HbAmount(short value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(unsigned short value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(int value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(unsigned int value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(long value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(unsigned long value, unsigned short precision, const String& currency)
      : HbAmount(BigInt(value), precision, currency) {}
  HbAmount(const BigInt& value, unsigned short precision, const String& currency)
      : value_(value), currency_(currency), precision_(precision) {}
  // The value from optional blanks, an optional "-" and digits; never null.
  HbAmount(const String& digits, unsigned short precision, const String& currency)
      : HbAmount(BigInt(digits), precision, currency) {}

  bool IsNull() const noexcept { return !value_.IsSet(); }
  bool IsNeg() const noexcept { return value_.IsNeg(); }
  // A null amount is zero, too.
  bool IsZero() const noexcept { return value_.IsZero(); }
  unsigned short GetPrecision() const noexcept { return precision_; }
  const String& GetCurrency() const noexcept { return currency_; }
  // Sign and digits of the value without a comma.
  String GetString() const { return value_.ToString(); }

  // The value at another precision, rounded half away from zero; unset for a null amount.
  BigInt GetBigInt(unsigned short precision) const {
    return precision == precision_ ? value_ : Rescaled(value_, precision_, precision);
  }
  // Rescales the value in the same way. A null amount only changes its precision.
  void SetPrecision(unsigned short precision) {
    if (precision == precision_) return;
    value_ = Rescaled(value_, precision_, precision);
    precision_ = precision;
  }

  // The decimal places of a currency: 4 for "STC", else 2, also for null.
  static unsigned short GetCurrencyPrecision(const char* currency) noexcept;

  // "123,45", "-0,05". A comma stands in every text, at precision 0 as its last character ("7,"),
  // which is meant. Empty for a null amount.
  String GetDecimalPointString() const;
  // The text as above, then a blank and the currency. Empty for a null amount.
  String GetFull() const;
  // Reads such a text. Every "." is taken for a thousands separator and dropped; the precision is
  // the number of characters behind the first ",". A text without anything else is null.
  void SetFromDecimalPointString(const String& text, const String& currency);

  // The sum has the larger precision and this amount's currency. A null operand is left out: null
  // plus b is b, with b's precision and currency.
  HbAmount& operator+=(const HbAmount& other) {
    if (!IsPlain(other)) return AddRescaled(other);
    value_ += other.value_;
    return *this;
  }
  HbAmount& operator-=(const HbAmount& other) {
    if (!IsPlain(other)) return SubtractRescaled(other);
    value_ -= other.value_;
    return *this;
  }
  // These change the value alone.
  HbAmount& operator*=(const BigInt& factor) {
    value_ *= factor;
    return *this;
  }
  HbAmount& operator/=(const BigInt& divisor) {
    value_ /= divisor;
    return *this;
  }
  HbAmount& operator%=(const BigInt& divisor) {
    value_ %= divisor;
    return *this;
  }

  // Equality asks for equal currencies, equal null state and equal values; the order looks at the
  // values alone, with 0 for null. That 1,00 EUR and 1,00 USD are neither equal nor ordered is
  // meant.
  friend bool operator==(const HbAmount& a, const HbAmount& b) {
    return a.currency_ == b.currency_ && a.IsNull() == b.IsNull() && (a <=> b) == 0;
  }
  friend std::weak_ordering operator<=>(const HbAmount& a, const HbAmount& b) {
    if (a.precision_ == b.precision_) return a.value_ <=> b.value_;
    const unsigned short precision = std::max(a.precision_, b.precision_);
    return a.GetBigInt(precision) <=> b.GetBigInt(precision);
  }

 private:
  // The powers of ten that a 64-bit value can be divided or multiplied by.
  static constexpr auto kPowersOfTen = [] {
    std::array<std::int64_t, 19> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
    return powers;
  }();

  static BigInt Rescaled(const BigInt& value, unsigned short from, unsigned short to) {
    if (!value.IsSet() || !value.IsSmall()) return RescaledBig(value, from, to);
    const std::int64_t small = value.Small();
    if (from > to) {
      const unsigned places = from - unsigned{to};
      if (places >= kPowersOfTen.size()) return RescaledBig(value, from, to);
      const std::int64_t divisor = kPowersOfTen[places];
      const std::int64_t quotient = small / divisor;
      const std::int64_t remainder = small % divisor;
      const std::int64_t half = divisor / 2;
      return BigInt(quotient + (remainder >= half) - (remainder <= -half));
    }
    const unsigned places = to - unsigned{from};
    std::int64_t product;
    if (places >= kPowersOfTen.size() ||
        __builtin_mul_overflow(small, kPowersOfTen[places], &product)) {
      return RescaledBig(value, from, to);
    }
    return BigInt(product);
  }
  // Any value and any precisions.
  static BigInt RescaledBig(const BigInt& value, unsigned short from, unsigned short to);

  // Whether `other` can be added as it is.
  bool IsPlain(const HbAmount& other) const noexcept {
    return precision_ == other.precision_ && value_.IsSet() && other.value_.IsSet();
  }
  HbAmount& AddRescaled(const HbAmount& other);
  HbAmount& SubtractRescaled(const HbAmount& other);

  // The text of any value.
  String BigDecimalPointString() const;
  // Reads up to 18 digits with an optional "-", commas and dots. Gives up (false) on anything else.
  bool ReadPlain(std::string_view text);

  // Copying a large value can fail, so it comes first: a failed assignment changes nothing.
  BigInt value_;
  String currency_;
  std::uint16_t precision_ = 0;
};
