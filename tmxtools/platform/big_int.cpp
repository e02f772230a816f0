#include "tmxtools/platform/big_int.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

using boost::multiprecision::cpp_int;

struct BigInt::Big {
  static BigPtr Make(cpp_int value) {
    return BigPtr(std::make_unique<Big>(Big{std::move(value)}).release());
  }

  cpp_int value;
};

void BigInt::DropBig::operator()(Big* big) const noexcept { std::default_delete<Big>()(big); }

BigInt::BigPtr BigInt::Clone(const Big& big) { return Big::Make(big.value); }

template <class Operation>
BigInt& BigInt::Apply(const BigInt& other, Operation operation) {
  if (!set_ || !other.set_) {
    Clear();
    return *this;
  }
  cpp_int result = big_ ? big_->value : cpp_int(value_);
  operation(result, other.big_ ? other.big_->value : cpp_int(other.value_));
  if (result >= std::numeric_limits<std::int64_t>::min() &&
      result <= std::numeric_limits<std::int64_t>::max()) {
    value_ = static_cast<std::int64_t>(result);
    big_.reset();
  } else {
    const int sign = result.sign();
    big_ = Big::Make(std::move(result));
    value_ = sign;
  }
  return *this;
}

BigInt& BigInt::Add(const BigInt& other) {
  return Apply(other, [](cpp_int& a, const cpp_int& b) { a += b; });
}

BigInt& BigInt::Subtract(const BigInt& other) {
  return Apply(other, [](cpp_int& a, const cpp_int& b) { a -= b; });
}

BigInt& BigInt::Multiply(const BigInt& other) {
  return Apply(other, [](cpp_int& a, const cpp_int& b) { a *= b; });
}

BigInt& BigInt::Divide(const BigInt& other) {
  if (other.IsZero()) {
    Clear();
    return *this;
  }
  return Apply(other, [](cpp_int& a, const cpp_int& b) { a /= b; });
}

BigInt& BigInt::Remainder(const BigInt& other) {
  if (other.IsZero()) {
    Clear();
    return *this;
  }
  return Apply(other, [](cpp_int& a, const cpp_int& b) { a %= b; });
}

std::strong_ordering BigInt::Compare(const BigInt& a, const BigInt& b) noexcept {
  // A big value lies beyond every small one, on the side of its sign.
  if (!a.big_) return b.value_ < 0 ? std::strong_ordering::greater : std::strong_ordering::less;
  if (!b.big_) return a.value_ < 0 ? std::strong_ordering::less : std::strong_ordering::greater;
  return a.big_->value.compare(b.big_->value) <=> 0;
}

std::int64_t BigInt::LowBits() const noexcept {
  const auto magnitude =
      static_cast<std::uint64_t>(abs(big_->value) & std::numeric_limits<std::uint64_t>::max());
  return static_cast<std::int64_t>(IsNeg() ? 0 - magnitude : magnitude);
}

BigInt::BigInt(unsigned long value) : value_(static_cast<std::int64_t>(value)), set_(true) {
  if (value_ >= 0) return;
  big_ = Big::Make(value);
  value_ = 1;
}

BigInt::BigInt(const String& text) : set_(true) {
  std::string_view rest = text.View();
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const bool negative = rest.starts_with('-');
  const std::size_t sign_length = negative ? 1 : 0;
  const std::size_t digits_end = rest.find_first_not_of("0123456789", sign_length);
  const std::string_view number = rest.substr(0, digits_end);
  if (number.size() == sign_length) return;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), value_);
  if (parsed.ec == std::errc()) return;
  // A leading zero would announce an octal number.
  std::string_view digits = number.substr(sign_length);
  digits.remove_prefix(digits.find_first_not_of('0'));
  cpp_int magnitude{std::string(digits)};
  if (negative) magnitude = -magnitude;
  value_ = negative ? -1 : 1;
  big_ = Big::Make(std::move(magnitude));
}

String BigInt::ToString() const {
  return big_ ? String(std::string_view(big_->value.str())) : String::FromInt(value_);
}
