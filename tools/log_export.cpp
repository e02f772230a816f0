// tmx log export: the whole of a log as text, JSON or one HTML page.
#include "tools/log_export.h"

#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tmxtools/platform/crypto.h"
#include "tools/command.h"
#include "tools/hbci_text.h"
#include "tools/log_command.h"
#include "tools/log_lines.h"
#include "tools/output.h"
#include "tools/utf8.h"

namespace tmx::tools {

namespace {

using Kind = LogBlock::Kind;
using Json = nlohmann::ordered_json;

// ---- text ---------------------------------------------------------------------------------------

class LinesToFile : public LineSink {
 public:
  explicit LinesToFile(std::FILE* file) : file_(file) {}
  void Begin(const LogLine& line) override {
    end_ = line.kind == LogLine::Kind::Title ? " ==\n" : "\n";
    if (line.kind == LogLine::Kind::Title) std::fputs("\n== ", file_);
    Add(line.text);
  }
  void Add(std::string_view text) override {
    const std::string shown = OutputIsUtf8() ? std::string(text) : decoder_.Decode(text);
    std::fwrite(shown.data(), 1, shown.size(), file_);
  }
  void End() override { std::fputs(end_, file_); }

 private:
  std::FILE* file_;
  const char* end_ = "";
  Latin1Decoder decoder_;
};

class TextPrinter : public LogPrinter {
 public:
  explicit TextPrinter(std::FILE* file) : lines_(file) {}
  void Block(ShownLog& log, const LogBlock& block) override { PutLines(log, block, lines_); }

 private:
  LinesToFile lines_;
};

// ---- JSON ---------------------------------------------------------------------------------------

void Put(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

class Base64 {
 public:
  ~Base64() {
    if (count_ == 0) return;
    char digits[4];
    Digits(group_ << 8 * (3 - count_), digits);
    for (std::size_t i = count_ + 1; i < 4; ++i) digits[i] = '=';
    Put({digits, 4});
  }
  void Add(std::string_view bytes) {
    const Sink put = Put;
    Gatherer gathered(put);
    for (const char c : bytes) {
      group_ = group_ << 8 | static_cast<unsigned char>(c);
      if (++count_ < 3) continue;
      char digits[4];
      Digits(group_, digits);
      gathered.Add({digits, 4});
      group_ = 0;
      count_ = 0;
    }
  }

 private:
  static void Digits(std::uint32_t group, char* digits) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 4; ++i) digits[i] = kDigits[group >> (18 - 6 * i) & 63];
  }

