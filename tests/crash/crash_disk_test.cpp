// What the simulated disk leaves, for all proofs about crashes stand on it.
#include "tests/support/crash_disk.h"

#include <random>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;
using testing::Optional;
using testing::UnorderedElementsAre;
using tmx::CrashDisk;
using tmx::CrashModel;
using Files = CrashDisk::Files;
using Operation = tmx::MemoryEnv::Operation;
using Kind = Operation::Kind;

constexpr std::size_t kLimit = 64;

CrashDisk DiskAfter(const Files& files, const std::vector<Operation>& operations) {
  CrashDisk disk(files, {"/d/log"});
  for (const Operation& operation : operations) disk.Apply(operation);
  return disk;
}

Files Log(const std::string& bytes) { return {{"/d/log", bytes}}; }
Files Data(const std::string& bytes) { return {{"/d/data", bytes}}; }

TEST(CrashDisk, LeavesAPrefixOfALogWithNothingOrZerosBehindIt) {
  const CrashDisk disk = DiskAfter(Log("a"), {{Kind::kWrite, "/d/log", 1, "bc"}});
  EXPECT_THAT(
      disk.AllSurvivors(kLimit),
      Optional(UnorderedElementsAre(Log("a"), Log("a\0\0"s), Log("ab"), Log("ab\0"s), Log("abc"))));
}

TEST(CrashDisk, KeepsDropsOrTearsChangesOfTheDataInAnyOrder) {
  const CrashDisk disk = DiskAfter(
      Data("ab"), {{Kind::kWrite, "/d/data", 0, "12"}, {Kind::kSetSize, "/d/data", 1, ""}});
  EXPECT_THAT(disk.AllSurvivors(kLimit),
              Optional(UnorderedElementsAre(Data("ab"), Data("1b"), Data("12"), Data("a2"),
                                            Data("a"), Data("1"))));
}

TEST(CrashDisk, KeepsOrDropsNames) {
  const std::vector<Operation> made = {{Kind::kCreate, "/d/data", 0, ""},
                                       {Kind::kWrite, "/d/data", 0, "x"}};
  EXPECT_THAT(DiskAfter({}, made).AllSurvivors(kLimit),
              Optional(UnorderedElementsAre(Files{}, Data(""), Data("x"))));
  const std::vector<Operation> gone = {{Kind::kRemove, "/d/data", 0, ""}};
  EXPECT_THAT(DiskAfter(Data("x"), gone).AllSurvivors(kLimit),
              Optional(UnorderedElementsAre(Files{}, Data("x"))));
}

TEST(CrashDisk, LeavesOneStateOfWhatIsSynced) {
  const CrashDisk disk = DiskAfter({}, {{Kind::kCreate, "/d/data", 0, ""},
                                        {Kind::kWrite, "/d/data", 0, std::string(5000, 'x')},
                                        {Kind::kSync, "/d/data", 0, ""},
                                        {Kind::kSyncDir, "/d", 0, ""}});
  EXPECT_THAT(disk.AllSurvivors(1), Optional(UnorderedElementsAre(Data(std::string(5000, 'x')))));
}

TEST(CrashDisk, TellsAllStatesUpToTheLimitOnly) {
  const CrashDisk disk = DiskAfter(Log("a"), {{Kind::kWrite, "/d/log", 1, "bc"}});
  EXPECT_TRUE(disk.AllSurvivors(5));
  EXPECT_FALSE(disk.AllSurvivors(4));
  const std::string much(100000, 'x');
  EXPECT_FALSE(DiskAfter(Log(""), {{Kind::kWrite, "/d/log", 0, much}}).AllSurvivors(kLimit));
  EXPECT_FALSE(DiskAfter(Data(""), {{Kind::kWrite, "/d/data", 0, much}}).AllSurvivors(kLimit));
}

// Two changes of short files, either of which may be gone as well.
CrashDisk AnyDisk(std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  CrashDisk disk({{"/d/data", "abc"}, {"/d/log", "de"}}, {"/d/log"});
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string bytes(1 + below(2), static_cast<char>('1' + i));
    switch (below(4)) {
      case 0:
        disk.Apply({Kind::kWrite, "/d/log", disk.LiveBytes("/d/log").size(), bytes});
        break;
      case 1:
        disk.Apply({Kind::kSetSize, "/d/data", below(5), ""});
        break;
      default:
        disk.Apply({Kind::kWrite, "/d/data", below(4), bytes});
    }
  }
  if (below(2) == 0) disk.Apply({Kind::kRemove, below(2) == 0 ? "/d/log" : "/d/data", 0, ""});
  return disk;
}

// What is gone through is what is chosen from.
TEST(CrashDisk, ChoosesAmongAllStates) {
  std::mt19937 random(1);
  for (int round = 0; round < 40; ++round) {
    const CrashDisk disk = AnyDisk(random);
    const auto all = disk.AllSurvivors(kLimit);
    ASSERT_TRUE(all) << round;
    std::set<Files> chosen;
    for (int i = 0; i < 50000 && chosen.size() < all->size(); ++i) {
      chosen.insert(disk.Survivors(CrashModel(), random));
    }
    EXPECT_EQ(chosen, *all) << round;
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(all->count(disk.Survivors(CrashModel(), random)), 1u) << round;
    }
  }
}

}  // namespace
