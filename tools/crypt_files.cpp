// Key files, standard input and complaints of `tmx crypt`.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tmxtools/platform/memory_stream.h"
#include "tools/crypt_command.h"
#include "tools/output.h"
#include "tools/progress.h"

namespace tmx::tools {
namespace {

// Key files are short; more is taken for a mistake.
constexpr std::size_t kLongestSecret = 1 << 16;

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::optional<std::uint8_t> HexDigit(std::uint8_t digit) {
  if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
  if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
  if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
  return std::nullopt;
}

// The bytes of `length` pairs of digits; nothing if there is anything else.
std::optional<SecretBytes> FromHex(const SecretBytes& digits, std::size_t length) {
  if (digits.size() != 2 * length) return std::nullopt;
  SecretBytes bytes(length);
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const auto digit = HexDigit(digits[i]);
    if (!digit) return std::nullopt;
    bytes[i / 2] = static_cast<std::uint8_t>(bytes[i / 2] << 4 | *digit);
  }
  return bytes;
}

void DropLineEnd(SecretBytes& bytes) {
  for (const char end : {'\n', '\r'}) {
    if (!bytes.empty() && bytes.back() == static_cast<std::uint8_t>(end)) bytes.pop_back();
  }
}

}  // namespace

SecretBytes ReadSecretFile(const std::string& option, const std::string& path) {
  const auto fail = [&](const std::string& why) {
    throw UnusableKey(option + " " + path + ": " + why);
  };
  const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
  if (!file) fail(std::strerror(errno));
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // no copy of the secret stays in a buffer
  SecretBytes bytes(kLongestSecret + 1);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get()) != 0) fail(std::strerror(errno));
  if (bytes.size() > kLongestSecret) fail("is too long for a key");
  return bytes;
}

SecretBytes ReadKeyFile(const std::string& option, const std::string& path, std::size_t length) {
  SecretBytes bytes = ReadSecretFile(option, path);
  if (bytes.size() == length) return bytes;
  DropLineEnd(bytes);
  auto key = FromHex(bytes, length);
  if (!key) {
    throw UnusableKey(option + " " + path + ": must hold " + std::to_string(2 * length) +
                      " hexadecimal digits or " + std::to_string(length) + " bytes");
  }
  return std::move(*key);
}

int Refuse(const std::string& file, const std::string& what) {
  std::fprintf(stderr, "tmx crypt: %s: %s\n", file.c_str(), what.c_str());
  return kRefused;
}

int Refuse(const std::string& file, const SvStream& stream) {
  HbError error;
  error.SetStreamState(stream);
  const std::uint32_t code = stream.GetError() & stream_error::CodeMask;
  return Refuse(file, std::to_string(error.GetCode()) + " (stream error " + std::to_string(code) +
                          "): " + ForOutput(error.GetText()->View()));
}

int Refuse(const std::string& file, const std::string& what, std::uint32_t stream_error) {
  SvMemoryStream stream;
  stream.SetError(stream_error);
  Refuse(file, what);
  return Refuse(file, stream);
}

int Refuse(const std::string& file, const HbError& error) {
  for (const HbError* cause = &error; cause != nullptr && cause->IsSet();
       cause = cause->GetPrev()) {
    std::string what =
        std::to_string(cause->GetCode()) + ": " + ForOutput(cause->GetText()->View());
    if (cause->GetParamText() != nullptr && cause->GetParamText()->Len() > 0) {
      what += " (" + ForOutput(cause->GetParamText()->View()) + ")";
    }
    Refuse(file, what);
  }
  return kRefused;
}

std::uint64_t InputSize() {
  struct stat info {};
  if (fstat(STDIN_FILENO, &info) != 0 || !S_ISREG(info.st_mode)) return 0;
  return static_cast<std::uint64_t>(info.st_size);
}

bool CopyInput(const std::string& name, SvStream& stream) {
  std::setvbuf(stdin, nullptr, _IONBF, 0);
  Progress progress("tmx crypt: " + name, InputSize());
  SecretBytes piece(kCryptPiece);
  while (const std::size_t length = std::fread(piece.data(), 1, piece.size(), stdin)) {
    if (stream.Write(piece.data(), length) != length) return false;
    progress.Advance(length);
  }
  if (std::ferror(stdin) != 0)
    return Refuse("standard input", std::strerror(errno), stream_error::ReadError), false;
  return true;
}

}  // namespace tmx::tools
