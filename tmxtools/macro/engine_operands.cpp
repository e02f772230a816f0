// The readers of raw and tagged operands, and the variables behind holders.

#include "tmxtools/macro/engine.h"
#include "tmxtools/macro/operands.h"

using tmx::kFirstVariableTag;
using tmx::kMalformed;
using tmx::StorageType;
using tmx::TypeCode;

namespace {

constexpr unsigned short Code(TypeCode type) { return static_cast<unsigned short>(type); }

// 05.03.2003
String DateText(const HbDate& date) {
  const auto two_digits = [](unsigned short number) {
    const String digits = String::FromInt(number);
    return number < 10 ? String("0") + digits : digits;
  };
  return two_digits(date.GetDay()) + '.' + two_digits(date.GetMonth()) + '.' +
         String::FromInt(date.GetYear());
}

}  // namespace

// ---- raw operands -----------------------------------------------------------------------------

// A failed read leaves its error in read_error_; it becomes the status.
template <typename Value>
Value MeMacroEngine::ReadRaw(Value (HbByteCode::*read)(HbError&)) {
  if (cur_frame_ == nullptr) return Value();
  Value value = (cur_frame_->GetByteCode()->*read)(read_error_);
  if (read_error_.IsSet()) {
    SetStatus(read_error_);
    read_error_.Clear();
  }
  return value;
}

unsigned short MeMacroEngine::ReadByte() { return ReadRaw(&HbByteCode::ReadByte); }
bool MeMacroEngine::ReadBool() { return ReadRaw(&HbByteCode::ReadBool); }
char MeMacroEngine::ReadChar() { return ReadRaw(&HbByteCode::ReadChar); }
short MeMacroEngine::ReadInt() { return ReadRaw(&HbByteCode::ReadInt); }
unsigned short MeMacroEngine::ReadUInt() { return static_cast<unsigned short>(ReadInt()); }
long MeMacroEngine::ReadLong() { return ReadRaw(&HbByteCode::ReadLong); }
HbDate MeMacroEngine::ReadDate() {
  if (cur_frame_ == nullptr) return HbDate();
  return ReadRaw(&HbByteCode::ReadDate);
}
const String& MeMacroEngine::ReadAmount() {
  return attrib_scratch_ = ReadRaw(&HbByteCode::ReadAmount);
}
const String& MeMacroEngine::ReadString() {
  return attrib_scratch_ = ReadRaw(&HbByteCode::ReadAmount);  // both are encoded alike
}

// ---- tagged operands --------------------------------------------------------------------------

// Reads a tag. For a variable, `variable` becomes the one that the holder designates. True for a
// literal of the type, whose value follows. Every other case has set an error; after a failed read
// of the tag itself that is the bytecode's own.
bool MeMacroEngine::ReadTag(int literal_type, unsigned short holder_type, HbVariable*& variable) {
  variable = nullptr;
  if (cur_frame_ == nullptr) return false;
  const unsigned short begin = cur_frame_->GetByteCode()->GetPC();
  const short tag = ReadInt();
  if (cur_frame_ == nullptr || cur_frame_->GetByteCode()->GetPC() == begin) return false;
  if (tag >= kFirstVariableTag) {
    variable = GetVariable(tag, holder_type);
    return false;
  }
  if (tag == literal_type) return true;
  SetMacroStatus(kMalformed);
  return false;
}

template <class Variable, typename Value>
Value MeMacroEngine::ReadTagged(TypeCode type, Value (MeMacroEngine::*read_literal)()) {
  HbVariable* variable = nullptr;
  if (ReadTag(Code(type), Code(type), variable)) return (this->*read_literal)();
  return variable != nullptr ? Value(static_cast<const Variable*>(variable)->Get()) : Value();
}

short MeMacroEngine::ReadIntAttrib() {
  return ReadTagged<HbIntVariable>(TypeCode::kInt, &MeMacroEngine::ReadInt);
}
long MeMacroEngine::ReadLongAttrib() {
  return ReadTagged<HbLongVariable>(TypeCode::kLong, &MeMacroEngine::ReadLong);
}
bool MeMacroEngine::ReadBoolAttrib() {
  return ReadTagged<HbBoolVariable>(TypeCode::kBool, &MeMacroEngine::ReadBool);
}
HbDate MeMacroEngine::ReadDateAttrib() {
  HbVariable* variable = nullptr;
  if (ReadTag(Code(TypeCode::kDate), Code(TypeCode::kDate), variable)) return ReadDate();
  return variable != nullptr ? static_cast<const HbDateVariable*>(variable)->Get() : HbDate();
}

