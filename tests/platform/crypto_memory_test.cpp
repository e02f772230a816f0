// What ciphers and keys leave in the memory of libcrypto, which takes and gives back its own.
#include <gtest/gtest.h>
#include <malloc.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/encoder.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/variables/failing_memory.h"
#include "tmxtools/platform/crypto.h"

namespace tmx {
namespace {

WatchedMemory* watch = nullptr;

void* Allocate(std::size_t size, const char*, int) {
  void* const memory = std::malloc(std::max<std::size_t>(size, 1));
  if (watch != nullptr && memory != nullptr) std::memset(memory, 0, malloc_usable_size(memory));
  return memory;
}
void Free(void* memory, const char*, int) {
  if (watch != nullptr && memory != nullptr) watch->Look(memory);
  std::free(memory);
}
void* Reallocate(void* memory, std::size_t size, const char* file, int line) {
  if (watch == nullptr) return std::realloc(memory, size);
  void* const moved = size == 0 ? nullptr : Allocate(size, file, line);
  if (moved != nullptr && memory != nullptr)
    std::memcpy(moved, memory, std::min(size, malloc_usable_size(memory)));
  Free(memory, file, line);
  return moved;
}

// Only before its first allocation does libcrypto take other functions.
const bool is_watched = CRYPTO_set_mem_functions(Allocate, Reallocate, Free) == 1;

struct Seen {
  std::size_t given, leaked;
};
template <class Operation>
Seen Watch(const std::vector<std::string>& secrets, Operation operation) {
  WatchedMemory watched(secrets);
  watch = &watched;
  operation();
  watch = nullptr;
  return {watched.Given(), watched.Leaked()};
}

const std::uint8_t* BytesOf(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

TEST(CryptoMemory, IsSearched) {
  ASSERT_TRUE(is_watched);
  const std::string secret = "a secret for all to see";
  const Seen seen = Watch({"a secret"}, [&] {
    void* const memory = OPENSSL_malloc(100);
    std::memcpy(memory, secret.data(), secret.size());
    OPENSSL_free(memory);
  });
  EXPECT_EQ(seen.given, 1u);
  EXPECT_EQ(seen.leaked, 1u);
}

TEST(CryptoMemory, ACipherLeavesNothing) {
  ASSERT_TRUE(is_watched);
  const std::string key = "0123456789abcdef";
  const std::string plain = "Ein Text, der geheim ist";  // 24 bytes
  const Seen seen =
      Watch({key.substr(0, 8), key.substr(8), plain.substr(0, 8), plain.substr(8, 8)}, [&] {
        const std::unique_ptr<TripleDes> cipher = CurrentCrypto().MakeTripleDes(BytesOf(key));
        std::uint8_t bytes[24];
        for (const std::size_t count : {1u, 3u})
          cipher->Blocks(CipherDirection::Encrypt, BytesOf(plain), bytes, count);
        cipher->ChainedBlocks(CipherDirection::Encrypt, BytesOf(plain), bytes, 1);
        cipher->ChainedBlocks(CipherDirection::Decrypt, bytes, bytes, 1);
      });
  EXPECT_GT(seen.given, 1u);
  EXPECT_EQ(seen.leaked, 0u);
}

// A private key in PEM and what of it must stay secret, as it stands in encodings and in numbers.
struct PrivateKey {
  PrivateKey() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_RSA_gen(1024), EVP_PKEY_free);
    const std::unique_ptr<OSSL_ENCODER_CTX, decltype(&OSSL_ENCODER_CTX_free)> encoder(
        OSSL_ENCODER_CTX_new_for_pkey(key.get(), EVP_PKEY_KEYPAIR, "PEM", "PrivateKeyInfo",
                                      nullptr),
        OSSL_ENCODER_CTX_free);
    unsigned char* bytes = nullptr;
    std::size_t length = 0;
    OSSL_ENCODER_to_data(encoder.get(), &bytes, &length);
    pem.assign(reinterpret_cast<const char*>(bytes), length);
    OPENSSL_free(bytes);
    for (const char* const name :
         {OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2,
          OSSL_PKEY_PARAM_RSA_EXPONENT1, OSSL_PKEY_PARAM_RSA_COEFFICIENT1}) {
      BIGNUM* number = nullptr;
      EVP_PKEY_get_bn_param(key.get(), name, &number);
      std::string value(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
      BN_bn2bin(number, reinterpret_cast<unsigned char*>(value.data()));
      BN_clear_free(number);
      secrets.push_back(value.substr(8, 16));
      std::reverse(value.begin(), value.end());
      secrets.push_back(value.substr(8, 16));
    }
  }
  std::string pem;
  std::vector<std::string> secrets;
};

// While it decodes a key, libcrypto 3.0 gives back copies of the encoding without clearing them;
// the threat model says so. What is shown here begins behind that.
TEST(CryptoMemory, AnRsaKeyLeavesNothingOnceItIsDecoded) {
  ASSERT_TRUE(is_watched);
  const PrivateKey key;
  const std::string text = "a session's key.";
  std::vector<std::string> secrets = key.secrets;
  secrets.push_back(text);
  std::unique_ptr<AsymmetricKey> rsa =
      CurrentCrypto().MakeAsymmetricKey(BytesOf(key.pem), key.pem.size(), AsymmetricUse::Read);
  ASSERT_NE(rsa, nullptr);
  bool is_same = false;
  const Seen seen = Watch(secrets, [&] {
    const auto block = rsa->Forward(BytesOf(text), text.size());
    const auto opened = rsa->Inverse(block->data(), block->size());
    is_same = opened && std::equal(opened->begin(), opened->end(), text.begin(), text.end());
    rsa.reset();
  });
  EXPECT_TRUE(is_same);
  EXPECT_GT(seen.given, 20u);
  EXPECT_EQ(seen.leaked, 0u);
}

}  // namespace
}  // namespace tmx
