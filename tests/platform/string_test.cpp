#include "tmxtools/platform/string.h"

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/print.h"

namespace {

const std::string kLong(100, 'x');
const std::string kFull(65535, 'f');

String FullText() { return String(std::string_view(kFull)); }

TEST(String, IsEmptyByDefaultAndFromNull) {
  EXPECT_EQ(String().Len(), 0);
  EXPECT_STREQ(String().Data(), "");
  EXPECT_EQ(String(static_cast<const char*>(nullptr)), String());
  EXPECT_EQ(String(nullptr, 5), String());
}

TEST(String, HoldsTextsAroundTheInlineLimit) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string bytes(length, 'a');
    const String text{std::string_view(bytes)};
    const String copy = text;
    EXPECT_EQ(text.Len(), length);
    EXPECT_EQ(copy.View(), bytes);
    EXPECT_STREQ(copy.Data(), bytes.c_str());
  }
}

TEST(String, KeepsEveryByteValue) {
  std::string bytes;
  for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
  const String text(bytes.data(), 256);
  EXPECT_EQ(text.View(), bytes);
  EXPECT_EQ(text.At(255), '\xFF');
}

TEST(String, ComparesAsUnsignedBytes) {
  EXPECT_LT(String("a"), String("\xE4"));
  EXPECT_LT(String("ab"), String("abc"));
  EXPECT_LT(String("Z"), "a");
  EXPECT_GT(String("b"), std::string_view("a"));
  EXPECT_EQ(String("abc"), "abc");
  EXPECT_NE(String("abc", 2), "abc");
  EXPECT_NE(String(std::string_view("a\0b", 3)), String(std::string_view("a\0c", 3)));
}

TEST(String, AppendingAndComparingSeeEveryByteOfEveryLength) {
  const std::string bytes = "0123456789abcdefghijklmnopqrstuvwxyz";
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    const std::string piece = bytes.substr(0, length);
    String text(">");
    text += std::string_view(piece);
    EXPECT_EQ(text.View(), ">" + piece);
    for (std::uint16_t i = 0; i < text.Len(); ++i) {
      String other = text;
      EXPECT_TRUE(other == text);
      other.Set(i, '#');
      EXPECT_FALSE(other == text) << length << " " << i;
    }
  }
}

TEST(String, AssigningAPartOfItselfMayOverlap) {
  const std::string bytes = "0123456789abcdefghijklmnopqrstuvwxyz";
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    for (std::size_t start = 0; start + length <= bytes.size(); ++start) {
      String text{std::string_view(bytes)};
      text.Assign(text.View().substr(start, length));
      EXPECT_EQ(text.View(), bytes.substr(start, length));
    }
  }
}

TEST(String, CopiesShareUntilOneIsChanged) {
  String first{std::string_view(kLong)};
  String second = first;
  EXPECT_EQ(first.Data(), second.Data());
  second.Set(0, 'y');
  EXPECT_EQ(first.View(), kLong);
  EXPECT_EQ(second.At(0), 'y');
  String third = first;
  third += '!';
  EXPECT_EQ(first.View(), kLong);
  EXPECT_EQ(third.View(), kLong + "!");
  String fourth = first;
  fourth.Clear();
  EXPECT_EQ(first.View(), kLong);
  EXPECT_TRUE(fourth.IsEmpty());
}

