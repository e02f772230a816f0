#include "tools/sip_hash.h"

#include <bit>

#include "tmxtools/platform/word_bytes.h"

namespace tmx::tools {
namespace {

struct State {
  std::uint64_t v0, v1, v2, v3;

  void Round() {
    v0 += v1;
    v2 += v3;
    v1 = std::rotl(v1, 13) ^ v0;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 = std::rotl(v0, 32);
    v2 += v1;
    v0 += v3;
    v1 = std::rotl(v1, 17) ^ v2;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 = std::rotl(v2, 32);
  }
  void Take(std::uint64_t word) {
    v3 ^= word;
    Round();
    Round();
    v0 ^= word;
  }
};

}  // namespace

std::uint64_t SipHash(const SipKey& key, std::string_view bytes) {
  // The four words are "somepseudorandomlygeneratedbytes".
  State state{key.low ^ 0x736F6D6570736575u, key.high ^ 0x646F72616E646F6Du,
              key.low ^ 0x6C7967656E657261u, key.high ^ 0x7465646279746573u};
  const auto length = static_cast<std::uint64_t>(bytes.size()) << 56;
  for (; bytes.size() >= 8; bytes.remove_prefix(8)) state.Take(LoadBytes(bytes.data()));
  std::uint64_t rest = 0;
  for (std::size_t i = bytes.size(); i-- != 0;)
    rest = rest << 8 | static_cast<unsigned char>(bytes[i]);
  state.Take(length | rest);
  state.v2 ^= 0xFF;
  for (int i = 0; i < 4; ++i) state.Round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace tmx::tools
