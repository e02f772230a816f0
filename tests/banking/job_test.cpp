#include "tmxtools/banking/job.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/banking/tree_objects.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/core/error.h"
#include "tmxtools/platform/clock.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

using namespace tmx::test;

// ---- dialogs ------------------------------------------------------------------------------------

HbMessage& NewMessageIn(HbDialog& dialog, unsigned short position = 0xFFFF) {
  auto message = std::make_unique<HbMessage>();
  EXPECT_TRUE(dialog.AddMsg(*message, position));
  return *message.release();
}

TEST(HbDialog, IsEmptyAtFirst) {
  HbJob job;
  HbDialog dialog(&job);
  EXPECT_EQ(dialog.GetParentJob(), &job);
  EXPECT_EQ(dialog.GetDialogId(), "0");
  EXPECT_EQ(dialog.MessageCount(), 0);
  EXPECT_EQ(dialog.GetCallbackItems()->Count(), 0);
  EXPECT_EQ(std::as_const(dialog).GetCallbackItems(), dialog.GetCallbackItems());
  EXPECT_EQ(dialog.GetSecurityVariables().Count(), 0u);
  EXPECT_EQ(&std::as_const(dialog).GetSecurityVariables(), &dialog.GetSecurityVariables());
  EXPECT_EQ(job.DialogCount(), 0);
  dialog.SetDialogId("D1");
  EXPECT_EQ(dialog.GetDialogId(), "D1");
}

TEST(HbDialog, PutsMessagesAtAPositionOrAtTheEnd) {
  HbDialog dialog(nullptr);
  HbMessage& a = NewMessageIn(dialog, 0xFFFF);
  HbMessage& b = NewMessageIn(dialog, 0);
  HbMessage& c = NewMessageIn(dialog, 1);
  HbMessage& d = NewMessageIn(dialog, 3);
  EXPECT_EQ(MessagesOf(dialog), (std::vector<HbMessage*>{&b, &c, &a, &d}));
  EXPECT_EQ(a.GetDialog(), &dialog);
  EXPECT_EQ(dialog.GetChildCount(), 4);
  EXPECT_EQ(dialog.GetChild(2), &a);
  EXPECT_EQ(ThrownText([&] { dialog.GetMsg(4); }), kBadSubscript);
}

TEST(HbDialog, HandsAMessageBack) {
  HbDialog dialog(nullptr), other(nullptr);
  const std::unique_ptr<HbMessage> a(&NewMessageIn(dialog));
  HbMessage& b = NewMessageIn(dialog);
  Unlink(other, *a);
  EXPECT_EQ(a->GetDialog(), &dialog);
  Unlink(dialog, *a);
  EXPECT_EQ(a->GetDialog(), nullptr);
  EXPECT_EQ(MessagesOf(dialog), (std::vector<HbMessage*>{&b}));
}

TEST(HbDialog, OwnsItsMessages) {
  auto dialog = std::make_unique<HbDialog>(nullptr);
  const void* const a = &NewMessageIn(*dialog);
  dialog->ClearMessages();
  EXPECT_EQ(HbMessage::FindLive(a), nullptr);
  EXPECT_EQ(dialog->MessageCount(), 0);
  const void* const b = &NewMessageIn(*dialog);
  EXPECT_EQ(HbDialog::FindLive(dialog.get()), dialog.get());
  dialog.reset();
  EXPECT_EQ(HbMessage::FindLive(b), nullptr);
}

TEST(HbDialog, ForgetsAMessageThatDiesAndOneThatIsListedTwiceDiesOnce) {
  HbDialog dialog(nullptr), other(nullptr);
  std::unique_ptr<HbMessage> a(&NewMessageIn(dialog));
  HbMessage& b = NewMessageIn(dialog);
  dialog.AddMsg(b, 0);
  other.AddMsg(b, 0);
  EXPECT_EQ(b.GetDialog(), &other);
  a.reset();
  EXPECT_EQ(MessagesOf(dialog), (std::vector<HbMessage*>{&b, &b}));
  dialog.ClearMessages();
  EXPECT_EQ(other.MessageCount(), 0);
}

