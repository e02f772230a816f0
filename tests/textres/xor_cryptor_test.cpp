#include "tmxtools/textres/xor_cryptor.h"

#include <gtest/gtest.h>

namespace tmx {
namespace {

std::string AllBytes(std::size_t length) {
  std::string bytes;
  for (std::size_t i = 0; i < length; ++i) bytes += static_cast<char>(i * 7);
  return bytes;
}

std::string Hex(const std::string& bytes, const char* digits) {
  std::string text;
  for (const char raw : bytes) {
    const auto byte = static_cast<unsigned char>(raw);
    text += {digits[byte >> 4], digits[byte & 15]};
  }
  return text;
}

TEST(XORCryptor, DecryptingGivesTheTextBackForEveryLength) {
  for (std::size_t length = 0; length < 300; ++length) {
    const std::string text = AllBytes(length);
    ASSERT_EQ(XORCryptor::decrypt(XORCryptor::encrypt(text)), text);
    ASSERT_EQ(XORCryptor::encrypt(text), XORCryptor::decrypt(text));
  }
}

TEST(XORCryptor, TheKeyRepeatsAndChangesTheText) {
  const std::string key = XORCryptor::encrypt(std::string(200, '\0'));
  EXPECT_EQ(key.substr(0, 27), "Nebelkraehe-7:Laternenpfahl");
  EXPECT_EQ(key.substr(0, 173), key.substr(27));
  EXPECT_EQ(XORCryptor::encrypt(""), "");
}

TEST(XORCryptor, ReadsHexadecimalInBothCases) {
  const std::string text = AllBytes(256);
  const std::string hidden = XORCryptor::encrypt(text);
  EXPECT_EQ(XORCryptor::decryptHex(Hex(hidden, "0123456789abcdef")), text);
  EXPECT_EQ(XORCryptor::decryptHex(Hex(hidden, "0123456789ABCDEF")), text);
  EXPECT_EQ(XORCryptor::decryptHex(""), "");
}

TEST(XORCryptor, AMissingFirstDigitCountsAsZero) {
  EXPECT_EQ(XORCryptor::decryptHex("a5108"), XORCryptor::decryptHex("0a5108"));
  EXPECT_EQ(XORCryptor::decryptHex("a5108").size(), 3U);
}

TEST(XORCryptor, AnyOtherCharacterGivesAnEmptyText) {
  EXPECT_EQ(XORCryptor::decryptHex("0g"), "");
  for (int byte = 0; byte < 256; ++byte) {
    const char digit = static_cast<char>(byte);
    const bool is_digit =
        std::string_view("0123456789abcdefABCDEF").find(digit) != std::string::npos;
    EXPECT_EQ(XORCryptor::decryptHex({'4', '1', digit, '0'}).empty(), !is_digit) << byte;
    EXPECT_EQ(XORCryptor::decryptHex({'4', '1', '0', digit}).empty(), !is_digit) << byte;
  }
}

}  // namespace
}  // namespace tmx
