// Every opcode of the table, with every count and operand form, well formed and malformed. What is
// expected of a malformed instruction follows from how operands are read, not from an engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>

#include "tests/macro/every_engine.h"
#include "tests/macro/instructions.h"

namespace tmx {
namespace {

using enum OperandKind;
using enum TypeCode;

constexpr unsigned kMalformed = 17490;
constexpr std::uint64_t kPreambleSteps = 14;
constexpr int kGenericOpcodes = 46, kBankingOpcodes = 25;

bool EndsSubroutine(int opcode) { return opcode == 17 || opcode == 40; }
bool IsCall(const Opcode& row) { return row.counted == Counted::kCall; }
// Commands that leave the operands behind a wrong one unread.
bool StopsReading(const Opcode& row) { return IsCall(row) || row.number == 22; }
// Commands that end at once when their variable is missing.
bool NeedsVariable(int opcode) {
  static constexpr std::array kReadCommands = {14, 15, 16, 37, 48, 54};
  return std::ranges::count(kReadCommands, opcode) != 0;
}
// The type of B selects how A is read; damage to B then shows in A. OpTest looks at these.
bool IsDateDifferenceOfInts(const Instruction& instruction) {
  return instruction.row->number == 28 && instruction.operands[0].bytes == "\x05" &&
         instruction.operands[3].type == kDate;
}

bool IsBanking(const Opcode& row) { return row.engine == EngineKind::kBanking; }

void ForEachRow(const std::function<void(const Opcode&)>& visit) {
  for (int number = 0; number < 256; ++number)
    if (const Opcode* row = FindOpcode(number)) visit(*row);
}

std::size_t PreambleSize() {
  static const std::size_t size = Preamble().Size();
  return size;
}

std::vector<Instruction> Forms(const Opcode& row) {
  return AllForms(row, PreambleSize() + (row.number == 31 ? 5 : 4));
}

// The forms in which all tagged operands are literals as far as they can be, or all variables.
std::vector<Instruction> UniformForms(const Opcode& row) {
  std::vector<Instruction> forms = Forms(row);
  std::erase_if(forms, [](const Instruction& instruction) {
    bool literal = false, variable = false;
    for (const OperandForm& operand : instruction.operands) {
      if (!operand.tagged || operand.kind == kVariable || operand.type == kChar) continue;
      (operand.variable ? variable : literal) = true;
    }
    return literal && variable;
  });
  return forms;
}

// Runs an opcode's instruction on the engine that it is made for.
RunOutcome RunImage(const Opcode& row, const MacroImage& image, const std::string& sub = "SUB") {
  return IsBanking(row) ? RunBankingFiles({image}, sub) : RunFiles({image}, sub);
}

RunOutcome RunBehindPreamble(const Opcode& row, const std::string& bytes) {
  return RunImage(row, ImageBuilder("test")
                           .Sub("SUB", Preamble().Raw(bytes))
                           .Sub("Callee", CodeBuilder().Exit())
                           .Build());
}

// ---- well formed -----------------------------------------------------------------------------

// What follows an instruction runs only if the instruction took exactly its operands.
TEST(OpcodeFormsTest, EveryCountAndOperandFormOfEveryOpcodeTakesExactlyItsOperands) {
  int opcodes = 0, forms = 0;
  ForEachRow([&](const Opcode& row) {
    ++opcodes;
    for (const Instruction& instruction : Forms(row)) {
      ++forms;
      SCOPED_TRACE(instruction.Describe());
      CodeBuilder sub = Preamble().Raw(instruction.Bytes());
      sub.Op(18, 0).Op(7, 1).Str("END").Exit();
      CodeBuilder outer;
      outer.Op(32, 1).RawText("SUB").Op(18, 0).Op(7, 1).Str("END").Exit();
      const bool ends = EndsSubroutine(row.number);
      const RunOutcome outcome = RunImage(row,
                                          ImageBuilder("test")
                                              .Sub("SUB", sub)
                                              .Sub("Outer", outer)
                                              .Sub("Callee", CodeBuilder().Exit())
                                              .Build(),
                                          ends ? "Outer" : "SUB");
      ExpectNoError(outcome);
      EXPECT_TRUE(outcome.output.ends_with("END"));
      EXPECT_EQ(outcome.output.ends_with("ENDEND"), false);
      const std::uint64_t own = row.counted == Counted::kFetch ? 0 : IsCall(row) ? 2 : 1;
      EXPECT_EQ(outcome.steps, kPreambleSteps + own + (ends ? 4 : 3));
      if (::testing::Test::HasFailure()) return;
    }
  });
  EXPECT_EQ(opcodes, kGenericOpcodes + kBankingOpcodes);
  EXPECT_GT(forms, 700);
}

// ---- malformed -------------------------------------------------------------------------------

TEST(OpcodeFormsTest, EveryCountThatAnOpcodeDoesNotAcceptIsAnError) {
  ForEachRow([](const Opcode& row) {
    const std::string operands = Forms(row).back().Bytes().substr(2);
    for (unsigned count = 0; count < 256; ++count) {
      if (row.Accepts(static_cast<int>(count))) continue;
      if (count > 8 && count < 255 && count % 50 != 0) continue;
      SCOPED_TRACE(std::string(row.mnemonic) + " " + std::to_string(count));
      const RunOutcome outcome =
          RunBehindPreamble(row, CodeBuilder().Op(row.number, count).Raw(operands).Exit().Bytes());
      ExpectMacroError(outcome, kMalformed, At(PreambleSize() + 2));
      EXPECT_EQ(outcome.steps, kPreambleSteps + 1);
      EXPECT_EQ(outcome.output, "");
    }
  });
}

TEST(OpcodeFormsTest, EveryNumberThatIsNoOpcodeIsAnError) {
  int unknown = 0;
  for (unsigned number = 0; number < 255; ++number) {
    const Opcode* const row = FindOpcode(static_cast<int>(number));
    if (row != nullptr && !IsBanking(*row)) continue;
    ++unknown;
    for (const unsigned count : {0u, 1u, 255u}) {
      SCOPED_TRACE(number);
      const CodeBuilder code = CodeBuilder().Op(number, count).Exit();
      ExpectMacroError(RunCode(code), kMalformed, At(2));
      if (row == nullptr) ExpectMacroError(RunBankingCode(code), kMalformed, At(2));
    }
  }
  EXPECT_EQ(unknown, 255 - kGenericOpcodes) << "the generic engine knows no banking command";
}

// The bytes of an instruction with a tag in place of one operand, and the offset behind the tag.
std::string WithTag(const Instruction& instruction, std::size_t replaced, unsigned tag,
                    std::size_t& behind_tag) {
  CodeBuilder code;
  code.Op(instruction.row->number, static_cast<unsigned>(instruction.count));
  for (std::size_t at = 0; at < instruction.operands.size(); ++at) {
    if (at == replaced) {
      code.U16(tag);
      behind_tag = PreambleSize() + code.Size();
    } else {
      code.Raw(instruction.operands[at].bytes);
    }
  }
  return code.Exit().Bytes();
}

bool IsAnyText(const OperandForm& operand) {
  return operand.kind == kAnyAttribute || operand.kind == kTextList;
}

// Literal tags without a literal behind them, so that the other operands keep their places.
std::vector<unsigned> WrongTags(const Instruction& instruction, const OperandForm& operand) {
  std::vector<unsigned> tags = {0, 4, 31, 0x8000, 0xFFFF};
  if (instruction.row->number == 28) return tags;  // a known tag would be skipped with its literal
  for (const unsigned tag : {1u, 5u, 12u}) {
    const bool own = operand.kind != kVariable && tag == static_cast<unsigned>(operand.type);
    const bool any = IsAnyText(operand) && tag != 10 && tag != 12;
    if (!own && !any) tags.push_back(tag);
  }
  return tags;
}

// Ids that name no variable, or one of another type.
std::vector<unsigned> WrongIds(const Instruction& instruction, const OperandForm& operand) {
  std::vector<unsigned> ids = {32, kFreeId, 0x7FFF};
  for (const TypeCode type : {kString, kDate, kInt, kLong, kAmount, kBool}) {
    const bool text = operand.kind != kVariable && operand.type == kString && type == kAmount;
    const bool any = IsAnyText(operand) && type != kBool;
    const bool fits = type == operand.type || text || any;
    // A date on the right of ints asks for the difference of two dates.
    const bool other_rule = instruction.row->number == 28 && operand.kind == kOpRight &&
                            instruction.operands[0].bytes == "\x05" && type == kDate;
    if (!fits && !other_rule) ids.push_back(static_cast<unsigned>(VariableOfType(type)));
  }
  return ids;
}

void ExpectErrorBehindTag(const Instruction& instruction, std::size_t at, unsigned tag) {
  SCOPED_TRACE(instruction.Describe() + "\noperand " + std::to_string(at) + " has the tag " +
               std::to_string(tag));
  std::size_t behind_tag = 0;
  const std::string bytes = WithTag(instruction, at, tag, behind_tag);
  ExpectMacroError(RunBehindPreamble(*instruction.row, bytes), kMalformed, At(behind_tag));
}

TEST(OpcodeFormsTest, AWrongTagOrAnUnresolvedVariableIsAnErrorBehindTheTag) {
  int checked = 0;
  ForEachRow([&checked](const Opcode& row) {
    for (const Instruction& instruction : UniformForms(row)) {
      if (IsDateDifferenceOfInts(instruction)) continue;
      for (std::size_t at = 0; at < instruction.operands.size(); ++at) {
        const OperandForm& operand = instruction.operands[at];
        if (!operand.tagged || operand.kind == kArguments) continue;
        for (const unsigned tag : WrongTags(instruction, operand))
          ExpectErrorBehindTag(instruction, at, tag);
        for (const unsigned id : WrongIds(instruction, operand))
          ExpectErrorBehindTag(instruction, at, id);
        ++checked;
        if (::testing::Test::HasFailure()) return;
      }
    }
  });
  EXPECT_GT(checked, 150);
}

// ---- cut off ---------------------------------------------------------------------------------

// Reads the operands of an instruction that was cut off as a command does and says which error is
// left in the end: that of the bytecode, or one at a position.
class CutOff {
 public:
  CutOff(const Instruction& instruction, std::size_t cut)
      : instruction_(instruction),
        bytes_(std::string(PreambleSize(), '?') + instruction.Bytes().substr(0, cut)),
        pc_(PreambleSize()) {}

