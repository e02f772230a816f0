// What is shown of a log's blocks.
#pragma once

#include <optional>

#include "tmxtools/streams/log_blocks.h"
#include "tools/hbci_text.h"
#include "tools/log_anonymise.h"
#include "tools/log_bytes.h"

namespace tmx::tools {

// Texts of a log, made anonymous or as they are. They come piece by piece and may be asked for
// again while this lives. Does not own the stream, which must be readable and is moved.
class ShownLog {
 public:
  explicit ShownLog(SvStream& contents, std::optional<Anonymiser> anonymiser = std::nullopt)
      : bytes_(contents), anonymiser_(std::move(anonymiser)) {}

  SegmentReader Segments(const LogBlock& message) { return {bytes_, BodyOf(message)}; }
  Produce Body(const LogBlock& block);
  // A group element of the segment in which the reader is.
  Produce Raw(const SegmentReader& segment, const GroupElement& group);
  Produce Text(const SegmentReader& segment, const GroupElement& group);  // without escapes

 private:
  static Range BodyOf(const LogBlock& block) { return {block.body, block.body + block.length}; }

  LogBytes bytes_;
  std::optional<Anonymiser> anonymiser_;
};

// Whether all of it can be shown line by line.
bool IsText(const Produce& bytes);

}  // namespace tmx::tools
