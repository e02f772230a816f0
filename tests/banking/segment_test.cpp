#include "tmxtools/banking/segment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "tests/banking/watch.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/banking/field_ids.h"

namespace {

// An array that is emptied before it is destroyed, as its owner must.
class Array : public HbSegmentArray {
 public:
  ~Array() { Remove(0, Count()); }
  std::vector<HbSegment*> Segments() const {
    std::vector<HbSegment*> segments;
    for (unsigned short i = 0; i < Count(); ++i) segments.push_back(GetObject(i));
    return segments;
  }
};

TEST(HbSegment, HasNoKennungAndNoVersionAtFirst) {
  const SegmentRef segment = tmx::MakeRef<HbSegment>();
  EXPECT_EQ(segment->GetSegmentKennung(), "");
  EXPECT_EQ(segment->GetSegmentVersion(), 0);
  EXPECT_EQ(segment->Count(), 0u);
  EXPECT_EQ(segment->GetPrev(), nullptr);
}

TEST(HbSegment, KeepsKennungAndVersionAsFields) {
  const SegmentRef segment = tmx::MakeRef<HbSegment>("HIUPD", static_cast<unsigned short>(6));
  EXPECT_EQ(segment->GetSegmentKennung(), "HIUPD");
  EXPECT_EQ(segment->GetSegmentVersion(), 6);
  String kennung;
  short version = 0;
  EXPECT_TRUE(segment->GetFieldString(kennung, 1000));
  EXPECT_TRUE(segment->GetFieldInt16(version, 1020));
  EXPECT_EQ(kennung, "HIUPD");
  EXPECT_EQ(version, 6);
  EXPECT_EQ(segment->Count(), 2u);

  segment->SetSegmentKennung("HIUPA");
  segment->SetSegmentVersion(65535);
  EXPECT_EQ(segment->GetSegmentKennung(), "HIUPA");
  EXPECT_EQ(segment->GetSegmentVersion(), 65535);
  EXPECT_EQ(segment->Count(), 2u);
}

TEST(HbSegment, ReadsKennungAndVersionThatWerePutAsFields) {
  const SegmentRef segment = tmx::MakeRef<HbSegment>();
  EXPECT_TRUE(segment->PutFieldString("HIKIM", tmx::kSegmentKennungField));
  EXPECT_TRUE(segment->PutFieldInt16(2, tmx::kSegmentVersionField));
  EXPECT_EQ(segment->GetSegmentKennung(), "HIKIM");
  EXPECT_EQ(segment->GetSegmentVersion(), 2);
}

TEST(HbSegment, HasNoKennungOrVersionOfAnotherType) {
  const SegmentRef segment = tmx::MakeRef<HbSegment>();
  segment->PutFieldInt32(1, tmx::kSegmentKennungField);
  segment->PutFieldInt32(2, tmx::kSegmentVersionField);
  segment->SetSegmentKennung("HIUPD");
  segment->SetSegmentVersion(6);
  EXPECT_EQ(segment->GetSegmentKennung(), "");
  EXPECT_EQ(segment->GetSegmentVersion(), 0);
}

TEST(HbSegment, KeepsClientDataOnceForSegmentAndRegistry) {
  int host = 0, other = 0;
  const SegmentRef segment = tmx::MakeRef<HbSegment>(&host, &other);
  HbVariables& registry = *segment;
  EXPECT_EQ(segment->GetClientData(), &host);
  EXPECT_EQ(segment->GetXHbClientData(), &other);
  registry.SetClientData(&other);
  segment->SetXHbClientData(&host);
  EXPECT_EQ(segment->GetClientData(), &other);
  EXPECT_EQ(registry.GetXHbClientData(), &host);

  const SegmentRef named =
      tmx::MakeRef<HbSegment>("HISAL", static_cast<unsigned short>(5), &host, &other);
  EXPECT_EQ(named->GetClientData(), &host);
  EXPECT_EQ(named->GetXHbClientData(), &other);
  EXPECT_EQ(named->GetSegmentKennung(), "HISAL");
}

TEST(HbSegment, TakesFieldsOfEveryTypeAndPassesTheResultOn) {
  const SegmentRef segment = tmx::MakeRef<HbSegment>();
  const unsigned char bytes[] = {1, 0, 2};
  EXPECT_TRUE(segment->PutFieldString("text", 1));
  EXPECT_TRUE(segment->PutFieldAmount(HbAmount(7, 0, "EUR"), 2));
  EXPECT_TRUE(segment->PutFieldInt32(70000, 3));
  EXPECT_TRUE(segment->PutFieldInt16(-3, 4));
  EXPECT_TRUE(segment->PutFieldBool(true, 5));
  EXPECT_TRUE(segment->PutFieldDate(HbDate(1, 2, 2003), 6));
  EXPECT_TRUE(segment->PutFieldTime(HbTime(4, 5, 6), 7));
  EXPECT_TRUE(segment->PutFieldFloat(1.5f, 8));
  EXPECT_TRUE(segment->PutFieldBinary(bytes, sizeof bytes, 9));
  EXPECT_TRUE(segment->PutBinaryVar(segment->GetBinaryVar(9), 9));  // itself
  EXPECT_EQ(segment->Count(), 9u);
  EXPECT_FALSE(segment->PutFieldInt16(1, 1));
  EXPECT_FALSE(segment->PutFieldString("text", 2));
  EXPECT_FALSE(segment->PutBinaryVar(segment->GetBinaryVar(9), 1));

  unsigned char copy[3] = {};
  unsigned long length = sizeof copy;
  EXPECT_TRUE(segment->GetFieldBinary(copy, length, 9));
  EXPECT_THAT(copy, testing::ElementsAreArray(bytes));
}

TEST(HbSegment, DiesWithItsLastReference) {
  auto* const segment = new HbSegment("HISAL", 5);
  const Watch watch(segment);
  segment->IncRefCount();
  segment->IncRefCount();
  segment->DecRefCount();
  segment->Dispose();
  EXPECT_TRUE(watch.IsAlive());
  segment->Dispose();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbSegment, CannotBeDestroyedOtherwise) {
  EXPECT_FALSE(std::is_destructible_v<HbSegment>);
  EXPECT_FALSE(std::is_copy_constructible_v<HbSegment>);
}

TEST(Ref, CountsItsCopies) {
  SegmentRef first = MakeSegment();
  const Watch watch(first.Get());
  SegmentRef second = first;
  SegmentRef third = std::move(first);
  EXPECT_FALSE(first);
  EXPECT_EQ(second.Get(), third.Get());
  second = SegmentRef();
  EXPECT_TRUE(watch.IsAlive());
  third = *&third;
  EXPECT_TRUE(watch.IsAlive());
  HbSegment* const released = third.Release();
  EXPECT_FALSE(third);
  EXPECT_TRUE(watch.IsAlive());
  { const SegmentRef adopted = SegmentRef::Adopt(released); }
  EXPECT_FALSE(watch.IsAlive());
  EXPECT_FALSE(SegmentRef::Share(nullptr));
}

TEST(HbSegmentArray, KeepsTheOrderOfInsertion) {
  const SegmentRef a = MakeSegment(), b = MakeSegment();
  Array array;
  EXPECT_EQ(array.Count(), 0);
  EXPECT_TRUE(array.Insert(b.Get()));
  EXPECT_TRUE(array.Insert(a.Get()));
  EXPECT_TRUE(array.Insert(b.Get()));
  EXPECT_EQ(array.Segments(), (std::vector{b.Get(), a.Get(), b.Get()}));
}

TEST(HbSegmentArray, IgnoresNull) {
  Array array;
  EXPECT_FALSE(array.Insert(nullptr));
  EXPECT_EQ(array.Count(), 0);
}

TEST(HbSegmentArray, SharesSegmentsWithOtherArrays) {
  SegmentRef segment = MakeSegment();
  HbSegment* const raw = segment.Get();
  const Watch watch(raw);
  Array one, two;
  one.Insert(raw);
  two.Insert(raw);
  segment = SegmentRef();
  one.Remove(0, 1);
  EXPECT_EQ(one.Count(), 0);
  EXPECT_TRUE(watch.IsAlive());
  two.Remove(0, 1);
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbSegmentArray, HoldsAReferenceForEachPlaceOfASegment) {
  Array array;
  HbSegment* const segment = new HbSegment;
  const Watch watch(segment);
  array.Insert(segment);
  array.Insert(segment);
  segment->Dispose();
  array.Remove(1, 1);
  EXPECT_TRUE(watch.IsAlive());
  array.Remove(0, 1);
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbSegmentArray, ThrowsAtIndexesBehindTheLast) {
  const SegmentRef segment = MakeSegment();
  Array array;
  EXPECT_EQ(ThrownText([&] { array.GetObject(0); }), kBadSubscript);
  array.Insert(segment.Get());
  EXPECT_EQ(array.GetObject(0), segment.Get());
  EXPECT_EQ(ThrownText([&] { array.GetObject(1); }), kBadSubscript);
  EXPECT_EQ(ThrownText([&] { array.GetObject(65535); }), kBadSubscript);
}

TEST(HbSegmentArray, FindsTheFirstPlaceOfASegment) {
  const SegmentRef a = MakeSegment(), b = MakeSegment(), stranger = MakeSegment();
  Array array;
  EXPECT_EQ(ThrownText([&] { array.GetPos(a.Get()); }), "element not found.");
  for (HbSegment* const segment : {a.Get(), b.Get(), b.Get()}) array.Insert(segment);
  EXPECT_EQ(array.GetPos(a.Get()), 0);
  EXPECT_EQ(array.GetPos(b.Get()), 1);
  EXPECT_EQ(ThrownText([&] { array.GetPos(stranger.Get()); }), "element not found.");
  EXPECT_EQ(ThrownText([&] { array.GetPos(nullptr); }), "element not found.");
}

TEST(HbSegmentArray, ClosesTheGapOfARemovedRange) {
  std::vector<SegmentRef> refs;
  Array array;
  for (int i = 0; i < 5; ++i) {
    refs.push_back(MakeSegment());
    array.Insert(refs.back().Get());
  }
  array.Remove(1, 2);
  EXPECT_EQ(array.Segments(), (std::vector{refs[0].Get(), refs[3].Get(), refs[4].Get()}));
  array.Remove(1, 0);
  EXPECT_EQ(array.Count(), 3);
}

TEST(HbSegmentArray, RemovesOnlyPlacesThatExist) {
  const SegmentRef a = MakeSegment(), b = MakeSegment();
  Array array;
  array.Remove(0, 65535);
  array.Insert(a.Get());
  array.Insert(b.Get());
  array.Remove(2, 1);
  array.Remove(65535, 65535);
  EXPECT_EQ(array.Count(), 2);
  array.Remove(1, 65535);
  EXPECT_EQ(array.Segments(), std::vector{a.Get()});
}

TEST(HbSegmentArray, ReversesInPlace) {
  const SegmentRef a = MakeSegment(), b = MakeSegment(), c = MakeSegment();
  Array array;
  array.Reverse();
  EXPECT_EQ(array.Count(), 0);
  array.Insert(a.Get());
  array.Reverse();
  EXPECT_EQ(array.Segments(), std::vector{a.Get()});
  array.Insert(b.Get());
  array.Insert(c.Get());
  array.Reverse();
  EXPECT_EQ(array.Segments(), (std::vector{c.Get(), b.Get(), a.Get()}));
}

TEST(HbSegmentArray, DisposesNothingInItsDestructor) {
  HbSegment* const segment = new HbSegment;
  const Watch watch(segment);
  {
    HbSegmentArray array;
    array.Insert(segment);
    segment->Dispose();
  }
  ASSERT_TRUE(watch.IsAlive());  // by the reference of the array's place, which nobody gave up
  segment->Dispose();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbSegmentArray, RefusesMoreThan65535Segments) {
  SegmentRef segment = MakeSegment();
  const Watch watch(segment.Get());
  Array array;
  for (int i = 0; i < 65535; ++i) ASSERT_TRUE(array.Insert(segment.Get()));
  EXPECT_FALSE(array.Insert(segment.Get()));
  EXPECT_EQ(array.Count(), 65535);
  EXPECT_EQ(array.GetObject(65534), segment.Get());
  segment = SegmentRef();
  array.Remove(0, array.Count());
  EXPECT_FALSE(watch.IsAlive());  // the refused insertion took no reference
}

TEST(HbSegmentArray, TakesNothingWhenMemoryEnds) {
  SegmentRef segment = MakeSegment();
  const Watch watch(segment.Get());
  Array array;
  {
    const FailingMemory failing(0);
    EXPECT_FALSE(array.Insert(segment.Get()));
  }
  EXPECT_EQ(array.Count(), 0);
  segment = SegmentRef();
  EXPECT_FALSE(watch.IsAlive());
}

TEST(HbSegmentArray, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<HbSegmentArray>);
  EXPECT_FALSE(std::is_copy_assignable_v<HbSegmentArray>);
}

}  // namespace
