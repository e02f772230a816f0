// Prints docs/errors.md from the table of codes and the texts of the library.
#include <cstdio>
#include <string>

#include "tmxtools/core/error_codes.h"
#include "tmxtools/textres/message_resolver.h"

namespace {

// The texts are ISO 8859-1, the docs UTF-8.
std::string ToUtf8(const std::string& latin1) {
  std::string utf8;
  for (const char raw : latin1) {
    const auto byte = static_cast<unsigned char>(raw);
    if (byte < 0x80) {
      utf8 += raw;
    } else {
      utf8 += static_cast<char>(0xC0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

constexpr const char* kIntroduction =
    R"(# Codes

Every code that the library sets, with its text from `textres.bin`. The kind of an error follows
from its code alone: warning below 0x4000, error below 0x8000, critical below 0xC000, fatal above.
The codes 2701 to 2708 are not errors; they carry the texts of the statuses of requests, messages,
dialogs and jobs. 17740 and 17749 mean two things each, and their texts fit both.

A code that no resolver knows has the text "Unresolved Error code: N ResId: M".

| Code | | Name | Where it arises | Text |
|---|---|---|---|---|
)";

}  // namespace

int main() {
  std::fputs(kIntroduction, stdout);
  for (const tmx::ErrorCode& row : tmx::kErrorCodes) {
    const std::string text = MessageResolverManager::getInstance()->getMessage(row.code);
    std::printf("| %u | 0x%04X | %.*s | %.*s | %s |\n", row.code, row.code,
                static_cast<int>(row.name.size()), row.name.data(),
                static_cast<int>(row.arises.size()), row.arises.data(), ToUtf8(text).c_str());
  }
  return 0;
}
