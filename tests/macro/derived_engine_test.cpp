// What the engine offers to engines that derive from it: the helpers that measure the field at the
// cursor, the texts of codes, and holders that designate the variables of a registry of theirs.
#include <gtest/gtest.h>

#include <string>

#include "tests/macro/every_engine.h"
#include "tests/support/engine_run.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/variables/variables.h"

namespace tmx {
namespace {

constexpr unsigned kDigits = 200, kBlanks = 201, kBind = 202, kReplace = 203;
constexpr unsigned short kSecretClass = 9, kStaticClass = 3;
constexpr unsigned long kPin = 4099;

// Measures the field at the cursor, binds new holders to its registry, and changes the text there.
class RegistryEngine : public MeMacroEngine {
 public:
  explicit RegistryEngine(bool decoded) : MeMacroEngine(EngineHost::kMacroPath) {
    if (decoded) EnableDecodedDispatch();
  }
  using MeMacroEngine::GetErrorText;
  HbVariables registry;
  int digits = -1;
  bool blanks = false;

  std::string Registered(unsigned long id) const {
    return StateOf(*registry[id]).null ? "null" : StateOf(*registry[id]).value;
  }
  void Register(unsigned long id, const char* text) { registry.PutFieldString(text, id); }

 protected:
  void Dispatch(unsigned short opcode, unsigned short count) override {
    if (opcode == kDigits) {
      digits = GetNumDigits(ReadUInt());
    } else if (opcode == kBlanks) {
      blanks = OnlyBlanks(ReadUInt());
    } else if (opcode == kBind) {
      const unsigned short holder_class = ReadByte();
      PushHolder(new HbVariableHolder(1, &registry, ReadUInt(), holder_class));
    } else if (opcode == kReplace) {
      Register(ReadUInt(), "replaced");
    } else {
      MeMacroEngine::Dispatch(opcode, count);
    }
  }
};

CodeBuilder Bind(unsigned short holder_class, unsigned long id) {
  return CodeBuilder().Op(kBind, 2).Byte(holder_class).U16(static_cast<unsigned>(id));
}
CodeBuilder Write(int id) { return CodeBuilder().Op(7, 1).Var(id); }

// Both ways of running commands.
class RegistryEngineTest : public ::testing::TestWithParam<bool> {
 protected:
  RegistryEngineTest() { env_.MakeDir(EngineHost::kMacroDir); }
  bool Run(const CodeBuilder& code) {
    for (const MacroImage& file : {TestFile(code), ImageBuilder("general").Build()}) {
      const std::string path = std::string(EngineHost::kMacroDir) + "/" + file.name;
      env_.Put(path + ".hbz", *file.index);
      env_.Put(path + ".hbx", *file.code);
    }
    engine_.ClearFiles(true);
    engine_.PushFile("test", err_);
    return engine_.Call(engine_.LoadSub("SUB", err_), err_);
  }
  // Runs a command at the start of an input; the soft error that it leaves.
  unsigned SoftErrorAfter(const std::string& input, const CodeBuilder& command) {
    Run(CodeBuilder().Op(58, 1).Str(input).Raw(command.Bytes()).Exit());
    EXPECT_EQ(engine_.GetInputPos(), 0U);
    return engine_.GetLastCmdError().IsSet() ? engine_.GetLastCmdError().GetCode() : 0;
  }

