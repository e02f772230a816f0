#include "tmxtools/platform/string.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

[[noreturn]] void ThrowTooLong() { throw std::length_error("text longer than 65535 bytes"); }

// A first buffer below this size would be outgrown at once.
constexpr std::size_t kSmallestBuffer = 40;

// Membership of bytes in a set, one bit for each value.
class ByteSet {
 public:
  explicit ByteSet(std::string_view bytes) {
    for (const char byte : bytes) member_[static_cast<unsigned char>(byte)] = true;
  }
  bool Has(char byte) const { return member_[static_cast<unsigned char>(byte)]; }

 private:
  bool member_[256] = {};
};

}  // namespace

String::Buffer* String::NewBuffer(std::size_t capacity) {
  void* const memory = ::operator new(sizeof(Buffer) + capacity + 1);
  return ::new (memory) Buffer{{1}, static_cast<std::uint32_t>(capacity)};
}

void String::Release() noexcept {
  Buffer* const buffer = storage_.buffer;
  if (buffer->owners.load(std::memory_order_acquire) == 1 ||
      buffer->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    std::destroy_at(buffer);
    ::operator delete(buffer);
  }
}

String::String(const char* text) { Assign(OrEmpty(text)); }

String::String(const char* bytes, std::uint16_t length) {
  if (bytes != nullptr) Assign(bytes, length);
}

String& String::operator=(const char* text) { return Assign(OrEmpty(text)); }

// An empty text with an unshared buffer for at least `capacity` bytes.
String String::WithRoom(std::size_t capacity) {
  String empty;
  empty.storage_.buffer = NewBuffer(std::max(capacity, kSmallestBuffer));
  empty.on_heap_ = true;
  empty.SetEnd(empty.Bytes(), 0);
  return empty;
}

// Moves the text into an unshared buffer for at least `capacity` bytes and its own length.
void String::Grow(std::size_t capacity) {
  const std::size_t doubled = std::min<std::size_t>(MaxLen, std::size_t{Capacity()} * 2);
  if (capacity > Capacity()) capacity = std::max(capacity, doubled);
  String grown = WithRoom(std::max<std::size_t>(capacity, length_));
  grown.Append(View());
  *this = std::move(grown);
}

char* String::Unshare() {
  if (!IsOwn()) AssignSlow(View());
  return Bytes();
}

// The bytes may lie in the buffer that is given up, so both functions give it up last.
void String::AssignSlow(std::string_view bytes) {
  if (bytes.size() > MaxLen) ThrowTooLong();
  String fresh;
  if (bytes.size() > kInlineCapacity) fresh = WithRoom(bytes.size());
  fresh.Assign(bytes);
  *this = std::move(fresh);
}

void String::AppendSlow(std::string_view bytes) {
  if (bytes.size() > std::size_t{MaxLen} - length_) ThrowTooLong();
  const std::size_t length = length_ + bytes.size();
  String grown = WithRoom(std::max(length, std::min<std::size_t>(MaxLen, length * 2)));
  grown.Append(View());
  grown.Append(bytes);
  *this = std::move(grown);
}

void String::Set(std::uint16_t position, char byte) {
  if (position < length_) Unshare()[position] = byte;
}

String& String::Insert(const String& text, std::uint16_t position) {
  if (text.length_ > MaxLen - length_) ThrowTooLong();
  const String inserted = text;  // `text` may be this text
  const std::size_t at = std::min(position, length_);
  Reserve(static_cast<std::uint16_t>(length_ + inserted.length_));
  char* const own = Bytes();
  std::memmove(own + at + inserted.length_, own + at, length_ - at);
  std::memcpy(own + at, inserted.Data(), inserted.length_);
  SetEnd(own, std::size_t{length_} + inserted.length_);
  return *this;
}

String& String::Erase(std::uint16_t position, std::uint16_t count) {
  if (position >= length_ || count == 0) return *this;
  char* const own = Unshare();
  const std::size_t behind = std::min<std::size_t>(length_, std::size_t{position} + count);
  std::memmove(own + position, own + behind, length_ - behind);
  SetEnd(own, position + (length_ - behind));
  return *this;
}

std::uint16_t String::Find(char byte, std::uint16_t from) const noexcept {
  const std::size_t found = View().find(byte, from);
  return found == std::string_view::npos ? NotFound : static_cast<std::uint16_t>(found);
}

std::uint16_t String::Find(const String& text, std::uint16_t from) const noexcept {
  if (text.IsEmpty()) return NotFound;
  const std::size_t found = View().find(text.View(), from);
  return found == std::string_view::npos ? NotFound : static_cast<std::uint16_t>(found);
}

std::uint16_t String::GetTokenCount(char separator) const noexcept {
  if (IsEmpty()) return 0;
  const std::string_view bytes = View();
  // 65535 separators make 65536 fields, one more than the result can say.
  const auto separators = std::count(bytes.begin(), bytes.end(), separator);
  return static_cast<std::uint16_t>(std::min<std::ptrdiff_t>(separators + 1, MaxLen));
}

String String::Token(std::uint16_t index, char separator) const {
  std::string_view rest = View();
  for (; index > 0; --index) {
    const std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) return {};
    rest.remove_prefix(end + 1);
  }
  return String(rest.substr(0, rest.find(separator)));
}

String& String::TrimLeft(char byte) {
  const std::size_t first = View().find_first_not_of(byte);
  return Erase(0, first == std::string_view::npos ? MaxLen : static_cast<std::uint16_t>(first));
}

String& String::TrimRight(char byte) {
  const std::size_t last = View().find_last_not_of(byte);
  return Erase(last == std::string_view::npos ? std::uint16_t{0}
                                              : static_cast<std::uint16_t>(last + 1));
}

String& String::RemoveSet(const String& set) {
  const ByteSet removed(set.View());
  char* const own = Unshare();
  char* const end = std::remove_if(own, own + length_, [&](char b) { return removed.Has(b); });
  SetEnd(own, static_cast<std::size_t>(end - own));
  return *this;
}

String& String::ReplaceSet(const String& set, char replacement) {
  const ByteSet replaced(set.View());
  char* const own = Unshare();
  std::replace_if(
      own, own + length_, [&](char b) { return replaced.Has(b); }, replacement);
  return *this;
}

String& String::LineEndsToLF() {
  if (Find('\r') == NotFound) return *this;
  char* const own = Unshare();
  char* to = own;
  for (std::size_t i = 0; i < length_; ++i) {
    if (own[i] == '\r') {
      *to++ = '\n';
      if (own[i + 1] == '\n') ++i;  // the closing zero ends this look-ahead
    } else {
      *to++ = own[i];
    }
  }
  SetEnd(own, static_cast<std::size_t>(to - own));
  return *this;
}

String& String::PadTo(std::uint16_t length, char byte) {
  if (length <= length_) return *this;
  Reserve(length);
  char* const own = Bytes();
  std::memset(own + length_, byte, std::size_t{length} - length_);
  SetEnd(own, length);
  return *this;
}

std::int32_t String::ToInt() const noexcept {
  std::string_view rest = View();
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const bool negative = rest.starts_with('-');
  if (negative || rest.starts_with('+')) rest.remove_prefix(1);
  std::uint32_t value = 0;
  for (const char c : rest) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return static_cast<std::int32_t>(negative ? 0 - value : value);
}

String String::FromInt(std::int64_t value) {
  char digits[20];
  const auto [end, error] = std::to_chars(digits, digits + sizeof(digits), value);
  static_cast<void>(error);  // 20 bytes hold every 64-bit number
  return String(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}
