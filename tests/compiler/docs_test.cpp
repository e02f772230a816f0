// docs/macro-language.md says what is true.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "compiler/command_table.h"
#include "tests/compiler/compile_and_run.h"

namespace tmx::compiler {
namespace {

std::string Document() {
  std::ifstream file(TMX_SOURCE_DIR "/docs/macro-language.md", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The code blocks of the language in a document.
std::vector<std::string> Examples(const std::string& document) {
  std::vector<std::string> examples;
  const std::string open = "```hbm\n";
  for (std::size_t at = document.find(open); at != std::string::npos;
       at = document.find(open, at)) {
    at += open.size();
    examples.push_back(document.substr(at, document.find("```", at) - at));
  }
  return examples;
}

TEST(MacroLanguageDocument, TableOfCommandsIsUpToDate) {
  const auto renewed = WithCommandTable(Document());
  ASSERT_TRUE(renewed);
  EXPECT_TRUE(*renewed == Document()) << "run ./dev docs";
}

TEST(MacroLanguageDocument, ExamplesCompileWithoutAMessage) {
  const auto examples = Examples(Document());
  EXPECT_GT(examples.size(), 4U);
  for (const std::string& example : examples) EXPECT_EQ(MessagesOf(example), "") << example;
}

TEST(MacroLanguageDocument, FirstExampleDoesWhatTheTextSays) {
  const std::string example = Examples(Document()).at(0);
  EXPECT_EQ(OutputOf(example, "Balance", {{1, false, "HISAL+1234,56+"}}), "balance 1234,56");
  EXPECT_EQ(OutputOf(example, "Balance", {{1, false, "HIKAZ+x+"}}), "no balance");
}

TEST(CommandTable, ShowsWhatMayBeLeftOut) {
  const std::string table = CommandTable();
  EXPECT_THAT(table,
              ::testing::HasSubstr(
                  "| `read_string string& target [, int length [, char stop]]` | 14 | 1–3 |"));
  EXPECT_THAT(table, ::testing::HasSubstr("| `eat_leading [char character]` | 55 | 0–1 |"));
  EXPECT_THAT(table,
              ::testing::HasSubstr(
                  "| `search string pattern [, int mode [, int& column, int& line]]` | 57 |"));
  EXPECT_THAT(table, ::testing::HasSubstr("| `call name(arguments)` | 32 | 1 + arguments |"));
  EXPECT_THAT(table, ::testing::HasSubstr("| `if_goto [not] label` | 31 | any |"));
  EXPECT_THAT(table, ::testing::HasSubstr("| `exit` | 17 | any |"));
}

TEST(CommandTable, NeedsItsMarks) {
  EXPECT_FALSE(WithCommandTable("no marks"));
  EXPECT_EQ(WithCommandTable("a\n<!-- commands -->\nold\n<!-- end -->\nz"),
            "a\n<!-- commands -->\n" + CommandTable() + "<!-- end -->\nz");
}

}  // namespace
}  // namespace tmx::compiler
