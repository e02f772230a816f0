#include "tmxtools/banking/request.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/banking/tree_objects.h"
#include "tests/support/print.h"
#include "tests/support/temp_dir.h"
#include "tmxtools/core/error.h"
#include "tmxtools/textres/message_resolver.h"

namespace {

using namespace tmx::test;

// Gives the codes of statuses texts for as long as it lives.
class StatusTexts : public IMessageResolver {
 public:
  StatusTexts() { MessageResolverManager::getInstance()->add(this); }
  ~StatusTexts() override { MessageResolverManager::getInstance()->remove(this); }
  bool canResolve(unsigned short code) const override { return code >= 2701 && code <= 2708; }
  std::string getMessage(unsigned short code) override { return long_ + std::to_string(code); }
  bool setLanguage(hbk::HbLanguageType) override { return true; }
  void MakeTooLong() { long_.assign(70000, 'x'); }

 private:
  std::string long_;
};

HbStatus StatusAfter(const std::vector<short>& codes, const char* kennung = "HIRMS") {
  const auto request = NewRequest();
  request->InsertResponse(CodeSegment(kennung, codes).Get());
  return request->GetStatus();
}

short CodeAt(const HbSegment& segment, unsigned long group) {
  short code = 0;
  EXPECT_TRUE(segment.GetFieldInt16(code, 60000 + 100130 * group));
  return code;
}

String TextAt(const HbSegment& segment, unsigned long field) {
  String text;
  segment.GetFieldString(text, field);
  return text;
}

TEST(HbObject, IsOpenAtFirst) {
  int host = 0;
  HbObject object(&host, &object);
  EXPECT_EQ(object.GetStatus(), HbStatusOpen);
  EXPECT_EQ(object.ResponseCount(), 0);
  EXPECT_EQ(object.GetChildCount(), 0);
  EXPECT_EQ(object.GetChild(0), nullptr);
  EXPECT_EQ(object.GetClientData(), &host);
  EXPECT_EQ(object.GetXHbClientData(), &object);
  object.SetClientData(nullptr);
  object.SetXHbClientData(&host);
  EXPECT_EQ(object.GetClientData(), nullptr);
  EXPECT_EQ(object.GetXHbClientData(), &host);
}

TEST(HbObject, KnowsSuccessAndAbortion) {
  HbObject object;
  const struct {
    HbStatus status;
    bool success, aborted;
  } rows[] = {{HbStatusOpen, false, false},     {HbStatusSkipped, false, true},
              {HbStatusCancelled, false, true}, {HbStatusSent, false, false},
              {HbStatusWarning, true, false},   {HbStatusError, false, true},
              {HbStatusSuccess, true, false}};
  for (const auto& row : rows) {
    object.SetStatus(row.status);
    EXPECT_EQ(object.IsSuccess(), row.success) << row.status;
    EXPECT_EQ(object.IsAborted(), row.aborted) << row.status;
  }
}

TEST(HbObject, CancelAndSkipNeverLowerAStatus) {
  const struct {
    HbStatus before, cancelled, skipped;
  } rows[] = {{HbStatusOpen, HbStatusCancelled, HbStatusSkipped},
              {HbStatusSkipped, HbStatusCancelled, HbStatusSkipped},
              {HbStatusCancelled, HbStatusCancelled, HbStatusCancelled},
              {HbStatusSent, HbStatusSent, HbStatusSent},
              {HbStatusWarning, HbStatusWarning, HbStatusWarning},
              {HbStatusError, HbStatusError, HbStatusError},
              {HbStatusSuccess, HbStatusSuccess, HbStatusSuccess}};
  for (const auto& row : rows) {
    HbObject object;
    object.SetStatus(row.before);
    object.Cancel();
    EXPECT_EQ(object.GetStatus(), row.cancelled);
    object.SetStatus(row.before);
    object.Skip();
    EXPECT_EQ(object.GetStatus(), row.skipped);
  }
}

TEST(HbObject, HasATextForEachStatusThatSomebodyCanResolve) {
  if (MessageResolverManager::getInstance()->canResolve(2701)) {
    // Run again where no text resources are found: beside no such file, and without a path.
    const tmx::TempDir directory;
    const std::string copy = directory.File("test");
    std::filesystem::copy_file("/proc/self/exe", copy);
    const auto* const info = testing::UnitTest::GetInstance()->current_test_info();
    const std::string call = "PATH= " + copy + " --gtest_filter=" + info->test_suite_name() + "." +
                             info->name() + " >" + directory.File("out") + " 2>&1";
    EXPECT_EQ(std::system(call.c_str()), 0);
    return;
  }
  EXPECT_EQ(HbObject::GetStatusText(HbStatusOpen), "");
  StatusTexts texts;
  EXPECT_EQ(HbObject::GetStatusText(HbStatusOpen), "2701");
  EXPECT_EQ(HbObject::GetStatusText(HbStatusSuccess), "2707");
  EXPECT_EQ(HbObject::GetStatusText(static_cast<HbStatus>(7)), "2708");
  EXPECT_EQ(HbObject::GetStatusText(static_cast<HbStatus>(-1)), "2708");
  texts.MakeTooLong();
  EXPECT_EQ(HbObject::GetStatusText(HbStatusOpen).Len(), 65535);
}

TEST(HbObject, HasAnIndexForThreeRoles) {
  const HbObject object;
  EXPECT_EQ(object.GetIndexFromRole(HbRoleIssuer), 0);
  EXPECT_EQ(object.GetIndexFromRole(HbRoleCosigner), 1);
  EXPECT_EQ(object.GetIndexFromRole(HbRoleTransmitter), 2);
  for (const int role : {-1, 0, 2, 5})
    EXPECT_EQ(object.GetIndexFromRole(static_cast<HbRole>(role)), -1);
}

TEST(HbObject, KeepsResponsesInTheirOrder) {
  HbObject object;
  const auto a = MakeSegment("A");
  const auto b = MakeSegment("B");
  const auto a2 = MakeSegment("A");
  for (const auto& segment : {a, b, a2}) object.InsertResponse(segment.Get());
  object.InsertResponse(nullptr);
  EXPECT_EQ(object.ResponseCount(), 3);
  EXPECT_EQ(object.GetResponse(1), b.Get());
  EXPECT_EQ(ThrownText([&] { object.GetResponse(3); }), kBadSubscript);

  unsigned short index = 0;
  EXPECT_EQ(object.GetResponseWithName(index, "A"), a.Get());
  EXPECT_EQ(index, 0);
  index = 1;
  EXPECT_EQ(object.GetResponseWithName(index, "A"), a2.Get());
  EXPECT_EQ(index, 2);
  index = 3;
  EXPECT_EQ(object.GetResponseWithName(index, "A"), nullptr);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(object.GetResponseWithName(index, "a"), nullptr);
  EXPECT_EQ(object.GetResponseWithName(index, nullptr), nullptr);

  object.ReverseResponses();
  EXPECT_EQ(object.GetResponse(0), a2.Get());
  object.RemoveResponse(*b.Get());
  object.RemoveResponse(*b.Get());
  EXPECT_EQ(object.ResponseCount(), 2);
  object.RemoveResponse(0);
  object.RemoveResponse(7);
  EXPECT_EQ(object.GetResponse(0), a.Get());
  object.ClearResponses();
  EXPECT_EQ(object.ResponseCount(), 0);
}

TEST(HbObject, GivesUpItsResponses) {
  auto object = std::make_unique<HbObject>();
  auto segment = MakeSegment("A");
  const Watch watch(segment.Get());
  object->InsertResponse(segment.Get());
  segment = {};
  EXPECT_TRUE(watch.IsAlive());
  object.reset();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbObject, ErrorResponsesHaveACodeAndTexts) {
  HbObject object;
  object.InsertErrorResponse(9010, HbStatusError, "refused", "IBAN");
  object.InsertErrorResponse(65535, HbStatusOpen, "odd", "");
  EXPECT_EQ(object.GetStatus(), HbStatusError);
  HbSegment& response = *object.GetResponse(0);
  EXPECT_EQ(response.GetSegmentKennung(), "INERR");
  EXPECT_EQ(response.GetSegmentVersion(), 1);
  EXPECT_EQ(CodeAt(response, 0), 9010);
  EXPECT_EQ(TextAt(response, 60020), "refused");
  EXPECT_EQ(TextAt(response, 60030), "IBAN");
  EXPECT_EQ(CodeAt(*object.GetResponse(1), 0), -1);
  EXPECT_EQ(object.GetResponse(1)->GetType(60030), 0);
}

TEST(HbObject, AnErrorResponseRaisesTheStatusOrReplacesSuccess) {
  HbObject object;
  object.SetStatus(HbStatusError);
  object.InsertErrorResponse(1, HbStatusWarning, "", "");
  EXPECT_EQ(object.GetStatus(), HbStatusError);
  object.SetStatus(HbStatusSuccess);
  object.InsertErrorResponse(1, HbStatusWarning, "", "");
  EXPECT_EQ(object.GetStatus(), HbStatusWarning);
}

TEST(HbObject, AnErrorThatIsNotSetInsertsNothing) {
  HbObject object;
  object.InsertErrorResponse(HbError());
  EXPECT_EQ(object.ResponseCount(), 0);
  EXPECT_EQ(object.GetStatus(), HbStatusOpen);
}

TEST(HbObject, AnErrorsChainBecomesReturnCodesNewestFirst) {
  HbObject object;
  const HbError none(0);
  const HbError warning(100, String("w"), none);
  const HbError refused(18593, warning);
  const HbError reserved(18444, refused);
  object.InsertErrorResponse(HbError(33786, String("log"), reserved));
  ASSERT_EQ(object.ResponseCount(), 1);
  const HbSegment& response = *object.GetResponse(0);
  const short codes[] = {9999, 3210, 9000, 3999, 999};
  for (unsigned long group = 0; group < 5; ++group)
    EXPECT_EQ(CodeAt(response, group), codes[group]);
  EXPECT_EQ(response.GetType(60000 + 5 * 100130), 0);
  EXPECT_EQ(TextAt(response, 60020), *HbError(33786).GetText());
  EXPECT_EQ(TextAt(response, 60030), "log");
  EXPECT_EQ(response.GetType(60030 + 100130), 0);
  EXPECT_EQ(TextAt(response, 60030 + 3 * 100130), "w");
  // The code without a kind counts as success, which is the greatest status.
  EXPECT_EQ(object.GetStatus(), HbStatusSuccess);
}

TEST(HbObject, AReservationIsAnErrorAlthoughItsCodeIsAWarning) {
  HbObject object;
  object.InsertErrorResponse(HbError(18444));
  EXPECT_EQ(object.GetStatus(), HbStatusError);
  EXPECT_EQ(CodeAt(*object.GetResponse(0), 0), 3210);
}

TEST(HbObject, ErrorsOfEveryKindAreErrors) {
  for (const int code : {0x4000, 0x7FFF, 0x8000, 0xBFFF, 0xC000, 0xFFFF}) {
    HbObject object;
    object.InsertErrorResponse(HbError(static_cast<unsigned short>(code)));
    EXPECT_EQ(object.GetStatus(), HbStatusError) << code;
    EXPECT_EQ(CodeAt(*object.GetResponse(0), 0), 9999) << code;
  }
}

TEST(HbObject, AWarningsCodeNeverStandsForItself) {
  HbObject object;
  object.InsertErrorResponse(HbError(9000));
  EXPECT_EQ(object.GetStatus(), HbStatusWarning);
  EXPECT_EQ(CodeAt(*object.GetResponse(0), 0), 3999);
}

TEST(HbRequest, HasItsNameAndVersionInItsValues) {
  int host = 0;
  HbRequest request("HKCCS", 1, 2, &host, &request);
  EXPECT_EQ(request.GetRequestName(), "HKCCS");
  EXPECT_EQ(request.GetRequestVersion(), 1);
  EXPECT_EQ(request.GetNumSigsNeeded(), 2);
  EXPECT_EQ(request.GetClientData(), &host);
  EXPECT_EQ(request.GetXHbClientData(), &request);
  EXPECT_EQ(request.GetMessage(), nullptr);
  EXPECT_EQ(request.GetJob(), nullptr);
  EXPECT_FALSE(request.GetSignIt());
  request.SetSignIt(true);
  EXPECT_TRUE(request.GetSignIt());
  EXPECT_EQ(request.GetDlgId(), 0xFFFF);
  EXPECT_EQ(request.GetMsgId(), 0xFFFF);
  EXPECT_EQ(request.GetReqId(), 0xFFFF);
  request.GetValues().SetSegmentKennung("HKCCM");
  EXPECT_EQ(request.GetRequestName(), "HKCCM");
  request.SetSent();
  EXPECT_EQ(request.GetStatus(), HbStatusSent);
  request.SetSuccess();
  EXPECT_EQ(request.GetStatus(), HbStatusSuccess);
  request.SetSent();
  EXPECT_EQ(request.GetStatus(), HbStatusSent);
  request.Reset();
  EXPECT_EQ(request.GetStatus(), HbStatusOpen);
}

TEST(HbRequest, TheFirstCodeDecidesBetweenSuccessAndWarning) {
  EXPECT_EQ(StatusAfter({20, 3040}), HbStatusSuccess);
  EXPECT_EQ(StatusAfter({3040, 20}), HbStatusWarning);
  EXPECT_EQ(StatusAfter({20}, "HIRMG"), HbStatusSuccess);
  EXPECT_EQ(StatusAfter({3999}), HbStatusWarning);
  EXPECT_EQ(StatusAfter({999}), HbStatusSuccess);
  EXPECT_EQ(StatusAfter({1}), HbStatusSuccess);
}

TEST(HbRequest, AnErrorCodeWinsOverEverything) {
  EXPECT_EQ(StatusAfter({20, 9000}), HbStatusError);
  EXPECT_EQ(StatusAfter({9999, 20}), HbStatusError);
  const auto request = NewRequest();
  request->SetSuccess();
  request->InsertResponse(CodeSegment("HIRMG", {9800}).Get());
  EXPECT_EQ(request->GetStatus(), HbStatusError);
}

TEST(HbRequest, OtherCodesChangeNothing) {
  for (const int code : {0, -1, 1000, 2999, 4000, 8999, 10000, -9010})
    EXPECT_EQ(StatusAfter({static_cast<short>(code)}), HbStatusOpen) << code;
  EXPECT_EQ(StatusAfter({}), HbStatusOpen);
}

TEST(HbRequest, AnOrdinarySegmentMakesAnOpenRequestSuccessful) {
  const auto request = NewRequest();
  request->InsertResponse(nullptr);
  request->InsertResponse(MakeSegment("INBZG").Get());
  EXPECT_EQ(request->GetStatus(), HbStatusOpen);
  request->InsertResponse(MakeSegment("HISAL").Get());
  EXPECT_EQ(request->GetStatus(), HbStatusSuccess);
  request->InsertResponse(MakeSegment("HISAL").Get());
  EXPECT_EQ(request->GetStatus(), HbStatusSuccess);
  EXPECT_EQ(request->ResponseCount(), 3);
  request->SetStatus(HbStatusSent);
  request->InsertResponse(MakeSegment("HISAL").Get());
  EXPECT_EQ(request->GetStatus(), HbStatusSent);
}

TEST(HbRequest, AnErrorResponseNeverMarksItSuccessful) {
  const auto request = NewRequest();
  request->InsertErrorResponse(1, HbStatusOpen, "", "");
  EXPECT_EQ(request->GetStatus(), HbStatusOpen);
}

TEST(HbRequest, HasUsersForThreeRoles) {
  const auto request = NewRequest();
  const HbUser a, b, c;
  request->AddUser(&a, HbRoleIssuer);
  request->AddUser(&b, HbRoleCosigner);
  request->AddUser(&c, HbRoleTransmitter);
  for (const int role : {0, 2, 5}) {
    request->AddUser(&c, static_cast<HbRole>(role));
    EXPECT_EQ(request->GetUser(static_cast<HbRole>(role)), nullptr);
  }
  EXPECT_EQ(request->GetUser(HbRoleIssuer), &a);
  EXPECT_EQ(request->GetUser(HbRoleCosigner), &b);
  EXPECT_EQ(request->GetUser(HbRoleTransmitter), &c);
}

TEST(HbRequest, IsSentByTheIssuerOrTheTransmitter) {
  HbUser card, pin, other, third;
  card.SetMedia(SecurityMediaCard);
  pin.SetMedia(SecurityMediaPinTan);
  const struct {
    const HbUser *issuer, *cosigner;
    unsigned short signatures;
    const HbUser* sender;
  } rows[] = {{nullptr, &other, 1, nullptr}, {&pin, nullptr, 9, &pin},  {&card, nullptr, 0, &card},
              {&card, nullptr, 1, &card},    {&card, &other, 2, &card}, {&card, nullptr, 2, &third},
              {&card, &other, 3, &third}};
  for (const auto& row : rows) {
    const auto request = NewRequest("HKCCS", row.signatures);
    request->AddUser(row.issuer, HbRoleIssuer);
    request->AddUser(row.cosigner, HbRoleCosigner);
    request->AddUser(&third, HbRoleTransmitter);
    EXPECT_EQ(request->GetSendingUser(), row.sender);
    const HbMessage message(row.signatures, row.issuer, row.cosigner, &third);
    EXPECT_EQ(message.GetSendingUser(), row.sender);
  }
}

TEST(HbRequest, OwnsItsItems) {
  auto request = NewRequest();
  HbSegment& item = request->CreateItem("HNVSD", 1);
  const Watch watch(&item);
  EXPECT_EQ(item.GetSegmentKennung(), "HNVSD");
  EXPECT_EQ(item.GetRefCount(), 1u);
  EXPECT_EQ(request->ReqItemCount(), 1);
  EXPECT_EQ(request->GetReqItem(0), &item);
  EXPECT_EQ(&request->GetReqItems(), &std::as_const(*request).GetReqItems());
  EXPECT_EQ(ThrownText([&] { request->GetReqItem(1); }), kBadSubscript);
  request.reset();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbRequest, MakesNoItemBeyond65535) {
  const auto request = NewRequest();
  const auto segment = MakeSegment("A");
  for (int i = 0; i < 65535; ++i) request->GetReqItems().Insert(segment.Get());
  EXPECT_EQ(ThrownText([&] { request->CreateItem("B", 1); }), kBadSubscript);
  EXPECT_EQ(request->ReqItemCount(), 65535);
}

TEST(HbRequest, KnowsItsPlaceInTheTree) {
  HbJob job;
  HbRequest& request = RequestIn(job);
  EXPECT_EQ(request.GetRequestId(), 0xFFFF);
  EXPECT_EQ(request.GetMessageId(), 0xFFFF);
  EXPECT_EQ(request.GetDialogId(), 0xFFFF);
  HbMessage message;
  request.AddToMsg(message);
  EXPECT_EQ(request.GetRequestId(), 0);
  EXPECT_EQ(request.GetMessageId(), 0xFFFF);
  HbDialog free_dialog(nullptr);
  free_dialog.AddMsg(message, 0);
  EXPECT_EQ(request.GetMessageId(), 0);
  EXPECT_EQ(request.GetDialogId(), 0xFFFF);
  Unlink(free_dialog, message);
  auto inner = std::make_unique<HbMessage>();
  RequestIn(job).AddToMsg(*inner);
  request.AddToMsg(*inner);
  HbDialog* const dialog = job.AddToDialog(*inner.release());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(request.GetRequestId(), 1);
  EXPECT_EQ(request.GetMessageId(), 0);
  EXPECT_EQ(request.GetDialogId(), 0);
  EXPECT_EQ(message[0], &request);  // a former parent keeps it
}

TEST(HbRequest, ALinkToAMessageStartsFromEitherSide) {
  const auto request = NewRequest();
  HbMessage a, b;
  request->AddToMsg(a);
  request->AddToMsg(a);
  EXPECT_EQ(a.RequestCount(), 1);
  b.AddRequest(*request);
  EXPECT_EQ(request->GetMessage(), &b);
  EXPECT_EQ(b.RequestCount(), 1);
  b.AddRequest(*request);
  EXPECT_EQ(b.RequestCount(), 2) << "no check for duplicates";
  request->RemoveFromMsg(a);
  EXPECT_EQ(request->GetMessage(), &b);
  request->RemoveFromMsg(b);
  EXPECT_EQ(request->GetMessage(), nullptr);
  EXPECT_EQ(request->GetRequestId(), 0xFFFF);
  EXPECT_EQ(b.RequestCount(), 2);
}

TEST(HbRequest, PutsTheResponsesOfItsLevelsTogether) {
  HbJob job;
  HbRequest& request = RequestIn(job);
  auto owned = std::make_unique<HbMessage>();
  HbMessage& message = *owned;
  request.AddToMsg(message);
  HbDialog& dialog = *job.AddToDialog(*owned.release());
  const auto of_job = MakeSegment("J");
  const auto of_dialog = MakeSegment("D");
  const auto of_message = MakeSegment("M");
  const auto own = MakeSegment("R");
  job.InsertResponse(of_job.Get());
  dialog.InsertResponse(of_dialog.Get());
  message.InsertResponse(of_message.Get());
  request.InsertResponse(own.Get());

  const HbSegment* const all[] = {of_job.Get(), of_dialog.Get(), of_message.Get(), own.Get()};
  EXPECT_EQ(request.ResponseCount(15), 4);
  for (unsigned short i = 0; i < 4; ++i) EXPECT_EQ(request.GetResponse(i, 15), all[i]);
  EXPECT_EQ(request.ResponseCount(9), 2);
  EXPECT_EQ(request.GetResponse(1, 9), own.Get());
  EXPECT_EQ(request.GetResponse(0, 4), of_dialog.Get());
  EXPECT_EQ(request.GetResponse(1, 4), nullptr);
  EXPECT_EQ(request.GetResponse(3, 14), nullptr);
  EXPECT_EQ(ThrownText([&] { request.GetResponse(4, 15); }), kBadSubscript);
  EXPECT_EQ(request.ResponseCount(0), 0);
  EXPECT_EQ(request.GetResponse(0, 0), nullptr);
}

TEST(HbRequest, SkipsLevelsThatAreMissing) {
  const auto request = NewRequest();
  const auto own = MakeSegment("R");
  request->InsertResponse(own.Get());
  EXPECT_EQ(request->ResponseCount(15), 1);
  EXPECT_EQ(request->GetResponse(0, 15), own.Get());
  EXPECT_EQ(request->GetResponse(0, 14), nullptr);
}

TEST(HbRequest, CountsAtMost65535Responses) {
  HbJob job;
  HbRequest& request = RequestIn(job);
  const auto segment = MakeSegment("A");
  for (int i = 0; i < 40000; ++i) {
    job.InsertResponse(segment.Get());
    request.InsertResponse(segment.Get());
  }
  EXPECT_EQ(request.ResponseCount(9), 65535);
}

}  // namespace
