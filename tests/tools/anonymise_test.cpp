// What stays of a log that is made anonymous.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tmxtools/platform/memory_stream.h"
#include "tools/shown_log.h"

namespace tmx::tools {
namespace {

std::string TextOf(const Produce& produce) {
  std::string text;
  produce([&](std::string_view piece) { text += piece; });
  return text;
}

// Bytes as a block of a log of their own.
class Shown {
 public:
  Shown(LogBlock::Kind kind, const std::string& bytes, bool anonymise = true)
      : log_(stream_, anonymise ? std::optional<Anonymiser>(WordCipher::Key{1, 2}) : std::nullopt) {
    stream_.Write(bytes.data(), bytes.size());
    block_.kind = kind;
    block_.length = static_cast<std::uint32_t>(bytes.size());
  }
  std::string Body() { return TextOf(log_.Body(block_)); }
  // The elements of all segments, one segment a text, each element behind a "|".
  std::vector<std::string> Segments() {
    std::vector<std::string> all;
    SegmentReader segments = log_.Segments(block_);
    while (segments.NextSegment()) {
      std::string& text = all.emplace_back(segments.IsInside() ? ">" : "");
      for (GroupElement group; segments.NextElement(group);) {
        text += group.is_binary ? "|@" : "|";
        if (!segments.IsContainer()) text += TextOf(log_.Text(segments, group));
      }
    }
    return all;
  }

 private:
  SvMemoryStream stream_;
  LogBlock block_;
  ShownLog log_;
};

std::vector<std::string> Anonymous(const std::string& message) {
  return Shown(LogBlock::Kind::Message, message).Segments();
}
std::string Word(const std::string& word) { return Shown(LogBlock::Kind::Info, word).Body(); }

TEST(Anonymise, KeepsWhatIsListedAndReplacesTheRest) {
  EXPECT_EQ(Anonymous("HNHBK:1:3+000000000300+300+D1+2'"),
            std::vector<std::string>{"|HNHBK|1|3|000000000300|300|D1|2"});
  EXPECT_EQ(Anonymous("HIRMS:2:2:3+0030::Herr Mustermann'"),
            std::vector<std::string>{"|HIRMS|2|2|3|0030||" + Word("Herr Mustermann")});
  EXPECT_EQ(Anonymous("HIXYZ:2:2:3+Mustermann:4711'"),
            std::vector<std::string>{"|HIXYZ|2|2|3|" + Word("Mustermann") + "|" + Word("4711")});
  EXPECT_EQ(Anonymous("HIKAZS:2:2:3+Mustermann'"),
            std::vector<std::string>{"|HIKAZS|2|2|3|Mustermann"});
}

TEST(Anonymise, KeepsWhatNamesNobodyInEverySegment) {
  EXPECT_EQ(Anonymous("HIXYZ:2:2:3+J:EUR+HKCCS+N'"),
            std::vector<std::string>{"|HIXYZ|2|2|3|J|EUR|HKCCS|N"});
  // Names in capital letters are not taken for a currency or a code.
  for (const std::string name : {"MAX", "EURO", "HILDE", "HK", "HKohl"}) {
    const std::string replaced = Anonymous("HIXYZ:2:2:3+" + name + "'").at(0);
    EXPECT_EQ(replaced, "|HIXYZ|2|2|3|" + Word(name));
    EXPECT_NE(replaced, "|HIXYZ|2|2|3|" + name);
  }
}

TEST(Anonymise, KeepsDatesAndTimesWhereASegmentHasThem) {
  EXPECT_EQ(Anonymous("HKKAZ:3:5+4711+N+20261101+20261121'"),
            std::vector<std::string>{"|HKKAZ|3|5|" + Word("4711") + "|N|20261101|20261121"});
  EXPECT_EQ(Anonymous("HISAL:5:5:3+4711+Giro+EUR+C:123,45:EUR:20261121:153000'"),
            std::vector<std::string>{"|HISAL|5|5|3|" + Word("4711") + "|" + Word("Giro") +
                                     "|EUR|C|" + Word("123,45") + "|EUR|20261121|153000"});
  // An account number in their place is no date, and neither is a day of birth elsewhere.
  EXPECT_EQ(Anonymous("HKKAZ:3:5+20261121+N+20261399+19000101'"),
            std::vector<std::string>{"|HKKAZ|3|5|" + Word("20261121") + "|N|" + Word("20261399") +
                                     "|" + Word("19000101")});
}

TEST(Anonymise, KeepsTheSecurityOfAMessageButTheUser) {
  EXPECT_EQ(Anonymous("HNSHK:2:4+PIN:2+942+4711+1+1+1::SYS123+1+1:20261121:153000+1:999:1+6:10:16"
                      "+280:99900011:mueller:S:0:0'"),
            std::vector<std::string>{"|HNSHK|2|4|PIN|2|942|4711|1|1|1||" + Word("SYS123") +
                                     "|1|1|20261121|153000|1|999|1|6|10|16|280|" +
                                     Word("99900011") + "|" + Word("mueller") + "|S|0|0"});
}

TEST(Anonymise, ReplacesTextInThePlaceOfAHead) {
  EXPECT_EQ(Anonymous("Herr Mustermann:1'"),
            std::vector<std::string>{"|" + Word("Herr Mustermann") + "|1"});
}

TEST(Anonymise, GivesAWordTheSameReplacementEverywhere) {
  const std::string xml = Shown(LogBlock::Kind::Xml, "<a b=\"Mustermann\">Mustermann</a>").Body();
  EXPECT_EQ(xml, "<a b=\"" + Word("Mustermann") + "\">" + Word("Mustermann") + "</a>");
  EXPECT_EQ(Anonymous("HIXYZ:1+@10@Mustermann'").at(0), "|HIXYZ|1|@" + Word("Mustermann"));
}

TEST(Anonymise, LooksIntoContainers) {
  const auto all = Anonymous("HNVSD:999:1+@31@HNSHK:2:4+PIN:1+942+Mustermann''HNBHS:1:1'");
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0], "||||@");
  EXPECT_EQ(all[1], ">|HNSHK|2|4|PIN|1|942|Mustermann");  // the security reference stays
}

