// A disk that remembers what a power cut could leave of it.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/memory_env.h"

namespace tmx {

// Which of the changes that were not synced a power cut leaves.
//
// Files that are only appended to (logs) keep a prefix of what was written; behind it is nothing,
// or zero bytes up to the end that the file had. Of other files each change is kept, dropped or
// torn, in any order, so that an older one may lie over a newer one. New and deleted names are kept
// or dropped one by one.
struct CrashModel {
  enum class Share { kNothing, kEverything, kSome };
  Share log = Share::kSome;
  Share data = Share::kSome;
  Share names = Share::kSome;
};

// Follows the operations on a few files, none of which lies in the root directory.
//
// Copies share nothing. Threads: one at a time.
class CrashDisk {
 public:
  using Files = std::map<std::string, std::string>;

  // All files are durable at first. `logs` are the paths of files that are only appended to.
  CrashDisk(const Files& files, std::set<std::string> logs);

  void Apply(const MemoryEnv::Operation& operation);
  // The files as programs see them.
  Files Live() const;
  // The files after a power cut.
  Files Survivors(const CrashModel& model, std::mt19937& random) const;
  // Everything that a power cut could leave, each once; nothing when that is more than `limit` or
  // when there are far more ways to it.
  std::optional<std::set<Files>> AllSurvivors(std::size_t limit) const;

  bool HasUnsynced(const std::string& path) const;
  bool IsNameDurable(const std::string& path) const { return durable_.count(path) > 0; }
  // The bytes of a file that survive every power cut, and those that programs see; empty when there
  // is none.
  std::string DurableBytes(const std::string& path) const;
  std::string LiveBytes(const std::string& path) const;

 private:
  struct Change {
    bool is_write = false;
    std::uint64_t offset = 0;
    std::string bytes;
  };
  struct File {
    std::string live;
    std::string durable;
    std::vector<Change> unsynced;
  };
  struct NameChange {
    std::string path;
    std::size_t file = 0;
    bool is_creation = false;
  };
  using Names = std::map<std::string, std::size_t>;  // indexes of files
  using Contents = std::set<std::string>;

  void SyncNames(const std::string& directory);
  static void Make(std::string& bytes, const Change& change);
  static void Make(Names& names, const NameChange& change);
  // The first `kept` bytes of what was appended, each change of size counting as one.
  static std::string Prefix(const File& file, std::size_t kept, bool has_zero_tail);
  static std::size_t PrefixesOf(const File& file);
  static std::string SurvivorOfLog(const File& file, CrashModel::Share share, std::mt19937& random);
  static std::string SurvivorOfData(const File& file, CrashModel::Share share,
                                    std::mt19937& random);
  std::set<Names> AllNames() const;
  // Nothing when there are more than `limit`, or far more ways to them.
  static std::optional<Contents> AllOfLog(const File& file, std::size_t limit);
  static std::optional<Contents> AllOfData(const File& file, std::size_t limit);
  static void AddAll(const std::string& bytes, const std::vector<Change>& left, Contents& contents);

  std::set<std::string> logs_;
  std::vector<File> files_;
  Names live_;
  Names durable_;
  std::vector<NameChange> unsynced_names_;
};

}  // namespace tmx
