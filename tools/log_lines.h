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
  std::string text;  // UTF-8, without control characters
};

// Takes lines in pieces, as one may be longer than memory.
class LineSink {
 public:
  virtual ~LineSink() = default;
  virtual void Begin(const LogLine& line) = 0;  // with the first piece of its text
  virtual void Add(std::string_view text) = 0;
  virtual void End() = 0;
};

// The lines of one block: a title for what has one, messages one segment a line, the rest as text.
void PutLines(ShownLog& log, const LogBlock& block, LineSink& to);

// The title of a block with a body, like "HBCI message sent, 217 bytes"; empty for single lines.
std::string TitleOf(const LogBlock& block);
// What stands before a single line.
const char* LabelOf(const LogBlock& block);
// Whether it is something that was sent or received.
bool HasDirection(const LogBlock& block);
// What stands before the lines of a text inside a segment.
inline constexpr const char* kTextIndent = "      | ";
// What stands before the text of a group element, like "  2="; all of it for binary data.
std::string LabelOf(const GroupElement& group);

}  // namespace tmx::tools
