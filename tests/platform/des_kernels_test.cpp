#include "tmxtools/platform/des_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/variables/failing_memory.h"
#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/des_boxes.h"
#include "tmxtools/platform/des_boxes_ternary.h"
#include "tmxtools/platform/des_tables.h"
#include "tmxtools/platform/des_vector.h"

namespace {

using tmx::CipherDirection;
using tmx::CpuLevel;
using tmx::ScopedCpuLevel;
using tmx::TripleDes;
using Bytes = std::vector<std::uint8_t>;

constexpr CipherDirection kDirections[] = {CipherDirection::Encrypt, CipherDirection::Decrypt};
constexpr std::size_t kGuard = 16;

Bytes RandomBytes(std::mt19937& random, std::size_t count) {
  Bytes bytes(count);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

Bytes FromHex(const std::string& hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

// What the crypto library makes of it block by block.
Bytes OneByOne(const TripleDes& cipher, CipherDirection direction, const Bytes& in, bool chained) {
  Bytes out(in.size());
  for (std::size_t at = 0; at < in.size(); at += 8) {
    Bytes block(in.begin() + static_cast<long>(at), in.begin() + static_cast<long>(at) + 8);
    const bool has_before = chained && at % 24 != 0;
    const bool encrypts = direction == CipherDirection::Encrypt;
    const std::uint8_t* const before =
        !has_before ? nullptr : (encrypts ? out.data() : in.data()) + at - 8;
    const auto add_before = [&] {
      for (std::size_t i = 0; before != nullptr && i < 8; ++i) block[i] ^= before[i];
    };
    if (encrypts) add_before();
    cipher.Block(direction, block.data(), block.data());
    if (!encrypts) add_before();
    std::copy(block.begin(), block.end(), out.begin() + static_cast<long>(at));
  }
  return out;
}

struct Case {
  const char* name;
  CpuLevel needs;
  const tmx::des::Kernels& kernels;
};

class DesKernel : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    if (GetParam().needs > tmx::DetectedCpuLevel())
      GTEST_SKIP() << "this processor cannot run the kernel";
  }

  const tmx::des::Kernels& kernels() const { return GetParam().kernels; }
};

TEST_P(DesKernel, GivesThePublishedValuesInEveryLane) {
  std::ifstream file(TMX_SOURCE_DIR "/tests/vectors/triple_des.txt");
  std::size_t seen = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) continue;
    std::istringstream fields(line);
    std::string half, plain_hex, cipher_hex;
    ASSERT_TRUE(fields >> half >> plain_hex >> cipher_hex);
    const tmx::des::Schedules schedules(FromHex(half + half).data());
    const Bytes plain = FromHex(plain_hex), cipher = FromHex(cipher_hex);
    for (const tmx::des::Kernel& kernel : {kernels().wide, kernels().narrow}) {
      Bytes blocks;
      for (std::size_t i = 0; i < kernel.lanes; ++i)
        blocks.insert(blocks.end(), plain.begin(), plain.end());
      const Bytes before = blocks;
      std::vector<std::uint64_t> words(kernel.lanes);
      std::memcpy(words.data(), blocks.data(), blocks.size());
      kernel.run(schedules.encrypt, words.data());
      std::memcpy(blocks.data(), words.data(), blocks.size());
      for (std::size_t i = 0; i < blocks.size(); ++i) ASSERT_EQ(blocks[i], cipher[i % 8]) << line;
      kernel.run(schedules.decrypt, words.data());
      EXPECT_EQ(std::memcmp(words.data(), before.data(), before.size()), 0) << line;
    }
    ++seen;
  }
  EXPECT_EQ(seen, 26u);
}

