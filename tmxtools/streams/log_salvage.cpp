#include "tmxtools/streams/log_salvage.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "tmxtools/platform/file_stream.h"
#include "tmxtools/platform/secret.h"
#include "tmxtools/streams/file.h"
#include "tmxtools/streams/log_blocks.h"
#include "tmxtools/streams/log_key.h"
#include "tmxtools/streams/log_text.h"
#include "tmxtools/streams/protocol_file_errors.h"

namespace tmx {
namespace {

// What stands before the data: a flag, the pad count, the session key.
constexpr std::size_t kKeyOffset = 2;
constexpr std::uint32_t kDataOffset = kKeyOffset + TripleDes::KeyLength;
constexpr char kHasKey = 1;

std::unique_ptr<TripleDes> MakeCipher(LogKey key) {
  const CryptoProvider& crypto = CurrentCrypto();
  crypto.NormaliseKeyHalf(key.Data());
  crypto.NormaliseKeyHalf(key.Data() + 8);
  return crypto.MakeTripleDes(key.Data());
}

// The decrypted contents of a log, without a look at its padding. Read only.
class CutContents : public SvStream {
 public:
  // The session key is unwrapped with the log's key; Cipher() tells whether that went well.
  CutContents(SvStream& file, const LogKey& key) : file_(file) {
    const unsigned long size = file.Size();
    if (size < kDataOffset) return;
    const auto length = static_cast<std::uint32_t>(size - kDataOffset);
    size_ = length - length % std::uint32_t{TripleDes::BlockLength};
    std::array<char, kKeyOffset> head{};
    LogKey session;
    file.Seek(0);
    file.Read(head.data(), head.size());
    file.Read(session.Data(), LogKey::Size());
    const std::unique_ptr<TripleDes> wrapping = MakeCipher(key);
    if (file.HasError() || head[0] != kHasKey || wrapping == nullptr) return;
    DesBlock vector{};
    Cbc(*wrapping, CipherDirection::Decrypt, vector, session.Data(), session.Data(),
        LogKey::Size());
    cipher_ = MakeCipher(session);
  }
  bool HasCipher() const { return cipher_ != nullptr; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    unsigned long done = 0;
    while (done < count && at_ < size_ && Load()) {
      const std::uint32_t offset = at_ - base_;
      const auto part = static_cast<std::uint32_t>(std::min<unsigned long>(
          count - done, std::min<std::uint32_t>(kWindow, size_ - base_) - offset));
      std::copy_n(window_.Data() + offset, part, data + done);
      done += part;
      at_ += part;
    }
    return done;
  }
  unsigned long PutData(const char*, unsigned long) override {
    SetError(stream_error::AccessDenied);
    return 0;
  }
  unsigned long SeekPos(unsigned long position) override {
    at_ = static_cast<std::uint32_t>(std::min<unsigned long>(position, size_));
    return at_;
  }
  void SetSize(unsigned long) override { SetError(stream_error::AccessDenied); }
  void FlushData() override {}

 private:
  static constexpr std::uint32_t kWindow = TripleDes::ChainedLength * 256;
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  // Decrypts the window around the position.
  bool Load() {
    const std::uint32_t base = at_ / kWindow * kWindow;
    if (base == base_) return true;
    const std::uint32_t count = std::min(kWindow, size_ - base);
    file_.Seek(kDataOffset + base);
    if (file_.Read(window_.Data(), count) != count && !file_.HasError())
      file_.SetError(stream_error::ReadError);
    SetError(file_.GetError());
    if (HasError()) return false;
    std::uint8_t* const bytes = window_.Data();
    const std::uint32_t rest = count % TripleDes::ChainedLength;
    cipher_->ChainedBlocks(CipherDirection::Decrypt, bytes, bytes,
                           count / TripleDes::ChainedLength);
    DesBlock vector{};
    std::uint8_t* const last = bytes + count - rest;
    Cbc(*cipher_, CipherDirection::Decrypt, vector, last, last, rest);
    base_ = base;
    return true;
  }

  SvStream& file_;
  std::unique_ptr<TripleDes> cipher_;
  std::uint32_t size_ = 0;
  std::uint32_t at_ = 0;
  std::uint32_t base_ = kNone;
  Secret<kWindow> window_;
};

bool Copy(SvStream& from, const LogBlock& block, SvStream& to) {
  Secret<4096> buffer;
  from.Seek(block.begin);
  for (std::uint32_t left = block.end - block.begin; left != 0;) {
    const unsigned long count =
        from.Read(buffer.Data(), std::min<std::size_t>(left, buffer.Size()));
    if (count == 0 || from.HasError()) return false;
    to.Write(buffer.Data(), count);
    left -= static_cast<std::uint32_t>(count);
  }
  return !to.HasError();
}

bool IsLog(SvStream& contents) {
  LineReader lines(contents);
  return lines.Next() && lines.Contains(log_text::kDate);
}

void Salvage(SvFileStream& file, const String& saved, const LogKey& key, SalvageReport& report,
             HbError& err) {
  const auto fail = [&](unsigned short code) { err.SetError(code, file.GetFileName()); };
  const auto note_error = [&](const SvStream& stream) {
    HbError state;
    state.SetStreamState(stream);
    if (state.IsSet()) fail(state.GetCode());
    return state.IsSet();
  };
  if (note_error(file)) return;
  CutContents contents(file, key);
  if (note_error(file)) return;
  if (!contents.HasCipher() || !IsLog(contents)) {
    if (!note_error(contents)) fail(kNotALog);
    return;
  }
  constexpr unsigned short mode = stream_mode::Write | stream_mode::Truncate | 0x4000;
  HbFile result;
  if (!result.Open(err, saved, mode, nullptr, 0, key.Data(), key.Data())) return;
  LogBlocks blocks(contents);
  while (blocks.Next()) {
    const LogBlock& block = blocks.Block();
    if (!block.is_whole) continue;
    if (!Copy(contents, block, *result.GetStream())) break;
    ++report.blocks;
    report.saved += block.end - block.begin;
  }
  report.lost = static_cast<std::uint32_t>(contents.Size()) - report.saved;
  if (note_error(contents)) return;
  result.GetStream()->Flush();
  result.GetStreamError(err);
}

}  // namespace

bool SalvageLog(const String& damaged, const String& saved, const String& key,
                SalvageReport& report, HbError& err) {
  report = {};
  try {
    // Denying to write keeps `saved` from being the same file.
    SvFileStream file(damaged, stream_mode::Read | stream_mode::DenyWrite);
    Salvage(file, saved, MakeLogKey(key), report, err);
  } catch (const std::bad_alloc&) {
    err.SetError(kOutOfMemory, damaged);
  }
  return !err.IsSet();
}

}  // namespace tmx
