// Signatures that are taken from one job to another.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/banking/tree_objects.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/core/error.h"

namespace {

using namespace tmx::test;

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// ---- blocks as their description says, written without the library ------------------------------

std::string Number(unsigned value) {
  return {static_cast<char>(value / 256), static_cast<char>(value % 256)};
}
std::string Ids(unsigned request, unsigned message, unsigned dialog) {
  return Number(request) + Number(message) + Number(dialog);
}
std::string Part(const std::string& bytes) {
  return Number(static_cast<unsigned>(bytes.size())) + bytes;
}
std::string FirstBlock(unsigned message, unsigned dialog, unsigned requests,
                       const std::string& part1 = "part-1") {
  return Ids(0, message, dialog) + Part("part-0") + Part(part1) + Part("part-2") + Number(requests);
}

void Sign(HbMessage& message, HbRole role, const std::string& part1 = "part-1") {
  const std::string parts[] = {"part-0", part1, "part-2"};
  for (int i = 0; i < 3; ++i) {
    message.SetSign(role, static_cast<HbSignDataType>(i), Bytes(parts[i]),
                    static_cast<unsigned short>(parts[i].size()));
  }
}

// What GetSign() gives with a buffer of exactly the size that is asked for.
std::string BlockOf(const HbRequest& request, HbRole role = HbRoleIssuer) {
  std::string buffer(request.GetSignSize(role), 'x');
  unsigned long length = buffer.size();
  EXPECT_TRUE(request.GetSign(role, reinterpret_cast<unsigned char*>(buffer.data()), length));
  EXPECT_EQ(length, buffer.size());
  return buffer.substr(0, length);
}

class Signature : public testing::Test {
 protected:
  ~Signature() override { FreePresigned(); }

  // As a host must with messages that no dialog has taken over.
  void FreePresigned() {
    for (HbMessage* message : made_) std::unique_ptr<HbMessage>(HbMessage::FindLive(message));
  }
  HbRequest& Request() { return RequestIn(job_); }
  bool Insert(HbRequest& request, const std::string& block, HbRole role = HbRoleIssuer) {
    const bool done = request.InsertSignature(error_, Bytes(block), block.size(), role);
    if (request.GetMessage() != nullptr) made_.push_back(request.GetMessage());
    return done;
  }
  void ExpectRefused() {
    EXPECT_EQ(error_.GetCode(), 17636);
    ASSERT_NE(error_.GetPrev(), nullptr);
    EXPECT_EQ(error_.GetPrev()->GetCode(), 17640);
  }

  HbJob job_;
  HbError error_;
  std::vector<HbMessage*> made_;
};

// ---- taking signatures out ----------------------------------------------------------------------

class SignedMessage : public testing::Test {
 protected:
  SignedMessage() {
    first_ = &RequestIn(job_);
    second_ = &RequestIn(job_);
    auto message = std::make_unique<HbMessage>();
    message_ = message.get();
    message->AddRequest(*first_);
    message->AddRequest(*second_);
    auto other = std::make_unique<HbMessage>();
    RequestIn(job_).AddToMsg(*other);
    job_.AddToDialog(*other.release());
    job_.AddToDialog(*message.release());
  }