TEST_P(DesKernel, CiphersAnyNumberOfChainedBlocksLikeTheCryptoLibraryOneByOne) {
  std::mt19937 random(24);
  constexpr std::size_t kMost = 2000;
  const Bytes key = RandomBytes(random, 16);
  const auto cipher = tmx::CurrentCrypto().MakeTripleDes(key.data());
  const tmx::des::Schedules schedules(key.data());
  const Bytes in = RandomBytes(random, kMost * 24);
  for (const CipherDirection direction : kDirections) {
    const Bytes expected = OneByOne(*cipher, direction, in, true);
    // Every count up to a turn of the widest kernel's chains, then some.
    for (std::size_t count = 0; count <= kMost; count += count < 180 ? 1 : 37) {
      const auto length = static_cast<long>(count * 24);
      Bytes out(count * 24 + kGuard, 0xA5);
      ChainedBlocks(kernels(), schedules, direction, in.data(), out.data(), count);
      ASSERT_TRUE(std::equal(out.begin(), out.begin() + length, expected.begin())) << count;
      ASSERT_EQ(Bytes(out.begin() + length, out.end()), Bytes(kGuard, 0xA5)) << count;
    }
    Bytes in_place = in;
    ChainedBlocks(kernels(), schedules, direction, in_place.data(), in_place.data(), kMost);
    EXPECT_EQ(in_place, expected);
  }
}

