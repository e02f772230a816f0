// The tokens of a source as the parser takes them, and the operands that it makes of them.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "compiler/ast.h"
#include "compiler/lexer.h"

namespace tmx::compiler {

// Thrown inside the parser only, after the message was recorded; caught at the statement.
struct Mistake {};

class OperandParser {
 public:
  OperandParser(const Source& source, Diagnostics& diagnostics)
      : tokens_(Lex(source, diagnostics)), diagnostics_(diagnostics) {}

 protected:
  const Token& Cur() const { return tokens_[pos_]; }
  const Token& Ahead() const { return tokens_[std::min(pos_ + 1, tokens_.size() - 1)]; }
  void Skip() { pos_ += Cur().kind == TokenKind::kEnd ? 0 : 1; }
  Token Take();
  bool TakeIf(const char* punctuation);
  bool TakeWordIf(const char* word);
  void Expect(const char* punctuation);
  void EndOfLine();
  void SkipLine();
  std::int64_t Number(const char* what, std::int64_t max);
  // A word that is not reserved.
  Token NewName(const char* what);

  [[noreturn]] void Fail(Position at, std::string text);
  [[noreturn]] void Expected(const std::string& what) { Fail(Cur().at, "expected " + what); }
  // A mistake after which the parser goes on where it is.
  void Report(Position at, std::string text) { diagnostics_.Error(at, std::move(text)); }

  bool StartsTerm() const;
  Term ParseTerm();

 private:
  Term ParsePlainTerm();

  std::vector<Token> tokens_;
  Diagnostics& diagnostics_;
  std::size_t pos_ = 0;
};

}  // namespace tmx::compiler
