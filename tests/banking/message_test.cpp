#include "tmxtools/banking/message.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "tests/banking/tree_objects.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"

namespace {

using namespace tmx::test;

constexpr unsigned char kBytes[] = {1, 2, 3, 4};

TEST(SignatureData, IsEmptyAtFirst) {
  const SignatureData data;
  for (const int type : {-1, 0, 1, 2, 3}) {
    EXPECT_EQ(data.GetSignSize(static_cast<HbSignDataType>(type)), 0);
    EXPECT_EQ(data.GetSign(static_cast<HbSignDataType>(type)), nullptr);
  }
  EXPECT_EQ(data.GetUser(), nullptr);
}

TEST(SignatureData, KeepsACopyOfEachPart) {
  SignatureData data;
  data.SetSign(HbSignDataPart1, kBytes, 4);
  EXPECT_EQ(data.GetSignSize(HbSignDataPart1), 4);
  ASSERT_NE(data.GetSign(HbSignDataPart1), nullptr);
  EXPECT_NE(data.GetSign(HbSignDataPart1), kBytes);
  EXPECT_EQ(std::memcmp(data.GetSign(HbSignDataPart1), kBytes, 4), 0);
  EXPECT_EQ(data.GetSign(HbSignDataPart0), nullptr);
  data.SetSign(HbSignDataPart1, data.GetSign(HbSignDataPart1) + 1, 2);
  EXPECT_EQ(data.GetSignSize(HbSignDataPart1), 2);
  EXPECT_EQ(data.GetSign(HbSignDataPart1)[0], 2);
}

TEST(SignatureData, KeepsTheSizeAsGivenEvenWithoutBytes) {
  SignatureData data;
  data.SetSign(HbSignDataPart0, nullptr, 7);
  EXPECT_EQ(data.GetSignSize(HbSignDataPart0), 7);
  EXPECT_EQ(data.GetSign(HbSignDataPart0), nullptr);
  data.SetSign(HbSignDataPart0, kBytes, 0);
  EXPECT_EQ(data.GetSignSize(HbSignDataPart0), 0);
  EXPECT_EQ(data.GetSign(HbSignDataPart0), nullptr);
}

TEST(SignatureData, IgnoresAnUnknownType) {
  SignatureData data;
  data.SetSign(static_cast<HbSignDataType>(3), kBytes, 4);
  data.SetSign(static_cast<HbSignDataType>(-1), kBytes, 4);
  for (const int type : {-1, 0, 1, 2, 3})
    EXPECT_EQ(data.GetSignSize(static_cast<HbSignDataType>(type)), 0);
}

TEST(SignatureData, HasNoBytesWhenMemoryEnds) {
  SignatureData data;
  data.SetSign(HbSignDataPart0, kBytes, 4);
  {
    const FailingMemory memory(0);
    data.SetSign(HbSignDataPart0, kBytes, 3);
  }
  EXPECT_EQ(data.GetSign(HbSignDataPart0), nullptr);
  EXPECT_EQ(data.GetSignSize(HbSignDataPart0), 3);
}

TEST(SignatureData, LeavesNoTanInMemory) {
  const std::string tan = "@2@1;geheime-tan-471;";
  const WatchedMemory memory({"geheime-tan-471"});
  {
    SignatureData data;
    data.SetSign(HbSignDataPart1, reinterpret_cast<const unsigned char*>(tan.data()),
                 static_cast<unsigned short>(tan.size()));
    data.SetSign(HbSignDataPart1, kBytes, 4);
    data.SetSign(HbSignDataPart1, reinterpret_cast<const unsigned char*>(tan.data()),
                 static_cast<unsigned short>(tan.size()));
  }
  EXPECT_GT(memory.Given(), 0u);
  EXPECT_EQ(memory.Leaked(), 0u);
}

TEST(HbMessage, IsEmptyAtFirst) {
  const HbMessage message;
  EXPECT_EQ(message.GetSignatures(), 0);
  EXPECT_EQ(message.GetMsgNo(), 0);
  EXPECT_EQ(message.GetAnswLen(), 0);
  EXPECT_EQ(message.GetDialog(), nullptr);
  EXPECT_EQ(message.RequestCount(), 0);
  EXPECT_EQ(message.GetMsgHead(), nullptr);
  EXPECT_EQ(message.GetMsgTail(), nullptr);
  EXPECT_EQ(message.GetCryptHead(), nullptr);
  EXPECT_EQ(message.GetCryptedData(), nullptr);
  EXPECT_EQ(message.GetAnswSignHead(), nullptr);
  EXPECT_EQ(message.GetAnswSignTail(), nullptr);
  EXPECT_EQ(message.GetAnswCryptHead(), nullptr);
  EXPECT_EQ(message.GetAnswCryptData(), nullptr);
  EXPECT_EQ(message.GetCryptedSegsRep(), nullptr);
  EXPECT_EQ(message.GetSendingUser(), nullptr);
  EXPECT_FALSE(message.GetSignIt());
}

TEST(HbMessage, KeepsNumbersAndSigners) {
  const HbUser a, b, c;
  HbMessage message(2, &a, &b, &c);
  EXPECT_EQ(message.GetSignatures(), 2);
  EXPECT_EQ(message.GetSignUser(HbRoleIssuer), &a);
  EXPECT_EQ(message.GetSignUser(HbRoleCosigner), &b);
  EXPECT_EQ(message.GetSignUser(HbRoleTransmitter), &c);
  EXPECT_EQ(message.GetSignatureData(HbRoleCosigner)->GetUser(), &b);
  message.SetMsgNo(-3);
  message.SetAnswLen(-70000);
  EXPECT_EQ(message.GetMsgNo(), -3);
  EXPECT_EQ(message.GetAnswLen(), -70000);
}

TEST(HbMessage, HasNothingForARoleThatDoesNotSign) {
  const HbUser user;
  HbMessage message(1, &user, &user, &user);
  const auto role = static_cast<HbRole>(2);
  message.SetSignUser(role, &user);
  message.SetSign(role, HbSignDataPart0, kBytes, 4);
  message.ClearSignatureData(role);
  EXPECT_EQ(message.GetSignUser(role), nullptr);
  EXPECT_EQ(message.GetSignSize(role, HbSignDataPart0), 0);
  EXPECT_EQ(message.GetSign(role, HbSignDataPart0), nullptr);
  EXPECT_EQ(message.GetSignatureData(role), nullptr);
  EXPECT_FALSE(message.IsSigned(role));
}

TEST(HbMessage, IsSignedWithTheFirstTwoParts) {
  HbMessage message;
  message.SetSign(HbRoleIssuer, HbSignDataPart0, kBytes, 4);
  EXPECT_FALSE(message.IsSigned(HbRoleIssuer));
  message.SetSign(HbRoleIssuer, HbSignDataPart1, kBytes, 3);
  EXPECT_TRUE(message.IsSigned(HbRoleIssuer));
  EXPECT_FALSE(message.IsSigned(HbRoleCosigner));
  EXPECT_EQ(message.GetSignSize(HbRoleIssuer, HbSignDataPart1), 3);
  message.SetSign(HbRoleTransmitter, HbSignDataPart2, kBytes, 4);
  message.ClearSignatureData(HbRoleIssuer);
  EXPECT_FALSE(message.IsSigned(HbRoleIssuer));
  EXPECT_NE(message.GetSign(HbRoleTransmitter, HbSignDataPart2), nullptr);
  message.ClearSignatures();
  EXPECT_EQ(message.GetSign(HbRoleTransmitter, HbSignDataPart2), nullptr);
}

TEST(HbMessage, ListsItsRequests) {
  HbMessage message;
  const auto a = NewRequest("A");
  const auto b = NewRequest("B");
  message.AddRequest(*a);
  message.AddRequest(*b);
  EXPECT_EQ(message.GetChildCount(), 2);
  EXPECT_EQ(message.GetChild(1), b.get());
  EXPECT_EQ(ThrownText([&] { message[2]; }), kBadSubscript);
  EXPECT_EQ(ThrownText([&] { message.GetChild(2); }), kBadSubscript);
  unsigned short index = 0;
  EXPECT_EQ(message.GetRequestWithName(index, "B"), b.get());
  EXPECT_EQ(index, 1);
  EXPECT_EQ(message.GetRequestWithName(index, "A"), nullptr);
  EXPECT_EQ(index, 0);
  EXPECT_FALSE(message.GetSignIt());
  b->SetSignIt(true);
  EXPECT_TRUE(message.GetSignIt());
  Unlink(message, *a);
  EXPECT_EQ(a->GetMessage(), nullptr);
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{b.get()}));
  Unlink(message, *a);
  EXPECT_EQ(message.RequestCount(), 1);
}

