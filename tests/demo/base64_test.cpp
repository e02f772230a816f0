#include "demo/base64.h"

#include <gtest/gtest.h>

namespace tmx::demo {
namespace {

TEST(Base64, KnownTextsBothWays) {
  const std::pair<const char*, const char*> rows[] = {{"", ""},
                                                      {"f", "Zg=="},
                                                      {"fo", "Zm8="},
                                                      {"foo", "Zm9v"},
                                                      {"foob", "Zm9vYg=="},
                                                      {"fooba", "Zm9vYmE="},
                                                      {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(ToBase64(bytes), text);
    EXPECT_EQ(FromBase64(text), bytes);
  }
}

TEST(Base64, AllBytesComeBack) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(FromBase64(ToBase64(bytes)), bytes);
}

TEST(Base64, LineBreaksArePassedOver) { EXPECT_EQ(FromBase64("Zm9\r\nv\n"), "foo"); }

TEST(Base64, AnythingElseIsRefused) {
  for (const char* const text : {"Z", "Zg", "Zg=", "Zg===", "Zh==", "Zm9=", "Z===", "=",
                                 "====", "Zg==Zg==", "Zm9*", "Zm 9v", "=Zm9"})
    EXPECT_EQ(FromBase64(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tmx::demo
