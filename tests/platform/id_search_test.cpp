#include "tmxtools/platform/id_search.h"

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using tmx::SearchKey;

TEST(IdSearch, KeysHaveTheOrderOfIds) {
  const std::vector<std::uint32_t> ids = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
  for (const std::uint32_t a : ids) {
    EXPECT_EQ(tmx::ToId(tmx::ToSearchKey(a)), a);
    for (const std::uint32_t b : ids) {
      EXPECT_EQ(tmx::ToSearchKey(a) < tmx::ToSearchKey(b), a < b);
    }
  }
  EXPECT_EQ(tmx::ToSearchKey(0xFFFFFFFF), tmx::kNoKey);
}

TEST(IdSearch, TheLastKernelAlwaysWorks) {
  EXPECT_STREQ(tmx::RankKernels().back().name, "scalar");
  EXPECT_TRUE(tmx::RankKernels().back().supported);
}

// Counts one key after the other.
std::size_t PlainRank(const std::vector<SearchKey>& keys, SearchKey key) {
  return static_cast<std::size_t>(
      std::ranges::count_if(keys, [=](SearchKey other) { return other < key; }));
}

TEST(IdSearch, EveryKernelCountsTheKeysBelow) {
  std::mt19937 random(7);
  const auto random_key = [&](unsigned bits) {
    return static_cast<SearchKey>(random()) >> (32 - bits);
  };
  for (int round = 0; round < 2000; ++round) {
    const std::size_t blocks = 1 + random() % 8;
    const unsigned bits = 4 + static_cast<unsigned>(random() % 29);
    // One place further than aligned, as in a leaf.
    std::vector<SearchKey> keys(blocks * tmx::kKeyBlock, tmx::kNoKey);
    const std::size_t used = random() % (keys.size() + 1);
    std::generate_n(keys.begin(), used, [&] { return random_key(bits); });
    std::ranges::sort(keys);
    std::vector<SearchKey> asked = {INT32_MIN, INT32_MAX, -1, 0, random_key(bits)};
    for (const SearchKey key : keys) {
      asked.push_back(key);
      if (key != INT32_MAX) asked.push_back(key + 1);
      if (key != INT32_MIN) asked.push_back(key - 1);
    }
    for (const SearchKey key : asked) {
      const std::size_t expected = PlainRank(keys, key);
      ASSERT_EQ(tmx::Rank(keys.data(), blocks, key), expected);
      for (const tmx::RankKernel& kernel : tmx::RankKernels()) {
        if (!kernel.supported) continue;
        ASSERT_EQ(kernel.rank(keys.data(), blocks, key), expected) << kernel.name;
      }
    }
  }
}

}  // namespace
