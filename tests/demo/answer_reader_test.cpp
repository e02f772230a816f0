// Answers taken apart by the shipped macros.
#include "demo/host/answer_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/segments/fields.h"
#include "tests/demo/shipped_macros.h"

namespace tmx::demo {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string TextOf(const HbSegment& segment, unsigned long id) {
  String text;
  return segment.GetFieldString(text, id) ? std::string(text.View()) : "(none)";
}

std::string BytesOf(const HbSegment& segment, unsigned long id) {
  const HbBinaryVariable* const variable = segment.GetBinaryVar(id);
  if (variable == nullptr) return "(none)";
  return {reinterpret_cast<const char*>(variable->GetData()), variable->GetLength()};
}

// The fields from an id on.
std::size_t CountFrom(HbSegment& segment, unsigned long id) {
  std::size_t count = 0;
  HbVariablesIter walk(&segment);
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext())
    count += walk.GetId() >= id;
  return count;
}

class AnswerReaderTest : public ::testing::Test {
 protected:
  AnswerReaderTest() : engine_(MacroPath().c_str()), reader_(engine_) {
    HbError error;
    for (const char* name : {"hbcim4", "pt0"}) EXPECT_TRUE(engine_.PushFile(name, error)) << name;
  }

  // The only segment of a message.
  Ref<HbSegment> ReadOne(const std::string& message) {
    AnswerReader::Result result = reader_.Read(message);
    EXPECT_THAT(result.segments, SizeIs(1)) << message;
    EXPECT_THAT(result.problems, IsEmpty());
    if (result.segments.empty()) return {};
    return result.segments.front();
  }

  HbMacroEngine engine_;
  AnswerReader reader_;
};

TEST_F(AnswerReaderTest, ResolvesEscapesAndGroups) {
  const auto codes = ReadOne("HIRMS:4:2:3+0020:5,1:Gut?+ ist?' es??:a:b?:c+3920::Verfahren:900'");
  ASSERT_TRUE(codes);
  EXPECT_EQ(codes->GetSegmentKennung().View(), "HIRMS");
  EXPECT_EQ(codes->GetSegmentVersion(), 2);
  short code = 0;
  EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode));
  EXPECT_EQ(code, 20);
  EXPECT_EQ(TextOf(*codes, field::kReturnElement), "5,1");
  EXPECT_EQ(TextOf(*codes, field::kReturnText), "Gut+ ist' es?");
  EXPECT_EQ(TextOf(*codes, field::kReturnParameter), "a");
  EXPECT_EQ(TextOf(*codes, field::kReturnParameter + 10), "b:c");
  EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode + 100130));
  EXPECT_EQ(code, 3920);
  EXPECT_EQ(TextOf(*codes, field::kReturnParameter + 100130), "900");
}

TEST_F(AnswerReaderTest, KeepsUnknownSegmentsUnderOtherElements) {
  const auto other = ReadOne("XIYZQ:7:9:3+a?+b+c:d?:e++@3@x'y'");
  ASSERT_TRUE(other);
  EXPECT_EQ(other->GetSegmentKennung().View(), "XIYZQ");
  EXPECT_EQ(other->GetSegmentVersion(), 9);
  EXPECT_EQ(TextOf(*other, kOtherElements + 1000), "a+b");
  EXPECT_EQ(TextOf(*other, kOtherElements + 2000), "c");
  EXPECT_EQ(TextOf(*other, kOtherElements + 2001), "d:e");
  EXPECT_EQ((*other)[kOtherElements + 3000], nullptr);
  EXPECT_EQ(BytesOf(*other, kOtherElements + 4000), "x'y");
}

TEST_F(AnswerReaderTest, ARequestOfTheBankIsAnUnknownSegment) {
  const auto request = ReadOne("HKSAL:3:7:3+x'");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->GetSegmentKennung().View(), "HKSAL");
  EXPECT_EQ(TextOf(*request, kOtherElements + 1000), "x");
}

TEST_F(AnswerReaderTest, KeepsOddValuesAsTheyStood) {
  const auto end = ReadOne("HNHBS:5:1+zwei?+'");
  ASSERT_TRUE(end);
  EXPECT_EQ((*end)[field::kMessageNumber], nullptr);
  EXPECT_EQ(TextOf(*end, field::kMessageNumber + kAsItStood), "zwei+");
}

