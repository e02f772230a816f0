#include "tmxtools/banking/callback.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/banking/tree_objects.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/variables/variables.h"

namespace {

using VariableRef = tmx::Ref<HbVariable>;

VariableRef NewVariable() {
  return VariableRef::Adopt(HbVariables::CreateVariable(tmx::kStringType));
}

// Tells when it dies.
class MortalVariable : public HbStringVariable {
 public:
  explicit MortalVariable(bool& is_dead) : is_dead_(is_dead) {}
  ~MortalVariable() override { is_dead_ = true; }

 private:
  bool& is_dead_;
};

void Register(HbCallbackItems& items, unsigned long id, HbVariable* value = nullptr) {
  items.Register(std::make_unique<HbCallbackItem>(id, value).release());
}

TEST(HbCallbackItem, HasDefaults) {
  const HbCallbackItem item(4096, nullptr);
  EXPECT_EQ(item.GetVarId(), 4096u);
  EXPECT_EQ(item.GetValue(), nullptr);
  EXPECT_EQ(item.GetLabel(), "");
  EXPECT_EQ(item.GetButtonType(), 0);
  EXPECT_EQ(item.GetMinLenght(), 0);
  EXPECT_EQ(item.GetMaxLenght(), 65529);
  EXPECT_TRUE(item.GetFlag());
}

TEST(HbCallbackItem, KeepsWhatItIsMadeWith) {
  const VariableRef value = NewVariable();
  {
    const HbCallbackItem item(4099, value.Get(), "TAN", HbCallbackControlTan, false, 4, 8);
    EXPECT_EQ(item.GetVarId(), 4099u);
    EXPECT_EQ(item.GetValue(), value.Get());
    EXPECT_EQ(item.GetLabel(), "TAN");
    EXPECT_EQ(item.GetButtonType(), 1);
    EXPECT_EQ(item.GetMinLenght(), 4);
    EXPECT_EQ(item.GetMaxLenght(), 8);
    EXPECT_FALSE(item.GetFlag());
    EXPECT_EQ(value->GetRefCount(), 1u);
  }
  EXPECT_EQ(value->GetRefCount(), 0u);
}

TEST(HbCallbackItems, AreInTheOrderOfTheirIds) {
  HbCallbackItems items;
  for (const unsigned long id : {4106ul, 4096ul, 0xFFFFFFFFul, 4099ul}) Register(items, id);
  ASSERT_EQ(items.Count(), 4);
  EXPECT_EQ(items.GetItem(0)->GetVarId(), 4096u);
  EXPECT_EQ(items.GetItem(1)->GetVarId(), 4099u);
  EXPECT_EQ(items.GetItem(2)->GetVarId(), 4106u);
  EXPECT_EQ(items.GetItem(3)->GetVarId(), 0xFFFFFFFFu);
}

TEST(HbCallbackItems, HaveNoItemBehindTheLast) {
  HbCallbackItems items;
  EXPECT_EQ(items.GetItem(items.Count()), nullptr);
  Register(items, 1);
  EXPECT_EQ(items.GetItem(items.Count()), nullptr);
  EXPECT_EQ(items.GetItem(65535), nullptr);
}

TEST(HbCallbackItems, AreFoundByTheirIds) {
  HbCallbackItems items;
  const VariableRef value = NewVariable();
  Register(items, 4096, value.Get());
  EXPECT_EQ(items.GetItemById(4096), items.GetItem(0));
  EXPECT_EQ(items.GetValue(4096), value.Get());
  EXPECT_EQ(items.GetItemById(4097), nullptr);
  EXPECT_EQ(items.GetValue(4097), nullptr);
  EXPECT_EQ(items.GetItemById(4096 + (1ul << 32)), nullptr);
}

TEST(HbCallbackItems, InvalidateValues) {
  HbCallbackItems items;
  const VariableRef value = NewVariable();
  static_cast<HbStringVariable*>(value.Get())->Set("1234");
  Register(items, 4096, value.Get());
  Register(items, 4097);
  EXPECT_TRUE(items.InvalidateValue(4096));
  EXPECT_TRUE(value->IsNull());
  EXPECT_TRUE(items.InvalidateValue(4097));
  EXPECT_FALSE(items.InvalidateValue(4098));
}

TEST(HbCallbackItems, IgnoreNull) {
  HbCallbackItems items;
  items.Register(nullptr);
  EXPECT_EQ(items.Count(), 0);
}

TEST(HbCallbackItems, DestroyAReplacedItemUnlessItIsTheSame) {
  HbCallbackItems items;
  const VariableRef first = NewVariable();
  const VariableRef second = NewVariable();
  Register(items, 4096, first.Get());
  items.Register(items.GetItem(0));
  EXPECT_EQ(first->GetRefCount(), 1u);
  Register(items, 4096, second.Get());
  EXPECT_EQ(items.Count(), 1);
  EXPECT_EQ(items.GetValue(4096), second.Get());
  EXPECT_EQ(first->GetRefCount(), 0u);
}

TEST(HbCallbackItems, ReleaseTheirVariablesWhenTheyAreClearedOrDestroyed) {
  const VariableRef value = NewVariable();
  {
    HbCallbackItems items;
    Register(items, 1, value.Get());
    Register(items, 2, value.Get());
    EXPECT_EQ(value->GetRefCount(), 2u);
    items.Clear();
    EXPECT_EQ(items.Count(), 0);
    EXPECT_EQ(value->GetRefCount(), 0u);
    Register(items, 3, value.Get());
  }
  EXPECT_EQ(value->GetRefCount(), 0u);
}

TEST(HbCallbackItems, AVariableThatNobodyElseHoldsDiesWithItsItem) {
  bool is_dead = false;
  const auto make_own = [&](HbCallbackItems& items) {
    HbVariable* const own = std::make_unique<MortalVariable>(is_dead).release();
    Register(items, 4096, own);
    own->DecRefCount();
  };
  {
    HbCallbackItems items;
    make_own(items);
    EXPECT_FALSE(is_dead);
    items.Clear();
    EXPECT_TRUE(is_dead);
    is_dead = false;
    make_own(items);
    Register(items, 4096);
    EXPECT_TRUE(is_dead) << "replaced";
    is_dead = false;
    make_own(items);
    EXPECT_FALSE(is_dead);
  }
  EXPECT_TRUE(is_dead);
}

TEST(HbCallbackItems, KeepAtMost65535) {
  HbCallbackItems items;
  for (unsigned long id = 0; id < 65535; ++id) Register(items, id);
  const VariableRef value = NewVariable();
  Register(items, 70000, value.Get());
  EXPECT_EQ(items.Count(), 65535);
  EXPECT_EQ(items.GetItemById(70000), nullptr);
  EXPECT_EQ(value->GetRefCount(), 0u);
  Register(items, 7, value.Get());
  EXPECT_EQ(items.GetValue(7), value.Get());
}

TEST(HbCallbackItems, DestroyAnItemForWhichThereIsNoMemory) {
  HbCallbackItems items;
  const VariableRef value = NewVariable();
  auto item = std::make_unique<HbCallbackItem>(4096, value.Get());
  {
    const FailingMemory memory(0);
    items.Register(item.release());
  }
  EXPECT_EQ(items.Count(), 0);
  EXPECT_EQ(value->GetRefCount(), 0u);
}

TEST(HbCallbackData, HasDefaults) {
  HbCallbackItems items;
  const auto request = tmx::test::NewRequest();
  HbCallbackData data(&items, request.get(), true);
  EXPECT_EQ(data.GetKind(), 1u);
  EXPECT_EQ(data.GetMessage(), "");
  EXPECT_EQ(data.GetFile(), "");
  EXPECT_EQ(data.GetRequest(), request.get());
  EXPECT_EQ(data.GetParameters(), &items);
  EXPECT_EQ(std::as_const(data).GetParameters(), &items);
  EXPECT_TRUE(data.IsStorno());
  EXPECT_EQ(data.GetRequestedForRole(), 1);
}

TEST(HbCallbackData, KeepsWhatItIsMadeWith) {
  HbCallbackData data(33, "Bitte TAN", nullptr, nullptr, false);
  EXPECT_EQ(data.GetKind(), 33u);
  EXPECT_EQ(data.GetMessage(), "Bitte TAN");
  EXPECT_EQ(data.GetRequest(), nullptr);
  EXPECT_EQ(data.GetParameters(), nullptr);
  EXPECT_FALSE(data.IsStorno());
  String file = "challenge.png";
  data.SetFile(file);
  EXPECT_EQ(data.GetFile(), "challenge.png");
  data.SetRequestedForRole(HbRoleTransmitter);
  EXPECT_EQ(data.GetRequestedForRole(), 4);
}

TEST(HbCallbackData, ForgetsARequestThatDies) {
  auto request = tmx::test::NewRequest();
  const HbCallbackData data(nullptr, request.get(), false);
  const HbCallbackData copy = data;
  request.reset();
  EXPECT_EQ(data.GetRequest(), nullptr);
  EXPECT_EQ(copy.GetRequest(), nullptr);
}

}  // namespace
