#include "tmxtools/macro/engine.h"

#include <array>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "tmxtools/macro/operands.h"

using tmx::ByteOperands;
using tmx::kMalformed;

namespace {

constexpr unsigned short kSubNotFound = 17492;
constexpr unsigned short kAlreadyRunning = 17499;
constexpr unsigned short kStopped = 17500;

constexpr unsigned short kFiller = 255;
constexpr unsigned short kLineMark = 161;
constexpr unsigned short kTestSuccess = 18;

// Marks a run loop as active, so that callbacks cannot start another one.
class RunGuard {
 public:
  explicit RunGuard(bool& in_run) : in_run_(in_run), before_(std::exchange(in_run, true)) {}
  ~RunGuard() { in_run_ = before_; }
  RunGuard(const RunGuard&) = delete;
  RunGuard& operator=(const RunGuard&) = delete;

 private:
  bool& in_run_;
  bool before_;
};

}  // namespace

MeMacroObserver::~MeMacroObserver() = default;

MeMacroEngine::MeMacroEngine(const String& macro_path)
    : macro_path_(macro_path), file_stack_(macro_path), spare_error_(kMalformed) {}

MeMacroEngine::~MeMacroEngine() { call_stack_.reset(); }

// ---- files ------------------------------------------------------------------------------------

bool MeMacroEngine::PushFile(const String& name, HbError& err) {
  return file_stack_.Push(name, err);
}
bool MeMacroEngine::PopFile(bool force) { return file_stack_.Pop(force); }
void MeMacroEngine::ClearFiles(bool force) { file_stack_.Clear(force); }

HbStackFrame* MeMacroEngine::LoadSub(const String& name, HbError& err) {
  HbError reason;
  HbStackFrame* const frame = file_stack_.LoadSub(name, reason);
  if (frame == nullptr) err.SetError(kSubNotFound, name, reason);
  return frame;
}

// ---- running ----------------------------------------------------------------------------------

bool MeMacroEngine::Call(HbStackFrame* frame, HbError& err) {
  std::unique_ptr<HbStackFrame> owned(frame);
  // A frame on a call stack, this engine's or another one's, runs already and is the stack's.
  const bool runs_already = frame != nullptr && frame->GetStack() != nullptr;
  if (runs_already) static_cast<void>(owned.release());
  if (runs_already || cur_frame_ != nullptr || in_run_) {
    err.SetError(kAlreadyRunning);
    return false;
  }
  if (frame == nullptr || frame->GetByteCode() == nullptr || !frame->IsComplete()) {
    err.SetError(kMalformed);
    return false;
  }
  input_.Clear();
  output_.Clear();
  input_pos_ = 0;
  steps_ = 0;
  stopped_ = false;
  ResetStatus();
  last_cmd_error_.Clear();
  try {
    call_stack_ = std::make_unique<HbCallStack>();
    const RunGuard guard(in_run_);
    PushFrame(owned.release());
  } catch (const std::bad_alloc&) {
    cur_frame_ = nullptr;
    call_stack_.reset();
    err.SetError(kMalformed);
    return false;
  }
  resume_pending_ = false;
  if (stopped_) return EndUnwound(&err);  // by the observer of the first frame
  return Continue(&err);
}

// Pops every frame at once; a run loop that is active ends with the error when it comes back to
// itself.
void MeMacroEngine::Stop(bool) {
  if (cur_frame_ == nullptr) return;
  const RunGuard guard(in_run_);
  stopped_ = true;
  SetStatus(kStopped);
  while (cur_frame_ != nullptr) PopFrame();
}

bool MeMacroEngine::Continue(HbError* err) {
  if (in_run_) {
    if (err != nullptr) err->SetError(kAlreadyRunning);
    return false;
  }
  const RunGuard guard(in_run_);
  running_ = true;
  while (cur_frame_ != nullptr) {
    if (MayRunDecoded()) {
      try {
        RunDecoded();
      } catch (const std::bad_alloc&) {
        SetMacroStatus(kMalformed);
      }
      if (!running_ || cur_frame_ == nullptr) return true;
    }
    unsigned short opcode = ReadOpCode();
    for (;;) {
      if (cur_frame_ == nullptr) return EndUnwound(err);  // stopped by the observer
      if (resume_pending_) {
        if (err != nullptr) *err = GetStatus();
        return !HasStatus();
      }
      if (!HasStatus() && (!last_cmd_error_.IsSet() || opcode == kTestSuccess)) break;
      PopFrame();
      if (cur_frame_ == nullptr) return EndUnwound(err);
      if (!HasStatus()) opcode = ReadOpCode();
    }
    DispatchGuarded(opcode);
    if (!running_) return true;
    if (cur_frame_ == nullptr && stopped_) return EndUnwound(err);
  }
  return true;
}

bool MeMacroEngine::EndUnwound(HbError* err) const {
  if (err != nullptr) *err = last_cmd_error_.IsSet() ? last_cmd_error_ : GetStatus();
  return false;
}

