// Whether an answer belongs to a message.
#pragma once

#include <cstddef>
#include <string>

#include "demo/host/answer_reader.h"

namespace tmx::demo {

// A message that was sent, as its answer has to name it.
struct SentMessage {
  std::string dialog;  // "0" when it begins one
  long number = 0;
};

// What is wrong with an answer of so many bytes: its size, its message number, its dialog or the
// message that it says it answers. Empty when it fits. An answer may name the dialog "0", as banks
// do that know no such dialog. No text of the answer stands in the result.
std::string MismatchOf(const AnswerReader::Result& answer, std::size_t bytes,
                       const SentMessage& sent);

}  // namespace tmx::demo
