// The round keys of two-key triple DES, laid out for the kernels that work on many blocks at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tmx::des {

inline constexpr unsigned kRounds = 48;  // three times sixteen
inline constexpr unsigned kBoxes = 8;
inline constexpr unsigned kInputs = 6;  // of an S-box

// The keys in the order of the rounds of one direction. Wiped by the destructor.
struct Schedule {
  Schedule() = default;
  Schedule(const Schedule&) = delete;
  Schedule& operator=(const Schedule&) = delete;
  ~Schedule();

  // For each input of each S-box all bits or none.
  std::array<std::array<std::uint32_t, kBoxes * kInputs>, kRounds> masks;
  // For each S-box its six bits where des::kColumn puts them, four times side by side.
  std::array<std::array<std::uint32_t, kBoxes>, kRounds> columns;
};

// Both directions of one key of 16 bytes, whose parity bits count for nothing.
struct Schedules {
  explicit Schedules(const std::uint8_t* key);

  Schedule encrypt;
  Schedule decrypt;
};

}  // namespace tmx::des
