#include "tmxtools/textres/start_up.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace tmx {
namespace {

using testing::ElementsAre;

// Finds the text resource where `present` is the only file, and notes what was tried.
struct Search {
  std::string Find(std::string_view program, std::string_view path, PathSyntax syntax) {
    tried.clear();
    return FindTextResource(program, path, syntax, [this](const std::string& name) {
      tried.push_back(name);
      return name == present;
    });
  }

  std::string present;
  std::vector<std::string> tried;
};

TEST(StartUp, TakesTheFileBesideTheProgramFirst) {
  Search search{"/opt/bank/textres.bin", {}};
  EXPECT_EQ(search.Find("/opt/bank", "/usr/bin", kPosixPaths), "/opt/bank/textres.bin");
  EXPECT_EQ(search.tried.size(), 1U);
  search.present = "C:\\Bank\\textres.bin";
  EXPECT_EQ(search.Find("C:\\Bank", "C:\\Windows", kWindowsPaths), search.present);
}

TEST(StartUp, ThenTheDirectoriesOfTheSearchPathInOrder) {
  Search search{"/c/textres.bin", {}};
  EXPECT_EQ(search.Find("/p", "/a:/b/:/c:/d", kPosixPaths), "/c/textres.bin");
  EXPECT_THAT(search.tried,
              ElementsAre("/p/textres.bin", "/a/textres.bin", "/b/textres.bin", "/c/textres.bin"));
  search.present = "C:\\c\\textres.bin";
  EXPECT_EQ(search.Find("C:\\p", "C:\\a\\;C:\\b;C:\\c", kWindowsPaths), search.present);
  EXPECT_THAT(search.tried, ElementsAre("C:\\p\\textres.bin", "C:\\a\\textres.bin",
                                        "C:\\b\\textres.bin", "C:\\c\\textres.bin"));
}

TEST(StartUp, EmptyEntriesOfTheSearchPathAreSkipped) {
  Search search;
  search.Find("/p", "::/a::/b:", kPosixPaths);
  EXPECT_THAT(search.tried, ElementsAre("/p/textres.bin", "/a/textres.bin", "/b/textres.bin"));
  search.Find("/p", "", kPosixPaths);
  EXPECT_THAT(search.tried, ElementsAre("/p/textres.bin"));
  search.Find("/p", ";", kWindowsPaths);
  EXPECT_THAT(search.tried, ElementsAre("/p\\textres.bin"));
}

TEST(StartUp, TheOtherConventionsSeparatorsMeanNothing) {
  Search search;
  search.Find("p", "C:\\a/;b", kWindowsPaths);
  EXPECT_THAT(search.tried, ElementsAre("p\\textres.bin", "C:\\a/\\textres.bin", "b\\textres.bin"));
  search.Find("p", "a\\;b", kPosixPaths);
  EXPECT_THAT(search.tried, ElementsAre("p/textres.bin", "a\\;b/textres.bin"));
}

TEST(StartUp, WithoutAnyFileTheOneBesideTheProgramIsUsedAnyway) {
  Search search;
  EXPECT_EQ(search.Find("/p", "/a:/b", kPosixPaths), "/p/textres.bin");
}

}  // namespace
}  // namespace tmx
