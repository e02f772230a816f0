#include "tools/log_document.h"

#include <algorithm>
#include <deque>
#include <iterator>

#include "tools/log_lines.h"

namespace tmx::tools {
namespace {

constexpr std::uint64_t kBetweenMarks = 1 << 17;

// About how many bytes stand between two places.
std::uint64_t Distance(LogPlace from, LogPlace to) {
  return from.line == to.line ? to.column - from.column : (to.line - from.line) / 2;
}

// Letters of ISO 8859-1.
std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    const bool is_capital =
        (byte >= 'A' && byte <= 'Z') || (byte >= 0xC0 && byte <= 0xDE && byte != 0xD7);
    return is_capital ? static_cast<char>(byte + 0x20) : c;
  });
  return text;
}

// Finds a text in lines that come piece by piece.
class TextFinder {
 public:
  explicit TextFinder(const std::string& text) : text_(Lower(text)) {}

  // False when no more is wanted.
  template <class Found>
  bool Add(const LogPiece& piece, Found found) {
    if (!begin_ || piece.place.line != begin_->line) {
      begin_ = piece.place;
      seen_.clear();
    }
    seen_ += Lower(piece.text);
    for (std::size_t at = seen_.find(text_); at != std::string::npos;
         at = seen_.find(text_, at + 1))
      if (!found(LogHit{{begin_->line, begin_->column + at}, text_.size()})) return false;
    // What may be the beginning of the text waits for the next piece.
    const std::size_t passed = seen_.size() - std::min(seen_.size(), text_.size() - 1);
    seen_.erase(0, passed);
    begin_->column += passed;
    return true;
  }

 private:
  std::string text_;
  std::string seen_;
  std::optional<LogPlace> begin_;  // of what was seen
};

// Builds rows of pieces.
class RowBuilder {
 public:
  RowBuilder(std::size_t width, const std::function<bool(LogRow&)>& to) : width_(width), to_(to) {}

  // False when no more is wanted. Of a line whose beginning was not seen the rest of the first row
  // is passed over.
  bool Add(const LogPiece& piece, const LogBlock& block, bool is_folded) {
    std::string_view text = piece.text;
    std::uint64_t column = piece.place.column;
    if (!is_open_) {
      const std::uint64_t passed = std::min(text.size(), (width_ - column % width_) % width_);
      column += passed;
      text.remove_prefix(passed);
    }
    for (;;) {
      if (!is_open_ && column % width_ == 0 && (!text.empty() || column == 0)) {
        row_ = {};
        row_.place = {piece.place.line, column};
        row_.is_title = piece.is_title;
        row_.is_folded = is_folded;
        row_.block = block;
        is_open_ = true;
      }
      const std::string_view part = text.substr(0, width_ - row_.text.size());
      if (is_open_) Append(part, piece.is_head);
      column += part.size();
      text.remove_prefix(part.size());
      if (text.empty()) break;
      if (!Close()) return false;
    }
    return !piece.ends_line || Close();
  }

 private:
  void Append(std::string_view text, bool is_head) {
    if (is_head && row_.head_length == 0) row_.head = row_.text.size();
    if (is_head) row_.head_length += text.size();
    row_.text += text;
  }
  bool Close() {
    if (!is_open_) return true;
    is_open_ = false;
    return to_(row_);
  }

  std::size_t width_;
  const std::function<bool(LogRow&)>& to_;
  LogRow row_;
  bool is_open_ = false;
};

}  // namespace

LogDocument::LogDocument(SvStream& contents, const std::function<void(std::uint32_t)>& passed)
    : input_(contents) {
  marks_.emplace(kBegin, LogCursor(input_, 0));
  LogBlock block;
  for (std::uint32_t marked = 0; input_.ReadBlock(block.end, block);
       passed(block.end - block.begin)) {
    if (block.begin - marked < kBetweenMarks) continue;
    marked = block.begin;
    marks_.emplace(PlaceOf(block), LogCursor(input_, marked));
  }
}

// ---- rows ----

LogPlace LogDocument::MarkBefore(LogPlace place) const {
  return std::prev(marks_.lower_bound(place))->first;
}

void LogDocument::Walk(LogPlace from, const Visit& visit) {
  auto next = marks_.upper_bound(from);
  LogPlace marked = std::prev(next)->first, at = marked;
  LogCursor cursor = std::prev(next)->second;
  for (LogPiece piece;;) {
    std::optional<LogCursor> here;
    if (Distance(marked, at) >= kBetweenMarks) here = cursor;
    if (!cursor.Next(piece)) return;
    at = piece.place;
    for (; next != marks_.end() && next->first <= at; ++next) marked = next->first;
    if (here && Distance(marked, at) >= kBetweenMarks) {
      marks_.emplace_hint(next, at, *here);
      marked = at;
    }
    if (!visit(piece, cursor)) return;
  }
}

