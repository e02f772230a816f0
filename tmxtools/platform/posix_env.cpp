// The operating system behind the seam, for Linux.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE  // open file description locks, O_TMPFILE
#endif

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "tmxtools/platform/env.h"

namespace tmx {
namespace {

std::errc LastError() { return static_cast<std::errc>(errno); }

std::errc ErrorUnless(bool good) { return good ? std::errc{} : LastError(); }

// Repeats a call that a signal interrupted.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

bool HasZeroByte(const std::string& path) { return path.find('\0') != std::string::npos; }

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;

  int Get() const { return number_; }
  bool IsOpen() const { return number_ >= 0; }

 private:
  int number_;
};

// Moves `count` bytes with a call that may move fewer at a time.
template <class Call>
EnvResult<std::size_t> MoveAll(std::uint64_t offset, std::size_t count, Call call) {
  EnvResult<std::size_t> result;
  while (result.value < count) {
    const auto position = static_cast<off_t>(offset + result.value);
    const std::size_t piece = std::min<std::size_t>(count - result.value, SSIZE_MAX);
    const ssize_t moved = Retry([&] { return call(result.value, piece, position); });
    if (moved < 0) {
      result.error = LastError();
      break;
    }
    if (moved == 0) break;
    result.value += static_cast<std::size_t>(moved);
  }
  return result;
}

// A claim is held as locks on bytes far behind any content. Each of its four statements has a range
// of such bytes; an opening locks one byte in the range of every statement that it makes. Another
// opening finds a conflict as a lock of somebody else in the range opposite. The locks belong to
// the open file, so they hold within a process too, and the system drops them when it is closed.
//
// A file opened only for writing cannot take shared locks; that is why a range has many bytes.
class ClaimLocks {
 public:
  ClaimLocks(int descriptor, bool can_read)
      : descriptor_(descriptor), lock_type_(can_read ? short{F_RDLCK} : short{F_WRLCK}) {}

  std::errc Take(const FileClaim& claim) const {
    // Two openings at one moment may each see the other and both give way; then they try again.
    constexpr int attempts = 5;
    constexpr useconds_t first_pause = 500;
    const bool denies = claim.denies_read || claim.denies_write;
    for (int attempt = 0;; ++attempt) {
      // Looking first keeps a hopeless attempt from disturbing others.
      std::errc error = FindConflict(claim);
      if (error != std::errc{}) return Excuse(error, denies);
      error = Place(claim);
      if (error != std::errc{}) return Excuse(error, denies);
      error = FindConflict(claim);
      if (error != kConflict) return error;
      Drop();
      if (attempt == attempts) return kConflict;
      usleep(first_pause << attempt);
    }
  }

 private:
  static constexpr std::errc kConflict = std::errc::resource_unavailable_try_again;
  static constexpr off_t kRangeLength = 4096;
  enum Range : off_t {
    kReads = off_t{1} << 61,
    kWrites = kReads + kRangeLength,
    kDeniesRead = kWrites + kRangeLength,
    kDeniesWrite = kDeniesRead + kRangeLength,
    kEnd = kDeniesWrite + kRangeLength,
  };

  // A file system without locks serves those who deny nothing.
  static std::errc Excuse(std::errc error, bool denies) {
    return error == kConflict || denies ? error : std::errc{};
  }

  std::errc SetLock(short type, off_t start, off_t length) const {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    if (Retry([&] { return fcntl(descriptor_, F_OFD_SETLK, &lock); }) == 0) return {};
    return errno == EACCES ? kConflict : LastError();
  }

  // Takes the first byte of the range that is free for this kind of lock.
  std::errc PlaceIn(Range range) const {
    std::errc error{};
    for (off_t slot = 0; slot < kRangeLength; ++slot) {
      error = SetLock(lock_type_, range + slot, 1);
      if (error != kConflict) break;
    }
    return error;
  }

  std::errc FindIn(Range range) const {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = range;
    lock.l_len = kRangeLength;
    if (Retry([&] { return fcntl(descriptor_, F_OFD_GETLK, &lock); }) != 0) return LastError();
    return lock.l_type == F_UNLCK ? std::errc{} : kConflict;
  }

  using Statement = std::pair<bool, Range>;
  template <class Action>
  static std::errc ForEach(const std::array<Statement, 4>& statements, Action action) {
    for (const auto& [made, range] : statements) {
      if (!made) continue;
      if (const std::errc error = action(range); error != std::errc{}) return error;
    }
    return {};
  }

