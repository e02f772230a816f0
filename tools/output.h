// How the tool's output reaches a terminal.
#pragma once

#include <string>
#include <string_view>

namespace tmx::tools {

// The bytes as code points 0 to 255 in UTF-8.
std::string Utf8(std::string_view latin1);

// Whether the locale of the environment is UTF-8.
bool OutputIsUtf8();

// An ISO 8859-1 text, as all texts of the library are, for output: UTF-8 where the locale of the
// environment is UTF-8, else the bytes as they stand.
std::string ForOutput(std::string_view latin1);

// While it lives, what the library prints on standard output goes to standard error, so that its
// warnings do not mix with a command's result.
class WarningsToStderr {
 public:
  WarningsToStderr();
  ~WarningsToStderr();
  WarningsToStderr(const WarningsToStderr&) = delete;
  WarningsToStderr& operator=(const WarningsToStderr&) = delete;

 private:
  int stdout_;
};

}  // namespace tmx::tools
