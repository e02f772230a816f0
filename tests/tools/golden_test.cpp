// Runs every golden file below tests/tools/golden. TMX_UPDATE_GOLDEN=1 writes what came out into
// the files, to be read before it is committed.
#include "tests/tools/golden.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tmx::golden {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> GoldenFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(TMX_SOURCE_DIR "/tests/tools/golden"))
    if (entry.path().extension() == ".golden") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

class Golden : public testing::TestWithParam<fs::path> {};

TEST_P(Golden, PrintsWhatIsWrittenDown) {
  std::ifstream in(GetParam(), std::ios::binary);
  const std::string expected{std::istreambuf_iterator<char>(in), {}};
  const Document document = Parse(expected);
  ASSERT_FALSE(document.sections.empty());
  const std::string actual = Write(RunCases(document, TMX_BINARY_DIR "/bin"));
  if (std::getenv("TMX_UPDATE_GOLDEN") != nullptr)
    std::ofstream(GetParam(), std::ios::binary) << actual;
  else
    EXPECT_EQ(actual, expected);
}

INSTANTIATE_TEST_SUITE_P(Files, Golden, testing::ValuesIn(GoldenFiles()), [](const auto& file) {
  std::string name = file.param.stem().string();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  return name;
});

TEST(GoldenFormat, IsWrittenAsItWasRead) {
  const std::string text =
      "about\n== file a b\n\\xFF\n== run\ntmx\n== stdout\n\\x3D= x\n== exit 2\n";
  EXPECT_EQ(Write(Parse(text)), text);
  EXPECT_EQ(Parse(text).sections.at(0).text, "\xFF\n");
  EXPECT_EQ(Parse(text).sections.at(2).text, "== x\n");
}

TEST(GoldenRunner, NoticesOtherOutputAndOtherExitCodes) {
  const Document expected = Parse("== run\necho out; echo err >&2; exit 3\n== stdout\nelse\n");
  const Document actual = RunCases(expected, "/nowhere");
  EXPECT_EQ(Write(actual),
            "== run\necho out; echo err >&2; exit 3\n"
            "== stdout\nout\n== stderr\nerr\n== exit 3\n");
}

TEST(GoldenRunner, RefusesSectionsOutOfPlace) {
  EXPECT_THROW(RunCases(Parse("== stdout\nx\n"), "/nowhere"), std::runtime_error);
  EXPECT_THROW(RunCases(Parse("== run\ntrue\n== bad\n"), "/nowhere"), std::runtime_error);
}

}  // namespace
}  // namespace tmx::golden
