#include "compiler/source.h"

#include <algorithm>
#include <utility>

namespace tmx::compiler {

Source::Source(std::string name, std::string text)
    : name_(std::move(name)), text_(std::move(text)), line_starts_{0} {
  for (std::size_t end = text_.find('\n'); end != std::string::npos;
       end = text_.find('\n', end + 1))
    line_starts_.push_back(end + 1);
}

std::string_view Source::Line(int line) const {
  const auto index = static_cast<std::size_t>(line - 1);
  if (line < 1 || index >= line_starts_.size()) return {};
  const std::string_view rest = std::string_view(text_).substr(line_starts_[index]);
  std::string_view found = rest.substr(0, rest.find('\n'));
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
