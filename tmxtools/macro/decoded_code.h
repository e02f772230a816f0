// The decoded form of a subroutine, filled in instruction by instruction as each is executed for
// the first time.
//
// There is one slot for every byte of the code, so that the slot of an instruction is found from
// its byte position and back, and a jump into the middle of an instruction decodes what stands
// there. A slot that says kReadBytes is executed by the engine that reads one byte after the other;
// that holds for everything malformed, so that only one place in the system raises those errors.
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
  const DecodedInstruction* code = nullptr;
  std::uint64_t lookup_state = 0;
  bool may_borrow = false;  // references only, and the callee's first action needs no frame
  // Behind the declarations of parameters that the arguments satisfy.
  std::uint16_t entry = 0;
  std::uint32_t entry_steps = 0;
};

struct DecodedInstruction {
  Action action = Action::kNotDecoded;
  std::uint8_t opcode = 0;
  std::uint8_t count = 0;
  char op = 0;
  std::uint16_t next = 0;    // offset of the following instruction
  std::uint16_t target = 0;  // of a jump
  std::int16_t id = 0;
  std::int16_t left = 0;
  std::int16_t right = 0;
  std::int32_t number = 0;
  std::int32_t limit = 0;
  union {
    const DecodedOperand* operands = nullptr;
    CallSite* call;
  };
};

class DecodedCode {
 public:
  explicit DecodedCode(const MacroCode& code);
  ~DecodedCode();

  // The instruction at an offset of at most the code's length, decoded.
  DecodedInstruction& At(std::uint16_t offset) {
    DecodedInstruction& slot = slots_[offset];
    if (slot.action == Action::kNotDecoded) Decode(offset);
    return slot;
  }
  std::uint16_t length() const { return length_; }
  // All instructions by their offsets, some of them not decoded yet.
  const DecodedInstruction* slots() const { return slots_.get(); }

 private:
  void Decode(std::uint16_t offset);
  const std::int16_t* ReferencesOf(const DecodedOperand* arguments, int count);
  void CombineParams(std::uint16_t offset);
  void Combine(std::uint16_t offset);

  static constexpr int kMaxInARow = 16;  // bounds the recursion over parameters

  class Reader;
  const MacroCode& code_;
  std::uint16_t length_;
  int in_a_row_ = 0;
  std::unique_ptr<DecodedInstruction[]> slots_;  // length + 1; the last one reads bytes
  std::vector<std::unique_ptr<DecodedOperand[]>> operands_;
  std::deque<String> texts_;
  std::vector<std::unique_ptr<std::int16_t[]>> references_;
  std::deque<CallSite> calls_;
};

}  // namespace tmx
