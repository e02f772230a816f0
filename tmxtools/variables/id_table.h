// The sorted table from field ids to variables behind a registry.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "tmxtools/platform/id_search.h"

class HbVariable;

namespace tmx {

// Ids and variables in leaves of up to 64, sorted, with the keys of a leaf side by side so that
// vector instructions search them. One leaf, which grows with its content, is all that a small
// table has; several leaves stand under an array of their lowest keys.
//
// Owner: a registry, which also counts the references on the variables; the table counts none.
// Empty state: no entries, no memory. Threads: one at a time.
class IdTable {
 public:
  // A place in the order of ids: behind the last entry, the leaf is the number of leaves.
  struct Place {
    std::uint32_t leaf = 0;
    std::uint32_t slot = 0;
  };
  struct Entry {
    std::uint32_t id;
    HbVariable* variable;
  };

  IdTable() noexcept = default;
  IdTable(IdTable&& other) noexcept
      : single_(std::move(other.single_)), index_(std::move(other.index_)), count_(other.count_) {
    other.count_ = 0;
  }
  IdTable& operator=(IdTable&&) = delete;

  std::size_t Count() const noexcept { return count_; }

  // The variable of an id, or null.
  HbVariable* Find(std::uint32_t id) const noexcept {
    const SearchKey key = ToSearchKey(id);
    const Leaf* const leaf = index_ ? LeafFor(key) : single_.get();
    if (leaf == nullptr) return nullptr;
    const std::size_t slot = leaf->Rank(key);
    return slot < leaf->count && leaf->keys()[slot] == key ? leaf->variables()[slot] : nullptr;
  }
  // Adds an entry. False if there is one with this id. Throws std::bad_alloc and then has changed
  // nothing.
  bool Insert(std::uint32_t id, HbVariable* variable);
  // Takes an entry out and returns its variable; null if there is none.
  HbVariable* Remove(std::uint32_t id) noexcept;

  // The place of the first entry whose id is not below `id`.
  Place LowerBound(std::uint32_t id) const noexcept;
  Place Begin() const noexcept { return {}; }
  // The entry at a place, which may also be out of date; no variable where there is none.
  Entry At(Place place) const noexcept {
    if (place.leaf >= LeafCount()) return {0, nullptr};
    const Leaf& leaf = LeafAt(place.leaf);
    if (place.slot >= leaf.count) return {0, nullptr};
    return {ToId(leaf.keys()[place.slot]), leaf.variables()[place.slot]};
  }
  // The place behind that of an entry.
  Place Next(Place place) const noexcept {
    return ++place.slot < LeafAt(place.leaf).count ? place : Place{place.leaf + 1, 0};
  }
  // The place of the entry with a number, counted from 0.
  Place Nth(std::size_t number) const noexcept;

  template <class Visit>
  void ForEach(Visit visit) const {
    for (std::size_t i = 0; i < LeafCount(); ++i) {
      const Leaf& leaf = LeafAt(i);
      for (std::size_t slot = 0; slot < leaf.count; ++slot) {
        visit(ToId(leaf.keys()[slot]), leaf.variables()[slot]);
      }
    }
  }

 private:
  static constexpr std::size_t kLeafSize = 64;

  // The header of a leaf; `capacity` keys and as many variables follow it.
  struct Leaf {
    std::uint32_t count;
    std::uint32_t capacity;

    SearchKey* keys() noexcept { return reinterpret_cast<SearchKey*>(this + 1); }
    const SearchKey* keys() const noexcept { return reinterpret_cast<const SearchKey*>(this + 1); }
    HbVariable** variables() noexcept { return reinterpret_cast<HbVariable**>(keys() + capacity); }
    HbVariable* const* variables() const noexcept {
      return reinterpret_cast<HbVariable* const*>(keys() + capacity);
    }
    std::size_t Rank(SearchKey key) const noexcept {
      return tmx::Rank(keys(), capacity / kKeyBlock, key);
    }
    void Insert(std::size_t slot, SearchKey key, HbVariable* variable) noexcept;
    void Remove(std::size_t slot) noexcept;
    // Appends the entries of another leaf from a slot on, and takes them from it.
    void TakeFrom(Leaf& other, std::size_t slot) noexcept;
  };
  struct DropLeaf {
    void operator()(Leaf* leaf) const noexcept { ::operator delete(leaf); }
  };
  using LeafPtr = std::unique_ptr<Leaf, DropLeaf>;
  static LeafPtr NewLeaf(std::size_t capacity);

  // Two leaves and more.
  struct Index {
    std::vector<SearchKey> lowest;  // of each leaf, then kNoKey up to whole windows
    std::vector<LeafPtr> leaves;

    // The last leaf whose lowest key is not above `key`, else the first.
    std::size_t LeafFor(SearchKey key) const noexcept;
    void Add(std::size_t position, LeafPtr leaf);
    void Drop(std::size_t position) noexcept;
  };

  const Leaf* LeafFor(SearchKey key) const noexcept {
    return index_->leaves[index_->LeafFor(key)].get();
  }
  std::size_t LeafCount() const noexcept {
    return index_ ? index_->leaves.size() : single_ ? 1u : 0u;
  }
  const Leaf& LeafAt(std::size_t position) const noexcept {
    return index_ ? *index_->leaves[position] : *single_;
  }
  Leaf& LeafAt(std::size_t position) noexcept {
    return index_ ? *index_->leaves[position] : *single_;
  }
  // Makes room in a full leaf and returns the leaf that the key now belongs to.
  std::size_t Split(std::size_t position, SearchKey key);

  LeafPtr single_;                // the only leaf, if there is no index
  std::unique_ptr<Index> index_;  // where one leaf was not enough
  std::size_t count_ = 0;
};

}  // namespace tmx
