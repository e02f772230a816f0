// Every form of every instruction, made from the opcode table: each accepted count, each operand as
// a literal and as a variable, each type where the instruction names one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx {

// One operand of an instruction as it is written.
struct OperandForm {
  OperandKind kind = OperandKind::kRawType;
  TypeCode type = TypeCode::kNone;  // of the value; what a variable must have been declared as
  bool tagged = false;
  bool variable = false;
  std::string bytes;        // the whole operand
  bool zero_ended = false;  // the value is a text
};

struct Instruction {
  const Opcode* row = nullptr;
  int count = 0;
  std::vector<OperandForm> operands;

  std::string Bytes() const;
  // For failed assertions: the mnemonic, the count and the form of each operand.
  std::string Describe() const;
};

// Declares one variable of each type, sets them and the input, so that every instruction can work.
CodeBuilder Preamble();
// The ids of these variables. kFreeId is the next one.
inline constexpr int kStringId = 33, kDateId = 34, kIntId = 35, kLongId = 36, kAmountId = 37,
                     kBoolId = 38, kOtherIntId = 39, kFreeId = 40;
int VariableOfType(TypeCode type);

// All forms of an opcode's instruction. Jump targets are `target`.
std::vector<Instruction> AllForms(const Opcode& row, std::size_t target);

}  // namespace tmx