TEST(HbDialog, TakesNoMoreThan65535Messages) {
  HbDialog dialog(nullptr);
  HbMessage& message = NewMessageIn(dialog);
  for (int i = 1; i < 65535; ++i) ASSERT_TRUE(dialog.AddMsg(message, 0xFFFF));
  HbMessage late;
  EXPECT_FALSE(dialog.AddMsg(late, 0));
  EXPECT_EQ(late.GetDialog(), nullptr);
  EXPECT_EQ(dialog.MessageCount(), 65535);
}

TEST(HbDialog, SurvivesItsJob) {
  auto job = std::make_unique<HbJob>();
  const HbDialog dialog(job.get());
  job.reset();
  EXPECT_EQ(dialog.GetParentJob(), nullptr);
}

// ---- requests of a job --------------------------------------------------------------------------

TEST(HbJob, OwnsItsRequests) {
  auto job = std::make_unique<HbJob>();
  EXPECT_FALSE(job->InsertRequest(nullptr));
  HbRequest& request = RequestIn(*job);
  const Watch watch(&request.GetValues());
  EXPECT_EQ(request.GetJob(), job.get());
  EXPECT_EQ(job->RequestCount(), 1);
  EXPECT_EQ(job->GetRequest(0), &request);
  EXPECT_EQ(ThrownText([&] { job->GetRequest(1); }), kBadSubscript);
  job.reset();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbJob, HandsRequestsBack) {
  HbJob job, other;
  const std::unique_ptr<HbRequest> a(&RequestIn(job)), b(&RequestIn(job)), c(&RequestIn(job));
  job.RemoveRequest(nullptr);
  job.RemoveRequest(b.get());
  EXPECT_EQ(b->GetJob(), nullptr);
  job.RemoveRequest(b.get());
  Unlink(other, *a);
  EXPECT_EQ(a->GetJob(), &job);
  Unlink(job, *a);
  EXPECT_EQ(a->GetJob(), nullptr);
  EXPECT_EQ(job.RequestCount(), 1);
  EXPECT_EQ(job.GetRequest(0), c.get());
  job.RemoveAllRequests();
  EXPECT_EQ(job.RequestCount(), 0);
}

TEST(HbJob, RequestsThatItHandedBackSurviveIt) {
  std::unique_ptr<HbRequest> request;
  {
    HbJob job;
    request.reset(&RequestIn(job));
    job.RemoveAllRequests();
  }
  EXPECT_EQ(request->GetJob(), nullptr);
}

TEST(HbJob, ClearsRequestsOnceThoughTheyAreListedTwice) {
  HbJob job, other;
  HbRequest& request = RequestIn(job);
  const Watch watch(&request.GetValues());
  job.InsertRequest(&request);
  RequestIn(job);
  other.InsertRequest(&request);
  job.ClearRequests();
  EXPECT_FALSE(watch.IsAlive());
  EXPECT_EQ(job.RequestCount(), 0);
  EXPECT_EQ(other.RequestCount(), 0);
}

TEST(HbJob, ForgetsARequestThatDies) {
  HbJob job;
  RequestIn(job);
  { const std::unique_ptr<HbRequest> gone(&RequestIn(job)); }
  RequestIn(job);
  EXPECT_EQ(job.RequestCount(), 2);
}

TEST(HbJob, TakesNoMoreThan65535Requests) {
  HbJob job;
  HbRequest& request = RequestIn(job);
  for (int i = 1; i < 65535; ++i) ASSERT_TRUE(job.InsertRequest(&request));
  HbRequest late("HKSAL", 5, 1);
  EXPECT_FALSE(job.InsertRequest(&late));
  EXPECT_EQ(late.GetJob(), nullptr);
}

TEST(HbJob, RequestsOutliveTheMessagesThatCarryThem) {
  HbJob job;
  HbRequest& request = RequestIn(job);
  auto message = std::make_unique<HbMessage>();
  request.AddToMsg(*message);
  job.AddToDialog(*message.release());
  EXPECT_EQ(request.GetDialogId(), 0);
  job.ClearDialogs();
  EXPECT_EQ(job.DialogCount(), 0);
  EXPECT_EQ(job.RequestCount(), 1);
  EXPECT_EQ(request.GetMessage(), nullptr);
}

