#include "compiler/verifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/compiler/compile_and_run.h"
#include "tests/support/bytecode_builder.h"

namespace tmx::compiler {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

CheckedFile FileOf(const std::string& name, const std::string& text) {
  const MacroImage image = CompileOrFail(text);
  return {name, image.index, image.code};
}

std::string Findings(const std::vector<CheckedFile>& files,
                     const std::vector<EntryPoint>& entries = {}) {
  std::string out;
  for (const Finding& finding : Verify(files, entries).findings) {
    out += Describe(finding);
    if (finding.position) out += " (" + std::to_string(*finding.position) + ")";
    out += '\n';
  }
  return out;
}

// The findings in one verbatim subroutine S.
std::string Check(const std::string& body, const std::vector<EntryPoint>& entries = {}) {
  return Findings({FileOf("f", "verbatim\nsub S\n" + body + "end\n")}, entries);
}

std::string CheckBytes(const CodeBuilder& code) {
  const tmx::MacroImage image = ImageBuilder("f").Sub("S", code).Build();
  return Findings({{"f", image.index, image.code}});
}

// ---- instructions -----------------------------------------------------------------------------

TEST(Verifier, AcceptsWhatTheCompilerMakes) {
  EXPECT_THAT(Findings({FileOf("f",
                               "sub Main(string s, int n = 5)\n  local amount a = \"1,00\"\n"
                               "  static long calls key 9\n  calls = calls + 1\n"
                               "  while n > 0\n    n = n - 1\n    call Other(s, a, \"2,00\")\n"
                               "    if not success\n      return\n    end\n  end\nend\n"
                               "sub Other(string s, amount a, amount b)\n  a = a + b\n"
                               "  write_string s\nend\n")}),
              IsEmpty());
}

TEST(Verifier, UnknownOpcodes) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(200, 1)), "f: S+0: error: unknown opcode 200 (2)\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(4, 0)), "f: S+0: error: unknown opcode 4 (2)\n");
}

TEST(Verifier, HoldersThatGroupsMoveAreThereAndNotTheLast) {
  EXPECT_THAT(Check("  response string, $33, 9\n  local int, $34\n  next_deg $33, 10\n  exit\n"),
              IsEmpty());
  EXPECT_THAT(Check("  response string, $33, 9\n  next_deg $33, 10\n  exit\n"),
              HasSubstr("$33 is the last holder, which cannot be moved"));
  EXPECT_THAT(Check("  needs $33\n  exit\n"), HasSubstr("no holder $33"));
}

TEST(Verifier, Counts) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(10, 0).Op(7, 5)),
            "f: S+2: error: write_string does not accept the count 5 (4)\n");
}

TEST(Verifier, Tags) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(7, 1).Int(5).Exit()),
            "f: S+0: error: the tag 5 is no string (4)\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(58, 1).Bool(true).Exit()),
            "f: S+0: error: the tag 10 is no value with a text form (4)\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(14, 1).Str("x").Exit()),
            "f: S+0: error: a variable is expected, not the tag 1 (4)\n");
  EXPECT_THAT(CheckBytes(CodeBuilder().Op(7, 1).U16(0xFFFF).Exit()),
              HasSubstr("the tag 65535 is no string (4)"));
}

TEST(Verifier, CharactersAreLiterals) {
  EXPECT_EQ(Check("  declare string, $33\n  raw 55 1 0 33\n  exit\n"),
            "f: S+5: error: a character must be a literal (9)\n");
}

TEST(Verifier, ReadsPastTheEnd) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(30, 1).Byte(0)),
            "f: S+0: error: the subroutine ends inside an instruction\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Byte(17)),
            "f: S+0: error: the subroutine ends inside an instruction\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Byte(161).Byte(1)),
            "f: S+0: error: the subroutine ends inside an instruction\n");
}

TEST(Verifier, StringsAtTheEnd) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(160, 1).RawText("x")),
            "f: S+0: error: a text does not end before the subroutine does\n");
  EXPECT_THAT(CheckBytes(CodeBuilder().Op(160, 1).RawText("x").Exit()), IsEmpty());
}

TEST(Verifier, RunningOffTheEnd) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(10, 0)),
            "f: S+2: error: runs past the end of the subroutine\n");
  EXPECT_EQ(CheckBytes(CodeBuilder().Op(10, 0).Byte(255)),
            "f: S+3: error: runs past the end of the subroutine\n");
}

TEST(Verifier, BadBoolsAreNoFault) {
  EXPECT_THAT(Check("  if_goto bool 7, here\nhere:\n  exit\n"),
              StartsWith("f: S+0: warning: a bool of 7 reads as false"));
}

