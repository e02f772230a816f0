#include "tools/word_cipher.h"

#include <openssl/evp.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace tmx::tools {
namespace {

void Require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("OpenSSL makes no SipHash");
}

// A keyed hash that is fast for short texts and does not tell its key.
using Hash = std::array<std::uint16_t, 8>;
Hash HashOf(EVP_MAC_CTX* context, const WordCipher::Key& key, std::string_view text) {
  Hash hash;
  auto* const bytes = reinterpret_cast<unsigned char*>(hash.data());
  std::size_t size = 0;
  Require(EVP_MAC_init(context, key.data(), key.size(), nullptr) == 1 &&
          EVP_MAC_update(context, reinterpret_cast<const unsigned char*>(text.data()),
                         text.size()) == 1 &&
          EVP_MAC_final(context, bytes, &size, sizeof(hash)) == 1 && size == sizeof(hash));
  return hash;
}

// A word as a number with as many digits as it has characters, of ten or 26 values each, and a
// Feistel network over it: again and again one half is added to by what the hash makes of the other
// one. Each round can be undone, so no two numbers become the same.
class Network {
 public:
  Network(EVP_MAC_CTX* context, const WordCipher::Key& key, char* word, std::size_t size)
      : context_(context), key_(key), word_(word), size_(size) {
    for (std::size_t i = 0; i < size; ++i) {
      const auto byte = static_cast<unsigned char>(word[i]);
      zero_[i] = IsDigit(byte) ? '0' : IsUpper(byte) ? 'A' : 'a';
      const bool is_foreign = byte >= 0x80;
      hashed_[i] = is_foreign ? word[i] : zero_[i];
      value_[i] = is_foreign ? std::uint8_t{0} : static_cast<std::uint8_t>(word[i] - zero_[i]);
    }
  }

  void Run() {
    constexpr int kRounds = 10;
    const std::size_t half = size_ / 2;
    for (int i = 0; i < kRounds; i += 2) {
      Add(i, 0, half, half, size_);
      Add(i + 1, half, size_, 0, half);
    }
    for (std::size_t i = 0; i < size_; ++i) word_[i] = static_cast<char>(zero_[i] + value_[i]);
  }

 private:
  // Adds the hash of one part to another part.
  void Add(int round, std::size_t from, std::size_t from_end, std::size_t to, std::size_t to_end) {
    char* const numbers = hashed_.data() + size_;
    numbers[0] = static_cast<char>(round);
    const char* const end =
        std::copy(value_.begin() + from, value_.begin() + from_end, numbers + kNumbers);
    Hash hash;
    for (std::size_t i = 0; to + i < to_end; ++i) {
      if (i % hash.size() == 0) {
        numbers[1] = static_cast<char>(i / hash.size());
        hash = HashOf(context_, key_, {hashed_.data(), end});
      }
      const unsigned base = zero_[to + i] == '0' ? 10 : 26;
      const unsigned added = hash[i % hash.size()] * base >> 16;
      value_[to + i] = static_cast<std::uint8_t>((value_[to + i] + added) % base);
    }
  }

  static constexpr std::size_t kNumbers = 2;  // of the round and of the hash in it

  EVP_MAC_CTX* context_;
  const WordCipher::Key& key_;
  char* word_;
  std::size_t size_;
  std::array<char, WordCipher::kLongest> zero_{};  // the first character of each one's kind
  std::array<std::uint8_t, WordCipher::kLongest> value_{};
  // What replacing keeps, the shape and in their places the letters outside A to Z, then the
  // numbers of the hash, then one part.
  std::array<char, 2 * WordCipher::kLongest + kNumbers> hashed_{};
};

}  // namespace

void WordCipher::Free::operator()(EVP_MAC_CTX* hash) const { EVP_MAC_CTX_free(hash); }

WordCipher::WordCipher(const Key& key) : key_(key) {
  EVP_MAC* const algorithm = EVP_MAC_fetch(nullptr, "SIPHASH", nullptr);
  Require(algorithm != nullptr);
  hash_.reset(EVP_MAC_CTX_new(algorithm));
  EVP_MAC_free(algorithm);  // the context has its own reference
  Require(hash_ != nullptr);
}

void WordCipher::Replace(char* word, std::size_t size) const {
  Network(hash_.get(), key_, word, size).Run();
}

}  // namespace tmx::tools
