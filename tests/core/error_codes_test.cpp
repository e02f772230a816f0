#include "tmxtools/core/error_codes.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>

#include "tmxtools/core/error.h"
#include "tmxtools/textres/text_res.h"

namespace tmx {
namespace {

class ShippedTexts : public testing::Test {
 protected:
  ShippedTexts() {
    EXPECT_TRUE(file_.load(TMX_SOURCE_DIR "/resources/textres.bin"));
    EXPECT_TRUE(file_.exist_section("DEUTSCH"));
  }
  HbTextResSection& Texts() { return file_.section("DEUTSCH"); }

  HbTextResFile file_;
};

TEST_F(ShippedTexts, HaveATextForEveryCode) {
  for (const ErrorCode& row : kErrorCodes) {
    const auto text = Texts().find_value(std::to_string(row.code));
    ASSERT_TRUE(text.has_value()) << row.code;
    EXPECT_FALSE(text->empty()) << row.code;
  }
}

TEST_F(ShippedTexts, HaveNoTextForAnythingElse) {
  EXPECT_EQ(++file_.begin(), file_.end());
  for (const HbTextRes& entry : Texts()) {
    const int code = std::stoi(entry.name());
    ASSERT_EQ(std::to_string(code), entry.name());
    EXPECT_NE(FindErrorCode(static_cast<std::uint16_t>(code)), nullptr) << code;
  }
}

TEST_F(ShippedTexts, AreIso8859Texts) {
  bool has_umlaut = false;
  for (const HbTextRes& entry : Texts()) {
    for (const char raw : entry.value()) {
      const auto byte = static_cast<unsigned char>(raw);
      // 0xC3 leads an umlaut in UTF-8 and stands in no German text of ISO 8859-1.
      EXPECT_TRUE((byte >= 0x20 && byte < 0x7F) || (byte >= 0xA0 && byte != 0xC3)) << entry.name();
      has_umlaut = has_umlaut || byte == 0xFC;
    }
  }
  EXPECT_TRUE(has_umlaut);
}

TEST(ErrorCodes, HaveNamesOfTheirOwn) {
  std::set<std::string_view> names;
  for (const ErrorCode& row : kErrorCodes) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    EXPECT_FALSE(row.arises.empty()) << row.name;
    EXPECT_TRUE(std::isupper(static_cast<unsigned char>(row.name.front()))) << row.name;
  }
}

TEST(ErrorCodes, CoverTheStatusesAndTheStreamErrors) {
  for (std::uint16_t code = 2701; code <= 2708; ++code) EXPECT_TRUE(FindErrorCode(code));
  for (std::uint16_t code = 0x4547; code <= 0x4558; ++code) EXPECT_TRUE(FindErrorCode(code));
  EXPECT_EQ(FindErrorCode(17490)->name, "MalformedMacro");
  EXPECT_EQ(FindErrorCode(17491), nullptr);
  EXPECT_EQ(FindErrorCode(0), nullptr);
  EXPECT_EQ(FindErrorCode(65535), nullptr);
}

TEST(ErrorCodes, AnErrorTakesTheShippedText) {
  EXPECT_EQ(HbError(17490).GetText()->View(), "Das Makro ist fehlerhaft.");
}

}  // namespace
}  // namespace tmx
