#include "tests/tools/golden.h"

#include <sys/wait.h>

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>

#include "tests/support/temp_dir.h"

namespace tmx::golden {
namespace {

constexpr std::string_view kMark = "== ";

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void WriteAll(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

std::string Unescape(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    if (text.substr(i, 2) == "\\x" && i + 4 <= text.size() &&
        std::from_chars(&text[i + 2], &text[i] + 4, value, 16).ptr == &text[i] + 4) {
      bytes += static_cast<char>(value);
      i += 3;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

// UTF-8 output of a test stands in the file as bytes too, so every byte above 126 is written out.
std::string Escape(const std::string& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    const bool at_line_start = i == 0 || bytes[i - 1] == '\n';
    const bool is_plain = byte == '\n' || byte == '\t' || (byte >= ' ' && byte < 127);
    if (is_plain && !(at_line_start && bytes.compare(i, kMark.size(), kMark) == 0)) {
      text += bytes[i];
    } else {
      text += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

// One command with its input and what came out of it.
class Case {
 public:
  explicit Case(std::string command) : command_(std::move(command)) {}

  void Input(const std::string& text) { input_ = text; }
  void Result(const std::string& name) { results_.push_back(name); }

  void Run(const std::string& directory, const std::string& program_directory) {
    const TempDir outside;
    const std::string base = outside.Path();
    WriteAll(base + "/command", command_);
    WriteAll(base + "/in", input_.value_or(""));
    const std::string line = "cd " + Quoted(directory) +
                             " && LC_ALL=C SOURCE=" TMX_SOURCE_DIR " TMPDIR=" + Quoted(base) +
                             " PATH=" + Quoted(program_directory) + ":/usr/bin:/bin sh " + base +
                             "/command <" + base + "/in >" + base + "/out 2>" + base + "/err";
    const int status = std::system(line.c_str());
    exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    stdout_ = ReadAll(base + "/out");
    stderr_ = ReadAll(base + "/err");
    for (const std::string& name : results_)
      result_texts_.push_back(ReadAll(directory + "/" + name));
  }

  void AppendTo(std::vector<Section>& sections) const {
    sections.push_back({"run", "", command_});
    if (input_) sections.push_back({"stdin", "", *input_});
    if (!stdout_.empty()) sections.push_back({"stdout", "", stdout_});
    if (!stderr_.empty()) sections.push_back({"stderr", "", stderr_});
    if (exit_code_ != 0) sections.push_back({"exit", std::to_string(exit_code_), ""});
    for (std::size_t i = 0; i < results_.size(); ++i)
      sections.push_back({"result", results_[i], result_texts_[i]});
  }

 private:
  std::string command_;
  std::optional<std::string> input_;
  std::vector<std::string> results_;
  std::string stdout_, stderr_;
  std::vector<std::string> result_texts_;
  int exit_code_ = 0;
};

}  // namespace

Document Parse(std::string_view bytes) {
  Document document;
  while (!bytes.empty()) {
    const std::size_t end = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
    const std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(end);
    if (line.starts_with(kMark)) {
      std::string_view head = line.substr(kMark.size());
      while (!head.empty() && std::isspace(static_cast<unsigned char>(head.back())))
        head.remove_suffix(1);
      const std::size_t blank = std::min(head.find(' '), head.size());
      document.sections.push_back({std::string(head.substr(0, blank)),
                                   std::string(head.substr(std::min(blank + 1, head.size()))), ""});
    } else if (document.sections.empty()) {
      document.comment += line;
    } else {
      document.sections.back().text += Unescape(line);
    }
  }
  return document;
}

std::string Write(const Document& document) {
  std::string bytes = document.comment;
  for (const Section& section : document.sections) {
    bytes += std::string(kMark) + section.kind;
    if (!section.argument.empty()) bytes += " " + section.argument;
    bytes += "\n" + Escape(section.text);
    if (bytes.back() != '\n') bytes += '\n';
  }
  return bytes;
}

Document RunCases(const Document& document, const std::string& program_directory) {
  const TempDir directory;
  Document result{document.comment, {}};
  std::unique_ptr<Case> current;
  const auto finish = [&] {
    if (!current) return;
    current->Run(directory.Path(), program_directory);
    current->AppendTo(result.sections);
    current.reset();
  };
  for (const Section& section : document.sections) {
    if (section.kind == "file") {
      finish();
      WriteAll(directory.Path() + "/" + section.argument, section.text);
      result.sections.push_back(section);
    } else if (section.kind == "run") {
      finish();
      current = std::make_unique<Case>(section.text);
    } else if (current && section.kind == "stdin") {
      current->Input(section.text);
    } else if (current && section.kind == "result") {
      current->Result(section.argument);
    } else if (!current ||
               (section.kind != "stdout" && section.kind != "stderr" && section.kind != "exit")) {
      throw std::runtime_error("section out of place: " + section.kind);
    }
  }
  finish();
  return result;
}

}  // namespace tmx::golden
