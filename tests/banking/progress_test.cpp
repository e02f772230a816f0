#include "tmxtools/banking/progress.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/banking/tree_objects.h"
#include "tests/support/print.h"
#include "tmxtools/platform/caller_thread.h"

namespace {

// Keeps what the host would have shown.
struct Shown {
  static long Show(void* object, void* data) {
    const auto& record = *static_cast<HbProgressInfoRecord*>(data);
    auto& shown = *static_cast<Shown*>(object);
    shown.texts.emplace_back(record.GetInfoText().View());
    shown.percents.push_back(record.GetPercentDone());
    shown.states.push_back(record.GetState());
    shown.actions.push_back(record.GetAction());
    return 0;
  }
  Link link() { return Link(this, Show); }

  std::vector<std::string> texts;
  std::vector<short> percents;
  std::vector<long> states;
  std::vector<long> actions;
};

using Texts = std::vector<std::string>;

TEST(HbProgressInfoRecord, IsEmptyAtFirst) {
  const HbProgressInfoRecord record;
  EXPECT_EQ(record.GetState(), 0);
  EXPECT_EQ(record.GetAction(), 0);
  EXPECT_EQ(record.GetPercentDone(), 0);
  EXPECT_EQ(record.GetPercentDonePerStep(), 0);
  EXPECT_EQ(record.GetInfoText(), "");
  EXPECT_EQ(record.GetCurrentRequest(), nullptr);
  EXPECT_FALSE(record.GetStatusLink().IsSet());
}

TEST(HbProgressInfoRecord, ReachesTheEndInFourStepsAndStaysThere) {
  HbProgressInfoRecord record;
  record.SetPercentDonePerStep(2500);
  for (const int expected : {2500, 5000, 7500, 10000, 10000}) {
    record.StepDone(false);
    EXPECT_EQ(record.GetPercentDone(), expected);
  }
}

TEST(HbProgressInfoRecord, StepsBackNoFurtherThanTheNumberGoes) {
  HbProgressInfoRecord record;
  record.SetPercentDone(-32000, false);
  record.SetPercentDonePerStep(-2000);
  record.StepDone(false);
  EXPECT_EQ(record.GetPercentDone(), -32768);
}

TEST(HbProgressInfoRecord, DoesNotCallForAStepWithoutAPercentage) {
  HbProgressInfoRecord record;
  Shown shown;
  record.SetStatusLink(shown.link());
  record.StepDone(true);
  EXPECT_TRUE(shown.texts.empty());
  record.SetPercentDonePerStep(1);
  record.StepDone(true);
  EXPECT_EQ(shown.percents, (std::vector<short>{1}));
}

TEST(HbProgressInfoRecord, CallsOnlyWhenItIsToTrigger) {
  HbProgressInfoRecord record;
  Shown shown;
  record.SetStatusLink(shown.link());
  EXPECT_EQ(record.GetStatusLink(), shown.link());
  record.SetState(1, false);
  record.SetAction(2, false);
  record.SetPercentDone(3, false);
  record.SetInfoText("still", false);
  EXPECT_TRUE(shown.texts.empty());
  record.SetState(4, true);
  record.SetAction(5, true);
  record.SetPercentDone(6, true);
  record.SetInfoText("now", true);
  EXPECT_EQ(shown.texts, (Texts{"still", "", "", "now"}));
  EXPECT_EQ(shown.states, (std::vector<long>{4, 4, 4, 4}));
  EXPECT_EQ(shown.actions, (std::vector<long>{2, 5, 5, 5}));
  EXPECT_EQ(shown.percents, (std::vector<short>{3, 3, 6, 6}));
}

TEST(HbProgressInfoRecord, ShowsAnInfoTextOnceAndKeepsItWithoutALink) {
  HbProgressInfoRecord record;
  record.SetInfoText("sending", true);
  EXPECT_EQ(record.GetInfoText(), "sending");
  Shown shown;
  record.SetStatusLink(shown.link());
  record.SetInfoText("waiting", true);
  EXPECT_EQ(record.GetInfoText(), "");
  record.TriggerLink();
  EXPECT_EQ(shown.texts, (Texts{"waiting", ""}));
}

TEST(HbProgressInfoRecord, SetsStateAndActionAtOnceWithoutAText) {
  HbProgressInfoRecord record;
  record.SetInfoText("old", false);
  record.SetProgState(1, 2);
  EXPECT_EQ(record.GetInfoText(), "");
  Shown shown;
  record.SetStatusLink(shown.link());
  record.SetInfoText("old", false);
  record.SetProgState(7, 8, 5000);
  EXPECT_EQ(shown.texts, (Texts{""}));
  EXPECT_EQ(shown.states, (std::vector<long>{7}));
  EXPECT_EQ(shown.actions, (std::vector<long>{8}));
  EXPECT_EQ(shown.percents, (std::vector<short>{5000}));
}

TEST(HbProgressInfoRecord, ForgetsARequestThatDies) {
  HbProgressInfoRecord record;
  auto request = tmx::test::NewRequest();
  record.SetCurrentRequest(request.get());
  EXPECT_EQ(record.GetCurrentRequest(), request.get());
  request.reset();
  EXPECT_EQ(record.GetCurrentRequest(), nullptr);
}

TEST(HbProgressInfoRecord, MayBeChangedByItsLink) {
  HbProgressInfoRecord record;
  int calls = 0;
  record.SetStatusLink(Link([&](void*) {
    if (++calls < 3) record.SetState(calls, true);
    record.SetStatusLink(Link());
    return 0L;
  }));
  record.SetInfoText("text", true);
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(record.GetState(), 2);
  EXPECT_EQ(record.GetInfoText(), "");
}

TEST(HbProgressInfoRecord, MayBeDestroyedByItsLink) {
  auto record = std::make_unique<HbProgressInfoRecord>();
  HbProgressInfoRecord& raw = *record;
  int calls = 0;
  raw.SetStatusLink(Link([&](void*) {
    if (++calls == 1) {
      raw.SetState(1, true);
    } else {
      record.reset();
    }
    return 0L;
  }));
  raw.SetInfoText("the last", true);
  EXPECT_EQ(record, nullptr);
  EXPECT_EQ(calls, 2);
}

TEST(HbProgressInfoRecord, OutlivesAnExceptionOfItsLink) {
  HbProgressInfoRecord record;
  record.SetStatusLink(Link([](void*) -> long { throw std::runtime_error("host"); }));
  EXPECT_THROW(record.SetInfoText("kept", true), std::runtime_error);
  EXPECT_EQ(record.GetInfoText(), "kept");
}

TEST(HbTools, QueuesALinkForAThreadOfItsOwn) {
  std::thread::id called_on;
  int value = 0;
  {
    tmx::LinkCallerThread thread;
    const Link link([&](void* data) {
      called_on = std::this_thread::get_id();
      *static_cast<int*>(data) = 5;
      return 0L;
    });
    HbTools::QueueLink(link, &value, &thread);
  }
  EXPECT_EQ(value, 5);
  EXPECT_NE(called_on, std::thread::id());
  EXPECT_NE(called_on, std::this_thread::get_id());
}

TEST(HbTools, DoesNotCallALinkWithoutAThread) {
  int calls = 0;
  HbTools::QueueLink(Link([&](void*) { return long{++calls}; }), nullptr, nullptr);
  EXPECT_EQ(calls, 0);
}

TEST(HbTools, QueuesForTheThreadOfAJob) {
  HbJob job;
  EXPECT_EQ(job.GetJobThread(), nullptr);
  int calls = 0;
  {
    tmx::LinkCallerThread thread;
    job.SetJobThread(&thread);
    for (int i = 0; i < 3; ++i) {
      HbTools::QueueLink(Link([&](void*) { return long{++calls}; }), nullptr, job.GetJobThread());
    }
  }
  EXPECT_EQ(calls, 3);
}

}  // namespace
