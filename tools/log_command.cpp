// tmx log: writes, shows, exports and saves communication logs.
#include "tools/log_command.h"

#include <algorithm>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tmxtools/platform/secret.h"
#include "tmxtools/streams/log_key.h"
#include "tmxtools/streams/log_text.h"
#include "tools/command.h"
#include "tools/key_file.h"
#include "tools/output.h"
#include "tools/silent_terminal.h"

namespace tmx::tools {
namespace {

constexpr const char* kVariable = "TMX_LOG_KEY";

// As much as a text holds.
String TextOf(const SecretBytes& key) {
  const std::string_view text(reinterpret_cast<const char*>(key.data()), key.size());
  return String(text.substr(0, String::MaxLen));
}

std::optional<String> AskForKey() {
  SilentTerminal terminal;
  if (!terminal.IsReady()) return std::nullopt;
  terminal.Say("Key of the log: ");
  SecretBytes key;
  const bool is_given = terminal.ReadLine(key);
  terminal.Say("\n");
  return is_given ? std::optional(TextOf(key)) : std::nullopt;
}

}  // namespace

int ComplainAbout(const std::string& path, const std::string& what) {
  std::fprintf(stderr, "tmx: %s: %s\n", path.c_str(), what.c_str());
  return kFindings;
}

int ComplainAbout(const std::string& path, const HbError& error) {
  const std::string text = error.IsSet() ? ForOutput(error.GetText()->View()) : "cannot be read";
  return ComplainAbout(path, text + " (" + std::to_string(error.GetCode()) + ")");
}

int ComplainAboutLog(const std::string& path, const HbError& error) {
  ComplainAbout(path, error);
  // A general error, a wrong format, no log: what encrypted streams and logs refuse.
  constexpr unsigned short refusals[] = {17741, 17749, 17400};
  if (std::ranges::find(refusals, error.GetCode()) != std::end(refusals))
    ComplainAbout(path, std::string(kOtherKey) +
                            "; of a log whose end was cut, tmx log salvage saves the rest");
  return kFindings;
}

std::optional<String> LogSource::Key(int& exit_code) const {
  if (!key_file.empty()) return ReadLogKey("--key-file", key_file);
  if (const char* const variable = std::getenv(kVariable))
    return String(std::string_view(variable).substr(0, String::MaxLen));
  std::optional<String> key = AskForKey();
  if (!key) {
    std::fprintf(stderr, "tmx: no key: give --key-file, set %s or use a terminal\n", kVariable);
    exit_code = kWrongUse;
  }
  return key;
}

LogSubcommand AddLogSubcommand(CLI::App& log, int& exit_code, const char* name, const char* help,
                               std::function<int(const LogSource&, const String& key)> run,
                               const char* path_name, const char* path_help) {
  const auto source = std::make_shared<LogSource>();
  CLI::App* const command = log.add_subcommand(name, help);
  command->add_option(path_name, source->path, path_help)->required();
  command
      ->add_option("--key-file", source->key_file,
                   "a file with the key, whose last line end does not count; without it the\n"
                   "key is TMX_LOG_KEY of the environment or is asked for")
      ->type_name("FILE");
  command->callback([source, run = std::move(run), &exit_code] {
    std::optional<String> key = source->Key(exit_code);
    if (!key) return;
    exit_code = run(*source, *key);
    Wipe(*key);
  });
  return {command, source};
}

bool LogContents::Open(const LogSource& source, const String& key) {
  constexpr unsigned short mode = stream_mode::Read | 0x4000;
  path_ = source.path;
  const LogKey bytes = MakeLogKey(key);
  HbError err;
  if (!file_.Open(err, String(std::string_view(path_)), mode, nullptr, 0, bytes.Data(),
                  bytes.Data())) {
    ComplainAboutLog(path_, err);
    return false;
  }
  LineReader lines(Stream());
  const bool is_log = lines.Next() && lines.Contains(log_text::kDate);
  if (!IsGood()) return false;
  if (!is_log) ComplainAbout(path_, "is no log, or " + std::string(kOtherKey));
  return is_log;
}

bool LogContents::IsGood() {
  HbError err;
  if (!file_.GetStreamError(err)) return true;
  ComplainAboutLog(path_, err);
  return false;
}

void AddLogCommand(CLI::App& program, int& exit_code) {
  CLI::App* const log = program.add_subcommand(
      "log", "Write, show, export and save the encrypted logs of what went to and from a bank.");
  log->require_subcommand(1);
  AddLogWriteCommands(*log, exit_code);
  AddLogReadCommands(*log, exit_code);
  AddLogViewCommand(*log, exit_code);
  AddLogExportCommand(*log, exit_code);
}

}  // namespace tmx::tools
