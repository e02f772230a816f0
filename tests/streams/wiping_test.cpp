// What lines, logs and the CBC crypter leave in memory that they give back: no plain text, no key.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/streams/crypt_fixture.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/streams/cbc_crypter.h"
#include "tmxtools/streams/file.h"
#include "tmxtools/streams/line_reader.h"
#include "tmxtools/streams/log_salvage.h"
#include "tmxtools/streams/protocol_file.h"

namespace tmx {
namespace {

// Words that occur nowhere else.
String Words(const std::string& word, std::size_t length) {
  std::string text;
  for (int i = 1000; text.size() < length; ++i) text += word + std::to_string(i);
  return String(std::string_view(text).substr(0, length));
}

// Pieces of a text, of which at least one stands in any 20 characters of it.
void AddPieces(std::string_view text, std::vector<std::string>& secrets) {
  for (std::size_t at = 0; at + 8 <= text.size(); at += 12)
    secrets.emplace_back(text.substr(at, 8));
}

template <class Operation>
void ExpectNothingLeft(const std::vector<std::string>& secrets, Operation operation) {
  std::size_t given = 0;
  std::size_t leaked = 0;
  {
    const WatchedMemory watched(secrets);
    operation();
    given = watched.Given();
    leaked = watched.Leaked();
  }
  EXPECT_GT(given, 0u);
  EXPECT_EQ(leaked, 0u);
}

class Wiping : public testing::Test {
 protected:
  Wiping() {
    for (const String& line : lines_) AddPieces(line.View(), secrets_);
  }

