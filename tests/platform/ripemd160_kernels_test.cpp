#include "tmxtools/platform/ripemd160_kernels.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace tmx::ripemd160;

// Runs a kernel over random blocks of random states and compares each lane with the plain form.
void ExpectLanesLikeOneStream(const LaneKernel& kernel) {
  std::mt19937 random(160);
  for (std::size_t count = 0; count < 5; ++count) {
    std::vector<std::vector<std::uint8_t>> streams(kernel.lanes);
    std::vector<const std::uint8_t*> blocks;
    for (auto& stream : streams) {
      stream.resize(count * kBlockLength);
      for (std::uint8_t& byte : stream) byte = static_cast<std::uint8_t>(random());
      blocks.push_back(stream.data());
    }
    std::vector<std::uint32_t> states(5 * kernel.lanes);
    for (std::uint32_t& word : states) word = static_cast<std::uint32_t>(random());
    const std::vector<std::uint32_t> before = states;
    kernel.compress(states.data(), blocks.data(), count);
    for (std::size_t lane = 0; lane < kernel.lanes; ++lane) {
      State expected;
      for (std::size_t i = 0; i < 5; ++i) expected[i] = before[i * kernel.lanes + lane];
      Compress(expected, blocks[lane], count);
      for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(states[i * kernel.lanes + lane], expected[i]) << "lane " << lane << " word " << i;
      }
    }
  }
}

std::string NameOf(const testing::TestParamInfo<tmx::CpuLevel>& level) {
  constexpr const char* kNames[] = {"Portable", "Avx2", "Avx512"};
  return kNames[static_cast<int>(level.param)];
}

class Ripemd160Kernel : public testing::TestWithParam<tmx::CpuLevel> {};

TEST_P(Ripemd160Kernel, CompressesEachLaneLikeOneStream) {
  if (GetParam() > tmx::DetectedCpuLevel()) GTEST_SKIP() << "this processor cannot run the kernel";
  ExpectLanesLikeOneStream(KernelFor(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Levels, Ripemd160Kernel,
                         testing::Values(tmx::CpuLevel::Portable, tmx::CpuLevel::Avx2,
                                         tmx::CpuLevel::Avx512),
                         NameOf);

TEST(Ripemd160Kernels, TheLogicOfAvx512RunsOnAnyProcessor) {
  EXPECT_EQ(PortableSixteenLanes().lanes, 16u);
  ExpectLanesLikeOneStream(PortableSixteenLanes());
}

TEST(Ripemd160Kernels, WiderProcessorsHashMoreChunksAtOnce) {
  EXPECT_EQ(KernelFor(tmx::CpuLevel::Portable).lanes, 4u);
#if defined(__x86_64__)
  EXPECT_EQ(KernelFor(tmx::CpuLevel::Avx2).lanes, 8u);
  EXPECT_EQ(KernelFor(tmx::CpuLevel::Avx512).lanes, 16u);
#endif
}

TEST(CpuFeatures, AScopeLowersTheLevelAndNeverRaisesIt) {
  EXPECT_EQ(tmx::CurrentCpuLevel(), tmx::DetectedCpuLevel());
  {
    const tmx::ScopedCpuLevel portable(tmx::CpuLevel::Portable);
    EXPECT_EQ(tmx::CurrentCpuLevel(), tmx::CpuLevel::Portable);
    const tmx::ScopedCpuLevel widest(tmx::CpuLevel::Avx512);
    EXPECT_EQ(tmx::CurrentCpuLevel(), tmx::DetectedCpuLevel());
  }
  EXPECT_EQ(tmx::CurrentCpuLevel(), tmx::DetectedCpuLevel());
}

}  // namespace
