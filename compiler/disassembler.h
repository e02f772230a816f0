// Writes macro files as source that compiles to the same bytes, whatever the files hold: what is
// no instruction becomes raw bytes, what is no ordinary layout becomes explicit entries.
#pragma once

#include <string>
#include <vector>

#include "compiler/instruction.h"
#include "compiler/macro_image.h"

namespace tmx::compiler {

struct Disassembly {
  std::string source;
  std::vector<std::string> problems;  // what is wrong with the files, one line each
};

Disassembly Disassemble(const MacroImage& image);

// A text as a literal in quotes, and a name as it may stand in a source.
std::string Quoted(std::string_view text);
std::string NameOrQuoted(std::string_view name);

// One instruction as a statement; jump targets as offsets.
std::string Describe(const Instruction& instruction);

}  // namespace tmx::compiler
