#include "tmxtools/macro/operands.h"

#include <algorithm>

namespace tmx {

namespace {

// The type with a code as it stands in a tag or a holder, which may be any 16-bit number.
TypeCode TypeOfCode(int code) {
  return code >= 0 && code < kFirstVariableTag ? static_cast<TypeCode>(code) : TypeCode::kNone;
}

}  // namespace

// Reads a tag and, behind the tag of a literal, its value. A literal of an unknown type has none.
short ByteOperands::SkipTagged() {
  const short tag = engine_.ReadInt();
  switch (TypeOfCode(tag)) {
    case TypeCode::kString:
    case TypeCode::kAmount:
      engine_.ReadString();
      break;
    case TypeCode::kDate:
      engine_.ReadDate();
      break;
    case TypeCode::kInt:
      engine_.ReadInt();
      break;
    case TypeCode::kLong:
      engine_.ReadLong();
      break;
    case TypeCode::kBool:
    case TypeCode::kChar:
      engine_.ReadByte();
      break;
    default:
      break;
  }
  return tag;
}

bool ByteOperands::TypeOfSecond(TypeCode& type) {
  HbStackFrame* const frame = engine_.GetCurFrame();
  if (frame == nullptr) return false;  // the run was stopped meanwhile
  const unsigned short begin = frame->GetByteCode()->GetPC();
  SkipTagged();
  const short tag = engine_.ReadInt();
  if (tag >= kFirstVariableTag) {
    const HbVariableHolder* const holder = frame->GetHolder(tag);
    if (holder == nullptr) {
      engine_.SetMacroStatus(kMalformed);
      return false;
    }
    type = TypeOfCode(holder->GetType());
  } else {
    type = TypeOfCode(tag);
  }
  frame->GetByteCode()->SetPC(begin);
  return true;
}

bool DecodedOperands::TypeOfSecond(TypeCode& type) {
  const std::int16_t tag = next_[1].tag;
  type = TypeOfCode(tag);
  if (tag < kFirstVariableTag) return true;
  const HbVariableHolder* const holder = frame_.GetHolder(tag);
  if (holder == nullptr) {
    ok_ = false;
    return false;
  }
  type = TypeOfCode(holder->GetType());
  return true;
}

HbVariable* DecodedOperands::Make(std::int16_t tag, const HbVariableHolder& holder,
                                  unsigned short type) {
  HbVariable* const made = ok_ ? engine_.MakeVariable(tag, holder, type) : nullptr;
  return made != nullptr ? made : GiveUp();
}

const String& DecodedOperands::NoText() {
  static const String none;
  return none;
}

const String& DecodedOperands::AnyText() {
  const DecodedOperand& operand = *next_++;
  if (operand.tag < kFirstVariableTag) return *operand.text;
  const HbVariableHolder* const holder = frame_.GetHolder(operand.tag);
  const HbVariable* variable = nullptr;
  if (holder != nullptr)
    variable = holder->GetReadyType() != 0 ? holder->GetVariable()
                                           : Make(operand.tag, *holder, holder->GetType());
  if (variable == nullptr) return ok_ = false, NoText();
  if (variable->GetType() == kStringType)
    return static_cast<const HbStringVariable*>(variable)->Get();
  if (!MeMacroEngine::TextOf(*variable, engine_.attrib_scratch_)) return ok_ = false, NoText();
  return engine_.attrib_scratch_;
}

}  // namespace tmx
