// Where a command takes its operands from. Each command is written once, over either source:
//
// ByteOperands reads the code byte after byte and is the definition: it raises every error in its
// place and makes variables on demand. A command reads all its operands, then asks Ok() and only
// then has an effect.
//
// DecodedOperands hands out operands of a well-formed instruction. Where reading bytes would raise
// an error it gives up instead (Ok() is false, no error set), and the engine executes the
// instruction again from its bytes. The variables that it has made until then, reading the bytes
// would have made as well; nothing else has changed.
#pragma once

#include <cstdint>

#include "tmxtools/core/amount.h"
#include "tmxtools/macro/decoded_code.h"
#include "tmxtools/macro/engine.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx {

inline BigInt PowerOfTen(unsigned short exponent) {
  return HbAmount(1, 0, String()).GetBigInt(exponent);
}

// How a value is laid out in a field of the output.
struct FieldLayout {
  bool has_width = false;
  bool has_fill = false;
  bool right = false;
  char fill = ' ';
  std::uint16_t width = 0;
};

class ByteOperands {
 public:
  explicit ByteOperands(MeMacroEngine& engine) : engine_(engine) {}
  bool Ok() const { return !engine_.HasStatus(); }
  bool GaveUp() const { return false; }

  unsigned short RawByte() { return engine_.ReadByte(); }
  char RawChar() { return engine_.ReadChar(); }
  bool RawBool() { return engine_.ReadBool(); }
  short RawId() { return engine_.ReadInt(); }
  unsigned short RawUInt() { return engine_.ReadUInt(); }
  long RawLong() { return engine_.ReadLong(); }
  const String& RawString() { return Keep(engine_.ReadString()); }

  // Texts stay valid as long as the source.
  const String& Text() { return Keep(engine_.ReadStringAttrib()); }
  const String& Amount() { return Keep(engine_.ReadAmountAttrib()); }
  const String& AnyText() { return Keep(engine_.ReadAttribAsString()); }
  short Int() { return engine_.ReadIntAttrib(); }
  long Long() { return engine_.ReadLongAttrib(); }
  HbDate Date() { return engine_.ReadDateAttrib(); }
  bool Bool() { return engine_.ReadBoolAttrib(); }
  char Char() { return engine_.ReadCharAttrib(); }

  HbVariable* Variable(TypeCode type) {
    return engine_.ReadVariable(static_cast<unsigned short>(type));
  }
  // The type of the second of the two tagged operands that follow, looked ahead. False for a
  // variable that the frame does not have.
  bool TypeOfSecond(TypeCode& type);

 private:
  // No command has more texts than this.
  static constexpr std::size_t kMaxTexts = 2;

  short SkipTagged();
  const String& Keep(const String& text) { return texts_[kept_++ % kMaxTexts] = text; }

  MeMacroEngine& engine_;
  String texts_[kMaxTexts];
  std::size_t kept_ = 0;
};

class DecodedOperands {
 public:
  // The frame is the engine's current one.
  DecodedOperands(MeMacroEngine& engine, const HbStackFrame& frame, const DecodedOperand* operands)
      : engine_(engine), frame_(frame), next_(operands) {}
  bool Ok() const { return ok_; }
  bool GaveUp() const { return !ok_; }

  unsigned short RawByte() { return static_cast<unsigned short>(next_++->number); }
  char RawChar() { return static_cast<char>(next_++->number); }
  short RawId() { return static_cast<short>(next_++->number); }
  long RawLong() { return next_++->number; }
  const String& RawString() { return *next_++->text; }

