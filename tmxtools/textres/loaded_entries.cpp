#include "tmxtools/textres/loaded_entries.h"

#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "tmxtools/platform/env.h"

namespace tmx {
namespace {

// Offsets in files are 32-bit everywhere in the library.
constexpr std::uint64_t kMaxFileSize = 0xFFFFFFFE;

// Up to eight bytes as a number.
std::uint64_t LoadWord(const char* bytes, std::size_t count) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, count);
  return word;
}

constexpr std::uint64_t Mix(std::uint64_t word) {
  word *= 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
  return word ^ (word >> 32);
}

constexpr std::uint32_t TagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash >> 32); }

}  // namespace

std::shared_ptr<const FileBytes> FileBytes::Read(const std::string& path) {
  const auto file = CurrentEnv().Open(path, {.read = true});
  if (!file.Ok()) return nullptr;
  const auto size = file.value->Size();
  if (!size.Ok() || size.value > kMaxFileSize) return nullptr;
  auto bytes = std::make_shared<FileBytes>();
  bytes->data_ = std::make_unique_for_overwrite<char[]>(size.value);
  const auto read = file.value->ReadAt(0, bytes->data_.get(), size.value);
  if (!read.Ok()) return nullptr;
  bytes->size_ = read.value;
  return bytes;
}

LoadedEntries::LoadedEntries(std::shared_ptr<const FileBytes> bytes, std::size_t expected)
    : bytes_(std::move(bytes)) {
  entries_.reserve(expected);
}

std::uint64_t LoadedEntries::Hash(std::string_view key) {
  std::uint64_t hash = key.size();
  while (key.size() > 8) {
    hash = Mix(hash ^ LoadWord(key.data(), 8));
    key.remove_prefix(8);
  }
  return Mix(Mix(hash ^ LoadWord(key.data(), key.size())));
}

std::size_t LoadedEntries::SlotOf(std::string_view key, std::uint64_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.entry == 0) return i;
    if (slot.tag == TagOf(hash) && entries_[slot.entry - 1].key == key) return i;
  }
}

void LoadedEntries::Index() {
  if (!slots_.empty()) return;
  slots_.assign(std::bit_ceil(2 * entries_.size() + 1), Slot{});
  for (std::uint32_t number = 0; number < entries_.size(); ++number) {
    const std::string_view key = entries_[number].key;
    const std::uint64_t hash = Hash(key);
    slots_[SlotOf(key, hash)] = {number + 1, TagOf(hash)};
  }
}

std::optional<std::string_view> LoadedEntries::Find(std::string_view key) const {
  if (slots_.empty()) return std::nullopt;
  const Slot& slot = slots_[SlotOf(key, Hash(key))];
  if (slot.entry == 0) return std::nullopt;
  return entries_[slot.entry - 1].value;
}

}  // namespace tmx
