// Texts of which nobody says whether they are ISO 8859-1 or UTF-8; what is valid UTF-8 is taken for
// it.
#pragma once

#include <string>
#include <string_view>

#include "tools/log_bytes.h"

namespace tmx::tools {

std::string AsUtf8(std::string_view bytes);
bool IsUtf8(const Produce& text);

// Makes ISO 8859-1 of valid UTF-8 that comes in pieces. Characters that ISO 8859-1 does not have
// become "?".
class Latin1Decoder {
 public:
  std::string Decode(std::string_view utf8);

 private:
  unsigned char first_ = 0;  // of the character
};

// Makes dots of the control characters in valid UTF-8 that comes in pieces. A terminal obeys those
// of two bytes, too.
class ControlFilter {
 public:
  std::string Filter(std::string_view utf8);

 private:
  bool is_held_back_ = false;  // the first byte of what may be such a character
};

// For texts that are asked for twice.
void PutAsUtf8(const Produce& text, const Sink& to);
// Characters that ISO 8859-1 does not have become "?".
void PutAsLatin1(const Produce& text, const Sink& to);

}  // namespace tmx::tools
