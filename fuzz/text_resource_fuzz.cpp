// Text resource files: the loaded file must hold what the plainest reading of the format says, must
// say it before and after it was put in order, and must survive being saved and loaded again.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <system_error>

#include "tmxtools/platform/env.h"
#include "tmxtools/textres/text_res.h"

namespace {

using Sections = std::map<std::string, std::map<std::string, std::string>>;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

// One file in memory; everything else is refused.
class OneFile : public tmx::Env {
 public:
  std::string bytes;

  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> Open(const std::string&, tmx::FileAccess) override {
    return {std::make_unique<File>(bytes), {}};
  }
  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> OpenTemporary() override { return {{}, kNo}; }
  tmx::EnvResult<tmx::FileInfo> Info(const std::string&) override { return {{}, kNo}; }
  std::errc Rename(const std::string&, const std::string&) override { return kNo; }
  std::errc Remove(const std::string&) override { return kNo; }
  std::errc MakeDir(const std::string&) override { return kNo; }
  tmx::EnvResult<std::vector<std::string>> List(const std::string&) override { return {{}, kNo}; }
  std::errc SyncDir(const std::string&) override { return kNo; }
  tmx::EnvResult<std::string> WorkingDir() override { return {{}, kNo}; }
  tmx::EnvResult<std::string> ProgramDir() override { return {{}, kNo}; }
  std::optional<std::string> Variable(const std::string&) override { return std::nullopt; }
  std::errc FillRandom(unsigned char*, std::size_t) override { return kNo; }

 private:
  static constexpr std::errc kNo = std::errc::not_supported;

  class File : public tmx::EnvFile {
   public:
    explicit File(std::string& bytes) : bytes_(bytes) {}
    tmx::EnvResult<std::size_t> ReadAt(std::uint64_t offset, char* data,
                                       std::size_t count) override {
      return {bytes_.copy(data, count, offset), {}};
    }
    tmx::EnvResult<std::size_t> WriteAt(std::uint64_t offset, const char* data,
                                        std::size_t count) override {
      bytes_.resize(std::max(bytes_.size(), offset + count));
      bytes_.replace(offset, count, data, count);
      return {count, {}};
    }
    tmx::EnvResult<std::uint64_t> Size() override { return {bytes_.size(), {}}; }
    std::errc SetSize(std::uint64_t size) override {
      bytes_.resize(size);
      return {};
    }
    std::errc Sync() override { return {}; }
    std::errc Claim(const tmx::FileClaim&) override { return {}; }

   private:
    std::string& bytes_;
  };
};

std::string Trim(const std::string& text) {
  std::size_t begin = 0, end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return text.substr(begin, end - begin);
}

// The plainest reading: one line after the other into ordered maps.
Sections Reference(const std::string& bytes) {
  Sections sections;
  std::map<std::string, std::string>* current = nullptr;
  std::istringstream in(bytes);
  for (std::string raw; std::getline(in, raw);) {
    const std::string line = Trim(raw);
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      if (line[line.size() - 1] == ']') current = &sections[line.substr(1, line.size() - 2)];
      continue;
    }
    if (current == nullptr) current = &sections["default"];
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos)
      (*current)[Trim(line.substr(0, colon))] = Trim(line.substr(colon + 1));
  }
  return sections;
}

void CheckLookups(const HbTextResFile& file, const Sections& expected) {
  for (const auto& [name, entries] : expected) {
    const HbTextResSection* const section = file.find_section(name);
    Check(section != nullptr, "a section is missing");
    for (const auto& [key, value] : entries)
      Check(section->find_value(key) == value, "a look-up gives another text");
    for (const auto& [key, value] : entries)
      Check(section->exist_value(value) == entries.contains(value), "a text is taken for a key");
  }
}

Sections Contents(const HbTextResFile& file) {
  Sections contents;
  for (const HbTextResSection& section : file) {
    auto& entries = contents[section.name()];
    for (const HbTextRes& entry : section) entries[entry.name()] = entry.value();
  }
  return contents;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FILE* const no_warnings = std::freopen("/dev/null", "w", stdout);
  static OneFile env;
  Check(no_warnings != nullptr, "standard output cannot be turned away");
  const tmx::ScopedEnv scope(env);
  env.bytes.assign(reinterpret_cast<const char*>(data), size);
  const Sections expected = Reference(env.bytes);

  HbTextResFile file;
  Check(file.load("first"), "loading fails");
  CheckLookups(file, expected);
  const HbTextResFile copy = file;
  Check(Contents(file) == expected, "the sections differ");
  CheckLookups(file, expected);
  CheckLookups(copy, expected);

  Check(file.load(""), "loading again fails");
  Check(Contents(file) == expected, "merging a file into itself changes it");

  Check(file.save("second"), "saving fails");
  HbTextResFile saved;
  Check(saved.load("second") && Contents(saved) == Reference(env.bytes), "a saved file differs");
  return 0;
}
