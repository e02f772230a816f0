#include "compiler/operand_rules.h"

#include <algorithm>

#include "compiler/keywords.h"
#include "compiler/macro_image.h"

namespace tmx::compiler {

bool ReaderAccepts(const Operand& shape, TypeCode wanted, TypeCode variable) {
  if (wanted == TypeCode::kChar) return false;
  if (shape.kind == OperandKind::kVariable || wanted != TypeCode::kString)
    return variable == wanted;
  return variable == TypeCode::kString || variable == TypeCode::kAmount;
}

bool HasTextForm(TypeCode type) {
  return type == TypeCode::kString || type == TypeCode::kDate || type == TypeCode::kInt ||
         type == TypeCode::kLong || type == TypeCode::kAmount;
}

bool CanBePushed(TypeCode type) { return HasTextForm(type) || type == TypeCode::kBool; }

TypeCode LiteralType(const Term& term, TypeCode wanted) {
  if (term.type != TypeCode::kNone) return term.type;
  switch (term.kind) {
    case Term::Kind::kText:
      return wanted == TypeCode::kAmount ? wanted : TypeCode::kString;
    case Term::Kind::kNumber:
      return wanted == TypeCode::kLong ? wanted : TypeCode::kInt;
    case Term::Kind::kDate:
      return TypeCode::kDate;
    case Term::Kind::kBool:
      return TypeCode::kBool;
    case Term::Kind::kCharacter:
      return TypeCode::kChar;
    default:
      return TypeCode::kNone;
  }
}

namespace {

LiteralBytes Failed(std::string error) { return {{}, false, std::move(error)}; }

// Both signed and unsigned writings of a value are good.
LiteralBytes EncodeNumber(const Term& term, int bytes) {
  if (term.kind != Term::Kind::kNumber) return Failed("expected a number, found " + Describe(term));
  const std::int64_t span = std::int64_t{1} << (bytes * 8);
  if (term.number < -span / 2 || term.number >= span)
    return Failed("the number does not fit " + std::to_string(bytes * 8) + " bits");
  LiteralBytes literal;
  AppendBigEndian(literal.bytes, static_cast<std::uint32_t>(term.number), bytes);
  return literal;
}

LiteralBytes EncodeText(const Term& term) {
  if (term.kind != Term::Kind::kText) return Failed("expected a text, found " + Describe(term));
  if (term.text.find('\0') != std::string::npos)
    return Failed("a text may not hold the byte \\x00, which ends it");
  LiteralBytes literal{term.text, true, {}};
  literal.bytes += '\0';
  return literal;
}

// The null date, or a day and a month that there are. 30 February is a day to banks.
bool IsDate(const std::string& day_month_century_year) {
  const std::string& date = day_month_century_year;
  return date == std::string(4, '\0') ||
         (date[0] >= 1 && date[0] <= 31 && date[1] >= 1 && date[1] <= 12);
}

}  // namespace

bool IsAmountText(std::string_view text) {
  const auto is_digits = [](std::string_view part) {
    return part.find_first_not_of("0123456789") == std::string_view::npos;
  };
  if (text.starts_with('-')) text.remove_prefix(1);
  const std::size_t comma = std::min(text.find(','), text.size());
  std::string_view whole = text.substr(0, comma);
  const std::string_view fraction = text.substr(std::min(comma + 1, text.size()));
  if (whole.empty() && fraction.empty()) return false;
  for (std::size_t dot = whole.rfind('.'); dot != std::string_view::npos; dot = whole.rfind('.')) {
    constexpr std::size_t kThousand = 3;
    if (dot == 0 || whole.size() - dot - 1 != kThousand || !is_digits(whole.substr(dot + 1)))
      return false;
    whole = whole.substr(0, dot);
  }
  return is_digits(whole) && is_digits(fraction);
}

LiteralBytes EncodeLiteral(const Term& term, TypeCode type, bool verbatim) {
  switch (type) {
    case TypeCode::kAmount:
      if (term.kind == Term::Kind::kText && !verbatim && !term.text.empty() &&
          !IsAmountText(term.text))
        return Failed("an amount is written like \"-1234,56\" or \"1.234,56\"");
      return EncodeText(term);
    case TypeCode::kString:
      return EncodeText(term);
    case TypeCode::kDate:
      if (term.kind != Term::Kind::kDate) break;
      if (!verbatim && !IsDate(term.text)) return Failed("no date has this day or month");
      return {term.text, false, {}};
    case TypeCode::kInt:
      return EncodeNumber(term, 2);
    case TypeCode::kLong:
      return EncodeNumber(term, 4);
    case TypeCode::kBool:
      if (term.kind != Term::Kind::kBool && term.kind != Term::Kind::kNumber) break;
      if (term.number < 0 || term.number > 255) return Failed("a bool is one byte");
      return {std::string(1, static_cast<char>(term.number)), false, {}};
    case TypeCode::kChar:
      if (term.kind != Term::Kind::kCharacter) break;
      return {std::string(1, static_cast<char>(term.number)), false, {}};
    default:
      break;
  }
  return Failed(Describe(term) + " has no such type");
}

int OperandsAt(const Opcode& opcode, int count) {
  const int present = opcode.OperandsPresent(count);
  if (!opcode.IsVariadic() || present < opcode.operand_count) return present;
  return present - 1 + std::max(count - 1, 0);
}

std::optional<int> CountFor(const Opcode& opcode, int operands) {
  if (opcode.counted == Counted::kIgnored || opcode.counted == Counted::kFetch) {
    if (operands == opcode.operand_count) return opcode.usual_count;
    return std::nullopt;
  }
  if (opcode.counted == Counted::kIfUsual && operands == opcode.operand_count)
    return opcode.usual_count;
  // Starting from 1 spares calls without arguments the count 0, under which they read none either.
  for (int count = opcode.counted == Counted::kCall ? 1 : opcode.min_count;
       count <= opcode.max_count; ++count)
    if (opcode.Accepts(count) && OperandsAt(opcode, count) == operands) return count;
  return std::nullopt;
}

const Operand& ShapeOf(const Opcode& opcode, int i) {
  return opcode.operands[static_cast<std::size_t>(std::min(i, opcode.operand_count - 1))];
}

std::string Describe(const Term& term) {
  if (term.type != TypeCode::kNone && term.kind != Term::Kind::kType)
    return "the " + NameOfType(term.type) + " literal";
  switch (term.kind) {
    case Term::Kind::kName:
      return "'" + term.text + "'";
    case Term::Kind::kId:
      return "$" + std::to_string(term.number);
    case Term::Kind::kTarget:
      return "an offset";
    case Term::Kind::kText:
      return "a text";
    case Term::Kind::kCharacter:
      return "a character";
    case Term::Kind::kNumber:
      return "a number";
    case Term::Kind::kDate:
      return "a date";
    case Term::Kind::kBool:
      return "a bool";
    case Term::Kind::kType:
      return "the type '" + NameOfType(term.type) + "'";
  }
  return {};
}

}  // namespace tmx::compiler
