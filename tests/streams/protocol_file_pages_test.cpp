// Reading a communication log page by page, from texts written by hand.
#include <string>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/support/reference_log.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

namespace mode = tmx::stream_mode;
using tmx::reference_log::Body;
using tmx::reference_log::Screen;

const std::string kHeader = "Datum: 20261121\nUhrzeit: 8153012\n";

std::string Message(const std::string& bytes, bool sent = true) {
  return Body("HBCI message", bytes, sent);
}
std::string Row(std::string text) {
  text.resize(40, ' ');
  return text + "\n";
}
// What the screen text is for a slice of a message.
std::string Slice(bool sent, const std::string& bytes) {
  std::string text = Row(sent ? "Gesendet:" : "Empfangen:");
  for (std::size_t row = 0; row < 23; ++row)
    text += Row(row * 40 < bytes.size() ? bytes.substr(row * 40, 40) : "");
  return text;
}
std::string Rows(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += "row " + std::to_string(i) + "\n";
  return text;
}

class Pages : public testing::Test {
 protected:
  bool Read(const std::string& text) {
    memory_.Put("log", text);
    return log_.ReadUncryptedProtocol(err_, "log");
  }
  // The pages as "start title direction length".
  std::string Index() const {
    std::string text;
    for (unsigned short i = 0; i < log_.Count(); ++i) {
      const HbProtocolFile::Page& page = *log_.GetPage(i);
      text += std::to_string(page.start) + " " + std::string(page.title.View()) +
              (page.sent ? " sent " : " received ") + std::to_string(page.length) + "\n";
    }
    return text;
  }
  std::string Shown() const { return std::string(log_.GetScreen().View()); }
  std::string Info() const { return std::string(log_.GetInfo().View()); }
  bool Goto(unsigned short index) {
    err_.Clear();
    return log_.GotoPage(index, err_);
  }

  tmx::MemoryEnv memory_;
  tmx::FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
  HbProtocolFile log_;
  HbError err_;
};

// ---- the index ----------------------------------------------------------------------------------

TEST_F(Pages, AFileWithoutTheDateLineIsNoLog) {
  for (const char* text : {"", "\n", "Uhrzeit: 8153012\n", "Start HBCI message;1;1\nx\n"}) {
    err_.Clear();
    EXPECT_FALSE(Read(text));
    EXPECT_EQ(err_.GetCode(), 17400);
    EXPECT_EQ(*err_.GetParamText(), "/home/log");
    EXPECT_FALSE(log_.IsOpen());
  }
}

TEST_F(Pages, TheDateLineNeedOnlyContainTheWord) {
  EXPECT_TRUE(Read("xx Datum: \n"));
  EXPECT_EQ(log_.Count(), 0);
  EXPECT_TRUE(log_.IsOpen());
}

TEST_F(Pages, TheFirstPageStartsAtTheStartOfTheFile) {
  ASSERT_TRUE(Read(kHeader + Message("abc")));
  EXPECT_EQ(Index(), "0 Start HBCI message sent 3\n");
}

TEST_F(Pages, EachPageStartsWhereTheBodyBeforeItEnded) {
  ASSERT_TRUE(Read(kHeader + Message("abc") + Body("XML message", "de\nf", false) +
                   Screen(Rows(24), "0102", false) + Message("x")));
  const std::size_t first = kHeader.size() + std::string("Start HBCI message;3;1\nabc").size();
  const std::size_t second =
      first + std::string("\nEnd HBCI message\nStart XML message;4;0\nde\nf").size();
  const std::size_t screen =
      second + std::string("\nEnd XML message\n").size() + Screen(Rows(24), "0102", false).size();
  EXPECT_EQ(Index(), "0 Start HBCI message sent 3\n" + std::to_string(first) +
                         " Start XML message received 4\n" + std::to_string(second) +
                         " End Decoder Image received 0\n" + std::to_string(screen) +
                         " Start HBCI message sent 1\n");
}

TEST_F(Pages, InstructionsAndXhtmlPagesGetNoPageOfTheirOwn) {
  ASSERT_TRUE(Read(kHeader + Body("XML instruction", "abc", true) + "info\n" +
                   Body("XHTML page", "<p/>", false)));
  EXPECT_EQ(log_.Count(), 0);
}

