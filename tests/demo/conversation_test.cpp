// A conversation by macros with the sandbox bank, without a network.
#include "demo/host/conversation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/bank/sandbox_bank.h"
#include "demo/host/segment_values.h"
#include "tests/demo/edited_message.h"
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

// Hears other marks of continuation than the bank gives.
class OddMarks : public HostFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    HostFixture::Deliver(message, answer, problem);
    if (message.find("HKKAZ") != std::string::npos && ++statements_ == 1)
      answer = Edited(std::move(answer), given_, heard_);
    return true;
  }

  bool ReadStatement() {
    std::vector<BankAccount> accounts;
    return conversation().Open() && conversation().Accounts(accounts) &&
           conversation().Statement(accounts[0], HbDate(), HbDate(), pages_);
  }

  std::string given_ = "vor.:S?:1000471101?+4'";
  std::string heard_;
  int statements_ = 0;
  std::vector<Ref<HbSegment>> pages_;
};

TEST_F(OddMarks, DoNotMakeAStatementShorter) {
  for (const char* const nothing : {"vor.'", "vor.:'", "vor.::S?:1000471101?+4'"}) {
    SCOPED_TRACE(nothing);
    heard_ = nothing;
    statements_ = 0;
    EXPECT_FALSE(ReadStatement());
    EXPECT_EQ(statements_, 1);
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kWrongAnswer);
    EXPECT_EQ(conversation().Problem(),
              "the statement is not complete: the bank has more (3040), but does not say where it "
              "goes on");
  }
}

TEST_F(OddMarks, AreGivenBackAsTheyCame) {
  heard_ = "vor.:" + std::string(5000, 'x') + '\'';
  EXPECT_FALSE(ReadStatement());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused) << "the bank does not know the mark";
  EXPECT_THAT(sent_.back(), HasSubstr('+' + std::string(5000, 'x') + '\''));
}

// The elements of HKVVB with the versions that the host has.
std::string Preparation(const std::string& message) {
  const std::size_t at = message.find("HKVVB");
  return message.substr(at, message.find('\'', at) - at);
}

TEST_F(ConversationTest, NamesItsProductByTheRegistrationNumber) {
  ConversationOptions options;
  options.product = "PROGRAM";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_THAT(Preparation(sent_.back()), HasSubstr("+PROGRAM+1.0"));
  access_.registration_number = "0123456789ABCDEF012345678";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_THAT(Preparation(sent_.back()), HasSubstr("+0123456789ABCDEF012345678+1.0"));
}

TEST_F(ConversationTest, AsksForParametersOnlyUntilItHasThem) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_THAT(Preparation(sent_[0]), HasSubstr(":3+0+0+"));
  EXPECT_THAT(Preparation(sent_.back()), HasSubstr(":3+12+3+"));
  EXPECT_TRUE(conversation().Close());
  user_.GetInternalUser()->SetBPDUpdated(false);
  user_.GetInternalUser()->SetUPDUpdated(false);
  sent_.clear();
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(sent_.size(), 1u);
  EXPECT_THAT(Preparation(sent_[0]), HasSubstr(":3+12+3+"));
  EXPECT_FALSE(user_.IsBPDUpdated());
  EXPECT_FALSE(user_.IsUPDUpdated());
}

TEST_F(ConversationTest, TakesParametersAgainOnceTheBankHasNewOnes) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_TRUE(conversation().Close());
  user_.GetInternalUser()->SetBPDUpdated(false);
  user_.GetInternalUser()->SetUPDUpdated(false);
  const unsigned short bank_segments = user_.BPDSegmentCount(true, true);
  const unsigned short user_segments = user_.UPDSegmentCount();
  BankOptions moved;
  moved.bpd_version = 13;
  bank_ = SandboxBank(moved);
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_TRUE(user_.IsBPDUpdated());
  EXPECT_FALSE(user_.IsUPDUpdated());
  EXPECT_EQ(TextOf(*user_.GetBPDSegment("HIBPA", 0, true), field::kBankName), "Sandkastenbank");
  EXPECT_EQ(NumberOf(*user_.GetBPDSegment("HIBPA", 0, true), field::kBpdVersion), 13);
  EXPECT_EQ(user_.BPDSegmentCount(true, true), bank_segments);
  EXPECT_EQ(user_.UPDSegmentCount(), user_segments);
}

TEST_F(ConversationTest, AsksForAMediumWhenAnotherProcedureNeedsOne) {
  ConversationOptions options;
  options.wanted_function = "946";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "");
  EXPECT_TRUE(conversation().Close());
  options.wanted_function = "910";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Karte 1");
  EXPECT_TRUE(conversation().Close());
  options.wanted_medium = "Leser + Kamera";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Leser + Kamera");
}

