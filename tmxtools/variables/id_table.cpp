#include "tmxtools/variables/id_table.h"

#include <algorithm>
#include <utility>

namespace tmx {

IdTable::Leaf::Leaf() noexcept : variables{}, count(0) { std::fill_n(keys, kKeyGroup, kNoKey); }

void IdTable::Leaf::Insert(std::size_t slot, SearchKey key, HbVariable* variable) noexcept {
  std::copy_backward(keys + slot, keys + count, keys + count + 1);
  std::copy_backward(variables + slot, variables + count, variables + count + 1);
  keys[slot] = key;
  variables[slot] = variable;
  ++count;
}

void IdTable::Leaf::Remove(std::size_t slot) noexcept {
  std::copy(keys + slot + 1, keys + count, keys + slot);
  std::copy(variables + slot + 1, variables + count, variables + slot);
  --count;
  keys[count] = kNoKey;
  variables[count] = nullptr;
}

void IdTable::Leaf::TakeFrom(Leaf& full, std::size_t slot) noexcept {
  std::copy(full.keys + slot, full.keys + kKeyGroup, keys);
  std::copy(full.variables + slot, full.variables + kKeyGroup, variables);
  std::fill(full.keys + slot, full.keys + kKeyGroup, kNoKey);
  std::fill(full.variables + slot, full.variables + kKeyGroup, nullptr);
  count = static_cast<std::uint32_t>(kKeyGroup - slot);
  full.count = static_cast<std::uint32_t>(slot);
}

void IdTable::Index::Reserve(std::size_t count) {
  by_id.Reserve(count);
  if (leaves.size() < leaves.capacity()) return;
  const std::size_t capacity = 2 * leaves.size() + 2;
  bounds.reserve(capacity);
  leaves.reserve(capacity);
}

void IdTable::Index::AddBehind(std::size_t position, SearchKey bound, LeafPtr leaf) noexcept {
  const auto offset = static_cast<std::ptrdiff_t>(position);
  bounds.insert(bounds.begin() + offset, bound);
  leaves.insert(leaves.begin() + offset + 1, std::move(leaf));
}

void IdTable::Index::Drop(std::size_t position) noexcept {
  leaves.erase(leaves.begin() + static_cast<std::ptrdiff_t>(position));
  // The last leaf has no bound behind it; the one in front becomes the last.
  const std::size_t bound = std::min(position, bounds.size() - 1);
  bounds.erase(bounds.begin() + static_cast<std::ptrdiff_t>(bound));
}

std::size_t IdTable::Split(std::size_t position, SearchKey key) {
  Leaf& full = LeafAt(position);
  LeafPtr upper = std::make_unique<Leaf>();
  if (!index_) {
    auto index = std::make_unique<Index>();
    index->Reserve(count_ + 1);
    ForEach([&](std::uint32_t id, HbVariable* variable) { index->by_id.Insert(id, variable); });
    index->leaves.push_back(std::move(single_));
    index_ = std::move(index);
  }
  // Ids that come in ascending order leave full leaves behind.
  const SearchKey last = full.keys[full.count - 1];
  const bool ascending = position + 1 == LeafCount() && key > last;
  if (!ascending) upper->TakeFrom(full, kKeyGroup / 2);
  const SearchKey bound = full.keys[full.count - 1];
  index_->AddBehind(position, bound, std::move(upper));
  return key > bound ? position + 1 : position;
}

bool IdTable::Insert(std::uint32_t id, HbVariable* variable) {
  const SearchKey key = ToSearchKey(id);
  if (LeafCount() == 0) single_ = std::make_unique<Leaf>();
  if (index_) index_->Reserve(count_ + 1);
  std::size_t position = PositionFor(key);
  Leaf* leaf = &LeafAt(position);
  std::size_t slot = RankInGroup(leaf->keys, key);
  if (slot < leaf->count && leaf->keys[slot] == key) return false;
  if (leaf->count == kKeyGroup) {
    position = Split(position, key);
    leaf = &LeafAt(position);
    slot = RankInGroup(leaf->keys, key);
  }
  leaf->Insert(slot, key, variable);
  if (index_) index_->by_id.Insert(id, variable);
  ++count_;
  ++version_;
  return true;
}

HbVariable* IdTable::Remove(std::uint32_t id) noexcept {
  if (count_ == 0) return nullptr;
  const SearchKey key = ToSearchKey(id);
  const std::size_t position = PositionFor(key);
  Leaf& leaf = LeafAt(position);
  const std::size_t slot = RankInGroup(leaf.keys, key);
  if (slot >= leaf.count || leaf.keys[slot] != key) return nullptr;
  HbVariable* const variable = leaf.variables[slot];
  leaf.Remove(slot);
  --count_;
  ++version_;
  if (!index_) return variable;
  index_->by_id.Remove(id);
  if (leaf.count != 0) return variable;
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
  return {*this, position, RankInGroup(LeafAt(position).keys, key)};
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
