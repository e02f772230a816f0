// tmx log view: a log on the full screen of a terminal.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/log_command.h"
#include "tools/log_lines.h"
#include "tools/output.h"
#include "tools/terminal.h"

namespace tmx::tools {
namespace {

constexpr std::string_view kHelp =
    "q quit  / search  n N next hit  s S sent  r R received  arrows, PgUp/PgDn, Home/End";

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) {
    return c < 0x80 ? static_cast<char>(std::tolower(c)) : static_cast<char>(c);
  });
  return text;
}

// Escape sequences, or nothing where colours are not wanted.
class Colours {
 public:
  std::string Of(const LogLine& line) const {
    if (line.kind != LogLine::Kind::Title) return "";
    return Code(line.sent ? "1;32" : line.received ? "1;35" : "1");
  }
  std::string Head() const { return Code("1;36"); }
  std::string Hit() const { return "\x1b[7m"; }
  std::string Off() const { return "\x1b[0m"; }

 private:
  std::string Code(const std::string& number) const {
    return wanted_ ? "\x1b[" + number + "m" : "";
  }
  bool wanted_ = std::getenv("NO_COLOR") == nullptr;
};

// The lines, broken into rows of the screen's width, and what of them is shown.
class Viewer {
 public:
  Viewer(std::string name, std::vector<LogLine> lines)
      : name_(std::move(name)), lines_(std::move(lines)) {
    for (const LogLine& line : lines_) searched_.push_back(Lower(ForOutput(line.text)));
  }

  void Run() {
    Layout();
    for (int key = 0; key != 'q' && key != 3 && key != kKeyEnd; Handle(key)) {
      Draw();
      key = terminal_.ReadKey();
    }
  }

 private:
  static constexpr auto kNone = static_cast<std::size_t>(-1);

  struct Row {
    std::size_t line;
    std::size_t from;  // in the line's text
  };

  void Handle(int key) {
    const auto page = static_cast<long>(Height());
    switch (key) {
      case kKeyUp:
      case 'k':
        return MoveBy(-1);
      case kKeyDown:
      case 'j':
      case '\r':
        return MoveBy(1);
      case kKeyPageUp:
      case 'b':
        return MoveBy(-page);
      case kKeyPageDown:
      case ' ':
        return MoveBy(page);
      case kKeyHome:
      case 'g':
        return MoveTo(0);
      case kKeyLast:
      case 'G':
        return MoveTo(rows_.size());
      case 's':
        return Jump(&LogLine::sent, true);
      case 'S':
        return Jump(&LogLine::sent, false);
      case 'r':
        return Jump(&LogLine::received, true);
      case 'R':
        return Jump(&LogLine::received, false);
      case '/':
        return AskForSearch();
      case 'n':
        return Search(true, false);
      case 'N':
        return Search(false, false);
      case kKeyResize:
        return Layout();
      default:
        note_.clear();
    }
  }

  // ---- where ----

  std::size_t Height() const { return static_cast<std::size_t>(std::max(1, size_.rows - 1)); }
  std::size_t Width() const { return static_cast<std::size_t>(size_.columns); }

