// Triple DES over as many blocks as a vector has bytes: for each S-box one vector, whose bytes hold
// that S-box's six inputs for one block each. An S-box is looked up in registers, so that no
// address depends on a secret, and gives the bits of all inputs it feeds at once (see kColumn).
//
// For the unnamed namespace see des_vector.h.
#pragma once

#include <utility>

#include "tmxtools/platform/des_kernels.h"
#include "tmxtools/platform/des_schedule.h"
#include "tmxtools/platform/des_tables.h"
#include "tmxtools/platform/des_vector.h"
#include "tmxtools/platform/secret.h"

namespace tmx::des {
namespace {

using Table16 = std::array<std::uint8_t, 16>;

struct NarrowTables {
  // What an S-box gives for an input.
  std::uint8_t whole[8][64];
  // Four tables a box, for inputs below 64, 48, 32 and 16: the entries for an input are joined by
  // exclusive or of all tables whose bound it is below.
  Table16 box[8][4];
  // The S-box that feeds an S-box's column.
  std::uint8_t source[8][6];
  // Bits of a half by four (its first bit highest) as inputs: of the S-box in whose middle they
  // stand, the one after and the one before.
  Table16 middle[8];
  Table16 first[8];
  Table16 last[8];
  // And back: the middle inputs by the lower four columns and by the upper ones.
  Table16 back_low[8];
  Table16 back_high[8];
};

constexpr int BitOf(unsigned value, int bit) { return static_cast<int>(value >> bit & 1); }

constexpr NarrowTables MakeNarrowTables() {
  NarrowTables tables{};
  for (int box = 0; box < 8; ++box) {
    for (int input = 0; input < 6; ++input) {
      const int column = kColumn[box][input];
      int output = 0;
      while (kPlaceOfOutput[static_cast<std::size_t>(output)] != InputBit(box, input)) ++output;
      tables.source[box][column] = static_cast<std::uint8_t>(output / 4);
      for (unsigned at = 0; at < 64; ++at) {
        const std::uint8_t* const from = kColumn[output / 4];
        unsigned entry = 0;  // of the S-box: row, then column
        for (int i : {0, 5, 1, 2, 3, 4}) entry = entry * 2 + (at >> from[i] & 1);
        const int bit = BitOf(kSubstitution[output / 4][entry], 3 - output % 4);
        tables.whole[output / 4][at] |= static_cast<std::uint8_t>(bit << column);
      }
    }
    for (unsigned at = 0; at < 16; ++at) {
      const std::uint8_t* const column = kColumn[box];
      for (int i = 0; i < 4; ++i) {
        const int place = column[i + 1];
        tables.middle[box][at] |= static_cast<std::uint8_t>(BitOf(at, 3 - i) << place);
        const int back = place < 4 ? BitOf(at, place) : BitOf(at, place - 4);
        Table16& into = place < 4 ? tables.back_low[box] : tables.back_high[box];
        into[at] |= static_cast<std::uint8_t>(back << (3 - i));
      }
      tables.first[box][at] = static_cast<std::uint8_t>(BitOf(at, 0) << column[0]);
      tables.last[box][at] = static_cast<std::uint8_t>(BitOf(at, 3) << column[5]);
    }
  }
  for (int box = 0; box < 8; ++box) {
    for (unsigned at = 0; at < 16; ++at) {
      const std::uint8_t* const rows = tables.whole[box] + at;
      tables.box[box][0][at] = rows[48];
      tables.box[box][1][at] = rows[48] ^ rows[32];
      tables.box[box][2][at] = rows[32] ^ rows[16];
      tables.box[box][3][at] = rows[16] ^ rows[0];
    }
  }
  return tables;
}

alignas(64) constexpr NarrowTables kNarrow = MakeNarrowTables();

template <class Ops>
class Narrow {
 public:
  using V = typename Ops::V;
  static constexpr std::size_t kLanes = sizeof(V);

  static void Run(const Schedule& schedule, std::uint64_t* blocks) {
    Narrow narrow;
    std::memcpy(narrow.rows_, blocks, sizeof(narrow.rows_));
    TransposeEight<8>(narrow.rows_);  // bytes of blocks
    TransposeEight<1>(narrow.rows_);  // bits of bytes
    narrow.Spread(narrow.left_, 6);
    narrow.Spread(narrow.right_, 7);
    SixteenRounds(narrow.left_, narrow.right_, &schedule.columns[0]);
    SixteenRounds(narrow.right_, narrow.left_, &schedule.columns[16]);
    SixteenRounds(narrow.left_, narrow.right_, &schedule.columns[32]);
    narrow.Gather(narrow.right_, 6);
    narrow.Gather(narrow.left_, 7);
    TransposeEight<1>(narrow.rows_);
    TransposeEight<8>(narrow.rows_);
    std::memcpy(blocks, narrow.rows_, sizeof(narrow.rows_));
  }

