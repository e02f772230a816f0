#include "tmxtools/streams/log_salvage.h"

#include <string>
#include <vector>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/support/reference_log.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/log_blocks.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

namespace mode = tmx::stream_mode;
namespace reference = tmx::reference_log;

constexpr const char* kKey = "geheim";
const std::string kHeader = "Datum: 20261121\nUhrzeit: 8153012\n";

class Source : public SvMemoryStream {
 public:
  explicit Source(const std::string& bytes) { Write(bytes.data(), bytes.size()); }
};

class Salvage : public testing::Test {
 protected:
  // Writes a log and notes where in its contents each block ends.
  void WriteLog() {
    HbProtocolFile log;
    ASSERT_TRUE(log.Open("log", mode::Write | mode::Truncate, kKey, err_));
    expected_ = kHeader;
    ends_ = {16, kHeader.size()};
    const auto wrote = [&](bool well, const std::string& text) {
      ASSERT_TRUE(well);
      expected_ += text;
      ends_.push_back(expected_.size());
    };
    for (int i = 0; i < 3; ++i) {
      Source bytes(std::string(static_cast<std::size_t>(37 * i + 5), 'm') + "\nStart XML message");
      const std::string body(bytes.View());
      wrote(log.WriteMessage(bytes, true, err_), reference::Body("HBCI message", body, true));
      wrote(log.WriteXMLMessage(bytes, false, err_), reference::Body("XML message", body, false));
      wrote(log.WriteInfoLine("info", err_), "info\n");
      wrote(log.WriteScreen("a\nb", Point(1, 2), i == 1, err_),
            reference::Screen("a\nb", "0102", i == 1));
      wrote(log.WriteCmdMessage(bytes, true, err_), reference::Body("XML instruction", body, true));
      wrote(log.WriteXHTMLMessage(bytes, true, err_), reference::Body("XHTML page", body, true));
    }
    log.Close();
    file_ = memory_.Get("log");
  }
  std::size_t LastEndUpTo(std::size_t size) const {
    std::size_t last = 0;
    for (const std::size_t end : ends_)
      if (end <= size) last = end;
    return last;
  }
  bool Run(const std::string& file, const char* key = kKey) {
    memory_.Put("damaged", file);
    err_.Clear();
    return tmx::SalvageLog("damaged", "saved", key, report_, err_);
  }

  tmx::MemoryEnv memory_;
  tmx::FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
  tmx::FixedClock clock_{20261121, 8153012};
  tmx::ScopedClock clock_scope_{clock_};
  HbError err_;
  std::string expected_, file_;
  std::vector<std::size_t> ends_;
  tmx::SalvageReport report_;
};

TEST_F(Salvage, SavesEveryWholeBlockWhereverTheEndIsCut) {
  WriteLog();
  constexpr std::size_t kHead = 18;
  for (std::size_t size = kHead + 24; size <= file_.size(); ++size) {
    ASSERT_TRUE(Run(file_.substr(0, size))) << size;
    const std::size_t readable = (size - kHead) / 8 * 8;
    const std::string saved = expected_.substr(0, LastEndUpTo(readable));
    ASSERT_EQ(reference::Contents(memory_.Get("saved"), kKey), saved) << size;
    ASSERT_EQ(report_.saved, saved.size());
    ASSERT_EQ(report_.lost, readable - saved.size());
  }
  EXPECT_EQ(report_.blocks, ends_.size());
}

TEST_F(Salvage, TheEncryptedStreamRefusesWhatIsSaved) {
  WriteLog();
  const std::string cut = file_.substr(0, file_.size() - 24);
  memory_.Put("damaged", cut);
  HbProtocolFile log;
  EXPECT_FALSE(log.Open("damaged", mode::Read, kKey, err_));
  ASSERT_TRUE(Run(cut));
  err_.Clear();
  EXPECT_TRUE(log.Open("saved", mode::Read, kKey, err_));
  EXPECT_GT(log.Count(), 5);
}

// The last 24 bytes are stored again by the next write. Where that is torn, bytes are lost that
// were flushed before, but none of a block further back.
TEST_F(Salvage, ATornWriteCostsAtMostTheBlockBeforeItAsWell) {
  std::size_t losses = 0;
  for (std::size_t size = 0; size < 24; ++size) {
    HbProtocolFile log;
    ASSERT_TRUE(log.Open("log", mode::Write | mode::Truncate, kKey, err_));
    const auto write = [&](std::size_t length) {
      Source bytes(std::string(length, 'x'));
      ASSERT_TRUE(log.WriteXMLMessage(bytes, true, err_));
    };
    write(100);
    const std::string older = kHeader + reference::Body("XML message", std::string(100, 'x'), true);
    write(size);
    const std::string flushed =
        older + reference::Body("XML message", std::string(size, 'x'), true);
    const std::string before = memory_.Get("log");
    write(50);
    const std::string after = memory_.Get("log");
    log.Close();
    for (std::size_t cut = before.size() - 24; cut < before.size(); ++cut) {
      for (const std::string& torn :
           {after.substr(0, cut) + before.substr(cut),
            before.substr(0, cut) + after.substr(cut, before.size() - cut)}) {
        ASSERT_TRUE(Run(torn)) << size << " " << cut;
        const std::string saved = reference::Contents(memory_.Get("saved"), kKey).value_or("");
        ASSERT_EQ(saved.substr(0, older.size()), older) << size << " " << cut;
        if (saved.substr(0, flushed.size()) != flushed) ++losses;
      }
    }
  }
  EXPECT_GT(losses, 0u);
}

