// The subcommands of tmx: one file each, named in the list of main.cpp.
#pragma once

#include <CLI/CLI.hpp>

namespace tmx::tools {

// What all commands end with; tmx --help has the table.
enum ExitCode : int {
  kDone = 0,
  kFindings = 1,     // something is wrong with the input, or a file cannot be read or written
  kWrongUse = 2,     // the command line itself, or a file with a key
  kMacroFailed = 3,  // a macro ran and failed
  kRefused = 4,      // an encrypted stream or a file of one cannot be opened or was refused
};

// Each adds a subcommand with its options to the program. A command that was chosen runs in its
// callback and leaves its result in `exit_code`, which outlives the parsing.
void AddBankCommand(CLI::App& program, int& exit_code);
void AddClientCommand(CLI::App& program, int& exit_code);
void AddCryptCommand(CLI::App& program, int& exit_code);
void AddLogCommand(CLI::App& program, int& exit_code);
void AddMacroCommand(CLI::App& program, int& exit_code);
void AddTextCommand(CLI::App& program, int& exit_code);

}  // namespace tmx::tools
