// Numbers and texts as bytes of a stored format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tmx::demo {

// Numbers have their lowest byte first; texts follow their length in two bytes.
class ByteWriter {
 public:
  template <class Number>
  void Put(Number number) {
    const auto bits = static_cast<std::uint64_t>(number);
    for (std::size_t i = 0; i < sizeof(Number); ++i)
      bytes_ += static_cast<char>(bits >> 8 * i & 0xFF);
  }
  // Throw std::length_error beyond 65535.
  void PutText(std::string_view text) {
    PutCount(text.size());
    bytes_ += text;
  }
  void PutCount(std::size_t count) {
    if (count > 0xFFFF) throw std::length_error("more than 65535");
    Put(static_cast<std::uint16_t>(count));
  }
  void PutBytes(std::string_view bytes) { bytes_ += bytes; }

  std::string Take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

// Reads the same from any bytes. What lies beyond the end fails, and reads as 0 or as no text; a
// failure stays.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

  template <class Number>
  Number Get() {
    const std::string_view bytes = GetBytes(sizeof(Number));
    std::uint64_t bits = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
      bits = bits << 8 | static_cast<unsigned char>(bytes[i]);
    return static_cast<Number>(bits);
  }
  std::size_t GetCount() { return Get<std::uint16_t>(); }
  std::string_view GetText() { return GetBytes(GetCount()); }
  std::string_view GetBytes(std::size_t count) {
    if (count > rest_.size()) Fail();
    const std::string_view bytes = rest_.substr(0, failed_ ? 0 : count);
    rest_.remove_prefix(bytes.size());
    return bytes;
  }
  void Fail() {
    failed_ = true;
    rest_ = {};
  }

  bool Failed() const { return failed_; }
  bool IsAtEnd() const { return rest_.empty(); }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

}  // namespace tmx::demo
