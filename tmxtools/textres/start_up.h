// Where the library looks for its texts.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tmx {

// How paths and lists of paths are written.
struct PathSyntax {
  char directory_separator;
  char list_separator;
};
inline constexpr PathSyntax kPosixPaths{'/', ':'};
inline constexpr PathSyntax kWindowsPaths{'\\', ';'};
#ifdef _WIN32
inline constexpr PathSyntax kNativePaths = kWindowsPaths;
#else
inline constexpr PathSyntax kNativePaths = kPosixPaths;
#endif

// The text resource file beside the program, else the first one in the directories of the search
// path; the one beside the program again when there is none at all.
std::string FindTextResource(std::string_view program_directory, std::string_view search_path,
                             PathSyntax syntax,
                             const std::function<bool(const std::string&)>& is_readable);

}  // namespace tmx
