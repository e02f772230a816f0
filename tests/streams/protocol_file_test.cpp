#include "tmxtools/streams/protocol_file.h"

#include <string>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/support/reference_log.h"
#include "tmxtools/platform/clock.h"
#include "tmxtools/platform/memory_stream.h"

namespace {

namespace mode = tmx::stream_mode;
namespace reference = tmx::reference_log;

constexpr const char* kKey = "geheim";
constexpr const char* kHeader = "Datum: 20261121\nUhrzeit: 8153012\n";

class Source : public SvMemoryStream {
 public:
  explicit Source(const std::string& bytes) { Write(bytes.data(), bytes.size()); }
};

// Gives a part of its bytes and then an error, or the end too soon.
class FailingSource : public SvMemoryStream {
 public:
  FailingSource(std::size_t size, std::size_t good, bool sets_error)
      : left_(good), sets_error_(sets_error) {
    const std::string bytes(size, 'x');
    Write(bytes.data(), bytes.size());
  }

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    if (left_ == 0) {
      if (sets_error_) SetError(tmx::stream_error::ReadError);
      return 0;
    }
    const unsigned long done = SvMemoryStream::GetData(data, std::min<unsigned long>(count, left_));
    left_ -= done;
    return done;
  }

 private:
  std::size_t left_;
  bool sets_error_;
};

class ProtocolFile : public testing::Test {
 protected:
  std::string Contents(const std::string& path = "log", const std::string& key = kKey) {
    return reference::Contents(memory_.Get(path), key).value_or("not in good order");
  }
  bool OpenNew(HbProtocolFile& log, const std::string& path = "log") {
    return log.Open(String(std::string_view(path)), mode::Write | mode::Truncate, kKey, err_);
  }
  // What one operation appends to the header.
  template <class Operation>
  std::string Written(Operation operation) {
    HbProtocolFile log;
    EXPECT_TRUE(OpenNew(log));
    EXPECT_TRUE(operation(log));
    EXPECT_FALSE(err_.IsSet());
    log.Close();
    const std::string contents = Contents();
    EXPECT_EQ(contents.substr(0, std::string(kHeader).size()), kHeader);
    return contents.substr(std::min(contents.size(), std::string(kHeader).size()));
  }

  tmx::MemoryEnv memory_;
  tmx::FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
  tmx::FixedClock clock_{20261121, 8153012};
  tmx::ScopedClock clock_scope_{clock_};
  HbError err_;
};

// ---- names --------------------------------------------------------------------------------------

TEST_F(ProtocolFile, ThePrefixIsYearsLastDigitMonthAndDay) {
  EXPECT_EQ(HbProtocolFile::GetPrefixForDate(Date(21, 11, 2026)), "61121");
  EXPECT_EQ(HbProtocolFile::GetPrefixForDate(Date(3, 2, 2000)), "00203");
  EXPECT_EQ(HbProtocolFile::GetPrefixForDate(Date(0UL)), "00000");
}

TEST_F(ProtocolFile, AValidNameBeginsWithThePrefix) {
  EXPECT_TRUE(HbProtocolFile::IsValidName("61121000.pro", Date(21, 11, 2026)));
  EXPECT_TRUE(HbProtocolFile::IsValidName("61121", Date(21, 11, 2026)));
  EXPECT_FALSE(HbProtocolFile::IsValidName("61122000.pro", Date(21, 11, 2026)));
  EXPECT_FALSE(HbProtocolFile::IsValidName("6112", Date(21, 11, 2026)));
  EXPECT_FALSE(HbProtocolFile::IsValidName("", Date(21, 11, 2026)));
}

