// The macros under macros/ compile without a message, survive the disassembler and pass the
// verifier.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "compiler/compiler.h"
#include "compiler/disassembler.h"
#include "compiler/parser.h"
#include "compiler/verifier.h"

namespace tmx::compiler {
namespace {

namespace fs = std::filesystem;

// By file name; "general" comes first for the verifier.
std::vector<Source> ShippedSources() {
  std::map<std::string, std::string> found;
  for (const auto& entry : fs::directory_iterator(TMX_SOURCE_DIR "/macros")) {
    if (entry.path().extension() != ".hbm") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    found[entry.path().stem().string()] = {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<Source> sources;
  if (const auto general = found.extract("general"))
    sources.emplace_back("general.hbm", general.mapped());
  for (const auto& [name, text] : found) sources.emplace_back(name + ".hbm", text);
  return sources;
}

std::vector<MacroImage> CompileShipped(bool debug_marks) {
  const std::vector<Source> sources = ShippedSources();
  Signatures all;
  for (const Source& source : sources) {
    Diagnostics ignored;
    all.merge(SignaturesOf(Parse(source, ignored)));
  }
  std::vector<MacroImage> images;
  for (const Source& source : sources) {
    Compiled compiled = Compile(source, {debug_marks, &all});
    EXPECT_EQ(compiled.diagnostics.Render(source), "");
    images.push_back(std::move(compiled.image));
  }
  return images;
}

TEST(ShippedMacros, CompileDumpCompileGivesTheSameBytes) {
  for (const bool debug_marks : {true, false}) {
    const std::vector<MacroImage> images = CompileShipped(debug_marks);
    EXPECT_FALSE(images.empty());
    for (const MacroImage& image : images) {
      const Disassembly disassembly = Disassemble(image);
      EXPECT_THAT(disassembly.problems, ::testing::IsEmpty());
      const Compiled again = Compile(Source("again.hbm", disassembly.source));
      EXPECT_TRUE(again.image.index == image.index);
      EXPECT_TRUE(again.image.code == image.code);
    }
  }
}

TEST(ShippedMacros, PassTheVerifier) {
  std::vector<CheckedFile> files;
  for (const MacroImage& image : CompileShipped(true))
    files.push_back({"file" + std::to_string(files.size()), image.index, image.code});
  const Verification verification = Verify(files);
  std::string findings;
  for (const Finding& finding : verification.findings) findings += Describe(finding) + '\n';
  EXPECT_TRUE(verification.Accepted()) << findings;
}

}  // namespace
}  // namespace tmx::compiler
