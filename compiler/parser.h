// Turns a macro source into its tree. After a mistake the parser goes on with the next line, so
// that one run reports several.
#pragma once

#include "compiler/ast.h"
#include "compiler/source.h"

namespace tmx::compiler {

File Parse(const Source& source, Diagnostics& diagnostics);

}  // namespace tmx::compiler
