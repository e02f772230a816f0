#include "tmxtools/variables/variables.h"

#include <climits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"

namespace {

struct Drop {
  void operator()(HbVariable* variable) const { variable->DecRefCount(); }
};
using Owned = std::unique_ptr<HbVariable, Drop>;

Owned MakeLong(long value) {
  Owned variable(HbVariables::CreateVariable(6));
  static_cast<HbLongVariable&>(*variable).Set(value);
  return variable;
}
long LongAt(const HbVariables& registry, unsigned long id) {
  long value = -1;
  EXPECT_TRUE(registry.GetFieldInt32(value, id)) << id;
  return value;
}

TEST(CreateVariable, KnowsNineTypes) {
  for (unsigned short type = 0; type < 12; ++type) {
    const Owned variable(HbVariables::CreateVariable(type));
    const bool known = type != 0 && type != 3 && type <= 10;
    ASSERT_EQ(variable != nullptr, known) << type;
    if (!known) continue;
    EXPECT_EQ(variable->GetType(), type);
    EXPECT_TRUE(variable->IsNull());
    EXPECT_EQ(variable->GetRefCount(), 0u);
  }
  EXPECT_EQ(HbVariables::CreateVariable(0xFFFF), nullptr);
}

TEST(CreateVariable, IsNullWhenMemoryEnds) {
  const FailingMemory failing(0);
  EXPECT_EQ(HbVariables::CreateVariable(1), nullptr);
}

TEST(HbVariables, KeepsItsLinks) {
  int data = 0, other = 0;
  HbVariables prev;
  HbVariables registry(&prev, &data, &other);
  EXPECT_EQ(registry.GetPrev(), &prev);
  EXPECT_EQ(registry.GetClientData(), &data);
  EXPECT_EQ(registry.GetXHbClientData(), &other);
  registry.SetPrev(nullptr);
  registry.SetClientData(&other);
  registry.SetXHbClientData(&data);
  EXPECT_EQ(registry.GetPrev(), nullptr);
  EXPECT_EQ(registry.GetClientData(), &other);
  EXPECT_EQ(registry.GetXHbClientData(), &data);
}

TEST(HbVariables, RegisterTakesAReferenceAndUnregisterDropsIt) {
  HbVariables registry;
  const Owned variable = MakeLong(1);
  registry.Register(7, variable.get());
  EXPECT_EQ(variable->GetRefCount(), 1u);
  EXPECT_EQ(registry[7], variable.get());
  EXPECT_EQ(registry.Count(), 1u);
  EXPECT_TRUE(registry.Unregister(7));
  EXPECT_EQ(variable->GetRefCount(), 0u);
  EXPECT_EQ(registry[7], nullptr);
  EXPECT_FALSE(registry.Unregister(7));
}

TEST(HbVariables, RegisterUnderAnExistingIdKeepsTheFirst) {
  HbVariables registry;
  const Owned first = MakeLong(1), second = MakeLong(2);
  registry.Register(7, first.get());
  registry.Register(7, second.get());
  EXPECT_EQ(registry[7], first.get());
  EXPECT_EQ(first->GetRefCount(), 1u);
  EXPECT_EQ(second->GetRefCount(), 0u);
  EXPECT_EQ(registry.Count(), 1u);
}

TEST(HbVariables, RegisterOfNullDoesNothing) {
  HbVariables registry;
  registry.Register(7, nullptr);
  EXPECT_EQ(registry.Count(), 0u);
}

TEST(HbVariables, RegisterDoesNothingWhenMemoryEnds) {
  HbVariables registry;
  const Owned variable = MakeLong(1);
  {
    const FailingMemory failing(0);
    registry.Register(7, variable.get());
  }
  EXPECT_EQ(registry.Count(), 0u);
  EXPECT_EQ(variable->GetRefCount(), 0u);
}

TEST(HbVariables, ClearAndDestructionDropEveryReference) {
  const Owned variable = MakeLong(1);
  {
    HbVariables registry;
    for (unsigned long id = 1; id <= 200; ++id) registry.Register(id, variable.get());
    EXPECT_EQ(variable->GetRefCount(), 200u);
    registry.Clear();
    EXPECT_EQ(variable->GetRefCount(), 0u);
    EXPECT_EQ(registry.Count(), 0u);
    EXPECT_EQ(registry[1], nullptr);
    registry.Register(3, variable.get());
    EXPECT_EQ(variable->GetRefCount(), 1u);
  }
  EXPECT_EQ(variable->GetRefCount(), 0u);
}

TEST(HbVariables, UnregisterLooksAtThisRegistryOnly) {
  HbVariables prev, registry(&prev);
  prev.PutFieldInt32(1, 7);
  EXPECT_FALSE(registry.Unregister(7));
  EXPECT_EQ(prev.Count(), 1u);
}

TEST(HbVariables, LookupGoesOnInThePreviousRegistries) {
  HbVariables last, middle(&last), first(&middle);
  last.PutFieldInt32(1, 7);
  last.PutFieldInt32(2, 8);
  first.PutFieldString("x", 9);
  middle.Register(7, MakeLong(3).get());
  EXPECT_EQ(LongAt(first, 7), 3);
  EXPECT_EQ(LongAt(first, 8), 2);
  EXPECT_EQ(first.GetType(9), 1);
  EXPECT_EQ(first.GetType(7), 6);
  EXPECT_EQ(first.GetType(10), 0);
  EXPECT_EQ(first.Count(), 1u);
}

TEST(HbVariables, LookupThroughAVeryLongChainNeedsNoStack) {
  std::vector<std::unique_ptr<HbVariables>> chain;
  for (int i = 0; i < 200000; ++i) {
    chain.push_back(std::make_unique<HbVariables>(i == 0 ? nullptr : chain.back().get()));
  }
  chain.front()->PutFieldInt32(5, 7);
  const HbVariables& top = *chain.back();
  EXPECT_EQ(LongAt(top, 7), 5);
  EXPECT_EQ(top.GetFollowingId(7), 0u);
  EXPECT_EQ(top.PosToId(0), 0u);
  HbVariablesIter walk(&top);
  EXPECT_EQ(walk.GetFirst(), top[7]);
  EXPECT_EQ(walk.GetNext(), nullptr);
}

TEST(HbVariables, IsNullForAbsentAndNullVariables) {
  HbVariables registry;
  EXPECT_TRUE(registry.IsNull(7));
  const Owned variable(HbVariables::CreateVariable(6));
  registry.Register(7, variable.get());
  EXPECT_TRUE(registry.IsNull(7));
  registry.PutFieldInt32(0, 7);
  EXPECT_FALSE(registry.IsNull(7));
}

TEST(HbVariables, IdsHaveThirtyTwoBits) {
  HbVariables registry;
  const unsigned long beyond = 0x1'0000'0007UL;
  EXPECT_TRUE(registry.PutFieldInt32(1, 0));
  EXPECT_TRUE(registry.PutFieldInt32(2, 0xFFFFFFFF));
  EXPECT_TRUE(registry.PutFieldInt32(3, 7));
  EXPECT_FALSE(registry.PutFieldInt32(4, beyond));
  registry.Register(beyond, registry[7]);
  EXPECT_EQ(registry.Count(), 3u);
  EXPECT_EQ(registry[beyond], nullptr);
  EXPECT_FALSE(registry.Unregister(beyond));
  EXPECT_EQ(LongAt(registry, 0), 1);
  EXPECT_EQ(LongAt(registry, 0xFFFFFFFF), 2);
  EXPECT_EQ(registry.GetFollowingId(7), 0xFFFFFFFF);
  EXPECT_EQ(registry.GetFollowingId(beyond), 0u);
}

TEST(Fields, EveryTypeIsPutAndGot) {
  HbVariables registry;
  EXPECT_TRUE(registry.PutFieldString("text", 1));
  EXPECT_TRUE(registry.PutFieldDate(HbDate(5, 3, 2003), 2));
  EXPECT_TRUE(registry.PutFieldTime(HbTime(1, 2), 4));
  EXPECT_TRUE(registry.PutFieldInt16(-5, 5));
  EXPECT_TRUE(registry.PutFieldInt32(-6, 6));
  EXPECT_TRUE(registry.PutFieldFloat(0.5F, 7));
  EXPECT_TRUE(registry.PutFieldAmount(HbAmount(12345, 2, "EUR"), 8));
  EXPECT_TRUE(registry.PutFieldBool(true, 10));
  for (const unsigned short id : std::initializer_list<unsigned short>{1, 2, 4, 5, 6, 7, 8, 10}) {
    EXPECT_EQ(registry.GetType(id), id);
    EXPECT_FALSE(registry.IsNull(id));
    EXPECT_EQ(registry[id]->GetRefCount(), 0u) << "the registry is the only owner";
  }
  String text;
  EXPECT_TRUE(registry.GetFieldString(text, 1));
  EXPECT_EQ(text, "text");
  HbDate date;
  EXPECT_TRUE(registry.GetFieldDate(date, 2));
  EXPECT_EQ(date, HbDate(5, 3, 2003));
  HbTime time;
  EXPECT_TRUE(registry.GetFieldTime(time, 4));
  EXPECT_EQ(time, HbTime(1, 2));
  short small = 0;
  EXPECT_TRUE(registry.GetFieldInt16(small, 5));
  EXPECT_EQ(small, -5);
  EXPECT_EQ(LongAt(registry, 6), -6);
  float number = 0;
  EXPECT_TRUE(registry.GetFieldFloat(number, 7));
  EXPECT_EQ(number, 0.5F);
  HbAmount amount;
  EXPECT_TRUE(registry.GetFieldAmount(amount, 8));
  EXPECT_EQ(amount.GetFull(), "123,45 EUR");
  bool flag = false;
  EXPECT_TRUE(registry.GetFieldBool(flag, 10));
  EXPECT_TRUE(flag);
}

// Values that are not empty, to see them emptied.
struct Outputs {
  String text = "x";
  HbDate date = HbDate(1, 1, 2000);
  HbTime time = HbTime(1L);
  short small = 1;
  long number = 1;
  float fraction = 1;
  HbAmount amount = HbAmount(1, 2, "EUR");
  bool flag = true;