TEST(HbMessage, UnlinksItsRequestsWhenItDies) {
  const auto request = NewRequest();
  {
    HbMessage message;
    message.AddRequest(*request);
  }
  EXPECT_EQ(request->GetMessage(), nullptr);
}

TEST(HbMessage, KeepsANullPlaceForARequestThatDies) {
  HbMessage message;
  auto a = NewRequest("A");
  const auto b = NewRequest("B");
  message.AddRequest(*a);
  message.AddRequest(*a);
  message.AddRequest(*b);
  EXPECT_FALSE(message.RequestArrayOk());
  a.reset();
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{nullptr, nullptr, b.get()}));
  EXPECT_TRUE(message.RequestArrayOk());
  EXPECT_FALSE(message.GetSignIt());
  unsigned short index = 0;
  EXPECT_EQ(message.GetRequestWithName(index, "B"), b.get());
  EXPECT_EQ(index, 2);
  message.Cancel();
  EXPECT_EQ(b->GetStatus(), HbStatusCancelled);
}

TEST(HbMessage, RequestArrayOkTellsOfNullEntriesAgainstItsName) {
  HbMessage message;
  EXPECT_FALSE(message.RequestArrayOk());
  auto request = NewRequest();
  message.AddRequest(*request);
  EXPECT_FALSE(message.RequestArrayOk());
  request.reset();
  EXPECT_TRUE(message.RequestArrayOk());
}

