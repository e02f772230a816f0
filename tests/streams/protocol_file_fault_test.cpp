// Each operation of the communication log while the operating system fails.
#include <array>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tmxtools/platform/clock.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/log_salvage.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

namespace codes = tmx::stream_error;
namespace mode = tmx::stream_mode;
using tmx::EnvCall;
using tmx::FaultEnv;

constexpr const char* kKey = "geheim";
constexpr unsigned short kNotALog = 17400;

class Source : public SvMemoryStream {
 public:
  Source() {
    const std::string bytes = "HNSHA:3:2+1++pin'" + std::string(3000, 'x');
    Write(bytes.data(), bytes.size());
  }
};

String Screenful() {
  String text;
  for (int row = 1; row < 24; ++row) text += "row\n";
  return text;
}

// One operation on a log; true when it says that all went well.
struct Operation {
  const char* name;
  enum class On { kNothing, kNewLog, kOldLog } on;
  std::function<bool(HbProtocolFile&, HbError&)> run;
};

bool WriteSource(bool (HbProtocolFile::*write)(SvStream&, bool, HbError&), HbProtocolFile& log,
                 HbError& err) {
  Source source;
  return (log.*write)(source, true, err);
}

const std::vector<Operation>& Operations() {
  using On = Operation::On;
  static const std::vector<Operation> all = {
      {"open for writing", On::kNothing,
       [](HbProtocolFile& log, HbError& err) {
         return log.Open("log", mode::Write | mode::Truncate, kKey, err);
       }},
      {"write a message", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) {
         return WriteSource(&HbProtocolFile::WriteMessage, log, err);
       }},
      {"write an XML message", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) {
         return WriteSource(&HbProtocolFile::WriteXMLMessage, log, err);
       }},
      {"write an instruction", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) {
         return WriteSource(&HbProtocolFile::WriteCmdMessage, log, err);
       }},
      {"write a page", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) {
         return WriteSource(&HbProtocolFile::WriteXHTMLMessage, log, err);
       }},
      {"write a screen", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) {
         return log.WriteScreen(Screenful(), Point(3, 12), true, err);
       }},
      {"write information", On::kNewLog,
       [](HbProtocolFile& log, HbError& err) { return log.WriteInfoLine("information", err); }},
      {"open for reading", On::kNothing,
       [](HbProtocolFile& log, HbError& err) { return log.Open("log", mode::Read, kKey, err); }},
      {"first page", On::kOldLog,
       [](HbProtocolFile& log, HbError& err) { return log.FirstPage(err); }},
      {"next page", On::kOldLog,
       [](HbProtocolFile& log, HbError& err) { return log.NextPage(err); }},
      {"last page", On::kOldLog,
       [](HbProtocolFile& log, HbError& err) { return log.LastPage(err); }},
      {"page before", On::kOldLog,
       [](HbProtocolFile& log, HbError& err) {
         return log.LastPage(err) && log.PrevPage(err) && log.GotoPage(2, err);
       }},
      {"length", On::kNothing,
       [](HbProtocolFile& log, HbError& err) { return log.GetLength("log", kKey, err) > 0; }},
      {"contents", On::kNothing,
       [](HbProtocolFile& log, HbError& err) {
         std::array<unsigned char, 5000> buffer;
         unsigned long length = buffer.size();
         return log.GetBinary("log", kKey, err, buffer.data(), length) && length == buffer.size();
       }},
      {"read unencrypted", On::kNothing,
       [](HbProtocolFile& log, HbError& err) { return log.ReadUncryptedProtocol(err, "plain"); }},
      {"salvage", On::kNothing,
       [](HbProtocolFile&, HbError& err) {
         tmx::SalvageReport report;
         return tmx::SalvageLog("log", "saved", kKey, report, err) && report.blocks > 5;
       }},
  };
  return all;
}

unsigned short CodeOf(std::uint32_t error) {
  SvMemoryStream stream;
  stream.SetError(error);
  HbError err;
  err.SetStreamState(stream);
  return err.GetCode();
}

