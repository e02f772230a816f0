// The decoded form of a subroutine, filled in instruction by instruction as each is executed for
// the first time.
//
// An instruction is found from its byte position and back, and a jump into the middle of an
// instruction decodes what stands there. The instructions lie side by side in the order in which
// they are met, so that what runs together fits into the processor's cache. One that says
// kReadBytes is executed by the engine that reads one byte after the other; that holds for
// everything malformed, so that only one place in the system raises those errors.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "tmxtools/macro/macro_code.h"
#include "tmxtools/macro/opcode_table.h"
#include "tmxtools/platform/string.h"

namespace tmx {

// What the loop over decoded code does with an instruction.
enum class Action : std::uint8_t {
  kNotDecoded,
  kReadBytes,
  kSkip,     // filler
  kFile,     // operands: the source file's name
  kLine,     // number: source line
  kCommand,  // a command of the table with decoded operands
  kParams,   // number: how many in a row; nothing to do when the caller passed all up to id
  kLocal,    // id, type
  kLocalDefault,
  kName,  // operands: id, name
  kGoto,  // target
  kIf,
  kIfNot,
  kCall,
  kExit,
  kEat,  // op: the character to skip
  // Combinations that loops are made of.
  kAddLong,             // id = left + number
  kAddLongs,            // id = left + right
  kCompareLong,         // left, op, number
  kAddCompareJumpLong,  // an addition, a comparison of the same variable and a jump
};

// One operand: the tag as it stands in the code, and the value when it is a literal.
struct DecodedOperand {
  std::int16_t tag = 0;
  std::int32_t number = 0;       // int, long, bool, char, raw date value and every raw operand
  const String* text = nullptr;  // string and amount
};

struct DecodedInstruction;

// What a call looked up, good for one state of the file stack.
struct CallSite {
  const String* name = nullptr;
  const DecodedOperand* arguments = nullptr;
  int argument_count = 0;
  const std::int16_t* references = nullptr;  // the arguments' ids when all are variables
  MacroCode* callee = nullptr;
  const DecodedInstruction* code = nullptr;  // the callee's
  std::uint64_t lookup_state = 0;
  bool may_borrow = false;  // references only, and the callee's first action needs no frame
  // The instruction behind the declarations of parameters that the arguments satisfy.
  std::uint16_t entry = 0;
  std::uint32_t entry_steps = 0;
};

struct DecodedInstruction {
  Action action = Action::kNotDecoded;
  std::uint8_t opcode = 0;
  std::uint8_t count = 0;
  char op = 0;
  // Positions in the bytes: its own and that of the following instruction.
  std::uint16_t offset = 0;
  std::uint16_t next_offset = 0;
  // The numbers of the following instruction and of a jump's target.
  std::uint16_t next = 0;
  std::uint16_t target = 0;
  std::int16_t id = 0;
  std::int16_t left = 0;
  std::int16_t right = 0;
  std::int32_t number = 0;
  union {
    const DecodedOperand* operands = nullptr;
    CallSite* call;
    std::int32_t limit;
  };
};
static_assert(sizeof(DecodedInstruction) == 32);

class DecodedCode {
 public:
  explicit DecodedCode(const MacroCode& code);
  ~DecodedCode();

  // The number of the instruction at a position of at most the code's length.
  std::uint16_t NumberAt(std::uint16_t offset) {
    if (numbers_[offset] == 0 && offset != length_) Enter(offset);
    return numbers_[offset];
  }
  // An instruction, decoded.
  const DecodedInstruction& Get(std::uint16_t number) { return Get(number, 1); }
  // All instructions by their numbers, some of them not decoded yet. They stay where they are.
  const DecodedInstruction* instructions() const { return instructions_.data(); }

 private:
  // `in_a_row` counts the instructions that ask for the one behind them, to be combined with it.
  const DecodedInstruction& Get(std::uint16_t number, int in_a_row) {
    if (instructions_[number].action == Action::kNotDecoded) {
      const DecodedInstruction decoded = Decode(instructions_[number].offset, in_a_row);
      instructions_[number] = decoded;
    }
    return instructions_[number];
  }
  void Enter(std::uint16_t offset);
  DecodedInstruction Decode(std::uint16_t offset, int in_a_row);
  const DecodedOperand* Keep(const DecodedOperand* operands, std::size_t count);
  const std::int16_t* ReferencesOf(const DecodedOperand* arguments, int count);
  void CombineParams(DecodedInstruction& params, int in_a_row);
  void Combine(DecodedInstruction& instruction, int in_a_row);

  static constexpr int kMaxInARow = 16;  // bounds the recursion

  class Reader;
  const MacroCode& code_;
  std::uint16_t length_;
  std::vector<std::uint16_t> numbers_;            // by position; 0: none yet, or the end
  std::vector<DecodedInstruction> instructions_;  // the first stands for the end of the code
  std::vector<std::unique_ptr<DecodedOperand[]>> operands_;
  DecodedOperand* free_operands_ = nullptr;  // in the last block
  std::size_t free_operand_count_ = 0;
  std::deque<String> texts_;
  std::vector<std::unique_ptr<std::int16_t[]>> references_;
  std::deque<CallSite> calls_;
};

}  // namespace tmx
