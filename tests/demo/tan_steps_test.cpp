// Transfers with a TAN or a confirmation on another device.
#include "demo/host/tan_steps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "demo/bank/procedures.h"
#include "demo/host/segment_values.h"
#include "tests/demo/edited_message.h"
#include "tests/demo/transfer_fixture.h"

namespace tmx::demo {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

class TanSteps : public TransferFixture {
 protected:
  void BeNeverConfirmed() {
    BankOptions bank;
    bank.confirm_after = 1000;
    bank_ = SandboxBank(bank);
    Decouple();
  }
};

TEST_F(TanSteps, MovesMoneyOnceItsTanIsGiven) {
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
  EXPECT_EQ(access_.security_function, "910");
  EXPECT_EQ(access_.tan_medium, "Karte 1");
  EXPECT_THAT(challenge_, HasSubstr("TAN"));
}

TEST_F(TanSteps, IsNotCarriedOutWithoutATan) {
  gives_tan_ = false;
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().Problem(), "no TAN was given: the order is not carried out");
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(TanSteps, IsRefusedWithAWrongTan) {
  tan_ = "654321";
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_THAT(conversation().Problem(), HasSubstr("9941"));
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(TanSteps, LeaveAnOrderThatWasNotCarriedOutWithAnErrorStatus) {
  gives_tan_ = false;
  EXPECT_FALSE(TransferTo("12.34"));
  ExpectFailedOrder("no TAN was given: the order is not carried out");
  gives_tan_ = true;
  tan_ = "654321";
  EXPECT_FALSE(TransferTo("12.34"));
  ExpectFailedOrder(conversation().Problem());
}

TEST_F(TanSteps, LeaveAnOrderThatWasNotConfirmedWithAnErrorStatus) {
  BeNeverConfirmed();
  EXPECT_FALSE(TransferTo("12.34"));
  ExpectFailedOrder(conversation().Problem());
}

TEST_F(TanSteps, IsConfirmedOnAnotherDeviceWhereTheProcedureIsDecoupled) {
  Decouple();
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
  EXPECT_EQ(waited_, 3);  // two seconds, and one more
}

TEST_F(TanSteps, HandOnAFlickerCode) {
  ASSERT_TRUE(TransferTo("1.00")) << conversation().Problem();
  ASSERT_THAT(challenges_, SizeIs(1));
  EXPECT_EQ(challenges_[0].kind, ChallengeKind::kFlicker);
  EXPECT_EQ(challenges_[0].bytes, "1784047110112000050815");
  EXPECT_EQ(challenges_[0].medium, "Karte 1");
  EXPECT_EQ(challenges_[0].text, challenge_);
  EXPECT_FALSE(challenges_[0].is_elsewhere);
}

TEST_F(TanSteps, HandOnAPicture) {
  ConversationOptions options;
  options.wanted_medium = "Leser + Kamera";
  Restart(options);
  ASSERT_TRUE(TransferTo("1.00")) << conversation().Problem();
  ASSERT_THAT(challenges_, SizeIs(1));
  EXPECT_EQ(challenges_[0].kind, ChallengeKind::kPicture);
  EXPECT_EQ(challenges_[0].type, "image/png");
  EXPECT_THAT(challenges_[0].bytes, StartsWith("\x89PNG"));
  EXPECT_THAT(challenges_[0].bytes, SizeIs(67));
}

TEST_F(TanSteps, SendATanInOneMessageOnly) {
  ASSERT_TRUE(TransferTo("1.00")) << conversation().Problem();
  ASSERT_TRUE(conversation().Close()) << conversation().Problem();
  const auto with_tan = std::ranges::count_if(sent_, [this](const std::string& message) {
    return message.find(tan_) != std::string::npos;
  });
  EXPECT_EQ(with_tan, 1);
}

TEST_F(TanSteps, DoNotSendARefusedTanAgain) {
  tan_ = "654321";
  EXPECT_FALSE(TransferTo("12.34"));
  conversation().Close();
  EXPECT_EQ(sent_.back().find(tan_), std::string::npos);
}

TEST_F(TanSteps, ShowWhatIsToBeConfirmedBeforeTheyWait) {
  Decouple();
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  ASSERT_THAT(challenges_, SizeIs(1));
  EXPECT_TRUE(challenges_[0].is_elsewhere);
  EXPECT_EQ(challenges_[0].kind, ChallengeKind::kText);
  EXPECT_THAT(challenges_[0].text, HasSubstr("App"));
}

TEST_F(TanSteps, AskNoMoreOftenForAConfirmationThanTheBankAllows) {
  BeNeverConfirmed();
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
  EXPECT_EQ(conversation().Problem(),
            "the order was not confirmed in time; confirmed later, it is still carried out");
  EXPECT_EQ(waited_, kFirstWait + (kMostStatusRequests - 1) * kNextWait);
  EXPECT_EQ(Balance(), FirstBalance());
}

// Procedures whose parameters are changed before the transfer.
class Procedures : public TransferFixture {
 protected:
  void Open(const char* function) {
    ConversationOptions options;
    options.wanted_function = function;
    Restart(options);
    ASSERT_TRUE(conversation().Open()) << conversation().Problem();
    at_ = std::string(function) == "946" ? 1000 : 0;
  }
  HbSegment& Parameters() { return *user_.GetBPDSegment("HITANS", 7, true); }
  bool Transfer() {
    std::vector<BankAccount> accounts;
    EXPECT_TRUE(conversation().Accounts(accounts)) << conversation().Problem();
    from_ = accounts[0];
    messages_ = 0;
    return conversation().Transfer(from_, kPain,
                                   PaymentFile(from_.iban, "DE02120300000000202051", "1.00"));
  }

  unsigned long at_ = 0;  // where the fields of the procedure stand
};

TEST_F(Procedures, HaveLimitsThatTheHostSets) {
  BankOptions bank;
  bank.confirm_after = 1000;
  bank_ = SandboxBank(bank);
  Open("946");
  Parameters().PutFieldInt32(0, field::kProcedureMaxRequests + at_);
  Parameters().PutFieldInt32(86400, field::kProcedureWaitFirst + at_);
  EXPECT_FALSE(Transfer());
  EXPECT_EQ(conversation().Problem(),
            "the order was not confirmed in time; confirmed later, it is still carried out");
  EXPECT_EQ(waited_, 120);
}

TEST_F(Procedures, MayLeaveItToTheUserWhenTheBankIsAsked) {
  int questions = 0;
  is_confirmed_ = [&] { return ++questions > 0; };
  Open("946");
  Parameters().PutFieldBool(false, field::kProcedureAutomatic + at_);
  Parameters().PutFieldBool(true, field::kProcedureManual + at_);
  EXPECT_TRUE(Transfer()) << conversation().Problem();
  EXPECT_EQ(questions, 2) << "the first one comes too early";
  EXPECT_EQ(messages_, 3);
}

TEST_F(Procedures, AskNoMoreOnceTheUserGivesUp) {
  is_confirmed_ = [] { return false; };
  Open("946");
  Parameters().PutFieldBool(false, field::kProcedureAutomatic + at_);
  Parameters().PutFieldBool(true, field::kProcedureManual + at_);
  EXPECT_FALSE(Transfer());
  EXPECT_EQ(messages_, 1) << "the order alone";
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
  EXPECT_EQ(conversation().Problem(),
            "the order was not confirmed; confirmed later, it is still carried out");
}

TEST_F(Procedures, DoNotAskTheUserWhereTheClientMayAskByItself) {
  is_confirmed_ = [] {
    ADD_FAILURE();
    return false;
  };
  Open("946");
  Parameters().PutFieldBool(true, field::kProcedureManual + at_);
  EXPECT_TRUE(Transfer()) << conversation().Problem();
}

TEST_F(Procedures, AreNotUsedWhereNobodyMayAsk) {
  for (const bool manual : {true, false}) {
    SCOPED_TRACE(manual);
    // Questions at the user's word need a user.
    is_confirmed_ = manual ? std::function<bool()>() : [] { return true; };
    Open("946");
    Parameters().PutFieldBool(false, field::kProcedureAutomatic + at_);
    Parameters().PutFieldBool(manual, field::kProcedureManual + at_);
    EXPECT_FALSE(Transfer());
    EXPECT_EQ(messages_, 0);
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
    EXPECT_EQ(conversation().Problem(),
              "HITANS allows this client no questions after a confirmation by procedure 946");
    ExpectFailedOrder(conversation().Problem());
    Parameters().PutFieldBool(true, field::kProcedureAutomatic + at_);
  }
}

TEST_F(Procedures, NameTheAccountOfTheOrderWhereTheBankDemandsIt) {
  Open("910");
  EXPECT_TRUE(Transfer()) << conversation().Problem();
  EXPECT_THAT(sent_[sent_.size() - 2], HasSubstr("HKTAN:4:7+4+HKCCS+++++++++Karte 1'"));
  Parameters().PutFieldString("2", field::kProcedureOrderAccount);
  EXPECT_TRUE(Transfer()) << conversation().Problem();
  EXPECT_THAT(sent_[sent_.size() - 2],
              HasSubstr("HKTAN:4:7+4+HKCCS+" + from_.iban + ':' + from_.bic + "++++++++Karte 1'"));
}

TEST_F(Procedures, AreNotUsedIfTheyAreToBePaidForByAnAccount) {
  Open("910");
  Parameters().PutFieldString("2", field::kProcedureSmsAccount);
  EXPECT_FALSE(Transfer());
  EXPECT_EQ(messages_, 0);
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(),
            "HITANS demands an account that pays for the messages of procedure 910");
}

// Of process 1 HKTAN comes before the order, with a hash of it.
TEST_F(Procedures, AreNotUsedIfTheTanComesBeforeTheOrder) {
  Open("910");
  for (unsigned short version = 6; version <= 7; ++version)
    user_.GetBPDSegment("HITANS", version, true)->PutFieldString("1", field::kProcedureProcess);
  ConversationOptions options;
  options.wanted_function = "910";
  Restart(options);
  messages_ = 0;
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(messages_, 0);
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(),
            "HITANS demands the TAN before the order (process 1) of procedure 910");
  EXPECT_EQ(access_.security_function, "910");
  access_.security_function = kOneStep;
  Restart({});
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_EQ(access_.security_function, "946") << "the first that can be used";
}

