// Prints macros/hbcim4.segments.hbm from the table of segments.
#include <cstdio>

#include "demo/segments/macro_writer.h"

int main() {
  std::string problem;
  const std::string text = tmx::demo::SegmentMacros(problem);
  if (!problem.empty()) {
    std::fprintf(stderr, "the table of segments: %s\n", problem.c_str());
    return 1;
  }
  std::fputs(text.c_str(), stdout);
  return 0;
}
