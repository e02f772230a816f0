// Segments as bytes, with all fields of all types.
#pragma once

#include "demo/host/byte_codec.h"
#include "tmxtools/banking/segment.h"
#include "tmxtools/platform/ref.h"

namespace tmx::demo {

// The segment's own fields, not those of a registry behind it.
void PutSegment(ByteWriter& out, const HbSegment& segment);
// Fails for fields of unknown types, ids out of order and anything else that PutSegment does not
// write. Without a failure there is a segment.
Ref<HbSegment> GetSegment(ByteReader& in);

}  // namespace tmx::demo
