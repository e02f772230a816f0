// A conversation with a bank that misbehaves on purpose: every script ends in a clear outcome and
// text, and nothing tells a secret.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/bank/bank_endpoint.h"
#include "demo/base64.h"
#include "demo/host/http_transport.h"
#include "demo/host/segment_values.h"
#include "tests/demo/transfer_fixture.h"

namespace tmx::demo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Script Parsed(const std::string& text) {
  auto parsed = Script::Parse(text);
  EXPECT_TRUE(std::holds_alternative<Script>(parsed)) << text;
  return std::holds_alternative<Script>(parsed) ? std::get<Script>(parsed) : Script();
}

struct Row {
  const char* script;
  Outcome outcome;
  const char* problem;
};

class MisbehavingBank : public TransferFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    const HttpReply reply = endpoint_->Post(ToBase64(message));
    return HttpTransport::TakeReply(reply.status, reply.body, answer, problem);
  }

  // All that a host can want.
  bool Converse() {
    std::vector<BankAccount> accounts;
    std::vector<Ref<HbSegment>> pages;
    return conversation().Open() && conversation().Accounts(accounts) &&
           conversation().Balance(accounts[0], balance_) &&
           conversation().Statement(accounts[0], HbDate(), HbDate(), pages) &&
           conversation().Close();
  }

  void Misbehave(const std::string& script, ConversationOptions options = {}) {
    endpoint_ = std::make_unique<BankEndpoint>(BankOptions{}, Parsed(script));
    access_ = {};
    Restart(std::move(options));
  }

  // What the account has, as the bank says in another conversation.
  std::string BalanceOfTheBank() {
    Restart({});
    EXPECT_TRUE(conversation().Open() && conversation().Balance(from_, balance_))
        << conversation().Problem();
    return balance_ ? TextOf(*balance_, field::kBookedAmount) : "";
  }

  // Of the conversation, which is then closed. Its text tells no secret.
  void ExpectEnding(Outcome outcome, const char* problem) {
    EXPECT_EQ(conversation().LastOutcome(), outcome);
    EXPECT_THAT(conversation().Problem(), HasSubstr(problem));
    for (const std::string& secret : {pin_, tan_})
      EXPECT_THAT(conversation().Problem(), Not(HasSubstr(secret)));
    conversation().Close();
  }

  std::unique_ptr<BankEndpoint> endpoint_;
  Ref<HbSegment> balance_;
};

// The sixth message asks for the balance.
constexpr Row kRows[] = {
    {"cut 0", Outcome::kNoAnswer, "the bank's answer is empty"},
    {"cut 1", Outcome::kWrongAnswer, "what the bank has sent is no message"},
    {"cut 60", Outcome::kWrongAnswer,
     "the bank's answer has 60 bytes, but its head names another size: it is cut or damaged"},
    {"cut 700", Outcome::kWrongAnswer, "it is cut or damaged"},
    {"size 1", Outcome::kWrongAnswer, "but its head names another size"},
    {"message-number 7", Outcome::kWrongAnswer,
     "the bank's answer has the message number 7 instead of 1"},
    {"request 6 message-number 9", Outcome::kWrongAnswer, "number 9 instead of 3"},
    {"request 6 message-number 0", Outcome::kWrongAnswer, "number 0 instead of 3"},
    {"request 1 dialog FREMD", Outcome::kWrongAnswer, "the bank's answer refers to another dialog"},
    {"request 6 dialog FREMD", Outcome::kWrongAnswer,
     "the bank's answer belongs to another dialog"},
    {"garbage 1", Outcome::kWrongAnswer, "what the bank has sent is no message"},
    {"garbage 100000", Outcome::kWrongAnswer, "what the bank has sent is no message"},
    {"request 6 garbage 5000", Outcome::kWrongAnswer, "what the bank has sent is no message"},
    {"garbage 0", Outcome::kNoAnswer, "the bank's answer is empty"},
    {"empty", Outcome::kNoAnswer, "the bank's answer is empty"},
    {"base64", Outcome::kNoAnswer, "the bank's answer is no Base64"},
    {"status 500", Outcome::kNoAnswer, "the bank's server answers with status 500"},
    {"request 6 status 404", Outcome::kNoAnswer, "the bank's server answers with status 404"},
};

TEST_F(MisbehavingBank, IsToldByOutcomeAndText) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.script);
    Misbehave(row.script);
    EXPECT_FALSE(Converse());
    ExpectEnding(row.outcome, row.problem);
  }
}

struct PaymentRow {
  const char* function;
  const char* script;
  bool is_done;
  const char* problem;
  bool has_moved;  // the money
};