// ---- jumps ------------------------------------------------------------------------------------

TEST(Verifier, JumpsOutOfTheSubroutine) {
  EXPECT_EQ(Check("  goto @900\n"), "f: S+0: error: jumps out of the subroutine, to 900\n");
  EXPECT_EQ(Check("  if_goto @7\n  exit\n"), "f: S+0: error: jumps out of the subroutine, to 7\n");
}

TEST(Verifier, JumpsIntoAnInstruction) {
  // The bytes behind the tag of the literal are an exit.
  EXPECT_EQ(Check("  if_goto @9\n  write_int 4352\n  exit\n"),
            "f: S+0: error: jumps to 9, inside the instruction at 5\n");
}

TEST(Verifier, BothWaysOfAConditionalJump) {
  EXPECT_EQ(Check("  if_goto there\n  raw 200 0\nthere:\n  raw 201 0\n"),
            "f: S+5: error: unknown opcode 200 (7)\nf: S+7: error: unknown opcode 201 (9)\n");
}

TEST(Verifier, CodeThatIsNeverReachedIsNotChecked) {
  EXPECT_THAT(Check("  exit\n  raw 200 0\n"), IsEmpty());
  EXPECT_THAT(Check("  stop\n  raw 200 0\n"), IsEmpty());
  EXPECT_THAT(Check("  goto out\n  raw 200 0\nout:\n  exit\n"), IsEmpty());
}

// ---- holders ----------------------------------------------------------------------------------

TEST(Verifier, IdsOutOfOrder) {
  EXPECT_EQ(Check("  declare string, $34\n  exit\n"),
            "f: S+0: error: declares $34 where $33 is next (5)\n");
  EXPECT_EQ(Check("again:\n  local string, $33\n  goto again\n"),
            "f: S+0: error: declares $33 where $34 is next (5)\n");
}

TEST(Verifier, ParametersAndStaticsMayBeDeclaredAgain) {
  EXPECT_THAT(Check("again:\n  param string, $33\n  static int, $34, 5\n  goto again\n"),
              IsEmpty());
}

TEST(Verifier, HolderTypes) {
  EXPECT_EQ(Check("  declare int, $33\n  write_long $33\n  exit\n"),
            "f: S+5: error: $33 is of type int, not long (9)\n");
  EXPECT_EQ(Check("  declare int, $33\n  write_string $33\n  exit\n"),
            "f: S+5: error: $33 of type int holds no text (9)\n");
  EXPECT_EQ(Check("  declare bool, $33\n  receive_string $33\n  exit\n"),
            "f: S+5: error: $33 has no text form (9)\n");
  EXPECT_THAT(Check("  declare amount, $33\n  write_string $33\n  receive_string $33\n  exit\n"),
              IsEmpty());
}

TEST(Verifier, MissingHolders) {
  EXPECT_EQ(Check("  write_string $33\n  exit\n"), "f: S+0: error: no holder $33 (4)\n");
  EXPECT_EQ(Check("  variable_name $40, \"x\"\n  exit\n"), "f: S+0: error: no holder $40 (6)\n");
  EXPECT_THAT(Check("  is_null $40\n  exit\n"), IsEmpty());
}

TEST(Verifier, TypesWithoutVariables) {
  EXPECT_EQ(Check("  declare 77, $33\n  receive_string $33\n  exit\n"),
            "f: S+5: error: $33 has the type 77, which has no variables (9)\n");
}

// A default is read with the type of what the caller passed.
TEST(Verifier, DefaultsOfParametersThatAreOfAnotherType) {
  const std::string body = "  param string, $33, \"ab\"\n  exit\n";
  EXPECT_THAT(Check(body), IsEmpty());
  EXPECT_THAT(Check(body, {{"S", {TypeCode::kString}}}), IsEmpty());
  EXPECT_THAT(Check(body, {{"S", {TypeCode::kAmount}}}), IsEmpty());
  EXPECT_EQ(Check(body, {{"S", {TypeCode::kInt}}}), "f: S+7: error: unknown opcode 0 (9)\n");
}

TEST(Verifier, OneWayDeclaresAndTheOtherDoesNot) {
  EXPECT_EQ(Check("  if_goto there\n  declare int, $33\nthere:\n  write_int $33\n  exit\n"),
            "f: S+10: error: no holder $33 (14)\n");
  EXPECT_EQ(Check("  if_goto there\n  declare int, $33\n  goto out\nthere:\n"
                  "  declare long, $33\nout:\n  write_int $33\n  exit\n"),
            "f: S+19: error: $33 is of type long, not int (23)\n");
}

// ---- commands with rules of their own ---------------------------------------------------------

