// Messages taken apart into segments for the macros.
#include "demo/host/message_splitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tmx::demo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::vector<std::string> Codes(const SplitMessage& message) {
  std::vector<std::string> codes;
  for (const MessageSegment& segment : message.segments) codes.emplace_back(segment.code);
  return codes;
}

// A binary element with an announced length of its own, and a segment behind it.
SplitMessage Announced(std::size_t length, const std::string& bytes) {
  const std::string message =
      "HIKAZ:4:7:3+@" + std::to_string(length) + "@" + bytes + "'HNHBS:5:1+2'";
  SplitMessage split = Split(message);
  EXPECT_THAT(Codes(split), ElementsAre("HIKAZ", "HNHBS"));
  return split;
}

TEST(MessageSplitter, ReadsHeadsAndLeavesEscapesToTheMacros) {
  const std::string text = "HIRMS:4:2:3+0020::Gut?+ ist?' es?\?'HNHBS:5:1+2'";
  const SplitMessage split = Split(text);
  ASSERT_THAT(Codes(split), ElementsAre("HIRMS", "HNHBS"));
  EXPECT_EQ(split.segments[0].number, 4u);
  EXPECT_EQ(split.segments[0].version, 2u);
  EXPECT_EQ(split.segments[0].reference, 3u);
  EXPECT_EQ(split.segments[0].elements, "0020::Gut?+ ist?' es??");
  EXPECT_EQ(split.segments[1].reference, 0u);
  EXPECT_THAT(split.problems, IsEmpty());
}

TEST(MessageSplitter, LiftsBinaryDataOfAnyLength) {
  for (const std::size_t length : {0u, 1u, 9u, 4096u, 65536u, 1000000u}) {
    std::string bytes(length, '\'');
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(i % 256);
    const std::string text = "HIKAZ:4:7:3+@" + std::to_string(length) + "@" + bytes + "+B'";
    const SplitMessage split = Split(text);
    ASSERT_THAT(split.segments, SizeIs(1)) << length;
    EXPECT_EQ(split.segments[0].elements,
              "\x1A"
              "0+B");
    ASSERT_THAT(split.segments[0].lifted, SizeIs(1));
    EXPECT_TRUE(split.segments[0].lifted[0].is_binary);
    EXPECT_TRUE(split.segments[0].lifted[0].bytes == bytes) << length;
    EXPECT_THAT(split.problems, IsEmpty());
  }
}

TEST(MessageSplitter, MendsAndReportsALengthThatIsOffByOne) {
  for (const std::size_t length : {4u, 6u}) {
    const SplitMessage split = Announced(length, "abcde");
    ASSERT_THAT(split.problems, SizeIs(1)) << length;
    EXPECT_THAT(split.problems[0].what, HasSubstr("announced length"));
    EXPECT_EQ(split.problems[0].position, 12u);
  }
}

TEST(MessageSplitter, KeepsTheNextSegmentBehindALengthFarOff) {
  EXPECT_THAT(Announced(2, "abcde").problems, SizeIs(1));
}

TEST(MessageSplitter, ReportsCutMessagesAtEveryPlace) {
  const std::string whole = "HIRMG:2:2+0010::Gut'HIKAZ:3:7:3+@5@ab'cd+x'";
  for (std::size_t length = 1; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    const SplitMessage split = Split(cut);
    if (length == 20) continue;  // whole segments
    EXPECT_FALSE(split.problems.empty()) << length;
    if (length > 20) {
      EXPECT_EQ(split.segments.at(0).elements, "0010::Gut") << length;
    }
  }
}

TEST(MessageSplitter, PutsTheSegmentsOfAContainerBehindIt) {
  const std::string text = "HNVSD:999:1+@20@HIRMG:2:2+0010::Gut''HNHBS:3:1+2'";
  const SplitMessage split = Split(text);
  EXPECT_THAT(Codes(split), ElementsAre("HNVSD", "HIRMG", "HNHBS"));
  EXPECT_THAT(split.segments[0].elements, IsEmpty());
  EXPECT_THAT(split.segments[0].lifted, IsEmpty());
}

TEST(MessageSplitter, AContainerHoldsNoOther) {
  std::string inner = "HIRMG:2:2+0010::Gut'";
  for (int i = 0; i < 3; ++i)
    inner = "HNVSD:999:1+@" + std::to_string(inner.size()) + "@" + inner + "'";
  EXPECT_THAT(Codes(Split(inner)), ElementsAre("HNVSD", "HNVSD"));
}

TEST(MessageSplitter, LiftsBytesThatMacrosWouldMistake) {
  for (const char c : {'\0', '\x01', '\x06', '\x1A'}) {
    const std::string text = std::string("HIXYZ:1:1+a") + c + "b+c'";
    const SplitMessage split = Split(text);
    ASSERT_THAT(split.segments, SizeIs(1));
    EXPECT_EQ(split.segments[0].elements,
              "\x1A"
              "0+c");
    EXPECT_FALSE(split.segments[0].lifted.at(0).is_binary);
  }
}

TEST(MessageSplitter, ReportsAHeadThatIsNoneAndGoesOn) {
  for (const char* head : {"", "hirmg:2:2", "HIRMG", "HIRMG:2", "HIRMG:x:2", "HIRMG:2:99999",
                           "HIRMG:2:2:x", "HIRMG:2:2:3:4", "HIRMG:4294967295:2"}) {
    const std::string text = std::string(head) + "+a'HNHBS:5:1+2'";
    const SplitMessage split = Split(text);
    EXPECT_THAT(Codes(split), ElementsAre("HNHBS")) << head;
    EXPECT_THAT(split.problems, SizeIs(1)) << head;
  }
}

TEST(MessageSplitter, KeepsASegmentWithTooManyPartsAsBytesAndReportsIt) {
  std::string text = "HIXYZ:1:1";
  for (int i = 0; i < 100000; ++i) text += "+a";
  text += '\'';
  const SplitMessage split = Split(text);
  ASSERT_THAT(split.segments, SizeIs(1));
  EXPECT_EQ(split.segments[0].elements,
            "\x1A"
            "0");
  ASSERT_THAT(split.segments[0].lifted, SizeIs(1));
  EXPECT_TRUE(split.segments[0].lifted[0].bytes == text);
  EXPECT_THAT(split.problems, SizeIs(1));
}

}  // namespace
}  // namespace tmx::demo