std::set<unsigned short> CodesOf(EnvCall call) {
  switch (call) {
    case EnvCall::kOpen:
    case EnvCall::kClaim:
      return {CodeOf(codes::General), CodeOf(codes::CannotCreate)};
    case EnvCall::kSize:
      return {CodeOf(codes::General), CodeOf(codes::CannotSeek), kNotALog};
    case EnvCall::kRead:
      return {CodeOf(codes::ReadError), kNotALog};
    case EnvCall::kRandom:
      return {CodeOf(codes::General)};
    default:
      return {CodeOf(codes::WriteError)};
  }
}

class FailingLogOperation : public testing::Test {
 protected:
  FailingLogOperation() {
    HbProtocolFile log;
    log.Open("log", mode::Write | mode::Truncate, kKey, err_);
    for (int i = 0; i < 3; ++i) {
      WriteSource(&HbProtocolFile::WriteMessage, log, err_);
      log.WriteInfoLine("between", err_);
      log.WriteScreen(Screenful(), Point(3, 12), false, err_);
    }
    log.Close();
    stored_ = memory_.Get("log");
    std::string plain(log.GetLength("log", kKey, err_), '\0');
    unsigned long length = plain.size();
    log.GetBinary("log", kKey, err_, reinterpret_cast<unsigned char*>(plain.data()), length);
    memory_.Put("plain", plain);
    EXPECT_FALSE(err_.IsSet());
  }

  // False when the operation made fewer calls of the kind.
  bool Check(const Operation& operation, EnvCall call, std::size_t nth, FaultEnv::Lasting lasting) {
    memory_.Put("log", stored_);
    faults_.Reset();
    HbError err;
    bool happened = false;
    {
      HbProtocolFile log;
      if (operation.on == Operation::On::kNewLog) {
        EXPECT_TRUE(log.Open("log", mode::Write | mode::Truncate, kKey, err));
        EXPECT_TRUE(log.WriteInfoLine("kept", err));
        EXPECT_TRUE(log.WriteInfoLine("stored again by the next write", err));
      } else if (operation.on == Operation::On::kOldLog) {
        EXPECT_TRUE(log.Open("log", mode::Read, kKey, err));
      }
      faults_.Reset();
      faults_.Fail(call, nth, std::errc::io_error, lasting);
      const bool went_well = operation.run(log, err);
      happened = faults_.Count(call) >= nth;
      EXPECT_EQ(went_well, !happened);
      EXPECT_EQ(err.IsSet(), happened);
      if (happened) EXPECT_TRUE(CodesOf(call).contains(err.GetCode())) << err.GetCode();
    }
    faults_.Reset();
    const std::string now = memory_.Get("log");
    EXPECT_EQ(now.find("HNSHA"), std::string::npos);
    if (operation.on == Operation::On::kNewLog) CheckWhatIsLeft();
    if (operation.on == Operation::On::kOldLog) EXPECT_TRUE(now == stored_);
    return happened;
  }

  // The log can be read or is refused, and what was flushed can be saved, up to the line that
  // shares its last bytes with the write that failed in their middle.
  void CheckWhatIsLeft() {
    HbProtocolFile log;
    HbError err;
    if (!log.Open("log", mode::Read, kKey, err)) EXPECT_TRUE(err.IsSet());
    tmx::SalvageReport report;
    err.Clear();
    EXPECT_TRUE(tmx::SalvageLog("log", "saved", kKey, report, err)) << err.GetCode();
    EXPECT_GE(report.blocks, 3u) << "date, time and the line";
  }

  tmx::MemoryEnv memory_;
  FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
  tmx::FixedClock clock_{20261121, 8153012};
  tmx::ScopedClock clock_scope_{clock_};
  HbError err_;
  std::string stored_;
};

TEST_F(FailingLogOperation, EndsInItsErrorAndUncoversNothing) {
  for (const Operation& operation : Operations()) {
    std::size_t failures = 0;
    for (const EnvCall call :
         {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead, EnvCall::kWrite,
          EnvCall::kSetSize, EnvCall::kSync, EnvCall::kRemove}) {
      for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
        for (std::size_t nth = 1;; ++nth) {
          SCOPED_TRACE(testing::Message()
                       << operation.name << ", call " << static_cast<int>(call) << ", number "
                       << nth << ", lasting " << static_cast<int>(lasting));
          if (!Check(operation, call, nth, lasting)) break;
          ++failures;
        }
      }
    }
    EXPECT_GT(failures, 0u) << operation.name;
  }
}

}  // namespace
