#include "tmxtools/macro/opcode_table.h"

#include <cstring>

namespace tmx {
namespace {

using enum OperandKind;
using enum TypeCode;

struct CountRule {
  Counted counted;
  int min_count, max_count, usual_count;
};

consteval CountRule Counts(int min, int max) { return {Counted::kChecked, min, max, max}; }
consteval CountRule IgnoresCount(int usual) { return {Counted::kIgnored, 0, 255, usual}; }
consteval CountRule TakesArguments() { return {Counted::kCall, 0, 255, 1}; }
consteval CountRule Either(int min, int max) { return {Counted::kEither, min, max, max}; }
consteval CountRule IfUsual(int usual) { return {Counted::kIfUsual, 0, 255, usual}; }
consteval CountRule InFetch() { return {Counted::kFetch, 0, 255, 1}; }

consteval Operand Of(OperandKind kind, TypeCode type, int from, const char* name) {
  return {kind, type, static_cast<std::uint8_t>(from), name};
}
consteval Operand Tagged(TypeCode type, int from, const char* name) {
  return Of(kAttribute, type, from, name);
}
consteval Operand VariableOf(TypeCode type, int from, const char* name) {
  return Of(kVariable, type, from, name);
}

consteval Operand RawType(int from = 0) { return Of(kRawType, kNone, from, "type"); }
consteval Operand RawOperator() { return Of(kRawOperator, kNone, 0, "operator"); }
consteval Operand RawBool(const char* name) { return Of(kRawBool, kNone, 0, name); }
consteval Operand RawTarget() { return Of(kRawTarget, kNone, 0, "target"); }
consteval Operand RawLine() { return Of(kRawLine, kNone, 0, "line"); }
consteval Operand RawId(int from, const char* name) { return Of(kRawId, kNone, from, name); }
consteval Operand NewId(int from) { return Of(kNewId, kTypeOfInstruction, from, "id"); }
consteval Operand RawKey(int from) { return Of(kRawKey, kNone, from, "key"); }
consteval Operand RawField(int from) { return Of(kRawKey, kNone, from, "field"); }
consteval Operand RawNumber(int from, const char* name) {
  return Of(kRawNumber, kNone, from, name);
}
consteval Operand RawString(int from, const char* name) {
  return Of(kRawString, kNone, from, name);
}
consteval Operand RawString(const char* name) { return RawString(0, name); }
consteval Operand Default(int from) { return Of(kDefault, kTypeOfInstruction, from, "default"); }
consteval Operand Text(int from, const char* name) { return Tagged(kString, from, name); }
consteval Operand Int(int from, const char* name) { return Tagged(kInt, from, name); }
consteval Operand Long(int from, const char* name) { return Tagged(kLong, from, name); }
consteval Operand Char(int from, const char* name) { return Tagged(kChar, from, name); }
consteval Operand Bool(int from, const char* name) { return Tagged(kBool, from, name); }
consteval Operand DateOf(int from, const char* name) { return Tagged(kDate, from, name); }
consteval Operand Amount(int from, const char* name) { return Tagged(kAmount, from, name); }
consteval Operand OfType(const char* name) { return Tagged(kTypeOfInstruction, 0, name); }
consteval Operand AnyText(int from, const char* name) {
  return Of(kAnyAttribute, kNone, from, name);
}
consteval Operand VariableOfType(const char* name) {
  return VariableOf(kTypeOfInstruction, 0, name);
}
consteval Operand StringVariable(int from, const char* name) {
  return VariableOf(kString, from, name);
}
consteval Operand DateVariable(int from, const char* name) { return VariableOf(kDate, from, name); }
consteval Operand IntVariable(int from, const char* name) { return VariableOf(kInt, from, name); }
consteval Operand LongVariable(int from, const char* name) { return VariableOf(kLong, from, name); }
// Amount variables of a macro are string variables that hold an amount's text.
consteval Operand AmountVariable(int from, const char* name) {
  return VariableOf(kAmount, from, name);
}
consteval Operand OpLeft() { return Of(kOpLeft, kTypeOfInstruction, 0, "left"); }
consteval Operand OpRight() { return Of(kOpRight, kTypeOfInstruction, 0, "right"); }
consteval Operand Arguments() { return Of(kArguments, kNone, 2, "arguments"); }
consteval Operand Texts() { return Of(kTextList, kNone, 2, "texts"); }

template <typename... Operands>
consteval Opcode Row(EngineKind engine, int number, const char* command, const char* mnemonic,
                     CountRule rule, const char* doc, Operands... operands) {
  static_assert(sizeof...(operands) <= kMaxOperands);
  return {engine,
          static_cast<std::uint8_t>(number),
          command,
          mnemonic,
          rule.counted,
          static_cast<std::uint8_t>(rule.min_count),
          static_cast<std::uint8_t>(rule.max_count),
          static_cast<std::uint8_t>(rule.usual_count),
          {operands...},
          sizeof...(operands),
          doc};
}

#define TMX_ROW(number, command, ...) Row(EngineKind::kGeneric, number, #command, __VA_ARGS__),
#define TMX_BANKING_ROW(number, command, ...) \
  Row(EngineKind::kBanking, number, #command, __VA_ARGS__),
constexpr Opcode kOpcodes[] = {TMX_BASE_OPCODES(TMX_ROW) TMX_BANKING_OPCODES(TMX_BANKING_ROW)};
#undef TMX_ROW
#undef TMX_BANKING_ROW

constexpr auto kByNumber = []() consteval {
  std::array<const Opcode*, 256> rows{};
  for (const Opcode& row : kOpcodes) rows[row.number] = &row;
  return rows;
}
();

}  // namespace

const Opcode* FindOpcode(int number) {
  return number >= 0 && number < 256 ? kByNumber[static_cast<std::size_t>(number)] : nullptr;
}

const Opcode* FindOpcode(const char* mnemonic) {
  for (const Opcode& row : kOpcodes)
    if (std::strcmp(row.mnemonic, mnemonic) == 0) return &row;
  return nullptr;
}

OpTypes OpOperandTypes(TypeCode type, char op, TypeCode type_of_right) {
  const auto one_of = [op](const char* ops) { return op != 0 && std::strchr(ops, op) != nullptr; };
  switch (type) {
    case kString:
      return {kString, kString, one_of("+")};
    case kDate:
      return {kDate, kInt, one_of("+-")};
    case kInt:
      // The type of B alone selects the difference of dates; the operator is not looked at.
      if (type_of_right == kDate) return {kDate, kDate, true};
      return {kInt, kInt, one_of("+-*/%")};
    case kLong:
      // Here the operator alone selects it, whatever B is.
      if (op == '_') return {kDate, kDate, true};
      return {kLong, kLong, one_of("+-*/%")};
    case kAmount:
      if (one_of("*/%")) return {kAmount, kLong, true};
      return {kAmount, kAmount, one_of("+-")};
    default:
      return {kNone, kNone, false};
  }
}

}  // namespace tmx
