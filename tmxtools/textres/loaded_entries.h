// The entries of one section as they came from a file, ready to be looked up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tmxtools/textres/text_lines.h"

namespace tmx {

// The bytes of a loaded file, shared by the sections that refer to them.
class FileBytes {
 public:
  // The whole file, or null when it cannot be read or has 4 GiB and more.
  static std::shared_ptr<const FileBytes> Read(const std::string& path);

  std::string_view View() const { return {data_.get(), size_}; }

 private:
  std::unique_ptr<char[]> data_;
  std::size_t size_ = 0;
};

// A hash table over the entries of a section that refers to the file's bytes instead of copying
// them. A slot is the place of a line; the line is taken apart again when it is wanted. Building
// ordered maps for 100000 entries takes far longer, and whoever only looks up texts never needs
// them.
//
// Owner: a section. Threads: Find() may run in several at once.
class LoadedEntries {
 public:
  // `expected` guesses the number of entries.
  LoadedEntries(std::shared_ptr<const FileBytes> bytes, std::size_t expected);

  bool RefersTo(const FileBytes& bytes) const { return bytes_.get() == &bytes; }
  // Adds an entry whose key lies in the file's bytes; it replaces one of the same key.
  void Add(std::string_view key);
  std::optional<std::string_view> Find(std::string_view key) const;
  // Calls `visit` with the key and the value of every entry, in no order.
  template <class Visitor>
  void ForEach(Visitor&& visit) const {
    for (const Slot& slot : slots_) {
      if (slot.place == kFree) continue;
      const TextLine line = LineAt(slot.place);
      visit(line.name, line.value);
    }
  }

 private:
  static constexpr std::uint32_t kFree = 0xFFFFFFFF;  // beyond the end of any file
  struct Slot {
    std::uint32_t place = kFree;
    std::uint32_t hash = 0;
  };

  static std::uint32_t Hash(std::string_view key);
  TextLine LineAt(std::uint32_t place) const;
  // Where the key stands in the table, or the free slot where it belongs.
  std::size_t SlotOf(std::string_view key, std::uint32_t hash) const;
  void Grow();

  std::shared_ptr<const FileBytes> bytes_;
  std::vector<Slot> slots_;  // a power of two, at most three quarters full
  std::size_t count_ = 0;
};

}  // namespace tmx
