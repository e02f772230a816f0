// The verifier against the engine: what it accepts never raises 17490 for a reason that lies in the
// file, and what raises it was reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "compiler/instruction.h"
#include "compiler/macro_image.h"
#include "compiler/verifier.h"
#include "tests/support/engine_run.h"
#include "tests/support/long_run.h"
#include "tests/support/program_generator.h"

namespace tmx::compiler {
namespace {

constexpr unsigned kMalformed = 17490;
constexpr std::uint64_t kMostSteps = 3000;

// Remembers where a run is, and ends endless ones.
class LastInstruction : public MeMacroObserver {
 public:
  LastInstruction(MeMacroEngine& engine, const std::map<std::string, std::string>& codes)
      : engine_(engine), codes_(codes) {}

  bool ShouldBreak(unsigned short) override {
    // After an error one more opcode is fetched, and never executed.
    if (engine_.GetStatus().IsSet()) return false;
    const HbStackFrame& frame = *engine_.GetCallStack()->CurFrame();
    const auto code = codes_.find(std::string(frame.GetSubName().View()));
    sub_ = std::string(frame.GetSubName().View());
    offset_ = frame.GetByteCode()->GetPC() - std::size_t{1};
    instruction_.reset();
    if (code != codes_.end()) instruction_ = DecodeInstruction(code->second, offset_);
    behind_input_ = engine_.GetInputPos() > engine_.GetInput().Len();
    much_output_ = engine_.GetOutput().Len() > kMuch;
    if (++steps_ == kMostSteps) engine_.Stop(true);
    return false;
  }
  void OnFramePushed() override {}
  void OnFramePopped() override {}
  void OnCurFrameChanged() override {}
  void OnVariablesChanged() override {}
  void OnRunFinished() override {}

  const std::string& Sub() const { return sub_; }
  std::size_t Offset() const { return offset_; }

  // Whether values alone may make the instruction fail: a division by zero, a cursor behind the
  // end of the input, a text that becomes too long.
  bool MayFailOnValues() const {
    if (!instruction_) return false;
    const std::string_view command = instruction_->opcode->mnemonic;
    const auto& operands = instruction_->operands;
    if (command == "op")
      return operands[1].number == '/' || operands[1].number == '%' || operands[0].number == 1;
    if (command == "read_string") return behind_input_;
    if (command == "read_append") return true;
    if (!command.starts_with("write_") && command != "read_amount") return false;
    bool wide = much_output_;
    for (const DecodedValue& value : operands) {
      const std::string_view name = value.shape->name;
      if (name == "width" || name == "decimals")
        wide = wide || value.is_variable || static_cast<std::uint16_t>(value.number) > kMuch;
    }
    return wide;
  }

 private:
  static constexpr unsigned kMuch = 30000;

