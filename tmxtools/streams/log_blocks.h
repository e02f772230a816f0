// The blocks of a communication log's contents.
#pragma once

#include <cstdint>
#include <string_view>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/streams/line_reader.h"

namespace tmx {

struct LogBlock {
  enum class Kind {
    Date,  // the lines at the start
    Time,
    Message,  // HBCI
    Xml,
    Instruction,  // XML
    Page,         // XHTML
    Screen,       // of the decoder
    Info,         // any other line
    Broken,       // the beginning of a block of another kind that has no proper end
  };

  Kind kind = Kind::Info;
  std::uint32_t begin = 0, end = 0;  // in the contents, with the marker lines
  std::uint32_t body = 0;            // where the message, the screen or the line's text begins
  std::uint32_t length = 0;          // of the body
  bool sent = false;                 // of the kinds with a length in their first line
  bool is_auto_commit = false;       // of a screen
  // Whether it stands there to its last line end.
  bool is_whole = false;
};

// Reads the blocks one behind the other. Bodies are passed over by their length, so what stands in
// them is never taken for a marker. A block without its closing lines is Broken and reaches up to
// the next line that begins another block.
//
// Does not own the stream, which must be readable and is moved. What fails is in the stream's
// error. Empty state: before the first block. Threads: one at a time.
class TMX_EXPORT LogBlocks {
 public:
  explicit LogBlocks(SvStream& contents);
  // False at the end and after an error.
  bool Next();
  // The next block is the one that begins there.
  void Seek(std::uint32_t position) { lines_.Seek(position); }
  const LogBlock& Block() const { return block_; }

 private:
  // Each reads the rest of a block whose first line was read; false when it has no proper end.
  bool ReadBody(std::string_view end_marker);
  bool ReadScreen();
  void ReadBroken(std::uint32_t behind_first_line);
  bool NextIs(std::string_view text);

  LineReader lines_;
  std::uint32_t size_;
  LogBlock block_;
};

}  // namespace tmx
