// The macro files that `tmx macro` works on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "compiler/verifier.h"

namespace tmx::tools {

// A file's bytes, or none if it cannot be read.
std::optional<std::string> ReadBytes(const std::string& path);
// False if the file cannot be written whole.
bool WriteBytes(const std::string& path, const std::string& bytes);

// The directory of the macro files below a macro path.
std::string MacroDirectory(const std::string& macro_path);

// Index and code of the macro file; parts that cannot be read are absent.
compiler::CheckedFile ReadMacroFile(const std::string& macro_path, const std::string& name);

// What went wrong, on standard error.
void Complain(const std::string& text);

}  // namespace tmx::tools
