#include "tmxtools/variables/id_hash.h"

#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tmxtools/variables/variable.h"

namespace {

// Addresses that are never looked behind.
HbVariable* Marked(std::uintptr_t number) { return reinterpret_cast<HbVariable*>(number * 16); }

TEST(IdHash, FindsNothingWhenEmpty) {
  const tmx::IdHash hash;
  for (const std::uint32_t id : {0u, 1u, 0x80000000u, 0xFFFFFFFFu})
    EXPECT_EQ(hash.Find(id), nullptr);
}

TEST(IdHash, TellsIdZeroFromAFreePlace) {
  tmx::IdHash hash;
  hash.Reserve(3);
  hash.Insert(7, Marked(1));
  EXPECT_EQ(hash.Find(0), nullptr);
  hash.Insert(0, Marked(2));
  EXPECT_EQ(hash.Find(0), Marked(2));
  hash.Remove(0);
  EXPECT_EQ(hash.Find(0), nullptr);
  EXPECT_EQ(hash.Find(7), Marked(1));
}

// Half full at times, with ids that lie as fields do and ids that share their homes.
TEST(IdHash, AgreesWithAMapOverRandomOperations) {
  std::mt19937 random(3);
  for (const std::uint32_t step : {1u, 10u, 100130u, 0x0E8B2F51u /* one home for all */}) {
    tmx::IdHash hash;
    std::map<std::uint32_t, HbVariable*> expected;
    for (std::uintptr_t i = 1; i < 20000; ++i) {
      const std::uint32_t id = static_cast<std::uint32_t>(random() % 200) * step;
      if (expected.count(id) == 0) {
        hash.Reserve(expected.size() + 1);
        hash.Insert(id, Marked(i));
        expected[id] = Marked(i);
      } else if (random() % 2 == 0) {
        hash.Remove(id);
        expected.erase(id);
      }
      const std::uint32_t asked = static_cast<std::uint32_t>(random() % 200) * step;
      const auto found = expected.find(asked);
      ASSERT_EQ(hash.Find(asked), found == expected.end() ? nullptr : found->second);
    }
  }
}

}  // namespace