TEST_F(ProtocolFile, TheFirstLogOfADayGetsNumber000AndItsDirectory) {
  HbProtocolFile log;
  ASSERT_TRUE(log.CreateNew("a/b", kKey, err_));
  EXPECT_EQ(log.GetName(), "a/b/61121000.pro");
  EXPECT_EQ(log.GetFileName(), "/home/a/b/61121000.pro");
  EXPECT_TRUE(log.IsOpen());
  log.Close();
  EXPECT_EQ(Contents("a/b/61121000.pro"), kHeader);
}

class NewLog : public ProtocolFile {
 protected:
  String NameAfter(std::initializer_list<const char*> existing) {
    for (const char* name : existing) memory_.Put(std::string("/home/") + name, "");
    HbProtocolFile log;
    HbError err;
    return log.CreateNew("/home", kKey, err) ? log.GetName() : String();
  }
};

TEST_F(NewLog, AfterLogs000To004TheNextIs005) {
  EXPECT_EQ(
      NameAfter({"61121000.pro", "61121001.pro", "61121002.pro", "61121003.pro", "61121004.pro"}),
      "/home/61121005.pro");
}
TEST_F(NewLog, AGapStillContinuesAfterTheLargest) {
  EXPECT_EQ(NameAfter({"61121000.pro", "61121007.pro"}), "/home/61121008.pro");
}
TEST_F(NewLog, LogsOfOtherDaysAndOtherFilesDoNotCount) {
  EXPECT_EQ(NameAfter({"61120005.pro", "61121005.txt", "611210007.pro", "6112109.pro"}),
            "/home/61121000.pro");
}
TEST_F(NewLog, AThreeCharacterNumberIsReadAsFarAsItGoes) {
  EXPECT_EQ(NameAfter({"61121abc.pro", "6112112x.pro", "61121-99.pro"}), "/home/61121013.pro");
}
TEST_F(NewLog, After999ThereIsNoFreeName) {
  memory_.Put("/home/61121999.pro", "");
  HbProtocolFile log;
  EXPECT_FALSE(log.CreateNew("/home", kKey, err_));
  EXPECT_EQ(err_.GetCode(), 17398);
  EXPECT_EQ(log.GetStatus().GetCode(), 17398);
  EXPECT_FALSE(log.IsOpen());
}
TEST_F(NewLog, ADirectoryThatCannotBeMadeFailsTheOpening) {
  memory_.Put("/home/file", "");
  HbProtocolFile log;
  EXPECT_FALSE(log.CreateNew("/home/file/d", kKey, err_));
  EXPECT_NE(err_.GetCode(), 0);
  EXPECT_FALSE(log.IsOpen());
}
TEST_F(NewLog, APathThatIsTooLongIsAnInvalidParameter) {
  HbProtocolFile log;
  const String directory(std::string_view(std::string(65530, 'd')));
  EXPECT_FALSE(log.CreateNew(directory, kKey, err_));
  EXPECT_EQ(err_.GetCode(), 17743);
}

// ---- the key ------------------------------------------------------------------------------------

TEST_F(ProtocolFile, TheKeyIsTheFirst16BytesFilledUpWithZeroBytes) {
  for (const char* key : {"", "a", "0123456789abcdef", "0123456789abcdefgh"}) {
    HbProtocolFile log;
    ASSERT_TRUE(log.Open("log", mode::Write | mode::Truncate, key, err_));
    log.Close();
    EXPECT_EQ(Contents("log", key), kHeader);
  }
  EXPECT_EQ(Contents("log", "0123456789abcdefxy"), kHeader);
  EXPECT_EQ(memory_.Get("log").find("Datum"), std::string::npos);
}

TEST_F(ProtocolFile, AnotherKeyDoesNotOpenIt) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  log.Close();
  EXPECT_FALSE(log.Open("log", mode::Read, "falsch", err_));
  EXPECT_TRUE(err_.IsSet());
  EXPECT_FALSE(log.IsOpen());
}

// ---- writing ------------------------------------------------------------------------------------

TEST_F(ProtocolFile, ANewLogBeginsWithDateAndTime) {
  EXPECT_EQ(Written([](HbProtocolFile&) { return true; }), "");
}

