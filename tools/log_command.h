// The subcommands of `tmx log`, which stand in several files.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/streams/file.h"
#include "tmxtools/streams/log_blocks.h"

namespace tmx::tools {

// A log on the command line and where its key comes from: the file given, else TMX_LOG_KEY of the
// environment, else a question on the terminal.
struct LogSource {
  std::string path;
  std::string key_file;

  // Nothing, with a complaint and the exit code, when there is no key; throws UnusableKey.
  std::optional<String> Key(int& exit_code) const;
};

// Says on standard error what is wrong with a file; gives the exit code.
int ComplainAbout(const std::string& path, const std::string& what);
int ComplainAbout(const std::string& path, const HbError& error);
// The same for a log that cannot be read, with what to try.
int ComplainAboutLog(const std::string& path, const HbError& error);

// A subcommand that works with a log and its key.
struct LogSubcommand {
  CLI::App* command;
  std::shared_ptr<LogSource> source;
};
LogSubcommand AddLogSubcommand(CLI::App& log, int& exit_code, const char* name, const char* help,
                               std::function<int(const LogSource&, const String& key)> run,
                               const char* path_name = "LOG", const char* path_help = "a log");

// A log's decrypted contents, without a page index.
class LogContents {
 public:
  // False, with a complaint, when it cannot be read.
  bool Open(const LogSource& source, const String& key);
  SvStream& Stream() { return *file_.GetStream(); }
  // False, with a complaint, after a failed read.
  bool IsGood();

 private:
  std::string path_;
  HbFile file_;
};

void AddLogReadCommands(CLI::App& log, int& exit_code);
void AddLogWriteCommands(CLI::App& log, int& exit_code);
void AddLogExportCommand(CLI::App& log, int& exit_code);
void AddLogViewCommand(CLI::App& log, int& exit_code);

}  // namespace tmx::tools