TEST_F(Procedures, AreNotUsedIfTheyNeedAChallengeClass) {
  Open("910");
  Parameters().PutFieldBool(true, field::kProcedureChallengeClass);
  EXPECT_FALSE(Transfer());
  EXPECT_EQ(messages_, 0);
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kForbidden);
  EXPECT_EQ(conversation().Problem(), "HITANS demands a challenge class, of procedure 910");
}

// Loses the answer to the message with the TAN.
class LostAnswer : public TransferFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    TransferFixture::Deliver(message, answer, problem);
    if (message.find(tan_) == std::string::npos) return true;
    answer = what_arrives_;
    problem = "the connection ended";
    return !answer.empty();
  }

  std::string what_arrives_;
};

TEST_F(LostAnswer, LeavesItUncertainWhetherTheTransferWasCarriedOut) {
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
  EXPECT_EQ(conversation().Problem(),
            "the connection ended; the transfer may have been carried out: look at the statement "
            "before it is made again");
  ExpectFailedOrder("the connection ended");
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
}

TEST_F(LostAnswer, LeavesItUncertainAlsoWhenSomethingElseArrives) {
  what_arrives_ = "HNHBK:1:3+0000";
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
  EXPECT_THAT(conversation().Problem(), HasSubstr("the transfer may have been carried out"));
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
}

