// A file that is written beside another one and takes its place when all went well.
#pragma once

#include <string>

namespace tmx::tools {

// Where a link leads, so that replacing the file leaves the link in place.
std::string BehindLinks(const std::string& path);

// Removes the file again unless it got another name, also when the program is interrupted. One at a
// time.
class ScratchFile {
 public:
  // Makes a new file that only its owner can use and whose name begins with `path`.
  explicit ScratchFile(const std::string& path);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const std::string& Name() const { return name_; }  // empty when it could not be made
  // Takes the place of a file once everything has reached the disk, with the rights of that file
  // if there is one.
  bool RenameTo(const std::string& path);

 private:
  std::string name_;
};

}  // namespace tmx::tools
