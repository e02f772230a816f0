// Request messages made from the checker's table, whole, for tests that put faults into them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/strict_message_checker.h"

namespace tmx::demo {

/// A text with every character that must be escaped, how it stands in a message, and bytes there.
inline constexpr const char* kText = "a+b:c'd?e@f";
inline constexpr const char* kEscaped = "a?+b?:c?'d??e?@f";
inline constexpr const char* kBytes = "@3@x'y";

/// What stands between '+', and in that between ':'.
using Elements = std::vector<std::vector<std::string>>;

/// The form's elements: for each part a letter, with a '*' for a repeated one, or '=' and its
/// value.
Elements SplitForm(std::string_view form);
char TypeOf(const std::string& part);
bool IsMandatory(const std::string& part);
bool IsRepeated(const std::string& part);
std::string RightValue(const std::string& part);
std::string ValueOfWrongType(const std::string& part);

struct ModelSegment {
  std::string code, version, number;
  std::string behind_head;
  Elements elements;
};

std::string ToBytes(const ModelSegment& segment);
void DropEmptyEnds(Elements& elements);

/// The row of a segment, as "HKSAL:5"; there must be one.
const test::SegmentForm& FormOf(std::string_view name);

/// A segment with all its values, or the mandatory ones alone.
ModelSegment Filled(const test::SegmentForm& form, int standard, bool is_full);

/// Head, encryption and its data, signature, what it signs, its end, tail.
using ModelMessage = std::vector<ModelSegment>;

bool IsAround(std::string_view code);

/// A message with one segment, or with that of HKEND where the form is of a segment around it.
ModelMessage MessageWith(const test::SegmentForm& form, int standard, bool is_full);

/// The segment that a message was made for.
ModelSegment& SegmentOf(ModelMessage& message, const test::SegmentForm& form);

/// The bytes; lengths are right, or as much too large as is said.
std::string ToBytes(ModelMessage message, int wrong_size = 0, int wrong_data_size = 0);

}  // namespace tmx::demo
