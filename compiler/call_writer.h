// Calls with their arguments. A copy of a variable that is passed by value, and a literal amount,
// need a variable of the caller's to stand in: a temporary.
#pragma once

#include <vector>

#include "compiler/ast.h"
#include "compiler/operand_writer.h"
#include "compiler/scope.h"
#include "compiler/source.h"
#include "compiler/subroutine_compiler.h"

namespace tmx::compiler {

// Locals that the compiler makes to pass values to calls. They are declared behind the parameters;
// how many there are is known after a first pass over the subroutine.
using Temporaries = std::vector<TypeCode>;

class CallWriter {
 public:
  CallWriter(const SubroutineContext& context, Scope& scope, OperandWriter& writer,
             Temporaries& temporaries, Diagnostics& diagnostics)
      : context_(context),
        scope_(scope),
        writer_(writer),
        temporaries_(temporaries),
        diagnostics_(diagnostics) {}

  // The id from which on those temporaries are declared that are known.
  void TemporariesBegin(int id) { first_temporary_ = id; }
  void Write(const Statement& call);

 private:
  const std::vector<TypeCode>* FindParameters(const Statement& call);
  void Argument(Term& argument, TypeCode wanted, std::vector<bool>& taken);
  int Temporary(TypeCode type, std::vector<bool>& taken);

  const SubroutineContext& context_;
  Scope& scope_;
  OperandWriter& writer_;
  Temporaries& temporaries_;
  Diagnostics& diagnostics_;
  int first_temporary_ = 0;
};

}  // namespace tmx::compiler
