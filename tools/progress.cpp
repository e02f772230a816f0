#include "tools/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tmx::tools {
namespace {

constexpr std::chrono::milliseconds kPatience{300};
constexpr std::chrono::milliseconds kBetween{100};

}  // namespace

Progress::Progress(std::string what, std::uint64_t total)
    : what_(std::move(what)),
      total_(total),
      is_terminal_(isatty(STDERR_FILENO) == 1),
      next_(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (is_shown_) std::fputs("\r\033[K", stderr);
}

void Progress::Advance(std::uint64_t bytes) {
  done_ += bytes;
  if (!is_terminal_) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kBetween;
  is_shown_ = true;
  Show();
}

void Progress::Show() const {
  const double megabytes = static_cast<double>(done_) / 1e6;
  std::fprintf(stderr, "\r%s: %.1f MB", what_.c_str(), megabytes);
  if (total_ > 0) {
    std::fprintf(stderr, " (%d %%)", static_cast<int>(std::min(done_, total_) * 100 / total_));
  }
  std::fputs("\033[K", stderr);
  std::fflush(stderr);
}

}  // namespace tmx::tools
