// What a bank shows its user before it believes him.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tmxtools/banking/segment.h"

namespace tmx::demo {

enum class ChallengeKind : std::uint8_t {
  kText,
  kPicture,  // a file of `type`, as "image/png"
  kFlicker,  // a code for optical TAN generators, in hexadecimal digits
};

// A challenge in its parts. Plain values.
struct Challenge {
  ChallengeKind kind = ChallengeKind::kText;
  std::string text;           // for the user, ISO 8859-1
  std::string type;           // of the picture
  std::string bytes;          // picture or code
  std::string medium;         // that the user needs; empty if the bank names none
  bool is_elsewhere = false;  // to be confirmed on another device; no TAN is asked for
};

// Told each challenge before the TAN is asked for, or before the wait for a confirmation begins.
using ShowChallenge = std::function<void(const Challenge&)>;

// From HITAN. Bytes that are no picture with its type are a code: none is lost.
Challenge ReadChallenge(const HbSegment& hitan, bool is_elsewhere);

}  // namespace tmx::demo