  void ExpectAllRefused(const HbVariables& registry, unsigned long id) {
    const unsigned short type = registry.GetType(id);
    EXPECT_TRUE(type == 1 || !registry.GetFieldString(text, id));
    EXPECT_TRUE(type == 2 || !registry.GetFieldDate(date, id));
    EXPECT_TRUE(type == 4 || !registry.GetFieldTime(time, id));
    EXPECT_TRUE(type == 5 || !registry.GetFieldInt16(small, id));
    EXPECT_TRUE(type == 6 || !registry.GetFieldInt32(number, id));
    EXPECT_TRUE(type == 7 || !registry.GetFieldFloat(fraction, id));
    EXPECT_TRUE(type == 8 || !registry.GetFieldAmount(amount, id));
    EXPECT_TRUE(type == 10 || !registry.GetFieldBool(flag, id));
    EXPECT_TRUE(type == 1 || text.IsEmpty());
    EXPECT_TRUE(type == 2 || date.IsNull());
    EXPECT_TRUE(type == 4 || time == HbTime());
    EXPECT_TRUE(type == 5 || small == 0);
    EXPECT_TRUE(type == 6 || number == 0);
    EXPECT_TRUE(type == 7 || fraction == 0);
    EXPECT_TRUE(type == 8 || (amount == HbAmount() && amount.GetPrecision() == 0));
    EXPECT_TRUE(type == 10 || !flag);
  }
};

TEST(Fields, GettersOfAnAbsentFieldEmptyTheOutput) {
  const HbVariables registry;
  Outputs().ExpectAllRefused(registry, 7);
}

TEST(Fields, GettersOfAnotherTypeEmptyTheOutput) {
  for (const unsigned short type :
       std::initializer_list<unsigned short>{1, 2, 4, 5, 6, 7, 8, 9, 10}) {
    HbVariables registry;
    registry.Register(7, Owned(HbVariables::CreateVariable(type)).get());
    Outputs().ExpectAllRefused(registry, 7);
  }
}

TEST(Fields, Int32OnAnInt16FieldIsRefusedBothWays) {
  HbVariables registry;
  registry.PutFieldInt16(5, 7);
  long value = 9;
  EXPECT_FALSE(registry.GetFieldInt32(value, 7));
  EXPECT_EQ(value, 0);
  EXPECT_FALSE(registry.PutFieldInt32(6, 7));
  short small = 0;
  EXPECT_TRUE(registry.GetFieldInt16(small, 7));
  EXPECT_EQ(small, 5);
}

TEST(Fields, PutOfAnotherTypeChangesNothing) {
  HbVariables registry;
  registry.PutFieldBool(true, 7);
  const unsigned char byte = 1;
  EXPECT_FALSE(registry.PutFieldString("x", 7));
  EXPECT_FALSE(registry.PutFieldDate(HbDate(), 7));
  EXPECT_FALSE(registry.PutFieldTime(HbTime(), 7));
  EXPECT_FALSE(registry.PutFieldInt16(1, 7));
  EXPECT_FALSE(registry.PutFieldInt32(1, 7));
  EXPECT_FALSE(registry.PutFieldFloat(1, 7));
  EXPECT_FALSE(registry.PutFieldAmount(HbAmount(), 7));
  EXPECT_FALSE(registry.PutFieldBinary(&byte, 1, 7));
  bool flag = false;
  EXPECT_TRUE(registry.GetFieldBool(flag, 7));
  EXPECT_TRUE(flag);
  EXPECT_FALSE(registry.PutFieldString("x", 7));
  HbVariables text;
  text.PutFieldString("x", 7);
  EXPECT_FALSE(text.PutFieldBool(true, 7));
}

TEST(Fields, GettersReadNullVariablesToo) {
  HbVariables registry;
  registry.Register(7, Owned(HbVariables::CreateVariable(1)).get());
  String text("x");
  EXPECT_TRUE(registry.GetFieldString(text, 7));
  EXPECT_EQ(text, "");
  EXPECT_TRUE(registry.IsNull(7));
}

TEST(Fields, PutWritesToThePreviousRegistryThatHasTheId) {
  HbVariables prev, registry(&prev);
  prev.PutFieldString("old", 7);
  EXPECT_TRUE(registry.PutFieldString("new", 7));
  EXPECT_EQ(registry.Count(), 0u);
  String text;
  EXPECT_TRUE(prev.GetFieldString(text, 7));
  EXPECT_EQ(text, "new");
  EXPECT_TRUE(registry.PutFieldString("own", 8));
  EXPECT_EQ(registry.Count(), 1u);
  EXPECT_EQ(prev[8], nullptr);
}

TEST(Fields, Int32OutOfThirtyTwoBitsIsRefused) {
  HbVariables registry;
  EXPECT_TRUE(registry.PutFieldInt32(INT32_MIN, 7));
  EXPECT_TRUE(registry.PutFieldInt32(INT32_MAX, 7));
  EXPECT_FALSE(registry.PutFieldInt32(INT32_MAX + 1L, 7));
  EXPECT_FALSE(registry.PutFieldInt32(INT32_MIN - 1L, 7));
  EXPECT_EQ(LongAt(registry, 7), INT32_MAX);
  EXPECT_FALSE(registry.PutFieldInt32(LONG_MAX, 8));
  EXPECT_EQ(registry[8], nullptr);
}

TEST(Fields, TimeKeepsItsOwnNullFlag) {
  HbVariables registry;
  EXPECT_TRUE(registry.PutFieldTime(HbTime(), 4));
  EXPECT_FALSE(registry.IsNull(4));
  HbTime time(1L);
  EXPECT_TRUE(registry.GetFieldTime(time, 4));
  EXPECT_TRUE(time.IsNull());
}

TEST(Fields, PutMakesNothingWhenMemoryEnds) {
  const HbAmount large(BigInt(String("123456789012345678901234567890")), 2, "EUR");
  std::size_t failures = 0;
  for (std::size_t allowed = 0;; ++allowed) {
    HbVariables registry;
    bool done = false;
    {
      const FailingMemory failing(allowed);
      done = registry.PutFieldAmount(large, 7);
    }
    EXPECT_EQ(registry.Count(), done ? 1u : 0u);
    if (done) break;
    ++failures;
  }
  EXPECT_GE(failures, 3u) << "variable, value and entry";
}

TEST(Fields, AnAmountThatCannotBeCopiedLeavesTheOldOne) {
  const HbAmount large(BigInt(String("123456789012345678901234567890")), 5, "EUR");
  HbVariables registry;
  registry.PutFieldAmount(HbAmount(1, 2, "USD"), 7);
  {
    const FailingMemory failing(0);
    EXPECT_FALSE(registry.PutFieldAmount(large, 7));
  }
  HbAmount amount;
  EXPECT_TRUE(registry.GetFieldAmount(amount, 7));
  EXPECT_EQ(amount.GetFull(), "0,01 USD");
  EXPECT_TRUE(registry.PutFieldAmount(large, 7));
  const FailingMemory failing(0);
  EXPECT_FALSE(registry.GetFieldAmount(amount, 7));
  EXPECT_TRUE(amount.IsNull());
}

TEST(BinaryFields, ArePutAndGot) {
  HbVariables registry;
  const unsigned char bytes[] = {1, 0, 3};
  EXPECT_TRUE(registry.PutFieldBinary(bytes, 3, 9));
  unsigned char buffer[8] = {};
  unsigned long length = sizeof buffer;
  EXPECT_TRUE(registry.GetFieldBinary(buffer, length, 9));
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(std::vector(buffer, buffer + 4), (std::vector<unsigned char>{1, 0, 3, 0}));
  length = 3;
  EXPECT_TRUE(registry.GetFieldBinary(buffer, length, 9));
}

TEST(BinaryFields, GetWithOneByteTooFewLeavesTheOutputUntouched) {
  HbVariables registry;
  const unsigned char bytes[] = {1, 2, 3};
  registry.PutFieldBinary(bytes, 3, 9);
  unsigned char buffer[2] = {8, 9};
  unsigned long length = 2;
  EXPECT_FALSE(registry.GetFieldBinary(buffer, length, 9));
  EXPECT_EQ(length, 2u);
  EXPECT_EQ(buffer[0], 8);
  EXPECT_FALSE(registry.GetFieldBinary(buffer, length, 10));
  EXPECT_EQ(length, 2u);
}

TEST(BinaryFields, EmptyOnesAreNullAndReadAsNothing) {
  HbVariables registry;
  EXPECT_TRUE(registry.PutFieldBinary(nullptr, 0, 9));
  EXPECT_TRUE(registry.IsNull(9));
  unsigned long length = 0;
  EXPECT_TRUE(registry.GetFieldBinary(nullptr, length, 9));
  EXPECT_EQ(length, 0u);
}

TEST(BinaryFields, PutOfMoreThanThirtyTwoBitsIsRefused) {
  HbVariables registry;
  const unsigned char byte = 1;
  EXPECT_FALSE(registry.PutFieldBinary(&byte, 0x1'0000'0001UL, 9));
  EXPECT_EQ(registry.Count(), 0u);
}

TEST(BinaryFields, PutTakesTheFieldsOwnBytes) {
  HbVariables registry;
  registry.PutFieldBinary(reinterpret_cast<const unsigned char*>("abcdef"), 6, 9);
  EXPECT_TRUE(registry.PutFieldBinary(registry.GetBinaryVar(9)->GetData() + 1, 2, 9));
  const HbBinaryVariable& variable = *registry.GetBinaryVar(9);
  EXPECT_EQ(variable.GetLength(), 2u);
  EXPECT_EQ(variable.GetData()[0], 'b');
}

TEST(BinaryVar, IsFoundOnlyIfBinary) {
  HbVariables prev, registry(&prev);
  prev.PutFieldBinary(nullptr, 0, 9);
  prev.PutFieldString("x", 1);
  EXPECT_EQ(registry.GetBinaryVar(9), prev[9]);
  EXPECT_EQ(registry.GetBinaryVar(1), nullptr);
  EXPECT_EQ(registry.GetBinaryVar(2), nullptr);
}

TEST(BinaryVar, ReplacesABinaryVariable) {
  HbVariables registry;
  const Owned first(HbVariables::CreateVariable(9)), second(HbVariables::CreateVariable(9));
  EXPECT_TRUE(registry.PutBinaryVar(static_cast<HbBinaryVariable*>(first.get()), 9));
  EXPECT_EQ(first->GetRefCount(), 1u);
  EXPECT_TRUE(registry.PutBinaryVar(static_cast<HbBinaryVariable*>(second.get()), 9));
  EXPECT_EQ(registry[9], second.get());
  EXPECT_EQ(first->GetRefCount(), 0u);
  EXPECT_EQ(second->GetRefCount(), 1u);
}

TEST(BinaryVar, IsRefusedOnAnotherType) {
  HbVariables prev, registry(&prev);
  prev.PutFieldString("x", 9);
  const Owned variable(HbVariables::CreateVariable(9));
  EXPECT_FALSE(registry.PutBinaryVar(static_cast<HbBinaryVariable*>(variable.get()), 9));
  EXPECT_EQ(variable->GetRefCount(), 0u);
  EXPECT_EQ(registry.Count(), 0u);
}

TEST(BinaryVar, GoesIntoThisRegistryWhenAPreviousOneHasTheId) {
  HbVariables prev, registry(&prev);
  prev.PutFieldBinary(nullptr, 0, 9);
  const Owned variable(HbVariables::CreateVariable(9));
  EXPECT_TRUE(registry.PutBinaryVar(static_cast<HbBinaryVariable*>(variable.get()), 9));
  EXPECT_EQ(registry[9], variable.get());
  EXPECT_NE(prev[9], variable.get());
  EXPECT_EQ(prev.Count(), 1u);
}

TEST(BinaryVar, MayBePutWhereItIs) {
  HbVariables registry;
  registry.PutFieldBinary(reinterpret_cast<const unsigned char*>("abc"), 3, 9);
  EXPECT_TRUE(registry.PutBinaryVar(registry.GetBinaryVar(9), 9));
  EXPECT_EQ(registry.GetBinaryVar(9)->GetLength(), 3u);
  EXPECT_EQ(registry[9]->GetRefCount(), 0u);
}

TEST(BinaryVar, NullIsRefused) {
  HbVariables registry;
  registry.PutFieldBinary(reinterpret_cast<const unsigned char*>("abc"), 3, 9);
  EXPECT_FALSE(registry.PutBinaryVar(nullptr, 9));
  EXPECT_EQ(registry.GetBinaryVar(9)->GetLength(), 3u);
}

HbVariables& Fill(HbVariables& registry, std::initializer_list<unsigned long> ids) {
  for (const unsigned long id : ids) registry.PutFieldInt32(static_cast<long>(id), id);
  return registry;
}

TEST(PosToId, PositionsZeroAndOneAreTheLowestIdAndTheLastIsNeverReached) {
  HbVariables registry;
  Fill(registry, {30, 10, 20});
  EXPECT_EQ(registry.PosToId(0), 10u);
  EXPECT_EQ(registry.PosToId(1), 10u);
  EXPECT_EQ(registry.PosToId(2), 20u);
  EXPECT_EQ(registry.PosToId(3), 0u);
  EXPECT_EQ(registry.PosToId(0xFFFF), 0u);
}

TEST(PosToId, AlwaysWalksTheFirstRegistry) {
  HbVariables prev, registry(&prev);
  for (unsigned long id = 101; id <= 104; ++id) registry.PutFieldInt32(0, id - 100);
  // Entered on its own: a Put would find the ids of the chain.
  for (unsigned long id = 201; id <= 203; ++id) prev.PutFieldInt32(0, id);
  EXPECT_EQ(registry.PosToId(3), 3u);
  EXPECT_EQ(registry.PosToId(4), 1u);
  EXPECT_EQ(registry.PosToId(5), 1u);
  EXPECT_EQ(registry.PosToId(6), 2u);
  EXPECT_EQ(registry.PosToId(7), 0u);
}

TEST(PosToId, IsZeroWhereTheFirstRegistryHasTooFewEntries) {
  HbVariables prev, registry(&prev);
  EXPECT_EQ(registry.PosToId(0), 0u);
  Fill(prev, {1, 2, 3, 4});
  EXPECT_EQ(registry.PosToId(0), 0u);
  EXPECT_EQ(registry.PosToId(3), 0u);
  registry.PutFieldInt32(0, 9);
  EXPECT_EQ(registry.PosToId(1), 9u);
  EXPECT_EQ(registry.PosToId(4), 0u);
}

TEST(GetFollowingId, GoesThroughTheIdsInOrder) {
  HbVariables registry;
  Fill(registry, {30, 10, 20});
  EXPECT_EQ(registry.GetFollowingId(10), 20u);
  EXPECT_EQ(registry.GetFollowingId(20), 30u);
  EXPECT_EQ(registry.GetFollowingId(15), 0u);
}

TEST(GetFollowingId, OfTheHighestIdIsZero) {
  HbVariables registry;
  Fill(registry, {30, 10, 20});
  EXPECT_EQ(registry.GetFollowingId(30), 0u);
}

TEST(GetFollowingId, GoesOnInThePreviousRegistryThatHasTheIdToo) {
  HbVariables prev, registry(&prev);
  Fill(registry, {10, 20});
  Fill(prev, {30});
  prev.Register(20, registry[20]);
  EXPECT_EQ(registry.GetFollowingId(20), 30u);
  EXPECT_EQ(registry.GetFollowingId(30), 0u);
  EXPECT_EQ(registry.GetFollowingId(10), 20u);
}

TEST(HbVariablesIter, WalksThisRegistryThenThePreviousOnes) {
  HbVariables last, empty(&last), first(&empty);
  Fill(last, {5, 40});
  first.Register(40, MakeLong(0).get());
  first.Register(2, MakeLong(0).get());
  HbVariablesIter walk(&first);
  EXPECT_EQ(walk.GetId(), 0u);
  std::vector<unsigned long> ids;
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext()) {
    ids.push_back(walk.GetId());
  }
  EXPECT_EQ(ids, (std::vector<unsigned long>{2, 40, 5, 40}));
  EXPECT_EQ(walk.GetId(), 40u);
  EXPECT_EQ(walk.GetNext(), nullptr);
}

