#include "tmxtools/textres/message_resolver.h"

#include <gtest/gtest.h>

#include <fstream>
#include <locale>
#include <ostream>

#include "tests/support/temp_dir.h"
#include "tmxtools/textres/number_text.h"
#include "tmxtools/textres/text_resolver.h"

namespace tmx {
namespace {

using com::velmora::core::lexical_cast;
using hbk::HbLanguageType;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class OneCode : public IMessageResolver {
 public:
  OneCode(unsigned short code, std::string text) : code_(code), text_(std::move(text)) {
    MessageResolverManager::getInstance()->add(this);
  }
  ~OneCode() override { MessageResolverManager::getInstance()->remove(this); }
  bool canResolve(unsigned short code) const override { return code == code_; }
  std::string getMessage(unsigned short) override { return text_; }
  bool setLanguage(HbLanguageType) override { return false; }

 private:
  unsigned short code_;
  std::string text_;
};

std::string MessageOf(unsigned short code) {
  return MessageResolverManager::getInstance()->getMessage(code);
}

TEST(MessageResolverManager, SaysThatNoResolverKnowsACode) {
  EXPECT_EQ(MessageOf(0x4123), "Unresolved Error code: 16675 ResId: 291");
}

TEST(MessageResolverManager, OfTwoResolversTheOneAddedFirstWins) {
  const OneCode first(5, "first");
  {
    const OneCode second(5, "second"), other(6, "other");
    EXPECT_EQ(MessageOf(5), "first");
    EXPECT_EQ(MessageOf(6), "other");
  }
  EXPECT_EQ(MessageOf(6), "Unresolved Error code: 6 ResId: 6");
}

TEST(MessageResolverManager, TakesOneResolverTwiceAndRemovesOneAtATime) {
  MessageResolverManager* const manager = MessageResolverManager::getInstance();
  const OneCode twice(5, "text");
  manager->add(&twice);
  manager->remove(&twice);
  EXPECT_EQ(MessageOf(5), "text");
}

TEST(MessageResolverManager, IgnoresNull) {
  MessageResolverManager* const manager = MessageResolverManager::getInstance();
  manager->add(nullptr);
  manager->remove(nullptr);
  EXPECT_EQ(MessageOf(5), "Unresolved Error code: 5 ResId: 5");
  EXPECT_EQ(manager, MessageResolverManager::getInstance());
}

TEST(MessageResolverManager, KnowsTheTextsBesideTheProgramFromTheStart) {
  EXPECT_EQ(MessageOf(2701), "offen");
}

// Each test gives the process another text resource file and puts the old one back.
class TextResolver : public testing::Test {
 protected:
  TextResolver() { HbTextResolver::DeInit(); }
  ~TextResolver() override {
    HbTextResolver::DeInit();
    HbTextResolver::Init(TMX_BINARY_DIR "/tests/textres.bin", HbLanguageType::kGerman);
  }
  std::string Write(const std::string& bytes) {
    const std::string path = directory_.File("t.bin");
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  static constexpr HbLanguageType kOther{1033};
  TempDir directory_;
};

TEST_F(TextResolver, WithoutInitSaysSo) {
  EXPECT_FALSE(HbTextResolver::isInit());
  EXPECT_FALSE(HbTextResolver::exist(42, HbLanguageType::kGerman));
  EXPECT_EQ(HbTextResolver::GetText(42, HbLanguageType::kGerman),
            "[resource file not initialized]");
}

TEST_F(TextResolver, AKeyInSectionDeutschResolvesItsCode) {
  IniFileMessageResolver resolver(Write("42: zu frueh\n[DEUTSCH]\n 42 :\t Text: \xE4 \n"));
  EXPECT_TRUE(resolver.canResolve(42));
  EXPECT_EQ(resolver.getMessage(42), "Text: \xE4");
  EXPECT_FALSE(resolver.canResolve(43));
  EXPECT_EQ(resolver.getMessage(43), "[43]:unknown resource");
  EXPECT_FALSE(resolver.setLanguage(kOther));
}

TEST_F(TextResolver, UsesTheSameSectionForEveryLanguage) {
  HbTextResolver::Init(Write("[DEUTSCH]\n42:x\n"), kOther);
  EXPECT_TRUE(HbTextResolver::exist(42, kOther));
  EXPECT_EQ(HbTextResolver::GetText(42, kOther), "x");
  EXPECT_EQ(HbTextResolver::GetText(-1, kOther), "[-1]:unknown resource");
}

TEST_F(TextResolver, OnlyTheFirstInitHasAnEffect) {
  HbTextResolver::Init(Write("[DEUTSCH]\n42:x\n"), HbLanguageType::kGerman);
  CaptureStdout();
  HbTextResolver::Init("missing.bin", HbLanguageType::kGerman);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(HbTextResolver::GetText(42, HbLanguageType::kGerman), "x");
}

TEST_F(TextResolver, AMissingFileIsReportedAndCountsAsEmpty) {
  const std::string path = directory_.File("missing.bin");
  CaptureStdout();
  IniFileMessageResolver resolver(path);
  EXPECT_EQ(GetCapturedStdout(), "No File found with Name: " + path + "\n");
  EXPECT_TRUE(HbTextResolver::isInit());
  EXPECT_FALSE(resolver.canResolve(17490));
  EXPECT_EQ(resolver.getMessage(17490), "[17490]:unknown resource");
}

TEST_F(TextResolver, AFileWithoutTheSectionResolvesNothing) {
  HbTextResolver::Init(Write("42:x\n"), HbLanguageType::kGerman);
  EXPECT_FALSE(HbTextResolver::exist(42, HbLanguageType::kGerman));
}

// A number whose output fails.
struct Broken {
  friend std::ostream& operator<<(std::ostream& out, const Broken&) {
    out.setstate(std::ios::failbit);
    return out;
  }
};

TEST(LexicalCast, MakesTheDefaultDecimalForm) {
  EXPECT_EQ(lexical_cast(0), "0");
  EXPECT_EQ(lexical_cast(-17490), "-17490");
  EXPECT_EQ(lexical_cast(static_cast<unsigned short>(65535)), "65535");
  EXPECT_EQ(lexical_cast(2.5), "2.5");
}

TEST(LexicalCast, AFailureIsABadCast) {
  try {
    lexical_cast(Broken());
    FAIL();
  } catch (const std::bad_cast& error) {
    EXPECT_STREQ(error.what(), "bad lexical cast");
    EXPECT_NE(dynamic_cast<const com::velmora::core::bad_lexical_cast*>(&error), nullptr);
  }
}

TEST(LexicalCast, AsksNoLocale) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
    char do_decimal_point() const override { return ','; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(lexical_cast(17490), "17490");
  EXPECT_EQ(lexical_cast(2.5), "2.5");
  std::locale::global(before);
}

struct Counted {
  explicit Counted(int& count) : count_(count) {}
  ~Counted() { ++count_; }
  int& count_;
};

TEST(DestroyGuard, DeletesItsObjectOnce) {
  int deleted = 0;
  {
    com::velmora::core::destroy<Counted> guard(std::make_unique<Counted>(deleted).release());
    EXPECT_EQ(deleted, 0);
  }
  EXPECT_EQ(deleted, 1);
  { const com::velmora::core::destroy<Counted> guard; }
  EXPECT_EQ(deleted, 1);
}

TEST(DestroyGuard, TakesOverAnotherObject) {
  int deleted = 0;
  const auto first = std::make_unique<Counted>(deleted);
  {
    com::velmora::core::destroy<Counted> guard(first.get());
    guard.setInstance(std::make_unique<Counted>(deleted).release());
  }
  EXPECT_EQ(deleted, 1);
}

}  // namespace
}  // namespace tmx
