#include "tools/utf8.h"

#include <utility>

#include "tools/output.h"

namespace tmx::tools {
namespace {

// Whether bytes are UTF-8, told while they pass by.
class Utf8Check {
 public:
  void Add(std::string_view bytes) {
    for (const char c : bytes) Add(static_cast<unsigned char>(c));
  }
  // Behind the last byte.
  bool IsUtf8() const { return is_good_ && missing_ == 0; }

 private:
  void Add(unsigned char byte) {
    if (missing_ != 0) {
      is_good_ = is_good_ && byte >= lowest_ && byte <= highest_;
      --missing_;
    } else if (byte >= 0x80) {
      is_good_ = is_good_ && byte >= 0xC2 && byte <= 0xF4;
      missing_ = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
      lowest_ = byte == 0xE0 ? 0xA0 : byte == 0xF0 ? 0x90 : 0x80;
      highest_ = byte == 0xED ? 0x9F : byte == 0xF4 ? 0x8F : 0xBF;
      return;
    }
    lowest_ = 0x80;
    highest_ = 0xBF;
  }

  bool is_good_ = true;
  int missing_ = 0;
  // What the next byte of a character may be.
  unsigned char lowest_ = 0x80, highest_ = 0xBF;
};

}  // namespace

bool IsUtf8(const Produce& text) {
  Utf8Check check;
  text([&](std::string_view piece) { check.Add(piece); });
  return check.IsUtf8();
}

std::string AsUtf8(std::string_view bytes) {
  Utf8Check check;
  check.Add(bytes);
  return check.IsUtf8() ? std::string(bytes) : Utf8(bytes);
}

std::string Latin1Decoder::Decode(std::string_view utf8) {
  constexpr unsigned char last_first = 0xC3;  // of the characters up to 255
  std::string text;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else if (byte >= 0xC0) {
      first_ = byte;
      if (first_ > last_first) text += '?';
    } else if (first_ <= last_first) {
      text += static_cast<char>((first_ & 3) << 6 | (byte & 0x3F));
    }
  }
  return text;
}

std::string ControlFilter::Filter(std::string_view utf8) {
  constexpr char first_of_two = '\xC2';
  std::string text;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    const bool is_second = std::exchange(is_held_back_, c == first_of_two);
    if (is_held_back_) continue;
    const bool is_control = is_second ? byte < 0xA0 : byte < 0x20 || byte == 0x7F;
    if (is_second && !is_control) text += first_of_two;
    text += is_control ? '.' : c;
  }
  return text;
}

void PutAsUtf8(const Produce& text, const Sink& to) {
  if (IsUtf8(text)) return text(to);
  text([&](std::string_view piece) { to(Utf8(piece)); });
}

void PutAsLatin1(const Produce& text, const Sink& to) {
  if (!IsUtf8(text)) return text(to);
  Latin1Decoder decoder;
  text([&](std::string_view piece) { to(decoder.Decode(piece)); });
}

}  // namespace tmx::tools