TEST(Verifier, OperationsWithoutARule) {
  EXPECT_EQ(Check("  declare string, $33\n  op string, '-', $33, \"a\", \"b\"\n  exit\n"),
            "f: S+5: error: no operation '-' of type string (19)\n");
  EXPECT_EQ(Check("  declare bool, $33\n  op bool, '+', $33, true, true\n  exit\n"),
            "f: S+5: error: no operations of type bool (11)\n");
  EXPECT_EQ(Check("  declare int, $33\n  op int, '+', $33, $34, $35\n  exit\n"),
            "f: S+5: error: no holder $35 (15)\n");
}

TEST(Verifier, DifferencesOfDates) {
  EXPECT_THAT(Check("  declare int, $33\n  declare date, $34\n  op int, '?', $33, 1.1.2000, $34\n"
                    "  exit\n"),
              IsEmpty());
  EXPECT_THAT(Check("  declare long, $33\n  declare date, $34\n  op long, '_', $33, $34, $34\n"
                    "  exit\n"),
              IsEmpty());
  EXPECT_THAT(Check("  declare long, $33\n  declare date, $34\n  op long, '-', $33, $34, $34\n"
                    "  exit\n"),
              HasSubstr("$34 is of type date, not long"));
}

TEST(Verifier, TagsOfOperationsAreNotTakenByTheirLowByte) {
  EXPECT_EQ(CheckBytes(CodeBuilder().Declare(5, 33).Op(28, 5).Byte(5).Byte('+').Var(33).Int(1).U16(
                0x8002)),
            "f: S+5: error: the tag 32770 is no int (17)\n");
}

TEST(Verifier, ComparisonsWithoutARule) {
  EXPECT_EQ(Check("  compare bool, '<', true, true\n  exit\n"),
            "f: S+0: error: no comparison '<' of type bool (10)\n");
  EXPECT_EQ(Check("  compare int, '!', 1, 1\n  exit\n"),
            "f: S+0: error: no comparison '!' of type int (12)\n");
  EXPECT_EQ(Check("  raw 2 4 7 61\n"),
            "f: S+0: error: no values of type float can be used here (4)\n");
}

TEST(Verifier, AssignmentsOfOtherTypes) {
  EXPECT_EQ(Check("  declare time, $33\n  set time, $33, $33\n  exit\n"),
            "f: S+5: error: no values of type time can be used here (10)\n");
}

TEST(Verifier, ReadingAmountsWarnsOfNegativeOnes) {
  EXPECT_EQ(Check("  declare amount, $33\n  read_amount $33\n  exit\n"),
            "f: S+5: warning: reads -12,50 as -11,50: the fraction is added\n");
}

// ---- calls ------------------------------------------------------------------------------------

TEST(Verifier, CallsAreFollowedWithTheTypesThatTheyPass) {
  const std::string text =
      "verbatim\nsub Main\n  call Callee(5)\n  exit\nend\n"
      "sub Callee\n  param string, $33\n  write_string $33\n  exit\nend\n";
  EXPECT_EQ(Findings({FileOf("f", text)}),
            "f: Callee+5: error: $33 of type int holds no text (9)\n");
}

TEST(Verifier, MoreArgumentsThanParametersMoveTheIds) {
  const std::string text =
      "verbatim\nsub Main\n  call Callee(5)\n  exit\nend\n"
      "sub Callee\n  local string, $33\n  exit\nend\n";
  EXPECT_EQ(Findings({FileOf("f", text)}),
            "f: Callee+0: error: declares $33 where $34 is next (5)\n");
}

TEST(Verifier, AmountLiteralsArriveAsTexts) {
  const std::string text =
      "verbatim\nsub Main\n  call Callee(amount \"1,00\")\n  exit\nend\n"
      "sub Callee\n  param amount, $33\n  write_amount $33\n  exit\nend\n";
  EXPECT_EQ(Findings({FileOf("f", text)}),
            "f: Callee+5: error: $33 is of type string, not amount (9)\n");
}

TEST(Verifier, UnknownSubroutines) {
  EXPECT_EQ(Check("  call Nowhere\n  exit\n"),
            "f: S+0: error: cannot call: no file has the subroutine 'Nowhere'\n");
}

TEST(Verifier, CallsByReferenceOfUnknownIds) {
  EXPECT_EQ(Check("  call S($33)\n  exit\n"), "f: S+0: error: no holder $33 (6)\n");
}

TEST(Verifier, CallsOfNamesInVariablesCannotBeChecked) {
  EXPECT_EQ(Check("  declare string, $33\n  call_sub $33\n  exit\n"),
            "f: S+5: unchecked: calls a subroutine that only a variable knows\n");
  EXPECT_THAT(Check("  call_sub \"S\"\n  exit\n"), IsEmpty());
  EXPECT_THAT(Check("  call_sub \"T\"\n  exit\n"), HasSubstr("no file has the subroutine 'T'"));
}

