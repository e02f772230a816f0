// tmx log view: a log on the full screen of a terminal.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/log_command.h"
#include "tools/log_document.h"
#include "tools/log_export.h"
#include "tools/log_lines.h"
#include "tools/output.h"
#include "tools/progress.h"
#include "tools/terminal.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

// With the name of a log and the position it fills 80 columns.
constexpr std::string_view kHelp = "q quit  / find  nN hit  sS sent  rR reply  zZ fold  e save";

// Gives what is to be said about it.
std::string WriteAsText(SvStream& contents, const std::string& path) {
  // It holds what the log keeps secret.
  const int number = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (number < 0 && errno == EEXIST) return path + " is there already and stays as it is";
  std::FILE* const file = number < 0 ? nullptr : fdopen(number, "wb");
  if (file == nullptr) return path + ": " + std::strerror(errno);
  PrintAsText(contents, file);
  const long size = std::ftell(file);
  const bool is_bad = std::ferror(file) != 0;
  if (std::fclose(file) == 0 && !is_bad && !contents.HasError())
    return std::to_string(size) + " bytes written to " + path;
  unlink(path.c_str());
  return path + " cannot be written";
}

// As a text of a log, of what was typed.
std::string Latin1(const std::string& typed) {
  std::string text;
  PutAsLatin1([&](const Sink& to) { to(typed); }, [&](std::string_view part) { text += part; });
  return text;
}