  HbJob job_;
  HbMessage* message_;
  HbRequest* first_;
  HbRequest* second_;
};

TEST_F(SignedMessage, NeedsAllThreeParts) {
  EXPECT_FALSE(first_->IsSigned(HbRoleIssuer));
  EXPECT_EQ(first_->GetSignSize(HbRoleIssuer), 0u);
  message_->SetSign(HbRoleIssuer, HbSignDataPart0, Bytes("a"), 1);
  message_->SetSign(HbRoleIssuer, HbSignDataPart1, Bytes("b"), 1);
  EXPECT_FALSE(first_->IsSigned(HbRoleIssuer));
  EXPECT_EQ(first_->GetSignSize(HbRoleIssuer), 0u);
  message_->SetSign(HbRoleIssuer, HbSignDataPart2, Bytes("c"), 1);
  EXPECT_TRUE(first_->IsSigned(HbRoleIssuer));
  EXPECT_EQ(first_->GetSignSize(HbRoleIssuer), 6u + 3 * 3 + 2);
  EXPECT_FALSE(first_->IsSigned(HbRoleCosigner));
  EXPECT_FALSE(NewRequest()->IsSigned(HbRoleIssuer));
  EXPECT_EQ(NewRequest()->GetSignSize(HbRoleIssuer), 0u);
}

TEST_F(SignedMessage, GivesTheFirstRequestTheWholeBlock) {
  Sign(*message_, HbRoleTransmitter);
  EXPECT_EQ(BlockOf(*first_, HbRoleTransmitter), FirstBlock(1, 0, 2));
}

TEST_F(SignedMessage, GivesLaterRequestsTheirIdsAlone) {
  Sign(*message_, HbRoleIssuer);
  EXPECT_EQ(BlockOf(*second_), Ids(1, 1, 0));
}

TEST_F(SignedMessage, RefusesATooSmallBuffer) {
  Sign(*message_, HbRoleIssuer);
  unsigned char buffer[100];
  for (const HbRequest* request : {first_, second_}) {
    unsigned long length = request->GetSignSize(HbRoleIssuer) - 1;
    EXPECT_FALSE(request->GetSign(HbRoleIssuer, buffer, length));
    EXPECT_EQ(length, 0u);
  }
  unsigned long length = 100;
  EXPECT_FALSE(first_->GetSign(HbRoleIssuer, nullptr, length));
  EXPECT_EQ(length, 0u);
  length = 100;
  EXPECT_FALSE(first_->GetSign(HbRoleCosigner, buffer, length));
  EXPECT_EQ(length, 0u);
  length = 100;
  EXPECT_FALSE(NewRequest()->GetSign(HbRoleIssuer, buffer, length));
  EXPECT_EQ(length, 0u);
}

TEST_F(SignedMessage, RefusesAPartWithASizeAndNoBytes) {
  Sign(*message_, HbRoleIssuer);
  message_->SetSign(HbRoleIssuer, HbSignDataPart2, nullptr, 50);
  unsigned char buffer[200];
  unsigned long length = sizeof buffer;
  EXPECT_GT(first_->GetSignSize(HbRoleIssuer), 0u);
  EXPECT_FALSE(first_->GetSign(HbRoleIssuer, buffer, length));
  EXPECT_EQ(length, 0u);
  length = sizeof buffer;
  EXPECT_TRUE(second_->GetSign(HbRoleIssuer, buffer, length)) << "ids need no bytes";
}

// ---- putting them in ----------------------------------------------------------------------------

TEST_F(Signature, ComesOutAsItWentIn) {
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, FirstBlock(3, 2, 1)));
  EXPECT_FALSE(error_.IsSet());
  EXPECT_EQ(request.GetReqId(), 0);
  EXPECT_EQ(request.GetMsgId(), 3);
  EXPECT_EQ(request.GetDlgId(), 2);
  EXPECT_TRUE(request.IsSigned(HbRoleIssuer));
  EXPECT_EQ(BlockOf(request), FirstBlock(3, 2, 1));
}

TEST_F(Signature, LooksAsTheExampleInTheDocs) {
  constexpr unsigned char kExample[] = {0, 0, 0,    1,    0, 0, 0,    1, 0x41,
                                        0, 2, 0x42, 0x43, 0, 1, 0x44, 0, 1};
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, std::string(std::begin(kExample), std::end(kExample))));
  const std::string parts[] = {"A", "BC", "D"};
  for (int i = 0; i < 3; ++i) {
    const auto part = static_cast<HbSignDataType>(i);
    const auto* const bytes = request.GetMessage()->GetSign(HbRoleIssuer, part);
    EXPECT_EQ(std::string(bytes, bytes + request.GetMessage()->GetSignSize(HbRoleIssuer, part)),
              parts[i]);
  }
  EXPECT_EQ(BlockOf(request), std::string(std::begin(kExample), std::end(kExample)));
}

