// An operating system that refuses everything, to derive from: a fuzz target gives it the few files
// that it needs, which is cheaper than a whole one in memory.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tmxtools/platform/env.h"

namespace tmx {

class RefusingEnv : public Env {
 public:
  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string&, FileAccess) override {
    return {{}, kRefused};
  }
  EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() override { return {{}, kRefused}; }
  EnvResult<FileInfo> Info(const std::string&) override { return {{}, kRefused}; }
  std::errc Rename(const std::string&, const std::string&) override { return kRefused; }
  std::errc Remove(const std::string&) override { return kRefused; }
  std::errc MakeDir(const std::string&) override { return kRefused; }
  EnvResult<std::vector<std::string>> List(const std::string&) override { return {{}, kRefused}; }
  std::errc SyncDir(const std::string&) override { return kRefused; }
  EnvResult<std::string> WorkingDir() override { return {{}, kRefused}; }
  EnvResult<std::string> ProgramDir() override { return {{}, kRefused}; }
  std::optional<std::string> Variable(const std::string&) override { return std::nullopt; }
  std::errc FillRandom(unsigned char*, std::size_t) override { return kRefused; }

 protected:
  static constexpr std::errc kRefused = std::errc::not_supported;
};

}  // namespace tmx