TEST_F(Pages, AMessageOf920BytesIsOnePageAndOneMoreByteIsTwo) {
  ASSERT_TRUE(Read(kHeader + Message(std::string(920, 'a'))));
  EXPECT_EQ(Index(), "0 Start HBCI message sent 920\n");
  ASSERT_TRUE(Read(kHeader + Message(std::string(921, 'a'))));
  const std::size_t body = kHeader.size() + std::string("Start HBCI message;921;1\n").size();
  EXPECT_EQ(Index(),
            "0 Start HBCI message sent 920\n" + std::to_string(body + 920) + " Page Top sent 1\n");
  ASSERT_TRUE(Read(kHeader + Message(std::string(1840, 'a'), false)));
  EXPECT_EQ(Index(), "0 Start HBCI message received 920\n" + std::to_string(body + 921) +
                         " Page Top received 920\n");
}

TEST_F(Pages, MarkersInsideABodyAreNoPages) {
  ASSERT_TRUE(
      Read(kHeader + Message("\n" + Message("inner") + "End Decoder Image\n") + Message("x")));
  EXPECT_EQ(log_.Count(), 2);
}

TEST_F(Pages, ALineNeedOnlyContainAMarker) {
  ASSERT_TRUE(
      Read(kHeader + "++ Start HBCI message;3;1\nabc\nsee End HBCI message\n" + Message("x")));
  EXPECT_EQ(log_.Count(), 2);
  EXPECT_EQ(Shown(), Slice(true, "abc"));
}

TEST_F(Pages, OnlyADirectionOf1IsSent) {
  for (const char* tail : {";3;0", ";3;11", ";3", ";3;", ";3;1;2"}) {
    ASSERT_TRUE(Read(kHeader + "Start HBCI message" + tail + "\nabc\n\nEnd HBCI message\n"));
    EXPECT_EQ(log_.GetPage(0)->sent, std::string(tail) == ";3;1;2") << tail;
  }
}

TEST_F(Pages, AForgedLengthIsClampedToTheFilesEndAndThenNoLog) {
  for (const char* length : {"4", "4294967295", "-1", "2147483647"}) {
    err_.Clear();
    EXPECT_FALSE(Read(kHeader + "Start HBCI message;" + length + ";1\nabc")) << length;
    EXPECT_EQ(err_.GetCode(), 17400);
    EXPECT_FALSE(log_.IsOpen());
    EXPECT_EQ(Index(), "0 Start HBCI message sent 3\n");
  }
}

TEST_F(Pages, AMissingLengthIs0) {
  ASSERT_TRUE(Read(kHeader + "Start HBCI message\n\nEnd HBCI message\n"));
  EXPECT_EQ(Index(), "0 Start HBCI message received 0\n");
  EXPECT_EQ(Shown(), Slice(false, ""));
}

TEST_F(Pages, ThereAreAtMost65535Pages) {
  ASSERT_TRUE(Read(kHeader + Message(std::string(920 * 65534, 'a')) + Message("b") + Message("c")));
  EXPECT_EQ(log_.Count(), 65535);
  EXPECT_TRUE(log_.LastPage(err_));
  EXPECT_EQ(Shown(), Slice(true, "b"));
  EXPECT_FALSE(log_.NextPage(err_));
  EXPECT_EQ(err_.GetCode(), 33785);
}

TEST_F(Pages, ALongLineBetweenPagesIsPassedOver) {
  const std::string page(70000, 'x');
  ASSERT_TRUE(Read(kHeader + Message("a") + Body("XHTML page", page, true) + Message("b")));
  EXPECT_EQ(log_.Count(), 2);
  EXPECT_EQ(Shown(), Slice(true, "a"));
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17743);
  EXPECT_TRUE(log_.IsOpen());
}

TEST_F(Pages, ALogWhoseFirstPageCannotBeShownCannotBeOpened) {
  EXPECT_FALSE(Read(kHeader + "Start HBCI message;3;1\nabcd\n\nEnd HBCI message\n" + Message("x")));
  EXPECT_EQ(err_.GetCode(), 17400);
  EXPECT_FALSE(log_.IsOpen());
}

