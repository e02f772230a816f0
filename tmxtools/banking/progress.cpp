#include "tmxtools/banking/progress.h"

#include <algorithm>
#include <cstdint>

#include "tmxtools/banking/request.h"
#include "tmxtools/platform/caller_thread.h"

// A call of the link, in which others may nest, and in which the record may end.
struct HbProgressInfoRecord::Call {
  explicit Call(HbProgressInfoRecord& called) : record(&called), outer(called.innermost_) {
    record->innermost_ = this;
  }
  ~Call() {
    if (record != nullptr) record->innermost_ = outer;
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  HbProgressInfoRecord* record;  // null once it has ended
  Call* outer;
};

HbProgressInfoRecord::~HbProgressInfoRecord() {
  for (Call* call = innermost_; call != nullptr; call = call->outer) call->record = nullptr;
}

void HbProgressInfoRecord::SetState(long state, bool trigger) {
  state_ = static_cast<std::int32_t>(state);
  TriggerIf(trigger);
}

void HbProgressInfoRecord::SetAction(long action, bool trigger) {
  action_ = static_cast<std::int32_t>(action);
  TriggerIf(trigger);
}

void HbProgressInfoRecord::SetPercentDone(short percent, bool trigger) {
  percent_done_ = percent;
  TriggerIf(trigger);
}

void HbProgressInfoRecord::SetInfoText(const String& text, bool trigger) {
  info_text_ = text;
  TriggerIf(trigger);
}

const HbRequest* HbProgressInfoRecord::GetCurrentRequest() const noexcept {
  return current_request_.Get();
}

void HbProgressInfoRecord::SetCurrentRequest(const HbRequest* request) noexcept {
  current_request_.Set(request);
}

void HbProgressInfoRecord::SetProgState(long state, long action) {
  SetState(state, false);
  SetAction(action, false);
  info_text_.Clear();
  TriggerLink();
}

void HbProgressInfoRecord::SetProgState(long state, long action, short percent_done) {
  SetPercentDone(percent_done, false);
  SetProgState(state, action);
}

void HbProgressInfoRecord::StepDone(bool trigger) {
  if (percent_done_per_step_ == 0) return;
  percent_done_ = static_cast<short>(
      std::clamp<int>(percent_done_ + percent_done_per_step_, INT16_MIN, kAllDone));
  TriggerIf(trigger);
}

void HbProgressInfoRecord::TriggerLink() {
  if (!status_link_.IsSet()) return;
  const Call call(*this);
  const Link link = status_link_;
  link.Call(this);
  if (call.record != nullptr) info_text_.Clear();
}

void HbTools::QueueLink(const Link& link, void* data, HbLinkCallerThread* thread) {
  if (thread != nullptr) thread->QueueLink(link, data);
}