// Escape sequences, or nothing where colours are not wanted.
class Colours {
 public:
  std::string Of(const LogRow& row) const {
    if (!row.is_title) return "";
    return Code(!HasDirection(row.block) ? "1" : row.block.sent ? "1;32" : "1;35");
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

// What is shown of a document, and the keys.
class Viewer {
 public:
  Viewer(std::string name, SvStream& contents, LogDocument& document)
      : name_(std::move(name)), contents_(contents), document_(document) {}

  // Until it is quit or the log cannot be read.
  void Run() {
    Layout();
    for (int key = 0; key != 'q' && key != 3 && key != kKeyEnd && !contents_.HasError();) {
      Draw();
      key = terminal_.ReadKey();
      Handle(key);
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  void Handle(int key) {
    const std::size_t page = Height();
    note_.clear();
    switch (key) {
      case kKeyUp:
      case 'k':
        return MoveUp(1);
      case kKeyDown:
      case 'j':
      case '\r':
        return MoveDown(1);
      case kKeyPageUp:
      case 'b':
        return MoveUp(page);
      case kKeyPageDown:
      case ' ':
        return MoveDown(page);
      case kKeyHome:
      case 'g':
        return Show(LogDocument::kBegin);
      case kKeyLast:
      case 'G':
        return Show(LogDocument::kEnd);
      case 's':
        return Jump(true, true);
      case 'S':
        return Jump(true, false);
      case 'r':
        return Jump(false, true);
      case 'R':
        return Jump(false, false);
      case '/':
        return AskForSearch();
      case 'n':
        return Search(true, false);
      case 'N':
        return Search(false, false);
      case 'z':
        return Fold();
      case 'Z':
        return FoldAll();
      case 'e':
        return Export();
      case kKeyResize:
        return Layout();
      default:
        return;
    }
  }

  // ---- where ----

  std::size_t Height() const { return static_cast<std::size_t>(std::max(1, size_.rows - 1)); }
  std::size_t Width() const { return static_cast<std::size_t>(size_.columns); }

  // Keeps the first line that is shown.
  void Layout() {
    size_ = terminal_.GetSize();
    document_.SetWidth(Width());
    Show(top_);
  }

  // From the row on in which a place is, unless there is more room than rows.
  void Show(LogPlace place) {
    const std::vector<LogRow> rows = document_.Rows(place, Height());
    top_ =
        rows.size() == Height() ? rows.front().place : document_.Back(LogDocument::kEnd, Height());
  }
  // Finding goes on from what is shown then.
  void MoveUp(std::size_t count) {
    hit_.reset();
    Show(document_.Back(top_, count));
  }
  void MoveDown(std::size_t count) {
    hit_.reset();
    const std::vector<LogRow> rows = document_.Rows(top_, count + 1);
    Show(rows.size() > count ? rows.back().place : LogDocument::kEnd);
  }

  // ---- finding ----

  // Where finding goes on, with what is marked or behind it.
  LogPlace Here(bool with_hit) const {
    LogPlace here = hit_ ? hit_->place : top_;
    if (hit_ && !with_hit) ++here.column;
    return here;
  }

  void Jump(bool sent, bool forwards) {
    const LogPlace here = Here(!forwards);
    Take(document_.FindMessage(sent, here, forwards, WatchFinding()), "there is none");
  }

  void Search(bool forwards, bool from_here) {
    if (query_.empty()) return;
    const LogPlace here = Here(from_here || !forwards);
    if (Take(document_.FindText(Latin1(query_), here, forwards, WatchFinding()),
             "not found: " + query_)) {
      document_.Fold(document_.BlockAt(hit_->place), false);
      Show(hit_->place);
    }
  }

  bool Take(const std::optional<LogHit>& hit, const std::string& complaint) {
    note_ = hit ? "" : is_given_up_ ? "given up" : complaint;
    if (!hit) return false;
    hit_ = hit;
    Show(hit->place);
    return true;
  }

  // Shows how far it is, when it takes a while.
  LogDocument::GoOn WatchFinding() {
    is_given_up_ = false;
    return [this, count = 0u, shown = Clock::now()](LogPlace place) mutable {
      constexpr auto interval = std::chrono::milliseconds(200);
      if (++count % 256 != 0 || Clock::now() - shown < interval) return true;
      shown = Clock::now();
      note_ = "searching, " + Percent(place) + "  Esc gives up";
      DrawStatusBar();
      is_given_up_ = terminal_.IsStopped();
      return !is_given_up_;
    };
  }

  // Nothing when it was given up.
  std::optional<std::string> Ask(const std::string& prompt) {
    std::string text;
    for (;;) {
      note_ = prompt + text;
      Draw();
      const int key = terminal_.ReadKey();
      if (key == kKeyResize) Layout();
      if (key == '\r') break;
      if (key == kKeyEscape || key == kKeyEnd || key == 3) {
        note_.clear();
        return std::nullopt;
      }
      if (key == 0x7F || key == 8) {
        while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
          text.pop_back();
        if (!text.empty()) text.pop_back();
      } else if (key >= ' ' && key < 256) {
        text += static_cast<char>(key);
      }
    }
    note_.clear();
    return text;
  }

  void AskForSearch() {
    const std::optional<std::string> text = Ask("/");
    if (!text) return;
    if (!text->empty()) query_ = *text;
    Search(true, true);
  }

  // ---- folding and exporting ----

  // The message that is marked, or the first one that is shown.
  void Fold() {
    std::optional<LogBlock> block;
    for (const LogRow& row : document_.Rows(top_, Height())) {
      const bool is_marked = hit_ && row.place.line == hit_->place.line;
      if (LogDocument::CanFold(row.block) && (!block || is_marked)) block = row.block;
    }
    if (!block) return;
    const LogPlace title = LogDocument::PlaceOf(*block);
    document_.Fold(*block, !document_.IsFolded(*block));
    hit_ = LogHit{title, std::string::npos};
    Show(std::min(top_, title));
  }

  void FoldAll() {
    const LogBlock first = document_.BlockAt(top_);
    document_.FoldAll(!document_.AreAllFolded());
    hit_.reset();
    Show(LogDocument::PlaceOf(first));
  }

  void Export() {
    const std::optional<std::string> path = Ask("write all as text to: ");
    if (!path || path->empty()) return;
    note_ = "writing " + *path;
    DrawStatusBar();
    note_ = WriteAsText(contents_, *path);
  }

  // ---- drawing ----

  std::string Drawn(const LogRow& row) const {
    const auto within = [&](std::uint64_t column) {
      return std::clamp(column, row.place.column, row.place.column + row.text.size()) -
             row.place.column;
    };
    std::size_t hit_begin = 0, hit_end = 0;
    if (hit_ && hit_->place.line == row.place.line) {
      const std::uint64_t begin = hit_->place.column;
      hit_begin = within(begin);
      hit_end = within(begin + std::min<std::uint64_t>(hit_->length, ~begin));
    }
    std::string drawn;
    const auto is_head = [&](std::size_t at) {
      return at >= row.head && at < row.head + row.head_length;
    };
    const auto is_hit = [&](std::size_t at) { return at >= hit_begin && at < hit_end; };
    for (std::size_t at = 0, end = 0; at < row.text.size(); at = end) {
      while (end < row.text.size() && is_head(end) == is_head(at) && is_hit(end) == is_hit(at))
        ++end;
      drawn += is_hit(at) ? colours_.Hit() : is_head(at) ? colours_.Head() : colours_.Of(row);
      drawn += ForOutput(row.text.substr(at, end - at)) + colours_.Off();
    }
    if (row.is_folded && row.text.size() + kFolded.size() <= Width()) drawn += kFolded;
    return drawn;
  }

  std::string Percent(LogPlace place) const {
    const std::uint64_t size = std::max<std::uint64_t>(1, contents_.Size());
    return std::to_string(place.line / 2 * 100 / size) + " %";
  }

  std::string StatusBar() const {
    const std::string keys = "  " + where_ + "  " + std::string(kHelp);
    // Of a longer name there is as much as leaves room for the keys.
    const std::size_t room = Width() - std::min(Width(), keys.size());
    const std::string text = !note_.empty() ? note_ : name_.substr(0, room) + keys;
    // Cut between characters, not inside one.
    std::size_t end = 0;
    for (std::size_t columns = 0; end < text.size(); ++end) {
      const bool begins_character = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
      if (begins_character && ++columns > Width()) break;
    }
    return "\x1b[7m" + text.substr(0, end) + "\x1b[0m";
  }

  void DrawStatusBar() const {
    if (size_.rows > 1)
      terminal_.Write("\x1b[" + std::to_string(size_.rows) + ";1H" + StatusBar() + "\x1b[K");
  }

  void Draw() {
    const std::vector<LogRow> rows = document_.Rows(top_, Height() + 1);
    where_ = rows.size() > Height() ? Percent(rows.back().place) : "100 %";
    std::string screen = "\x1b[H";
    for (std::size_t i = 0; i < Height(); ++i) {
      if (i != 0) screen += "\r\n";
      if (i < rows.size()) screen += Drawn(rows[i]);
      screen += "\x1b[K";
    }
    terminal_.Write(screen);
    DrawStatusBar();
  }

  static constexpr std::string_view kFolded = " ...";

  std::string name_;
  SvStream& contents_;
  LogDocument& document_;
  Terminal terminal_;
  Terminal::Size size_{24, 80};
  Colours colours_;
  LogPlace top_;               // the first row
  std::optional<LogHit> hit_;  // what was found last
  bool is_given_up_ = false;
  std::string query_;
  std::string note_;
  std::string where_;
};

int View(const LogSource& source, const String& key) {
  if (!Terminal::IsThere()) {
    std::fprintf(stderr, "tmx: view needs a terminal; export prints the whole log\n");
    return kWrongUse;
  }
  LogContents contents;
  if (!contents.Open(source, key)) return kFindings;
  const std::string name = source.path.substr(source.path.rfind('/') + 1);
  std::optional<LogDocument> document;
  {
    Progress progress("tmx log view: " + name, contents.Stream().Size());
    document.emplace(contents.Stream(), [&](std::uint32_t bytes) { progress.Advance(bytes); });
  }
  if (!contents.IsGood()) return kFindings;
  Viewer(name, contents.Stream(), *document).Run();
  return contents.IsGood() ? kDone : kFindings;
}

}  // namespace

void AddLogViewCommand(CLI::App& log, int& exit_code) {
  AddLogSubcommand(
      log, exit_code, "view",
      "Look through a log on the whole terminal. Keys: arrows, PgUp, PgDn, Home, End;\n"
      "/ searches, n and N go to the next and the last hit; s and S to the next and\n"
      "the last message sent, r and R received; z folds the message that is marked or\n"
      "stands first to its title or unfolds it, Z all; e writes the log as text to a new\n"
      "file; q ends.",
      View);
}

}  // namespace tmx::tools
