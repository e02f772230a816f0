#include "tmxtools/textres/loaded_entries.h"

#include <algorithm>
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
  if (count != 0) std::memcpy(&word, bytes, count);
  return word;
}

constexpr std::uint64_t Mix(std::uint64_t word) {
  word *= 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
  return word ^ (word >> 32);
}

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
    : bytes_(std::move(bytes)), slots_(std::bit_ceil(std::max<std::size_t>(8, expected))) {}

std::uint32_t LoadedEntries::Hash(std::string_view key) {
  std::uint64_t hash = key.size();
  while (key.size() > 8) {
    hash = Mix(hash ^ LoadWord(key.data(), 8));
    key.remove_prefix(8);
  }
  return static_cast<std::uint32_t>(Mix(Mix(hash ^ LoadWord(key.data(), key.size()))));
}

TextLine LoadedEntries::LineAt(std::uint32_t place) const {
  const std::string_view rest = bytes_->View().substr(place);
  return ParseTextLine(TrimText(rest.substr(0, FindByte(rest, '\n'))), 0);
}

std::size_t LoadedEntries::SlotOf(std::string_view key, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.place == kFree) return i;
    if (slot.hash == hash && LineAt(slot.place).name == key) return i;
  }
}

void LoadedEntries::Grow() {
  const std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : before) {
    if (slot.place == kFree) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].place != kFree) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

void LoadedEntries::Add(std::string_view key) {
  if (4 * (count_ + 1) > 3 * slots_.size()) Grow();
  const std::uint32_t hash = Hash(key);
  Slot& slot = slots_[SlotOf(key, hash)];
  if (slot.place == kFree) ++count_;
  slot = {static_cast<std::uint32_t>(key.data() - bytes_->View().data()), hash};
}

std::optional<std::string_view> LoadedEntries::Find(std::string_view key) const {
  const Slot& slot = slots_[SlotOf(key, Hash(key))];
  if (slot.place == kFree) return std::nullopt;
  return LineAt(slot.place).value;
}

}  // namespace tmx
