// Whole numbers of any size.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

// A whole number of any size with a flag that says whether it is set.
//
// A value that fits 64 bits is held in the object and computed there; only a result that does not
// fit moves to the heap, and a result that fits again moves back. So IsSmall() tells the range of
// the value, not its history.
//
// Division truncates toward zero and the remainder takes the sign of the dividend. Dividing by zero
// leaves the result unset. An operation with an unset operand leaves the result unset. An unset
// number holds 0: it compares as 0, is zero and not negative, and its text is "0".
//
// Empty state: unset. Threads: as an int.
class TMX_EXPORT BigInt {
 public:
  BigInt() noexcept = default;
  // NOLINTBEGIN(google-explicit-constructor): numbers are big integers
  BigInt(short value) noexcept : value_(value), set_(true) {}
  BigInt(unsigned short value) noexcept : value_(value), set_(true) {}
  BigInt(int value) noexcept : value_(value), set_(true) {}
  BigInt(unsigned int value) noexcept : value_(value), set_(true) {}
  BigInt(long value) noexcept : value_(value), set_(true) {}
  BigInt(long long value) noexcept : value_(value), set_(true) {}
  BigInt(unsigned long value);
  BigInt(unsigned long long value) : BigInt(static_cast<unsigned long>(value)) {}
  // NOLINTEND
  // Reads optional blanks, an optional "-" and digits up to the first other byte. The number is
  // always set; without digits it is 0.
  explicit BigInt(const String& text);
  // Explicit, so that an amount made of a literal takes it for a text.
  explicit BigInt(const char*) = delete;
  BigInt(const BigInt& other)
      : value_(other.value_), big_(other.big_ ? Clone(*other.big_) : nullptr), set_(other.set_) {}
  BigInt(BigInt&&) noexcept = default;
  ~BigInt() = default;
  BigInt& operator=(const BigInt& other) {
    if (other.big_ || big_) return *this = BigInt(other);
    value_ = other.value_;
    set_ = other.set_;
    return *this;
  }
  BigInt& operator=(BigInt&&) noexcept = default;

  bool IsSet() const noexcept { return set_; }
  bool IsNeg() const noexcept { return value_ < 0; }
  bool IsZero() const noexcept { return value_ == 0; }
  // Makes the number unset.
  void Clear() noexcept {
    big_.reset();
    value_ = 0;
    set_ = false;
  }

  // Whether the value fits 64 bits, and the value if it does.
  bool IsSmall() const noexcept { return !big_; }
  std::int64_t Small() const noexcept { return value_; }
  // The low 64 bits in two's complement.
  std::int64_t Low64() const noexcept { return big_ ? LowBits() : value_; }

  BigInt& operator+=(const BigInt& other) {
    std::int64_t sum;
    if (!BothSmall(other) || __builtin_add_overflow(value_, other.value_, &sum)) return Add(other);
    value_ = sum;
    return *this;
  }
  BigInt& operator-=(const BigInt& other) {
    std::int64_t difference;
    if (!BothSmall(other) || __builtin_sub_overflow(value_, other.value_, &difference)) {
      return Subtract(other);
    }
    value_ = difference;
    return *this;
  }
  BigInt& operator*=(const BigInt& other) {
    std::int64_t product;
    if (!BothSmall(other) || __builtin_mul_overflow(value_, other.value_, &product)) {
      return Multiply(other);
    }
    value_ = product;
    return *this;
  }
  // The two divisors that need care are 0 and, for the smallest 64-bit number, -1.
  BigInt& operator/=(const BigInt& other) {
    if (!BothSmall(other) || IsZeroOrMinusOne(other.value_)) return Divide(other);
    value_ /= other.value_;
    return *this;
  }
  BigInt& operator%=(const BigInt& other) {
    if (!BothSmall(other) || IsZeroOrMinusOne(other.value_)) return Remainder(other);
    value_ %= other.value_;
    return *this;
  }
  BigInt operator-() const { return BigInt(0) -= *this; }

  friend BigInt operator+(BigInt a, const BigInt& b) { return std::move(a += b); }
  friend BigInt operator-(BigInt a, const BigInt& b) { return std::move(a -= b); }
  friend BigInt operator*(BigInt a, const BigInt& b) { return std::move(a *= b); }
  friend BigInt operator/(BigInt a, const BigInt& b) { return std::move(a /= b); }
  friend BigInt operator%(BigInt a, const BigInt& b) { return std::move(a %= b); }

  // Comparisons look at the values alone, not at the is-set flags.
  friend bool operator==(const BigInt& a, const BigInt& b) noexcept { return (a <=> b) == 0; }
  friend std::strong_ordering operator<=>(const BigInt& a, const BigInt& b) noexcept {
    return a.big_ || b.big_ ? Compare(a, b) : a.value_ <=> b.value_;
  }

  // An optional "-" and the digits. Throws std::length_error beyond 65535 bytes.
  String ToString() const;

 private:
  struct Big;
  struct DropBig {
    void operator()(Big* big) const noexcept;
  };
  using BigPtr = std::unique_ptr<Big, DropBig>;

  static BigPtr Clone(const Big& big);
  static std::strong_ordering Compare(const BigInt& a, const BigInt& b) noexcept;
  static bool IsZeroOrMinusOne(std::int64_t value) noexcept {
    return static_cast<std::uint64_t>(value) + 1 <= 1;
  }
  bool BothSmall(const BigInt& other) const noexcept {
    return set_ && other.set_ && !big_ && !other.big_;
  }
  std::int64_t LowBits() const noexcept;

  // The general forms: operands of any size, set or not.
  template <class Operation>
  BigInt& Apply(const BigInt& other, Operation operation);
  BigInt& Add(const BigInt& other);
  BigInt& Subtract(const BigInt& other);
  BigInt& Multiply(const BigInt& other);
  BigInt& Divide(const BigInt& other);
  BigInt& Remainder(const BigInt& other);

  std::int64_t value_ = 0;  // the value, or 1 or -1 as the sign of *big_
  BigPtr big_;              // only for a value that does not fit 64 bits
  bool set_ = false;
};
