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

TEST(MacroLanguageDocument, SumsUpWhatTheTextSays) {
  for (const std::string& example : Examples(Document()))
    if (example.find("sub Total(") != std::string::npos) {
      EXPECT_EQ(OutputOf(example, "Total", {{1, false, "1,50;20,25;3,00"}, {2, false, "20031224"}}),
                "3 items, 24,75 on 24.12.2003");
      return;
    }
  ADD_FAILURE() << "the example is missing";
}

// What a command does where the input is over.
std::string AtTheEnd(const std::string& command) {
  return OutputOf(
      "sub Main\n  local string s = \"old\"\n  local int i = 7\n  local long l = 7\n"
      "  local date d = 24.12.2003\n  local amount a = \"7,00\"\n  receive_string \"\"\n  " +
      command +
      "\n  if success\n    write_string \"good \"\n  else\n    write_string \"failed \"\n  end\n"
      "  write_string s\n  write_int i\n  write_long l\n  write_date d\n  write_amount a\nend\n");
}

TEST(MacroLanguageDocument, CommandsAtTheEndOfTheInput) {
  EXPECT_EQ(AtTheEnd("read_amount a"), "failed old77241220037,00");
  EXPECT_EQ(AtTheEnd("read_int i"), "failed old07241220037,00");
  EXPECT_EQ(AtTheEnd("read_string s"), "good 77241220037,00");
  EXPECT_EQ(AtTheEnd("read_append s"), "good old77241220037,00");
  EXPECT_EQ(AtTheEnd("read_long l"), "good old70241220037,00");
  EXPECT_EQ(AtTheEnd("read_date d, \"d.m.yy\""), "good old77241220037,00");
}

TEST(MacroLanguageDocument, WhatFormatsAndFieldsMakeOfValues) {
  const auto written = [](const std::string& statements) {
    return OutputOf("sub Main\n  local amount a = \"12,5\"\n  local amount b = \"-12,50\"\n" +
                    statements + "end\n");
  };
  EXPECT_EQ(written("  write_amount a\n  write_amount b\n  write_string b\n"), "1,25-12,-50-12,50");
  EXPECT_EQ(written("  b = \"0,00\" + a\n  write_string b\n"), "12,50");
  EXPECT_EQ(written("  write_int 42, 5, '0', right\n  write_string b, 3, ' '\n"), "00042-12");
  EXPECT_EQ(written("  is_null a\n  is_null b\n  write_date 4.12.2003, \"d/m yy y\"\n"),
            "04/12 2003 03");
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