TEST(HbVariablesIter, GetFirstStartsAgainInTheRegistryThatTheWalkMovedTo) {
  HbVariables prev, registry(&prev);
  Fill(registry, {1});
  Fill(prev, {2, 3});
  HbVariablesIter walk(&registry);
  EXPECT_EQ(walk.GetFirst(), registry[1]);
  EXPECT_EQ(walk.GetFirst(), registry[1]);
  EXPECT_EQ(walk.GetNext(), prev[2]);
  EXPECT_EQ(walk.GetNext(), prev[3]);
  EXPECT_EQ(walk.GetFirst(), prev[2]);
  EXPECT_EQ(walk.GetId(), 2u);
}

TEST(HbVariablesIter, OfNothingIsNull) {
  HbVariables prev, registry(&prev);
  HbVariablesIter walk(&registry);
  EXPECT_EQ(walk.GetFirst(), nullptr);
  EXPECT_EQ(walk.GetNext(), nullptr);
  EXPECT_EQ(walk.GetId(), 0u);
  HbVariablesIter nowhere(nullptr);
  EXPECT_EQ(nowhere.GetFirst(), nullptr);
  EXPECT_EQ(nowhere.GetNext(), nullptr);
}

TEST(HbVariablesIter, GetNextBeforeTheFirstStepIsTheFirstEntry) {
  HbVariables registry;
  Fill(registry, {0, 1});
  HbVariablesIter walk(&registry);
  EXPECT_EQ(walk.GetNext(), registry[0]);
  EXPECT_EQ(walk.GetNext(), registry[1]);
}

