// tmx log export: the whole of a log as text, JSON or one HTML page.
#include "tools/log_export.h"

#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/command.h"
#include "tools/hbci_text.h"
#include "tools/log_anonymise.h"
#include "tools/log_command.h"
#include "tools/log_lines.h"
#include "tools/output.h"
#include "tools/utf8.h"

namespace tmx::tools {

namespace {

using Kind = LogBlock::Kind;
using Json = nlohmann::ordered_json;

// ---- text ---------------------------------------------------------------------------------------

class TextPrinter : public LogPrinter {
 public:
  void Block(const LogBlock& block, std::string_view body) override {
    const std::vector<LogLine> lines = LinesOf(block, body);
    for (const LogLine& line : lines) {
      const bool is_title = line.kind == LogLine::Kind::Title;
      std::printf(is_title ? "\n== %s ==\n" : "%s\n", ForOutput(line.text).c_str());
    }
  }
};

// ---- JSON ---------------------------------------------------------------------------------------

std::string Base64(std::string_view bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    for (std::size_t j = 0; j < 3; ++j)
      group = group << 8 | (j < count ? static_cast<unsigned char>(bytes[i + j]) : 0u);
    for (std::size_t j = 0; j < 4; ++j)
      text += j <= count ? kDigits[group >> (18 - 6 * j) & 63] : '=';
  }
  return text;
}

Json JsonOf(const GroupElement& group, bool is_container) {
  if (!group.is_binary) return AsUtf8(group.Text());
  Json binary = {{"bytes", group.raw.size()}};
  if (is_container) return binary;  // its content follows as segments
  if (IsText(group.raw)) {
    binary["text"] = AsUtf8(group.raw);
  } else {
    binary["base64"] = Base64(group.raw);
  }
  return binary;
}

Json JsonOf(const Segment& segment) {
  Json elements = Json::array();
  for (std::size_t i = 1; i < segment.elements.size(); ++i) {
    const DataElement& element = segment.elements[i];
    if (element.size() == 1 && element[0].raw.empty()) continue;
    Json groups = Json::array();
    for (const GroupElement& group : element)
      groups.push_back(JsonOf(group, segment.IsContainer()));
    elements.push_back({{"number", i + 1}, {"groups", std::move(groups)}});
  }
  Json json = {{"head", AsUtf8(segment.Head())}};
  if (segment.is_inside) json["inside"] = true;
  json["elements"] = std::move(elements);
  return json;
}

const char* NameOf(Kind kind) {
  static const std::map<Kind, const char*> kNames = {
      {Kind::Date, "date"},  {Kind::Time, "time"},     {Kind::Message, "message"},
      {Kind::Xml, "xml"},    {Kind::Info, "info"},     {Kind::Instruction, "instruction"},
      {Kind::Page, "xhtml"}, {Kind::Screen, "screen"}, {Kind::Broken, "broken"},
  };
  return kNames.at(kind);
}

// One block a line, so that long logs can be read piece by piece too.
class JsonPrinter : public LogPrinter {
 public:
  void Begin() override { std::fputs("[", stdout); }
  void Block(const LogBlock& block, std::string_view body) override {
    Json json = {{"kind", NameOf(block.kind)}, {"start", block.begin}};
    const bool has_direction = block.kind == Kind::Message || block.kind == Kind::Xml ||
                               block.kind == Kind::Instruction || block.kind == Kind::Page;
    if (has_direction) {
      json["sent"] = block.sent;
      json["length"] = block.length;
    }
    if (block.kind == Kind::Screen) json["committed"] = block.is_auto_commit;
    if (block.kind == Kind::Message) {
      json["segments"] = Json::array();
      for (const Segment& segment : ParseSegments(body))
        json["segments"].push_back(JsonOf(segment));
    } else {
      json["text"] = AsUtf8(body);
    }
    std::printf("%s\n%s", is_first_ ? "" : ",", json.dump().c_str());
    is_first_ = false;
  }
  void End() override { std::fputs("\n]\n", stdout); }

 private:
  bool is_first_ = true;
};

// ---- the command --------------------------------------------------------------------------------

struct ExportOptions {
  std::string format = "text";
  bool anonymise = false;
};

std::unique_ptr<LogPrinter> PrinterFor(const ExportOptions& options, const LogSource& source) {
  if (options.format == "json") return std::make_unique<JsonPrinter>();
  if (options.format == "text") return std::make_unique<TextPrinter>();
  const std::size_t slash = source.path.rfind('/');
  return std::make_unique<HtmlPrinter>(source.path.substr(slash + 1));
}

int Export(const LogSource& source, const String& key, const ExportOptions& options) {
  LogContents contents;
  if (!contents.Open(source, key)) return kFindings;
  const std::unique_ptr<LogPrinter> printer = PrinterFor(options, source);
  Anonymiser anonymiser;
  LogBlocks blocks(contents.Stream());
  printer->Begin();
  while (blocks.Next()) {
    const LogBlock& block = blocks.Block();
    std::string body = contents.Read(block.body, block.length);
    if (options.anonymise) body = anonymiser.Body(block, body);
    printer->Block(block, body);
  }
  printer->End();
  return contents.IsGood() ? kDone : kFindings;
}

}  // namespace

void AddLogExportCommand(CLI::App& log, int& exit_code) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* const command =
      AddLogSubcommand(log, exit_code, "export",
                       "Print the whole log: messages one segment a line, each element behind its\n"
                       "number. The HTML is one page that needs nothing else, with search and\n"
                       "folding.",
                       [options](const LogSource& source, const String& key) {
                         return Export(source, key, *options);
                       })
          .command;
  command->add_option("--format", options->format, "text, json or html (default: text)")
      ->check(CLI::IsMember({"text", "json", "html"}));
  command->add_flag("--anonymise", options->anonymise,
                    "replace names, account numbers, IBANs, user ids and the free text of answers\n"
                    "by others of the same length");
}

}  // namespace tmx::tools
