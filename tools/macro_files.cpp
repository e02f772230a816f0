#include "tools/macro_files.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "tools/output.h"

namespace tmx::tools {

std::optional<std::string> ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) return std::nullopt;
  return bytes;
}

bool WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file.good();
}

std::string MacroDirectory(const std::string& macro_path) { return macro_path + "/macro"; }

compiler::CheckedFile ReadMacroFile(const std::string& macro_path, const std::string& name) {
  const std::string path = MacroDirectory(macro_path) + "/" + name;
  return {name, ReadBytes(path + ".hbz"), ReadBytes(path + ".hbx")};
}

void Complain(const std::string& text) {
  std::fprintf(stderr, "tmx macro: %s\n", ForOutput(text).c_str());
}

}  // namespace tmx::tools
