// Random macro programs from the opcode table: most of them well formed, some with a fault in one
// operand, some with damaged bytes. One seed always gives the same program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tests/support/run_outcome.h"

namespace tmx {

struct Program {
  enum Kind { kWellFormed, kFlawed, kDamaged };

  std::uint64_t seed = 0;
  Kind kind = kWellFormed;
  MacroImage general;  // below
  MacroImage file;     // on top of it
  std::string sub;     // where the run starts
  std::vector<HostParam> params;

  // Each subroutine in hexadecimal, and the parameters.
  std::string Describe() const;
};

Program MakeProgram(std::uint64_t seed);
// Only programs of the given kind.
Program MakeProgram(std::uint64_t seed, Program::Kind kind);

// A text such as a bank sends: segments, elements, escapes, dates and amounts.
std::string RandomBankAnswer(std::uint64_t seed);

}  // namespace tmx
