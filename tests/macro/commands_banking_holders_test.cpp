// The commands that declare variables of segments and choose the segments and fields behind them.
#include "tests/macro/banking_run.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490, kNoRequest = 17501, kNoMessage = 17498;
constexpr unsigned kResponse = 6, kSecurity = 60, kRequest = 69, kRequestBpd = 132,
                   kGeneralBpd = 133, kItem = 134, kUpd = 135;

CodeBuilder Exit(CodeBuilder code) { return code.Exit(); }

class DeclarationTest : public BankingTest {};
INSTANTIATE_TEST_SUITE_P(Paths, DeclarationTest, kEveryPath);

TEST_P(DeclarationTest, ARequestsValueIsReadAndWritten) {
  request_->GetValues().PutFieldString("value", 2010);
  CodeBuilder code = Field(kRequest, 33, 2010).Raw(Write(33).Bytes());
  code.Op(3, 3).Byte(1).Var(33).Str("new").Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "value");
  String value;
  EXPECT_TRUE(request_->GetValues().GetFieldString(value, 2010));
  EXPECT_EQ(value, "new");
}

TEST_P(DeclarationTest, AFieldThatTheSegmentLacksIsMade) {
  CodeBuilder code = Field(kRequest, 33, 77).Op(3, 3).Byte(1).Var(33).Str("made").Exit();
  ExpectOk(code);
  String value;
  EXPECT_TRUE(request_->GetValues().GetFieldString(value, 77));
  EXPECT_EQ(value, "made");
}

TEST_P(DeclarationTest, ItemsCountFromOne) {
  AddItem("first");
  AddItem("second");
  CodeBuilder code = Field(kItem, 33, 2010).Raw(Write(33).Bytes());
  code.Op(144, 1).Int(2).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "firstsecond");
  EXPECT_EQ(engine_->GetCurrentRequestItem(), 2);
}

// A field has no value without its segment, and none can be given to it.
TEST_P(DeclarationTest, AFieldWithoutASegmentIsNullAndAnyOtherUseAnError) {
  for (const unsigned opcode : {kResponse, kItem, kUpd}) {
    ExpectOk(Field(opcode, 33, 2010).Op(145, 1).U16(33).Exit());
    EXPECT_TRUE(engine_->GetCondition());
    ExpectError(Exit(Field(opcode, 33, 2010).Raw(Write(33).Bytes())), kMalformed, At(13));
    ExpectError(Field(opcode, 33, 2010).Op(3, 3).Byte(1).Var(33).Str("x").Exit(), kMalformed,
                At(14));
  }
  EXPECT_EQ(request_->ReqItemCount(), 0);
}

TEST_P(DeclarationTest, AFieldWithoutASegmentCannotBePassedOn) {
  CodeBuilder outer = Field(kItem, 33, 2010).Op(32, 2).RawText("Next").U16(33).Exit();
  CodeBuilder next = CodeBuilder().Op(1, 2).Byte(kString1).U16(33).Exit();
  EXPECT_FALSE(RunImage(ImageBuilder("test").Sub("SUB", outer).Sub("Next", next).Build()));
  EXPECT_EQ(err_.GetCode(), kMalformed);
}

TEST_P(DeclarationTest, AUserParameterHasNoSegmentUntilOneIsChosen) {
  AddUpd("account0");
  AddUpd("account1");
  CodeBuilder code = Field(kUpd, 33, 2010).Op(145, 1).U16(33);
  code.Op(139, 1).Int(1).Raw(Write(33).Bytes());
  code.Op(139, 1).Int(0).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_TRUE(engine_->GetCondition());
  EXPECT_EQ(Output(), "account1account0");
}

TEST_P(DeclarationTest, AUserParameterBehindTheLastHasNoSegment) {
  AddUpd("account0");
  CodeBuilder code = Field(kUpd, 33, 2010).Op(139, 1).Int(0).Raw(Write(33).Bytes());
  ExpectOk(code.Op(139, 1).Int(1).Op(145, 1).U16(33).Exit());
  EXPECT_EQ(Output(), "account0");
  EXPECT_TRUE(engine_->GetCondition());
}

