// Checks the operands of one command against its row of the opcode table and writes its bytes.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "compiler/assembler.h"
#include "compiler/ast.h"
#include "compiler/scope.h"
#include "compiler/source.h"

namespace tmx::compiler {

// The labels that the source names.
struct NamedLabel {
  Assembler::Label label = 0;
  Position first_use;
  std::size_t first_jump = 0;  // where the first jump to it stands
  bool used = false;
};

class OperandWriter {
 public:
  OperandWriter(bool verbatim, Scope& scope, Assembler& assembler, Diagnostics& diagnostics)
      : verbatim_(verbatim), scope_(scope), assembler_(assembler), diagnostics_(diagnostics) {}

  // Writes the whole instruction. What is wrong is reported, and bytes may then be missing.
  void Write(const Opcode& opcode, std::optional<int> count, const std::vector<Term>& terms,
             Position at);

  // Writes what follows the type and the id of a declaration: its key or field, and what that is
  // of.
  void WriteKeyOperand(const Opcode& opcode, std::size_t i, const Term& term);

  // The type of a term: a variable's, or a literal's where `wanted` is expected. kNone if unknown.
  TypeCode TypeOf(const Term& term, TypeCode wanted = TypeCode::kNone);
  // The variable that a term names; reports it if there is none.
  Variable* Lookup(const Term& term);

  std::map<std::string, NamedLabel>& Labels() { return labels_; }
  NamedLabel& LabelNamed(const std::string& name);

 private:
  struct Instruction {
    const Opcode& opcode;
    TypeCode type = TypeCode::kNone;  // in the first operand byte
    OpTypes op_types{};
  };

  std::optional<int> CheckCount(const Opcode& opcode, std::optional<int> count, int operands,
                                Position at);
  void ReadTypes(Instruction& instruction, const std::vector<Term>& terms);
  void WriteOperand(const Instruction& instruction, const Operand& shape, const Term& term);
  void WriteRaw(const Instruction& instruction, const Operand& shape, const Term& term);
  void WriteTagged(const Instruction& instruction, const Operand& shape, const Term& term);
  void WriteTaggedLiteral(const Operand& shape, TypeCode wanted, const Term& term);
  void WriteLiteral(const Term& term, TypeCode type);
  void WriteTarget(const Term& term);
  void WriteNewId(const Instruction& instruction, const Term& term);
  void WriteNumber(const Term& term, int bytes, const char* what);
  // The id of a variable term; none if it is unknown, which was reported.
  std::optional<int> IdOf(const Term& term);
  TypeCode WantedType(const Instruction& instruction, const Operand& shape) const;
  void Wrong(const Operand& shape, const Term& term, const std::string& expected);

  bool verbatim_;
  Scope& scope_;
  Assembler& assembler_;
  Diagnostics& diagnostics_;
  std::map<std::string, NamedLabel> labels_;
};

}  // namespace tmx::compiler
