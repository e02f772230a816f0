// The shipped macros, compiled once for all tests of a program.
#pragma once

#include <string>

namespace tmx::demo {

// A macro path with every macro file that the tree ships.
std::string MacroPath();

}  // namespace tmx::demo
