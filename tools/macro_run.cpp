// tmx macro run and trace: run a subroutine and print what a host sees.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "compiler/disassembler.h"
#include "compiler/keywords.h"
#include "tmxtools/macro/engine.h"
#include "tools/command.h"
#include "tools/macro_command.h"
#include "tools/macro_files.h"
#include "tools/macro_lookup.h"
#include "tools/macro_parameters.h"
#include "tools/output.h"

namespace tmx::tools {
namespace {

using Json = nlohmann::ordered_json;

struct RunOptions {
  std::string subroutine;
  std::optional<std::string> input_file;
  std::vector<std::string> params;
  bool json = false;
  std::uint64_t max_steps = 0;
};

// ---- observers --------------------------------------------------------------------------------

// A value as it is written in a source.
std::string Shown(const HbVariableHolder& holder) {
  const HbVariable* const variable = holder.GetVariable();
  if (variable == nullptr || variable->IsNull()) return "null";
  switch (static_cast<TypeCode>(variable->GetType())) {
    case TypeCode::kString:
      return compiler::Quoted(static_cast<const HbStringVariable&>(*variable).Get().View());
    case TypeCode::kDate: {
      const HbDate date = static_cast<const HbDateVariable&>(*variable).Get();
      return std::to_string(date.GetDay()) + '.' + std::to_string(date.GetMonth()) + '.' +
             std::to_string(date.GetYear());
    }
    case TypeCode::kInt:
      return std::to_string(static_cast<const HbIntVariable&>(*variable).Get());
    case TypeCode::kLong:
      return std::to_string(static_cast<const HbLongVariable&>(*variable).Get());
    case TypeCode::kBool:
      return static_cast<const HbBoolVariable&>(*variable).Get() ? "true" : "false";
    default:
      return "?";
  }
}

constexpr std::string_view kAtPosition = " an Position ";

// As in the parameter of an error.
std::string PositionIn(const HbStackFrame& frame) {
  return std::string(frame.GetSubName().View()) + std::string(kAtPosition) +
         std::to_string(frame.GetByteCode()->GetPC());
}

class StepLimit : public MeMacroObserver {
 public:
  StepLimit(MeMacroEngine& engine, std::uint64_t max_steps)
      : engine_(engine), max_steps_(max_steps) {}

  bool ShouldBreak(unsigned short) override {
    if (max_steps_ == 0 || ++steps_ <= max_steps_) return false;
    if (const HbStackFrame* const frame = engine_.GetCallStack()->CurFrame(); stopped_at_.empty())
      stopped_at_ = PositionIn(*frame);
    engine_.Stop(true);
    return false;
  }
  void OnFramePushed() override {}
  void OnFramePopped() override {}
  void OnCurFrameChanged() override {}
  void OnVariablesChanged() override {}
  void OnRunFinished() override {}

  // Where it ended the run, as errors of the engine tell it; else empty.
  const std::string& StoppedAt() const { return stopped_at_; }

 protected:
  MeMacroEngine& engine_;

 private:
  std::uint64_t max_steps_;
  std::uint64_t steps_ = 0;
  std::string stopped_at_;
};

// Prints each instruction before it runs, with the values of its variables.
class Tracer : public StepLimit {
 public:
  using StepLimit::StepLimit;

  bool ShouldBreak(unsigned short opcode) override {
    const HbCallStack* const stack = engine_.GetCallStack();
    // After an error one more opcode is fetched that will not run.
    if (stack != nullptr && stack->CurFrame() != nullptr && !engine_.GetStatus().IsSet())
      Print(*stack, opcode);
    return StepLimit::ShouldBreak(opcode);
  }