  // The fetch of the next opcode comes before the engine looks at the error; at the very end it
  // fails itself.
  std::string ExpectedParam() {
    const std::string of_command = CommandError();
    return pc_ == bytes_.size() ? kCodeFile : of_command;
  }

 private:
  std::string CommandError() {
    const Opcode& row = *instruction_.row;
    if (!Raw(1) || row.counted == Counted::kFetch) return kCodeFile;
    const bool has_count = Raw(1);
    if (!has_count && !row.Accepts(0)) return At(pc_);
    const bool has_type = pc_ < bytes_.size();
    ReadOperands(has_count ? instruction_.count : 0);
    // Without its type byte these two know no type, which they say last.
    if (!has_type && (row.number == 3 || row.number == 28)) return At(pc_);
    // The arithmetic of amounts goes on with an empty value; a divisor is then 0.
    if (DividesAmount()) return At(pc_);
    // A response without its identifier is refused after that was read.
    if (row.number == 38 && has_count) return At(pc_);
    return error_;
  }

  bool DividesAmount() const {
    if (instruction_.row->number != 28 || instruction_.operands[0].bytes != "\x08") return false;
    const std::string& op = instruction_.operands[1].bytes;
    return bytes_.size() >= PreambleSize() + 4 && (op == "/" || op == "%");
  }