  std::uint32_t group_ = 0;
  std::uint32_t count_ = 0;  // of the bytes in the group
};

void PutJson(const Produce& text) {
  Put("\"");
  PutAsUtf8(text, [](std::string_view piece) {
    // A piece may end inside a character, which is nothing to a byte that needs no escape.
    const Sink put = Put;
    Gatherer gathered(put);
    for (const char c : piece) {
      if (static_cast<unsigned char>(c) >= ' ' && c != '"' && c != '\\') {
        gathered.Add(c);
        continue;
      }
      const std::string escaped = Json(std::string(1, c)).dump();
      gathered.Add(std::string_view(escaped).substr(1, escaped.size() - 2));
    }
  });
  Put("\"");
}

void PutElement(ShownLog& log, const SegmentReader& segment, const GroupElement& group) {
  if (!group.is_binary) return PutJson(log.Text(segment, group));
  Put("{\"bytes\":" + std::to_string(group.raw.Size()));
  const Produce raw = log.Raw(segment, group);
  if (segment.IsContainer()) {  // its content follows as segments
  } else if (IsText(raw)) {
    Put(",\"text\":");
    PutJson(raw);
  } else {
    Put(",\"base64\":\"");
    {
      Base64 base64;
      raw([&](std::string_view piece) { base64.Add(piece); });
    }
    Put("\"");
  }
  Put("}");
}

// The head as one text: "HNHBK:1:3".
void PutHead(ShownLog& log, SegmentReader segment) {
  PutJson([&](const Sink& to) {
    SegmentReader head = segment;
    for (GroupElement group; head.NextElement(group) && group.element == 1;) {
      if (group.group != 0) to(":");
      if (group.is_binary) {
        to("<" + std::to_string(group.raw.Size()) + " bytes>");
      } else {
        log.Text(head, group)([&](std::string_view piece) { to(Printable(piece)); });
      }
    }
  });
}

void PutSegment(ShownLog& log, SegmentReader& segment) {
  Put("{\"head\":");
  PutHead(log, segment);
  Put(segment.IsInside() ? ",\"inside\":true,\"elements\":[" : ",\"elements\":[");
  bool is_first = true;
  for (GroupElement group; segment.NextElement(group);) {
    const bool is_empty = group.group == 0 && group.is_last && group.raw.IsEmpty();
    if (group.element == 1 || is_empty) continue;
    if (group.group == 0) {
      Put((is_first ? "" : ",") + ("{\"number\":" + std::to_string(group.element)) +
          ",\"groups\":[");
      is_first = false;
    } else {
      Put(",");
    }
    PutElement(log, segment, group);
    if (group.is_last) Put("]}");
  }
  Put("]}");
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
  void Block(ShownLog& log, const LogBlock& block) override {
    Json json = {{"kind", NameOf(block.kind)}, {"start", block.begin}};
    if (HasDirection(block)) {
      json["sent"] = block.sent;
      json["length"] = block.length;
    }
    if (block.kind == Kind::Screen) json["committed"] = block.is_auto_commit;
    std::string begin = json.dump();
    begin.pop_back();  // more members follow
    Put((is_first_ ? "\n" : ",\n") + begin);
    is_first_ = false;
    if (block.kind == Kind::Message) {
      PutSegments(log, block);
    } else {
      Put(",\"text\":");
      PutJson(log.Body(block));
    }
    Put("}");
  }
  void End() override { std::fputs("\n]\n", stdout); }

 private:
  static void PutSegments(ShownLog& log, const LogBlock& block) {
    Put(",\"segments\":[");
    SegmentReader segments = log.Segments(block);
    for (bool is_first = true; segments.NextSegment(); is_first = false) {
      if (!is_first) Put(",");
      PutSegment(log, segments);
    }
    Put("]");
  }

  bool is_first_ = true;
};

// ---- the command --------------------------------------------------------------------------------

struct ExportOptions {
  std::string format = "text";
  bool anonymise = false;
};

std::unique_ptr<LogPrinter> PrinterFor(const ExportOptions& options, const LogSource& source) {
  if (options.format == "json") return std::make_unique<JsonPrinter>();
  if (options.format == "text") return std::make_unique<TextPrinter>(stdout);
  const std::size_t slash = source.path.rfind('/');
  return std::make_unique<HtmlPrinter>(source.path.substr(slash + 1));
}

void Print(ShownLog& log, SvStream& contents, LogPrinter& printer) {
  LogBlocks blocks(contents);
  printer.Begin();
  while (blocks.Next()) printer.Block(log, blocks.Block());
  printer.End();
}

int Export(const LogSource& source, const String& key, const ExportOptions& options) {
  LogContents contents;
  if (!contents.Open(source, key)) return kFindings;
  const std::unique_ptr<LogPrinter> printer = PrinterFor(options, source);
  std::optional<Anonymiser> anonymiser;
  if (options.anonymise) {
    // Nobody keeps the key, so nobody gets the words back.
    WordCipher::Key words;
    if (!CurrentCrypto().FillRandom(words.data(), words.size()))
      return ComplainAbout(source.path, "no random numbers for made-up words");
    anonymiser.emplace(words);
  }
  ShownLog log(contents.Stream(), std::move(anonymiser));
  Print(log, contents.Stream(), *printer);
  return contents.IsGood() ? kDone : kFindings;
}

}  // namespace

void PrintAsText(SvStream& contents, std::FILE* file) {
  ShownLog log(contents);
  TextPrinter printer(file);
  Print(log, contents, printer);
}

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