 private:
  static void Print(const HbCallStack& stack, unsigned short opcode) {
    const HbStackFrame& frame = *stack.CurFrame();
    const auto& bytes = frame.GetByteCode()->GetCode()->bytes;
    const std::string_view code(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::size_t offset = frame.GetByteCode()->GetPC() - std::size_t{1};
    const auto instruction = compiler::DecodeInstruction(code, offset);
    std::string line(2 * (stack.Count() - std::size_t{1}), ' ');
    line += std::string(frame.GetSubName().View()) + '+' + std::to_string(offset);
    if (frame.GetMacroSourceLine() != 0)
      line += " (" + std::string(frame.GetMacroSourceFile().View()) + ':' +
              std::to_string(frame.GetMacroSourceLine()) + ')';
    line += ": " + (instruction ? compiler::Describe(*instruction)
                                : "opcode " + std::to_string(opcode) + ", malformed");
    if (instruction) line += Values(frame, *instruction);
    std::printf("%s\n", ForOutput(line).c_str());
  }

  static std::string Values(const HbStackFrame& frame, const compiler::Instruction& instruction) {
    std::string values;
    std::set<std::int64_t> shown;
    for (const compiler::DecodedValue& value : instruction.operands) {
      const bool names_holder = value.is_variable || value.shape->kind == OperandKind::kRawId;
      const HbVariableHolder* const holder =
          names_holder ? frame.GetHolder(static_cast<short>(value.number)) : nullptr;
      if (holder == nullptr || !shown.insert(value.number).second) continue;
      values += values.empty() ? "  # " : ", ";
      values += '$' + std::to_string(value.number);
      if (!holder->GetName().IsEmpty()) values += ':' + std::string(holder->GetName().View());
      values += " = " + Shown(*holder);
    }
    return values;
  }
};

// ---- running ----------------------------------------------------------------------------------

Json Value(const HbVariable& variable) {
  switch (static_cast<TypeCode>(variable.GetType())) {
    case TypeCode::kString:
      return Utf8(static_cast<const HbStringVariable&>(variable).Get().View());
    case TypeCode::kDate: {
      char digits[16];
      std::snprintf(
          digits, sizeof digits, "%08lu",
          static_cast<unsigned long>(static_cast<const HbDateVariable&>(variable).Get().GetDate()));
      return digits;
    }
    case TypeCode::kInt:
      return static_cast<const HbIntVariable&>(variable).Get();
    case TypeCode::kLong:
      return static_cast<const HbLongVariable&>(variable).Get();
    default:
      return static_cast<const HbBoolVariable&>(variable).Get();
  }
}

Json ParameterList(const Parameters& parameters) {
  Json list = Json::array();
  for (const auto& [type, variable] : parameters.All())
    list.push_back({{"type", compiler::NameOfType(type)},
                    {"null", variable->IsNull()},
                    {"value", Value(*variable)}});
  return list;
}

Json ErrorList(const HbError& error) {
  Json list = Json::array();
  for (const HbError* link = &error; link != nullptr && link->IsSet(); link = link->GetPrev())
    list.push_back({{"code", link->GetCode()}, {"param", Utf8(link->GetParamText()->View())}});
  return list;
}

void PrintJson(const MeMacroEngine& engine, const Parameters& parameters, bool ok,
               const HbError& error) {
  const Json result = {{"ok", ok},
                       {"error", ErrorList(error)},
                       {"status", ErrorList(engine.GetStatus())},
                       {"condition", engine.GetCondition()},
                       {"output", Utf8(engine.GetOutput().View())},
                       {"input_pos", engine.GetInputPos()},
                       {"params", ParameterList(parameters)},
                       {"pc_steps", engine.GetStepCount()}};
  std::printf("%s\n", result.dump().c_str());
}

// "balance.hbm:12, subroutine Balance: " for a position that an error tells; empty without marks.
std::string PlaceOf(std::string_view position, const MacroLookup& lookup) {
  const std::size_t middle = position.rfind(kAtPosition);
  if (middle == std::string_view::npos) return "";
  const std::string_view digits = position.substr(middle + kAtPosition.size());
  std::size_t behind = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), behind).ec != std::errc())
    return "";
  const std::string subroutine(position.substr(0, middle));
  const std::string place = lookup.PlaceOf(subroutine, behind);
  return place.empty() ? "" : place + ", subroutine " + subroutine + ": ";
}

void PrintOutput(const MeMacroEngine& engine) {
  const std::string_view output = engine.GetOutput().View();
  std::fwrite(output.data(), 1, output.size(), stdout);
}

// `stopped_at` is the position where the run was ended from outside, which the error leaves out.
void PrintFailure(const HbError& error, std::string_view stopped_at, const MacroLookup& lookup) {
  for (const HbError* link = &error; link != nullptr && link->IsSet(); link = link->GetPrev()) {
    const std::string_view given = link->GetParamText()->View();
    const std::string_view parameter = given.empty() ? stopped_at : given;
    Complain(ForOutput(PlaceOf(parameter, lookup) + std::to_string(link->GetCode()) + ' ' +
                       std::string(link->GetText()->View()) +
                       (parameter.empty() ? "" : " (" + std::string(parameter) + ')')));
  }
}

