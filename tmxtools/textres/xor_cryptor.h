// Obscures short texts.
#pragma once

#include <string>

#include "tmxtools/platform/export.h"

// XOR of a text with a fixed key text that is repeated to the text's length. It keeps a text from
// being read by chance; it is no encryption. Texts and results may hold any byte. No state; may be
// used by several threads at once.
class TMX_EXPORT XORCryptor {
 public:
  static std::string encrypt(std::string const& text);
  // The same as encrypt().
  static std::string decrypt(std::string const& text);
  // Takes hexadecimal digits, of which a missing first one counts as 0. Empty when there is any
  // other character.
  static std::string decryptHex(std::string const& hexText);

 private:
  static std::string getKey(std::string const& text);
  static int getValueOfHexChar(char const& digit);
};
