// Splits a message into its segments, ready for the macros.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::demo {

// One part of a segment: text with its escapes, or bytes. The view points into the message.
struct MessagePart {
  std::string_view bytes;
  bool is_binary = false;
};

// One segment. The views point into the message.
struct MessageSegment {
  std::string_view code;
  std::uint32_t number = 0;
  std::uint16_t version = 0;
  std::uint32_t reference = 0;  // 0: answers no segment
  // The text behind the head, without the delimiter that closes the segment. A part that a text
  // cannot hold, or that macros would mistake, is replaced by kLifted and its number in `lifted`.
  std::string elements;
  std::vector<MessagePart> lifted;
};

inline constexpr char kLifted = '\x1A';

// What was wrong with a message and was coped with.
struct MessageProblem {
  std::size_t position = 0;  // of the byte, from the message's beginning
  std::string what;
};

struct SplitMessage {
  std::vector<MessageSegment> segments;
  std::vector<MessageProblem> problems;
};

// Takes any bytes. The segments in a container (HNVSD) stand behind it, as if they were segments of
// the message; the container itself keeps no bytes. A segment whose head cannot be read is reported
// and left out; a binary element whose announced length leads to no delimiter is mended if it was
// off by one, else it reaches to the next delimiter. A segment with more parts than a text can hold
// becomes a single part with all its bytes.
SplitMessage Split(std::string_view message);

}  // namespace tmx::demo
