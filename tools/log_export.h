// The forms into which a log is exported.
#pragma once

#include <string>
#include <string_view>

#include "tmxtools/streams/log_blocks.h"

namespace tmx::tools {

// Prints a log block by block on standard output.
class LogPrinter {
 public:
  virtual ~LogPrinter() = default;
  virtual void Begin() {}
  virtual void Block(const LogBlock& block, std::string_view body) = 0;
  virtual void End() {}
};

// A page without any reference to other files: search, folding, one line a segment.
class HtmlPrinter : public LogPrinter {
 public:
  explicit HtmlPrinter(std::string title) : title_(std::move(title)) {}
  void Begin() override;
  void Block(const LogBlock& block, std::string_view body) override;
  void End() override;

 private:
  std::string title_;
};

}  // namespace tmx::tools
