// What an operand accepts and how literals become bytes: the rules between the opcode table and
// the tree, without a subroutine's state.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "compiler/ast.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// Whether a tagged operand of a type reads a variable of another: a text reader also takes the
// text of an amount.
bool ReaderAccepts(const Operand& shape, TypeCode wanted, TypeCode variable);

// Whether a value of the type has a text form, and whether an operand takes all of those.
bool HasTextForm(TypeCode type);
inline bool TakesAnyText(const Operand& shape) {
  return shape.kind == OperandKind::kAnyAttribute || shape.kind == OperandKind::kTextList;
}

// Whether a call can push a literal of the type.
bool CanBePushed(TypeCode type);

// The type that a literal has where `wanted` is expected (kNone: anything).
TypeCode LiteralType(const Term& term, TypeCode wanted);

// Whether the text is an amount as people write it: digits with a decimal comma and perhaps a sign
// and dots between thousands. Others make amounts too ("1.50" is 150), but hardly what was meant.
bool IsAmountText(std::string_view text);

// The raw bytes of a literal of the type; an error text if it has no such form. Verbatim sources
// may also write amounts and dates that nobody would.
struct LiteralBytes {
  std::string bytes;
  bool ends_in_text = false;  // the last byte is a text's zero
  std::string error;
};
LiteralBytes EncodeLiteral(const Term& term, TypeCode type, bool verbatim);

// The count of a command written with that many operands, none if no count fits.
std::optional<int> CountFor(const Opcode& opcode, int operands);
// How many operands an instruction has; a variadic one has no limit but the count byte's.
int OperandsAt(const Opcode& opcode, int count);
// The shape of operand number i; operands of a call beyond the name share one shape.
const Operand& ShapeOf(const Opcode& opcode, int i);

// "a text", "a number" and so on, for messages.
std::string Describe(const Term& term);

}  // namespace tmx::compiler