TEST_F(Pages, LineEndsMayBeThoseOfOtherSystems) {
  ASSERT_TRUE(
      Read("Datum: 1\r\nUhrzeit: 2\r\ninfo\r\nStart HBCI message;3;1\r\nabc\r\n"
           "End HBCI message\r\n" +
           Message("\r\n")));
  EXPECT_EQ(Shown(), Slice(true, "abc"));
  EXPECT_EQ(Info(), "info");
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(Shown(), Slice(true, ".."));
}

TEST_F(Pages, ReadingAgainForgetsTheLogBefore) {
  ASSERT_TRUE(Read(kHeader + Message("a") + Message("b")));
  ASSERT_TRUE(log_.LastPage(err_));
  ASSERT_TRUE(Read(kHeader + "info\n"));
  EXPECT_EQ(log_.Count(), 0);
  EXPECT_EQ(log_.CurrentIndex(), 0);
}

TEST_F(Pages, AnEncryptedLogIsReadTheSameWay) {
  HbProtocolFile writer;
  ASSERT_TRUE(writer.Open("log", mode::Write | mode::Truncate, "geheim", err_));
  SvMemoryStream message;
  const std::string bytes = "HNHBK:1:3'HNSHA:2:2+1++pin'" + std::string(1000, 'x');
  message.Write(bytes.data(), bytes.size());
  ASSERT_TRUE(writer.WriteInfoLine("info", err_));
  ASSERT_TRUE(writer.WriteMessage(message, true, err_));
  ASSERT_TRUE(writer.WriteScreen(String(std::string_view(Rows(24))), Point(3, 12), true, err_));
  ASSERT_TRUE(writer.WriteMessage(message, false, err_));
  writer.Close();
  ASSERT_TRUE(log_.Open("log", mode::Read, "geheim", err_));
  const std::string masked = "HNHBK:1:3'HNSHA:2:2+1++***'" + std::string(1000, 'x');
  EXPECT_EQ(log_.Count(), 5);
  EXPECT_EQ(log_.CurrentIndex(), 0);
  EXPECT_EQ(Info(), "info");
  EXPECT_EQ(Shown(), Slice(true, masked.substr(0, 920)));
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(Shown(), Slice(true, masked.substr(920)));
  ASSERT_TRUE(Goto(2));
  EXPECT_EQ(Shown(), Rows(24));
  EXPECT_TRUE(log_.IsAutoCommit());
  ASSERT_TRUE(Goto(3));
  EXPECT_EQ(Shown(), Slice(false, masked.substr(0, 920)));
}

// ---- moving -------------------------------------------------------------------------------------

TEST_F(Pages, MovingGoesThroughThePagesAndStopsAtBothEnds) {
  ASSERT_TRUE(Read(kHeader + Message("a") + Message("b") + Message("c")));
  EXPECT_EQ(log_.CurrentIndex(), 0);
  EXPECT_FALSE(log_.PrevPage(err_));
  EXPECT_EQ(err_.GetCode(), 33785);
  EXPECT_EQ(log_.CurrentIndex(), 0);
  err_.Clear();
  EXPECT_TRUE(log_.NextPage(err_));
  EXPECT_EQ(Shown(), Slice(true, "b"));
  EXPECT_TRUE(log_.LastPage(err_));
  EXPECT_EQ(Shown(), Slice(true, "c"));
  EXPECT_FALSE(log_.NextPage(err_));
  EXPECT_EQ(log_.CurrentIndex(), 2);
  EXPECT_EQ(Shown(), "");
  err_.Clear();
  EXPECT_TRUE(log_.PrevPage(err_));
  EXPECT_EQ(Shown(), Slice(true, "b"));
  EXPECT_TRUE(log_.FirstPage(err_));
  EXPECT_EQ(Shown(), Slice(true, "a"));
  EXPECT_FALSE(log_.GetStatus().IsSet());
}