TEST_F(Signature, NeedsAJob) {
  HbRequest request("HKCCS", 1, 1);
  EXPECT_FALSE(Insert(request, FirstBlock(0, 0, 1)));
  EXPECT_EQ(error_.GetCode(), 17636);
  EXPECT_EQ(*error_.GetParamText(), "No parent job");
  EXPECT_EQ(error_.GetPrev(), nullptr);
}

TEST_F(Signature, RefusesABlockOfFewerThan6Bytes) {
  for (const std::size_t length : {0u, 1u, 5u}) {
    HbRequest& request = Request();
    error_.Clear();
    EXPECT_FALSE(Insert(request, Ids(1, 0, 0).substr(0, length)));
    ExpectRefused();
    EXPECT_EQ(request.GetMessage(), nullptr);
    EXPECT_EQ(request.GetReqId(), 0xFFFF);
  }
  error_.Clear();
  EXPECT_FALSE(Request().InsertSignature(error_, nullptr, 30, HbRoleIssuer));
  ExpectRefused();
}

TEST_F(Signature, RefusesUnknownIds) {
  for (const auto& block : {Ids(0xFFFF, 0, 0), Ids(0, 0xFFFF, 0), Ids(0, 0, 0xFFFF)}) {
    error_.Clear();
    EXPECT_FALSE(Insert(Request(), block));
    ExpectRefused();
  }
}

TEST_F(Signature, RefusesDamagedParts) {
  const std::string whole = FirstBlock(0, 0, 1);
  unsigned message = 0;
  // Up to the end of the last part every cut is noticed; a cut count is left out.
  for (std::size_t length = 6; length < whole.size() - 2; ++length) {
    std::string block = whole.substr(0, length);
    block[3] = static_cast<char>(++message);
    error_.Clear();
    EXPECT_FALSE(Insert(Request(), block)) << length;
    ExpectRefused();
  }
  for (std::size_t length = whole.size() - 2; length <= whole.size(); ++length) {
    std::string block = whole.substr(0, length);
    block[3] = static_cast<char>(++message);
    EXPECT_TRUE(Insert(Request(), block)) << length;
  }
  error_.Clear();
  EXPECT_FALSE(Insert(Request(), Ids(0, 200, 0) + Part("") + Part("b") + Part("c")));
  ExpectRefused();
}

TEST_F(Signature, KeepsThePartsReadBeforeAnError) {
  HbRequest& request = Request();
  EXPECT_FALSE(Insert(request, Ids(0, 0, 0) + Part("one") + Part("two") + Number(9)));
  ASSERT_NE(request.GetMessage(), nullptr);
  EXPECT_EQ(request.GetMessage()->GetSignSize(HbRoleIssuer, HbSignDataPart1), 3);
  EXPECT_EQ(request.GetMessage()->GetSign(HbRoleIssuer, HbSignDataPart2), nullptr);
}

TEST_F(Signature, MakesPlacesForLaterRequests) {
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, FirstBlock(0, 0, 4)));
  HbMessage& message = *request.GetMessage();
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{&request, nullptr, nullptr, nullptr}));
  EXPECT_TRUE(message.RequestArrayOk());
  HbRequest& third = Request();
  ASSERT_TRUE(Insert(third, Ids(2, 0, 0)));
  EXPECT_EQ(message[2], &third);
  EXPECT_EQ(third.GetMessage(), &message);
  ASSERT_TRUE(Insert(Request(), FirstBlock(1, 0, 65535)));
}

