// Numbers as texts.
#pragma once

#include <charconv>
#include <concepts>
#include <locale>
#include <sstream>
#include <string>
#include <typeinfo>

#include "tmxtools/platform/export.h"

namespace com::velmora::core {

// A value could not be turned into a text.
class TMX_EXPORT bad_lexical_cast : public std::bad_cast {
 public:
  const char* what() const noexcept override;
};

// The default form of a value in a stream: decimal, whatever locale the program has set.
template <class Source>
std::string lexical_cast(const Source& source) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  if (!(out << source)) throw bad_lexical_cast();
  return out.str();
}

// The same for integers, without the price of a stream: each error asks for the text of its code.
template <std::integral Source>
std::string lexical_cast(const Source& source) {
  char digits[24];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, source).ptr);
}

}  // namespace com::velmora::core