TEST_F(ConversationTest, ListsTheMediaOfItsProcedure) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<ListedMedium> media{{"old", "", ""}};
  ASSERT_TRUE(conversation().Media(media)) << conversation().Problem();
  EXPECT_THAT(media, ::testing::ElementsAre(ListedMedium{"Karte 1", "G", "910"},
                                            ListedMedium{"Leser + Kamera", "G", "910"}));
}

TEST_F(ConversationTest, TakesNoMediumThatTheBankDoesNotList) {
  ConversationOptions options;
  options.wanted_medium = "Karte 2";
  Restart(options);
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(),
            "the bank lists no TAN medium 'Karte 2', but 'Karte 1', 'Leser + Kamera'");
  EXPECT_EQ(access_.tan_medium, "");
}

TEST_F(ConversationTest, TrustsTheUserWhereTheBankOffersNoList) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HITABS"; });
  ConversationOptions options;
  options.wanted_medium = "Leser + Kamera";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Leser + Kamera");
  access_.tan_medium.clear();
  Restart({});
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().Problem(),
            "the bank does not offer HKTAB: its parameters hold no HITABS of version 4 to 5");
}

// Lists the media differently.
class OddMedia : public HostFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    HostFixture::Deliver(message, answer, problem);
    if (message.find("HKTAB") != std::string::npos)
      answer = Edited(std::move(answer), listed_, heard_);
    return true;
  }

  std::string listed_ = "+G:1:910:6725990001:";
  std::string heard_ = "+G:1:911:6725990001:";
};

TEST_F(OddMedia, AreLeftOutIfTheyAreForAnotherProcedure) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Leser + Kamera");
}

TEST_F(OddMedia, BelongToTheirProcedure) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  ASSERT_EQ(access_.tan_medium, "Leser + Kamera");
  user_.GetBPDSegment("HITANS", 7, true)->PutFieldString("2", field::kProcedureMediumNeeded + 1000);
  heard_ = "+G:1:946:6725990001:";
  ConversationOptions options;
  options.wanted_function = "946";
  Restart(options);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Karte 1");
}

TEST_F(OddMedia, AreLeftOutWithoutAName) {
  listed_ = ":Karte 1+";
  heard_ = "+";
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.tan_medium, "Leser + Kamera");
}

TEST_F(OddMedia, AreMissing) {
  listed_ = "HITAB:";
  heard_ = "HIXXX:";
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kWrongAnswer);
  EXPECT_EQ(conversation().Problem(), "the bank lists no TAN medium, but the procedure needs one");
}

TEST_F(ConversationTest, KnowsOnlyProceduresThatTheBankAllowsAndDescribes) {
  ConversationOptions options;
  options.wanted_function = "999999";
  Restart(options);
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(), "the bank does not allow the procedure 999999");
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  KeepBankParameters([](const HbSegment& each) { return CodeOf(each) != "HITANS"; });
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().Problem(),
            "HITANS of the bank's parameters does not describe the procedure 910");
}

// Where a bank refuses to begin a dialog, though not the PIN.
class Withdrawn : public HostFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(conversation().Open() && conversation().Close()) << conversation().Problem();
    Restart({});
    messages_ = 0;
  }
  void ExpectARefusalAndThenANewBeginning() {
    EXPECT_FALSE(conversation().Open());
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused);
    EXPECT_EQ(messages_, 1) << "no second PIN in the same run";
    Restart({});
    ASSERT_TRUE(conversation().Open()) << conversation().Problem();
    EXPECT_THAT(sent_.back(), HasSubstr('+' + access_.system_id + '+'));
  }
};

TEST_F(Withdrawn, IsAProcedureThatIsReplaced) {
  bank_.Books().FindUser("4711")->functions = {"946"};
  ExpectARefusalAndThenANewBeginning();
  EXPECT_EQ(access_.security_function, "946");
}

TEST_F(Withdrawn, IsASystemIdThatIsReplaced) {
  access_.system_id = "ZURUECKGEZOGEN";
  ExpectARefusalAndThenANewBeginning();
  EXPECT_THAT(access_.system_id, HasSubstr("4711"));
}

TEST_F(Withdrawn, IsNothingByARefusedPin) {
  const Access before = access_;
  pin_ = "99999";
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(access_, before);
}

TEST_F(Withdrawn, IsNothingByARefusedTan) {
  BankOptions bank;
  bank.tan_at_login = true;
  bank_ = SandboxBank(bank);
  tan_ = "654321";
  const Access before = access_;
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused);
  EXPECT_EQ(access_, before);
}

// As many requests or messages as a job can hold.
class FullJob : public HostFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(conversation().Open()) << conversation().Problem();
    ASSERT_TRUE(conversation().Accounts(accounts_)) << conversation().Problem();
    messages_ = 0;
  }
  void ExpectNothingIsSent(const std::string& why) {
    Ref<HbSegment> balance;
    EXPECT_FALSE(conversation().Balance(accounts_[0], balance));
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kNotWritten);
    EXPECT_EQ(conversation().Problem(), why);
    EXPECT_EQ(messages_, 0);
  }

  std::vector<BankAccount> accounts_;
};

