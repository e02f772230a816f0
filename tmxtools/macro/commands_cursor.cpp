// The commands that search the input, move the cursor in it and set it.

#include <algorithm>

#include "tmxtools/macro/operands.h"
#include "tmxtools/platform/upper_case.h"

using tmx::TypeCode;

namespace {

// The position of a pattern, or the text's length. The empty pattern is never found.
std::size_t FindWithoutCase(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.size();
  const auto same = [](char a, char b) { return tmx::UpperCase(a) == tmx::UpperCase(b); };
  const auto hit = std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), same);
  return static_cast<std::size_t>(hit - text.begin());
}

}  // namespace

// ---- searching and skipping -------------------------------------------------------------------

// The hit was counted from the cursor and is used here as a position of the whole input. That is
// meant so; both agree for a search from the start.
void MeMacroEngine::MoveCursorToHit(std::uint32_t hit, short mode) {
  const std::string_view input = input_.View();
  std::uint32_t p = hit;
  if (mode == 0) {
    if (hit > input_pos_)
      while (p > input_pos_ && input[p] != '\n') --p;
    if (p < input.size() && input[p] == '\n') ++p;
  } else if (mode == 2) {
    while (p < input.size() && input[p] != '\n') ++p;
    if (p < input.size()) ++p;
  }
  input_pos_ = p;
}

// Column and line of the hit, set step by step: both may be one variable. Position 0 is never
// looked at; that is meant so.
void MeMacroEngine::LocateHit(std::uint32_t hit, HbIntVariable& column, HbIntVariable& line) const {
  const std::string_view input = input_.View();
  line.Set(0);
  bool met = false;
  int steps = -1;
  for (std::uint32_t p = hit; p >= 1; --p, ++steps) {
    if (input[p] != '\n') continue;
    if (!met) column.Set(static_cast<short>(steps));
    met = true;
    line.Set(static_cast<short>(line.Get() + 1));
  }
  if (!met) column.Set(static_cast<short>(hit));
}

template <class Operands>
void MeMacroEngine::CmdSearch(Operands& in, int count) {
  const String& pattern = in.Text();
  const short mode = count >= 2 ? in.Int() : short{0};
  auto* const column =
      count >= 3 ? static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt)) : nullptr;
  auto* const line =
      count >= 3 ? static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt)) : nullptr;
  if (!in.Ok()) return;
  const std::string_view input = InputFromCursor();
  const std::size_t hit = FindWithoutCase(input, pattern.View());
  condition_ = hit < input.size();
  if (condition_) {
    MoveCursorToHit(static_cast<std::uint32_t>(hit), mode);
    if (count >= 3) LocateHit(static_cast<std::uint32_t>(hit), *column, *line);
  }
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdSearch);

template <class Operands>
void MeMacroEngine::CmdEatLeadingChars(Operands& in, int count) {
  char character = ' ';
  if (count >= 1) {
    character = in.Char();
    if (!in.Ok()) return;
  }
  EatLeading(character);
}
TMX_COMMAND(CmdEatLeadingChars);

// ---- the input itself -------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::CmdReceiveString(Operands& in, int) {
  const String& text = in.AnyText();
  if (!in.Ok()) return;
  input_ = text;
  input_pos_ = 0;
}
TMX_COMMAND(CmdReceiveString);

template <class Operands>
void MeMacroEngine::CmdReceiveOutput(Operands&, int) {
  input_ = output_;
  input_pos_ = 0;
}
TMX_COMMAND(CmdReceiveOutput);
