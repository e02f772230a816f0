#include "tmxtools/banking/segment.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "tmxtools/banking/field_ids.h"

HbSegment::HbSegment(const String& kennung, unsigned short version, void* client_data,
                     void* xhb_client_data)
    : HbSegment(client_data, xhb_client_data) {
  SetSegmentKennung(kennung);
  SetSegmentVersion(version);
}

void HbSegment::DecRefCount() noexcept {
  if (--ref_count_ == 0) delete this;
}

void HbSegment::SetSegmentKennung(const String& kennung) {
  PutFieldString(kennung, tmx::kSegmentKennungField);
}

String HbSegment::GetSegmentKennung() const {
  String kennung;
  GetFieldString(kennung, tmx::kSegmentKennungField);
  return kennung;
}

void HbSegment::SetSegmentVersion(unsigned short version) {
  PutFieldInt16(static_cast<short>(version), tmx::kSegmentVersionField);
}

unsigned short HbSegment::GetSegmentVersion() const {
  short version = 0;
  GetFieldInt16(version, tmx::kSegmentVersionField);
  return static_cast<unsigned short>(version);
}

bool HbSegmentArray::Insert(HbSegment* segment) noexcept {
  if (segment == nullptr || segments_.size() == UINT16_MAX) return false;
  try {
    segments_.push_back(segment);
  } catch (const std::bad_alloc&) {
    return false;
  }
  segment->IncRefCount();
  return true;
}

HbSegment* HbSegmentArray::GetObject(unsigned short index) const {
  if (index >= segments_.size()) throw std::out_of_range("invalid vector<T> subscript");
  return segments_[index];
}

unsigned short HbSegmentArray::GetPos(const HbSegment* segment) const {
  const auto found = std::find(segments_.begin(), segments_.end(), segment);
  if (found == segments_.end()) throw std::out_of_range("element not found.");
  return static_cast<unsigned short>(found - segments_.begin());
}

void HbSegmentArray::Remove(unsigned short position, unsigned short count) noexcept {
  const std::size_t begin = std::min<std::size_t>(position, segments_.size());
  const std::size_t end = std::min<std::size_t>(begin + count, segments_.size());
  const auto first = segments_.begin() + static_cast<std::ptrdiff_t>(begin);
  const auto last = segments_.begin() + static_cast<std::ptrdiff_t>(end);
  std::for_each(first, last, [](HbSegment* segment) { segment->Dispose(); });
  segments_.erase(first, last);
}

void HbSegmentArray::Reverse() noexcept { std::reverse(segments_.begin(), segments_.end()); }