TEST_F(Pages, ALogThatIsNotOpenIs33786) {
  for (const bool was_open : {false, true}) {
    if (was_open) {
      err_.Clear();
      ASSERT_TRUE(Read(kHeader + Message("a")));
      log_.Close();
      EXPECT_EQ(log_.Count(), 1);
    }
    EXPECT_FALSE(Goto(0));
    EXPECT_EQ(err_.GetCode(), 33786);
    EXPECT_EQ(log_.GetStatus().GetCode(), 33786);
  }
}

TEST_F(Pages, AnEmptyLogHasNoPageToGoTo) {
  ASSERT_TRUE(Read(kHeader));
  EXPECT_FALSE(log_.FirstPage(err_));
  EXPECT_FALSE(log_.LastPage(err_));
  EXPECT_EQ(err_.GetCode(), 33785);
  EXPECT_EQ(log_.GetPage(0), nullptr);
}

// ---- pages of messages --------------------------------------------------------------------------

TEST_F(Pages, BytesBelow32AreDotsAndHighOnesStay) {
  std::string bytes, shown;
  for (int i = 0; i < 256; ++i) {
    bytes += static_cast<char>(i);
    shown += static_cast<char>(i < 32 ? '.' : i);
  }
  ASSERT_TRUE(Read(kHeader + Message(bytes)));
  EXPECT_EQ(Shown(), Slice(true, shown));
}

TEST_F(Pages, AFullPageHas23LinesOf40Characters) {
  std::string bytes;
  for (int i = 0; i < 920; ++i) bytes += static_cast<char>('a' + i % 26);
  ASSERT_TRUE(Read(kHeader + Message(bytes, false)));
  EXPECT_EQ(Shown(), Slice(false, bytes));
  EXPECT_EQ(Shown().size(), 24u * 41);
}

TEST_F(Pages, LinesBetweenPagesAreInformation) {
  ASSERT_TRUE(Read(kHeader + "eins\n\nzwei\n" + Message("a") + "drei\n" +
                   Body("XML instruction", "vier", true) + Message("b")));
  EXPECT_EQ(Info(), "eins\nzwei");
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(Info(), "drei\nStart XML instruction;4;1\nvier\nEnd XML instruction");
}

// Such lines are no information wherever they stand and whatever else they say, on purpose.
TEST_F(Pages, LinesWithMarkersOrTheWordsDatumAndUhrzeitAreLeftOut) {
  ASSERT_TRUE(Read(kHeader + "das Datum fehlt\nUhrzeiten\nmy End XML message\n" + Message("a")));
  EXPECT_EQ(Info(), "");
}

TEST_F(Pages, TheDecodersPositionIsReadRowFirst) {
  ASSERT_TRUE(Read(kHeader + "at Decoder Pos: 0312\nDecoder auto commited\n" + Message("a") +
                   Message("b")));
  EXPECT_EQ(log_.GetDecoderRow(), 3);
  EXPECT_EQ(log_.GetDecoderColumn(), 12);
  EXPECT_TRUE(log_.IsAutoCommit());
  EXPECT_EQ(Info(), "");
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(log_.GetDecoderRow(), 0);
  EXPECT_EQ(log_.GetDecoderColumn(), 0);
  EXPECT_FALSE(log_.IsAutoCommit());
}

TEST_F(Pages, AMessageMustEndBehindItsPageUnlessItIsTheLastPage) {
  const std::string wrong = "Start HBCI message;2;1\nabcde\nmore\nmore\n";
  EXPECT_TRUE(Read(kHeader + wrong));
  err_.Clear();
  ASSERT_TRUE(Read(kHeader + Message("x") + wrong + Message("y")));
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17400);
  EXPECT_TRUE(Goto(2));
  EXPECT_TRUE(Goto(0));
}

TEST_F(Pages, TheEndMarkerMayStandInTheNextLineOrTheOneBehind) {
  const auto ends = [&](const std::string& closing) {
    err_.Clear();
    return Read(kHeader + "Start XML message;1;1\na" + closing + Message("b"));
  };
  EXPECT_TRUE(ends("End XML message\n"));
  EXPECT_TRUE(ends("\nEnd HBCI message\n"));
  EXPECT_FALSE(ends("\n\nEnd XML message\n"));
}

