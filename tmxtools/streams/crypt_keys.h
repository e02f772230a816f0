// The keys of an encrypted stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/secret.h"

namespace tmx {

using CryptKey = Secret<TripleDes::KeyLength>;

// What a caller hands to an encrypted stream; a null pointer means "none".
struct CryptKeysGiven {
  const std::uint8_t* key = nullptr;
  long key_length = 0;
  const std::uint8_t* session_key = nullptr;
  const std::uint8_t* key_encryption_key = nullptr;
};

// The session key, which encrypts the data, and the wrapping key, which encrypts session key and
// signature. The wrapping key is an asymmetric key if there is one, else a symmetric key.
//
// Owns copies of all keys and wipes them. Empty state: no keys. Threads: one at a time. Sets no
// codes: a false result is the caller's to report.
class CryptKeys {
 public:
  // Takes the keys of a caller in place of those before. A stream that is only read takes
  // `session_key` for the symmetric wrapping key and finds its session key in the file; others make
  // up a session key when none is given. False, and then nothing is changed, when a key cannot be
  // used or random bytes cannot be had.
  bool Prepare(const CryptKeysGiven& given, bool read_only);

  bool HasAsymmetric() const { return asymmetric_ != nullptr; }
  bool HasSymmetric() const { return wrapping_cipher_ != nullptr; }
  bool CanWrap() const { return HasAsymmetric() || HasSymmetric(); }

  // Chooses the symmetric wrapping key: as it was given but for parity, or adjusted, as streams
  // with the current magic use it. After a failure there is none.
  bool UseWrappingKey(bool adjusted);

  // The length of a wrapped text; needs CanWrap().
  std::size_t WrappedLength(std::size_t text_length) const;
  // Wraps a text into WrappedLength() bytes. False without a key and when the key cannot do it.
  bool Wrap(const std::uint8_t* text, std::size_t length, std::uint8_t* wrapped) const;
  // Unwraps what Wrap() made of a text of `length` bytes.
  bool Unwrap(const std::uint8_t* wrapped, std::uint8_t* text, std::size_t length) const;

  const CryptKey& Session() const { return *session_; }
  bool SetSession(const CryptKey& key);
  // The cipher of the session key; null without one.
  const TripleDes* DataCipher() const { return data_cipher_.get(); }

 private:
  bool Take(const CryptKeysGiven& given, bool read_only);

  std::unique_ptr<AsymmetricKey> asymmetric_;
  std::optional<CryptKey> given_wrapping_;
  std::unique_ptr<TripleDes> wrapping_cipher_;
  std::optional<CryptKey> session_;
  std::unique_ptr<TripleDes> data_cipher_;
};

}  // namespace tmx
