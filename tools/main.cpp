// tmx: the tools around the library in one command.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/help.h"
#include "tools/key_file.h"

namespace {

constexpr void (*kCommands[])(CLI::App&, int&) = {
    tmx::tools::AddBankCommand, tmx::tools::AddClientCommand, tmx::tools::AddCryptCommand,
    tmx::tools::AddLogCommand,  tmx::tools::AddMacroCommand,  tmx::tools::AddTextCommand,
};

// A word that nothing understands explains more than what is missing because of it.
int WrongUse(const CLI::App& program, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = program.remaining(true);
  const bool explains = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
                        dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (!explains || unknown.empty())
    return program.exit(error) == 0 ? tmx::tools::kDone : tmx::tools::kWrongUse;
  std::fprintf(stderr, "'%s' is not known here\nRun with --help for more information.\n",
               unknown.front().c_str());
  return tmx::tools::kWrongUse;
}

// A full disk shows only when the last bytes leave the buffer.
int AfterOutput(int exit_code) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exit_code;
  std::fputs("tmx: standard output: cannot be written\n", stderr);
  return exit_code == tmx::tools::kDone ? tmx::tools::kFindings : exit_code;
}

// Where a standard stream is closed, no file that is opened may take its place: something is put
// there that can neither be read nor written.
void HoldStandardStreams() {
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(file, F_GETFD) >= 0) continue;
    const int held = open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (held >= 0 && held != file) close(held);
  }
}

int Run(int argc, char** argv) {
  CLI::App program("Tools for the texts, macros and encrypted streams of a home-banking kernel.",
                   "tmx");
  program.require_subcommand(1);
  program.set_version_flag("--version", "tmx " TMX_VERSION, "Print the version and exit");
  program.footer(
      "Exit codes:\n"
      "  0  done\n"
      "  1  something was found, or a file cannot be read or written\n"
      "  2  wrong use, or a key file or --input-file that cannot be used\n"
      "  3  macro: the macro failed; client: the bank refuses\n"
      "  4  crypt: the stream or what becomes one cannot be opened or is refused\n"
      "  5  client: a transfer was sent, but nobody knows what became of it\n"
      "tmx COMMAND --help tells more about a command.");
  program.formatter(std::make_shared<tmx::tools::HelpFormatter>());
  int exit_code = tmx::tools::kDone;
  for (const auto add : kCommands) add(program, exit_code);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return WrongUse(program, error);
  }
  return exit_code;
}

}  // namespace

int main(int argc, char** argv) {
  HoldStandardStreams();
  try {
    return AfterOutput(Run(argc, argv));
  } catch (const tmx::tools::UnusableKey& error) {
    std::fprintf(stderr, "tmx: %s\n", error.what());
    return tmx::tools::kWrongUse;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tmx: %s\n", error.what());
    return tmx::tools::kFindings;
  }
}
