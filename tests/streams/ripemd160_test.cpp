#include "tmxtools/streams/ripemd160.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// The peer's functions that let its state be seen are old ones.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/ripemd.h>

#include "tmxtools/platform/cpu_features.h"
#include "tmxtools/platform/memory_stream.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Digest = std::array<unsigned char, 20>;

std::string Hex(const Digest& digest) {
  std::string text;
  for (const unsigned char byte : digest) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", byte);
    text += digits;
  }
  return text;
}

Bytes RandomBytes(std::size_t length) {
  std::mt19937 random(static_cast<unsigned>(length) + 1);
  Bytes bytes(length);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// ---- the peer ---------------------------------------------------------------------------------

Digest StandardHash(const unsigned char* bytes, std::size_t length) {
  Digest digest;
  RIPEMD160(bytes, length, digest.data());
  return digest;
}

// The state after whole blocks, without padding.
Digest StateAfter(const unsigned char* bytes, std::size_t length,
                  const std::array<unsigned, 5>* init_value = nullptr) {
  EXPECT_EQ(length % 64, 0u);
  RIPEMD160_CTX context;
  RIPEMD160_Init(&context);
  if (init_value != nullptr) {
    context.A = (*init_value)[0];
    context.B = (*init_value)[1];
    context.C = (*init_value)[2];
    context.D = (*init_value)[3];
    context.E = (*init_value)[4];
  }
  RIPEMD160_Update(&context, bytes, length);
  Digest digest;
  std::size_t at = 0;
  for (const unsigned word : {context.A, context.B, context.C, context.D, context.E}) {
    for (int i = 0; i < 4; ++i) digest[at++] = static_cast<unsigned char>(word >> 8 * i);
  }
  return digest;
}

// What bytes fed in pieces hash to: the standard's value, unless the length leaves a last piece
// that is short and the seventh of its block; then the last block is missing.
Digest HashOfPieces(const unsigned char* bytes, std::size_t length) {
  const std::size_t in_block = length % 64;
  if (in_block >= 49 && in_block <= 55) return StateAfter(bytes, length - in_block);
  return StandardHash(bytes, length);
}
Digest HashOfPieces(const Bytes& bytes) { return HashOfPieces(bytes.data(), bytes.size()); }

// ---- the hasher -------------------------------------------------------------------------------

Digest Result(const CiIterativeRipemd160Hasher& hasher) {
  Digest digest;
  hasher.GetHash(digest.data());
  return digest;
}

// Feeds bytes from a position on to the end, piece by piece.
void FeedPieces(CiIterativeRipemd160Hasher& hasher, const Bytes& bytes, std::size_t from = 0) {
  std::size_t at = from;
  do {
    const std::size_t length = std::min<std::size_t>(8, bytes.size() - at);
    const Bytes piece(bytes.begin() + static_cast<long>(at),
                      bytes.begin() + static_cast<long>(at + length));
    hasher.HashBlock(piece.data(), at == 0, at + length == bytes.size(),
                     static_cast<unsigned short>(length));
    at += length;
  } while (at < bytes.size());
}

Digest InPieces(const Bytes& bytes) {
  CiIterativeRipemd160Hasher hasher;
  FeedPieces(hasher, bytes);
  return Result(hasher);
}

Digest OfStream(CiRipemd160Hasher& hasher, SvStream& stream, bool pad) {
  Digest digest;
  hasher.CalcHash(stream, digest.data(), pad);
  return digest;
}

void Put(SvStream& stream, const Bytes& bytes) {
  stream.Write(bytes.data(), bytes.size());
  stream.Seek(0);
}

struct Vector {
  Bytes bytes;
  std::string hash;
};

std::vector<Vector> PublishedVectors() {
  std::ifstream file(TMX_SOURCE_DIR "/tests/vectors/ripemd160.txt");
  std::vector<Vector> vectors;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream fields(line);
    int times = 0;
    std::string text, hash, all;
    fields >> times >> std::quoted(text) >> hash;
    for (int i = 0; i < times; ++i) all += text;
    vectors.push_back({BytesOf(all), hash});
  }
  return vectors;
}

