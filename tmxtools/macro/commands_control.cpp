// The commands that declare variables, jump, call and return.

#include <memory>

#include "tmxtools/macro/operands.h"

using tmx::kMalformed;
using tmx::TypeCode;

// ---- declarations -----------------------------------------------------------------------------

// Ids are dense and declared in order.
void MeMacroEngine::DeclareHolder(unsigned short type, short id, unsigned short holder_class) {
  cur_frame_->AppendHolder(type, holder_class);
  NotifyVariablesChanged();
  if (cur_frame_ != nullptr && static_cast<unsigned short>(id) != cur_frame_->GetMaxVarId())
    SetMacroStatus(kMalformed);
}

// A default overwrites what the caller passed; that is meant so.
template <class Operands>
void MeMacroEngine::CmdHolderParam(Operands& in, int count) {
  const unsigned short type = in.RawByte();
  const short id = in.RawId();
  if (!in.Ok()) return;
  if (cur_frame_->GetHolder(id) == nullptr) DeclareHolder(type, id, HbVariableHolder::kParameter);
  if (count == 3) PresetVariable(GetVariable(id, 0));
}
TMX_BYTE_COMMAND(CmdHolderParam);

template <class Operands>
void MeMacroEngine::CmdHolderLocal(Operands& in, int count) {
  const unsigned short type = in.RawByte();
  const short id = in.RawId();
  if (!in.Ok()) return;
  DeclareHolder(type, id, HbVariableHolder::kLocal);
  if (count == 3) PresetVariable(GetVariable(id, 0));
}
TMX_BYTE_COMMAND(CmdHolderLocal);

template <class Operands>
void MeMacroEngine::CmdDeclareHolder(Operands& in, int) {
  const unsigned short type = in.RawByte();
  const short id = in.RawId();
  if (in.Ok()) DeclareHolder(type, id, HbVariableHolder::kPlain);
}
TMX_BYTE_COMMAND(CmdDeclareHolder);

// A holder that exists is taken as it is, its type and variable included.
template <class Operands>
void MeMacroEngine::CmdHolderStatic(Operands& in, int) {
  const unsigned short type = in.RawByte();
  const short id = in.RawId();
  const long key = in.RawLong();
  if (!in.Ok()) return;
  if (cur_frame_->GetHolder(id) == nullptr) DeclareHolder(type, id, HbVariableHolder::kStatic);
  HbVariableHolder* const holder = cur_frame_ != nullptr ? cur_frame_->GetHolder(id) : nullptr;
  if (holder == nullptr) return;
  if (static_variables_ == nullptr)
    static_variables_ = std::make_unique<HbVariables>(nullptr, nullptr, nullptr);
  holder->Bind(static_variables_.get(), static_cast<unsigned long>(static_cast<std::uint32_t>(key)),
               HbVariableHolder::kStatic);
}
TMX_BYTE_COMMAND(CmdHolderStatic);

template <class Operands>
void MeMacroEngine::CmdVariableName(Operands& in, int) {
  const short id = in.RawId();
  const String& name = in.RawString();
  if (!in.Ok()) return;
  HbVariableHolder* const holder = cur_frame_->GetHolder(id);
  if (holder == nullptr) {
    SetMacroStatus(kMalformed);
    return;
  }
  holder->SetName(name);
  NotifyVariablesChanged();
}
TMX_BYTE_COMMAND(CmdVariableName);

template <class Operands>
void MeMacroEngine::CmdFile(Operands& in, int) {
  const String& name = in.RawString();
  if (in.Ok()) cur_frame_->SetMacroSourceFile(name);
}
TMX_BYTE_COMMAND(CmdFile);

// Never dispatched: the fetch has taken it.
template <class Operands>
void MeMacroEngine::CmdLine(Operands&, int) {
  SetMacroStatus(kMalformed);
}
TMX_BYTE_COMMAND(CmdLine);

