// The tree that the parser makes of a macro source. Commands are kept as rows of the opcode table
// with a list of operands; only what has no row of its own (blocks, assignments, labels, raw bytes)
// has a statement kind.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "compiler/source.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

// One operand as it is written.
struct Term {
  enum class Kind {
    kName,    // a variable, a label or a subroutine: text
    kId,      // $33: number
    kTarget,  // @120: number
    kText,
    kCharacter,
    kNumber,
    kDate,  // text holds the four bytes
    kBool,
    kType,  // a type as an operand
  };
  Kind kind = Kind::kName;
  Position at;
  std::string text;
  std::int64_t number = 0;
  TypeCode type = TypeCode::kNone;  // written before a literal, or the type itself
  bool by_value = false;            // `value x`: a call gets a copy of the variable

  bool IsLiteral() const { return kind >= Kind::kText && kind <= Kind::kBool; }
};

struct Condition;
struct Statement;
using Block = std::vector<Statement>;

struct Branch {
  std::unique_ptr<Condition> condition;  // null for else and for loop
  Block body;
};

struct Statement {
  enum class Kind {
    kCommand,  // opcode, count, operands
    kDeclare,  // opcode, type, name, value: default or key
    kAssign,   // name = operands[0] ops[0] operands[1] ...
    kIf,       // branches
    kWhile,    // branches[0]
    kLoop,     // branches[0]
    kBreak,
    kContinue,
    kLabel,  // name
    kRaw,    // name holds the bytes
  };
  Kind kind = Kind::kCommand;
  Position at;
  const Opcode* opcode = nullptr;
  std::optional<int> count;  // written in brackets
  std::vector<Term> operands;
  std::string ops;
  std::string name;
  Position name_at;
  TypeCode type = TypeCode::kNone;
  std::optional<Term> value;
  std::vector<Branch> branches;
};

struct Condition {
  enum class Kind {
    kFlag,     // the condition as the last command left it
    kTest,     // test: a command that sets the condition
    kCompare,  // left relation right
    kNot,      // first
    kAnd,      // first, second
    kOr,
  };
  Kind kind = Kind::kFlag;
  Position at;
  Statement test;
  Term left, right;
  char relation = '=';
  std::unique_ptr<Condition> first, second;
};

struct Subroutine {
  std::string name;
  Position at;
  std::vector<Statement> parameters;
  Block body;
  Position end;
  int reserved = 0;
  bool listed = true;  // has an entry of its own in the index
};

// An index entry without code of its own.
struct Entry {
  std::string name;
  std::int64_t offset = 0;
  int length = 0;
  int reserved = 0;
};

struct Item {
  enum class Kind { kSubroutine, kRaw, kEntry, kIndexRaw };
  Kind kind = Kind::kSubroutine;
  Position at;
  Subroutine subroutine;
  Entry entry;
  std::string bytes;
};

struct File {
  bool verbatim = false;  // exactly what is written: no marks, no implied exit, odd ids allowed
  std::optional<std::string> magic;
  std::vector<Item> items;
};

}  // namespace tmx::compiler
