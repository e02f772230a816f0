#include "tmxtools/platform/program.h"

#include "tmxtools/platform/env.h"

namespace tmx {

std::string ProgramDirectory() {
  const auto directory = CurrentEnv().ProgramDir();
  return directory.Ok() ? directory.value : std::string();
}

bool IsReadableFile(const std::string& path) {
  return CurrentEnv().Open(path, {.read = true}).Ok();
}

std::string EnvironmentVariable(const std::string& name) {
  return CurrentEnv().Variable(name).value_or(std::string());
}

}  // namespace tmx
