// The library's start-up and detach, seen from programs that load it.
#include <gtest/gtest.h>
#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temp_dir.h"

namespace tmx {
namespace {

namespace fs = std::filesystem;

class Attach : public testing::Test {
 protected:
  // The probe stands in a directory of its own, since the texts are looked for beside it.
  Attach() { fs::copy(TMX_BINARY_DIR "/tests/attach_probe", directory_.File("probe")); }

  // What the probe prints with this search path.
  std::string Probe(const std::string& how, const std::string& path) {
    const std::string command = "PATH='" + path + "' " + directory_.File("probe") +
                                " " TMX_BINARY_DIR "/lib/libtmxtools.so 42 " + how + " 2>&1";
    FILE* const pipe = popen(command.c_str(), "r");
    std::string out;
    for (int byte = getc(pipe); byte != EOF; byte = getc(pipe)) out += static_cast<char>(byte);
    EXPECT_EQ(pclose(pipe), 0) << out;
    return out;
  }
  void WriteTexts(const std::string& path, const std::string& text) {
    std::ofstream(path) << "[DEUTSCH]\n42: " << text << "\n";
  }
  // What two rounds of loading print.
  static std::string Twice(const std::string& round) {
    return round + "\nunloaded\n" + round + "\nunloaded\n";
  }

  TempDir directory_;
  TempDir elsewhere_;
};

TEST_F(Attach, FindsTheTextsBesideTheProgramEachTime) {
  WriteTexts(directory_.File("textres.bin"), "beside");
  WriteTexts(elsewhere_.File("textres.bin"), "elsewhere");
  EXPECT_EQ(Probe("twice", elsewhere_.Path()), Twice("beside"));
}

TEST_F(Attach, FindsTheTextsAlongThePath) {
  WriteTexts(elsewhere_.File("textres.bin"), "elsewhere");
  EXPECT_EQ(Probe("twice", "/nowhere::" + elsewhere_.Path()), Twice("elsewhere"));
}

TEST_F(Attach, ReportsMissingTextsAndGoesOnWithNone) {
  const std::string missing = "No File found with Name: " + directory_.File("textres.bin");
  EXPECT_EQ(Probe("twice", "/nowhere"), Twice(missing + "\nUnresolved Error code: 42 ResId: 42"));
}

TEST_F(Attach, ReportsMalformedLinesOnceAndAtTheStart) {
  std::ofstream(directory_.File("textres.bin")) << "[DEUTSCH]\nbad\n42: x\n[open\n";
  EXPECT_EQ(Probe("exit", "")
                .find("WARNING: no match for key-end, ':' is missing in line 2\n"
                      "WARNING: no match for section-end, ']' is missing in line 4\n"
                      "x\n"),
            0U);
}

TEST_F(Attach, AfterTheEndThereIsAFreshManager) {
  WriteTexts(directory_.File("textres.bin"), "text");
  EXPECT_EQ(Probe("exit", ""), "text\nUnresolved Error code: 42 ResId: 42\n");
}

}  // namespace
}  // namespace tmx
