// Compiles one macro source to the index and the code of a macro file.
//
// Compile is a pure function: no files are read or written. Errors stand in the diagnostics, and
// then the image is empty.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "compiler/ast.h"
#include "compiler/macro_image.h"
#include "compiler/source.h"

namespace tmx::compiler {

// The parameter types of subroutines by name.
using Signatures = std::map<std::string, std::vector<TypeCode>, std::less<>>;
Signatures SignaturesOf(const File& file);

struct CompileOptions {
  bool debug_marks = true;  // opcodes 160, 161 and 163
  // The subroutines of the other sources of the build. When given, calls of a name that neither
  // they nor the source have are warned of, and calls into them are checked.
  const Signatures* others = nullptr;
};

struct Compiled {
  MacroImage image;
  Diagnostics diagnostics;
};

Compiled Compile(const Source& source, const CompileOptions& options = {});

}  // namespace tmx::compiler
