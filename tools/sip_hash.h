// SipHash-2-4 by Aumasson and Bernstein: a keyed hash that is fast for short texts and does not
// tell its key.
#pragma once

#include <cstdint>
#include <string_view>

namespace tmx::tools {

struct SipKey {
  std::uint64_t low = 0, high = 0;
};

std::uint64_t SipHash(const SipKey& key, std::string_view bytes);

}  // namespace tmx::tools
