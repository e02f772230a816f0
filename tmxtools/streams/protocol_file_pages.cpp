// Reading a communication log page by page.
#include <algorithm>
#include <string_view>
#include <utility>

#include "tmxtools/platform/secret.h"
#include "tmxtools/streams/line_reader.h"
#include "tmxtools/streams/log_text.h"
#include "tmxtools/streams/protocol_file.h"
#include "tmxtools/streams/protocol_file_errors.h"

namespace text = tmx::log_text;

namespace {

// A page of a message is a slice of this many bytes, on purpose independent of its line ends.
constexpr std::uint32_t kSlice = 920;
constexpr std::uint16_t kColumns = 40;
constexpr unsigned kRows = 23;  // of a slice
constexpr std::uint16_t kScreenLength = (kColumns + 1) * (kRows + 1);
constexpr unsigned kImageRows = 24;  // of a screen of the decoder
constexpr std::size_t kMostPages = 0xFFFF;
constexpr std::string_view kNextSlice = "Page Top";

constexpr std::string_view kMessageStarts[] = {text::kStartMessage, text::kStartXml};
constexpr std::string_view kMessageEnds[] = {text::kEndMessage, text::kEndXml};
// Lines between pages that are no information.
constexpr std::string_view kSilent[] = {text::kEndImage, text::kEndMessage, text::kEndXml, "Datum",
                                        "Uhrzeit"};

// The first of the texts that a line contains, or the empty one.
template <class Texts>
std::string_view FirstIn(std::string_view line, const Texts& texts) {
  for (const std::string_view candidate : texts)
    if (line.find(candidate) != std::string_view::npos) return candidate;
  return {};
}

void AppendLine(String& screen, std::string_view content) {
  const auto end = static_cast<std::uint16_t>(screen.Len() + kColumns);
  screen.Append(content);
  screen.PadTo(end, ' ');
  screen += '\n';
}

}  // namespace

// ---- the index ----------------------------------------------------------------------------------

bool HbProtocolFile::ReadHeader(tmx::LineReader& lines, HbError& err) {
  lines.Next();
  if (GetStreamError(err)) return false;
  if (!lines.Contains(text::kDate)) FailWithName(err, tmx::kNotALog);
  return !err.IsSet();
}

bool HbProtocolFile::ReadProtocol(HbError& err) {
  pages_.clear();
  Guard(err, [&] { BuildIndex(err); });
  if (!err.IsSet() && !pages_.empty()) GotoPage(0, err);
  if (err.IsSet()) Close();
  return !err.IsSet();
}

void HbProtocolFile::BuildIndex(HbError& err) {
  const auto size = static_cast<std::uint32_t>(GetStream()->Size());
  tmx::LineReader lines(*GetStream());
  if (!ReadHeader(lines, err)) return;
  std::uint32_t start = 0;  // the first page shows what stands before it as information
  while (lines.Next()) {
    if (lines.Contains(text::kEndImage)) {
      AddPage({start, String(text::kEndImage), false, 0});
    } else if (const auto title = FirstIn(lines.Line(), kMessageStarts); !title.empty()) {
      if (!AddMessagePages(lines, title, start, size)) return FailWithName(err, tmx::kNotALog);
    } else {
      continue;
    }
    start = lines.Position();
  }
  GetStreamError(err);
}

// The pages of one message, whose first line was read. False when its length reaches beyond the
// end; the pages are then those up to the end.
bool HbProtocolFile::AddMessagePages(tmx::LineReader& lines, std::string_view title,
                                     std::uint32_t start, std::uint32_t size) {
  const String marker(lines.Line());
  const auto told = static_cast<std::uint32_t>(marker.Token(1, ';').ToInt());
  const bool sent = marker.Token(2, ';') == "1";
  const std::uint32_t body = lines.Position();
  const std::uint32_t length = std::min(told, size - std::min(body, size));
  AddPage({start, String(title), sent, std::min(length, kSlice)});
  for (std::uint32_t at = kSlice; at < length && pages_.size() < kMostPages; at += kSlice)
    AddPage({body + at, String(kNextSlice), sent, std::min(length - at, kSlice)});
  lines.Seek(body + length);
  return length == told;
}

void HbProtocolFile::AddPage(Page page) {
  if (pages_.size() < kMostPages) pages_.push_back(std::move(page));
}

// ---- one page -----------------------------------------------------------------------------------

