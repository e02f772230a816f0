#include "tmxtools/platform/converter.h"

#include "tmxtools/platform/upper_case.h"

namespace vos {

String Converter::toUpper(const String& text, const char* /*locale_name*/) {
  String result;
  result.Reserve(text.Len());
  for (const char byte : text.View()) result += tmx::UpperCase(byte);
  return result;
}

}  // namespace vos
