#include "compiler/type_names.h"

#include <utility>

namespace tmx::compiler {
namespace {

constexpr std::pair<std::string_view, TypeCode> kTypes[] = {
    {"string", TypeCode::kString}, {"date", TypeCode::kDate},     {"time", TypeCode::kTime},
    {"int", TypeCode::kInt},       {"long", TypeCode::kLong},     {"float", TypeCode::kFloat},
    {"amount", TypeCode::kAmount}, {"binary", TypeCode::kBinary}, {"bool", TypeCode::kBool},
    {"char", TypeCode::kChar}};

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

}  // namespace tmx::compiler
