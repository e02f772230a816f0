#include "compiler/command_table.h"

#include "compiler/keywords.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {
namespace {

std::string TypeText(const Operand& shape) {
  return shape.type == TypeCode::kTypeOfInstruction ? "T" : NameOfType(shape.type);
}

std::string OperandText(const Operand& shape) {
  const std::string name = shape.name;
  switch (shape.kind) {
    case OperandKind::kRawType:
      return "T";
    case OperandKind::kRawOperator:
      return "'" + name + "'";
    case OperandKind::kRawTarget:
      return "label";
    case OperandKind::kRawBool:
      return "[not]";
    case OperandKind::kAttribute:
      return TypeText(shape) + " " + name;
    case OperandKind::kVariable:
      return TypeText(shape) + "& " + name;
    case OperandKind::kAnyAttribute:
      return "any " + name;
    case OperandKind::kDefault:
      return "T " + name;
    case OperandKind::kArguments:
      return "(" + name + ")";
    case OperandKind::kTextList:
      return "any text, ...";
    default:
      return name;
  }
}

// Operands that a count can leave out stand in brackets.
std::string StatementText(const Opcode& opcode) {
  std::string text = opcode.mnemonic;
  std::string brackets;
  const int always = opcode.OperandsPresent(opcode.min_count);
  const bool lists = opcode.counted != Counted::kCall;
  std::string separator = " ";
  for (int i = 0; i < opcode.operand_count; ++i) {
    const Operand& shape = opcode.operands[static_cast<std::size_t>(i)];
    const bool starts_optional =
        (opcode.counted == Counted::kChecked || opcode.counted == Counted::kEither ||
         opcode.counted == Counted::kIfUsual) &&
        i >= always &&
        (i == 0 || opcode.operands[static_cast<std::size_t>(i - 1)].from_count < shape.from_count);
    if (starts_optional) {
      text += " [";
      brackets += "]";
      if (separator == " ") separator = "";
    }
    text += separator + OperandText(shape);
    separator = lists && shape.kind != OperandKind::kRawBool ? ", " : "";
    if (shape.kind == OperandKind::kRawBool) separator = " ";
  }
  return text + brackets;
}

std::string CountsText(const Opcode& opcode) {
  switch (opcode.counted) {
    case Counted::kChecked:
      return opcode.min_count == opcode.max_count
                 ? std::to_string(opcode.min_count)
                 : std::to_string(opcode.min_count) + "–" + std::to_string(opcode.max_count);
    case Counted::kEither:
      return std::to_string(opcode.min_count) + " or " + std::to_string(opcode.max_count);
    case Counted::kCall:
      return "1 + arguments";
    default:
      return "any";
  }
}

}  // namespace

std::string CommandTable() {
  std::string table = "| statement | opcode | counts | what it does |\n|---|---|---|---|\n";
  for (int number = 0; number < 256; ++number)
    if (const Opcode* opcode = FindOpcode(number))
      table += "| `" + StatementText(*opcode) + "` | " + std::to_string(number) + " | " +
               CountsText(*opcode) + " | " + opcode->doc + " |\n";
  return table;
}

std::optional<std::string> WithCommandTable(const std::string& document) {
  const std::string begin_mark = "<!-- commands -->\n";
  const std::size_t begin = document.find(begin_mark);
  const std::size_t end = document.find("<!-- end -->", begin);
  if (begin == std::string::npos || end == std::string::npos) return std::nullopt;
  return document.substr(0, begin + begin_mark.size()) + CommandTable() + document.substr(end);
}

}  // namespace tmx::compiler
