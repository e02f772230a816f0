// HBCI messages taken apart for people to read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::tools {

// A group element, as it stands in the message.
struct GroupElement {
  std::string_view raw;  // with its escape characters, or the binary data
  bool is_binary = false;

  std::string Text() const;  // without escape characters
};
using DataElement = std::vector<GroupElement>;

struct Segment {
  std::vector<DataElement> elements;  // the first one is the head
  bool is_inside = false;             // of a container, which stands before it

  std::string Head() const;  // "HNHBK:1:3"
  std::string Code() const;
  bool IsContainer() const { return Code() == "HNVSD"; }
};

// Reads whatever it is given: what is no proper length of binary data is text, and the last segment
// need not end. The content of HNVSD follows its segment as segments of its own. The views point
// into `message`.
std::vector<Segment> ParseSegments(std::string_view message);

// Whether bytes are text that can be shown line by line.
bool IsText(std::string_view bytes);
// Control characters as dots.
std::string Printable(std::string_view bytes);
// One segment on one line, each filled element behind its number: "HNHBS:5:1  2=1". Binary data is
// named by its length.
std::string SegmentLine(const Segment& segment);

}  // namespace tmx::tools