TEST_F(Pages, ASliceFollowedByAnotherNeedNotEnd) {
  ASSERT_TRUE(Read(kHeader + Message(std::string(1000, 'a')) + Message("b")));
  EXPECT_EQ(Shown(), Slice(true, std::string(920, 'a')));
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(Shown(), Slice(true, std::string(80, 'a')));
}

TEST_F(Pages, TooMuchInformationIsAnInvalidParameter) {
  const std::string half(40000, 'i');
  ASSERT_TRUE(Read(kHeader + Message("a") + half + "\n" + half + "\n" + Message("b")));
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17743);
}

// ---- screens of the decoder ---------------------------------------------------------------------

TEST_F(Pages, AScreenHas24LinesAndItsInformation) {
  ASSERT_TRUE(Read(kHeader + "info\n" + Screen(Rows(24), "0717", true) + Message("a")));
  EXPECT_EQ(Shown(), Rows(24));
  EXPECT_EQ(Info(), "info");
  EXPECT_EQ(log_.GetDecoderRow(), 7);
  EXPECT_EQ(log_.GetDecoderColumn(), 17);
  EXPECT_TRUE(log_.IsAutoCommit());
  ASSERT_TRUE(Goto(1));
  EXPECT_EQ(Shown(), Slice(true, "a"));
}

TEST_F(Pages, LinesOfAScreenBeyondTheTwentyFourthAreSkipped) {
  ASSERT_TRUE(Read(kHeader + Screen(Rows(30), "0101", false)));
  EXPECT_EQ(Shown(), Rows(24));
}

// The lines are counted, not looked at, on purpose.
TEST_F(Pages, AScreenWithFewerLinesTakesWhatFollows) {
  ASSERT_TRUE(Read(kHeader + Screen("one", "0101", false) + Rows(30)));
  EXPECT_EQ(Shown(), "one\nEnd Decoder Image\n" + Rows(22));
  err_.Clear();
  EXPECT_FALSE(Read(kHeader + Screen("one", "0101", false)));
  EXPECT_EQ(err_.GetCode(), 17400);
}

TEST_F(Pages, AScreenMarkerWithoutAScreenCannotBeShown) {
  ASSERT_TRUE(Read(kHeader + Message("a") + "End Decoder Image\n"));
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17400);
}

TEST_F(Pages, AScreenLineThatIsTooLongIsAnInvalidParameter) {
  ASSERT_TRUE(
      Read(kHeader + Message("a") + Screen(std::string(70000, 'x'), "0101", false) + Rows(30)));
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17743);
}

// ---- failures -----------------------------------------------------------------------------------

TEST_F(Pages, AFailingReadWhileTheIndexIsBuiltClosesTheFile) {
  memory_.Put("log", kHeader + Message("a"));
  faults_.Fail(tmx::EnvCall::kRead, 1, std::errc::io_error);
  EXPECT_FALSE(log_.ReadUncryptedProtocol(err_, "log"));
  EXPECT_EQ(err_.GetCode(), 17744);
  EXPECT_FALSE(log_.IsOpen());
}

TEST_F(Pages, AFailingReadOfABodyIs17400) {
  const std::string text = kHeader + Message(std::string(920, 'a')) + Message("b");
  memory_.Put("log", text);
  ASSERT_TRUE(log_.ReadUncryptedProtocol(err_, "log"));
  faults_.Fail(tmx::EnvCall::kRead, 2, std::errc::io_error);
  EXPECT_FALSE(Goto(0));
  EXPECT_EQ(err_.GetCode(), 17400);
  // The stream keeps its error, so every page fails from now on.
  EXPECT_FALSE(Goto(1));
  EXPECT_EQ(err_.GetCode(), 17400);
}

TEST_F(Pages, AFailingReadOfInformationIsThatError) {
  ASSERT_TRUE(Read(kHeader + "info\n" + Message("b")));
  faults_.Fail(tmx::EnvCall::kRead, 1, std::errc::io_error);
  EXPECT_FALSE(Goto(0));
  EXPECT_EQ(err_.GetCode(), 17744);
}

}  // namespace
