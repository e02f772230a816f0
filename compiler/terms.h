// Operands that the compiler makes itself.
#pragma once

#include <string>
#include <utility>

#include "compiler/ast.h"

namespace tmx::compiler {

inline Term IdTerm(int id, Position at) {
  Term term;
  term.kind = Term::Kind::kId;
  term.number = id;
  term.at = at;
  return term;
}

inline Term TypeTerm(TypeCode type, Position at) {
  Term term;
  term.kind = Term::Kind::kType;
  term.type = type;
  term.at = at;
  return term;
}

inline Term CharacterTerm(char c, Position at) {
  Term term;
  term.kind = Term::Kind::kCharacter;
  term.number = static_cast<unsigned char>(c);
  term.at = at;
  return term;
}

inline Term NumberTerm(int number, Position at) {
  Term term;
  term.kind = Term::Kind::kNumber;
  term.number = number;
  term.at = at;
  return term;
}

inline Term TextTerm(std::string text, Position at) {
  Term term;
  term.kind = Term::Kind::kText;
  term.text = std::move(text);
  term.at = at;
  return term;
}

}  // namespace tmx::compiler
