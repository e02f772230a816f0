// A log as lines for people to read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/shown_log.h"

namespace tmx::tools {

struct LogLine {
  enum class Kind { Title, Segment, Text };

  Kind kind = Kind::Text;
  std::string text;      // ISO 8859-1, without control characters
  std::size_t head = 0;  // of a segment: where its head begins in the text, and how long it is
  std::size_t head_length = 0;
  // Of a title: the direction of the message.
  bool sent = false;
  bool received = false;
};

// Takes lines in pieces, as one may be longer than memory.
class LineSink {
 public:
  virtual ~LineSink() = default;
  virtual void Begin(const LogLine& line) = 0;  // with the first piece of its text
  virtual void AddHead(std::string_view text) { Add(text); }
  virtual void Add(std::string_view text) = 0;
  virtual void End() = 0;
};

// The lines of one block: a title for what has one, messages one segment a line, the rest as text.
void PutLines(ShownLog& log, const LogBlock& block, LineSink& to);

// The title of a block with a body, like "HBCI message sent, 217 bytes"; empty for single lines.
std::string TitleOf(const LogBlock& block);
// What stands before a single line.
const char* LabelOf(const LogBlock& block);

}  // namespace tmx::tools
