#include "tmxtools/streams/file.h"

#include <string>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tests/support/print.h"
#include "tmxtools/platform/file_stream.h"
#include "tmxtools/streams/crypt_stream.h"

namespace {

namespace mode = tmx::stream_mode;

constexpr unsigned short kReadWrite = mode::Read | mode::Write;
constexpr unsigned short kForMacros = 1025;

// Files in memory, behind an operating system that fails on command.
class File : public testing::Test {
 protected:
  static bool Open(HbFile& file, HbError& err, unsigned short bits) {
    return file.Open(err, bits, nullptr, 0, nullptr, nullptr);
  }

  tmx::MemoryEnv memory_;
  tmx::FaultEnv faults_{memory_};
  tmx::ScopedEnv scope_{faults_};
  HbError err_;
  String line_;
};

TEST_F(File, HasNoNameAndIsClosedAtFirst) {
  HbFile file;
  EXPECT_EQ(file.GetFileName(), "");
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetStream(), nullptr);
  EXPECT_FALSE(file.GetStreamError(err_));
  file.Close();
  EXPECT_FALSE(file.GetStatus().IsSet());
}

TEST_F(File, StoresItsNameMadeAbsoluteAndDoesNotOpen) {
  memory_.Put("f", "");
  const HbFile file("./d/../f");
  EXPECT_EQ(file.GetFileName(), "/home/f");
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(File, ReadsLinesToTheEndWithoutAnError) {
  memory_.Put("f", "one\r\ntwo");
  HbFile file(err_, "f", kForMacros);
  ASSERT_TRUE(file.IsOpen());
  EXPECT_NE(file.GetStream(), nullptr);
  EXPECT_TRUE(file.ReadLine(line_, err_));
  EXPECT_EQ(line_, "one");
  EXPECT_TRUE(file.ReadLine(line_, err_));
  EXPECT_EQ(line_, "two");
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_FALSE(err_.IsSet());
  EXPECT_FALSE(file.GetStatus().IsSet());
}

TEST_F(File, WritesLines) {
  HbFile file(err_, "f", kReadWrite);
  EXPECT_TRUE(file.WriteLine("one", err_));
  EXPECT_TRUE(file.WriteLine("", err_));
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(memory_.Get("f"), "one\n\n");
}

TEST_F(File, OpeningAnotherNameReplacesTheName) {
  memory_.Put("g", "in g\n");
  HbFile file("f");
  EXPECT_TRUE(file.Open(err_, "g", mode::Read, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(file.GetFileName(), "/home/g");
  EXPECT_TRUE(file.ReadLine(line_, err_));
  EXPECT_EQ(line_, "in g");
}

TEST_F(File, AFailedOpeningLeavesItClosedWithTheNameInTheStatus) {
  HbFile file("d/f");
  EXPECT_FALSE(Open(file, err_, mode::Read));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetStream(), nullptr);
  EXPECT_EQ(err_.GetCode(), 0x4548);
  EXPECT_EQ(*err_.GetParamText(), "/home/d/f");
  EXPECT_EQ(file.GetStatus().GetCode(), 0x4548);
  HbError other;
  EXPECT_FALSE(Open(file, other, 0));
  EXPECT_EQ(other.GetCode(), 0x454F);
}

TEST_F(File, AnotherOpeningInTheWayIsALockingViolation) {
  memory_.Put("f", "abc");
  const HbFile reader(err_, "f", kForMacros);
  EXPECT_FALSE(err_.IsSet());
  const HbFile second_reader(err_, "f", kForMacros);
  EXPECT_FALSE(err_.IsSet());
  const HbFile writer(err_, "f", mode::Write);
  EXPECT_EQ(err_.GetCode(), 0x454B);
}

TEST_F(File, TheStatusSticksUntilTheNextOpen) {
  memory_.Put("f", "one\ntwo\n");
  HbFile file(err_, "f", kReadWrite);
  faults_.Fail(tmx::EnvCall::kRead, 1, std::errc::io_error);
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_EQ(err_.GetCode(), 0x4550);
  EXPECT_EQ(*err_.GetParamText(), "/home/f");
  file.GetStream()->ResetError();
  HbError later;
  EXPECT_FALSE(file.ReadLine(line_, later));
  EXPECT_EQ(later.GetCode(), 0x4550);
  later.Clear();
  EXPECT_FALSE(file.WriteLine("x", later));
  EXPECT_EQ(later.GetCode(), 0x4550);
  later.Clear();
  EXPECT_TRUE(file.GetStreamError(later));
  EXPECT_EQ(later.GetCode(), 0x4550);
  later.Clear();
  EXPECT_TRUE(Open(file, later, kReadWrite));
  EXPECT_TRUE(file.ReadLine(line_, later));
  EXPECT_EQ(line_, "one");
}

TEST_F(File, AWarningOfTheStreamIsNoError) {
  HbFile file(err_, "f", kReadWrite);
  file.GetStream()->SetError(tmx::stream_error::DiskFull | tmx::stream_error::WarningBit);
  EXPECT_FALSE(file.GetStreamError(err_));
  EXPECT_TRUE(file.WriteLine("x", err_));
  EXPECT_FALSE(file.GetStatus().IsSet());
}

TEST_F(File, AFailedWriteIsReported) {
  HbFile file(err_, "f", kReadWrite);
  faults_.Fail(tmx::EnvCall::kWrite, 1, std::errc::no_space_on_device);
  EXPECT_FALSE(file.WriteLine("line", err_));
  EXPECT_EQ(err_.GetCode(), 0x4557);
}

TEST_F(File, ALineThatIsTooLongIsAnInvalidParameter) {
  memory_.Put("f", std::string(65536, 'x'));
  HbFile file(err_, "f", mode::Read);
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_EQ(err_.GetCode(), 0x454F);
}

TEST_F(File, CloseTurnsAnErrorOfTheStreamIntoTheStatus) {
  HbFile file(err_, "f", kReadWrite);
  file.GetStream()->SetError(tmx::stream_error::WriteError);
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetStatus().GetCode(), 0x4551);
}

TEST_F(File, AnErrorFromClosingTheStreamBeforeFailsTheNextOpen) {
  HbFile file(err_, "f", kReadWrite);
  file.GetStream()->SetError(tmx::stream_error::WriteError);
  EXPECT_FALSE(Open(file, err_, kReadWrite));
  EXPECT_EQ(err_.GetCode(), 0x4551);
  EXPECT_FALSE(file.IsOpen());
  err_.Clear();
  EXPECT_TRUE(Open(file, err_, kReadWrite));
}

TEST_F(File, AnErrorBroughtAlongFailsTheOpening) {
  memory_.Put("f", "");
  HbFile file("f");
  err_.SetError(17500);
  EXPECT_FALSE(Open(file, err_, mode::Read));
  EXPECT_EQ(err_.GetCode(), 17500);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.GetStatus().IsSet());
}

