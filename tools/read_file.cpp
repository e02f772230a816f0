#include "tools/read_file.h"

#include "tmxtools/platform/env.h"

namespace tmx::tools {

std::optional<std::string> ReadFile(const std::string& path) {
  const auto file = CurrentEnv().Open(path, {.read = true});
  if (!file.Ok()) return std::nullopt;
  const auto size = file.value->Size();
  if (!size.Ok()) return std::nullopt;
  std::string bytes(size.value, '\0');
  const auto read = file.value->ReadAt(0, bytes.data(), bytes.size());
  if (!read.Ok()) return std::nullopt;
  bytes.resize(read.value);
  return bytes;
}

}  // namespace tmx::tools
