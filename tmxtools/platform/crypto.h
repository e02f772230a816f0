// The seam to the crypto library: DES keys, two-key triple DES, asymmetric keys, random bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "tmxtools/platform/export.h"
#include "tmxtools/platform/secret.h"

namespace tmx {

using KeyHalf = std::array<std::uint8_t, 8>;
using DesBlock = std::array<std::uint8_t, 8>;

enum class CipherDirection { Encrypt, Decrypt };

// Two-key triple DES (encrypt, decrypt, encrypt; ANSI X9.52 keying option 2) under one 16-byte key.
// The destructor wipes the schedules. Threads: one at a time.
class TMX_EXPORT TripleDes {
 public:
  static constexpr std::size_t KeyLength = 16;
  static constexpr std::size_t BlockLength = 8;
  // Blocks of the encrypted streams: three DES blocks, chained (CBC) from a zero starting vector.
  static constexpr std::size_t ChainedLength = 24;

  virtual ~TripleDes() = default;
  // One block of 8 bytes; `in` and `out` may be the same.
  virtual void Block(CipherDirection direction, const std::uint8_t* in,
                     std::uint8_t* out) const = 0;
  // `count` blocks of 8 bytes, each on its own; `in` and `out` may be the same.
  virtual void Blocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                      std::size_t count) const = 0;
  // `count` chained blocks of 24 bytes each, independent of one another; `in` and `out` may be the
  // same. The result does not depend on how a caller cuts its data into calls.
  virtual void ChainedBlocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                             std::size_t count) const = 0;
};

// CBC over `length` bytes, a multiple of 8; the starting vector moves on to the last cipher block.
TMX_EXPORT void Cbc(const TripleDes& cipher, CipherDirection direction, DesBlock& vector,
                    const std::uint8_t* in, std::uint8_t* out, std::size_t length);

// An asymmetric key whose transforms turn short texts into blocks of one fixed length.
class TMX_EXPORT AsymmetricKey {
 public:
  virtual ~AsymmetricKey() = default;
  virtual std::size_t BlockLength() const = 0;
  // `text` as one block; nothing when the text is too long or the key cannot do it.
  virtual std::optional<SecretBytes> Forward(const std::uint8_t* text,
                                             std::size_t length) const = 0;
  // The text of one block that Forward() made; nothing when it is none.
  virtual std::optional<SecretBytes> Inverse(const std::uint8_t* block,
                                             std::size_t length) const = 0;
};

// Writing seals with the public half, so a public key is enough; reading opens with the private
// one.
enum class AsymmetricUse { Write, Read };

// What the library asks of a crypto library.
class TMX_EXPORT CryptoProvider {
 public:
  virtual ~CryptoProvider() = default;
  // Gives each byte odd parity, as DES keys have it.
  virtual void NormaliseKeyHalf(std::uint8_t* half) const = 0;
  // Null when the crypto library fails.
  virtual std::unique_ptr<TripleDes> MakeTripleDes(const std::uint8_t* key) const = 0;
  // From an RSA key in PEM or DER that no passphrase protects. Its blocks are as long as its
  // modulus and padded by PKCS #1 v1.5 (RFC 8017, 7.2), which leaves a text 11 bytes less. Null
  // when the bytes are no such key.
  virtual std::unique_ptr<AsymmetricKey> MakeAsymmetricKey(const std::uint8_t* bytes,
                                                           std::size_t length,
                                                           AsymmetricUse use) const = 0;
  virtual bool FillRandom(std::uint8_t* bytes, std::size_t count) const = 0;
};

// The provider in use; at first OpenSSL's libcrypto.
TMX_EXPORT const CryptoProvider& CurrentCrypto();
// Puts a provider in place that the caller keeps alive; null means OpenSSL's.
TMX_EXPORT const CryptoProvider* SetCrypto(const CryptoProvider* provider);

}  // namespace tmx
