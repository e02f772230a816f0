// A disk in memory that costs next to nothing, so that every execution of a fuzz target has one.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tmxtools/platform/env.h"

namespace tmx {

// A few files in the directory "/". Each holds at most `limit` bytes; a write or change of size
// beyond that finds the disk full, so that hostile lengths cost nothing. Claims are not looked at.
//
// Its memory stays from one execution to the next, but Clear() and Put() leave nothing of what was
// in it. Open files must not outlive it. Threads: one at a time.
class SmallDisk : public Env {
 public:
  explicit SmallDisk(std::size_t limit) : limit_(limit) {}

  void Clear() {
    for (Slot& slot : slots_) slot.is_there = false;
  }
  void Put(std::string_view path, std::string_view bytes) { Make(path)->bytes = bytes; }
  // The bytes of a file; nothing when there is none.
  std::optional<std::string_view> Get(std::string_view path) {
    const Slot* const slot = Find(path);
    return slot == nullptr ? std::nullopt : std::optional<std::string_view>(slot->bytes);
  }

  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess access) override {
    Slot* slot = Find(path);
    if (slot == nullptr && !access.create) return {nullptr, std::errc::no_such_file_or_directory};
    if (slot == nullptr) slot = Make(path);
    if (slot == nullptr) return {nullptr, std::errc::no_space_on_device};
    return {std::make_unique<File>(*slot, limit_), {}};
  }
  EnvResult<FileInfo> Info(const std::string& path) override {
    if (path == "/") return {{true, 0}, {}};
    const Slot* const slot = Find(path);
    if (slot == nullptr) return {{}, std::errc::no_such_file_or_directory};
    return {{false, slot->bytes.size()}, {}};
  }
  std::errc Remove(const std::string& path) override {
    Slot* const slot = Find(path);
    if (slot == nullptr) return std::errc::no_such_file_or_directory;
    slot->is_there = false;
    return {};
  }
  std::errc SyncDir(const std::string&) override { return {}; }
  EnvResult<std::string> WorkingDir() override { return {"/", {}}; }

  EnvResult<std::unique_ptr<EnvFile>> OpenTemporary() override { return {nullptr, kNone}; }
  std::errc Rename(const std::string&, const std::string&) override { return kNone; }
  std::errc MakeDir(const std::string&) override { return kNone; }
  EnvResult<std::vector<std::string>> List(const std::string&) override { return {{}, kNone}; }
  EnvResult<std::string> ProgramDir() override { return {{}, kNone}; }
  std::optional<std::string> Variable(const std::string&) override { return std::nullopt; }
  std::errc FillRandom(unsigned char*, std::size_t) override { return kNone; }

 private:
  static constexpr std::errc kNone = std::errc::not_supported;

  struct Slot {
    std::string path;
    std::string bytes;
    bool is_there = false;
  };

  class File : public EnvFile {
   public:
    File(Slot& slot, std::size_t limit) : bytes_(slot.bytes), limit_(limit) {}

    EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) override {
      if (offset >= bytes_.size()) return {0, {}};
      return {bytes_.copy(data, count, offset), {}};
    }
    EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                   std::size_t count) override {
      const std::size_t room = offset < limit_ ? limit_ - offset : 0;
      const std::size_t done = std::min(count, room);
      if (done > 0) {
        if (offset + done > bytes_.size()) bytes_.resize(offset + done);
        std::memcpy(bytes_.data() + offset, data, done);
      }
      return {done, done < count ? std::errc::no_space_on_device : std::errc{}};
    }
    EnvResult<std::uint64_t> Size() override { return {bytes_.size(), {}}; }
    std::errc SetSize(std::uint64_t size) override {
      if (size > limit_) return std::errc::no_space_on_device;
      bytes_.resize(size);
      return {};
    }
    std::errc Sync() override { return {}; }
    std::errc Claim(const FileClaim&) override { return {}; }

   private:
    std::string& bytes_;
    std::size_t limit_;
  };

  Slot* Find(std::string_view path) {
    const auto found = std::find_if(slots_.begin(), slots_.end(), [&](const Slot& slot) {
      return slot.is_there && slot.path == path;
    });
    return found == slots_.end() ? nullptr : &*found;
  }
  // Null when there are too many files.
  Slot* Make(std::string_view path) {
    if (Slot* const slot = Find(path)) return slot;
    const auto free =
        std::find_if(slots_.begin(), slots_.end(), [](const Slot& slot) { return !slot.is_there; });
    if (free == slots_.end()) return nullptr;
    free->path = path;
    free->bytes.clear();
    free->is_there = true;
    return &*free;
  }

  std::array<Slot, 4> slots_;
  std::size_t limit_;
};

}  // namespace tmx
