#include "compiler/source.h"

#include <algorithm>

namespace tmx::compiler {

std::string_view Source::Line(int line) const {
  const std::string_view text = text_;
  std::size_t begin = 0;
  for (int current = 1; current < line; ++current) {
    const std::size_t end = text.find('\n', begin);
    if (end == std::string_view::npos) return {};
    begin = end + 1;
  }
  std::string_view found = text.substr(begin, text.find('\n', begin) - begin);
  if (found.ends_with('\r')) found.remove_suffix(1);
  return found;
}

bool Diagnostics::HasErrors() const {
  return std::any_of(all_.begin(), all_.end(),
                     [](const Diagnostic& d) { return d.severity == Severity::kError; });
}

void Diagnostics::Add(Severity severity, Position at, std::string text) {
  all_.push_back({severity, at, std::move(text)});
}

std::string Diagnostics::Render(const Source& source) const {
  std::vector<const Diagnostic*> sorted;
  for (const Diagnostic& diagnostic : all_) sorted.push_back(&diagnostic);
  std::stable_sort(sorted.begin(), sorted.end(), [](const Diagnostic* a, const Diagnostic* b) {
    return a->at.line != b->at.line ? a->at.line < b->at.line : a->at.column < b->at.column;
  });
  std::string out;
  for (const Diagnostic* diagnostic : sorted) {
    const std::string_view line = source.Line(diagnostic->at.line);
    out += source.Name() + ':' + std::to_string(diagnostic->at.line) + ':' +
           std::to_string(diagnostic->at.column) +
           (diagnostic->severity == Severity::kError ? ": error: " : ": warning: ") +
           diagnostic->text + '\n';
    out.append(line).append("\n");
    // Tabs are repeated so that the caret stands below its character at any tab width.
    for (int column = 1; column < diagnostic->at.column; ++column) {
      const auto index = static_cast<std::size_t>(column - 1);
      out += index < line.size() && line[index] == '\t' ? '\t' : ' ';
    }
    out += "^\n";
  }
  return out;
}

}  // namespace tmx::compiler
