#include "tests/support/engine_run.h"

#include "tmxtools/variables/variables.h"

namespace tmx {
namespace {

constexpr unsigned kAmount = 8;

// The host's own reference on a variable that it passes.
struct Release {
  void operator()(HbVariable* variable) const { variable->DecRefCount(); }
};
using HostVariable = std::unique_ptr<HbVariable, Release>;

HostVariable MakeVariable(const HostParam& param) {
  HostVariable variable(HbVariables::CreateVariable(
      static_cast<unsigned short>(param.type == kAmount ? +kStringType : param.type)));
  if (param.null) return variable;
  switch (variable->GetType()) {
    case kStringType:
      static_cast<HbStringVariable&>(*variable).Set(String(std::string_view(param.value)));
      break;
    case kDateType:
      static_cast<HbDateVariable&>(*variable).Set(HbDate(std::stoul(param.value)));
      break;
    case kInt16Type:
      static_cast<HbIntVariable&>(*variable).Set(static_cast<short>(std::stoi(param.value)));
      break;
    case kInt32Type:
      static_cast<HbLongVariable&>(*variable).Set(std::stol(param.value));
      break;
    default:
      static_cast<HbBoolVariable&>(*variable).Set(param.value == "true");
      break;
  }
  return variable;
}

void PassVariable(HbStackFrame& frame, const HostParam& param, HbVariable& variable) {
  if (param.type != kAmount) return frame.PushParameter(&variable);
  auto holder =
      std::make_unique<HbVariableHolder>(kAmountType, nullptr, 0UL, HbVariableHolder::kParameter);
  holder->SetVariable(&variable);
  frame.PushHolder(holder.release());
}

}  // namespace

ErrorChain ChainOf(const HbError& error) {
  ErrorChain chain;
  for (const HbError* link = &error; link != nullptr && link->IsSet(); link = link->GetPrev())
    chain.push_back({link->GetCode(), std::string(link->GetParamText()->View())});
  return chain;
}

VariableState StateOf(const HbVariable& variable) {
  VariableState state{variable.GetType(), variable.IsNull(), ""};
  switch (variable.GetType()) {
    case kStringType:
      state.value = std::string(static_cast<const HbStringVariable&>(variable).Get().View());
      break;
    case kDateType:
      state.value = std::to_string(static_cast<const HbDateVariable&>(variable).Get().GetDate());
      break;
    case kInt16Type:
      state.value = std::to_string(static_cast<const HbIntVariable&>(variable).Get());
      break;
    case kInt32Type:
      state.value = std::to_string(static_cast<const HbLongVariable&>(variable).Get());
      break;
    case kBoolType:
      state.value = static_cast<const HbBoolVariable&>(variable).Get() ? "true" : "false";
      break;
    default:
      break;
  }
  return state;
}

void RecordingObserver::Record(ObserverEvent::Kind kind, unsigned opcode) {
  const HbCallStack* stack = engine_.GetCallStack();
  const HbStackFrame* frame = stack != nullptr ? stack->CurFrame() : nullptr;
  events_.push_back({kind, opcode, stack != nullptr ? stack->Count() : 0u,
                     frame != nullptr ? frame->GetMacroSourceLine() : 0u});
}

bool RecordingObserver::ShouldBreak(unsigned short opcode) {
  Record(ObserverEvent::kShouldBreak, opcode);
  const std::uint64_t at = ++breaks_;
  if (at == plan_.stop_at) engine_.Stop(true);
  return plan_.pause_at.contains(at);
}

RunOutcome RunOn(MeMacroEngine& engine, const std::string& sub,
                 const std::vector<HostParam>& params, const ObserverPlan& plan) {
  RecordingObserver observer(engine, plan);
  if (plan.attached) engine.SetObserver(&observer);

  RunOutcome outcome;
  HbError error;
  std::vector<HostVariable> variables;
  HbStackFrame* frame = engine.LoadSub(String(std::string_view(sub)), error);
  if (frame != nullptr) {
    outcome.loaded = true;
    for (const HostParam& param : params) {
      variables.push_back(MakeVariable(param));
      PassVariable(*frame, param, *variables.back());
    }
    outcome.ok = engine.Call(frame, error);
    while (engine.GetCallStack() != nullptr) outcome.ok = engine.Continue(&error);
    outcome.steps = engine.GetStepCount();
  }
  engine.SetObserver(nullptr);

  outcome.error = ChainOf(error);
  outcome.status = ChainOf(engine.GetStatus());
  outcome.condition = engine.GetCondition();
  outcome.output = std::string(engine.GetOutput().View());
  outcome.input = std::string(engine.GetInput().View());
  outcome.input_pos = engine.GetInputPos();
  for (const HostVariable& variable : variables) outcome.params.push_back(StateOf(*variable));
  if (const HbVariables* statics = engine.GetStatics(); statics != nullptr) {
    HbVariablesIter walk(statics);
    for (const HbVariable* variable = walk.GetFirst(); variable != nullptr;
         variable = walk.GetNext())
      outcome.statics[static_cast<std::uint32_t>(walk.GetId())] = StateOf(*variable);
  }
  outcome.events = observer.Events();
  return outcome;
}

EngineHost::EngineHost(Variant variant)
    : EngineHost(variant == kPlain ? std::make_unique<MeMacroEngine>(kMacroPath)
                                   : std::make_unique<DispatchingEngine>(kMacroPath)) {}

EngineHost::EngineHost(std::unique_ptr<MeMacroEngine> engine) : engine_(std::move(engine)) {
  env_.MakeDir(kMacroDir);
}

void EngineHost::Write(const MacroImage& image) {
  const std::string path = std::string(kMacroDir) + "/" + image.name;
  if (image.index) env_.Put(path + ".hbz", *image.index);
  if (image.code) env_.Put(path + ".hbx", *image.code);
}

void EngineHost::PushFile(const MacroImage& image) {
  Write(image);
  HbError error;
  engine_->PushFile(String(std::string_view(image.name)), error);
}

}  // namespace tmx
