// Masking at once, in pieces and on every instruction set beside the rules byte by byte. The first
// byte says whether entries are added to the list and how the message is cut.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

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

// Cuts that look like chance but are the same every time. Each piece is memory of its own, so that
// a look beyond its ends is noticed.
std::string InPieces(const tmx::MaskingList& list, std::string text, std::uint32_t seed) {
  tmx::MessageMasker masker(list);
  for (std::size_t at = 0; at < text.size();) {
    seed = seed * 1664525 + 1013904223;
    const std::size_t limit = (seed >> 12) % 8 == 0 ? 300 : 10;
    const std::size_t count = std::min<std::size_t>(text.size() - at, (seed >> 16) % limit);
    std::string piece = text.substr(at, count);
    masker.Mask(piece.data(), piece.size());
    text.replace(at, count, piece);
    at += count;
  }
  return text;
}

void Compare(const std::string& actual, const std::string& expected) {
  if (actual == expected) return;
  std::fprintf(stderr, "masked:\n%s\nby the rules:\n%s\n", actual.c_str(), expected.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const bool extended = (data[0] & 1) != 0;
  std::string list(tmx::MaskingList::kFixedList);
  if (extended) list += ";" + std::string(kAdded);
  std::string expected = text;
  tmx::ReferenceMasker(list).Mask(expected.data(), expected.size());
  for (const auto level : {tmx::CpuLevel::Portable, tmx::CpuLevel::Avx2, tmx::CpuLevel::Avx512}) {
    if (level > tmx::DetectedCpuLevel()) continue;
    const tmx::ScopedCpuLevel scope(level);
    std::string at_once = text;
    tmx::MessageMasker(List(extended)).Mask(at_once.data(), at_once.size());
    Compare(at_once, expected);
  }
  Compare(InPieces(List(extended), text, data[0]), expected);
  return 0;
}
