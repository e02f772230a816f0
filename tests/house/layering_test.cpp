#include "tests/house/layering.h"

#include <gmock/gmock.h>

namespace tmx::house {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::vector<std::string> kLayers{
    "tmxtools/platform",
    "tmxtools/textres",
    "tmxtools/core",
    "tmxtools/variables",
    "tmxtools/streams",
    "tmxtools/banking",
    "tmxtools/macro",
    "compiler",
    "demo",
    "tools",
};

IncludeGraph Tree() {
  IncludeGraph tree;
  for (const char* folder : {"tmxtools", "compiler", "demo", "tools"}) {
    tree.AddFolder(TMX_SOURCE_DIR, folder);
  }
  return tree;
}

TEST(Layering, NoArrowOfTheTreeRunsBack) {
  const auto tree = Tree();
  ASSERT_GT(tree.Count(), 10U) << "the tree was not found at " TMX_SOURCE_DIR;
  EXPECT_THAT(tree.Violations(kLayers), IsEmpty());
}

TEST(Layering, TheTreeHasNoCircleAmongItsHeaders) { EXPECT_THAT(Tree().Circles(), IsEmpty()); }

TEST(Layering, EveryQuotedIncludeNamesAFileOfTheTreeFromItsRoot) {
  EXPECT_THAT(Tree().Dangling(), IsEmpty());
}

TEST(Layering, EveryFolderOfTheTreeIsALayer) {
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(TMX_SOURCE_DIR) / "tmxtools")) {
    if (!entry.is_directory()) continue;
    EXPECT_THAT(kLayers, testing::Contains("tmxtools/" + entry.path().filename().string()));
  }
}

TEST(Layering, TheUmbrellaHeaderReachesEveryHeaderThatExportsSomething) {
  const auto tree = Tree();
  const auto reached = tree.ReachedFrom("tmxtools/tmxtools.h");
  std::size_t exporting = 0;
  const std::filesystem::path root(TMX_SOURCE_DIR);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / "tmxtools")) {
    if (entry.path().extension() != ".h") continue;
    if (ReadText(entry.path()).find("TMX_EXPORT") == std::string::npos) continue;
    ++exporting;
    EXPECT_THAT(reached, testing::Contains(entry.path().lexically_relative(root).generic_string()));
  }
  EXPECT_GT(exporting, 1U);
}

TEST(Layering, AnIncludeOfAHigherLayerIsFound) {
  IncludeGraph tree;
  tree.Add("tmxtools/core/error.h", "#include \"tmxtools/variables/variable.h\"\n");
  tree.Add("tmxtools/variables/variable.h", "#pragma once\n");
  EXPECT_THAT(tree.Violations(kLayers),
              ElementsAre("tmxtools/core/error.h includes tmxtools/variables/variable.h: "
                          "tmxtools/core is below tmxtools/variables"));
}

TEST(Layering, TheLibraryMayNotReachUpToTheCompilerOrTheTools) {
  IncludeGraph tree;
  tree.Add("tmxtools/macro/engine.cpp", "#include \"compiler/parser.h\"\n");
  tree.Add("compiler/parser.cpp", "#include \"tools/main.h\"");
  EXPECT_THAT(tree.Violations(kLayers), testing::SizeIs(2));
}

TEST(Layering, IncludesDownwardAndWithinALayerPass) {
  IncludeGraph tree;
  tree.Add("tmxtools/variables/variable.h",
           "#include \"tmxtools/core/error.h\"\n#include \"tmxtools/variables/types.h\"\n");
  tree.Add("tools/main.cpp", "#include \"tmxtools/platform/string.h\"\n#include <vector>\n");
  EXPECT_THAT(tree.Violations(kLayers), IsEmpty());
}

TEST(Layering, AFolderWhoseNameOnlyBeginsLikeALayerIsNotThatLayer) {
  IncludeGraph tree;
  tree.Add("tmxtools/core/error.h", "#include \"tools_of_mine/x.h\"\n");
  EXPECT_THAT(tree.Violations(kLayers), IsEmpty());
}

TEST(Layering, ACircleIsFoundOnceWithItsWay) {
  IncludeGraph tree;
  tree.Add("a.h", "#include \"b.h\"\n");
  tree.Add("b.h", "#include \"c.h\"\n");
  tree.Add("c.h", "  #  include \"a.h\"\n");
  tree.Add("d.h", "#include \"a.h\"\n");
  EXPECT_THAT(tree.Circles(), ElementsAre("a.h -> b.h -> c.h -> a.h"));
}

TEST(Layering, AHeaderThatIncludesItselfIsACircle) {
  IncludeGraph tree;
  tree.Add("a.h", "#include \"a.h\"\n");
  EXPECT_THAT(tree.Circles(), ElementsAre("a.h -> a.h"));
}

TEST(Layering, TwoWaysToOneHeaderAreNoCircle) {
  IncludeGraph tree;
  tree.Add("a.h", "#include \"b.h\"\n#include \"c.h\"\n");
  tree.Add("b.h", "#include \"d.h\"\n");
  tree.Add("c.h", "#include \"d.h\"\n");
  tree.Add("d.h", "");
  EXPECT_THAT(tree.Circles(), IsEmpty());
}

TEST(Layering, AnIncludeThatIsNotSpelledFromTheRootIsFound) {
  IncludeGraph tree;
  tree.Add("tmxtools/core/error.cpp", "#include \"error.h\"\n");
  tree.Add("tmxtools/core/error.h", "");
  EXPECT_THAT(tree.Dangling(), ElementsAre("tmxtools/core/error.cpp includes error.h"));
}

TEST(Layering, ReachingFollowsIncludesOfIncludes) {
  IncludeGraph tree;
  tree.Add("all.h", "#include \"a.h\"\n// #include \"x.h\"\n");
  tree.Add("a.h", "#include \"b.h\"\n");
  tree.Add("b.h", "");
  EXPECT_THAT(tree.ReachedFrom("all.h"), UnorderedElementsAre("a.h", "b.h"));
}

}  // namespace
}  // namespace tmx::house
