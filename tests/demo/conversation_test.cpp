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

std::string PaymentFile(const std::string& from, const std::string& to, const std::string& amount) {
  return "<?xml version=\"1.0\"?><Document "
         "xmlns=\"urn:iso:std:iso:20022:tech:xsd:pain.001.001.03\">"
         "<CstmrCdtTrfInitn><GrpHdr><NbOfTxs>1</NbOfTxs><CtrlSum>" +
         amount + "</CtrlSum></GrpHdr><PmtInf><DbtrAcct><Id><IBAN>" + from +
         "</IBAN></Id></DbtrAcct><CdtTrfTxInf><Amt><InstdAmt Ccy=\"EUR\">" + amount +
         "</InstdAmt></Amt><Cdtr><Nm>Erika Muster</Nm></Cdtr><CdtrAcct><Id><IBAN>" + to +
         "</IBAN></Id></CdtrAcct><RmtInf><Ustrd>Miete</Ustrd></RmtInf></CdtTrfTxInf></PmtInf>"
         "</CstmrCdtTrfInitn></Document>";
}

constexpr const char* kPain = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";

// The opened conversation's first account, and another of the bank.
class TransferTest : public HostFixture {
 protected:
  bool TransferTo(const std::string& amount) {
    if (!conversation().Open()) return false;
    std::vector<BankAccount> accounts;
    if (!conversation().Accounts(accounts)) return false;
    from_ = accounts[0];
    std::string to;
    for (const Account& account : bank_.Books().Accounts())
      if (account.iban != from_.iban) to = account.iban;
    return conversation().Transfer(from_, kPain, PaymentFile(from_.iban, to, amount));
  }
  Cents Balance() { return bank_.Books().ByIban(from_.iban)->Balance(); }

  BankAccount from_;
};

TEST_F(TransferTest, MovesMoneyOnceItsTanIsGiven) {
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_EQ(Balance(), SandboxBank().Books().ByIban(from_.iban)->Balance() - 1234);
  EXPECT_EQ(access_.security_function, "910");
  EXPECT_EQ(access_.tan_medium, "Karte 1");
  EXPECT_THAT(challenge_, HasSubstr("TAN"));
}

TEST_F(TransferTest, IsNotCarriedOutWithoutATan) {
  gives_tan_ = false;
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().Problem(), "no TAN was given: the order is not carried out");
  EXPECT_EQ(Balance(), SandboxBank().Books().ByIban(from_.iban)->Balance());
}

TEST_F(TransferTest, IsRefusedWithAWrongTan) {
  tan_ = "654321";
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_THAT(conversation().Problem(), HasSubstr("9941"));
  EXPECT_EQ(Balance(), SandboxBank().Books().ByIban(from_.iban)->Balance());
}

TEST_F(TransferTest, IsConfirmedOnAnotherDeviceWhereTheProcedureIsDecoupled) {
  ConversationOptions options;
  options.wanted_function = "946";
  Restart(options);
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_EQ(Balance(), SandboxBank().Books().ByIban(from_.iban)->Balance() - 1234);
  EXPECT_EQ(waited_, 3);  // two seconds, and one more
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
