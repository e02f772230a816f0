#include "tmxtools/variables/id_table.h"

#include <algorithm>
#include <utility>

namespace tmx {
IdTable::LeafPtr IdTable::NewLeaf(std::size_t capacity) {
  const std::size_t size = sizeof(Leaf) + capacity * (sizeof(SearchKey) + sizeof(HbVariable*));
  LeafPtr leaf(::new (::operator new(size))
                   Leaf{{kNoKey, kNoKey, kNoKey, kNoKey}, 0, static_cast<std::uint32_t>(capacity)});
  std::fill_n(leaf->keys(), capacity, kNoKey);
  std::fill_n(leaf->variables(), capacity, nullptr);
  return leaf;
}

void IdTable::Leaf::Insert(std::size_t slot, SearchKey key, HbVariable* variable) noexcept {
  std::copy_backward(keys() + slot, keys() + count, keys() + count + 1);
  std::copy_backward(variables() + slot, variables() + count, variables() + count + 1);
  keys()[slot] = key;
  variables()[slot] = variable;
  ++count;
  Bound();
}

void IdTable::Leaf::Remove(std::size_t slot) noexcept {
  std::copy(keys() + slot + 1, keys() + count, keys() + slot);
  std::copy(variables() + slot + 1, variables() + count, variables() + slot);
  --count;
  keys()[count] = kNoKey;
  variables()[count] = nullptr;
  Bound();
}

void IdTable::Leaf::TakeFrom(Leaf& other, std::size_t slot) noexcept {
  std::copy(other.keys() + slot, other.keys() + other.count, keys() + count);
  std::copy(other.variables() + slot, other.variables() + other.count, variables() + count);
  std::fill(other.keys() + slot, other.keys() + other.count, kNoKey);
  std::fill(other.variables() + slot, other.variables() + other.count, nullptr);
  count += other.count - static_cast<std::uint32_t>(slot);
  other.count = static_cast<std::uint32_t>(slot);
  Bound();
  other.Bound();
}

void IdTable::Leaf::Bound() noexcept {
  for (std::size_t i = 0; i + 1 < capacity / kKeyGroup; ++i) {
    group_bounds[i] = keys()[i * kKeyGroup + kKeyGroup - 1];
  }
}

void IdTable::Index::Reserve() {
  if (leaves.size() < leaves.capacity()) return;
  const std::size_t capacity = std::max(kKeyGroup, leaves.size() * 2);
  group_bounds.reserve(capacity / kKeyGroup + 1 + kKeyGroup);
  bounds.reserve(capacity + kKeyGroup);
  leaves.reserve(capacity);
}

void IdTable::Index::AddBehind(std::size_t position, SearchKey bound, LeafPtr leaf) noexcept {
  const auto offset = static_cast<std::ptrdiff_t>(position);
  bounds.resize(leaves.size());
  bounds.insert(bounds.begin() + offset, bound);
  leaves.insert(leaves.begin() + offset + 1, std::move(leaf));
  FillUp(position);
}

void IdTable::Index::Drop(std::size_t position) noexcept {
  const auto offset = static_cast<std::ptrdiff_t>(position);
  leaves.erase(leaves.begin() + offset);
  bounds.erase(bounds.begin() + offset);
  FillUp(position);
}

// Sets right what stands behind the bounds and, from a position on, the bounds of their groups.
void IdTable::Index::FillUp(std::size_t position) noexcept {
  bounds.resize(leaves.size() - 1);
  bounds.resize(leaves.size() + kKeyGroup, kNoKey);
  group_bounds.resize(position / kKeyGroup);
  for (std::size_t i = group_bounds.size() * kKeyGroup; i < leaves.size(); i += kKeyGroup) {
    group_bounds.push_back(bounds[i + kKeyGroup - 1]);
  }
  group_bounds.resize(group_bounds.size() + kKeyGroup, kNoKey);
}

std::size_t IdTable::Split(std::size_t position, SearchKey key) {
  Leaf& full = LeafAt(position);
  if (full.capacity == kKeyGroup) {
    LeafPtr larger = NewLeaf(kLargeLeaf);
    larger->TakeFrom(full, 0);
    single_ = std::move(larger);
    return 0;
  }
  LeafPtr upper = NewLeaf(kLargeLeaf);
  if (!index_) {
    auto index = std::make_unique<Index>();
    index->Reserve();
    index->leaves.push_back(std::move(single_));
    index_ = std::move(index);
  }
  index_->Reserve();
  // Ids that come in ascending order leave full leaves behind.
  const SearchKey last = full.keys()[full.count - 1];
  const bool ascending = position + 1 == LeafCount() && key > last;
  if (!ascending) upper->TakeFrom(full, full.count / 2);
  const SearchKey bound = full.keys()[full.count - 1];
  index_->AddBehind(position, bound, std::move(upper));
  return key > bound ? position + 1 : position;
}

bool IdTable::Insert(std::uint32_t id, HbVariable* variable) {
  const SearchKey key = ToSearchKey(id);
  if (LeafCount() == 0) single_ = NewLeaf(kKeyGroup);
  std::size_t position = PositionFor(key);
  Leaf* leaf = &LeafAt(position);
  std::size_t slot = leaf->Rank(key);
  if (slot < leaf->count && leaf->keys()[slot] == key) return false;
  if (leaf->count == leaf->capacity) {
    position = Split(position, key);
    leaf = &LeafAt(position);
    slot = leaf->Rank(key);
  }
  leaf->Insert(slot, key, variable);
  ++count_;
  ++version_;
  return true;
}

HbVariable* IdTable::Remove(std::uint32_t id) noexcept {
  if (count_ == 0) return nullptr;
  const SearchKey key = ToSearchKey(id);
  const std::size_t position = PositionFor(key);
  Leaf& leaf = LeafAt(position);
  const std::size_t slot = leaf.Rank(key);
  if (slot >= leaf.count || leaf.keys()[slot] != key) return nullptr;
  HbVariable* const variable = leaf.variables()[slot];
  leaf.Remove(slot);
  --count_;
  ++version_;
  if (!index_ || leaf.count != 0) return variable;
  index_->Drop(position);
  if (index_->leaves.size() == 1) {
    single_ = std::move(index_->leaves[0]);
    index_.reset();
  }
  return variable;
}

IdTable::Cursor IdTable::LowerBound(std::uint32_t id) const noexcept {
  if (count_ == 0) return {};
  const SearchKey key = ToSearchKey(id);
  const std::size_t position = PositionFor(key);
  return {*this, position, LeafAt(position).Rank(key)};
}

IdTable::Cursor IdTable::Nth(std::size_t number) const noexcept {
  std::size_t position = 0;
  for (; position < LeafCount() && number >= LeafAt(position).count; ++position) {
    number -= LeafAt(position).count;
  }
  return {*this, position, number};
}

// A slot behind the leaf's last entry means the next leaf, no leaf the end.
void IdTable::Cursor::Enter(const IdTable& table, std::size_t position, std::size_t slot) noexcept {
  if (position < table.LeafCount() && slot == table.LeafAt(position).count) {
    ++position;
    slot = 0;
  }
  // Only the leaf of a small table can be empty.
  leaf_ = position < table.LeafCount() && table.count_ != 0 ? &table.LeafAt(position) : nullptr;
  position_ = position;
  slot_ = static_cast<std::uint32_t>(slot);
}

}  // namespace tmx
