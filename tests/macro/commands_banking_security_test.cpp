// The commands that ask the user for secrets and forget them, and what the handler may do.
#include "tests/macro/banking_run.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490, kNoRequest = 17501, kNoMessage = 17498, kNoData = 17497;

CodeBuilder Secret(int id, std::uint32_t field, unsigned type = kString1) {
  return Field(60, id, field, type);
}
CodeBuilder& Needs(CodeBuilder& code, int id, const char* label, int control, bool flag,
                   int minimum, int maximum) {
  return code.Op(24, 6)
      .U16(static_cast<unsigned>(id))
      .Str(label)
      .Int(control)
      .Bool(flag)
      .Int(minimum)
      .Int(maximum);
}

// ---- needs ------------------------------------------------------------------------------------

class NeedsTest : public BankingTest {
 protected:
  // What one item asks for.
  std::string Asked(unsigned long field) {
    const HbCallbackItem* const item = Items().GetItemById(field);
    if (item == nullptr) return "nothing";
    return std::string(item->GetLabel().View()) + " " +
           std::to_string(static_cast<int>(item->GetButtonType())) + " " +
           std::to_string(item->GetMinLenght()) + "-" + std::to_string(item->GetMaxLenght()) +
           (item->GetFlag() ? " flag" : "");
  }
};
INSTANTIATE_TEST_SUITE_P(Paths, NeedsTest, kEveryPath);

TEST_P(NeedsTest, ATanIsAskedForWithItsUsualLabelControlAndLength) {
  ExpectOk(Secret(33, 4099).Op(24, 1).U16(33).Exit());
  EXPECT_EQ(Asked(4099), "TAN 1 6-6 flag");
}

TEST_P(NeedsTest, APinAndANewPinAreAskedForInTheirWay) {
  ExpectOk(
      Secret(33, 4096).Raw(Secret(34, 4106).Bytes()).Op(24, 1).U16(33).Op(24, 1).U16(34).Exit());
  EXPECT_EQ(Asked(4096), "PIN 3 5-5 flag");
  EXPECT_EQ(Asked(4106), "neue PIN 4 5-5 flag");
}

TEST_P(NeedsTest, AnyOtherFieldWithCountOneIsAnError) {
  ExpectError(Secret(33, 4097).Op(24, 1).U16(33).Exit(), kMalformed, At(13));
  EXPECT_EQ(Items().Count(), 0);
}

// It is there although nothing asks for it.
TEST_P(NeedsTest, TheVariableIsEnteredBeforeTheQuestionProvesWrong) {
  ExpectError(Secret(33, 4097).Op(24, 1).U16(33).Exit(), kMalformed, At(13));
  ASSERT_NE(dialog_->GetSecurityVariables()[4097], nullptr);
  EXPECT_TRUE(dialog_->GetSecurityVariables()[4097]->IsNull());
  CodeBuilder code = Secret(33, 4711, kInt5);
  EXPECT_FALSE(Run(Needs(code, 33, "x", 8, true, 1, 4).Exit()));
  ASSERT_NE(dialog_->GetSecurityVariables()[4711], nullptr);
  EXPECT_EQ(dialog_->GetSecurityVariables()[4711]->GetType(), kInt5);
}

TEST_P(NeedsTest, TheLongFormSaysHow) {
  CodeBuilder code = Secret(33, 4711);
  ExpectOk(Needs(code, 33, "Medium", 7, false, 2, 32).Exit());
  EXPECT_EQ(Asked(4711), "Medium 7 2-32");
  ASSERT_NE(Items().GetValue(4711), nullptr);
  EXPECT_EQ(Items().GetValue(4711), dialog_->GetSecurityVariables()[4711]);
  EXPECT_TRUE(Items().GetValue(4711)->IsNull());
}

TEST_P(NeedsTest, OperandsOfTheLongFormMayBeVariables) {
  CodeBuilder code = Secret(33, 4711);
  code.Op(5, 3).Byte(kString1).U16(34).RawText("Label").Op(5, 3).Byte(kInt5).U16(35).U16(3);
  code.Op(5, 3).Byte(10).U16(36).Byte(0);
  code.Op(24, 6).U16(33).Var(34).Var(35).Var(36).Var(35).Var(35).Exit();
  ExpectOk(code);
  EXPECT_EQ(Asked(4711), "Label 3 3-3");
}

TEST_P(NeedsTest, AMinimumAboveTheMaximumMeansAnyLength) {
  CodeBuilder code = Secret(33, 4711);
  ExpectOk(Needs(code, 33, "x", 0, true, 8, 4).Exit());
  EXPECT_EQ(Asked(4711), "x 0 8-65529 flag");
}

