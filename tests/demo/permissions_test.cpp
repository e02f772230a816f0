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

  // As if HIPINS did not name an order.
  void TakeFromPinOrders(const std::string& order) {
    HbSegment& pins = BankParameter("HIPINS");
    std::string job;
    for (unsigned long at = 0; HasText(pins, field::kTanJob + at, job); at += 100)
      if (job == order) pins.PutFieldString("HKXXX", field::kTanJob + at);
  }

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
  TakeFromPinOrders("HKSAL");
  TakeFromPinOrders("HKSPA");
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

// HIUPD may name an account with zeros in front of its number that HISPA leaves out, or without.
TEST_F(Allowed, IsTheSameAccountWhateverZerosAreInFront) {
  for (unsigned short i = 0; i < user_.UPDSegmentCount(); ++i)
    if (CodeOf(*user_.GetUPDSegment(i)) == "HIUPD")
      user_.GetUPDSegment(i)->Unregister(field::kIban);
  Report report;
  const Permissions permissions(user_, report);
  BankAccount account = accounts_[1];
  for (const char* const number : {"1000471102", "0001000471102"}) {
    account.number = number;
    EXPECT_TRUE(permissions.IsAllowedFor(account, "HKSAL")) << report.problem;
    EXPECT_FALSE(permissions.IsAllowedFor(account, "HKCCS"));
    EXPECT_EQ(report.problem,
              std::string("HIUPD does not name HKCCS among the orders of account ") + number);
  }
  account.number = "10004711020";
  EXPECT_FALSE(permissions.IsAllowedFor(account, "HKSAL"));
}

// Each order names an account by what the standard demands.
TEST_F(Allowed, IsNoTransferFromAnAccountWithoutAnIban) {
  accounts_[0].iban.clear();
  EXPECT_FALSE(conversation().Transfer(accounts_[0], kPain, "<Document/>"));
  ExpectForbidden("HKCCS needs the IBAN of account 1000471101, which HISPA does not name");
}

TEST_F(Allowed, IsNoTransferFromAnAccountThatTakesNone) {
  accounts_[0].takes_sepa = false;
  EXPECT_FALSE(conversation().Transfer(accounts_[0], kPain, "<Document/>"));
  ExpectForbidden("HISPA says that account 1000471101 takes no SEPA orders");
}

TEST_F(Allowed, IsNoOldOrderForAnAccountWithoutNumberOrBankCode) {
  KeepBankParameters([](const HbSegment& each) {
    const std::string code = CodeOf(each);
    return code != "HICAZS" &&
           ((code != "HISALS" && code != "HIKAZS") || each.GetSegmentVersion() < 7);
  });
  BankAccount lacks_number = accounts_[0];
  lacks_number.number.clear();
  BankAccount lacks_bank = accounts_[0];
  lacks_bank.bank_code.clear();
  const std::string no_offer =
      "the bank does not offer HKCAZ: its parameters hold no HICAZS of version 1 to 1";
  EXPECT_FALSE(conversation().Balance(lacks_number, balance_));
  ExpectForbidden("HKSAL needs an account's number and bank code, and HISPA does not name them");
  EXPECT_FALSE(conversation().Balance(lacks_bank, balance_));
  ExpectForbidden("HKSAL needs an account's number and bank code, and HISPA does not name them");
  EXPECT_FALSE(conversation().Statement(lacks_number, HbDate(), HbDate(), pages_));
  ExpectForbidden("HKKAZ needs an account's number and bank code, and HISPA does not name them; " +
                  no_offer);
  EXPECT_FALSE(conversation().Statement(lacks_bank, HbDate(), HbDate(), pages_));
  ExpectForbidden("HKKAZ needs an account's number and bank code, and HISPA does not name them; " +
                  no_offer);
}

TEST_F(Allowed, IsNoStatementInAFormatThatNobodyNames) {
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HIKAZS"; });
  HbSegment& offer = BankParameter("HICAZS");
  offer.Unregister(field::kCamtFormats);
  EXPECT_FALSE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_));
  ExpectForbidden(
      "the bank does not offer HKKAZ: its parameters hold no HIKAZS of version 5 to 7; HICAZS "
      "names no format of statements");
}

// What a transfer to another bank says; nothing where it was sent.
class Transfers : public Allowed {
 protected:
  std::string Forbidden(const std::string& amount, const std::string& format = kPain) {
    messages_ = 0;
    const bool taken = conversation().Transfer(
        accounts_[0], format, PaymentFile(accounts_[0].iban, "DE02120300000000202051", amount));
    if (messages_ > 0) return "";
    EXPECT_FALSE(taken);
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
    return conversation().Problem();
  }

  HbSegment& Rights() { return *user_.GetUPDSegment(String(accounts_[0].number.c_str())); }

  // Where HIUPD speaks of HKCCS.
  unsigned long Place() {
    std::string job;
    unsigned long at = 0;
    while (HasText(Rights(), field::kAllowedJob + at, job) && job != "HKCCS") at += 101240;
    return at;
  }
};

