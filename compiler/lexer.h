// Splits a macro source into tokens. Line ends are tokens, for a statement ends with its line; they
// are left out after a comma and after an opening parenthesis.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "compiler/source.h"

namespace tmx::compiler {

enum class TokenKind {
  kEnd,          // end of the source
  kNewline,      // end of a statement
  kWord,         // a name or keyword: text
  kNumber,       // decimal or 0x...: number
  kDate,         // day.month.year or day.month.century.year: text holds the four bytes
  kText,         // "...": text without quotes, escapes resolved
  kCharacter,    // '.': number
  kId,           // $33 or $33:name: number
  kTarget,       // @123: number
  kPunctuation,  // text: one of ( ) [ ] , : = < > + - * / % or != <= >=
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  Position at;
  std::string text;
  std::int64_t number = 0;

  bool Is(const char* punctuation) const {
    return kind == TokenKind::kPunctuation && text == punctuation;
  }
  bool IsWord(const char* word) const { return kind == TokenKind::kWord && text == word; }
};

std::vector<Token> Lex(const Source& source, Diagnostics& diagnostics);

}  // namespace tmx::compiler
