// Writes the macros that read and write the segments of the table.
#pragma once

#include <string>

namespace tmx::demo {

// The source of macros/hbcim4.segments.hbm. For each version of an answer a subroutine
//
//   sub HISAL7(string elements, long number, int version, long reference)
//
// which makes a response of the elements behind the segment's head and commits it, and for each
// version of a request a subroutine
//
//   sub HKSAL7(long number)
//
// which writes the segment from the fields of the request's values. Empty when a layout is wrong;
// `problem` then says which and why.
std::string SegmentMacros(std::string& problem);

}  // namespace tmx::demo