TEST_F(ProtocolFile, EachKindOfMessageHasItsMarkers) {
  Source bytes("ab\ncd");
  EXPECT_EQ(Written([&](auto& log) { return log.WriteMessage(bytes, true, err_); }),
            reference::Body("HBCI message", "ab\ncd", true));
  EXPECT_EQ(Written([&](auto& log) { return log.WriteMessage(bytes, false, err_); }),
            reference::Body("HBCI message", "ab\ncd", false));
  EXPECT_EQ(Written([&](auto& log) { return log.WriteXMLMessage(bytes, true, err_); }),
            reference::Body("XML message", "ab\ncd", true));
  EXPECT_EQ(Written([&](auto& log) { return log.WriteCmdMessage(bytes, false, err_); }),
            reference::Body("XML instruction", "ab\ncd", false));
  EXPECT_EQ(Written([&](auto& log) { return log.WriteXHTMLMessage(bytes, true, err_); }),
            reference::Body("XHTML page", "ab\ncd", true));
}

TEST_F(ProtocolFile, OnlyHbciMessagesAreMasked) {
  Source bytes("HNSHA:3:2+1++pin'");
  EXPECT_EQ(Written([&](auto& log) { return log.WriteMessage(bytes, true, err_); }),
            reference::Body("HBCI message", "HNSHA:3:2+1++***'", true));
  EXPECT_EQ(Written([&](auto& log) { return log.WriteXMLMessage(bytes, true, err_); }),
            reference::Body("XML message", "HNSHA:3:2+1++pin'", true));
}

TEST_F(ProtocolFile, SecretsAreMaskedAcrossTheChunksOfTheCopy) {
  for (std::size_t fill = 1960; fill < 2030; ++fill) {
    const std::string before = "HIRMS:2:2+" + std::string(fill, 'x') + "'";
    Source bytes(before + "HNSHA:3:2+1++pin?:x:tan'");
    EXPECT_EQ(Written([&](auto& log) { return log.WriteMessage(bytes, true, err_); }),
              reference::Body("HBCI message", before + "HNSHA:3:2+1++******:***'", true));
  }
}

TEST_F(ProtocolFile, TheWholeSourceIsWrittenAndStaysAsItWas) {
  Source bytes("HNSHA:3:2+1++pin'");
  bytes.Seek(5);
  Written([&](auto& log) { return log.WriteMessage(bytes, true, err_); });
  EXPECT_EQ(bytes.Tell(), 5u);
  EXPECT_EQ(bytes.View(), "HNSHA:3:2+1++pin'");
}

TEST_F(ProtocolFile, AnEmptyMessageHasAnEmptyBody) {
  Source bytes("");
  EXPECT_EQ(Written([&](auto& log) { return log.WriteMessage(bytes, false, err_); }),
            "Start HBCI message;0;0\n\nEnd HBCI message\n");
}

TEST_F(ProtocolFile, AHostCanAddMaskedElementsForOneLog) {
  Source bytes("HKTAN:3:6+2+tan'HNSHA:3:2+1++pin'");
  EXPECT_EQ(Written([&](auto& log) {
              return log.AddMaskedElements("HKTAN+3") && log.WriteMessage(bytes, true, err_);
            }),
            reference::Body("HBCI message", "HKTAN:3:6+2+***'HNSHA:3:2+1++***'", true));
  EXPECT_EQ(Written([&](auto& log) {
              return !log.AddMaskedElements("HKTAN") && log.WriteMessage(bytes, true, err_);
            }),
            reference::Body("HBCI message", "HKTAN:3:6+2+tan'HNSHA:3:2+1++***'", true));
}

TEST_F(ProtocolFile, AScreenAtColumn3Row12IsWrittenAs0312) {
  EXPECT_EQ(Written([&](auto& log) { return log.WriteScreen("a\nb", Point(3, 12), false, err_); }),
            "Decoder Pos: 0312\nStart Decoder Image\na\nb\nEnd Decoder Image\n");
}

