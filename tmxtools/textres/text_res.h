// Text resource files: sections of entries, each with a name and a value.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tmxtools/platform/export.h"
#include "tmxtools/textres/text_res_iter.h"

namespace tmx {
class FileBytes;
class LoadedEntries;
}  // namespace tmx

// A named text. Empty state: no name, which makes it invalid. Threads: as a std::string.
class TMX_EXPORT HbTextRes {
 public:
  HbTextRes() = default;
  HbTextRes(std::string name, std::string value);
  HbTextRes(const HbTextRes&) = default;
  HbTextRes(HbTextRes&&) = default;
  HbTextRes& operator=(const HbTextRes&) = default;
  HbTextRes& operator=(HbTextRes&&) = default;
  virtual ~HbTextRes();

  std::string name() const { return name_; }
  std::string value() const { return value_; }
  std::string_view value_view() const { return value_; }
  bool is_valid() const { return !name_.empty(); }

  friend bool operator==(const HbTextRes&, const HbTextRes&) = default;

 private:
  std::string name_;
  std::string value_;
};

// A named set of entries in the byte-wise order of their names.
//
// What a file gave is kept as references into the file's bytes with a hash table; the ordered map
// is made when somebody walks, changes or compares the entries. That cannot be seen from outside.
// Owner: a file, or whoever copied it. Empty state: no name (invalid), no entries. Threads:
// exist_value() and find_value() may run in several at once; everything else, begin() and end() of
// a const section included, one at a time.
class TMX_EXPORT HbTextResSection {
 public:
  using iterator = HbTextRes_iter;
  using const_iterator = HbTextRes_const_iter;

  HbTextResSection();
  explicit HbTextResSection(std::string name);
  HbTextResSection(const HbTextResSection& other);
  HbTextResSection& operator=(const HbTextResSection& other);
  virtual ~HbTextResSection();

  std::string name() const { return name_; }
  bool is_valid() const { return !name_.empty(); }

  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;

  bool exist_value(std::string const& key) const;
  // Valid until the section is walked or changed.
  std::optional<std::string_view> find_value(std::string_view key) const;
  // Replaces an entry of the same key.
  HbTextRes& add_value(std::string const& key, std::string const& value);

  // Equal names and equal entries.
  bool operator==(const HbTextResSection& other) const;

 private:
  friend class HbTextResFile;
  using Entries = tmx::NamedValues<HbTextRes>;

  // What came from the file with these bytes and still waits for the map; newer than the map.
  tmx::LoadedEntries& LoadedFrom(const std::shared_ptr<const tmx::FileBytes>& bytes,
                                 std::size_t expected);
  Entries& Ordered() const;

  std::string name_;
  mutable Entries entries_;
  mutable std::unique_ptr<tmx::LoadedEntries> loaded_;  // null: nothing waits
};

// A text resource file in memory: sections in the byte-wise order of their names.
//
// The format is that of text_lines.h. Entries before the first header belong to the section
// "default". Of an entry that stands twice in a section the later one counts, also over several
// headers of the same name and several loads. The bytes are taken as they are; the library's own
// texts are ISO 8859-1. Empty state: no sections (invalid). Threads: as a section. No codes: a
// failure is a false result, a bad line a warning on standard output.
class TMX_EXPORT HbTextResFile {
 public:
  using iterator = HbTextResSection_iter;
  using const_iterator = HbTextResSection_const_iter;

  HbTextResFile();
  HbTextResFile(const HbTextResFile&);
  HbTextResFile& operator=(const HbTextResFile&);
  virtual ~HbTextResFile();

  // Adds what the file holds to what is there. An empty name means that of the last load or save.
  // False when there is no name or the file cannot be read. Bad lines are reported on standard
  // output with their number, and skipped.
  bool load(std::string const& name);
  // Writes sections and entries in order, without comments. False when there is no name or the file
  // cannot be opened; once it is open the result is true whatever happens to the bytes.
  bool save(std::string const& name);

  // The section "default", or the named one; added if absent.
  HbTextResSection& section();
  HbTextResSection& section(std::string const& name) { return add_section(name); }
  HbTextResSection& add_section(std::string const& name);
  bool exist_section(std::string const& name) const { return find_section(name) != nullptr; }
  // Null when there is none of that name.
  const HbTextResSection* find_section(std::string_view name) const;

  iterator begin() { return iterator(sections_.begin()); }
  iterator end() { return iterator(sections_.end()); }
  const_iterator begin() const { return const_iterator(sections_.begin()); }
  const_iterator end() const { return const_iterator(sections_.end()); }
  // Whether there is a section.
  bool is_valid() const { return !sections_.empty(); }

 protected:
  // Without the white space at both ends.
  static std::string str_trim(std::string const& text);

 private:
  // An empty name becomes that of the call before; false when there is none.
  bool TakeName(std::string const& name);
  void Merge(const std::shared_ptr<const tmx::FileBytes>& bytes);
  std::string Text() const;

  std::string name_;
  tmx::NamedValues<HbTextResSection> sections_;
};
