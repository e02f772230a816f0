#include "tmxtools/platform/secret.h"

#include <new>

#include "tmxtools/platform/string.h"

namespace tmx {

void Wipe(String& text) noexcept {
  try {
    for (std::uint16_t i = 0; i < text.Len(); ++i) text.Set(i, '\0');
  } catch (const std::bad_alloc&) {
    // It was shared and is left to the others.
  }
  text.Clear();
}

}  // namespace tmx
