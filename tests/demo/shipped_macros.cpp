#include "tests/demo/shipped_macros.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdlib>
#include <filesystem>

namespace tmx::demo {
namespace {

namespace fs = std::filesystem;

// Built by tmx, as users do it; removed when the program ends.
class Compiled {
 public:
  Compiled() : path_(fs::temp_directory_path() / ("tmx_macros_" + std::to_string(::getpid()))) {
    std::string command = TMX_BINARY_DIR "/bin/tmx macro build --out " + path_.string();
    for (const auto& entry : fs::directory_iterator(TMX_SOURCE_DIR "/macros"))
      if (entry.path().extension() == ".hbm") command += ' ' + entry.path().string();
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }
  ~Compiled() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string Path() const { return path_.string(); }

 private:
  fs::path path_;
};

}  // namespace

std::string MacroPath() {
  static const Compiled compiled;
  return compiled.Path();
}

}  // namespace tmx::demo
