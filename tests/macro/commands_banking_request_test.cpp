// The commands that record return codes, build responses and tell about the request's users.
#include "tests/macro/banking_run.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490, kNoRequest = 17501;
constexpr unsigned kErrorCode = 60000, kErrorText = 60020;

std::string TextOfError(const HbObject& object, unsigned short index) {
  const HbSegment& segment = *object.GetResponse(index);
  String text, param;
  short code = 0;
  segment.GetFieldInt16(code, kErrorCode);
  segment.GetFieldString(text, kErrorText);
  segment.GetFieldString(param, kErrorText + 10);
  return std::to_string(code) + ":" + std::string(param.View());
}

// ---- return codes -----------------------------------------------------------------------------

class ReturnCodeTest : public BankingTest {};
INSTANTIATE_TEST_SUITE_P(Paths, ReturnCodeTest, kEveryPath);

TEST_P(ReturnCodeTest, TheTextsAreJoinedWithOneBlank) {
  CodeBuilder code;
  code.Declare(kString1, 33).Op(3, 3).Byte(1).Var(33).Str("gesperrt");
  code.Op(22, 5).Int(9010).Str("Auftrag").Var(33).Int(3).Str("mal").Exit();
  ExpectOk(code);
  ASSERT_EQ(request_->ResponseCount(), 1);
  EXPECT_EQ(TextOfError(*request_, 0), "3999:Auftrag gesperrt 3 mal");
  EXPECT_EQ(request_->GetStatus(), HbStatusWarning);
}

TEST_P(ReturnCodeTest, WhateverHasATextFormIsATextAsALiteralAndInAVariable) {
  CodeBuilder code;
  code.Op(5, 3).Byte(kInt5).U16(33).U16(9010);
  code.Op(5, 3).Byte(2).U16(34).RawDate(31, 12, 2024).Op(5, 3).Byte(kLong6).U16(35).U32(70000);
  code.Op(5, 3).Byte(kAmount8).U16(36).RawText("1,50");
  code.Op(22, 7).Var(33).Date(1, 2, 2025).Var(34).Long(-80000).Var(35).Amount("2,75").Var(36);
  ExpectOk(code.Exit());
  EXPECT_EQ(TextOfError(*request_, 0), "3999:01.02.2025 31.12.2024 -80000 70000 2,75 1,50");
}

TEST_P(ReturnCodeTest, ThereMayBe254Texts) {
  CodeBuilder code;
  code.Op(22, 255).Int(9010);
  std::string joined;
  for (int i = 0; i < 254; ++i) {
    code.Int(i % 10);
    joined += (i == 0 ? "" : " ") + std::to_string(i % 10);
  }
  ExpectOk(code.Exit());
  EXPECT_EQ(TextOfError(*request_, 0), "3999:" + joined);
}

TEST_P(ReturnCodeTest, ACodeAloneHasNoText) {
  ExpectOk(CodeBuilder().Op(22, 1).Int(18593).Exit());
  EXPECT_EQ(TextOfError(*request_, 0), "9000:");
  EXPECT_EQ(request_->GetStatus(), HbStatusError);
}

TEST_P(ReturnCodeTest, CodeZeroMarksTheRequestSuccessful) {
  ExpectOk(CodeBuilder().Op(22, 2).Int(0).Str("done").Exit());
  EXPECT_EQ(request_->GetStatus(), HbStatusSuccess);
  EXPECT_EQ(request_->ResponseCount(), 0);
}

TEST_P(ReturnCodeTest, ASuccessfulRequestPassesTheCodeToItsMessage) {
  request_->SetSuccess();
  ExpectOk(CodeBuilder().Op(22, 2).Int(9010).Str("late").Exit());
  EXPECT_EQ(request_->ResponseCount(), 0);
  ASSERT_EQ(message_->ResponseCount(), 1);
  EXPECT_EQ(TextOfError(*message_, 0), "3999:late");
  EXPECT_EQ(request_->GetStatus(), HbStatusSuccess);
}

// A warning is no success.
TEST_P(ReturnCodeTest, ARequestWithAnyOtherStatusTakesTheCodeItself) {
  for (const HbStatus status : {HbStatusOpen, HbStatusSkipped, HbStatusCancelled, HbStatusSent,
                                HbStatusWarning, HbStatusError}) {
    request_->Reset();
    request_->SetStatus(status);
    ExpectOk(CodeBuilder().Op(22, 2).Int(18593).Str("late").Exit());
    ASSERT_EQ(request_->ResponseCount(), 1) << status;
    EXPECT_EQ(TextOfError(*request_, 0), "9000:late");
    EXPECT_EQ(request_->GetStatus(), HbStatusError);
    EXPECT_EQ(message_->ResponseCount(), 0);
  }
}

