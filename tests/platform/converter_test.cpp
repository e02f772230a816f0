#include "tmxtools/platform/converter.h"

#include "tests/support/print.h"

namespace {

TEST(Converter, MakesEverySmallLetterOfISO88591Capital) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool small = (byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte <= 0xFE);
    const unsigned expected = small && byte != 0xF7 ? byte - 0x20 : byte;
    const char before = static_cast<char>(byte);
    const String upper = vos::Converter::toUpper(String(&before, 1), "german");
    ASSERT_EQ(upper.Len(), 1);
    EXPECT_EQ(static_cast<unsigned char>(upper.At(0)), expected) << byte;
  }
}

TEST(Converter, LeavesSharpSAndYDiaeresisAndTheDivisionSign) {
  EXPECT_EQ(vos::Converter::toUpper("\xDF\xFF\xF7", "german"), "\xDF\xFF\xF7");
}

TEST(Converter, AsksNoLocale) {
  EXPECT_EQ(vos::Converter::toUpper("gr\xFC\xDF", "C"), "GR\xDC\xDF");
  EXPECT_EQ(vos::Converter::toUpper("", "german"), "");
}

}  // namespace
