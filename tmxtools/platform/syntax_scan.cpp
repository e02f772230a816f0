#include "tmxtools/platform/syntax_scan.h"

#include "tmxtools/platform/word_bytes.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tmx {
namespace {

// ---- eight bytes at a time ----------------------------------------------------------------------

template <class... Bytes>
std::uint64_t Find(std::uint64_t word, Bytes... bytes) {
  return GatherTopBits((TopBitsWhereEqual(word, bytes) | ...));
}

void FindEndsPortable(const char* data, std::size_t blocks, SyntaxBits* found) {
  for (; blocks != 0; --blocks, data += SyntaxScan::kBlock, ++found) {
    *found = {};
    for (unsigned i = 0; i < 8; ++i) {
      const std::uint64_t word = LoadBytes(data + 8 * i);
      found->ends |= Find(word, '\'') << (8 * i);
      found->specials |= Find(word, '?', '@') << (8 * i);
    }
  }
}

std::uint64_t FindAllPortable(const char* block) {
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < 8; ++i)
    bits |= Find(LoadBytes(block + 8 * i), '\'', '+', ':', '?', '@') << (8 * i);
  return bits;
}

constexpr SyntaxScan kPortable{FindEndsPortable, FindAllPortable};

#if defined(__x86_64__)

// ---- vectors of 32 bytes ------------------------------------------------------------------------

#define TMX_AVX2 __attribute__((target("avx2")))

TMX_AVX2 inline __m256i Load256(const char* data) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data));
}
TMX_AVX2 inline __m256i Equal256(__m256i bytes, char byte) {
  return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(byte));
}
TMX_AVX2 inline std::uint64_t Gather256(__m256i low, __m256i high) {
  const auto bits = [](int mask) { return static_cast<std::uint32_t>(mask); };
  return bits(_mm256_movemask_epi8(low)) | std::uint64_t{bits(_mm256_movemask_epi8(high))} << 32;
}
TMX_AVX2 inline __m256i Specials256(__m256i bytes) {
  return _mm256_or_si256(Equal256(bytes, '?'), Equal256(bytes, '@'));
}
TMX_AVX2 inline __m256i Syntax256(__m256i bytes) {
  const __m256i separators = _mm256_or_si256(Equal256(bytes, '+'), Equal256(bytes, ':'));
  return _mm256_or_si256(_mm256_or_si256(Specials256(bytes), separators), Equal256(bytes, '\''));
}

TMX_AVX2 void FindEndsAvx2(const char* data, std::size_t blocks, SyntaxBits* found) {
  for (; blocks != 0; --blocks, data += SyntaxScan::kBlock, ++found) {
    const __m256i low = Load256(data), high = Load256(data + 32);
    found->ends = Gather256(Equal256(low, '\''), Equal256(high, '\''));
    found->specials = Gather256(Specials256(low), Specials256(high));
  }
}
TMX_AVX2 std::uint64_t FindAllAvx2(const char* block) {
  return Gather256(Syntax256(Load256(block)), Syntax256(Load256(block + 32)));
}
#undef TMX_AVX2

constexpr SyntaxScan kAvx2{FindEndsAvx2, FindAllAvx2};

// ---- vectors of 64 bytes ------------------------------------------------------------------------

#define TMX_AVX512 __attribute__((target("avx512f,avx512bw")))

TMX_AVX512 inline std::uint64_t Equal512(__m512i bytes, char byte) {
  return _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(byte));
}

TMX_AVX512 void FindEndsAvx512(const char* data, std::size_t blocks, SyntaxBits* found) {
  for (; blocks != 0; --blocks, data += SyntaxScan::kBlock, ++found) {
    const __m512i bytes = _mm512_loadu_si512(data);
    found->ends = Equal512(bytes, '\'');
    found->specials = Equal512(bytes, '?') | Equal512(bytes, '@');
  }
}
TMX_AVX512 std::uint64_t FindAllAvx512(const char* block) {
  const __m512i bytes = _mm512_loadu_si512(block);
  return Equal512(bytes, '\'') | Equal512(bytes, '+') | Equal512(bytes, ':') |
         Equal512(bytes, '?') | Equal512(bytes, '@');
}
#undef TMX_AVX512

constexpr SyntaxScan kAvx512{FindEndsAvx512, FindAllAvx512};

#endif

}  // namespace

const SyntaxScan& SyntaxScanFor(CpuLevel level) {
#if defined(__x86_64__)
  constexpr const SyntaxScan* kForms[] = {&kPortable, &kAvx2, &kAvx512};
  return *kForms[static_cast<std::size_t>(level)];
#else
  static_cast<void>(level);
  return kPortable;
#endif
}

}  // namespace tmx
