// Prints docs/segments.md from the tables of fields and segments.
#include <cstdio>

#include "demo/segments/fields.h"
#include "demo/segments/layouts.h"

namespace {

constexpr const char* kIntroduction =
    R"(# Segments and their fields

What the shipped macros make of a bank's segments, and what they make segments of. A field has one
id and one meaning in all segments and all their versions; hosts find the constants in
`demo/segments/fields.h`, macros declare the fields by their ids. Both this page and
`macros/hbcim4.segments.hbm` are written from the tables in `demo/segments` by `./dev docs`.

An empty element leaves its field absent. The k-th repetition of a field (k = 0, 1, ...) stands under
the field's id plus k times the step that the layout names behind the `*`.

| A field | holds |
|---|---|
| text | a string, ISO 8859-1, escapes resolved; times are HHMMSS |
| int, number | 16 and 32 bits, not negative |
| amount | a string with the text of an amount, `1234,56`; its currency is a field of its own |
| date | a day |
| yes/no | a bool, `J` or `N` in the segment |
| binary | bytes of any length, as the bank sent them |

What does not fit is kept, too:

- A value that does not read as its type stands as text under the field's id plus 1000000000.
- A text that is longer than 4096 bytes or holds control characters becomes a binary field.
- The elements of a segment that has no layout here stand as texts: part p (from 0) of element e
  (from 1, behind the head) under 900000000 + 1000 e + p. The thousandth part of an element holds
  all that follow it, too.
- What follows the last element of a layout, or the last part of a group, stands as one text under
  the id that its element would have there.
- An empty element among repeated groups is none of them. A return code that is missing or does not
  read as a number is 0, so that those behind it are found.

)";

const char* TypeName(tmx::demo::FieldType type) {
  constexpr const char* kNames[] = {"text", "int", "number", "amount", "date", "yes/no", "binary"};
  return kNames[static_cast<int>(type)];
}

}  // namespace

int main() {
  std::fputs(kIntroduction, stdout);
  std::puts("## Fields\n\n| Name | Id | Type | Meaning |\n|---|---|---|---|");
  for (const tmx::demo::Field& field : tmx::demo::AllFields())
    std::printf("| %s | %u | %s | %s |\n", field.name, field.id, TypeName(field.type),
                field.meaning);
  std::puts(
      "\n## Layouts\n\nThe elements behind the head. `(...)*step` is repeated to the end of the\n"
      "segment, or inside an element to the end of that; with `x999` at most so often.\n\n"
      "| Segment | Versions | Layout |\n"
      "|---|---|---|");
  for (const tmx::demo::Layout& layout : tmx::demo::AllLayouts()) {
    std::printf("| %s | %d", layout.code, layout.first_version);
    if (layout.last_version != layout.first_version) std::printf("–%d", layout.last_version);
    std::printf(" | `%s` |\n", layout.text);
  }
  return 0;
}