TEST_F(Signature, FillsPlacesInAnyOrderAndKeepsTheFirst) {
  HbRequest &r0 = Request(), &r1 = Request(), &r2 = Request(), &again = Request();
  ASSERT_TRUE(Insert(r2, Ids(2, 5, 5)));
  HbMessage& message = *r2.GetMessage();
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{nullptr, nullptr, &r2}));
  ASSERT_TRUE(Insert(r0, FirstBlock(5, 5, 3)));
  ASSERT_TRUE(Insert(r1, Ids(1, 5, 5)));
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{&r0, &r1, &r2}));
  EXPECT_FALSE(Insert(again, Ids(1, 5, 5)));
  EXPECT_EQ(again.GetMessage(), nullptr);
  EXPECT_EQ(RequestsOf(message), (std::vector<HbRequest*>{&r0, &r1, &r2}));
}

// Wherever memory ends, the request stands in its place or nowhere, and can be put in later.
TEST_F(Signature, PutsARequestInItsPlaceOrNowhereWhenMemoryEnds) {
  for (const unsigned place : {3U, 1U}) {  // behind the last one, then where nothing stands yet
    HbRequest& request = Request();
    const std::string block = Ids(place, 0, 0);
    for (std::size_t allowed = 0; request.GetMessage() == nullptr; ++allowed) {
      ASSERT_LT(allowed, 100U);
      bool done = false;
      {
        const FailingMemory memory(allowed);
        done = request.InsertSignature(error_, Bytes(block), block.size(), HbRoleIssuer);
      }
      EXPECT_EQ(done, request.GetMessage() != nullptr) << allowed;
      if (!done) EXPECT_EQ(request.GetRequestId(), HbRequest::kUnknown) << allowed;
    }
    EXPECT_EQ(request.GetRequestId(), place);
    made_.push_back(request.GetMessage());
  }
  EXPECT_EQ(made_[0], made_[1]);
  EXPECT_EQ(made_[0]->RequestCount(), 4);
}

TEST_F(Signature, TellsMessagesApartByBothIds) {
  const unsigned ids[][2] = {{1, 1}, {0, 1}, {1, 0}, {0, 0}, {2, 1}};
  std::vector<HbMessage*> messages;
  for (const auto& [message, dialog] : ids) {
    HbRequest& request = Request();
    ASSERT_TRUE(Insert(request, Ids(1, message, dialog)));
    for (const HbMessage* other : messages) EXPECT_NE(request.GetMessage(), other);
    messages.push_back(request.GetMessage());
  }
  for (std::size_t i = 0; i < messages.size(); ++i) {
    HbRequest& request = Request();
    ASSERT_TRUE(Insert(request, FirstBlock(ids[i][0], ids[i][1], 2)));
    EXPECT_EQ(request.GetMessage(), messages[i]);
  }
}

TEST_F(Signature, TakesALastMessageWithoutRequestsAgain) {
  HbRequest& lost = Request();
  ASSERT_TRUE(Insert(lost, Ids(1, 0, 0)));
  HbMessage* const message = lost.GetMessage();
  { const std::unique_ptr<HbRequest> gone(&lost); }
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, Ids(1, 9, 9)));
  EXPECT_EQ(request.GetMessage(), message);
}

TEST_F(Signature, SkipsAMessageWithoutRequestsBeforeOthers) {
  HbRequest &lost = Request(), &last = Request(), &request = Request();
  ASSERT_TRUE(Insert(lost, Ids(1, 0, 0)));
  HbMessage* const message = lost.GetMessage();
  ASSERT_TRUE(Insert(last, Ids(1, 1, 0)));
  { const std::unique_ptr<HbRequest> gone(&lost); }
  ASSERT_TRUE(Insert(request, Ids(1, 0, 0)));
  EXPECT_NE(request.GetMessage(), message);
  EXPECT_NE(request.GetMessage(), last.GetMessage());
}

