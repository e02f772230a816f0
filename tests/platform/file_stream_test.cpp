#include "tmxtools/platform/file_stream.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tests/support/temp_dir.h"
#include "tmxtools/platform/memory_stream.h"

namespace {

namespace mode = tmx::stream_mode;
namespace codes = tmx::stream_error;

String Name(const std::string& path) { return String(std::string_view(path)); }

// Files in memory, behind the environment that fails on command.
class FileStream : public testing::Test {
 protected:
  static constexpr std::uint16_t kReadWrite = mode::Read | mode::Write;

  tmx::MemoryEnv memory_;
  tmx::FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
};

TEST_F(FileStream, WritesAndReadsBack) {
  SvFileStream stream("f", kReadWrite);
  ASSERT_TRUE(stream.IsOpen());
  EXPECT_EQ(stream.GetFileName(), "f");
  EXPECT_EQ(stream.Write("hello", 5), 5u);
  stream.Seek(1);
  char buffer[8];
  EXPECT_EQ(stream.Read(buffer, 8), 4u);
  EXPECT_EQ(std::string_view(buffer, 4), "ello");
  EXPECT_EQ(stream.Size(), 5u);
  stream.Seek(5);
  stream.Close();
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_EQ(stream.Tell(), 0u);
  EXPECT_EQ(memory_.Get("f"), "hello");
}

TEST_F(FileStream, BulkTransfersAreOneCallToTheSystem) {
  SvFileStream stream("f", kReadWrite);
  std::string bytes(1 << 20, 'x');
  stream.Write(bytes.data(), bytes.size());
  stream.Seek(0);
  EXPECT_EQ(stream.Read(bytes.data(), bytes.size()), bytes.size());
  EXPECT_EQ(faults_.Count(tmx::EnvCall::kWrite), 1u);
  EXPECT_EQ(faults_.Count(tmx::EnvCall::kRead), 1u);
}

TEST_F(FileStream, IsCreatedOnlyWithWriteAndWithoutNoCreate) {
  for (const std::uint16_t bits :
       {mode::Read, std::uint16_t{mode::Read | mode::NoCreate},
        std::uint16_t{mode::Write | mode::NoCreate}, std::uint16_t{kReadWrite | mode::NoCreate}}) {
    const SvFileStream stream("f", bits);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetError(), codes::FileNotFound);
  }
  EXPECT_FALSE(memory_.Info("f").Ok());
  EXPECT_TRUE(SvFileStream("f", mode::Write).IsOpen());
  EXPECT_TRUE(memory_.Info("f").Ok());
}

TEST_F(FileStream, KeepsItsBytesUnlessTruncated) {
  memory_.Put("f", "abc");
  EXPECT_EQ(SvFileStream("f", mode::Write).Size(), 3u);
  EXPECT_EQ(SvFileStream("f", mode::Write | mode::Truncate).Size(), 0u);
}

TEST_F(FileStream, ModesWithoutSenseAreRefused) {
  memory_.Put("f", "abc");
  for (const std::uint16_t bits : {std::uint16_t{0}, mode::Share, mode::NoCreate,
                                   std::uint16_t{mode::Read | mode::Truncate}}) {
    const SvFileStream stream("f", bits);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetError(), codes::InvalidParameter);
  }
  EXPECT_EQ(memory_.Get("f"), "abc");
}

TEST_F(FileStream, OtherModeBitsAreIgnored) {
  memory_.Put("f", "abc");
  EXPECT_TRUE(SvFileStream("f", 0xE000 | mode::Read).IsOpen());
}

TEST_F(FileStream, ADirectoryThatDoesNotExistIsToldFromAFile) {
  memory_.Put("f", "");
  for (const auto& [name, code] :
       {std::pair{"missing", codes::FileNotFound}, std::pair{"/missing", codes::FileNotFound},
        std::pair{"no/missing", codes::PathNotFound}, std::pair{"f/missing", codes::PathNotFound},
        std::pair{"", codes::FileNotFound}, std::pair{"/home", codes::InvalidAccess}}) {
    EXPECT_EQ(SvFileStream(name, mode::Read).GetError(), code) << name;
  }
}

