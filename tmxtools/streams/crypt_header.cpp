#include "tmxtools/streams/crypt_header.h"

#include <cstring>

namespace tmx {

const std::uint8_t CurrentMagic[MagicLength] = {'Q', 'K', '2', '6', 'C', 'R', 'S', 'T'};
static const std::uint8_t kOlderMagic[MagicLength] = {'Q', 'K', '2', '5', 'C', 'R', 'S', 'T'};

CryptMagic ReadMagic(SvStream& stream) {
  std::uint8_t found[MagicLength];
  if (stream.Read(found, MagicLength) != MagicLength) return CryptMagic::None;
  if (std::memcmp(found, CurrentMagic, MagicLength) == 0) return CryptMagic::Current;
  if (std::memcmp(found, kOlderMagic, MagicLength) == 0) return CryptMagic::Older;
  return CryptMagic::None;
}

}  // namespace tmx
