// Encrypted streams as they are stored, built and read with plain OpenSSL calls, for tests.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tmx::stored {

// How a stream is stored. Keys are 16 bytes as a caller gives them; an RSA key is in PEM.
struct Form {
  bool tagged = false;
  bool encrypted = false;
  bool is_signed = false;
  bool older_magic = false;
  std::string session_key;
  std::string wrapping_key;
  std::string rsa_key;  // replaces the wrapping key unless it is empty

  bool UsesRsa() const { return !rsa_key.empty(); }
};

// The bytes that a stream with this text has when it was flushed.
std::string Build(const Form& form, const std::string& text);
// The text of stored bytes; nothing when they do not fit the form, the padding or the signature.
// Of the form's keys only those are used that a reader has: the wrapping key or the RSA key.
std::optional<std::string> Parse(const Form& form, const std::string& bytes);

// Where the parts of stored bytes begin.
struct Layout {
  std::size_t signature = 0;
  std::size_t key_block_flag = 0;
  std::size_t pad_count = 0;
  std::size_t key_block = 0;
  std::size_t data = 0;
};
Layout LayoutOf(const Form& form);

// The published hash, but for the case that stored signatures leave out the last block.
std::string Ripemd160InPieces(const std::string& bytes);
// What the signature covers.
std::string RegionDigest(bool tagged, const std::string& region);
// The wrapping key that a stream with the current magic uses; tagged streams only.
std::string AdjustedKey(const std::string& given);

// A fresh RSA key, in PEM, private or public half.
struct RsaPair {
  std::string private_pem;
  std::string public_pem;
};
const RsaPair& TestRsaKey();

}  // namespace tmx::stored
