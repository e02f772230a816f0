// The header of an encrypted stream: where its fields stand.
#pragma once

#include <cstdint>
#include <optional>

#include "tmxtools/platform/stream.h"

namespace tmx {

enum class CryptMagic { None, Older, Current };

// Reads 8 bytes and says which magic they are.
CryptMagic ReadMagic(SvStream& stream);
constexpr std::uint32_t MagicLength = 8;
extern const std::uint8_t CurrentMagic[MagicLength];

// The fields stand in the order of the functions, all counted from the inner stream's start.
struct CryptHeader {
  bool tagged = false;
  std::uint32_t signature_length = 0;             // 0: no signature
  std::optional<std::uint32_t> key_block_length;  // of a key block, if there is one

  std::uint32_t SignatureAt() const { return tagged ? MagicLength : 0; }
  std::uint32_t KeyBlockFlagAt() const { return SignatureAt() + signature_length; }
  std::uint32_t PadCountAt() const { return KeyBlockFlagAt() + 1; }
  std::uint32_t KeyBlockAt() const { return KeyBlockFlagAt() + 2; }
  std::uint32_t DataAt(bool has_key_block) const {
    return KeyBlockAt() + (has_key_block ? key_block_length.value_or(0) : 0);
  }
};

}  // namespace tmx
