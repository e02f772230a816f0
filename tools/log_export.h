// The forms into which a log is exported.
#pragma once

#include <cstdio>
#include <string>

#include "tools/shown_log.h"

namespace tmx::tools {

// Prints a log block by block on standard output.
class LogPrinter {
 public:
  virtual ~LogPrinter() = default;
  virtual void Begin() {}
  virtual void Block(ShownLog& log, const LogBlock& block) = 0;
  virtual void End() {}
};

// A page without any reference to other files: search, folding, one line a segment.
class HtmlPrinter : public LogPrinter {
 public:
  explicit HtmlPrinter(std::string title) : title_(std::move(title)) {}
  void Begin() override;
  void Block(ShownLog& log, const LogBlock& block) override;
  void End() override;

 private:
  std::string title_;
};

// All of a log as text. What cannot be read or written is in the error of the stream or the file.
void PrintAsText(SvStream& contents, std::FILE* file);

}  // namespace tmx::tools
