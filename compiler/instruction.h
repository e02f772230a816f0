// One instruction taken apart by its row of the opcode table, as far as that is possible without
// knowing the frame that executes it.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "compiler/code_reader.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

struct DecodedValue {
  const Operand* shape = nullptr;
  bool is_variable = false;         // number is the id of a tagged variable
  TypeCode type = TypeCode::kNone;  // of a literal
  std::uint32_t number = 0;
  std::string_view text;
};

struct Instruction {
  std::size_t offset = 0;
  std::size_t end = 0;
  const Opcode* opcode = nullptr;
  int count = 0;
  std::vector<DecodedValue> operands;
};

// None if the bytes are not a whole instruction with the right tags. Operands whose type depends
// on holders are taken with the type of their own tag.
std::optional<Instruction> DecodeInstruction(std::string_view code, std::size_t offset);

}  // namespace tmx::compiler
