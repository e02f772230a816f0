// Text resource files: the loaded file must hold what the plainest reading of the format says, must
// say it before and after it was put in order, and must survive being saved and loaded again.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <system_error>

#include "tests/support/refusing_env.h"
#include "tmxtools/textres/text_res.h"

namespace {

using Entries = std::map<std::string_view, std::string_view>;
using Sections = std::map<std::string_view, Entries>;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

// One file in memory, under every name.
class OneFile : public tmx::RefusingEnv {
 public:
  std::string bytes;

  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> Open(const std::string&, tmx::FileAccess) override {
    return {std::make_unique<File>(bytes), {}};
  }

 private:
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

std::string_view Trim(std::string_view text) {
  const auto is_space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
  return text;
}

// The plainest reading: one line after the other into ordered maps. The views are of the bytes.
Sections Reference(std::string_view bytes) {
  Sections sections;
  Entries* current = nullptr;
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    const std::string_view line = Trim(bytes.substr(0, end));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      if (line.back() == ']') current = &sections[line.substr(1, line.size() - 2)];
      continue;
    }
    if (current == nullptr) current = &sections["default"];
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos)
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
      Check(section->exist_value(std::string(value)) == entries.contains(value),
            "a text is taken for a key");
  }
}

bool IsEntry(const HbTextRes& entry, const Entries::value_type& expected) {
  return entry.name() == expected.first && entry.value_view() == expected.second;
}

// Whether a walk over the file gives these sections in this order, and these entries.
bool Holds(const HbTextResFile& file, const Sections& expected) {
  return std::equal(file.begin(), file.end(), expected.begin(), expected.end(),
                    [](const HbTextResSection& section, const Sections::value_type& wanted) {
                      return section.name() == wanted.first &&
                             std::equal(section.begin(), section.end(), wanted.second.begin(),
                                        wanted.second.end(), IsEntry);
                    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FILE* const no_warnings = std::freopen("/dev/null", "w", stdout);
  Check(no_warnings != nullptr, "standard output cannot be turned away");
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  OneFile env;
  env.bytes = bytes;
  const tmx::ScopedEnv scope(env);
  const Sections expected = Reference(bytes);

  HbTextResFile file;
  Check(file.load("first"), "loading fails");
  CheckLookups(file, expected);
  const HbTextResFile copy = file;
  Check(Holds(file, expected), "the sections differ");
  CheckLookups(file, expected);
  CheckLookups(copy, expected);

  Check(file.load(""), "loading again fails");
  Check(Holds(file, expected), "merging a file into itself changes it");

  Check(file.save("second"), "saving fails");
  HbTextResFile saved;
  Check(saved.load("second") && Holds(saved, Reference(env.bytes)), "a saved file differs");
  return 0;
}
