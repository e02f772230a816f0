// Files that hold keys, for all commands.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "tmxtools/platform/secret.h"
#include "tmxtools/platform/string.h"

namespace tmx::tools {

// An option names a file that holds no such key. Nobody else needs to catch it: tmx says what is
// wrong, "--key-file NAME: WHY", and ends with kWrongUse.
class UnusableKey : public std::runtime_error {
 public:
  UnusableKey(const std::string& option, const std::string& path, const std::string& why)
      : std::runtime_error(option + " " + path + ": " + why) {}
};

// What may be wrong when something that a key protects is refused.
inline constexpr char kOtherKey[] = "made with another key, or changed since";

// What a file or pipe holds, which must be something; throws UnusableKey.
SecretBytes ReadSecretFile(const std::string& option, const std::string& path);
// `length` bytes from a file that holds them as they are or as hexadecimal digits, after which a
// line end may follow; throws UnusableKey.
SecretBytes ReadKeyFile(const std::string& option, const std::string& path, std::size_t length);
// The key of a log, which is a text: the file's bytes without one line end at the end; throws
// UnusableKey. The caller wipes it.
String ReadLogKey(const std::string& option, const std::string& path);

}  // namespace tmx::tools
