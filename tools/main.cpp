// tmx: the tools around the library in one command.
#include <cstdio>
#include <exception>

#include "tools/command.h"

namespace {

constexpr void (*kCommands[])(CLI::App&, int&) = {
    tmx::tools::AddMacroCommand,
    tmx::tools::AddTextCommand,
};

int Run(int argc, char** argv) {
  CLI::App program("Tools for the texts and macros of a home-banking kernel.", "tmx");
  program.require_subcommand(1);
  program.footer(
      "Exit codes: 0 done, 1 a finding or an unreadable file, 2 wrong use, 3 a macro failed.\n"
      "tmx COMMAND --help tells more about a command.");
  int exit_code = tmx::tools::kDone;
  for (const auto add : kCommands) add(program, exit_code);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? tmx::tools::kDone : tmx::tools::kWrongUse;
  }
  return exit_code;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tmx: %s\n", error.what());
    return tmx::tools::kFindings;
  }
}
