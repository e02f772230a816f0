// The stored form of a communication log, taken apart with plain OpenSSL calls and no code of the
// library, and the text of its blocks.
#pragma once

#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

namespace tmx::reference_log {

inline std::string Body(const std::string& name, const std::string& bytes, bool sent) {
  return "Start " + name + ";" + std::to_string(bytes.size()) + (sent ? ";1\n" : ";0\n") + bytes +
         "\nEnd " + name + "\n";
}
inline std::string Screen(const std::string& text, const std::string& position, bool committed) {
  return (committed ? "Decoder auto commited\n" : "") + ("Decoder Pos: " + position) +
         "\nStart Decoder Image\n" + text + "\nEnd Decoder Image\n";
}

inline std::string KeyOf(std::string text) {
  text.resize(16, '\0');
  return text;
}

// Two-key triple DES, CBC from a zero vector, without padding.
inline std::string Decrypt(const std::string& key, const std::string& cipher_text) {
  const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                           EVP_CIPHER_CTX_free);
  const auto bytes = [](const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
  };
  const unsigned char vector[8] = {};
  std::string text(cipher_text.size() + 16, '\0');
  int length = 0;
  EVP_DecryptInit_ex(context.get(), EVP_des_ede_cbc(), nullptr, bytes(key), vector);
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  EVP_DecryptUpdate(context.get(), reinterpret_cast<unsigned char*>(text.data()), &length,
                    bytes(cipher_text), static_cast<int>(cipher_text.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// The contents of a log's file, or nothing when it is not in good order.
inline std::optional<std::string> Contents(const std::string& file, const std::string& key_text) {
  if (file.size() < 26 || file[0] != 1 || file.size() % 8 != 2) return std::nullopt;
  const std::string session = Decrypt(KeyOf(key_text), file.substr(2, 16));
  std::string contents;
  for (std::size_t at = 18; at < file.size(); at += 24)
    contents += Decrypt(session, file.substr(at, 24));
  const char pad = contents.back();
  if (pad < 1 || pad > 8 || pad != file[1]) return std::nullopt;
  contents.resize(contents.size() - static_cast<std::size_t>(pad));
  return contents;
}

}  // namespace tmx::reference_log