 private:
  Narrow() = default;
  ~Narrow() { Wipe(this, sizeof(*this)); }

  [[gnu::always_inline]] static V Nibble(const V& v) { return v & Ops::Broadcast(0x0F0F0F0F); }

  // A half lies in four rows, eight bits each; row `top` has its first ones.
  void Spread(V* inputs, int top) const {
    V nibbles[8];
    for (int i = 0; i < 4; ++i) {
      nibbles[2 * i] = Nibble(rows_[top - 2 * i] >> 4);
      nibbles[2 * i + 1] = Nibble(rows_[top - 2 * i]);
    }
    for (int box = 0; box < 8; ++box)
      inputs[box] = Ops::Lookup(kNarrow.middle[box].data(), nibbles[box]) ^
                    Ops::Lookup(kNarrow.first[box].data(), nibbles[(box + 7) % 8]) ^
                    Ops::Lookup(kNarrow.last[box].data(), nibbles[(box + 1) % 8]);
  }

  void Gather(const V* inputs, int top) {
    V nibbles[8];
    for (int box = 0; box < 8; ++box)
      nibbles[box] = Ops::Lookup(kNarrow.back_low[box].data(), Nibble(inputs[box])) |
                     Ops::Lookup(kNarrow.back_high[box].data(), Nibble(inputs[box] >> 4));
    for (int i = 0; i < 4; ++i) rows_[top - 2 * i] = nibbles[2 * i] << 4 | nibbles[2 * i + 1];
  }

  using RoundColumns = std::array<std::uint32_t, kBoxes>;

  [[gnu::noinline]] static void SixteenRounds(V* left, V* right, const RoundColumns* columns) {
    for (int round = 0; round < 16; round += 2) {
      Round(left, right, columns[round], std::make_integer_sequence<int, 8>());
      Round(right, left, columns[round + 1], std::make_integer_sequence<int, 8>());
    }
  }

  template <int... Number>
  [[gnu::always_inline]] static void Round(V* __restrict target, const V* __restrict half,
                                           const RoundColumns& columns,
                                           std::integer_sequence<int, Number...>) {
    const V outputs[8] = {Substituted<Number>(half[Number] ^ Ops::Broadcast(columns[Number]))...};
    (Join<Number>(target[Number], outputs), ...);
  }

  template <int Number>
  [[gnu::always_inline]] static V Substituted(const V& input) {
    if constexpr (requires { Ops::Lookup64(kNarrow.whole[Number], input); })
      return Ops::Lookup64(kNarrow.whole[Number], input);
    else
      return SubstitutedBySixteens<Number>(input);
  }

  // An input has its place in a table in its low four bits; what is added sets the highest bit, and
  // so makes the table give nothing, from the table's bound on.
  template <int Number>
  [[gnu::always_inline]] static V SubstitutedBySixteens(const V& input) {
    const Table16* const tables = kNarrow.box[Number];
    const V below_32 =
        Ops::template Mix<0x96>(Ops::Lookup(tables[0].data(), input),
                                Ops::Lookup(tables[1].data(), Ops::AddBytes(input, 0x50)),
                                Ops::Lookup(tables[2].data(), Ops::AddBytes(input, 0x60)));
    return below_32 ^ Ops::Lookup(tables[3].data(), Ops::AddBytes(input, 0x70));
  }

  // Adds one column of each of six outputs.
  template <int Number>
  [[gnu::always_inline]] static void Join(V& target, const V* outputs) {
    AddColumn<Number, 0>(target, outputs);
    AddColumn<Number, 1>(target, outputs);
    AddColumn<Number, 2>(target, outputs);
    AddColumn<Number, 3>(target, outputs);
    AddColumn<Number, 4>(target, outputs);
    AddColumn<Number, 5>(target, outputs);
  }

  // target ^ (output & column)
  template <int Number, int Column>
  [[gnu::always_inline]] static void AddColumn(V& target, const V* outputs) {
    target = Ops::template Mix<0x6A>(outputs[kNarrow.source[Number][Column]],
                                     Ops::Broadcast(0x01010101u << Column), target);
  }

  V rows_[8];
  V left_[8];
  V right_[8];
};

template <class Ops>
constexpr Kernel kNarrowKernel = {Narrow<Ops>::kLanes, Narrow<Ops>::Run};

}  // namespace
}  // namespace tmx::des
