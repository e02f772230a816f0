// Where "today" and "now" come from.
#pragma once

#include <cstdint>

#include "tmxtools/platform/export.h"

namespace tmx {

// A moment of local time, in the two raw values of the calendar classes.
struct WallTime {
  std::uint32_t date = 0;  // year * 10000 + month * 100 + day
  std::int32_t time = 0;   // hour * 1000000 + minute * 10000 + second * 100 + hundredths
};

// The one source of the current date and time. A test puts its own in place to fix the date.
class TMX_EXPORT Clock {
 public:
  virtual ~Clock() = default;
  virtual WallTime Now() = 0;
};

// The current source; at first the system's clock in local time.
TMX_EXPORT WallTime Now();

// Puts a clock in place that the caller keeps alive; null means the system's. Returns the one
// before (null for the system's). Safe to call from any thread.
TMX_EXPORT Clock* SetClock(Clock* clock);

// Puts a clock in place for its own lifetime.
class TMX_EXPORT ScopedClock {
 public:
  explicit ScopedClock(Clock& clock) : before_(SetClock(&clock)) {}
  ~ScopedClock() { SetClock(before_); }
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

 private:
  Clock* before_;
};

// A clock that stands still where it was set.
class TMX_EXPORT FixedClock : public Clock {
 public:
  explicit FixedClock(std::uint32_t date, std::int32_t time = 0) : now_{date, time} {}
  WallTime Now() override { return now_; }
  void Set(WallTime now) { now_ = now; }

 private:
  WallTime now_;
};

}  // namespace tmx
