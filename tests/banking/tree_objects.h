// What tests of the object tree share.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "tests/banking/watch.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/user.h"

namespace tmx::test {

inline constexpr char kNotFound[] = "element not found.";

inline std::unique_ptr<HbRequest> NewRequest(const char* name = "HKSAL",
                                             unsigned short signatures = 1) {
  return std::make_unique<HbRequest>(name, static_cast<unsigned short>(5), signatures);
}

// Makes a request that the job owns.
inline HbRequest& RequestIn(HbJob& job, const char* name = "HKSAL") {
  auto request = NewRequest(name);
  job.InsertRequest(request.get());
  return *request.release();
}

// A segment with return codes, as "HIRMS" has them.
inline SegmentRef CodeSegment(const char* kennung, const std::vector<short>& codes) {
  auto segment = MakeSegment(kennung);
  unsigned long field = 60000;
  for (const short code : codes) {
    segment->PutFieldInt16(code, field);
    field += 100130;
  }
  return segment;
}

inline std::vector<HbRequest*> RequestsOf(const HbMessage& message) {
  std::vector<HbRequest*> requests;
  for (unsigned short i = 0; i < message.RequestCount(); ++i) requests.push_back(message[i]);
  return requests;
}

inline std::vector<HbMessage*> MessagesOf(const HbDialog& dialog) {
  std::vector<HbMessage*> messages;
  for (unsigned short i = 0; i < dialog.MessageCount(); ++i) messages.push_back(dialog.GetMsg(i));
  return messages;
}

inline std::vector<HbDialog*> DialogsOf(const HbJob& job) {
  std::vector<HbDialog*> dialogs;
  for (unsigned short i = 0; i < job.DialogCount(); ++i) dialogs.push_back(job.GetDialog(i));
  return dialogs;
}

}  // namespace tmx::test
