#include "tmxtools/platform/clock.h"

#include <time.h>

#include <atomic>

namespace tmx {
namespace {

std::atomic<Clock*> current_clock{nullptr};

WallTime SystemNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  localtime_r(&now.tv_sec, &parts);
  const int date = (parts.tm_year + 1900) * 10000 + (parts.tm_mon + 1) * 100 + parts.tm_mday;
  const int hundredths = static_cast<int>(now.tv_nsec / 10'000'000);
  const int time = parts.tm_hour * 1000000 + parts.tm_min * 10000 + parts.tm_sec * 100 + hundredths;
  return {static_cast<std::uint32_t>(date), time};
}

}  // namespace

WallTime Now() {
  Clock* const clock = current_clock.load(std::memory_order_acquire);
  return clock == nullptr ? SystemNow() : clock->Now();
}

Clock* SetClock(Clock* clock) { return current_clock.exchange(clock, std::memory_order_acq_rel); }

}  // namespace tmx
