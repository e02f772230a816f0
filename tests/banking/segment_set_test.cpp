#include "tmxtools/banking/segment_set.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <utility>

#include "tests/banking/watch.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"

namespace {

using Set = HbSegmentSet4HbciVersion;
using Sets = HbSegmentSet4HbciVersionArray;

TEST(HbSegmentSet4HbciVersion, HoldsSegmentsOfOneVersion) {
  const SegmentRef a = MakeSegment("HIUPA"), b = MakeSegment("HIUPD");
  Set set(300);
  EXPECT_EQ(set.GetHbciVersion(), 300);
  EXPECT_EQ(set.SegmentCount(), 0);
  EXPECT_TRUE(set.InsertSegment(a.Get()));
  EXPECT_TRUE(set.InsertSegment(b.Get()));
  EXPECT_FALSE(set.InsertSegment(nullptr));
  EXPECT_EQ(set.SegmentCount(), 2);
  EXPECT_EQ(set.GetSegment(0), a.Get());
  EXPECT_EQ(std::as_const(set).GetSegment(1), b.Get());
  set.RemoveSegment(0, 1);
  EXPECT_EQ(set.SegmentCount(), 1);
  EXPECT_EQ(set.GetSegment(0), b.Get());
}

TEST(HbSegmentSet4HbciVersion, ThrowsAtIndexesBehindTheLast) {
  Set set(220);
  EXPECT_EQ(ThrownText([&] { set.GetSegment(0); }), kBadSubscript);
  EXPECT_EQ(ThrownText([&] { std::as_const(set).GetSegment(65535); }), kBadSubscript);
}

TEST(HbSegmentSet4HbciVersion, DisposesItsSegmentsWhenItIsClearedOrDestroyed) {
  SegmentRef cleared = MakeSegment(), kept = MakeSegment();
  const Watch watch_cleared(cleared.Get()), watch_kept(kept.Get());
  {
    Set set(220);
    set.InsertSegment(cleared.Get());
    cleared = SegmentRef();
    EXPECT_TRUE(watch_cleared.IsAlive());
    set.ClearSet();
    EXPECT_FALSE(watch_cleared.IsAlive());
    EXPECT_EQ(set.SegmentCount(), 0);
    set.InsertSegment(kept.Get());
    kept = SegmentRef();
    EXPECT_TRUE(watch_kept.IsAlive());
  }
  EXPECT_FALSE(watch_kept.IsAlive());
}

TEST(HbSegmentSet4HbciVersionArray, HoldsSetsInTheOrderOfInsertion) {
  Sets sets;
  EXPECT_EQ(sets.SegmentSetCount(), 0);
  auto* const later = new Set(300);
  auto* const earlier = new Set(220);
  EXPECT_TRUE(sets.InsertSegmentSet(later));
  EXPECT_TRUE(sets.InsertSegmentSet(earlier));
  EXPECT_FALSE(sets.InsertSegmentSet(nullptr));
  EXPECT_EQ(sets.SegmentSetCount(), 2);
  EXPECT_EQ(sets.GetSegmentSet(0), later);
  EXPECT_EQ(std::as_const(sets).GetSegmentSet(1), earlier);
  EXPECT_EQ(ThrownText([&] { sets.GetSegmentSet(2); }), kBadSubscript);
  EXPECT_EQ(ThrownText([&] { std::as_const(sets).GetSegmentSet(2); }), kBadSubscript);
}

TEST(HbSegmentSet4HbciVersionArray, FindsTheEarlierOfTwoSetsOfAVersion) {
  Sets sets;
  EXPECT_EQ(sets.GetSegmentSet4Version(300), nullptr);
  sets.InsertSegmentSet(new Set(220));
  sets.InsertSegmentSet(new Set(300));
  sets.InsertSegmentSet(new Set(300));
  EXPECT_EQ(sets.GetSegmentSet4Version(300), sets.GetSegmentSet(1));
  EXPECT_EQ(sets.GetSegmentSet4Version(220), sets.GetSegmentSet(0));
  EXPECT_EQ(sets.GetSegmentSet4Version(210), nullptr);
}

TEST(HbSegmentSet4HbciVersionArray, HandsRemovedSetsBackUndeleted) {
  SegmentRef segment = MakeSegment();
  const Watch watch(segment.Get());
  Sets sets;
  for (const unsigned short version : std::initializer_list<unsigned short>{201, 210, 220, 300}) {
    sets.InsertSegmentSet(new Set(version));
  }
  sets.GetSegmentSet(1)->InsertSegment(segment.Get());
  segment = SegmentRef();

  const std::unique_ptr<Set> second(sets.RemoveSegmentSet(static_cast<unsigned short>(1)));
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->GetHbciVersion(), 210);
  EXPECT_TRUE(watch.IsAlive());
  EXPECT_EQ(sets.GetSegmentSet(1)->GetHbciVersion(), 220);

