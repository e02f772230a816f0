#include "tools/scratch_file.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tmxtools/platform/env.h"

namespace tmx::tools {
namespace {

// The file that is removed when a signal ends the program; empty for none.
char doomed[4096];

extern "C" void RemoveAndDie(int signal_number) {
  unlink(doomed);
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

void Doom(const std::string& name) {
  doomed[name.copy(doomed, sizeof(doomed) - 1)] = '\0';
  for (const int signal_number : {SIGHUP, SIGINT, SIGTERM}) {
    if (std::signal(signal_number, RemoveAndDie) == SIG_IGN) std::signal(signal_number, SIG_IGN);
  }
}

}  // namespace

std::string BehindLinks(const std::string& path) {
  std::error_code failure;
  const auto target = std::filesystem::canonical(path, failure);
  return failure ? path : target.string();
}

ScratchFile::ScratchFile(const std::string& path) : name_(path + ".XXXXXX") {
  const int file = mkstemp(name_.data());
  if (file >= 0) {
    close(file);
    Doom(name_);
  } else {
    name_.clear();
  }
}

ScratchFile::~ScratchFile() {
  if (!name_.empty()) CurrentEnv().Remove(name_);
  doomed[0] = '\0';
}

bool ScratchFile::RenameTo(const std::string& path) {
  {
    const auto file = CurrentEnv().Open(name_, {.read = true, .write = true});
    if (!file.Ok() || file.value->Sync() != std::errc{}) return false;
  }
  std::error_code failure;
  const auto before = std::filesystem::status(path, failure);
  if (std::filesystem::exists(before)) {
    std::filesystem::permissions(name_, before.permissions(), failure);
    if (failure) return false;
  }
  if (CurrentEnv().Rename(name_, path) != std::errc{}) return false;
  doomed[0] = '\0';
  name_.clear();
  const std::string directory = std::filesystem::path(path).parent_path();
  return CurrentEnv().SyncDir(directory.empty() ? "." : directory) == std::errc{};
}

}  // namespace tmx::tools