// ---- jumps ------------------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::CmdGoto(Operands& in, int) {
  const unsigned short target = in.RawUInt();
  if (in.Ok()) cur_frame_->GetByteCode()->SetPC(target);
}
TMX_BYTE_COMMAND(CmdGoto);

// The condition stays inverted after a negated test; that is meant so.
template <class Operands>
void MeMacroEngine::CmdIfGoto(Operands& in, int) {
  const bool negate = in.RawBool();
  const unsigned short target = in.RawUInt();
  if (!in.Ok()) return;
  if (negate) condition_ = !condition_;
  if (condition_) cur_frame_->GetByteCode()->SetPC(target);
}
TMX_BYTE_COMMAND(CmdIfGoto);

template <class Operands>
void MeMacroEngine::CmdExit(Operands&, int) {
  PopFrame();
}
TMX_BYTE_COMMAND(CmdExit);

template <class Operands>
void MeMacroEngine::CmdStop(Operands&, int) {
  constexpr unsigned short kEndedByMacro = 17496;
  SetLastCmdError(kEndedByMacro);
  PopFrame();
}
TMX_BYTE_COMMAND(CmdStop);

template <class Operands>
void MeMacroEngine::CmdSuccess(Operands&, int) {
  condition_ = !last_cmd_error_.IsSet();
  last_cmd_error_.Clear();
}
TMX_COMMAND(CmdSuccess);

// ---- calls ------------------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::CmdCall(Operands& in, int count) {
  const String name = in.RawString();
  if (in.Ok()) InternalCmdCall(name, count);
}
TMX_BYTE_COMMAND(CmdCall);

template <class Operands>
void MeMacroEngine::CmdCallSub(Operands& in, int count) {
  const String name = in.Text();
  if (in.Ok()) InternalCmdCall(name, count);
}
TMX_BYTE_COMMAND(CmdCallSub);

void MeMacroEngine::InternalCmdCall(const String& name, int count) {
  HbError err;
  std::unique_ptr<HbStackFrame> callee(file_stack_.LoadSub(name, err));
  if (callee == nullptr) {
    SetStatus(err);
    return;
  }
  for (int i = 1; i < count && !HasStatus(); ++i) {
    PassArgument(*callee);
    if (!callee->IsComplete()) SetMacroStatus(kMalformed);
  }
  if (HasStatus()) return;
  if (call_stack_->Count() >= kMaxFrames) {
    SetMacroStatus(kMalformed);
    return;
  }
  PushFrame(callee.release());
}

// A literal is passed by value in a variable of its own, a variable by reference. A literal of
// another type passes nothing and stays unread.
void MeMacroEngine::PassArgument(HbStackFrame& callee) {
  HbByteCode& byte_code = *cur_frame_->GetByteCode();
  const unsigned short begin = byte_code.GetPC();
  const short tag = ReadInt();
  if (HasStatus()) return;
  if (tag >= tmx::kFirstVariableTag) {
    const HbVariableHolder* const own = cur_frame_->GetHolder(tag);
    if (own == nullptr) {
      SetMacroStatus(kMalformed);
      return;
    }
    const unsigned short type = own->GetType();
    HbVariable* const variable = GetVariable(tag, type);
    if (variable != nullptr)
      callee.AppendHolder(type, HbVariableHolder::kParameter).SetVariable(variable);
    return;
  }
  byte_code.SetPC(begin);
  switch (static_cast<TypeCode>(tag > 0 ? tag : 0)) {
    case TypeCode::kString:
      return callee.PushParam(ReadStringAttrib());
    case TypeCode::kDate:
      return callee.PushParam(ReadDateAttrib());
    case TypeCode::kInt:
      return callee.PushParam(ReadIntAttrib());
    case TypeCode::kLong:
      return callee.PushParam(ReadLongAttrib());
    case TypeCode::kAmount:  // passed as its text, in a string variable
      return callee.PushParam(ReadAmountAttrib());
    case TypeCode::kBool:
      return callee.PushParam(ReadBoolAttrib());
    default:
      return;
  }
}
