// Bytes that a command holds back.
#pragma once

#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/crypt_stream.h"

namespace tmx::tools {

// A stream of secrets, which moves from memory to a temporary file when it grows: in both it is
// encrypted under a random key that nobody else has.
class ScratchStream : public HbCryptStream {
 public:
  ScratchStream() {
    constexpr unsigned mode = stream_mode::Read | stream_mode::Write | crypt_mode::Encrypt;
    Init(nullptr, 0, nullptr, static_cast<unsigned short>(mode), &stored_, nullptr);
    Open();
  }
  ~ScratchStream() override { Close(); }

 private:
  SvCacheStream stored_;
};

}  // namespace tmx::tools