// The word is spelled so, and numbers are padded only below 10, on purpose.
TEST_F(ProtocolFile, AnAutoCommittedScreenSaysSoFirst) {
  EXPECT_EQ(Written([&](auto& log) { return log.WriteScreen("", Point(-1, 100), true, err_); }),
            "Decoder auto commited\nDecoder Pos: 0-1100\nStart Decoder Image\n\n"
            "End Decoder Image\n");
}

TEST_F(ProtocolFile, AnInfoLineIsOneLine) {
  EXPECT_EQ(Written([&](auto& log) { return log.WriteInfoLine("etwas", err_); }), "etwas\n");
}

TEST_F(ProtocolFile, WritesToAClosedLogSetTheStatusAloneTo33786) {
  Source bytes("x");
  const auto refuses = [&](auto operation) {
    HbProtocolFile log;
    HbError err;
    const bool done = operation(log, err);
    return !done && !err.IsSet() && log.GetStatus().GetCode() == 33786;
  };
  EXPECT_TRUE(refuses([&](auto& log, auto& err) { return log.WriteMessage(bytes, true, err); }));
  EXPECT_TRUE(refuses([&](auto& log, auto& err) { return log.WriteXMLMessage(bytes, true, err); }));
  EXPECT_TRUE(refuses([&](auto& log, auto& err) { return log.WriteCmdMessage(bytes, true, err); }));
  EXPECT_TRUE(
      refuses([&](auto& log, auto& err) { return log.WriteXHTMLMessage(bytes, true, err); }));
  EXPECT_TRUE(refuses([&](auto& log, auto& err) { return log.WriteScreen("", {}, true, err); }));
  EXPECT_TRUE(refuses([&](auto& log, auto& err) { return log.WriteInfoLine("x", err); }));
}

TEST_F(ProtocolFile, WritingPartOfAMessageIsAReservedHook) {
  struct Exposed : HbProtocolFile {
    using HbProtocolFile::WriteMessagePart;
  };
  Exposed log;
  Source bytes("x");
  EXPECT_FALSE(log.WriteMessagePart(bytes, 1, true, err_));
  EXPECT_FALSE(err_.IsSet());
  EXPECT_FALSE(log.GetStatus().IsSet());
}

TEST_F(ProtocolFile, AfterAnErrorOfTheSourceTheClosingLinesAreNotWritten) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  FailingSource source(5000, 3000, true);
  EXPECT_FALSE(log.WriteMessage(source, true, err_));
  EXPECT_EQ(err_.GetCode(), 17744);
  log.Close();
  EXPECT_EQ(Contents(),
            kHeader + std::string("Start HBCI message;5000;1\n") + std::string(3000, 'x'));
}

TEST_F(ProtocolFile, ASourceThatEndsTooSoonIsAReadError) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  FailingSource source(100, 50, false);
  EXPECT_FALSE(log.WriteXMLMessage(source, true, err_));
  EXPECT_EQ(err_.GetCode(), 17744);
}

TEST_F(ProtocolFile, ASourceWithAnErrorWritesNothing) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  Source source("x");
  source.SetError(tmx::stream_error::General);
  EXPECT_FALSE(log.WriteMessage(source, true, err_));
  EXPECT_EQ(err_.GetCode(), 17741);
  log.Close();
  EXPECT_EQ(Contents(), kHeader);
}