TEST(HbVariablesIter, EntriesMayComeAndGoDuringTheWalk) {
  HbVariables registry;
  for (unsigned long id = 0; id < 1000; ++id) registry.PutFieldInt32(0, id * 2);
  HbVariablesIter walk(&registry);
  unsigned long expected = 0;
  for (HbVariable* variable = walk.GetFirst(); variable != nullptr; variable = walk.GetNext()) {
    const unsigned long id = walk.GetId();
    ASSERT_EQ(id, expected);
    EXPECT_TRUE(registry.Unregister(id));
    if (id % 3 == 0 && id % 2 == 0) {
      registry.PutFieldInt32(0, id + 1);
      expected = id + 1;
    } else {
      expected = id % 2 == 0 ? id + 2 : id + 1;
    }
  }
  EXPECT_EQ(registry.Count(), 0u);
}

TEST(RegistryBinding, IsLetGoByADyingRegistry) {
  tmx::RegistryBinding first, second, third;
  {
    HbVariables registry;
    first.Bind(&registry);
    second.Bind(&registry);
    third.Bind(&registry);
    second.Unbind();
    EXPECT_EQ(first.registry(), &registry);
    EXPECT_EQ(second.registry(), nullptr);
    second.Unbind();
  }
  EXPECT_EQ(first.registry(), nullptr);
  EXPECT_EQ(third.registry(), nullptr);
  HbVariables other;
  first.Bind(&other);
  EXPECT_EQ(first.registry(), &other);
}