// ---- the tree of a job --------------------------------------------------------------------------

class Tree : public testing::Test {
 protected:
  // A message of a sender with requests of the given names, not yet in a dialog.
  HbMessage& Message(const HbUser* sender, const std::vector<const char*>& names) {
    messages_.push_back(std::make_unique<HbMessage>(1, sender, nullptr, nullptr));
    for (const char* name : names) messages_.back()->AddRequest(RequestIn(job_, name));
    return *messages_.back();
  }
  // In which dialog the job puts such a message, by its index.
  std::string Added(const HbUser* sender, const std::vector<const char*>& names,
                    const HbDialog* after = nullptr) {
    HbMessage& message = Message(sender, names);
    const int before = job_.DialogCount();
    HbDialog* const dialog = job_.AddToDialog(message, after);
    messages_.back().release();
    const int new_dialogs = job_.DialogCount() - before;
    const auto dialogs = DialogsOf(job_);
    const auto at = std::find(dialogs.begin(), dialogs.end(), dialog) - dialogs.begin();
    const auto in = MessagesOf(*dialog);
    const auto place = std::find(in.begin(), in.end(), &message) - in.begin();
    EXPECT_EQ(message.GetDialog(), dialog);
    EXPECT_EQ(dialog->GetParentJob(), &job_);
    return (new_dialogs > 0 ? "new " : "old ") + std::to_string(at) + "/" + std::to_string(place);
  }

  HbUser a_, b_;
  HbJob job_;
  std::vector<std::unique_ptr<HbMessage>> messages_;
};

