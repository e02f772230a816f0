#include "tmxtools/streams/log_blocks.h"

#include <charconv>

#include "tmxtools/streams/log_text.h"

namespace tmx {
namespace {

using Kind = LogBlock::Kind;
namespace text = log_text;

// How the first line of each kind begins, and what its last line is.
struct Form {
  Kind kind;
  std::string_view start;
  std::string_view end;
};
constexpr Form kForms[] = {
    {Kind::Message, text::kStartMessage, text::kEndMessage},
    {Kind::Xml, text::kStartXml, text::kEndXml},
    {Kind::Instruction, text::kStartInstruction, text::kEndInstruction},
    {Kind::Page, text::kStartPage, text::kEndPage},
    {Kind::Screen, text::kAutoCommit, text::kEndImage},
    {Kind::Screen, text::kPosition, text::kEndImage},
    {Kind::Date, text::kDate, {}},
    {Kind::Time, text::kTime, {}},
};
constexpr Form kInfo{Kind::Info, {}, {}};

const Form& FormOf(std::string_view line) {
  for (const Form& form : kForms)
    if (line.starts_with(form.start)) return form;
  return kInfo;
}

// The length and direction behind a start marker; false when they are malformed.
bool ReadTail(std::string_view tail, std::uint32_t& length, bool& sent) {
  if (!tail.starts_with(';')) return false;
  const char* const end = tail.data() + tail.size();
  const auto [rest, error] = std::from_chars(tail.data() + 1, end, length);
  const std::string_view direction(rest, static_cast<std::size_t>(end - rest));
  sent = direction == text::kSent;
  return error == std::errc{} && (sent || direction == text::kReceived);
}

}  // namespace

LogBlocks::LogBlocks(SvStream& contents)
    : lines_(contents), size_(static_cast<std::uint32_t>(contents.Size())) {}

bool LogBlocks::NextIs(std::string_view expected) {
  return lines_.Next() && lines_.Line() == expected && lines_.HasEnd();
}

bool LogBlocks::Next() {
  block_ = {};
  block_.begin = block_.body = lines_.Position();
  if (!lines_.Next()) return false;
  const std::uint32_t behind_first_line = lines_.Position();
  const std::string_view line = lines_.Line();
  const Form& form = FormOf(line);
  block_.kind = form.kind;
  bool is_proper = lines_.HasEnd();
  if (form.end.empty()) {
    block_.body += static_cast<std::uint32_t>(form.start.size());
    block_.length = static_cast<std::uint32_t>(line.size() - form.start.size());
  } else if (form.kind == Kind::Screen) {
    is_proper = is_proper && ReadScreen();
  } else {
    is_proper = is_proper && ReadTail(line.substr(form.start.size()), block_.length, block_.sent) &&
                ReadBody(form.end);
  }
  if (!is_proper && !form.end.empty()) ReadBroken(behind_first_line);
  block_.end = lines_.Position();
  block_.is_whole = is_proper;
  return true;
}

bool LogBlocks::ReadBody(std::string_view end_marker) {
  block_.body = lines_.Position();
  if (block_.length > size_ - block_.body) return false;
  lines_.Seek(block_.body + block_.length);
  return NextIs("") && NextIs(end_marker);
}

bool LogBlocks::ReadScreen() {
  if (lines_.Line() == text::kAutoCommit) {
    block_.is_auto_commit = true;
    if (!lines_.Next()) return false;
  }
  if (!lines_.Line().starts_with(text::kPosition) || !NextIs(text::kStartImage)) return false;
  block_.body = lines_.Position();
  std::uint32_t behind_text = block_.body;
  while (lines_.Next() && lines_.HasEnd()) {
    if (lines_.Line() == text::kEndImage) {
      block_.length = behind_text - block_.body;
      return true;
    }
    behind_text = lines_.Position();
  }
  return false;
}

void LogBlocks::ReadBroken(std::uint32_t behind_first_line) {
  block_.kind = Kind::Broken;
  block_.body = block_.begin;
  lines_.Seek(behind_first_line);
  std::uint32_t line_start = behind_first_line;
  while (lines_.Next()) {
    if (FormOf(lines_.Line()).kind != Kind::Info) {
      lines_.Seek(line_start);
      break;
    }
    line_start = lines_.Position();
  }
  block_.length = lines_.Position() - block_.begin;
}

}  // namespace tmx