TEST(RegistryBinding, MovesBetweenRegistriesAndDiesBeforeThem) {
  HbVariables one, two;
  tmx::RegistryBinding staying;
  staying.Bind(&two);
  {
    tmx::RegistryBinding binding;
    binding.Bind(&one);
    binding.Bind(&one);
    binding.Bind(&two);
    EXPECT_EQ(binding.registry(), &two);
    binding.Bind(nullptr);
    EXPECT_EQ(binding.registry(), nullptr);
    binding.Bind(&two);
  }
  EXPECT_EQ(staying.registry(), &two);
}

// A registry and a map do the same random things.
TEST(HbVariables, AgreesWithAMapOverRandomOperations) {
  for (const unsigned range : {20u, 90u, 3000u, 0xFFFFFFFFu}) {
    HbVariables registry;
    std::map<unsigned long, long> model;
    std::mt19937_64 random(range);
    const auto random_id = [&]() -> unsigned long {
      if (range == 0xFFFFFFFF && !model.empty() && random() % 2) {
        const auto near = model.lower_bound(random() % range);
        if (near != model.end()) return near->first;
      }
      // The ends of the id range now and then.
      return random() % 64 == 0 ? (random() % 2 ? 0 : range) : random() % range;
    };
    for (int i = 0; i < 30000; ++i) {
      const unsigned long id = random_id();
      // Times of growth and of decline.
      if (random() % 16 < (i / 3000 % 2 ? 6u : 11u)) {
        ASSERT_TRUE(registry.PutFieldInt32(i, id));
        model[id] = i;
      } else {
        ASSERT_EQ(registry.Unregister(id), model.erase(id) == 1);
      }
      ASSERT_EQ(registry.Count(), model.size());
      const unsigned long asked = random_id();
      long value = 0;
      const auto found = model.find(asked);
      ASSERT_EQ(registry.GetFieldInt32(value, asked), found != model.end());
      if (found != model.end()) {
        ASSERT_EQ(value, found->second);
        const auto next = std::next(found);
        ASSERT_EQ(registry.GetFollowingId(asked), next == model.end() ? 0 : next->first);
      }
      const std::size_t position = random() % 70;
      const bool inside = position < model.size();
      ASSERT_EQ(
          registry.PosToId(static_cast<unsigned short>(position)),
          inside
              ? std::next(model.begin(), position < 2 ? 0 : static_cast<long>(position) - 1)->first
              : 0);
      if (i % 1000 != 0) continue;
      HbVariablesIter walk(&registry);
      HbVariable* variable = walk.GetFirst();
      for (const auto& [key, expected] : model) {
        ASSERT_NE(variable, nullptr);
        ASSERT_EQ(walk.GetId(), key);
        ASSERT_EQ(static_cast<HbLongVariable*>(variable)->Get(), expected);
        variable = walk.GetNext();
      }
      ASSERT_EQ(variable, nullptr);
    }
  }
}

