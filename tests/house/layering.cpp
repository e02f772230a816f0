#include "tests/house/layering.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

namespace tmx::house {
namespace {

/// The name between the quotes of an #include line; includes in angle brackets are not of the tree.
std::optional<std::string> QuotedInclude(std::string_view line) {
  const auto skip_blanks = [&line] {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  };
  const auto skip = [&line](std::string_view word) {
    if (!line.starts_with(word)) return false;
    line.remove_prefix(word.size());
    return true;
  };
  skip_blanks();
  if (!skip("#")) return std::nullopt;
  skip_blanks();
  if (!skip("include")) return std::nullopt;
  skip_blanks();
  if (!skip("\"")) return std::nullopt;
  return std::string(line.substr(0, line.find('"')));
}

std::optional<std::size_t> LayerOf(const std::string& path,
                                   const std::vector<std::string>& layers) {
  for (std::size_t i = 0; i < layers.size(); ++i) {
    if (path.starts_with(layers[i] + "/")) return i;
  }
  return std::nullopt;
}

}  // namespace

void IncludeGraph::Add(const std::string& path, std::string_view text) {
  auto& includes = includes_[path];
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    if (auto name = QuotedInclude(text.substr(0, end))) includes.push_back(*name);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void IncludeGraph::AddFolder(const std::filesystem::path& root, const std::string& folder) {
  if (!std::filesystem::is_directory(root / folder)) return;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
    const auto extension = entry.path().extension();
    if (!entry.is_regular_file() || (extension != ".h" && extension != ".cpp")) continue;
    Add(entry.path().lexically_relative(root).generic_string(), ReadText(entry.path()));
  }
}

std::vector<std::string> IncludeGraph::Violations(const std::vector<std::string>& layers) const {
  std::vector<std::string> found;
  for (const auto& [path, includes] : includes_) {
    const auto from = LayerOf(path, layers);
    if (!from) continue;
    for (const auto& name : includes) {
      const auto to = LayerOf(name, layers);
      if (to && *to > *from) {
        found.push_back(path + " includes " + name + ": " + layers[*from] + " is below " +
                        layers[*to]);
      }
    }
  }
  return found;
}

std::vector<std::string> IncludeGraph::Dangling() const {
  std::vector<std::string> found;
  for (const auto& [path, includes] : includes_) {
    for (const auto& name : includes) {
      if (!includes_.contains(name)) found.push_back(path + " includes " + name);
    }
  }
  return found;
}

std::vector<std::string> IncludeGraph::Circles() const {
  std::vector<std::string> found;
  std::set<std::string> done;
  std::vector<std::string> trail;
  const std::function<void(const std::string&)> visit = [&](const std::string& path) {
    const auto open = std::find(trail.begin(), trail.end(), path);
    if (open != trail.end()) {
      std::string circle;
      for (auto step = open; step != trail.end(); ++step) circle += *step + " -> ";
      found.push_back(circle + path);
      return;
    }
    const auto node = includes_.find(path);
    if (node == includes_.end() || done.contains(path)) return;
    trail.push_back(path);
    for (const auto& name : node->second) visit(name);
    trail.pop_back();
    done.insert(path);
  };
  for (const auto& [path, includes] : includes_) visit(path);
  return found;
}

std::set<std::string> IncludeGraph::ReachedFrom(const std::string& path) const {
  std::set<std::string> reached;
  std::vector<std::string> open{path};
  while (!open.empty()) {
    const auto node = includes_.find(open.back());
    open.pop_back();
    if (node == includes_.end()) continue;
    for (const auto& name : node->second) {
      if (reached.insert(name).second) open.push_back(name);
    }
  }
  return reached;
}

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace tmx::house
