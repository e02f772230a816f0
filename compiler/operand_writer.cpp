#include "compiler/operand_writer.h"

#include "compiler/commands.h"
#include "compiler/keywords.h"
#include "compiler/operand_rules.h"

namespace tmx::compiler {

using Kind = Term::Kind;

NamedLabel& OperandWriter::LabelNamed(const std::string& name) {
  const auto [found, fresh] = labels_.try_emplace(name);
  if (fresh) found->second.label = assembler_.NewLabel();
  return found->second;
}

Variable* OperandWriter::Lookup(const Term& term) {
  Variable* variable = scope_.Find(term.text);
  if (variable == nullptr)
    diagnostics_.Error(term.at, "unknown variable '" + term.text + "'");
  else
    variable->used = true;
  return variable;
}

TypeCode OperandWriter::TypeOf(const Term& term, TypeCode wanted) {
  if (term.kind == Kind::kName) {
    const Variable* variable = scope_.Find(term.text);
    return variable == nullptr ? TypeCode::kNone : variable->type;
  }
  if (term.kind == Kind::kId)
    return scope_.HasId(term.number) ? scope_.TypeOf(static_cast<int>(term.number))
                                     : TypeCode::kNone;
  return LiteralType(term, wanted);
}

void OperandWriter::Write(const Opcode& opcode, std::optional<int> count,
                          const std::vector<Term>& terms, Position at) {
  const auto checked = CheckCount(opcode, count, static_cast<int>(terms.size()), at);
  if (!checked) return;
  Instruction instruction{opcode};
  ReadTypes(instruction, terms);
  assembler_.Begin(opcode, *checked, at);
  for (int i = 0; i < static_cast<int>(terms.size()); ++i)
    WriteOperand(instruction, ShapeOf(opcode, i), terms[static_cast<std::size_t>(i)]);
}

void OperandWriter::WriteKeyOperand(const Opcode& opcode, std::size_t i, const Term& term) {
  constexpr int kTypeAndId = 2;
  WriteRaw({opcode}, ShapeOf(opcode, kTypeAndId + static_cast<int>(i)), term);
}

std::optional<int> OperandWriter::CheckCount(const Opcode& opcode, std::optional<int> count,
                                             int operands, Position at) {
  const std::string name = opcode.mnemonic;
  if (!count) {
    count = CountFor(opcode, operands);
    if (!count)
      diagnostics_.Error(at, name + " does not take " + std::to_string(operands) +
                                 (operands == 1 ? " operand" : " operands"));
    return count;
  }
  if (!opcode.Accepts(*count)) {
    diagnostics_.Error(at, name + " does not accept the count " + std::to_string(*count));
    return std::nullopt;
  }
  if (const int expected = OperandsAt(opcode, *count); expected != operands) {
    diagnostics_.Error(at, name + " with the count " + std::to_string(*count) + " takes " +
                               std::to_string(expected) +
                               (expected == 1 ? " operand, not " : " operands, not ") +
                               std::to_string(operands));
    return std::nullopt;
  }
  return count;
}

// The type and the operator of an instruction stand in front of the operands that they rule.
void OperandWriter::ReadTypes(Instruction& instruction, const std::vector<Term>& terms) {
  char op = 0;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    const Term& term = terms[i];
    const OperandKind kind = ShapeOf(instruction.opcode, static_cast<int>(i)).kind;
    if (kind == OperandKind::kRawType)
      instruction.type = term.kind == Kind::kNumber
                             ? static_cast<TypeCode>(static_cast<std::uint8_t>(term.number))
                             : term.type;
    if (kind == OperandKind::kRawOperator) op = static_cast<char>(term.number);
    if (kind == OperandKind::kOpRight)
      instruction.op_types = OpOperandTypes(instruction.type, op, TypeOf(term));
  }
}

TypeCode OperandWriter::WantedType(const Instruction& instruction, const Operand& shape) const {
  if (shape.kind == OperandKind::kOpLeft) return instruction.op_types.left;
  if (shape.kind == OperandKind::kOpRight) return instruction.op_types.right;
  return shape.type == TypeCode::kTypeOfInstruction ? instruction.type : shape.type;
}

