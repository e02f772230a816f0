#include "compiler/condition_parser.h"

#include <utility>

#include "compiler/keywords.h"

namespace tmx::compiler {
namespace {

ConditionPtr Make(Condition::Kind kind, Position at) {
  auto condition = std::make_unique<Condition>();
  condition->kind = kind;
  condition->at = at;
  return condition;
}

ConditionPtr Join(Condition::Kind kind, ConditionPtr first, ConditionPtr second) {
  ConditionPtr both = Make(kind, first->at);
  both->first = std::move(first);
  both->second = std::move(second);
  return both;
}

ConditionPtr Not(ConditionPtr inner, Position at) {
  ConditionPtr negated = Make(Condition::Kind::kNot, at);
  negated->first = std::move(inner);
  return negated;
}

// The engine knows <, = and >; the others are their negations.
struct Relation {
  const char* written;
  char meant;
  bool negated;
};
constexpr Relation kRelations[] = {{"=", '=', false}, {"<", '<', false}, {">", '>', false},
                                   {"!=", '=', true}, {"<=", '>', true}, {">=", '<', true}};

const Relation* RelationOf(const Token& token) {
  for (const Relation& relation : kRelations)
    if (token.Is(relation.written)) return &relation;
  return nullptr;
}

}  // namespace

ConditionParser::Deeper::Deeper(ConditionParser& parser) : depth_(parser.depth_) {
  constexpr int kDeepest = 200;
  if (depth_ >= kDeepest) parser.Fail(parser.Cur().at, "nested too deeply");
  ++depth_;
}

// ---- commands ---------------------------------------------------------------------------------

Statement ConditionParser::ParseCommandHead(const Opcode& opcode, Position at) {
  Statement statement;
  statement.at = at;
  statement.opcode = &opcode;
  if (TakeIf("[")) {
    statement.count = static_cast<int>(Number("a count", 255));
    Expect("]");
  }
  if (opcode.counted == Counted::kCall) {
    ParseCallOperands(statement);
  } else if (StartsTerm()) {
    // `if_goto label` and `if_goto not label` stand for a flag and a label.
    const bool flag_first =
        opcode.operand_count > 0 && opcode.operands[0].kind == OperandKind::kRawBool;
    if (flag_first && TypeNamed(Cur().text) == TypeCode::kNone && !Ahead().Is(",")) {
      Term negate;
      negate.kind = Term::Kind::kBool;
      negate.at = Cur().at;
      negate.number = TakeWordIf("not") ? 1 : 0;
      statement.operands.push_back(negate);
    }
    do statement.operands.push_back(ParseTerm());
    while (TakeIf(","));
  }
  return statement;
}

void ConditionParser::ParseCallOperands(Statement& statement) {
  statement.operands.push_back(ParseTerm());
  if (!TakeIf("(") || TakeIf(")")) return;
  do {
    const bool by_value = Cur().IsWord("value");
    if (by_value) Skip();
    statement.operands.push_back(ParseTerm());
    statement.operands.back().by_value = by_value;
  } while (TakeIf(","));
  Expect(")");
}

// ---- conditions -------------------------------------------------------------------------------

ConditionPtr ConditionParser::ParseCondition() {
  ConditionPtr left = ParseAnd();
  while (TakeWordIf("or")) left = Join(Condition::Kind::kOr, std::move(left), ParseAnd());
  return left;
}

ConditionPtr ConditionParser::ParseAnd() {
  ConditionPtr left = ParseNot();
  while (TakeWordIf("and")) left = Join(Condition::Kind::kAnd, std::move(left), ParseNot());
  return left;
}

ConditionPtr ConditionParser::ParseNot() {
  const Deeper deeper(*this);
  const Position at = Cur().at;
  if (TakeWordIf("not")) return Not(ParseNot(), at);
  if (TakeIf("(")) {
    ConditionPtr inner = ParseCondition();
    Expect(")");
    return inner;
  }
  if (TakeWordIf("condition")) return Make(Condition::Kind::kFlag, at);
  return ParseTest();
}

// A command in a condition: one that sets the flag. A variable may have the same name.
ConditionPtr ConditionParser::ParseTest() {
  const Token word = Cur();
  if (word.kind == TokenKind::kWord && RelationOf(Ahead()) == nullptr) {
    for (const char* test : {"is_null", "success", "search", "compare"})
      if (TakeWordIf(test)) {
        ConditionPtr condition = Make(Condition::Kind::kTest, word.at);
        condition->test = ParseCommandHead(*FindOpcode(test), word.at);
        return condition;
      }
  }
  return ParseComparison();
}

ConditionPtr ConditionParser::ParseComparison() {
  ConditionPtr compare = Make(Condition::Kind::kCompare, Cur().at);
  compare->left = ParseTerm();
  const Relation* const relation = RelationOf(Cur());
  if (relation == nullptr) Expected("one of = < > != <= >=");
  Skip();
  compare->relation = relation->meant;
  compare->right = ParseTerm();
  const Position at = compare->at;
  return relation->negated ? Not(std::move(compare), at) : std::move(compare);
}

}  // namespace tmx::compiler
