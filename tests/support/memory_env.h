// An operating system in memory, for tests.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tmxtools/platform/env.h"

namespace tmx {

// Files and directories in memory with the share rules of the real ones. It tells what has reached
// the disk from what has not: a file's bytes get there by Sync(), the names in a directory by
// SyncDir(). PowerCut() loses the rest.
//
// At first there are the directories "/" and "/home"; the latter is the working directory. Paths
// are taken as they are, apart from relative ones. Random bytes are a fixed sequence.
class MemoryEnv : public Env {
 public:
  // A change of a file that has not reached the disk.
  struct Change {
    std::uint64_t offset = 0;  // of a write; the new size otherwise
    std::string bytes;
    bool is_write = false;
  };
  // Says how many bytes of an unsynced write survive; a change of size survives unless this is 0.
  using Survival = std::function<std::size_t(const std::string& path, const Change& change)>;
  // Something that was done and that a power cut may lose, or that keeps one from losing it.
  struct Operation {
    enum class Kind { kCreate, kRemove, kWrite, kSetSize, kSync, kSyncDir };
    Kind kind = Kind::kWrite;
    std::string path;          // absolute; of the directory for kSyncDir
    std::uint64_t offset = 0;  // of a write; the new size for kSetSize
    std::string bytes;
  };
  using Listener = std::function<void(const Operation& operation)>;

  MemoryEnv();
  ~MemoryEnv() override;

  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess access) override;
  EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() override;
  EnvResult<FileInfo> Info(const std::string& path) override;
  std::errc Rename(const std::string& from, const std::string& to) override;
  std::errc Remove(const std::string& path) override;
  std::errc MakeDir(const std::string& path) override;
  EnvResult<std::vector<std::string>> List(const std::string& path) override;
  std::errc SyncDir(const std::string& path) override;
  EnvResult<std::string> WorkingDir() override { return {"/home", {}}; }
  EnvResult<std::string> ProgramDir() override { return {"/home/bin", {}}; }
  std::optional<std::string> Variable(const std::string& name) override;
  std::errc FillRandom(unsigned char* data, std::size_t count) override;

  void SetVariable(const std::string& name, const std::string& value) { variables_[name] = value; }
  // A file's bytes as programs see them; made or replaced, on the disk at once, by Put().
  std::string Get(const std::string& path) const;
  void Put(const std::string& path, const std::string& bytes);
  // Tells of every operation, after it was done; renamings and new directories are not told.
  void SetListener(Listener listener) { *listener_ = std::move(listener); }
  // The changes of a file that have not reached the disk, oldest first.
  std::vector<Change> Unsynced(const std::string& path) const;
  // Brings back what the disk holds; every open file then fails with io_error.
  void PowerCut(const Survival& survival = [](const std::string&, const Change&) { return 0u; });

 private:
  class File;
  struct Node;
  using Entries = std::map<std::string, std::shared_ptr<Node>>;

  std::string Absolute(const std::string& path) const;
  std::shared_ptr<Node> Find(const std::string& path) const;
  // An error unless the directory for a new name exists.
  std::errc CheckParent(const std::string& path) const;
  bool HasEntriesBelow(const std::string& path) const;

  void Tell(Operation::Kind kind, const std::string& path) const;

  Entries live_;
  Entries durable_;
  std::map<std::string, std::string> variables_;
  std::shared_ptr<int> power_;                                         // replaced at a power cut
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();  // files share it
  unsigned char next_random_ = 1;
};

}  // namespace tmx
