// The lines of a log as a screen shows them, read again from marks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tmxtools/platform/memory_stream.h"
#include "tools/log_document.h"
#include "tools/log_lines.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// The contents of a log, put together.
class Contents {
 public:
  Contents() { text_ = "Datum: 20261121\nUhrzeit: 12304500\n"; }
  Contents& Info(const std::string& line) { return Append(line + "\n"); }
  Contents& Block(const std::string& kind, const std::string& body, bool sent) {
    return Append("Start " + kind + ";" + std::to_string(body.size()) + (sent ? ";1\n" : ";0\n") +
                  body + "\nEnd " + kind + "\n");
  }
  Contents& Message(const std::string& body, bool sent = true) {
    return Block("HBCI message", body, sent);
  }
  Contents& Append(const std::string& text) {
    text_ += text;
    return *this;
  }
  std::string& Text() { return text_; }
  SvMemoryStream& Stream() {
    stream_.Seek(0);
    stream_.Write(text_.data(), text_.size());
    return stream_;
  }

 private:
  std::string text_;
  SvMemoryStream stream_;
};

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Binary(const std::string& bytes) {
  return "@" + std::to_string(bytes.size()) + "@" + bytes;
}

// Of everything that can stand in a log, also in texts that do not fit into one piece.
Contents& Everything(Contents& log) {
  const std::string text = "caf\xC3\xA9\r\nline\rwith\r\n\r\n" + Repeat("\xC3\xA4", 5000) + "\r";
  log.Info("vor allem").Info("").Info("\xE4\x01 tail").Info(Repeat("lang ", 3000));
  log.Message("HNHBK:1:3+000000000300+300++D1:2+'HIKAZ:3:5+" + Binary("a\r\nb\n") + "'");
  log.Message("'+:@3@abc'@5@hello+x'HKXYZ:1:1+" + Repeat("?'??", 3000) + "+ohne Ende?", false);
  log.Message("HNVSD:999:1+" + Binary("HKCCS:3:1+DE89+" + Binary(text) + "'HKEND:4:1'") +
              "+rest'HNHBS:5:1+" + Binary(std::string("\x00\x01", 2)) + Binary("") + "'\r\n");
  log.Message("");
  log.Block("XML message", text + "\n\n", true).Block("XML instruction", "\n", false);
  log.Block("XHTML page", Repeat("\xE4", 4097) + "\n" + Repeat("x", 4096) + "\n", false);
  log.Append("Decoder auto commited\nDecoder Pos: 0312\nStart Decoder Image\n");
  log.Append("zwei\nZeilen\nEnd Decoder Image\n");
  log.Append("Start HBCI message;99999;1\nHNHBK:1:3'\n\n");
  return log.Message("HKSAL:1:2'").Append("Decoder Pos: 0101\nohne Bild\n");
}

// The lines as one text.
class Lines : public LineSink {
 public:
  static std::string Of(SvStream& stream) {
    Lines lines;
    ShownLog log(stream);
    LogBlocks blocks(stream);
    while (blocks.Next()) PutLines(log, blocks.Block(), lines);
    return lines.text_;
  }

 private:
  void Begin(const LogLine& line) override { Add(line.text); }
  void Add(std::string_view text) override { text_ += decoder_.Decode(text); }
  void End() override { text_ += '\n'; }

  std::string text_;  // ISO 8859-1, as a screen shows it
  Latin1Decoder decoder_;
};

void Drain(LogCursor cursor, std::string& text) {
  for (LogPiece piece; cursor.Next(piece);) {
    text += piece.text;
    if (piece.ends_line) text += '\n';
  }
}

const auto kNothing = [](std::uint32_t) {};
const auto kGoOn = [](LogPlace) { return true; };

std::vector<std::string> TextsOf(const std::vector<LogRow>& rows) {
  std::vector<std::string> texts;
  for (const LogRow& row : rows) texts.push_back(row.text);
  return texts;
}
std::vector<LogRow> AllRows(LogDocument& document) {
  return document.Rows(LogDocument::kBegin, 1u << 20);
}

TEST(LogCursor, GivesTheLinesThatAreExported) {
  Contents log;
  const std::string expected = Lines::Of(Everything(log).Stream());
  LogInput input(log.Stream());
  std::string text;
  Drain(LogCursor(input, 0), text);
  EXPECT_EQ(text, expected);
}

TEST(LogCursor, GivesTheLinesThatAreExportedOfDamagedLogs) {
  std::mt19937 random(4711);
  for (int round = 0; round < 100; ++round) {
    Contents log;
    std::string& text = Everything(log).Text();
    for (int i = 0; i < 40; ++i)
      text[random() % text.size()] = "'+:?@\n\r;1\0\xC3\xE4"[random() % 12];
    const std::string expected = Lines::Of(log.Stream());
    std::string shown;
    LogInput input(log.Stream());
    Drain(LogCursor(input, 0), shown);
    ASSERT_EQ(shown, expected) << round;
  }
}