TEST(Ripemd160, GivesThePublishedHashes) {
  const std::vector<Vector> vectors = PublishedVectors();
  ASSERT_EQ(vectors.size(), 9u);
  for (const Vector& vector : vectors) {
    SvMemoryStream stream;
    Put(stream, vector.bytes);
    CiRipemd160Hasher hasher;
    EXPECT_EQ(Hex(OfStream(hasher, stream, true)), vector.hash);
    EXPECT_EQ(Hex(InPieces(vector.bytes)), vector.hash);
    EXPECT_EQ(Hex(StandardHash(vector.bytes.data(), vector.bytes.size())), vector.hash);
  }
}

TEST(Ripemd160, PaddedStreamsOfEveryLengthHashAsThePeerSays) {
  CiRipemd160Hasher hasher;
  for (std::size_t length = 0; length <= 300; ++length) {
    const Bytes bytes = RandomBytes(length);
    SvMemoryStream stream;
    Put(stream, bytes);
    EXPECT_EQ(OfStream(hasher, stream, true), StandardHash(bytes.data(), length)) << length;
  }
}

TEST(Ripemd160, PaddingGrowsTheStreamBy9To72BytesToWholeBlocks) {
  unsigned long least = 1000, most = 0;
  for (unsigned long length = 0; length <= 300; ++length) {
    const Bytes bytes = RandomBytes(length);
    SvMemoryStream stream;
    Put(stream, bytes);
    CiRipemd160Hasher hasher;
    OfStream(hasher, stream, true);
    const unsigned long growth = stream.Size() - length;
    EXPECT_EQ((length + growth) % 64, 0u) << length;
    least = std::min(least, growth);
    most = std::max(most, growth);

    std::string expected(bytes.begin(), bytes.end());
    expected += '\x80';
    expected.append(growth - 9, '\0');
    for (int i = 0; i < 8; ++i) expected += static_cast<char>(length * 8 >> 8 * i);
    EXPECT_EQ(stream.View(), expected) << length;
  }
  EXPECT_EQ(least, 9u);
  EXPECT_EQ(most, 72u);
}

TEST(Ripemd160, WithoutPaddingAShortLastBlockIsFilledWithZeroBytes) {
  CiRipemd160Hasher hasher;
  for (const std::size_t length : {0u, 1u, 63u, 64u, 65u, 128u, 300u, 4096u, 4097u, 10000u}) {
    const Bytes bytes = RandomBytes(length);
    Bytes filled = bytes;
    filled.resize((length + 63) / 64 * 64);
    SvMemoryStream stream;
    Put(stream, bytes);
    EXPECT_EQ(OfStream(hasher, stream, false), StateAfter(filled.data(), filled.size())) << length;
    EXPECT_EQ(stream.Size(), length);
    EXPECT_EQ(stream.Tell(), length);
  }
}

TEST(Ripemd160, HashesFromThePositionButPadsForTheWholeStream) {
  Bytes bytes = RandomBytes(200);
  SvMemoryStream stream;
  Put(stream, bytes);
  stream.Seek(64);
  CiRipemd160Hasher hasher;
  const Digest digest = OfStream(hasher, stream, true);
  bytes.push_back(0x80);
  bytes.resize(256 - 8);
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<unsigned char>(200ul * 8 >> 8 * i));
  EXPECT_EQ(digest, StateAfter(bytes.data() + 64, bytes.size() - 64));
}

TEST(Ripemd160, AnEndedStreamHashesToTheInitialValue) {
  SvMemoryStream stream;
  CiRipemd160Hasher hasher;
  EXPECT_EQ(Hex(OfStream(hasher, stream, false)), "0123456789abcdeffedcba9876543210f0e1d2c3");
}

