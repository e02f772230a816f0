#include "tmxtools/variables/variable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace {

struct Umlaut {
  char byte;
  std::string_view letters;
};
constexpr Umlaut kUmlauts[] = {{'\xC4', "Ae"}, {'\xD6', "Oe"}, {'\xDC', "Ue"}, {'\xDF', "ss"},
                               {'\xE4', "ae"}, {'\xF6', "oe"}, {'\xFC', "ue"}};
constexpr char kUmlautBytes[] = "\xC4\xD6\xDC\xDF\xE4\xF6\xFC";

constexpr unsigned char kEscape = '?';
constexpr std::size_t kMaxEncoded = 65529;

constexpr bool NeedsEscape(unsigned char byte) { return byte == 0 || byte == kEscape; }
constexpr unsigned char Inverted(unsigned char byte) { return static_cast<unsigned char>(~byte); }

// Uninitialised bytes, or null.
std::unique_ptr<unsigned char[]> NewBytes(unsigned long length) {
  if (length == 0 || length > std::numeric_limits<std::uint32_t>::max()) return nullptr;
  return std::unique_ptr<unsigned char[]>(new (std::nothrow) unsigned char[length]);
}

}  // namespace

String HbVariable::RemoveUmlauts(const String& text) {
  std::string_view rest = text.View();
  std::size_t plain = rest.find_first_of(kUmlautBytes);
  if (plain == rest.npos) return text;
  String result;
  for (; plain != rest.npos; plain = rest.find_first_of(kUmlautBytes)) {
    const auto umlaut = std::ranges::find(kUmlauts, rest[plain], &Umlaut::byte);
    result.Append(rest.substr(0, plain)).Append(umlaut->letters);
    rest.remove_prefix(plain + 1);
  }
  return std::move(result.Append(rest));
}

void HbBinaryVariable::SetNull() {
  data_.reset();
  length_ = 0;
  SetNullFlag(true);
}

unsigned char* HbBinaryVariable::Alloc(unsigned long length) {
  SetNull();
  data_ = NewBytes(length);
  if (data_) {
    length_ = static_cast<std::uint32_t>(length);
    SetNullFlag(false);
  }
  return data_.get();
}

void HbBinaryVariable::Set(const unsigned char* data, unsigned long length) {
  // The old bytes may be the source, so they go last.
  const std::unique_ptr<unsigned char[]> old = std::move(data_);
  if (Alloc(data == nullptr ? 0 : length) != nullptr) std::memcpy(data_.get(), data, length);
}

bool HbBinaryVariable::Encode(String& text) const {
  const unsigned char* const end = data_.get() + length_;
  const auto escapes = static_cast<std::size_t>(
      std::count_if(GetData(), static_cast<const unsigned char*>(end), NeedsEscape));
  const std::size_t size = length_ + escapes;
  if (size > kMaxEncoded) return false;
  if (escapes == 0) {
    text.Assign(reinterpret_cast<const char*>(data_.get()), length_);
    return true;
  }
  std::string encoded;
  encoded.reserve(size);
  for (const unsigned char* byte = data_.get(); byte != end; ++byte) {
    if (NeedsEscape(*byte)) encoded += static_cast<char>(kEscape);
    encoded += static_cast<char>(NeedsEscape(*byte) ? Inverted(*byte) : *byte);
  }
  text.Assign(encoded);
  return true;
}

void HbBinaryVariable::Decode(const String& text) {
  const std::string_view source = text.View();
  const auto escapes = static_cast<std::size_t>(std::ranges::count(source, char{kEscape}));
  unsigned char* out = Alloc(source.size() - escapes);
  if (out == nullptr) return;
  // Encode never writes two "?" in a row; where they stand, the walk ends before the text does.
  const unsigned char* const end = out + length_;
  for (std::size_t i = 0; out != end; ++i) {
    const bool escaped = source[i] == kEscape;
    if (escaped) ++i;
    const auto byte = static_cast<unsigned char>(source[i]);
    *out++ = escaped ? Inverted(byte) : byte;
  }
}