TEST_P(ReturnCodeTest, WithoutAMessageASuccessfulRequestTakesTheCodeItself) {
  request_->SetSuccess();
  request_->SetClientData(nullptr);
  ExpectOk(CodeBuilder().Op(22, 2).Int(9010).Str("late").Exit());
  EXPECT_EQ(request_->ResponseCount(), 1);
}

TEST_P(ReturnCodeTest, CountZeroAndBadOperandsAreErrors) {
  ExpectError(CodeBuilder().Op(22, 0).Exit(), kMalformed, At(2));
  ExpectError(CodeBuilder().Op(22, 1).Long(1).Exit(), kMalformed, At(4));
  ExpectError(CodeBuilder().Op(22, 3).Int(1).Bool(true).Str("unread").Exit(), kMalformed, At(8));
  EXPECT_EQ(request_->ResponseCount(), 0);
}

TEST_P(ReturnCodeTest, ItNeedsARequest) {
  engine_->SetRequest(nullptr);
  ExpectError(CodeBuilder().Op(22, 2).Int(1).Str("a").Exit(), kNoRequest, At(10));
}

TEST_P(ReturnCodeTest, SuccessTakesNoOperandsAndForgivesAMissingRequest) {
  ExpectOk(CodeBuilder().Op(53, 0).Exit());
  EXPECT_EQ(request_->GetStatus(), HbStatusSuccess);
  ExpectError(CodeBuilder().Op(53, 1).Exit(), kMalformed, At(2));
  engine_->SetRequest(nullptr);
  ExpectOk(CodeBuilder().Op(53, 0).Exit());
}

// ---- responses --------------------------------------------------------------------------------

class ResponseTest : public BankingTest {
 protected:
  static CodeBuilder Create(const char* name) { return CodeBuilder().Op(38, 1).Str(name); }
};
INSTANTIATE_TEST_SUITE_P(Paths, ResponseTest, kEveryPath);

TEST_P(ResponseTest, AResponseIsBuiltAndHandedOver) {
  CodeBuilder code = Field(6, 33, 2010);
  code.Raw(Create("HISAL").Bytes()).Op(3, 3).Byte(1).Var(33).Str("first").Op(39, 0);
  code.Raw(Create("HISAL").Bytes()).Op(3, 3).Byte(1).Var(33).Str("second").Op(39, 0);
  ExpectOk(code.Exit());
  ASSERT_EQ(request_->ResponseCount(), 2);
  String text;
  EXPECT_TRUE(request_->GetResponse(0)->GetFieldString(text, 2010));
  EXPECT_EQ(text, "first");
  EXPECT_TRUE(request_->GetResponse(1)->GetFieldString(text, 2010));
  EXPECT_EQ(text, "second");
  EXPECT_EQ(request_->GetResponse(1)->GetSegmentKennung(), "HISAL");
  EXPECT_EQ(request_->GetResponse(1)->GetSegmentVersion(), 5);
  EXPECT_EQ(request_->GetStatus(), HbStatusSuccess);
  EXPECT_EQ(engine_->GetResponse(), nullptr);
}

TEST_P(ResponseTest, HoldersDeclaredBehindItBelongToItToo) {
  CodeBuilder code = Create("HISAL").Raw(Field(6, 33, 2010).Bytes());
  code.Op(3, 3).Byte(1).Var(33).Str("text").Op(39, 0).Exit();
  ExpectOk(code);
  String text;
  EXPECT_TRUE(request_->GetResponse(0)->GetFieldString(text, 2010));
  EXPECT_EQ(text, "text");
}

TEST_P(ResponseTest, SubroutinesSeeTheSameResponse) {
  CodeBuilder outer = Field(6, 33, 2010).Op(32, 1).RawText("Make");
  outer.Op(3, 3).Byte(1).Var(33).Str("outer").Op(39, 0).Exit();
  CodeBuilder make = Field(6, 33, 2020).Raw(Create("HISAL").Bytes());
  make.Op(3, 3).Byte(1).Var(33).Str("inner").Exit();
  EXPECT_TRUE(RunImage(ImageBuilder("test").Sub("SUB", outer).Sub("Make", make).Build())) << Text();
  String text;
  EXPECT_TRUE(request_->GetResponse(0)->GetFieldString(text, 2010));
  EXPECT_EQ(text, "outer");
  EXPECT_TRUE(request_->GetResponse(0)->GetFieldString(text, 2020));
  EXPECT_EQ(text, "inner");
}