// Leaves segments out of the answer to one kind of message: the transfer, or what follows it.
class Incomplete : public TransferFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    if (message.find(spoiled_) == std::string::npos)
      return TransferFixture::Deliver(message, answer, problem);
    MessageFaults faults;
    faults.dropped = dropped_;
    answer = bank_.Answer(message, faults);
    return true;
  }

  void ExpectUncertain(const std::string& problem) {
    EXPECT_FALSE(TransferTo("12.34"));
    EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
    EXPECT_THAT(conversation().Problem(), StartsWith(problem));
  }

  // Because of its second step.
  void ExpectUncertainAndFailed(const std::string& problem) {
    ExpectUncertain(problem);
    ExpectFailedOrder(problem);
  }

  std::string spoiled_ = "HKCCS";
  std::string dropped_ = "HITAN";
};

TEST_F(Incomplete, IsAnAnswerThatWantsATanWithoutSayingForWhat) {
  ExpectUncertainAndFailed("the bank wants a TAN, but its answer has no HITAN");
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(Incomplete, IsAnAnswerThatWaitsForAConfirmationWithoutSayingOfWhat) {
  Decouple();
  ExpectUncertainAndFailed("the bank waits for a confirmation, but its answer has no HITAN");
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(Incomplete, IsAnAnswerToALoginThatWantsATanWithoutSayingForWhat) {
  BankOptions bank;
  bank.tan_at_login = true;
  bank_ = SandboxBank(bank);
  spoiled_ = "HKTAN";
  EXPECT_FALSE(conversation().Open());
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kWrongAnswer);
  EXPECT_EQ(conversation().Problem(), "the bank wants a TAN, but its answer has no HITAN");
}

TEST_F(Incomplete, IsAnAnswerThatSaysNothingOfTheTransfer) {
  dropped_ = "HIRMS";
  ExpectUncertain("the bank's answer does not say what became of HKCCS");
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(Incomplete, IsAnAnswerThatSaysNothingOfTheTan) {
  spoiled_ = tan_;
  dropped_ = "HIRMS";
  ExpectUncertainAndFailed("the bank's answer does not say what became of the order");
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
}

TEST_F(Incomplete, IsAnAnswerThatSaysNothingOfTheConfirmation) {
  Decouple();
  spoiled_ = "+S+";
  dropped_ = "HIRMS";
  ExpectUncertainAndFailed("the bank's answer does not say what became of the order");
  EXPECT_EQ(Balance(), FirstBalance());
}

TEST_F(Incomplete, IsNothingThatOnlyLacksTheReferenceOfATanGiven) {
  spoiled_ = tan_;
  EXPECT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
}

// The challenge belongs to the order and not to HKTAN.
class Elsewhere : public TransferFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    TransferFixture::Deliver(message, answer, problem);
    // HKCCS is the segment 3, HKTAN the segment 4.
    if (message.find("HKCCS") != std::string::npos)
      answer = Edited(std::move(answer), before_, after_);
    return true;
  }

  std::string before_ = ":7:4+4++AUFTRAG";
  std::string after_ = ":7:3+4++AUFTRAG";
};

