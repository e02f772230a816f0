#include "tmxtools/macro/frame.h"

#include <new>
#include <stdexcept>
#include <utility>

HbStackFrame::HbStackFrame(HbByteCode* byte_code, const String& sub_name)
    : byte_code_(byte_code), sub_name_(sub_name) {}

HbStackFrame::~HbStackFrame() {
  for (HbVariableHolder* const holder : holders_) delete holder;
}

template <class Operation>
void HbStackFrame::Push(Operation operation) {
  if (!is_complete_) return;
  try {
    operation();
  } catch (const std::bad_alloc&) {
    is_complete_ = false;
  } catch (const std::length_error&) {
    is_complete_ = false;
  }
}

// The value is made when there is a variable for it.
template <class Variable, class MakeValue>
void HbStackFrame::PushValue(MakeValue make_value, unsigned short type) {
  Push([&] {
    const tmx::NewVariable<Variable> variable(new Variable);
    variable->Set(make_value());
    AppendHolder(type, HbVariableHolder::kParameter).SetVariable(variable.get());
  });
}

void HbStackFrame::PushParam(const String& value) {
  PushValue<HbStringVariable>([&]() -> const String& { return value; });
}
void HbStackFrame::PushParam(const char* value) {
  PushValue<HbStringVariable>([=] { return String(value); });
}
void HbStackFrame::PushParam(std::string_view value) {
  PushValue<HbStringVariable>([=] { return String(value); });
}
void HbStackFrame::PushParam(const HbDate& value) {
  PushValue<HbDateVariable>([&]() -> const HbDate& { return value; });
}
void HbStackFrame::PushParam(short value) {
  PushValue<HbIntVariable>([=] { return value; });
}
void HbStackFrame::PushParam(long value) {
  PushValue<HbLongVariable>([=] { return value; });
}
void HbStackFrame::PushParam(bool value) {
  PushValue<HbBoolVariable>([=] { return value; });
}
void HbStackFrame::PushParam(const HbAmount& value) {
  PushValue<HbStringVariable>([&] { return value.GetDecimalPointString(); }, tmx::kAmountType);
}

void HbStackFrame::PushParameter(HbVariable* variable) {
  if (variable == nullptr) return;
  Push([&] {
    AppendHolder(variable->GetType(), HbVariableHolder::kParameter).SetVariable(variable);
  });
}

void HbStackFrame::PushHolder(HbVariableHolder* holder) {
  if (holder == nullptr) return;
  std::unique_ptr<HbVariableHolder> owned(holder);
  Push([&] {
    if (used_ == holders_.size()) {
      holders_.push_back(holder);
    } else {
      delete std::exchange(holders_[used_], holder);
    }
    static_cast<void>(owned.release());
    ++used_;
  });
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
