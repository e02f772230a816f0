#include "tmxtools/textres/text_res.h"

#include <cstdio>
#include <new>
#include <utility>

#include "tmxtools/platform/env.h"
#include "tmxtools/textres/loaded_entries.h"
#include "tmxtools/textres/text_lines.h"

namespace {

constexpr std::string_view kDefaultSection = "default";

// A typical line; a wrong guess costs a little time or memory.
constexpr std::size_t kTypicalLine = 32;

void WarnOfLine(const char* what, std::size_t number) {
  std::printf("WARNING: no match for %s is missing in line %zu\n", what, number);
}

}  // namespace

HbTextRes::HbTextRes(std::string name, std::string value)
    : name_(std::move(name)), value_(std::move(value)) {}

HbTextRes::~HbTextRes() = default;

HbTextResSection::HbTextResSection() = default;

HbTextResSection::HbTextResSection(std::string name) : name_(std::move(name)) {}

HbTextResSection::HbTextResSection(const HbTextResSection& other)
    : name_(other.name_),
      entries_(other.entries_),
      loaded_(other.loaded_ ? std::make_unique<tmx::LoadedEntries>(*other.loaded_) : nullptr) {}

HbTextResSection& HbTextResSection::operator=(const HbTextResSection& other) {
  HbTextResSection copy(other);
  std::swap(name_, copy.name_);
  std::swap(entries_, copy.entries_);
  std::swap(loaded_, copy.loaded_);
  return *this;
}

HbTextResSection::~HbTextResSection() = default;

HbTextRes_iter HbTextResSection::begin() { return iterator(Ordered().begin()); }

HbTextRes_iter HbTextResSection::end() { return iterator(Ordered().end()); }

HbTextRes_const_iter HbTextResSection::begin() const { return const_iterator(Ordered().cbegin()); }

HbTextRes_const_iter HbTextResSection::end() const { return const_iterator(Ordered().cend()); }

bool HbTextResSection::exist_value(std::string const& key) const {
  return find_value(key).has_value();
}

std::optional<std::string_view> HbTextResSection::find_value(std::string_view key) const {
  if (loaded_ != nullptr)
    if (const auto value = loaded_->Find(key)) return value;
  const auto found = entries_.find(key);
  if (found == entries_.end()) return std::nullopt;
  return found->second.value_view();
}

HbTextRes& HbTextResSection::add_value(std::string const& key, std::string const& value) {
  return Ordered().insert_or_assign(key, HbTextRes(key, value)).first->second;
}

bool HbTextResSection::operator==(const HbTextResSection& other) const {
  return name_ == other.name_ && Ordered() == other.Ordered();
}

tmx::LoadedEntries& HbTextResSection::LoadedFrom(const std::shared_ptr<const tmx::FileBytes>& bytes,
                                                 std::size_t expected) {
  if (loaded_ == nullptr || !loaded_->RefersTo(*bytes)) {
    Ordered();
    loaded_ = std::make_unique<tmx::LoadedEntries>(bytes, expected);
  }
  return *loaded_;
}

HbTextResSection::Entries& HbTextResSection::Ordered() const {
  if (loaded_ != nullptr) {
    loaded_->ForEach([this](std::string_view key, std::string_view value) {
      entries_.insert_or_assign(std::string(key), HbTextRes(std::string(key), std::string(value)));
    });
    loaded_ = nullptr;
  }
  return entries_;
}

HbTextResFile::HbTextResFile() = default;
HbTextResFile::HbTextResFile(const HbTextResFile&) = default;
HbTextResFile& HbTextResFile::operator=(const HbTextResFile&) = default;
HbTextResFile::~HbTextResFile() = default;

bool HbTextResFile::TakeName(std::string const& name) {
  if (!name.empty()) name_ = name;
  return !name_.empty();
}

bool HbTextResFile::load(std::string const& name) {
  if (!TakeName(name)) return false;
  try {
    const auto bytes = tmx::FileBytes::Read(name_);
    if (bytes == nullptr) return false;
    Merge(bytes);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void HbTextResFile::Merge(const std::shared_ptr<const tmx::FileBytes>& bytes) {
  using Kind = tmx::TextLine::Kind;
  // Most files have one section; room for all entries in each of many would be too much.
  std::size_t expected = bytes->View().size() / kTypicalLine;
  tmx::LoadedEntries* entries = nullptr;
  const auto begin_section = [&](std::string_view name) {
    entries = &add_section(std::string(name)).LoadedFrom(bytes, std::exchange(expected, 0));
  };
  tmx::ScanTextLines(bytes->View(), [&](const tmx::TextLine& line) {
    if (line.kind == Kind::Comment) return;
    if (line.kind == Kind::MissingBracket) return WarnOfLine("section-end, ']'", line.number);
    if (line.kind == Kind::Section) return begin_section(line.name);
    if (entries == nullptr) begin_section(kDefaultSection);
    if (line.kind == Kind::MissingColon) return WarnOfLine("key-end, ':'", line.number);
    entries->Add(line.name);
  });
}

std::string HbTextResFile::Text() const {
  std::string text;
  for (const HbTextResSection& section : *this) {
    text += "[" + section.name() + "]\n";
    for (const HbTextRes& entry : section) text += entry.name() + ":\t\t" + entry.value() + "\n";
    text += "\n";
  }
  return text;
}

bool HbTextResFile::save(std::string const& name) {
  if (!TakeName(name)) return false;
  const std::string text = Text();  // first, lest the file be emptied when memory ends
  const auto file = tmx::CurrentEnv().Open(name_, {.write = true, .create = true});
  if (!file.Ok()) return false;
  file.value->SetSize(0);
  file.value->WriteAt(0, text.data(), text.size());
  return true;
}

HbTextResSection& HbTextResFile::section() { return add_section(std::string(kDefaultSection)); }

HbTextResSection& HbTextResFile::add_section(std::string const& name) {
  return sections_.try_emplace(name, name).first->second;
}

const HbTextResSection* HbTextResFile::find_section(std::string_view name) const {
  const auto found = sections_.find(name);
  return found == sections_.end() ? nullptr : &found->second;
}

std::string HbTextResFile::str_trim(std::string const& text) {
  return std::string(tmx::TrimText(text));
}