TEST_P(NeedsTest, ANegativeMinimumIsZero) {
  CodeBuilder code = Secret(33, 4711);
  ExpectOk(Needs(code, 33, "x", 0, true, -5, 4).Exit());
  EXPECT_EQ(Asked(4711), "x 0 0-4 flag");
  Items().Clear();
  CodeBuilder negative = Secret(33, 4711);
  ExpectOk(Needs(negative, 33, "x", 0, true, -5, -6).Exit());
  EXPECT_EQ(Asked(4711), "x 0 0-65529 flag");
}

TEST_P(NeedsTest, AControlOutsideZeroToSevenIsAnError) {
  for (const int control : {-1, 8}) {
    CodeBuilder code = Secret(33, 4711);
    Needs(code, 33, "x", control, true, 1, 4);
    const std::size_t end = code.Size();
    ExpectError(code.Exit(), kMalformed, At(end));
    EXPECT_EQ(Items().Count(), 0);
  }
}

TEST_P(NeedsTest, AVariableThatHasAValueIsNotAskedFor) {
  dialog_->GetSecurityVariables().PutFieldString("12345", 4096);
  ExpectOk(Secret(33, 4096).Op(24, 1).U16(33).Exit());
  EXPECT_EQ(Items().Count(), 0);
  // Also when it is the holder's own.
  CodeBuilder code = CodeBuilder().Declare(kString1, 33).Op(3, 3).Byte(1).Var(33).Str("own");
  ExpectOk(code.Op(24, 1).U16(33).Exit());
  EXPECT_EQ(Items().Count(), 0);
}

TEST_P(NeedsTest, ANullVariableOfTheRegistryIsAskedFor) {
  dialog_->GetSecurityVariables().PutFieldString("x", 4096);
  dialog_->GetSecurityVariables()[4096]->SetNull();
  ExpectOk(Secret(33, 4096).Op(24, 1).U16(33).Exit());
  EXPECT_EQ(Items().GetValue(4096), dialog_->GetSecurityVariables()[4096]);
}

TEST_P(NeedsTest, WhatIsAskedForAlreadyStaysAsItIs) {
  CodeBuilder code = Secret(33, 4096).Op(24, 1).U16(33);
  ExpectOk(Needs(code, 33, "other", 0, false, 1, 1).Exit());
  EXPECT_EQ(Asked(4096), "PIN 3 5-5 flag");
}

TEST_P(NeedsTest, AnAmountIsKeptAsItsText) {
  CodeBuilder code = Secret(33, 4711, kAmount8);
  ExpectOk(Needs(code, 33, "Betrag", 0, true, 1, 9).Exit());
  EXPECT_EQ(Items().GetValue(4711)->GetType(), kStringType);
}

TEST_P(NeedsTest, ATypeThatNoVariableHasIsAnError) {
  CodeBuilder code = Secret(33, 4711, 77);
  Needs(code, 33, "x", 0, true, 1, 9);
  const std::size_t end = code.Size();
  ExpectError(code.Exit(), kMalformed, At(end));
}

TEST_P(NeedsTest, WrongCountsIdsAndHoldersAreErrors) {
  for (const unsigned count : {0U, 2U, 5U, 7U, 255U})
    ExpectError(Secret(33, 4096).Op(24, count).U16(33).Exit(), kMalformed, At(11));
  for (const unsigned id : {31U, 0U, 0xFFFFU, 32U, 34U})
    ExpectError(Secret(33, 4096).Op(24, 1).U16(id).Exit(), kMalformed, At(13));
  // Neither a variable nor a registry.
  ExpectError(CodeBuilder().Declare(kString1, 33).Op(24, 1).U16(33).Exit(), kMalformed, At(9));
  // A wrong operand; the maximum is the last.
  CodeBuilder wrong = Secret(33, 4096).Op(24, 6).U16(33).Str("x").Int(0).Bool(true).Int(1);
  const std::size_t end = wrong.Size();
  ExpectError(wrong.Str("y").Exit(), kMalformed, At(end + 2));
}

TEST_P(NeedsTest, TheOperandsBehindABadIdAreReadAndNothingIsAskedFor) {
  CodeBuilder code = Secret(33, 4096);
  ExpectError(Needs(code, 31, "x", 0, true, 1, 1).Exit(), kMalformed, At(13));
  EXPECT_EQ(Items().Count(), 0);
  // Each further error stands in the place of the one before.
  CodeBuilder wrong = Secret(33, 4096).Op(24, 6).U16(31).Str("x").Int(0).Bool(true).Int(1);
  const std::size_t end = wrong.Size();
  ExpectError(wrong.Str("y").Exit(), kMalformed, At(end + 2));
  EXPECT_FALSE(Run(Secret(33, 4096).Op(24, 6).U16(31).Str("x").Int(0)));
  EXPECT_EQ(err_.GetParamText()->View(), "/home/macro/test.hbx");
}