TEST_F(ProtocolFile, EveryBlockIsFlushedWhenItIsWritten) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  std::string expected = kHeader;
  EXPECT_EQ(Contents(), expected);
  Source bytes("eine Nachricht");
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(log.WriteXMLMessage(bytes, true, err_));
    expected += reference::Body("XML message", "eine Nachricht", true);
    ASSERT_EQ(Contents(), expected);
    ASSERT_TRUE(log.WriteInfoLine("Zeile", err_));
    expected += "Zeile\n";
    ASSERT_EQ(Contents(), expected);
    ASSERT_TRUE(log.WriteScreen("Bild", Point(1, 2), i % 2 == 0, err_));
    expected += reference::Screen("Bild", "0102", i % 2 == 0);
    ASSERT_EQ(Contents(), expected);
  }
}

TEST_F(ProtocolFile, OpeningAnExistingLogForWritingWithoutTruncatingWritesOverItsStart) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  ASSERT_TRUE(log.WriteInfoLine("alt", err_));
  clock_.Set({20261122, 9153012});
  ASSERT_TRUE(log.Open("log", mode::Write, kKey, err_));
  log.Close();
  EXPECT_EQ(Contents(), "Datum: 20261122\nUhrzeit: 9153012\nalt\n");
}

TEST_F(ProtocolFile, AnErrorBroughtAlongFailsEverything) {
  HbProtocolFile log;
  err_.SetError(17500);
  EXPECT_FALSE(OpenNew(log));
  EXPECT_FALSE(log.IsOpen());
  err_.Clear();
  ASSERT_TRUE(OpenNew(log));
  Source bytes("x");
  err_.SetError(17500);
  EXPECT_FALSE(log.WriteMessage(bytes, true, err_));
  EXPECT_EQ(err_.GetCode(), 17500);
  log.Close();
  EXPECT_EQ(Contents(), kHeader);
}

// ---- whole contents -----------------------------------------------------------------------------

TEST_F(ProtocolFile, LengthAndBinaryAreThoseOfTheDecryptedContents) {
  HbProtocolFile log;
  ASSERT_TRUE(OpenNew(log));
  Source bytes(std::string(1500, 'x'));
  ASSERT_TRUE(log.WriteXMLMessage(bytes, true, err_));
  const std::string expected =
      kHeader + reference::Body("XML message", std::string(1500, 'x'), true);
  EXPECT_EQ(log.GetLength("log", kKey, err_), expected.size());
  EXPECT_FALSE(log.IsOpen());
  std::string buffer(expected.size() + 10, '-');
  unsigned long length = buffer.size();
  EXPECT_TRUE(
      log.GetBinary("log", kKey, err_, reinterpret_cast<unsigned char*>(buffer.data()), length));
  EXPECT_EQ(length, expected.size());
  EXPECT_EQ(buffer, expected + std::string(10, '-'));
  length = 20;
  buffer.assign(30, '-');
  EXPECT_TRUE(
      log.GetBinary("log", kKey, err_, reinterpret_cast<unsigned char*>(buffer.data()), length));
  EXPECT_EQ(length, 20u);
  EXPECT_EQ(buffer, expected.substr(0, 20) + std::string(10, '-'));
  length = 20;
  EXPECT_TRUE(log.GetBinary("log", kKey, err_, nullptr, length));
  EXPECT_EQ(length, 0u);
  EXPECT_FALSE(log.IsOpen());
}

TEST_F(ProtocolFile, LengthAndBinaryOfWhatIsNoLogAreErrors) {
  HbProtocolFile log;
  EXPECT_EQ(log.GetLength("none", kKey, err_), 0u);
  EXPECT_EQ(err_.GetCode(), 17735);
  err_.Clear();
  unsigned char buffer[4];
  unsigned long length = sizeof buffer;
  EXPECT_FALSE(log.GetBinary("none", kKey, err_, buffer, length));
  EXPECT_EQ(err_.GetCode(), 17735);
  EXPECT_EQ(length, 0u);
  err_.Clear();
  HbFile other;
  const unsigned char key[16] = {'g', 'e', 'h', 'e', 'i', 'm'};
  ASSERT_TRUE(other.Open(err_, "other", 0x400A, nullptr, 0, key, key));
  ASSERT_TRUE(other.WriteLine("something else", err_));
  other.Close();
  EXPECT_EQ(log.GetLength("other", kKey, err_), 0u);
  EXPECT_EQ(err_.GetCode(), 17400);
  EXPECT_EQ(*err_.GetParamText(), "/home/other");
}

