// What the tests of segments and their containers share.
#pragma once

#include "tests/support/thrown_text.h"
#include "tmxtools/banking/segment.h"

using SegmentRef = tmx::Ref<HbSegment>;

inline SegmentRef MakeSegment(const char* kennung = "HISAL", unsigned short version = 5) {
  return tmx::MakeRef<HbSegment>(kennung, version);
}

// Tells when a segment dies, without keeping it alive.
class Watch {
 public:
  explicit Watch(HbSegment* segment) { binding_.Bind(segment); }
  bool IsAlive() const { return binding_.registry() != nullptr; }

 private:
  tmx::RegistryBinding binding_;
};
