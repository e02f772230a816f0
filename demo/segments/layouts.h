// How the fields of a segment follow each other: one table for the generated macros and the docs.
//
// A layout is written as the segment itself, with the names of fields for their values:
//
//   layout  = element { "+" element } [ "+" repeat ]
//   repeat  = "(" element ")*" step         the element again and again, up to the segment's end,
//             [ "x" most { "+" element } ]  or so often, with elements behind
//   element = part { ":" part } [ ":" again ] | again
//   again   = "(" part { ":" part } ")*" step | name "*" step      up to the element's end
//   part    = name
//
// The k-th repetition of a field has the field's id plus k steps. For codes with "HK", which are
// requests, subroutines are written that write them; for all others such that read them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "demo/segments/fields.h"

namespace tmx::demo {

struct Layout {
  const char* code;
  int first_version;
  int last_version;
  const char* text;
};

std::span<const Layout> AllLayouts();

// A parsed layout.
struct Part {
  const Field* field = nullptr;
  std::uint32_t step = 0;  // not 0: repeated up to the end of the element
};

struct Element {
  std::vector<Part> parts;
  std::vector<Part> again;       // parts repeated together behind `parts`
  std::uint32_t again_step = 0;  // of `again`
  std::uint32_t step = 0;        // not 0: the element is repeated up to the end of the segment
  std::uint32_t most = 0;        // not 0: or so often
};

// Gives what is wrong with the layout, or an empty text.
std::string ParseLayout(std::string_view text, std::vector<Element>& elements);

}  // namespace tmx::demo
