// The loop over decoded code.
//
// It runs while there is neither an observer nor an error. Whatever it cannot do exactly as the
// engine that reads bytes would, it leaves to that engine: it sets the program counter to the
// instruction and returns, having changed nothing. So no error is raised here but by the commands
// themselves, after all their operands were read.

#include <array>
#include <new>
#include <stdexcept>
#include <typeinfo>

#include "tmxtools/macro/decoded_code.h"
#include "tmxtools/macro/operands.h"

using tmx::Action;
using tmx::CallSite;
using tmx::DecodedCode;
using tmx::DecodedInstruction;
using tmx::DecodedOperand;
using tmx::DecodedOperands;
using tmx::HolderList;
using tmx::kFirstVariableTag;
using tmx::kMalformed;
using tmx::TypeCode;

namespace {

constexpr unsigned short kLongType = 6;

DecodedCode& DecodedOf(HbStackFrame& frame) {
  if (DecodedCode* const decoded = frame.GetDecoded()) return *decoded;
  tmx::MacroCode& code = *frame.GetByteCode()->GetCode();
  if (code.decoded == nullptr) code.decoded = std::make_unique<DecodedCode>(code);
  frame.SetDecoded(code.decoded.get());
  return *code.decoded;
}

// The long variable that a holder of type long already has, or null.
inline HbLongVariable* LongVariable(const HolderList& holders, short id) {
  const HbVariableHolder* const holder = holders.Get(id);
  return holder != nullptr && holder->GetReadyType() == kLongType
             ? static_cast<HbLongVariable*>(holder->GetVariable())
             : nullptr;
}

std::int32_t WrappingSum(long a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

bool Holds(char op, long a, std::int32_t b) {
  return op == '<' ? a < b : op == '=' ? a == b : a > b;
}

}  // namespace

bool MeMacroEngine::MayRunDecoded() const {
  return observer_ == nullptr && !resume_pending_ && !HasStatus() && !last_cmd_error_.IsSet() &&
         (decoded_allowed_ || typeid(*this) == typeid(MeMacroEngine));
}

// Runs a command with decoded operands. False when it gave up.
bool MeMacroEngine::RunDecodedCommand(HbStackFrame& frame, const DecodedInstruction& instruction) {
  using Command = void (MeMacroEngine::*)(DecodedOperands&, int);
  static constexpr auto kCommands = [] {
    std::array<Command, 256> commands{};
#define TMX_ENTER(number, command) commands[number] = &MeMacroEngine::command;
    TMX_DECODED_COMMANDS(TMX_ENTER)
#undef TMX_ENTER
    return commands;
  }();
  DecodedOperands operands(frame, instruction.operands);
  frame.GetByteCode()->SetPC(instruction.next);
  try {
    (this->*kCommands[instruction.opcode])(operands, instruction.count);
  } catch (const std::length_error&) {
    SetMacroStatus(kMalformed);
  } catch (const std::bad_alloc&) {
    SetMacroStatus(kMalformed);
  }
  return !operands.GaveUp();
}

// Appends a holder with a default value as the declaration of a local does.
bool MeMacroEngine::DeclareDecoded(HbStackFrame& frame, const DecodedInstruction& instruction) {
  if (instruction.id != frame.GetMaxVarId() + 1) return false;
  const auto type = static_cast<unsigned short>(instruction.number);
  if (instruction.action == Action::kLocal) {
    frame.AppendHolder(type, HbVariableHolder::kLocal);
    return true;
  }
  const DecodedOperand& value = instruction.operands[2];
  const auto append = [&frame, type](auto* variable, const auto& initial) {
    variable->Set(initial);
    frame.AppendHolder(type, HbVariableHolder::kLocal).AdoptVariable(variable);
  };
  switch (static_cast<TypeCode>(type)) {
    case TypeCode::kString:
    case TypeCode::kAmount:
      append(new HbStringVariable, *value.text);
      return true;
    case TypeCode::kInt:
      append(new HbIntVariable, static_cast<short>(value.number));
      return true;
    case TypeCode::kLong:
      append(new HbLongVariable, long{value.number});
      return true;
    case TypeCode::kBool:
      append(new HbBoolVariable, value.number != 0);
      return true;
    case TypeCode::kDate:
      append(new HbDateVariable, HbDate(static_cast<unsigned long>(value.number)));
      return true;
    default:
      return false;
  }
}

// False for a variable that does not exist yet.
inline bool MeMacroEngine::PassDecoded(const tmx::HolderList& caller,
                                       const DecodedOperand& argument, HbStackFrame& callee) {
  if (argument.tag >= kFirstVariableTag) {
    const HbVariableHolder* const own = caller.Get(argument.tag);
    if (own == nullptr || own->GetReadyType() == 0) return false;
    callee.AppendReference(*own);
    return true;
  }
  switch (static_cast<TypeCode>(argument.tag)) {
    case TypeCode::kString:
    case TypeCode::kAmount:
      callee.PushParam(*argument.text);
      break;
    case TypeCode::kDate:
      callee.PushParam(HbDate(static_cast<unsigned long>(argument.number)));
      break;
    case TypeCode::kInt:
      callee.PushParam(static_cast<short>(argument.number));
      break;
    case TypeCode::kLong:
      callee.PushParam(long{argument.number});
      break;
    default:
      callee.PushParam(argument.number != 0);
  }
  return true;
}

// Pushes a frame for the call. Null when the call must be read from its bytes.
inline HbStackFrame* MeMacroEngine::CallDecoded(const HolderList& caller, CallSite& site) {
  if (call_stack_->Count() >= kMaxFrames) return nullptr;
  if (site.lookup_state != file_stack_.GetLookupState()) {
    site.callee = file_stack_.FindLoaded(*site.name);
    if (site.callee == nullptr) return nullptr;
    site.lookup_state = file_stack_.GetLookupState();
  }
  HbStackFrame* const callee = file_stack_.TakeFrame(*site.callee, *site.name);
  for (int i = 0; i < site.argument_count; ++i) {
    if (PassDecoded(caller, site.arguments[i], *callee)) continue;
    file_stack_.ReturnFrame(callee);
    return nullptr;
  }
  call_stack_->PushFrame(callee);
  cur_frame_ = callee;
  return callee;
}

void MeMacroEngine::RunDecoded() {
  HbStackFrame* frame = cur_frame_;
  DecodedCode* code = &DecodedOf(*frame);
  HolderList holders = frame->GetHolders();
  std::uint32_t pc = frame->GetByteCode()->GetPC();
  std::uint64_t steps = 0;
  const auto leave = [&](std::uint32_t at) {
    frame->GetByteCode()->SetPC(static_cast<unsigned short>(at));
    steps_ += steps;
  };
  if (pc > code->length()) return;
  for (;;) {
    const DecodedInstruction& instruction = code->At(static_cast<std::uint16_t>(pc));
    switch (instruction.action) {
      case Action::kAddCompareJumpLong: {
        HbLongVariable* const variable = LongVariable(holders, instruction.id);
        if (variable == nullptr) return leave(pc);
        const std::uint32_t own = pc;
        do {
          const std::int32_t sum = WrappingSum(variable->Get(), instruction.number);
          variable->Set(sum);
          condition_ = Holds(instruction.op, sum, instruction.limit);
          steps += 3;
          pc = condition_ ? instruction.target : instruction.next;
        } while (pc == own);
        continue;
      }
      case Action::kAddLong: {
        HbLongVariable* const target = LongVariable(holders, instruction.id);
        const HbLongVariable* const left = LongVariable(holders, instruction.left);
        if (target == nullptr || left == nullptr) return leave(pc);
        target->Set(WrappingSum(left->Get(), instruction.number));
        break;
      }
      case Action::kAddLongs: {
        HbLongVariable* const target = LongVariable(holders, instruction.id);
        const HbLongVariable* const left = LongVariable(holders, instruction.left);
        const HbLongVariable* const right = LongVariable(holders, instruction.right);
        if (target == nullptr || left == nullptr || right == nullptr) return leave(pc);
        target->Set(WrappingSum(left->Get(), static_cast<std::int32_t>(right->Get())));
        break;
      }
      case Action::kCompareLong: {
        const HbLongVariable* const left = LongVariable(holders, instruction.left);
        if (left == nullptr) return leave(pc);
        condition_ = Holds(instruction.op, left->Get(), instruction.number);
        break;
      }
      case Action::kCommand:
        if (!RunDecodedCommand(*frame, instruction)) return leave(pc);
        if (HasStatus() || last_cmd_error_.IsSet()) {
          ++steps;
          return leave(instruction.next);
        }
        break;
      case Action::kIfNot:
        condition_ = !condition_;
        [[fallthrough]];
      case Action::kIf:
        ++steps;
        pc = condition_ ? instruction.target : instruction.next;
        continue;
      case Action::kGoto:
        ++steps;
        pc = instruction.target;
        continue;
      case Action::kParams:
        if (holders.Get(instruction.id) == nullptr) return leave(pc);
        steps += static_cast<std::uint32_t>(instruction.number);
        pc = instruction.next;
        continue;
      case Action::kLocal:
      case Action::kLocalDefault:
        if (!DeclareDecoded(*frame, instruction)) return leave(pc);
        holders = frame->GetHolders();
        break;
      case Action::kName: {
        HbVariableHolder* const holder =
            holders.Get(static_cast<short>(instruction.operands[0].number));
        if (holder == nullptr) return leave(pc);
        holder->SetName(*instruction.operands[1].text);
        break;
      }
      case Action::kLine:
        frame->SetMacroSourceLine(static_cast<unsigned short>(instruction.number));
        pc = instruction.next;
        continue;
      case Action::kSkip:
        pc = instruction.next;
        continue;
      case Action::kCall: {
        HbStackFrame* const callee = CallDecoded(holders, *instruction.call);
        if (callee == nullptr) return leave(pc);
        frame->GetByteCode()->SetPC(instruction.next);
        ++steps;
        frame = callee;
        code = &DecodedOf(*frame);
        holders = frame->GetHolders();
        pc = 0;
        continue;
      }
      case Action::kExit:
        ++steps;
        if (call_stack_->Count() == 1) {
          leave(instruction.next);
          return PopFrame();
        }
        file_stack_.ReturnFrame(call_stack_->PopFrame());
        cur_frame_ = frame = call_stack_->CurFrame();
        code = &DecodedOf(*frame);
        holders = frame->GetHolders();
        pc = frame->GetByteCode()->GetPC();
        if (pc > code->length()) return leave(pc);
        continue;
      case Action::kNotDecoded:
      case Action::kReadBytes:
        return leave(pc);
    }
    ++steps;
    pc = instruction.next;
  }
}
