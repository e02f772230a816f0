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
#include <utility>

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
using tmx::MacroCode;
using tmx::TypeCode;

namespace {

constexpr unsigned short kLongType = 6;

// How many arguments a call without a frame can have.
constexpr int kMaxBorrowed = 8;

DecodedCode& DecodedOf(MacroCode& code) {
  if (code.decoded == nullptr) code.decoded = std::make_unique<DecodedCode>(code);
  return *code.decoded;
}
DecodedCode& DecodedOf(HbStackFrame& frame) {
  if (DecodedCode* const decoded = frame.GetDecoded()) return *decoded;
  DecodedCode& decoded = DecodedOf(*frame.GetByteCode()->GetCode());
  frame.SetDecoded(&decoded);
  return decoded;
}

// Whether an action does something to its frame, or can raise an error that names it.
bool NeedsFrame(Action action) {
  switch (action) {
    case Action::kCommand:
    case Action::kLocal:
    case Action::kLocalDefault:
    case Action::kName:
    case Action::kLine:
    case Action::kFile:
    case Action::kCall:
    case Action::kReadBytes:
      return true;
    default:
      return false;
  }
}

inline bool IsLong(HolderList holders, short id) { return holders.IsReady(id, kLongType); }
inline HbLongVariable& LongAt(HolderList holders, short id) {
  return static_cast<HbLongVariable&>(*holders.At(id).GetVariable());
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
         (decoded_allowed_ || typeid(*this) == DecodingType());
}

const std::type_info& MeMacroEngine::DecodingType() const { return typeid(MeMacroEngine); }

bool MeMacroEngine::DispatchDecoded(unsigned short, unsigned short, DecodedOperands&) {
  return false;
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
  DecodedOperands operands(*this, frame, instruction.operands);
  frame.GetByteCode()->SetPC(instruction.next_offset);
  try {
    const Command command = kCommands[instruction.opcode];
    if (command == nullptr) return DispatchDecoded(instruction.opcode, instruction.count, operands);
    (this->*command)(operands, instruction.count);
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
    const tmx::NewVariable<HbVariable> created(variable);
    variable->Set(initial);
    frame.AppendHolder(type, HbVariableHolder::kLocal).SetVariable(variable);
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

// Passes variables, which are made if need be. False for one that cannot be made.
bool MeMacroEngine::PassReferences(HolderList caller, const std::int16_t* ids, std::size_t count,
                                   HbStackFrame& callee) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!caller.Has(ids[i])) return false;
    const HbVariableHolder& holder = caller.At(ids[i]);
    if (holder.GetReadyType() == 0 && MakeVariable(ids[i], holder, holder.GetType()) == nullptr)
      return false;
  }
  return callee.AppendReferences(caller, ids, count);
}

