// A directory on the real disk that vanishes with the test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace tmx {

class TempDir {
 public:
  TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "tmxtools-test-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace tmx
