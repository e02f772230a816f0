// What a client sends, taken out of its envelope and checked before anybody looks at the orders.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "demo/hbci_syntax.h"

namespace tmx::demo {

/// A return code with the text that goes with it.
struct Finding {
  std::string code;
  std::string text;
};

/// What HNVSK, HNSHK and HNSHA say about the sender; their elements agree with each other.
struct Signature {
  std::string profile;    // the version of the method PIN, "1" or "2"; empty in version 220
  std::string function;   // 999 or a two-step procedure
  std::string reference;  // of the signature's head and end
  std::string bank_code;
  std::string user;
  std::string system_id;
  std::string pin;
  std::string tan;
  int end_number = 0;  // of the segment with the PIN
};

struct RequestMessage {
  std::string dialog = "0";
  int number = 1;
  int version = 300;                   // of the standard: 300 or 220
  std::optional<Signature> signature;  // none in an anonymous dialog
  std::vector<Segment> orders;         // everything but the envelope, the signature and the ends
};

/// The request as far as it could be understood, and why it is refused as a whole.
struct ReadResult {
  RequestMessage request;
  std::optional<Finding> refusal;
};

/// Messages longer than this are refused unread.
inline constexpr std::size_t kLongestMessage = 256 * 1024;

/// Checks syntax, length, numbers and envelope of any bytes.
ReadResult ReadRequest(std::string_view bytes);

}  // namespace tmx::demo