bool HbProtocolFile::GotoPage(unsigned short index, HbError& err) {
  ResetStatus();
  tmx::Wipe(screen_);
  tmx::Wipe(info_);
  is_auto_commit_ = false;
  decoder_row_ = decoder_column_ = 0;
  if (!IsOpen()) {
    Fail(err, tmx::kLogNotOpen);
  } else if (index >= pages_.size()) {
    Fail(err, tmx::kNoSuchPage);
  } else {
    current_ = index;
    Guard(err, [&] { Show(pages_[index], err); });
  }
  return !err.IsSet();
}

void HbProtocolFile::Show(const Page& page, HbError& err) {
  GetStream()->Seek(page.start);
  if (GetStream()->HasError()) return FailWithName(err, tmx::kNotALog);
  if (page.title == kNextSlice) return ShowMessage(page, page.start, err);
  tmx::LineReader lines(*GetStream(), page.start);
  bool is_message = false;
  if (!ReadInfo(lines, is_message, err)) return;
  if (is_message) {
    ShowMessage(page, lines.Position(), err);
  } else {
    ShowScreen(lines, err);
  }
}

bool HbProtocolFile::ReadInfo(tmx::LineReader& lines, bool& is_message, HbError& err) {
  tmx::SecretText info;
  while (lines.Next()) {
    const bool is_screen = lines.Contains(text::kStartImage);
    is_message = !is_screen && !FirstIn(lines.Line(), kMessageStarts).empty();
    if (is_screen || is_message) {
      info_.Assign(info.View());
      return true;
    }
    if (lines.IsTooLong()) {
      FailWithName(err, tmx::kTextTooLong);
      return false;
    }
    TakeInfo(lines.Line(), info);
  }
  if (!GetStreamError(err)) FailWithName(err, tmx::kNotALog);
  return false;
}

void HbProtocolFile::TakeInfo(std::string_view line, tmx::SecretText& info) {
  if (const std::size_t at = line.find(text::kPosition); at != std::string_view::npos) {
    const String numbers(line.substr(at + text::kPosition.size(), 4));
    decoder_row_ = numbers.Sub(0, 2).ToInt();
    decoder_column_ = numbers.Sub(2, 2).ToInt();
  } else if (line.find(text::kAutoCommit) != std::string_view::npos) {
    is_auto_commit_ = true;
  } else if (!line.empty() && FirstIn(line, kSilent).empty()) {
    if (!info.IsEmpty()) info.Append("\n");
    info.Append(line);
    if (info.Size() > String::MaxLen) throw std::length_error("the information");
  }
}

void HbProtocolFile::ShowMessage(const Page& page, std::uint32_t body, HbError& err) {
  tmx::Secret<kSlice> bytes;
  GetStream()->Seek(body);
  const unsigned long count = GetStream()->Read(bytes.Data(), page.length);
  if (GetStream()->HasError() || count != page.length) return FailWithName(err, tmx::kNotALog);
  std::replace_if(
      bytes.Data(), bytes.Data() + count, [](std::uint8_t c) { return c < ' '; }, '.');
  screen_.Reserve(kScreenLength);
  AppendLine(screen_, page.sent ? "Gesendet:" : "Empfangen:");
  std::string_view rest(reinterpret_cast<const char*>(bytes.Data()), count);
  for (unsigned row = 0; row < kRows; ++row) {
    AppendLine(screen_, rest.substr(0, kColumns));
    rest.remove_prefix(std::min<std::size_t>(kColumns, rest.size()));
  }
  const bool is_last = std::size_t{current_} + 1 == pages_.size();
  if (is_last || pages_[current_ + 1u].title == kNextSlice) return;
  tmx::LineReader lines(*GetStream(), body + page.length);
  for (int i = 0; i < 2 && lines.Next(); ++i)
    if (!FirstIn(lines.Line(), kMessageEnds).empty()) return;
  FailWithName(err, tmx::kNotALog);
}

void HbProtocolFile::ShowScreen(tmx::LineReader& lines, HbError& err) {
  tmx::SecretText screen;
  for (unsigned row = 0; row < kImageRows; ++row) {
    if (!lines.Next()) return FailWithName(err, tmx::kNotALog);
    if (lines.IsTooLong()) return FailWithName(err, tmx::kTextTooLong);
    screen.Append(lines.Line());
    screen.Append("\n");
  }
  screen_.Assign(screen.View());
  while (lines.Next() && !lines.Contains(text::kEndImage)) continue;
  GetStreamError(err);
}
