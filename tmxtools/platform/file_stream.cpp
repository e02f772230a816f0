#include "tmxtools/platform/file_stream.h"

#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace mode = tmx::stream_mode;
namespace codes = tmx::stream_error;

namespace tmx {

std::uint32_t StreamErrorOf(std::errc error, std::uint32_t otherwise) {
  static constexpr std::pair<int, std::uint32_t> kTable[] = {
      {ENOENT, codes::FileNotFound},     {ENOTDIR, codes::PathNotFound},
      {EACCES, codes::AccessDenied},     {EPERM, codes::AccessDenied},
      {EROFS, codes::AccessDenied},      {EISDIR, codes::InvalidAccess},
      {ENOTSUP, codes::InvalidAccess},   {EMFILE, codes::TooManyOpenFiles},
      {ENFILE, codes::TooManyOpenFiles}, {ENOSPC, codes::DiskFull},
      {EDQUOT, codes::DiskFull},         {EAGAIN, codes::LockingViolation},
      {EINVAL, codes::InvalidParameter}, {ENAMETOOLONG, codes::InvalidParameter},
      {EFBIG, codes::InvalidParameter},  {ENOMEM, codes::OutOfMemory},
  };
  for (const auto& [number, code] : kTable) {
    if (number == static_cast<int>(error)) return code;
  }
  return otherwise;
}

namespace {

// Whether the directory that the file would lie in exists.
bool HasDirectory(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return true;
  const EnvResult<FileInfo> info = CurrentEnv().Info(slash == 0 ? "/" : path.substr(0, slash));
  return info.Ok() && info.value.is_directory;
}

}  // namespace
}  // namespace tmx

void SvFileStream::Open(const String& name, std::uint16_t mode_bits) {
  Close();
  ResetError();
  name_ = name;
  const bool reads = (mode_bits & mode::Read) != 0;
  const bool writes = (mode_bits & mode::Write) != 0;
  if ((!reads && !writes) || (!writes && (mode_bits & mode::Truncate) != 0)) {
    SetError(codes::InvalidParameter);
    return;
  }
  const bool creates = writes && (mode_bits & mode::NoCreate) == 0;
  try {
    const std::string path(name.View());
    tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> opened =
        tmx::CurrentEnv().Open(path, {reads, writes, creates});
    if (opened.error == std::errc::no_such_file_or_directory && !tmx::HasDirectory(path)) {
      opened.error = std::errc::not_a_directory;
    }
    if (Note(opened.error, creates ? codes::CannotCreate : codes::General)) return;
    Take(std::move(opened.value), mode_bits);
  } catch (const std::bad_alloc&) {
    Close();
    SetError(codes::OutOfMemory);
  }
}

void SvFileStream::OpenTemporary() {
  Close();
  ResetError();
  name_.Clear();
  try {
    auto opened = tmx::CurrentEnv().OpenTemporary();
    if (Note(opened.error, codes::CannotCreate)) return;
    Take(std::move(opened.value), mode::Read | mode::Write);
  } catch (const std::bad_alloc&) {
    Close();
    SetError(codes::OutOfMemory);
  }
}

// Makes an opened file the stream's own, if the claim holds and the size can be told.
void SvFileStream::Take(std::unique_ptr<tmx::EnvFile> file, std::uint16_t mode_bits) {
  const auto has = [mode_bits](std::uint16_t bits) { return (mode_bits & bits) != 0; };
  const tmx::FileClaim claim{has(mode::Read), has(mode::Write), has(mode::DenyRead | mode::DenyAll),
                             has(mode::DenyWrite | mode::DenyAll)};
  if (Note(file->Claim(claim), codes::General)) return;
  // Only now is it certain that nobody else is disturbed.
  if (has(mode::Truncate) && Note(file->SetSize(0), codes::WriteError)) return;
  const auto size = file->Size();
  if (Note(size.error, codes::General)) return;
  if (size.value > MaxSize) {
    SetError(codes::InvalidParameter);
    return;
  }
  file_ = std::move(file);
  can_read_ = has(mode::Read);
  SetWritable(has(mode::Write));
}

void SvFileStream::Close() {
  file_.reset();
  at_ = 0;
  can_read_ = false;
  SetWritable(false);
  SetPosition(0);
}

bool SvFileStream::Note(std::errc error, std::uint32_t otherwise) {
  if (error == std::errc{}) return false;
  SetError(tmx::StreamErrorOf(error, otherwise));
  return true;
}

bool SvFileStream::RequireAccess(bool allowed) {
  if (!IsOpen()) {
    SetError(codes::General);
  } else if (!allowed) {
    SetError(codes::AccessDenied);
  }
  return !HasError();
}

unsigned long SvFileStream::GetData(char* data, unsigned long count) {
  if (!RequireAccess(can_read_)) return 0;
  const auto read = file_->ReadAt(at_, data, count);
  at_ += read.value;
  Note(read.error, codes::ReadError);
  return read.value;
}

unsigned long SvFileStream::PutData(const char* data, unsigned long count) {
  if (!RequireAccess(IsWritable())) return 0;
  const auto written = file_->WriteAt(at_, data, count);
  at_ += written.value;
  if (!Note(written.error, codes::WriteError) && written.value < count) {
    SetError(codes::WriteError);
  }
  return written.value;
}

unsigned long SvFileStream::FileSize() {
  const auto size = file_->Size();
  if (Note(size.error, codes::CannotSeek)) return at_;
  if (size.value <= MaxSize) return size.value;
  SetError(codes::InvalidParameter);
  return at_;
}

unsigned long SvFileStream::SeekPos(unsigned long position) {
  if (!RequireAccess(true)) return 0;
  at_ = position == SeekToEnd ? FileSize() : position;
  return at_;
}

void SvFileStream::SetSize(unsigned long size) {
  if (RequireAccess(IsWritable())) Note(file_->SetSize(size), codes::WriteError);
}

void SvFileStream::SyncData() {
  if (RequireAccess(true)) Note(file_->Sync(), codes::WriteError);
}
