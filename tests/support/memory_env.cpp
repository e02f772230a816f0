#include "tests/support/memory_env.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tmx {

struct MemoryEnv::Node {
  bool is_directory = false;
  std::string bytes;
  std::string durable;
  std::vector<Change> unsynced;
  std::map<const File*, FileClaim> claims;

  static void Apply(std::string& bytes, const Change& change) {
    const std::size_t end = change.offset + change.bytes.size();
    if (!change.is_write || end > bytes.size()) bytes.resize(end);
    std::copy(change.bytes.begin(), change.bytes.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(change.offset));
  }
  void Make(Change change) {
    Apply(bytes, change);
    unsynced.push_back(std::move(change));
  }
};

class MemoryEnv::File : public EnvFile {
 public:
  File(std::shared_ptr<Node> node, FileAccess access, const MemoryEnv& env,
       const std::string& path = {})
      : node_(std::move(node)),
        access_(access),
        power_(env.power_),
        listener_(env.listener_),
        path_(env.Absolute(path)) {}
  ~File() override { node_->claims.erase(this); }

  EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) override {
    if (power_.expired()) return {0, std::errc::io_error};
    if (!access_.read && !access_.write) return {0, std::errc::bad_file_descriptor};
    if (offset >= node_->bytes.size()) return {0, {}};
    return {node_->bytes.copy(data, count, offset), {}};
  }
  EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                 std::size_t count) override {
    if (power_.expired()) return {0, std::errc::io_error};
    if (!access_.write) return {0, std::errc::bad_file_descriptor};
    node_->Make({offset, std::string(data, count), true});
    if (*listener_) (*listener_)({Kind::kWrite, path_, offset, std::string(data, count)});
    return {count, {}};
  }
  EnvResult<std::uint64_t> Size() override {
    if (power_.expired()) return {0, std::errc::io_error};
    return {node_->bytes.size(), {}};
  }
  std::errc SetSize(std::uint64_t size) override {
    if (power_.expired()) return std::errc::io_error;
    if (!access_.write) return std::errc::bad_file_descriptor;
    node_->Make({size, {}, false});
    if (*listener_) (*listener_)({Kind::kSetSize, path_, size, {}});
    return {};
  }
  std::errc Sync() override {
    if (power_.expired()) return std::errc::io_error;
    node_->durable = node_->bytes;
    node_->unsynced.clear();
    if (*listener_) (*listener_)({Kind::kSync, path_, 0, {}});
    return {};
  }
  std::errc Claim(const FileClaim& claim) override {
    if (power_.expired()) return std::errc::io_error;
    for (const auto& [file, other] : node_->claims) {
      if (file != this && claim.ConflictsWith(other)) {
        return std::errc::resource_unavailable_try_again;
      }
    }
    node_->claims[this] = claim;
    return {};
  }

 private:
  using Kind = Operation::Kind;

  std::shared_ptr<Node> node_;
  FileAccess access_;
  std::weak_ptr<int> power_;
  std::shared_ptr<const Listener> listener_;
  std::string path_;
};

namespace {

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

MemoryEnv::MemoryEnv() : power_(std::make_shared<int>()) {
  for (const char* path : {"/", "/home"}) {
    live_[path] = std::make_shared<Node>();
    live_[path]->is_directory = true;
  }
  durable_ = live_;
}

MemoryEnv::~MemoryEnv() = default;

std::string MemoryEnv::Absolute(const std::string& path) const {
  return path.empty() || path[0] == '/' ? path : "/home/" + path;
}

void MemoryEnv::Tell(Operation::Kind kind, const std::string& path) const {
  if (*listener_) (*listener_)({kind, Absolute(path), 0, {}});
}

std::shared_ptr<MemoryEnv::Node> MemoryEnv::Find(const std::string& path) const {
  const auto found = live_.find(Absolute(path));
  return found == live_.end() ? nullptr : found->second;
}

std::errc MemoryEnv::CheckParent(const std::string& path) const {
  if (path.empty()) return std::errc::no_such_file_or_directory;
  if (path.find('\0') != std::string::npos) return std::errc::invalid_argument;
  const std::shared_ptr<Node> parent = Find(ParentOf(Absolute(path)));
  if (parent == nullptr) return std::errc::no_such_file_or_directory;
  return parent->is_directory ? std::errc{} : std::errc::not_a_directory;
}

bool MemoryEnv::HasEntriesBelow(const std::string& path) const {
  return std::any_of(live_.begin(), live_.end(), [&](const auto& entry) {
    return entry.first != "/" && ParentOf(entry.first) == Absolute(path);
  });
}

EnvResult<std::unique_ptr<EnvFile>> MemoryEnv::Open(const std::string& path, FileAccess access) {
  if (const std::errc error = CheckParent(path); error != std::errc{}) return {nullptr, error};
  std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) {
    if (!access.create) return {nullptr, std::errc::no_such_file_or_directory};
    node = live_[Absolute(path)] = std::make_shared<Node>();
    Tell(Operation::Kind::kCreate, path);
  }
  if (node->is_directory) return {nullptr, std::errc::is_a_directory};
  return {std::make_unique<File>(node, access, *this, path), {}};
}