// The report of a file that is not open comes one call late, on purpose.
TEST_F(File, WriteLineOnAFileNeverOpenedReturnsTrueAndTheNextOneFailsWith17740) {
  HbFile file("f");
  EXPECT_TRUE(file.WriteLine("x", err_));
  EXPECT_FALSE(err_.IsSet());
  EXPECT_EQ(file.GetStatus().GetCode(), 17740);
  EXPECT_FALSE(file.WriteLine("x", err_));
  EXPECT_EQ(err_.GetCode(), 17740);
  EXPECT_EQ(*err_.GetParamText(), "/home/f");
  EXPECT_FALSE(memory_.Info("f").Ok());
}

TEST_F(File, ReadLineOnAFileNeverOpenedReturnsFalseAndReportsLate) {
  HbFile file("f");
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_FALSE(err_.IsSet());
  EXPECT_EQ(file.GetStatus().GetCode(), 17740);
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_EQ(err_.GetCode(), 17740);
}

TEST_F(File, AStreamClosedUnderneathCountsAsNotOpen) {
  HbFile file(err_, "f", kReadWrite);
  dynamic_cast<SvFileStream&>(*file.GetStream()).Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(file.WriteLine("x", err_));
  EXPECT_EQ(file.GetStatus().GetCode(), 17740);
}

