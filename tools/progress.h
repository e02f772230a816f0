// How far long work is, on a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tmx::tools {

// Keeps one line on standard error up to date while it is a terminal, begun only when the work
// takes a while and wiped out at the end.
class Progress {
 public:
  // `total` bytes are going to be worked on; 0 when nobody knows.
  Progress(std::string what, std::uint64_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Advance(std::uint64_t bytes);

 private:
  using Clock = std::chrono::steady_clock;

  void Show() const;

  std::string what_;
  std::uint64_t total_;
  std::uint64_t done_ = 0;
  bool is_terminal_;
  bool is_shown_ = false;
  Clock::time_point next_;
};

}  // namespace tmx::tools
