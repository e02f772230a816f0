// Holders, stack frames and the call stack.
#include "tmxtools/macro/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/support/engine_run.h"
#include "tests/support/thrown_text.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/macro/holder.h"
#include "tmxtools/variables/variables.h"

namespace tmx {
namespace {

// A variable with a reference of the test's own.
class Own {
 public:
  explicit Own(unsigned short type) : variable_(HbVariables::CreateVariable(type)) {}
  ~Own() { variable_->DecRefCount(); }
  Own(const Own&) = delete;
  Own& operator=(const Own&) = delete;
  HbVariable* get() const { return variable_; }
  unsigned long Others() const { return variable_->GetRefCount(); }

 private:
  HbVariable* variable_;
};

TEST(HolderTest, APlainHolderHasNothing) {
  const HbVariableHolder holder(5);
  EXPECT_EQ(holder.GetType(), 5);
  EXPECT_EQ(holder.GetHolderClass(), 0);
  EXPECT_EQ(holder.GetVariable(), nullptr);
  EXPECT_EQ(holder.GetRegistry(), nullptr);
  EXPECT_EQ(holder.GetRegistryId(), 0U);
}

TEST(HolderTest, ItTakesAndDropsAReference) {
  const Own variable(1);
  {
    HbVariableHolder holder(1);
    holder.SetVariable(variable.get());
    EXPECT_EQ(variable.Others(), 1U);
  }
  EXPECT_EQ(variable.Others(), 0U);
}

TEST(HolderTest, SettingTheSameVariableLeavesTheCount) {
  const Own variable(1);
  HbVariableHolder holder(1);
  holder.SetVariable(variable.get());
  holder.SetVariable(variable.get());
  EXPECT_EQ(variable.Others(), 1U);
  // Also when the holder is the only owner.
  HbVariable* const only = HbVariables::CreateVariable(1);
  holder.SetVariable(only);
  only->DecRefCount();
  holder.SetVariable(only);
  EXPECT_EQ(only->GetRefCount(), 0U);
}

TEST(HolderTest, AnotherVariableReleasesTheFormer) {
  const Own first(1), second(1);
  HbVariableHolder holder(1);
  holder.SetVariable(first.get());
  holder.SetVariable(second.get());
  EXPECT_EQ(first.Others(), 0U);
  holder.SetVariable(nullptr);
  EXPECT_EQ(second.Others(), 0U);
}

TEST(HolderTest, AnIdBeyondThirtyTwoBitsNamesNoOtherVariable) {
  HbVariables registry;
  const NewVariable<HbStringVariable> other(new HbStringVariable);
  registry.Register(5, other.get());
  const HbVariableHolder holder(1, &registry, 0x100000005, 3);
  EXPECT_EQ(holder.GetRegistryId(), 0x100000005U);
  EXPECT_NE(registry[5], nullptr);
  EXPECT_EQ(registry[holder.GetRegistryId()], nullptr);
}

TEST(HolderTest, ADyingRegistryDetachesItsHolders) {
  auto registry = std::make_unique<HbVariables>();
  HbVariableHolder holder(1, registry.get(), 4711, 3);
  EXPECT_EQ(holder.GetRegistry(), registry.get());
  EXPECT_EQ(holder.GetRegistryId(), 4711U);
  EXPECT_EQ(holder.GetHolderClass(), 3);
  registry.reset();
  EXPECT_EQ(holder.GetRegistry(), nullptr);
}

TEST(FrameTest, IdsStartAt33) {
  HbStackFrame frame(nullptr, "Sub");
  EXPECT_EQ(frame.GetMaxVarId(), 32);
  EXPECT_EQ(frame.GetHolder(33), nullptr);
  for (int more = 0; more < 3; ++more) frame.PushParam(true);
  EXPECT_EQ(frame.GetMaxVarId(), 35);
  for (const short id : {short{32}, short{0}, short{-1}, short{-32768}, short{36}, short{32767}})
    EXPECT_EQ(frame.GetHolder(id), nullptr);
  EXPECT_EQ(frame.GetHolder(33), frame.GetHolderByPos(0));
  EXPECT_EQ(frame.GetHolder(35), frame.GetHolderByPos(2));
  EXPECT_EQ(frame.GetHolderByPos(3), nullptr);
  EXPECT_EQ(frame.GetHolderByPos(65535), nullptr);
  EXPECT_EQ(frame.GetHolderCount(), 3);
}

void ExpectParam(const HbStackFrame& frame, unsigned short position, unsigned type,
                 const VariableState& state) {
  const HbVariableHolder* holder = frame.GetHolderByPos(position);
  ASSERT_NE(holder, nullptr);
  EXPECT_EQ(holder->GetType(), type);
  EXPECT_EQ(holder->GetHolderClass(), 1);
  ASSERT_NE(holder->GetVariable(), nullptr);
  EXPECT_EQ(StateOf(*holder->GetVariable()), state);
  EXPECT_EQ(holder->GetVariable()->GetRefCount(), 0U);  // the frame alone owns it
}

TEST(FrameTest, ParametersByValueGetVariablesOfTheirOwn) {
  HbStackFrame frame(nullptr, "Sub");
  frame.PushParam(String("text"));
  frame.PushParam("literal");
  frame.PushParam(HbDate(5, 3, 2003));
  frame.PushParam(static_cast<short>(-5));
  frame.PushParam(70000L);
  frame.PushParam(true);
  frame.PushParam(HbAmount(12345, 2, "EUR"));
  ExpectParam(frame, 0, 1, {1, false, "text"});
  ExpectParam(frame, 1, 1, {1, false, "literal"});
  ExpectParam(frame, 2, 2, {2, false, "20030305"});
  ExpectParam(frame, 3, 5, {5, false, "-5"});
  ExpectParam(frame, 4, 6, {6, false, "70000"});
  ExpectParam(frame, 5, 10, {10, false, "true"});
  ExpectParam(frame, 6, 8, {1, false, "123,45"});
}

TEST(FrameTest, AParameterByReferenceIsShared) {
  const Own variable(5);
  HbStackFrame frame(nullptr, "Sub");
  frame.PushParameter(variable.get());
  EXPECT_EQ(variable.Others(), 1U);
  EXPECT_EQ(frame.GetHolder(33)->GetType(), 5);
  EXPECT_EQ(frame.GetHolder(33)->GetVariable(), variable.get());
}

TEST(FrameTest, ClearDropsTheHoldersAndKeepsWhatOthersOwn) {
  const Own variable(5);
  HbStackFrame frame(nullptr, "Sub");
  frame.PushParameter(variable.get());
  frame.PushParam("gone");
  frame.Clear();
  EXPECT_EQ(frame.GetHolderCount(), 0);
  EXPECT_EQ(frame.GetHolder(33), nullptr);
  EXPECT_EQ(variable.Others(), 0U);
  EXPECT_EQ(variable.get()->GetType(), 5);
}

TEST(FrameTest, AHolderIsTakenOver) {
  HbStackFrame frame(nullptr, "Sub");
  auto holder = std::make_unique<HbVariableHolder>(static_cast<unsigned short>(6));
  HbVariableHolder* const address = holder.get();
  frame.PushHolder(holder.release());
  EXPECT_EQ(frame.GetHolder(33), address);
  frame.Clear();
  frame.PushParam(1L);
  EXPECT_EQ(frame.GetHolder(33)->GetHolderClass(), 1);
}

// One parameter or holder of each kind. The texts and the amount are longer than a text holds in
// itself.
constexpr unsigned kPushedTypes[] = {1, 1, 1, 2, 5, 6, 10, 8, 5, 6};
const String kText("a text that is longer than fits");
const HbAmount kAmount(1234567890123456, 2, "EUR");
void PushAll(HbStackFrame& frame, HbVariable* variable, HbVariableHolder* holder) {
  frame.PushParam(kText);
  frame.PushParam("a literal that is longer than fits");
  frame.PushParam(std::string_view("a view that is longer than fits"));
  frame.PushParam(HbDate(5, 3, 2003));
  frame.PushParam(static_cast<short>(-5));
  frame.PushParam(70000L);
  frame.PushParam(true);
  frame.PushParam(kAmount);
  frame.PushParameter(variable);
  frame.PushHolder(holder);
}

TEST(FrameTest, WithoutMemoryItIsIncompleteAndNoLaterParameterTakesThePlaceOfAMissingOne) {
  const Own variable(5);
  std::size_t fewest = std::size(kPushedTypes);
  for (const std::size_t failures : {std::size_t{1}, SIZE_MAX}) {
    for (std::size_t allowed = 0;; ++allowed) {
      HbStackFrame frame(nullptr, "Sub");
      auto holder = std::make_unique<HbVariableHolder>(static_cast<unsigned short>(6));
      {
        const FailingMemory failing(allowed, failures);
        PushAll(frame, variable.get(), holder.release());
      }
      const unsigned short pushed = frame.GetHolderCount();
      for (unsigned short i = 0; i < pushed; ++i)
        EXPECT_EQ(frame.GetHolderByPos(i)->GetType(), kPushedTypes[i]);
      EXPECT_EQ(frame.IsComplete(), pushed == std::size(kPushedTypes));
      if (frame.IsComplete()) break;
      fewest = std::min<std::size_t>(fewest, pushed);
      frame.PushParam(true);
      EXPECT_EQ(frame.GetHolderCount(), pushed);
      frame.Clear();
      frame.PushParam(true);
      EXPECT_TRUE(frame.IsComplete());
      EXPECT_EQ(frame.GetHolderCount(), 1);
      ASSERT_LT(allowed, 100U);
    }
    EXPECT_EQ(variable.Others(), 0U);
  }
  EXPECT_EQ(fewest, 0U);
}

TEST(FrameTest, ATextThatIsTooLongMakesItIncomplete) {
  HbStackFrame frame(nullptr, "Sub");
  frame.PushParam(std::string_view(std::string(65536, 'x')));
  EXPECT_FALSE(frame.IsComplete());
  EXPECT_EQ(frame.GetHolderCount(), 0);
}

TEST(FrameTest, TheSourceLineIsReturnedAsSet) {
  HbStackFrame frame(nullptr, "Sub");
  EXPECT_EQ(frame.GetMacroSourceLine(), 0);
  EXPECT_EQ(frame.SetMacroSourceLine(4711), 4711);
  EXPECT_EQ(frame.GetMacroSourceLine(), 4711);
  EXPECT_EQ(frame.GetSubName(), "Sub");
}

TEST(CallStackTest, FramesAreStackedAndHandedBack) {
  HbCallStack stack;
  auto bottom = std::make_unique<HbStackFrame>(nullptr, "Bottom");
  HbStackFrame* const bottom_address = bottom.get();
  stack.PushFrame(bottom.release());
  stack.PushFrame(std::make_unique<HbStackFrame>(nullptr, "Top").release());
  EXPECT_EQ(stack.Count(), 2);
  EXPECT_EQ(stack.CurFrame()->GetSubName(), "Top");
  EXPECT_EQ(stack[0], bottom_address);
  EXPECT_EQ(stack.CurFrame()->GetStack(), &stack);
  const std::unique_ptr<HbStackFrame> top(stack.PopFrame());
  EXPECT_EQ(top->GetStack(), nullptr);
  EXPECT_EQ(stack.CurFrame(), bottom_address);
}

TEST(CallStackTest, AnEmptyStackHasNoFrame) {
  HbCallStack stack;
  EXPECT_EQ(stack.PopFrame(), nullptr);
  EXPECT_EQ(stack.CurFrame(), nullptr);
  EXPECT_EQ(stack.Count(), 0);
  EXPECT_EQ(ThrownText([&] { stack[0]; }), kBadSubscript);
}

}  // namespace
}  // namespace tmx
