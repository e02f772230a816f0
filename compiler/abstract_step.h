// Executes one instruction on types: what errors it raises, how it changes the frame, where it goes
// on. It reads its operands in the engine's order and goes on after an error as the engine's
// readers do, so that every error it can report is found.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "compiler/code_reader.h"
#include "compiler/frame_types.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

struct StepFault {
  std::optional<std::size_t> position;
  std::string text;
};

// A static variable came into use.
struct StaticUse {
  std::uint32_t key = 0;
  TypeCode storage = TypeCode::kNone;
  std::size_t position = 0;
};

struct CallMade {
  std::optional<std::string> name;  // none if only a variable knows it
  std::vector<HolderType> parameters;
};

struct Step {
  const Opcode* opcode = nullptr;
  std::size_t offset = 0;          // of the opcode, behind fillers and line marks
  std::vector<std::size_t> units;  // starts of fillers, line marks and the instruction
  std::size_t end = 0;             // the first byte behind the operands
  std::vector<StepFault> faults;   // empty if the instruction is sound
  std::vector<std::string> warnings;
  std::vector<StaticUse> statics;
  std::optional<CallMade> call;
  std::vector<std::size_t> next;   // offsets where the subroutine goes on
  FrameTypes frame;                // after the instruction
  std::optional<FrameTypes> also;  // a second possible frame
};

Step ExecuteOnTypes(std::string_view code, std::size_t pc, const FrameTypes& frame,
                    EngineKind engine);

}  // namespace tmx::compiler
