// Segments in memory and ordered arrays of them.
#pragma once

#include <cstdint>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/ref.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variables.h"

// One segment of a message: a registry whose fields are the data elements, with the
// Segmentkennung ("HIUPD") and the version among them as fields 1000 and 1020.
//
// Owner: whoever holds a counted reference. The maker holds the first one; a container takes its
// own, so a maker that has put a segment into a container gives up its reference with Dispose().
// The last reference destroys the segment; segments live on the heap only. tmx::Ref<HbSegment>
// keeps one reference. Client data belongs to the host and is never looked at.
// Empty state: no fields. Threads: one at a time, together with all that hold a reference; the
// count is not atomic. Sets no codes.
class TMX_EXPORT HbSegment : public HbVariables {
 public:
  explicit HbSegment(void* client_data = nullptr, void* xhb_client_data = nullptr) noexcept
      : HbVariables(nullptr, client_data, xhb_client_data) {}
  HbSegment(const String& kennung, unsigned short version, void* client_data = nullptr,
            void* xhb_client_data = nullptr);

  void IncRefCount() noexcept { ++ref_count_; }
  // Gives up a reference; the last one destroys the segment.
  void DecRefCount() noexcept;
  void Dispose() noexcept { DecRefCount(); }
  unsigned long GetRefCount() const noexcept { return ref_count_; }

  void SetSegmentKennung(const String& kennung);
  // Empty without one.
  String GetSegmentKennung() const;
  void SetSegmentVersion(unsigned short version);
  // 0 without one.
  unsigned short GetSegmentVersion() const;

 private:
  ~HbSegment() = default;

  std::uint32_t ref_count_ = 1;
};

// Up to 65535 segments in the order of their insertion; one may stand in several arrays and
// several times in one.
//
// Owner: its maker. It holds a counted reference for each place, which Remove() gives up and, on
// purpose, the destructor does not: whoever destroys an array empties it first with
// Remove(0, Count()). Empty state: no places. Threads: the segments'. Sets no codes.
class TMX_EXPORT HbSegmentArray {
 public:
  HbSegmentArray() noexcept = default;
  HbSegmentArray(const HbSegmentArray&) = delete;
  HbSegmentArray& operator=(const HbSegmentArray&) = delete;

  unsigned short Count() const noexcept { return static_cast<unsigned short>(segments_.size()); }
  // Takes a reference and appends. False, and nothing changed, for null, for one more than 65535,
  // and when memory ends.
  bool Insert(HbSegment* segment) noexcept;
  // Throws std::out_of_range "invalid vector<T> subscript".
  HbSegment* GetObject(unsigned short index) const;
  // The first place of a segment. Throws std::out_of_range "element not found.".
  unsigned short GetPos(const HbSegment* segment) const;
  // Gives up the references of a range, of which only the places that exist count; the segments
  // behind it move down.
  void Remove(unsigned short position, unsigned short count) noexcept;
  void Reverse() noexcept;

 private:
  std::vector<HbSegment*> segments_;
};
