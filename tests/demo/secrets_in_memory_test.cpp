// What a conversation leaves of PIN and TAN in memory that it gives back.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "demo/base64.h"
#include "demo/host/http_transport.h"
#include "tests/demo/transfer_fixture.h"
#include "tests/support/silent_server.h"
#include "tests/support/temp_dir.h"
#include "tests/variables/failing_memory.h"

namespace tmx::demo {
namespace {

// Looks at what this thread gives back, but for what the other side of a conversation does.
class Watcher {
 public:
  explicit Watcher(std::vector<std::string> secrets) : secrets_(std::move(secrets)) {}
  void Begin() { watched_.emplace(secrets_); }
  void End() {
    given_ += watched_->Given();
    leaked_ += watched_->Leaked();
    watched_.reset();
  }
  std::size_t Given() const { return given_; }
  std::size_t Leaked() const { return leaked_; }

 private:
  std::vector<std::string> secrets_;
  std::optional<WatchedMemory> watched_;
  std::size_t given_ = 0;
  std::size_t leaked_ = 0;
};

class SecretsInMemory : public TransferFixture {
 protected:
  // As they stand in the signature of a message.
  std::vector<std::string> Secrets() const { return {"++" + pin_, ":" + tan_}; }
};

TEST_F(SecretsInMemory, NoMessageIsLeftBehind) {
  const TempDir logs;
  job_.SetProtocolPathAndKey(logs.Path().c_str(), "sechzehn Zeichen");
  ASSERT_NE(job_.GetProtocol(), nullptr);
  Watcher watcher(Secrets());
  std::vector<int> sent(2);  // messages with a PIN, and with a TAN
  held_ = std::make_unique<Conversation>(
      job_, user_, engine_, access_,
      [&](std::string_view message, std::string& answer, std::string&) {
        watcher.End();
        for (std::size_t i = 0; i < sent.size(); ++i)
          sent[i] += message.find(Secrets()[i]) != std::string_view::npos;
        answer = bank_.Answer(std::string(message));
        watcher.Begin();
        return true;
      },
      ConversationOptions());
  watcher.Begin();
  const bool transferred = TransferTo("1.00");
  const bool closed = conversation().Close();
  watcher.End();
  EXPECT_TRUE(transferred && closed) << conversation().Problem();
  EXPECT_GT(sent[0], 5);
  EXPECT_EQ(sent[1], 1);
  EXPECT_GT(watcher.Given(), 1000U);
  EXPECT_EQ(watcher.Leaked(), 0U);
}

// The variables that hold PINs.
class PinsInMemory : public SecretsInMemory {
 protected:
  PinsInMemory() {
    engine_.SetSecurityHdl(Link([&](void* data) {
      auto& asked = *static_cast<HbCallbackData*>(data);
      if (HbVariable* const pin = asked.GetParameters()->GetValue(4096))
        pins_.push_back(Ref<HbVariable>::Share(pin));
      return Give(asked);
    }));
  }
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    return answers_ && SecretsInMemory::Deliver(message, answer, problem);
  }
  String Pin(std::size_t index) const {
    return static_cast<const HbStringVariable&>(*pins_.at(index)).Get();
  }
  std::string Overwritten() const { return std::string(pin_.size(), '\0'); }

  bool answers_ = true;
  std::vector<Ref<HbVariable>> pins_;
};

TEST_F(PinsInMemory, AreOverwrittenWhenTheDialogIsOver) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  ASSERT_FALSE(pins_.empty());
  EXPECT_EQ(Pin(pins_.size() - 1), pin_.c_str()) << "the dialog keeps it";
  EXPECT_TRUE(conversation().Close());
  for (std::size_t i = 0; i < pins_.size(); ++i) EXPECT_EQ(Pin(i), std::string_view(Overwritten()));
}

TEST_F(PinsInMemory, AreOverwrittenWhereTheBankHasNotAnswered) {
  answers_ = false;
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_FALSE(conversation().Open());
    ASSERT_EQ(pins_.size(), i + 1);
    EXPECT_EQ(Pin(i), pin_.c_str());
  }
  EXPECT_EQ(Pin(0), std::string_view(Overwritten())) << "with the dialog that gave way";
  EXPECT_TRUE(conversation().Close());
  EXPECT_EQ(Pin(1), std::string_view(Overwritten()));
}

TEST_F(SecretsInMemory, TheWayToTheBankLeavesNothingBehind) {
  const SilentServer server;
  HttpOptions options;
  options.url = server.Url();
  options.step_time = std::chrono::milliseconds(200);
  const HttpTransport transport(options);
  const std::string message = "HNSHA:6:2+1000001++" + pin_ + "''HNHBS:7:1+1'";
  const std::string digits = ToBase64(message);
  Watcher watcher({"++" + pin_, digits.substr(0, 20), digits.substr(digits.size() - 20)});
  std::string answer, problem;
  watcher.Begin();
  const bool answered = transport.Exchange(message, answer, problem);
  watcher.End();
  EXPECT_FALSE(answered);
  EXPECT_TRUE(problem.starts_with("the bank's answer is cut or does not come in time")) << problem;
  EXPECT_GT(watcher.Given(), 10U);
  EXPECT_EQ(watcher.Leaked(), 0U);
}

}  // namespace
}  // namespace tmx::demo
