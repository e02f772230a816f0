#include "tmxtools/platform/link.h"

#include <memory>
#include <thread>
#include <vector>

#include "tests/support/print.h"
#include "tmxtools/platform/caller_thread.h"
#include "tmxtools/platform/mutex.h"
#include "tmxtools/platform/point.h"

namespace {

long AddTo(void* object, void* data) {
  return *static_cast<int*>(object) += *static_cast<int*>(data);
}

TEST(Link, CallsItsFunctionWithObjectAndData) {
  int sum = 1;
  int more = 2;
  const Link link(&sum, AddTo);
  EXPECT_TRUE(link.IsSet());
  EXPECT_EQ(link.Call(&more), 3);
  EXPECT_EQ(sum, 3);
}

TEST(Link, DoesNothingWhenItIsNotSet) {
  EXPECT_FALSE(Link().IsSet());
  EXPECT_EQ(Link().Call(nullptr), 0);
  EXPECT_FALSE(Link(nullptr, nullptr).IsSet());
  EXPECT_FALSE(Link(std::function<long(void*)>()).IsSet());
  EXPECT_EQ(Link(std::function<long(void*)>()).Call(nullptr), 0);
}

TEST(Link, OwnsACallableTogetherWithItsCopies) {
  const auto counter = std::make_shared<int>(0);
  {
    Link link([counter](void*) { return long{++*counter}; });
    const Link copy = link;
    link = Link();
    EXPECT_EQ(copy.Call(nullptr), 1);
    EXPECT_EQ(counter.use_count(), 2);
  }
  EXPECT_EQ(counter.use_count(), 1);
}

TEST(Link, MayBeReplacedByWhatItCalls) {
  Link link;
  const auto witness = std::make_shared<int>(7);
  link = Link([&link, witness](void*) {
    link = Link();
    return long{*witness};
  });
  EXPECT_EQ(link.Call(nullptr), 7);
  EXPECT_FALSE(link.IsSet());
}

TEST(Link, IsEqualForTheSameObjectAndFunction) {
  int one = 0;
  int two = 0;
  EXPECT_EQ(Link(&one, AddTo), Link(&one, AddTo));
  EXPECT_NE(Link(&one, AddTo), Link(&two, AddTo));
  EXPECT_NE(Link(&one, AddTo), Link());
}

TEST(CallerThread, CallsInOrderOnAnotherThread) {
  std::vector<long> calls;
  std::thread::id thread;
  {
    tmx::LinkCallerThread caller;
    const Link link([&](void* data) {
      calls.push_back(*static_cast<long*>(data));
      thread = std::this_thread::get_id();
      return 0L;
    });
    static long numbers[] = {1, 2, 3};
    for (long& number : numbers) caller.QueueLink(link, &number);
  }
  EXPECT_EQ(calls, (std::vector<long>{1, 2, 3}));
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(CallerThread, CallsWhatALinkQueuedBeforeItEnds) {
  int calls = 0;
  {
    const Link second([&](void*) { return long{++calls}; });
    tmx::LinkCallerThread caller;
    caller.QueueLink(Link([&](void*) {
                       caller.QueueLink(second, nullptr);
                       return long{++calls};
                     }),
                     nullptr);
  }
  EXPECT_EQ(calls, 2);
}

TEST(CallerThread, TakesLinksFromManyThreads) {
  int calls = 0;
  {
    tmx::LinkCallerThread caller;
    const Link link([&](void*) { return long{++calls}; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < 100; ++round) caller.QueueLink(link, nullptr);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(calls, 400);
}

TEST(Mutex, MayBeTakenAgainByItsHolderAndByNobodyElse) {
  vos::OMutex mutex;
  const auto is_free = [&] {
    bool taken = false;
    std::thread([&] {
      taken = mutex.tryToAcquire();
      if (taken) mutex.release();
    }).join();
    return taken;
  };
  EXPECT_TRUE(is_free());
  {
    const vos::OGuard outer(mutex);
    { const vos::OGuard inner(mutex); }
    EXPECT_FALSE(is_free());
  }
  EXPECT_TRUE(is_free());
}

TEST(Point, HoldsColumnAndRow) {
  EXPECT_EQ(Point(), Point(0, 0));
  EXPECT_EQ(Point(3, -4).X(), 3);
  EXPECT_EQ(Point(3, -4).Y(), -4);
  EXPECT_NE(Point(1, 2), Point(2, 1));
}

}  // namespace
