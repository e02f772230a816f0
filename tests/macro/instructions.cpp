#include "tests/macro/instructions.h"

#include <array>

namespace tmx {
namespace {

using enum OperandKind;
using enum TypeCode;

constexpr std::array kMacroTypes = {kString, kDate, kInt, kLong, kAmount, kBool};

// An untagged literal with which every command can work.
std::string RawValue(TypeCode type, std::string_view name) {
  CodeBuilder code;
  switch (type) {
    case kString:
      code.RawText(name == "name" ? "Callee" : name == "format" ? "d.m.yy" : "AB");
      break;
    case kDate:
      code.RawDate(12, 3, 2025);
      break;
    case kInt:
      code.U16(1);
      break;
    case kLong:
      code.U32(1);
      break;
    case kAmount:
      code.RawText("1,50");
      break;
    case kBool:
      code.Byte(1);
      break;
    case kChar:
      code.Byte('x');
      break;
    default:
      break;
  }
  return code.Bytes();
}

OperandForm Raw(OperandKind kind, const CodeBuilder& code) {
  return {kind, kNone, false, false, code.Bytes(), kind == kRawString};
}

OperandForm Literal(OperandKind kind, TypeCode type, const char* name) {
  CodeBuilder code;
  code.U16(static_cast<unsigned>(type)).Raw(RawValue(type, name));
  return {kind, type, true, false, code.Bytes(), type == kString || type == kAmount};
}

OperandForm Variable(OperandKind kind, TypeCode type) {
  return {kind, type, true, true, CodeBuilder().Var(VariableOfType(type)).Bytes(), false};
}

// What an instruction's first bytes fix for the operands behind them.
struct Context {
  TypeCode type = kNone;
  OpTypes op{kNone, kNone, false};
  std::size_t target = 0;
};

// The forms of one operand.
std::vector<OperandForm> FormsOf(const Operand& operand, int count, const Context& context) {
  const TypeCode type = operand.type == kTypeOfInstruction ? context.type : operand.type;
  const auto both = [&operand](TypeCode of) -> std::vector<OperandForm> {
    if (of == kChar) return {Literal(operand.kind, of, operand.name)};
    return {Literal(operand.kind, of, operand.name), Variable(operand.kind, of)};
  };
  switch (operand.kind) {
    case kRawBool:
      return {Raw(operand.kind, CodeBuilder().Byte(0)), Raw(operand.kind, CodeBuilder().Byte(1))};
    case kRawTarget:
      return {Raw(operand.kind, CodeBuilder().U16(static_cast<unsigned>(context.target)))};
    case kRawLine:
      return {Raw(operand.kind, CodeBuilder().U16(7))};
    case kRawId:
      return {Raw(operand.kind, CodeBuilder().U16(kStringId))};
    case kNewId:
      return {Raw(operand.kind, CodeBuilder().U16(kFreeId))};
    case kRawKey:
      return {Raw(operand.kind, CodeBuilder().U32(4711))};
    case kRawNumber:
      return {Raw(operand.kind, CodeBuilder().U16(1))};
    case kRawString:
      return {Raw(operand.kind, CodeBuilder().RawText("Callee"))};
    case kDefault: {
      OperandForm form = Raw(operand.kind, CodeBuilder().Raw(RawValue(type, "default")));
      form.zero_ended = type == kString || type == kAmount;
      return {form};
    }
    case kVariable:
      return {Variable(operand.kind, type)};
    case kAttribute:
      return both(type);
    case kOpLeft:
      return both(context.op.left);
    case kOpRight:
      return both(context.op.right);
    case kAnyAttribute: {
      std::vector<OperandForm> forms;
      for (const TypeCode any : kMacroTypes)
        if (any != kBool)
          for (const OperandForm& form : both(any)) forms.push_back(form);
      return forms;
    }
    case kArguments:
    case kTextList: {
      // As many as the count asks for: all literals, or all variables, of one type.
      std::vector<OperandForm> forms;
      for (const TypeCode any : kMacroTypes) {
        if (operand.kind == kTextList && any == kBool) continue;
        for (OperandForm form : both(any)) {
          const std::string one = form.bytes;
          for (int more = 2; more < count; ++more) form.bytes += one;
          forms.push_back(form);
        }
      }
      return forms;
    }
    default:
      return {};
  }
}

// Every combination of the forms of the operands from `at` on.
void Combine(const Opcode& row, int count, std::size_t at, const Context& context,
             Instruction instruction, std::vector<Instruction>& all) {
  if (static_cast<int>(at) >= row.OperandsPresent(count)) {
    all.push_back(std::move(instruction));
    return;
  }
  const Operand& operand = row.operands[at];
  const auto add = [&](const OperandForm& form, const Context& next) {
    Instruction longer = instruction;
    longer.operands.push_back(form);
    Combine(row, count, at + 1, next, std::move(longer), all);
  };
  if (operand.kind == kRawType) {
    for (const TypeCode type : kMacroTypes) {
      if (row.number == 28 && type == kBool) continue;  // no operator has it
      Context next = context;
      next.type = type;
      add(Raw(kRawType, CodeBuilder().Byte(static_cast<unsigned>(type))), next);
    }
  } else if (operand.kind == kRawOperator) {
    for (const char op : std::string_view(row.number == 2 ? "<=>" : "+-*/%_")) {
      if (row.number == 2 && context.type == kBool && op != '=') continue;
      for (const TypeCode right : {kNone, kDate}) {
        Context next = context;
        next.op = OpOperandTypes(context.type, op, right);
        if (row.number == 28 && !next.op.supported) continue;
        if (right == kDate && (row.number != 28 || context.type != kInt)) continue;
        add(Raw(kRawOperator, CodeBuilder().Byte(static_cast<unsigned char>(op))), next);
      }
    }
  } else {
    for (const OperandForm& form : FormsOf(operand, count, context)) add(form, context);
  }
}

}  // namespace

std::string Instruction::Bytes() const {
  CodeBuilder code;
  code.Op(row->number, static_cast<unsigned>(count));
  for (const OperandForm& operand : operands) code.Raw(operand.bytes);
  return code.Bytes();
}

std::string Instruction::Describe() const {
  std::string text = std::string(row->mnemonic) + " " + std::to_string(count) + ":";
  for (const OperandForm& operand : operands)
    text += std::string(operand.tagged ? operand.variable ? " variable" : " literal" : " raw") +
            " " + std::to_string(static_cast<int>(operand.type));
  return text + "\n" + HexDump(Bytes());
}

int VariableOfType(TypeCode type) {
  switch (type) {
    case kString:
      return kStringId;
    case kDate:
      return kDateId;
    case kInt:
      return kIntId;
    case kLong:
      return kLongId;
    case kAmount:
      return kAmountId;
    default:
      return kBoolId;
  }
}

CodeBuilder Preamble() {
  CodeBuilder code;
  code.Declare(1, kStringId).Declare(2, kDateId).Declare(5, kIntId).Declare(6, kLongId);
  code.Declare(8, kAmountId).Declare(10, kBoolId).Declare(5, kOtherIntId);
  code.Op(3, 3).Byte(1).Var(kStringId).Str("Callee");
  code.Op(3, 3).Byte(2).Var(kDateId).Date(1, 2, 2024);
  code.Op(3, 3).Byte(5).Var(kIntId).Int(2);
  code.Op(3, 3).Byte(6).Var(kLongId).Long(3);
  code.Op(3, 3).Byte(8).Var(kAmountId).Amount("4,25");
  code.Op(3, 3).Byte(10).Var(kBoolId).Bool(true);
  code.Op(58, 1).Str("12.03.2025 1,00 AB");
  return code;
}

std::vector<Instruction> AllForms(const Opcode& row, std::size_t target) {
  std::vector<int> counts;
  switch (row.counted) {
    case Counted::kChecked:
      // Some take every count from their least on; 4 and 255 stand for the others.
      for (int count = row.min_count; count <= row.max_count; ++count)
        if (row.max_count < 255 || count < 5 || count == 255) counts.push_back(count);
      break;
    case Counted::kEither:
      counts = {row.min_count, row.max_count};
      break;
    case Counted::kCall:
      counts = {0, 1, 2, 3};
      break;
    default:
      counts = {0, row.usual_count, 255};
      break;
  }
  std::vector<Instruction> all;
  Context context;
  context.target = target;
  for (const int count : counts) Combine(row, count, 0, context, Instruction{&row, count, {}}, all);
  return all;
}

}  // namespace tmx
