// The subcommands of `tmx macro`, which stand in several files.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

namespace tmx::tools {

struct MacroSet {
  std::string path;                // the macro path; files lie in its directory "macro"
  std::vector<std::string> files;  // in the order in which they are pushed
};

// Adds --path and --file to a subcommand.
std::shared_ptr<MacroSet> AddMacroSet(CLI::App& command);

// run and trace.
void AddMacroRunCommands(CLI::App& macro, int& exit_code);

}  // namespace tmx::tools
