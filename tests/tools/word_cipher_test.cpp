// Words that take the place of others.
#include "tools/word_cipher.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace tmx::tools {
namespace {

std::string Replaced(std::string word, const WordCipher::Key& key = {1, 2}) {
  WordCipher(key).Replace(word.data(), word.size());
  return word;
}

TEST(WordCipher, KeepsTheShapeAndGivesTheSameWordTheSame) {
  for (const std::string word :
       {"Mustermann", "DE89370400440532013000", "4711", "M\xFCller", "x"}) {
    const std::string replaced = Replaced(word);
    ASSERT_EQ(replaced.size(), word.size());
    for (std::size_t i = 0; i < word.size(); ++i) {
      const auto before = static_cast<unsigned char>(word[i]);
      const auto after = static_cast<unsigned char>(replaced[i]);
      EXPECT_EQ(IsDigit(before), IsDigit(after));
      EXPECT_EQ(IsUpper(before), IsUpper(after));
      EXPECT_LT(after, 0x80);
    }
    EXPECT_EQ(replaced, Replaced(word));
  }
}

TEST(WordCipher, MakesOtherWordsOfAnotherKey) {
  EXPECT_NE(Replaced("Mustermann"), "Mustermann");
  EXPECT_NE(Replaced("Mustermann"), Replaced("Mustermann", {1, 3}));
  EXPECT_NE(Replaced("Mustermann"), Replaced("Mustermann", {2, 2}));
}

TEST(WordCipher, KeepsDistinctWordsDistinct) {
  std::set<std::string> numbers, pairs, mixed;
  for (int i = 0; i < 100000; ++i) numbers.insert(Replaced(std::to_string(100000 + i).substr(1)));
  EXPECT_EQ(numbers.size(), 100000U);
  for (char a = 'a'; a <= 'z'; ++a) {
    for (char b = 'A'; b <= 'Z'; ++b) pairs.insert(Replaced({a, b}));
    for (char b = '0'; b <= '9'; ++b) mixed.insert(Replaced({a, b, 'X'}));
  }
  EXPECT_EQ(pairs.size(), 676U);
  EXPECT_EQ(mixed.size(), 260U);
  std::set<std::string> digits;
  for (char a = '0'; a <= '9'; ++a) digits.insert(Replaced({a}));
  EXPECT_EQ(digits.size(), 10U);
}

TEST(WordCipher, DoesNotCarryEqualBeginningsOver) {
  const std::string one = Replaced("DE89370400440532013000"),
                    two = Replaced("DE89370400440532013001");
  std::size_t equal = 0;
  for (std::size_t i = 0; i < one.size(); ++i) equal += one[i] == two[i];
  EXPECT_LT(equal, 12U);  // about two by chance
}

TEST(WordCipher, TakesItsLongestWord) {
  const std::string word(WordCipher::kLongest, 'a'), replaced = Replaced(word);
  EXPECT_EQ(replaced.find_first_not_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos);
  EXPECT_GT(std::set<char>(replaced.begin(), replaced.end()).size(), 10U);
}

}  // namespace
}  // namespace tmx::tools