// They make variables that do not exist yet.
TEST_P(NeedsTest, TheOperandsBehindABadIdHaveTheirEffect) {
  if (GetParam() != Path::kObserved) return;
  CodeBuilder code = Secret(33, 4096).Declare(kString1, 34).Declare(kInt5, 35).Declare(10, 36);
  const std::size_t end = code.Size();
  ExpectOk(CodeBuilder(code).Exit());
  const int declared = std::exchange(observer_.changes, 0);
  code.Op(24, 6).U16(31).Var(34).Var(35).Var(36).Var(35).Var(35).Exit();
  ExpectError(code, kMalformed, At(end + 4));
  EXPECT_EQ(observer_.changes, declared + 5);
}

TEST_P(NeedsTest, CutOffIsTheFilesError) {
  EXPECT_FALSE(Run(Secret(33, 4096).Op(24, 1).Byte(0)));
  EXPECT_EQ(err_.GetParamText()->View(), "/home/macro/test.hbx");
}

TEST_P(NeedsTest, ItNeedsARequestAMessageAndADialog) {
  const CodeBuilder code = CodeBuilder().Declare(kString1, 33).Op(24, 1).U16(33).Exit();
  message_->SetClientData(nullptr);
  ExpectError(code, kNoMessage, "request has no dialog");
  request_->SetClientData(&env_);
  ExpectError(code, kNoMessage, "request has no message");
  engine_->SetRequest(nullptr);
  ExpectError(code, kNoRequest, "");
}

// ---- the dialog with the user -------------------------------------------------------------------

class SecurityDialogTest : public BankingTest {
 protected:
  static CodeBuilder AskForPin() { return Secret(33, 4096).Op(24, 1).U16(33); }
};
INSTANTIATE_TEST_SUITE_P(Paths, SecurityDialogTest, kEveryPath);

TEST_P(SecurityDialogTest, TheAnswerStandsInTheVariable) {
  Answer("12345");
  CodeBuilder code = AskForPin().Op(26, 0).Op(18, 0).Raw(Write(33).Bytes()).Exit();
  ExpectOk(code);
  EXPECT_EQ(Output(), "12345");
  EXPECT_TRUE(engine_->GetCondition());
  EXPECT_EQ(kinds_, std::vector<unsigned long>{1});
  EXPECT_EQ(Items().Count(), 0);
}

TEST_P(SecurityDialogTest, ATextMakesItAnotherKind) {
  Answer("12345");
  CodeBuilder code = AskForPin().Op(26, 1).Str("PIN falsch").Op(26, 1).Str("");
  code.Op(5, 3).Byte(kString1).U16(34).RawText("variable").Op(26, 1).Var(34).Exit();
  ExpectOk(code);
  EXPECT_EQ(kinds_, (std::vector<unsigned long>{33, 1, 33}));
  EXPECT_EQ(message_texts_, (std::vector<std::string>{"PIN falsch", "", "variable"}));
}

TEST_P(SecurityDialogTest, TheHandlerLearnsWhichRequestAsks) {
  const HbRequest* asking = nullptr;
  bool storno = true;
  HbRole role = HbRole(0);
  engine_->SetSecurityHdl(Link([&](void* data) {
    const auto& callback = *static_cast<HbCallbackData*>(data);
    asking = callback.GetRequest();
    storno = callback.IsStorno();
    role = callback.GetRequestedForRole();
    return 1L;
  }));
  ExpectOk(CodeBuilder().Op(26, 0).Exit());
  EXPECT_EQ(asking, request_.get());
  EXPECT_FALSE(storno);
  EXPECT_EQ(role, 1);
}

TEST_P(SecurityDialogTest, WithoutAHandlerTheSoftErrorIsSetAndTheItemsAreCleared) {
  CodeBuilder code = AskForPin().Op(26, 0);
  const std::string at = At(code.Size());
  EXPECT_FALSE(Run(code.Op(7, 1).Str("unreached").Exit()));
  EXPECT_EQ(err_.GetCode(), kNoData);
  EXPECT_EQ(err_.GetParamText()->View(), at);
  EXPECT_EQ(Output(), "");
  EXPECT_EQ(Items().Count(), 0);
}

