#include "tools/log_bytes.h"

#include <algorithm>

namespace tmx::tools {
namespace {

constexpr std::uint32_t kWindow = 1 << 16;

}  // namespace

void LogBytes::Load(std::uint32_t position) {
  // Whoever goes backwards goes on doing so.
  const bool backwards = position < begin_;
  begin_ = backwards ? position + 1 - std::min(position + 1, kWindow) : position;
  window_.assign(kWindow, '\0');
  stream_.Seek(begin_);
  stream_.Read(window_.data(), kWindow);
}

void LogBytes::Put(Range range, const Sink& to) {
  for (std::uint32_t at = range.begin; at != range.end;) {
    At(at);
    const std::uint32_t within = at - begin_;
    const std::uint32_t count = std::min(range.end - at, kWindow - within);
    to(std::string_view(window_).substr(within, count));
    at += count;
  }
}

}  // namespace tmx::tools
