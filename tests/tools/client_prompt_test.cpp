// What tmx client gives macros that ask.
#include "tools/client_prompt.h"

#include <gmock/gmock.h>

#include <fstream>

#include "tests/support/temp_dir.h"

namespace tmx::tools {
namespace {

constexpr unsigned long kPin = 4096;

class ClientPromptTest : public testing::Test {
 protected:
  ClientPromptTest() { std::ofstream(secrets_.File("pin")) << "12345\n"; }

  long Give(HbVariable* value) {
    items_.Register(new HbCallbackItem(kPin, value, "PIN", HbCallbackControlPin, true, 5, 12));
    HbCallbackData asked(&items_, nullptr, false);
    testing::internal::CaptureStderr();
    const long given = prompt_.Give(asked);
    said_ = testing::internal::GetCapturedStderr();
    return given;
  }

  TempDir secrets_;
  ClientPrompt prompt_{secrets_.File("pin"), "", ""};
  HbCallbackItems items_;
  std::string said_;
};

TEST_F(ClientPromptTest, GivesAPinThatIsAText) {
  const auto text = Ref<HbStringVariable>::Adopt(new HbStringVariable);
  EXPECT_EQ(Give(text.Get()), 1);
  EXPECT_EQ(text->Get(), "12345");
  EXPECT_EQ(said_, "");
}

TEST_F(ClientPromptTest, GivesNothingElse) {
  const auto number = Ref<HbLongVariable>::Adopt(new HbLongVariable);
  EXPECT_EQ(Give(number.Get()), 0);
  EXPECT_EQ(said_, "tmx client: the macros want a PIN that is no text\n");
  EXPECT_EQ(Give(nullptr), 0);
  EXPECT_EQ(said_, "tmx client: the macros want a PIN that is no text\n");
}

}  // namespace
}  // namespace tmx::tools
