// Encrypted streams beside OpenSSL's triple DES called block by block, as whoever reads the format
// without this library would do: each 24 bytes are one CBC run from a zero starting vector.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "bench/levels.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/crypt_stream.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kKey[16] = {1, 2, 4, 7, 8, 11, 13, 14, 16, 19, 21, 22, 25, 26, 28, 31};
constexpr std::size_t kBlock = 24;
constexpr std::size_t kLength = kBlock * 50000;
constexpr std::size_t kReadLength = 100;
constexpr unsigned short kWritable =
    tmx::stream_mode::Read | tmx::stream_mode::Write | tmx::crypt_mode::Encrypt;
constexpr unsigned short kReadable = tmx::stream_mode::Read | tmx::crypt_mode::Encrypt;

Bytes PlainBytes() {
  Bytes bytes(kLength);
  std::mt19937 random(1);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

class CryptStream : public HbCryptStream {
 public:
  CryptStream(SvStream& inner, unsigned short mode)
      : HbCryptStream(nullptr, 0, nullptr, mode, &inner, kKey) {
    Open();
  }
};

class OpenSsl {
 public:
  explicit OpenSsl(bool encrypts) : encrypts_(encrypts), context_(EVP_CIPHER_CTX_new()) {
    EVP_CipherInit_ex(context_, EVP_des_ede_cbc(), nullptr, kKey, kZero, encrypts);
    EVP_CIPHER_CTX_set_padding(context_, 0);
  }
  OpenSsl(const OpenSsl&) = delete;
  OpenSsl& operator=(const OpenSsl&) = delete;
  ~OpenSsl() { EVP_CIPHER_CTX_free(context_); }

  void Block(const unsigned char* in, unsigned char* out) {
    int length = 0;
    EVP_CipherInit_ex(context_, nullptr, nullptr, nullptr, kZero, encrypts_);
    EVP_CipherUpdate(context_, out, &length, in, kBlock);
  }

 private:
  static constexpr unsigned char kZero[8] = {};
  int encrypts_;
  EVP_CIPHER_CTX* context_;
};

void SetBytes(benchmark::State& state, std::size_t length) {
  state.SetBytesProcessed(static_cast<std::int64_t>(length) * state.iterations());
}

void Write_Ours(benchmark::State& state) {
  const Bytes plain = PlainBytes();
  SvMemoryStream stored(kLength + 1024);
  CryptStream stream(stored, kWritable);
  for (auto _ : state) {
    stream.Seek(0);
    if (stream.Write(plain.data(), plain.size()) != kLength) state.SkipWithError("not written");
    stream.Flush();
  }
  SetBytes(state, kLength);
}

void WriteBlocks(benchmark::State& state) {
  const Bytes plain = PlainBytes();
  Bytes stored(kLength);
  OpenSsl cipher(true);
  for (auto _ : state) {
    for (std::size_t at = 0; at < kLength; at += kBlock) cipher.Block(&plain[at], &stored[at]);
    benchmark::DoNotOptimize(stored.data());
  }
  SetBytes(state, kLength);
}

// A stream to be read.
void Fill(SvMemoryStream& stored) {
  CryptStream stream(stored, kWritable);
  const Bytes plain = PlainBytes();
  stream.Write(plain.data(), plain.size());
  stream.Flush();
}

void Read_Ours(benchmark::State& state) {
  SvMemoryStream stored;
  Fill(stored);
  CryptStream stream(stored, kReadable);
  Bytes plain(kLength);
  for (auto _ : state) {
    stream.Seek(0);
    if (stream.Read(plain.data(), plain.size()) != kLength) state.SkipWithError("not read");
    benchmark::DoNotOptimize(plain.data());
  }
  if (plain != PlainBytes()) state.SkipWithError("other bytes were read");
  SetBytes(state, kLength);
}

void ReadBlocks(benchmark::State& state) {
  const Bytes stored = PlainBytes();
  Bytes plain(kLength);
  OpenSsl cipher(false);
  for (auto _ : state) {
    for (std::size_t at = 0; at < kLength; at += kBlock) cipher.Block(&stored[at], &plain[at]);
    benchmark::DoNotOptimize(plain.data());
  }
  SetBytes(state, kLength);
}

// Positions that the processor cannot foresee.
std::vector<std::size_t> Positions() {
  std::mt19937 random(2);
  std::vector<std::size_t> positions(4096);
  for (std::size_t& position : positions) position = random() % (kLength - kReadLength);
  return positions;
}

void ReadRandom_Ours(benchmark::State& state) {
  SvMemoryStream stored;
  Fill(stored);
  CryptStream stream(stored, kReadable);
  const std::vector<std::size_t> positions = Positions();
  char plain[kReadLength];
  std::size_t next = 0;
  for (auto _ : state) {
    stream.Seek(positions[next++ % positions.size()]);
    if (stream.Read(plain, kReadLength) != kReadLength) state.SkipWithError("not read");
    benchmark::DoNotOptimize(plain);
  }
  SetBytes(state, kReadLength);
}

void ReadRandomBlocks(benchmark::State& state) {
  const Bytes stored = PlainBytes();
  const std::vector<std::size_t> positions = Positions();
  OpenSsl cipher(false);
  unsigned char plain[kReadLength + 2 * kBlock];
  std::size_t next = 0;
  for (auto _ : state) {
    const std::size_t at = positions[next++ % positions.size()];
    const std::size_t first = at / kBlock;
    const std::size_t last = (at + kReadLength - 1) / kBlock;
    for (std::size_t block = first; block <= last; ++block)
      cipher.Block(&stored[block * kBlock], plain + (block - first) * kBlock);
    benchmark::DoNotOptimize(plain);
  }
  SetBytes(state, kReadLength);
}

[[maybe_unused]] const bool kRegistered = [] {
  tmx::RegisterAtEachLevel("CryptWrite", Write_Ours, "OpenSsl", WriteBlocks);
  tmx::RegisterAtEachLevel("CryptRead", Read_Ours, "OpenSsl", ReadBlocks);
  tmx::RegisterAtEachLevel("CryptReadRandom", ReadRandom_Ours, "OpenSsl", ReadRandomBlocks);
  return true;
}();

}  // namespace
