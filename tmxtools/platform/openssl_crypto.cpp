// The crypto provider over OpenSSL's libcrypto.
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/decoder.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <utility>

#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/secret.h"

namespace tmx {
namespace {

template <auto Free>
struct Releaser {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Releaser<EVP_CIPHER_CTX_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Releaser<EVP_PKEY_CTX_free>>;
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;

// The library's own default context: what the host's process configures for its OpenSSL, other
// providers say, does not change what a file can be read with.
CipherContext MakeContext(const std::uint8_t* key, CipherDirection direction) {
  CipherContext context(EVP_CIPHER_CTX_new());
  if (context == nullptr) return nullptr;
  const bool encrypts = direction == CipherDirection::Encrypt;
  if (EVP_CipherInit_ex2(context.get(), EVP_des_ede_ecb(), key, nullptr, encrypts ? 1 : 0,
                         nullptr) != 1)
    return nullptr;
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  return context;
}

class OpenSslTripleDes : public TripleDes {
 public:
  OpenSslTripleDes(CipherContext encrypt, CipherContext decrypt)
      : encrypt_(std::move(encrypt)), decrypt_(std::move(decrypt)) {}

  void Block(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out) const override {
    int length = 0;
    EVP_CipherUpdate(ContextFor(direction), out, &length, in, BlockLength);
  }

  void ChainedBlocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                     std::size_t count) const override {
    for (; count != 0; --count, in += ChainedLength, out += ChainedLength) {
      DesBlock zero{};
      Cbc(*this, direction, zero, in, out, ChainedLength);
    }
  }

 private:
  EVP_CIPHER_CTX* ContextFor(CipherDirection direction) const {
    return direction == CipherDirection::Encrypt ? encrypt_.get() : decrypt_.get();
  }

  CipherContext encrypt_;
  CipherContext decrypt_;
};

// RSA with the padding of PKCS #1 v1.5 (RFC 8017, block type 2): the public half makes blocks, the
// private half opens them.
class RsaKey : public AsymmetricKey {
 public:
  explicit RsaKey(Key key) : key_(std::move(key)) {}

  std::size_t BlockLength() const override {
    return static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
  }

  std::optional<SecretBytes> Forward(const std::uint8_t* text, std::size_t length) const override {
    return Transform(EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, text, length);
  }

  std::optional<SecretBytes> Inverse(const std::uint8_t* block, std::size_t length) const override {
    return Transform(EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, block, length);
  }

 private:
  template <class Init, class Run>
  std::optional<SecretBytes> Transform(Init init, Run run, const std::uint8_t* in,
                                       std::size_t in_length) const {
    const KeyContext context(EVP_PKEY_CTX_new(key_.get(), nullptr));
    std::size_t length = BlockLength();
    SecretBytes out(length);
    if (context == nullptr || init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1 ||
        run(context.get(), out.data(), &length, in, in_length) != 1)
      return std::nullopt;
    out.resize(length);
    return out;
  }

  Key key_;
};

class OpenSslCrypto : public CryptoProvider {
 public:
  void NormaliseKeyHalf(std::uint8_t* half) const override {
    for (std::size_t i = 0; i < sizeof(KeyHalf); ++i) {
      const auto without_parity = static_cast<std::uint8_t>(half[i] & 0xFE);
      const bool is_even = std::popcount(without_parity) % 2 == 0;
      half[i] = static_cast<std::uint8_t>(without_parity | (is_even ? 1 : 0));
    }
  }

  std::unique_ptr<TripleDes> MakeTripleDes(const std::uint8_t* key) const override {
    CipherContext encrypt = MakeContext(key, CipherDirection::Encrypt);
    CipherContext decrypt = MakeContext(key, CipherDirection::Decrypt);
    if (encrypt == nullptr || decrypt == nullptr) return nullptr;
    return std::make_unique<OpenSslTripleDes>(std::move(encrypt), std::move(decrypt));
  }

  std::unique_ptr<AsymmetricKey> MakeAsymmetricKey(const std::uint8_t* bytes, std::size_t length,
                                                   AsymmetricUse use) const override {
    // What seals can be done with the public half; what opens needs the private one.
    const int selection = use == AsymmetricUse::Read ? EVP_PKEY_KEYPAIR : 0;
    EVP_PKEY* decoded = nullptr;
    const std::unique_ptr<OSSL_DECODER_CTX, Releaser<OSSL_DECODER_CTX_free>> decoder(
        OSSL_DECODER_CTX_new_for_pkey(&decoded, nullptr, nullptr, "RSA", selection, nullptr,
                                      nullptr));
    if (decoder == nullptr) return nullptr;
    // Without a passphrase a key file that needs one is refused instead of asking on the terminal.
    OSSL_DECODER_CTX_set_passphrase(decoder.get(), reinterpret_cast<const unsigned char*>(""), 0);
    const unsigned char* at = bytes;
    const bool done = OSSL_DECODER_from_data(decoder.get(), &at, &length) == 1;
    Key key(decoded);
    if (!done || key == nullptr) return nullptr;
    return std::make_unique<RsaKey>(std::move(key));
  }

  bool FillRandom(std::uint8_t* bytes, std::size_t count) const override {
    return RAND_bytes(bytes, static_cast<int>(count)) == 1;
  }
};

std::atomic<const CryptoProvider*> current_provider{nullptr};

}  // namespace

void Wipe(void* bytes, std::size_t count) { OPENSSL_cleanse(bytes, count); }

const CryptoProvider& CurrentCrypto() {
  static const OpenSslCrypto openssl;
  const CryptoProvider* const provider = current_provider.load();
  return provider == nullptr ? openssl : *provider;
}

const CryptoProvider* SetCrypto(const CryptoProvider* provider) {
  return current_provider.exchange(provider);
}

void Cbc(const TripleDes& cipher, CipherDirection direction, DesBlock& vector,
         const std::uint8_t* in, std::uint8_t* out, std::size_t length) {
  for (; length >= sizeof(DesBlock); length -= sizeof(DesBlock)) {
    DesBlock block;
    std::copy_n(in, block.size(), block.data());
    if (direction == CipherDirection::Encrypt) {
      for (std::size_t i = 0; i < block.size(); ++i) block[i] ^= vector[i];
      cipher.Block(direction, block.data(), block.data());
      vector = block;
    } else {
      DesBlock plain;
      cipher.Block(direction, block.data(), plain.data());
      for (std::size_t i = 0; i < plain.size(); ++i) plain[i] ^= vector[i];
      vector = std::exchange(block, plain);
      Wipe(plain.data(), plain.size());
    }
    std::copy_n(block.data(), block.size(), out);
    in += sizeof(DesBlock);
    out += sizeof(DesBlock);
  }
}

}  // namespace tmx