// False when the arguments must be read from their bytes.
bool MeMacroEngine::PassDecoded(HolderList caller, const CallSite& site, HbStackFrame& callee) {
  if (site.references != nullptr)
    return PassReferences(caller, site.references, static_cast<std::size_t>(site.argument_count),
                          callee);
  for (int i = 0; i < site.argument_count; ++i) {
    const DecodedOperand& argument = site.arguments[i];
    if (argument.tag >= kFirstVariableTag) {
      if (!PassReferences(caller, &argument.tag, 1, callee)) return false;
      continue;
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
  }
  if (!callee.IsComplete()) throw std::bad_alloc();  // it ends the macro as it does anywhere else
  return true;
}

// Looks up what a call stands for at present. False when the call must be read from its bytes.
bool MeMacroEngine::ResolveCall(CallSite& site) {
  MacroCode* const callee = file_stack_.FindLoaded(*site.name);
  if (callee == nullptr) return false;
  DecodedCode& decoded = DecodedOf(*callee);
  const std::uint16_t begin = decoded.NumberAt(0);
  const DecodedInstruction first = decoded.Get(begin);
  const bool skip =
      first.action == Action::kParams && first.id < tmx::kFirstHolderId + site.argument_count;
  site.entry = skip ? first.next : begin;
  site.entry_steps = skip ? static_cast<std::uint32_t>(first.number) : 0;
  site.may_borrow = site.references != nullptr && site.argument_count <= kMaxBorrowed &&
                    !NeedsFrame(decoded.Get(site.entry).action);
  site.code = decoded.instructions();
  site.callee = callee;
  site.lookup_state = file_stack_.GetLookupState();
  return true;
}

// Whether the call can begin without a frame, on the caller's holders.
inline bool MeMacroEngine::Borrow(HolderList caller, const CallSite& site,
                                  HbVariableHolder** borrowed) const {
  if (site.lookup_state != file_stack_.GetLookupState() || !site.may_borrow ||
      call_stack_->Count() >= kMaxFrames)
    return false;
  for (int i = 0; i < site.argument_count; ++i) {
    const short id = site.references[i];
    if (!caller.Has(id)) return false;
    borrowed[i] = &caller.At(id);
    if (borrowed[i]->GetReadyType() == 0) return false;
  }
  return true;
}

// Pushes a frame for the call; `return_to` is a position in the caller's bytes. Null when the call
// must be read from its bytes.
HbStackFrame* MeMacroEngine::CallDecoded(HbStackFrame& caller, CallSite& site,
                                         std::uint16_t return_to) {
  if (call_stack_->Count() >= kMaxFrames) return nullptr;
  if (site.lookup_state != file_stack_.GetLookupState() && !ResolveCall(site)) return nullptr;
  std::unique_ptr<HbStackFrame> callee(file_stack_.TakeFrame(*site.callee, *site.name));
  if (!PassDecoded(caller.GetHolders(), site, *callee)) {
    file_stack_.ReturnFrame(callee.release());
    return nullptr;
  }
  caller.GetByteCode()->SetPC(return_to);
  call_stack_->PushFrame(callee.get());
  cur_frame_ = callee.release();
  return cur_frame_;
}

// Takes by value what the loop keeps in registers.
void MeMacroEngine::LeaveDecoded(HbStackFrame& frame, std::uint16_t pc, std::uint64_t steps) {
  frame.GetByteCode()->SetPC(pc);
  steps_ += steps;
}

// A call whose arguments are all references begins without a frame: it runs on the caller's holders
// for as long as nothing could tell the difference. `light` is the call that has begun so; `frame`
// is then still the caller's. An action that needs the frame breaks out of the switch and is done
// again when the frame is there.
//
// `at` is the number of the instruction in `code`.
void MeMacroEngine::RunDecoded() {
  HbStackFrame* frame = cur_frame_;
  if (frame->GetByteCode()->GetPC() > frame->GetByteCode()->GetLength()) return;
  std::uint32_t at = DecodedOf(*frame).NumberAt(frame->GetByteCode()->GetPC());
  const DecodedInstruction* code = DecodedOf(*frame).instructions();
  HolderList holders = frame->GetHolders();
  std::uint64_t steps = 0;
  CallSite* light = nullptr;
  const DecodedInstruction* light_caller = nullptr;
  const DecodedInstruction* light_call = nullptr;
  HbVariableHolder* borrowed[kMaxBorrowed];
  for (;;) {
    const DecodedInstruction& instruction = code[at];
    switch (instruction.action) {
      case Action::kAddCompareJumpLong: {
        if (!IsLong(holders, instruction.id)) break;
        HbLongVariable& variable = LongAt(holders, instruction.id);
        const std::uint32_t own = at;
        do {
          const std::int32_t sum = WrappingSum(variable.Get(), instruction.number);
          variable.Set(sum);
          condition_ = Holds(instruction.op, sum, instruction.limit);
          steps += 3;
          at = condition_ ? instruction.target : instruction.next;
        } while (at == own);
        continue;
      }
      case Action::kAddLong:
        if (!IsLong(holders, instruction.id) || !IsLong(holders, instruction.left)) break;
        LongAt(holders, instruction.id)
            .Set(WrappingSum(LongAt(holders, instruction.left).Get(), instruction.number));
        ++steps;
        at = instruction.next;
        continue;
      case Action::kAddLongs: {
        if (!IsLong(holders, instruction.id) || !IsLong(holders, instruction.left) ||
            !IsLong(holders, instruction.right))
          break;
        const long right = LongAt(holders, instruction.right).Get();
        LongAt(holders, instruction.id)
            .Set(WrappingSum(LongAt(holders, instruction.left).Get(),
                             static_cast<std::int32_t>(right)));
        ++steps;
        at = instruction.next;
        continue;
      }
      case Action::kCompareLong:
        if (!IsLong(holders, instruction.left)) break;
        condition_ =
            Holds(instruction.op, LongAt(holders, instruction.left).Get(), instruction.number);
        ++steps;
        at = instruction.next;
        continue;
      case Action::kCommand:
        if (light != nullptr || !RunDecodedCommand(*frame, instruction)) break;
        holders = frame->GetHolders();
        ++steps;
        at = instruction.next;
        if (HasStatus() || last_cmd_error_.IsSet())
          return LeaveDecoded(*frame, instruction.next_offset, steps);
        continue;
      case Action::kIfNot:
        condition_ = !condition_;
        [[fallthrough]];
      case Action::kIf:
        ++steps;
        at = condition_ ? instruction.target : instruction.next;
        continue;
      case Action::kGoto:
        ++steps;
        at = instruction.target;
        continue;
      case Action::kParams:
        if (!holders.Has(instruction.id)) break;
        steps += static_cast<std::uint32_t>(instruction.number);
        at = instruction.next;
        continue;
      case Action::kLocal:
      case Action::kLocalDefault:
        if (light != nullptr || !DeclareDecoded(*frame, instruction)) break;
        holders = frame->GetHolders();
        ++steps;
        at = instruction.next;
        continue;
      case Action::kName: {
        const auto id = static_cast<short>(instruction.operands[0].number);
        if (light != nullptr || !holders.Has(id)) break;
        holders.At(id).SetName(*instruction.operands[1].text);
        ++steps;
        at = instruction.next;
        continue;
      }
      case Action::kLine:
        if (light != nullptr) break;
        frame->SetMacroSourceLine(static_cast<unsigned short>(instruction.number));
        at = instruction.next;
        continue;
      case Action::kFile:
        if (light != nullptr) break;
        frame->SetMacroSourceFile(*instruction.operands[0].text);
        ++steps;
        at = instruction.next;
        continue;
      case Action::kEat:
        EatLeading(instruction.op);
        ++steps;
        at = instruction.next;
        continue;
      case Action::kSkip:
        at = instruction.next;
        continue;
      case Action::kCall: {
        if (light != nullptr) break;
        CallSite& site = *instruction.call;
        if (Borrow(holders, site, borrowed)) {
          light = &site;
          light_caller = code;
          light_call = &instruction;
          holders = HolderList(borrowed, static_cast<std::size_t>(site.argument_count));
        } else {
          HbStackFrame* const callee = CallDecoded(*frame, site, instruction.next_offset);
          if (callee == nullptr) break;
          frame = callee;
          holders = frame->GetHolders();
        }
        code = site.code;
        at = site.entry;
        steps += 1 + site.entry_steps;
        continue;
      }
      case Action::kExit: {
        ++steps;
        if (light != nullptr) {
          code = light_caller;
          at = light_call->next;
          light = nullptr;
          holders = frame->GetHolders();
          continue;
        }
        HbStackFrame* const caller = call_stack_->PopToCaller();
        if (caller == nullptr) {
          LeaveDecoded(*frame, instruction.next_offset, steps);
          return PopFrame();
        }
        file_stack_.ReturnFrame(frame);
        cur_frame_ = frame = caller;
        holders = frame->GetHolders();
        const std::uint16_t pc = frame->GetByteCode()->GetPC();
        if (pc > frame->GetByteCode()->GetLength()) return LeaveDecoded(*frame, pc, steps);
        at = DecodedOf(*frame).NumberAt(pc);
        code = DecodedOf(*frame).instructions();
        continue;
      }
      case Action::kNotDecoded:
        DecodedOf(light != nullptr ? *light->callee : *frame->GetByteCode()->GetCode())
            .Get(static_cast<std::uint16_t>(at));
        continue;
      case Action::kReadBytes:
        break;
    }
    if (light == nullptr) return LeaveDecoded(*frame, code[at].offset, steps);
    frame = CallDecoded(*frame, *std::exchange(light, nullptr), light_call->next_offset);
    holders = frame->GetHolders();
  }
}
