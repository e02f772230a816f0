// A host that speaks with a sandbox bank of its own, without a network.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "demo/bank/sandbox_bank.h"
#include "demo/bank/secrets.h"
#include "demo/host/conversation.h"
#include "tests/demo/shipped_macros.h"
#include "tests/support/strict_message_checker.h"
#include "tmxtools/banking/callback.h"

namespace tmx::demo {

class HostFixture : public ::testing::Test {
 protected:
  // `messages` is the macro file of what stands around the segments.
  explicit HostFixture(const char* messages = "pt0") : engine_(MacroPath().c_str()) {
    HbError error;
    for (const char* name : {"hbcim4", messages})
      EXPECT_TRUE(engine_.PushFile(name, error)) << name;
    user_.SetKIKLaenderkennzeichen(280);
    user_.SetKIKKreditsinstitutscode("99900011");
    user_.SetBenutzerkennung("4711");
    user_.SetKundenId("4711");
    engine_.SetSecurityHdl(
        Link([this](void* data) { return Give(*static_cast<HbCallbackData*>(data)); }));
    Restart({});
  }

  void Restart(ConversationOptions options) {
    options.show = [this](const Challenge& challenge) { challenges_.push_back(challenge); };
    options.is_confirmed = std::move(is_confirmed_);
    options.wait = [this](std::chrono::seconds time) { waited_ += time.count(); };
    const auto exchange = [this](std::string_view bytes, std::string& answer,
                                 std::string& problem) {
      const std::string message(bytes);
      ++messages_;
      EXPECT_EQ(test::CheckMessage(message), "");
      sent_.push_back(message);
      return Deliver(message, answer, problem);
    };
    held_ = std::make_unique<Conversation>(job_, user_, engine_, access_, exchange, options);
  }

  // The way to the bank and back.
  virtual bool Deliver(const std::string& message, std::string& answer, std::string& /*problem*/) {
    answer = bank_.Answer(message);
    return true;
  }

  Conversation& conversation() { return *held_; }

  // As if the bank had sent no other parameters.
  template <class Keep>
  void KeepBankParameters(Keep keep) {
    std::vector<Ref<HbSegment>> kept;
    for (unsigned short i = 0; i < user_.BPDSegmentCount(true, true); ++i)
      if (HbSegment* const each = user_.GetBPDSegment(i, true, true); keep(*each))
        kept.push_back(Ref<HbSegment>::Share(each));
    HbInternalUser& user = *user_.GetInternalUser();
    user.ClearBPDs(true, true);
    for (const Ref<HbSegment>& each : kept) user.InsertBPDSegment(each.Get(), true);
  }

  // What a user would type.
  long Give(HbCallbackData& data) {
    HbCallbackItems& items = *data.GetParameters();
    challenge_ = data.GetMessage().View();
    for (unsigned short i = 0; i < items.Count(); ++i) {
      const bool tan = items.GetItem(i)->GetVarId() == 4099;
      if (tan ? !gives_tan_ : pin_.empty()) return 0;
      static_cast<HbStringVariable*>(items.GetItem(i)->GetValue())
          ->Set(String((tan ? tan_ : pin_).c_str()));
    }
    return 1;
  }

  SandboxBank bank_;
  HbUser user_{nullptr, nullptr};
  HbJob job_{nullptr, nullptr};
  HbMacroEngine engine_;
  Access access_;
  std::string pin_{kPin};
  std::string tan_{kTan};
  bool gives_tan_ = true;
  std::string challenge_;
  std::vector<Challenge> challenges_;
  TanSteps::IsConfirmed is_confirmed_;  // of the next conversation
  long waited_ = 0;
  int messages_ = 0;
  std::vector<std::string> sent_;
  std::unique_ptr<Conversation> held_;
};

}  // namespace tmx::demo
