// Every message of the compiler, with its place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/compiler/compile_and_run.h"

namespace tmx::compiler {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct Case {
  const char* line;
  const char* message;
};

std::ostream& operator<<(std::ostream& out, const Case& test) { return out << test.line; }

std::string Variables() {
  return "  local string s\n  local int i\n  local long l\n  local date d\n  local amount a\n"
         "  local bool b\n  declare time t\n";
}

// The messages of one line among variables of every type; its number is 9.
std::string MessagesOfLine(const std::string& line) {
  std::string uses;
  for (const char* name : {"s", "i", "l", "d", "a", "b", "t"})
    uses += std::string("  is_null ") + name + "\n";
  return MessagesOf("sub Main\n" + Variables() + line + "\n" + uses + "end\n");
}

class StatementErrors : public ::testing::TestWithParam<Case> {};

TEST_P(StatementErrors, AreReportedInTheirPlace) {
  EXPECT_EQ(MessagesOfLine(GetParam().line), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Words, StatementErrors,
    ::testing::Values(
        Case{"s = 'a",
             "9:5 error: a character stands between single quotes, like ';'\n"
             "9:5 error: operand 'value' must be of type string, found a character\n"},
        Case{"s = '",
             "9:5 error: a character stands between single quotes, like ';'\n"
             "9:5 error: operand 'value' must be of type string, found a character\n"},
        Case{"s = \"a", "9:5 error: text without closing quote\n"},
        Case{"s = \"\\x4g\"",
             "9:6 error: unknown escape; known are \\n \\r \\t \\\\ \\\" \\' and \\xNN\n"},
        Case{"s = \"\\xg\"",
             "9:6 error: unknown escape; known are \\n \\r \\t \\\\ \\\" \\' and \\xNN\n"},
        Case{"i = 12ab", "9:5 error: malformed number\n"},
        Case{"i = 0x", "9:5 error: malformed number\n"},
        Case{"d = 1.2", "9:5 error: malformed date; write day.month.year\n"},
        Case{"d = 1.2.3.4.5", "9:5 error: malformed date; write day.month.year\n"},
        Case{"d = 1.2.30000", "9:5 error: malformed date; write day.month.year\n"},
        Case{"is_null $",
             "9:9 error: expected an id like $33\n9:9 error: no variable has the id $0\n"},
        Case{"raw 1 2 3\ngoto @5",
             "10:6 error: expected a label; offsets stand in verbatim sources only\n"},
        Case{"i = ?", "9:5 error: unexpected character\n9:6 error: expected an operand\n"},
        Case{"; i = 1", "9:1 error: unexpected character\n"},
        Case{"if i = 1 && \xE4 l = 1\nend",
             "9:10 error: unexpected character\n9:13 error: unexpected character\n"
             "9:15 error: expected the end of the line\n"}));

INSTANTIATE_TEST_SUITE_P(
    Statements, StatementErrors,
    ::testing::Values(Case{"nonsense", "9:1 error: unknown statement 'nonsense'\n"},
                      Case{"12", "9:1 error: expected a statement\n"},
                      Case{"s = ", "9:5 error: expected an operand\n"},
                      Case{"value = 1", "9:1 error: 'value' is a reserved word\n"},
                      Case{"s = value", "9:5 error: 'value' is a reserved word\n"},
                      Case{"unknown = 1", "9:1 error: unknown variable 'unknown'\n"},
                      Case{"i = - s", "9:7 error: expected a number\n"},
                      Case{"i = 1 2", "9:7 error: expected the end of the line\n"},
                      Case{"clear[", "9:7 error: expected a count\n"},
                      Case{"clear[256]", "9:7 error: a count is at most 255\n"},
                      Case{"clear[1", "9:8 error: expected ']'\n"},
                      Case{"raw 256", "9:5 error: a byte is at most 255\n"},
                      Case{"raw 'a'", "9:5 error: expected the end of the line\n"},
                      Case{"call X(i", "9:9 error: expected ')'\n"},
                      Case{"call 5", "9:6 error: expected a text, found a number\n"},
                      Case{"call X('a')",
                           "9:8 error: operand 'arguments' must be a value that a call can push, "
                           "found the char literal\n"},
                      Case{"call X(time)",
                           "9:8 error: operand 'arguments' must be a variable or a literal, found "
                           "the type 'time'\n"},
                      Case{"break", "9:1 error: 'break' outside a loop\n"},
                      Case{"continue", "9:1 error: 'continue' outside a loop\n"},
                      Case{"local string", "9:13 error: expected the name of a variable\n"},
                      Case{"static int n", "9:13 error: expected 'key' and its value\n"},
                      Case{"static int n key -1",
                           "9:18 error: a key is a number from 0 to 4294967295\n"
                           "9:12 warning: 'n' is never used\n"},
                      Case{"local char c", "9:7 error: expected the type of a variable\n"},
                      Case{"local int date", "9:11 error: 'date' is a reserved word\n"},
                      Case{"local int n = s",
                           "9:15 error: a default is a literal, found 's'\n"
                           "9:11 warning: 'n' is never used\n"},
                      Case{"local int n = 99999",
                           "9:15 error: the number does not fit 16 bits\n"
                           "9:11 warning: 'n' is never used\n"},
                      Case{"local string n = \"\\x00\"",
                           "9:18 error: a text may not hold the byte \\x00, which ends it\n"
                           "9:14 warning: 'n' is never used\n"}));

INSTANTIATE_TEST_SUITE_P(
    Operands, StatementErrors,
    ::testing::Values(
        Case{"write_int s", "9:11 error: operand 'value' must be of type int, found 's'\n"},
        Case{"write_int long 5",
             "9:11 error: operand 'value' must be of type int, found the long "
             "literal\n"},
        Case{"write_int int \"x\"", "9:11 error: expected a number, found the int literal\n"},
        Case{"write_string string 5", "9:14 error: expected a text, found the string literal\n"},
        Case{"write_date date 5", "9:12 error: the date literal has no such type\n"},
        Case{"write_date time 5",
             "9:12 error: operand 'date' must be of type date, found the time "
             "literal\n"},
        Case{"write_int @5",
             "9:11 error: operand 'value' must be a variable or a literal, found an "
             "offset\n"},
        Case{"write_string s, 5, s",
             "9:20 error: operand 'fill' must be a character like ';', "
             "found 's'\n"},
        Case{"write_string s, 5, ';', bool 256", "9:25 error: a bool is one byte\n"},
        Case{"receive_string b",
             "9:16 error: operand 'value' must be a value with a text form, "
             "found 'b'\n"},
        Case{"receive_string true",
             "9:16 error: operand 'value' must be a value with a text form, "
             "found a bool\n"},
        Case{"is_null 5", "9:9 error: expected a variable, found a number\n"},
        Case{"is_null $99", "9:9 error: no variable has the id $99\n"},
        Case{"is_null none", "9:9 error: unknown variable 'none'\n"},
        Case{"read_string $34", "9:13 error: operand 'target' must be of type string, found $34\n"},
        Case{"goto 1.2.2003", "9:6 error: expected a label, found a date\n"},
        Case{"goto nowhere", "9:6 error: unknown label 'nowhere'\n"},
        Case{"if_goto 'x', here\nhere:",
             "9:9 error: operand 'negate' must be a bool, found a character\n"},
        Case{"compare \"x\", '=', s, s", "9:9 error: expected a type, found a text\n"},
        Case{"compare string, 5, s, s",
             "9:17 error: operand 'operator' must be a character like "
             "'+', found a number\n"},
        Case{"local int, i", "9:12 error: expected an id like $33\n"},
        Case{"local int, $39", "9:12 error: ids are declared in order; the next one is $40\n"},
        Case{"local int, $40, i", "9:17 error: operand 'default' must be a literal, found 'i'\n"},
        Case{"param string, $33", ""},
        Case{"line 70000", "9:6 error: a line number is at most 65535\n"}));

INSTANTIATE_TEST_SUITE_P(
    Conditions, StatementErrors,
    ::testing::Values(
        Case{"if\nend", "9:3 error: expected an operand\n"},
        Case{"if s\nend", "9:5 error: expected one of = < > != <= >=\n"},
        Case{"if (s = s\nend", "9:10 error: expected ')'\n"},
        Case{"if s = none\nend", "9:8 error: unknown variable 'none'\n"},
        Case{"if none = s\nend", "9:4 error: unknown variable 'none'\n"},
        Case{"if b < true\nend", "9:4 error: bools compare with = and != only\n"},
        Case{"if i = l\nend", "9:8 error: operand 'right' must be of type int, found 'l'\n"},
        Case{"if 5 = s\nend", "9:4 error: operand 'left' must be of type string, found a number\n"},
        Case{"while i < 5 clear\nend", "9:13 error: expected the end of the line\n"},
        Case{"loop 5\nend", "9:6 error: expected the end of the line\n"},
        Case{"else", "9:1 error: 'else' without 'if'\n"},
        Case{"loop\nelif i = 1\nend", "10:1 error: 'elif' without 'if'\n"}));

INSTANTIATE_TEST_SUITE_P(
    Assignments, StatementErrors,
    ::testing::Values(
        Case{"s = s * \"x\"", "9:1 error: variables of type string have no operator '*'\n"},
        Case{"b = b + true", "9:1 error: variables of type bool have no operator '+'\n"},
        Case{"t = t", ""},
        Case{"a = a * i", "9:9 error: operand 'right' must be of type long, found 'i'\n"},
        Case{"l = i + 1", "9:5 error: operand 'left' must be of type long, found 'i'\n"},
        Case{"d = d + 1 - 2", ""}, Case{"l = d - d", ""}, Case{"i = d - d", ""}, Case{"s = a", ""},
        Case{"a = \"1,00\"", ""}));

TEST(FileErrors, WhatStandsOutsideSubroutines) {
  EXPECT_EQ(MessagesOf("clear\n"), "1:1 error: expected 'sub'\n");
  EXPECT_EQ(MessagesOf("magic 5\n"),
            "1:7 error: expected the first bytes of the code file as a text\n");
  EXPECT_EQ(MessagesOf("entry 5\n"), "1:7 error: expected the name of an index entry as a text\n");
  EXPECT_EQ(MessagesOf("entry \"a\"\n"), "1:10 error: expected ','\n");
  EXPECT_EQ(MessagesOf("entry \"a\", 4294967296, 0\n"),
            "1:12 error: an offset is at most 4294967295\n");
  EXPECT_EQ(MessagesOf("entry \"a\", 4, 65536\n"), "1:15 error: a length is at most 65535\n");
  EXPECT_EQ(MessagesOf("entry \"a\", 4, 5, 65536\n"),
            "1:18 error: a reserved value is at most 65535\n");
  EXPECT_EQ(MessagesOf("entry \"a\\x00\", 4, 5\n"),
            "1:1 error: a name may not hold the byte \\x00, which ends it\n");
}

TEST(FileErrors, SubroutinesWithoutANameDoNotStandTwice) {
  EXPECT_EQ(MessagesOf("sub 5\nend\nsub\nend\n"),
            "1:5 error: expected the name of a subroutine\n"
            "3:4 error: expected the name of a subroutine\n");
}

TEST(FileErrors, OffsetsInVerbatimSources) {
  EXPECT_EQ(MessagesOf("verbatim\nsub A\n  goto @65536\nend\n"),
            "3:8 error: an offset is at most 65535\n");
  EXPECT_EQ(MessagesOf("verbatim\nsub A\n  goto @\nend\n"),
            "3:8 error: expected an offset like @120\n");
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  goto @65535\nend\n"), IsEmpty());
}

TEST(FileErrors, SourcesInUtf8AreTold) {
  EXPECT_EQ(MessagesOf("\xEF\xBB\xBFsub A\nend\n"),
            "1:1 error: the source begins with a mark of UTF-8; sources are ISO 8859-1\n");
  const auto of_text = [](const std::string& text) {
    return MessagesOf("sub A\n  write_string \"" + text + "\"\n  write_string \"" + text +
                      "\"\nend\n");
  };
  for (const char* utf8 : {"\xC3\xA4", "x\xE2\x82\xACy", "\xF0\x9F\x92\xB6"})
    EXPECT_EQ(of_text(utf8), "2:16 warning: the text looks like UTF-8; sources are ISO 8859-1\n")
        << "told once for the source";
  for (const char* latin1 : {"\xE4", "\xE4\xF6", "\xC3\xA4\xE4", "\xC3", "\xE2\x82", "\xFF\x80",
                             "\xC1\x80", "\\xC3\\xA4", "plain"})
    EXPECT_THAT(of_text(latin1), IsEmpty());
}

TEST(FileErrors, AmountsThatWouldBecomeOtherOnes) {
  const auto of = [](const std::string& amount, const std::string& before = "") {
    return MessagesOf(before + "sub A\n  local amount a = \"" + amount +
                      "\"\n  set amount, $33, \"" + amount + "\"\n  is_null $33\n  exit\nend\n");
  };
  const char* unusual[] = {"1.50", "x", "-", ",", "1,2,3", "1 ", "+1", ".500", "1.0000", "1,5.0"};
  for (const char* amount : unusual)
    EXPECT_THAT(of(amount),
                HasSubstr("2:20 error: an amount is written like \"-1234,56\" or \"1.234,56\"\n"
                          "3:20 error: an amount is"))
        << amount;
  for (const char* amount : {"", "0", "1,50", "-1,5", "1.234,56", "-1.234.567", ",5", "5,"})
    EXPECT_THAT(of(amount), Not(HasSubstr("error"))) << amount;
  for (const char* amount : unusual)
    EXPECT_THAT(MessagesOf("verbatim\nsub A\n  local amount, $33, \"" + std::string(amount) +
                           "\"\n  exit\nend\n"),
                IsEmpty());
}

TEST(FileErrors, DatesThatAreNone) {
  const auto of = [](const std::string& date) {
    return MessagesOf("sub A\n  write_date " + date + "\nend\n");
  };
  for (const char* date : {"32.1.2024", "1.13.2024", "0.1.2024", "1.0.2024"})
    EXPECT_EQ(of(date), "2:14 error: no date has this day or month\n") << date;
  for (const char* date : {"30.2.2024", "31.12.2024", "0.0.0"})
    EXPECT_THAT(of(date), IsEmpty()) << date;
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  write_date 99.99.9999\n  exit\nend\n"), IsEmpty());
}

TEST(FileErrors, AssignmentsOfOtherLanguages) {
  EXPECT_EQ(MessagesOfLine("i += 1"),
            "9:1 error: unknown statement 'i'; variables are set by 'name = ...'\n");
}

TEST(Diagnostics, OfManyLinesShowTheirOwnLine) {
  const int kLines = 50000;
  std::string text = "sub A\n";
  for (int i = 0; i < kLines; ++i) text += "foo\n";
  const Source source("a.hbm", text + "end\n");
  const Compiled compiled = Compile(source);
  const std::string all = compiled.diagnostics.Render(source);
  EXPECT_THAT(all, ::testing::EndsWith("a.hbm:50001:1: error: unknown statement 'foo'\nfoo\n^\n"));
}

TEST(FileErrors, HeadsOfSubroutines) {
  EXPECT_EQ(MessagesOf("sub\nend\n"), "1:4 error: expected the name of a subroutine\n");
  EXPECT_EQ(MessagesOf("sub A(\nend\n"),
            "2:1 error: expected the type of a variable\n"
            "3:1 error: expected 'end' of the 'sub' in line 1\n");
  EXPECT_EQ(MessagesOf("sub A(int 5)\nend\n"), "1:11 error: expected the name of a variable\n");
  EXPECT_EQ(MessagesOf("sub A other\nend\n"), "1:7 error: expected 'reserved' or 'unlisted'\n");
  EXPECT_EQ(MessagesOf("sub A reserved 70000\nend\n"),
            "1:16 error: a reserved value is at most 65535\n");
  EXPECT_EQ(MessagesOf("sub A\nend\nsub A\nend\n"),
            "3:5 error: 'A' stands already in line 1, which calls find first\n");
  EXPECT_EQ(MessagesOf("verbatim\nsub A\n  exit\nend\nsub A\n  exit\nend\n"),
            "5:5 warning: 'A' stands already in line 2, which calls find first\n");
}

TEST(FileErrors, ValueNeedsAVariableOfTheCompilersOwn) {
  EXPECT_EQ(MessagesOf("verbatim\nsub A\n  local int n\n  call A(value n)\n  exit\nend\n"),
            "4:16 error: 'value' needs a variable that verbatim sources lack\n");
  EXPECT_THAT(MessagesOf("sub A\n  call B(value 5)\nend\n"), IsEmpty());
}

TEST(FileErrors, VerbatimSourcesMayNameAnyId) {
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  is_null $65535\n  local int, $99\n  exit\nend\n"),
              IsEmpty());
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  write_int $31\n  write_int $32768\n  exit\nend\n"),
              testing::AllOf(HasSubstr("3:13 error: $31 is no variable's tag"),
                             HasSubstr("4:13 error: $32768 is no variable's tag")));
}

TEST(FileErrors, ALineThatTheSourceDoesNotHaveIsEmpty) {
  EXPECT_EQ(Source("x", "one\ntwo").Line(3), "");
  EXPECT_EQ(Source("x", "one\r\ntwo").Line(1), "one");
}

}  // namespace
}  // namespace tmx::compiler