TEST_F(FileStream, ANameWithAZeroByteIsRefused) {
  const SvFileStream stream(String(std::string_view("f\0g", 3)), mode::Write);
  EXPECT_EQ(stream.GetError(), codes::InvalidParameter);
}

TEST_F(FileStream, AccessIsLimitedToTheMode) {
  memory_.Put("f", "abc");
  char byte = 0;
  SvFileStream reader("f", mode::Read);
  EXPECT_FALSE(reader.IsWritable());
  EXPECT_EQ(reader.Write("x", 1), 0u);
  EXPECT_EQ(reader.GetError(), codes::AccessDenied);
  reader.ResetError();
  EXPECT_FALSE(reader.SetStreamSize(0));
  EXPECT_EQ(reader.GetError(), codes::AccessDenied);
  SvFileStream writer("f", mode::Write);
  EXPECT_TRUE(writer.IsWritable());
  EXPECT_EQ(writer.Read(&byte, 1), 0u);
  EXPECT_EQ(writer.GetError(), codes::AccessDenied);
  EXPECT_EQ(memory_.Get("f"), "abc");
}

TEST_F(FileStream, AClosedStreamGivesAnError) {
  char byte = 0;
  const auto error_of = [](auto operation) {
    SvFileStream stream;
    operation(stream);
    return stream.GetError();
  };
  EXPECT_EQ(error_of([&](SvStream& s) { s.Read(&byte, 1); }), codes::General);
  EXPECT_EQ(error_of([&](SvStream& s) { s.Write(&byte, 1); }), codes::General);
  EXPECT_EQ(error_of([&](SvStream& s) { s.Seek(1); }), codes::General);
  EXPECT_EQ(error_of([&](SvStream& s) { s.SetStreamSize(1); }), codes::General);
  EXPECT_EQ(error_of([&](SvStream& s) { s.Size(); }), codes::General);
}

TEST_F(FileStream, OpenForgetsTheErrorBeforeAndCloseKeepsIt) {
  memory_.Put("f", "abc");
  SvFileStream stream("missing", mode::Read);
  EXPECT_TRUE(stream.HasError());
  stream.Open("f", mode::Read);
  EXPECT_FALSE(stream.HasError());
  stream.SetError(codes::ReadError);
  stream.Close();
  EXPECT_EQ(stream.GetError(), codes::ReadError);
}

TEST_F(FileStream, SystemErrorsBecomeStreamErrors) {
  const std::pair<int, std::uint32_t> table[] = {
      {ENOENT, 0x302}, {ENOTDIR, 0x31C}, {EACCES, 0x507}, {EPERM, 0x507},       {EROFS, 0x507},
      {EISDIR, 0x518}, {EMFILE, 0x90E},  {ENFILE, 0x90E}, {ENOSPC, 0x909},      {EDQUOT, 0x909},
      {EAGAIN, 0x708}, {EINVAL, 0x81A},  {ENOMEM, 0x911}, {ENAMETOOLONG, 0x81A}};
  for (const auto& [number, code] : table) {
    EXPECT_EQ(tmx::StreamErrorOf(static_cast<std::errc>(number), codes::General), code) << number;
    faults_.Fail(tmx::EnvCall::kOpen, 1, static_cast<std::errc>(number));
    EXPECT_EQ(SvFileStream("f", kReadWrite).GetError(), code) << number;
  }
}