// The words are unsigned longs, of which only the low 32 bits count.
TEST(Ripemd160, TheInitialValueCountsWithTheLow32BitsOfEachWordAndStays) {
  unsigned long words[5] = {1, 2, 3, 4, 0x89ABCDEF};
  constexpr int kHighHalf = sizeof(unsigned long) > 4 ? 32 : 0;
  if (kHighHalf != 0) {
    for (unsigned long& word : words) word |= 0x12345678ul << kHighHalf;
  }
  const std::array<unsigned, 5> init_value = {1, 2, 3, 4, 0x89ABCDEF};
  const Bytes bytes = RandomBytes(128);
  CiRipemd160Hasher hasher;
  hasher.SetHashInitValue(words);
  for (int i = 0; i < 2; ++i) {
    SvMemoryStream stream;
    Put(stream, bytes);
    EXPECT_EQ(OfStream(hasher, stream, false), StateAfter(bytes.data(), 128, &init_value));
  }
}

TEST(Ripemd160, TheIterativeHasherBeginsEachHashWithTheInitialValueSet) {
  unsigned long words[5] = {9, 8, 7, 6, 5};
  const std::array<unsigned, 5> init_value = {9, 8, 7, 6, 5};
  const Bytes bytes = RandomBytes(52);  // the quirk shows the state before the block
  CiIterativeRipemd160Hasher hasher;
  hasher.SetHashInitValue(words);
  FeedPieces(hasher, bytes);
  EXPECT_EQ(Result(hasher), StateAfter(bytes.data(), 0, &init_value));
}

TEST(Ripemd160, ACopyKeepsInitialValueAndState) {
  unsigned long words[5] = {1, 2, 3, 4, 5};
  CiRipemd160Hasher hasher;
  hasher.SetHashInitValue(words);
  CiRipemd160Hasher copy(hasher);
  CiRipemd160Hasher assigned;
  assigned = hasher;
  SvMemoryStream stream;
  EXPECT_EQ(Hex(OfStream(copy, stream, false)), "0100000002000000030000000400000005000000");
  EXPECT_EQ(Hex(OfStream(assigned, stream, false)), "0100000002000000030000000400000005000000");
}

// What stays below the interface: one block of words, rotation and the Boolean functions.
struct Protected : CiRipemd160Hasher {
  using CiRipemd160Hasher::GetHash;
  using CiRipemd160Hasher::HashBlock;
  using CiRipemd160Hasher::InitHashValue;
  using CiRipemd160Hasher::RipemdF;
  using CiRipemd160Hasher::RipemdROL;
};

TEST(Ripemd160, OneBlockOfWordsCountsWithTheLow32BitsOfEach) {
  const Bytes bytes = RandomBytes(64);
  unsigned long words[16];
  for (std::size_t i = 0; i < 16; ++i) {
    words[i] = ~0ul << 16 << 16;
    for (int j = 3; j >= 0; --j) {
      const unsigned long byte = bytes[4 * i + static_cast<std::size_t>(j)];
      words[i] = (words[i] & ~0xFFFFFFFFul) | ((words[i] << 8 | byte) & 0xFFFFFFFFul);
    }
  }
  Protected hasher;
  hasher.InitHashValue();
  hasher.HashBlock(words);
  Digest digest;
  hasher.GetHash(digest.data());
  EXPECT_EQ(digest, StateAfter(bytes.data(), 64));
}

TEST(Ripemd160, RotatesWithin32Bits) {
  EXPECT_EQ(Protected::RipemdROL(0x80000001, 1), 3u);
  EXPECT_EQ(Protected::RipemdROL(0x12345678, 8), 0x34567812u);
  EXPECT_EQ(Protected::RipemdROL(~0ul, 5), 0xFFFFFFFFu);
}

TEST(Ripemd160, HasOneBooleanFunctionForEach16StepsAndZeroBeyond) {
  constexpr unsigned long x = 0xF0, y = 0xCC, z = 0xAA, all = 0xFFFFFFFF;
  for (unsigned short step = 0; step < 16; ++step) {
    const auto at = [&](int round) {
      return Protected::RipemdF(static_cast<unsigned short>(16 * round + step), x, y, z);
    };
    EXPECT_EQ(at(0), (x ^ y ^ z));
    EXPECT_EQ(at(1), ((x & y) | (~x & z)));
    EXPECT_EQ(at(2), (((x | ~y) ^ z) & all));
    EXPECT_EQ(at(3), ((x & z) | (y & ~z)));
    EXPECT_EQ(at(4), ((x ^ (y | ~z)) & all));
    EXPECT_EQ(at(5), 0u);
  }
  EXPECT_EQ(Protected::RipemdF(0xFFFF, x, y, z), 0u);
}

