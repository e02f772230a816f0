#include "tmxtools/streams/transaction_crypt_file_stream.h"

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/reference_undo_log.h"
#include "tmxtools/streams/crypt_file_stream.h"

namespace {

namespace codes = tmx::stream_error;
namespace mode = tmx::stream_mode;
namespace crypt = tmx::crypt_mode;
using tmx::EnvCall;
using tmx::FaultEnv;

constexpr unsigned short kReadWrite = mode::Read | mode::Write;
constexpr unsigned short kSealed = kReadWrite | crypt::Tagged | crypt::Encrypt | crypt::Sign;
constexpr unsigned char kSessionKey[] = "session key ....";
constexpr unsigned char kWrappingKey[] = "wrapping key ...";

void Open(HbTransactionCryptFileStream& stream, unsigned short bits = kSealed) {
  stream.Open("data", "log", bits, nullptr, 0, kSessionKey, kWrappingKey);
}

void WriteAt(SvStream& stream, unsigned long position, const std::string& bytes) {
  stream.Seek(position);
  stream.Write(bytes.data(), bytes.size());
}

std::string ReadAll(SvStream& stream) {
  std::string bytes(stream.Size(), '?');
  stream.Seek(0);
  bytes.resize(stream.Read(bytes.data(), bytes.size()));
  return bytes;
}

class TransactionCryptFile : public testing::Test {
 protected:
  // What another stream finds in the file.
  std::string Stored() {
    HbCryptFileStream stream("data", kSealed & ~mode::Write, nullptr, 0, kWrappingKey, nullptr);
    const std::string bytes = ReadAll(stream);
    EXPECT_EQ(stream.GetError(), 0u);
    return bytes;
  }

  tmx::MemoryEnv memory_;
  FaultEnv env_{memory_};
  tmx::ScopedEnv scope_{env_};
};

TEST_F(TransactionCryptFile, StoresWhatAnEncryptedFileStreamReads) {
  for (const unsigned short bits :
       {kReadWrite, static_cast<unsigned short>(kReadWrite | crypt::Encrypt),
        static_cast<unsigned short>(kReadWrite | crypt::Sign), kSealed}) {
    HbTransactionCryptFileStream stream;
    stream.SetDurable(true);
    Open(stream, bits | mode::Truncate);
    if ((bits & crypt::Encrypt) == 0) {
      // Without a key block there is no session key to be found again.
      EXPECT_TRUE(stream.IsOpen());
      continue;
    }
    stream.BeginTrans();
    WriteAt(stream, 0, "some text");
    stream.CommitTrans();
    EXPECT_EQ(stream.GetError(), 0u) << bits;
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_FALSE(memory_.Info("log").Ok());
    HbCryptFileStream other("data", bits & ~mode::Write, nullptr, 0, kWrappingKey, nullptr);
    EXPECT_EQ(ReadAll(other), "some text");
  }
}

TEST_F(TransactionCryptFile, TheConstructorOpens) {
  {
    HbTransactionCryptFileStream stream("data", "log", kSealed, nullptr, 0, kSessionKey,
                                        kWrappingKey);
    EXPECT_TRUE(stream.IsOpen());
    WriteAt(stream, 0, "text");
  }
  EXPECT_EQ(Stored(), "text");
}

TEST_F(TransactionCryptFile, RollbackReadsHeaderAndKeyBlockAnew) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, std::string(100, 'o'));
  stream.BeginTrans();
  EXPECT_TRUE(stream.SetStreamSize(0));
  WriteAt(stream, 0, "all new");
  stream.Flush();
  EXPECT_EQ(ReadAll(stream), "all new");
  stream.RollbackTrans();
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(stream.Tell(), 0u);
  EXPECT_EQ(ReadAll(stream), std::string(100, 'o'));
  WriteAt(stream, 50, "x");
  stream.Close();
  EXPECT_EQ(Stored(), std::string(50, 'o') + "x" + std::string(49, 'o'));
}

TEST_F(TransactionCryptFile, WhatWasWrittenBeforeATransactionOutlivesItsRollback) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, "before");
  stream.BeginTrans();
  WriteAt(stream, 0, "within");
  stream.RollbackTrans();
  EXPECT_EQ(ReadAll(stream), "before");
}

TEST_F(TransactionCryptFile, NestedCommitsCountOnlyAtTheOutermost) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, "before");
  stream.BeginTrans();
  stream.BeginTrans();
  WriteAt(stream, 0, "within");
  stream.CommitTrans();
  EXPECT_GT(memory_.Get("log").size(), 4u);
  stream.BeginTrans();
  WriteAt(stream, 6, " and more");
  stream.RollbackTrans();
  EXPECT_EQ(ReadAll(stream), "within and more") << "an inner rollback only ends the inner one";
  stream.RollbackTrans();
  EXPECT_EQ(ReadAll(stream), "before");
}

