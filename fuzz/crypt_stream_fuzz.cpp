// Encrypted streams: arbitrary stored bytes, opened in each mode under fixed keys, must be refused
// or read, sought and changed like a plain text; what is written must be readable again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/crypt_stream.h"

namespace {

using namespace tmx;

constexpr unsigned char kSessionKey[] = "a session's key.";
constexpr unsigned char kWrappingKey[] = "WRAPPING keys do";

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

// A cipher that is none: the streams are what is looked at, and they need nothing but that it can
// be undone. A thousand times faster to set up than a real one, and random keys are always the
// same.
class ToyCrypto : public CryptoProvider {
 public:
  void NormaliseKeyHalf(std::uint8_t* half) const override {
    for (int i = 0; i < 8; ++i) half[i] |= 1;
  }
  std::unique_ptr<TripleDes> MakeTripleDes(const std::uint8_t* key) const override {
    return std::make_unique<Cipher>(key);
  }
  std::unique_ptr<AsymmetricKey> MakeAsymmetricKey(const std::uint8_t*, std::size_t,
                                                   AsymmetricUse) const override {
    return nullptr;
  }
  bool FillRandom(std::uint8_t* bytes, std::size_t count) const override {
    std::fill_n(bytes, count, std::uint8_t{0x5A});
    return true;
  }

 private:
  struct Cipher : TripleDes {
    explicit Cipher(const std::uint8_t* key) {
      for (std::size_t i = 0; i < BlockLength; ++i)
        changes_[i] = static_cast<std::uint8_t>(key[i] + 3 * key[i + BlockLength]);
    }
    void Block(CipherDirection direction, const std::uint8_t* in,
               std::uint8_t* out) const override {
      const int sign = direction == CipherDirection::Encrypt ? 1 : -1;
      for (std::size_t i = 0; i < BlockLength; ++i)
        out[i] = static_cast<std::uint8_t>(in[i] + sign * changes_[i]);
    }
    void Blocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                std::size_t count) const override {
      for (; count > 0; --count, in += BlockLength, out += BlockLength) Block(direction, in, out);
    }
    void ChainedBlocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                       std::size_t count) const override {
      for (; count > 0; --count, in += ChainedLength, out += ChainedLength) {
        DesBlock vector{};
        Cbc(*this, direction, vector, in, out, ChainedLength);
      }
    }
    DesBlock changes_{};
  };
};

class Stream : public HbCryptStream {
 public:
  explicit Stream(std::string_view stored) {
    inner.Write(stored.data(), stored.size());
    inner.Seek(0);
  }
  ~Stream() override { Close(); }

  bool OpenAs(unsigned short mode, bool with_session_key, bool with_wrapping_key) {
    return Init(nullptr, 0, with_session_key ? kSessionKey : nullptr, mode, &inner,
                with_wrapping_key ? kWrappingKey : nullptr) &&
           Open();
  }
  std::string ReadAll() {
    Seek(0);
    const std::size_t size = Size();
    // Only a read beyond the end meets what may be wrong there.
    std::string text(size + 32, '\0');
    text.resize(Read(text.data(), text.size()));
    Check(HasError() || text.size() == size, "the size is not that of what can be read");
    return text;
  }

  SvMemoryStream inner{1024};
};

// Carries out operations that the input's rest spells, on the stream and on a plain text.
void Change(Stream& stream, std::string& model, std::string_view program) {
  std::size_t at = stream.Seek(0);
  static const std::string filler(300, '#');
  while (program.size() >= 3) {
    const auto operand = static_cast<std::size_t>(static_cast<unsigned char>(program[1]) +
                                                  static_cast<unsigned char>(program[2]));
    switch (program[0] % 4) {
      case 0: {
        const std::string_view text = std::string_view(filler).substr(0, operand % 300);
        Check(stream.Write(text.data(), text.size()) == text.size(), "a write is cut short");
        model.replace(at, std::min(text.size(), model.size() - at), text);
        at += text.size();
        break;
      }
      case 1: {
        std::string text(operand, '\0');
        text.resize(stream.Read(text.data(), text.size()));
        Check(text == model.substr(at, operand), "a read gives other bytes");
        at += text.size();
        break;
      }
      case 2:
        at = std::min(operand, model.size());
        Check(stream.Seek(at) == at, "a seek ends elsewhere");
        break;
      case 3:
        stream.Flush();
        break;
    }
    if (stream.HasError()) return;
    program.remove_prefix(3);
  }
}

}  // namespace

// The first byte chooses mode and keys, the second the number of program bytes at the end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ToyCrypto toy;
  SetCrypto(&toy);
  if (size < 2) return 0;
  const unsigned choice = data[0];
  const std::size_t program_length = std::min<std::size_t>(data[1] % 64, size - 2);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view stored = input.substr(2, size - 2 - program_length);
  const auto options = static_cast<unsigned short>((choice & 7) << 13);
  const bool writes = (choice & 8) != 0;
  const auto mode = static_cast<unsigned short>(options | (writes ? 3 : 1));

  Stream stream(stored);
  const bool valid = stream.OpenAs(mode, writes || (choice & 16) != 0, (choice & 32) == 0);
  std::string text = stream.ReadAll();
  Check(valid || text.empty(), "an invalid stream gives bytes");
  if (!valid || stream.HasError()) {
    stream.ResetError();
    stream.Close();
    Check(valid || stream.inner.View() == stored, "an invalid stream was changed");
    return 0;
  }
  if (!writes) return 0;
  Change(stream, text, input.substr(size - program_length));
  stream.Flush();
  if (stream.HasError()) return 0;
  Stream again(stream.inner.View());
  if (again.OpenAs(mode, true, (choice & 32) == 0)) {
    Check(again.ReadAll() == text, "what was written reads differently");
  }
  return 0;
}
