// RIPEMD-160 beside OpenSSL's: one long stream, and the chunks of 1000 bytes that signed streams
// consist of.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/levels.h"
#include "tmxtools/streams/ripemd160.h"

namespace {

constexpr std::size_t kChunk = 1000;
constexpr std::size_t kChunks = 1000;

const std::vector<unsigned char>& Data() {
  static const std::vector<unsigned char> data = [] {
    std::vector<unsigned char> bytes(kChunk * kChunks);
    std::uint32_t x = 1;
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>((x = x * 69069 + 5) >> 24);
    return bytes;
  }();
  return data;
}

class OpenSsl {
 public:
  OpenSsl() : context_(EVP_MD_CTX_new()), hash_(EVP_MD_fetch(nullptr, "RIPEMD160", nullptr)) {}
  OpenSsl(const OpenSsl&) = delete;
  OpenSsl& operator=(const OpenSsl&) = delete;
  ~OpenSsl() {
    EVP_MD_CTX_free(context_);
    EVP_MD_free(hash_);
  }
  void Hash(const unsigned char* bytes, std::size_t length, unsigned char* digest) {
    unsigned done = 0;
    EVP_DigestInit_ex2(context_, hash_, nullptr);
    EVP_DigestUpdate(context_, bytes, length);
    EVP_DigestFinal_ex(context_, digest, &done);
  }

 private:
  EVP_MD_CTX* context_;
  EVP_MD* hash_;
};

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(Data().size()) * state.iterations());
}

void HashStream_Ours(benchmark::State& state) {
  unsigned char digest[20];
  CiIterativeRipemd160Hasher hasher;
  for (auto _ : state) {
    hasher.HashBytes(Data().data(), Data().size(), true, true);
    hasher.GetHash(digest);
    benchmark::DoNotOptimize(digest);
  }
  SetBytes(state);
}
BENCHMARK(HashStream_Ours);

void HashStream_OpenSsl(benchmark::State& state) {
  unsigned char digest[20];
  OpenSsl hasher;
  for (auto _ : state) {
    hasher.Hash(Data().data(), Data().size(), digest);
    benchmark::DoNotOptimize(digest);
  }
  SetBytes(state);
}
BENCHMARK(HashStream_OpenSsl);

void HashChunks_Ours(benchmark::State& state) {
  std::vector<unsigned char> digests(20 * kChunks);
  for (auto _ : state) {
    tmx::HashChunks(Data().data(), kChunk, kChunks, digests.data());
    benchmark::DoNotOptimize(digests.data());
  }
  SetBytes(state);
}

void HashChunks_OpenSsl(benchmark::State& state) {
  std::vector<unsigned char> digests(20 * kChunks);
  OpenSsl hasher;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kChunks; ++i) {
      hasher.Hash(Data().data() + i * kChunk, kChunk, digests.data() + 20 * i);
    }
    benchmark::DoNotOptimize(digests.data());
  }
  SetBytes(state);
}

[[maybe_unused]] const bool kRegistered = [] {
  tmx::RegisterAtEachLevel("HashChunks", HashChunks_Ours, "OpenSsl", HashChunks_OpenSsl);
  return true;
}();

}  // namespace