TEST_F(TransactionCryptFile, OutsideOfOneCommitFlushesAndRollbackDoesNothing) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, "text");
  stream.RollbackTrans();
  EXPECT_EQ(ReadAll(stream), "text");
  stream.CommitTrans();
  EXPECT_EQ(Stored(), "text");
}

TEST_F(TransactionCryptFile, TheLogHoldsOnlyWhatIsStored) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, std::string(480, 'o'));
  stream.BeginTrans();
  const std::string stored = memory_.Get("data");
  WriteAt(stream, 24, std::string(48, 'n'));
  stream.FlushLog();
  const auto log = tmx::reference::ReadUndoLog(memory_.Get("log"));
  ASSERT_EQ(log.records.size(), 1u);
  EXPECT_EQ(log.records[0].old_bytes, stored.substr(log.records[0].offset, 48));
}

TEST_F(TransactionCryptFile, ClosedOneGivesAnError) {
  HbTransactionCryptFileStream stream;
  stream.BeginTrans();
  EXPECT_EQ(stream.GetError(), codes::General);
  stream.ResetError();
  stream.FlushLog();
  EXPECT_EQ(stream.GetError(), codes::General);
  stream.FlushLog();
  stream.ResetError();
  stream.CommitTrans();
  stream.RollbackTrans();
  stream.Close();
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST_F(TransactionCryptFile, ASecondOpeningGetsALockingError) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  HbTransactionCryptFileStream second;
  Open(second);
  EXPECT_EQ(second.GetError(), codes::LockingViolation);
  EXPECT_FALSE(second.IsOpen());
}

TEST_F(TransactionCryptFile, CommitsOnlyIfItsFlushSucceeded) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, "before");
  stream.Flush();
  stream.BeginTrans();
  WriteAt(stream, 0, "within");
  env_.Fail(EnvCall::kWrite, 1, std::errc::no_space_on_device);
  stream.CommitTrans();
  EXPECT_EQ(stream.GetError(), codes::DiskFull);
  stream.ResetError();
  EXPECT_EQ(ReadAll(stream), "before");
  stream.BeginTrans();
  WriteAt(stream, 0, "better");
  stream.CommitTrans();
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(Stored(), "better");
}

TEST_F(TransactionCryptFile, AFailureWithinAnInnerOneFailsTheOuterOne) {
  HbTransactionCryptFileStream stream;
  Open(stream);
  WriteAt(stream, 0, "before");
  stream.BeginTrans();
  WriteAt(stream, 0, "within");
  stream.BeginTrans();
  WriteAt(stream, 6, std::string(100, 'm'));
  env_.Fail(EnvCall::kWrite, 1, std::errc::no_space_on_device);
  stream.CommitTrans();
  EXPECT_EQ(stream.GetError(), codes::DiskFull);
  stream.CommitTrans();
  EXPECT_EQ(stream.GetError(), codes::DiskFull);
  stream.ResetError();
  EXPECT_EQ(ReadAll(stream), "before");
  stream.BeginTrans();
  stream.BeginTrans();
  stream.SetError(codes::WriteError);
  stream.RollbackTrans();
  EXPECT_EQ(stream.GetError(), codes::WriteError) << "kept for the outer one";
  stream.RollbackTrans();
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(ReadAll(stream), "before");
}

// The n-th call of each kind fails, once and for good.
TEST_F(TransactionCryptFile, FailingCallsLeaveTheFileUndamaged) {
  {
    HbTransactionCryptFileStream stream;
    Open(stream);
    WriteAt(stream, 0, std::string(1500, 'o'));
    stream.Close();
  }
  const std::string stored = memory_.Get("data");
  const std::string before(1500, 'o');
  const std::string after = std::string(10, 'o') + std::string(2000, 'n');
  for (const EnvCall call :
       {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead, EnvCall::kWrite,
        EnvCall::kSetSize, EnvCall::kSync, EnvCall::kSyncDir, EnvCall::kRemove}) {
    for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
      for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << ", number " << nth);
        memory_.Put("data", stored);
        memory_.Remove("log");
        env_.Reset();
        env_.Fail(call, nth, std::errc::io_error, lasting);
        std::uint32_t error = 0;
        bool is_committed = false;
        {
          HbTransactionCryptFileStream stream;
          Open(stream);
          stream.BeginTrans();
          WriteAt(stream, 10, std::string(2000, 'n'));
          stream.CommitTrans();
          error = stream.GetError();
          is_committed = error == 0;
          stream.Close();
          if (error == 0) error = stream.GetError();
        }
        const bool happened = env_.Count(call) >= nth;
        env_.Reset();
        EXPECT_EQ(error != 0, happened);
        HbTransactionCryptFileStream again;
        Open(again);
        const std::string now = ReadAll(again);
        EXPECT_EQ(again.GetError(), 0u);
        EXPECT_TRUE(now == after || (now == before && !is_committed)) << now.size();
        if (!happened) break;
      }
    }
  }
}

}  // namespace