TEST_F(FullJob, TakesNoFurtherRequest) {
  while (job_.RequestCount() < 65535) {
    auto request = std::make_unique<HbRequest>("HKSAL", 5, 1);
    ASSERT_TRUE(job_.InsertRequest(request.get()));
    static_cast<void>(request.release());
  }
  ExpectNothingIsSent("the job has no room for another request");
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_LT(job_.RequestCount(), 10) << "a dialog begins without what others have left";
}

TEST_F(FullJob, TakesNoFurtherMessage) {
  HbDialog& dialog = *job_.GetDialog(0);
  while (dialog.MessageCount() < 65535) {
    auto message = std::make_unique<HbMessage>(1, &user_, nullptr, nullptr);
    ASSERT_TRUE(dialog.AddMsg(*message, 65535));
    static_cast<void>(message.release());
  }
  ExpectNothingIsSent("the job has no room for another message");
  EXPECT_EQ(job_.GetRequest(static_cast<unsigned short>(job_.RequestCount() - 1))->GetStatus(),
            HbStatusError);
}

// Names its accounts differently.
class OddAccounts : public HostFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    HostFixture::Deliver(message, answer, problem);
    if (message.find("HKSPA") != std::string::npos)
      answer = Edited(std::move(answer), "+J:DE", odd_);
    return true;
  }

  std::string odd_ = "+N+J:DE";
};

TEST_F(OddAccounts, HideNoOthers) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts{{}, {}, {}};
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  EXPECT_EQ(accounts.size(), 2U);
  odd_ = "+::TMXTDE00XXX+J:DE";
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  EXPECT_EQ(accounts.size(), 2U);
}

TEST_F(OddAccounts, TakeNoSepaOrders) {
  odd_ = "+N:DE";
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
  ASSERT_EQ(accounts.size(), 2U);
  EXPECT_FALSE(accounts[0].takes_sepa);
  EXPECT_TRUE(accounts[1].takes_sepa);
}

TEST_F(ConversationTest, SaysWhatHappensToItsProgress) {
  HbProgressInfoRecord progress;
  progress.SetPercentDonePerStep(1000);
  std::vector<std::string> told;
  progress.SetStatusLink(Link([&](void*) {
    if (progress.GetCurrentRequest() != nullptr)
      told.emplace_back(progress.GetCurrentRequest()->GetRequestName().View());
    return 0L;
  }));
  ConversationOptions options;
  options.progress = &progress;
  Restart(options);
  std::vector<BankAccount> accounts;
  ASSERT_TRUE(conversation().Open() && conversation().Accounts(accounts))
      << conversation().Problem();
  EXPECT_THAT(told, ::testing::ElementsAre("HKIDN", "HKTAB", "HKEND", "HKIDN", "HKSPA"));
  EXPECT_EQ(progress.GetCurrentRequest(), nullptr);
  EXPECT_EQ(progress.GetPercentDone(), 5000);
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

TEST_F(ConversationTest, MeetsALockAfterThreeWrongPinsAndNeverTriesAgain) {
  const std::string right = pin_;
  pin_ = "99999";
  for (const char* const code : {"9942", "9942", "9931"}) {
    SCOPED_TRACE(code);
    const int before = messages_;
    Restart({});
    EXPECT_FALSE(conversation().Open());
    EXPECT_THAT(conversation().Problem(), HasSubstr(code));
    EXPECT_FALSE(conversation().Open());
    EXPECT_TRUE(conversation().Close());
    EXPECT_EQ(messages_, before + 1) << "one message with the PIN for each conversation";
    EXPECT_TRUE(conversation().IsRefused());
  }
  EXPECT_THAT(conversation().BankTexts(), ::testing::Contains(::testing::StartsWith("3938 ")));
  EXPECT_THAT(conversation().BankTexts(), ::testing::Contains(::testing::StartsWith("9931 ")));
  pin_ = right;
  Restart({});
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kRefused);
  EXPECT_THAT(conversation().Problem(), HasSubstr("9930"));
}

TEST_F(ConversationTest, DoesNotKeepThePinBehindTheDialog) {
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  HbVariables& secrets = job_.GetDialog(0)->GetSecurityVariables();
  EXPECT_FALSE(secrets.IsNull(4096));
  EXPECT_TRUE(conversation().Close());
  EXPECT_TRUE(secrets.IsNull(4096));
}

TEST_F(ConversationTest, SendsNothingWithoutAPin) {
  pin_ = "";
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kNotGiven);
  EXPECT_EQ(messages_, 0);
}

}  // namespace
}  // namespace tmx::demo
