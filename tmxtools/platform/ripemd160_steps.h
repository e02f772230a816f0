// The steps of RIPEMD-160 over a word that is a number or a vector of numbers, one a lane.
//
// Everything stands in an unnamed namespace: each file that includes this has a copy of its own,
// compiled for its own instruction set, and the linker never takes one for another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tmx::ripemd160 {
namespace {

// Per step: the word and the rotation of the left and of the right line.
constexpr int kLeftWord[80] = {0, 1,  2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12, 13, 14, 15,  //
                               7, 4,  13, 1,  10, 6,  15, 3,  12, 0, 9,  5,  2,  14, 11, 8,   //
                               3, 10, 14, 4,  9,  15, 8,  1,  2,  7, 0,  6,  13, 11, 5,  12,  //
                               1, 9,  11, 10, 0,  8,  12, 4,  13, 3, 7,  15, 14, 5,  6,  2,   //
                               4, 0,  5,  9,  7,  12, 2,  10, 14, 1, 3,  8,  11, 6,  15, 13};
constexpr int kRightWord[80] = {5,  14, 7,  0, 9, 2,  11, 4,  13, 6,  15, 8,  1,  10, 3,  12,  //
                                6,  11, 3,  7, 0, 13, 5,  10, 14, 15, 8,  12, 4,  9,  1,  2,   //
                                15, 5,  1,  3, 7, 14, 6,  9,  11, 8,  12, 2,  10, 0,  4,  13,  //
                                8,  6,  4,  1, 3, 11, 15, 0,  5,  12, 2,  13, 9,  7,  10, 14,  //
                                12, 15, 10, 4, 1, 5,  8,  7,  6,  2,  13, 14, 0,  3,  9,  11};
constexpr int kLeftTurn[80] = {11, 14, 15, 12, 5,  8,  7,  9,  11, 13, 14, 15, 6,  7,  9,  8,   //
                               7,  6,  8,  13, 11, 9,  7,  15, 7,  12, 15, 9,  11, 7,  13, 12,  //
                               11, 13, 6,  7,  14, 9,  13, 15, 14, 8,  13, 6,  5,  12, 7,  5,   //
                               11, 12, 14, 15, 14, 15, 9,  8,  9,  14, 5,  6,  8,  6,  5,  12,  //
                               9,  15, 5,  11, 6,  8,  13, 12, 5,  12, 13, 14, 11, 8,  5,  6};
constexpr int kRightTurn[80] = {8,  9,  9,  11, 13, 15, 15, 5,  7,  7,  8,  11, 14, 14, 12, 6,   //
                                9,  13, 15, 7,  12, 8,  9,  11, 7,  7,  12, 7,  6,  15, 13, 11,  //
                                9,  7,  15, 11, 8,  6,  6,  14, 12, 13, 5,  14, 13, 13, 7,  5,   //
                                15, 5,  8,  11, 14, 14, 6,  14, 6,  9,  12, 9,  12, 5,  15, 8,   //
                                8,  5,  12, 9,  12, 5,  14, 6,  8,  13, 6,  5,  15, 13, 11, 11};
// Per round of 16 steps.
constexpr std::uint32_t kLeftConstant[5] = {0, 0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xA953FD4E};
constexpr std::uint32_t kRightConstant[5] = {0x50A28BE6, 0x5C4DD124, 0x6D703EF3, 0x7A6D76E9, 0};

// The Boolean function of a round.
template <int Round, class Word>
[[gnu::always_inline]] inline constexpr Word Mix(const Word& x, const Word& y, const Word& z) {
  if constexpr (Round == 0) {
    return x ^ y ^ z;
  } else if constexpr (Round == 1) {
    return z ^ (x & (y ^ z));
  } else if constexpr (Round == 2) {
    return (x | ~y) ^ z;
  } else if constexpr (Round == 3) {
    return y ^ (z & (x ^ y));
  } else {
    return x ^ (y | ~z);
  }
}

// How a word is mixed and turned; an instruction set that has one instruction for it derives.
template <class W>
struct PlainWords {
  using Word = W;
  template <int Round>
  [[gnu::always_inline]] static Word Mixed(const Word& x, const Word& y, const Word& z) {
    return Mix<Round, Word>(x, y, z);
  }
  template <int Bits>
  [[gnu::always_inline]] static Word Turned(const Word& x) {
    return (x << Bits) | (x >> (32 - Bits));
  }
};

// Instead of moving five words after each step, the names of the words move: after 80 steps, a
// multiple of five, all stand in their places again.
template <class Words, int Step, int Round, int Turn>
[[gnu::always_inline]] inline void StepLine(typename Words::Word* line,
                                            const typename Words::Word& word,
                                            std::uint32_t constant) {
  constexpr int first = (80 - Step) % 5;
  auto& a = line[first];
  auto& c = line[(first + 2) % 5];
  a += word;
  if (constant != 0) a += constant;
  a += Words::template Mixed<Round>(line[(first + 1) % 5], c, line[(first + 3) % 5]);
  a = Words::template Turned<Turn>(a) + line[(first + 4) % 5];
  c = Words::template Turned<10>(c);
}

template <class Words, int... Step>
[[gnu::always_inline]] inline void AllSteps(typename Words::Word* left, typename Words::Word* right,
                                            const typename Words::Word* block,
                                            std::integer_sequence<int, Step...>) {
  ((StepLine<Words, Step, Step / 16, kLeftTurn[Step]>(left, block[kLeftWord[Step]],
                                                      kLeftConstant[Step / 16]),
    StepLine<Words, Step, 4 - Step / 16, kRightTurn[Step]>(right, block[kRightWord[Step]],
                                                           kRightConstant[Step / 16])),
   ...);
}

// Compresses a block of 16 words into the five words of the state.
template <class Words>
[[gnu::always_inline]] inline void CompressWords(typename Words::Word* state,
                                                 const typename Words::Word* block) {
  using Word = typename Words::Word;
  Word left[5] = {state[0], state[1], state[2], state[3], state[4]};
  Word right[5] = {state[0], state[1], state[2], state[3], state[4]};
  AllSteps<Words>(left, right, block, std::make_integer_sequence<int, 80>{});
  const Word first = state[1] + left[2] + right[3];
  state[1] = state[2] + left[3] + right[4];
  state[2] = state[3] + left[4] + right[0];
  state[3] = state[4] + left[0] + right[1];
  state[4] = state[0] + left[1] + right[2];
  state[0] = first;
}

}  // namespace
}  // namespace tmx::ripemd160
