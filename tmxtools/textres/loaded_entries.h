// The entries of one section as they came from a file, ready to be looked up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

// A list of keys and values that refers to the file's bytes instead of copying them, and an open
// hash table over the keys. Building ordered maps for 100000 entries takes ten times as long, and
// whoever only looks up texts never needs them.
//
// Owner: a section. Threads: Find() may run in several at once.
class LoadedEntries {
 public:
  struct Entry {
    std::string_view key;
    std::string_view value;
  };

  // `expected` guesses the number of entries.
  LoadedEntries(std::shared_ptr<const FileBytes> bytes, std::size_t expected);

  bool RefersTo(const FileBytes& bytes) const { return bytes_.get() == &bytes; }
  // In the order of the file; a later entry of the same key counts.
  std::vector<Entry>::const_iterator begin() const { return entries_.begin(); }
  std::vector<Entry>::const_iterator end() const { return entries_.end(); }

  void Add(std::string_view key, std::string_view value) { entries_.push_back({key, value}); }
  // Makes the table, once, after the last Add().
  void Index();
  // The value of the last entry with that key.
  std::optional<std::string_view> Find(std::string_view key) const;

 private:
  // A slot holds the number of an entry plus 1 and some more bits of its hash.
  struct Slot {
    std::uint32_t entry = 0;
    std::uint32_t tag = 0;
  };

  static std::uint64_t Hash(std::string_view key);
  // Where the key stands in the table, or the free slot where it belongs.
  std::size_t SlotOf(std::string_view key, std::uint64_t hash) const;

  std::shared_ptr<const FileBytes> bytes_;
  std::vector<Entry> entries_;
  std::vector<Slot> slots_;  // a power of two, at most half full
};

}  // namespace tmx
