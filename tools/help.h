// How --help looks, for all commands alike.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace tmx::tools {

// Within 80 columns: the usage names what must be given; options stand in two columns, with what
// they demand behind their text; a group of options says how many of it are taken.
//
// Line ends in descriptions are blanks. In footers, lines that begin with a blank stay as they are
// and the others between them are filled up.
class HelpFormatter : public CLI::FormatterBase {
 public:
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode) const override;
};

}  // namespace tmx::tools
