// A log's contents as they are printed: in pieces, since a message may be larger than memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tmxtools/platform/stream.h"

namespace tmx::tools {

// Takes a text piece by piece.
using Sink = std::function<void(std::string_view)>;
// Gives one; more than once when it is asked again.
using Produce = std::function<void(const Sink&)>;

// Where something stands in the contents.
struct Range {
  std::uint32_t begin = 0, end = 0;

  std::uint32_t Size() const { return end - begin; }
  bool IsEmpty() const { return begin == end; }
};

// The bytes of a stream, of which only a window is held. What cannot be read is zeros; why is in
// the stream's error. Does not own the stream, which must be readable and is moved.
class LogBytes {
 public:
  explicit LogBytes(SvStream& stream) : stream_(stream) {}

  char At(std::uint32_t position) {
    // Positions before the window wrap around and are too large.
    if (position - begin_ >= window_.size()) Load(position);
    return window_[position - begin_];
  }
  // The sink must not ask for other bytes.
  void Put(Range range, const Sink& to);

 private:
  void Load(std::uint32_t position);

  SvStream& stream_;
  std::string window_;
  std::uint32_t begin_ = 0;
};

// Gathers characters to pieces.
class Gatherer {
 public:
  explicit Gatherer(const Sink& to) : to_(to) {}
  ~Gatherer() { Flush(); }
  Gatherer(const Gatherer&) = delete;
  Gatherer& operator=(const Gatherer&) = delete;

  void Add(char c) {
    if (count_ == piece_.size()) Flush();
    piece_[count_++] = c;
  }
  void Add(std::string_view text) {
    for (const char c : text) Add(c);
  }
  void Flush() {
    if (count_ != 0) to_({piece_.data(), count_});
    count_ = 0;
  }

 private:
  const Sink& to_;
  std::size_t count_ = 0;
  std::array<char, 1024> piece_;
};

}  // namespace tmx::tools
