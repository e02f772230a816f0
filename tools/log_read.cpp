// tmx log list, show and cat.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

#include "tmxtools/streams/protocol_file.h"
#include "tools/command.h"
#include "tools/hbci_text.h"
#include "tools/log_command.h"
#include "tools/output.h"

namespace tmx::tools {
namespace {

bool OpenPages(HbProtocolFile& log, const LogSource& source, const String& key) {
  HbError err;
  if (log.Open(String(std::string_view(source.path)), stream_mode::Read, key, err)) return true;
  ComplainAboutLog(source.path, err);
  return false;
}

const char* Direction(const HbProtocolFile::Page& page) { return page.sent ? "sent" : "received"; }

// One page a line, as there may be 65535 of them.
void PrintAsJson(const HbProtocolFile& log) {
  std::fputs("[", stdout);
  for (unsigned short i = 0; i < log.Count(); ++i) {
    const HbProtocolFile::Page& page = *log.GetPage(i);
    const nlohmann::ordered_json json = {{"page", i + 1},
                                         {"start", page.start},
                                         {"title", page.title.Data()},
                                         {"sent", page.sent},
                                         {"length", page.length}};
    std::printf("%s\n%s", i == 0 ? "" : ",", json.dump().c_str());
  }
  std::fputs("\n]\n", stdout);
}

void PrintAsTable(const HbProtocolFile& log) {
  std::printf("%5s %10s %6s  %-8s  %s\n", "page", "start", "length", "", "title");
  for (unsigned short i = 0; i < log.Count(); ++i) {
    const HbProtocolFile::Page& page = *log.GetPage(i);
    const bool is_screen = page.length == 0 && page.title == "End Decoder Image";
    std::printf("%5u %10u %6u  %-8s  %s\n", i + 1u, page.start, page.length,
                is_screen ? "" : Direction(page), page.title.Data());
  }
}

int List(const LogSource& source, const String& key, bool as_json) {
  HbProtocolFile log;
  if (!OpenPages(log, source, key)) return kFindings;
  as_json ? PrintAsJson(log) : PrintAsTable(log);
  return kDone;
}

void PrintLines(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::puts(ForOutput(Printable(text.substr(0, end))).c_str());
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

int Show(const LogSource& source, const String& key, unsigned short number) {
  HbProtocolFile log;
  if (!OpenPages(log, source, key)) return kFindings;
  HbError err;
  const auto index = static_cast<unsigned short>(number - 1);
  if (!log.GotoPage(index, err))
    return ComplainAbout(source.path + ", page " + std::to_string(number), err);
  PrintLines(log.GetInfo().View());
  PrintLines(log.GetScreen().View());
  return kDone;
}

int Cat(const LogSource& source, const String& key) {
  LogContents contents;
  if (!contents.Open(source, key)) return kFindings;
  std::vector<char> buffer(1 << 16);
  contents.Stream().Seek(0);
  while (const unsigned long count = contents.Stream().Read(buffer.data(), buffer.size()))
    std::fwrite(buffer.data(), 1, count, stdout);
  return contents.IsGood() ? kDone : kFindings;
}

}  // namespace

void AddLogReadCommands(CLI::App& log, int& exit_code) {
  const auto as_json = std::make_shared<bool>(false);
  AddLogSubcommand(
      log, exit_code, "list",
      "Print the pages of a log: where each one starts, how long it is, whether it\n"
      "was sent, and its title. A page shows up to 920 bytes of a message, or a screen.",
      [as_json](const LogSource& source, const String& key) { return List(source, key, *as_json); })
      .command->add_flag("--json", *as_json, "print JSON");
  const auto page = std::make_shared<unsigned short>(std::uint16_t{1});
  AddLogSubcommand(
      log, exit_code, "show", "Print one page: the lines before it and its screen.",
      [page](const LogSource& source, const String& key) { return Show(source, key, *page); })
      .command->add_option("--page", *page, "its number in the list (default: 1)")
      ->check(CLI::Range(1, 65535));
  AddLogSubcommand(log, exit_code, "cat", "Print the decrypted contents as they stand.", Cat);
}

}  // namespace tmx::tools