TEST_F(Elsewhere, AnswersTheOrderAllTheSame) {
  ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
  EXPECT_THAT(challenges_, SizeIs(1));
  EXPECT_EQ(Balance(), FirstBalance() - 1234);
}

TEST_F(Elsewhere, NamesNoOrder) {
  before_ = "AUFTRAG-000001";
  after_ = "";
  EXPECT_FALSE(TransferTo("12.34"));
  EXPECT_EQ(conversation().LastOutcome(), Outcome::kUncertain);
  EXPECT_THAT(conversation().Problem(),
              StartsWith("the bank's HITAN does not name the order that it is about"));
  ExpectFailedOrder("the bank's HITAN does not name the order that it is about");
  EXPECT_EQ(Balance(), FirstBalance());
}

// Hears other texts than the bank says, and is understood by it all the same.
class Interpreter : public TransferFixture {
 protected:
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    const bool speaks = message.find(heard_) != std::string::npos;
    TransferFixture::Deliver(speaks ? Edited(message, heard_, said_) : message, answer, problem);
    if (answer.find(said_) != std::string::npos) answer = Edited(std::move(answer), said_, heard_);
    return true;
  }

  std::string said_;
  std::string heard_;
};

TEST_F(Interpreter, HandsOnAChallengeOfAnyLength) {
  said_ = "Bitte geben";
  for (const std::size_t length : {5000u, 70000u}) {
    SCOPED_TRACE(length);
    challenges_.clear();
    heard_ = std::string(length, 'x');
    Restart({});
    ASSERT_TRUE(TransferTo("1.00")) << conversation().Problem();
    ASSERT_THAT(challenges_, SizeIs(1));
    EXPECT_THAT(challenges_[0].text, StartsWith(heard_ + " Sie die TAN"));
    EXPECT_EQ(challenge_, challenges_[0].text.substr(0, String::MaxLen));
  }
}

TEST_F(Interpreter, HandsOnAChallengeWithControlCharacters) {
  said_ = "Bitte geben";
  heard_ = std::string("A\0B\1C\6D\0320E", 10);
  ASSERT_TRUE(TransferTo("1.00")) << conversation().Problem();
  ASSERT_THAT(challenges_, SizeIs(1));
  EXPECT_THAT(challenges_[0].text, StartsWith(heard_ + " Sie die TAN"));
  EXPECT_EQ(challenge_, challenges_[0].text);
}

TEST_F(Interpreter, GivesAnyReferenceBack) {
  said_ = "AUFTRAG-000001";
  for (const std::string& heard : {std::string(5000, 'R'), std::string("R\0\x01\x06", 4)}) {
    SCOPED_TRACE(heard);
    heard_ = heard;
    bank_ = SandboxBank();
    access_ = {};
    Restart({});
    ASSERT_TRUE(TransferTo("12.34")) << conversation().Problem();
    EXPECT_EQ(Balance(), FirstBalance() - 1234);
  }
}

