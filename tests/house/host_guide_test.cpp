// docs/host-guide.md quotes the example as it is compiled, and all of it.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace tmx {
namespace {

constexpr std::size_t kLongestLine = 100;

std::string Read(const std::string& path) {
  std::ifstream file(TMX_SOURCE_DIR "/" + path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// In the compiler's order, so that what a quote names was declared in it or in one before.
TEST(HostGuide, QuotesTheExampleAsItIsCompiledFromTheFirstLineToTheLast) {
  const std::string guide = Read("docs/host-guide.md");
  const std::string example = Read("examples/request.cpp");
  const std::string open = "```cpp\n";
  std::size_t done = example.find("#include");
  int quotes = 0;
  for (std::size_t at = guide.find(open); at != std::string::npos; at = guide.find(open, at)) {
    at += open.size();
    const std::string quote = guide.substr(at, guide.find("```", at) - at);
    done = example.find_first_not_of('\n', done);
    ASSERT_NE(done, std::string::npos) << "behind the end: " << quote;
    EXPECT_EQ(example.substr(done, quote.size()), quote);
    done += quote.size();
    ++quotes;
  }
  EXPECT_GE(quotes, 5);
  EXPECT_EQ(done, example.size()) << "left out: " << example.substr(done);
}

TEST(HostGuide, HasNoLineThatIsTooLong) {
  for (const char* const path : {"docs/host-guide.md", "examples/request.cpp"}) {
    std::istringstream lines(Read(path));
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
      ++number;
      EXPECT_LE(line.size(), kLongestLine) << path << ':' << number;
    }
    EXPECT_GT(number, 0u) << path;
  }
}

}  // namespace
}  // namespace tmx
