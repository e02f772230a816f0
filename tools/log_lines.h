// A log as lines for people to read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/log_command.h"

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

// The lines of one block: a title for what has one, messages one segment a line, the rest as text.
std::vector<LogLine> LinesOf(const LogBlock& block, std::string_view body);

// The title of a block with a body, like "HBCI message sent, 217 bytes"; empty for single lines.
std::string TitleOf(const LogBlock& block);

}  // namespace tmx::tools