TEST(HbMessage, TakesNoMoreThan65535Requests) {
  HbMessage message;
  const auto request = NewRequest();
  for (int i = 0; i < 65536; ++i) message.AddRequest(*request);
  EXPECT_EQ(message.RequestCount(), 65535);
  const auto late = NewRequest();
  message.AddRequest(*late);
  EXPECT_EQ(late->GetMessage(), nullptr);
}

TEST(HbMessage, ClearRequestsDestroysEachOnce) {
  HbMessage message;
  const auto values = tmx::Ref<HbSegment>::Share(&NewRequest()->GetValues());
  auto request = NewRequest();
  const Watch watch(&request->GetValues());
  message.AddRequest(*request);
  message.AddRequest(*request);
  request.release();
  message.ClearRequests();
  EXPECT_EQ(message.RequestCount(), 0);
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbMessage, OwnsHeadAndTail) {
  auto message = std::make_unique<HbMessage>();
  auto head = NewRequest("HNHBK");
  const Watch first(&head->GetValues());
  message->SetMsgHead(head.get());
  message->SetMsgHead(head.release());
  EXPECT_TRUE(first.IsAlive()) << "the same head stays";
  auto other = NewRequest("HNHBK");
  const Watch second(&other->GetValues());
  message->SetMsgHead(other.release());
  EXPECT_FALSE(first.IsAlive());
  EXPECT_EQ(message->GetMsgHead()->GetRequestName(), "HNHBK");
  message->SetMsgTail(message->GetMsgHead());
  message.reset();
  EXPECT_FALSE(second.IsAlive());
}

TEST(HbMessage, ForgetsAHeadThatDies) {
  HbMessage message;
  auto head = NewRequest();
  message.SetMsgHead(head.get());
  head.reset();
  EXPECT_EQ(message.GetMsgHead(), nullptr);
  message.SetMsgTail(NewRequest().release());
  message.SetMsgTail(nullptr);
  EXPECT_EQ(message.GetMsgTail(), nullptr);
}

TEST(HbMessage, OwnsItsCryptMembers) {
  HbMessage message;
  auto head = NewRequest("HNVSK");
  auto data = NewRequest("HNVSD");
  const Watch head_watch(&head->GetValues());
  const Watch data_watch(&data->GetValues());
  message.SetCryptMembers(head.get(), data.get());
  message.SetCryptMembers(head.release(), data.release());
  message.SetCryptMembers(message.GetCryptedData(), message.GetCryptHead());
  EXPECT_EQ(message.GetCryptHead()->GetRequestName(), "HNVSD");
  EXPECT_EQ(message.GetCryptedData()->GetRequestName(), "HNVSK");
  message.SetCryptMembers(nullptr, message.GetCryptHead());
  EXPECT_FALSE(head_watch.IsAlive());
  EXPECT_TRUE(data_watch.IsAlive());
  message.ClearCryptMembers();
  EXPECT_FALSE(data_watch.IsAlive());
  EXPECT_EQ(message.GetCryptHead(), nullptr);
  EXPECT_EQ(message.GetCryptedData(), nullptr);
}

