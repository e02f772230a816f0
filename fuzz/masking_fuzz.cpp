// Masking at once, in pieces and on every instruction set beside the rules byte by byte. The first
// byte says whether entries are added to the list and how the message is cut.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/reference_masking.h"
#include "tmxtools/platform/cpu_features.h"
#include "tmxtools/streams/masking.h"

namespace {

constexpr std::string_view kAdded = "HNVSD+2;HK+3;HNSHAX+2+3+4;ABCDEFGH+2";

const tmx::MaskingList& List(bool extended) {
  static const tmx::MaskingList fixed;
  static const tmx::MaskingList more = [] {
    tmx::MaskingList list;
    list.Add(kAdded);
    return list;
  }();
  return extended ? more : fixed;
}

std::string ByTheRules(bool extended, std::string text) {
  static const tmx::ReferenceMasker fixed(tmx::MaskingList::kFixedList);
  static const tmx::ReferenceMasker more(std::string(tmx::MaskingList::kFixedList) + ";" +
                                         std::string(kAdded));
  tmx::ReferenceMasker masker = extended ? more : fixed;
  masker.Mask(text.data(), text.size());
  return text;
}

// Cuts that look like chance but are the same every time. Each piece ends where its memory ends, so
// that a look beyond it is noticed.
void MaskInPieces(const tmx::MaskingList& list, std::vector<char>& text, std::uint32_t seed) {
  static std::vector<char> memory(300);
  std::ranges::fill(memory, '\0');
  tmx::MessageMasker masker(list);
  for (auto at = text.begin(); at != text.end();) {
    seed = seed * 1664525 + 1013904223;
    const std::ptrdiff_t limit = (seed >> 12) % 8 == 0 ? 300 : 10;
    const std::ptrdiff_t count = std::min(text.end() - at, (seed >> 16) % limit);
    char* const piece = memory.data() + memory.size() - count;
    std::copy_n(at, count, piece);
    masker.Mask(piece, static_cast<std::size_t>(count));
    at = std::copy_n(piece, count, at);
  }
}

void Compare(const std::vector<char>& actual, const std::string& expected) {
  if (std::ranges::equal(actual, expected)) return;
  std::fprintf(stderr, "masked:\n%.*s\nby the rules:\n%s\n", static_cast<int>(actual.size()),
               actual.data(), expected.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const bool extended = (data[0] & 1) != 0;
  const tmx::MaskingList& list = List(extended);
  const std::string expected = ByTheRules(extended, std::string(text));
  std::vector<char> masked(text.size());
  for (const auto level : {tmx::CpuLevel::Portable, tmx::CpuLevel::Avx2, tmx::CpuLevel::Avx512}) {
    if (level > tmx::DetectedCpuLevel()) continue;
    const tmx::ScopedCpuLevel scope(level);
    std::ranges::copy(text, masked.begin());
    tmx::MessageMasker(list).Mask(masked.data(), masked.size());
    Compare(masked, expected);
  }
  std::ranges::copy(text, masked.begin());
  MaskInPieces(list, masked, data[0]);
  Compare(masked, expected);
  return 0;
}
