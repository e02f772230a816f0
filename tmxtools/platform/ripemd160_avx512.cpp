#if defined(__AVX512F__)
#include <immintrin.h>

#include "tmxtools/platform/ripemd160_lanes.h"
#include "tmxtools/platform/ripemd160_wide.h"

namespace tmx::ripemd160 {
namespace {

// One instruction makes any Boolean function of three words, given its truth table: the function's
// own value where the three words run through all eight cases.
struct TernaryWords : PlainWords<Vector<16>> {
  template <int Round>
  [[gnu::always_inline]] static Word Mixed(const Word& x, const Word& y, const Word& z) {
    constexpr int table = Mix<Round, std::uint32_t>(0xF0, 0xCC, 0xAA) & 0xFF;
    return reinterpret_cast<Word>(_mm512_ternarylogic_epi32(reinterpret_cast<__m512i>(x),
                                                            reinterpret_cast<__m512i>(y),
                                                            reinterpret_cast<__m512i>(z), table));
  }
};

}  // namespace

const LaneKernel kAvx512 = {16, CompressLanes<16, TernaryWords>};

}  // namespace tmx::ripemd160
#endif
