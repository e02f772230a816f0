// A conversation in HBCI 2.2 with the sandbox bank, without a network.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/host/segment_values.h"
#include "tests/demo/host_fixture.h"
#include "tmxtools/banking/user_utilities.h"

namespace tmx::demo {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class Hbci220Test : public HostFixture {
 protected:
  Hbci220Test() : HostFixture("i0m4") {
    user_.SetHbciVersion(220);
    Restart({});
  }
};

TEST_F(Hbci220Test, ItsMacroFilesAreThoseOfAnAccessOverTheInternet) {
  user_.SetMedia(SecurityMediaPinTan);
  user_.SetProtocol(CommunicationProtocolInternet);
  EXPECT_EQ(hbk::HbUserUtilities::getDefaultMacroFiles(user_), "i0m4;hbcim4");
}

TEST_F(Hbci220Test, OpensWithANewSystemIdAndTakesTheParameters) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(user_.GetHbciVersion(), 220);
  EXPECT_THAT(access_.system_id, HasSubstr("4711"));
  EXPECT_EQ(access_.security_function, "999");
  EXPECT_EQ(user_.GetBPDSegment("HIBPA", 0, true)->GetSegmentVersion(), 2);
  EXPECT_EQ(user_.GetUPDSegment(String())->GetSegmentVersion(), 2);
  EXPECT_EQ(messages_, 3);  // synchronisation, its end, and the dialog
  EXPECT_THAT(sent_.back(),
              AllOf(HasSubstr("+220+0+1'HNVSK:998:2+998+"), HasSubstr("HNSHK:2:3+999+"),
                    HasSubstr("HKVVB:4:2+"), HasSubstr("HNSHA:5:1+")));
  EXPECT_TRUE(conversation().Close()) << conversation().Problem();
}

TEST_F(Hbci220Test, ASecondDialogNeedsNoSynchronisation) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  ASSERT_TRUE(conversation().Close());
  messages_ = 0;
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(messages_, 1);
}

TEST_F(Hbci220Test, ReadsTheBalanceOfAnAccountThatTheParametersName) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  ASSERT_THAT(accounts, Not(IsEmpty()));
  const Account* const kept = bank_.Books().ByNumber(accounts[0].number);
  ASSERT_NE(kept, nullptr);
  Ref<HbSegment> balance;
  ASSERT_TRUE(conversation().Balance(accounts[0], balance)) << conversation().Problem();
  EXPECT_EQ(balance->GetSegmentVersion(), 5);
  EXPECT_EQ(TextOf(*balance, field::kBookedAmount), AmountText(kept->Balance()));
  EXPECT_THAT(sent_.back(), HasSubstr("HKSAL:3:5+" + accounts[0].number + "::280:99900011+N'"));
}

TEST_F(Hbci220Test, WhatTheBankDoesNotOfferIsNotSent) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  messages_ = 0;
  std::vector<Ref<HbSegment>> pages;
  EXPECT_FALSE(conversation().Statement(accounts.at(0), HbDate(), HbDate(), pages));
  EXPECT_THAT(conversation().Problem(), HasSubstr("HIKAZS"));
  EXPECT_EQ(messages_, 0);
}

TEST_F(Hbci220Test, WithoutParametersOfTheUserThereAreNoAccounts) {
  std::vector<BankAccount> accounts;
  EXPECT_FALSE(conversation().Accounts(accounts));
  EXPECT_THAT(conversation().Problem(), HasSubstr("HIUPD"));
}

TEST_F(Hbci220Test, AnAccountWithoutANumberHasNoBalance) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  for (unsigned short i = 0; i < user_.UPDSegmentCount(); ++i)
    user_.GetUPDSegment(i)->Unregister(field::kAccountNumber);
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  messages_ = 0;
  Ref<HbSegment> balance;
  EXPECT_FALSE(conversation().Balance(accounts.at(0), balance));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(),
            "HKSAL needs an account's number and bank code, and HIUPD does not name them");
  EXPECT_EQ(messages_, 0);
}

TEST_F(Hbci220Test, StopsAtARefusedPin) {
  pin_ = "99999";
  EXPECT_FALSE(conversation().Open());
  EXPECT_TRUE(conversation().IsRefused());
  EXPECT_THAT(conversation().Problem(), HasSubstr("9942"));
  EXPECT_EQ(messages_, 1);
}

// A bank that knows HKSAL in its oldest versions only.
TEST_F(Hbci220Test, AsksForABalanceInTheVersionThatTheBankOffers) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  for (const int version : {3, 4}) {
    const std::string number = std::to_string(version);
    AnswerReader reader(engine_);
    AnswerReader::Result offer = reader.Read("HISALS:9:" + number + ":4+1+1'");
    ASSERT_THAT(offer.segments, SizeIs(1));
    user_.GetInternalUser()->ClearBPDs(true, true);
    user_.GetInternalUser()->InsertBPDSegment(offer.segments[0].Get(), true);
    Ref<HbSegment> balance;
    EXPECT_FALSE(conversation().Balance(accounts[0], balance));  // the sandbox bank knows 5 alone
    EXPECT_THAT(sent_.back(),
                HasSubstr("HKSAL:3:" + number + "+" + accounts[0].number + ":280:99900011+N'"));
    const AnswerReader::Result answer = reader.Read(
        "HISAL:5:" + number +
        ":3+1234:280:99900011+Girokonto+EUR+D:12,5:EUR:20260115:101112+C:0,:EUR:20260115'");
    ASSERT_THAT(answer.segments, SizeIs(1));
    const HbSegment& read = *answer.segments[0];
    EXPECT_EQ(TextOf(read, field::kAccountNumber), "1234");
    EXPECT_EQ(TextOf(read, field::kBankCode), "99900011");
    EXPECT_EQ(TextOf(read, field::kBookedSign), "D");
    EXPECT_EQ(TextOf(read, field::kBookedAmount), "12,5");
    EXPECT_EQ(TextOf(read, field::kBookedTime), "101112");
  }
}

}  // namespace
}  // namespace tmx::demo
