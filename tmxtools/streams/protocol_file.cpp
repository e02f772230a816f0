#include "tmxtools/streams/protocol_file.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/secret.h"
#include "tmxtools/streams/line_reader.h"
#include "tmxtools/streams/log_key.h"
#include "tmxtools/streams/log_text.h"
#include "tmxtools/streams/masking.h"
#include "tmxtools/streams/protocol_file_errors.h"

namespace text = tmx::log_text;
namespace mode_bit = tmx::stream_mode;

namespace {

constexpr unsigned short kEncrypt = 0x4000;
constexpr int kMostLogsOfADay = 1000;
constexpr std::size_t kCopySize = 2000;

std::string Padded(long number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

String JoinText(std::string_view a, std::string_view b) { return String(a) + b; }

}  // namespace

// ---- names --------------------------------------------------------------------------------------

HbProtocolFile::HbProtocolFile() = default;
HbProtocolFile::~HbProtocolFile() {
  tmx::Wipe(info_);
  tmx::Wipe(screen_);
}

String HbProtocolFile::GetPrefixForDate(const Date& date) {
  return String(std::string_view(Padded(static_cast<long>(date.GetDate() % 100000), 5)));
}

bool HbProtocolFile::IsValidName(const String& name, const Date& date) {
  return name.Sub(0, 5) == GetPrefixForDate(date);
}

// The path of a log that does not exist yet.
String HbProtocolFile::FreeName(const String& directory, HbError& err) {
  const DirEntry entry(directory);
  if (!entry.Exists()) entry.MakeDir();  // what fails here fails the opening
  const String prefix = GetPrefixForDate(Date());
  const String ending = String(".") + text::kExtension;
  int number = 0;
  for (const String& name : Dir(entry, prefix + "???" + ending))
    number = std::max(number, name.Sub(prefix.Len(), 3).ToInt() + 1);
  for (; number < kMostLogsOfADay; ++number) {
    const DirEntry log = entry + (prefix + std::string_view(Padded(number, 3)) + ending);
    if (!log.Exists()) return log.GetFull();
  }
  Fail(err, tmx::kNoFreeName);
  return {};
}

// ---- opening ------------------------------------------------------------------------------------

void HbProtocolFile::Fail(HbError& err, unsigned short code) { err = SetStatus(code); }
void HbProtocolFile::FailWithName(HbError& err, unsigned short code) {
  err = SetStatus(code, GetFileName());
}

bool HbProtocolFile::CreateNew(const String& directory, const String& key, HbError& err) {
  String path;
  Guard(err, [&] { path = FreeName(directory, err); });
  if (err.IsSet()) return false;
  return Open(path, mode_bit::Write | mode_bit::Truncate, key, err);
}

bool HbProtocolFile::OpenEncrypted(const String& path, unsigned short mode, const String& key,
                                   HbError& err) {
  pages_.clear();
  current_ = 0;
  given_name_ = path;
  const tmx::LogKey bytes = tmx::MakeLogKey(key);
  const auto bits = static_cast<unsigned short>(mode | kEncrypt);
  return HbFile::Open(err, path, bits, nullptr, 0, bytes.Data(), bytes.Data());
}

bool HbProtocolFile::Open(const String& path, unsigned short mode, const String& key,
                          HbError& err) {
  if (OpenEncrypted(path, mode, key, err)) {
    if ((mode & mode_bit::Write) != 0) {
      Guard(err, [&] { WriteHeader(err); });
    } else {
      ReadProtocol(err);
    }
  }
  if (err.IsSet()) Close();
  return IsOpen();  // no matter whether there was memory for an error
}

bool HbProtocolFile::ReadUncryptedProtocol(HbError& err, const String& path) {
  pages_.clear();
  current_ = 0;
  given_name_ = path;
  if (HbFile::Open(err, path, mode_bit::Read, nullptr, 0, nullptr, nullptr)) ReadProtocol(err);
  if (err.IsSet()) Close();
  return IsOpen();
}

void HbProtocolFile::WriteHeader(HbError& err) {
  const tmx::WallTime now = tmx::Now();
  WriteLine(JoinText(text::kDate, std::to_string(now.date)), err);
  WriteLine(JoinText(text::kTime, std::to_string(now.time)), err);
  FlushBlock(err);
}

// ---- whole contents -----------------------------------------------------------------------------

bool HbProtocolFile::OpenContents(const String& path, const String& key, HbError& err) {
  if (OpenEncrypted(path, mode_bit::Read, key, err)) {
    tmx::LineReader lines(*GetStream());
    ReadHeader(lines, err);
  }
  if (err.IsSet()) Close();
  return !err.IsSet();
}

unsigned long HbProtocolFile::GetLength(const String& path, const String& key, HbError& err) {
  unsigned long length = 0;
  Guard(err, [&] {
    if (!OpenContents(path, key, err)) return;
    length = GetStream()->Size();
    if (GetStreamError(err)) length = 0;
  });
  Close();
  return length;
}

bool HbProtocolFile::GetBinary(const String& path, const String& key, HbError& err,
                               unsigned char* buffer, unsigned long& length) {
  const unsigned long size = buffer == nullptr ? 0 : std::exchange(length, 0);
  length = 0;
  Guard(err, [&] {
    if (!OpenContents(path, key, err)) return;
    GetStream()->Seek(0);
    length = GetStream()->Read(buffer, size);
    GetStreamError(err);
  });
  Close();
  return !err.IsSet();
}

// ---- writing ------------------------------------------------------------------------------------

// A kind of block with a body.
struct HbProtocolFile::Body {
  std::string_view start;
  std::string_view end;
  bool is_masked = false;
};

bool HbProtocolFile::AddMaskedElements(const String& entries) {
  try {
    auto extended = masking_ ? std::make_unique<tmx::MaskingList>(*masking_)
                             : std::make_unique<tmx::MaskingList>();
    if (!extended->Add(entries.View())) return false;
    masking_ = std::move(extended);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool HbProtocolFile::RequireOpen() {
  if (!IsOpen()) SetStatus(tmx::kLogNotOpen);  // the caller's error stays as it is, on purpose
  return IsOpen();
}

bool HbProtocolFile::FlushBlock(HbError& err) {
  if (!err.IsSet()) {
    GetStream()->Flush();
    GetStreamError(err);
  }
  return !err.IsSet();
}

bool HbProtocolFile::WriteMessage(SvStream& message, bool sent, HbError& err) {
  return WriteBody({text::kStartMessage, text::kEndMessage, true}, message, sent, err);
}
bool HbProtocolFile::WriteXMLMessage(SvStream& message, bool sent, HbError& err) {
  return WriteBody({text::kStartXml, text::kEndXml}, message, sent, err);
}
bool HbProtocolFile::WriteCmdMessage(SvStream& instruction, bool sent, HbError& err) {
  return WriteBody({text::kStartInstruction, text::kEndInstruction}, instruction, sent, err);
}
bool HbProtocolFile::WriteXHTMLMessage(SvStream& page, bool sent, HbError& err) {
  return WriteBody({text::kStartPage, text::kEndPage}, page, sent, err);
}

bool HbProtocolFile::WriteMessagePart(SvStream&, unsigned long, bool, HbError&) { return false; }

bool HbProtocolFile::WriteBody(const Body& kind, SvStream& source, bool sent, HbError& err) {
  if (!RequireOpen()) return false;
  Guard(err, [&] {
    const unsigned long position = source.Tell();
    const unsigned long length = source.Size();
    err.SetStreamState(source);
    if (err.IsSet()) return;
    const String head = JoinText(kind.start, ";" + std::to_string(length));
    WriteLine(head + (sent ? text::kSent : text::kReceived), err);
    static const tmx::MaskingList fixed;
    tmx::MessageMasker masker(masking_ ? *masking_ : fixed);
    source.Seek(0);
    CopyBody(source, length, kind.is_masked ? &masker : nullptr, err);
    source.Seek(position);
    if (err.IsSet()) return;
    WriteLine("", err);
    WriteLine(String(kind.end), err);
    FlushBlock(err);
  });
  return !err.IsSet();
}

void HbProtocolFile::CopyBody(SvStream& source, unsigned long length, tmx::MessageMasker* masker,
                              HbError& err) {
  tmx::Secret<kCopySize> chunk;  // as it was before it was masked
  for (unsigned long left = length; left != 0 && !err.IsSet();) {
    const unsigned long count = source.Read(chunk.Data(), std::min<unsigned long>(left, kCopySize));
    err.SetStreamState(source);
    if (err.IsSet()) return;
    // The length stands in the file already, so a source that has become shorter spoils the block.
    if (count == 0) return err.SetError(tmx::kReadError);
    if (masker != nullptr) masker->Mask(reinterpret_cast<char*>(chunk.Data()), count);
    GetStream()->Write(chunk.Data(), count);
    GetStreamError(err);
    left -= count;
  }
}

bool HbProtocolFile::WriteScreen(const String& screen, const Point& pos, bool autoCommitted,
                                 HbError& err) {
  if (!RequireOpen()) return false;
  Guard(err, [&] {
    if (autoCommitted) WriteLine(String(text::kAutoCommit), err);
    const auto number = [](long value) {
      return value < 10 ? "0" + std::to_string(value) : std::to_string(value);
    };
    WriteLine(JoinText(text::kPosition, number(pos.X()) + number(pos.Y())), err);
    WriteLine(String(text::kStartImage), err);
    WriteLine(screen, err);
    WriteLine(String(text::kEndImage), err);
    FlushBlock(err);
  });
  return !err.IsSet();
}

bool HbProtocolFile::WriteInfoLine(const String& line, HbError& err) {
  if (!RequireOpen()) return false;
  WriteLine(line, err);
  return FlushBlock(err);
}
