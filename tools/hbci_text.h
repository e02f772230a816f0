// HBCI messages taken apart for people to read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/log_bytes.h"

namespace tmx::tools {

// A group element, as it stands in the message.
struct GroupElement {
  Range raw;  // with its escape characters, or the binary data
  bool is_binary = false;
  unsigned element = 1;  // the number of its data element; 1 is the head
  unsigned group = 0;    // how many stand before it in its data element
  bool is_last = true;   // of its data element
};

// Goes through a message: segment by segment, and in each from one group element to the next. A
// copy is a mark to go on from again.
//
// Reads whatever it is given: what is no proper length of binary data is text, and the last segment
// need not end. The content of HNVSD follows its segment as segments of its own.
class SegmentReader {
 public:
  SegmentReader(LogBytes& bytes, Range message);

  // Passes over what is left of the segment before; false behind the last one.
  bool NextSegment();
  // False behind the last one of the segment.
  bool NextElement(GroupElement& group);
  // Where what comes next begins: behind NextSegment() the segment.
  std::uint32_t Position() const { return rest_.begin; }

  // Of the segment.
  std::string_view Code() const { return code_; }         // its first 15 characters
  bool IsInside() const { return outside_.has_value(); }  // of a container, which stands before it
  bool IsContainer() const { return code_ == "HNVSD"; }

 private:
  std::optional<Range> BinaryAt(std::uint32_t position);
  std::uint32_t EndOfText(std::uint32_t position);
  void ReadCode();

  LogBytes* bytes_;
  Range rest_;                    // of the message, or of the container inside which this is
  std::optional<Range> outside_;  // the message's rest behind the container
  std::string code_;
  std::optional<Range> content_;  // of the container
  GroupElement next_;
  bool is_at_end_ = true;  // of the segment
};

// A text as it is without its escape characters.
class Unescaper {
 public:
  // Of a text of that length.
  Unescaper(std::uint32_t size, const Sink& to) : left_(size), to_(to) {}
  void Add(std::string_view piece);

 private:
  std::uint32_t left_;
  bool is_escaped_ = false;
  const Sink& to_;
};

// Whether bytes are text that can be shown line by line.
bool IsText(std::string_view bytes);
// Control characters as dots.
std::string Printable(std::string_view bytes);

}  // namespace tmx::tools
