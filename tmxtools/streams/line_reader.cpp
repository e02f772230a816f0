#include "tmxtools/streams/line_reader.h"

#include <algorithm>

#include "tmxtools/platform/string.h"

namespace tmx {

void LineReader::Seek(std::uint32_t position) {
  if (position >= base_ && position - base_ <= size_) {
    at_ = position - base_;
  } else {
    base_ = position;
    at_ = size_ = 0;
  }
}

bool LineReader::Fill() {
  if (at_ < size_) return true;
  base_ = Position();
  at_ = size_ = 0;
  stream_.Seek(base_);
  const unsigned long count = stream_.Read(buffer_.Data(), buffer_.Size());
  if (!stream_.HasError()) size_ = count;
  return size_ != 0;
}

void LineReader::Take(std::size_t count) {
  const std::size_t room = String::MaxLen - line_.Size();
  is_too_long_ = is_too_long_ || count > room;
  line_.Append({reinterpret_cast<const char*>(buffer_.Data() + at_), std::min(count, room)});
  at_ += count;
}

bool LineReader::Next() {
  line_.Clear();
  is_too_long_ = false;
  has_end_ = false;
  bool has_line = false;
  while (!has_end_ && Fill()) {
    has_line = true;
    const std::uint8_t* const begin = buffer_.Data() + at_;
    const std::uint8_t* const rest_end = buffer_.Data() + size_;
    const std::uint8_t* const end =
        std::find_if(begin, rest_end, [](std::uint8_t c) { return c == '\n' || c == '\r'; });
    Take(static_cast<std::size_t>(end - begin));
    if (end == rest_end) continue;
    has_end_ = true;
    ++at_;
    if (*end == '\r' && Fill() && buffer_[at_] == '\n') ++at_;
  }
  return has_line && !stream_.HasError();
}

}  // namespace tmx
