// A log as rows of a screen.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/log_cursor.h"

namespace tmx::tools {

// As much of a line as fits beside each other.
struct LogRow {
  LogPlace place;
  std::string text;
  std::size_t head = 0;  // of a segment: where its head begins in the text, and how long it is
  std::size_t head_length = 0;
  bool is_title = false;
  bool is_folded = false;
  LogBlock block;  // of which it is a part
};

// What was found.
struct LogHit {
  LogPlace place;
  std::size_t length = 0;
};

// The lines of a log broken into rows, in which messages and whatever else has a title can be
// folded to the title. Holds no lines but marks, one for about every 128 KB that were read, from
// which it reads again what is asked for.
//
// Does not own the stream, which must be readable and is moved; what fails is in its error. Empty
// state: no row, for an empty stream. Threads: one at a time.
class LogDocument {
 public:
  // Takes the place that was reached; false to give up.
  using GoOn = std::function<bool(LogPlace)>;

  static constexpr LogPlace kBegin{};
  static constexpr LogPlace kEnd{~std::uint64_t{0}, ~std::uint64_t{0}};

  // Passes over all blocks, and tells of how many bytes each one is.
  LogDocument(SvStream& contents, const std::function<void(std::uint32_t)>& passed);
  LogDocument(const LogDocument&) = delete;
  LogDocument& operator=(const LogDocument&) = delete;

  void SetWidth(std::size_t width) { width_ = width; }

  // The rows from the one on in which a place is.
  std::vector<LogRow> Rows(LogPlace from, std::size_t count);
  // The row that stands so many before a place, or the first one.
  LogPlace Back(LogPlace from, std::size_t count);

  // The block that a place is in, and where one begins.
  LogBlock BlockAt(LogPlace place);
  static LogPlace PlaceOf(const LogBlock& block) { return {std::uint64_t{2} * block.begin, 0}; }
  static bool CanFold(const LogBlock& block);
  bool IsFolded(const LogBlock& block) const { return CanFold(block) && IsFolded(block.begin); }
  void Fold(const LogBlock& block, bool folded);
  void FoldAll(bool folded);
  bool AreAllFolded() const { return all_folded_; }

  // The next hit from a place on, or the last one before it, and if there is none that from the
  // other end; also in what is folded. A text is found in capital and small letters.
  std::optional<LogHit> FindText(const std::string& text, LogPlace from, bool forwards,
                                 const GoOn& go_on);
  std::optional<LogHit> FindMessage(bool sent, LogPlace from, bool forwards, const GoOn& go_on);

 private:
  // Takes a piece, after which the cursor stands; false for no more.
  using Visit = std::function<bool(const LogPiece&, LogCursor&)>;
  // Takes what was found; false for no more.
  using Found = std::function<bool(const LogHit&)>;
  // Goes through the hits from one place on up to another.
  using Scan = std::function<void(LogPlace from, LogPlace to, const Found& found)>;

  bool IsFolded(std::uint32_t block) const { return all_folded_ != unlike_.contains(block); }
  LogPlace MarkBefore(LogPlace place) const;
  // Visits the pieces from the last mark on that does not stand behind a place.
  void Walk(LogPlace from, const Visit& visit);
  // Visits the rows that begin at a place or behind it.
  void EachRow(LogPlace from, const std::function<bool(LogRow&)>& visit);
  std::optional<LogHit> Find(const Scan& scan, LogPlace from, bool forwards);
  std::optional<LogHit> FindLast(const Scan& scan, LogPlace begin, LogPlace end);

  LogInput input_;
  std::map<LogPlace, LogCursor> marks_;  // each before the piece that begins there
  std::size_t width_ = 80;
  bool all_folded_ = false;
  std::set<std::uint32_t> unlike_;  // the blocks for which it is the other way round
};

}  // namespace tmx::tools
