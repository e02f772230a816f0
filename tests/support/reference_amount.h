// Money amounts of the reference engine: a whole number of units of 10^-precision.
#pragma once

#include <cstdint>
#include <string>

#include "tmxtools/platform/big_int.h"

namespace tmx {

struct ReferenceAmount {
  BigInt value;  // unset for the null amount
  std::uint32_t precision = 0;

  static ReferenceAmount FromText(const std::string& text);
  // Digits with a decimal comma, also at the end; throws std::length_error beyond 65535 bytes.
  std::string ToText() const;

  // Rounds half away from zero where places are lost.
  void SetPrecision(std::uint32_t wanted);
  // Cuts the places off.
  void DropFraction();
  void Add(const ReferenceAmount& other);
  void Subtract(ReferenceAmount other);
};

BigInt PowerOfTen(std::uint32_t exponent);
BigInt Digits(const std::string& text);
std::string DigitsOf(const BigInt& number);
// Less than, equal to or greater than 0, as a compared to b; null amounts count as 0.
int CompareAmounts(const ReferenceAmount& a, const ReferenceAmount& b);

}  // namespace tmx
