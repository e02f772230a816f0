#include "tools/log_cursor.h"

#include "tools/log_lines.h"
#include "tools/shown_log.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

constexpr std::uint32_t kLongestPiece = 4096;
constexpr std::uint32_t kLong = 1 << 16;  // bytes whose form is worth keeping

bool ContinuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

bool LogInput::ReadBlock(std::uint32_t position, LogBlock& block) {
  blocks_.Seek(position);
  if (!blocks_.Next()) return false;
  block = blocks_.Block();
  return true;
}

LogInput::Form LogInput::FormOf(Range bytes) {
  const auto known = forms_.find(bytes.begin);
  if (known != forms_.end()) return known->second;
  const Produce put = [&](const Sink& to) { bytes_.Put(bytes, to); };
  const Form form{IsText(put), IsUtf8(put)};
  if (bytes.Size() >= kLong) forms_.emplace(bytes.begin, form);
  return form;
}

bool LogCursor::Next(LogPiece& piece) {
  piece = {};
  is_made_ = false;
  while (!is_made_)
    if (!Step(piece)) return false;
  return true;
}

bool LogCursor::Step(LogPiece& piece) {
  switch (stage_) {
    case Stage::Block:
      return PutTitle(piece);
    case Stage::Body:
      BeginBody();
      return true;
    case Stage::Segment:
      BeginSegment(piece);
      return true;
    case Stage::Element:
      PutElement(piece);
      return true;
    case Stage::Texts:
      BeginTexts();
      return true;
    case Stage::Text:
      PutText(piece);
      return true;
  }
  return false;
}

void LogCursor::Make(LogPiece& piece, std::string text, bool ends_line) {
  piece.place = place_;
  piece.text = std::move(text);
  piece.ends_line = ends_line;
  place_.column += piece.text.size();
  is_made_ = true;
}

bool LogCursor::PutTitle(LogPiece& piece) {
  if (!input_->ReadBlock(block_.end, block_)) return false;
  place_ = {std::uint64_t{2} * block_.begin, 0};
  const std::string title = TitleOf(block_);
  if (!title.empty()) {
    piece.is_title = true;
    stage_ = Stage::Body;
    Make(piece, title, true);
    return true;
  }
  BeginText({block_.body, block_.body + block_.length}, Stage::Block);
  is_line_begin_ = is_utf8_ = false;
  Make(piece, LabelOf(block_), rest_.IsEmpty());
  return true;
}

void LogCursor::BeginBody() {
  const Range body{block_.body, block_.body + block_.length};
  if (block_.kind != LogBlock::Kind::Message) {
    BeginText(body, Stage::Block);
    is_utf8_ = input_->FormOf(body).is_utf8;
  } else {
    segment_.emplace(input_->Bytes(), body);
    stage_ = Stage::Segment;
  }
}

void LogCursor::BeginSegment(LogPiece& piece) {
  stage_ = Stage::Block;
  if (!segment_->NextSegment()) return;
  stage_ = Stage::Element;
  texts_ = segment_;
  rest_ = {};
  place_ = {std::uint64_t{2} * segment_->Position() + 1, 0};
  Make(piece, segment_->IsInside() ? "  " : "", false);
}

void LogCursor::PutElement(LogPiece& piece) {
  std::string text;
  if (rest_.IsEmpty()) {
    if (!segment_->NextElement(element_)) {
      stage_ = segment_->IsContainer() ? Stage::Segment : Stage::Texts;
      return Make(piece, "", true);
    }
    text = LabelOf(element_);
    if (!element_.is_binary) rest_ = element_.raw;
  }
  piece.is_head = element_.element == 1;
  Make(piece, text + Printable(NextOfElement()), false);
}

std::string LogCursor::NextOfElement() {
  std::string text;
  while (!rest_.IsEmpty() && text.size() < kLongestPiece) {
    char c = input_->Bytes().At(rest_.begin++);
    if (c == '?' && !rest_.IsEmpty()) c = input_->Bytes().At(rest_.begin++);
    text += c;
  }
  return text;
}

void LogCursor::BeginTexts() {
  stage_ = Stage::Segment;
  for (GroupElement group; texts_->NextElement(group);) {
    if (!group.is_binary) continue;
    const LogInput::Form form = input_->FormOf(group.raw);
    if (!form.is_text) continue;
    BeginText(group.raw, Stage::Texts);
    is_utf8_ = form.is_utf8;
    return;
  }
}

void LogCursor::BeginText(Range text, Stage behind) {
  stage_ = Stage::Text;
  behind_text_ = behind;
  rest_ = text;
  is_line_begin_ = true;
}

void LogCursor::PutText(LogPiece& piece) {
  if (rest_.IsEmpty()) {
    stage_ = behind_text_;
    return;
  }
  LogBytes& bytes = input_->Bytes();
  const std::uint32_t begin = rest_.begin;
  std::uint32_t end = begin;
  while (end != rest_.end && end - begin < kLongestPiece && bytes.At(end) != '\n') ++end;
  const bool has_end = end != rest_.end && bytes.At(end) == '\n';
  const bool ends_line = has_end || end == rest_.end;
  while (!ends_line && is_utf8_ && ContinuesCharacter(bytes.At(end))) --end;
  const bool has_return = ends_line && end != begin && bytes.At(end - 1) == '\r';

  std::string text;
  if (is_line_begin_) {
    place_ = {std::uint64_t{2} * begin + 1, 0};
    if (behind_text_ == Stage::Texts) text = kTextIndent;
  }
  const Produce raw = [&](const Sink& to) { bytes.Put({begin, end - has_return}, to); };
  const Sink add = [&](std::string_view part) { text += Printable(part); };
  is_utf8_ ? PutAsLatin1(raw, add) : raw(add);
  rest_.begin = end + has_end;
  is_line_begin_ = ends_line;
  Make(piece, std::move(text), ends_line);
}

}  // namespace tmx::tools
