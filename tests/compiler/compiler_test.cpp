// What compiled macros do on the engine, and what the compiler refuses.
#include "compiler/compiler.h"
#include "compiler/disassembler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "compiler/instruction.h"
#include "tests/compiler/compile_and_run.h"

namespace tmx::compiler {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string Main(const std::string& body) { return "sub Main\n" + body + "end\n"; }

// ---- blocks -----------------------------------------------------------------------------------

// Runs an `if` on the values of three ints and yields the branch that was taken.
std::string Branch(const std::string& condition, int a, int b, int c) {
  const std::string text = "sub Main(int a, int b, int c)\n  if " + condition +
                           "\n    write_string \"yes\"\n  else\n    write_string \"no\"\n  end\n"
                           "end\n";
  return OutputOf(text, "Main",
                  {{5, false, std::to_string(a)},
                   {5, false, std::to_string(b)},
                   {5, false, std::to_string(c)}});
}

TEST(Conditions, EveryCombinationOfAndOrNotAndParentheses) {
  struct Case {
    const char* text;
    bool (*holds)(bool, bool, bool);
  };
  const Case cases[] = {
      {"a = 1", [](bool a, bool, bool) { return a; }},
      {"not a = 1", [](bool a, bool, bool) { return !a; }},
      {"not not a = 1", [](bool a, bool, bool) { return a; }},
      {"a = 1 and b = 1", [](bool a, bool b, bool) { return a && b; }},
      {"a = 1 or b = 1", [](bool a, bool b, bool) { return a || b; }},
      {"not a = 1 and b = 1", [](bool a, bool b, bool) { return !a && b; }},
      {"not (a = 1 and b = 1)", [](bool a, bool b, bool) { return !(a && b); }},
      {"not (a = 1 or b = 1)", [](bool a, bool b, bool) { return !(a || b); }},
      {"a = 1 and b = 1 or c = 1", [](bool a, bool b, bool c) { return (a && b) || c; }},
      {"a = 1 or b = 1 and c = 1", [](bool a, bool b, bool c) { return a || (b && c); }},
      {"(a = 1 or b = 1) and c = 1", [](bool a, bool b, bool c) { return (a || b) && c; }},
      {"not (a = 1 or not (b = 1 and not c = 1))",
       [](bool a, bool b, bool c) { return !(a || !(b && !c)); }},
      {"a != 1 and (b != 1 or c != 1)", [](bool a, bool b, bool c) { return !a && (!b || !c); }},
  };
  for (const Case& test : cases)
    for (int bits = 0; bits < 8; ++bits) {
      const bool a = (bits & 1) != 0, b = (bits & 2) != 0, c = (bits & 4) != 0;
      EXPECT_EQ(Branch(test.text, a, b, c), test.holds(a, b, c) ? "yes" : "no")
          << test.text << ' ' << a << b << c;
    }
}

TEST(Conditions, EveryRelation) {
  const std::pair<const char*, const char*> cases[] = {
      {"a < b", "yes no no"},   {"a = b", "no yes no"},   {"a > b", "no no yes"},
      {"a != b", "yes no yes"}, {"a <= b", "yes yes no"}, {"a >= b", "no yes yes"}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(Branch(text, 1, 2, 0) + ' ' + Branch(text, 2, 2, 0) + ' ' + Branch(text, 3, 2, 0),
              expected)
        << text;
}

TEST(Conditions, LiteralsTakeTheTypeOfTheVariable) {
  EXPECT_EQ(
      OutputOf(Main("  local amount a = \"1,50\"\n  local long l = 70000\n"
                    "  local string s = \"x\"\n  local date d = 1.2.2003\n"
                    "  local bool b = true\n"
                    "  if a = \"1,50\" and l > 5 and \"X\" = s and 1.2.2003 = d and b = true\n"
                    "    write_string \"all\"\n  end\n")),
      "all");
}

TEST(Conditions, TestsAndTheFlagItself) {
  EXPECT_EQ(OutputOf(Main("  local string s\n  if is_null s\n    write_string \"null \"\n  end\n"
                          "  s = \"x\"\n  is_null s\n"
                          "  if condition\n    write_string \"wrong\"\n  end\n"
                          "  receive_string \"abc\"\n"
                          "  if not search \"z\"\n    write_string \"none \"\n  end\n"
                          "  if search \"B\", 1\n    write_string \"found \"\n  end\n"
                          "  if success\n    write_string \"well\"\n  end\n")),
            "null none found well");
}

// The engine's own negated jump inverts the condition for good; blocks leave it alone.
TEST(Conditions, BlocksLeaveTheConditionAsTheTestSetIt) {
  const std::string text =
      "sub Main(int a)\n  if not a = 1\n    write_string \"n\"\n  end\n"
      "  if condition\n    write_string \"c\"\n  end\n"
      "  while not condition\n    a = a + 1\n    compare int, '=', a, 1\n"
      "    write_string \"w\"\n  end\nend\n";
  EXPECT_EQ(OutputOf(text, "Main", {{5, false, "1"}}), "c");
  EXPECT_EQ(OutputOf(text, "Main", {{5, false, "0"}}), "nw");
}

TEST(Conditions, NegatedIfGotoInvertsTheCondition) {
  EXPECT_EQ(OutputOf(Main("  local int a = 1\n  compare int, '=', a, 1\n  if_goto not there\n"
                          "  if not condition\n    write_string \"inverted\"\n  end\nthere:\n")),
            "inverted");
}

TEST(Blocks, ElifAndElse) {
  const std::string text =
      "sub Main(int a)\n  if a = 1\n    write_string \"one\"\n  elif a = 2\n"
      "    write_string \"two\"\n  elif a = 3\n    write_string \"three\"\n  else\n"
      "    write_string \"many\"\n  end\n  write_string \".\"\nend\n";
  const char* expected[] = {"many.", "one.", "two.", "three.", "many."};
  for (int a = 0; a < 5; ++a)
    EXPECT_EQ(OutputOf(text, "Main", {{5, false, std::to_string(a)}}), expected[a]);
}

TEST(Blocks, WhileLoopBreakAndContinue) {
  EXPECT_EQ(OutputOf(Main("  local int n\n  while n < 10\n    n = n + 1\n    if n = 3\n"
                          "      continue\n    elif n = 6\n      break\n    end\n"
                          "    write_int n\n  end\n  loop\n    n = n - 1\n    if n < 4\n"
                          "      break\n    end\n    if n = 4\n      continue\n    end\n"
                          "    write_int n\n  end\n")),
            "12455");
}

TEST(Blocks, NestedLoops) {
  EXPECT_EQ(OutputOf(Main("  local int i\n  local int j\n  while i < 3\n    j = 0\n    loop\n"
                          "      if j = i\n        break\n      end\n      j = j + 1\n"
                          "      write_int j\n    end\n    write_string \";\"\n    i = i + 1\n"
                          "  end\n")),
            ";1;12;");
}

TEST(Blocks, GotoAndLabels) {
  EXPECT_EQ(OutputOf(Main("  local int n\nagain:\n  n = n + 1\n  write_int n\n"
                          "  compare int, '<', n, 3\n  if_goto again\n  goto out\n"
                          "  write_string \"never\"\nout:\n")),
            "123");
}

TEST(Blocks, ReturnAndStop) {
  EXPECT_EQ(OutputOf("sub Main\n  call A\n  call B\n  if success\n    write_string \"no\"\n"
                     "  else\n    write_string \"stopped\"\n  end\n  return\n"
                     "  write_string \"never\"\nend\n"
                     "sub A\n  write_string \"A\"\n  return\n  write_string \"never\"\nend\n"
                     "sub B\n  stop\nend\n"),
            "Astopped");
}

// ---- variables --------------------------------------------------------------------------------

TEST(Variables, DefaultsOfEveryType) {
  EXPECT_EQ(OutputOf(Main("  local string s = \"t\"\n  local date d = 24.12.2003\n"
                          "  local int i = -5\n  local long l = 70000\n"
                          "  local amount a = \"12,34\"\n  local bool b = true\n"
                          "  write_string s\n  write_date d\n  write_int i\n  write_long l\n"
                          "  write_amount a\n  if b = true\n    write_string \"!\"\n  end\n")),
            "t24122003-57000012,34!");
}

TEST(Variables, DefaultsOfParametersOverwriteWhatTheCallerPassed) {
  EXPECT_EQ(OutputOf("sub Main\n  call A(\"passed\")\nend\n"
                     "sub A(string s = \"default\")\n  write_string s\nend\n"),
            "default");
}

TEST(Variables, StaticsKeepTheirValueFromCallToCall) {
  EXPECT_EQ(OutputOf("sub Main\n  call A\n  call A\n  call B\nend\n"
                     "sub A\n  static int n key 7\n  n = n + 1\n  write_int n\nend\n"
                     "sub B\n  local int x\n  static int other key 7\n  write_int other\n"
                     "  is_null x\nend\n"),
            "122");
}

TEST(Variables, OperatorsOfEveryType) {
  EXPECT_EQ(OutputOf(Main(
                "  local string s = \"a\"\n  local date d = 28.2.2004\n  local int i = 7\n"
                "  local long l = 7\n  local amount a = \"1,00\"\n"
                "  s = s + \"b\"\n  write_string s\n  s = \"x\" + \"y\"\n  write_string s\n"
                "  d = d + 2\n  write_date d, \"d.m.y \"\n  d = d - 1\n  write_date d, \"d.m.y \"\n"
                "  i = i + 5 - 2 * 3\n  write_int i\n  i = i / 4\n  write_int i\n  i = i % 4\n"
                "  write_int i\n  i = d - 1.2.2004\n  write_int i\n"
                "  l = l * 100000\n  write_long l\n  l = d - 1.2.2004\n  write_long l\n"
                "  a = a + \"0,50\" - \"0,25\"\n  write_amount a\n  a = a * 2\n"
                "  write_amount a\n")),
            "abxy01.03.04 29.02.04 307328700000281,252,50");
}

TEST(Variables, AChainMayReadItsTargetOnlyFirst) {
  EXPECT_THAT(MessagesOf(Main("  local int a\n  local int b\n  a = b + a + a\n  b = a + b\n")),
              HasSubstr("4:15 error: 'a' has changed before it is read here"));
}

TEST(Variables, DebugMarksNameThem) {
  const MacroImage image = CompileOrFail("sub Main(string text)\n  clear\nend\n");
  EXPECT_THAT(image.code, AllOf(HasSubstr("test.hbm"), HasSubstr("text")));
  const MacroImage bare = CompileOrFail("sub Main(string text)\n  clear\nend\n", {false, nullptr});
  EXPECT_EQ(bare.code, std::string("JHOG\x01\x02\x01\x00\x21\x0a\x00\x11\x00", 13));
}

TEST(Variables, FileNameMarkLeavesTheDirectoryOut) {
  const Compiled compiled = Compile(Source("/a/b\\c.hbm", "sub S\nend\n"));
  EXPECT_EQ(compiled.image.code.substr(4, 8), std::string("\xa0\x01"
                                                          "c.hbm\0",
                                                          8));
}

// ---- calls ------------------------------------------------------------------------------------

TEST(Calls, VariablesByReferenceLiteralsByValue) {
  EXPECT_EQ(OutputOf("sub Main\n  local string s = \"a\"\n  local int n = 1\n  call Change(s, n)\n"
                     "  write_string s\n  write_int n\n  call Change(value s, value n)\n"
                     "  write_string s\n  write_int n\n  call Change(\"lit\", 5)\nend\n"
                     "sub Change(string s, int n)\n  s = s + \"!\"\n  n = n + 1\n"
                     "  write_string s\nend\n"),
            "a!a!2a!!a!2lit!");
}

// An amount literal that is pushed arrives as a text; the compiler takes a local.
TEST(Calls, AmountLiteralsArriveAsAmounts) {
  EXPECT_EQ(OutputOf("sub Main\n  local amount a = \"5,00\"\n"
                     "  call Add(amount \"1,50\", \"2,25\", a, value a)\n  write_amount a\nend\n"
                     "sub Add(amount a, amount b, amount c, amount d)\n  c = a + b\n"
                     "  d = d + d\n  write_amount d\n  write_string \" \"\nend\n"),
            "10,00 3,75");
}

TEST(Calls, CopiesInsideARecursion) {
  EXPECT_EQ(OutputOf("sub Main\n  call Down(3)\nend\n"
                     "sub Down(int n)\n  if n = 0\n    return\n  end\n  write_int n\n"
                     "  local string unused\n  n = n - 1\n  call Down(value n)\n  write_int n\n"
                     "  is_null unused\nend\n"),
            "321012");
}

TEST(Calls, CallSubTakesTheNameFromAText) {
  EXPECT_EQ(OutputOf("sub Main\n  local string name = \"Oth\"\n  name = name + \"er\"\n"
                     "  call_sub name(\"x\")\n  call_sub \"Other\"(\"y\")\nend\n"
                     "sub Other(string s)\n  write_string s\nend\n"),
            "xy");
}

TEST(Calls, QuotedNames) {
  EXPECT_EQ(OutputOf("sub Main\n  call \"a b\"(\"x\")\nend\nsub \"a b\"(string s)\n"
                     "  write_string s\nend\n"),
            "x");
}

TEST(Calls, KnownParametersSayTheTypeOfLiterals) {
  EXPECT_EQ(OutputOf("sub Main\n  call A(5)\nend\nsub A(long l)\n  l = l * 100000\n"
                     "  write_long l\nend\n"),
            "500000");
}

TEST(Calls, ArgumentsAreCheckedAgainstKnownParameters) {
  EXPECT_THAT(
      MessagesOf("sub A\n  local int n\n  call B(n, 5)\nend\nsub B(string s, date d)\nend\n"),
      AllOf(HasSubstr("3:10 error: the parameter is of type string, found 'n'"),
            HasSubstr("3:13 error: the parameter is of type date, found a number")));
}

// ---- every command ----------------------------------------------------------------------------

std::string TextOf(const Operand& shape, bool variable) {
  switch (shape.kind) {
    case OperandKind::kRawType:
      return "string";
    case OperandKind::kRawOperator:
      return "'+'";
    case OperandKind::kRawBool:
      return "true";
    case OperandKind::kRawTarget:
      return "@0";
    case OperandKind::kRawLine:
    case OperandKind::kRawKey:
    case OperandKind::kRawNumber:
      return "9";
    case OperandKind::kRawId:
    case OperandKind::kVariable:
      return "$33";
    case OperandKind::kNewId:
      return "$44";
    case OperandKind::kRawString:
      return "\"name\"";
    case OperandKind::kDefault:
    case OperandKind::kAnyAttribute:
    case OperandKind::kTextList:
    case OperandKind::kOpLeft:
    case OperandKind::kOpRight:
      return variable && shape.kind != OperandKind::kDefault ? "$34" : "\"text\"";
    default:
      break;
  }
  if (variable && shape.type != TypeCode::kChar) return "$35";
  switch (shape.type) {
    case TypeCode::kDate:
      return "1.2.2003";
    case TypeCode::kInt:
    case TypeCode::kLong:
      return "-7";
    case TypeCode::kBool:
      return "false";
    case TypeCode::kChar:
      return "';'";
    default:
      return "\"text\"";
  }
}

// Every count of every command in both operand forms compiles to an instruction with that count.
TEST(Commands, EveryCountAndOperandForm) {
  int tried = 0;
  for (int number = 0; number < 256; ++number) {
    const Opcode* opcode = FindOpcode(number);
    if (opcode == nullptr) continue;
    for (int count = 0; count < 256; ++count) {
      if (!opcode->Accepts(count)) continue;
      if (opcode->IsVariadic() && count > 5) continue;
      for (const bool variable : {false, true}) {
        const bool variadic = opcode->IsVariadic() && count > 1;
        const int arguments = variadic ? count - 1 : 0;
        std::string line = std::string(opcode->mnemonic) + '[' + std::to_string(count) + ']';
        std::string separator = " ";
        const bool call = opcode->counted == Counted::kCall;
        for (int i = 0; i < opcode->OperandsPresent(count) - (variadic ? 1 : 0); ++i) {
          line += separator + TextOf(opcode->operands[static_cast<std::size_t>(i)], variable);
          separator = call ? "(" : ", ";
        }
        for (int i = 0; i < arguments; ++i) {
          line += (call && i == 0 ? "(" : ", ") + std::string(variable ? "$33" : "5");
          if (call && i + 1 == arguments) line += ")";
        }
        const MacroImage image = CompileOrFail("verbatim\nsub S\n  " + line + "\n  exit\nend\n");
        const auto instruction = DecodeInstruction(image.code, 4);
        ASSERT_TRUE(instruction) << line;
        EXPECT_EQ(instruction->opcode, opcode) << line;
        EXPECT_EQ(instruction->count, count) << line;
        EXPECT_EQ(instruction->end + 2, image.code.size()) << line;
        ++tried;
      }
    }
  }
  EXPECT_GT(tried, 2000);
}

TEST(Commands, CountsThatACommandDoesNotAccept) {
  for (int number = 0; number < 256; ++number) {
    const Opcode* opcode = FindOpcode(number);
    if (opcode == nullptr || opcode->counted != Counted::kChecked || opcode->max_count == 255)
      continue;
    const std::string line =
        std::string(opcode->mnemonic) + '[' + std::to_string(opcode->max_count + 1) + "] 1";
    EXPECT_THAT(MessagesOf("verbatim\nsub S\n  " + line + "\n  exit\nend\n"),
                HasSubstr("does not accept the count"))
        << line;
  }
}

TEST(Commands, FieldsOfSegmentsAreDeclaredByTheirIds) {
  const MacroImage image = CompileOrFail(
      "sub S()\n  response string Name field 2010\n  bpd int Shortest field 2830 of \"HIPINS\" "
      "version 1\n  needs Name\n  needs Name, \"PIN\", 3, true, 5, Shortest\n  goto_deg Name, "
      "2010, 100, Shortest\n  create_response \"HIXXX\"\n  commit_response\nend\n");
  const Disassembly disassembly = Disassemble(image);
  EXPECT_THAT(disassembly.problems, ::testing::IsEmpty());
  EXPECT_THAT(disassembly.source, HasSubstr("response string, $33:Name, 2010"));
  EXPECT_THAT(disassembly.source, HasSubstr("bpd int, $34:Shortest, 2830, \"HIPINS\", 1"));
  const Compiled again = Compile(Source("again.hbm", disassembly.source));
  EXPECT_TRUE(again.image.code == image.code);
  EXPECT_THAT(MessagesOf("sub S()\n  bpd int n field 2830 of \"X\"\nend\n"),
              HasSubstr("2:30 error: expected 'version' and its value"));
}

// ---- limits -----------------------------------------------------------------------------------

std::string Repeated(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

TEST(Limits, ASubroutineHasAtMost65535Bytes) {
  const std::string fits = "verbatim\nsub S\n  raw 0\n" + Repeated("  clear\n", 32767) + "end\n";
  EXPECT_EQ(CompileOrFail(fits).code.size(), 4 + 65535u);
  EXPECT_THAT(MessagesOf("verbatim\nsub S\n" + Repeated("  clear\n", 32768) + "end\n"),
              HasSubstr("2:5 error: 'S' has 65536 bytes, at most 65535 are possible"));
}

TEST(Limits, AnIndexHasAtMost65535Bytes) {
  // 20 bytes each and 15 for the last one.
  std::string text = "verbatim\n" + Repeated("entry \"elevenchars\", 4, 2\n", 3276);
  EXPECT_EQ(CompileOrFail(text + "entry \"sixsix\", 4, 2\n").index.size(), 65535u);
  EXPECT_THAT(MessagesOf(text + "entry \"sevense\", 4, 2\n"),
              HasSubstr("error: the index has 65536 bytes, at most 65535 are possible"));
}

TEST(Limits, ACallHasAtMost254Arguments) {
  const std::string arguments = Repeated("1, ", 253);
  EXPECT_THAT(MessagesOf(Main("  call X(" + arguments + "1)\n")), IsEmpty());
  EXPECT_THAT(MessagesOf(Main("  call X(" + arguments + "1, 1)\n")),
              HasSubstr("a call passes at most 254 arguments, not 255"));
}

TEST(Limits, LinesBeyond65535HaveNoMark) {
  const std::string text = "sub A\n" + Repeated("\n", 65600) + "  clear\nend\n";
  EXPECT_THAT(CompileOrFail(text).code, Not(HasSubstr("\xa1")));
}

// Reported for every instruction that ends so, and only for these.
TEST(Limits, ATextMayNotEndWithTheSubroutine) {
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  call B\nend\n"),
              HasSubstr("3:3 error: a text may not be the last thing in a subroutine"));
  EXPECT_THAT(MessagesOf("verbatim\nsub A\n  call B\n  raw 255\nend\n"), IsEmpty());
  EXPECT_THAT(MessagesOf("sub A\n  call B\nend\n"), IsEmpty());
}

TEST(Limits, TextsHoldNoZeroByte) {
  EXPECT_THAT(MessagesOf(Main("  write_string \"a\\x00\"\n")),
              HasSubstr("a text may not hold the byte \\x00"));
  EXPECT_THAT(MessagesOf("sub \"a\\x00\"\nend\n"), HasSubstr("a name may not hold the byte"));
}

TEST(Limits, DeepNestingIsRefused) {
  EXPECT_THAT(MessagesOf(Main(Repeated("  if 1 = 1\n", 300))), HasSubstr("nested too deeply"));
  EXPECT_THAT(MessagesOf(Main("  if " + Repeated("not ", 5000) + "1 = 1\n  end\n")),
              HasSubstr("nested too deeply"));
  EXPECT_THAT(MessagesOf(Main("  if " + Repeated("(", 5000) + "\n  end\n")),
              HasSubstr("nested too deeply"));
}

TEST(Limits, NumbersOfEverySize) {
  EXPECT_THAT(MessagesOf(Main("  local int a = 65535\n  local int b = -32768\n"
                              "  local long c = 4294967295\n  local long d = -2147483648\n"
                              "  a = b\n  c = d\n")),
              IsEmpty());
  for (const char* bad : {"local int a = 65536", "local int a = -32769",
                          "local long a = 4294967296", "local long a = 99999999999999999999999"})
    EXPECT_THAT(MessagesOf(Main(std::string("  ") + bad + "\n")), HasSubstr("does not fit")) << bad;
}

// ---- sources ----------------------------------------------------------------------------------

TEST(Sources, EveryEscape) {
  EXPECT_EQ(OutputOf(Main("  write_string \"\\n\\r\\t\\\\\\\"\\'\\x41\\xe4\xE4\", 12, '\\''\n")),
            "\n\r\t\\\"'A\xE4\xE4'''");
}

TEST(Sources, LinesMayEndInCrLfAndBreakAfterCommas) {
  EXPECT_EQ(OutputOf("sub Main\r\n  write_string \"a\",\r\n    3,\r\n    '.'\r\n"
                     "  call B(\r\n    \"x\")\r\nend\r\nsub B(string s)\r\n"
                     "  write_string s # done\r\nend"),
            "a..x");
}

TEST(Sources, CommandNamesMayNameVariables) {
  EXPECT_EQ(OutputOf(Main("  local int line\n  local int search = 1\n  line = 5\n"
                          "  if search = 1\n    write_int line\n  end\n")),
            "5");
}

TEST(Sources, AnEmptySourceMakesAnEmptyFile) {
  EXPECT_EQ(CompileOrFail("").code, "JHOG");
  EXPECT_EQ(CompileOrFail("# nothing\n").index, "");
}

TEST(Sources, ErrorsLeaveTheImageEmpty) {
  const Compiled compiled = Compile(Source("t", "sub A\n  nonsense\nend\n"));
  EXPECT_TRUE(compiled.diagnostics.HasErrors());
  EXPECT_EQ(compiled.image.code + compiled.image.index, "");
}

TEST(Sources, MessagesShowTheLineAndACaret) {
  const Source source("dir/x.hbm", "sub A\n\twrite_string\tx\nend\n");
  EXPECT_EQ(Compile(source).diagnostics.Render(source),
            "dir/x.hbm:2:15: error: unknown variable 'x'\n\twrite_string\tx\n\t            \t^\n");
}

TEST(Sources, RawBytesAreTakenAsTheyStand) {
  EXPECT_EQ(CompileOrFail("sub A\n  raw 1 0xff \"ab\"\nend\n", {false, nullptr}).code,
            "JHOG\x01\xff"
            "ab\x11" +
                std::string(1, '\0'));
}

TEST(Sources, DeclarationsStandWhereTheyAreMetOnce) {
  EXPECT_THAT(MessagesOf(Main("  loop\n    local int a\n    a = 1\n  end\n")),
              HasSubstr("variables are declared outside blocks"));
  EXPECT_THAT(MessagesOf(Main("again:\n  local int a\n  a = 1\n  goto again\n")),
              HasSubstr("variables are declared before the first label"));
  EXPECT_THAT(MessagesOf(Main("  goto out\n  local int a\nout:\n  a = 1\n")),
              HasSubstr("the jump to 'out' leaves out a declaration"));
  EXPECT_THAT(MessagesOf(Main("  param int a\n  a = 1\n")),
              HasSubstr("parameters stand in parentheses"));
}

TEST(Sources, CallsOfUnknownSubroutinesAreWarnedOfInABuildOfSeveral) {
  const Signatures others{{"Known", {TypeCode::kInt}}};
  EXPECT_THAT(MessagesOf(Main("  call Known(1)\n  call Nope\n"), {true, &others}),
              AllOf(HasSubstr("3:8 warning: no source of this build has a subroutine 'Nope'"),
                    Not(HasSubstr("Known"))));
  EXPECT_THAT(MessagesOf(Main("  call Nope\n")), IsEmpty());
}

}  // namespace
}  // namespace tmx::compiler