void OperandWriter::Wrong(const Operand& shape, const Term& term, const std::string& expected) {
  diagnostics_.Error(term.at, std::string("operand '") + shape.name + "' must be " + expected +
                                  ", found " + Describe(term));
}

void OperandWriter::WriteOperand(const Instruction& instruction, const Operand& shape,
                                 const Term& term) {
  switch (shape.kind) {
    case OperandKind::kAttribute:
    case OperandKind::kAnyAttribute:
    case OperandKind::kVariable:
    case OperandKind::kOpLeft:
    case OperandKind::kOpRight:
    case OperandKind::kArguments:
    case OperandKind::kTextList:
      return WriteTagged(instruction, shape, term);
    case OperandKind::kDefault:
      if (!term.IsLiteral()) return Wrong(shape, term, "a literal");
      return WriteLiteral(term, instruction.type);
    default:
      return WriteRaw(instruction, shape, term);
  }
}

void OperandWriter::WriteNumber(const Term& term, int bytes, const char* what) {
  const std::int64_t span = std::int64_t{1} << (bytes * 8);
  if (term.kind != Kind::kNumber && term.kind != Kind::kId && term.kind != Kind::kTarget)
    return diagnostics_.Error(term.at,
                              std::string("expected ") + what + ", found " + Describe(term));
  if (term.number < 0 || term.number >= span)
    return diagnostics_.Error(term.at,
                              std::string(what) + " is at most " + std::to_string(span - 1));
  assembler_.Number(term.number, bytes);
}

void OperandWriter::WriteRaw(const Instruction& instruction, const Operand& shape,
                             const Term& term) {
  switch (shape.kind) {
    case OperandKind::kRawType:
      if (term.kind == Kind::kType) return assembler_.Byte(static_cast<int>(term.type));
      return WriteNumber(term, 1, "a type");
    case OperandKind::kRawOperator:
      if (term.kind != Kind::kCharacter) return Wrong(shape, term, "a character like '+'");
      return assembler_.Byte(static_cast<int>(term.number));
    case OperandKind::kRawBool:
      if (LiteralType(term, TypeCode::kBool) != TypeCode::kBool)
        return Wrong(shape, term, "a bool");
      return WriteLiteral(term, TypeCode::kBool);
    case OperandKind::kRawTarget:
      return WriteTarget(term);
    case OperandKind::kRawLine:
      return WriteNumber(term, 2, "a line number");
    case OperandKind::kRawId:
      if (const auto id = IdOf(term)) assembler_.Number(*id, 2);
      return;
    case OperandKind::kNewId:
      return WriteNewId(instruction, term);
    case OperandKind::kRawKey:
      if (term.kind != Kind::kNumber || term.number < 0 || term.number > 0xFFFFFFFF)
        return diagnostics_.Error(
            term.at, std::string("a ") + shape.name + " is a number from 0 to 4294967295");
      return assembler_.Number(term.number, 4);
    case OperandKind::kRawNumber:
      return WriteLiteral(term, TypeCode::kInt);
    case OperandKind::kRawString: {
      // A subroutine's name may stand without quotes.
      Term text = term;
      if (text.kind == Kind::kName) text.kind = Kind::kText;
      return WriteLiteral(text, TypeCode::kString);
    }
    default:
      return;
  }
}

void OperandWriter::WriteTarget(const Term& term) {
  if (term.kind == Kind::kTarget && !verbatim_)
    return diagnostics_.Error(term.at, "expected a label; offsets stand in verbatim sources only");
  if (term.kind == Kind::kTarget) return WriteNumber(term, 2, "an offset");
  if (term.kind != Kind::kName)
    return diagnostics_.Error(term.at, "expected a label, found " + Describe(term));
  NamedLabel& label = LabelNamed(term.text);
  if (!label.used) {
    label.first_use = term.at;
    label.first_jump = assembler_.Size();
  }
  label.used = true;
  assembler_.Target(label.label);
}

