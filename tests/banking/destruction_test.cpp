// In which order the parts of a tree die, as requests of a host see it.
#include <gtest/gtest.h>

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"

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

}  // namespace