  // Keeps the first line that is shown.
  void Layout() {
    const std::size_t line = rows_.empty() ? 0 : rows_[top_].line;
    size_ = terminal_.GetSize();
    rows_.clear();
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      std::size_t from = 0;
      do {
        rows_.push_back({i, from});
        from += Width();
      } while (from < lines_[i].text.size());
    }
    ShowLine(line);
  }

  void MoveTo(std::size_t row) {
    const std::size_t last = rows_.size() > Height() ? rows_.size() - Height() : 0;
    top_ = std::min(row, last);
    note_.clear();
  }
  void MoveBy(long count) {
    const auto top = static_cast<long>(top_) + count;
    marked_ = kNone;  // finding goes on from what is shown
    MoveTo(static_cast<std::size_t>(std::max(0L, top)));
  }
  void ShowLine(std::size_t line) {
    const auto row = std::ranges::lower_bound(rows_, line, {}, &Row::line);
    MoveTo(static_cast<std::size_t>(row - rows_.begin()));
  }

  // ---- finding ----

  // The next line for which something holds, from the marked one on, or from the first one shown.
  template <class Predicate>
  bool Find(bool forwards, bool from_here, Predicate holds) {
    const std::size_t count = lines_.size();
    const bool is_marked = marked_ != kNone;
    std::size_t line = is_marked ? marked_ : rows_.empty() ? 0 : rows_[top_].line;
    if (is_marked && !from_here) line += forwards ? 1 : count - 1;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t candidate = (line + (forwards ? i : count - i % count)) % count;
      if (!holds(candidate)) continue;
      marked_ = candidate;
      ShowLine(candidate);
      return true;
    }
    return false;
  }

  void Jump(bool LogLine::*direction, bool forwards) {
    if (!Find(forwards, false, [&](std::size_t line) { return lines_[line].*direction; }))
      note_ = "there is none";
  }

  void Search(bool forwards, bool from_here) {
    if (query_.empty()) return;
    const std::string query = Lower(query_);
    const auto has_it = [&](std::size_t line) {
      return searched_[line].find(query) != std::string::npos;
    };
    if (!Find(forwards, from_here, has_it)) note_ = "not found: " + query_;
  }

  void AskForSearch() {
    std::string text;
    for (;;) {
      note_ = "/" + text;
      Draw();
      const int key = terminal_.ReadKey();
      if (key == kKeyResize) Layout();
      if (key == kKeyEscape || key == kKeyEnd || key == 3) return note_.clear();
      if (key == '\r') break;
      if (key == 0x7F || key == 8) {
        while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
          text.pop_back();
        if (!text.empty()) text.pop_back();
      } else if (key >= ' ' && key < 256) {
        text += static_cast<char>(key);
      }
    }
    note_.clear();
    if (!text.empty()) query_ = text;
    Search(true, true);
  }

  // ---- drawing ----

  std::string Drawn(const Row& row) const {
    const LogLine& line = lines_[row.line];
    const std::string part = line.text.substr(row.from, Width());
    std::string drawn = row.line == marked_ ? colours_.Hit() : colours_.Of(line);
    // The part of the head that stands in this row.
    const auto within = [&](std::size_t position) {
      return std::clamp(position, row.from, row.from + part.size()) - row.from;
    };
    const std::size_t head = within(line.head), behind = within(line.head + line.head_length);
    drawn += ForOutput(part.substr(0, head));
    if (behind > head && row.line != marked_)
      drawn += colours_.Head() + ForOutput(part.substr(head, behind - head)) + colours_.Off();
    else
      drawn += ForOutput(part.substr(head, behind - head));
    return drawn + ForOutput(part.substr(behind)) + colours_.Off();
  }

  std::string StatusBar() const {
    const std::size_t shown = std::min(rows_.size(), top_ + Height());
    std::string text = !note_.empty()
                           ? note_
                           : name_ + "  " + std::to_string(shown) + "/" +
                                 std::to_string(rows_.size()) + "  " + std::string(kHelp);
    // Cut between characters, not inside one.
    std::size_t end = 0;
    for (std::size_t columns = 0; end < text.size(); ++end) {
      const bool begins_character = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
      if (begins_character && ++columns > Width()) break;
    }
    return "\x1b[7m" + text.substr(0, end) + "\x1b[0m";
  }

  void Draw() {
    std::string screen = "\x1b[H";
    for (std::size_t i = 0; i < Height(); ++i) {
      if (i != 0) screen += "\r\n";
      if (top_ + i < rows_.size()) screen += Drawn(rows_[top_ + i]);
      screen += "\x1b[K";
    }
    if (size_.rows > 1) screen += "\r\n" + StatusBar() + "\x1b[K";
    terminal_.Write(screen);
  }

  std::string name_;
  std::vector<LogLine> lines_;
  std::vector<std::string> searched_;  // as they are shown, in small letters
  Terminal terminal_;
  Terminal::Size size_{24, 80};
  Colours colours_;
  std::vector<Row> rows_;
  std::size_t top_ = 0;
  std::size_t marked_ = kNone;  // the line that was found last
  std::string query_;
  std::string note_;
};

class LineCollector : public LineSink {
 public:
  std::vector<LogLine> Take() { return std::move(lines_); }

 private:
  void Begin(const LogLine& line) override { lines_.push_back(line); }
  void AddHead(std::string_view text) override {
    LogLine& line = lines_.back();
    if (line.head_length == 0) line.head = line.text.size();
    line.head_length += text.size();
    line.text += text;
  }
  void Add(std::string_view text) override { lines_.back().text += text; }
  void End() override {}

  std::vector<LogLine> lines_;
};

int View(const LogSource& source, const String& key) {
  if (!Terminal::IsThere()) {
    std::fprintf(stderr, "tmx: view needs a terminal; export prints the whole log\n");
    return kWrongUse;
  }
  LogContents contents;
  if (!contents.Open(source, key)) return kFindings;
  LineCollector lines;
  ShownLog log(contents.Stream());
  LogBlocks blocks(contents.Stream());
  while (blocks.Next()) PutLines(log, blocks.Block(), lines);
  if (!contents.IsGood()) return kFindings;
  Viewer(source.path.substr(source.path.rfind('/') + 1), lines.Take()).Run();
  return kDone;
}

}  // namespace

void AddLogViewCommand(CLI::App& log, int& exit_code) {
  AddLogSubcommand(
      log, exit_code, "view",
      "Look through a log on the whole terminal. Keys: arrows, PgUp, PgDn, Home, End;\n"
      "/ searches, n and N go to the next and the last hit; s and S to the next and\n"
      "the last message sent, r and R received; q ends.",
      View);
}

}  // namespace tmx::tools
