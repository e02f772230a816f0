#include "tools/shown_log.h"

namespace tmx::tools {

Produce ShownLog::Body(const LogBlock& block) {
  return [this, block](const Sink& to) {
    anonymiser_ ? anonymiser_->PutBody(bytes_, block, to) : bytes_.Put(BodyOf(block), to);
  };
}

Produce ShownLog::Raw(const SegmentReader& segment, const GroupElement& group) {
  return [this, &segment, group](const Sink& to) {
    anonymiser_ ? anonymiser_->PutElement(bytes_, segment.Code(), group, to)
                : bytes_.Put(group.raw, to);
  };
}

Produce ShownLog::Text(const SegmentReader& segment, const GroupElement& group) {
  if (group.is_binary) return Raw(segment, group);
  return [raw = Raw(segment, group), size = group.raw.Size()](const Sink& to) {
    Unescaper unescaper(size, to);
    raw([&](std::string_view piece) { unescaper.Add(piece); });
  };
}

bool IsText(const Produce& bytes) {
  bool is_text = true;
  bytes([&](std::string_view piece) { is_text = is_text && IsText(piece); });
  return is_text;
}

}  // namespace tmx::tools
