// tmx macro run and trace: run a subroutine and print what a host sees.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "compiler/disassembler.h"
#include "compiler/keywords.h"
#include "tmxtools/macro/engine.h"
#include "tools/command.h"
#include "tools/macro_command.h"
#include "tools/macro_files.h"
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

String Text(const std::string& text) { return String(std::string_view(text)); }

// Bytes as code points, so that a text may hold any byte.
std::string Utf8(std::string_view latin1) {
  std::string utf8;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

// ---- parameters -------------------------------------------------------------------------------

template <typename Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ParseDate(std::string_view text, HbDate& date) {
  unsigned long number = 0;
  if (text.size() != 8 || !ParseNumber(text, number)) return false;
  date = HbDate(number);
  return true;
}

bool IsAmountText(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const std::size_t comma = text.find(',');
  const std::string digits =
      std::string(text.substr(0, comma)) +
      (comma == std::string_view::npos ? "" : std::string(text.substr(comma + 1)));
  return !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos;
}

// What --param takes, for messages.
constexpr std::pair<TypeCode, const char*> kTakes[] = {
    {TypeCode::kString, "a string of at most 65535 bytes"},
    {TypeCode::kDate, "a date as YYYYMMDD"},
    {TypeCode::kInt, "an int from -32768 to 32767"},
    {TypeCode::kLong, "a long from -2147483648 to 2147483647"},
    {TypeCode::kBool, "a bool, true or false"},
    {TypeCode::kAmount, "an amount like -1234,56"},
};

// What is wrong with a parameter.
std::string WhyRefused(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon != std::string::npos)
    for (const auto& [type, taken] : kTakes)
      if (type == compiler::TypeNamed(text.substr(0, colon)))
        return "'" + text.substr(colon + 1) + "' is not " + taken;
  return "'" + text + "' is not TYPE:VALUE with TYPE string, date, int, long, bool or amount";
}

// The host's own reference on each parameter, so that it can be read after the run.
class Parameters {
 public:
  Parameters() = default;
  ~Parameters() {
    for (const Parameter& parameter : parameters_) parameter.variable->DecRefCount();
  }
  Parameters(const Parameters&) = delete;
  Parameters& operator=(const Parameters&) = delete;

  // TYPE:VALUE; false for a type or value that there is not.
  bool Push(HbStackFrame& frame, const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return false;
    const std::string value = text.substr(colon + 1);
    switch (compiler::TypeNamed(text.substr(0, colon))) {
      case TypeCode::kString:
        return PushText(frame, value);
      case TypeCode::kDate: {
        HbDate date;
        return ParseDate(value, date) && PushNew<HbDateVariable>(frame, TypeCode::kDate, date);
      }
      case TypeCode::kInt: {
        short number = 0;
        return ParseNumber(value, number) && PushNew<HbIntVariable>(frame, TypeCode::kInt, number);
      }
      case TypeCode::kLong: {
        std::int32_t number = 0;
        return ParseNumber(value, number) &&
               PushNew<HbLongVariable>(frame, TypeCode::kLong, long{number});
      }
      case TypeCode::kBool:
        return (value == "true" || value == "false") &&
               PushNew<HbBoolVariable>(frame, TypeCode::kBool, value == "true");
      case TypeCode::kAmount:
        return IsAmountText(value) && PushAmount(frame, value);
      default:
        return false;
    }
  }

  bool PushText(HbStackFrame& frame, const std::string& text) {
    return text.size() <= String::MaxLen &&
           PushNew<HbStringVariable>(frame, TypeCode::kString, Text(text));
  }

  Json ToJson() const {
    Json list = Json::array();
    for (const Parameter& parameter : parameters_)
      list.push_back({{"type", compiler::NameOfType(parameter.type)},
                      {"null", parameter.variable->IsNull()},
                      {"value", Value(*parameter.variable)}});
    return list;
  }

 private:
  struct Parameter {
    TypeCode type;
    HbVariable* variable;
  };

  template <class Variable, class Value>
  bool PushNew(HbStackFrame& frame, TypeCode type, const Value& value) {
    HbVariable* const variable = HbVariables::CreateVariable(static_cast<unsigned short>(type));
    static_cast<Variable*>(variable)->Set(value);
    frame.PushParameter(variable);
    parameters_.push_back({type, variable});
    return true;
  }

  bool PushAmount(HbStackFrame& frame, const std::string& text) {
    HbAmount amount;
    amount.SetFromDecimalPointString(Text(text), String());
    frame.PushParam(amount);
    const auto last = static_cast<unsigned short>(frame.GetHolderCount() - 1);
    HbVariable* const variable = frame.GetHolderByPos(last)->GetVariable();
    variable->IncRefCount();
    parameters_.push_back({TypeCode::kAmount, variable});
    return true;
  }

  static Json Value(const HbVariable& variable) {
    switch (static_cast<TypeCode>(variable.GetType())) {
      case TypeCode::kString:
        return Utf8(static_cast<const HbStringVariable&>(variable).Get().View());
      case TypeCode::kDate: {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%08lu",
                      static_cast<unsigned long>(
                          static_cast<const HbDateVariable&>(variable).Get().GetDate()));
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

  std::vector<Parameter> parameters_;
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

class StepLimit : public MeMacroObserver {
 public:
  StepLimit(MeMacroEngine& engine, std::uint64_t max_steps)
      : engine_(engine), max_steps_(max_steps) {}

  bool ShouldBreak(unsigned short) override {
    if (max_steps_ != 0 && ++steps_ > max_steps_) engine_.Stop(true);
    return false;
  }
  void OnFramePushed() override {}
  void OnFramePopped() override {}
  void OnCurFrameChanged() override {}
  void OnVariablesChanged() override {}
  void OnRunFinished() override {}

 protected:
  MeMacroEngine& engine_;

 private:
  std::uint64_t max_steps_;
  std::uint64_t steps_ = 0;
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
                       {"params", parameters.ToJson()},
                       {"pc_steps", engine.GetStepCount()}};
  std::printf("%s\n", result.dump().c_str());
}

void PrintPlain(const MeMacroEngine& engine, const HbError& error) {
  const std::string_view output = engine.GetOutput().View();
  std::fwrite(output.data(), 1, output.size(), stdout);
  const HbError& shown = error.IsSet() ? error : engine.GetStatus();
  for (const HbError* link = &shown; link != nullptr && link->IsSet(); link = link->GetPrev()) {
    const std::string_view parameter = link->GetParamText()->View();
    Complain(ForOutput(std::to_string(link->GetCode()) + ' ' +
                       std::string(link->GetText()->View()) +
                       (parameter.empty() ? "" : " (" + std::string(parameter) + ')')));
  }
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
  bool ok = false;
  StepLimit limit(engine, options.max_steps);
  Tracer tracer(engine, options.max_steps);
  if (std::unique_ptr<HbStackFrame> frame{engine.LoadSub(Text(options.subroutine), error)}) {
    PushAll(parameters, *frame, input, options);
    if (trace)
      engine.SetObserver(&tracer);
    else if (options.max_steps != 0)
      engine.SetObserver(&limit);
    ok = engine.Call(frame.release(), error);
  }
  if (options.json)
    PrintJson(engine, parameters, ok, error);
  else
    PrintPlain(engine, error);
  return ok && !engine.GetStatus().IsSet() ? kDone : kMacroFailed;
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
      ->take_all();
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