TEST_F(Interpreter, CannotGiveAReferenceBackThatNoMessageCarries) {
  said_ = "AUFTRAG-000001";
  for (const std::string& heard : {std::string("R\x1A"), std::string(70000, 'R')}) {
    heard_ = heard;
    Restart({});
    EXPECT_FALSE(TransferTo("12.34"));
    EXPECT_THAT(conversation().Problem(),
                StartsWith("the bank's HITAN does not name the order that it is about"));
    EXPECT_EQ(Balance(), FirstBalance());
    bank_ = SandboxBank();
    access_ = {};
  }
}

TEST_F(TanSteps, OpenADialogWithATan) {
  BankOptions bank;
  bank.tan_at_login = true;
  bank_ = SandboxBank(bank);
  ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  EXPECT_THAT(challenges_, SizeIs(1));
  EXPECT_GT(user_.UPDSegmentCount(), 0);
  EXPECT_NE(user_.GetUPDSegment(String()), nullptr);
}

// Parameters that come with the answer to the TAN.
class LateParameters : public TransferFixture {
 protected:
  void TakeFrom(BankOptions bank) {
    bank.tan_at_login = true;
    bank_ = SandboxBank(bank);
    Restart({});
    ASSERT_TRUE(conversation().Open()) << conversation().Problem();
  }
  bool Deliver(const std::string& message, std::string& answer, std::string& problem) override {
    TransferFixture::Deliver(message, answer, problem);
    if (message.find(tan_) != std::string::npos && !more_.empty())
      answer = Edited(std::move(answer), "HIUPA:", more_ + "HIUPA:");
    return true;
  }

  std::string more_;
};

TEST_F(LateParameters, AreTakenOnce) {
  TakeFrom({});
  const unsigned short known = user_.UPDSegmentCount();
  BankOptions newer;
  newer.upd_version = 4;
  more_ = "HIBPA:90:3:3+13+280:99900011+Neue Bank+3+1+220:300+256'HISALS:91:5:3+1+1'";
  TakeFrom(newer);
  EXPECT_EQ(NumberOf(*user_.GetUPDSegment(String()), field::kUpdVersion), 4);
  EXPECT_EQ(user_.UPDSegmentCount(), known);
  EXPECT_EQ(NumberOf(*user_.GetBPDSegment("HIBPA", 0, true), field::kBpdVersion), 13);
  EXPECT_EQ(user_.BPDSegmentCount(true, true), 2);
}

Challenge Read(const std::string& bytes) {
  const auto hitan = Ref<HbSegment>::Adopt(new HbSegment("HITAN", 7));
  hitan->PutFieldBinary(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                        field::kChallengeHhdUc);
  return ReadChallenge(*hitan, false);
}

TEST(Challenge, OfTextAloneHasNoBytes) {
  const auto hitan = Ref<HbSegment>::Adopt(new HbSegment("HITAN", 7));
  hitan->PutFieldString("Bitte", field::kChallenge);
  const Challenge challenge = ReadChallenge(*hitan, true);
  EXPECT_EQ(challenge.kind, ChallengeKind::kText);
  EXPECT_EQ(challenge.text, "Bitte");
  EXPECT_EQ(challenge.bytes, "");
  EXPECT_TRUE(challenge.is_elsewhere);
}

TEST(Challenge, KeepsBytesThatAreNoPicture) {
  for (const std::string& bytes :
       {std::string("0248"), std::string("\0", 1), std::string("\0\3a/b", 5),
        std::string("\0\3a/b\0", 6), std::string("\0\3a/b\0\2x", 8), std::string("\0\3abc\0\1x", 8),
        std::string("\0\3a /\0\1x", 8)}) {
    const Challenge challenge = Read(bytes);
    EXPECT_EQ(challenge.kind, ChallengeKind::kFlicker);
    EXPECT_EQ(challenge.bytes, bytes);
  }
}

TEST(Challenge, TakesAPictureWithItsType) {
  const Challenge challenge = Read(std::string("\0\3a/b\0\2xy", 9));
  EXPECT_EQ(challenge.kind, ChallengeKind::kPicture);
  EXPECT_EQ(challenge.type, "a/b");
  EXPECT_EQ(challenge.bytes, "xy");
}

}  // namespace
}  // namespace tmx::demo
