// Turns a bank's answer into segments by the macros.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/message_splitter.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/macro/banking_engine.h"

namespace tmx::demo {

// The answer as segments, in the order of the message. The reader of a segment is the macros'
// subroutine that is named after its code and version, and OtherSegment for a segment that has
// none.
//
// Owner: its maker; the engine must outlive it. Empty state: no known subroutines; nothing is read.
// Threads: one at a time, together with the engine.
class AnswerReader {
 public:
  struct Result {
    std::vector<Ref<HbSegment>> segments;
    std::vector<MessageProblem> problems;
  };

  // The engine has the macro files of the user's access.
  explicit AnswerReader(HbMacroEngine& engine) : engine_(engine) {}

  // Takes any bytes; what cannot be read is reported, and costs no other segment. The engine's
  // request is another one afterwards: none.
  Result Read(std::string_view message);

 private:
  Ref<HbSegment> ReadSegment(const MessageSegment& segment, std::string& problem);
  bool HasReader(const std::string& name);
  bool Run(const MessageSegment& segment, const std::string& name, bool other, HbError& error);

  HbMacroEngine& engine_;
  std::map<std::string, bool, std::less<>> readers_;
  HbRequest holder_{String(), 0, 0, nullptr, nullptr};  // takes what the macros commit
};

}  // namespace tmx::demo