TEST_P(ResponseTest, AnyCountCommits) {
  for (const unsigned count : {0U, 1U, 255U})
    ExpectOk(CodeBuilder().Op(38, 1).Str("HISAL").Op(39, count).Exit());
  EXPECT_EQ(request_->ResponseCount(), 3);
}

TEST_P(ResponseTest, ACommitWithoutResponseOrRequestDoesNothing) {
  ExpectOk(CodeBuilder().Op(39, 0).Exit());
  EXPECT_EQ(request_->ResponseCount(), 0);
  ExpectOk(Create("HISAL").Exit());
  request_.reset();
  ASSERT_NE(engine_->GetResponse(), nullptr);
  ExpectOk(CodeBuilder().Op(39, 0).Exit());
  EXPECT_NE(engine_->GetResponse(), nullptr);
}

TEST_P(ResponseTest, AResponseLastsFromCallToCallUntilTheNextRequest) {
  ExpectOk(Create("HISAL").Exit());
  ASSERT_NE(engine_->GetResponse(), nullptr);
  ExpectOk(CodeBuilder().Exit());
  EXPECT_NE(engine_->GetResponse(), nullptr);
  engine_->SetRequest(request_.get());
  EXPECT_EQ(engine_->GetResponse(), nullptr);
}

// The holder is detached and keeps what it has.
TEST_P(ResponseTest, CountZeroDisposesOfTheResponseAndCreatesNone) {
  CodeBuilder code = Field(6, 33, 2010).Raw(Create("HISAL").Bytes());
  code.Op(3, 3).Byte(1).Var(33).Str("lost").Op(38, 0);
  code.Raw(Write(33).Bytes()).Op(39, 0).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "lost");
  EXPECT_EQ(engine_->GetResponse(), nullptr);
  EXPECT_EQ(request_->ResponseCount(), 0);
  ExpectOk(Create("HISAL").Op(38, 2).Exit());
  EXPECT_EQ(engine_->GetResponse(), nullptr);
}

TEST_P(ResponseTest, ADetachedHolderThatHasNoVariableGetsNone) {
  CodeBuilder code = Field(6, 33, 2010).Raw(Create("HISAL").Bytes()).Op(38, 0);
  const std::size_t end = code.Size();
  ExpectError(code.Op(3, 3).Byte(1).Var(33).Str("own").Exit(), kMalformed, At(end + 5));
}

// The operand stays unread: its bytes are the next instruction.
TEST_P(ResponseTest, WithoutARequestTheOperandStaysUnread) {
  engine_->SetRequest(nullptr);
  ExpectOk(CodeBuilder().Op(38, 1).Op(7, 1).Str("read").Exit());
  EXPECT_EQ(Output(), "read");
}

TEST_P(ResponseTest, CreatingAndCommittingTellTheObserverOnceEach) {
  if (GetParam() != Path::kObserved) return;
  const CodeBuilder begin = Field(6, 33, 2010).Raw(Field(6, 34, 2020).Bytes());
  ExpectOk(CodeBuilder(begin).Raw(Create("HISAL").Bytes()).Exit());
  EXPECT_EQ(observer_.changes, 3);
  observer_.changes = 0;
  ExpectOk(CodeBuilder(begin).Op(39, 0).Exit());
  EXPECT_EQ(observer_.changes, 3);
  observer_.changes = 0;
  ExpectOk(CodeBuilder(begin).Op(39, 0).Op(38, 0).Exit());
  EXPECT_EQ(observer_.changes, 2) << "nothing was committed or created";
}

TEST_P(ResponseTest, TheEnginesEndDisposesOfTheResponse) {
  ExpectOk(Create("HISAL").Exit());
  RegistryBinding watch;
  watch.Bind(engine_->GetResponse());
  ASSERT_NE(watch.registry(), nullptr);
  engine_.reset();
  EXPECT_EQ(watch.registry(), nullptr);
}

