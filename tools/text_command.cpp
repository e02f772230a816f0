// tmx text: looks into text resource files, checks and normalises them.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "tmxtools/core/error_codes.h"
#include "tmxtools/textres/text_lines.h"
#include "tmxtools/textres/text_res.h"
#include "tools/command.h"
#include "tools/output.h"
#include "tools/read_file.h"
#include "tools/scratch_file.h"

namespace tmx::tools {
namespace {

constexpr const char* kMessages = "DEUTSCH";  // the section that holds the texts of the codes

struct TextOptions {
  std::string file;
  std::uint16_t code = 0;
  bool in_place = false;
  bool drop_comments = false;
};

int Complain(const std::string& about, const std::string& what) {
  std::fprintf(stderr, "tmx: %s: %s\n", about.c_str(), what.c_str());
  return kFindings;
}

bool Load(HbTextResFile& texts, const std::string& path) {
  const WarningsToStderr warnings;
  return texts.load(path);
}

int Get(const TextOptions& options) {
  HbTextResFile texts;
  if (!Load(texts, options.file)) return Complain(options.file, "cannot be read");
  const HbTextResSection* const messages = texts.find_section(kMessages);
  const std::string key = std::to_string(options.code);
  const auto text = messages == nullptr ? std::nullopt : messages->find_value(key);
  if (!text) return Complain(options.file, "no text for code " + key);
  std::puts(ForOutput(*text).c_str());
  return kDone;
}

// Walks the lines of a file and prints what is wrong with them.
class Checker {
 public:
  explicit Checker(std::string file) : file_(std::move(file)) {}

  void Line(const TextLine& line) {
    using Kind = TextLine::Kind;
    if (line.kind == Kind::Section) section_ = std::string(line.name);
    if (line.kind == Kind::MissingBracket) Report(line, "']' is missing at the end of a section");
    if (line.kind == Kind::MissingColon) Report(line, "':' is missing behind a key");
    if (line.kind == Kind::Entry) Entry(line);
  }

  // After the last line.
  void End() {
    for (const ErrorCode& row : kErrorCodes) {
      if (seen_.contains({kMessages, std::to_string(row.code)})) continue;
      Print(file_ + ": no text for code " + std::to_string(row.code) + " (" +
            std::string(row.name) + ")");
    }
  }

  bool FoundSomething() const { return found_something_; }

 private:
  void Entry(const TextLine& line) {
    const std::string key(line.name);
    const auto [before, is_new] = seen_.try_emplace({section_, key}, line.number);
    if (!is_new) {
      Report(line, "key '" + key + "' stands in line " + std::to_string(before->second) + " too");
      before->second = line.number;
    }
    if (key.empty()) Report(line, "the key is empty");
    if (line.value.empty()) Report(line, "the text of key '" + key + "' is empty");
    if (section_ == kMessages && !key.empty() && !IsCode(key))
      Report(line, "'" + key + "' is no code of the library");
  }

  static bool IsCode(const std::string& key) {
    std::uint16_t code = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), code);
    return error == std::errc{} && std::to_string(code) == key && FindErrorCode(code) != nullptr;
  }

  void Report(const TextLine& line, const std::string& what) {
    Print(file_ + ":" + std::to_string(line.number) + ": " + what);
  }

  void Print(const std::string& finding) {
    std::puts(ForOutput(finding).c_str());
    found_something_ = true;
  }

  std::string file_;
  std::string section_ = "default";
  std::map<std::pair<std::string, std::string>, std::size_t> seen_;  // the line of each key
  bool found_something_ = false;
};

int Check(const TextOptions& options) {
  const auto bytes = ReadFile(options.file);
  if (!bytes) return Complain(options.file, "cannot be read");
  Checker checker(options.file);
  ScanTextLines(*bytes, [&](const TextLine& line) { checker.Line(line); });
  checker.End();
  return checker.FoundSomething() ? kFindings : kDone;
}

// Saving tells nothing about a full disk, so the file is read again and compared.
bool SavedWell(HbTextResFile& texts, const std::string& path) {
  if (!texts.save(path)) return false;
  HbTextResFile again;
  if (!again.load(path)) return false;
  auto copy = std::as_const(again).begin();
  for (const HbTextResSection& section : std::as_const(texts)) {
    if (copy == std::as_const(again).end() || !(*copy == section)) return false;
    ++copy;
  }
  return copy == std::as_const(again).end();
}

// How many lines with content the normalised form leaves out.
std::size_t CountDropped(const std::string& bytes) {
  using Kind = TextLine::Kind;
  std::size_t dropped = 0;
  ScanTextLines(bytes, [&](const TextLine& line) {
    if (line.kind != Kind::Section && line.kind != Kind::Entry) ++dropped;
  });
  return dropped;
}

int Format(const TextOptions& options) {
  const auto bytes = ReadFile(options.file);
  HbTextResFile texts;
  if (!bytes || !Load(texts, options.file)) return Complain(options.file, "cannot be read");
  if (const std::size_t dropped = CountDropped(*bytes); dropped != 0 && !options.drop_comments) {
    const std::string lost = "comments and malformed lines left out: " + std::to_string(dropped);
    if (options.in_place)
      return Complain(options.file, "not replaced; " + lost + " (--drop-comments allows that)");
    Complain(options.file, lost);
  }
  const char* const temporary = std::getenv("TMPDIR");
  const std::string target = BehindLinks(options.file);
  ScratchFile scratch(options.in_place ? target
                                       : std::string(temporary ? temporary : "/tmp") + "/tmx-text");
  if (scratch.Name().empty() || !SavedWell(texts, scratch.Name()))
    return Complain(options.file, "the normalised form cannot be written");
  if (options.in_place)
    return scratch.RenameTo(target) ? kDone : Complain(options.file, "cannot be replaced");
  const auto normalised = ReadFile(scratch.Name());
  if (!normalised) return Complain(scratch.Name(), "cannot be read");
  std::fwrite(normalised->data(), 1, normalised->size(), stdout);
  return kDone;
}

}  // namespace

void AddTextCommand(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<TextOptions>();
  CLI::App* const text = program.add_subcommand(
      "text", "Look up, check and normalise the texts of a text resource file.");
  text->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, int (*run)(const TextOptions&)) {
    CLI::App* const command = text->add_subcommand(name, help);
    command->add_option("FILE", options->file, "a text resource file")->required();
    command->callback([=, &exit_code] { exit_code = run(*options); });
    return command;
  };
  add("get", "Print the text of a code. Exit code 1 when there is none.", Get)
      ->add_option("CODE", options->code, "a number from 0 to 65535, decimal or 0x...")
      ->required();
  add("check",
      "Print what is wrong, with file and line: malformed lines, keys that stand twice, empty\n"
      "keys and texts, and in section DEUTSCH codes that are missing or that the library does not\n"
      "know. Exit code 1 when something was found.",
      Check);
  CLI::App* const format = add(
      "fmt",
      "Print the file in the form in which the library saves it: sections and keys in byte-wise\n"
      "order, the last text of a key that stands twice, no comments and no malformed lines.\n"
      "How many lines get lost that way is said on standard error.",
      Format);
  format->add_flag("--in-place", options->in_place,
                   "replace the file instead of printing it; refused when comments or malformed\n"
                   "lines would be lost");
  format->add_flag("--drop-comments", options->drop_comments,
                   "lose comments and malformed lines without a word");
}

}  // namespace tmx::tools