TEST_P(DesKernel, CiphersIndependentBlocksUnderManyKeysLikeTheCryptoLibrary) {
  std::mt19937 random(8);
  for (std::size_t count : {1u, 4u, 31u, 32u, 33u, 64u, 65u, 127u, 129u, 255u, 257u, 513u, 700u}) {
    const Bytes key = RandomBytes(random, 16);
    const auto cipher = tmx::CurrentCrypto().MakeTripleDes(key.data());
    const tmx::des::Schedules schedules(key.data());
    const Bytes in = RandomBytes(random, count * 8);
    for (const CipherDirection direction : kDirections) {
      Bytes out(in.size() + kGuard, 0xA5);
      Blocks(kernels(), schedules, direction, in.data(), out.data(), count);
      Bytes expected = OneByOne(*cipher, direction, in, false);
      expected.resize(out.size(), 0xA5);
      ASSERT_EQ(out, expected) << count;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Levels, DesKernel,
    testing::Values(Case{"Portable", CpuLevel::Portable, tmx::des::KernelsFor(CpuLevel::Portable)},
                    Case{"PortableWidest", CpuLevel::Portable, tmx::des::PortableWidest()},
                    Case{"PortableWidestLookup", CpuLevel::Portable,
                         tmx::des::PortableWidestLookup()},
                    Case{"Avx2", CpuLevel::Avx2, tmx::des::KernelsFor(CpuLevel::Avx2)},
                    Case{"Avx512", CpuLevel::Avx512, tmx::des::KernelsFor(CpuLevel::Avx512)}),
    [](const testing::TestParamInfo<Case>& of) { return std::string(of.param.name); });

// For every input of an S-box one bit of six vectors; of each circuit what it makes of them.
struct BoxOutputs {
  using Ops = tmx::des::PlainOps<16>;

  template <class Circuits>
  explicit BoxOutputs(Circuits circuits) {
    Ops::V in[6] = {};
    for (std::uint64_t at = 0; at < 64; ++at)
      for (std::size_t i = 0; i < 6; ++i) in[i][0] |= (at >> (5 - i) & 1) << at;
    const auto run = [&]<int Number>(tmx::des::Box<Number> box) {
      Ops::V* const to = out[Number];
      circuits(box, in[0], in[1], in[2], in[3], in[4], in[5], to[0], to[1], to[2], to[3]);
    };
    [&]<int... Number>(std::integer_sequence<int, Number...>) {
      (run(tmx::des::Box<Number>()), ...);
    }
    (std::make_integer_sequence<int, 8>());
  }

  void ExpectTables() const {
    for (std::size_t box = 0; box < 8; ++box) {
      for (unsigned at = 0; at < 64; ++at) {
        const unsigned entry = (at & 32) | (at & 1) << 4 | (at >> 1 & 15);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) value = value * 2 + (out[box][i][0] >> at & 1);
        EXPECT_EQ(value, tmx::des::kSubstitution[box][entry]) << box << " " << at;
      }
    }
  }

  Ops::V out[8][4];
};

TEST(DesBoxes, EveryCircuitGivesItsTable) {
  BoxOutputs([](auto&&... arguments) { tmx::des::Substitute(arguments...); }).ExpectTables();
}

TEST(DesBoxes, EveryTernaryCircuitGivesItsTable) {
  BoxOutputs([](auto&&... arguments) {
    tmx::des::SubstituteTernary<BoxOutputs::Ops>(arguments...);
  }).ExpectTables();
}

TEST(DesSchedules, ParityBitsOfAKeyCountForNothing) {
  std::mt19937 random(1);
  Bytes key = RandomBytes(random, 16);
  const tmx::des::Schedules as_given(key.data());
  for (std::uint8_t& byte : key) byte ^= 1;
  const tmx::des::Schedules turned(key.data());
  EXPECT_EQ(as_given.encrypt.masks, turned.encrypt.masks);
  EXPECT_EQ(as_given.decrypt.columns, turned.decrypt.columns);
}

TEST(TripleDes, GivesTheSameAtEveryLevelAndHoweverItIsCut) {
  std::mt19937 random(3);
  const Bytes key = RandomBytes(random, 16);
  const auto cipher = tmx::CurrentCrypto().MakeTripleDes(key.data());
  const Bytes in = RandomBytes(random, 300 * 24);
  for (const CipherDirection direction : kDirections) {
    const Bytes expected = OneByOne(*cipher, direction, in, true);
    for (const CpuLevel level : {CpuLevel::Portable, CpuLevel::Avx2, CpuLevel::Avx512}) {
      const ScopedCpuLevel scope(level);
      Bytes out(in.size());
      for (std::size_t at = 0, piece = 1; at < 300; at += piece, piece = piece * 2 + 1) {
        piece = std::min<std::size_t>(piece, 300 - at);
        cipher->ChainedBlocks(direction, in.data() + at * 24, out.data() + at * 24, piece);
      }
      EXPECT_EQ(out, expected);
      cipher->Blocks(direction, in.data(), out.data(), in.size() / 8);
      EXPECT_EQ(out, OneByOne(*cipher, direction, in, false));
    }
  }
}

std::string TextOf(const void* bytes, std::size_t count) {
  return std::string(static_cast<const char*>(bytes), count);
}

// The memory that ciphering gives back, searched for the key, its round keys and the plain text.
TEST(TripleDes, LeavesNoKeyNoSchedulesAndNoPlainTextInFreedMemory) {
  std::mt19937 random(9);
  const Bytes key = RandomBytes(random, 16);
  const tmx::des::Schedules known(key.data());
  tmx::SecretBytes plain(400 * 24);
  for (std::uint8_t& byte : plain) byte = static_cast<std::uint8_t>(random());
  const std::vector<std::string> secrets = {
      TextOf(key.data(), key.size()), TextOf(known.encrypt.masks[5].data(), 192),
      TextOf(known.decrypt.columns[7].data(), 32), TextOf(plain.data() + 24, 16)};
  {
    const WatchedMemory watched(secrets);
    for (const CpuLevel level : {CpuLevel::Portable, CpuLevel::Avx512}) {
      const ScopedCpuLevel scope(level);
      const auto cipher = tmx::CurrentCrypto().MakeTripleDes(key.data());
      tmx::SecretBytes work = plain;
      for (const CipherDirection direction : kDirections)
        cipher->ChainedBlocks(direction, work.data(), work.data(), 400);
      EXPECT_EQ(work, plain);
    }
    EXPECT_GE(watched.Given(), 4u);
    EXPECT_EQ(watched.Leaked(), 0u);
  }
  // It would have noticed each of them.
  for (const std::string& secret : secrets) {
    const WatchedMemory watched(secrets);
    std::string(secret).append("more");
    EXPECT_GE(watched.Leaked(), 1u);
  }
}

}  // namespace
