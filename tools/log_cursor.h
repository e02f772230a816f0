// A log's lines piece by piece, from any place that was reached before.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "tmxtools/streams/log_blocks.h"
#include "tools/hbci_text.h"
#include "tools/log_bytes.h"

namespace tmx::tools {

// A character of a log's lines. Later ones are greater.
struct LogPlace {
  std::uint64_t line = 0;    // twice the line's position in the contents, one more behind a title
  std::uint64_t column = 0;  // how many characters of the line stand before

  auto operator<=>(const LogPlace&) const = default;
};

struct LogPiece {
  LogPlace place;    // of its first character
  std::string text;  // ISO 8859-1, without control characters, a few thousand at most
  bool is_title = false;
  bool is_head = false;  // of a segment
  bool ends_line = false;
};

// What the cursors of one log read from. Does not own the stream, which must be readable and is
// moved; what fails is in its error.
class LogInput {
 public:
  // What bytes can be shown as.
  struct Form {
    bool is_text;
    bool is_utf8;
  };

  explicit LogInput(SvStream& contents) : bytes_(contents), blocks_(contents) {}

  LogBytes& Bytes() { return bytes_; }
  // The block that begins there; false at the end.
  bool ReadBlock(std::uint32_t position, LogBlock& block);
  // Takes reading all of them, so that of many it is kept.
  Form FormOf(Range bytes);

 private:
  LogBytes bytes_;
  LogBlocks blocks_;
  std::map<std::uint32_t, Form> forms_;  // by where the bytes begin
};

// Stands before a piece. A copy is a mark to go on from again. The lines are those of PutLines().
class LogCursor {
 public:
  // Before the block that begins there.
  LogCursor(LogInput& input, std::uint32_t block) : input_(&input) { block_.end = block; }

  // False at the end.
  bool Next(LogPiece& piece);
  // Passes over what is left of the block that the last piece was of.
  void SkipBlock() { stage_ = Stage::Block; }
  const LogBlock& Block() const { return block_; }

 private:
  // What comes next: a block, its body, a segment, one of its elements or of the texts below it, or
  // a line of a text.
  enum class Stage { Block, Body, Segment, Element, Texts, Text };

  // Each makes a piece or changes the stage; false when there is nothing left.
  bool Step(LogPiece& piece);
  bool PutTitle(LogPiece& piece);
  void BeginBody();
  void BeginSegment(LogPiece& piece);
  void PutElement(LogPiece& piece);
  void BeginTexts();
  void BeginText(Range text, Stage behind);
  void PutText(LogPiece& piece);
  // Of an element's text without its escape characters.
  std::string NextOfElement();
  void Make(LogPiece& piece, std::string text, bool ends_line);

  LogInput* input_;
  LogBlock block_;
  Stage stage_ = Stage::Block;
  LogPlace place_;
  bool is_made_ = false;                  // the piece asked for
  std::optional<SegmentReader> segment_;  // inside it
  std::optional<SegmentReader> texts_;    // the same, going through its binary data
  GroupElement element_;
  Range rest_;  // of the element or of the text
  bool is_line_begin_ = false;
  bool is_utf8_ = false;
  Stage behind_text_ = Stage::Block;
};

}  // namespace tmx::tools
