// Files that are read at once.
#pragma once

#include <optional>
#include <string>

namespace tmx::tools {

// The bytes of a file; nothing where it cannot be read.
std::optional<std::string> ReadFile(const std::string& path);

}  // namespace tmx::tools
