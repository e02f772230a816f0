#include "tmxtools/streams/masking.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/long_run.h"
#include "tests/support/reference_masking.h"
#include "tmxtools/platform/cpu_features.h"
#include "tmxtools/platform/syntax_scan.h"

namespace {

using tmx::CpuLevel;
using tmx::MaskingList;
using tmx::MessageMasker;

std::string Mask(std::string message, const MaskingList& list = {}) {
  MessageMasker(list).Mask(message.data(), message.size());
  return message;
}

std::string ByteByByte(std::string message) {
  tmx::ReferenceMasker(MaskingList::kFixedList).Mask(message.data(), message.size());
  return message;
}

TEST(Masking, IkpanKeepsItsSeparatorsAndLosesElements2And3) {
  EXPECT_EQ(Mask("IKPAN:4:2:3+ab:c?'d+?+e@f'IKPAN:5:2+g+h+i'"),
            "IKPAN:4:2:3+**:****+***@f'IKPAN:5:2+g+h+i'");
  EXPECT_EQ(Mask("IKPAN:4:2:3+1234:280+geheim?+wort?'+sichtbar'"),
            "IKPAN:4:2:3+****:***+**************+sichtbar'");
}

TEST(Masking, EveryListedElementIsMasked) {
  const auto masked = [](const std::string& code) { return Mask(code + ":5:2+a+b+c+d+e'"); };
  EXPECT_EQ(masked("IKPAN"), "IKPAN:5:2+*+*+c+d+e'");
  EXPECT_EQ(masked("IKPAZ"), "IKPAZ:5:2+*+*+c+d+e'");
  EXPECT_EQ(masked("IKIDP"), "IKIDP:5:2+a+b+*+d+e'");
  EXPECT_EQ(masked("IIIDP"), "IIIDP:5:2+*+b+c+d+e'");
  EXPECT_EQ(masked("IKIDS"), "IKIDS:5:2+*+b+c+d+e'");
  EXPECT_EQ(masked("IIPAN"), "IIPAN:5:2+*+b+c+d+e'");
  EXPECT_EQ(masked("IKSTA"), "IKSTA:5:2+*+b+*+d+e'");
  EXPECT_EQ(masked("IITAB"), "IITAB:5:2+a+*+c+d+e'");
  EXPECT_EQ(masked("HNSHA"), "HNSHA:5:2+a+b+*+d+e'");
  EXPECT_EQ(masked("DKPAE"), "DKPAE:5:2+*+b+c+d+e'");
  EXPECT_EQ(masked("HNSHK"), "HNSHK:5:2+a+b+c+d+e'");
  EXPECT_EQ(masked("HIPINS"), "HIPINS:5:2+a+b+c+d+e'");
}

TEST(Masking, BinaryDataInsideAMaskedElementIsCopiedUnchanged) {
  EXPECT_EQ(Mask("DKPAE:3:1+ab@5@c'+:dxy:z'"), "DKPAE:3:1+**@5@c'+:d**:*'");
}

TEST(Masking, SegmentsInsideHnvsdAreMaskedLikeTopLevelOnes) {
  EXPECT_EQ(Mask("HNVSD:999:1+@46@HKIDN:3:2+280:1+u'HNSHA:4:2+1++pin:1234'''HNHBS:5:1+1'"),
            "HNVSD:999:1+@46@HKIDN:3:2+280:1+u'HNSHA:4:2+1++***:****'''HNHBS:5:1+1'");
}

TEST(Masking, BinaryDataOutsideHnvsdIsNoSegment) {
  EXPECT_EQ(Mask("HIKAZ:4:5+@18@'HNSHA:6:2+1++pin''HNSHA:5:2+1++pin'"),
            "HIKAZ:4:5+@18@'HNSHA:6:2+1++pin''HNSHA:5:2+1++***'");
}

TEST(Masking, AnEscapedQuoteEndsNoSegment) {
  EXPECT_EQ(Mask("HIRMS:3:2+0020::Bitte?'HNSHA:6:2+1++pin'HNSHA:5:2+1++pin'"),
            "HIRMS:3:2+0020::Bitte?'HNSHA:6:2+1++pin'HNSHA:5:2+1++***'");
}

// Entries are found by prefix, on purpose: a segment that is cut short loses rather too much.
TEST(Masking, TheFirstEntryThatBeginsWithTheSegmentkennungIsTaken) {
  EXPECT_EQ(Mask("IK:1:1+a+b+c+d'"), "IK:1:1+*+*+c+d'");
  EXPECT_EQ(Mask("IKS:1:1+a+b+c+d'"), "IKS:1:1+*+b+*+d'");
  EXPECT_EQ(Mask("II:1:1+a+b+c+d'"), "II:1:1+*+b+c+d'");
  EXPECT_EQ(Mask(":1:1+a+b+c+d'"), ":1:1+*+*+c+d'");
  EXPECT_EQ(Mask("IKPANX:1:1+a+b'"), "IKPANX:1:1+a+b'");
}

TEST(Masking, WithoutAGroupElementBehindItASegmentkennungIsNotLookedUp) {
  EXPECT_EQ(Mask("IKPAN+a:b+c'"), "IKPAN+a:b+c'");
}

TEST(Masking, EscapedBytesAreNoPartOfTheSegmentkennung) {
  EXPECT_EQ(Mask("IK?xPAN:1:1+a+b'"), "IK?xPAN:1:1+*+*'");
}

// A length is ended by "@" alone, on purpose; until then nothing is masked.
TEST(Masking, ALoneAtSignReadsALengthAcrossSegments) {
  EXPECT_EQ(Mask("HIRMS:3:2+a@b'HNSHA:5:2+1++pin'"), "HIRMS:3:2+a@b'HNSHA:5:2+1++pin'");
  EXPECT_EQ(Mask("HIRMS:3:2+a@2'@xyHNSHA:5:2+1++pin'"), "HIRMS:3:2+a@2'@xyHNSHA:5:2+1++***'");
}

TEST(Masking, ALengthThatIsNoPositiveNumberSkipsNothing) {
  for (const char* length : {"", "0", "-3", "x", "4294967296", "3000000000"}) {
    const std::string start = std::string("DKPAE:3:1+@") + length + "@";
    EXPECT_EQ(Mask(start + "abc'"), start + "***'") << length;
  }
  EXPECT_EQ(Mask("DKPAE:3:1+@ 2x@abc'"), "DKPAE:3:1+@ 2x@ab*'");
}

TEST(Masking, AHostCanAddEntriesForOneList) {
  MaskingList list;
  ASSERT_TRUE(list.Add("HKTAN+6;HKUEBERLANG+2"));
  ASSERT_TRUE(list.Add("HNSHA+2"));
  EXPECT_EQ(Mask("HKTAN:5:6+2+a+b+c+d+e'HKUEBERLANG:1:1+a+b'HNSHA:5:2+1+2+3'", list),
            "HKTAN:5:6+2+a+b+c+*+e'HKUEBERLANG:1:1+*+b'HNSHA:5:2+*+2+*'");
  EXPECT_EQ(Mask("HKTAN:5:6+2+a+b+c+d+e'"), "HKTAN:5:6+2+a+b+c+d+e'");
}

TEST(Masking, MalformedEntriesAreRefusedAndChangeNothing) {
  MaskingList list;
  for (const char* text :
       {";", "HKTAN", "HKTAN+", "+2", "HKTAN+1", "HKTAN+0", "HKTAN+2+", "HKTAN+x", "HKTAN+65536",
        "HKTAN+2;", "HKTAN+2;;HKUEB+2", "HK:N+2", "HK'N+2", "ABCDEFGHIJKLMNOP+2", "HKTAN+-2",
        "HKTAN+2 ", " HKTAN+2", "HKTAN+2;X"})
    EXPECT_FALSE(list.Add(text)) << text;
  EXPECT_TRUE(list.Add(""));
  EXPECT_EQ(Mask("HKTAN:5:6+2'", list), "HKTAN:5:6+2'");
}

TEST(Masking, ManyAddedEntriesAreAllFound) {
  MaskingList list;
  const auto name = [](int i) { return "X" + std::to_string(1000 + i) + "ABCDEF"; };
  const auto letters = [](int i) {
    return std::string{'Q', static_cast<char>('A' + i / 26), static_cast<char>('A' + i % 26)};
  };
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(list.Add(name(i) + "+2"));
    ASSERT_TRUE(list.Add(letters(i) + "XYZ+3"));
  }
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(Mask(name(i) + ":1:1+a+b'", list), name(i) + ":1:1+*+b'");
    EXPECT_EQ(Mask(letters(i) + "XYZ:1:1+a+b'", list), letters(i) + "XYZ:1:1+a+*'");
    EXPECT_EQ(Mask(letters(i) + "XZZ:1:1+a+b'", list), letters(i) + "XZZ:1:1+a+b'");
  }
}

