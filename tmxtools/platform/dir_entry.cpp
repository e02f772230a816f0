#include "tmxtools/platform/dir_entry.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tmxtools/platform/env.h"

namespace {

#ifdef _WIN32
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

std::size_t NameStart(std::string_view path) {
  const std::size_t separator = path.rfind(kSeparator);
  return separator == std::string_view::npos ? 0 : separator + 1;
}

// The position of the dot before the extension, or the path's length.
std::size_t DotPosition(std::string_view path) {
  const std::size_t start = NameStart(path);
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos || dot <= start || path.substr(start) == ".." ? path.size()
                                                                                     : dot;
}

// The components of an absolute path without "." and "..".
std::string Normalise(std::string_view path) {
  std::vector<std::string_view> components;
  while (!path.empty()) {
    const std::size_t length = std::min(path.find(kSeparator), path.size());
    const std::string_view component = path.substr(0, length);
    path.remove_prefix(std::min(length + 1, path.size()));
    if (component.empty() || component == ".") continue;
    if (component != "..") {
      components.push_back(component);
    } else if (!components.empty()) {
      components.pop_back();
    }
  }
  std::string result;
  for (const std::string_view component : components) (result += kSeparator) += component;
  return result.empty() ? std::string(1, kSeparator) : result;
}

bool Matches(std::string_view name, std::string_view pattern) {
  // On a mismatch the last "*" takes one byte more.
  std::size_t at = 0;
  std::size_t in_pattern = 0;
  std::size_t star = std::string_view::npos;
  std::size_t after_star = 0;
  while (at < name.size()) {
    if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
      star = in_pattern++;
      after_star = at;
    } else if (in_pattern < pattern.size() &&
               (pattern[in_pattern] == '?' || pattern[in_pattern] == name[at])) {
      ++in_pattern;
      ++at;
    } else if (star != std::string_view::npos) {
      in_pattern = star + 1;
      at = ++after_star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', in_pattern) == std::string_view::npos;
}

bool IsDirectoryAt(const std::string& path) {
  const auto info = tmx::CurrentEnv().Info(path);
  return info.Ok() && info.value.is_directory;
}

}  // namespace

DirEntry& DirEntry::operator+=(const String& name) {
  const bool joined = path_.IsEmpty() || path_.View().back() == kSeparator;
  path_ = joined ? path_ + name : path_ + kSeparator + name;
  return *this;
}

bool DirEntry::ToAbs() {
  if (path_.IsEmpty()) return true;
  std::string path(path_.View());
  if (path.front() != kSeparator) {
    const auto working_dir = tmx::CurrentEnv().WorkingDir();
    if (!working_dir.Ok()) return false;
    path = working_dir.value + kSeparator + path;
  }
  path = Normalise(path);
  if (path.size() > String::MaxLen) return false;
  path_.Assign(path);
  return true;
}

String DirEntry::GetName() const { return String(path_.View().substr(NameStart(path_.View()))); }

String DirEntry::GetExtension() const {
  const std::string_view rest = path_.View().substr(DotPosition(path_.View()));
  return String(rest.substr(std::min<std::size_t>(1, rest.size())));
}

void DirEntry::SetExtension(const String& extension) {
  String path(path_.View().substr(0, DotPosition(path_.View())));
  if (!extension.IsEmpty()) (path += '.') += extension;
  path_ = std::move(path);
}

bool DirEntry::Exists() const { return tmx::CurrentEnv().Info(std::string(path_.View())).Ok(); }

bool DirEntry::IsDirectory() const { return IsDirectoryAt(std::string(path_.View())); }

bool DirEntry::MakeDir() const {
  const std::string path(path_.View());
  if (path.empty()) return false;
  std::size_t end = 0;
  while (end < path.size()) {
    end = std::min(path.find(kSeparator, end + 1), path.size());
    const std::string above = path.substr(0, end);
    const std::errc error = tmx::CurrentEnv().MakeDir(above);
    // One that exists already may answer in several ways.
    if (error != std::errc{} && !IsDirectoryAt(above)) return false;
  }
  return true;
}

bool DirEntry::Remove() const {
  return tmx::CurrentEnv().Remove(std::string(path_.View())) == std::errc{};
}

Dir::Dir(const DirEntry& directory, const String& pattern) {
  const auto listed = tmx::CurrentEnv().List(std::string(directory.GetFull().View()));
  if (!listed.Ok()) return;
  for (const std::string& name : listed.value) {
    if (Matches(name, pattern.View())) names_.emplace_back(std::string_view(name));
  }
  std::sort(names_.begin(), names_.end());
}
