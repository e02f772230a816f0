#include "compiler/keywords.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tmx::compiler {
namespace {

constexpr std::pair<std::string_view, TypeCode> kTypes[] = {
    {"string", TypeCode::kString}, {"date", TypeCode::kDate},     {"time", TypeCode::kTime},
    {"int", TypeCode::kInt},       {"long", TypeCode::kLong},     {"float", TypeCode::kFloat},
    {"amount", TypeCode::kAmount}, {"binary", TypeCode::kBinary}, {"bool", TypeCode::kBool},
    {"char", TypeCode::kChar}};

// Words that no variable, label or subroutine may be called without quotes.
constexpr std::string_view kReserved[] = {"true", "false", "left",  "right", "not",
                                          "and",  "or",    "value", "end",   "condition"};

}  // namespace

TypeCode TypeNamed(std::string_view word) {
  for (const auto& [name, type] : kTypes)
    if (name == word) return type;
  return TypeCode::kNone;
}

std::string NameOfType(TypeCode type) {
  for (const auto& [name, code] : kTypes)
    if (code == type) return std::string(name);
  return std::to_string(static_cast<int>(type));
}

bool IsReserved(std::string_view word) {
  return TypeNamed(word) != TypeCode::kNone ||
         std::find(std::begin(kReserved), std::end(kReserved), word) != std::end(kReserved);
}

}  // namespace tmx::compiler