TEST_F(AnswerReaderTest, KeepsSurplusElementsAndTheirBytes) {
  const auto end = ReadOne("HNHBS:5:1+2+mehr+@3@a'b+@1@:'");
  ASSERT_TRUE(end);
  EXPECT_EQ(BytesOf(*end, kOtherElements + 2000), "mehr+@3@a'b+@1@:");
  EXPECT_EQ(TextOf(*ReadOne("HNHBS:5:1+2+mehr:x'"), kOtherElements + 2000), "mehr:x");
}

TEST_F(AnswerReaderTest, DataBehindAsManyOrdersAsAnAccountMayHaveAreNoOrder) {
  const std::string account = "HIUPD:7:6:4+123::280:99900011++K1+1+EUR+Muster++Giro++HKSAL:1";
  const auto rights = ReadOne(account + std::string(999, '+') + "mehr?+data+noch+x:y'");
  ASSERT_TRUE(rights);
  EXPECT_EQ(TextOf(*rights, field::kAllowedJob), "HKSAL");
  EXPECT_EQ(TextOf(*rights, field::kAccountData), "mehr+data");
  EXPECT_EQ(TextOf(*rights, kOtherElements + 12000), "noch+x:y");
  EXPECT_EQ(CountFrom(*rights, field::kAllowedJob), 3u);
  EXPECT_EQ(TextOf(*ReadOne(account + "'"), field::kAccountData), "(none)");
}

TEST_F(AnswerReaderTest, AnElementLongerThanATextBecomesBytesWithoutEscapes) {
  const std::string text(70000, 'x');
  const auto codes = ReadOne("HIRMG:2:2+0010::" + text + "?\?'");
  ASSERT_TRUE(codes);
  EXPECT_TRUE(BytesOf(*codes, field::kReturnText) == text + "?");
}

TEST_F(AnswerReaderTest, ControlBytesStay) {
  const std::string text("a\0\x01\x06\x1A", 5);
  const auto codes = ReadOne("HIRMG:2:2+0010::" + text + "'");
  ASSERT_TRUE(codes);
  EXPECT_EQ(BytesOf(*codes, field::kReturnText), text);
}

TEST_F(AnswerReaderTest, AnOddReturnCodeHidesNoneBehindIt) {
  constexpr unsigned long kStep = 100130;
  for (const char* kind : {"HIRMG:3:2", "HIRMS:3:2:4"}) {
    for (const char* odd : {"x9942::odd", "99420::odd", "-1::odd", "::odd", ":5:odd:p"}) {
      const auto codes = ReadOne(std::string(kind) + "+" + odd + "+9942::PIN falsch'");
      ASSERT_TRUE(codes);
      short code = -1;
      EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode)) << odd;
      EXPECT_EQ(code, 0) << odd;
      EXPECT_EQ(TextOf(*codes, field::kReturnText), "odd");
      EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode + kStep)) << odd;
      EXPECT_EQ(code, 9942) << odd;
      EXPECT_EQ(TextOf(*codes, field::kReturnText + kStep), "PIN falsch");
    }
  }
  const auto codes = ReadOne("HIRMS:3:2:4+x9942::odd+y::odd'");
  EXPECT_EQ(TextOf(*codes, field::kReturnCode + kAsItStood), "x9942");
  EXPECT_EQ(TextOf(*codes, field::kReturnCode + kStep + kAsItStood), "y");
}

TEST_F(AnswerReaderTest, AnEmptyElementAmongRepeatedGroupsIsNoneOfThem) {
  const auto codes = ReadOne("HIRMS:3:2:4++0020::a+++9942::b+'");
  ASSERT_TRUE(codes);
  short code = 0;
  EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode));
  EXPECT_EQ(code, 20);
  EXPECT_TRUE(codes->GetFieldInt16(code, field::kReturnCode + 100130));
  EXPECT_EQ(code, 9942);
  const auto account = ReadOne("HIUPD:7:6:4+1++++++++++++HKSAL:1++HKKAZ:2'");
  EXPECT_EQ(TextOf(*account, field::kAllowedJob), "HKSAL");
  EXPECT_EQ(TextOf(*account, field::kAllowedJob + 101240), "HKKAZ");
}

