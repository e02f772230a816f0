// A conversation by macros with the sandbox bank, without a network.
#include "demo/host/conversation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/bank/sandbox_bank.h"
#include "demo/segments/fields.h"
#include "tests/demo/host_fixture.h"

namespace tmx::demo {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ConversationTest : public HostFixture {};

TEST_F(ConversationTest, OpensWithANewSystemIdAndTakesTheParameters) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_NE(access_.system_id, "0");
  EXPECT_THAT(access_.allowed_functions, ::testing::Not(IsEmpty()));
  EXPECT_NE(user_.GetBPDSegment("HIBPA", 0, true), nullptr);
  EXPECT_GT(user_.UPDSegmentCount(), 0);
  EXPECT_TRUE(conversation().Close()) << conversation().Problem();
}

TEST_F(ConversationTest, NamesTheAccounts) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  ASSERT_THAT(accounts, ::testing::Not(IsEmpty()));
  EXPECT_THAT(accounts[0].iban, HasSubstr("DE"));
}

TEST_F(ConversationTest, ReadsABalanceAndAStatementOfSeveralPages) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  Ref<HbSegment> balance;
  ASSERT_TRUE(conversation().Balance(accounts[0], balance)) << conversation().Problem();
  String amount;
  EXPECT_TRUE(balance->GetFieldString(amount, field::kBookedAmount));
  EXPECT_GT(amount.Len(), 0);
  std::vector<Ref<HbSegment>> pages;
  ASSERT_TRUE(conversation().Statement(accounts[0], HbDate(), HbDate(), pages))
      << conversation().Problem();
  EXPECT_GT(pages.size(), 1u);
  EXPECT_NE(pages[0]->GetBinaryVar(field::kStatement), nullptr);
}

TEST_F(ConversationTest, StopsAtARefusedPin) {
  pin_ = "99999";
  EXPECT_FALSE(conversation().Open());
  EXPECT_TRUE(conversation().IsRefused());
  EXPECT_THAT(conversation().Problem(), HasSubstr("9942"));
  const int messages = messages_;
  EXPECT_FALSE(conversation().Open());
  EXPECT_TRUE(conversation().Close());
  EXPECT_EQ(messages_, messages);
}

}  // namespace
}  // namespace tmx::demo
