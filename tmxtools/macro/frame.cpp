#include "tmxtools/macro/frame.h"

#include <stdexcept>
#include <utility>

namespace {

template <typename Variable, typename Value>
void PushValue(HbStackFrame& frame, const Value& value) {
  const tmx::NewVariable<Variable> variable(new Variable);
  variable->Set(value);
  frame.PushParameter(variable.get());
}

}  // namespace

HbStackFrame::HbStackFrame(HbByteCode* byte_code, const String& sub_name)
    : byte_code_(byte_code), sub_name_(sub_name) {}

HbStackFrame::~HbStackFrame() {
  for (HbVariableHolder* const holder : holders_) delete holder;
}

void HbStackFrame::PushParam(const String& value) { PushValue<HbStringVariable>(*this, value); }
void HbStackFrame::PushParam(const HbDate& value) { PushValue<HbDateVariable>(*this, value); }
void HbStackFrame::PushParam(short value) { PushValue<HbIntVariable>(*this, value); }
void HbStackFrame::PushParam(long value) { PushValue<HbLongVariable>(*this, value); }
void HbStackFrame::PushParam(bool value) { PushValue<HbBoolVariable>(*this, value); }

void HbStackFrame::PushParam(const HbAmount& value) {
  const tmx::NewVariable<HbStringVariable> text(new HbStringVariable);
  text->Set(value.GetDecimalPointString());
  AppendHolder(8, HbVariableHolder::kParameter).SetVariable(text.get());
}

void HbStackFrame::PushParameter(HbVariable* variable) {
  if (variable == nullptr) return;
  AppendHolder(variable->GetType(), HbVariableHolder::kParameter).SetVariable(variable);
}

void HbStackFrame::PushHolder(HbVariableHolder* holder) {
  if (holder == nullptr) return;
  std::unique_ptr<HbVariableHolder> owned(holder);
  if (used_ == holders_.size()) {
    holders_.push_back(holder);
  } else {
    delete std::exchange(holders_[used_], holder);
  }
  static_cast<void>(owned.release());
  ++used_;
}

void HbStackFrame::AddHolder() {
  auto holder = std::make_unique<HbVariableHolder>(0);
  holders_.push_back(holder.get());
  static_cast<void>(holder.release());
}

HbCallStack::~HbCallStack() {
  while (HbStackFrame* frame = PopFrame()) delete frame;
}

HbStackFrame* HbCallStack::operator[](unsigned short index) const {
  if (index >= frames_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return frames_[index];
}