  const std::unique_ptr<Set> first(sets.RemoveSegmentSet(0));  // the number, no pointer
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->GetHbciVersion(), 201);

  const std::unique_ptr<Set> last(sets.RemoveSegmentSet(sets.GetSegmentSet(1)));
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(last->GetHbciVersion(), 300);
  EXPECT_EQ(sets.SegmentSetCount(), 1);
}

TEST(HbSegmentSet4HbciVersionArray, IgnoresTheRemovalOfWhatItHasNot) {
  Set stranger(220);
  Sets sets;
  EXPECT_EQ(sets.RemoveSegmentSet(0), nullptr);
  sets.InsertSegmentSet(new Set(220));
  EXPECT_EQ(sets.RemoveSegmentSet(sets.SegmentSetCount()), nullptr);  // the count itself
  EXPECT_EQ(sets.RemoveSegmentSet(-1), nullptr);
  EXPECT_EQ(sets.RemoveSegmentSet(std::size_t{65536}), nullptr);
  EXPECT_EQ(sets.RemoveSegmentSet(&stranger), nullptr);
  EXPECT_EQ(sets.RemoveSegmentSet(nullptr), nullptr);
  EXPECT_EQ(sets.SegmentSetCount(), 1);
}

TEST(HbSegmentSet4HbciVersionArray, DeletesItsSetsWhenItIsClearedOrDestroyed) {
  SegmentRef cleared = MakeSegment(), kept = MakeSegment();
  const Watch watch_cleared(cleared.Get()), watch_kept(kept.Get());
  {
    Sets sets;
    sets.InsertSegmentSet(new Set(220));
    sets.GetSegmentSet(0)->InsertSegment(cleared.Get());
    cleared = SegmentRef();
    sets.Clear();
    EXPECT_EQ(sets.SegmentSetCount(), 0);
    EXPECT_FALSE(watch_cleared.IsAlive());
    sets.InsertSegmentSet(new Set(300));
    sets.GetSegmentSet(0)->InsertSegment(kept.Get());
    kept = SegmentRef();
    EXPECT_TRUE(watch_kept.IsAlive());
  }
  EXPECT_FALSE(watch_kept.IsAlive());
}

TEST(HbSegmentSet4HbciVersionArray, RefusesMoreThan65535Sets) {
  Sets sets;
  for (int i = 0; i < 65535; ++i) {
    auto set = std::make_unique<Set>(static_cast<unsigned short>(i));
    ASSERT_TRUE(sets.InsertSegmentSet(set.get()));
    static_cast<void>(set.release());
  }
  Set one_more(65535);
  EXPECT_FALSE(sets.InsertSegmentSet(&one_more));
  EXPECT_EQ(sets.SegmentSetCount(), 65535);
}

TEST(HbSegmentSet4HbciVersionArray, TakesNothingWhenMemoryEnds) {
  Sets sets;
  Set set(300);
  {
    const FailingMemory failing(0);
    EXPECT_FALSE(sets.InsertSegmentSet(&set));
  }
  EXPECT_EQ(sets.SegmentSetCount(), 0);
}

}  // namespace