TEST_P(ResponseTest, TheEnginesEndLeavesAResponseThatSomebodyHas) {
  ExpectOk(Create("HISAL").Exit());
  const Ref<HbSegment> kept = Ref<HbSegment>::Share(engine_->GetResponse());
  engine_.reset();
  EXPECT_EQ(kept->GetSegmentKennung(), "HISAL");
}

TEST_P(ResponseTest, AnEmptyIdentifierOrAnotherTypeIsAnError) {
  ExpectError(Create("").Exit(), kMalformed, At(5));
  ExpectError(CodeBuilder().Op(38, 1).Int(1).Exit(), kMalformed, At(4));
  EXPECT_EQ(engine_->GetResponse(), nullptr);
}

TEST_P(ResponseTest, TheIdentifierMayBeAVariable) {
  CodeBuilder code;
  code.Op(5, 3).Byte(kString1).U16(33).RawText("HIABC").Op(38, 1).Var(33).Exit();
  ExpectOk(code);
  EXPECT_EQ(engine_->GetResponse()->GetSegmentKennung(), "HIABC");
}

// A request that does something else when it gets a response.
class BusyRequest : public HbRequest {
 public:
  BusyRequest(HbMacroEngine& engine, bool stop)
      : HbRequest("HKSAL", 5, 0), engine_(engine), stop_(stop) {}
  void InsertResponse(HbSegment* segment) override {
    HbRequest::InsertResponse(segment);
    if (stop_) return engine_.Stop(true);
    engine_.SetRequest(nullptr);
  }

 private:
  HbMacroEngine& engine_;
  bool stop_;
};

TEST_P(ResponseTest, ARequestMayStopTheRunOrLeaveWhenItGetsAResponse) {
  for (const bool stop : {true, false}) {
    BusyRequest request(*engine_, stop);
    engine_->SetRequest(&request);
    CodeBuilder code = Field(6, 33, 2010).Raw(Create("HISAL").Bytes()).Op(39, 0).Op(53, 0).Exit();
    EXPECT_EQ(Run(code), !stop);
    EXPECT_EQ(err_.IsSet(), stop);
    if (stop) EXPECT_EQ(err_.GetCode(), 17500);
    EXPECT_EQ(request.ResponseCount(), 1);
    EXPECT_EQ(engine_->GetResponse(), nullptr);
  }
}

TEST_P(ResponseTest, AnObserverMayTakeTheRequestAwayWhileOperandsAreRead) {
  if (GetParam() != Path::kObserved) return;
  CodeBuilder code;
  code.Op(5, 3).Byte(kString1).U16(33).RawText("HIABC").Op(38, 1).Var(33).Exit();
  observer_.on_change = [this] {
    if (observer_.changes > 3) engine_->SetRequest(nullptr);
  };
  observer_.changes = 0;
  ExpectOk(code);
  EXPECT_EQ(engine_->GetResponse(), nullptr);
}

// ---- users ------------------------------------------------------------------------------------

class UserTest : public BankingTest {
 protected:
  static CodeBuilder Variables() { return CodeBuilder().Declare(kString1, 33).Declare(kInt5, 34); }
  static CodeBuilder Show(CodeBuilder code, bool text) {
    return code.Op(text ? 7U : 25U, 1).Var(text ? 33 : 34).Exit();
  }
};
INSTANTIATE_TEST_SUITE_P(Paths, UserTest, kEveryPath);

TEST_P(UserTest, FlagsTellWhichRolesHaveAUserWithASecurityMode) {
  HbUser cosigner, transmitter;
  cosigner.SetMode(SecurityModeNone);
  transmitter.SetMode(SecurityModeDefault);
  request_->AddUser(&cosigner, HbRoleCosigner);
  request_->AddUser(&transmitter, HbRoleTransmitter);
  const auto flags = [this](int role) {
    ExpectOk(Show(Variables().Op(128, 2).Var(33).Int(role), true));
    return Output();
  };
  EXPECT_EQ(flags(0), "101");
  EXPECT_EQ(flags(1), "100");
  EXPECT_EQ(flags(3), "000");
  EXPECT_EQ(flags(4), "001");
  EXPECT_EQ(flags(7), "000");
  cosigner.SetMode(SecurityModeDefault);
  EXPECT_EQ(flags(3), "010");
}

