// The checker of messages finds each kind of fault: one alone, in a message that is right else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/demo/host_fixture.h"
#include "tests/support/strict_message_checker.h"

namespace tmx::demo {
namespace {

using ::testing::StartsWith;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// A message with right lengths around the segments given.
std::string Wrapped(const std::string& body, const std::string& tail = "HNHBS:5:1+2'") {
  const std::string rest =
      "+300+D1+2'HNVSK:998:3+PIN:1+998+1+1::0+1:20260115:120000+2:2:13:@8@00000000:5:1+"
      "280:99900011:4711:V:0:0+0'HNVSD:999:1+@" +
      std::to_string(body.size()) + '@' + body + '\'' + tail;
  std::string size = std::to_string(10 + 12 + rest.size());
  return "HNHBK:1:3+" + std::string(12 - size.size(), '0') + size + rest;
}

const std::string kBody =
    "HNSHK:2:4+PIN:1+999+77+1+1+1::0+1+1:20260115:120000+1:999:1+6:10:16+"
    "280:99900011:4711:S:0:0'HKEND:3:1+D1'HNSHA:4:2+77++12345'";

TEST(StrictMessageChecker, AcceptsARightMessage) {
  EXPECT_EQ(test::CheckMessage(Wrapped(kBody)), "");
}

struct Fault {
  const char* name;
  const char* from;
  const char* to;
  const char* rule;
};

class FaultTest : public ::testing::TestWithParam<Fault> {};

TEST_P(FaultTest, IsFound) {
  const Fault& fault = GetParam();
  EXPECT_THAT(test::CheckMessage(Wrapped(Replaced(kBody, fault.from, fault.to))),
              StartsWith(fault.rule));
}

INSTANTIATE_TEST_SUITE_P(
    Inside, FaultTest,
    ::testing::Values(Fault{"Gap", "HKEND:3", "HKEND:7", "segment number"},
                      Fault{"ControlReference", "2+77", "2+78", "control reference"},
                      Fault{"SystemId", "1::0", "1::5", "system id of HNVSK"},
                      Fault{"TrailingElement", "+D1'", "+D1+'", "trailing empty element"},
                      Fault{"TrailingPart", "12345'", "12345:'", "trailing empty part"},
                      Fault{"TooManyElements", "+D1'", "+D1+x'", "too many elements"},
                      Fault{"TooManyParts", "+D1'", "+D1:x'", "too many parts"},
                      Fault{"MissingElement", "+D1'", "'", "mandatory element missing"},
                      Fault{"Number", "+77+1+1+", "+77+x+1+", "type in HNSHK"},
                      Fault{"LeadingZero", "+77+1+1+", "+77+01+1+", "type in HNSHK"},
                      Fault{"Date", "20260115", "2026011", "type in HNSHK"},
                      Fault{"DayOfNoCalendar", "20260115", "20260229", "type in HNSHK"},
                      Fault{"Time", "120000", "1200", "type in HNSHK"},
                      Fault{"TimeOfNoClock", "120000", "120060", "type in HNSHK"},
                      Fault{"KeyOfAnotherKind", ":S:0:0", ":V:0:0", "type in HNSHK"},
                      Fault{"Profile", "4+PIN:1", "4+PIN:2", "profile of HNSHK"},
                      Fault{"Bytes", "+D1'", "+@2@D1'", "type in HKEND"},
                      Fault{"Unknown", "HKEND:3:1", "HKEND:3:2", "unknown segment"},
                      Fault{"Escape", "+D1'", "+D?1'", "syntax: escape"},
                      Fault{"At", "+D1'", "+D@1'", "syntax: '@'"},
                      Fault{"CutBytes", "+D1'", "+@9999@D1'", "syntax: bytes cut"},
                      Fault{"TextBehindBytes", "+D1'", "+@1@D1'", "syntax: text behind"},
                      Fault{"NoEnd", "12345'", "12345", "syntax: segment without end"},
                      Fault{"NoSignature", "HNSHA", "HNSHB", "signature missing"},
                      Fault{"YesNo", "HKEND:3:1+D1", "HKSAL:3:7+DE1+X", "type in HKSAL"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(StrictMessageChecker, FindsFaultsOfTheEnvelope) {
  const std::string right = Wrapped(kBody);
  EXPECT_EQ(test::CheckMessage(right + "HNHBS:6:1+2'"), "envelope: segments");
  EXPECT_EQ(test::CheckMessage(Replaced(right, "HNVSK", "HNVSX")), "envelope: order");
  EXPECT_EQ(test::CheckMessage(Replaced(right, ":998:", ":997:")), "envelope: number");
  EXPECT_EQ(test::CheckMessage(Replaced(right, "+0000", "+0001")), "size");
  EXPECT_EQ(test::CheckMessage(Replaced(right, "+300+", "+210+")), "version of the standard");
  EXPECT_EQ(test::CheckMessage(Wrapped(kBody, "HNHBS:5:1+1'")), "message number of HNHBS");
  EXPECT_EQ(test::CheckMessage(Wrapped(kBody, "HNHBS:6:1+2'")), "segment number of HNHBS");
}

class EscapeTest : public HostFixture {};

TEST_F(EscapeTest, SpecialCharactersOfTextsAreEscaped) {
  ConversationOptions options;
  options.product = "a+b:c'd?e@f";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_NE(sent_.back().find("a?+b?:c?'d??e?@f"), std::string::npos);
}

}  // namespace
}  // namespace tmx::demo