EnvResult<std::unique_ptr<EnvFile>> MemoryEnv::OpenTemporary() {
  const FileAccess access{.read = true, .write = true, .create = true};
  return {std::make_unique<File>(std::make_shared<Node>(), access, *this), {}};
}

EnvResult<FileInfo> MemoryEnv::Info(const std::string& path) {
  if (const std::errc error = CheckParent(path); error != std::errc{}) return {{}, error};
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) return {{}, std::errc::no_such_file_or_directory};
  return {{node->is_directory, node->bytes.size()}, {}};
}

std::errc MemoryEnv::Rename(const std::string& from, const std::string& to) {
  if (const std::errc error = CheckParent(from); error != std::errc{}) return error;
  if (const std::errc error = CheckParent(to); error != std::errc{}) return error;
  const std::shared_ptr<Node> node = Find(from);
  if (node == nullptr) return std::errc::no_such_file_or_directory;
  if (node->is_directory) return std::errc::not_supported;  // no test renames directories
  if (const auto target = Find(to); target != nullptr && target->is_directory) {
    return std::errc::is_a_directory;
  }
  live_.erase(Absolute(from));
  live_[Absolute(to)] = node;
  return {};
}

std::errc MemoryEnv::Remove(const std::string& path) {
  if (const std::errc error = CheckParent(path); error != std::errc{}) return error;
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) return std::errc::no_such_file_or_directory;
  if (HasEntriesBelow(path)) return std::errc::directory_not_empty;
  live_.erase(Absolute(path));
  Tell(Operation::Kind::kRemove, path);
  return {};
}

std::errc MemoryEnv::MakeDir(const std::string& path) {
  if (const std::errc error = CheckParent(path); error != std::errc{}) return error;
  if (Find(path) != nullptr) return std::errc::file_exists;
  const auto node = live_[Absolute(path)] = std::make_shared<Node>();
  node->is_directory = true;
  return {};
}

EnvResult<std::vector<std::string>> MemoryEnv::List(const std::string& path) {
  if (const std::errc error = CheckParent(path); error != std::errc{}) return {{}, error};
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) return {{}, std::errc::no_such_file_or_directory};
  if (!node->is_directory) return {{}, std::errc::not_a_directory};
  EnvResult<std::vector<std::string>> result;
  for (const auto& [name, entry] : live_) {
    if (name != "/" && ParentOf(name) == Absolute(path)) {
      result.value.push_back(name.substr(name.rfind('/') + 1));
    }
  }
  return result;
}

std::errc MemoryEnv::SyncDir(const std::string& path) {
  const std::shared_ptr<Node> node = Find(path);
  if (node == nullptr) return std::errc::no_such_file_or_directory;
  if (!node->is_directory) return std::errc::not_a_directory;
  const auto in_directory = [parent = Absolute(path)](const auto& entry) {
    return entry.first != "/" && ParentOf(entry.first) == parent;
  };
  std::erase_if(durable_, in_directory);
  std::copy_if(live_.begin(), live_.end(), std::inserter(durable_, durable_.end()), in_directory);
  Tell(Operation::Kind::kSyncDir, path);
  return {};
}

std::optional<std::string> MemoryEnv::Variable(const std::string& name) {
  const auto found = variables_.find(name);
  return found == variables_.end() ? std::nullopt : std::optional<std::string>(found->second);
}

std::errc MemoryEnv::FillRandom(unsigned char* data, std::size_t count) {
  std::generate_n(data, count, [this] {
    return next_random_ = static_cast<unsigned char>(next_random_ * 5 + 7);
  });
  return {};
}

std::string MemoryEnv::Get(const std::string& path) const {
  const std::shared_ptr<Node> node = Find(path);
  return node == nullptr ? std::string() : node->bytes;
}

void MemoryEnv::Put(const std::string& path, const std::string& bytes) {
  const auto node = std::make_shared<Node>();
  node->bytes = node->durable = bytes;
  live_[Absolute(path)] = durable_[Absolute(path)] = node;
}

std::vector<MemoryEnv::Change> MemoryEnv::Unsynced(const std::string& path) const {
  const std::shared_ptr<Node> node = Find(path);
  return node == nullptr ? std::vector<Change>() : node->unsynced;
}

void MemoryEnv::PowerCut(const Survival& survival) {
  power_ = std::make_shared<int>();
  live_ = durable_;
  for (const auto& [path, node] : live_) {
    for (Change& change : node->unsynced) {
      const std::size_t surviving = survival(path, change);
      if (surviving == 0) continue;
      change.bytes.resize(std::min(surviving, change.bytes.size()));
      Node::Apply(node->durable, change);
    }
    node->bytes = node->durable;
    node->unsynced.clear();
    node->claims.clear();
  }
}

}  // namespace tmx