// With 910 the sixth message is the transfer, the seventh brings the TAN; with 946 the fifth is the
// transfer, and the sixth and seventh ask for its confirmation, which only the seventh finds.
constexpr PaymentRow kPayments[] = {
    {"910", "request 6 drop HITAN", false, "the bank wants a TAN, but its answer has no HITAN",
     false},
    {"910", "request 6 drop HIRMS", false, "does not say what became of HKCCS", false},
    {"910", "request 6 drop HIRMG", false, "the bank's answer holds no return codes", false},
    {"910", "request 6 cut 300", false, "it is cut or damaged", false},
    {"910", "request 6 message-number 9", false, "number 9 instead of 3", false},
    {"910", "request 6 garbage 1000", false, "what the bank has sent is no message", false},
    {"910", "request 6 status 500", false, "the bank's server answers with status 500", false},
    {"910", "request 7 drop HIRMS", false, "does not say what became of the order", true},
    {"910", "request 7 drop HIRMG", false, "the bank's answer holds no return codes", true},
    {"910", "request 7 cut 100", false, "it is cut or damaged", true},
    {"910", "request 7 size 1", false, "it is cut or damaged", true},
    {"910", "request 7 message-number 9", false, "number 9 instead of 4", true},
    {"910", "request 7 dialog FREMD", false, "belongs to another dialog", true},
    {"910", "request 7 empty", false, "the bank's answer is empty", true},
    {"910", "request 7 base64", false, "the bank's answer is no Base64", true},
    {"910", "request 7 status 503", false, "the bank's server answers with status 503", true},
    {"910", "request 7 drop HITAN", true, "", true},
    {"910", "extra 20\nsegment-gap 4", true, "", true},
    {"946", "request 5 drop HITAN", false, "waits for a confirmation, but its answer has no HITAN",
     false},
    {"946", "request 5 drop HIRMS", false, "does not say what became of HKCCS", false},
    {"946", "request 6 drop HIRMS", false, "does not say what became of the order", false},
    {"946", "request 6 status 500", false, "the bank's server answers with status 500", false},
    {"946", "request 7 drop HIRMS", false, "does not say what became of the order", true},
    {"946", "request 7 cut 50", false, "it is cut or damaged", true},
    {"946", "request 6 drop HITAN", true, "", true},
    {"946", "extra 20\nsegment-gap 4", true, "", true},
};

TEST_F(MisbehavingBank, HasMadeNoTransferThatItDoesNotSay) {
  for (const PaymentRow& row : kPayments) {
    SCOPED_TRACE(std::string(row.function) + ": " + row.script);
    ConversationOptions options;
    options.wanted_function = row.function;
    Misbehave(row.script, options);
    EXPECT_EQ(TransferTo("12.34"), row.is_done) << conversation().Problem();
    ExpectEnding(row.is_done ? Outcome::kDone : Outcome::kUncertain, row.problem);
    EXPECT_EQ(BalanceOfTheBank(), AmountText(FirstBalance() - (row.has_moved ? 1234 : 0)));
  }
}

TEST_F(MisbehavingBank, CostsNothingWhereOnlySegmentsAreOdd) {
  for (const char* const script :
       {"segment-gap 3", "segment-gap 1", "extra 1", "extra 200", "extra 30\nsegment-gap 9"}) {
    SCOPED_TRACE(script);
    Misbehave(script);
    EXPECT_TRUE(Converse()) << conversation().Problem();
    EXPECT_TRUE(balance_);
  }
}

TEST_F(MisbehavingBank, KeepsSegmentsOfAnUnknownKind) {
  Misbehave("extra 3");
  ASSERT_TRUE(Converse()) << conversation().Problem();
  const HbMessage& last = *job_.GetDialog(0)->GetMsg(0);
  int unknown = 0;
  for (unsigned short i = 0; i < last.ResponseCount(); ++i)
    unknown += CodeOf(*last.GetResponse(i)) == "XXTST";
  EXPECT_EQ(unknown, 3);
}

TEST_F(MisbehavingBank, LeavesItsRequestsWithAnErrorStatus) {
  for (const char* const script : {"request 6 cut 100", "request 6 status 500"}) {
    SCOPED_TRACE(script);
    Misbehave(script);
    EXPECT_FALSE(Converse());
    const HbRequest& order = *job_.GetRequest(job_.RequestCount() - 1);
    EXPECT_EQ(order.GetRequestName(), "HKSAL");
    EXPECT_EQ(order.GetStatus(), HbStatusError);
    const HbSegment* const error = FindResponse(order, "INERR");
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(TextOf(*error, field::kReturnText), conversation().Problem());
    short code = 0;
    EXPECT_TRUE(error->GetFieldInt16(code, field::kReturnCode));
    EXPECT_EQ(code, static_cast<short>(conversation().LastOutcome()));
  }
}

// Whatever else is wrong with the answer.
TEST_F(MisbehavingBank, HasRefusedThePinEvenInAnAnswerToSomethingElse) {
  Misbehave("message-number 5");
  pin_ = "99999";
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused);
  EXPECT_TRUE(conversation().IsRefused());
  const int messages = messages_;
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(messages_, messages);
}

}  // namespace
}  // namespace tmx::demo