TEST(HbMessage, TakesReferencesOnAnswerSegmentsOver) {
  HbMessage message;
  auto first = MakeSegment("HNSHK");
  const Watch watch(first.Get());
  HbSegment* const raw = first.Release();
  message.SetAnswSignHead(raw);
  EXPECT_EQ(raw->GetRefCount(), 1u);
  message.SetAnswSignHead(raw);
  EXPECT_EQ(raw->GetRefCount(), 1u) << "the same, without a reference to give";
  raw->IncRefCount();
  message.SetAnswSignHead(raw);
  EXPECT_EQ(raw->GetRefCount(), 1u) << "the same, with a reference to give";
  EXPECT_EQ(message.GetAnswSignHead(), raw);
  message.SetAnswSignHead(nullptr);
  EXPECT_FALSE(watch.IsAlive());
  message.SetAnswSignHead(nullptr);

  auto tail = MakeSegment("HNSHA");
  auto head = MakeSegment("HNVSK");
  auto data = MakeSegment("HNVSD");
  const Watch tail_watch(tail.Get());
  const Watch head_watch(head.Get());
  const Watch data_watch(data.Get());
  message.SetAnswSignTail(tail.Release());
  message.SetAnswCryptHead(head.Release());
  message.SetAnswCryptData(data.Release());
  EXPECT_EQ(message.GetAnswSignTail()->GetSegmentKennung(), "HNSHA");
  message.ClearAnswCryptMembers();
  EXPECT_TRUE(tail_watch.IsAlive());
  EXPECT_FALSE(head_watch.IsAlive());
  EXPECT_FALSE(data_watch.IsAlive());
}

TEST(HbMessage, OwnsTheStreamOfCryptedSegments) {
  struct WatchedStream : SvCacheStream {
    explicit WatchedStream(int& ends) : ends_(ends) {}
    ~WatchedStream() override { ++ends_; }
    int& ends_;
  };
  int ends = 0;
  {
    HbMessage message;
    auto* const stream = std::make_unique<WatchedStream>(ends).release();
    message.SetCryptedSegsRep(stream);
    message.SetCryptedSegsRep(stream);
    EXPECT_EQ(message.GetCryptedSegsRep(), stream);
    EXPECT_EQ(ends, 0);
    message.SetCryptedSegsRep(std::make_unique<WatchedStream>(ends).release());
    EXPECT_NE(message.GetCryptedSegsRep(), nullptr);
    EXPECT_EQ(ends, 1);
  }
  EXPECT_EQ(ends, 2);
}

TEST(HbMessage, EvaluatesOnlyTheCodesForTheMessage) {
  HbMessage message;
  message.InsertResponse(nullptr);
  message.InsertResponse(CodeSegment("HIRMS", {9010}).Get());
  message.InsertResponse(MakeSegment("HISAL").Get());
  EXPECT_EQ(message.GetStatus(), HbStatusOpen);
  message.InsertResponse(CodeSegment("HIRMG", {3060}).Get());
  EXPECT_EQ(message.GetStatus(), HbStatusWarning);
  EXPECT_EQ(message.ResponseCount(), 3);
}

TEST(HbMessage, IsFoundAsLongAsItLives) {
  EXPECT_EQ(HbMessage::FindLive(nullptr), nullptr);
  auto message = std::make_unique<HbMessage>();
  const void* const address = message.get();
  EXPECT_EQ(HbMessage::FindLive(address), message.get());
  EXPECT_EQ(HbDialog::FindLive(address), nullptr);
  EXPECT_EQ(HbMessage::FindLive(static_cast<const char*>(address) + 1), nullptr);
  message.reset();
  EXPECT_EQ(HbMessage::FindLive(address), nullptr);
  std::vector<std::unique_ptr<HbMessage>> many;
  for (int i = 0; i < 3000; ++i) many.push_back(std::make_unique<HbMessage>());
  for (const auto& one : many) EXPECT_EQ(HbMessage::FindLive(one.get()), one.get());
}

}  // namespace
