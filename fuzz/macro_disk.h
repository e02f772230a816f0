// The disk of the fuzz targets that run macro files: those of the target, which it keeps as long as
// an engine may read them. No run leaves anything behind that the next one could see.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tests/support/refusing_env.h"

namespace tmx {

// A file over bytes that somebody else keeps, for reading.
class ViewedFile : public EnvFile {
 public:
  explicit ViewedFile(std::string_view bytes) : bytes_(bytes) {}
  EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data, std::size_t count) override {
    if (offset >= bytes_.size()) return {0, {}};
    return {bytes_.copy(data, count, offset), {}};
  }
  EnvResult<std::size_t> WriteAt(std::uint64_t, const char*, std::size_t) override {
    return {0, std::errc::bad_file_descriptor};
  }
  EnvResult<std::uint64_t> Size() override { return {bytes_.size(), {}}; }
  std::errc SetSize(std::uint64_t) override { return std::errc::bad_file_descriptor; }
  std::errc Sync() override { return {}; }
  std::errc Claim(const FileClaim&) override { return {}; }

 private:
  std::string_view bytes_;
};

class MacroDisk : public RefusingEnv {
 public:
  static constexpr const char* kMacroPath = "/home";
  static constexpr const char* kMacroDir = "/home/macro";

  // "general" without a subroutine.
  static const MacroImage& General() {
    static const MacroImage general = ImageBuilder("general").Build();
    return general;
  }

  // A file of the target beside General().
  explicit MacroDisk(const MacroImage& image) : images_{&image, &General()} {}
  explicit MacroDisk(const std::vector<MacroImage>& images) {
    for (const MacroImage& image : images) images_.push_back(&image);
  }

  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess) override {
    for (const MacroImage* const image : images_) {
      if (image->index && IsAt(path, *image, ".hbz"))
        return {std::make_unique<ViewedFile>(*image->index), {}};
      if (image->code && IsAt(path, *image, ".hbx"))
        return {std::make_unique<ViewedFile>(*image->code), {}};
    }
    return {nullptr, std::errc::no_such_file_or_directory};
  }
  // The library asks only which part of a path is missing.
  EnvResult<FileInfo> Info(const std::string& path) override {
    if (path == kMacroDir) return {{.is_directory = true, .size = 0}, {}};
    return {{}, std::errc::no_such_file_or_directory};
  }

 private:
  static bool IsAt(std::string_view path, const MacroImage& image, std::string_view extension) {
    const auto take = [&path](std::string_view part) {
      const bool taken = path.starts_with(part);
      if (taken) path.remove_prefix(part.size());
      return taken;
    };
    return take(kMacroDir) && take("/") && take(image.name) && path == extension;
  }

  std::vector<const MacroImage*> images_;
};

}  // namespace tmx