TEST_F(FileStream, OtherSystemErrorsAreNamedAfterTheOperation) {
  using tmx::EnvCall;
  memory_.Put("f", "abc");
  char byte = 0;
  const auto error_of = [&](EnvCall call, std::uint16_t bits, auto operation) {
    faults_.Reset();
    faults_.Fail(call, 1, std::errc::io_error);
    SvFileStream stream("f", bits);
    operation(stream);
    return stream.GetError();
  };
  const auto nothing = [](SvStream&) {};
  EXPECT_EQ(error_of(EnvCall::kOpen, mode::Write, nothing), codes::CannotCreate);
  EXPECT_EQ(error_of(EnvCall::kOpen, mode::Read, nothing), codes::General);
  EXPECT_EQ(error_of(EnvCall::kClaim, mode::Read, nothing), codes::General);
  EXPECT_EQ(error_of(EnvCall::kSize, mode::Read, nothing), codes::General);
  EXPECT_EQ(error_of(EnvCall::kSetSize, mode::Write | mode::Truncate, nothing), codes::WriteError);
  EXPECT_EQ(error_of(EnvCall::kRead, mode::Read, [&](SvStream& s) { s.Read(&byte, 1); }),
            codes::ReadError);
  EXPECT_EQ(error_of(EnvCall::kWrite, mode::Write, [&](SvStream& s) { s.Write(&byte, 1); }),
            codes::WriteError);
  EXPECT_EQ(error_of(EnvCall::kSetSize, mode::Write, [&](SvStream& s) { s.SetStreamSize(1); }),
            codes::WriteError);
  faults_.Reset();
  SvFileStream stream("f", mode::Read);
  faults_.Fail(EnvCall::kSize, 1, std::errc::io_error);
  stream.Seek(SvStream::SeekToEnd);
  EXPECT_EQ(stream.GetError(), codes::CannotSeek);
}

TEST_F(FileStream, AFullDiskTellsWhatWasWritten) {
  SvFileStream stream("f", mode::Write);
  faults_.Fail(tmx::EnvCall::kWrite, 2, std::errc::no_space_on_device,
               tmx::FaultEnv::Lasting::kForGood);
  EXPECT_EQ(stream.Write("abcd", 4), 4u);
  EXPECT_EQ(stream.Write("efgh", 4), 2u);
  EXPECT_EQ(stream.GetError(), codes::DiskFull);
  EXPECT_EQ(stream.Tell(), 6u);
  stream.ResetError();
  EXPECT_EQ(stream.Write("ijkl", 4), 2u);
  EXPECT_EQ(memory_.Get("f"), "abcdefij");
}

TEST_F(FileStream, SyncWaitsForTheDiskAndFlushDoesNot) {
  memory_.Put("f", "abc");
  SvFileStream stream("f", kReadWrite);
  stream.Write("xyz", 3);
  stream.Flush();
  EXPECT_EQ(memory_.Unsynced("f").size(), 1u);
  stream.Sync();
  EXPECT_TRUE(memory_.Unsynced("f").empty());
  faults_.Fail(tmx::EnvCall::kSync, 1, std::errc::io_error);
  stream.Sync();
  EXPECT_EQ(stream.GetError(), codes::WriteError);
  stream.Sync();
  EXPECT_EQ(faults_.Count(tmx::EnvCall::kSync), 2u) << "an error that stands hinders it";
  stream.ResetError();
  stream.Close();
  stream.Sync();
  EXPECT_EQ(stream.GetError(), codes::General);
}

TEST_F(FileStream, AFailedOpeningLeavesNoClaim) {
  memory_.Put("f", "abc");
  faults_.Fail(tmx::EnvCall::kSize, 1, std::errc::io_error);
  SvFileStream stream("f", mode::Read | mode::DenyAll);
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_TRUE(SvFileStream("f", kReadWrite).IsOpen());
}

// An operating system for which there is no memory left.
class ExhaustedEnv : public tmx::MemoryEnv {
 public:
  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> Open(const std::string&, tmx::FileAccess) override {
    throw std::bad_alloc();
  }
  tmx::EnvResult<std::unique_ptr<tmx::EnvFile>> OpenTemporary() override { throw std::bad_alloc(); }
};

