// The bytes of one subroutine as they were read from a code file, shared by all its activations.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tmxtools/platform/string.h"

class HbStackFrame;

namespace tmx {

class DecodedCode;

// Immutable but for `decoded`, which the engine fills in as it executes the subroutine for the
// first time. Used by one thread at a time, as the engine is.
struct MacroCode : std::enable_shared_from_this<MacroCode> {
  MacroCode();
  ~MacroCode();
  MacroCode(const MacroCode&) = delete;
  MacroCode& operator=(const MacroCode&) = delete;

  String file_name;
  std::vector<std::uint8_t> bytes;  // at most 65535
  std::uint64_t file_set = 0;       // the state of the file stack that loaded it; 0: none
  std::unique_ptr<DecodedCode> decoded;
  // A frame that has returned and waits for the next decoded call. It refers to this code in turn,
  // so the file stack that loaded the code takes it away before it forgets the code.
  std::unique_ptr<HbStackFrame> spare_frame;
};

}  // namespace tmx
