// Encrypted streams: arbitrary stored bytes, opened in each mode under fixed keys, must be refused
// or read, sought and changed like a plain text; what is written must be readable again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

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
    std::string text(Size(), '\0');
    text.resize(Read(text.data(), text.size()));
    return text;
  }

  SvMemoryStream inner{1024};
};

// Carries out operations that the input's rest spells, on the stream and on a plain text.
void Change(Stream& stream, std::string& model, std::string_view program) {
  std::size_t at = stream.Seek(0);
  const std::string filler(300, '#');
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
