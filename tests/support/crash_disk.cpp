#include "tests/support/crash_disk.h"

#include <algorithm>
#include <utility>

namespace tmx {
namespace {

using Kind = MemoryEnv::Operation::Kind;
using Share = CrashModel::Share;

std::size_t Below(std::mt19937& random, std::size_t limit) { return random() % limit; }

// Different ways may lead to the same bytes, so more of them are tried than results are wanted.
constexpr std::size_t kWaysForEach = 4;

}  // namespace

CrashDisk::CrashDisk(const Files& files, std::set<std::string> logs) : logs_(std::move(logs)) {
  for (const auto& [path, bytes] : files) {
    durable_[path] = files_.size();
    files_.push_back({bytes, bytes, {}});
  }
  live_ = durable_;
}

void CrashDisk::Make(std::string& bytes, const Change& change) {
  const std::size_t end = change.offset + change.bytes.size();
  if (!change.is_write || end > bytes.size()) bytes.resize(end);
  bytes.replace(change.offset, change.bytes.size(), change.bytes);
}

void CrashDisk::Make(Names& names, const NameChange& change) {
  if (change.is_creation) {
    names[change.path] = change.file;
  } else {
    names.erase(change.path);
  }
}

std::size_t CrashDisk::PrefixesOf(const File& file) {
  std::size_t total = 0;
  for (const Change& change : file.unsynced) total += std::max<std::size_t>(1, change.bytes.size());
  return total;
}

std::string CrashDisk::Prefix(const File& file, std::size_t kept, bool has_zero_tail) {
  std::string bytes = file.durable;
  std::uint64_t end = 0;
  for (const Change& change : file.unsynced) {
    const std::size_t weight = std::max<std::size_t>(1, change.bytes.size());
    const std::size_t done = std::min(kept, weight);
    kept -= done;
    if (done == 0) {
      end =
          change.is_write ? std::max<std::uint64_t>(end, change.offset + change.bytes.size()) : end;
      continue;
    }
    Change part = change;
    if (change.is_write) part.bytes.resize(done);
    Make(bytes, part);
    end = change.is_write ? change.offset + change.bytes.size() : bytes.size();
  }
  // The tail is missing, or zero up to where it once reached.
  if (has_zero_tail && end > bytes.size()) bytes.resize(end);
  return bytes;
}

void CrashDisk::Apply(const MemoryEnv::Operation& operation) {
  if (operation.kind == Kind::kSyncDir) {
    SyncNames(operation.path);
    return;
  }
  if (operation.kind == Kind::kCreate) {
    live_[operation.path] = files_.size();
    unsynced_names_.push_back({operation.path, files_.size(), true});
    files_.emplace_back();
    return;
  }
  const std::size_t index = live_.at(operation.path);
  File& file = files_[index];
  if (operation.kind == Kind::kRemove) {
    live_.erase(operation.path);
    unsynced_names_.push_back({operation.path, index, false});
  } else if (operation.kind == Kind::kSync) {
    file.durable = file.live;
    file.unsynced.clear();
  } else {
    file.unsynced.push_back({operation.kind == Kind::kWrite, operation.offset, operation.bytes});
    Make(file.live, file.unsynced.back());
  }
}

void CrashDisk::SyncNames(const std::string& directory) {
  const auto is_there = [&directory](const std::string& path) {
    return path.substr(0, path.rfind('/')) == directory;
  };
  std::erase_if(durable_, [&](const auto& name) { return is_there(name.first); });
  for (const auto& [path, file] : live_) {
    if (is_there(path)) durable_[path] = file;
  }
  std::erase_if(unsynced_names_, [&](const NameChange& change) { return is_there(change.path); });
}

CrashDisk::Files CrashDisk::Live() const {
  Files files;
  for (const auto& [path, index] : live_) files[path] = files_[index].live;
  return files;
}

bool CrashDisk::HasUnsynced(const std::string& path) const {
  const auto found = live_.find(path);
  return found != live_.end() && !files_[found->second].unsynced.empty();
}

std::string CrashDisk::DurableBytes(const std::string& path) const {
  const auto found = durable_.find(path);
  return found == durable_.end() ? std::string() : files_[found->second].durable;
}

std::string CrashDisk::LiveBytes(const std::string& path) const {
  const auto found = live_.find(path);
  return found == live_.end() ? std::string() : files_[found->second].live;
}

CrashDisk::Files CrashDisk::Survivors(const CrashModel& model, std::mt19937& random) const {
  Names names = durable_;
  for (const NameChange& change : unsynced_names_) {
    const bool kept =
        model.names == Share::kEverything || (model.names == Share::kSome && Below(random, 2) == 0);
    if (kept) Make(names, change);
  }
  Files files;
  for (const auto& [path, index] : names) {
    files[path] = logs_.count(path) > 0 ? SurvivorOfLog(files_[index], model.log, random)
                                        : SurvivorOfData(files_[index], model.data, random);
  }
  return files;
}

std::string CrashDisk::SurvivorOfLog(const File& file, Share share, std::mt19937& random) {
  if (share == Share::kNothing) return file.durable;
  if (share == Share::kEverything || file.unsynced.empty()) return file.live;
  const std::size_t total = PrefixesOf(file);
  // Near the ends, where the heads are, every place has its turn.
  constexpr std::size_t near = 24;
  std::size_t kept = Below(random, total + 1);
  if (total > near) {
    const std::size_t way = Below(random, 3);
    if (way == 0) kept = Below(random, near);
    if (way == 1) kept = total - Below(random, near);
  }
  return Prefix(file, kept, Below(random, 2) == 0);
}

std::string CrashDisk::SurvivorOfData(const File& file, Share share, std::mt19937& random) {
  if (share == Share::kNothing) return file.durable;
  if (share == Share::kEverything || file.unsynced.empty()) return file.live;
  std::vector<Change> changes = file.unsynced;
  std::shuffle(changes.begin(), changes.end(), random);
  std::string bytes = file.durable;
  for (Change& change : changes) {
    const std::size_t fate = Below(random, 4);
    if (fate == 0) continue;
    if (fate == 1 && !change.bytes.empty()) {
      const std::size_t from = Below(random, change.bytes.size());
      change.bytes = change.bytes.substr(from, 1 + Below(random, change.bytes.size() - from));
      change.offset += from;
    }
    Make(bytes, change);
  }
  return bytes;
}

std::set<CrashDisk::Names> CrashDisk::AllNames() const {
  std::set<Names> all = {durable_};
  for (const NameChange& change : unsynced_names_) {
    for (Names names : std::set<Names>(all)) {
      Make(names, change);
      all.insert(std::move(names));
    }
  }
  return all;
}

std::optional<std::set<CrashDisk::Files>> CrashDisk::AllSurvivors(std::size_t limit) const {
  std::set<Files> all;
  for (const Names& names : AllNames()) {
    std::vector<Files> disks(1);
    for (const auto& [path, index] : names) {
      const std::optional<Contents> contents =
          logs_.count(path) > 0 ? AllOfLog(files_[index], limit) : AllOfData(files_[index], limit);
      if (!contents || contents->size() * disks.size() > limit) return std::nullopt;
      std::vector<Files> longer;
      for (const Files& disk : disks) {
        for (const std::string& bytes : *contents) {
          longer.push_back(disk);
          longer.back()[path] = bytes;
        }
      }
      disks = std::move(longer);
    }
    all.insert(disks.begin(), disks.end());
    if (all.size() > limit) return std::nullopt;
  }
  return all;
}

std::optional<CrashDisk::Contents> CrashDisk::AllOfLog(const File& file, std::size_t limit) {
  const std::size_t total = PrefixesOf(file);
  if (total >= limit) return std::nullopt;
  Contents contents;
  for (std::size_t kept = 0; kept <= total; ++kept) {
    contents.insert(Prefix(file, kept, false));
    contents.insert(Prefix(file, kept, true));
  }
  if (contents.size() > limit) return std::nullopt;
  return contents;
}

std::optional<CrashDisk::Contents> CrashDisk::AllOfData(const File& file, std::size_t limit) {
  std::size_t ways = 1;
  for (std::size_t i = 0; i < file.unsynced.size(); ++i) {
    const std::size_t size = std::max<std::size_t>(1, file.unsynced[i].bytes.size());
    // Dropped, or one of its pieces, at any place in the order.
    ways *= (1 + size * (size + 1) / 2) * (i + 1);
    if (ways > limit * kWaysForEach) return std::nullopt;
  }
  Contents contents;
  AddAll(file.durable, file.unsynced, contents);
  if (contents.size() > limit) return std::nullopt;
  return contents;
}

// `bytes`, and what they become when some of the changes that are left are made.
void CrashDisk::AddAll(const std::string& bytes, const std::vector<Change>& left,
                       Contents& contents) {
  contents.insert(bytes);
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::vector<Change> others = left;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    const Change& change = left[i];
    const std::size_t size = std::max<std::size_t>(1, change.bytes.size());
    for (std::size_t from = 0; from < size; ++from) {
      for (std::size_t count = 1; count <= size - from; ++count) {
        std::string changed = bytes;
        Make(changed, {change.is_write, change.offset + from, change.bytes.substr(from, count)});
        AddAll(changed, others, contents);
      }
    }
  }
}

}  // namespace tmx
