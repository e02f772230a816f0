// The two files of a compiled macro as bytes in memory: the index ("hbz") and the code ("hbx").
//
//   index  = { name 0x00 offset:4 length:2 reserved:2 }      integers are big-endian
//   code   = "JHOG" { subroutine or other bytes }
//
// Reading an index never gives up: what does not make an entry any more is the tail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::compiler {

struct MacroImage {
  std::string index;
  std::string code;
};

inline constexpr std::string_view kCodeMagic = "JHOG";
inline constexpr std::size_t kLongestSubroutine = 65535;
inline constexpr std::size_t kLongestIndex = 65535;

struct IndexEntry {
  std::string name;
  std::uint32_t offset = 0;
  std::uint16_t length = 0;  // 0: the rest of the code file
  std::uint16_t reserved = 0;
};

struct Index {
  std::vector<IndexEntry> entries;
  std::string tail;  // bytes after the last whole entry
};

Index ReadIndex(std::string_view bytes);
void AppendEntry(std::string& index, const IndexEntry& entry);

// The bytes of an entry's subroutine; false if they do not lie in the code file.
bool FindCode(const MacroImage& image, const IndexEntry& entry, std::string_view& code);

// Appends the subroutines of a part that was compiled for itself. Gives an empty text, or the
// reason why the two cannot be one file and nothing was changed.
std::string Join(MacroImage& image, const MacroImage& part);

// Appends the low bytes of a value, most significant first.
void AppendBigEndian(std::string& out, std::uint32_t value, int bytes);
std::uint32_t ReadBigEndian(std::string_view bytes, std::size_t at, int count);

}  // namespace tmx::compiler