TEST_P(SecurityDialogTest, AHandlerThatDeclinesCanBeTestedByTheMacro) {
  engine_->SetSecurityHdl(Link([](void*) { return 0L; }));
  ExpectOk(AskForPin().Op(26, 0).Op(18, 0).Op(7, 1).Str("declined").Exit());
  EXPECT_EQ(Output(), "declined");
  EXPECT_FALSE(engine_->GetCondition());
  EXPECT_EQ(Items().Count(), 0);
}

TEST_P(SecurityDialogTest, TheObserverLearnsOfTheAnswerBeforeTheItemsAreCleared) {
  if (GetParam() != Path::kObserved) return;
  for (const bool supplied : {true, false}) {
    std::vector<int> items;
    bool answered = false;
    engine_->SetSecurityHdl(Link([&](void*) {
      answered = true;
      return supplied ? 1L : 0L;
    }));
    observer_.on_change = [&] {
      if (answered) items.push_back(Items().Count());
    };
    ExpectOk(AskForPin().Op(26, 0).Op(18, 0).Exit());
    EXPECT_EQ(items, std::vector<int>{1});
    EXPECT_EQ(Items().Count(), 0);
    observer_.on_change = nullptr;
  }
}

TEST_P(SecurityDialogTest, WrongCountsTextsAndTreesAreErrors) {
  for (const unsigned count : {2U, 255U})
    ExpectError(CodeBuilder().Op(26, count).Str("x").Exit(), kMalformed, At(2));
  ExpectError(CodeBuilder().Op(26, 1).Int(1).Exit(), kMalformed, At(4));
  message_->SetClientData(nullptr);
  ExpectError(CodeBuilder().Op(26, 0).Exit(), kNoMessage, "request has no dialog");
}

// ---- re-entry ---------------------------------------------------------------------------------

class ReentryTest : public BankingTest {
 protected:
  // Runs `code` behind a question whose handler does something.
  bool RunWith(std::function<void()> action, CodeBuilder code = CodeBuilder().Op(7, 1).Str("on"),
               long result = 1) {
    engine_->SetSecurityHdl(Link([action, result](void*) {
      action();
      return result;
    }));
    CodeBuilder all = Secret(33, 4096).Op(24, 1).U16(33).Op(26, 0);
    return Run(all.Raw(code.Bytes()).Exit());
  }
};
INSTANTIATE_TEST_SUITE_P(Paths, ReentryTest, kEveryPath);

TEST_P(ReentryTest, StopEndsTheRunAndTheCommandTouchesNothing) {
  for (const long result : {0L, 1L}) {
    int changes = 0;
    const auto stop = [&] {
      engine_->Stop(true);
      changes = observer_.changes;
    };
    EXPECT_FALSE(RunWith(stop, CodeBuilder().Op(7, 1).Str("on"), result));
    EXPECT_EQ(err_.GetCode(), 17500);
    EXPECT_EQ(engine_->GetStatus().GetCode(), 17500);
    EXPECT_FALSE(engine_->GetLastCmdError().IsSet());
    EXPECT_EQ(observer_.changes, changes);
    EXPECT_EQ(Output(), "");
    EXPECT_EQ(Items().Count(), 0);
  }
}

TEST_P(ReentryTest, CallIsRefused) {
  HbError refused;
  bool called = true;
  EXPECT_TRUE(RunWith([&] {
    HbError err;
    called = engine_->Call(engine_->LoadSub("SUB", err), refused);
  }));
  EXPECT_FALSE(called);
  EXPECT_EQ(refused.GetCode(), 17499);
  EXPECT_EQ(Output(), "on");
}

TEST_P(ReentryTest, FilesMayChangeWhileFramesGoOn) {
  EXPECT_TRUE(RunWith([&] {
    HbError err;
    EXPECT_TRUE(engine_->PushFile("test", err));
    EXPECT_TRUE(engine_->PopFile(true));
    engine_->ClearFiles(true);
  }));
  EXPECT_EQ(Output(), "on");
}

TEST_P(ReentryTest, AnotherRequestMayBeSet) {
  HbRequest other("HKOTHER", 3, 0);
  other.GetValues().PutFieldString("other", 2010);
  EXPECT_TRUE(
      RunWith([&] { engine_->SetRequest(&other); }, Field(69, 34, 2010).Raw(Write(34).Bytes())));
  EXPECT_EQ(Output(), "other");
}

