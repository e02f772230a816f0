// How far a job has come, and calls on other threads.
#pragma once

#include <cstdint>

#include "tmxtools/banking/object_link.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/link.h"
#include "tmxtools/platform/string.h"

class HbLinkCallerThread;
class HbRequest;

// Progress as a host shows it. Whoever works changes the record; where a change is to be seen at
// once, the status link is called with a pointer to the record, on the same thread.
//
// Owner: its maker; the link may destroy the record. The current request becomes null when it dies.
// Empty state: all zero or empty. Threads: one at a time. Sets no codes.
class TMX_EXPORT HbProgressInfoRecord {
 public:
  // Percentages are in hundredths.
  static constexpr short kAllDone = 10000;

  HbProgressInfoRecord() = default;
  ~HbProgressInfoRecord();
  HbProgressInfoRecord(const HbProgressInfoRecord&) = delete;
  HbProgressInfoRecord& operator=(const HbProgressInfoRecord&) = delete;

  long GetState() const noexcept { return state_; }
  void SetState(long state, bool trigger);
  long GetAction() const noexcept { return action_; }
  void SetAction(long action, bool trigger);
  short GetPercentDone() const noexcept { return percent_done_; }
  void SetPercentDone(short percent, bool trigger);
  short GetPercentDonePerStep() const noexcept { return percent_done_per_step_; }
  void SetPercentDonePerStep(short percent) noexcept { percent_done_per_step_ = percent; }
  const String& GetInfoText() const noexcept { return info_text_; }
  void SetInfoText(const String& text, bool trigger);
  const HbRequest* GetCurrentRequest() const noexcept;
  void SetCurrentRequest(const HbRequest* request) noexcept;
  const Link& GetStatusLink() const noexcept { return status_link_; }
  void SetStatusLink(const Link& link) { status_link_ = link; }

  // Empty the info text and call the link in any case.
  void SetProgState(long state, long action);
  void SetProgState(long state, long action, short percent_done);
  // Adds the percentage of a step, up to 10000. Without one nothing happens, not even a call.
  void StepDone(bool trigger);
  // Calls the link and empties the info text, which is thus shown once. Without a link nothing
  // happens and the text stays.
  void TriggerLink();

 private:
  struct Call;  // of the link

  void TriggerIf(bool trigger) {
    if (trigger) TriggerLink();
  }

  std::int32_t state_ = 0;
  std::int32_t action_ = 0;
  short percent_done_ = 0;
  short percent_done_per_step_ = 0;
  String info_text_;
  tmx::ObjectPtr<const HbRequest> current_request_;
  Link status_link_;
  Call* innermost_ = nullptr;
};

// Operations without an object.
class TMX_EXPORT HbTools {
 public:
  // Has a thread call a link with `data` later. Without a thread the link is not called at all.
  static void QueueLink(const Link& link, void* data, HbLinkCallerThread* thread);
};