// ---- against the rules byte by byte -------------------------------------------------------------

// Pieces of messages, well formed and not, with lengths around those of the vectors.
class Messages {
 public:
  explicit Messages(unsigned seed) : random_(seed) {}

  std::string Next() {
    std::string text;
    const std::size_t parts = Below(14);
    for (std::size_t i = 0; i < parts; ++i) text += Part();
    return text;
  }
  std::size_t Below(std::size_t limit) { return random_() % limit; }

 private:
  std::string Plain(std::size_t length) {
    std::string text;
    while (text.size() < length) text += static_cast<char>('a' + Below(26));
    return text;
  }
  std::string Noise(std::size_t length) {
    static constexpr std::string_view kBytes = "''++::??@@0123 -aIKPHNVSD\xFF";
    std::string text;
    while (text.size() < length) text += kBytes[Below(kBytes.size())];
    return text;
  }
  std::string Head() {
    static constexpr const char* kCodes[] = {
        "IKPAN", "HNSHA", "HNVSD", "HIRMS", "HIPINS", "IK",     "DKPAE", "IKPANX",
        "",      "I?K",   "HNHBK", "IKSTA", "HNVS",   "HNSHAB", "hnsha", "H@0@NVSD"};
    return std::string(kCodes[Below(std::size(kCodes))]) + (Below(8) == 0 ? "" : ":4:2");
  }
  std::string Element() {
    switch (Below(6)) {
      case 0:
        return Plain(Below(80));
      case 1:
        return Plain(Below(5)) + "?" + Noise(1) + Plain(Below(60));
      case 2: {
        const std::string bytes = Noise(Below(200));
        return "@" + std::to_string(bytes.size() + Below(3)) + "@" + bytes;
      }
      case 3:
        return "@" + Noise(Below(4)) + "@" + Plain(Below(10));
      default:
        return Plain(Below(9)) + ":" + Plain(Below(9));
    }
  }
  std::string Part() {
    if (Below(10) == 0) return Noise(Below(70));
    std::string segment = Head();
    for (std::size_t i = Below(6); i != 0; --i) segment += "+" + Element();
    return segment + (Below(20) == 0 ? "" : "'");
  }

