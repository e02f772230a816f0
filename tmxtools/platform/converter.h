// Upper-casing of texts.
#pragma once

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

namespace vos {

class TMX_EXPORT Converter {
 public:
  // The text with the small letters of ISO 8859-1 (a to z, 0xE0 to 0xFE without the division sign
  // 0xF7) made capital. Sharp s (0xDF) and y with diaeresis (0xFF) have no capital there and stay.
  // One fixed table serves every locale name, so that results do not depend on the system.
  static String toUpper(const String& text, const char* locale_name);
};

}  // namespace vos
