// Segments that belong to one version of the message standard.
#pragma once

#include <concepts>
#include <memory>
#include <utility>
#include <vector>

#include "tmxtools/banking/segment.h"
#include "tmxtools/platform/export.h"

// Segments tagged with an HBCI version (220, 300).
//
// Owner: its maker, or the array that it was put into. It holds a counted reference on each
// segment and gives them up in the destructor. Empty state: no segments. Threads: the segments'.
// Sets no codes.
class TMX_EXPORT HbSegmentSet4HbciVersion {
 public:
  explicit HbSegmentSet4HbciVersion(unsigned short hbci_version) noexcept
      : hbci_version_(hbci_version) {}
  ~HbSegmentSet4HbciVersion() { ClearSet(); }
  HbSegmentSet4HbciVersion(const HbSegmentSet4HbciVersion&) = delete;
  HbSegmentSet4HbciVersion& operator=(const HbSegmentSet4HbciVersion&) = delete;

  unsigned short GetHbciVersion() const noexcept { return hbci_version_; }
  // As the operations of HbSegmentArray.
  unsigned short SegmentCount() const noexcept { return segments_.Count(); }
  HbSegment* GetSegment(unsigned short index) { return segments_.GetObject(index); }
  const HbSegment* GetSegment(unsigned short index) const { return segments_.GetObject(index); }
  bool InsertSegment(HbSegment* segment) noexcept { return segments_.Insert(segment); }
  void RemoveSegment(unsigned short position, unsigned short count) noexcept {
    segments_.Remove(position, count);
  }
  void ClearSet() noexcept { segments_.Remove(0, segments_.Count()); }

 private:
  unsigned short hbci_version_;
  HbSegmentArray segments_;
};

// Up to 65535 sets in the order of their insertion. That there is one set a version is the
// caller's duty.
//
// Owner: its maker. It owns the sets that it holds; one that is removed belongs to the caller.
// Empty state: no sets. Threads: the segments'. Sets no codes.
class TMX_EXPORT HbSegmentSet4HbciVersionArray {
 public:
  HbSegmentSet4HbciVersionArray() noexcept = default;
  HbSegmentSet4HbciVersionArray(const HbSegmentSet4HbciVersionArray&) = delete;
  HbSegmentSet4HbciVersionArray& operator=(const HbSegmentSet4HbciVersionArray&) = delete;

  unsigned short SegmentSetCount() const noexcept {
    return static_cast<unsigned short>(sets_.size());
  }
  // Takes a set over and appends it. False, and the set stays the caller's, for null, for one
  // more than 65535, and when memory ends.
  bool InsertSegmentSet(HbSegmentSet4HbciVersion* set) noexcept;
  // Throw std::out_of_range "invalid vector<T> subscript".
  HbSegmentSet4HbciVersion* GetSegmentSet(unsigned short index);
  const HbSegmentSet4HbciVersion* GetSegmentSet(unsigned short index) const;
  // The first set of a version, or null.
  HbSegmentSet4HbciVersion* GetSegmentSet4Version(unsigned short version) const noexcept;
  // Take a set out and hand it back undeleted; null, and nothing changed, without such a set.
  HbSegmentSet4HbciVersion* RemoveSegmentSet(unsigned short index) noexcept;
  HbSegmentSet4HbciVersion* RemoveSegmentSet(HbSegmentSet4HbciVersion* set) noexcept;
  // For other numbers, among which a literal 0 would else be a pointer as well.
  HbSegmentSet4HbciVersion* RemoveSegmentSet(std::integral auto index) noexcept {
    if (!std::in_range<unsigned short>(index)) return nullptr;
    return RemoveSegmentSet(static_cast<unsigned short>(index));
  }
  void Clear() noexcept { sets_.clear(); }

 private:
  std::vector<std::unique_ptr<HbSegmentSet4HbciVersion>> sets_;
};