// ---- in pieces --------------------------------------------------------------------------------

TEST(Ripemd160Pieces, EveryLengthHashesAsThePeerSaysOrByTheQuirk) {
  for (std::size_t length = 0; length <= 300; ++length) {
    const Bytes bytes = RandomBytes(length);
    EXPECT_EQ(InPieces(bytes), HashOfPieces(bytes)) << length;
  }
}

TEST(Ripemd160Pieces, FullBlocksGetAnExtraBlockForPaddingAndLength) {
  for (const std::size_t length : {64u, 128u, 640u}) {
    const Bytes bytes = RandomBytes(length);
    EXPECT_EQ(InPieces(bytes), StandardHash(bytes.data(), length)) << length;
  }
}

TEST(Ripemd160Pieces, AShortLastPieceInSlots0To5And7GivesTheStandardHash) {
  for (const std::size_t slot : {0u, 1u, 2u, 3u, 4u, 5u, 7u}) {
    for (std::size_t last = 1; last < 8; ++last) {
      const Bytes bytes = RandomBytes(64 + 8 * slot + last);
      EXPECT_EQ(InPieces(bytes), StandardHash(bytes.data(), bytes.size())) << slot << ' ' << last;
    }
  }
}

TEST(Ripemd160Pieces, AShortLastPieceInSlot6LeavesTheLastBlockOut) {
  for (std::size_t last = 1; last < 8; ++last) {
    const Bytes bytes = RandomBytes(128 + 48 + last);
    EXPECT_EQ(InPieces(bytes), StateAfter(bytes.data(), 128)) << last;
    EXPECT_NE(InPieces(bytes), StandardHash(bytes.data(), bytes.size())) << last;
  }
  EXPECT_EQ(Hex(InPieces(RandomBytes(52))), "0123456789abcdeffedcba9876543210f0e1d2c3");
}

TEST(Ripemd160Pieces, AnEmptyLastPieceInSlot6LeavesTheLastBlockOut) {
  const Bytes bytes = RandomBytes(48);
  CiIterativeRipemd160Hasher hasher;
  hasher.HashBytes(bytes.data(), 48, true, false);
  hasher.HashBlock(nullptr, false, true, 0);
  EXPECT_EQ(Result(hasher), StateAfter(bytes.data(), 0));
}

TEST(Ripemd160Pieces, AFullLastPieceInSlot6IsFollowedByABlockWithTheLength) {
  const Bytes bytes = RandomBytes(64 + 56);
  EXPECT_EQ(InPieces(bytes), StandardHash(bytes.data(), bytes.size()));
}

TEST(Ripemd160Pieces, NoBytesAreOnePieceOfLength0) {
  CiIterativeRipemd160Hasher hasher;
  hasher.HashBlock(nullptr, true, true, 0);
  EXPECT_EQ(Hex(Result(hasher)), "9c1185a5c5e9fc54612808977ee8f548b2258d31");
}

TEST(Ripemd160Pieces, NoMoreThan8BytesOfAPieceAreRead) {
  const Bytes bytes = RandomBytes(8);
  CiIterativeRipemd160Hasher hasher;
  hasher.HashBlock(bytes.data(), true, true, 0xFFFF);
  EXPECT_EQ(Result(hasher), StandardHash(bytes.data(), 8));
}

TEST(Ripemd160Pieces, APieceThatIsNotTheLastHas8BytesWhateverIsSaid) {
  const Bytes bytes = RandomBytes(16);
  CiIterativeRipemd160Hasher hasher;
  hasher.HashBlock(bytes.data(), true, false, 3);
  hasher.HashBlock(bytes.data() + 8, false, true, 8);
  EXPECT_EQ(Result(hasher), StandardHash(bytes.data(), 16));
}

