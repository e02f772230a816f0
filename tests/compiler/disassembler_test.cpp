#include "compiler/disassembler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "compiler/compiler.h"
#include "tests/support/bytecode_builder.h"
#include "tests/support/program_generator.h"

namespace tmx::compiler {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// Compiles what the disassembler wrote and expects the bytes that it was given.
void ExpectRoundTrip(const MacroImage& image) {
  const Source source("dump.hbm", Disassemble(image).source);
  const Compiled again = Compile(source);
  ASSERT_FALSE(again.diagnostics.HasErrors()) << again.diagnostics.Render(source) << source.Text();
  EXPECT_EQ(again.image.index, image.index) << source.Text();
  EXPECT_EQ(HexDump(again.image.code), HexDump(image.code)) << source.Text();
}

MacroImage Plain(const tmx::MacroImage& image) {
  return {image.index.value_or(""), image.code.value_or("")};
}

// Damages of index and code beyond those of the generator: changed, cut and doubled bytes.
void Damage(MacroImage& image, std::mt19937_64& random) {
  std::string& bytes = random() % 2 == 0 ? image.index : image.code;
  if (bytes.empty()) return;
  const std::size_t at = random() % bytes.size();
  switch (random() % 4) {
    case 0:
      bytes[at] = static_cast<char>(random());
      break;
    case 1:
      bytes.resize(at);
      break;
    case 2:
      bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 12));
      break;
    default:
      bytes[at] = static_cast<char>(bytes[at] + 1);
  }
}

