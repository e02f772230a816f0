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
#include "tmxtools/platform/des_kernels.h"
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

// OpenSSL's cipher for a block or a few, the library's kernels for many.
class OpenSslTripleDes : public TripleDes {
 public:
  OpenSslTripleDes(CipherContext encrypt, CipherContext decrypt, const std::uint8_t* key)
      : encrypt_(std::move(encrypt)), decrypt_(std::move(decrypt)), schedules_(key) {}

  void Block(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out) const override {
    int length = 0;
    EVP_CipherUpdate(ContextFor(direction), out, &length, in, BlockLength);
  }

  void Blocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
              std::size_t count) const override {
    const des::Kernels& kernels = des::KernelsFor(CurrentCpuLevel());
    if (count >= kernels.fewest) return des::Blocks(kernels, schedules_, direction, in, out, count);
    for (; count != 0; --count, in += BlockLength, out += BlockLength) Block(direction, in, out);
  }

  void ChainedBlocks(CipherDirection direction, const std::uint8_t* in, std::uint8_t* out,
                     std::size_t count) const override {
    const des::Kernels& kernels = des::KernelsFor(CurrentCpuLevel());
    if (des::AtATime(direction, count) >= kernels.fewest)
      return des::ChainedBlocks(kernels, schedules_, direction, in, out, count);
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
  des::Schedules schedules_;
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
    return std::make_unique<OpenSslTripleDes>(std::move(encrypt), std::move(decrypt), key);
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

namespace {

// Each block needs the one before it encrypted.
void EncryptCbc(const TripleDes& cipher, DesBlock& vector, const std::uint8_t* in,
                std::uint8_t* out, std::size_t count) {
  for (; count != 0; --count, in += vector.size(), out += vector.size()) {
    for (std::size_t i = 0; i < vector.size(); ++i) vector[i] ^= in[i];
    cipher.Block(CipherDirection::Encrypt, vector.data(), vector.data());
    std::copy_n(vector.data(), vector.size(), out);
  }
}

void DecryptCbc(const TripleDes& cipher, DesBlock& vector, const std::uint8_t* in,
                std::uint8_t* out, std::size_t count) {
  constexpr std::size_t kAtATime = 256;
  std::array<std::uint8_t, kAtATime * sizeof(DesBlock)> plain;
  while (count != 0) {
    const std::size_t now = std::min(count, kAtATime);
    cipher.Blocks(CipherDirection::Decrypt, in, plain.data(), now);
    for (std::size_t at = 0; at < now * vector.size(); at += vector.size()) {
      // Taken before `out`, which may be `in`, is written.
      DesBlock block;
      std::copy_n(in + at, block.size(), block.data());
      for (std::size_t i = 0; i < block.size(); ++i) out[at + i] = plain[at + i] ^ vector[i];
      vector = block;
    }
    Wipe(plain.data(), now * vector.size());
    in += now * vector.size();
    out += now * vector.size();
    count -= now;
  }
}

}  // namespace

void Cbc(const TripleDes& cipher, CipherDirection direction, DesBlock& vector,
         const std::uint8_t* in, std::uint8_t* out, std::size_t length) {
  const auto run = direction == CipherDirection::Encrypt ? EncryptCbc : DecryptCbc;
  run(cipher, vector, in, out, length / sizeof(DesBlock));
}

}  // namespace tmx