// ---- failures of the system ---------------------------------------------------------------------

String Screenful() {
  String text;
  for (int row = 1; row < 24; ++row) text += "row\n";
  return text;
}

// Everything that a log is written with, and then read.
void UseLog(HbError& err, HbError& read_err) {
  {
    HbProtocolFile log;
    Source bytes("HNSHA:3:2+1++pin'" + std::string(3000, 'x'));
    log.CreateNew("d", kKey, err) && log.WriteMessage(bytes, true, err) &&
        log.WriteXMLMessage(bytes, false, err) && log.WriteCmdMessage(bytes, true, err) &&
        log.WriteXHTMLMessage(bytes, true, err) && log.WriteInfoLine("info", err) &&
        log.WriteScreen(Screenful(), Point(1, 2), true, err);
    log.Close();
    if (!err.IsSet()) err = log.GetStatus();
  }
  HbProtocolFile log;
  if (log.Open("d/61121000.pro", mode::Read, kKey, read_err)) {
    while (std::size_t{log.CurrentIndex()} + 1 < log.Count() && log.NextPage(read_err)) continue;
  }
  if (!read_err.IsSet()) log.GetLength("d/61121000.pro", kKey, read_err);
  unsigned char buffer[100];
  unsigned long length = sizeof buffer;
  if (!read_err.IsSet()) log.GetBinary("d/61121000.pro", kKey, read_err, buffer, length);
}

TEST_F(ProtocolFile, EveryFailingCallOfTheSystemEndsInAnErrorAndUncoversNothing) {
  using tmx::EnvCall;
  HbError good, good_read;
  UseLog(good, good_read);
  ASSERT_EQ(good.GetCode(), 0);
  ASSERT_EQ(good_read.GetCode(), 0);
  std::size_t failures = 0;
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                             EnvCall::kWrite, EnvCall::kSetSize}) {
    for (const auto lasting : {tmx::FaultEnv::Lasting::kOnce, tmx::FaultEnv::Lasting::kForGood}) {
      for (std::size_t nth = 1;; ++nth) {
        memory_.Remove("/home/d/61121000.pro");
        faults_.Reset();
        faults_.Fail(call, nth, std::errc::io_error, lasting);
        HbError err, read_err;
        UseLog(err, read_err);
        if (faults_.Count(call) < nth) break;
        ++failures;
        EXPECT_TRUE(err.IsSet() || read_err.IsSet()) << static_cast<int>(call) << " " << nth;
        if (memory_.Info("/home/d/61121000.pro").Ok())
          EXPECT_EQ(memory_.Get("/home/d/61121000.pro").find("Start"), std::string::npos);
      }
    }
  }
  EXPECT_GT(failures, 100u);
}

// Directories that cannot be listed or looked at count as empty; the opening then tells.
TEST_F(NewLog, FailingLooksAtTheDirectoryLoseNoLog) {
  using tmx::EnvCall;
  memory_.Put("/home/61121000.pro", "old");
  for (const EnvCall call :
       {EnvCall::kInfo, EnvCall::kList, EnvCall::kMakeDir, EnvCall::kWorkingDir}) {
    for (std::size_t nth = 1; nth <= 4; ++nth) {
      faults_.Reset();
      faults_.Fail(call, nth, std::errc::io_error);
      HbProtocolFile log;
      HbError err;
      log.CreateNew("/home", kKey, err);
      EXPECT_EQ(memory_.Get("/home/61121000.pro"), "old") << static_cast<int>(call) << " " << nth;
      log.Close();
      memory_.Remove("/home/61121001.pro");
    }
  }
}

}  // namespace
