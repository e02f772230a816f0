// The transaction of docs/macro-guide.md works as it is written there.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "demo/host/answer_reader.h"
#include "demo/host/macro_runner.h"
#include "demo/segments/fields.h"
#include "tests/demo/shipped_macros.h"

namespace tmx::demo {
namespace {

// The guide's macros, compiled beside the shipped ones.
void BuildGuide(const std::string& macro_path) {
  std::ifstream file(TMX_SOURCE_DIR "/docs/macro-guide.md", std::ios::binary);
  const std::string guide{std::istreambuf_iterator<char>(file), {}};
  const std::string source = macro_path + "/protocol.hbm";
  std::ofstream out(source, std::ios::binary);
  const std::string open = "```hbm\n";
  for (std::size_t at = guide.find(open); at != std::string::npos; at = guide.find(open, at)) {
    at += open.size();
    out << guide.substr(at, guide.find("```", at) - at);
  }
  out.close();
  const std::string build =
      TMX_BINARY_DIR "/bin/tmx macro build " + source + " --out " + macro_path;
  ASSERT_EQ(std::system(build.c_str()), 0);
  const std::string check = TMX_BINARY_DIR "/bin/tmx macro check --no-warnings --path " +
                            macro_path + " --file hbcim4 --file pt0 --file protocol";
  EXPECT_EQ(std::system(check.c_str()), 0);
}

TEST(MacroGuide, AddsATransaction) {
  BuildGuide(MacroPath());
  HbMacroEngine engine(MacroPath().c_str());
  HbError error;
  for (const char* name : {"hbcim4", "pt0", "protocol"}) EXPECT_TRUE(engine.PushFile(name, error));

  HbRequest request("HKPRO", 3, 1);
  request.GetValues().PutFieldDate(HbDate(1, 2, 2026), field::kFromDate);
  request.GetValues().PutFieldInt32(20, field::kMaxEntries);
  MacroRunner runner(engine);
  std::string written;
  ASSERT_TRUE(runner.Run(request, "HKPRO3", error, written, long{3})) << FullText(error);
  EXPECT_EQ(written, "HKPRO:3:3+20260201++20'");

  const AnswerReader::Result answer = AnswerReader(engine).Read(
      "HIPRO:4:3:3+D?+1:2+5+20260203+101500+0020::Auftrag ausgef?'hrt.'"
      "HIPRO:5:3:3+D1:x+6+20260231+101500+9010::Abgelehnt'");
  EXPECT_TRUE(answer.problems.empty());
  ASSERT_EQ(answer.segments.size(), 2u);
  const HbSegment& first = *answer.segments[0];
  String text;
  long number = 0;
  short code = 0;
  EXPECT_TRUE(first.GetFieldString(text, 700000000) && text == "D+1");
  EXPECT_TRUE(first.GetFieldInt32(number, 700000010) && number == 2);
  EXPECT_TRUE(first.GetFieldInt32(number, 700000020) && number == 5);
  EXPECT_TRUE(first.GetFieldInt16(code, field::kReturnCode) && code == 20);
  EXPECT_TRUE(first.GetFieldString(text, field::kReturnText) && text == "Auftrag ausgef'hrt.");
  HbDate day;
  EXPECT_TRUE(first.GetFieldDate(day, 700000030) && day == HbDate(3, 2, 2026));
  // What does not read as its type is left out and costs nothing else.
  const HbSegment& second = *answer.segments[1];
  EXPECT_TRUE(second.IsNull(700000010));
  EXPECT_TRUE(second.IsNull(700000030));
  EXPECT_TRUE(second.GetFieldInt32(number, 700000020) && number == 6);
}

}  // namespace
}  // namespace tmx::demo
