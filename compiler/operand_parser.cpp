#include "compiler/operand_parser.h"

#include <utility>

#include "compiler/keywords.h"

namespace tmx::compiler {
namespace {

bool StartsLiteral(const Token& token) {
  return token.kind == TokenKind::kText || token.kind == TokenKind::kNumber ||
         token.kind == TokenKind::kDate || token.kind == TokenKind::kCharacter || token.Is("-") ||
         token.IsWord("true") || token.IsWord("false");
}

}  // namespace

Token OperandParser::Take() { return tokens_[Cur().kind == TokenKind::kEnd ? pos_ : pos_++]; }

bool OperandParser::TakeIf(const char* punctuation) {
  if (!Cur().Is(punctuation)) return false;
  ++pos_;
  return true;
}

bool OperandParser::TakeWordIf(const char* word) {
  if (!Cur().IsWord(word)) return false;
  ++pos_;
  return true;
}

void OperandParser::Fail(Position at, std::string text) {
  diagnostics_.Error(at, std::move(text));
  throw Mistake{};
}

void OperandParser::Expect(const char* punctuation) {
  if (!TakeIf(punctuation)) Expected(std::string("'") + punctuation + "'");
}

void OperandParser::EndOfLine() {
  if (Cur().kind == TokenKind::kEnd) return;
  if (Cur().kind != TokenKind::kNewline) Expected("the end of the line");
  ++pos_;
}

void OperandParser::SkipLine() {
  while (Cur().kind != TokenKind::kNewline && Cur().kind != TokenKind::kEnd) ++pos_;
  if (Cur().kind == TokenKind::kNewline) ++pos_;
}

std::int64_t OperandParser::Number(const char* what, std::int64_t max) {
  if (Cur().kind != TokenKind::kNumber) Expected(what);
  if (Cur().number > max) Fail(Cur().at, std::string(what) + " is at most " + std::to_string(max));
  return Take().number;
}

Token OperandParser::NewName(const char* what) {
  if (Cur().kind != TokenKind::kWord) Expected(what);
  if (IsReserved(Cur().text)) Fail(Cur().at, "'" + Cur().text + "' is a reserved word");
  return Take();
}

bool OperandParser::StartsTerm() const {
  switch (Cur().kind) {
    case TokenKind::kEnd:
    case TokenKind::kNewline:
      return false;
    case TokenKind::kPunctuation:
      return Cur().Is("-");
    case TokenKind::kWord:
      return !Cur().IsWord("and") && !Cur().IsWord("or");
    default:
      return true;
  }
}

Term OperandParser::ParseTerm() {
  if (Cur().kind == TokenKind::kWord && TypeNamed(Cur().text) != TypeCode::kNone) {
    const Token type = Take();
    Term term;
    if (StartsLiteral(Cur()))
      term = ParsePlainTerm();
    else
      term.kind = Term::Kind::kType;
    term.at = type.at;
    term.type = TypeNamed(type.text);
    return term;
  }
  return ParsePlainTerm();
}

Term OperandParser::ParsePlainTerm() {
  Term term;
  term.at = Cur().at;
  if (TakeIf("-")) {
    if (Cur().kind != TokenKind::kNumber) Expected("a number");
    term.kind = Term::Kind::kNumber;
    term.number = -Take().number;
    return term;
  }
  constexpr std::pair<TokenKind, Term::Kind> kKinds[] = {
      {TokenKind::kText, Term::Kind::kText},     {TokenKind::kCharacter, Term::Kind::kCharacter},
      {TokenKind::kNumber, Term::Kind::kNumber}, {TokenKind::kDate, Term::Kind::kDate},
      {TokenKind::kId, Term::Kind::kId},         {TokenKind::kTarget, Term::Kind::kTarget}};
  for (const auto& [token, kind] : kKinds)
    if (Cur().kind == token) {
      const Token taken = Take();
      term.kind = kind;
      term.text = taken.text;
      term.number = taken.number;
      return term;
    }
  // `left` and `right` are how the alignment of the write commands reads best.
  constexpr std::pair<const char*, int> kBools[] = {
      {"true", 1}, {"false", 0}, {"right", 1}, {"left", 0}};
  for (const auto& [word, value] : kBools)
    if (TakeWordIf(word)) {
      term.kind = Term::Kind::kBool;
      term.number = value;
      return term;
    }
  term.text = NewName("an operand").text;
  return term;
}

}  // namespace tmx::compiler
