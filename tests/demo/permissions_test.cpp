// What the parameters of bank and user forbid is not sent, and the problem names the parameter.
#include "demo/host/permissions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/host/segment_values.h"
#include "tests/demo/transfer_fixture.h"

namespace tmx::demo {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class Allowed : public TransferFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(conversation().Open()) << conversation().Problem();
    ASSERT_TRUE(conversation().Accounts(accounts_)) << conversation().Problem();
    ASSERT_THAT(accounts_, SizeIs(2));
    messages_ = 0;
  }

  HbSegment& BankParameter(const char* code) { return *user_.GetBPDSegment(code, 0, true); }

  // Fields of all versions of a parameter.
  void Demand(const std::string& code, long value, unsigned long field) {
    for (unsigned short i = 0; i < user_.BPDSegmentCount(true, true); ++i) {
      HbSegment& segment = *user_.GetBPDSegment(i, true, true);
      if (CodeOf(segment) == code) segment.PutFieldInt32(value, field);
    }
  }

  void ExpectForbidden(const std::string& why) {
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
    EXPECT_EQ(conversation().Problem(), why);
    EXPECT_EQ(messages_, 0) << "nothing is sent";
  }

  std::vector<BankAccount> accounts_;
  Ref<HbSegment> balance_;
  std::vector<Ref<HbSegment>> pages_;
};

TEST_F(Allowed, IsNotWhatTheBankDoesNotOffer) {
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HISALS"; });
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden("the bank does not offer HKSAL: its parameters hold no HISALS of version 5 to 8");
}

TEST_F(Allowed, IsNotAnOrderForAnAccountThatLacksIt) {
  EXPECT_FALSE(conversation().Transfer(accounts_[1], kPain, "<Document/>"));
  ExpectForbidden("HIUPD does not name HKCCS among the orders of account 1000471102");
}

TEST_F(Allowed, IsWhatIsNotNamedIfTheUserParametersSaySo) {
  user_.GetUPDSegment(String())->PutFieldString("1", field::kUpdUsage);
  conversation().Transfer(accounts_[1], kPain, "<Document/>");
  EXPECT_GT(messages_, 0);
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused);
}

TEST_F(Allowed, IsNothingForAnAccountThatIsNotTheUsers) {
  BankAccount strange = accounts_[0];
  strange.iban = "DE02120300000000202051";
  strange.number = "202051";
  EXPECT_FALSE(conversation().Balance(strange, balance_));
  ExpectForbidden("no HIUPD is about account 202051");
}

TEST_F(Allowed, IsAnAccountWithoutIbanByItsNumber) {
  accounts_[0].iban.clear();
  KeepBankParameters([](const HbSegment& each) {
    return CodeOf(each) != "HISALS" || each.GetSegmentVersion() < 7;
  });
  EXPECT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  accounts_[0].subaccount = "77";
  messages_ = 0;
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden("no HIUPD is about account 1000471101");
}

TEST_F(Allowed, IsNotWhatHasNoPlaceAmongThePinOrders) {
  HbSegment& pins = BankParameter("HIPINS");
  std::string job;
  for (unsigned long at = 0; HasText(pins, field::kTanJob + at, job); at += 100)
    if (job == "HKSAL" || job == "HKSPA") pins.PutFieldString("HKXXX", field::kTanJob + at);
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden("HIPINS does not name HKSAL among the orders with PIN and TAN");
  EXPECT_FALSE(conversation().Accounts(accounts_));
  ExpectForbidden("HIPINS does not name HKSPA among the orders with PIN and TAN");
}

TEST_F(Allowed, IsNotWhatNeedsTwoSignatures) {
  Demand("HISALS", 2, field::kMinSignatures);
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden("HISALS demands 2 signatures for HKSAL");
  HbSegment& rights = *user_.GetUPDSegment(String(accounts_[0].number.c_str()));
  std::string job;
  for (unsigned long at = 0; HasText(rights, field::kAllowedJob + at, job); at += 101240)
    if (job == "HKCCS") rights.PutFieldInt16(2, field::kAllowedJobSignatures + at);
  EXPECT_FALSE(conversation().Transfer(accounts_[0], kPain, "<Document/>"));
  ExpectForbidden("HIUPD demands 2 signatures for HKCCS");
}

TEST_F(Allowed, IsNoMessageAboveTheBanksLimit) {
  const std::string huge(300 << 10, 'x');
  EXPECT_FALSE(conversation().Transfer(accounts_[0], kPain, huge));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_THAT(conversation().Problem(), HasSubstr(" bytes, HIBPA allows 256 KB"));
  EXPECT_EQ(messages_, 0);
  // The number of the message that was not sent is that of the next.
  EXPECT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
}

TEST_F(Allowed, IsAStatementInAnyDialect) {
  KeepBankParameters(
      [](const HbSegment& each) { return CodeOf(each) != "HIKAZS" && CodeOf(each) != "HICAZS"; });
  EXPECT_FALSE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_));
  ExpectForbidden(
      "the bank does not offer HKKAZ: its parameters hold no HIKAZS of version 5 to 7; the bank "
      "does not offer HKCAZ: its parameters hold no HICAZS of version 1 to 1");
}

TEST_F(Allowed, IsCamtWhereTheBankHasNothingElse) {
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HIKAZS"; });
  ASSERT_TRUE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_))
      << conversation().Problem();
  EXPECT_GT(pages_.size(), 1u);
  for (const Ref<HbSegment>& page : pages_) {
    EXPECT_EQ(CodeOf(*page), "HICAZ");
    EXPECT_THAT(TextOf(*page, field::kCamtFormat), HasSubstr("camt.052"));
    const HbBinaryVariable* const booked = page->GetBinaryVar(field::kStatement);
    ASSERT_NE(booked, nullptr);
    EXPECT_THAT(std::string(reinterpret_cast<const char*>(booked->GetData()), booked->GetLength()),
                HasSubstr("<Document"));
  }
}

TEST_F(Allowed, TakesTheNewestBalanceThatTheBankOffers) {
  for (unsigned short newest = 8; newest >= 5; --newest) {
    SCOPED_TRACE(newest);
    KeepBankParameters([newest](const HbSegment& each) {
      return CodeOf(each) != "HISALS" || each.GetSegmentVersion() <= newest;
    });
    ASSERT_TRUE(conversation().Balance(accounts_[1], balance_)) << conversation().Problem();
    EXPECT_THAT(sent_.back(), HasSubstr("HKSAL:3:" + std::to_string(newest) + "+"));
    EXPECT_EQ(balance_->GetSegmentVersion(), newest);
    EXPECT_EQ(TextOf(*balance_, field::kBookedAmount), "5012,5");
    EXPECT_EQ(TextOf(*balance_, field::kBookedCurrency), "EUR");
    EXPECT_EQ(TextOf(*balance_, field::kAccountNumber), accounts_[1].number);
  }
}

TEST_F(Allowed, TakesOlderStatementsToo) {
  for (unsigned short newest = 7; newest >= 5; --newest) {
    SCOPED_TRACE(newest);
    KeepBankParameters([newest](const HbSegment& each) {
      return CodeOf(each) != "HIKAZS" || each.GetSegmentVersion() <= newest;
    });
    pages_.clear();
    ASSERT_TRUE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_))
        << conversation().Problem();
    ASSERT_THAT(pages_, Not(IsEmpty()));
    EXPECT_EQ(pages_[0]->GetSegmentVersion(), newest);
    EXPECT_THAT(sent_.back(), HasSubstr("HKKAZ:3:" + std::to_string(newest) + "+"));
  }
}

}  // namespace
}  // namespace tmx::demo
