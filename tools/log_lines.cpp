#include "tools/log_lines.h"

#include <algorithm>

#include "tools/hbci_text.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

using Kind = LogBlock::Kind;

void AddText(std::vector<LogLine>& lines, std::string_view text, std::string_view indent = "") {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    LogLine& added = lines.emplace_back();
    added.text = std::string(indent) + Printable(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void AddSegment(std::vector<LogLine>& lines, const Segment& segment) {
  LogLine& line = lines.emplace_back();
  line.kind = LogLine::Kind::Segment;
  line.text = SegmentLine(segment);
  line.head = segment.is_inside ? 2 : 0;
  line.head_length = segment.Head().size();
  if (segment.IsContainer()) return;  // its content follows as segments
  for (const DataElement& element : segment.elements)
    for (const GroupElement& group : element)
      if (group.is_binary && IsText(group.raw)) AddText(lines, AsLatin1(group.raw), "      | ");
}

}  // namespace

std::string TitleOf(const LogBlock& block) {
  const auto with_direction = [&](const char* name) {
    return name + std::string(block.sent ? " sent, " : " received, ") +
           std::to_string(block.length) + " bytes";
  };
  switch (block.kind) {
    case Kind::Message:
      return with_direction("HBCI message");
    case Kind::Xml:
      return with_direction("XML message");
    case Kind::Instruction:
      return with_direction("XML instruction");
    case Kind::Page:
      return with_direction("XHTML page");
    case Kind::Screen:
      return block.is_auto_commit ? "Screen, committed automatically" : "Screen";
    case Kind::Broken:
      return "Broken block, " + std::to_string(block.length) + " bytes";
    default:
      return "";
  }
}

std::vector<LogLine> LinesOf(const LogBlock& block, std::string_view body) {
  std::vector<LogLine> lines;
  const std::string title = TitleOf(block);
  if (title.empty()) {
    const char* const label = block.kind == Kind::Date   ? "Datum: "
                              : block.kind == Kind::Time ? "Uhrzeit: "
                                                         : "";
    lines.emplace_back().text = label + Printable(body);
    return lines;
  }
  const bool has_direction = block.kind != Kind::Screen && block.kind != Kind::Broken;
  LogLine& head = lines.emplace_back();
  head.kind = LogLine::Kind::Title;
  head.text = title;
  head.sent = has_direction && block.sent;
  head.received = has_direction && !block.sent;
  if (block.kind == Kind::Message) {
    for (const Segment& segment : ParseSegments(body)) AddSegment(lines, segment);
  } else {
    AddText(lines, AsLatin1(body));
  }
  return lines;
}

}  // namespace tmx::tools
