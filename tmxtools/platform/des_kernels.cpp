#include "tmxtools/platform/des_kernels.h"

#include <algorithm>
#include <array>
#include <cstring>

// Vectors wider than the processor's go from function to function here, but all of these are
// inlined.
#pragma GCC diagnostic ignored "-Wpsabi"
#include "tmxtools/platform/des_levels.h"
#include "tmxtools/platform/des_narrow.h"
#include "tmxtools/platform/des_wide.h"

namespace tmx::des {
namespace {

constexpr std::size_t kBlock = TripleDes::BlockLength;
constexpr std::size_t kChained = TripleDes::ChainedLength;

// Without a lookup in registers there is no narrow kernel: the wide one does all.
constexpr Kernels kPortable = {kWideKernel<PlainOps<16>>, kWideKernel<PlainOps<16>>, 0, 16};
struct PortableTernaryOps : PlainOps<64> {
  static constexpr bool kHasTernaryLogic = true;
};
struct PortableLookupOps : PlainOps<64> {
  [[gnu::always_inline]] static V Lookup64(const std::uint8_t* table, const V& v) {
    Bytes found = reinterpret_cast<Bytes>(v);
    for (std::size_t i = 0; i < sizeof(V); ++i) found[i] = table[found[i] & 0x3F];
    return reinterpret_cast<V>(found);
  }
};
constexpr Kernels kPortableWidest = {kWideKernel<PortableTernaryOps>, kNarrowKernel<PlainOps<64>>,
                                     256, 1};

constexpr Kernels kPortableWidestLookup = {kPortableWidest.wide, kNarrowKernel<PortableLookupOps>,
                                           256, 1};

// Blocks on their way through a kernel; wiped as far as they were used.
class Batch {
 public:
  Batch() = default;
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  ~Batch() { Wipe(words_, used_ * kBlock); }

  std::uint64_t& operator[](std::size_t index) { return words_[index]; }
  std::uint8_t* Bytes() { return reinterpret_cast<std::uint8_t*>(words_); }

  // Ciphers the first `count` blocks, which are at most as many as the wide kernel takes.
  void Run(const Kernels& kernels, const Schedule& schedule, std::size_t count) {
    const Kernel& kernel = count <= kernels.narrow_up_to ? kernels.narrow : kernels.wide;
    const std::size_t whole = (count + kernel.lanes - 1) / kernel.lanes * kernel.lanes;
    std::fill(words_ + count, words_ + whole, 0);
    used_ = std::max(used_, whole);
    for (std::size_t i = 0; i < whole; i += kernel.lanes) kernel.run(schedule, words_ + i);
  }

 private:
  alignas(64) std::uint64_t words_[kMostLanes];
  std::size_t used_ = 0;
};

std::uint64_t Load(const std::uint8_t* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return word;
}

void Store(std::uint64_t word, std::uint8_t* bytes) { std::memcpy(bytes, &word, sizeof(word)); }

// The first blocks of all chains at once, then the second ones, then the third.
void EncryptChains(const Kernels& kernels, const Schedule& schedule, const std::uint8_t* in,
                   std::uint8_t* out, std::size_t count) {
  Batch batch;
  for (std::size_t link = 0; link < kChained; link += kBlock) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t before = link == 0 ? 0 : batch[i];
      batch[i] = Load(in + i * kChained + link) ^ before;
    }
    batch.Run(kernels, schedule, count);
    for (std::size_t i = 0; i < count; ++i) Store(batch[i], out + i * kChained + link);
  }
}

// All blocks at once: what is chained is the ciphertext, which stands there already.
void DecryptChains(const Kernels& kernels, const Schedule& schedule, const std::uint8_t* in,
                   std::uint8_t* out, std::size_t count) {
  Batch batch;
  std::memcpy(batch.Bytes(), in, count * kChained);
  batch.Run(kernels, schedule, count * 3);
  for (std::size_t i = 0; i < count; ++i, in += kChained, out += kChained) {
    const std::uint64_t first = Load(in);
    const std::uint64_t second = Load(in + kBlock);
    Store(batch[3 * i], out);
    Store(batch[3 * i + 1] ^ first, out + kBlock);
    Store(batch[3 * i + 2] ^ second, out + 2 * kBlock);
  }
}

}  // namespace

const Kernels& KernelsFor(CpuLevel level) {
#if defined(__x86_64__)
  if (level == CpuLevel::Avx512) return HasByteLookup() ? kAvx512Vbmi : kAvx512;
  if (level == CpuLevel::Avx2) return kAvx2;
#endif
  static_cast<void>(level);
  return kPortable;
}

const Kernels& PortableWidest() { return kPortableWidest; }
const Kernels& PortableWidestLookup() { return kPortableWidestLookup; }

void Blocks(const Kernels& kernels, const Schedules& schedules, CipherDirection direction,
            const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
  const bool encrypts = direction == CipherDirection::Encrypt;
  const Schedule& schedule = encrypts ? schedules.encrypt : schedules.decrypt;
  Batch batch;
  while (count != 0) {
    const std::size_t now = std::min(count, kernels.wide.lanes);
    std::memcpy(batch.Bytes(), in, now * kBlock);
    batch.Run(kernels, schedule, now);
    std::memcpy(out, batch.Bytes(), now * kBlock);
    in += now * kBlock;
    out += now * kBlock;
    count -= now;
  }
}

void ChainedBlocks(const Kernels& kernels, const Schedules& schedules, CipherDirection direction,
                   const std::uint8_t* in, std::uint8_t* out, std::size_t count) {
  const bool encrypts = direction == CipherDirection::Encrypt;
  const std::size_t most = encrypts ? kernels.wide.lanes : kernels.wide.lanes / 3;
  while (count != 0) {
    const std::size_t now = std::min(count, most);
    if (encrypts)
      EncryptChains(kernels, schedules.encrypt, in, out, now);
    else
      DecryptChains(kernels, schedules.decrypt, in, out, now);
    in += now * kChained;
    out += now * kChained;
    count -= now;
  }
}

}  // namespace tmx::des