TEST(LogCursor, GoesOnFromEveryCopy) {
  Contents log;
  LogInput input(Everything(log).Stream());
  std::string all;
  Drain(LogCursor(input, 0), all);
  std::size_t passed = 0;
  LogPlace last;
  LogCursor cursor(input, 0);
  for (LogPiece piece;;) {
    std::string rest;
    Drain(cursor, rest);
    ASSERT_EQ(rest, all.substr(passed));
    if (!cursor.Next(piece)) break;
    ASSERT_LE(piece.text.size(), 4200u);
    ASSERT_GE(piece.place, last);
    last = piece.place;
    passed += piece.text.size() + piece.ends_line;
  }
  EXPECT_EQ(passed, all.size());
}

TEST(LogDocument, BreaksLinesIntoRows) {
  Contents log;
  log.Info("0123456789").Info("").Info("0123456789x").Message("HKSAL:1:2+a+b'");
  LogDocument document(log.Stream(), kNothing);
  document.SetWidth(10);
  const std::vector<LogRow> rows = AllRows(document);
  EXPECT_THAT(TextsOf(rows), ElementsAre("Datum: 202", "61121", "Uhrzeit: 1", "2304500",
                                         "0123456789", "", "0123456789", "x", "HBCI messa",
                                         "ge sent, 1", "4 bytes", "HKSAL:1:2 ", " 2=a  3=b"));
  EXPECT_TRUE(rows[8].is_title);
  EXPECT_EQ(rows[11].head_length, 9u);
  EXPECT_EQ(rows[12].head_length, 0u);
  document.SetWidth(4);
  const LogPlace within{rows[6].place.line, 6};
  EXPECT_THAT(TextsOf(document.Rows(within, 2)), ElementsAre("4567", "89x"));
}

// Some megabytes, so that there are marks in messages and between them.
Contents& Large(Contents& log) {
  Everything(log);
  for (int i = 0; i < 400; ++i) log.Message("HKSAL:" + std::to_string(i) + ":2+klein'", i % 3 != 0);
  std::string segments;
  for (int i = 0; i < 4000; ++i) segments += "HIKAZ:" + std::to_string(i) + ":5+a+b'";
  log.Message(segments, false);
  log.Message("HKXYZ:1:1+" + Repeat("lang", 150000) + "Nadel" + Repeat("?+", 100000) + "'");
  log.Block("XML message", Repeat(Repeat("y", 99) + "\n", 4000), true);
  return log.Message("HNHBS:5:1+Nadel+nadel'");
}

TEST(LogDocument, GoesBackTheWayThatItCame) {
  Contents log;
  LogDocument document(Large(log).Stream(), kNothing);
  for (const bool folded : {false, true}) {
    document.FoldAll(folded);
    const std::vector<LogRow> rows = AllRows(document);
    ASSERT_GT(rows.size(), 400u);
    for (std::size_t i = 0; i < rows.size(); i += 1 + i / 3) {
      for (const std::size_t count : {1u, 23u, 5000u})
        ASSERT_EQ(document.Back(rows[i].place, count), rows[i - std::min(i, count)].place) << i;
      ASSERT_EQ(document.Rows(rows[i].place, 1)[0].text, rows[i].text);
    }
    EXPECT_EQ(document.Back(LogDocument::kEnd, 24), rows[rows.size() - 24].place);
    EXPECT_EQ(document.Back(LogDocument::kEnd, rows.size() + 1), LogDocument::kBegin);
  }
}

TEST(LogDocument, StartsAnywhereWithoutHavingBeenThere) {
  Contents log;
  LogDocument walked(Large(log).Stream(), kNothing);
  const std::vector<LogRow> rows = AllRows(walked);
  for (const std::size_t i : {rows.size() - 1, rows.size() / 2, rows.size() / 3}) {
    LogDocument fresh(log.Stream(), kNothing);
    EXPECT_EQ(fresh.Rows(rows[i].place, 1)[0].text, rows[i].text);
    LogDocument other(log.Stream(), kNothing);
    EXPECT_EQ(other.Back(rows[i].place, 100), rows[i - 100].place);
  }
}

