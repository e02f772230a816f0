// The syntax of HBCI/FinTS messages, read and written without macros: the sandbox bank is the other
// side of the wire and must not share the mistakes of the side that it is to find out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::demo {

/// A data element: text without its escapes, or bytes whose number was announced before them.
struct DataElement {
  std::string bytes;
  bool is_binary = false;
  friend bool operator==(const DataElement&, const DataElement&) = default;
};

/// What stands between two '+'; a data element alone is a group of one.
using ElementGroup = std::vector<DataElement>;

/// One segment: its head taken apart, and its element groups without the head. A plain value; empty
/// when made without arguments. Values of one thread.
struct Segment {
  Segment() = default;
  Segment(std::string the_code, int the_version)
      : code(std::move(the_code)), version(the_version) {}

  /// The text of an element, counted from 0 after the head; empty where there is none.
  const std::string& At(std::size_t group, std::size_t part = 0) const;
  /// The element itself; null where there is none.
  const DataElement* Find(std::size_t group, std::size_t part = 0) const;

  /// Appends a group, and gives the segment back for the next one.
  Segment& Add(std::string text);
  Segment& Add(std::initializer_list<std::string_view> texts);
  Segment& Add(const std::vector<std::string>& texts);
  Segment& AddBinary(std::string bytes);

  std::string code;
  int number = 0;
  int version = 0;
  std::optional<int> reference;  // the number of the segment of the request that this one answers
  std::vector<ElementGroup> groups;

  friend bool operator==(const Segment&, const Segment&) = default;
};

struct SyntaxError {
  std::size_t position = 0;  // in bytes from the start
  std::string_view what;
};

/// The segments before the first error, and the error if there is one.
struct SegmentList {
  std::vector<Segment> segments;
  std::optional<SyntaxError> error;
};

/// Takes any bytes apart. Time and memory grow with their number only.
SegmentList ParseSegments(std::string_view bytes);

/// A segment as it goes over the wire: escaped, empty groups and elements at the end left out.
std::string ToBytes(const Segment& segment);

/// A number without sign and leading zeros, of at most nine digits.
std::optional<int> ParseNumber(std::string_view digits);

}  // namespace tmx::demo
