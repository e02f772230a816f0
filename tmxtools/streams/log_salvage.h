// Saving what is whole of a communication log whose end was cut.
#pragma once

#include <cstdint>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

namespace tmx {

struct SalvageReport {
  std::uint32_t blocks = 0;  // saved, with the lines of date and time
  std::uint32_t saved = 0;   // bytes of contents
  std::uint32_t lost = 0;    // bytes that could be decrypted but belong to no whole block
};

// Writes a new log with all whole blocks of a damaged one. A log that a crash left without its last
// padding is refused by the encrypted stream; here every whole 8 bytes are decrypted with the
// session key from the log's key block, and blocks without their end are left out.
//
// `saved` is replaced and must not be `damaged`. False after an error: 17400 when the file is no
// log or the key is not its key, 17748 without memory, or the code of a stream error with the
// file's name.
TMX_EXPORT bool SalvageLog(const String& damaged, const String& saved, const String& key,
                           SalvageReport& report, HbError& err);

}  // namespace tmx