TEST(LogDocument, FoldsWhatHasATitle) {
  Contents log;
  log.Info("Zeile").Message("HKSAL:1:2'").Block("XML message", "<a>\n</a>", false).Info("Ende");
  LogDocument document(log.Stream(), kNothing);
  const std::vector<LogRow> rows = AllRows(document);
  ASSERT_EQ(rows.size(), 9u);
  EXPECT_FALSE(LogDocument::CanFold(rows[2].block));
  const LogBlock message = document.BlockAt(rows[4].place);
  EXPECT_EQ(LogDocument::PlaceOf(message), rows[3].place);
  document.Fold(message, true);
  EXPECT_TRUE(document.IsFolded(message));
  EXPECT_THAT(
      TextsOf(document.Rows(rows[2].place, 4)),
      ElementsAre("Zeile", "HBCI message sent, 10 bytes", "XML message received, 8 bytes", "<a>"));
  document.FoldAll(true);
  document.Fold(message, false);
  const std::vector<LogRow> shown = document.Rows(rows[2].place, 5);
  EXPECT_THAT(TextsOf(shown), ElementsAre("Zeile", "HBCI message sent, 10 bytes", "HKSAL:1:2",
                                          "XML message received, 8 bytes", "Ende"));
  EXPECT_FALSE(shown[1].is_folded);
  EXPECT_TRUE(shown[3].is_folded);
  document.FoldAll(false);
  EXPECT_EQ(AllRows(document).size(), rows.size());
}

// All hits from the beginning on, or back from the end.
std::vector<LogPlace> Hits(LogDocument& document, const std::string& text, bool forwards) {
  std::vector<LogPlace> places;
  LogPlace from = forwards ? LogDocument::kBegin : LogDocument::kEnd;
  for (;;) {
    const auto hit = document.FindText(text, from, forwards, kGoOn);
    if (!hit || (!places.empty() && hit->place == places.front())) return places;
    places.push_back(hit->place);
    from = hit->place;
    if (forwards) ++from.column;
  }
}

TEST(LogDocument, FindsATextInBothDirectionsAndAround) {
  Contents log;
  LogDocument document(Large(log).Stream(), kNothing);
  for (const bool folded : {false, true}) {
    document.FoldAll(folded);
    const std::vector<LogPlace> hits = Hits(document, "NADEL", true);
    ASSERT_EQ(hits.size(), 3u);
    EXPECT_EQ(hits[0].column, 600013u) << "behind the head and the label";
    std::vector<LogPlace> back = Hits(document, "nadel", false);
    std::ranges::reverse(back);
    EXPECT_EQ(back, hits);
  }
  EXPECT_THAT(Hits(document, "gibt es nicht", true), IsEmpty());
  EXPECT_THAT(Hits(document, "gibt es nicht", false), IsEmpty());
  EXPECT_EQ(Hits(document, "KLEIN", true).size(), 400u);
  EXPECT_EQ(Hits(document, "KLEIN", false).size(), 400u);
}

// Wherever a piece or the place of a mark ends.
TEST(LogDocument, FindsATextAcrossPieces) {
  Contents log;
  std::string text = Repeat("-", 400000);
  for (std::size_t at = 4000; at + 8 < text.size(); at += 4095) text.replace(at, 8, "\xC4hnlich!");
  log.Block("XML message", text, true);
  LogDocument document(log.Stream(), kNothing);
  const std::vector<LogPlace> hits = Hits(document, "\xE4HNLICH!", true);
  EXPECT_EQ(hits.size(), 97u);
  std::vector<LogPlace> back = Hits(document, "\xE4hnlich!", false);
  std::ranges::reverse(back);
  EXPECT_EQ(back, hits);
}

TEST(LogDocument, FindsMessagesByTheirDirection) {
  Contents log;
  log.Message("A'", true).Info("-").Message("B'", false).Message("C'", true);
  LogDocument document(log.Stream(), kNothing);
  const auto next = [&](bool sent, LogPlace from, bool forwards) {
    const auto hit = document.FindMessage(sent, from, forwards, kGoOn);
    return document.Rows(hit->place, 2)[1].text;
  };
  const std::vector<LogRow> rows = AllRows(document);
  ASSERT_EQ(rows[6].text, "B");
  EXPECT_EQ(next(true, LogDocument::kBegin, true), "A");
  EXPECT_EQ(next(true, rows[6].place, true), "C");
  EXPECT_EQ(next(true, rows[6].place, false), "A");
  EXPECT_EQ(next(true, rows[2].place, false), "C");
  EXPECT_EQ(next(false, rows[6].place, true), "B");
  Contents quiet;
  LogDocument nothing(quiet.Info("nur das").Stream(), kNothing);
  EXPECT_FALSE(nothing.FindMessage(true, LogDocument::kBegin, true, kGoOn));
  EXPECT_FALSE(nothing.FindMessage(true, LogDocument::kEnd, false, kGoOn));
}

TEST(LogDocument, GivesUpASearch) {
  Contents log;
  LogDocument document(Large(log).Stream(), kNothing);
  for (const bool forwards : {true, false}) {
    int asked = 0;
    const auto stop = [&](LogPlace) { return ++asked < 10; };
    EXPECT_FALSE(document.FindText("gibt es nicht", LogDocument::kEnd, forwards, stop));
    EXPECT_EQ(asked, 10);
  }
}

}  // namespace
}  // namespace tmx::tools
