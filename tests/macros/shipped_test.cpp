// What holds for every shipped source.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "compiler/disassembler.h"
#include "compiler/parser.h"
#include "tests/macros/shipped.h"

namespace tmx::test {
namespace {

using compiler::CheckedFile;
using compiler::EntryPoint;

TEST(Shipped, GeneralAndAnswerAreThere) {
  std::vector<std::string> names;
  for (const ShippedSource& source : AllShipped()) names.push_back(source.Name());
  EXPECT_THAT(names, testing::IsSupersetOf({"general", "answer"}));
}

// What the sources may call of each other.
compiler::Signatures AllSignatures() {
  compiler::Signatures known;
  for (const ShippedSource& source : AllShipped()) {
    const compiler::Source text(source.path, source.text);
    compiler::Diagnostics diagnostics;
    known.merge(compiler::SignaturesOf(compiler::Parse(text, diagnostics)));
  }
  return known;
}

// Build expects no diagnostics at all, here with the calls into the other files checked.
TEST(Shipped, EverySourceCompilesWithoutWarnings) {
  const compiler::Signatures known = AllSignatures();
  for (const ShippedSource& source : AllShipped())
    EXPECT_FALSE(Build(source, &known).code->empty());
}

// The verifier warns of every read_amount. The one that the sources have gets no signs.
bool IsExpected(const compiler::Finding& finding) {
  return finding.kind == compiler::Finding::Kind::kWarning && finding.subroutine == "TakeAmount";
}

void ExpectClean(const std::vector<CheckedFile>& files, const std::vector<EntryPoint>& entries) {
  const compiler::Verification verification = compiler::Verify(files, entries);
  EXPECT_TRUE(verification.Accepted());
  for (const compiler::Finding& finding : verification.findings)
    EXPECT_TRUE(IsExpected(finding)) << compiler::Describe(finding);
}

TEST(Shipped, EverySourceIsCleanForTheVerifier) {
  const compiler::Signatures known = AllSignatures();
  std::vector<CheckedFile> files;
  for (const ShippedSource& source : AllShipped()) {
    const MacroImage image = Build(source, &known);
    // What no other file has is looked for in "general".
    files.insert(source.Name() == "general" ? files.begin() : files.end(),
                 {image.name, image.index, image.code});
  }
  std::vector<EntryPoint> entries;
  for (const auto& [name, types] : known) entries.push_back({name, types});
  ExpectClean(files, entries);
  ExpectClean(files, {});
}

TEST(Shipped, CompilingWhatTheDisassemblerWritesGivesTheSameBytes) {
  for (const ShippedSource& source : AllShipped()) {
    const MacroImage image = Build(source);
    const compiler::Disassembly dump = compiler::Disassemble({*image.index, *image.code});
    EXPECT_THAT(dump.problems, testing::IsEmpty()) << source.path;
    const MacroImage again = Build({source.path, dump.source});
    EXPECT_TRUE(again.index == image.index) << source.path;
    EXPECT_TRUE(again.code == image.code) << source.path;
  }
}

}  // namespace
}  // namespace tmx::test
