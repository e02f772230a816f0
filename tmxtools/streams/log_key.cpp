#include "tmxtools/streams/log_key.h"

#include <algorithm>

namespace tmx {

LogKey MakeLogKey(const String& text) {
  LogKey key;
  std::ranges::transform(text.View().substr(0, LogKey::Size()), key.Data(),
                         [](char c) { return static_cast<std::uint8_t>(c); });
  return key;
}

}  // namespace tmx
