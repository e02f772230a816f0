#include "tmxtools/textres/xor_cryptor.h"

#include <string_view>

namespace {

// Texts obscured with another key cannot be read back, so it never changes.
constexpr std::string_view kKey = "Nebelkraehe-7:Laternenpfahl";

}  // namespace

// At least as long as the text.
std::string XORCryptor::getKey(std::string const& text) {
  std::string stream(kKey);
  while (stream.size() < text.size()) stream += stream[stream.size() - kKey.size()];
  return stream;
}

std::string XORCryptor::encrypt(std::string const& text) {
  const std::string stream = getKey(text);
  std::string result = text;
  for (std::size_t i = 0; i < result.size(); ++i)
    result[i] = static_cast<char>(result[i] ^ stream[i]);
  return result;
}

std::string XORCryptor::decrypt(std::string const& text) { return encrypt(text); }

int XORCryptor::getValueOfHexChar(char const& digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

std::string XORCryptor::decryptHex(std::string const& hexText) {
  const std::string digits = hexText.size() % 2 == 0 ? hexText : "0" + hexText;
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = getValueOfHexChar(digits[i]);
    const int low = getValueOfHexChar(digits[i + 1]);
    if (high < 0 || low < 0) return {};
    bytes += static_cast<char>(16 * high + low);
  }
  return encrypt(bytes);
}