TEST_F(File, AKeyLengthWithoutKeysOpensAPlainFile) {
  memory_.Put("f", "plain\n");
  HbFile file("f");
  EXPECT_TRUE(file.Open(err_, mode::Read, nullptr, 16, nullptr, nullptr));
  EXPECT_TRUE(file.ReadLine(line_, err_));
  EXPECT_EQ(line_, "plain");
}

// The keys of the tests, which open files as the log does.
unsigned char g_key[16] = {'k', 'e', 'y'};
constexpr unsigned short kSecret =
    kReadWrite | tmx::crypt_mode::Tagged | tmx::crypt_mode::Encrypt | tmx::crypt_mode::Sign;

TEST_F(File, AnyKeySelectsAnEncryptedStream) {
  HbFile file("f");
  ASSERT_TRUE(file.Open(err_, kSecret, nullptr, 0, g_key, g_key));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_TRUE(file.WriteLine("one", err_));
  file.Close();
  EXPECT_EQ(memory_.Get("f").substr(0, 8), "QK26CRST");
  EXPECT_EQ(memory_.Get("f").find("one"), std::string::npos);
  constexpr unsigned short kReading = mode::Read | (kSecret & 0xE000);
  ASSERT_TRUE(file.Open(err_, kReading, nullptr, 0, g_key, nullptr));
  EXPECT_TRUE(file.ReadLine(line_, err_));
  EXPECT_EQ(line_, "one");
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_FALSE(err_.IsSet());
}

TEST_F(File, AnAlteredSignedFileOpensAndItsFirstReadFails) {
  HbFile file("f");
  ASSERT_TRUE(file.Open(err_, kSecret, nullptr, 0, g_key, g_key));
  EXPECT_TRUE(file.WriteLine("one", err_));
  file.Close();
  std::string bytes = memory_.Get("f");
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  memory_.Put("f", bytes);
  constexpr unsigned short kReading = mode::Read | (kSecret & 0xE000);
  EXPECT_TRUE(file.Open(err_, kReading, nullptr, 0, g_key, nullptr));
  EXPECT_FALSE(file.ReadLine(line_, err_));
  EXPECT_EQ(err_.GetCode(), 0x4550);
  EXPECT_EQ(*err_.GetParamText(), "/home/f");
}

TEST_F(File, AnEncryptedFileThatCannotBeOpenedIsClosedWithTheCauseInTheStatus) {
  HbFile file("d/f");
  EXPECT_FALSE(file.Open(err_, kSecret, nullptr, 0, g_key, g_key));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(file.GetStream(), nullptr);
  EXPECT_EQ(err_.GetCode(), 0x4548);
  memory_.Put("g", "not a magic");
  err_.Clear();
  EXPECT_FALSE(file.Open(err_, "g", kSecret, nullptr, 0, g_key, g_key));
  EXPECT_EQ(err_.GetCode(), 0x4555);
  EXPECT_EQ(*err_.GetParamText(), "/home/g");
  EXPECT_EQ(memory_.Get("g"), "not a magic");
}

TEST_F(File, EveryFailingCallOfTheSystemEndsInAnError) {
  using tmx::EnvCall;
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kClaim, EnvCall::kSize, EnvCall::kRead,
                             EnvCall::kWrite, EnvCall::kSetSize}) {
    for (const auto lasting : {tmx::FaultEnv::Lasting::kOnce, tmx::FaultEnv::Lasting::kForGood}) {
      for (std::size_t nth = 1; nth <= 4; ++nth) {
        memory_.Put("f", "old\n");
        faults_.Reset();
        faults_.Fail(call, nth, std::errc::io_error, lasting);
        HbError err;
        {
          HbFile file(err, "f", kReadWrite | mode::Truncate);
          file.WriteLine("new", err);
          if (file.GetStream() != nullptr) file.GetStream()->Seek(0);
          file.ReadLine(line_, err);
        }
        const bool was_reached = faults_.Count(call) >= nth;
        EXPECT_EQ(err.IsSet(), was_reached) << static_cast<int>(call) << " " << nth;
      }
    }
  }
}

}  // namespace
