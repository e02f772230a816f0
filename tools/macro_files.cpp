#include "tools/macro_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace tmx::tools {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using compiler::CheckedFile;
using OpenFile = std::unique_ptr<std::FILE, Closer>;

}  // namespace

std::optional<std::string> ReadBytes(const std::string& path, std::size_t longest) {
  const OpenFile file(std::fopen(path.c_str(), "rb"));
  if (!file) return std::nullopt;
  std::string bytes;
  char block[1 << 14];
  while (const std::size_t got = std::fread(block, 1, sizeof block, file.get())) {
    bytes.append(block, got);
    if (bytes.size() > longest) return errno = EFBIG, std::nullopt;
  }
  if (std::ferror(file.get()) != 0) return std::nullopt;
  return bytes;
}

bool WriteBytes(const std::string& path, const std::string& bytes) {
  OpenFile file(std::fopen(path.c_str(), "wb"));
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
  return std::fclose(file.release()) == 0 && written;
}

std::string MacroDirectory(const std::string& macro_path) { return macro_path + "/macro"; }

std::vector<CheckedFile> ReadMacroFiles(const std::string& macro_path,
                                        const std::vector<std::string>& names) {
  const auto read = [&](const std::string& name) {
    const std::string path = MacroDirectory(macro_path) + "/" + name;
    return CheckedFile{name, ReadBytes(path + ".hbz"), ReadBytes(path + ".hbx")};
  };
  std::vector<CheckedFile> files;
  CheckedFile general = read("general");
  const bool is_named = !names.empty() && names.front() == "general";
  if (!is_named && (general.index || general.code)) files.push_back(std::move(general));
  for (const std::string& name : names) files.push_back(read(name));
  return files;
}

void Complain(const std::string& text) { std::fprintf(stderr, "tmx macro: %s\n", text.c_str()); }

void ComplainOf(const std::string& path, const char* done) {
  const std::string why = std::strerror(errno);
  Complain(path + ": cannot be " + done + ": " + why);
}

}  // namespace tmx::tools
