#include "tmxtools/streams/transaction_file_stream.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/reference_undo_log.h"
#include "tests/support/temp_dir.h"

namespace {

namespace codes = tmx::stream_error;
namespace mode = tmx::stream_mode;
using tmx::EnvCall;
using tmx::FaultEnv;
using tmx::reference::WriteUndoLog;

constexpr unsigned short kReadWrite = mode::Read | mode::Write;

void WriteAt(SvStream& stream, unsigned long position, const std::string& bytes) {
  stream.Seek(position);
  stream.Write(bytes.data(), bytes.size());
}

class TransactionFile : public testing::Test {
 protected:
  bool HasLog() { return memory_.Info("log").Ok(); }

  tmx::MemoryEnv memory_;
  FaultEnv env_{memory_};
  tmx::ScopedEnv scope_{env_};
};

TEST_F(TransactionFile, ACleanCloseDeletesTheLog) {
  HbTransactionFileStream stream("data", "log", kReadWrite);
  EXPECT_TRUE(stream.IsOpen());
  EXPECT_TRUE(HasLog());
  WriteAt(stream, 0, "abc");
  stream.BeginTrans();
  WriteAt(stream, 1, "BCD");
  stream.CommitTrans();
  stream.Close();
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_FALSE(HasLog());
  EXPECT_EQ(memory_.Get("data"), "aBCD");
  stream.Close();
  EXPECT_FALSE(stream.HasError());
}

TEST_F(TransactionFile, TheDestructorCloses) {
  memory_.Put("data", "abc");
  {
    HbTransactionFileStream stream("data", "log", kReadWrite);
    stream.BeginTrans();
    WriteAt(stream, 0, "x");
  }
  EXPECT_FALSE(HasLog());
  EXPECT_EQ(memory_.Get("data"), "abc");
}

TEST_F(TransactionFile, ALeftoverLogIsAppliedBeforeAnyUse) {
  memory_.Put("data", "new bytes and more");
  memory_.Put("log", WriteUndoLog({9, {{0, "old"}}}));
  HbTransactionFileStream stream("data", "log", kReadWrite);
  EXPECT_EQ(memory_.Get("data"), "old bytes");
  EXPECT_TRUE(memory_.Unsynced("data").empty());
  EXPECT_EQ(memory_.Get("log"), "");
  EXPECT_TRUE(memory_.Unsynced("log").empty());
}

TEST_F(TransactionFile, ANestedCloseIsNoCleanOneAndKeepsTheLog) {
  memory_.Put("data", "abc");
  HbTransactionFileStream stream("data", "log", kReadWrite);
  stream.BeginTrans();
  stream.BeginTrans();
  WriteAt(stream, 0, "x");
  stream.Close();
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_EQ(memory_.Get("data"), "xbc");
  EXPECT_EQ(memory_.Get("log"), WriteUndoLog({3, {{0, "a"}}}));
  stream.Open("data", "log", kReadWrite);
  EXPECT_EQ(memory_.Get("data"), "abc");
  stream.Close();
  EXPECT_FALSE(HasLog());
}

TEST_F(TransactionFile, OpeningAgainClosesFirst) {
  memory_.Put("data", "abc");
  HbTransactionFileStream stream("data", "log", kReadWrite);
  stream.BeginTrans();
  WriteAt(stream, 0, "x");
  stream.Open("data", "log2", kReadWrite);
  EXPECT_FALSE(stream.HasError());
  EXPECT_FALSE(HasLog());
  EXPECT_EQ(memory_.Get("data"), "abc");
}

TEST_F(TransactionFile, ASecondOpeningGetsALockingErrorAndChangesNothing) {
  memory_.Put("data", "abc");
  HbTransactionFileStream stream("data", "log", kReadWrite);
  stream.BeginTrans();
  WriteAt(stream, 0, "x");
  stream.FlushLog();
  for (const unsigned short bits : {kReadWrite, static_cast<unsigned short>(0x000B)}) {
    HbTransactionFileStream second("data", "log", bits);
    EXPECT_EQ(second.GetError(), codes::LockingViolation);
    EXPECT_FALSE(second.IsOpen());
    second.Close();
  }
  EXPECT_TRUE(HasLog());
  EXPECT_EQ(memory_.Get("data"), "xbc");
  stream.RollbackTrans();
  EXPECT_EQ(memory_.Get("data"), "abc");
}

TEST_F(TransactionFile, TruncationWaitsUntilTheLogWasApplied) {
  memory_.Put("data", "new bytes");
  memory_.Put("log", WriteUndoLog({9, {{0, "old"}}}));
  HbTransactionFileStream stream("data", "log", kReadWrite | mode::Truncate);
  EXPECT_FALSE(stream.HasError());
  EXPECT_EQ(memory_.Get("data"), "");
  EXPECT_EQ(memory_.Get("log"), "");
}

TEST_F(TransactionFile, WhatCannotBeOpenedGivesItsError) {
  EXPECT_EQ(HbTransactionFileStream("data", "log", mode::Read).GetError(), codes::FileNotFound);
  EXPECT_FALSE(HasLog());
  memory_.Put("data", "abc");
  EXPECT_EQ(HbTransactionFileStream("data", "no/log", kReadWrite).GetError(), codes::PathNotFound);
  EXPECT_EQ(HbTransactionFileStream("data", "/home", kReadWrite).GetError(), codes::InvalidAccess);
  HbTransactionFileStream stream;
  stream.Write("x", 1);
  EXPECT_EQ(stream.GetError(), codes::General);
}

TEST_F(TransactionFile, DataOpenedForReadingCanOnlyBeRead) {
  memory_.Put("data", "abc");
  HbTransactionFileStream stream("data", "log", mode::Read);
  EXPECT_FALSE(stream.IsWritable());
  char bytes[3];
  EXPECT_EQ(stream.Read(bytes, 3), 3u);
  stream.Write("x", 1);
  EXPECT_EQ(stream.GetError(), codes::AccessDenied);
  stream.ResetError();
  stream.Close();
  EXPECT_FALSE(HasLog());
}

// Invariant 6.
TEST_F(TransactionFile, NamesAreSyncedWhenTheyAreNewAndWhenTheLogGoes) {
  const auto syncs = [&] { return env_.Count(EnvCall::kSyncDir); };
  {
    HbTransactionFileStream stream("data", "log", kReadWrite);
    EXPECT_EQ(syncs(), 1u) << "one directory";
    WriteAt(stream, 0, "abc");
    stream.Close();
    EXPECT_EQ(syncs(), 2u);
  }
  ASSERT_EQ(memory_.MakeDir("/logs"), std::errc{});
  {
    HbTransactionFileStream stream("data", "/logs/log", kReadWrite);
    EXPECT_EQ(syncs(), 3u) << "the data is not new";
    stream.Close();
    EXPECT_EQ(syncs(), 4u);
  }
  {
    HbTransactionFileStream stream("/data", "/logs/log", kReadWrite);
    EXPECT_EQ(syncs(), 6u) << "two directories";
  }
  memory_.Put("log", WriteUndoLog({3, {}}));
  env_.Reset();
  {
    HbTransactionFileStream stream("data", "log", kReadWrite);
    EXPECT_EQ(syncs(), 0u) << "a log in use had its name synced before";
  }
  env_.Reset();
  HbTransactionFileStream scratch;
  scratch.SetDurable(false);
  scratch.Open("data", "log", kReadWrite);
  scratch.BeginTrans();
  WriteAt(scratch, 0, "x");
  scratch.CommitTrans();
  scratch.Close();
  EXPECT_EQ(syncs(), 0u);
  EXPECT_EQ(env_.Count(EnvCall::kSync), 0u);
}

TEST_F(TransactionFile, ATypicalTransactionSyncsThreeTimes) {
  memory_.Put("data", std::string(8192, 'o'));
  HbTransactionFileStream stream("data", "log", kReadWrite);
  env_.Reset();
  stream.BeginTrans();
  WriteAt(stream, 1024, std::string(1024, 'n'));
  stream.CommitTrans();
  EXPECT_EQ(env_.Count(EnvCall::kSync), 3u);
  EXPECT_EQ(env_.Count(EnvCall::kSyncDir), 0u);
  EXPECT_LE(env_.Count(EnvCall::kWrite), 3u) << "length, record, data";
}

// Removes the log at the first opening's end, as another process does that closes in that moment.
class VanishingLogEnv : public tmx::MemoryEnv {
 public:
  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> Open(const std::string& path,
                                                     tmx::FileAccess access) override {
    auto result = MemoryEnv::Open(path, access);
    if (path == "log" && times > 0) {
      --times;
      Remove("log");
    }
    return result;
  }
  int times = 0;
};

TEST(TransactionFileRace, ALogThatWasDeletedMeanwhileIsOpenedAgain) {
  VanishingLogEnv env;
  const tmx::ScopedEnv scope(env);
  env.times = 3;
  HbTransactionFileStream stream("data", "log", kReadWrite);
  EXPECT_TRUE(stream.IsOpen());
  EXPECT_TRUE(env.Info("log").Ok());
  stream.Close();
  env.times = 1000;
  stream.Open("data", "log", kReadWrite);
  EXPECT_EQ(stream.GetError(), codes::LockingViolation);
}

TEST(TransactionFileOnDisk, ASecondProcessGetsALockingError) {
  const tmx::TempDir directory;
  const String data(directory.File("data"));
  const String log(directory.File("log"));
  HbTransactionFileStream stream(data, log, kReadWrite);
  ASSERT_TRUE(stream.IsOpen());
  const pid_t child = fork();
  if (child == 0) {
    const HbTransactionFileStream second(data, log, kReadWrite);
    _exit(second.GetError() == codes::LockingViolation ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  stream.Close();
  EXPECT_FALSE(std::filesystem::exists(directory.File("log")));
  EXPECT_TRUE(HbTransactionFileStream(data, log, kReadWrite).IsOpen());
}

TEST(TransactionFileOnDisk, KeepsWhatWasCommittedAndNothingElse) {
  const tmx::TempDir directory;
  const String data(directory.File("data"));
  const String log(directory.File("log"));
  HbTransactionFileStream stream(data, log, kReadWrite);
  stream.BeginTrans();
  WriteAt(stream, 0, "committed");
  stream.CommitTrans();
  stream.BeginTrans();
  WriteAt(stream, 0, "rolled back");
  stream.Close();
  SvFileStream plain(data, mode::Read);
  String line;
  EXPECT_TRUE(plain.ReadLine(line));
  EXPECT_EQ(line, "committed");
}

// ---- failing calls ----------------------------------------------------------------------------

// What a workload does to the file; each step may fail, and then the rest is left out as a careful
// host would.
struct Workload {
  const char* name;
  std::function<void(HbTransactionFileStream&)> run;
  std::string after;  // of the data when all went well
};

const std::string kBefore = std::string(300, 'o') + std::string(9000, 'p');

std::vector<Workload> Workloads() {
  std::string overwritten = kBefore;
  overwritten.replace(100, 50, std::string(50, 'n'));
  std::string bulk = kBefore;
  bulk.replace(10, 9000, std::string(9000, 'b'));
  bulk.replace(20, 5, "small");
  return {
      {"overwrite",
       [](HbTransactionFileStream& s) {
         s.BeginTrans();
         WriteAt(s, 100, std::string(50, 'n'));
         s.CommitTrans();
       },
       overwritten},
      {"append",
       [](HbTransactionFileStream& s) {
         s.BeginTrans();
         WriteAt(s, kBefore.size(), "more");
         s.CommitTrans();
       },
       kBefore + "more"},
      {"cut and nested",
       [](HbTransactionFileStream& s) {
         s.BeginTrans();
         s.SetStreamSize(200);
         s.BeginTrans();
         WriteAt(s, 150, std::string(100, 'n'));
         s.CommitTrans();
         s.Flush();
         s.CommitTrans();
       },
       kBefore.substr(0, 150) + std::string(100, 'n')},
      {"bulk",
       [](HbTransactionFileStream& s) {
         s.BeginTrans();
         WriteAt(s, 10, std::string(9000, 'b'));
         WriteAt(s, 20, "small");
         s.FlushLog();
         s.CommitTrans();
       },
       bulk},
      {"rollback",
       [](HbTransactionFileStream& s) {
         s.BeginTrans();
         WriteAt(s, 0, std::string(9300, 'n'));
         WriteAt(s, 9300, "more");
         s.RollbackTrans();
       },
       kBefore},
  };
}

class FailingCalls : public TransactionFile {
 protected:
  // The error that a call of this kind is to be answered with.
  static bool IsExpected(std::uint32_t error, EnvCall call) {
    switch (call) {
      case EnvCall::kOpen:
      case EnvCall::kClaim:
        return error == codes::General || error == codes::CannotCreate;
      case EnvCall::kRead:
        return error == codes::ReadError;
      case EnvCall::kSize:
        return error == codes::General || error == codes::CannotSeek;
      case EnvCall::kSetSize:
      case EnvCall::kWrite:
      case EnvCall::kSync:
        return error == codes::WriteError;
      default:
        return error == codes::General;
    }
  }

  // Has the n-th call of a kind fail in a workload from opening to closing; false when there were
  // fewer calls.
  bool Check(const Workload& workload, EnvCall call, std::size_t nth, FaultEnv::Lasting lasting) {
    memory_.Put("data", kBefore);
    if (HasLog()) memory_.Remove("log");
    env_.Reset();
    env_.Fail(call, nth, std::errc::io_error, lasting);
    bool committed = false;
    std::uint32_t error = 0;
    {
      HbTransactionFileStream stream;
      stream.Open("data", "log", kReadWrite);
      if (stream.IsOpen()) {
        workload.run(stream);
        committed = !stream.HasError();
      }
      error = stream.GetError();
      stream.Close();
      if (error == 0) error = stream.GetError();
    }
    const bool happened = env_.Count(call) >= nth;
    env_.Reset();
    // The flush that a rollback begins with may fail: what it undoes is undone all the same.
    if (workload.after != kBefore) EXPECT_EQ(error != 0, happened);
    EXPECT_TRUE(happened || error == 0);
    if (error != 0) EXPECT_TRUE(IsExpected(error, call)) << std::hex << error;
    HbTransactionFileStream again("data", "log", kReadWrite);
    EXPECT_EQ(again.GetError(), 0u);
    const std::string now = memory_.Get("data");
    EXPECT_TRUE(now == workload.after || (!committed && now == kBefore));
    return happened;
  }
};

TEST_F(FailingCalls, EndInTheirErrorAndLeaveTheFileUndamaged) {
  for (const Workload& workload : Workloads()) {
    for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                               EnvCall::kWrite, EnvCall::kSetSize, EnvCall::kSync,
                               EnvCall::kSyncDir, EnvCall::kRemove, EnvCall::kWorkingDir}) {
      for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
        std::size_t nth = 1;
        for (;; ++nth) {
          SCOPED_TRACE(testing::Message() << workload.name << ", call " << static_cast<int>(call)
                                          << ", number " << nth);
          if (!Check(workload, call, nth, lasting)) break;
        }
        if (workload.name == std::string("cut and nested")) EXPECT_GT(nth, 1u);
      }
    }
  }
}

TEST_F(FailingCalls, InRecoveryLeaveTheLogForTheNextTry) {
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                             EnvCall::kWrite, EnvCall::kSetSize, EnvCall::kSync, EnvCall::kInfo}) {
    for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
      for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << ", number " << nth);
        memory_.Put("data", "new bytes and more");
        memory_.Put("log", WriteUndoLog({9, {{0, "old"}, {4, std::string(300, 'x')}}}));
        env_.Reset();
        env_.Fail(call, nth, std::errc::io_error, lasting);
        {
          HbTransactionFileStream stream("data", "log", kReadWrite);
          if (env_.Count(call) < nth) break;
          if (call != EnvCall::kInfo) EXPECT_TRUE(IsExpected(stream.GetError(), call));
          stream.ResetError();
          WriteAt(stream, 0, "more");  // refused, or only after the undoing (invariant 5)
        }
        env_.Reset();
        HbTransactionFileStream again("data", "log", kReadWrite);
        EXPECT_EQ(again.GetError(), 0u);
        EXPECT_THAT(memory_.Get("data"),
                    testing::AnyOf("old " + std::string(300, 'x'), "more" + std::string(300, 'x')));
      }
    }
  }
}

}  // namespace
