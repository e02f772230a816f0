// The reserved words of the language; the keywords of the types are some of them.
#pragma once

#include <string>
#include <string_view>

#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// The keyword of a type; kNone for a word that is none. The second yields a text that a
// type operand is written as: the keyword, or the number of a type without one.
TypeCode TypeNamed(std::string_view word);
std::string NameOfType(TypeCode type);

// Words that no variable, label or subroutine may be called without quotes.
bool IsReserved(std::string_view word);

}  // namespace tmx::compiler
