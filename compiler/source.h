// The text of one macro source and what the compiler has to say about it.
//
// A Source owns its bytes; lines end in LF or CRLF. Bytes above 127 are plain ISO 8859-1 and stay
// as they are. Diagnostics collects errors and warnings in the order in which they are met and
// prints them as `file:line:column: error: text`, the source line and a caret below the place.
// Both are values, used by one thread at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tmx::compiler {

// Line and column count from 1; a column is a byte.
struct Position {
  int line = 1;
  int column = 1;
};

class Source {
 public:
  Source(std::string name, std::string text);

  const std::string& Name() const { return name_; }
  const std::string& Text() const { return text_; }
  // The line without its line end; empty for a line that the source does not have.
  std::string_view Line(int line) const;

 private:
  std::string name_;
  std::string text_;
  std::vector<std::size_t> line_starts_;
};

enum class Severity { kError, kWarning };

struct Diagnostic {
  Severity severity = Severity::kError;
  Position at;
  std::string text;
};

class Diagnostics {
 public:
  void Error(Position at, std::string text) { Add(Severity::kError, at, std::move(text)); }
  void Warning(Position at, std::string text) { Add(Severity::kWarning, at, std::move(text)); }

  bool HasErrors() const;
  const std::vector<Diagnostic>& All() const { return all_; }
  // All messages in the order of the source.
  std::string Render(const Source& source) const;

 private:
  void Add(Severity severity, Position at, std::string text);

  std::vector<Diagnostic> all_;
};

}  // namespace tmx::compiler
