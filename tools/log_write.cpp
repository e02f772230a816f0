// tmx log write, mask and salvage.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tmxtools/platform/env.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/log_salvage.h"
#include "tmxtools/streams/masking.h"
#include "tmxtools/streams/protocol_file.h"
#include "tools/command.h"
#include "tools/log_command.h"

namespace tmx::tools {
namespace {

// ---- write --------------------------------------------------------------------------------------

using WriteBlock = bool (*)(HbProtocolFile&, SvStream&, HbError&);

struct BlockOption {
  const char* name;
  const char* help;
  WriteBlock write;  // null: the value is the text itself
};
constexpr BlockOption kBlockOptions[] = {
    {"--sent", "a file with an HBCI message that was sent",
     [](HbProtocolFile& log, SvStream& file, HbError& err) {
       return log.WriteMessage(file, true, err);
     }},
    {"--received", "a file with an HBCI message that was received",
     [](HbProtocolFile& log, SvStream& file, HbError& err) {
       return log.WriteMessage(file, false, err);
     }},
    {"--xml", "a file with an XML message that was sent",
     [](HbProtocolFile& log, SvStream& file, HbError& err) {
       return log.WriteXMLMessage(file, true, err);
     }},
    {"--info", "a line of information", nullptr},
};

// One block to write, in the order of the command line.
struct Item {
  const BlockOption* option;
  std::string value;
};

std::vector<Item> ItemsOf(const CLI::App& command) {
  std::vector<Item> items;
  std::vector<std::size_t> taken(std::size(kBlockOptions), 0);
  for (const CLI::Option* const given : command.parse_order()) {
    for (std::size_t i = 0; i < std::size(kBlockOptions); ++i) {
      if (!given->check_name(kBlockOptions[i].name)) continue;
      items.push_back({&kBlockOptions[i], given->results().at(taken[i]++)});
    }
  }
  return items;
}

bool WriteItem(HbProtocolFile& log, const Item& item, const LogSource& source) {
  HbError err;
  if (item.option->write == nullptr) {
    if (log.WriteInfoLine(String(std::string_view(item.value)), err)) return true;
    ComplainAbout(source.path, err);
    return false;
  }
  SvFileStream file(String(std::string_view(item.value)), stream_mode::Read);
  if (item.option->write(log, file, err)) return true;
  ComplainAbout(file.HasError() ? item.value : source.path, err);
  return false;
}

// Whether every file can be opened; a log is made only then.
bool CanReadAll(const std::vector<Item>& items) {
  for (const Item& item : items) {
    if (item.option->write == nullptr) continue;
    const SvFileStream file(String(std::string_view(item.value)), stream_mode::Read);
    HbError err;
    err.SetStreamState(file);
    if (!err.IsSet()) continue;
    ComplainAbout(item.value, err);
    return false;
  }
  return true;
}

int Write(const LogSource& source, const String& key, const std::vector<Item>& items) {
  if (!CanReadAll(items)) return kFindings;
  HbProtocolFile log;
  HbError err;
  if (!log.CreateNew(String(std::string_view(source.path)), key, err))
    return ComplainAbout(source.path, err);
  std::puts(log.GetName().Data());
  for (const Item& item : items)
    if (!WriteItem(log, item, source)) return kFindings;
  return kDone;
}

void AddWriteCommand(CLI::App& log, int& exit_code) {
  const auto command = std::make_shared<CLI::App*>(nullptr);
  *command = AddLogSubcommand(
                 log, exit_code, "write",
                 "Make a new log in a directory, write the blocks in the order in which they are\n"
                 "given, and print its path. Secrets in HBCI messages are masked.",
                 [command](const LogSource& source, const String& key) {
                   return Write(source, key, ItemsOf(**command));
                 },
                 "DIR", "a directory, made when it is missing")
                 .command;
  for (const BlockOption& option : kBlockOptions)
    (*command)
        ->add_option(option.name, option.help)
        ->take_all()
        ->type_name(option.write == nullptr ? "TEXT" : "FILE")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

// ---- mask ---------------------------------------------------------------------------------------

int Mask(const std::string& added) {
  MaskingList list;
  if (!list.Add(added)) {
    std::fprintf(stderr, "tmx: '%s' is no list like IKPAN+2+3;HNSHA+4\n", added.c_str());
    return kWrongUse;
  }
  MessageMasker masker(list);
  std::vector<char> buffer(1 << 16);
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stdin)) {
    masker.Mask(buffer.data(), count);
    std::fwrite(buffer.data(), 1, count, stdout);
  }
  return std::ferror(stdin) != 0 ? ComplainAbout("standard input", "cannot be read") : kDone;
}

// ---- salvage ------------------------------------------------------------------------------------

int Salvage(const LogSource& source, const String& key, const std::string& saved) {
  if (CurrentEnv().Info(saved).Ok()) return ComplainAbout(saved, "exists already");
  SalvageReport report;
  HbError err;
  if (!SalvageLog(String(std::string_view(source.path)), String(std::string_view(saved)), key,
                  report, err)) {
    // Either of the two files may be meant.
    const String* const file = err.GetParamText();
    return ComplainAbout(
        file == nullptr || file->IsEmpty() ? source.path : std::string(file->View()), err);
  }
  std::printf("%s: %u blocks saved, %u bytes; %u bytes behind or between them left out\n",
              saved.c_str(), report.blocks, report.saved, report.lost);
  return kDone;
}

}  // namespace

void AddLogWriteCommands(CLI::App& log, int& exit_code) {
  AddWriteCommand(log, exit_code);

  const auto added = std::make_shared<std::string>();
  CLI::App* const mask = log.add_subcommand(
      "mask",
      "Copy one HBCI message from standard input to standard output with its secrets masked.");
  mask->add_option("--add", *added,
                   "more segments and elements to mask, like \"HKTAN+3;HKXYZ+2+5\"");
  mask->callback([added, &exit_code] { exit_code = Mask(*added); });

  const auto saved = std::make_shared<std::string>();
  AddLogSubcommand(
      log, exit_code, "salvage",
      "Write a new log with every whole block of a damaged one, whose end may be cut.",
      [saved](const LogSource& source, const String& key) { return Salvage(source, key, *saved); },
      "DAMAGED", "a log")
      .command->add_option("SAVED", *saved, "the new log, which must not exist")
      ->required();
}

}  // namespace tmx::tools