TEST_F(Transfers, AreInAFormatThatTheBankNames) {
  const std::string known = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.";
  EXPECT_EQ(Forbidden("1.00"), "");
  EXPECT_EQ(Forbidden("1.00", known + "12"), "HISPAS does not name the format " + known +
                                                 "12, but " + known + "03, " + known + "09");
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HISPAS"; });
  EXPECT_EQ(Forbidden("1.00", known + "12"), "") << "a bank that names none takes any";
}

TEST_F(Transfers, AreNoneAboveTheOrdersLimit) {
  const unsigned long at = Place();
  Rights().PutFieldString("E", field::kAllowedJobLimitType + at);
  Rights().PutFieldAmount(HbAmount(10000, 1, String()), field::kAllowedJobLimit + at);
  Rights().PutFieldString("EUR", field::kAllowedJobLimitCurrency + at);
  EXPECT_EQ(Forbidden("1000.01"), "HIUPD allows at most 1000,0 EUR for one HKCCS, not 1000,01 EUR");
  EXPECT_EQ(Forbidden("1000.00"), "");
}

TEST_F(Transfers, AreNoneAboveTheAccountsLimit) {
  Rights().PutFieldString("E", field::kLimitType);
  Rights().PutFieldAmount(HbAmount(5000, 2, String()), field::kLimitAmount);
  Rights().PutFieldString("EUR", field::kLimitCurrency);
  EXPECT_EQ(Forbidden("50.01"), "HIUPD allows at most 50,00 EUR for one HKCCS, not 50,01 EUR");
  EXPECT_EQ(Forbidden("50"), "");
}

TEST_F(Transfers, AreLeftToTheBankWhereTheLimitIsNotThatOfOneOrder) {
  const unsigned long at = Place();
  Rights().PutFieldString("T", field::kAllowedJobLimitType + at);
  Rights().PutFieldAmount(HbAmount(1, 2, String()), field::kAllowedJobLimit + at);
  Rights().PutFieldString("EUR", field::kAllowedJobLimitCurrency + at);
  EXPECT_EQ(Forbidden("1.00"), "") << "of a day";
  Rights().PutFieldString("E", field::kAllowedJobLimitType + at);
  Rights().PutFieldString("USD", field::kAllowedJobLimitCurrency + at);
  EXPECT_EQ(Forbidden("1.00"), "") << "in another currency";
}

TEST_F(Allowed, IsANationalAccountOnlyIfTheBankTakesIt) {
  const std::string international = accounts_[0].iban + ':' + accounts_[0].bic;
  ASSERT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  EXPECT_THAT(sent_.back(), HasSubstr('+' + international + "+N'"));
  BankParameter("HISPAS").PutFieldBool(true, field::kNationalAccountAllowed);
  ASSERT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  EXPECT_THAT(sent_.back(), HasSubstr('+' + international + ":1000471101::280:99900011+N'"));
}

TEST_F(Allowed, IsAnAccountWithoutIbanInOlderVersionsOnly) {
  accounts_[0].iban.clear();
  ASSERT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  EXPECT_THAT(sent_.back(), HasSubstr("HKSAL:3:6+1000471101::280:99900011+N'"));
  ASSERT_TRUE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_))
      << conversation().Problem();
  EXPECT_THAT(sent_.back(), HasSubstr("HKKAZ:3:6+1000471101::280:99900011+N"));
}

TEST_F(Allowed, IsNotAnAccountWithoutIbanWhereOnlyIbansNameAccounts) {
  const std::string why =
      "HISPAS allows no orders that name account 1000471101 by its number, and it has no IBAN";
  accounts_[0].iban.clear();
  KeepBankParameters([](const HbSegment& each) {
    return (CodeOf(each) != "HISALS" && CodeOf(each) != "HIKAZS") || each.GetSegmentVersion() >= 7;
  });
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden(why);
  EXPECT_FALSE(conversation().Statement(accounts_[0], HbDate(), HbDate(), pages_));
  ExpectForbidden(why + "; " + why);
  BankParameter("HISPAS").PutFieldBool(true, field::kNationalAccountAllowed);
  EXPECT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  EXPECT_THAT(sent_.back(), HasSubstr("HKSAL:3:8+"));
}

TEST_F(Allowed, IsWithoutATwoStepProcedureWhatNeedsNoTan) {
  access_.allowed_functions = {kOneStep};
  access_.security_function = kOneStep;
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_TRUE(conversation().Balance(accounts_[0], balance_)) << conversation().Problem();
  messages_ = 0;
  EXPECT_FALSE(conversation().Transfer(accounts_[0], kPain, "<Document/>"));
  ExpectForbidden("HIPINS demands a TAN for HKCCS, and no two-step procedure is chosen");
  for (unsigned short version = 6; version <= 7; ++version)
    user_.GetBPDSegment("HITANS", version, true)->PutFieldBool(false, field::kOneStepAllowed);
  EXPECT_FALSE(conversation().Balance(accounts_[0], balance_));
  ExpectForbidden("HITANS allows no orders without a two-step procedure");
}

TEST_F(Allowed, IsTheQuestionForMediaOnlyAmongThePinOrders) {
  TakeFromPinOrders("HKTAB");
  access_.tan_medium.clear();
  Restart({});
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(),
            "HIPINS does not name HKTAB among the orders with PIN and TAN");
  EXPECT_THAT(sent_.back(), Not(HasSubstr("HKTAB")));
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
