#include "compiler/instruction.h"

#include "compiler/operand_rules.h"

namespace tmx::compiler {
namespace {

class Decoder {
 public:
  Decoder(std::string_view code, std::size_t offset) : reader_(code, offset) {
    instruction_.offset = offset;
  }

  std::optional<Instruction> Run() {
    std::uint32_t number = 0;
    std::uint32_t count = 0;
    if (!reader_.Read(1, number) || !reader_.Read(1, count)) return std::nullopt;
    instruction_.opcode = FindOpcode(static_cast<int>(number));
    instruction_.count = static_cast<int>(count);
    if (instruction_.opcode == nullptr || !instruction_.opcode->Accepts(instruction_.count))
      return std::nullopt;
    const int operands = OperandsAt(*instruction_.opcode, instruction_.count);
    for (int i = 0; i < operands; ++i)
      if (!ReadOperand(ShapeOf(*instruction_.opcode, i))) return std::nullopt;
    instruction_.end = reader_.Pc();
    return std::move(instruction_);
  }

 private:
  bool ReadOperand(const Operand& shape) {
    DecodedValue value;
    value.shape = &shape;
    const bool good = ReadValue(shape, value);
    instruction_.operands.push_back(value);
    return good;
  }

  bool ReadValue(const Operand& shape, DecodedValue& value) {
    switch (shape.kind) {
      case OperandKind::kRawType:
        if (!reader_.Read(1, value.number)) return false;
        type_ = static_cast<TypeCode>(value.number);
        return true;
      case OperandKind::kRawOperator:
        return reader_.Read(1, value.number);
      case OperandKind::kRawBool:
        value.type = TypeCode::kBool;
        return reader_.Read(1, value.number);
      case OperandKind::kRawTarget:
      case OperandKind::kRawLine:
      case OperandKind::kRawId:
      case OperandKind::kNewId:
      case OperandKind::kRawNumber:
        return reader_.Read(2, value.number);
      case OperandKind::kRawKey:
        return reader_.Read(4, value.number);
      case OperandKind::kRawString:
        return reader_.ReadText(value.text);
      case OperandKind::kDefault:
        value.type = type_;
        return HasLiterals(type_) && type_ != TypeCode::kChar && ReadLiteral(value);
      default:
        return ReadTagged(shape, value);
    }
  }

  bool ReadTagged(const Operand& shape, DecodedValue& value) {
    if (!reader_.Read(2, value.number)) return false;
    if (value.number > 0x7FFF) return false;
    value.is_variable = value.number >= kFirstVariableTag;
    if (value.is_variable) return WantedType(shape) != TypeCode::kChar;
    value.type = static_cast<TypeCode>(value.number);
    return TakesLiteral(shape, value.type) && ReadLiteral(value);
  }

  TypeCode WantedType(const Operand& shape) const {
    return shape.type == TypeCode::kTypeOfInstruction ? type_ : shape.type;
  }

  bool TakesLiteral(const Operand& shape, TypeCode type) const {
    switch (shape.kind) {
      case OperandKind::kVariable:
        return false;
      case OperandKind::kAnyAttribute:
      case OperandKind::kTextList:
        return HasTextForm(type);
      case OperandKind::kArguments:
        return CanBePushed(type);
      case OperandKind::kOpLeft:
      case OperandKind::kOpRight:
        return HasLiterals(type);
      default:
        return HasLiterals(type) && type == WantedType(shape);
    }
  }

  bool ReadLiteral(DecodedValue& value) {
    if (IsText(value.type)) return reader_.ReadText(value.text);
    return reader_.Read(LiteralSize(value.type), value.number);
  }

  CodeReader reader_;
  Instruction instruction_;
  TypeCode type_ = TypeCode::kNone;
};

}  // namespace

std::optional<Instruction> DecodeInstruction(std::string_view code, std::size_t offset) {
  return Decoder(code, offset).Run();
}

}  // namespace tmx::compiler
