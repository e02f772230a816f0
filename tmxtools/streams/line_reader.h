// Lines of a stream with their exact positions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/secret.h"
#include "tmxtools/platform/stream.h"

namespace tmx {

// Reads lines as SvStream::ReadLine() does, in larger pieces, and knows where each one ends. A line
// that is longer than a text can be is no error: its beginning is given and the rest passed over.
// What was read is wiped, since the stream may be an encrypted one.
//
// Between two calls the stream's position means nothing. What fails is in the stream's error.
// Empty state: at the position given, no line. Threads: one at a time.
class TMX_EXPORT LineReader {
 public:
  explicit LineReader(SvStream& stream, std::uint32_t position = 0)
      : stream_(stream), base_(position) {}

  // False at the end of the stream and after an error.
  bool Next();
  // Valid until the next call.
  std::string_view Line() const { return line_.View(); }
  bool Contains(std::string_view text) const { return Line().find(text) != std::string_view::npos; }
  bool IsTooLong() const { return is_too_long_; }
  // Whether the line has a line end, which the last one of a stream may lack.
  bool HasEnd() const { return has_end_; }
  // Where the next line begins.
  std::uint32_t Position() const { return base_ + static_cast<std::uint32_t>(at_); }
  void Seek(std::uint32_t position);

 private:
  // Reads more when there is nothing left; false when there is no more.
  bool Fill();
  void Take(std::size_t count);

  SvStream& stream_;
  std::uint32_t base_;  // the position of the buffer
  std::size_t at_ = 0;
  std::size_t size_ = 0;
  SecretText line_;
  bool is_too_long_ = false;
  bool has_end_ = false;
  Secret<4096> buffer_;
};

}  // namespace tmx