TEST_P(UserTest, TheRoleOfTheFlagsMayBeAVariable) {
  HbUser cosigner;
  cosigner.SetMode(SecurityModeDefault);
  request_->AddUser(&cosigner, HbRoleCosigner);
  CodeBuilder code = Variables().Op(3, 3).Byte(5).Var(34).Int(3);
  ExpectOk(Show(code.Op(128, 2).Var(33).Var(34), true));
  EXPECT_EQ(Output(), "010");
}

TEST_P(UserTest, TheNumberOfSignatures) {
  ExpectOk(Show(Variables().Op(129, 1).Var(34), false));
  EXPECT_EQ(Output(), "2");
}

// Unlike the others these two take a missing request for a malformed command.
TEST_P(UserTest, FlagsAndSignaturesWithoutARequestAreMalformed) {
  engine_->SetRequest(nullptr);
  ExpectError(Variables().Op(128, 2).Var(33).Int(0).Exit(), kMalformed, At(12));
  ExpectError(Variables().Op(129, 1).Var(34).Exit(), kMalformed, At(12));
}

TEST_P(UserTest, NameBankCodeRpdIdAndVersion) {
  ExpectOk(Show(Variables().Op(140, 2).Var(33).U16(1), true));
  EXPECT_EQ(Output(), "Mustermann");
  ExpectOk(Show(Variables().Op(141, 2).Var(33).U16(1), true));
  EXPECT_EQ(Output(), "12345678");
  ExpectOk(Show(Variables().Op(142, 1).Var(34), false));
  EXPECT_EQ(Output(), "7");
  ExpectOk(Show(Variables().Op(143, 2).Var(34).U16(1), false));
  EXPECT_EQ(Output(), "300");
}

TEST_P(UserTest, AMissingUserIsAnErrorBehindTheOperands) {
  for (const unsigned role : {0U, 2U, 3U, 4U, 65535U}) {
    ExpectError(Variables().Op(140, 2).Var(33).U16(role).Exit(), kMalformed, At(16));
    ExpectError(Variables().Op(141, 2).Var(33).U16(role).Exit(), kMalformed, At(16));
    ExpectError(Variables().Op(143, 2).Var(34).U16(role).Exit(), kMalformed, At(16));
  }
  request_ = std::make_unique<HbRequest>("HKSAL", 5, 2);
  engine_->SetRequest(request_.get());
  ExpectError(Variables().Op(142, 1).Var(34).Exit(), kMalformed, At(14));
}

TEST_P(UserTest, WithoutARequest) {
  engine_->SetRequest(nullptr);
  ExpectError(Variables().Op(140, 2).Var(33).U16(1).Exit(), kNoRequest, At(16));
  ExpectError(Variables().Op(141, 2).Var(33).U16(1).Exit(), kNoRequest, At(16));
  ExpectError(Variables().Op(142, 1).Var(34).Exit(), kNoRequest, At(14));
  ExpectError(Variables().Op(143, 2).Var(34).U16(1).Exit(), kNoRequest, At(16));
}

TEST_P(UserTest, WrongCountsAndTypesAreErrors) {
  const struct {
    unsigned opcode, count;
    int wrong;
  } commands[] = {{128, 2, 34}, {129, 1, 33}, {140, 2, 34},
                  {141, 2, 34}, {142, 1, 33}, {143, 2, 33}};
  for (const auto& command : commands) {
    for (const unsigned count : {0U, 1U, 2U, 3U, 255U})
      if (count != command.count)
        ExpectError(Variables().Op(command.opcode, count).Exit(), kMalformed, At(12));
    // What follows is read, too.
    CodeBuilder code = Variables().Op(command.opcode, command.count).Var(command.wrong);
    if (command.opcode == 128) code.Int(0);
    if (command.count == 2 && command.opcode != 128) code.U16(1);
    ExpectError(code.Exit(), kMalformed, At(14));
  }
  ExpectError(Variables().Op(128, 2).Var(33).Long(0).Exit(), kMalformed, At(16));
  ExpectError(Variables().Op(128, 2).Str("x").Exit(), kMalformed, At(16));
}

TEST_P(UserTest, FlagsAndSignaturesTellTheObserver) {
  if (GetParam() != Path::kObserved) return;
  ExpectOk(Variables().Exit());
  const int declared = std::exchange(observer_.changes, 0);
  ExpectOk(Variables().Op(128, 2).Var(33).Int(0).Op(129, 1).Var(34).Exit());
  EXPECT_EQ(observer_.changes, declared + 4);  // each when its variable is looked up, and set
}

}  // namespace
}  // namespace tmx