// Ends the file after every write, and inside longer ones after every 24 bytes, which is the unit
// that the stream encrypts by itself.
TEST_F(Salvage, ACrashCostsAtMostTheBlockBeingWritten) {
  memory_.Put("log", "");
  HbProtocolFile log;
  ASSERT_TRUE(log.Open("log", mode::Write | mode::Truncate, kKey, err_));
  struct Done {
    std::size_t writes;
    std::string contents;
  };
  std::string contents = kHeader;
  std::vector<Done> done = {{memory_.Unsynced("log").size(), contents}};
  for (int i = 0; i < 12; ++i) {
    Source bytes(std::string(static_cast<std::size_t>(i * i * 40 + i), 'x'));
    ASSERT_TRUE(log.WriteXMLMessage(bytes, true, err_));
    contents += reference::Body("XML message", std::string(bytes.View()), true);
    done.push_back({memory_.Unsynced("log").size(), contents});
  }
  log.Close();
  const std::vector<tmx::MemoryEnv::Change> changes = memory_.Unsynced("log");
  const auto check = [&](const std::string& crashed, std::size_t writes) {
    std::string at_least;
    for (const Done& block : done)
      if (block.writes <= writes) at_least = block.contents;
    if (at_least.empty()) return;
    ASSERT_TRUE(Run(crashed)) << writes;
    const std::string saved = reference::Contents(memory_.Get("saved"), kKey).value_or("");
    ASSERT_TRUE(saved.starts_with(at_least)) << writes;
    ASSERT_TRUE(contents.starts_with(saved)) << writes;
  };
  std::string file;
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const tmx::MemoryEnv::Change& change = changes[i];
    if (!change.is_write) {
      file.resize(change.offset);
      continue;
    }
    std::string after = file;
    after.resize(std::max<std::size_t>(after.size(), change.offset + change.bytes.size()));
    after.replace(change.offset, change.bytes.size(), change.bytes);
    for (std::size_t part = 24; part < change.bytes.size(); part += 24) {
      std::string torn = file;
      torn.resize(std::max<std::size_t>(torn.size(), change.offset + part));
      torn.replace(change.offset, part, change.bytes, 0, part);
      ASSERT_NO_FATAL_FAILURE(check(torn, i));
    }
    file = after;
    ASSERT_NO_FATAL_FAILURE(check(file, i + 1));
  }
  EXPECT_EQ(file, memory_.Get("log"));
}

TEST_F(Salvage, ABlockWithoutItsClosingLinesIsLeftOut) {
  HbProtocolFile log;
  ASSERT_TRUE(log.Open("log", mode::Write | mode::Truncate, kKey, err_));
  ASSERT_TRUE(log.WriteInfoLine("Start HBCI message;5;1", err_));
  ASSERT_TRUE(log.WriteInfoLine("abc", err_));
  Source bytes("good");
  ASSERT_TRUE(log.WriteXMLMessage(bytes, true, err_));
  ASSERT_TRUE(log.WriteInfoLine("Decoder Pos: 0102", err_));
  ASSERT_TRUE(log.WriteInfoLine("Start Decoder Image", err_));
  log.Close();
  ASSERT_TRUE(Run(memory_.Get("log")));
  EXPECT_EQ(reference::Contents(memory_.Get("saved"), kKey),
            kHeader + reference::Body("XML message", "good", true));
}

TEST_F(Salvage, AnotherKeyOrAnotherFileIsNoLog) {
  WriteLog();
  EXPECT_FALSE(Run(file_, "falsch"));
  EXPECT_EQ(err_.GetCode(), 17400);
  EXPECT_EQ(*err_.GetParamText(), "damaged");
  for (const std::string& bytes : {std::string(), std::string("\x01"), file_.substr(0, 17),
                                   file_.substr(0, 25), std::string(100, '\0'), expected_}) {
    EXPECT_FALSE(Run(bytes));
    EXPECT_EQ(err_.GetCode(), 17400);
  }
  EXPECT_FALSE(memory_.Info("saved").Ok());
}

TEST_F(Salvage, TheDamagedLogIsNeverOverwritten) {
  WriteLog();
  EXPECT_FALSE(tmx::SalvageLog("log", "log", kKey, report_, err_));
  EXPECT_EQ(err_.GetCode(), 17739);
  EXPECT_EQ(memory_.Get("log"), file_);
}

TEST_F(Salvage, AMissingLogIsThatError) {
  EXPECT_FALSE(tmx::SalvageLog("none", "saved", kKey, report_, err_));
  EXPECT_EQ(err_.GetCode(), 17735);
}

TEST_F(Salvage, EveryFailingCallOfTheSystemEndsInAnError) {
  WriteLog();
  using tmx::EnvCall;
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                             EnvCall::kWrite, EnvCall::kSetSize}) {
    for (const auto lasting : {tmx::FaultEnv::Lasting::kOnce, tmx::FaultEnv::Lasting::kForGood}) {
      for (std::size_t nth = 1;; ++nth) {
        faults_.Reset();
        faults_.Fail(call, nth, std::errc::io_error, lasting);
        const bool saved = Run(file_);
        if (faults_.Count(call) < nth) break;
        EXPECT_FALSE(saved) << static_cast<int>(call) << " " << nth;
        EXPECT_TRUE(err_.IsSet());
      }
    }
  }
}

}  // namespace