  std::errc FindConflict(const FileClaim& claim) const {
    return ForEach({Statement{claim.reads, kDeniesRead}, Statement{claim.writes, kDeniesWrite},
                    Statement{claim.denies_read, kReads}, Statement{claim.denies_write, kWrites}},
                   [this](Range range) { return FindIn(range); });
  }
  std::errc Place(const FileClaim& claim) const {
    return ForEach(
        {Statement{claim.reads, kReads}, Statement{claim.writes, kWrites},
         Statement{claim.denies_read, kDeniesRead}, Statement{claim.denies_write, kDeniesWrite}},
        [this](Range range) { return PlaceIn(range); });
  }
  void Drop() const { SetLock(F_UNLCK, kReads, kEnd - kReads); }

  int descriptor_;
  short lock_type_;
};

class PosixFile : public EnvFile {
 public:
  PosixFile(Descriptor descriptor, bool can_read)
      : descriptor_(std::move(descriptor)), can_read_(can_read) {}

  EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) override {
    return MoveAll(offset, count, [&](std::size_t done, std::size_t piece, off_t position) {
      return pread(descriptor_.Get(), data + done, piece, position);
    });
  }
  EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                 std::size_t count) override {
    return MoveAll(offset, count, [&](std::size_t done, std::size_t piece, off_t position) {
      return pwrite(descriptor_.Get(), data + done, piece, position);
    });
  }
  EnvResult<std::uint64_t> Size() override {
    struct stat info {};
    const std::errc error = ErrorUnless(fstat(descriptor_.Get(), &info) == 0);
    return {static_cast<std::uint64_t>(info.st_size), error};
  }
  std::errc SetSize(std::uint64_t size) override {
    const auto length = static_cast<off_t>(size);
    return ErrorUnless(Retry([&] { return ftruncate(descriptor_.Get(), length); }) == 0);
  }
  std::errc Sync() override {
    return ErrorUnless(Retry([&] { return fdatasync(descriptor_.Get()); }) == 0);
  }
  std::errc Claim(const FileClaim& claim) override {
    return ClaimLocks(descriptor_.Get(), can_read_).Take(claim);
  }

 private:
  Descriptor descriptor_;
  bool can_read_;
};

using OpenResult = EnvResult<std::unique_ptr<EnvFile>>;

// What all openings share: never inherited, never a terminal, and no wait for the other end of a
// pipe, which is refused afterwards.
constexpr int kAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr mode_t kNewFileMode = 0666;

Descriptor OpenPath(const char* path, int flags, mode_t mode = kNewFileMode) {
  return Descriptor(Retry([&] { return open(path, flags | kAlways, mode); }));
}

std::errc RefuseUnlessRegular(const Descriptor& descriptor) {
  struct stat info {};
  if (fstat(descriptor.Get(), &info) != 0) return LastError();
  if (S_ISDIR(info.st_mode)) return std::errc::is_a_directory;
  return S_ISREG(info.st_mode) ? std::errc{} : std::errc::not_supported;
}

class DirectoryStream {
 public:
  explicit DirectoryStream(const std::string& path) : stream_(opendir(path.c_str())) {}
  ~DirectoryStream() {
    if (stream_ != nullptr) closedir(stream_);
  }
  DirectoryStream(const DirectoryStream&) = delete;
  DirectoryStream& operator=(const DirectoryStream&) = delete;

  bool IsOpen() const { return stream_ != nullptr; }
  // The next name, or null at the end and after an error (errno is then not 0).
  const char* Next() {
    errno = 0;
    const dirent* const entry = readdir(stream_);
    return entry == nullptr ? nullptr : entry->d_name;
  }

 private:
  DIR* stream_;
};

class PosixEnv : public Env {
 public:
  OpenResult Open(const std::string& path, FileAccess access) override {
    if (HasZeroByte(path)) return {nullptr, std::errc::invalid_argument};
    const int create = access.create ? O_CREAT : 0;
    // A file to be written is opened for reading too where that is allowed, since shared locks
    // need it.
    bool can_read = true;
    Descriptor descriptor = OpenPath(path.c_str(), (access.write ? O_RDWR : O_RDONLY) | create);
    std::errc error = ErrorUnless(descriptor.IsOpen());
    if (error == std::errc::permission_denied && access.write && !access.read) {
      can_read = false;
      return Finish(OpenPath(path.c_str(), O_WRONLY | create), can_read);
    }
    if (error != std::errc{}) return {nullptr, error};
    return Finish(std::move(descriptor), can_read);
  }

