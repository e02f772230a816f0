// Texts with secrets in them.
#pragma once

#include <string>

#include "tmxtools/platform/secret.h"

namespace tmx::demo {

// A text that leaves nothing behind, also when it grows, unless it is so short that it lies in the
// object itself.
using SecretString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

}  // namespace tmx::demo