std::string TypesAsText(const std::vector<TypeCode>& types) {
  std::string text;
  for (const TypeCode type : types)
    text += (text.empty() ? "" : ", ") + std::string(compiler::NameOfType(type));
  return '(' + text + ')';
}

// Missing parameters are null, and others than declared end the run only where they are used.
void PrintOtherParameters(const std::string& subroutine, const Parameters& parameters,
                          const MacroLookup& lookup) {
  const std::vector<TypeCode> wanted = lookup.ParametersOf(subroutine);
  std::vector<TypeCode> given;
  for (const Parameters::Parameter& parameter : parameters.All()) given.push_back(parameter.type);
  if (given != wanted)
    Complain(ForOutput(subroutine + " declares the parameters " + TypesAsText(wanted) +
                       ", but was given " + TypesAsText(given)));
}

// Pushes the parameters; false, with a complaint, for one that cannot be.
bool PushAll(Parameters& parameters, HbStackFrame& frame, const std::optional<std::string>& input,
             const RunOptions& options) {
  if (input) parameters.PushText(frame, *input);
  for (const std::string& text : options.params)
    if (!parameters.Push(frame, text)) return Complain("--param: " + WhyRefused(text)), false;
  return true;
}

int RunMacro(const MacroSet& set, const RunOptions& options, bool trace) {
  std::optional<std::string> input;
  if (options.input_file) {
    input = ReadBytes(*options.input_file, String::MaxLen);
    if (!input && errno == EFBIG)
      return Complain(*options.input_file + ": longer than 65535 bytes"), kWrongUse;
    if (!input) return ComplainOf(*options.input_file, "read"), kWrongUse;
  }
  MeMacroEngine engine(Text(set.path));
  HbError error;
  for (const std::string& name : set.files) engine.PushFile(Text(name), error);
  Parameters parameters;
  // Wrong parameters are wrong use also where the subroutine is missing.
  HbStackFrame unused(nullptr, String());
  if (Parameters checked; !PushAll(checked, unused, input, options)) return kWrongUse;
  bool is_loaded = false;
  bool ok = false;
  StepLimit limit(engine, options.max_steps);
  Tracer tracer(engine, options.max_steps);
  StepLimit& observer = trace ? tracer : limit;
  if (std::unique_ptr<HbStackFrame> frame{engine.LoadSub(Text(options.subroutine), error)}) {
    is_loaded = true;
    PushAll(parameters, *frame, input, options);
    if (trace || options.max_steps != 0) engine.SetObserver(&observer);
    ok = engine.Call(frame.release(), error);
  }
  const bool failed = !ok || engine.GetStatus().IsSet();
  if (options.json) {
    PrintJson(engine, parameters, ok, error);
  } else {
    PrintOutput(engine);
    const MacroLookup lookup(ReadMacroFiles(set.path, set.files));
    PrintFailure(error.IsSet() ? error : engine.GetStatus(), observer.StoppedAt(), lookup);
    if (failed && is_loaded) PrintOtherParameters(options.subroutine, parameters, lookup);
  }
  return failed ? kMacroFailed : kDone;
}

void AddRunner(CLI::App& macro, const char* name, const char* help, bool trace, int& exit_code) {
  CLI::App* const command = macro.add_subcommand(name, help);
  const auto set = AddMacroSet(*command);
  const auto options = std::make_shared<RunOptions>();
  command->add_option("--sub", options->subroutine, "the subroutine to run")
      ->required()
      ->type_name("SUB");
  command
      ->add_option("--input-file", options->input_file,
                   "hand a file's bytes over as the first parameter, a string")
      ->type_name("FILE");
  command
      ->add_option("--param", options->params,
                   "a parameter; TYPE is string, date (YYYYMMDD), int, long, bool (true, false)\n"
                   "or amount (with decimal comma); may be repeated")
      ->type_name("TYPE:VALUE")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  if (!trace) command->add_flag("--json", options->json, "print everything as one JSON object");
  command->add_option("--max-steps", options->max_steps,
                      "end the run with 17500 after so many instructions");
  command->callback([=, &exit_code] { exit_code = RunMacro(*set, *options, trace); });
}

}  // namespace

void AddMacroRunCommands(CLI::App& macro, int& exit_code) {
  AddRunner(
      macro, "run",
      "Run a subroutine and print the output that it made. Exit code 3 when the macro failed.",
      false, exit_code);
  AddRunner(macro, "trace", "Run a subroutine and print each instruction before it is executed.",
            true, exit_code);
}

}  // namespace tmx::tools