TEST(Anonymise, KeepsTheFormOfXml) {
  const auto body = [](const std::string& xml) { return Shown(LogBlock::Kind::Xml, xml).Body(); };
  const std::string max = Word("Max");
  EXPECT_EQ(body("<?xml version=\"1.0\"?>"), "<?xml version=\"1.0\"?>");
  EXPECT_EQ(body("Max&amp;Max"), max + "&amp;" + max);
  EXPECT_EQ(body("Max&Mustermann;"), max + "&" + Word("Mustermann") + ";");
  EXPECT_EQ(body("<a b='Max' c=\"Max>Max"), "<a b='" + max + "' c=\"" + max + ">" + max);
  EXPECT_EQ(body("<"), "<");
  EXPECT_EQ(body("<a b='"), "<a b='");
}

TEST(Anonymise, KeepsTheCodesOfOrdersInLinesOfInformation) {
  const std::string line = Shown(LogBlock::Kind::Info, "HKCCS of Mustermann").Body();
  EXPECT_EQ(line, "HKCCS " + Word("of") + " " + Word("Mustermann"));
  EXPECT_NE(line, "HKCCS of Mustermann");
}

TEST(Anonymise, ReplacesLongWordsInPieces) {
  const std::string word(100000, 'a');
  const std::string replaced = Word(word);
  ASSERT_EQ(replaced.size(), word.size());
  EXPECT_EQ(replaced.substr(0, 64), replaced.substr(64, 64));
  EXPECT_EQ(replaced.substr(0, 64), Word(std::string(64, 'a')));
}

TEST(SegmentReader, ReadsWhateverItIsGiven) {
  const auto read = [](const std::string& message) {
    return Shown(LogBlock::Kind::Message, message, false).Segments();
  };
  using All = std::vector<std::string>;
  EXPECT_EQ(read(""), All{});
  EXPECT_EQ(read("\r\n\n"), All{});
  EXPECT_EQ(read("A:1+b'\n"), All{"|A|1|b"});
  EXPECT_EQ(read("A?'B+c?"), All{"|A'B|c?"});
  EXPECT_EQ(read("A+@3@b'c+d"), All{"|A|@b'c|d"});
  EXPECT_EQ(read("A+@9@b'c"), (All{"|A|@9@b", "|c"}));
  EXPECT_EQ(read("A+@0003@b'c"), All{"|A|@b'c"});
  EXPECT_EQ(read("A+@4294967296@b+@@c+@"), All{"|A|@4294967296@b|@@c|@"});
  EXPECT_EQ(read("HNVSD+@5@A'B+c'D"), (All{"||@", ">|A", ">|B|c", "|D"}));
  EXPECT_EQ(read("HNVSD+@0@'D"), (All{"||@", "|D"}));
}

TEST(SegmentReader, DoesNotCareWhereItsWindowEnds) {
  for (std::size_t size = 65530; size < 65540; ++size) {
    const std::string text(size, 'a');
    const auto all =
        Shown(LogBlock::Kind::Message, "A+" + text + "?'+@3@b'c'D\n\n", false).Segments();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_TRUE(all[0] == "|A|" + text + "'|@b'c") << size;
    EXPECT_EQ(all[1], "|D");
  }
}

}  // namespace
}  // namespace tmx::tools
