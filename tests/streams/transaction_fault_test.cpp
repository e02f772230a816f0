// Each operation of the transactional file streams while the operating system fails.
#include <array>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tmxtools/streams/transaction_crypt_file_stream.h"
#include "tmxtools/streams/transaction_file_stream.h"

namespace {

namespace codes = tmx::stream_error;
namespace mode = tmx::stream_mode;
using tmx::EnvCall;
using tmx::FaultEnv;

constexpr unsigned short kReadWrite = mode::Read | mode::Write;
const std::string kBefore = std::string(2000, 'o') + "\n" + std::string(7000, 'p');

void Open(HbTransactionFileStream& stream, unsigned short bits = kReadWrite) {
  stream.Open("data", "log", bits);
}

void Open(HbTransactionCryptFileStream& stream, unsigned short bits = kReadWrite) {
  constexpr unsigned char session_key[] = "session key ....";
  constexpr unsigned char wrapping_key[] = "wrapping key ...";
  const auto all = static_cast<unsigned short>(bits | tmx::crypt_mode::Tagged |
                                               tmx::crypt_mode::Encrypt | tmx::crypt_mode::Sign);
  stream.Open("data", "log", all, nullptr, 0, session_key, wrapping_key);
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

// Runs on a stream that is open, in the place that `Where` tells.
template <class Stream>
struct Operation {
  const char* name;
  std::function<void(Stream&)> run;
};
enum class Where { kOutside, kInTransaction, kInNested };

template <class Stream>
std::vector<Operation<Stream>> Operations() {
  return {
      {"read",
       [](Stream& s) {
         std::array<char, 3000> bytes;
         s.Read(bytes.data(), bytes.size());
       }},
      {"read a line",
       [](Stream& s) {
         String line;
         s.ReadLine(line);
       }},
      {"write", [](Stream& s) { s.Write("new", 3); }},
      {"write much", [](Stream& s) { WriteAt(s, 100, std::string(9500, 'n')); }},
      {"write at the end", [](Stream& s) { WriteAt(s, SvStream::SeekToEnd, "more"); }},
      {"write a line", [](Stream& s) { s.WriteLine("a line"); }},
      {"seek", [](Stream& s) { s.Seek(4000); }},
      {"seek to the end", [](Stream& s) { s.Seek(SvStream::SeekToEnd); }},
      {"get the length", [](Stream& s) { s.Size(); }},
      {"empty", [](Stream& s) { s.SetStreamSize(0); }},
      {"flush", [](Stream& s) { s.Flush(); }},
      {"sync", [](Stream& s) { s.Sync(); }},
      {"flush the log", [](Stream& s) { s.FlushLog(); }},
      {"begin", [](Stream& s) { s.BeginTrans(); }},
      {"commit", [](Stream& s) { s.CommitTrans(); }},
      {"roll back", [](Stream& s) { s.RollbackTrans(); }},
      {"forget errors", [](Stream& s) { s.ResetError(); }},
      {"close", [](Stream& s) { s.Close(); }},
      {"open again", [](Stream& s) { Open(s); }},
      {"open emptied", [](Stream& s) { Open(s, kReadWrite | mode::Truncate); }},
  };
}

const std::set<std::uint32_t>& ErrorsOf(EnvCall call) {
  static const std::set<std::uint32_t> open{codes::General, codes::CannotCreate};
  static const std::set<std::uint32_t> size{codes::General, codes::CannotSeek};
  static const std::set<std::uint32_t> read{codes::ReadError};
  static const std::set<std::uint32_t> write{codes::WriteError};
  static const std::set<std::uint32_t> general{codes::General};
  switch (call) {
    case EnvCall::kOpen:
    case EnvCall::kClaim:
      return open;
    case EnvCall::kSize:
      return size;
    case EnvCall::kRead:
      return read;
    case EnvCall::kWrite:
    case EnvCall::kSetSize:
    case EnvCall::kSync:
      return write;
    default:
      return general;
  }
}

template <class Stream>
class FailingOperation : public testing::Test {
 protected:
  FailingOperation() {
    Stream stream;
    Open(stream);
    WriteAt(stream, 0, kBefore);
    stream.Close();
    stored_ = memory_.Get("data");
  }

  static bool Is(const Operation<Stream>& operation, std::string_view name) {
    return operation.name == name;
  }

  static void Enter(Stream& stream, Where where) {
    if (where == Where::kOutside) return;
    stream.BeginTrans();
    if (where == Where::kInNested) stream.BeginTrans();
    WriteAt(stream, 20, "waiting");
    WriteAt(stream, kBefore.size(), "grown");
    stream.Seek(500);
  }

  // False when the operation made fewer calls of the kind.
  bool Check(const Operation<Stream>& operation, Where where, EnvCall call, std::size_t nth,
             FaultEnv::Lasting lasting) {
    memory_.Put("data", stored_);
    if (memory_.Info("log").Ok()) memory_.Remove("log");
    env_.Reset();
    bool happened = false;
    {
      Stream stream;
      Open(stream);
      Enter(stream, where);
      EXPECT_EQ(stream.GetError(), 0u);
      env_.Reset();
      env_.Fail(call, nth, std::errc::io_error, lasting);
      operation.run(stream);
      happened = env_.Count(call) >= nth;
      const std::uint32_t error = stream.GetError();
      EXPECT_TRUE(happened || error == 0);
      // An undoing forgets errors that it has overcome, an opening those of the closing before.
      const bool opens = Is(operation, "open again") || Is(operation, "open emptied");
      const bool undoes = Is(operation, "roll back") || Is(operation, "close");
      const bool may_overcome = opens || (undoes && where != Where::kOutside);
      EXPECT_TRUE(error != 0 || !happened || may_overcome);
      if (error != 0) EXPECT_TRUE(ErrorsOf(call).contains(error)) << std::hex << error;
      if (stream.IsOpen()) {
        stream.ResetError();
        stream.RollbackTrans();
        stream.RollbackTrans();
      }
    }
    env_.Reset();
    Stream again;
    Open(again);
    const std::string now = ReadAll(again);
    if (where == Where::kOutside || Is(operation, "open emptied")) return happened;
    std::string after = kBefore + "grown";
    after.replace(20, 7, "waiting");
    const bool may_be_after = Is(operation, "commit") && where == Where::kInTransaction;
    EXPECT_EQ(again.GetError(), 0u);
    EXPECT_TRUE(now == kBefore || (may_be_after && now == after)) << now.size();
    return happened;
  }

  tmx::MemoryEnv memory_;
  FaultEnv env_{memory_};
  tmx::ScopedEnv scope_{env_};
  std::string stored_;
};

using Streams = testing::Types<HbTransactionFileStream, HbTransactionCryptFileStream>;
TYPED_TEST_SUITE(FailingOperation, Streams);

TYPED_TEST(FailingOperation, EndsInItsErrorAndLeavesTheFileUndamaged) {
  std::size_t failures = 0;
  for (const auto& operation : Operations<TypeParam>()) {
    for (const Where where : {Where::kOutside, Where::kInTransaction, Where::kInNested}) {
      for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                                 EnvCall::kWrite, EnvCall::kSetSize, EnvCall::kSync,
                                 EnvCall::kSyncDir, EnvCall::kRemove, EnvCall::kWorkingDir}) {
        for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
          for (std::size_t nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message()
                         << operation.name << ", place " << static_cast<int>(where) << ", call "
                         << static_cast<int>(call) << ", number " << nth << ", lasting "
                         << static_cast<int>(lasting));
            if (!this->Check(operation, where, call, nth, lasting)) break;
            ++failures;
          }
        }
      }
    }
  }
  EXPECT_GT(failures, 400u);
}

}  // namespace