const String& MeMacroEngine::ReadAmountAttrib() {
  HbVariable* variable = nullptr;
  if (ReadTag(Code(TypeCode::kAmount), Code(TypeCode::kAmount), variable)) return ReadAmount();
  if (variable == nullptr) return attrib_scratch_ = String();
  return attrib_scratch_ = static_cast<const HbStringVariable*>(variable)->Get();
}

// Takes a holder of any type whose variable is a text.
const String& MeMacroEngine::ReadStringAttrib() {
  HbVariable* variable = nullptr;
  if (ReadTag(Code(TypeCode::kString), 0, variable)) return ReadString();
  if (variable == nullptr) return attrib_scratch_ = String();
  if (variable->GetType() != Code(TypeCode::kString)) {
    SetMacroStatus(kMalformed);
    return attrib_scratch_ = String();
  }
  return attrib_scratch_ = static_cast<const HbStringVariable*>(variable)->Get();
}

// Characters are literals only.
char MeMacroEngine::ReadCharAttrib() {
  if (cur_frame_ == nullptr) return '\0';
  const unsigned short begin = cur_frame_->GetByteCode()->GetPC();
  const short tag = ReadInt();
  if (cur_frame_ == nullptr || cur_frame_->GetByteCode()->GetPC() == begin) return '\0';
  if (tag == static_cast<short>(TypeCode::kChar)) return ReadChar();
  SetMacroStatus(kMalformed);
  return '\0';
}

const String& MeMacroEngine::ReadAttribAsString() {
  if (cur_frame_ == nullptr) return attrib_scratch_ = String();
  const unsigned short begin = cur_frame_->GetByteCode()->GetPC();
  const short tag = ReadInt();
  if (cur_frame_ == nullptr || cur_frame_->GetByteCode()->GetPC() == begin)
    return attrib_scratch_ = String();
  if (tag >= kFirstVariableTag) {
    const HbVariable* const variable = GetVariable(tag, 0);
    if (variable != nullptr && TextOf(*variable, attrib_scratch_)) return attrib_scratch_;
    if (variable != nullptr) SetMacroStatus(kMalformed);
    return attrib_scratch_ = String();
  }
  switch (static_cast<TypeCode>(tag > 0 ? tag : 0)) {
    case TypeCode::kString:
    case TypeCode::kAmount:
      return ReadString();
    case TypeCode::kDate:
      return attrib_scratch_ = DateText(ReadDate());
    case TypeCode::kInt:
      return attrib_scratch_ = String::FromInt(ReadInt());
    case TypeCode::kLong:
      return attrib_scratch_ = String::FromInt(ReadLong());
    default:
      break;
  }
  SetMacroStatus(kMalformed);
  return attrib_scratch_ = String();
}

// Amounts are texts; a variable of another engine that is an amount has none.
bool MeMacroEngine::TextOf(const HbVariable& variable, String& text) {
  switch (static_cast<TypeCode>(variable.GetType())) {
    case TypeCode::kString:
      text = static_cast<const HbStringVariable&>(variable).Get();
      return true;
    case TypeCode::kDate:
      text = DateText(static_cast<const HbDateVariable&>(variable).Get());
      return true;
    case TypeCode::kInt:
      text = String::FromInt(static_cast<const HbIntVariable&>(variable).Get());
      return true;
    case TypeCode::kLong:
      text = String::FromInt(static_cast<const HbLongVariable&>(variable).Get());
      return true;
    default:
      return false;
  }
}

HbVariable* MeMacroEngine::ReadVariable(unsigned short type) {
  constexpr int kNoLiteral = 0x10000;  // no tag can be that
  HbVariable* variable = nullptr;
  ReadTag(kNoLiteral, type, variable);
  return variable;
}
HbStringVariable* MeMacroEngine::ReadStringVariable() {
  return static_cast<HbStringVariable*>(ReadVariable(Code(TypeCode::kString)));
}
HbDateVariable* MeMacroEngine::ReadDateVariable() {
  return static_cast<HbDateVariable*>(ReadVariable(Code(TypeCode::kDate)));
}
HbStringVariable* MeMacroEngine::ReadAmountVariable() {
  return static_cast<HbStringVariable*>(ReadVariable(Code(TypeCode::kAmount)));
}
HbIntVariable* MeMacroEngine::ReadIntVariable() {
  return static_cast<HbIntVariable*>(ReadVariable(Code(TypeCode::kInt)));
}
HbLongVariable* MeMacroEngine::ReadLongVariable() {
  return static_cast<HbLongVariable*>(ReadVariable(Code(TypeCode::kLong)));
}

// ---- variables --------------------------------------------------------------------------------

// The observer may stop the run; the variable must then not be touched any more.
HbVariable* MeMacroEngine::GetVariable(short id, unsigned short type) {
  HbVariable* const variable = GetVariable(id, type, true);
  if (variable == nullptr) {
    SetMacroStatus(kMalformed);
    return nullptr;
  }
  NotifyVariablesChanged();
  return cur_frame_ != nullptr ? variable : nullptr;
}

