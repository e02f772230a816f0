#include "tmxtools/streams/script.h"

#include <string>

#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"

namespace {

class Script : public testing::Test {
 protected:
  bool Next(HbScript& script) { return script.NextToken(kind_, line_, count_, err_); }

  tmx::MemoryEnv memory_;
  tmx::ScopedEnv scope_{memory_};
  HbError err_;
  char kind_ = '?';
  String line_;
  unsigned short count_ = 99;
};

TEST_F(Script, GivesKindLineAndFieldCount) {
  memory_.Put("s", "A;x;y\nB\nC;\n");
  HbScript script("s", err_);
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'A');
  EXPECT_EQ(line_, "A;x;y");
  EXPECT_EQ(count_, 3);
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'B');
  EXPECT_EQ(count_, 1);
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'C');
  EXPECT_EQ(count_, 2);
  EXPECT_FALSE(Next(script));
  EXPECT_FALSE(err_.IsSet());
}

TEST_F(Script, AFirstFieldOfTwoCharactersIsError17749WithNameAndLine) {
  memory_.Put("s", "AB;x\n");
  HbScript script("s", err_);
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(err_.GetCode(), 17749);
  EXPECT_EQ(*err_.GetParamText(), "/home/s: AB;x");
  EXPECT_EQ(count_, 2);
  EXPECT_EQ(kind_, '?');
  EXPECT_FALSE(script.GetStatus().IsSet());
}

TEST_F(Script, AnEmptyFirstFieldIsError17749) {
  memory_.Put("s", ";x\n");
  HbScript script("s", err_);
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(err_.GetCode(), 17749);
  EXPECT_EQ(*err_.GetParamText(), "/home/s: ;x");
}

TEST_F(Script, AnEmptyLineIsError17749WithTheNameAlone) {
  memory_.Put("s", "\nA\n");
  HbScript script("s", err_);
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(err_.GetCode(), 17749);
  EXPECT_EQ(*err_.GetParamText(), "/home/s");
  EXPECT_EQ(count_, 0);
  err_.Clear();
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'A');
}

TEST_F(Script, AnErrorTextThatWouldBeTooLongIsAnInvalidParameter) {
  memory_.Put("s", std::string(65535, 'x'));
  HbScript script("s", err_);
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(err_.GetCode(), 0x454F);
  EXPECT_EQ(*err_.GetParamText(), "/home/s");
}

TEST_F(Script, WithoutMemoryForItsTextAMalformedRecordIs17748) {
  memory_.Put("s", "A\n");
  HbScript script("s", err_);
  for (const std::size_t failures : {std::size_t{1}, SIZE_MAX}) {
    for (std::size_t allowed = 0;; ++allowed) {
      script.PushBackLine("a line without a kind, longer than a text holds in itself");
      err_.Clear();
      bool next = true;
      {
        const FailingMemory failing(allowed, failures);
        next = Next(script);
      }
      EXPECT_FALSE(next);
      if (err_.GetCode() == 17749 && err_.GetParamText()->Len() > 20) break;
      // Without memory for an error there is none.
      if (allowed == 0) EXPECT_EQ(err_.GetCode(), failures == 1 ? 17748 : 0);
      ASSERT_LT(allowed, 100U);
    }
  }
  err_.Clear();
  EXPECT_TRUE(Next(script));
}

TEST_F(Script, GivesBackALineWithoutReadingTheFile) {
  memory_.Put("s", "A\nB\n");
  HbScript script("s", err_);
  EXPECT_TRUE(Next(script));
  script.PushBackLine("P;1");
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'P');
  EXPECT_EQ(line_, "P;1");
  EXPECT_EQ(count_, 2);
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'B');
}

TEST_F(Script, GivesBackEvenWhenItIsClosed) {
  HbScript script;
  script.PushBackLine("P");
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'P');
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(script.GetStatus().GetCode(), 17740);
}

TEST_F(Script, OfTwoLinesGivenBackOnlyTheSecondIsKept) {
  memory_.Put("s", "A\n");
  HbScript script("s", err_);
  script.PushBackLine("P");
  script.PushBackLine("Q");
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'Q');
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'A');
}

TEST_F(Script, TheEmptyLineGivesNoneBack) {
  memory_.Put("s", "A\n");
  HbScript script("s", err_);
  script.PushBackLine("P");
  script.PushBackLine("");
  EXPECT_TRUE(Next(script));
  EXPECT_EQ(kind_, 'A');
}

TEST_F(Script, IsNotCreatedAndIsSharedWithWriters) {
  HbScript missing("s", err_);
  EXPECT_EQ(err_.GetCode(), 0x4547);
  EXPECT_FALSE(memory_.Info("s").Ok());
  err_.Clear();
  memory_.Put("s", "A\n");
  const HbScript script("s", err_);
  const HbFile writer(err_, "s", tmx::stream_mode::Write);
  EXPECT_FALSE(err_.IsSet());
}

TEST_F(Script, AnErrorBroughtAlongFailsEvenAGoodRecord) {
  HbScript script;
  script.PushBackLine("P;1");
  err_.SetError(17500);
  EXPECT_FALSE(Next(script));
  EXPECT_EQ(kind_, 'P');
  EXPECT_EQ(err_.GetCode(), 17500);
}

}  // namespace
