// Tests of command lines that are written down as text.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tmx::golden {

// A golden file is a list of sections. Each begins with a line "== KIND ARGUMENT" and reaches to
// the next such line:
//
//   == file NAME       a file that lies in the scratch directory before the first run
//   == run             a command line for the shell; starts a case
//   == stdin           what the command reads (nothing without it)
//   == stdout          what it must print (nothing without it)
//   == stderr          the same for standard error
//   == exit N          its exit code (0 without it)
//   == result NAME     what the file NAME must hold afterwards
//
// Text before the first section is a comment. The cases of a file run one after the other in one
// scratch directory; tmx is on the PATH, the locale is "C" and $SOURCE is the root of the sources.
// Bytes that do not belong into a text file are written \xNN, on both sides.
struct Section {
  std::string kind;
  std::string argument;
  std::string text;  // without escapes
};

struct Document {
  std::string comment;
  std::vector<Section> sections;
};

Document Parse(std::string_view bytes);
std::string Write(const Document& document);

// Runs all cases in a fresh directory and returns the document as it should read: what came out in
// place of what was expected.
Document RunCases(const Document& document, const std::string& program_directory);

}  // namespace tmx::golden