HbVariable* MeMacroEngine::GetVariable(short id, unsigned short type, bool create) {
  HbVariableHolder* const holder = cur_frame_ != nullptr ? cur_frame_->GetHolder(id) : nullptr;
  if (holder == nullptr || (type != 0 && type != holder->GetType())) return nullptr;
  if (holder->GetVariable() == nullptr) {
    const unsigned short storage = StorageType(holder->GetType());
    if (holder->GetRegistry() != nullptr) {
      if (!ResolveInRegistry(*holder, storage, create)) return nullptr;
    } else {
      // A field without its segment has no value; only what belongs to the frame gets one.
      if (!create || holder->GetHolderClass() > HbVariableHolder::kLocal) return nullptr;
      HbVariable* const created = HbVariables::CreateVariable(storage);
      if (created == nullptr) return nullptr;
      holder->AdoptVariable(created);
    }
  }
  if (holder->GetHolderClass() == HbVariableHolder::kSecret) TakeSecret(*holder);
  HbVariable* const variable = holder->GetVariable();
  // A host may have passed a variable that is stored otherwise than the engine stores the type.
  return type == 0 || variable->GetType() == StorageType(type) ? variable : nullptr;
}

HbVariable* MeMacroEngine::MakeVariable(short id, const HbVariableHolder& holder,
                                        unsigned short type) {
  const bool plain = type != 0 && holder.GetType() == type && holder.GetVariable() == nullptr &&
                     holder.GetHolderClass() != HbVariableHolder::kSecret;
  return plain ? GetVariable(id, type, true) : nullptr;
}

// Lets the holder reference the registry's variable, made if need be.
bool MeMacroEngine::ResolveInRegistry(HbVariableHolder& holder, unsigned short storage,
                                      bool create) {
  HbVariables& registry = *holder.GetRegistry();
  if (HbVariable* const found = registry[holder.GetRegistryId()]) {
    if (found->GetType() != storage) return false;
    holder.SetVariable(found);
    return true;
  }
  if (!create) return false;
  HbVariable* const created = HbVariables::CreateVariable(storage);
  if (created == nullptr) return false;
  holder.SetVariable(created);
  registry.Register(holder.GetRegistryId(), created);
  created->DecRefCount();
  return true;
}

// A secret that the registry still holds is moved into a copy of the holder's own; the registry
// keeps a null value. That is meant so.
void MeMacroEngine::TakeSecret(HbVariableHolder& holder) {
  constexpr unsigned long kFirstSecret = 4099;
  constexpr unsigned long kLastSecret = 4101;
  const unsigned long id = holder.GetRegistryId();
  HbVariables* const registry = holder.GetRegistry();
  if (registry == nullptr || id < kFirstSecret || id > kLastSecret) return;
  HbVariable* const shared = (*registry)[id];
  if (shared != holder.GetVariable() || shared->GetType() != Code(TypeCode::kString)) return;
  auto* const copy =
      static_cast<HbStringVariable*>(HbVariables::CreateVariable(Code(TypeCode::kString)));
  if (copy == nullptr) return;
  copy->Set(static_cast<const HbStringVariable*>(shared)->Get());
  shared->SetNull();
  holder.AdoptVariable(copy);
}

bool MeMacroEngine::IsNull(short id) {
  const HbVariable* const variable = GetVariable(id, 0, false);
  return variable == nullptr || variable->IsNull();
}

void MeMacroEngine::PresetVariable(HbVariable* variable) {
  if (variable == nullptr) return;
  if (!HasStatus()) ReadPreset(*variable);
  NotifyVariablesChanged();
}

void MeMacroEngine::ReadPreset(HbVariable& variable) {
  const auto preset = [this](auto* typed, const auto& value) {
    if (!HasStatus()) typed->Set(value);
  };
  switch (static_cast<TypeCode>(variable.GetType())) {
    case TypeCode::kString:
      preset(static_cast<HbStringVariable*>(&variable), ReadString());
      break;
    case TypeCode::kDate:
      preset(static_cast<HbDateVariable*>(&variable), ReadDate());
      break;
    case TypeCode::kInt:
      preset(static_cast<HbIntVariable*>(&variable), ReadInt());
      break;
    case TypeCode::kLong:
      preset(static_cast<HbLongVariable*>(&variable), ReadLong());
      break;
    case TypeCode::kBool:
      preset(static_cast<HbBoolVariable*>(&variable), ReadBool());
      break;
    case TypeCode::kAmount: {
      HbAmount amount;
      amount.SetFromDecimalPointString(ReadString(), String());
      preset(static_cast<HbAmountVariable*>(&variable), amount);
      break;
    }
    default:
      break;
  }
}