TEST(Ripemd160Pieces, ANewFirstPieceForgetsWhatWasFed) {
  const Bytes bytes = RandomBytes(100);
  CiIterativeRipemd160Hasher hasher;
  hasher.HashBytes(RandomBytes(88).data(), 88, true, false);
  FeedPieces(hasher, bytes);
  EXPECT_EQ(Result(hasher), HashOfPieces(bytes));
}

TEST(Ripemd160Pieces, ACopyTakenAnywhereGoesOnByItself) {
  const Bytes bytes = RandomBytes(24 * 30 + 13);
  CiIterativeRipemd160Hasher hasher;
  for (std::size_t at = 0; at + 24 < bytes.size(); at += 24) {
    CiIterativeRipemd160Hasher copy(hasher);
    if (at > 0) {
      CiIterativeRipemd160Hasher assigned;
      assigned = copy;
      FeedPieces(copy, bytes, at);
      assigned.HashBytes(bytes.data() + at, bytes.size() - at, false, true);
      EXPECT_EQ(Result(copy), HashOfPieces(bytes)) << at;
      EXPECT_EQ(Result(assigned), HashOfPieces(bytes)) << at;
    }
    hasher.HashBytes(bytes.data() + at, 24, at == 0, false);
  }
}

TEST(Ripemd160Pieces, ManyPiecesAtOnceHashAsOneAfterTheOther) {
  for (std::size_t length = 1; length <= 200; ++length) {
    const Bytes bytes = RandomBytes(length);
    for (std::size_t cut = 0; cut < length; cut += 8) {
      CiIterativeRipemd160Hasher hasher;
      hasher.HashBytes(bytes.data(), cut, true, false);
      hasher.HashBytes(bytes.data() + cut, length - cut, false, true);
      EXPECT_EQ(Result(hasher), HashOfPieces(bytes)) << length << ' ' << cut;
    }
  }
}

// ---- chunks -----------------------------------------------------------------------------------

void ExpectChunkHashes(std::size_t chunk_length, std::size_t count) {
  const Bytes bytes = RandomBytes(chunk_length * count);
  Bytes digests(20 * count + 1, 0xEE);
  tmx::HashChunks(bytes.data(), chunk_length, count, digests.data());
  for (std::size_t i = 0; i < count; ++i) {
    Digest digest;
    std::copy_n(digests.begin() + static_cast<long>(20 * i), 20, digest.begin());
    ASSERT_EQ(digest, HashOfPieces(bytes.data() + i * chunk_length, chunk_length))
        << chunk_length << " bytes, chunk " << i << " of " << count;
  }
  EXPECT_EQ(digests.back(), 0xEE);
}

std::string NameOf(const testing::TestParamInfo<tmx::CpuLevel>& level) {
  constexpr const char* kNames[] = {"Portable", "Avx2", "Avx512"};
  return kNames[static_cast<int>(level.param)];
}

class Ripemd160Chunks : public testing::TestWithParam<tmx::CpuLevel> {
 protected:
  void SetUp() override {
    if (GetParam() > tmx::DetectedCpuLevel())
      GTEST_SKIP() << "this processor cannot run the kernel";
  }
  tmx::ScopedCpuLevel level_{GetParam()};
};

TEST_P(Ripemd160Chunks, OfEveryLengthHashAsEachAlone) {
  for (std::size_t length = 0; length <= 300; ++length) ExpectChunkHashes(length, 17);
}

TEST_P(Ripemd160Chunks, InAnyNumberHashAsEachAlone) {
  for (std::size_t count = 0; count <= 50; ++count) {
    ExpectChunkHashes(1000, count);
    ExpectChunkHashes(500, count);  // the quirk
  }
}

INSTANTIATE_TEST_SUITE_P(Kernels, Ripemd160Chunks,
                         testing::Values(tmx::CpuLevel::Portable, tmx::CpuLevel::Avx2,
                                         tmx::CpuLevel::Avx512),
                         NameOf);

}  // namespace
