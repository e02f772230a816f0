#include "demo/hbci_syntax.h"

#include <gmock/gmock.h>

#include <random>

namespace tmx::demo {
namespace {

TEST(HbciSyntax, HeadsGroupsEscapesAndBinariesAreTakenApart) {
  const SegmentList list = ParseSegments("HIXYZ:4:2:3+a?+b:?::??+@3@'+:+:x'HNHBS:5:1'");
  ASSERT_FALSE(list.error);
  ASSERT_EQ(list.segments.size(), 2U);
  const Segment& segment = list.segments[0];
  EXPECT_EQ(segment.code, "HIXYZ");
  EXPECT_EQ(segment.number, 4);
  EXPECT_EQ(segment.version, 2);
  EXPECT_EQ(segment.reference, 3);
  EXPECT_EQ(segment.At(0, 0), "a+b");
  EXPECT_EQ(segment.At(0, 1), ":");
  EXPECT_EQ(segment.At(0, 2), "?");
  EXPECT_EQ(segment.At(1), "'+:");
  EXPECT_TRUE(segment.Find(1)->is_binary);
  EXPECT_EQ(segment.At(2, 1), "x");
  EXPECT_EQ(segment.At(2, 2), "");
  EXPECT_EQ(segment.Find(3), nullptr);
  EXPECT_FALSE(list.segments[1].reference);
  EXPECT_TRUE(list.segments[1].groups.empty());
}

TEST(HbciSyntax, AnEmptyReferenceIsNone) {
  EXPECT_FALSE(ParseSegments("HIRMG:2:2:+0010'").segments.at(0).reference);
}

struct BadSyntax {
  const char* bytes;
  std::size_t position;
  const char* what;
};

TEST(HbciSyntax, WhatIsWrongIsSaidWithItsPlace) {
  const BadSyntax rows[] = {
      {"HKXXX:1:1+a", 11, "the last segment has no end"},
      {"HKXXX:1:1+a?", 12, "the last segment has no end"},
      {"HKXXX:1:1+a?b'", 12, "a character is escaped that needs no escape"},
      {"HKXXX:1:1+a@b'", 11, "a '@' inside an element must be escaped"},
      {"HKXXX:1:1+@@'", 10, "a binary element without a length"},
      {"HKXXX:1:1+@", 10, "a binary element without a length"},
      {"HKXXX:1:1+@x@'", 10, "a binary element without a length"},
      {"HKXXX:1:1+@1234567890@'", 10, "a binary element without a length"},
      {"HKXXX:1:1+@1@'", 10, "a binary element longer than the rest"},
      {"HKXXX:1:1+@999999999@'", 10, "a binary element longer than the rest"},
      {"HKXXX:1:1+@1@ab'", 14, "a binary element must end where its length says"},
      {"A:1:1'HKXXX:1'", 6, "a segment head has 3 or 4 elements"},
      {"HKXXX:1:1:1:1'", 0, "a segment head has 3 or 4 elements"},
      {"@5@HKXXX:1:1'", 0, "a segment head has no binary elements"},
      {":1:1'", 0, "a segment without a code"},
      {"HKXXX:01:1'", 0, "a segment head with a wrong number"},
      {"HKXXX:1:-1'", 0, "a segment head with a wrong number"},
      {"HKXXX:1:1:x'", 0, "a segment head with a wrong reference"},
  };
  for (const BadSyntax& row : rows) {
    const SegmentList list = ParseSegments(row.bytes);
    ASSERT_TRUE(list.error) << row.bytes;
    EXPECT_EQ(list.error->position, row.position) << row.bytes;
    EXPECT_EQ(list.error->what, row.what) << row.bytes;
  }
  EXPECT_EQ(ParseSegments("A:1:1'HKXXX:1'").segments.size(), 1U);
}

TEST(HbciSyntax, WritingEscapesAndLeavesOutWhatIsEmptyAtTheEnd) {
  Segment segment("HITST", 3);
  segment.number = 7;
  segment.reference = 2;
  segment.Add("a+b:c'd?e@f").Add("").Add({"x", "", ""}).AddBinary("").Add({"", ""}).Add("");
  EXPECT_EQ(ToBytes(segment), "HITST:7:3:2+a?+b?:c?'d??e?@f++x+@0@'");
}

TEST(HbciSyntax, WhatIsWrittenReadsTheSame) {
  std::mt19937 random(1);
  const auto pick = [&random](int most) {
    return static_cast<int>(random() % static_cast<unsigned>(most + 1));
  };
  constexpr std::string_view kLetters = "ab+:'?@\n\xE4 1";
  for (int run = 0; run < 2000; ++run) {
    Segment segment("HITST", pick(9));
    segment.number = pick(999);
    if (pick(1) == 1) segment.reference = pick(99);
    for (int groups = pick(4); groups > 0; --groups) {
      ElementGroup group;
      for (int elements = pick(3); elements >= 0; --elements) {
        DataElement element{"", pick(3) == 0};
        for (int length = pick(5); length > 0; --length)
          element.bytes += kLetters[static_cast<std::size_t>(pick(10))];
        group.push_back(element);
      }
      group.back().bytes += 'z';
      segment.groups.push_back(group);
    }
    const SegmentList list = ParseSegments(ToBytes(segment));
    ASSERT_FALSE(list.error) << list.error->what;
    ASSERT_EQ(list.segments, std::vector{segment});
  }
}

TEST(HbciSyntax, NumbersHaveNoSignNoLeadingZerosAndAtMostNineDigits) {
  EXPECT_EQ(ParseNumber("0"), 0);
  EXPECT_EQ(ParseNumber("999999999"), 999999999);
  for (const char* const text : {"", "00", "01", "-1", "+1", "1 ", "1a", "1000000000"})
    EXPECT_EQ(ParseNumber(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tmx::demo