TEST_F(Signature, ForgetsPresignedMessagesWithoutDestroyingThem) {
  HbRequest &first = Request(), &second = Request();
  ASSERT_TRUE(Insert(first, Ids(1, 0, 0)));
  HbMessage* const message = first.GetMessage();
  job_.ClearPreSignedMessages();
  EXPECT_EQ(HbMessage::FindLive(message), message);
  ASSERT_TRUE(Insert(second, Ids(2, 0, 0)));
  EXPECT_NE(second.GetMessage(), message);
}

// They are the host's, who frees them.
TEST_F(Signature, LeavesPresignedMessagesWhenItsJobDies) {
  auto job = std::make_unique<HbJob>();
  ASSERT_TRUE(Insert(RequestIn(*job), FirstBlock(0, 0, 2)));
  ASSERT_TRUE(Insert(RequestIn(*job), Ids(1, 1, 0)));
  job.reset();
  ASSERT_EQ(made_.size(), 2u);
  ASSERT_EQ(HbMessage::FindLive(made_[0]), made_[0]);
  ASSERT_EQ(HbMessage::FindLive(made_[1]), made_[1]);
  EXPECT_EQ(RequestsOf(*made_[0]), (std::vector<HbRequest*>{nullptr, nullptr}));
  EXPECT_EQ(made_[0]->GetSignSize(HbRoleIssuer, HbSignDataPart0), 6);
}

TEST_F(Signature, ForgetsItsIdsWithABlockThatIsTooShort) {
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, Ids(1, 2, 3)));
  HbMessage* const message = request.GetMessage();
  EXPECT_EQ(request.GetDlgId(), 3);
  EXPECT_FALSE(Insert(request, Ids(1, 2, 3).substr(0, 5)));
  ExpectRefused();
  EXPECT_EQ(request.GetReqId(), HbRequest::kUnknown);
  EXPECT_EQ(request.GetMsgId(), HbRequest::kUnknown);
  EXPECT_EQ(request.GetDlgId(), HbRequest::kUnknown);
  EXPECT_EQ(request.GetMessage(), message);
}

TEST_F(Signature, ForgetsNoIdsWithoutAJob) {
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, Ids(1, 2, 3)));
  const std::unique_ptr<HbRequest> alone(&request);
  Unlink(job_, request);
  EXPECT_FALSE(Insert(request, Ids(4, 5, 6)));
  EXPECT_EQ(request.GetReqId(), 1);
  EXPECT_EQ(request.GetMsgId(), 2);
  EXPECT_EQ(request.GetDlgId(), 3);
}

// The former parent goes on listing it.
TEST_F(Signature, TakesARequestOutOfAnotherMessage) {
  HbRequest& request = Request();
  HbMessage former;
  former.AddRequest(request);
  ASSERT_TRUE(Insert(request, FirstBlock(4, 0, 1)));
  HbMessage* const presigned = request.GetMessage();
  ASSERT_NE(presigned, &former);
  EXPECT_EQ(RequestsOf(*presigned), std::vector<HbRequest*>{&request});
  EXPECT_EQ(RequestsOf(former), std::vector<HbRequest*>{&request});
  EXPECT_TRUE(presigned->IsSigned(HbRoleIssuer));
  EXPECT_FALSE(former.IsSigned(HbRoleIssuer));
}

// Then any parent will do.
TEST_F(Signature, GoesToTheMessageThatARequestHasWhenItsPlaceIsTaken) {
  ASSERT_TRUE(Insert(Request(), Ids(0, 4, 0) + Part("a") + Part("b") + Part("c")));
  HbMessage* const presigned = made_[0];
  HbRequest& late = Request();
  HbMessage own;
  own.AddRequest(late);
  EXPECT_TRUE(late.InsertSignature(error_, Bytes(FirstBlock(4, 0, 1)), FirstBlock(4, 0, 1).size(),
                                   HbRoleIssuer));
  EXPECT_EQ(late.GetMessage(), &own);
  EXPECT_EQ(own.GetSignSize(HbRoleIssuer, HbSignDataPart0), 6);
  EXPECT_EQ(presigned->GetSignSize(HbRoleIssuer, HbSignDataPart0), 1);
}