TEST_F(Tree, MessagesOfOneSenderShareADialog) {
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 0/0");
  EXPECT_EQ(Added(&a_, {"HKKAZ"}), "old 0/1");
  EXPECT_EQ(Added(&b_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSAL", "HKKAZ"}), "old 0/2");
  EXPECT_EQ(Added(&b_, {}), "old 1/1");
  EXPECT_EQ(Added(nullptr, {"HKSAL"}), "new 2/0");
  EXPECT_EQ(Added(nullptr, {"HKSAL"}), "old 2/1");
}

TEST_F(Tree, ASynchronisationAlwaysOpensADialogBehindTheFirstOfItsSender) {
  EXPECT_EQ(Added(&a_, {"HKSYN"}), "new 0/0");
  EXPECT_EQ(Added(&b_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSYN"}), "new 1/0");
  EXPECT_EQ(Added(&b_, {"HKSYN"}), "new 3/0");
}

TEST_F(Tree, EachNameOfDialogControlOpensADialog) {
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 0/0");
  for (const char* name :
       {"HKSYN", "HKSSP", "IKBVA", "IKBVB", "IKBVL", "IKBVN", "IKBVS", "IKSAK", "IKSPA", "INUPD"})
    EXPECT_EQ(Added(&a_, {name}), "new 1/0") << name;
  EXPECT_EQ(Added(&a_, {"HKSAK"}), "new 0/0");
  for (const char* name : {"hksyn", "HKSY", "HKSYNX", "HKEND"})
    EXPECT_EQ(Added(&a_, {name}).substr(0, 5), "old 1") << name;
}

TEST_F(Tree, AKeyChangeWithMoreRequestsGoesToTheFront) {
  EXPECT_EQ(Added(&a_, {"HKSYN"}), "new 0/0");
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSAK", "HKSAL"}), "old 1/0");
  // Now the dialog begins with dialog control, so nobody else joins it.
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 1/0");
}

TEST_F(Tree, ControlWithMoreRequestsJoinsADialogAtItsEnd) {
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 0/0");
  EXPECT_EQ(Added(&a_, {"HKSYN", "HKSAL"}), "old 0/1");
}

TEST_F(Tree, AKeyChangeOnItsOwnGoesBeforeTheFirstDialogOfItsSender) {
  EXPECT_EQ(Added(&b_, {"HKSAL"}), "new 0/0");
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSAK"}), "new 1/0");
}

TEST_F(Tree, ANewDialogGoesBehindAGivenOne) {
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 0/0");
  EXPECT_EQ(Added(&b_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSYN"}, job_.GetDialog(1)), "new 2/0");
  EXPECT_EQ(Added(&a_, {"HKSAK"}, job_.GetDialog(0)), "new 1/0");
  EXPECT_EQ(Added(&a_, {"HKSAL"}, job_.GetDialog(3)), "old 0/1");
}

TEST_F(Tree, ADialogOfAnotherJobIsNotFoundAndNothingIsLeft) {
  const HbDialog foreign(nullptr);
  HbMessage& message = Message(&a_, {"HKSAL"});
  EXPECT_EQ(ThrownText([&] { job_.AddToDialog(message, &foreign); }), kNotFound);
  EXPECT_EQ(job_.DialogCount(), 0);
  EXPECT_EQ(message.GetDialog(), nullptr);
}

TEST_F(Tree, DialogsWithoutMessagesOrRequestsAreSkipped) {
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 0/0");
  job_.GetDialog(0)->ClearMessages();
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 1/0");
  EXPECT_EQ(Added(&b_, {}), "new 2/0");
  EXPECT_EQ(Added(&b_, {"HKSAL"}), "new 3/0");
  // A place without a request is no first request either.
  { const std::unique_ptr<HbRequest> gone((*job_.GetDialog(1)->GetMsg(0))[0]); }
  EXPECT_EQ(Added(&a_, {"HKSAL"}), "new 2/0");
}

TEST_F(Tree, KeepsTheMessageTheCallersWhenMemoryEnds) {
  HbMessage& message = Message(&a_, {"HKSAL"});
  for (std::size_t allowed = 0;; ++allowed) {
    HbDialog* dialog = nullptr;
    {
      const FailingMemory memory(allowed);
      dialog = job_.AddToDialog(message);
    }
    if (dialog != nullptr) break;
    EXPECT_EQ(job_.DialogCount(), 0);
    EXPECT_EQ(message.GetDialog(), nullptr);
    ASSERT_LT(allowed, 100u);
  }
  messages_.back().release();
  EXPECT_EQ(job_.DialogCount(), 1);
}

TEST_F(Tree, IsWalkedByIndexesThatAreChecked) {
  Added(&a_, {"HKSAL", "HKKAZ"});
  Added(&a_, {"HKSPA"});
  EXPECT_EQ(job_.GetChildCount(), 1);
  EXPECT_EQ(job_.GetChild(0), job_.GetDialog(0));
  EXPECT_EQ(ThrownText([&] { job_.GetDialog(1); }), kBadSubscript);
  EXPECT_EQ(job_.MessageCount(0), 2);
  EXPECT_EQ(job_.MessageCount(1), 0);
  EXPECT_EQ(job_.RequestCountExt(0, 0), 2);
  EXPECT_EQ(job_.RequestCountExt(0, 2), 0);
  EXPECT_EQ(job_.RequestCountExt(1, 0), 0);
  EXPECT_EQ(job_.GetRequestExt(0, 1, 0)->GetRequestName(), "HKSPA");
  EXPECT_EQ(job_.GetRequestExt(0, 2, 0), nullptr);
  EXPECT_EQ(job_.GetRequestExt(1, 0, 0), nullptr);
  EXPECT_EQ(ThrownText([&] { job_.GetRequestExt(0, 0, 2); }), kBadSubscript);
}

TEST_F(Tree, SkippingAJobChangesNothing) {
  Added(&a_, {"HKSAL"});
  job_.Skip();
  EXPECT_EQ(job_.GetStatus(), HbStatusOpen);
  EXPECT_EQ(job_.GetDialog(0)->GetStatus(), HbStatusOpen);
  EXPECT_EQ(job_.GetRequest(0)->GetStatus(), HbStatusOpen);
  job_.GetDialog(0)->Skip();
  EXPECT_EQ(job_.GetDialog(0)->GetMsg(0)->GetStatus(), HbStatusSkipped);
  EXPECT_EQ(job_.GetRequest(0)->GetStatus(), HbStatusSkipped);
}

TEST_F(Tree, CancellingAJobCancelsAllBelowIt) {
  Added(&a_, {"HKSAL"});
  RequestIn(job_);
  job_.GetDialog(0)->SetStatus(HbStatusSuccess);
  job_.Cancel();
  EXPECT_EQ(job_.GetStatus(), HbStatusCancelled);
  EXPECT_EQ(job_.GetDialog(0)->GetStatus(), HbStatusSuccess);
  EXPECT_EQ(job_.GetDialog(0)->GetMsg(0)->GetStatus(), HbStatusCancelled);
  EXPECT_EQ(job_.GetRequest(0)->GetStatus(), HbStatusCancelled);
  EXPECT_EQ(job_.GetRequest(1)->GetStatus(), HbStatusOpen) << "not in a dialog";
}

TEST_F(Tree, ResetReopensAllBelowAndDropsResponses) {
  Added(&a_, {"HKSAL"});
  job_.GetRequest(0)->InsertResponse(MakeSegment().Get());
  job_.InsertErrorResponse(9, HbStatusError, "", "");
  job_.Reset();
  EXPECT_EQ(job_.GetStatus(), HbStatusOpen);
  EXPECT_EQ(job_.ResponseCount(), 0);
  EXPECT_EQ(job_.GetRequest(0)->GetStatus(), HbStatusOpen);
  EXPECT_EQ(job_.GetRequest(0)->ResponseCount(), 0);
}

TEST_F(Tree, RecursiveCountsAreAlways0) {
  Added(&a_, {"HKSAL", "HKKAZ"});
  EXPECT_EQ(job_.GetChildCountRecursiveTotal(), 0);
  EXPECT_EQ(job_.GetChildCountRecursiveSuccessful(), 0);
  job_.SetStatus(HbStatusSuccess);
  job_.GetDialog(0)->SetStatus(HbStatusWarning);
  job_.GetDialog(0)->GetMsg(0)->SetStatus(HbStatusSuccess);
  job_.GetRequest(0)->SetSuccess();
  EXPECT_EQ(job_.GetChildCountRecursiveSuccessful(), 0);
}

TEST_F(Tree, HandsADialogBack) {
  Added(&a_, {"HKSAL"});
  Added(&b_, {"HKSAL"});
  HbJob other;
  const std::unique_ptr<HbDialog> dialog(job_.GetDialog(0));
  Unlink(other, *dialog);
  EXPECT_EQ(dialog->GetParentJob(), &job_);
  Unlink(job_, *dialog);
  EXPECT_EQ(dialog->GetParentJob(), nullptr);
  EXPECT_EQ(job_.DialogCount(), 1);
}

TEST_F(Tree, ForgetsADialogThatDies) {
  Added(&a_, {"HKSAL"});
  Added(&b_, {"HKSAL"});
  { const std::unique_ptr<HbDialog> gone(job_.GetDialog(0)); }
  ASSERT_EQ(job_.DialogCount(), 1);
  EXPECT_EQ(job_.GetDialog(0)->GetMsg(0)->GetSendingUser(), &b_);
}

// ---- the log ------------------------------------------------------------------------------------

class JobLog : public testing::Test {
 protected:
  tmx::MemoryEnv memory_;
  tmx::ScopedEnv scope_{memory_};
  tmx::FixedClock clock_{20261121, 8153012};
  tmx::ScopedClock clock_scope_{clock_};
  HbJob job_;
};

TEST_F(JobLog, IsNoneAtFirst) {
  EXPECT_EQ(job_.GetProtocol(), nullptr);
  EXPECT_EQ(job_.GetProtocolName(), "");
  EXPECT_EQ(job_.GetProtocolFileName(), "");
  job_.SetProtocolPathAndKey("", "key");
  EXPECT_EQ(job_.GetProtocol(), nullptr);
  EXPECT_EQ(job_.ResponseCount(), 0);
}

TEST_F(JobLog, IsOpenedWhenItIsAskedForAndReadBack) {
  job_.SetProtocolPathAndKey("logs", "geheim");
  EXPECT_EQ(job_.GetProtocolName(), "logs");
  EXPECT_EQ(job_.GetProtocolFileName(), "");
  HbProtocolFile* const log = job_.GetProtocol();
  ASSERT_NE(log, nullptr);
  EXPECT_EQ(job_.GetProtocol(), log);
  EXPECT_EQ(job_.GetProtocolFileName(), "logs/61121000.pro");
  SvMemoryStream sent;
  sent.Write("HNHBK:1:3+1'", 12);
  HbError error;
  EXPECT_TRUE(log->WriteMessage(sent, true, error));
  job_.CloseProtocol();
  EXPECT_EQ(job_.GetProtocol(), nullptr);

  HbProtocolFile reader;
  ASSERT_TRUE(reader.Open(job_.GetProtocolFileName(), 1, "geheim", error));
  EXPECT_EQ(reader.Count(), 1);
  EXPECT_NE(reader.GetScreen().Find("HNHBK"), String::NotFound);
  job_.SetProtocolPathAndKey("logs", "geheim");
  ASSERT_NE(job_.GetProtocol(), nullptr);
  EXPECT_EQ(job_.GetProtocolFileName(), "logs/61121001.pro");
}

TEST_F(JobLog, TriesOnlyOnceAndRecordsOneError) {
  memory_.Put("/home/file", "");
  job_.SetProtocolPathAndKey("file", "key");
  EXPECT_EQ(job_.GetProtocol(), nullptr);
  EXPECT_EQ(job_.GetProtocol(), nullptr);
  EXPECT_EQ(job_.ResponseCount(), 1);
  EXPECT_EQ(job_.GetResponse(0)->GetSegmentKennung(), "INERR");
  EXPECT_EQ(job_.GetStatus(), HbStatusError);
  EXPECT_EQ(job_.GetProtocolFileName(), "");
  HbError error;
  EXPECT_FALSE(job_.OpenNewProtocol(error));
  EXPECT_TRUE(error.IsSet());
}

// A job that hears of its errors.
class ListeningJob : public HbJob {
 public:
  using HbJob::InsertErrorResponse;
  void InsertErrorResponse(const HbError& error) override { heard.push_back(error.GetCode()); }

  std::vector<unsigned short> heard;
};

TEST_F(JobLog, ADerivedJobHearsOfTheError) {
  memory_.Put("/home/file", "");
  ListeningJob job;
  HbError error;
  job.SetProtocolPathAndKey("file", "key");
  EXPECT_FALSE(job.OpenNewProtocol(error));
  EXPECT_TRUE(job.heard.empty());
  EXPECT_EQ(job.GetProtocol(), nullptr);
  EXPECT_EQ(job.heard, std::vector<unsigned short>{error.GetCode()});
  EXPECT_EQ(job.ResponseCount(), 0);
  EXPECT_EQ(job.GetStatus(), HbStatusOpen);
}

TEST_F(JobLog, ANewOneReplacesTheOldOne) {
  job_.SetProtocolPathAndKey("logs", "");
  ASSERT_NE(job_.GetProtocol(), nullptr);
  HbError error(17740);
  EXPECT_TRUE(job_.OpenNewProtocol(error));
  EXPECT_FALSE(error.IsSet());
  EXPECT_EQ(job_.GetProtocolFileName(), "logs/61121001.pro");
}

TEST_F(JobLog, SaysSoWhenMemoryEnds) {
  job_.SetProtocolPathAndKey("logs", "");
  HbError error;
  bool opened = true;
  {
    const FailingMemory memory(0, 1);
    opened = job_.OpenNewProtocol(error);
  }
  EXPECT_FALSE(opened);
  EXPECT_EQ(error.GetCode(), 17748);
  EXPECT_EQ(job_.GetProtocolFileName(), "");
  EXPECT_TRUE(job_.OpenNewProtocol(error));
  EXPECT_FALSE(error.IsSet());
}

// Not even for an error is there memory.
TEST_F(JobLog, WhereverMemoryEndsForGoodThereIsALogOrNone) {
  for (std::size_t allowed = 0;; ++allowed) {
    HbJob job;
    job.SetProtocolPathAndKey("logs", "");
    HbError error;
    bool opened = false;
    {
      const FailingMemory memory(allowed);
      opened = job.OpenNewProtocol(error);
    }
    EXPECT_EQ(job.GetProtocolFileName() != "", opened) << allowed;
    job.SetProtocolPathAndKey("", "");
    EXPECT_EQ(job.GetProtocol() != nullptr, opened) << allowed;
    if (opened) break;
    ASSERT_LT(allowed, 1000U);
  }
}

}  // namespace