  OpenResult OpenTemporary() override {
    const std::string directory = Variable("TMPDIR").value_or("/tmp");
    constexpr mode_t owner_only = 0600;
    Descriptor unnamed = OpenPath(directory.c_str(), O_TMPFILE | O_RDWR | O_EXCL, owner_only);
    if (unnamed.IsOpen()) return Finish(std::move(unnamed), true);
    // Not every file system makes files without a name.
    std::string name = directory + "/tmxtools-XXXXXX";
    Descriptor named(mkostemp(name.data(), O_CLOEXEC));
    if (!named.IsOpen()) return {nullptr, LastError()};
    if (unlink(name.c_str()) != 0) return {nullptr, LastError()};
    return Finish(std::move(named), true);
  }

  EnvResult<FileInfo> Info(const std::string& path) override {
    if (HasZeroByte(path)) return {{}, std::errc::invalid_argument};
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return {{}, LastError()};
    return {{S_ISDIR(info.st_mode), static_cast<std::uint64_t>(info.st_size)}, {}};
  }
  std::errc Rename(const std::string& from, const std::string& to) override {
    if (HasZeroByte(from) || HasZeroByte(to)) return std::errc::invalid_argument;
    return ErrorUnless(rename(from.c_str(), to.c_str()) == 0);
  }
  std::errc Remove(const std::string& path) override {
    if (HasZeroByte(path)) return std::errc::invalid_argument;
    return ErrorUnless(remove(path.c_str()) == 0);
  }
  std::errc MakeDir(const std::string& path) override {
    if (HasZeroByte(path)) return std::errc::invalid_argument;
    constexpr mode_t all = 0777;
    return ErrorUnless(mkdir(path.c_str(), all) == 0);
  }
  EnvResult<std::vector<std::string>> List(const std::string& path) override {
    if (HasZeroByte(path)) return {{}, std::errc::invalid_argument};
    DirectoryStream directory(path);
    if (!directory.IsOpen()) return {{}, LastError()};
    EnvResult<std::vector<std::string>> result;
    while (const char* const entry = directory.Next()) {
      std::string name(entry);
      if (name != "." && name != "..") result.value.push_back(std::move(name));
    }
    result.error = LastError();
    return result;
  }
  std::errc SyncDir(const std::string& path) override {
    if (HasZeroByte(path)) return std::errc::invalid_argument;
    const Descriptor directory = OpenPath(path.c_str(), O_RDONLY | O_DIRECTORY);
    if (!directory.IsOpen()) return LastError();
    return ErrorUnless(Retry([&] { return fsync(directory.Get()); }) == 0);
  }

  EnvResult<std::string> WorkingDir() override {
    std::array<char, PATH_MAX> buffer;
    if (getcwd(buffer.data(), buffer.size()) == nullptr) return {{}, LastError()};
    return {buffer.data(), {}};
  }
  EnvResult<std::string> ProgramDir() override {
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length < 0) return {{}, LastError()};
    const std::string program(buffer.data(), static_cast<std::size_t>(length));
    return {program.substr(0, std::max<std::size_t>(1, program.rfind('/'))), {}};
  }
  std::optional<std::string> Variable(const std::string& name) override {
    const char* const value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
  }
  std::errc FillRandom(unsigned char* data, std::size_t count) override {
    constexpr std::size_t most = 256;  // a request of this size is never cut short
    for (std::size_t done = 0; done < count;) {
      const std::size_t piece = std::min(count - done, most);
      const ssize_t made = Retry([&] { return getrandom(data + done, piece, 0); });
      if (made < 0) return LastError();
      done += static_cast<std::size_t>(made);
    }
    return {};
  }

 private:
  static OpenResult Finish(Descriptor descriptor, bool can_read) {
    if (!descriptor.IsOpen()) return {nullptr, LastError()};
    if (const std::errc error = RefuseUnlessRegular(descriptor); error != std::errc{}) {
      return {nullptr, error};
    }
    return {std::make_unique<PosixFile>(std::move(descriptor), can_read), {}};
  }
};

}  // namespace

// Never destroyed, since objects with static lifetime may use it at the process's end.
Env& SystemEnv() {
  alignas(PosixEnv) static unsigned char storage[sizeof(PosixEnv)];
  static PosixEnv* const env = std::construct_at(reinterpret_cast<PosixEnv*>(storage));
  return *env;
}

}  // namespace tmx
