// A position on a character screen.
#pragma once

#include <cstdint>

#include "tmxtools/platform/export.h"

// Column and row as 32-bit numbers. Empty state: 0, 0. Threads: as an int.
class TMX_EXPORT Point {
 public:
  constexpr Point() = default;
  constexpr Point(long x, long y)
      : x_(static_cast<std::int32_t>(x)), y_(static_cast<std::int32_t>(y)) {}

  constexpr long X() const { return x_; }
  constexpr long Y() const { return y_; }

  friend constexpr bool operator==(const Point&, const Point&) = default;

 private:
  std::int32_t x_ = 0;
  std::int32_t y_ = 0;
};
