#include "tmxtools/variables/id_table.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tmx {
namespace {

// The lowest keys are searched a window at a time.
constexpr std::size_t kWindow = 4 * kKeyBlock;

}  // namespace

IdTable::LeafPtr IdTable::NewLeaf(std::size_t capacity) {
  const std::size_t size = sizeof(Leaf) + capacity * (sizeof(SearchKey) + sizeof(HbVariable*));
  LeafPtr leaf(::new (::operator new(size)) Leaf{0, static_cast<std::uint32_t>(capacity)});
  std::fill_n(leaf->keys(), capacity, kNoKey);
  return leaf;
}

void IdTable::Leaf::Insert(std::size_t slot, SearchKey key, HbVariable* variable) noexcept {
  std::copy_backward(keys() + slot, keys() + count, keys() + count + 1);
  std::copy_backward(variables() + slot, variables() + count, variables() + count + 1);
  keys()[slot] = key;
  variables()[slot] = variable;
  ++count;
}

void IdTable::Leaf::Remove(std::size_t slot) noexcept {
  std::copy(keys() + slot + 1, keys() + count, keys() + slot);
  std::copy(variables() + slot + 1, variables() + count, variables() + slot);
  keys()[--count] = kNoKey;
}

void IdTable::Leaf::TakeFrom(Leaf& other, std::size_t slot) noexcept {
  std::copy(other.keys() + slot, other.keys() + other.count, keys() + count);
  std::copy(other.variables() + slot, other.variables() + other.count, variables() + count);
  std::fill(other.keys() + slot, other.keys() + other.count, kNoKey);
  count += other.count - static_cast<std::uint32_t>(slot);
  other.count = static_cast<std::uint32_t>(slot);
}

std::size_t IdTable::Index::LeafFor(SearchKey key) const noexcept {
  // The array ends in at least one whole window of padding, so that every window lies in it.
  std::size_t base = 0;
  for (std::size_t size = leaves.size(); size > kWindow;) {
    const std::size_t half = size / 2;
    if (lowest[base + half] <= key) base += half;
    size -= half;
  }
  const std::size_t below = base + Rank(lowest.data() + base, kWindow / kKeyBlock, key);
  if (below < leaves.size() && lowest[below] == key) return below;
  return below == 0 ? 0 : below - 1;
}

void IdTable::Index::Add(std::size_t position, LeafPtr leaf) {
  leaves.reserve(leaves.size() + 1 > leaves.capacity() ? leaves.size() * 2 + 2 : 0);
  lowest.reserve(leaves.capacity() + kWindow);
  const auto offset = static_cast<std::ptrdiff_t>(position);
  lowest.resize(leaves.size());
  lowest.insert(lowest.begin() + offset, leaf->keys()[0]);
  leaves.insert(leaves.begin() + offset, std::move(leaf));
  lowest.resize(leaves.size() + kWindow, kNoKey);
}

void IdTable::Index::Drop(std::size_t position) noexcept {
  const auto offset = static_cast<std::ptrdiff_t>(position);
  lowest.erase(lowest.begin() + offset);
  leaves.erase(leaves.begin() + offset);
}

std::size_t IdTable::Split(std::size_t position, SearchKey key) {
  Leaf& full = LeafAt(position);
  if (full.capacity < kLeafSize) {
    LeafPtr larger = NewLeaf(full.capacity * std::size_t{2});
    larger->TakeFrom(full, 0);
    single_ = std::move(larger);
    return 0;
  }
  // Ids that come in ascending order leave full leaves behind.
  const bool ascending = position + 1 == LeafCount() && key > full.keys()[full.count - 1];
  LeafPtr upper = NewLeaf(kLeafSize);
  if (!index_) {
    auto index = std::make_unique<Index>();
    index->leaves.reserve(2);
    index->lowest.reserve(2 + kWindow);
    index->Add(0, std::move(single_));
    index_ = std::move(index);
  }
  Leaf& lower = *index_->leaves[position];
  const std::size_t middle = ascending ? lower.count : lower.count / 2;
  const bool above = ascending || key > lower.keys()[middle - 1];
  // The new leaf's lowest key, before it has one.
  upper->keys()[0] = ascending ? key : lower.keys()[middle];
  Leaf& added = *upper;
  index_->Add(position + 1, std::move(upper));
  added.TakeFrom(lower, middle);
  return above ? position + 1 : position;
}

bool IdTable::Insert(std::uint32_t id, HbVariable* variable) {
  const SearchKey key = ToSearchKey(id);
  if (LeafCount() == 0) single_ = NewLeaf(kKeyBlock);
  std::size_t position = index_ ? index_->LeafFor(key) : 0;
  std::size_t slot = LeafAt(position).Rank(key);
  if (slot < LeafAt(position).count && LeafAt(position).keys()[slot] == key) return false;
  if (LeafAt(position).count == LeafAt(position).capacity) {
    position = Split(position, key);
    slot = LeafAt(position).Rank(key);
  }
  LeafAt(position).Insert(slot, key, variable);
  if (index_) index_->lowest[position] = LeafAt(position).keys()[0];
  ++count_;
  return true;
}

HbVariable* IdTable::Remove(std::uint32_t id) noexcept {
  if (count_ == 0) return nullptr;
  const SearchKey key = ToSearchKey(id);
  const std::size_t position = index_ ? index_->LeafFor(key) : 0;
  Leaf& leaf = LeafAt(position);
  const std::size_t slot = leaf.Rank(key);
  if (slot >= leaf.count || leaf.keys()[slot] != key) return nullptr;
  HbVariable* const variable = leaf.variables()[slot];
  leaf.Remove(slot);
  --count_;
  if (!index_) return variable;
  if (leaf.count != 0) {
    index_->lowest[position] = leaf.keys()[0];
    return variable;
  }
  index_->Drop(position);
  if (index_->leaves.size() == 1) {
    single_ = std::move(index_->leaves[0]);
    index_.reset();
  }
  return variable;
}

IdTable::Place IdTable::LowerBound(std::uint32_t id) const noexcept {
  if (LeafCount() == 0) return {};
  const SearchKey key = ToSearchKey(id);
  const std::size_t position = index_ ? index_->LeafFor(key) : 0;
  const std::size_t slot = LeafAt(position).Rank(key);
  const auto leaf = static_cast<std::uint32_t>(position);
  if (slot >= LeafAt(position).count) return {leaf + 1, 0};
  return {leaf, static_cast<std::uint32_t>(slot)};
}

IdTable::Place IdTable::Nth(std::size_t number) const noexcept {
  std::size_t position = 0;
  for (; position < LeafCount() && number >= LeafAt(position).count; ++position) {
    number -= LeafAt(position).count;
  }
  return {static_cast<std::uint32_t>(position), static_cast<std::uint32_t>(number)};
}

}  // namespace tmx