TEST_P(ReentryTest, SetRequestDropsTheResponseThatHoldersShow) {
  engine_->SetSecurityHdl(Link([this](void*) {
    engine_->SetRequest(request_.get());
    return 1L;
  }));
  CodeBuilder code = Field(6, 33, 2010).Op(38, 1).Str("HISAL").Op(26, 0);
  ExpectOk(code.Op(145, 1).U16(33).Op(39, 0).Op(7, 1).Str("on").Exit());
  EXPECT_TRUE(engine_->GetCondition());
  EXPECT_EQ(Output(), "on");
  EXPECT_EQ(request_->ResponseCount(), 0);
}

TEST_P(ReentryTest, TheWholeTreeMayDie) {
  EXPECT_FALSE(RunWith(
      [&] {
        dialog_.reset();
        message_.reset();
        request_.reset();
      },
      CodeBuilder().Raw(Write(33).Bytes()).Op(22, 1).Int(1)));
  EXPECT_EQ(err_.GetCode(), kNoRequest);
}

TEST_P(ReentryTest, TheHandlerMayBeReplacedFromWithin) {
  EXPECT_TRUE(RunWith([&] { engine_->SetSecurityHdl(Link()); }));
  EXPECT_EQ(Output(), "on");
}

// ---- forgetting -------------------------------------------------------------------------------

class InvalidateTest : public BankingTest {};
INSTANTIATE_TEST_SUITE_P(Paths, InvalidateTest, kEveryPath);

TEST_P(InvalidateTest, TheRegistrysVariableBecomesNull) {
  dialog_->GetSecurityVariables().PutFieldString("12345", 4096);
  ExpectOk(Secret(33, 4096).Op(27, 1).U16(33).Op(145, 1).U16(33).Exit());
  EXPECT_TRUE(dialog_->GetSecurityVariables().IsNull(4096));
  EXPECT_TRUE(engine_->GetCondition());
}

TEST_P(InvalidateTest, SoDoesTheVariableOfTheHolderWithAnyCount) {
  for (const unsigned count : {0U, 1U, 255U}) {
    dialog_->GetSecurityVariables().PutFieldString("12345", 4096);
    CodeBuilder code = Secret(33, 4096).Raw(Write(33).Bytes()).Op(27, count).U16(33);
    ExpectOk(code.Raw(Write(33).Bytes()).Exit());
    EXPECT_EQ(Output().substr(0, 5), "12345");
    EXPECT_TRUE(dialog_->GetSecurityVariables().IsNull(4096));
  }
}

TEST_P(InvalidateTest, WithoutAVariableOrAHolderNothingHappens) {
  ExpectOk(CodeBuilder().Declare(kString1, 33).Op(27, 1).U16(33).Op(27, 1).U16(34).Exit());
  ExpectOk(Secret(33, 4096).Op(27, 1).U16(33).Exit());
  EXPECT_EQ(dialog_->GetSecurityVariables()[4096], nullptr);
}

TEST_P(InvalidateTest, TheObserverLearnsOfItAsLongAsThereIsAHolder) {
  if (GetParam() != Path::kObserved) return;
  ExpectOk(CodeBuilder().Declare(kString1, 33).Exit());
  const int declared = std::exchange(observer_.changes, 0);
  ExpectOk(CodeBuilder().Declare(kString1, 33).Op(27, 1).U16(33).Op(27, 1).U16(34).Exit());
  EXPECT_EQ(observer_.changes, declared + 1);
}

TEST_P(InvalidateTest, CutOffIsTheFilesError) {
  EXPECT_FALSE(Run(CodeBuilder().Op(27, 1).Byte(0)));
  EXPECT_EQ(err_.GetParamText()->View(), "/home/macro/test.hbx");
}

// ---- the engine itself ------------------------------------------------------------------------

TEST(BankingEngineTest, ThereIsNoDialogAtFirst) {
  ByteReadingEngine engine("/home");
  EXPECT_EQ(engine.GetRequest(), nullptr);
  EXPECT_EQ(engine.GetResponse(), nullptr);
  EXPECT_EQ(engine.GetCurrentDialog(), nullptr);
  EXPECT_EQ(engine.GetStatus().GetCode(), kNoRequest);
}

TEST(BankingEngineTest, HoldersOfAnEngineThatRunsNothingNeedNoReset) {
  ByteReadingEngine engine("/home");
  const auto segment = MakeRef<HbSegment>("HISAL", static_cast<unsigned short>(5));
  engine.ResetHolderOfClass(HbMacroEngine::kResponse, segment.Get());
  engine.ResetHolderOfClass(HbMacroEngine::kResponse, nullptr);
  EXPECT_FALSE(engine.GetStatus().IsSet());
}

}  // namespace
}  // namespace tmx
