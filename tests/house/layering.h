#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::house {

/// The sources of a tree with what each includes of that tree, read from its #include lines.
/// Paths are relative to the tree's root, as the #include lines spell them.
class IncludeGraph {
 public:
  /// Adds one file by its text. Includes that are not of the tree are dropped by Violations and
  /// Circles, not here: the file they name may be added later.
  void Add(const std::string& path, std::string_view text);

  /// Adds every .h and .cpp below root / folder.
  void AddFolder(const std::filesystem::path& root, const std::string& folder);

  /// Includes that point from a lower layer to a higher one, as "a.h includes b.h: core is below
  /// variables". `layers` are folders, the lowest first. A file below none of them is free.
  std::vector<std::string> Violations(const std::vector<std::string>& layers) const;

  /// Includes in quotes, with a file's place in the tree left out, that name no file of the tree.
  std::vector<std::string> Dangling() const;

  /// Circles among headers, each as "a.h -> b.h -> a.h", found once.
  std::vector<std::string> Circles() const;

  /// Every file that `path` reaches through includes.
  std::set<std::string> ReachedFrom(const std::string& path) const;

  std::size_t Count() const { return includes_.size(); }

 private:
  std::map<std::string, std::vector<std::string>> includes_;
};

/// The text of a file; empty when it cannot be read.
std::string ReadText(const std::filesystem::path& path);

}  // namespace tmx::house
