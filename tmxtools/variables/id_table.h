// The sorted table from field ids to variables behind a registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/id_search.h"
#include "tmxtools/variables/id_hash.h"

class HbVariable;

namespace tmx {

// Ids and variables in sorted leaves of up to 16, with the keys of a leaf side by side so that
// vector instructions compare them all at once. One leaf is all that a small table has. Several
// leaves stand under an array of the bounds between them, which keeps the order, and beside a hash
// table, which finds single ids. Measured: from a hundred entries on it takes half the time of a
// search through bounds and leaf, however well that is done.
//
// Owner: a registry, which also counts the references on the variables; the table counts none.
// Empty state: no entries, no memory. Threads: one at a time.
class IdTable {
 public:
  IdTable() noexcept = default;
  // Leaves the other table empty.
  IdTable(IdTable&& other) noexcept
      : single_(std::move(other.single_)),
        index_(std::move(other.index_)),
        count_(std::exchange(other.count_, 0)) {
    ++other.version_;
  }
  IdTable& operator=(IdTable&&) = delete;

  std::size_t Count() const noexcept { return count_; }

  // The variable of an id, or null. It is part of every lookup, where a call would show.
  [[gnu::always_inline]] HbVariable* Find(std::uint32_t id) const noexcept {
    if (index_) return index_->by_id.Find(id);
    if (!single_) return nullptr;
    const std::size_t slot = FindInGroup(single_->keys, ToSearchKey(id));
    return slot < kKeyGroup ? single_->variables[slot] : nullptr;
  }
  // Adds an entry. False if there is one with this id. Throws std::bad_alloc and then has changed
  // nothing.
  bool Insert(std::uint32_t id, HbVariable* variable);
  // Takes an entry out and returns its variable; null if there is none.
  HbVariable* Remove(std::uint32_t id) noexcept;

  // Where a walk stands: at an entry or behind the last one.
  class Cursor;
  // At the first entry whose id is not below `id`.
  Cursor LowerBound(std::uint32_t id) const noexcept;
  // At the entry with a number, counted from 0.
  Cursor Nth(std::size_t number) const noexcept;

  template <class Visit>
  void ForEach(Visit visit) const {
    for (std::size_t i = 0; i < LeafCount(); ++i) {
      const Leaf& leaf = LeafAt(i);
      for (std::size_t slot = 0; slot < leaf.count; ++slot) {
        visit(ToId(leaf.keys[slot]), leaf.variables[slot]);
      }
    }
  }

 private:
  // Unused places hold kNoKey and null.
  struct Leaf {
    alignas(16) SearchKey keys[kKeyGroup];
    HbVariable* variables[kKeyGroup];
    std::uint32_t count;

    Leaf() noexcept;
    void Insert(std::size_t slot, SearchKey key, HbVariable* variable) noexcept;
    void Remove(std::size_t slot) noexcept;
    // Takes the entries of a full leaf from a slot on.
    void TakeFrom(Leaf& full, std::size_t slot) noexcept;
  };
  using LeafPtr = std::unique_ptr<Leaf>;

  // Two leaves and more. A bound lies between a leaf and the next one: it is not below the last
  // key of the one and below the first key of the other. So the keys themselves can come and go
  // without touching the bounds, and the bounds below a key are as many as the leaves in front of
  // its own.
  struct Index {
    std::vector<LeafPtr> leaves;
    std::vector<SearchKey> bounds;
    IdHash by_id;

    std::size_t LeafFor(SearchKey key) const noexcept {
      // Without branches, as none of them could be foreseen.
      const SearchKey* base = bounds.data();
      for (std::size_t count = bounds.size(); count > 1; count -= count / 2) {
        const SearchKey* const middle = base + count / 2;
        if (middle[-1] < key) base = middle;
      }
      return static_cast<std::size_t>(base - bounds.data()) + (*base < key);
    }
    // Makes room for another leaf and for so many entries.
    void Reserve(std::size_t count);
    // Puts a leaf behind that at `position`, with `bound` between them.
    void AddBehind(std::size_t position, SearchKey bound, LeafPtr leaf) noexcept;
    void Drop(std::size_t position) noexcept;
  };

  std::size_t LeafCount() const noexcept {
    return index_ ? index_->leaves.size() : single_ ? 1u : 0u;
  }
  const Leaf& LeafAt(std::size_t position) const noexcept {
    return index_ ? *index_->leaves[position] : *single_;
  }
  Leaf& LeafAt(std::size_t position) noexcept {
    return index_ ? *index_->leaves[position] : *single_;
  }
  // Where the key's leaf stands; there must be one.
  std::size_t PositionFor(SearchKey key) const noexcept {
    return index_ ? index_->LeafFor(key) : 0;
  }
  // Makes room for one entry more, in the full leaf that its key belongs to, and returns where the
  // leaf stands that the key now belongs to.
  std::size_t Split(std::size_t position, SearchKey key);

  LeafPtr single_;                // the only leaf, if there is no index
  std::unique_ptr<Index> index_;  // where one leaf was not enough
  std::uint32_t count_ = 0;
  std::uint32_t version_ = 0;  // changes with every change
};

// Exported, as the walk over a registry is in line.
class TMX_EXPORT IdTable::Cursor {
 public:
  // Behind the last entry of nothing.
  Cursor() noexcept = default;

  bool IsAtEnd() const noexcept { return leaf_ == nullptr; }
  // Those of the entry; not behind the last one.
  std::uint32_t Id() const noexcept { return ToId(leaf_->keys[slot_]); }
  HbVariable* Variable() const noexcept { return leaf_->variables[slot_]; }

  // Whether the table has not changed since; if it has, the cursor must not be used any more.
  bool IsValidFor(const IdTable& table) const noexcept { return version_ == table.version_; }
  // To the next entry.
  void Advance(const IdTable& table) noexcept {
    if (++slot_ == leaf_->count) Enter(table, position_ + 1, 0);
  }

 private:
  friend class IdTable;

  Cursor(const IdTable& table, std::size_t position, std::size_t slot) noexcept
      : version_(table.version_) {
    Enter(table, position, slot);
  }
  void Enter(const IdTable& table, std::size_t position, std::size_t slot) noexcept;

  const Leaf* leaf_ = nullptr;
  std::size_t position_ = 0;
  std::uint32_t slot_ = 0;
  std::uint32_t version_ = 0;
};

}  // namespace tmx
