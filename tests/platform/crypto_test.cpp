#include "tmxtools/platform/crypto.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <string>
#include <vector>

namespace {

using tmx::CipherDirection;
using Bytes = std::vector<std::uint8_t>;

const tmx::CryptoProvider& Crypto() { return tmx::CurrentCrypto(); }

Bytes FromHex(const std::string& hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

TEST(TripleDes, EncryptsThePublishedBlockAndBack) {
  // NIST SP 800-20, table A.4: with equal halves it is single DES.
  const Bytes key = FromHex("10316E028C8F3B4A10316E028C8F3B4A");
  const auto cipher = Crypto().MakeTripleDes(key.data());
  ASSERT_NE(cipher, nullptr);
  Bytes block(8, 0);
  cipher->Block(CipherDirection::Encrypt, block.data(), block.data());
  EXPECT_EQ(block, FromHex("82DCBAFBDEAB6602"));
  cipher->Block(CipherDirection::Decrypt, block.data(), block.data());
  EXPECT_EQ(block, Bytes(8, 0));
}

TEST(TripleDes, ChainsThreeBlocksFromAZeroVector) {
  const Bytes key = FromHex("0123456789ABCDEFFEDCBA9876543210");
  const auto cipher = Crypto().MakeTripleDes(key.data());
  Bytes plain(48);
  for (std::size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<std::uint8_t>(i * 7);
  Bytes chained(48);
  cipher->ChainedBlocks(CipherDirection::Encrypt, plain.data(), chained.data(), 2);
  for (std::size_t at = 0; at < 48; at += 24) {
    tmx::DesBlock vector{};
    Bytes alone(24);
    Cbc(*cipher, CipherDirection::Encrypt, vector, plain.data() + at, alone.data(), 24);
    EXPECT_EQ(alone, Bytes(chained.begin() + static_cast<long>(at),
                           chained.begin() + static_cast<long>(at) + 24));
  }
  cipher->ChainedBlocks(CipherDirection::Decrypt, chained.data(), chained.data(), 2);
  EXPECT_EQ(chained, plain);
}

TEST(Cbc, GoesOnWhereTheLastCallEnded) {
  const Bytes key = FromHex("0123456789ABCDEFFEDCBA9876543210");
  const auto cipher = Crypto().MakeTripleDes(key.data());
  const Bytes plain(32, 0x41);
  Bytes whole(32);
  tmx::DesBlock vector{1, 2, 3};
  Cbc(*cipher, CipherDirection::Encrypt, vector, plain.data(), whole.data(), 32);
  Bytes pieces(32);
  vector = {1, 2, 3};
  Cbc(*cipher, CipherDirection::Encrypt, vector, plain.data(), pieces.data(), 8);
  Cbc(*cipher, CipherDirection::Encrypt, vector, plain.data() + 8, pieces.data() + 8, 24);
  EXPECT_EQ(pieces, whole);
  vector = {1, 2, 3};
  Cbc(*cipher, CipherDirection::Decrypt, vector, whole.data(), whole.data(), 32);
  EXPECT_EQ(whole, plain);
}

TEST(CryptoProvider, NormalisingGivesEachByteOddParityInItsLowestBit) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    tmx::KeyHalf half;
    half.fill(static_cast<std::uint8_t>(byte));
    Crypto().NormaliseKeyHalf(half.data());
    EXPECT_EQ(half[0] >> 1, byte >> 1);
    EXPECT_EQ(__builtin_popcount(half[0]) % 2, 1);
    EXPECT_EQ(half[7], half[0]);
  }
}

TEST(CryptoProvider, RandomBytesDiffer) {
  Bytes first(16), second(16);
  ASSERT_TRUE(Crypto().FillRandom(first.data(), first.size()));
  ASSERT_TRUE(Crypto().FillRandom(second.data(), second.size()));
  EXPECT_NE(first, second);
}

class RsaKeys : public testing::Test {
 protected:
  RsaKeys() : key_(EVP_RSA_gen(1024)) {
    BIO* memory = BIO_new(BIO_s_mem());
    PEM_write_bio_PrivateKey(memory, key_, nullptr, nullptr, 0, nullptr, nullptr);
    private_pem_ = Take(memory);
    memory = BIO_new(BIO_s_mem());
    PEM_write_bio_PUBKEY(memory, key_);
    public_pem_ = Take(memory);
    memory = BIO_new(BIO_s_mem());
    i2d_PrivateKey_bio(memory, key_);
    private_der_ = Take(memory);
    memory = BIO_new(BIO_s_mem());
    PEM_write_bio_PrivateKey(memory, key_, EVP_aes_128_cbc(), nullptr, 0, nullptr,
                             const_cast<char*>("word"));
    locked_pem_ = Take(memory);
  }
  ~RsaKeys() override { EVP_PKEY_free(key_); }

  static std::unique_ptr<tmx::AsymmetricKey> Make(const std::string& bytes,
                                                  tmx::AsymmetricUse use) {
    return Crypto().MakeAsymmetricKey(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                      bytes.size(), use);
  }

  EVP_PKEY* key_;
  std::string private_pem_, public_pem_, private_der_, locked_pem_;

 private:
  static std::string Take(BIO* memory) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(memory, &data);
    std::string bytes(data, static_cast<std::size_t>(length));
    BIO_free(memory);
    return bytes;
  }
};

TEST_F(RsaKeys, BlocksAreAsLongAsTheModulusAndOpenToTheText) {
  const Bytes text(16, 0x5A);
  for (const std::string& bytes : {private_pem_, private_der_}) {
    const auto writer = Make(bytes, tmx::AsymmetricUse::Write);
    const auto reader = Make(bytes, tmx::AsymmetricUse::Read);
    ASSERT_NE(writer, nullptr);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(writer->BlockLength(), 128u);
    const auto block = writer->Forward(text.data(), text.size());
    ASSERT_TRUE(block);
    EXPECT_EQ(block->size(), 128u);
    const auto opened = reader->Inverse(block->data(), block->size());
    ASSERT_TRUE(opened);
    EXPECT_TRUE(std::equal(opened->begin(), opened->end(), text.begin(), text.end()));
  }
}

TEST_F(RsaKeys, APublicKeyWritesButDoesNotRead) {
  const auto writer = Make(public_pem_, tmx::AsymmetricUse::Write);
  ASSERT_NE(writer, nullptr);
  const auto block = writer->Forward(reinterpret_cast<const std::uint8_t*>("secret"), 6);
  ASSERT_TRUE(block);
  EXPECT_FALSE(writer->Inverse(block->data(), block->size()));
}

TEST_F(RsaKeys, ATextLongerThanABlockHoldsIsRefused) {
  const auto writer = Make(private_pem_, tmx::AsymmetricUse::Write);
  const Bytes text(128 - 10, 1);
  EXPECT_FALSE(writer->Forward(text.data(), text.size()));
  EXPECT_TRUE(writer->Forward(text.data(), 128 - 11));
}

TEST_F(RsaKeys, WhatIsNoKeyOrNeedsAPassphraseIsRefused) {
  for (const std::string& bytes :
       {std::string(), std::string("no key"), private_der_.substr(0, 40), locked_pem_})
    EXPECT_EQ(Make(bytes, tmx::AsymmetricUse::Read), nullptr);
}

}  // namespace
