#include "tools/log_lines.h"

#include "tools/hbci_text.h"
#include "tools/output.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

using Kind = LogBlock::Kind;

// Cuts a text at its line ends.
class LineCutter {
 public:
  LineCutter(std::string_view indent, LineSink& to) : to_(to) { begin_.text = indent; }
  ~LineCutter() {
    if (is_open_) to_.End();
  }
  LineCutter(const LineCutter&) = delete;
  LineCutter& operator=(const LineCutter&) = delete;

  void Add(std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = text.find('\n');
      if (!is_open_) to_.Begin(begin_);
      is_open_ = end == std::string_view::npos;
      AddToLine(text.substr(0, end));
      if (is_open_) return;
      has_return_ = false;
      to_.End();
      text.remove_prefix(end + 1);
    }
  }

 private:
  // The last character is held back when it may belong to the line end.
  void AddToLine(std::string_view part) {
    if (part.empty()) return;
    if (has_return_) to_.Add(".");
    has_return_ = part.ends_with('\r');
    if (has_return_) part.remove_suffix(1);
    to_.Add(filter_.Filter(part));
  }

  LogLine begin_;
  LineSink& to_;
  ControlFilter filter_;
  bool is_open_ = false;
  bool has_return_ = false;
};

void PutText(const Produce& text, std::string_view indent, LineSink& to) {
  LineCutter cutter(indent, to);
  PutAsUtf8(text, [&](std::string_view piece) { cutter.Add(piece); });
}

// One segment on one line, each filled element behind its number: "HNHBS:5:1  2=1". Binary data is
// named by its length.
class SegmentLine {
 public:
  SegmentLine(ShownLog& log, SegmentReader& segment, LineSink& to)
      : log_(log), segment_(segment), to_(to) {}

  void Put() {
    LogLine line;
    line.kind = LogLine::Kind::Segment;
    if (segment_.IsInside()) line.text = "  ";
    to_.Begin(line);
    for (GroupElement group; segment_.NextElement(group);) Put(group);
    to_.End();
  }

 private:
  void Put(const GroupElement& group) {
    to_.Add(LabelOf(group));
    if (group.is_binary) return;
    log_.Text(segment_, group)([&](std::string_view piece) { to_.Add(Utf8(Printable(piece))); });
  }

  ShownLog& log_;
  SegmentReader& segment_;
  LineSink& to_;
};

void PutSegment(ShownLog& log, SegmentReader& segment, LineSink& to) {
  SegmentReader again = segment;
  SegmentLine(log, segment, to).Put();
  if (segment.IsContainer()) return;  // its content follows as segments
  for (GroupElement group; again.NextElement(group);) {
    if (!group.is_binary) continue;
    const Produce raw = log.Raw(again, group);
    if (IsText(raw)) PutText(raw, kTextIndent, to);
  }
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

const char* LabelOf(const LogBlock& block) {
  return block.kind == Kind::Date ? "Datum: " : block.kind == Kind::Time ? "Uhrzeit: " : "";
}

bool HasDirection(const LogBlock& block) {
  return block.kind == Kind::Message || block.kind == Kind::Xml ||
         block.kind == Kind::Instruction || block.kind == Kind::Page;
}

std::string LabelOf(const GroupElement& group) {
  const bool is_first = group.group == 0;
  const bool is_filled = !is_first || !group.is_last || group.is_binary || !group.raw.IsEmpty();
  std::string label = is_first ? "" : ":";
  if (is_first && is_filled && group.element != 1)
    label = "  " + std::to_string(group.element) + "=";
  if (group.is_binary) label += "<" + std::to_string(group.raw.Size()) + " bytes>";
  return label;
}

void PutLines(ShownLog& log, const LogBlock& block, LineSink& to) {
  LogLine head;
  head.text = TitleOf(block);
  if (head.text.empty()) {
    head.text = LabelOf(block);
    to.Begin(head);
    log.Body(block)([&](std::string_view piece) { to.Add(Utf8(Printable(piece))); });
    return to.End();
  }
  head.kind = LogLine::Kind::Title;
  to.Begin(head);
  to.End();
  if (block.kind != Kind::Message) return PutText(log.Body(block), "", to);
  SegmentReader segments = log.Segments(block);
  while (segments.NextSegment()) PutSegment(log, segments, to);
}

}  // namespace tmx::tools