  void ReadOperands(int count) {
    const Opcode& row = *instruction_.row;
    for (int at = 0; at < row.OperandsPresent(count); ++at) {
      const OperandForm& operand = instruction_.operands[static_cast<std::size_t>(at)];
      if (operand.kind == kArguments || operand.kind == kTextList) {
        ReadArguments(operand);
      } else if (operand.tagged) {
        Tagged(operand);
      } else if (operand.zero_ended) {
        Text();
      } else {
        Raw(operand.bytes.size());
      }
      if (!error_.empty() && (StopsReading(row) || (NeedsVariable(row.number) && at == 0))) return;
    }
  }

  bool Raw(std::size_t size) {
    if (pc_ + size > bytes_.size()) {
      error_ = kCodeFile;
      return false;
    }
    pc_ += size;
    return true;
  }

  // The zero must not be the last byte.
  void Text() {
    const std::size_t zero = bytes_.find('\0', pc_);
    if (zero == std::string::npos || zero + 1 >= bytes_.size()) {
      error_ = kCodeFile;
    } else {
      pc_ = zero + 1;
    }
  }

  void Tagged(const OperandForm& operand) {
    if (!Raw(2)) return;
    const std::string tag = bytes_.substr(pc_ - 2, 2);
    if (tag != operand.bytes.substr(0, 2)) {
      error_ = At(pc_);  // the rest of an operand that could not be read is no tag
    } else if (!operand.variable && operand.zero_ended) {
      Text();
    } else if (!operand.variable) {
      Raw(operand.bytes.size() - 2);
    }
  }