TEST_F(AnswerReaderTest, PartsBeyondTheThousandthStayTogether) {
  std::string parts = "0";
  for (int i = 1; i < 1010; ++i) parts += ':' + std::to_string(i);
  const auto other = ReadOne("XIYZQ:7:9:3+" + parts + "+x:y'");
  ASSERT_TRUE(other);
  EXPECT_EQ(TextOf(*other, kOtherElements + 1998), "998");
  EXPECT_EQ(TextOf(*other, kOtherElements + 1999),
            "999:1000:1001:1002:1003:1004:1005:1006:1007:1008:1009");
  EXPECT_EQ(TextOf(*other, kOtherElements + 2000), "x");
  EXPECT_EQ(TextOf(*other, kOtherElements + 2001), "y");
  std::string thousand = "0";
  for (int i = 1; i < 1000; ++i) thousand += ':' + std::to_string(i);
  EXPECT_EQ(TextOf(*ReadOne("XIYZQ:7:9:3+" + thousand + "'"), kOtherElements + 1999), "999");
}

TEST_F(AnswerReaderTest, TakesTenMegabytesOfStatementsWithoutLoss) {
  std::string message;
  std::vector<std::string> statements;
  for (int i = 0; i < 10; ++i) {
    statements.emplace_back(1 << 20, static_cast<char>('\'' + i));
    message += "HIKAZ:" + std::to_string(i + 2) + ":7:3+@1048576@" + statements.back() + "'";
  }
  const AnswerReader::Result result = reader_.Read(message);
  EXPECT_THAT(result.problems, IsEmpty());
  ASSERT_THAT(result.segments, SizeIs(statements.size()));
  for (std::size_t i = 0; i < statements.size(); ++i)
    EXPECT_TRUE(BytesOf(*result.segments[i], field::kStatement) == statements[i]) << i;
}

TEST_F(AnswerReaderTest, OneOddSegmentCostsNoOther) {
  const std::string before = "HIRMG:2:2+0010::Gut'";
  const std::string after = "HNHBS:5:1+2'";
  for (const std::string odd :
       {"+'", "HISAL'", "HISAL:3:7:3'", "HISAL:3:7:3+++++++++++++++++++'", "HISAL:3:7:3+:::::::::'",
        "HISAL:3:7:3+a+b+c+Q:x:y:99999999:z'", "HISAL:3:700:3+a'", "HITANS:3:7:3+x+y+z+1:2:3:4'",
        "HIUPD:3:6:3+::::+++++HKSAL:x'", "HIKAZ:3:7:3+@x@abc'", "HIKAZ:3:7:3+@4@abc'"}) {
    const AnswerReader::Result result = reader_.Read(before + odd + after);
    ASSERT_GE(result.segments.size(), 2u) << odd;
    EXPECT_EQ(result.segments.front()->GetSegmentKennung().View(), "HIRMG") << odd;
    EXPECT_EQ(result.segments.back()->GetSegmentKennung().View(), "HNHBS") << odd;
  }
}

// Counts the commands that the engine fetches.
TEST_F(AnswerReaderTest, StepsPerSegmentStayTheSame) {
  class Counter : public HbMacroEngine {
   public:
    using HbMacroEngine::HbMacroEngine;
    std::uint64_t steps = 0;

   protected:
    void Dispatch(unsigned short opcode, unsigned short count) override {
      ++steps;
      HbMacroEngine::Dispatch(opcode, count);
    }
  };
  Counter counter(MacroPath().c_str());
  HbError error;
  for (const char* name : {"hbcim4", "pt0"}) ASSERT_TRUE(counter.PushFile(name, error));
  AnswerReader reader(counter);
  std::uint64_t per_segment = 0;
  for (const std::size_t count : {10u, 100u, 1000u, 10000u}) {
    std::string message;
    for (std::size_t i = 0; i < count; ++i) message += "HIRMS:4:2:3+0020::Gut?+'";
    counter.steps = 0;
    EXPECT_THAT(reader.Read(message).segments, SizeIs(count));
    ASSERT_GT(counter.steps, 0u);
    if (per_segment == 0) per_segment = counter.steps / count;
    EXPECT_EQ(counter.steps, per_segment * count) << count;
  }
}

}  // namespace
}  // namespace tmx::demo
