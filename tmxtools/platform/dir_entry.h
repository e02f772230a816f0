// Names of files and directories.
#pragma once

#include <cstddef>
#include <vector>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

// The path of a file or directory, which need not exist. Components are separated by "/" ("\" on
// Windows).
//
// Names are bytes. A path longer than a text throws std::length_error, except from ToAbs().
// Empty state: no path, which names nothing. Threads: as a String.
class TMX_EXPORT DirEntry {
 public:
  DirEntry() = default;
  explicit DirEntry(const String& path) : path_(path) {}

  // Appends a component.
  DirEntry& operator+=(const String& name);
  friend DirEntry operator+(DirEntry entry, const String& name) { return entry += name; }

  // Makes the path absolute, from the working directory, and takes out "." and "..". An empty path
  // stays empty. False, with the path unchanged, when there is no working directory or the result
  // is too long.
  bool ToAbs();
  const String& GetFull() const { return path_; }
  // The last component, and what stands behind its last dot. A dot at the component's start begins
  // no extension.
  String GetName() const;
  String GetExtension() const;
  // Replaces or adds the last component's extension; the empty one takes it away with its dot.
  void SetExtension(const String& extension);

  bool Exists() const;
  bool IsDirectory() const;
  // Makes the directory and those above it that are missing; true when it exists afterwards.
  bool MakeDir() const;
  // Removes the file or the empty directory.
  bool Remove() const;

 private:
  String path_;
};

// The names in a directory that match a pattern, in the order of their bytes. In the pattern "?"
// stands for any byte and "*" for any number of them.
//
// Empty state: no names, also when the directory cannot be read. Threads: one at a time.
class TMX_EXPORT Dir {
 public:
  explicit Dir(const DirEntry& directory, const String& pattern = "*");

  std::size_t Count() const { return names_.size(); }
  const String& operator[](std::size_t index) const { return names_[index]; }
  auto begin() const { return names_.begin(); }
  auto end() const { return names_.end(); }

 private:
  std::vector<String> names_;
};