  void ReadArguments(const OperandForm& arguments) {
    const std::size_t number = static_cast<std::size_t>(instruction_.count - 1);
    OperandForm one = arguments;
    one.bytes.resize(arguments.bytes.size() / number);
    for (std::size_t at = 0; at < number && error_.empty(); ++at) Tagged(one);
  }

  const Instruction& instruction_;
  std::string bytes_;
  std::size_t pc_;
  std::string error_;
};

TEST(OpcodeFormsTest, AnInstructionCutOffAtAnyByteIsAnError) {
  int checked = 0;
  ForEachRow([&checked](const Opcode& row) {
    for (const Instruction& instruction : UniformForms(row)) {
      if (row.number == 22 && instruction.count == 255) continue;  // the texts are alike
      const std::string bytes = instruction.Bytes();
      const bool text_last =
          !instruction.operands.empty() && instruction.operands.back().zero_ended;
      // A text at the very end cannot be read either.
      for (std::size_t cut = 0; cut < bytes.size() + (text_last ? 1 : 0); ++cut) {
        if (EndsSubroutine(row.number) && cut == 1) continue;  // a test of its own
        if (IsDateDifferenceOfInts(instruction) && cut > 3) continue;
        SCOPED_TRACE(instruction.Describe() + "\ncut off at " + std::to_string(cut));
        const RunOutcome outcome = RunBehindPreamble(row, bytes.substr(0, cut));
        ExpectMacroError(outcome, kMalformed, CutOff(instruction, cut).ExpectedParam());
        ++checked;
        if (::testing::Test::HasFailure()) return;
      }
    }
  });
  EXPECT_GT(checked, 2000);
}

// The count byte cannot be read, but the command runs; it leaves no frame in which the error could
// be found.
TEST(OpcodeFormsTest, ExitWithoutItsCountByteEndsTheRunWithTrue) {
  const RunOutcome outcome = RunCode(CodeBuilder().Byte(17));
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.error, ErrorChain{});
  EXPECT_EQ(outcome.status, (ErrorChain{{kMalformed, kCodeFile}}));
  EXPECT_EQ(outcome.steps, 1U);
}

TEST(OpcodeFormsTest, StopWithoutItsCountByteLeavesItsOwnError) {
  const RunOutcome outcome = RunCode(CodeBuilder().Byte(40));
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.status, (ErrorChain{{17496, At(1)}}));
}

TEST(OpcodeFormsTest, ClearWithoutItsCountByteStillClears) {
  const RunOutcome outcome = RunCode(CodeBuilder().Op(7, 1).Str("text").Byte(10));
  ExpectMacroError(outcome, kMalformed, kCodeFile);
  EXPECT_EQ(outcome.output, "");
}

// ---- what banking commands work with ----------------------------------------------------------

// The error of a command whose surroundings lack something, 0 for none.
struct Needed {
  unsigned request = 0, message = 0, dialog = 0, issuer = 0;
};

Needed NeededBy(int opcode) {
  constexpr unsigned kNoRequest = 17501, kNoTree = 17498;
  switch (opcode) {
    case 24:
    case 26:
    case 60:
      return {kNoRequest, kNoTree, kNoTree};
    case 22:
    case 69:
    case 134:
    case 144:
      return {kNoRequest};
    case 132:
    case 133:
    case 139:
    case 140:
    case 141:
    case 142:
    case 143:
      return {.request = kNoRequest, .issuer = kMalformed};
    case 128:
    case 129:
      return {kMalformed};
    default:
      return {};
  }
}

TEST(OpcodeFormsTest, EveryBankingCommandSaysWhatItLacks) {
  ForEachRow([](const Opcode& row) {
    if (!IsBanking(row)) return;
    const Needed needed = NeededBy(row.number);
    const struct {
      Lacking lacking;
      unsigned code;
    } cases[] = {{Lacking::kNothing, 0},
                 {Lacking::kRequest, needed.request},
                 {Lacking::kMessage, needed.message},
                 {Lacking::kDialog, needed.dialog},
                 {Lacking::kIssuer, needed.issuer}};
    const std::string bytes = Forms(row).front().Bytes();
    for (const auto& [lacking, code] : cases) {
      SCOPED_TRACE(std::string(row.mnemonic) + ", " + std::to_string(static_cast<int>(lacking)));
      const RunOutcome outcome = RunBankingCode(Preamble().Raw(bytes).Exit(), lacking);
      EXPECT_EQ(outcome.ok, code == 0);
      ASSERT_EQ(outcome.error.size(), code == 0 ? 0U : 1U);
      if (code != 0) EXPECT_EQ(outcome.error[0].code, code);
    }
  });
}

}  // namespace
}  // namespace tmx
