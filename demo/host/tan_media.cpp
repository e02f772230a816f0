#include "demo/host/tan_media.h"

#include "demo/host/segment_values.h"

namespace tmx::demo {

std::vector<ListedMedium> MediaIn(const HbSegment& hitab) {
  constexpr unsigned long kMediumStep = 1000;
  std::vector<ListedMedium> media;
  ListedMedium medium;
  for (unsigned long at = 0; HasText(hitab, field::kMediumClass + at, medium.kind);
       at += kMediumStep) {
    medium.name = TextOf(hitab, field::kMediumName + at);
    medium.function = TextOf(hitab, field::kMediumSecurityFunction + at);
    if (!medium.name.empty()) media.push_back(medium);
  }
  return media;
}

}  // namespace tmx::demo
