// Compiles one subroutine's tree to bytecode.
//
// Blocks become jumps that leave the engine's condition as the command before set it: opcode 31
// with its negation would invert it for good, so a branch that is taken when the condition fails
// is a jump around a goto instead.
#pragma once

#include <string>
#include <vector>

#include "compiler/ast.h"
#include "compiler/compiler.h"
#include "compiler/source.h"

namespace tmx::compiler {

struct SubroutineContext {
  std::string file_name;  // for opcode 160
  bool verbatim = false;
  bool marks = true;
  const Signatures& own;
  const Signatures* others = nullptr;
};

std::string CompileSubroutine(const Subroutine& subroutine, const SubroutineContext& context,
                              Diagnostics& diagnostics);

}  // namespace tmx::compiler