TEST(HbVariables, HoldsVeryManyEntriesInEveryOrderOfComing) {
  constexpr unsigned long count = 30000;
  const auto fill = [](HbVariables& registry, auto id_of) {
    for (unsigned long i = 0; i < count; ++i) {
      ASSERT_TRUE(registry.PutFieldInt32(static_cast<long>(id_of(i)), id_of(i) * 7));
    }
  };
  HbVariables ascending, descending, mixed;
  fill(ascending, [](unsigned long i) { return i; });
  fill(descending, [](unsigned long i) { return count - 1 - i; });
  fill(mixed, [](unsigned long i) { return i * 7919 % count; });
  for (HbVariables* const registry : {&ascending, &descending, &mixed}) {
    ASSERT_EQ(registry->Count(), count);
    for (unsigned long i = 0; i < count; ++i) {
      ASSERT_EQ(LongAt(*registry, i * 7), static_cast<long>(i));
      ASSERT_EQ((*registry)[i * 7 + 1], nullptr);
    }
    for (unsigned long i = 0; i < count; ++i) {
      ASSERT_TRUE(i % 100 == 0 || registry->Unregister(i * 7));
    }
    ASSERT_EQ(registry->Count(), count / 100);
    for (unsigned long i = 0; i < count; ++i) {
      ASSERT_EQ((*registry)[i * 7] != nullptr, i % 100 == 0) << i;
    }
    ASSERT_EQ(registry->GetFollowingId(0), 700u);
  }
}

TEST(HbVariables, EveryFailedAllocationLeavesTheRegistryAsItWas) {
  HbVariables registry;
  const Owned variable = MakeLong(1);
  unsigned long count = 0;
  for (unsigned long id = 0; id < 3000; ++id) {
    const unsigned long mixed = id * 2654435761u % 0xFFFFFFFF;
    for (std::size_t allowed = 0; registry.Count() == count; ++allowed) {
      const FailingMemory failing(allowed);
      registry.Register(mixed, variable.get());
      ASSERT_EQ(variable->GetRefCount(), registry.Count());
      ASSERT_EQ(registry[mixed] != nullptr, registry.Count() == count + 1);
      ASSERT_EQ(registry[id / 2 * 2654435761u % 0xFFFFFFFF] != nullptr, id / 2 < registry.Count());
    }
    ++count;
  }
  HbVariablesIter walk(&registry);
  unsigned long before = 0, seen = 0;
  for (HbVariable* at = walk.GetFirst(); at != nullptr; at = walk.GetNext(), ++seen) {
    ASSERT_TRUE(seen == 0 || walk.GetId() > before);
    before = walk.GetId();
  }
  EXPECT_EQ(seen, count);
}

}  // namespace
