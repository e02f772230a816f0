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

// A sorted group, with the keys that are worth asking for.
struct Group {
  explicit Group(std::mt19937& random) : keys(tmx::kKeyGroup, tmx::kNoKey) {
    // From keys that lie close together to all that there are.
    const auto shift = static_cast<unsigned>(random() % 29);
    const auto random_key = [&] { return static_cast<SearchKey>(random()) >> shift; };
    std::generate_n(keys.begin(), random() % (keys.size() + 1), random_key);
    std::ranges::sort(keys);
    asked = {INT32_MIN, INT32_MAX, -1, 0, random_key()};
    for (const SearchKey key : keys) {
      asked.push_back(key);
      if (key != INT32_MAX) asked.push_back(key + 1);
      if (key != INT32_MIN) asked.push_back(key - 1);
    }
  }

  std::vector<SearchKey> keys;
  std::vector<SearchKey> asked;
};

TEST(IdSearch, ARankIsTheNumberOfKeysBelow) {
  std::mt19937 random(7);
  for (int round = 0; round < 5000; ++round) {
    const Group group(random);
    const auto below = [](const Group& in, SearchKey key) {
      return static_cast<std::size_t>(
          std::ranges::count_if(in.keys, [=](SearchKey other) { return other < key; }));
    };
    for (const SearchKey key : group.asked) {
      ASSERT_EQ(tmx::PlainRank(group.keys.data(), key), below(group, key));
      ASSERT_EQ(tmx::RankInGroup(group.keys.data(), key), below(group, key));
    }
  }
}

TEST(IdSearch, FindsTheFirstPlaceOfAKey) {
  std::mt19937 random(8);
  for (int round = 0; round < 5000; ++round) {
    const Group group(random);
    for (const SearchKey key : group.asked) {
      std::size_t place = 0;
      while (place < group.keys.size() && group.keys[place] != key) ++place;
      ASSERT_EQ(tmx::PlainFind(group.keys.data(), key), place);
      ASSERT_EQ(tmx::FindInGroup(group.keys.data(), key), place);
    }
  }
}

}  // namespace
