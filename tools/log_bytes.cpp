#include "tools/log_bytes.h"

#include <algorithm>

namespace tmx::tools {
namespace {

constexpr std::uint32_t kWindow = 1 << 16;
// Held before the byte asked for, as whoever reads a text goes back to its beginning now and then.
constexpr std::uint32_t kBefore = kWindow / 4;

}  // namespace

void LogBytes::Load(std::uint32_t position) {
  begin_ = position - std::min(position, kBefore);
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