void LogDocument::EachRow(LogPlace from, const std::function<bool(LogRow&)>& visit) {
  const std::function<bool(LogRow&)> visit_from = [&](LogRow& row) {
    return row.place < from || visit(row);
  };
  RowBuilder rows(width_, visit_from);
  Walk(from, [&](const LogPiece& piece, LogCursor& cursor) {
    const LogBlock block = cursor.Block();
    const bool is_folded = IsFolded(block);
    if (is_folded) cursor.SkipBlock();
    return (is_folded && !piece.is_title) || rows.Add(piece, block, is_folded);
  });
}

std::vector<LogRow> LogDocument::Rows(LogPlace from, std::size_t count) {
  from.column -= from.column % width_;
  std::vector<LogRow> rows;
  EachRow(from, [&](LogRow& row) {
    rows.push_back(std::move(row));
    return rows.size() < count;
  });
  return rows;
}

LogPlace LogDocument::Back(LogPlace from, std::size_t count) {
  LogPlace first = from;
  for (LogPlace end = from; count != 0 && end != kBegin;) {
    const LogPlace mark = MarkBefore(end);
    std::deque<LogPlace> rows;  // the last ones between the mark and the end
    EachRow(mark, [&](const LogRow& row) {
      if (row.place >= end) return false;
      rows.push_back(row.place);
      if (rows.size() > count) rows.pop_front();
      return true;
    });
    if (!rows.empty()) first = rows.front();
    count -= rows.size();
    end = mark;
  }
  return first;
}

// ---- folding ----

LogBlock LogDocument::BlockAt(LogPlace place) {
  LogBlock block;
  Walk(place, [&](const LogPiece& piece, const LogCursor& cursor) {
    if (piece.place > place) return false;
    block = cursor.Block();
    return true;
  });
  return block;
}

bool LogDocument::CanFold(const LogBlock& block) { return !TitleOf(block).empty(); }

void LogDocument::Fold(const LogBlock& block, bool folded) {
  if (IsFolded(block.begin) != folded && unlike_.erase(block.begin) == 0)
    unlike_.insert(block.begin);
}

void LogDocument::FoldAll(bool folded) {
  all_folded_ = folded;
  unlike_.clear();
}

// ---- finding ----

std::optional<LogHit> LogDocument::FindLast(const Scan& scan, LogPlace begin, LogPlace end) {
  std::optional<LogHit> last;
  while (!last && begin < end) {
    const LogPlace from = std::max(begin, MarkBefore(end));
    scan(from, end, [&](const LogHit& hit) {
      last = hit;
      return true;
    });
    end = from;
  }
  return last;
}

std::optional<LogHit> LogDocument::Find(const Scan& scan, LogPlace from, bool forwards) {
  if (!forwards) {
    const std::optional<LogHit> before = FindLast(scan, kBegin, from);
    return before ? before : FindLast(scan, from, kEnd);
  }
  std::optional<LogHit> first;
  const Found take = [&](const LogHit& hit) {
    first = hit;
    return false;
  };
  scan(from, kEnd, take);
  if (!first) scan(kBegin, from, take);
  return first;
}

std::optional<LogHit> LogDocument::FindText(const std::string& text, LogPlace from, bool forwards,
                                            const GoOn& go_on) {
  if (text.empty()) return std::nullopt;
  bool is_wanted = true;
  const Scan scan = [&](LogPlace begin, LogPlace end, const Found& found) {
    TextFinder finder(text);
    Walk(begin, [&](const LogPiece& piece, const LogCursor&) {
      // What begins before the end may reach behind it.
      const bool is_behind = piece.place.line == end.line
                                 ? piece.place.column >= end.column + text.size()
                                 : piece.place.line > end.line;
      is_wanted = is_wanted && go_on(piece.place);
      return is_wanted && !is_behind && finder.Add(piece, [&](const LogHit& hit) {
        return hit.place < begin || (hit.place < end && found(hit));
      });
    });
  };
  return Find(scan, from, forwards);
}

std::optional<LogHit> LogDocument::FindMessage(bool sent, LogPlace from, bool forwards,
                                               const GoOn& go_on) {
  bool is_wanted = true;
  const Scan scan = [&](LogPlace begin, LogPlace end, const Found& found) {
    Walk(begin, [&](const LogPiece& piece, LogCursor& cursor) {
      is_wanted = is_wanted && go_on(piece.place);
      if (!is_wanted || piece.place >= end) return false;
      const LogBlock& block = cursor.Block();
      const bool is_one = piece.is_title && HasDirection(block) && block.sent == sent;
      cursor.SkipBlock();
      return !is_one || piece.place < begin || found({piece.place, piece.text.size()});
    });
  };
  return Find(scan, from, forwards);
}

}  // namespace tmx::tools