TEST(FileStreamWithoutMemory, IsAnErrorAndNoException) {
  ExhaustedEnv exhausted;
  const tmx::ScopedEnv scope(exhausted);
  SvFileStream stream("f", mode::Read);
  EXPECT_EQ(stream.GetError(), codes::OutOfMemory);
  stream.OpenTemporary();
  EXPECT_EQ(stream.GetError(), codes::OutOfMemory);
  EXPECT_FALSE(stream.IsOpen());
}

TEST_F(FileStream, TruncationWaitsForTheClaim) {
  memory_.Put("f", "abc");
  const SvFileStream keeper("f", mode::Read | mode::DenyWrite);
  EXPECT_EQ(SvFileStream("f", mode::Write | mode::Truncate).GetError(), codes::LockingViolation);
  EXPECT_EQ(memory_.Get("f"), "abc");
}

TEST(FileStreamOnDisk, AFileBeyond4GiBMinus2IsRefused) {
  const tmx::TempDir directory;
  const std::string path = directory.File("big");
  {
    SvFileStream stream(Name(path), mode::Read | mode::Write);
    ASSERT_TRUE(stream.SetStreamSize(SvStream::MaxSize));
    EXPECT_EQ(stream.Size(), 0xFFFFFFFEu);
    stream.Seek(0xFFFFFFFD);
    EXPECT_EQ(stream.Write("x", 1), 1u);
    EXPECT_EQ(stream.Tell(), 0xFFFFFFFEu);
    EXPECT_EQ(stream.Write("x", 1), 0u);
    EXPECT_EQ(stream.GetError(), 0x81Au);
    stream.ResetError();
    std::filesystem::resize_file(path, 0xFFFFFFFF);
    stream.Seek(SvStream::SeekToEnd);
    EXPECT_EQ(stream.GetError(), 0x81Au);
  }
  const SvFileStream stream(Name(path), mode::Read);
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_EQ(stream.GetError(), 0x81Au);
}

TEST(FileStreamOnDisk, OnlyRegularFilesAreOpened) {
  const tmx::TempDir directory;
  EXPECT_EQ(SvFileStream(Name(directory.Path()), mode::Read).GetError(), codes::InvalidAccess);
  EXPECT_EQ(SvFileStream(Name(directory.Path()), mode::Write).GetError(), codes::InvalidAccess);
  EXPECT_EQ(SvFileStream("/dev/zero", mode::Read).GetError(), codes::InvalidAccess);
  const std::string pipe = directory.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(SvFileStream(Name(pipe), mode::Read).GetError(), codes::InvalidAccess);
}

TEST(FileStreamOnDisk, ATooLongNameIsAnInvalidParameter) {
  const tmx::TempDir directory;
  const std::string path = directory.File(std::string(300, 'x'));
  EXPECT_EQ(SvFileStream(Name(path), mode::Write).GetError(), codes::InvalidParameter);
}

// Share modes: every way to open against every other way.

struct Way {
  std::uint16_t bits;
  bool Uses(std::uint16_t access) const { return (bits & access) != 0; }
  bool Denies(std::uint16_t access) const {
    const std::uint16_t denial = access == mode::Read ? mode::DenyRead : mode::DenyWrite;
    return (bits & denial) != 0 || (bits & mode::DenyAll) != 0;
  }
};

std::vector<Way> AllWays() {
  std::vector<Way> ways;
  for (const unsigned access : {1u, 2u, 3u}) {
    for (unsigned shares = 0; shares < 16; ++shares) {
      ways.push_back({static_cast<std::uint16_t>(access | shares << 8)});
    }
  }
  return ways;
}

bool Conflict(const Way& first, const Way& second) {
  for (const std::uint16_t access : {mode::Read, mode::Write}) {
    if (second.Uses(access) && first.Denies(access)) return true;
    if (second.Denies(access) && first.Uses(access)) return true;
  }
  return false;
}

std::uint32_t Expected(const Way& first, const Way& second) {
  return Conflict(first, second) ? codes::LockingViolation : codes::None;
}

