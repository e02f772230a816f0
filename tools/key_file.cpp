#include "tools/key_file.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace tmx::tools {
namespace {

// Key files are short; more is taken for a mistake, and for more than a text holds.
constexpr std::size_t kLongestSecret = String::MaxLen;

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
  const auto fail = [&](const std::string& why) { throw UnusableKey(option, path, why); };
  const auto fail_to_read = [&] { fail("cannot be read: " + std::string(std::strerror(errno))); };
  const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
  if (!file) fail_to_read();
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // no copy of the secret stays in a buffer
  SecretBytes bytes(kLongestSecret + 1);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get()) != 0) fail_to_read();
  if (bytes.empty()) fail("is empty");
  if (bytes.size() > kLongestSecret) fail("is too long for a key");
  return bytes;
}

SecretBytes ReadKeyFile(const std::string& option, const std::string& path, std::size_t length) {
  SecretBytes bytes = ReadSecretFile(option, path);
  if (bytes.size() == length) return bytes;
  DropLineEnd(bytes);
  auto key = FromHex(bytes, length);
  if (!key) {
    throw UnusableKey(option, path,
                      "must hold " + std::to_string(2 * length) + " hexadecimal digits or " +
                          std::to_string(length) + " bytes");
  }
  return std::move(*key);
}

String ReadLogKey(const std::string& option, const std::string& path) {
  SecretBytes key = ReadSecretFile(option, path);
  DropLineEnd(key);
  return String(std::string_view(reinterpret_cast<const char*>(key.data()), key.size()));
}

}  // namespace tmx::tools
