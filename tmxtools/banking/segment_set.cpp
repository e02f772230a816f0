#include "tmxtools/banking/segment_set.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <stdexcept>

bool HbSegmentSet4HbciVersionArray::InsertSegmentSet(HbSegmentSet4HbciVersion* set) noexcept {
  if (set == nullptr || sets_.size() == UINT16_MAX) return false;
  try {
    sets_.emplace_back();
  } catch (const std::bad_alloc&) {
    return false;
  }
  sets_.back().reset(set);
  return true;
}

HbSegmentSet4HbciVersion* HbSegmentSet4HbciVersionArray::GetSegmentSet(unsigned short index) {
  if (index >= sets_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return sets_[index].get();
}

const HbSegmentSet4HbciVersion* HbSegmentSet4HbciVersionArray::GetSegmentSet(
    unsigned short index) const {
  if (index >= sets_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return sets_[index].get();
}

HbSegmentSet4HbciVersion* HbSegmentSet4HbciVersionArray::GetSegmentSet4Version(
    unsigned short version) const noexcept {
  const auto found =
      std::ranges::find(sets_, version, [](const auto& held) { return held->GetHbciVersion(); });
  return found != sets_.end() ? found->get() : nullptr;
}

HbSegmentSet4HbciVersion* HbSegmentSet4HbciVersionArray::RemoveSegmentSet(
    unsigned short index) noexcept {
  if (index >= sets_.size()) return nullptr;
  HbSegmentSet4HbciVersion* const removed = sets_[index].release();
  sets_.erase(sets_.begin() + index);
  return removed;
}

HbSegmentSet4HbciVersion* HbSegmentSet4HbciVersionArray::RemoveSegmentSet(
    HbSegmentSet4HbciVersion* set) noexcept {
  const auto found = std::ranges::find(sets_, set, [](const auto& held) { return held.get(); });
  return RemoveSegmentSet(found - sets_.begin());
}