TEST(RoundTrip, TenThousandRandomWellFormedFiles) {
  for (std::uint64_t seed = 0; seed < 10000; ++seed) {
    SCOPED_TRACE(seed);
    const Program program = MakeProgram(seed, Program::kWellFormed);
    ExpectRoundTrip(Plain(program.file));
    EXPECT_THAT(Disassemble(Plain(program.file)).problems, IsEmpty());
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(RoundTrip, RandomDamagedFiles) {
  std::mt19937_64 random(1);
  for (std::uint64_t seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    MacroImage image = Plain(MakeProgram(seed).file);
    for (std::uint64_t damages = seed % 4; damages > 0; --damages) Damage(image, random);
    ExpectRoundTrip(image);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(RoundTrip, RandomBytes) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 500; ++i) {
    MacroImage image;
    for (std::size_t n = random() % 60; n > 0; --n) image.index += static_cast<char>(random() % 7);
    for (std::size_t n = random() % 200; n > 0; --n) image.code += static_cast<char>(random());
    ExpectRoundTrip(image);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(RoundTrip, EmptyFiles) { ExpectRoundTrip({}); }

TEST(RoundTrip, ReservedFieldsAndGaps) {
  MacroImage image;
  image.code = std::string("JHOG\x01\x02\x03", 7) + std::string("\x11\0", 2) + "gap" +
               std::string("\x12\0\x11\0", 4) + "tail";
  AppendEntry(image.index, {"A", 7, 2, 4711});
  AppendEntry(image.index, {"B", 12, 4, 0});
  ExpectRoundTrip(image);
  EXPECT_THAT(Disassemble(image).problems, IsEmpty());
  EXPECT_THAT(Disassemble(image).source, HasSubstr("sub A reserved 4711\n"));
}

TEST(RoundTrip, EntriesOutOfOrderOverlappingDoubledAndOutside) {
  MacroImage image;
  image.code = std::string("JHOG\x11\0\x12\0\x11\0", 10);
  AppendEntry(image.index, {"late", 6, 4, 0});
  AppendEntry(image.index, {"early", 4, 2, 1});
  AppendEntry(image.index, {"inside", 8, 2, 2});
  AppendEntry(image.index, {"late", 4, 2, 0});
  AppendEntry(image.index, {"outside", 4, 200, 0});
  AppendEntry(image.index, {"far", 0xFFFFFFFF, 0, 0});
  AppendEntry(image.index, {"rest", 8, 0, 0});
  AppendEntry(image.index, {"magic", 0, 4, 0});
  image.index += "cut";
  ExpectRoundTrip(image);
  const std::string problems = ::testing::PrintToString(Disassemble(image).problems);
  EXPECT_THAT(problems, HasSubstr("a second entry \\\"late\\\", which is never found"));
  EXPECT_THAT(problems, HasSubstr("the entry \\\"inside\\\" overlaps another one"));
  EXPECT_THAT(problems, HasSubstr("the entry \\\"outside\\\" lies outside the code file"));
  EXPECT_THAT(problems, HasSubstr("the entry \\\"far\\\" lies outside the code file"));
  EXPECT_THAT(problems, HasSubstr("the entry \\\"magic\\\" has no code of its own"));
  EXPECT_THAT(problems, HasSubstr("the index ends inside an entry"));
}

TEST(RoundTrip, OtherMagic) {
  for (const char* code : {"", "JH", "JHOX", "XXXX1234"}) ExpectRoundTrip({"", code});
  EXPECT_THAT(Disassemble({"", "JHOX"}).problems.at(0), HasSubstr("does not begin with JHOG"));
}

// ---- what it writes ---------------------------------------------------------------------------

std::string BodyOf(const CodeBuilder& code) {
  const tmx::MacroImage image = ImageBuilder("x").Sub("S", code).Build();
  ExpectRoundTrip(Plain(image));
  std::string source = Disassemble(Plain(image)).source;
  const std::string head = "verbatim\n\nsub S\n";
  EXPECT_EQ(source.substr(0, head.size()), head);
  return source.substr(head.size(), source.size() - head.size() - 4);
}

TEST(Disassembler, JumpTargetsAtInstructionsBecomeLabels) {
  EXPECT_EQ(
      BodyOf(CodeBuilder().Op(30, 1).Target(1).Op(31, 2).Byte(1).Target(2).Bind(1).Bind(2).Exit()),
      "  goto at_9\n  if_goto not at_9\nat_9:\n  exit\n");
}

TEST(Disassembler, OtherJumpTargetsStayOffsets) {
  EXPECT_EQ(BodyOf(CodeBuilder().Op(30, 1).U16(1).Op(30, 1).U16(900)), "  goto @1\n  goto @900\n");
}

TEST(Disassembler, JumpToTheEnd) {
  EXPECT_EQ(BodyOf(CodeBuilder().Op(30, 1).U16(4)), "  goto at_4\nat_4:\n");
}

TEST(Disassembler, NamesOfVariablesBecomeHints) {
  EXPECT_EQ(BodyOf(CodeBuilder()
                       .Op(130, 2)
                       .Byte(1)
                       .U16(33)
                       .Op(163, 2)
                       .U16(33)
                       .RawText("head")
                       .Op(145, 1)
                       .U16(33)
                       .Exit()),
            "  declare string, $33:head\n  variable_name $33:head, \"head\"\n"
            "  is_null $33:head\n  exit\n");
}

TEST(Disassembler, CountsThatTheOperandsDoNotSayAreWritten) {
  EXPECT_EQ(BodyOf(CodeBuilder().Op(10, 7).Op(25, 5).Int(1).Int(2).Char('x').Bool(true).Op(17, 3)),
            "  clear[7]\n  write_int[5] 1, 2, 'x', true\n  exit[3]\n");
}

TEST(Disassembler, LiteralsOfEveryType) {
  EXPECT_EQ(BodyOf(CodeBuilder()
                       .Op(32, 7)
                       .RawText("Sub")
                       .Str("a\"\\\n\xE4")
                       .Date(24, 12, 2003)
                       .Int(-1)
                       .Long(70000)
                       .Amount("1,50")
                       .Bool(false)
                       .Exit()),
            "  call Sub(\"a\\\"\\\\\\n\\xe4\", 24.12.2003, -1, long 70000, amount \"1,50\", "
            "false)\n  exit\n");
}

TEST(Disassembler, OddDatesAndBoolsKeepTheirBytes) {
  EXPECT_EQ(BodyOf(CodeBuilder()
                       .Op(8, 1)
                       .U16(2)
                       .Byte(255)
                       .Byte(0)
                       .Byte(20)
                       .Byte(103)
                       .Op(31, 2)
                       .Byte(7)
                       .U16(0)
                       .Exit()),
            "at_0:\n  write_date 255.0.20.103\n  if_goto bool 7, at_0\n  exit\n");
}

TEST(Disassembler, WhatIsNoInstructionBecomesRawBytes) {
  EXPECT_EQ(BodyOf(CodeBuilder().Op(200, 1).Byte(255).Exit()),
            "  raw 0xc8 0x01\n  filler\n  exit\n");
}

TEST(Disassembler, TextAtTheEndIsNoInstruction) {
  EXPECT_THAT(BodyOf(CodeBuilder().Op(160, 1).RawText("x")), Not(HasSubstr("file")));
}

TEST(Disassembler, LiteralsOfOtherTypesInOperationsAreMarked) {
  EXPECT_EQ(BodyOf(CodeBuilder()
                       .Op(28, 5)
                       .Byte(8)
                       .Byte('*')
                       .Var(33)
                       .Amount("1,00")
                       .Long(2)
                       .Op(28, 5)
                       .Byte(8)
                       .Byte('+')
                       .Var(33)
                       .Str("1,00")
                       .Int(2)
                       .Exit()),
            "  op amount, '*', $33, \"1,00\", 2\n  op amount, '+', $33, string \"1,00\", 2\n"
            "  exit\n");
}

TEST(Disassembler, UnnamedTypesAreNumbers) {
  EXPECT_EQ(BodyOf(CodeBuilder().Op(130, 2).Byte(77).U16(33).Exit()),
            "  declare 77, $33\n  exit\n");
}

TEST(Disassembler, NamesThatAreNoWordsStandInQuotes) {
  const tmx::MacroImage image = ImageBuilder("x")
                                    .Sub("a b", CodeBuilder().Exit())
                                    .Sub("end", CodeBuilder().Exit())
                                    .Sub("", CodeBuilder().Exit())
                                    .Build();
  ExpectRoundTrip(Plain(image));
  EXPECT_THAT(Disassemble(Plain(image)).source, HasSubstr("sub \"a b\"\n"));
  EXPECT_THAT(Disassemble(Plain(image)).source, HasSubstr("sub \"end\"\n"));
  EXPECT_THAT(Disassemble(Plain(image)).source, HasSubstr("sub \"\"\n"));
}

}  // namespace
}  // namespace tmx::compiler
