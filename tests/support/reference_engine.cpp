#include "tests/support/reference_engine.h"

#include <algorithm>
#include <stdexcept>

namespace tmx {
namespace {

constexpr std::size_t kMaxFrames = 10000;
constexpr std::size_t kMaxText = 65535;
constexpr std::size_t kKeptFrames = 10;
constexpr int kNoTag = -0x10000;  // below every tag that can be read

enum Type : unsigned {
  kString = 1,
  kDate = 2,
  kInt = 5,
  kLong = 6,
  kAmount = 8,
  kBool = 10,
  kChar = 12
};

std::uint32_t BigEndian(std::string_view bytes, std::size_t at, unsigned size) {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < size; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

}  // namespace

// ---- files and frames ------------------------------------------------------------------------

std::string ReferenceEngine::PathOf(const File& file, const char* extension) const {
  return macro_dir_ + "/" + file.image.name + extension;
}

ReferenceEngine::FramePtr ReferenceEngine::LoadSub(const std::string& sub, ErrorChain& error) {
  for (std::size_t slot = kept_frames_.size(); slot-- > 0;)
    if (kept_frames_[slot] != nullptr && kept_frames_[slot]->sub == sub)
      return std::move(kept_frames_[slot]);
  error.clear();
  if (files_.empty()) {
    error = {{17485, ""}};
    return nullptr;
  }
  for (std::size_t file = files_.size(); file-- > 0;) {
    FramePtr frame;
    if (LoadFrom(files_[file], sub, frame, error) || !error.empty()) return frame;
  }
  error = {{17492, sub}};
  return nullptr;
}

// True with a frame; false with or without an error, the latter when the file lacks the name.
bool ReferenceEngine::LoadFrom(File& file, const std::string& sub, FramePtr& frame,
                               ErrorChain& error) {
  const auto fail = [&error](unsigned code, const std::string& param) {
    error = {{code, param}};
    return false;
  };
  const std::string index_name = PathOf(file, ".hbz"), code_name = PathOf(file, ".hbx");
  if (!file.image.index) return fail(17487, index_name);
  const std::string& index = *file.image.index;
  if (index.size() > kMaxText) return fail(17489, "");

  // The whole index is parsed before a name is looked up; the first entry of a name counts.
  std::optional<std::pair<std::uint32_t, std::uint32_t>> found;
  for (std::size_t at = 0; at < index.size();) {
    const std::size_t zero = index.find('\0', at);
    if (zero == std::string::npos || zero + 2 > index.size()) return fail(17490, index_name);
    if (zero + 9 > index.size()) return fail(17490, index_name);
    if (!found && index.compare(at, zero - at, sub) == 0)
      found = {BigEndian(index, zero + 1, 4), BigEndian(index, zero + 5, 2)};
    at = zero + 9;
  }
  if (!found) return false;

  if (!file.image.code) return fail(0x4547, code_name);
  const std::string& code = *file.image.code;
  if (!file.code_checked) {
    if (code.compare(0, 2, "JH") != 0) return fail(17490, code_name);
    if (code.compare(2, 2, "OG") != 0) return fail(17495, code_name);
    file.code_checked = true;
  }
  const std::uint64_t offset = found->first;
  std::uint64_t length = found->second;
  if (length == 0) {
    if (code.size() > offset + kMaxText) return fail(17489, "");
    if (code.size() < offset) return fail(17488, "");
    length = code.size() - offset;
  } else if (code.size() < offset + length) {
    return fail(17488, "");
  }
  frame = std::make_unique<Frame>();
  frame->sub = sub;
  frame->file_name = code_name;
  frame->bytes = code.substr(offset, length);
  return true;
}

void ReferenceEngine::CacheSub(FramePtr frame) {
  frame->holders.clear();
  frame->pc = 0;
  for (FramePtr& slot : kept_frames_) {
    if (slot == nullptr) {
      slot = std::move(frame);
      return;
    }
  }
  if (kept_frames_.size() < kKeptFrames) {
    kept_frames_.push_back(std::move(frame));
  } else {
    kept_frames_[next_kept_] = std::move(frame);
    next_kept_ = (next_kept_ + 1) % kKeptFrames;
  }
}

// ---- the run ---------------------------------------------------------------------------------

RunOutcome ReferenceEngine::Run(const std::string& sub, const std::vector<HostParam>& parameters,
                                const ObserverPlan& plan, std::uint64_t max_fetches) {
  plan_ = plan;
  events_.clear();
  breaks_ = fetches_ = steps_ = 0;
  max_fetches_ = max_fetches;
  hit_limit_ = false;

  RunOutcome outcome;
  std::vector<VariablePtr> variables;
  FramePtr frame = LoadSub(sub, outcome.error);
  if (frame != nullptr) {
    outcome.loaded = true;
    for (const HostParam& parameter : parameters) {
      const VariablePtr variable = Create(parameter.type);
      variable->null = parameter.null;
      if (parameter.null) {
        // keeps the empty value of its type
      } else if (variable->type == kString) {
        variable->text = parameter.value;
      } else if (variable->type == kDate) {
        variable->date = static_cast<std::uint32_t>(std::stoul(parameter.value));
      } else if (variable->type == kBool) {
        variable->number = parameter.value == "true";
      } else {
        variable->number = static_cast<std::int32_t>(std::stol(parameter.value));
      }
      frame->holders.push_back({parameter.type, variable, std::nullopt});
      variables.push_back(variable);
    }
    outcome.ok = Call(std::move(frame), outcome.error);
    while (!frames_.empty() && !hit_limit_) outcome.ok = Continue(&outcome.error);
    frames_.clear();
  } else {
    outcome.error.insert(outcome.error.begin(), {17492, sub});
  }

  outcome.status = status_;
  outcome.condition = condition_;
  outcome.output = output_;
  outcome.input = input_;
  outcome.input_pos = input_pos_;
  for (const VariablePtr& variable : variables) outcome.params.push_back(StateOf(*variable));
  for (const auto& [key, variable] : statics_) outcome.statics[key] = StateOf(*variable);
  outcome.steps = steps_;
  outcome.events = events_;
  return outcome;
}

VariableState ReferenceEngine::StateOf(const Variable& variable) const {
  VariableState state{variable.type, variable.null, ""};
  if (variable.type == kString) state.value = variable.text;
  if (variable.type == kDate) state.value = std::to_string(variable.date);
  if (variable.type == kInt || variable.type == kLong)
    state.value = std::to_string(variable.number);
  if (variable.type == kBool) state.value = variable.number != 0 ? "true" : "false";
  return state;
}

bool ReferenceEngine::Call(FramePtr frame, ErrorChain& error) {
  input_.clear();
  output_.clear();
  input_pos_ = 0;
  status_.clear();
  last_cmd_error_.clear();
  PushFrame(std::move(frame));
  resume_pending_ = false;
  return Continue(&error);
}

bool ReferenceEngine::Continue(ErrorChain* error) {
  while (!frames_.empty()) {
    unsigned opcode = ReadOpCode();
    for (;;) {
      if (hit_limit_) return false;
      if (resume_pending_) {
        if (error != nullptr) *error = status_;
        return !Failed();
      }
      if (!Failed() && (last_cmd_error_.empty() || opcode == 18)) {
        const unsigned count = ReadByte();
        Dispatch(opcode, count);
        break;
      }
      do PopFrame();
      while (!frames_.empty() && Failed());
      if (frames_.empty()) {
        if (error != nullptr) *error = last_cmd_error_.empty() ? status_ : last_cmd_error_;
        return false;
      }
      opcode = ReadOpCode();
    }
  }
  return true;
}

void ReferenceEngine::Stop() {
  if (frames_.empty()) return;
  status_ = {{17500, ""}};
  while (!frames_.empty()) PopFrame();
}

unsigned ReferenceEngine::ReadOpCode() {
  if (++fetches_ > max_fetches_) hit_limit_ = true;
  unsigned byte = ReadByte();
  while (!Failed() && (byte == 255 || byte == 161)) {
    if (byte == 161) {
      ReadByte();
      const unsigned line = ReadUInt();
      if (!Failed()) frames_.back()->line = line;
    }
    byte = ReadByte();
  }
  if (resume_pending_) {
    resume_pending_ = false;
    return byte;
  }
  if (!plan_.attached) return byte;
  Notify(ObserverEvent::kShouldBreak, byte);
  const std::uint64_t at = ++breaks_;
  if (at == plan_.stop_at) Stop();
  if (plan_.pause_at.contains(at) && !frames_.empty()) {
    --frames_.back()->pc;
    resume_pending_ = true;
  }
  return byte;
}

void ReferenceEngine::PushFrame(FramePtr frame) {
  frames_.push_back(std::move(frame));
  Notify(ObserverEvent::kCurFrameChanged);
  Notify(ObserverEvent::kFramePushed);
}

void ReferenceEngine::PopFrame() {
  if (frames_.empty()) return;
  FramePtr frame = std::move(frames_.back());
  frames_.pop_back();
  CacheSub(std::move(frame));
  Notify(ObserverEvent::kCurFrameChanged);
  Notify(ObserverEvent::kFramePopped);
  if (!frames_.empty()) return;
  if (!last_cmd_error_.empty()) status_ = last_cmd_error_;
  Notify(ObserverEvent::kRunFinished);
}

void ReferenceEngine::Notify(ObserverEvent::Kind kind, unsigned opcode) {
  if (!plan_.attached) return;
  events_.push_back({kind, opcode, static_cast<unsigned>(frames_.size()),
                     frames_.empty() ? 0 : frames_.back()->line});
}

ErrorLink ReferenceEngine::ErrorHere(unsigned code) const {
  if (frames_.empty()) return {code, ""};
  const Frame& frame = *frames_.back();
  return {code, frame.sub + " an Position " + std::to_string(frame.pc)};
}

// A text that would grow too long ends the command before it has touched anything.
void ReferenceEngine::Dispatch(unsigned opcode, unsigned count) {
  ++steps_;
  try {
    RunCommand(opcode, count);
  } catch (const std::length_error&) {
    SetMacroStatus(17490);
  }
}

// ---- raw operands ----------------------------------------------------------------------------

bool ReferenceEngine::Has(unsigned size) {
  const Frame& frame = *frames_.back();
  if (std::size_t{frame.pc} + size <= frame.bytes.size()) return true;
  status_ = {{17490, frame.file_name}};
  return false;
}

unsigned ReferenceEngine::Peek(unsigned offset) const {
  const Frame& frame = *frames_.back();
  return static_cast<unsigned char>(frame.bytes[frame.pc + std::size_t{offset}]);
}

unsigned ReferenceEngine::ReadByte() {
  if (frames_.empty() || !Has(1)) return 0;
  const unsigned value = Peek(0);
  frames_.back()->pc += 1;
  return value;
}

// Any byte but 1 is false; a wrong one is taken without an error that the engine would see.
bool ReferenceEngine::ReadBool() { return ReadByte() == 1; }

int ReferenceEngine::ReadInt() {
  if (!Has(2)) return 0;
  const unsigned value = Peek(0) << 8 | Peek(1);
  frames_.back()->pc += 2;
  return static_cast<std::int16_t>(value);
}

std::int32_t ReferenceEngine::ReadLong() {
  if (!Has(4)) return 0;
  const std::uint32_t value = BigEndian(frames_.back()->bytes, frames_.back()->pc, 4);
  frames_.back()->pc += 4;
  return static_cast<std::int32_t>(value);
}

Date ReferenceEngine::ReadDate() {
  if (!Has(4)) return Date(0UL);
  const unsigned year = Peek(2) * 100 + Peek(3);
  const Date date(static_cast<unsigned short>(Peek(0)), static_cast<unsigned short>(Peek(1)),
                  static_cast<unsigned short>(year));
  frames_.back()->pc += 4;
  return date;
}

// The closing zero may be the second-to-last byte of the subroutine, not the last.
std::string ReferenceEngine::ReadString() {
  Frame& frame = *frames_.back();
  std::size_t zero = frame.pc;
  while (zero + 1 < frame.bytes.size() && frame.bytes[zero] != 0) ++zero;
  if (zero + 1 >= frame.bytes.size()) {
    status_ = {{17490, frame.file_name}};
    return "";
  }
  const std::string text = frame.bytes.substr(frame.pc, zero - frame.pc);
  frame.pc = static_cast<std::uint16_t>(zero + 1);
  return text;
}

// ---- tagged operands -------------------------------------------------------------------------

// A tag that cannot be read is no literal with a wrong tag: the bytecode's own error stands.
int ReferenceEngine::ReadTag() { return Has(2) ? ReadInt() : kNoTag; }

void ReferenceEngine::WrongTag(int tag) {
  if (tag != kNoTag) SetMacroStatus(17490);
}

template <class Value, class FromVariable, class FromBytes>
Value ReferenceEngine::ReadAttrib(unsigned type, FromVariable from_variable, FromBytes from_bytes) {
  const int tag = ReadTag();
  if (tag >= 32) {
    const Variable* variable = GetVariable(tag, type);
    return variable == nullptr ? Value{} : from_variable(*variable);
  }
  if (tag == static_cast<int>(type)) return from_bytes();
  WrongTag(tag);
  return Value{};
}

// A variable operand may be any that holds a string, amounts included; a literal must be a string.
std::string ReferenceEngine::ReadStringAttrib() {
  const int tag = ReadTag();
  if (tag >= 32) {
    const Variable* variable = GetVariable(tag, 0);
    if (variable == nullptr) return "";
    if (variable->type == kString) return variable->text;
  } else if (tag == kString) {
    return ReadString();
  }
  WrongTag(tag);
  return "";
}

std::string ReferenceEngine::ReadAmountAttrib() {
  return ReadAttrib<std::string>(
      kAmount, [](const Variable& v) { return v.text; }, [this] { return ReadString(); });
}

int ReferenceEngine::ReadIntAttrib() {
  return ReadAttrib<int>(
      kInt, [](const Variable& v) { return v.number; }, [this] { return ReadInt(); });
}

std::int32_t ReferenceEngine::ReadLongAttrib() {
  return ReadAttrib<std::int32_t>(
      kLong, [](const Variable& v) { return v.number; }, [this] { return ReadLong(); });
}

Date ReferenceEngine::ReadDateAttrib() {
  return Date(ReadAttrib<unsigned long>(
      kDate, [](const Variable& v) { return static_cast<unsigned long>(v.date); },
      [this] { return ReadDate().GetDate(); }));
}

bool ReferenceEngine::ReadBoolAttrib() {
  return ReadAttrib<bool>(
      kBool, [](const Variable& v) { return v.number != 0; }, [this] { return ReadBool(); });
}

char ReferenceEngine::ReadCharAttrib() {
  const int tag = ReadTag();
  if (tag == kChar) return static_cast<char>(ReadByte());
  WrongTag(tag);
  return 0;
}

namespace {

std::string TwoDigits(unsigned number) { return (number < 10 ? "0" : "") + std::to_string(number); }

std::string DateText(Date date) {
  return TwoDigits(date.GetDay()) + "." + TwoDigits(date.GetMonth()) + "." +
         std::to_string(date.GetYear());
}

}  // namespace

std::string ReferenceEngine::ReadAttribAsString() {
  const int tag = ReadTag();
  if (tag >= 32) {
    const Variable* variable = GetVariable(tag, 0);
    if (variable == nullptr) return "";
    if (variable->type == kString) return variable->text;
    if (variable->type == kDate) return DateText(Date(static_cast<unsigned long>(variable->date)));
    if (variable->type == kInt || variable->type == kLong) return std::to_string(variable->number);
  } else if (tag == kString || tag == kAmount) {
    return ReadString();
  } else if (tag == kDate) {
    const Date date = ReadDate();
    return DateText(date);
  } else if (tag == kInt) {
    return std::to_string(ReadInt());
  } else if (tag == kLong) {
    return std::to_string(ReadLong());
  }
  WrongTag(tag);
  return "";
}

ReferenceEngine::Variable* ReferenceEngine::ReadVariable(unsigned type) {
  const int tag = ReadTag();
  if (tag >= 32) return GetVariable(tag, type);
  WrongTag(tag);
  return nullptr;
}

// ---- variables -------------------------------------------------------------------------------

ReferenceEngine::Holder* ReferenceEngine::GetHolder(int id) {
  std::vector<Holder>& holders = frames_.back()->holders;
  if (id < 33 || static_cast<std::size_t>(id - 33) >= holders.size()) return nullptr;
  return &holders[static_cast<std::size_t>(id - 33)];
}

// Types 3 and above 10 have no variables; amounts lie in string variables.
ReferenceEngine::VariablePtr ReferenceEngine::Create(unsigned type) {
  if (type == 0 || type == 3 || type > 10) return nullptr;
  auto variable = std::make_shared<Variable>();
  variable->type = type == kAmount ? +kString : type;
  return variable;
}

ReferenceEngine::Variable* ReferenceEngine::GetVariable(int id, unsigned type, bool create) {
  Holder* holder = GetHolder(id);
  if (holder == nullptr || (type != 0 && type != holder->type)) return nullptr;
  if (holder->variable != nullptr) return holder->variable.get();
  if (!holder->static_key) {
    if (create) holder->variable = Create(holder->type);
    return holder->variable.get();
  }
  const unsigned wanted = type != 0 ? type : holder->type;
  const unsigned checked = wanted == kAmount ? +kString : wanted;
  const auto found = statics_.find(*holder->static_key);
  if (found != statics_.end()) {
    if (found->second->type != checked) return nullptr;
    holder->variable = found->second;
  } else if (create) {
    holder->variable = Create(checked);
    if (holder->variable != nullptr) statics_[*holder->static_key] = holder->variable;
  }
  return holder->variable.get();
}

ReferenceEngine::Variable* ReferenceEngine::GetVariable(int id, unsigned type) {
  Variable* variable = GetVariable(id, type, true);
  if (variable == nullptr) {
    SetMacroStatus(17490);
  } else {
    VariablesChanged();
  }
  return variable;
}

void ReferenceEngine::SetText(Variable* variable, std::string text) {
  if (text.size() > kMaxText) throw std::length_error("text");
  variable->text = std::move(text);
  variable->null = false;
  VariablesChanged();
}

void ReferenceEngine::SetDate(Variable* variable, Date date) {
  variable->date = static_cast<std::uint32_t>(date.GetDate());
  variable->null = false;
  VariablesChanged();
}

void ReferenceEngine::SetNumber(Variable* variable, std::int64_t number) {
  variable->number = variable->type == kInt    ? static_cast<std::int16_t>(number)
                     : variable->type == kBool ? number != 0
                                               : static_cast<std::int32_t>(number);
  variable->null = false;
  VariablesChanged();
}

// Reads a default value: a literal without a tag. Other types read nothing.
void ReferenceEngine::Preset(Variable& variable) {
  if (!Failed()) {
    Variable value = variable;
    value.null = false;
    switch (variable.type) {
      case kString:
        value.text = ReadString();
        break;
      case kDate:
        value.date = static_cast<std::uint32_t>(ReadDate().GetDate());
        break;
      case kInt:
        value.number = ReadInt();
        break;
      case kLong:
        value.number = ReadLong();
        break;
      case kBool:
        value.number = ReadBool();
        break;
      default:
        value.null = variable.null;
        break;
    }
    if (!Failed()) variable = value;
  }
  VariablesChanged();
}

// ---- declarations, jumps and calls -----------------------------------------------------------

bool ReferenceEngine::CheckCount(unsigned count, unsigned least, unsigned most) {
  if (count >= least && count <= most) return true;
  SetMacroStatus(17490);
  return false;
}

// 1 CmdHolderParam, 5 CmdHolderLocal, 130 CmdDeclareHolder
void ReferenceEngine::CmdHolder(unsigned opcode, unsigned count) {
  if (!CheckCount(count, 2, opcode == 130 ? 2 : 3)) return;
  const unsigned type = ReadByte();
  const int id = ReadInt();
  if (Failed()) return;
  if (opcode != 1 || GetHolder(id) == nullptr) {
    std::vector<Holder>& holders = frames_.back()->holders;
    holders.push_back({type, nullptr, std::nullopt});
    VariablesChanged();
    if (id != 32 + static_cast<int>(holders.size())) SetMacroStatus(17490);
  }
  if (count < 3) return;
  Variable* variable = GetVariable(id, 0);
  if (variable != nullptr) Preset(*variable);
}

void ReferenceEngine::CmdHolderStatic() {
  const unsigned type = ReadByte();
  const int id = ReadInt();
  const auto key = static_cast<std::uint32_t>(ReadLong());
  if (Failed()) return;
  Holder* holder = GetHolder(id);
  if (holder == nullptr) {
    std::vector<Holder>& holders = frames_.back()->holders;
    holders.push_back({type, nullptr, std::nullopt});
    VariablesChanged();
    if (id != 32 + static_cast<int>(holders.size())) SetMacroStatus(17490);
    holder = &holders.back();
  }
  holder->static_key = key;
}

void ReferenceEngine::CmdIfGoto() {
  const bool negate = ReadBool();
  const unsigned target = ReadUInt();
  if (Failed()) return;
  if (negate) condition_ = !condition_;
  if (condition_) frames_.back()->pc = static_cast<std::uint16_t>(target);
}

void ReferenceEngine::InternalCmdCall(const std::string& name, unsigned count) {
  if (Failed()) return;
  ErrorChain error;
  FramePtr callee = LoadSub(name, error);
  if (callee == nullptr) status_ = error;
  const auto push_value = [&callee](unsigned type) -> Variable& {
    callee->holders.push_back({type, Create(type), std::nullopt});
    callee->holders.back().variable->null = false;
    return *callee->holders.back().variable;
  };
  for (unsigned operand = 1; operand < count && !Failed(); ++operand) {
    const std::uint16_t before = frames_.back()->pc;
    const int tag = ReadInt();
    if (tag >= 32) {
      const Holder* holder = GetHolder(tag);
      if (holder == nullptr) return SetMacroStatus(17490);
      const unsigned type = holder->type;
      if (GetVariable(tag, type) != nullptr)
        callee->holders.push_back({type, GetHolder(tag)->variable, std::nullopt});
      continue;
    }
    if (Failed()) return;
    frames_.back()->pc = before;
    switch (tag) {
      case kString:
        push_value(kString).text = ReadStringAttrib();
        break;
      case kDate:
        push_value(kDate).date = static_cast<std::uint32_t>(ReadDateAttrib().GetDate());
        break;
      case kInt:
        push_value(kInt).number = ReadIntAttrib();
        break;
      case kLong:
        push_value(kLong).number = ReadLongAttrib();
        break;
      // The callee gets an amount by value as a mere text.
      case kAmount:
        push_value(kString).text = ReadAmountAttrib();
        break;
      case kBool:
        push_value(kBool).number = ReadBoolAttrib();
        break;
      default:
        break;  // the tag is not taken either
    }
  }
  if (Failed()) return;
  if (frames_.size() >= kMaxFrames) return SetMacroStatus(17490);
  PushFrame(std::move(callee));
}

void ReferenceEngine::CmdVariableName() {
  const int id = ReadInt();
  ReadString();
  if (Failed()) return;
  if (GetHolder(id) == nullptr) return SetMacroStatus(17490);
  VariablesChanged();
}

void ReferenceEngine::RunCommand(unsigned opcode, unsigned count) {
  switch (opcode) {
    case 1:
    case 5:
    case 130:
      return CmdHolder(opcode, count);
    case 2:
      return CmdCompare();
    case 3:
      return CmdSet();
    case 7:
      return CmdWriteString(count);
    case 8:
      return CmdWriteDate(count);
    case 9:
      return CmdWriteAmount(count);
    case 10:
      return output_.clear();
    case 14:
    case 37:
      return CmdReadText(opcode == 37, count);
    case 15:
      return CheckCount(count, 2, 2) ? CmdReadDate() : void();
    case 16:
      return CmdReadAmount(count);
    case 17:
      return PopFrame();
    case 18:
      condition_ = last_cmd_error_.empty();
      return last_cmd_error_.clear();
    case 25:
    case 50:
      return CmdWriteNumber(opcode, count);
    case 28:
      return CmdOp();
    case 30: {
      const unsigned target = ReadUInt();
      if (!Failed()) frames_.back()->pc = static_cast<std::uint16_t>(target);
      return;
    }
    case 31:
      return CmdIfGoto();
    case 32:
      return InternalCmdCall(ReadString(), count);
    case 33:
      return InternalCmdCall(ReadStringAttrib(), count);
    case 40:
      SetLastCmdError(17496);
      return PopFrame();
    case 41:
    case 42:
    case 43:
      return CheckCount(count, 2, 2) ? CmdGetDatePart(opcode) : void();
    case 44:
    case 45:
    case 46:
      return CheckCount(count, 2, 2) ? CmdSetDatePart(opcode) : void();
    case 48:
      return CmdReadInt(count);
    case 51:
      return CheckCount(count, 4, 4) ? CmdSubString() : void();
    case 52: {
      if (!CheckCount(count, 2, 2)) return;
      Variable* target = ReadVariable(kInt);
      const std::string text = ReadStringAttrib();
      if (!Failed()) SetNumber(target, static_cast<std::int64_t>(text.size()));
      return;
    }
    case 54:
      return CmdReadLong(count);
    case 55:
      return CmdEatLeadingChars(count);
    case 56:
      return CmdEraseTrailingChars(count);
    case 57:
      return CmdSearch(count);
    case 58: {
      if (!CheckCount(count, 1, 1)) return;
      const std::string text = ReadAttribAsString();
      if (Failed()) return;
      input_ = text;
      input_pos_ = 0;
      return;
    }
    case 59:
      return CmdReplaceChars(count);
    case 145: {
      if (!CheckCount(count, 1, 1)) return;
      const int id = ReadInt();
      if (Failed()) return;
      const Variable* variable = GetVariable(id, 0, false);
      condition_ = variable == nullptr || variable->null;
      return;
    }
    case 146: {
      if (!CheckCount(count, 1, 1)) return;
      Variable* target = ReadVariable(kInt);
      if (target != nullptr) SetNumber(target, 2);
      return;
    }
    case 147:
      return CheckCount(count, 3, 3) ? CmdHolderStatic() : void();
    case 148: {
      if (!CheckCount(count, 1, 1)) return;
      Variable* target = ReadVariable(kDate);
      if (target != nullptr) SetDate(target, Date());
      return;
    }
    case 150:
      if (!CheckCount(count, 0, 0)) return;
      input_ = output_;
      input_pos_ = 0;
      return;
    case 160:
      ReadString();
      return;
    case 163:
      return CmdVariableName();
    default:
      return SetMacroStatus(17490);
  }
}

}  // namespace tmx
