// Puts messages together by the macros.
#pragma once

#include <string>

#include "demo/host/macro_runner.h"
#include "demo/secret_string.h"
#include "tmxtools/banking/message.h"

namespace tmx::demo {

// Owner: its maker; the runner must outlive it. Empty state: none. Threads: the engine's.
class MessageWriter {
 public:
  explicit MessageWriter(MacroRunner& runner) : runner_(runner) {}

  // The bytes of a message: its requests between the segments that the macros put around them, in
  // the order of their numbers. The values of what is around them stand in the message's head. The
  // number of each request's segment becomes a field of its values. False with the error of the
  // macros. A message holds the PIN, so its parts leave nothing behind.
  bool Write(HbMessage& message, SecretString& bytes, HbError& error);

  // The number of a request's segment in the message that was written last.
  static std::uint32_t SegmentNumber(const HbRequest& request);

 private:
  bool Append(HbRequest& request, const std::string& name, SecretString& bytes, HbError& error,
              long parameter);

  MacroRunner& runner_;
};

}  // namespace tmx::demo