// The declaration moves it like any holder that exists.
TEST_P(DeclarationTest, AUserParameterDeclaredAgainHasNoSegmentUntilTheNextChoice) {
  AddUpd("account0");
  CodeBuilder code = Field(kUpd, 33, 2010).Op(139, 1).Int(0);
  code.Raw(Field(kUpd, 33, 2010).Bytes()).Op(145, 1).U16(33);
  ExpectOk(CodeBuilder(code).Exit());
  EXPECT_TRUE(engine_->GetCondition());
  ExpectOk(code.Op(139, 1).Int(0).Raw(Write(33).Bytes()).Exit());
  EXPECT_EQ(Output(), "account0");
}

TEST_P(DeclarationTest, AUserParameterDeclaredAgainKeepsItsVariable) {
  AddUpd("account0");
  AddUpd("account1");
  CodeBuilder code = Field(kUpd, 33, 2010).Op(139, 1).Int(0).Raw(Write(33).Bytes());
  code.Raw(Field(kUpd, 33, 2010, kInt5).Bytes()).Raw(Write(33).Bytes());
  ExpectOk(code.Op(139, 1).Int(1).Raw(Write(33).Bytes()).Exit());
  EXPECT_EQ(Output(), "account0account0account1");
}

TEST_P(DeclarationTest, ABankParameterOfTheRequestIsFoundByItsNameAndVersion) {
  AddBpd("HISALS", 4, "four");
  AddBpd("HISALS", 5, "five");
  ExpectOk(Exit(Field(kRequestBpd, 33, 2010).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "five");
}

CodeBuilder GeneralBpd(const char* name, unsigned version, unsigned id = 33) {
  CodeBuilder code;
  code.Op(kGeneralBpd, 5).Byte(kString1).U16(id).U32(2010).RawText(name).U16(version);
  return code;
}

TEST_P(DeclarationTest, AGeneralBankParameterIsNamed) {
  AddBpd("HIPINS", 1, "pin");
  ExpectOk(Exit(GeneralBpd("HIPINS", 1).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "pin");
  ExpectOk(Exit(GeneralBpd("HIPINS", 0).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "pin");
}

// A declaration tells the observer of its holder.
TEST_P(DeclarationTest, AnUnknownBankParameterIsAnErrorAndDeclaresNothing) {
  ExpectError(Exit(GeneralBpd("HIPINS", 1)), kMalformed, At(18));
  ExpectError(Exit(Field(kRequestBpd, 33, 2010)), kMalformed, At(9));
  EXPECT_EQ(observer_.changes, 0);
}

TEST_P(DeclarationTest, ADeclarationTellsTheObserverOnce) {
  if (GetParam() != Path::kObserved) return;
  AddBpd("HISALS", 5, "five");
  for (const unsigned opcode : {kResponse, kSecurity, kRequest, kRequestBpd, kItem, kUpd}) {
    observer_.changes = 0;
    ExpectOk(Exit(Field(opcode, 33, 2010)));
    EXPECT_EQ(observer_.changes, 1) << opcode;
  }
  observer_.changes = 0;
  ExpectOk(Exit(GeneralBpd("HISALS", 5)));
  EXPECT_EQ(observer_.changes, 1);
}

TEST_P(DeclarationTest, ABankParameterWithoutAnIssuerIsAnError) {
  request_ = std::make_unique<HbRequest>("HKSAL", 5, 2);
  engine_->SetRequest(request_.get());
  ExpectError(Exit(GeneralBpd("HIPINS", 1)), kMalformed, At(18));
  ExpectError(Exit(Field(kRequestBpd, 33, 2010)), kMalformed, At(9));
  ExpectError(Exit(CodeBuilder().Op(139, 1).Int(0)), kMalformed, At(6));
}

TEST_P(DeclarationTest, ASecurityVariableIsTheDialogs) {
  dialog_->GetSecurityVariables().PutFieldString("12345", 4096);
  ExpectOk(Exit(Field(kSecurity, 33, 4096).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "12345");
}

TEST_P(DeclarationTest, ASecretIsTakenOutOfTheDialog) {
  dialog_->GetSecurityVariables().PutFieldString("654321", 4099);
  ExpectOk(Exit(Field(kSecurity, 33, 4099).Raw(Write(33).Bytes()).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "654321654321");
  EXPECT_TRUE(dialog_->GetSecurityVariables().IsNull(4099));
}

TEST_P(DeclarationTest, ASecurityVariableNeedsAMessageAndADialogThatLive) {
  message_->SetClientData(nullptr);
  ExpectError(Exit(Field(kSecurity, 33, 4096)), kNoMessage, "request has no dialog");
  request_->SetClientData(nullptr);
  ExpectError(Exit(Field(kSecurity, 33, 4096)), kNoMessage, "request has no message");
  request_->SetClientData(message_.get());
  message_->SetClientData(dialog_.get());
  dialog_.reset();
  ExpectError(Exit(Field(kSecurity, 33, 4096)), kNoMessage, "request has no dialog");
  message_.reset();
  ExpectError(Exit(Field(kSecurity, 33, 4096)), kNoMessage, "request has no message");
}

TEST_P(DeclarationTest, EveryDeclarationNeedsItsCount) {
  for (const unsigned opcode : {kResponse, kSecurity, kRequest, kRequestBpd, kItem, kUpd})
    for (const unsigned count : {0U, 2U, 4U, 255U})
      ExpectError(CodeBuilder().Op(opcode, count).Byte(1).U16(33).U32(1).Exit(), kMalformed, At(2));
  for (const unsigned count : {0U, 3U, 4U, 6U, 255U})
    ExpectError(CodeBuilder().Op(kGeneralBpd, count).Exit(), kMalformed, At(2));
}

TEST_P(DeclarationTest, AllButResponseAndUserParametersNeedARequest) {
  engine_->SetRequest(nullptr);
  for (const unsigned opcode : {kSecurity, kRequest, kRequestBpd, kItem})
    ExpectError(Exit(Field(opcode, 33, 2010)), kNoRequest, At(9));
  ExpectError(Exit(GeneralBpd("HIPINS", 1)), kNoRequest, At(18));
  ExpectOk(Exit(Field(kResponse, 33, 2010)));
  ExpectOk(Exit(Field(kUpd, 33, 2010)));
}

TEST_P(DeclarationTest, AnIdThatIsNotTheNextIsAnErrorAfterTheDeclaration) {
  AddBpd("HISALS", 5, "five");
  for (const unsigned opcode : {kResponse, kSecurity, kRequest, kRequestBpd, kItem, kUpd}) {
    ExpectError(Exit(Field(opcode, 34, 2010)), kMalformed, At(9));
    ExpectError(Exit(Field(opcode, 32, 2010)), kMalformed, At(9));
  }
  ExpectError(Exit(GeneralBpd("HISALS", 5, 34)), kMalformed, At(18));
  ExpectError(Exit(GeneralBpd("HISALS", 5, 32)), kMalformed, At(18));
}

TEST_P(DeclarationTest, AnotherTypeThanTheRegistrysIsAnErrorWhenItIsUsed) {
  request_->GetValues().PutFieldInt16(5, 2010);
  ExpectError(Exit(Field(kRequest, 33, 2010).Raw(Write(33).Bytes())), kMalformed, At(13));
}

TEST_P(DeclarationTest, AFieldMayHaveEveryTypeOfVariables) {
  const std::pair<unsigned, CodeBuilder> values[] = {{kString1, CodeBuilder().Str("text")},
                                                     {2, CodeBuilder().Date(1, 2, 2025)},
                                                     {kInt5, CodeBuilder().Int(7)},
                                                     {kLong6, CodeBuilder().Long(70000)},
                                                     {kAmount8, CodeBuilder().Amount("1,50")},
                                                     {10, CodeBuilder().Bool(true)}};
  AddItem("item");
  for (const auto& [type, value] : values) {
    const std::uint32_t field = 3000 + type;
    const auto set = [&, type = type, &value = value](unsigned opcode) {
      CodeBuilder code = Field(opcode, 33, field, type).Op(3, 3).Byte(type).Var(33);
      ExpectOk(code.Raw(value.Bytes()).Exit());
    };
    set(kRequest);
    set(kItem);
    set(kSecurity);
    const unsigned stored = type == kAmount8 ? kString1 : type;
    for (HbVariables* const registry :
         {static_cast<HbVariables*>(&request_->GetValues()),
          static_cast<HbVariables*>(request_->GetReqItem(0)), &dialog_->GetSecurityVariables()}) {
      ASSERT_NE((*registry)[field], nullptr);
      EXPECT_EQ((*registry)[field]->GetType(), stored);
    }
  }
}

TEST_P(DeclarationTest, AFieldOfATypeThatNoVariableHasCannotBeUsed) {
  AddItem("item");
  for (const unsigned opcode : {kResponse, kSecurity, kRequest, kItem, kUpd}) {
    ExpectOk(Exit(Field(opcode, 33, 2030, 77)));
    ExpectError(Exit(Field(opcode, 33, 2030, 77).Raw(Write(33).Bytes())), kMalformed, At(13));
  }
}

// A holder that exists keeps its variable but belongs to the new registry.
TEST_P(DeclarationTest, AHolderThatExistsKeepsItsTypeAndItsVariable) {
  request_->GetValues().PutFieldString("request", 2010);
  AddItem("item");
  CodeBuilder code = Field(kRequest, 33, 2010).Raw(Write(33).Bytes());
  code.Raw(Field(kItem, 33, 2010, kInt5).Bytes()).Raw(Write(33).Bytes());
  code.Op(144, 1).Int(2).Op(144, 1).Int(1).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "requestrequestitem");
}

TEST_P(DeclarationTest, OperandsThatAreCutOffAreTheFilesError) {
  for (const unsigned opcode : {kResponse, kSecurity, kRequest, kRequestBpd, kItem, kUpd}) {
    CodeBuilder code;
    EXPECT_FALSE(Run(code.Op(opcode, 3).Byte(1).U16(33).U16(0)));
    EXPECT_EQ(err_.GetCode(), kMalformed);
    EXPECT_EQ(err_.GetParamText()->View(), "/home/macro/test.hbx");
  }
}

TEST_P(DeclarationTest, ARegistryThatDiesDetachesItsHolders) {
  engine_->SetSecurityHdl(Link([this](void*) {
    engine_->SetRequest(nullptr);
    request_.reset();
    return 1L;
  }));
  CodeBuilder code = Field(kRequest, 33, 2010).Op(26, 0).Op(145, 1).U16(33);
  const std::size_t end = code.Size();
  ExpectError(Exit(code.Raw(Write(33).Bytes())), kMalformed, At(end + 4));
  EXPECT_TRUE(engine_->GetCondition());
}

TEST_P(DeclarationTest, AHolderKeepsTheVariableOfARegistryThatDies) {
  engine_->SetSecurityHdl(Link([this](void*) {
    engine_->SetRequest(nullptr);
    request_.reset();
    return 1L;
  }));
  CodeBuilder code = Field(kRequest, 33, 2010).Op(3, 3).Byte(1).Var(33).Str("kept").Op(26, 0);
  ExpectOk(Exit(code.Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "kept");
}

TEST_P(DeclarationTest, ARequestThatDiesCountsAsNone) {
  request_.reset();
  EXPECT_EQ(engine_->GetRequest(), nullptr);
  ExpectError(Exit(Field(kRequest, 33, 2010)), kNoRequest, At(9));
}

TEST_P(DeclarationTest, AnObserverThatStopsTheRunEndsTheDeclaration) {
  if (GetParam() != Path::kObserved) return;
  observer_.on_change = [this] { engine_->Stop(true); };
  EXPECT_FALSE(Run(Exit(Field(kRequest, 40, 2010))));
  EXPECT_EQ(err_.GetCode(), 17500);
}

// ---- the current item and the user's parameters -------------------------------------------------

class ChoiceTest : public BankingTest {};
INSTANTIATE_TEST_SUITE_P(Paths, ChoiceTest, kEveryPath);

TEST_P(ChoiceTest, AnItemNumberAboveTheCountPointsAtNoRegistry) {
  HbSegment& item = AddItem("item");
  for (const int number : {2, 0, -1}) {
    engine_->SetRequest(request_.get());
    CodeBuilder code = Field(kItem, 33, 2010).Raw(Write(33).Bytes());
    code.Op(144, 1).Int(number).Op(145, 1).U16(33).Exit();
    ExpectOk(code);
    EXPECT_EQ(Output(), "item");
    EXPECT_TRUE(engine_->GetCondition());
    EXPECT_EQ(engine_->GetCurrentRequestItem(), static_cast<unsigned short>(number));
    String text;
    EXPECT_TRUE(item.GetFieldString(text, 2010));
    EXPECT_EQ(text, "item");
  }
}

TEST_P(ChoiceTest, TheCurrentItemChosenAgainChangesNothing) {
  // The variable of the first item, although the holder belongs to the values by now.
  AddItem("item");
  request_->GetValues().PutFieldString("value", 2010);
  CodeBuilder code = Field(kItem, 33, 2010).Raw(Write(33).Bytes());
  code.Raw(Field(kRequest, 33, 2010).Bytes()).Raw(Field(kItem, 33, 2030).Bytes());
  code.Op(144, 1).Int(1).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "itemitem");
}

TEST_P(ChoiceTest, ANewRequestBeginsWithItsFirstItem) {
  ExpectOk(CodeBuilder().Op(144, 1).Int(3).Exit());
  EXPECT_EQ(engine_->GetCurrentRequestItem(), 3);
  engine_->SetRequest(request_.get());
  EXPECT_EQ(engine_->GetCurrentRequestItem(), 1);
  EXPECT_EQ(HbMacroEngine("/home").GetCurrentRequestItem(), 0);
}

TEST_P(ChoiceTest, HoldersOfAllFramesAreMoved) {
  AddItem("first");
  AddItem("second");
  CodeBuilder outer = Field(kItem, 33, 2010).Raw(Write(33).Bytes());
  outer.Op(32, 1).RawText("Next").Raw(Write(33).Bytes()).Exit();
  CodeBuilder next = Field(kItem, 33, 2010).Op(144, 1).Int(2).Raw(Write(33).Bytes()).Exit();
  EXPECT_TRUE(RunImage(ImageBuilder("test").Sub("SUB", outer).Sub("Next", next).Build())) << Text();
  EXPECT_EQ(Output(), "firstsecondsecond");
}

TEST_P(ChoiceTest, UserParametersOfAllFramesAreMoved) {
  AddUpd("account0");
  AddUpd("account1");
  CodeBuilder outer = Field(kUpd, 33, 2010).Op(139, 1).Int(0).Raw(Write(33).Bytes());
  outer.Op(32, 1).RawText("Next").Raw(Write(33).Bytes()).Exit();
  CodeBuilder next = Field(kUpd, 33, 2010).Op(139, 1).Int(1).Raw(Write(33).Bytes()).Exit();
  EXPECT_TRUE(RunImage(ImageBuilder("test").Sub("SUB", outer).Sub("Next", next).Build())) << Text();
  EXPECT_EQ(Output(), "account0account1account1");
}

// Also when no holder is of the kind that moves.
TEST_P(ChoiceTest, ChoosingTellsTheObserverOnce) {
  if (GetParam() != Path::kObserved) return;
  AddUpd("account0");
  for (const unsigned opcode : {kItem, kUpd, kRequest}) {
    const CodeBuilder begin = Field(opcode, 33, 2010).Raw(Field(opcode, 34, 2020).Bytes());
    for (const auto& code :
         {CodeBuilder(begin).Op(139, 1).Int(0), CodeBuilder(begin).Op(139, 1).Int(7),
          CodeBuilder(begin).Op(144, 1).Int(2)}) {
      engine_->SetRequest(request_.get());
      observer_.changes = 0;
      ExpectOk(Exit(code));
      EXPECT_EQ(observer_.changes, 3) << opcode;
    }
    observer_.changes = 0;
    engine_->SetRequest(request_.get());
    ExpectOk(Exit(CodeBuilder(begin).Op(144, 1).Int(1)));
    EXPECT_EQ(observer_.changes, 2) << "the item is the current one";
  }
}

TEST_P(ChoiceTest, ChoosingTakesOneNumberAndNeedsARequest) {
  for (const unsigned opcode : {139U, 144U}) {
    for (const unsigned count : {0U, 2U, 255U})
      ExpectError(CodeBuilder().Op(opcode, count).Int(1).Exit(), kMalformed, At(2));
    ExpectError(CodeBuilder().Op(opcode, 1).Str("x").Exit(), kMalformed, At(4));
    ExpectError(CodeBuilder().Declare(kLong6, 33).Op(opcode, 1).Var(33).Exit(), kMalformed, At(9));
  }
  engine_->SetRequest(nullptr);
  for (const unsigned opcode : {139U, 144U})
    ExpectError(CodeBuilder().Op(opcode, 1).Int(1).Exit(), kNoRequest, At(6));
}

TEST_P(ChoiceTest, TheNumberMayBeAVariable) {
  AddUpd("account0");
  AddItem("first");
  AddItem("second");
  CodeBuilder code;
  code.Op(5, 3).Byte(kInt5).U16(33).U16(2).Op(5, 3).Byte(kInt5).U16(34).U16(0);
  code.Raw(Field(kItem, 35, 2010).Bytes()).Raw(Field(kUpd, 36, 2010).Bytes());
  code.Op(144, 1).Var(33).Op(139, 1).Var(34);
  code.Raw(Write(35).Bytes()).Raw(Write(36).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "secondaccount0");
}

// ---- groups -----------------------------------------------------------------------------------

class GroupTest : public BankingTest {
 protected:
  GroupTest() {
    for (unsigned long i = 0; i < 4; ++i)
      request_->GetValues().PutFieldString(String(std::string_view("ABCD").substr(i, 1)),
                                           2010 + 100 * i);
  }
  static CodeBuilder Fields() {
    return Field(kRequest, 33, 2010).Raw(Field(kRequest, 34, 9999).Bytes());
  }
};
INSTANTIATE_TEST_SUITE_P(Paths, GroupTest, kEveryPath);

TEST_P(GroupTest, TheCursorMovesOverTheGroups) {
  CodeBuilder code = Fields().Raw(Write(33).Bytes());
  code.Op(137, 2).U16(33).Long(100).Raw(Write(33).Bytes());
  code.Op(137, 2).U16(33).Long(100).Raw(Write(33).Bytes());
  code.Op(136, 2).U16(33).Long(2010).Raw(Write(33).Bytes());
  code.Op(138, 4).U16(33).Long(2010).Long(100).Int(3).Raw(Write(33).Bytes());
  code.Op(137, 2).U16(33).Long(-200).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "ABCADB");
}

TEST_P(GroupTest, OperandsMayBeVariables) {
  CodeBuilder code;
  code.Op(5, 3).Byte(kLong6).U16(33).U32(2010).Op(5, 3).Byte(kLong6).U16(34).U32(100);
  code.Op(5, 3).Byte(kInt5).U16(35).U16(2);
  code.Raw(Field(kRequest, 36, 1).Bytes()).Raw(Field(kRequest, 37, 1).Bytes());
  code.Op(136, 2).U16(36).Var(33).Raw(Write(36).Bytes());
  code.Op(137, 2).U16(36).Var(34).Raw(Write(36).Bytes());
  code.Op(138, 4).U16(36).Var(33).Var(34).Var(35).Raw(Write(36).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "ABC");
}

// Another variable takes its place in the segment meanwhile; only the holder still has it.
TEST_P(GroupTest, TheFieldAtWhichTheCursorStandsKeepsItsVariable) {
  engine_->SetSecurityHdl(Link([this](void*) {
    const auto other = MakeRef<HbStringVariable>();
    other->Set("other");
    request_->GetValues().Unregister(2010);
    request_->GetValues().Register(2010, other.Get());
    return 1L;
  }));
  const CodeBuilder begin = Fields().Raw(Write(33).Bytes()).Op(26, 0);
  for (const bool first : {true, false}) {
    request_->GetValues().PutFieldString("A", 2010);
    CodeBuilder code = begin;
    if (first) {
      code.Op(136, 2).U16(33).Long(2010);
    } else {
      code.Op(138, 4).U16(33).Long(2010).Long(100).Int(0);
    }
    ExpectOk(Exit(code.Raw(Write(33).Bytes())));
    EXPECT_EQ(Output(), "AA") << first;
  }
  // A step of nothing is a step.
  request_->GetValues().PutFieldString("A", 2010);
  CodeBuilder step = begin;
  ExpectOk(Exit(step.Op(137, 2).U16(33).Long(0).Raw(Write(33).Bytes())));
  EXPECT_EQ(Output(), "Aother");
}

TEST_P(GroupTest, StandingStillDoesNotTellTheObserver) {
  if (GetParam() != Path::kObserved) return;
  ExpectOk(Fields().Exit());
  const int before = std::exchange(observer_.changes, 0);
  CodeBuilder code = Fields().Op(136, 2).U16(33).Long(2010);
  ExpectOk(code.Op(138, 4).U16(33).Long(2010).Long(100).Int(0).Exit());
  EXPECT_EQ(observer_.changes, before);
  observer_.changes = 0;
  ExpectOk(Fields().Op(137, 2).U16(33).Long(0).Exit());
  EXPECT_EQ(observer_.changes, before + 1);
}

TEST_P(GroupTest, MovingTellsTheObserver) {
  if (GetParam() != Path::kObserved) return;
  ExpectOk(Fields().Exit());
  const int before = std::exchange(observer_.changes, 0);
  ExpectOk(Fields().Op(137, 2).U16(33).Long(1).Op(136, 2).U16(33).Long(5).Exit());
  EXPECT_EQ(observer_.changes, before + 2);
}

// A negative index counts without sign; everything wraps in 32 bits.
TEST_P(GroupTest, TheIndexIsUnsigned) {
  request_->GetValues().PutFieldString("far", 65535UL * 2 + 10);
  CodeBuilder code = Fields();
  code.Op(138, 4).U16(33).Long(10).Long(2).Int(-1).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "far");
}

TEST_P(GroupTest, TheFramesLastHolderCannotBeMoved) {
  const std::size_t begin = Fields().Size();
  for (const int id : {34, 35, 32, 0, -1}) {
    const auto at = static_cast<unsigned>(id);
    ExpectError(Fields().Op(136, 2).U16(at).Long(1).Exit(), kMalformed, At(begin + 10));
    ExpectError(Fields().Op(137, 2).U16(at).Long(1).Exit(), kMalformed, At(begin + 10));
    ExpectError(Fields().Op(138, 4).U16(at).Long(1).Long(1).Int(1).Exit(), kMalformed,
                At(begin + 20));
  }
}

TEST_P(GroupTest, WrongCountsAndTypesAreErrors) {
  for (const unsigned count : {0U, 1U, 3U, 255U}) {
    ExpectError(CodeBuilder().Op(136, count).Exit(), kMalformed, At(2));
    ExpectError(CodeBuilder().Op(137, count).Exit(), kMalformed, At(2));
    ExpectError(CodeBuilder().Op(138, count).Exit(), kMalformed, At(2));
  }
  const std::size_t begin = Fields().Size();
  ExpectError(Fields().Op(136, 2).U16(33).Int(1).Exit(), kMalformed, At(begin + 6));
  ExpectError(Fields().Op(137, 2).U16(33).Int(1).Exit(), kMalformed, At(begin + 6));
  ExpectError(Fields().Op(138, 4).U16(33).Long(1).Long(1).Long(1).Exit(), kMalformed,
              At(begin + 18));
}

}  // namespace
}  // namespace tmx
