// Takes messages apart in plain C++, to hold the macros against. Knows nothing of macros.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tmx::test {

struct Segment {
  std::string code;
  std::string number;
  std::string version;
  int elements = 0;         // behind the head
  std::string_view bytes;   // with its end
  std::string_view inside;  // what a container holds

  std::string Line() const {
    return code + " " + number + " " + version + " " + std::to_string(elements) + "\n";
  }
};

// The segments in order, those of a container behind it. Throws std::runtime_error for a text that
// is no row of whole segments.
std::vector<Segment> Tokenize(std::string_view message);

}  // namespace tmx::test
