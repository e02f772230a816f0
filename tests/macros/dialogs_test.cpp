// Whole recorded dialogs, taken apart by the shipped macros and written back. The recordings are no
// part of the tree: they lie beside it, or where TMX_DIALOGS says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/macros/shipped.h"
#include "tests/macros/tokenizer.h"

namespace tmx::test {
namespace {

namespace fs = std::filesystem;

fs::path DialogsFolder() {
  if (const char* named = std::getenv("TMX_DIALOGS"); named != nullptr && *named != '\0')
    return named;
  return fs::path(TMX_SOURCE_DIR) / ".." / "shared" / "data" / "dialogs";
}

// The recorded messages, requests and answers, by path.
std::vector<fs::path> Messages() {
  std::vector<fs::path> found;
  std::error_code error;
  for (const auto& entry : fs::recursive_directory_iterator(DialogsFolder(), error))
    if (entry.path().extension() == ".hbci") found.push_back(entry.path());
  std::sort(found.begin(), found.end());
  return found;
}

class Dialogs : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::is_directory(DialogsFolder()))
      GTEST_SKIP() << "no recorded dialogs beside the tree; TMX_DIALOGS can name their folder";
    ASSERT_GT(Messages().size(), 0u) << DialogsFolder();
  }

  MacroHost host_{{"macros/answer.hbm"}};
};

// The lines of TakeApart without its remarks, and the remarks.
struct Listing {
  std::string segments;
  std::string remarks;
};

Listing Split(const std::string& output) {
  Listing listing;
  for (std::size_t at = 0; at < output.size();) {
    const std::size_t end = output.find('\n', at) + 1;
    (output[at] == '!' ? listing.remarks : listing.segments) += output.substr(at, end - at);
    at = end;
  }
  return listing;
}

TEST_F(Dialogs, EveryMessageIsWrittenBackByteForByte) {
  for (const fs::path& path : Messages()) {
    const std::string message = *ReadFile(path);
    const RunOutcome run = host_.Run("WriteBack", {Text(message)});
    ASSERT_TRUE(run.ok) << path << testing::PrintToString(run.status);
    EXPECT_TRUE(run.output == message) << path << "\n" << run.output;
  }
}

TEST_F(Dialogs, EverySegmentHasTheCodeAndTheElementsThatAnIndependentCheckerFinds) {
  std::size_t segments = 0;
  std::size_t inside = 0;
  for (const fs::path& path : Messages()) {
    const std::string message = *ReadFile(path);
    std::string expected;
    for (const Segment& segment : Tokenize(message)) {
      expected += segment.Line();
      ++segments;
      inside += segment.code == "HNSHK";
    }
    const RunOutcome run = host_.Run("TakeApart", {Text(message)});
    ASSERT_TRUE(run.ok) << path << testing::PrintToString(run.status);
    EXPECT_EQ(Split(run.output).segments, expected) << path;
  }
  EXPECT_GT(segments, Messages().size());
  EXPECT_GT(inside, 0u) << "no container was taken apart";
}

// Nothing of what a segment holds, its empty elements at the end included, comes from elsewhere.
TEST_F(Dialogs, EverySegmentIsWrittenBackOnItsOwn) {
  for (const fs::path& path : Messages()) {
    const std::string message = *ReadFile(path);
    for (const Segment& segment : Tokenize(message)) {
      const std::string bytes(segment.bytes);
      const RunOutcome run = host_.Run("WriteBack", {Text(bytes)});
      ASSERT_TRUE(run.ok) << path << " " << bytes;
      EXPECT_EQ(run.output, bytes) << path;
    }
  }
}

TEST_F(Dialogs, AWrongLengthOfAMessageIsTold) {
  for (const fs::path& path : Messages()) {
    const std::string message = *ReadFile(path);
    const bool is_wrong = std::stoul(message.substr(message.find('+') + 1)) != message.size();
    const RunOutcome run = host_.Run("TakeApart", {Text(message)});
    const std::string told = "! the message has " + std::to_string(message.size()) + " bytes";
    EXPECT_EQ(Split(run.output).remarks.find(told) != std::string::npos, is_wrong) << path;
  }
}

TEST_F(Dialogs, WrongNumbersOfSegmentsAreTold) {
  std::size_t told = 0;
  for (const fs::path& path : Messages()) {
    const std::string message = *ReadFile(path);
    long expected = 1;
    std::string remarks;
    for (const Segment& segment : Tokenize(message)) {
      const bool is_fixed = segment.code == "HNVSK" || segment.code == "HNVSD";
      const long wanted = segment.code == "HNVSK" ? 998 : is_fixed ? 999 : expected;
      if (segment.number != std::to_string(wanted))
        remarks += "! the next segment should have the number " + std::to_string(wanted) + "\n";
      if (!is_fixed) expected = std::stol(segment.number) + 1;
    }
    told += !remarks.empty();
    const RunOutcome run = host_.Run("TakeApart", {Text(message)});
    EXPECT_TRUE(Split(run.output).remarks.ends_with(remarks)) << path << "\n" << run.output;
    if (remarks.empty()) {
      EXPECT_EQ(Split(run.output).remarks.find("number"), std::string::npos) << path;
    }
  }
  EXPECT_GT(told, 0u);
}

}  // namespace
}  // namespace tmx::test