TEST_F(Signature, OutlivesAPresignedMessageThatDies) {
  HbRequest &first = Request(), &second = Request();
  ASSERT_TRUE(Insert(first, Ids(1, 0, 0)));
  FreePresigned();
  EXPECT_EQ(first.GetMessage(), nullptr);
  ASSERT_TRUE(Insert(second, Ids(1, 0, 0)));
  EXPECT_NE(second.GetMessage(), nullptr);
}

TEST_F(Signature, MovesIntoADialog) {
  HbRequest& request = Request();
  ASSERT_TRUE(Insert(request, FirstBlock(7, 7, 1)));
  HbDialog* const dialog = job_.AddToDialog(*request.GetMessage());
  EXPECT_EQ(dialog->GetMsg(0), request.GetMessage());
  // In a dialog the places count, not the stored ids.
  EXPECT_EQ(BlockOf(request), FirstBlock(0, 0, 1));
}

TEST_F(Signature, WritesNoMoreThanThereIsRoomForWhenIdsAndPlacesDisagree) {
  HbRequest &first = Request(), &second = Request();
  HbMessage message;
  message.AddRequest(first);
  message.AddRequest(second);
  Sign(message, HbRoleIssuer);
  // Stored as the first request elsewhere, the second one here.
  ASSERT_TRUE(Insert(second, FirstBlock(0, 0, 1)));
  message.AddRequest(second);
  made_.push_back(nullptr);
  unsigned char buffer[100];
  unsigned long length = second.GetSignSize(HbRoleIssuer);
  EXPECT_EQ(length, 6u);
  EXPECT_FALSE(second.GetSign(HbRoleIssuer, buffer, length));
  length = sizeof buffer;
  EXPECT_TRUE(second.GetSign(HbRoleIssuer, buffer, length));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), length), FirstBlock(0, 0, 3));
  // The first one here, without stored ids.
  EXPECT_EQ(BlockOf(first).substr(0, 6), Ids(0xFFFF, 0xFFFF, 0xFFFF));
  EXPECT_EQ(BlockOf(first).find_first_not_of('\0', 6), std::string::npos);
}

TEST_F(Signature, HoldsTheTanOfAUserWithPinAndTan) {
  HbUser user;
  user.SetMedia(SecurityMediaPinTan);
  const auto request = NewRequest();
  HbMessage message(1, &user, nullptr, nullptr);
  String tan = "old";
  EXPECT_FALSE(request->GetTANFromSignature(HbRoleIssuer, tan));
  EXPECT_EQ(tan, "");
  request->AddToMsg(message);
  EXPECT_FALSE(request->GetTANFromSignature(HbRoleIssuer, tan)) << "no part";
  Sign(message, HbRoleIssuer, "12345;987654;x");
  EXPECT_TRUE(request->GetTANFromSignature(HbRoleIssuer, tan));
  EXPECT_EQ(tan, "987654");
  Sign(message, HbRoleIssuer, "12345;");
  EXPECT_TRUE(request->GetTANFromSignature(HbRoleIssuer, tan));
  EXPECT_EQ(tan, "");
  Sign(message, HbRoleIssuer, "12345");
  tan = "old";
  EXPECT_FALSE(request->GetTANFromSignature(HbRoleIssuer, tan));
  EXPECT_EQ(tan, "");
  Sign(message, HbRoleIssuer, "1;2");
  EXPECT_FALSE(request->GetTANFromSignature(static_cast<HbRole>(2), tan));
  Sign(message, HbRoleCosigner, "1;2");
  EXPECT_FALSE(request->GetTANFromSignature(HbRoleCosigner, tan)) << "no user";
  user.SetMedia(SecurityMediaCard);
  EXPECT_FALSE(request->GetTANFromSignature(HbRoleIssuer, tan)) << "no PIN and TAN";
}

}  // namespace
