// The verifier against the engine: what it accepts never raises 17490 for a reason that lies in the
// file, and what raises it was reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <iostream>
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

// The code of every subroutine that can be found.
using Codes = std::map<std::string, std::string>;

Codes CodesOf(const Program& program) {
  Codes codes;
  for (const tmx::MacroImage* file : {&program.file, &program.general}) {
    const MacroImage image{file->index.value_or(""), file->code.value_or("")};
    for (const IndexEntry& entry : ReadIndex(image.index).entries) {
      std::string_view code;
      if (FindCode(image, entry, code)) codes.emplace(entry.name, code);
    }
  }
  return codes;
}

// Remembers where a run is, and ends endless ones.
class LastInstruction : public MeMacroObserver {
 public:
  LastInstruction(MeMacroEngine& engine, const Codes& codes) : engine_(engine), codes_(codes) {}

  bool ShouldBreak(unsigned short) override {
    // After an error one more opcode is fetched, and never executed.
    if (engine_.GetStatus().IsSet()) return false;
    const HbStackFrame& frame = *engine_.GetCallStack()->CurFrame();
    sub_ = frame.GetSubName();
    offset_ = frame.GetByteCode()->GetPC() - std::size_t{1};
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

  std::string Sub() const { return std::string(sub_.View()); }
  std::size_t Offset() const { return offset_; }

  // Whether values alone may make the instruction fail: a division by zero, a cursor behind the
  // end of the input, a text that becomes too long.
  bool MayFailOnValues() const {
    const auto code = codes_.find(Sub());
    if (code == codes_.end()) return false;
    const std::optional<Instruction> instruction = DecodeInstruction(code->second, offset_);
    if (!instruction) return false;
    const std::string_view command = instruction->opcode->mnemonic;
    const auto& operands = instruction->operands;
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
  const Codes& codes_;
  String sub_;
  std::size_t offset_ = 0;
  bool behind_input_ = false;
  bool much_output_ = false;
  std::uint64_t steps_ = 0;
};

struct Outcome {
  bool malformed = false;  // 17490
  bool on_values = false;  // perhaps for the values alone
  std::string where;       // the error's parameter
  std::string sub;         // the last instruction that was executed
  std::size_t offset = 0;
  std::uint64_t steps = 0;
};

void Load(EngineHost& host, const Program& program) {
  host.Write(program.general);
  host.PushFile(program.file);
}

Outcome RunOn(EngineHost& host, const Codes& codes, const std::string& sub,
              const std::vector<HostParam>& params) {
  MeMacroEngine& engine = host.Engine();
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
  outcome.on_values = outcome.malformed && last.MayFailOnValues();
  outcome.sub = last.Sub();
  outcome.offset = last.Offset();
  outcome.steps = run.steps;
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
    const Outcome outcome = RunOn(host, CodesOf(program), program.sub, program.params);
    accepted += verification.Accepted() ? 1 : 0;
    malformed += outcome.malformed ? 1 : 0;
    ExpectFound(program, verification, outcome);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(accepted, 100);
  EXPECT_GT(malformed, 100);
}

// The types that a subroutine declares for its parameters.
std::vector<TypeCode> DeclaredTypes(const std::string& code) {
  std::vector<TypeCode> types;
  std::size_t pc = 0;
  for (auto instruction = DecodeInstruction(code, pc); instruction;
       instruction = DecodeInstruction(code, pc)) {
    pc = instruction->end;
    if (instruction->opcode->number == 160 || instruction->opcode->number == 161)
      continue;  // marks
    if (std::string_view(instruction->opcode->mnemonic) != "param") break;
    const unsigned type = instruction->operands[0].number;
    if (type > 10 || type == 0 || type == 3 ||
        instruction->operands[1].number != kFirstHolderId + types.size())
      break;
    types.push_back(static_cast<TypeCode>(type));
  }
  return types;
}

std::string AnyText(std::mt19937_64& random) {
  constexpr std::array kTexts = {"", "0", "-12,50", "1.234,56", "31.02.2026", "  7", "?", "'", ","};
  std::string text;
  switch (random() % 4) {
    case 0:
      return kTexts[random() % kTexts.size()];
    case 1:
      text.resize(random() % 40);
      for (char& byte : text) byte = static_cast<char>(random());
      return text;
    default:
      return RandomBankAnswer(random());
  }
}

HostParam AnyParameter(TypeCode type, std::mt19937_64& random) {
  const auto any = static_cast<std::int32_t>(random());
  const std::int32_t number = random() % 2 == 0 ? any : any % 5;
  HostParam param{static_cast<unsigned>(type), random() % 8 == 0, ""};
  switch (type) {
    case TypeCode::kString:
    case TypeCode::kAmount:
      param.value = AnyText(random);
      break;
    case TypeCode::kDate:
      param.value =
          std::to_string(random() % 2 == 0 ? 19000101 + random() % 2000000 : random() % 100000000);
      break;
    case TypeCode::kInt:
      param.value = std::to_string(static_cast<std::int16_t>(number));
      break;
    case TypeCode::kLong:
      param.value = std::to_string(number);
      break;
    case TypeCode::kBool:
      param.value = random() % 2 == 0 ? "true" : "false";
      break;
    default:
      param.null = true;
  }
  return param;
}

// Some of the parameters, for what is not passed is made by the declaration.
std::vector<HostParam> AnyParameters(const std::vector<TypeCode>& types, std::mt19937_64& random) {
  const std::size_t passed = random() % 2 == 0 ? types.size() : random() % (types.size() + 1);
  std::vector<HostParam> params;
  for (std::size_t at = 0; at < passed; ++at) params.push_back(AnyParameter(types[at], random));
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
    const Codes codes = CodesOf(program);
    for (const auto& [name, code] : codes) {
      const Outcome outcome = RunOn(host, codes, name, AnyParameters(DeclaredTypes(code), random));
      ++runs;
      ExpectFound(program, verification, outcome);
      if (::testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(accepted, static_cast<int>(programs / 10));
  EXPECT_GT(runs, accepted);
}

// Each run starts anywhere with anything that a host may pass, and meets the statics that the runs
// before it left.
TEST(VerifierFuzz, AcceptedFilesNeverFailInAThousandRuns) {
  constexpr int runs_of_a_file = 1000;
  const auto wanted = test::Runs<int>(20, 1000);
  std::mt19937_64 random(5);
  int accepted = 0;
  int imperfect = 0;
  int on_values = 0;
  std::uint64_t steps = 0;
  for (std::uint64_t seed = 0; accepted < wanted; ++seed) {
    const Program program = MakeProgram(seed);
    if (!Verify(FilesOf(program), {}, EngineKind::kGeneric).Accepted()) continue;
    SCOPED_TRACE(program.Describe());
    ++accepted;
    imperfect += program.kind != Program::kWellFormed ? 1 : 0;
    const Codes codes = CodesOf(program);
    EngineHost host;
    Load(host, program);
    for (int run = 0; run < runs_of_a_file; ++run) {
      const auto start = std::next(codes.begin(), static_cast<long>(random() % codes.size()));
      const Outcome outcome =
          RunOn(host, codes, start->first, AnyParameters(DeclaredTypes(start->second), random));
      steps += outcome.steps;
      on_values += outcome.malformed ? 1 : 0;
      ASSERT_TRUE(!outcome.malformed || outcome.on_values)
          << outcome.where << " in " << outcome.sub << ", run " << run << " from " << start->first;
    }
  }
  EXPECT_GT(imperfect, 0);
  EXPECT_GT(on_values, 0);
  std::cout << accepted << " accepted files, " << imperfect
            << " of them flawed or damaged: " << accepted * runs_of_a_file << " runs, " << steps
            << " instructions, " << on_values
            << " runs ended by their values, none by their file\n";
}

}  // namespace
}  // namespace tmx::compiler