  const String& Text() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return *operand.text;
    return TextOf(operand, 0);
  }
  const String& Amount() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return *operand.text;
    return TextOf(operand, kAmountType);
  }
  short Int() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return static_cast<short>(operand.number);
    const HbVariable* const variable = Find(operand.tag, TypeCode::kInt);
    return variable != nullptr ? static_cast<const HbIntVariable*>(variable)->Get() : short{0};
  }
  long Long() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return operand.number;
    const HbVariable* const variable = Find(operand.tag, TypeCode::kLong);
    return variable != nullptr ? static_cast<const HbLongVariable*>(variable)->Get() : 0;
  }
  HbDate Date() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return HbDate(static_cast<unsigned long>(operand.number));
    const HbVariable* const variable = Find(operand.tag, TypeCode::kDate);
    return variable != nullptr ? static_cast<const HbDateVariable*>(variable)->Get() : HbDate();
  }
  bool Bool() {
    const DecodedOperand& operand = *next_++;
    if (operand.tag < kFirstVariableTag) return operand.number != 0;
    const HbVariable* const variable = Find(operand.tag, TypeCode::kBool);
    return variable != nullptr && static_cast<const HbBoolVariable*>(variable)->Get();
  }
  char Char() { return static_cast<char>(next_++->number); }
  const String& AnyText();

  HbVariable* Variable(TypeCode type) {
    const DecodedOperand& operand = *next_++;
    return Find(operand.tag, type);
  }
  bool TypeOfSecond(TypeCode& type);

 private:
  HbVariable* GiveUp() {
    ok_ = false;
    return nullptr;
  }
  // The variable of a holder of exactly this type.
  HbVariable* Find(std::int16_t tag, TypeCode type) {
    const HbVariableHolder* const holder = frame_.GetHolder(tag);
    if (holder == nullptr) return GiveUp();
    if (holder->GetReadyType() == static_cast<unsigned short>(type)) return holder->GetVariable();
    return Make(tag, *holder, static_cast<unsigned short>(type));
  }
  // The text of a string variable in a holder of the given type, or of any type for 0.
  const String& TextOf(const DecodedOperand& operand, unsigned short holder_type) {
    const HbVariableHolder* const holder = frame_.GetHolder(operand.tag);
    if (holder != nullptr && StorageType(holder->GetType()) == kStringType) {
      const unsigned short type = holder_type != 0 ? holder_type : holder->GetType();
      const HbVariable* const variable =
          holder->GetReadyType() == type ? holder->GetVariable() : Make(operand.tag, *holder, type);
      if (variable != nullptr) return static_cast<const HbStringVariable*>(variable)->Get();
    }
    ok_ = false;
    return NoText();
  }
  // A variable for a holder that has none yet. Gives up behind an operand that gave up, as reading
  // the bytes would not have come so far.
  HbVariable* Make(std::int16_t tag, const HbVariableHolder& holder, unsigned short type);
  static const String& NoText();

  MeMacroEngine& engine_;
  const HbStackFrame& frame_;
  const DecodedOperand* next_;
  bool ok_ = true;
};

// Makes a command available over both sources; stands behind its definition.
#define TMX_COMMAND(command)                                        \
  template void MeMacroEngine::command(tmx::ByteOperands& in, int); \
  template void MeMacroEngine::command(tmx::DecodedOperands& in, int)
// A command that is never run with decoded operands.
#define TMX_BYTE_COMMAND(command) template void MeMacroEngine::command(tmx::ByteOperands& in, int)
// The same for commands of the banking engine.
#define TMX_BANKING_COMMAND(command)                                \
  template void HbMacroEngine::command(tmx::ByteOperands& in, int); \
  template void HbMacroEngine::command(tmx::DecodedOperands& in, int)
#define TMX_BANKING_BYTE_COMMAND(command) \
  template void HbMacroEngine::command(tmx::ByteOperands& in, int)

// Every command that TMX_COMMAND makes available.
// clang-format off
#define TMX_DECODED_COMMANDS(ROW) \
  ROW(2, CmdCompare) ROW(3, CmdSet) ROW(7, CmdWriteString) ROW(8, CmdWriteDate) \
  ROW(9, CmdWriteAmount) ROW(10, CmdClear) ROW(14, CmdReadString) ROW(15, CmdReadDate) \
  ROW(16, CmdReadAmount) ROW(18, CmdSuccess) ROW(25, CmdWriteInt) ROW(28, CmdOp) \
  ROW(37, CmdReadAppend) ROW(41, CmdGetDay) ROW(42, CmdGetMonth) ROW(43, CmdGetYear) \
  ROW(44, CmdSetDay) ROW(45, CmdSetMonth) ROW(46, CmdSetYear) ROW(48, CmdReadInt) \
  ROW(50, CmdWriteLong) ROW(51, CmdSubString) ROW(52, CmdStringLen) ROW(54, CmdReadLong) \
  ROW(55, CmdEatLeadingChars) ROW(56, CmdEraseTrailingChars) ROW(57, CmdSearch) \
  ROW(58, CmdReceiveString) ROW(59, CmdReplaceChars) ROW(145, CmdIsNull) \
  ROW(146, CmdEngineVersion) ROW(148, CmdGetCurrentDate) ROW(150, CmdReceiveOutput)

// The same for the commands of the banking engine.
#define TMX_DECODED_BANKING_COMMANDS(ROW) \
  ROW(6, CmdHolderResponse) ROW(53, CmdReqSuccess) ROW(60, CmdHolderSecurity) \
  ROW(69, CmdHolderRequest) ROW(132, CmdHolderRequestBpd) ROW(133, CmdHolderGeneralBpd) \
  ROW(134, CmdHolderRequestItem) ROW(135, CmdHolderUpd) ROW(136, CmdFirstDEG) \
  ROW(137, CmdNextDEG) ROW(138, CmdGotoDEG) ROW(139, CmdGotoUPD) \
  ROW(144, CmdSetCurrentRequestItem)
// clang-format on

inline constexpr unsigned short kMalformed = 17490;
inline constexpr unsigned short kUnexpectedInput = 17494;

}  // namespace tmx