  // Lines shorter and longer than what is read at a time.
  const std::vector<String> lines_ = {Words("kurz", 20), Words("Zeile", 100), Words("lang", 700),
                                      Words("Laenge", 9000)};
  std::vector<std::string> secrets_;
  const stored::Form form_{false, true, false, false, kSessionKey, kWrappingKey, ""};
};

TEST_F(Wiping, LinesOfAnEncryptedStreamLeaveNothing) {
  std::string stored;
  bool written = true;
  ExpectNothingLeft(secrets_, [&] {
    OpenCryptStream stream;
    written = stream.OpenAs(form_, kReadWrite);
    for (const String& line : lines_) written = stream.WriteLine(line) && written;
    stream.Flush();
    stored = stream.Stored();
  });
  EXPECT_TRUE(written);
  for (const unsigned short access : {kReadOnly, kReadWrite}) {
    std::vector<String> read(lines_.size());  // what was read is the reader's
    bool opened = false;
    ExpectNothingLeft(secrets_, [&] {
      OpenCryptStream stream(stored);
      opened = stream.OpenAs(form_, access);
      for (String& line : read) stream.ReadLine(line);
    });
    EXPECT_TRUE(opened);
    EXPECT_EQ(read, lines_);
  }
}

TEST_F(Wiping, ALineThatCannotBeReadLeavesNothing) {
  OpenCryptStream writer;
  ASSERT_TRUE(writer.OpenAs(form_, kReadWrite));
  for (int i = 0; i < 8; ++i) writer.Put(std::string(lines_.back().View()));
  writer.Flush();
  const std::string stored = writer.Stored();
  String line;
  std::uint32_t error = 0;
  ExpectNothingLeft(secrets_, [&] {
    OpenCryptStream stream(stored);
    stream.OpenAs(form_, kReadOnly);
    stream.ReadLine(line);
    error = stream.GetError();
  });
  EXPECT_EQ(error, stream_error::InvalidParameter);
  EXPECT_TRUE(line.IsEmpty());
}

TEST_F(Wiping, AReaderOfLinesLeavesNothing) {
  OpenCryptStream writer;
  ASSERT_TRUE(writer.OpenAs(form_, kReadWrite));
  for (const String& line : lines_) writer.WriteLine(line);
  writer.Flush();
  const std::string stored = writer.Stored();
  std::size_t length = 0;
  // All memory that is given back here was also taken here: of other memory the end may still hold
  // what others left there.
  ExpectNothingLeft(secrets_, [&] {
    OpenCryptStream stream(stored);
    stream.OpenAs(form_, kReadOnly);
    LineReader reader(stream);
    while (reader.Next()) length += reader.Line().size();
  });
  EXPECT_EQ(length, 20u + 100 + 700 + 9000);
}

TEST_F(Wiping, AFileWithAKeyLeavesNothing) {
  MemoryEnv memory;
  const ScopedEnv scope(memory);
  std::vector<String> read(lines_.size());
  ExpectNothingLeft(secrets_, [&] {
    HbError err;
    HbFile file;
    file.Open(err, "f", kReadWrite | crypt_mode::Encrypt, nullptr, 0, KeyBytes(kSessionKey),
              KeyBytes(kWrappingKey));
    for (const String& line : lines_) file.WriteLine(line, err);
    file.GetStream()->Seek(0);
    for (String& line : read) file.ReadLine(line, err);
  });
  EXPECT_EQ(read, lines_);
}

// All blocks, the pages that show them, and the log once more after it was salvaged.
TEST_F(Wiping, ACommunicationLogLeavesNothing) {
  MemoryEnv memory;
  const ScopedEnv scope(memory);
  const String key = Words("Schluessel", 16);
  AddPieces(key.View(), secrets_);
  std::string screenful;
  for (int row = 0; row < 24; ++row)
    screenful += (row == 0 ? "" : "\n") + std::string(Words("Bild", 30).View());
  const String screen{std::string_view(screenful)};
  AddPieces("Bild1000Bild1001", secrets_);
  const std::string pin = "HNSHA:3:2+1++" + std::string(Words("geheim", 30).View()) + "'";
  AddPieces(std::string_view(pin).substr(13, 30), secrets_);
  SvMemoryStream message;
  message.Write(pin.data(), pin.size());
  message.Write(lines_.back().Data(), lines_.back().Len());
  bool good = false;
  ExpectNothingLeft(secrets_, [&] {
    HbError err;
    HbProtocolFile log;
    good = log.Open("log", stream_mode::Write | stream_mode::Truncate, key, err) &&
           log.WriteMessage(message, true, err) && log.WriteXMLMessage(message, false, err) &&
           log.WriteInfoLine(lines_[1], err) && log.WriteInfoLine(lines_[2], err) &&
           log.WriteScreen(screen, Point(1, 2), false, err) &&
           log.WriteXHTMLMessage(message, true, err);
    log.Close();
    SalvageReport report;
    good = good && SalvageLog("log", "saved", key, report, err);
  });
  ASSERT_TRUE(good);
  for (const char* const path : {"log", "saved"}) {
    unsigned pages = 0;
    std::size_t shown = 0;
    ExpectNothingLeft(secrets_, [&] {
      HbError err;
      HbProtocolFile log;
      good = log.Open(path, stream_mode::Read, key, err);
      for (; pages < log.Count() && log.GotoPage(static_cast<unsigned short>(pages), err); ++pages)
        shown += std::size_t{log.GetScreen().Len()} + log.GetInfo().Len();
    });
    EXPECT_TRUE(good);
    EXPECT_EQ(pages, 21u);
    EXPECT_GT(shown, 18000u);
  }
}

TEST_F(Wiping, APageThatTheHostKeepsStaysWhatItWas) {
  MemoryEnv memory;
  const ScopedEnv scope(memory);
  HbError err;
  HbProtocolFile log;
  ASSERT_TRUE(log.Open("log", stream_mode::Write | stream_mode::Truncate, "key", err));
  SvMemoryStream message;
  message.Write(lines_[2].Data(), lines_[2].Len());
  ASSERT_TRUE(log.WriteInfoLine(lines_[1], err) && log.WriteMessage(message, true, err) &&
              log.WriteMessage(message, false, err));
  ASSERT_TRUE(log.Open("log", stream_mode::Read, "key", err));
  const String info = log.GetInfo();
  const String screen = log.GetScreen();
  EXPECT_EQ(info, lines_[1]);
  EXPECT_TRUE(screen.View().starts_with("Gesendet:"));
  ASSERT_TRUE(log.NextPage(err));
  EXPECT_EQ(log.GetInfo(), "");
  EXPECT_TRUE(log.GetScreen().View().starts_with("Empfangen:"));
  EXPECT_EQ(info, lines_[1]);
  EXPECT_TRUE(screen.View().starts_with("Gesendet:"));
}

TEST_F(Wiping, TheCbcCrypterLeavesNothing) {
  const std::string key = "0123456789abcdef";
  secrets_.push_back(key.substr(0, 8));
  secrets_.push_back(key.substr(8));
  const std::string text(lines_.back().View());
  for (const bool encrypts : {true, false}) {
    SvMemoryStream plain;
    SvMemoryStream stored;
    plain.Write(text.data(), text.size());
    HbError err;
    bool good = false;
    ExpectNothingLeft(secrets_, [&] {
      HbtdCbcCrypter crypter;
      crypter.SetKey(KeyBytes(key));
      good = crypter.Encrypt(err, plain, stored, true) &&
             (encrypts || crypter.Decrypt(err, stored, plain, true));
    });
    EXPECT_TRUE(good);
  }
  String digits;
  String shared = lines_[1];
  String back;
  bool good = false;
  ExpectNothingLeft(secrets_, [&] {
    HbtdCbcCrypter crypter;
    crypter.SetKey(KeyBytes(key));
    digits.Assign(lines_[1].View());
    good = crypter.HexdumpEncrypt(digits) && crypter.HexdumpEncrypt(shared);
    back = digits;
    good = good && crypter.HexdumpDecrypt(back);
  });
  EXPECT_TRUE(good);
  EXPECT_EQ(shared, digits);
  EXPECT_EQ(back, Words("Zeile", 100));
  EXPECT_EQ(back, lines_[1]);  // whose bytes were shared
}

TEST_F(Wiping, AWipedTextIsEmptyAndOthersKeepWhatTheyShare) {
  String text = Words("Zeile", 100);
  const String copy = text;
  Wipe(text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(copy, lines_[1]);
  text = "kurz";
  Wipe(text);
  EXPECT_EQ(text, "");
  text = copy;
  {
    const FailingMemory failing(0);
    Wipe(text);
  }
  EXPECT_EQ(text, "");
  EXPECT_EQ(copy, lines_[1]);
}

}  // namespace
}  // namespace tmx