  MemoryEnv env_;
  ScopedEnv scoped_{env_};
  HbError err_;
  RegistryEngine engine_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(EveryEngine, RegistryEngineTest, ::testing::Bool());

TEST_P(RegistryEngineTest, TheTextOfAnErrorCodeIsItsNumber) {
  String text = "before";
  engine_.GetErrorText(17490, text);
  EXPECT_EQ(text, "17490");
}

TEST_P(RegistryEngineTest, AHolderThatTheFrameCannotTakeEndsTheMacro) {
  CodeBuilder many;
  for (int i = 0; i < 20; ++i) many.Raw(Bind(kStaticClass, 4711).Bytes());
  EXPECT_TRUE(Run(many.Exit()));
  unsigned failed = 0;
  for (std::size_t allowed = 0; allowed < 100; ++allowed) {
    engine_.ClearFiles(true);
    err_.Clear();
    engine_.PushFile("test", err_);
    HbStackFrame* const frame = engine_.LoadSub("SUB", err_);
    bool ok = false;
    {
      const FailingMemory failing(allowed, 1);
      ok = engine_.Call(frame, err_);
    }
    EXPECT_EQ(engine_.GetCallStack(), nullptr);
    EXPECT_EQ(err_.GetCode(), ok ? 0 : 17490);
    failed += ok ? 0 : 1;
  }
  EXPECT_GT(failed, 20U);
}

// ---- measuring the field ---------------------------------------------------------------------

using NumDigitsTest = RegistryEngineTest;
INSTANTIATE_TEST_SUITE_P(EveryEngine, NumDigitsTest, ::testing::Bool());

TEST_P(NumDigitsTest, NeitherBlankNorDigitIsZeroWithTheSoftError) {
  EXPECT_EQ(SoftErrorAfter("X", CodeBuilder().Op(kDigits, 1).U16(2)), 17494U);
  EXPECT_EQ(engine_.digits, 0);
}

TEST_P(NumDigitsTest, BlanksAloneAreCountedWithoutError) {
  EXPECT_EQ(SoftErrorAfter("  ", CodeBuilder().Op(kDigits, 1).U16(2)), 0U);
  EXPECT_EQ(engine_.digits, 2);
}

TEST_P(NumDigitsTest, LeadingBlanksCountTowardTheLimitAndTheResult) {
  EXPECT_EQ(SoftErrorAfter("  123", CodeBuilder().Op(kDigits, 1).U16(4)), 0U);
  EXPECT_EQ(engine_.digits, 4);
  EXPECT_EQ(SoftErrorAfter(" 1 2", CodeBuilder().Op(kDigits, 1).U16(65535)), 0U);
  EXPECT_EQ(engine_.digits, 2);
}

TEST_P(NumDigitsTest, ALimitOfZeroAndAnEmptyInputHaveNone) {
  EXPECT_EQ(SoftErrorAfter("12", CodeBuilder().Op(kDigits, 1).U16(0)), 17494U);
  EXPECT_EQ(engine_.digits, 0);
  EXPECT_EQ(SoftErrorAfter("", CodeBuilder().Op(kDigits, 1).U16(2)), 17494U);
  EXPECT_EQ(engine_.digits, 0);
}

using OnlyBlanksTest = RegistryEngineTest;
INSTANTIATE_TEST_SUITE_P(EveryEngine, OnlyBlanksTest, ::testing::Bool());

TEST_P(OnlyBlanksTest, AFieldBeyondTheEndOfTheInputCountsAsBlank) {
  const auto only_blanks = [this](const std::string& input, unsigned max) {
    EXPECT_EQ(SoftErrorAfter(input, CodeBuilder().Op(kBlanks, 1).U16(max)), 0U);
    return engine_.blanks;
  };
  EXPECT_TRUE(only_blanks("  ", 5));
  EXPECT_TRUE(only_blanks("", 5));
  EXPECT_TRUE(only_blanks("  x", 2));
  EXPECT_FALSE(only_blanks("  x", 3));
  EXPECT_TRUE(only_blanks("x", 0));
}

// ---- secrets ---------------------------------------------------------------------------------

using SecretTest = RegistryEngineTest;
INSTANTIATE_TEST_SUITE_P(EveryEngine, SecretTest, ::testing::Bool());

TEST_P(SecretTest, IsTakenOutOfTheRegistryAndReadAgainFromThePrivateCopy) {
  for (const unsigned long id : {4099UL, 4100UL, 4101UL}) {
    engine_.Register(id, "1234");
    const HbVariable* const registered = engine_.registry[id];
    EXPECT_TRUE(Run(Bind(kSecretClass, id).Raw(Write(33).Bytes()).Raw(Write(33).Bytes()).Exit()));
    EXPECT_EQ(engine_.GetOutput(), "12341234");
    EXPECT_EQ(engine_.registry[id], registered);
    EXPECT_EQ(engine_.Registered(id), "null");
    EXPECT_EQ(registered->GetRefCount(), 0U);  // the registry alone owns it
  }
}

TEST_P(SecretTest, OtherIdsAndOtherClassesShareTheVariable) {
  for (const unsigned long id : {4098UL, 4102UL}) {
    engine_.Register(id, "1234");
    EXPECT_TRUE(Run(Bind(kSecretClass, id).Raw(Write(33).Bytes()).Exit()));
    EXPECT_EQ(engine_.GetOutput(), "1234");
    EXPECT_EQ(engine_.Registered(id), "1234");
  }
  engine_.Register(kPin, "1234");
  EXPECT_TRUE(Run(Bind(kStaticClass, kPin).Raw(Write(33).Bytes()).Exit()));
  EXPECT_EQ(engine_.GetOutput(), "1234");
  EXPECT_EQ(engine_.Registered(kPin), "1234");
}

TEST_P(SecretTest, WhatIsRegisteredAfterwardsIsNotTaken) {
  engine_.Register(kPin, "1234");
  CodeBuilder code = Bind(kSecretClass, kPin).Raw(Write(33).Bytes());
  code.Op(kReplace, 1).U16(kPin).Raw(Write(33).Bytes());
  EXPECT_TRUE(Run(code.Exit()));
  EXPECT_EQ(engine_.GetOutput(), "12341234");
  EXPECT_EQ(engine_.Registered(kPin), "replaced");
}

TEST_P(SecretTest, AnAssignmentChangesThePrivateCopyAlone) {
  engine_.Register(kPin, "1234");
  EXPECT_TRUE(Run(
      Bind(kSecretClass, kPin).Op(3, 3).Byte(1).Var(33).Str("new").Raw(Write(33).Bytes()).Exit()));
  EXPECT_EQ(engine_.GetOutput(), "new");
  EXPECT_EQ(engine_.Registered(kPin), "null");
}

TEST_P(SecretTest, AskingWhetherItIsNullTakesItToo) {
  engine_.Register(kPin, "1234");
  CodeBuilder code = Bind(kSecretClass, kPin).Op(145, 1).U16(33).Raw(Write(33).Bytes());
  EXPECT_TRUE(Run(code.Exit()));
  EXPECT_FALSE(engine_.GetCondition());
  EXPECT_EQ(engine_.GetOutput(), "1234");
  EXPECT_EQ(engine_.Registered(kPin), "null");
}

}  // namespace
}  // namespace tmx