TEST(Verifier, ArgumentTagsThatPassNothingAreExecutedAfterTheCall) {
  EXPECT_THAT(CheckBytes(CodeBuilder().Op(32, 2).RawText("S").U16(7)),
              AllOf(HasSubstr("warning: the tag 7 passes nothing"),
                    HasSubstr("f: S+4: error: unknown opcode 0 (6)")));
}

TEST(Verifier, RecursionEnds) {
  EXPECT_THAT(Check("  param int, $33\n  call S($33)\n  exit\n"), IsEmpty());
}

// ---- statics ----------------------------------------------------------------------------------

TEST(Verifier, OneStaticKeyWithTwoTypes) {
  const std::string text =
      "verbatim\nsub A\n  static int, $33, 7\n  write_int $33\n  exit\nend\n"
      "sub B\n  static long, $33, 7\n  write_long $33\n  exit\nend\n"
      "sub C\n  static date, $33, 7\n  is_null $33\n  exit\nend\n";
  EXPECT_EQ(Findings({FileOf("f", text)}),
            "f: A+9: error: the static with the key 7 is of type int here and of another one "
            "elsewhere (13)\n"
            "f: B+9: error: the static with the key 7 is of type long here and of another one "
            "elsewhere (13)\n");
}

TEST(Verifier, AmountsAndTextsMayShareAStatic) {
  EXPECT_THAT(Findings({FileOf("f",
                               "verbatim\nsub A\n  static amount, $33, 7\n  write_amount $33\n"
                               "  exit\nend\nsub B\n  static string, $33, 7\n"
                               "  write_string $33\n  exit\nend\n")}),
              IsEmpty());
}

// A static declared over a holder with a variable keeps that variable.
TEST(Verifier, StaticsOverParametersKeepTheVariable) {
  const std::string text =
      "verbatim\nsub A\n  param int, $33\n  write_int $33\n  static int, $33, 7\n"
      "  write_int $33\n  exit\nend\n"
      "sub B\n  static long, $33, 7\n  write_long $33\n  exit\nend\n";
  EXPECT_THAT(Findings({FileOf("f", text)}), IsEmpty());
}

// ---- files ------------------------------------------------------------------------------------

TEST(Verifier, TheLastFileIsSearchedFirst) {
  const CheckedFile general = FileOf("general", "verbatim\nsub S\n  raw 200 0\nend\n");
  const CheckedFile top = FileOf("top", "verbatim\nsub S\n  exit\nend\n");
  EXPECT_THAT(Findings({general, top}), IsEmpty());
  EXPECT_EQ(Findings({top, general}), "general: S+0: error: unknown opcode 200 (2)\n");
}

TEST(Verifier, MissingAndDamagedFiles) {
  const CheckedFile good = FileOf("good", "sub S\nend\n");
  EXPECT_EQ(Findings({{"f", std::nullopt, "JHOG"}}), "f: error: the index file is missing\n");
  EXPECT_EQ(Findings({{"f", good.index, std::nullopt}}),
            "f: error: 'S': the code file is missing\n");
  EXPECT_EQ(Findings({{"f", *good.index + "x", good.code}}),
            "f: error: the index ends inside an entry\n");
  EXPECT_EQ(Findings({{"f", std::string(65536, 'x'), good.code}}),
            "f: error: the index has more than 65535 bytes\n");
  EXPECT_EQ(Findings({{"f", good.index, "XXXX" + good.code->substr(4)}}),
            "f: error: 'S': the code file does not begin with JHOG\n");
  EXPECT_EQ(Findings({{"f", good.index, "JHOG"}}), "f: error: 'S': lies outside the code file\n");
}

TEST(Verifier, UnknownEntryPoints) {
  EXPECT_EQ(Check("  exit\n", {{"T", {}}}), "T+0: error: no file has the subroutine 'T'\n");
}

TEST(Verifier, TooManyFramesAreGivenUp) {
  // Each of the branches declares one of two types, which doubles the frames.
  std::string body;
  for (int i = 0; i < 20; ++i) {
    const std::string n = std::to_string(i);
    const std::string id = "$" + std::to_string(33 + i);
    body += "  if_goto a" + n + "\n  declare int, " + id + "\n  goto b" + n + "\na" + n +
            ":\n  declare long, " + id + "\nb" + n + ":\n";
  }
  EXPECT_THAT(Check(body + "  exit\n"), HasSubstr("too many different frames to check them all"));
}

}  // namespace
}  // namespace tmx::compiler
