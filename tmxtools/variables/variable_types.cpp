#include "tmxtools/variables/variable_types.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <new>
#include <string_view>

#include "tmxtools/platform/stream.h"
#include "tmxtools/variables/variable.h"

namespace tmx {
namespace {

void Write(SvStream& stream, std::string_view text) { stream.Write(text.data(), text.size()); }

void DumpValue(SvStream& stream, const String& value) { Write(stream, value.View()); }
void DumpValue(SvStream& stream, const HbDate& value) {
  Write(stream, String::FromInt(static_cast<std::int64_t>(value.GetDate())).View());
}
void DumpValue(SvStream& stream, const HbTime& value) {
  stream.WriteDec(static_cast<std::int32_t>(value.GetTime()));
}
void DumpValue(SvStream& stream, std::int32_t value) { stream.WriteDec(value); }
void DumpValue(SvStream& stream, float value) {
  // Plain decimal notation: sign, the digits of the largest or smallest number, point.
  using Limits = std::numeric_limits<float>;
  constexpr int digits =
      3 + Limits::max_exponent10 - Limits::min_exponent10 + 2 * Limits::max_digits10;
  char text[digits];
  const char* const end = std::to_chars(text, text + digits, value, std::chars_format::fixed).ptr;
  Write(stream, {text, static_cast<std::size_t>(end - text)});
}
void DumpValue(SvStream& stream, const HbAmount& value) { Write(stream, value.GetString().View()); }
void DumpValue(SvStream& stream, bool value) { Write(stream, value ? "J" : "N"); }

template <class Cell>
HbVariable* Create() {
  return new (std::nothrow) Cell;
}

template <class Cell>
void Dump(const HbVariable& variable, SvStream& stream) {
  const auto& cell = static_cast<const Cell&>(variable);
  if constexpr (Cell::kType == kBinaryType) {
    Write(stream, "@");
    Write(stream, String::FromInt(static_cast<std::int64_t>(cell.GetLength())).View());
    Write(stream, "@<binary data>");
  } else if constexpr (Cell::kType == kInt16Type || Cell::kType == kInt32Type) {
    DumpValue(stream, static_cast<std::int32_t>(cell.Get()));
  } else {
    DumpValue(stream, cell.Get());
  }
}

template <class Cell>
constexpr VariableTraits Traits(const char* name) {
  return {Cell::kType, name, &Create<Cell>, &Dump<Cell>};
}

constexpr VariableTraits kTraits[] = {
    Traits<HbStringVariable>("STRING  "), Traits<HbDateVariable>("DATE    "),
    Traits<HbTimeVariable>("TIME    "),   Traits<HbIntVariable>("INT16   "),
    Traits<HbLongVariable>("INT32   "),   Traits<HbFloatVariable>("FLOAT   "),
    Traits<HbAmountVariable>("AMOUNT  "), Traits<HbBinaryVariable>("BINARY  "),
    Traits<HbBoolVariable>("BOOL    "),
};

}  // namespace

const VariableTraits* FindVariableTraits(unsigned short type) noexcept {
  const auto* const found = std::ranges::find(kTraits, type, &VariableTraits::type);
  return found != std::end(kTraits) ? found : nullptr;
}

}  // namespace tmx
