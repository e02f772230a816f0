// In which order the parts of a tree die, as requests of a host see it.
#include <gtest/gtest.h>

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/variables/variable.h"

namespace {

// A request that looks at another one when it dies.
class Watcher : public HbRequest {
 public:
  Watcher(const HbRequest& watched, bool& was_free)
      : HbRequest("HNHBK", 3, 0), watched_(watched), was_free_(was_free) {}
  ~Watcher() override {
    was_free_ = watched_.GetMessage() == nullptr && watched_.GetRequestId() == kUnknown;
  }

 private:
  const HbRequest& watched_;
  bool& was_free_;
};

TEST(Destruction, AMessageLetsItsRequestsGoBeforeItsHeadTailAndCryptMembersDie) {
  HbRequest request("HKSAL", 5, 1);
  bool head = false;
  bool tail = false;
  bool crypt_head = false;
  bool crypt_data = false;
  {
    HbMessage message;
    message.AddRequest(request);
    message.SetMsgHead(std::make_unique<Watcher>(request, head).release());
    message.SetMsgTail(std::make_unique<Watcher>(request, tail).release());
    message.SetCryptMembers(std::make_unique<Watcher>(request, crypt_head).release(),
                            std::make_unique<Watcher>(request, crypt_data).release());
  }
  EXPECT_TRUE(head && tail && crypt_head && crypt_data);
}

TEST(Destruction, AJobsDialogsDieBeforeItsRequestsWhichAreThenWithoutMessage) {
  bool was_free = false;
  HbRequest watched("HKSAL", 5, 1);
  {
    HbJob job;
    ASSERT_TRUE(job.InsertRequest(std::make_unique<Watcher>(watched, was_free).release()));
    auto message = std::make_unique<HbMessage>();
    message->AddRequest(watched);
    ASSERT_NE(job.AddToDialog(*message), nullptr);
    static_cast<void>(message.release());
  }
  EXPECT_TRUE(was_free);
}

// A request that looks at a variable when it dies.
class VariableWatcher : public HbRequest {
 public:
  VariableWatcher(const HbVariable& variable, unsigned long& references)
      : HbRequest("HNHBK", 3, 0), variable_(variable), references_(references) {}
  ~VariableWatcher() override { references_ = variable_.GetRefCount(); }

 private:
  const HbVariable& variable_;
  unsigned long& references_;
};

TEST(Destruction, WhatADialogAsksForGoesBeforeItsMessages) {
  const auto pin = tmx::MakeRef<HbStringVariable>();
  const unsigned long without_item = pin->GetRefCount();
  unsigned long references = 0;
  {
    HbDialog dialog(nullptr);
    dialog.GetCallbackItems()->Register(
        std::make_unique<HbCallbackItem>(4096UL, pin.Get()).release());
    ASSERT_GT(pin->GetRefCount(), without_item);
    auto message = std::make_unique<HbMessage>();
    message->SetMsgHead(std::make_unique<VariableWatcher>(*pin, references).release());
    ASSERT_TRUE(dialog.AddMsg(*message.release(), 0));
  }
  EXPECT_EQ(references, without_item);
}

}  // namespace