// Ids are declared in order; params and statics may also name a holder that is there.
void OperandWriter::WriteNewId(const Instruction& instruction, const Term& term) {
  if (term.kind != Kind::kId) return diagnostics_.Error(term.at, "expected an id like $33");
  const bool next = term.number == scope_.NextId();
  const bool reuses = KeepsHolder(instruction.opcode);
  if (next)
    scope_.Add(instruction.type);
  else if (!verbatim_ && !(reuses && scope_.HasId(term.number)))
    diagnostics_.Error(
        term.at, "ids are declared in order; the next one is $" + std::to_string(scope_.NextId()));
  WriteNumber(term, 2, "an id");
}

std::optional<int> OperandWriter::IdOf(const Term& term) {
  if (term.kind == Kind::kName) {
    const Variable* variable = Lookup(term);
    if (variable == nullptr) return std::nullopt;
    return variable->id;
  }
  if (term.kind != Kind::kId) {
    diagnostics_.Error(term.at, "expected a variable, found " + Describe(term));
    return std::nullopt;
  }
  if (term.number > 0xFFFF || (!verbatim_ && !scope_.HasId(term.number))) {
    diagnostics_.Error(term.at, "no variable has the id $" + std::to_string(term.number));
    return std::nullopt;
  }
  return static_cast<int>(term.number);
}

void OperandWriter::WriteTagged(const Instruction& instruction, const Operand& shape,
                                const Term& term) {
  const TypeCode wanted = WantedType(instruction, shape);
  if (term.IsLiteral()) return WriteTaggedLiteral(shape, wanted, term);
  if (term.kind == Kind::kType || term.kind == Kind::kTarget)
    return Wrong(shape, term, "a variable or a literal");
  const auto id = IdOf(term);
  if (!id) return;
  // Tags below 32 announce literals, and tags are signed.
  if (*id < kFirstVariableTag || *id > 0x7FFF)
    return diagnostics_.Error(term.at, "$" + std::to_string(*id) + " is no variable's tag");
  const TypeCode type = TypeOf(term);
  const bool checked = !(verbatim_ && term.kind == Kind::kId);
  const bool any = wanted == TypeCode::kNone;
  if (checked && any && TakesAnyText(shape) && !HasTextForm(type))
    return Wrong(shape, term, "a value with a text form");
  if (checked && !any && !ReaderAccepts(shape, wanted, type))
    return Wrong(
        shape, term,
        wanted == TypeCode::kChar ? "a character like ';'" : "of type " + NameOfType(wanted));
  assembler_.Number(*id, 2);
}

void OperandWriter::WriteTaggedLiteral(const Operand& shape, TypeCode wanted, const Term& term) {
  if (shape.kind == OperandKind::kVariable) return Wrong(shape, term, "a variable");
  const TypeCode type = LiteralType(term, wanted);
  const bool op = shape.kind == OperandKind::kOpLeft || shape.kind == OperandKind::kOpRight;
  // What the operands of an operation are depends on the holders at run time, so that verbatim
  // sources may say anything there.
  const bool free = wanted == TypeCode::kNone || (op && verbatim_);
  if (!free && type != wanted) return Wrong(shape, term, "of type " + NameOfType(wanted));
  const bool any = TakesAnyText(shape);
  if ((any && !HasTextForm(type)) || (shape.kind == OperandKind::kArguments && !CanBePushed(type)))
    return Wrong(shape, term, any ? "a value with a text form" : "a value that a call can push");
  assembler_.Number(static_cast<int>(type), 2);
  WriteLiteral(term, type);
}

void OperandWriter::WriteLiteral(const Term& term, TypeCode type) {
  if (term.type != TypeCode::kNone && term.type != type)
    return diagnostics_.Error(
        term.at, "expected a literal of type " + NameOfType(type) + ", found " + Describe(term));
  LiteralBytes literal = EncodeLiteral(term, type, verbatim_);
  if (!literal.error.empty()) return diagnostics_.Error(term.at, literal.error);
  if (!literal.ends_in_text) return assembler_.Data(literal.bytes);
  literal.bytes.pop_back();
  assembler_.Text(literal.bytes);
}

}  // namespace tmx::compiler