  MeMacroEngine& engine_;
  const std::map<std::string, std::string>& codes_;
  std::string sub_;
  std::size_t offset_ = 0;
  std::optional<Instruction> instruction_;
  bool behind_input_ = false;
  bool much_output_ = false;
  std::uint64_t steps_ = 0;
};

// The code of every subroutine that can be found.
std::map<std::string, std::string> CodesOf(const Program& program) {
  std::map<std::string, std::string> codes;
  for (const tmx::MacroImage* file : {&program.file, &program.general}) {
    const MacroImage image{file->index.value_or(""), file->code.value_or("")};
    for (const IndexEntry& entry : ReadIndex(image.index).entries) {
      std::string_view code;
      if (FindCode(image, entry, code)) codes.emplace(entry.name, code);
    }
  }
  return codes;
}

struct Outcome {
  bool malformed = false;  // 17490
  bool on_values = false;  // perhaps for the values alone
  std::string where;       // the error's parameter
  std::string sub;         // the last instruction that was executed
  std::size_t offset = 0;
};

void Load(EngineHost& host, const Program& program) {
  host.Write(program.general);
  host.PushFile(program.file);
}

Outcome RunOn(EngineHost& host, const Program& program, const std::string& sub,
              const std::vector<HostParam>& params) {
  MeMacroEngine& engine = host.Engine();
  const std::map<std::string, std::string> codes = CodesOf(program);
  LastInstruction last(engine, codes);
  engine.SetObserver(&last);
  const RunOutcome run = host.Run(sub, params);
  Outcome outcome;
  for (const ErrorChain* chain : {&run.error, &run.status})
    for (const ErrorLink& link : *chain)
      if (link.code == kMalformed) {
        outcome.malformed = true;
        outcome.where = link.param;
      }
  outcome.on_values = last.MayFailOnValues();
  outcome.sub = last.Sub();
  outcome.offset = last.Offset();
  return outcome;
}

std::string AllFindings(const Verification& verification) {
  std::string out;
  for (const Finding& finding : verification.findings)
    out += Describe(finding) + (finding.position ? " @" + std::to_string(*finding.position) : "") +
           '\n';
  return out;
}

// Whether a fault at the place of the engine's error was reported.
bool Reported(const Verification& verification, const Outcome& outcome) {
  for (const Finding& finding : verification.findings) {
    if (finding.kind == Finding::Kind::kWarning) continue;
    if (finding.kind == Finding::Kind::kUnchecked || finding.subroutine.empty()) return true;
    if (finding.subroutine == outcome.sub && finding.offset == outcome.offset) return true;
    // A read past the end names the file; it can happen where no instruction begins any more.
    if (!finding.position &&
        outcome.where == std::string(EngineHost::kMacroDir) + "/" + finding.file + ".hbx")
      return true;
  }
  return false;
}

std::vector<CheckedFile> FilesOf(const Program& program) {
  return {{"general", program.general.index, program.general.code},
          {program.file.name, program.file.index, program.file.code}};
}

void ExpectFound(const Program& program, const Verification& verification, const Outcome& outcome) {
  if (!outcome.malformed || outcome.on_values) return;
  EXPECT_FALSE(verification.Accepted()) << outcome.where << '\n' << program.Describe();
  EXPECT_TRUE(Reported(verification, outcome)) << outcome.where << '\n'
                                               << AllFindings(verification) << program.Describe();
}

TEST(VerifierFuzz, EveryStructuralErrorOfARunWasReported) {
  const auto programs = test::Runs<std::uint64_t>(2000, 100000);
  int accepted = 0;
  int malformed = 0;
  for (std::uint64_t seed = 0; seed < programs; ++seed) {
    const Program program = MakeProgram(seed);
    SCOPED_TRACE(seed);
    EntryPoint entry{program.sub, {}};
    for (const HostParam& param : program.params)
      entry.parameters.push_back(static_cast<TypeCode>(param.type));
    const Verification verification = Verify(FilesOf(program), {entry}, EngineKind::kGeneric);
    EngineHost host;
    Load(host, program);
    const Outcome outcome = RunOn(host, program, program.sub, program.params);
    accepted += verification.Accepted() ? 1 : 0;
    malformed += outcome.malformed ? 1 : 0;
    ExpectFound(program, verification, outcome);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(accepted, 100);
  EXPECT_GT(malformed, 100);
}

// The types that a subroutine declares for its parameters.
std::vector<HostParam> DeclaredParameters(const std::string& code, std::mt19937_64& random) {
  std::vector<HostParam> params;
  std::size_t pc = 0;
  for (auto instruction = DecodeInstruction(code, pc); instruction;
       instruction = DecodeInstruction(code, pc)) {
    if (std::string_view(instruction->opcode->mnemonic) != "param") break;
    const unsigned type = instruction->operands[0].number;
    const char* const values[] = {"",      "12", "20260228", "", "",    "7",
                                  "70000", "",   "1,50",     "", "true"};
    if (type > 10 || type == 0 || type == 3 ||
        instruction->operands[1].number != 33 + params.size())
      break;
    params.push_back(
        {type, random() % 4 == 0 || type == 4 || type == 7 || type == 9, values[type]});
    pc = instruction->end;
  }
  // What is not passed is made by the declaration.
  while (!params.empty() && (random() % 4 == 0 || params.back().null)) params.pop_back();
  return params;
}

// Without entry points the verifier answers for every subroutine called with what it declares.
TEST(VerifierFuzz, AcceptedFilesNeverFailWhereverTheRunStarts) {
  std::mt19937_64 random(3);
  const auto programs = test::Runs<std::uint64_t>(700, 50000);
  int accepted = 0;
  int runs = 0;
  for (std::uint64_t seed = 0; seed < programs; ++seed) {
    const Program program = MakeProgram(seed);
    SCOPED_TRACE(seed);
    const Verification verification = Verify(FilesOf(program), {}, EngineKind::kGeneric);
    accepted += verification.Accepted() ? 1 : 0;
    // One engine for all runs, which share its statics.
    EngineHost host;
    Load(host, program);
    for (const auto& [name, code] : CodesOf(program)) {
      const Outcome outcome = RunOn(host, program, name, DeclaredParameters(code, random));
      ++runs;
      ExpectFound(program, verification, outcome);
      if (::testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(accepted, static_cast<int>(programs / 10));
  EXPECT_GT(runs, accepted);
}

}  // namespace
}  // namespace tmx::compiler
