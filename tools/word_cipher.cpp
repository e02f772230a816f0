#include "tools/word_cipher.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tmx::tools {
namespace {

// A word as a number with as many digits as it has characters, of ten or 26 values each, and a
// Feistel network over it: again and again one half is added to by what the hash makes of the other
// one. Each round can be undone, so no two numbers become the same.
class Network {
 public:
  Network(const SipKey& key, char* word, std::size_t size) : key_(key), word_(word), size_(size) {
    // What replacing keeps: the shape, and in their places the letters outside A to Z.
    std::array<char, WordCipher::kLongest> shape{};
    for (std::size_t i = 0; i < size; ++i) {
      const auto byte = static_cast<unsigned char>(word[i]);
      zero_[i] = IsDigit(byte) ? '0' : IsUpper(byte) ? 'A' : 'a';
      const bool is_foreign = byte >= 0x80;
      shape[i] = is_foreign ? word[i] : zero_[i];
      value_[i] = is_foreign ? std::uint8_t{0} : static_cast<std::uint8_t>(word[i] - zero_[i]);
    }
    shape_ = SipHash(key, {shape.data(), size});
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
    constexpr std::size_t kHead = sizeof(shape_) + 2;
    std::array<char, kHead + WordCipher::kLongest> text;
    std::memcpy(text.data(), &shape_, sizeof(shape_));
    text[sizeof(shape_)] = static_cast<char>(round);
    std::copy(value_.begin() + from, value_.begin() + from_end, text.begin() + kHead);
    for (std::size_t i = 0; to + i < to_end; ++i) {
      // One hash is enough for four characters, 16 bits each.
      if (i % 4 == 0) {
        text[kHead - 1] = static_cast<char>(i / 4);
        hash_ = SipHash(key_, {text.data(), kHead + from_end - from});
      }
      const unsigned base = zero_[to + i] == '0' ? 10 : 26;
      const auto added = static_cast<unsigned>(hash_ & 0xFFFF) * base >> 16;
      value_[to + i] = static_cast<std::uint8_t>((value_[to + i] + added) % base);
      hash_ >>= 16;
    }
  }

  const SipKey& key_;
  char* word_;
  std::size_t size_;
  std::uint64_t shape_ = 0;
  std::uint64_t hash_ = 0;
  std::array<char, WordCipher::kLongest> zero_{};  // the first character of each one's kind
  std::array<std::uint8_t, WordCipher::kLongest> value_{};
};

}  // namespace

void WordCipher::Replace(char* word, std::size_t size) const { Network(key_, word, size).Run(); }

}  // namespace tmx::tools