// Makes an empty file.
String Touch(const String& name) {
  EXPECT_TRUE(SvFileStream(name, mode::Write).IsOpen());
  return name;
}

void CheckWholeMatrix(const String& name) {
  Touch(name);
  for (const Way& first : AllWays()) {
    for (const Way& second : AllWays()) {
      const SvFileStream one(name, first.bits);
      ASSERT_TRUE(one.IsOpen());
      const SvFileStream two(name, second.bits);
      EXPECT_EQ(two.GetError(), Expected(first, second))
          << std::hex << first.bits << " then " << second.bits;
      EXPECT_EQ(two.IsOpen(), !two.HasError());
    }
  }
}

TEST_F(FileStream, ShareModesHoldForEveryPairInMemory) { CheckWholeMatrix("f"); }

TEST(FileStreamSharing, HoldsForEveryPairWithinAProcess) {
  const tmx::TempDir directory;
  CheckWholeMatrix(Name(directory.File("f")));
}

// Runs a check in a child process and says whether it passed there.
template <class Check>
bool PassesInChild(Check check) {
  const pid_t child = fork();
  if (child == 0) _exit(check() ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(FileStreamSharing, HoldsForEveryPairBetweenProcesses) {
  const tmx::TempDir directory;
  const String name = Touch(Name(directory.File("f")));
  for (const Way& first : AllWays()) {
    const SvFileStream one(name, first.bits);
    ASSERT_TRUE(one.IsOpen());
    EXPECT_TRUE(PassesInChild([&] {
      for (const Way& second : AllWays()) {
        if (SvFileStream(name, second.bits).GetError() != Expected(first, second)) return false;
      }
      return true;
    })) << std::hex
        << first.bits;
  }
}

TEST(FileStreamSharing, EndsWithTheProcessThatHeldIt) {
  const tmx::TempDir directory;
  const String name = Touch(Name(directory.File("f")));
  EXPECT_TRUE(PassesInChild([&] {
    static SvFileStream left_open;
    left_open.Open(name, mode::Write | mode::DenyAll);
    return left_open.IsOpen();
  }));
  EXPECT_TRUE(SvFileStream(name, mode::Read | mode::Write | mode::DenyAll).IsOpen());
}

TEST(FileStreamSharing, EndsWhenTheStreamIsClosed) {
  const tmx::TempDir directory;
  const String name = Touch(Name(directory.File("f")));
  SvFileStream one(name, mode::Write | mode::DenyAll);
  EXPECT_EQ(SvFileStream(name, mode::Read).GetError(), codes::LockingViolation);
  one.Close();
  EXPECT_TRUE(SvFileStream(name, mode::Read).IsOpen());
}

TEST(FileStreamSharing, ManyOpeningsShareAFileThatMayOnlyBeWritten) {
  const tmx::TempDir directory;
  const std::string path = directory.File("f");
  std::ofstream(path) << "abc";
  ASSERT_EQ(chmod(directory.Path().c_str(), 0777), 0);
  ASSERT_EQ(chmod(path.c_str(), 0222), 0);
  EXPECT_TRUE(PassesInChild([&] {
    // The superuser may read everything, so the child becomes somebody else.
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && setuid(nobody) != 0) return false;
    const SvFileStream reader(Name(path), mode::Read);
    const SvFileStream one(Name(path), mode::Write | mode::DenyRead);
    const SvFileStream two(Name(path), mode::Write | mode::DenyRead);
    const SvFileStream three(Name(path), mode::Write | mode::DenyWrite);
    return reader.GetError() == codes::AccessDenied && one.IsOpen() && two.IsOpen() &&
           three.GetError() == codes::LockingViolation;
  }));
}

TEST(FileStreamSharing, NeverLetsTwoIntoARaceForTheSameFile) {
  const tmx::TempDir directory;
  const String name = Touch(Name(directory.File("f")));
  std::atomic<int> inside{0};
  std::atomic<int> entries{0};
  std::atomic<bool> two_inside{false};
  const auto work = [&] {
    for (int round = 0; round < 100; ++round) {
      const SvFileStream stream(name, mode::Write | mode::DenyAll);
      if (!stream.IsOpen()) continue;
      ++entries;
      if (++inside > 1) two_inside = true;
      --inside;
    }
  };
  std::thread one(work);
  std::thread two(work);
  one.join();
  two.join();
  EXPECT_FALSE(two_inside);
  EXPECT_GT(entries, 0);
}

// Cache streams.

using CacheStream = FileStream;

TEST_F(CacheStream, StaysInMemoryUpToItsLimit) {
  SvCacheStream stream(8);
  EXPECT_EQ(stream.Write("12345678", 8), 8u);
  EXPECT_TRUE(stream.IsInMemory());
  EXPECT_EQ(faults_.Count(tmx::EnvCall::kOpenTemporary), 0u);
  EXPECT_EQ(stream.Write("9", 1), 1u);
  EXPECT_FALSE(stream.IsInMemory());
  stream.Seek(0);
  String line;
  EXPECT_TRUE(stream.ReadLine(line));
  EXPECT_EQ(line, "123456789");
  EXPECT_TRUE(memory_.List("/home").value.empty());
}

TEST_F(CacheStream, MovesWhenItsSizeIsSetBeyondTheLimit) {
  SvCacheStream stream(8);
  stream.Write("abc", 3);
  EXPECT_TRUE(stream.SetStreamSize(8));
  EXPECT_TRUE(stream.IsInMemory());
  EXPECT_TRUE(stream.SetStreamSize(9));
  EXPECT_FALSE(stream.IsInMemory());
  EXPECT_EQ(stream.Size(), 9u);
  EXPECT_EQ(stream.Tell(), 3u);
  stream.Write("d", 1);
  EXPECT_TRUE(stream.SetStreamSize(4));
  stream.Seek(0);
  char buffer[5];
  EXPECT_EQ(stream.Read(buffer, 5), 4u);
  EXPECT_EQ(std::string_view(buffer, 4), "abcd");
}

TEST_F(CacheStream, AFailedMoveKeepsTheBytesInMemory) {
  using tmx::EnvCall;
  for (const EnvCall call : {EnvCall::kOpenTemporary, EnvCall::kWrite}) {
    faults_.Reset();
    faults_.Fail(call, 1, std::errc::no_space_on_device);
    SvCacheStream stream(4);
    stream.Write("abcd", 4);
    EXPECT_EQ(stream.Write("efgh", 4), 0u);
    EXPECT_EQ(stream.GetError(), codes::DiskFull);
    EXPECT_TRUE(stream.IsInMemory());
    stream.ResetError();
    EXPECT_EQ(stream.Write("efgh", 4), 4u);
    stream.Seek(0);
    String line;
    EXPECT_TRUE(stream.ReadLine(line));
    EXPECT_EQ(line, "abcdefgh");
  }
}

TEST_F(CacheStream, TakesOverTheErrorsOfItsFile) {
  SvCacheStream stream(0);
  stream.Write("abcd", 4);
  stream.Seek(0);
  faults_.Fail(tmx::EnvCall::kRead, 1, std::errc::io_error);
  char buffer[4];
  EXPECT_EQ(stream.Read(buffer, 4), 0u);
  EXPECT_EQ(stream.GetError(), codes::ReadError);
  stream.ResetError();
  EXPECT_EQ(stream.Read(buffer, 4), 4u);
}

TEST(CacheStreamOnDisk, LeavesNoNameBehind) {
  const tmx::TempDir directory;
  ASSERT_EQ(setenv("TMPDIR", directory.Path().c_str(), 1), 0);
  SvCacheStream stream(0);
  stream.Write("secret", 6);
  EXPECT_FALSE(stream.IsInMemory());
  EXPECT_FALSE(stream.HasError());
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
  unsetenv("TMPDIR");
}

}  // namespace
