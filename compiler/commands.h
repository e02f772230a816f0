// The commands of the opcode table by name, for what is special about a few of them.
#pragma once

#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

enum class Command : int {
#define TMX_COMMAND_NUMBER(number, command, ...) command = number,
  TMX_BASE_OPCODES(TMX_COMMAND_NUMBER) TMX_BANKING_OPCODES(TMX_COMMAND_NUMBER)
#undef TMX_COMMAND_NUMBER
};

inline const Opcode& Row(Command command) { return *FindOpcode(static_cast<int>(command)); }
// Whether a declaration takes a holder that is there as it is.
inline bool KeepsHolder(const Opcode& opcode) {
  return opcode.number != static_cast<int>(Command::CmdHolderLocal) &&
         opcode.number != static_cast<int>(Command::CmdDeclareHolder);
}
inline bool Is(const Opcode& opcode, Command command) {
  return opcode.number == static_cast<int>(command);
}

}  // namespace tmx::compiler
