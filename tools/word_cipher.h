// Words that take the place of others.
#pragma once

#include <openssl/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace tmx::tools {

inline bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }
inline bool IsUpper(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 0xC0 && c < 0xDF); }
// Bytes above 127 are letters in ISO 8859-1, or parts of them in UTF-8.
inline bool IsLetter(unsigned char c) { return IsUpper(c) || (c >= 'a' && c <= 'z') || c >= 0x80; }
inline bool IsWordPart(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return IsDigit(byte) || IsLetter(byte);
}

// Puts another word of the same shape in the place of each: digits for digits, capitals for
// capitals, small letters for small ones. The same word always becomes the same one; nothing is
// remembered, but the words are encrypted, so nobody gets them back without the key.
//
// Among the words of letters from A to Z and digits no two become the same. Other letters become
// some of A to Z, too, so words that have them may by chance meet others.
//
// Thread rule: one at a time. Without OpenSSL's SipHash it throws.
class WordCipher {
 public:
  static constexpr std::size_t kLongest = 64;  // longer words are replaced in pieces of it

  using Key = std::array<std::uint8_t, 16>;

  explicit WordCipher(const Key& key);
  // At most kLongest characters, all of them parts of words.
  void Replace(char* word, std::size_t size) const;

 private:
  struct Free {
    void operator()(EVP_MAC_CTX* hash) const;
  };

  Key key_;
  std::unique_ptr<EVP_MAC_CTX, Free> hash_;
};

}  // namespace tmx::tools
