// The macro files that `tmx macro` works on.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "compiler/verifier.h"

namespace tmx::tools {

// The bytes of a file or pipe; none, with errno telling why, if it cannot be read or is longer
// (EFBIG). Macro files and their sources are far shorter than the limit.
std::optional<std::string> ReadBytes(const std::string& path, std::size_t longest = 64 << 20);
// False, with errno telling why, if the file cannot be written whole.
bool WriteBytes(const std::string& path, const std::string& bytes);
// Says that the path cannot be `done`, and why by errno.
void ComplainOf(const std::string& path, const char* done);

// The directory of the macro files below a macro path.
std::string MacroDirectory(const std::string& macro_path);

// Index and code of the macro files that a run with these names searches, in the order in which
// they are pushed: "general" lies below the others without being named, if it is there. Parts that
// cannot be read are absent.
std::vector<compiler::CheckedFile> ReadMacroFiles(const std::string& macro_path,
                                                  const std::vector<std::string>& names);

// What went wrong, on standard error. Names from the command line go out as they came in; texts of
// the library go through ForOutput.
void Complain(const std::string& text);

}  // namespace tmx::tools