  std::mt19937 random_;
};

class MaskingOnEveryLevel : public testing::TestWithParam<CpuLevel> {
 protected:
  void SetUp() override {
    if (GetParam() > tmx::DetectedCpuLevel()) GTEST_SKIP() << "this processor cannot do it";
  }
};

TEST_P(MaskingOnEveryLevel, GivesTheBytesOfTheRulesForAnyMessageAndAnyCut) {
  const tmx::ScopedCpuLevel level(GetParam());
  Messages messages(7);
  const MaskingList list;
  const int runs = tmx::test::Runs(20000, 2000000);
  std::size_t masked = 0;
  for (int run = 0; run < runs; ++run) {
    const std::string message = messages.Next();
    const std::string expected = ByteByByte(message);
    masked += expected != message;
    ASSERT_EQ(Mask(message), expected);
    std::string in_pieces = message;
    MessageMasker masker(list);
    for (std::size_t at = 0; at < message.size();) {
      const std::size_t count =
          std::min(message.size() - at, messages.Below(messages.Below(3) == 0 ? 200 : 8));
      // Pieces of their own, so that reading beyond one is noticed.
      std::string piece = in_pieces.substr(at, count);
      masker.Mask(piece.data(), piece.size());
      in_pieces.replace(at, count, piece);
      at += count;
    }
    ASSERT_EQ(in_pieces, expected) << message;
  }
  EXPECT_GT(masked, static_cast<std::size_t>(runs / 4));
}

TEST_P(MaskingOnEveryLevel, GivesTheBytesOfTheRulesForLongMessages) {
  const tmx::ScopedCpuLevel level(GetParam());
  Messages messages(8);
  for (int run = 0; run < 20; ++run) {
    std::string message;
    while (message.size() < 100000) message += messages.Next();
    ASSERT_EQ(Mask(message), ByteByByte(message));
  }
}

TEST_P(MaskingOnEveryLevel, FindsEveryByteThatIsASyntaxCharacter) {
  const tmx::SyntaxScan& scan = tmx::SyntaxScanFor(GetParam());
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t at = 0; at < 128; ++at) {
      std::string data(128, byte == 'x' ? 'y' : 'x');
      data[at] = static_cast<char>(byte);
      tmx::SyntaxBits found[2];
      scan.find_ends(data.data(), 2, found);
      const std::uint64_t bit = std::uint64_t{1} << (at % 64);
      const tmx::SyntaxBits& there = found[at / 64];
      const tmx::SyntaxBits& elsewhere = found[1 - at / 64];
      ASSERT_EQ(there.ends, byte == '\'' ? bit : 0);
      ASSERT_EQ(there.specials, byte == '?' || byte == '@' ? bit : 0);
      ASSERT_EQ(elsewhere.ends | elsewhere.specials, 0u);
      const bool is_syntax = std::string_view("'+:?@").find(data[at]) != std::string_view::npos;
      ASSERT_EQ(scan.find_all(data.data() + at / 64 * 64), is_syntax ? bit : 0);
    }
  }
}

std::string LevelName(const testing::TestParamInfo<CpuLevel>& level) {
  static constexpr const char* kNames[] = {"Portable", "Avx2", "Avx512"};
  return kNames[static_cast<int>(level.param)];
}

INSTANTIATE_TEST_SUITE_P(Level, MaskingOnEveryLevel,
                         testing::Values(CpuLevel::Portable, CpuLevel::Avx2, CpuLevel::Avx512),
                         LevelName);

}  // namespace
