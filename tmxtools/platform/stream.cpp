#include "tmxtools/platform/stream.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <stdexcept>
#include <string_view>

#include "tmxtools/platform/secret.h"

namespace {

#ifdef _WIN32
constexpr std::string_view kLineEnd = "\r\n";
#else
constexpr std::string_view kLineEnd = "\n";
#endif

bool IsLineEnd(char c) { return c == '\n' || c == '\r'; }

// What is read of a stream at a time, which may be an encrypted one. Only as much is wiped as was
// used, since most lines are short.
class Piece {
 public:
  Piece() = default;
  ~Piece() { tmx::Wipe(bytes_.data(), used_); }
  Piece(const Piece&) = delete;
  Piece& operator=(const Piece&) = delete;

  static constexpr std::size_t kMaxSize = 4096;
  std::string_view Fill(SvStream& stream, std::size_t size) {
    const unsigned long done = stream.Read(bytes_.data(), size);
    used_ = std::max<std::size_t>(used_, done);
    return {bytes_.data(), done};
  }

 private:
  std::array<char, kMaxSize> bytes_;
  std::size_t used_ = 0;
};

}  // namespace

// Runs an operation unless an error stands, and turns what it throws into an error.
template <class Operation>
void SvStream::Guard(Operation operation) {
  if (HasError()) return;
  try {
    operation();
  } catch (const std::bad_alloc&) {
    SetError(tmx::stream_error::OutOfMemory);
  } catch (const std::length_error&) {
    SetError(tmx::stream_error::InvalidParameter);
  }
}

unsigned long SvStream::Read(void* data, unsigned long count) {
  unsigned long done = 0;
  Guard([&] {
    const unsigned long asked = std::min(count, MaxSize - std::min(position_, MaxSize));
    if (asked > 0) done = GetData(static_cast<char*>(data), asked);
    position_ += done;
    is_eof_ = done < count && !HasError();
  });
  return done;
}

unsigned long SvStream::Write(const void* data, unsigned long count) {
  unsigned long done = 0;
  Guard([&] {
    if (count == 0) return;
    if (position_ > MaxSize || count > MaxSize - position_) {
      SetError(tmx::stream_error::InvalidParameter);
      return;
    }
    done = PutData(static_cast<const char*>(data), count);
    position_ += done;
  });
  return done;
}

unsigned long SvStream::Seek(unsigned long position) {
  Guard([&] {
    if (position > SeekToEnd) {
      SetError(tmx::stream_error::InvalidParameter);
      return;
    }
    position_ = SeekPos(position);
    is_eof_ = false;
  });
  return position_;
}

unsigned long SvStream::Size() {
  unsigned long size = 0;
  Guard([&] {
    size = SeekPos(SeekToEnd);
    SeekPos(position_);
  });
  return size;
}

void SvStream::Flush() {
  Guard([&] { FlushData(); });
}

void SvStream::Sync() {
  Guard([&] { SyncData(); });
}

bool SvStream::SetStreamSize(unsigned long size) {
  Guard([&] {
    if (size > MaxSize) {
      SetError(tmx::stream_error::InvalidParameter);
    } else {
      SetSize(size);
    }
  });
  return !HasError();
}

bool SvStream::ReadLine(String& line) {
  line.Clear();
  const unsigned long start = position_;
  Guard([&] { ReadLineInto(line); });
  if (HasError()) line.Clear();
  return !HasError() && position_ > start;
}

// The text gets all of a line at once, so that no piece of it stays behind where the text grows.
void SvStream::ReadLineInto(String& line) {
  Piece buffer;
  tmx::SecretText begun;  // what came before the last piece
  const std::size_t step = std::clamp<std::size_t>(buffer_size_, 1, Piece::kMaxSize);
  unsigned long end = position_;  // of what belongs to the line
  for (;;) {
    const std::string_view piece = buffer.Fill(*this, step);
    const char* const line_end = std::ranges::find_if(piece, IsLineEnd);
    const auto length = static_cast<std::size_t>(line_end - piece.begin());
    end += length;
    const bool is_last = piece.empty() || length != piece.size();
    if (begun.IsEmpty() && is_last) {
      line.Assign(piece.substr(0, length));
    } else {
      if (begun.Size() + length > String::MaxLen) throw std::length_error("a line");
      begun.Append(piece.substr(0, length));
      if (is_last) line.Assign(begun.View());
    }
    if (piece.empty()) break;
    if (!is_last) continue;
    ++end;
    if (piece[length] == '\n') break;
    char next = length + 1 < piece.size() ? piece[length + 1] : '\0';
    if (length + 1 == piece.size()) Read(&next, 1);
    if (next == '\n') ++end;
    break;
  }
  if (position_ != end) Seek(end);
}

bool SvStream::WriteLine(const String& line) {
  unsigned long done = 0;
  Guard([&] {
    // One piece, so that it is one write below; of a plain text that may become an encrypted one.
    tmx::SecretText bytes;
    bytes.Reserve(line.Len() + kLineEnd.size());
    bytes.Append(line.View());
    bytes.Append(kLineEnd);
    done = Write(bytes.View().data(), bytes.Size());
  });
  return done == line.Len() + kLineEnd.size();
}

SvStream& SvStream::operator<<(std::uint32_t number) {
  const unsigned char bytes[4] = {
      static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8),
      static_cast<unsigned char>(number >> 16), static_cast<unsigned char>(number >> 24)};
  Write(bytes, sizeof(bytes));
  return *this;
}

SvStream& SvStream::operator>>(std::uint32_t& number) {
  unsigned char bytes[4];
  number = 0;
  if (Read(bytes, sizeof(bytes)) == sizeof(bytes)) {
    number = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
             static_cast<std::uint32_t>(bytes[2]) << 16 |
             static_cast<std::uint32_t>(bytes[3]) << 24;
  }
  return *this;
}

void SvStream::WriteDec(std::int32_t number) {
  const String text = String::FromInt(number);
  Write(text.Data(), text.Len());
}

void SvStream::WriteDec(double number) {
  char text[32];
  const std::to_chars_result result = std::to_chars(text, text + sizeof(text), number);
  Write(text, static_cast<unsigned long>(result.ptr - text));
}

void SvStream::SetError(std::uint32_t error) {
  using namespace tmx::stream_error;
  if ((error & CodeMask) == 0) return;
  const bool only_warned = (error_ & WarningBit) != 0 && (error & WarningBit) == 0;
  if (error_ == None || only_warned) error_ = error;
}

void SvStream::ResetError() { error_ = tmx::stream_error::None; }