// What a command cannot hold in a text or in memory ends the macro like any malformed command.
void MeMacroEngine::DispatchGuarded(unsigned short opcode) {
  ++steps_;
  const unsigned short count = ReadByte();
  try {
    Dispatch(opcode, count);
  } catch (const std::length_error&) {
    SetMacroStatus(kMalformed);
  } catch (const std::bad_alloc&) {
    SetMacroStatus(kMalformed);
  }
}

void MeMacroEngine::Dispatch(unsigned short opcode, unsigned short count) {
  using Command = void (MeMacroEngine::*)(ByteOperands&, int);
  static constexpr auto kCommands = [] {
    std::array<Command, 256> commands{};
#define TMX_ENTER(number, command, ...) commands[number] = &MeMacroEngine::command;
    TMX_BASE_OPCODES(TMX_ENTER)
#undef TMX_ENTER
    return commands;
  }();
  const tmx::Opcode* const row = tmx::FindOpcode(opcode);
  if (row == nullptr || row->engine != tmx::EngineKind::kGeneric ||
      row->counted == tmx::Counted::kFetch || !row->Accepts(count)) {
    SetMacroStatus(kMalformed);
    return;
  }
  ByteOperands operands(*this);
  (this->*kCommands[opcode])(operands, count);
}

void MeMacroEngine::OnFinished() {}

void MeMacroEngine::SetCurFrame(HbStackFrame* frame) {
  cur_frame_ = frame;
  if (observer_ != nullptr) observer_->OnCurFrameChanged();
}

void MeMacroEngine::PushFrame(HbStackFrame* frame) {
  std::unique_ptr<HbStackFrame> owned(frame);
  call_stack_->PushFrame(frame);
  static_cast<void>(owned.release());
  SetCurFrame(frame);
  if (observer_ != nullptr) observer_->OnFramePushed();
}

void MeMacroEngine::PopFrame() {
  if (cur_frame_ == nullptr) return;
  const HbCallStack* const stack = call_stack_.get();
  file_stack_.CacheSub(call_stack_->PopFrame());
  SetCurFrame(call_stack_->CurFrame());
  if (observer_ != nullptr && call_stack_.get() == stack) observer_->OnFramePopped();
  // The observer may have stopped the run, which has then been finished already.
  if (call_stack_.get() != stack || stack->CurFrame() != nullptr) return;
  if (last_cmd_error_.IsSet()) SetStatus(last_cmd_error_);
  if (observer_ != nullptr) observer_->OnRunFinished();
  call_stack_.reset();
  OnFinished();
}

void MeMacroEngine::PushHolder(HbVariableHolder* holder) {
  if (cur_frame_ == nullptr) {
    const std::unique_ptr<HbVariableHolder> unused(holder);
    return;
  }
  cur_frame_->PushHolder(holder);
  if (!cur_frame_->IsComplete()) SetMacroStatus(kMalformed);
  NotifyVariablesChanged();
}

// ---- fetching ---------------------------------------------------------------------------------

// An observer that breaks sees the same opcode again: the program counter is set back to it and the
// next fetch does not ask.
unsigned short MeMacroEngine::ReadOpCode() {
  unsigned short opcode = ReadByte();
  while (!HasStatus() && (opcode == kFiller || opcode == kLineMark)) {
    if (opcode == kLineMark) {
      ReadByte();  // the count
      const unsigned short line = ReadUInt();
      if (!HasStatus()) cur_frame_->SetMacroSourceLine(line);
    }
    opcode = ReadByte();
  }
  if (resume_pending_) {
    resume_pending_ = false;
  } else if (observer_ != nullptr && observer_->ShouldBreak(opcode) && cur_frame_ != nullptr) {
    HbByteCode& byte_code = *cur_frame_->GetByteCode();
    byte_code.SetPC(static_cast<unsigned short>(byte_code.GetPC() - 1));
    resume_pending_ = true;
  }
  return opcode;
}

// ---- errors -----------------------------------------------------------------------------------

void MeMacroEngine::GetErrorText(unsigned short code, String& text) {
  text = String::FromInt(code);
}

// Without memory for it the name alone must do.
String MeMacroEngine::Position() const try {
  if (cur_frame_ == nullptr) return String();
  String text = cur_frame_->GetSubName();
  if (const HbByteCode* const byte_code = cur_frame_->GetByteCode()) {
    const String number = String::FromInt(byte_code->GetPC());
    constexpr std::string_view kAtPosition = " an Position ";
    if (text.Len() + kAtPosition.size() + number.Len() <= String::MaxLen) {
      text += kAtPosition;
      text += number;
    }
  }
  return text;
} catch (const std::bad_alloc&) {
  return cur_frame_->GetSubName();
}

// A command that was interrupted by Stop says nothing any more.
void MeMacroEngine::SetMacroStatus(unsigned short code) {
  if (in_run_ && stopped_) return;
  SetStatus(code, Position());
  if (!HasStatus()) SetStatus(spare_error_);
}

void MeMacroEngine::SetLastCmdError(unsigned short code) {
  if (!in_run_ || !stopped_) last_cmd_error_.SetError(code, Position());
}
