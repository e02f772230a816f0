#include "compiler/macro_image.h"

#include <set>

namespace tmx::compiler {

void AppendBigEndian(std::string& out, std::uint32_t value, int bytes) {
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8)
    out += static_cast<char>((value >> shift) & 0xFF);
}

std::uint32_t ReadBigEndian(std::string_view bytes, std::size_t at, int count) {
  std::uint32_t value = 0;
  for (int i = 0; i < count; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
  return value;
}

Index ReadIndex(std::string_view bytes) {
  constexpr std::size_t kFixed = 8;  // offset, length, reserved
  Index index;
  std::size_t pos = 0;
  while (pos < bytes.size()) {
    const std::size_t zero = bytes.find('\0', pos);
    if (zero == std::string_view::npos || bytes.size() - zero - 1 < kFixed) break;
    IndexEntry entry;
    entry.name = bytes.substr(pos, zero - pos);
    entry.offset = ReadBigEndian(bytes, zero + 1, 4);
    entry.length = static_cast<std::uint16_t>(ReadBigEndian(bytes, zero + 5, 2));
    entry.reserved = static_cast<std::uint16_t>(ReadBigEndian(bytes, zero + 7, 2));
    index.entries.push_back(std::move(entry));
    pos = zero + 1 + kFixed;
  }
  index.tail = bytes.substr(pos);
  return index;
}

void AppendEntry(std::string& index, const IndexEntry& entry) {
  index += entry.name;
  index += '\0';
  AppendBigEndian(index, entry.offset, 4);
  AppendBigEndian(index, entry.length, 2);
  AppendBigEndian(index, entry.reserved, 2);
}

bool FindCode(const MacroImage& image, const IndexEntry& entry, std::string_view& code) {
  const std::uint64_t size = image.code.size();
  const std::uint64_t offset = entry.offset;
  if (entry.length == 0) {
    if (offset > size || size - offset > kLongestSubroutine) return false;
    code = std::string_view(image.code).substr(entry.offset);
    return true;
  }
  if (offset + entry.length > size) return false;
  code = std::string_view(image.code).substr(entry.offset, entry.length);
  return true;
}

std::string Join(MacroImage& image, const MacroImage& part) {
  std::set<std::string> names;
  std::string index = image.index;
  for (const MacroImage* each : {static_cast<const MacroImage*>(&image), &part}) {
    const Index parsed = ReadIndex(each->index);
    if (!each->code.starts_with(kCodeMagic) || !parsed.tail.empty())
      return "a source with a magic or an index of its own cannot be a part";
    for (IndexEntry entry : parsed.entries) {
      if (entry.length == 0) return "'" + entry.name + "' takes the rest of the code file";
      if (!names.insert(entry.name).second)
        return "'" + entry.name + "' stands in another part already, or twice in this one";
      if (each != &part) continue;
      entry.offset += static_cast<std::uint32_t>(image.code.size() - kCodeMagic.size());
      AppendEntry(index, entry);
    }
  }
  if (index.size() > kLongestIndex)
    return "the index of the parts has " + std::to_string(index.size()) + " bytes, at most " +
           std::to_string(kLongestIndex) + " are possible";
  image.index = std::move(index);
  image.code.append(part.code, kCodeMagic.size());
  return "";
}

}  // namespace tmx::compiler
