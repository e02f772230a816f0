#include "tmxtools/streams/line_reader.h"

#include <algorithm>

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
  const unsigned long count = stream_.Read(buffer_.data(), buffer_.size());
  if (!stream_.HasError()) size_ = count;
  return size_ != 0;
}

void LineReader::Take(std::size_t count) {
  const std::size_t room = std::size_t{String::MaxLen} - line_.Len();
  is_too_long_ = is_too_long_ || count > room;
  line_.Append({buffer_.data() + at_, std::min(count, room)});
  at_ += count;
}

bool LineReader::Next() {
  line_.Clear();
  is_too_long_ = false;
  has_end_ = false;
  bool has_line = false;
  while (!has_end_ && Fill()) {
    has_line = true;
    const char* const begin = buffer_.data() + at_;
    const char* const rest_end = buffer_.data() + size_;
    const char* const end =
        std::find_if(begin, rest_end, [](char c) { return c == '\n' || c == '\r'; });
    Take(static_cast<std::size_t>(end - begin));
    if (end == rest_end) continue;
    has_end_ = true;
    ++at_;
    if (*end == '\r' && Fill() && buffer_[at_] == '\n') ++at_;
  }
  return has_line && !stream_.HasError();
}

}  // namespace tmx
