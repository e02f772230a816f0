// Holds request messages against the rules of the message standard, knowing nothing of the code
// that builds them.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tmx::test {

/// A segment of requests: its elements between '+', their parts between ':'. A letter is a part's
/// type, a capital one is mandatory: n number, t text, d date, h time, j yes or no, b bytes, z
/// digits;
/// '*' repeats the part before it, and "=V" stands for that value alone.
struct SegmentForm {
  std::string_view name;      // code:version
  std::string_view elements;  // behind the head
  int standard;               // 220 or 300; 0 in both
};

/// Every segment that a message may hold.
std::span<const SegmentForm> SegmentForms();

/// The first rule that a message of version 300 or 220 breaks, or an empty text. Takes any bytes.
/// Values of one thread.
std::string CheckMessage(std::string_view bytes);

}  // namespace tmx::test
