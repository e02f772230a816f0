// Triple DES over as many blocks as a vector has bits, one bit of each vector a block. All that
// moves bits is free here; an S-box is a circuit.
//
// For the unnamed namespace see des_vector.h.
#pragma once

#include <utility>

#include "tmxtools/platform/des_boxes.h"
#include "tmxtools/platform/des_boxes_ternary.h"
#include "tmxtools/platform/des_kernels.h"
#include "tmxtools/platform/des_schedule.h"
#include "tmxtools/platform/des_tables.h"
#include "tmxtools/platform/des_vector.h"
#include "tmxtools/platform/secret.h"

namespace tmx::des {
namespace {

template <class Ops>
class Wide {
 public:
  using V = typename Ops::V;
  static constexpr std::size_t kLanes = sizeof(V) * 8;

  static void Run(const Schedule& schedule, std::uint64_t* blocks) {
    Wide wide;
    std::memcpy(wide.planes_, blocks, sizeof(wide.planes_));
    wide.Transpose();
    wide.Permute();
    wide.Rounds(schedule);
    wide.PermuteBack();
    wide.Transpose();
    std::memcpy(blocks, wide.planes_, sizeof(wide.planes_));
  }

 private:
  Wide() = default;
  ~Wide() { Wipe(this, sizeof(*this)); }

  // Exchanges blocks and bits: 64 words a vector's place, whose bits are then those of 64 blocks.
  [[gnu::noinline]] void Transpose() {
    for (int i = 0; i < 8; ++i) TransposeRows<8>(planes_ + i, 8);
    for (int i = 0; i < 64; i += 8) TransposeRows<1>(planes_ + i, 1);
  }

  template <int Shift>
  [[gnu::always_inline]] static void TransposeRows(V* first, int step) {
    V rows[8] = {first[0 * step], first[1 * step], first[2 * step], first[3 * step],
                 first[4 * step], first[5 * step], first[6 * step], first[7 * step]};
    TransposeEight<Shift>(rows);
    for (int i = 0; i < 8; ++i) first[i * step] = rows[i];
  }

  // The plane of a block's bit: bytes come with their first bit highest.
  static constexpr int PlaneOf(int bit) { return bit / 8 * 8 + 7 - bit % 8; }

  void Permute() {
    for (int bit = 0; bit < 32; ++bit) {
      left_[bit] = planes_[PlaneOf(LeftBit(bit))];
      right_[bit] = planes_[PlaneOf(LeftBit(bit) - 1)];
    }
  }
  void PermuteBack() {
    for (int bit = 0; bit < 32; ++bit) {
      planes_[PlaneOf(LeftBit(bit))] = left_[bit];
      planes_[PlaneOf(LeftBit(bit) - 1)] = right_[bit];
    }
  }

  void Rounds(const Schedule& schedule) {
    V* left = left_;
    V* right = right_;
    for (unsigned i = 0; i < kRounds; i += 16) {
      SixteenRounds(left, right, &schedule.masks[i]);
      // The permutations between one DES and the next undo each other; the swap remains.
      std::swap(left, right);
    }
    // Three swaps are one.
    for (int bit = 0; bit < 32; ++bit) std::swap(left_[bit], right_[bit]);
  }

  using RoundMasks = std::array<std::uint32_t, kBoxes * kInputs>;

  [[gnu::noinline]] static void SixteenRounds(V* left, V* right, const RoundMasks* masks) {
    for (int round = 0; round < 16; round += 2) {
      Round(left, right, masks[round].data(), std::make_integer_sequence<int, 8>());
      Round(right, left, masks[round + 1].data(), std::make_integer_sequence<int, 8>());
    }
  }

  template <int... Number>
  [[gnu::always_inline]] static void Round(V* __restrict target, const V* __restrict half,
                                           const std::uint32_t* masks,
                                           std::integer_sequence<int, Number...>) {
    (ApplyBox<Number>(target, half, masks + Number * static_cast<int>(kInputs)), ...);
  }

  template <int Number>
  [[gnu::always_inline]] static void ApplyBox(V* __restrict target, const V* __restrict half,
                                              const std::uint32_t* masks) {
    const V x0 = half[InputBit(Number, 0)] ^ Ops::Broadcast(masks[0]);
    const V x1 = half[InputBit(Number, 1)] ^ Ops::Broadcast(masks[1]);
    const V x2 = half[InputBit(Number, 2)] ^ Ops::Broadcast(masks[2]);
    const V x3 = half[InputBit(Number, 3)] ^ Ops::Broadcast(masks[3]);
    const V x4 = half[InputBit(Number, 4)] ^ Ops::Broadcast(masks[4]);
    const V x5 = half[InputBit(Number, 5)] ^ Ops::Broadcast(masks[5]);
    V o0, o1, o2, o3;
    if constexpr (Ops::kHasTernaryLogic)
      SubstituteTernary<Ops>(Box<Number>(), x0, x1, x2, x3, x4, x5, o0, o1, o2, o3);
    else
      Substitute(Box<Number>(), x0, x1, x2, x3, x4, x5, o0, o1, o2, o3);
    target[kPlaceOfOutput[4 * Number]] ^= o0;
    target[kPlaceOfOutput[4 * Number + 1]] ^= o1;
    target[kPlaceOfOutput[4 * Number + 2]] ^= o2;
    target[kPlaceOfOutput[4 * Number + 3]] ^= o3;
  }

  V planes_[64];
  V left_[32];
  V right_[32];
};

template <class Ops>
constexpr Kernel kWideKernel = {Wide<Ops>::kLanes, Wide<Ops>::Run};

}  // namespace
}  // namespace tmx::des
