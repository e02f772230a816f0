// An operating system that fails on command, for tests.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tmxtools/platform/env.h"

namespace tmx {

enum class EnvCall {
  kOpen,
  kOpenTemporary,
  kInfo,
  kRename,
  kRemove,
  kMakeDir,
  kList,
  kSyncDir,
  kWorkingDir,
  kProgramDir,
  kRandom,
  kRead,
  kWrite,
  kSize,
  kSetSize,
  kSync,
  kClaim,
  kCount,
};

// Passes every call on to another environment, counts the calls of each kind, and fails the n-th
// of a kind, once or from then on. A write that fails has written the first half of its bytes.
class FaultEnv : public Env {
 public:
  enum class Lasting { kOnce, kForGood };

  explicit FaultEnv(Env& inner) : inner_(inner) {}

  // Has the n-th call from now (the first is 1) fail.
  void Fail(EnvCall call, std::size_t nth, std::errc error, Lasting lasting = Lasting::kOnce);
  // Forgets all faults and counts.
  void Reset() { kinds_ = {}; }
  std::size_t Count(EnvCall call) const { return kinds_[static_cast<std::size_t>(call)].calls; }

  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess access) override;
  EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() override;
  EnvResult<FileInfo> Info(const std::string& path) override;
  std::errc Rename(const std::string& from, const std::string& to) override;
  std::errc Remove(const std::string& path) override;
  std::errc MakeDir(const std::string& path) override;
  EnvResult<std::vector<std::string>> List(const std::string& path) override;
  std::errc SyncDir(const std::string& path) override;
  EnvResult<std::string> WorkingDir() override;
  EnvResult<std::string> ProgramDir() override;
  std::optional<std::string> Variable(const std::string& name) override;
  std::errc FillRandom(unsigned char* data, std::size_t count) override;

 private:
  class File;
  struct Kind {
    std::size_t calls = 0;
    std::size_t first_failure = 0;  // 0: none
    std::errc error{};
    Lasting lasting = Lasting::kOnce;
  };

  // Counts a call and says how it fails.
  std::errc Enter(EnvCall call);
  EnvResult<std::unique_ptr<EnvFile>> Wrap(EnvResult<std::unique_ptr<EnvFile>> opened);

  Env& inner_;
  std::array<Kind, static_cast<std::size_t>(EnvCall::kCount)> kinds_{};
};

}  // namespace tmx
