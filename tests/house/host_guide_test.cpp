// docs/host-guide.md quotes the example as it is compiled.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace tmx {
namespace {

std::string Read(const std::string& path) {
  std::ifstream file(TMX_SOURCE_DIR "/" + path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(HostGuide, QuotesTheExampleAsItIsCompiled) {
  const std::string guide = Read("docs/host-guide.md");
  const std::string example = Read("examples/request.cpp");
  const std::string open = "```cpp\n";
  int quotes = 0;
  for (std::size_t at = guide.find(open); at != std::string::npos; at = guide.find(open, at)) {
    at += open.size();
    const std::string quote = guide.substr(at, guide.find("```", at) - at);
    EXPECT_NE(example.find(quote), std::string::npos) << quote;
    ++quotes;
  }
  EXPECT_GE(quotes, 5);
}

}  // namespace
}  // namespace tmx
