// The seam to the operating system: files, directories, random bytes, the process's surroundings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "tmxtools/platform/export.h"

namespace tmx {

// What an operation gave, or why it failed. A read or write may have done a part before it failed.
template <class T>
struct EnvResult {
  T value{};
  std::errc error{};

  bool Ok() const { return error == std::errc{}; }
};

// What an opening does with a file and what it denies to others.
struct FileClaim {
  bool reads = false;
  bool writes = false;
  bool denies_read = false;
  bool denies_write = false;

  bool ConflictsWith(const FileClaim& other) const {
    return (reads && other.denies_read) || (writes && other.denies_write) ||
           (denies_read && other.reads) || (denies_write && other.writes);
  }
};

// An open file, closed by its destructor.
class TMX_EXPORT EnvFile {
 public:
  virtual ~EnvFile() = default;
  // The bytes done; a read does fewer than asked only at the end of the file.
  virtual EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) = 0;
  virtual EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                         std::size_t count) = 0;
  virtual EnvResult<std::uint64_t> Size() = 0;
  virtual std::errc SetSize(std::uint64_t size) = 0;
  // Returns when everything written has reached the disk.
  virtual std::errc Sync() = 0;
  // Holds a claim until the file is closed; resource_unavailable_try_again when it conflicts with
  // that of another opening, in this process or another one.
  virtual std::errc Claim(const FileClaim& claim) = 0;
};

struct FileInfo {
  bool is_directory = false;
  std::uint64_t size = 0;
};

struct FileAccess {
  bool read = false;
  bool write = false;
  bool create = false;  // when it does not exist
};

// Everything that the library asks of the operating system, apart from the clock. Paths are bytes;
// one with a zero byte is invalid_argument. Only regular files can be opened: a directory is
// is_a_directory, anything else not_supported.
class TMX_EXPORT Env {
 public:
  virtual ~Env() = default;

  virtual EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess access) = 0;
  // A file for reading and writing that has no name, only its owner can read and that vanishes when
  // it is closed.
  virtual EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() = 0;
  virtual EnvResult<FileInfo> Info(const std::string& path) = 0;
  virtual std::errc Rename(const std::string& from, const std::string& to) = 0;
  // Removes a file or an empty directory.
  virtual std::errc Remove(const std::string& path) = 0;
  virtual std::errc MakeDir(const std::string& path) = 0;
  // The names in a directory, without "." and "..", in any order.
  virtual EnvResult<std::vector<std::string>> List(const std::string& path) = 0;
  // Returns when creations, renamings and removals in a directory have reached the disk.
  virtual std::errc SyncDir(const std::string& path) = 0;

  virtual EnvResult<std::string> WorkingDir() = 0;
  // The directory of the running executable.
  virtual EnvResult<std::string> ProgramDir() = 0;
  virtual std::optional<std::string> Variable(const std::string& name) = 0;
  virtual std::errc FillRandom(unsigned char* data, std::size_t count) = 0;
};

// The environment in use; at first the operating system's. Files that are open stay with the
// environment that opened them.
TMX_EXPORT Env& CurrentEnv();
// Puts an environment in place that the caller keeps alive; null means the operating system's.
// Returns the one before (null for the operating system's). Safe to call from any thread.
TMX_EXPORT Env* SetEnv(Env* env);
TMX_EXPORT Env& SystemEnv();

// Puts an environment in place for its own lifetime.
class TMX_EXPORT ScopedEnv {
 public:
  explicit ScopedEnv(Env& env) : before_(SetEnv(&env)) {}
  ~ScopedEnv() { SetEnv(before_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  Env* before_;
};

}  // namespace tmx