TEST(String, MovedFromIsEmpty) {
  String from{std::string_view(kLong)};
  const String to = std::move(from);
  EXPECT_TRUE(from.IsEmpty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(to.View(), kLong);
}

TEST(String, AssignsToItself) {
  String text{std::string_view(kLong)};
  const String& same = text;
  text = same;
  EXPECT_EQ(text.View(), kLong);
}

TEST(String, AssignsPartsOfItself) {
  for (const std::string& bytes : {std::string("0123456789"), kLong + "tail"}) {
    String text{std::string_view(bytes)};
    text.Assign(text.View().substr(3));
    EXPECT_EQ(text.View(), bytes.substr(3));
    String shared = text;
    text.Assign(text.View().substr(1, 2));
    EXPECT_EQ(text.View(), bytes.substr(4, 2));
    EXPECT_EQ(shared.View(), bytes.substr(3));
  }
}

TEST(String, AppendsItself) {
  String text("0123456789");
  std::string expected("0123456789");
  for (int i = 0; i < 6; ++i) {
    text += text;
    expected += expected;
    EXPECT_EQ(text.View(), expected);
  }
  text.Append(text.View().substr(7, 30));
  expected += std::string(expected, 7, 30);
  EXPECT_EQ(text.View(), expected);
}

TEST(String, ClearKeepsAnUnsharedBuffer) {
  String text{std::string_view(kLong)};
  const char* const before = text.Data();
  text.Clear();
  text.Assign(kLong);
  EXPECT_EQ(text.Data(), before);
}

TEST(String, AppendsByteByByteToTheLimit) {
  String text;
  for (const char byte : kFull) text += byte;
  EXPECT_EQ(text.View(), kFull);
}

TEST(String, ReserveSavesAllocations) {
  String text("a");
  text.Reserve(1000);
  const char* const before = text.Data();
  for (int i = 0; i < 999; ++i) text += 'b';
  EXPECT_EQ(text.Data(), before);
  EXPECT_EQ(text.Len(), 1000);
}

TEST(String, LongerThanTheLimitThrowsAndChangesNothing) {
  String text = FullText();
  EXPECT_THROW(text += 'x', std::length_error);
  EXPECT_THROW(text += text, std::length_error);
  EXPECT_THROW(text.Insert("x", 0), std::length_error);
  EXPECT_EQ(text.View(), kFull);
  const std::string too_long(65536, 'x');
  EXPECT_THROW(String{std::string_view(too_long)}, std::length_error);
  EXPECT_THROW(String{too_long.c_str()}, std::length_error);
  EXPECT_THROW(text = too_long.c_str(), std::length_error);
  EXPECT_EQ(text.View(), kFull);
  text += "";
  text.Insert("", 3);
  EXPECT_EQ(text.View(), kFull);
}

TEST(String, AtAndSetBeyondTheEndDoNothing) {
  String text("ab");
  EXPECT_EQ(text.At(1), 'b');
  EXPECT_EQ(text.At(2), '\0');
  EXPECT_EQ(text.At(0xFFFF), '\0');
  text.Set(2, 'x');
  text.Set(0xFFFF, 'x');
  EXPECT_EQ(text, "ab");
}

TEST(String, SubClampsPositionAndCount) {
  const String text("abcdef");
  EXPECT_EQ(text.Sub(2, 3), "cde");
  EXPECT_EQ(text.Sub(2), "cdef");
  EXPECT_EQ(text.Sub(4, 9), "ef");
  EXPECT_EQ(text.Sub(6, 1), "");
  EXPECT_EQ(text.Sub(0xFFFF, 0xFFFF), "");
  EXPECT_EQ(text.Sub(0, 0), "");
}

TEST(String, InsertClampsPosition) {
  EXPECT_EQ(String("ad").Insert("bc", 1), "abcd");
  EXPECT_EQ(String("ad").Insert("bc", 9), "adbc");
  EXPECT_EQ(String().Insert("bc", 0xFFFF), "bc");
  String text("ab");
  text.Insert(text, 1);
  EXPECT_EQ(text, "aabb");
}

TEST(String, EraseClampsPositionAndCount) {
  EXPECT_EQ(String("abcd").Erase(1, 2), "ad");
  EXPECT_EQ(String("abcd").Erase(1), "a");
  EXPECT_EQ(String("abcd").Erase(3, 0xFFFF), "abc");
  EXPECT_EQ(String("abcd").Erase(4, 1), "abcd");
  EXPECT_EQ(String("abcd").Erase(0), "");
}

TEST(String, FindGivesThePositionOrNotFound) {
  const String text("abcabc");
  EXPECT_EQ(text.Find('b'), 1);
  EXPECT_EQ(text.Find('b', 2), 4);
  EXPECT_EQ(text.Find('x'), 0xFFFF);
  EXPECT_EQ(text.Find('a', 0xFFFF), String::NotFound);
  EXPECT_EQ(text.Find("ca", 1), 2);
  EXPECT_EQ(text.Find("ca", 3), String::NotFound);
  EXPECT_EQ(FullText().Insert("", 0).Find('f', 65534), 65534);
}

TEST(String, FindNeverFindsTheEmptyText) {
  EXPECT_EQ(String("abc").Find(""), String::NotFound);
  EXPECT_EQ(String().Find(""), String::NotFound);
}

TEST(String, TokenCountOfTheEmptyTextIsZero) {
  EXPECT_EQ(String().GetTokenCount(';'), 0);
  EXPECT_EQ(String("a").GetTokenCount(';'), 1);
  EXPECT_EQ(String(";").GetTokenCount(';'), 2);
  EXPECT_EQ(String("a;b;").GetTokenCount(';'), 3);
}

TEST(String, TokenCountStopsAtItsRange) { EXPECT_EQ(FullText().GetTokenCount('f'), 65535); }

TEST(String, TokenGivesTheFieldOrNothing) {
  const String text("a;;cd");
  EXPECT_EQ(text.Token(0, ';'), "a");
  EXPECT_EQ(text.Token(1, ';'), "");
  EXPECT_EQ(text.Token(2, ';'), "cd");
  EXPECT_EQ(text.Token(3, ';'), "");
  EXPECT_EQ(text.Token(0xFFFF, ';'), "");
  EXPECT_EQ(text.Token(0, ','), "a;;cd");
}

TEST(String, TrimRemovesOneByteValueAtAnEnd) {
  EXPECT_EQ(String("00120").TrimLeft('0'), "120");
  EXPECT_EQ(String("00120").TrimRight('0'), "0012");
  EXPECT_EQ(String("000").TrimLeft('0'), "");
  EXPECT_EQ(String("000").TrimRight('0'), "");
  EXPECT_EQ(String("a").TrimLeft('0').TrimRight('0'), "a");
  EXPECT_EQ(String().TrimLeft('0').TrimRight('0'), "");
  EXPECT_EQ(FullText().TrimLeft('f'), "");
  EXPECT_EQ(FullText().TrimRight('f'), "");
}

TEST(String, RemoveSetAndReplaceSet) {
  EXPECT_EQ(String("1.234,5").RemoveSet(".,"), "12345");
  EXPECT_EQ(String("1.234,5").ReplaceSet(".,", ' '), "1 234 5");
  EXPECT_EQ(String("abc").RemoveSet(""), "abc");
  String text("abcabc");
  text.RemoveSet(text);
  EXPECT_EQ(text, "");
}

TEST(String, LineEndsBecomeLF) {
  EXPECT_EQ(String("a\r\nb\rc\nd\r").LineEndsToLF(), "a\nb\nc\nd\n");
  EXPECT_EQ(String("\r\r\n\n\r").LineEndsToLF(), "\n\n\n\n");
  EXPECT_EQ(String("abc").LineEndsToLF(), "abc");
}

TEST(String, PadToFillsAndNeverCuts) {
  EXPECT_EQ(String("ab").PadTo(4, '.'), "ab..");
  EXPECT_EQ(String("ab").PadTo(2, '.'), "ab");
  EXPECT_EQ(String("ab").PadTo(1, '.'), "ab");
  EXPECT_EQ(String().PadTo(65535, 'f'), FullText());
}

TEST(String, ToIntReadsBlanksSignAndDigits) {
  EXPECT_EQ(String("42").ToInt(), 42);
  EXPECT_EQ(String("  -17x9").ToInt(), -17);
  EXPECT_EQ(String("+8").ToInt(), 8);
  EXPECT_EQ(String("").ToInt(), 0);
  EXPECT_EQ(String("x").ToInt(), 0);
  EXPECT_EQ(String("- 5").ToInt(), 0);
  EXPECT_EQ(String("-2147483648").ToInt(), INT32_MIN);
}

TEST(String, ToIntWrapsTo32Bits) {
  EXPECT_EQ(String("2147483648").ToInt(), INT32_MIN);
  EXPECT_EQ(String("4294967297").ToInt(), 1);
}

TEST(String, FromIntWritesDecimal) {
  EXPECT_EQ(String::FromInt(0), "0");
  EXPECT_EQ(String::FromInt(-65536), "-65536");
  EXPECT_EQ(String::FromInt(INT64_MIN), "-9223372036854775808");
}

TEST(String, Concatenates) {
  EXPECT_EQ(String("a") + String("b") + "c" + 'd', "abcd");
  EXPECT_EQ("a" + String("b"), "ab");
  EXPECT_EQ(String("a") + std::string_view("bc"), "abc");
}

TEST(String, AgreesWithTheStandardStringOnRandomEdits) {
  std::mt19937 random(20240229);
  const auto pick = [&](std::size_t limit) { return static_cast<std::uint16_t>(random() % limit); };
  String text;
  std::string model;
  std::vector<std::pair<String, std::string>> kept;  // copies that must not change
  for (int step = 0; step < 20000; ++step) {
    const std::string piece(pick(20), static_cast<char>('a' + pick(26)));
    const std::uint16_t position = pick(model.size() + 1);
    const std::uint16_t count = pick(30);
    switch (pick(6)) {
      case 0:
        text += std::string_view(piece);
        model += piece;
        break;
      case 1:
        text.Insert(String(std::string_view(piece)), position);
        model.insert(position, piece);
        break;
      case 2:
        text.Erase(position, count);
        model.erase(position, count);
        break;
      case 3:
        text = text.Sub(position / 4);
        model = model.substr(position / 4);
        break;
      case 4:
        text.Append(text.View().substr(position, count));
        model.append(std::string(model, position, count));
        break;
      default:
        kept.emplace_back(text, model);
        if (kept.size() > 8) kept.erase(kept.begin());
    }
    if (model.size() > 300) {
      text.Erase(100);
      model.erase(100);
    }
    ASSERT_EQ(text.View(), model) << step;
    ASSERT_EQ(text.Data()[text.Len()], '\0');
    for (const auto& [copy, expected] : kept) ASSERT_EQ(copy.View(), expected) << step;
  }
}

TEST(String, CopiesInSeveralThreadsKeepTheirBuffer) {
  const String text{std::string_view(kLong)};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&text] {
      for (int round = 0; round < 2000; ++round) {
        String copy = text;
        const String second = copy;
        copy += 'x';
        ASSERT_EQ(second.View(), kLong);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(text.View(), kLong);
}

}  // namespace
