#include "tests/support/fault_env.h"

#include <utility>

namespace tmx {

class FaultEnv::File : public EnvFile {
 public:
  File(FaultEnv& env, std::unique_ptr<EnvFile> inner) : env_(env), inner_(std::move(inner)) {}

  EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) override {
    const std::errc error = env_.Enter(EnvCall::kRead);
    if (error != std::errc{}) return {0, error};
    return inner_->ReadAt(offset, data, count);
  }
  EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                 std::size_t count) override {
    const std::errc error = env_.Enter(EnvCall::kWrite);
    if (error == std::errc{}) return inner_->WriteAt(offset, data, count);
    return {inner_->WriteAt(offset, data, count / 2).value, error};
  }
  EnvResult<std::uint64_t> Size() override {
    const std::errc error = env_.Enter(EnvCall::kSize);
    if (error != std::errc{}) return {0, error};
    return inner_->Size();
  }
  std::errc SetSize(std::uint64_t size) override {
    const std::errc error = env_.Enter(EnvCall::kSetSize);
    return error != std::errc{} ? error : inner_->SetSize(size);
  }
  std::errc Sync() override {
    const std::errc error = env_.Enter(EnvCall::kSync);
    return error != std::errc{} ? error : inner_->Sync();
  }
  std::errc Claim(const FileClaim& claim) override {
    const std::errc error = env_.Enter(EnvCall::kClaim);
    return error != std::errc{} ? error : inner_->Claim(claim);
  }

 private:
  FaultEnv& env_;
  std::unique_ptr<EnvFile> inner_;
};

void FaultEnv::Fail(EnvCall call, std::size_t nth, std::errc error, Lasting lasting) {
  Kind& kind = kinds_[static_cast<std::size_t>(call)];
  kind.first_failure = kind.calls + nth;
  kind.error = error;
  kind.lasting = lasting;
}

std::errc FaultEnv::Enter(EnvCall call) {
  Kind& kind = kinds_[static_cast<std::size_t>(call)];
  ++kind.calls;
  const bool fails = kind.first_failure != 0 &&
                     (kind.calls == kind.first_failure ||
                      (kind.lasting == Lasting::kForGood && kind.calls > kind.first_failure));
  return fails ? kind.error : std::errc{};
}

EnvResult<std::unique_ptr<EnvFile>> FaultEnv::Wrap(EnvResult<std::unique_ptr<EnvFile>> opened) {
  if (opened.Ok()) opened.value = std::make_unique<File>(*this, std::move(opened.value));
  return opened;
}

EnvResult<std::unique_ptr<EnvFile>> FaultEnv::Open(const std::string& path, FileAccess access) {
  const std::errc error = Enter(EnvCall::kOpen);
  if (error != std::errc{}) return {nullptr, error};
  return Wrap(inner_.Open(path, access));
}

EnvResult<std::unique_ptr<EnvFile>> FaultEnv::OpenTemporary() {
  const std::errc error = Enter(EnvCall::kOpenTemporary);
  if (error != std::errc{}) return {nullptr, error};
  return Wrap(inner_.OpenTemporary());
}

EnvResult<FileInfo> FaultEnv::Info(const std::string& path) {
  const std::errc error = Enter(EnvCall::kInfo);
  if (error != std::errc{}) return {{}, error};
  return inner_.Info(path);
}

std::errc FaultEnv::Rename(const std::string& from, const std::string& to) {
  const std::errc error = Enter(EnvCall::kRename);
  return error != std::errc{} ? error : inner_.Rename(from, to);
}

std::errc FaultEnv::Remove(const std::string& path) {
  const std::errc error = Enter(EnvCall::kRemove);
  return error != std::errc{} ? error : inner_.Remove(path);
}

std::errc FaultEnv::MakeDir(const std::string& path) {
  const std::errc error = Enter(EnvCall::kMakeDir);
  return error != std::errc{} ? error : inner_.MakeDir(path);
}

EnvResult<std::vector<std::string>> FaultEnv::List(const std::string& path) {
  const std::errc error = Enter(EnvCall::kList);
  if (error != std::errc{}) return {{}, error};
  return inner_.List(path);
}

std::errc FaultEnv::SyncDir(const std::string& path) {
  const std::errc error = Enter(EnvCall::kSyncDir);
  return error != std::errc{} ? error : inner_.SyncDir(path);
}

EnvResult<std::string> FaultEnv::WorkingDir() {
  const std::errc error = Enter(EnvCall::kWorkingDir);
  if (error != std::errc{}) return {{}, error};
  return inner_.WorkingDir();
}

EnvResult<std::string> FaultEnv::ProgramDir() {
  const std::errc error = Enter(EnvCall::kProgramDir);
  if (error != std::errc{}) return {{}, error};
  return inner_.ProgramDir();
}

std::optional<std::string> FaultEnv::Variable(const std::string& name) {
  return inner_.Variable(name);
}

std::errc FaultEnv::FillRandom(unsigned char* data, std::size_t count) {
  const std::errc error = Enter(EnvCall::kRandom);
  return error != std::errc{} ? error : inner_.FillRandom(data, count);
}

}  // namespace tmx
