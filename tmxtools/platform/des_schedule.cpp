#include "tmxtools/platform/des_schedule.h"

#include <algorithm>

#include "tmxtools/platform/des_tables.h"
#include "tmxtools/platform/secret.h"

namespace tmx::des {
namespace {

// Permuted choice 1 and 2 and the rotations of FIPS 46-3, bits counted from 1 as there.
constexpr std::uint8_t kChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                       10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                       63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                       14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
constexpr std::uint8_t kChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};
constexpr std::uint8_t kTurnsUpTo[16] = {1, 2, 4, 6, 8, 10, 12, 14, 15, 17, 19, 21, 23, 25, 27, 28};

// For each bit of 48 of the key of each round the bit of one half of the key that it is, counted
// from 0.
constexpr auto kKeyBits = [] {
  std::array<std::array<std::uint8_t, kBoxes * kInputs>, 16> bits{};
  for (unsigned round = 0; round < 16; ++round) {
    for (unsigned bit = 0; bit < kBoxes * kInputs; ++bit) {
      const unsigned chosen = kChoice2[bit] - 1u;
      const unsigned start = chosen / 28 * 28;
      const unsigned turned = start + (chosen - start + kTurnsUpTo[round]) % 28;
      bits[round][bit] = static_cast<std::uint8_t>(kChoice1[turned] - 1u);
    }
  }
  return bits;
}();

// Encrypting is encrypt, decrypt, encrypt.
void Fill(Schedule& schedule, const std::uint8_t* key) {
  for (unsigned i = 0; i < kRounds; ++i) {
    const bool is_middle = i / 16 == 1;
    const auto& bits = kKeyBits[is_middle ? 15 - i % 16 : i % 16];
    const std::uint8_t* const half = key + (is_middle ? 8 : 0);
    for (unsigned box = 0; box < kBoxes; ++box) {
      std::uint32_t column = 0;
      for (unsigned input = 0; input < kInputs; ++input) {
        const unsigned at = bits[box * kInputs + input];
        const std::uint32_t bit = half[at / 8] >> (7 - at % 8) & 1u;
        schedule.masks[i][box * kInputs + input] = 0 - bit;
        column |= bit << kColumn[box][input];
      }
      schedule.columns[i][box] = column * 0x01010101;
    }
  }
}

}  // namespace

Schedule::~Schedule() {
  Wipe(masks.data(), sizeof(masks));
  Wipe(columns.data(), sizeof(columns));
}

Schedules::Schedules(const std::uint8_t* key) {
  Fill(encrypt, key);
  // The reverse has every round key in reverse order.
  std::reverse_copy(encrypt.masks.begin(), encrypt.masks.end(), decrypt.masks.begin());
  std::reverse_copy(encrypt.columns.begin(), encrypt.columns.end(), decrypt.columns.begin());
}

}  // namespace tmx::des
