#include "tmxtools/platform/stream.h"

#include <string>

#include "tests/support/print.h"
#include "tmxtools/platform/memory_stream.h"

namespace {

namespace codes = tmx::stream_error;

void Fill(SvStream& stream, std::string_view bytes) {
  stream.Write(bytes.data(), bytes.size());
  stream.Seek(0);
}

// A memory stream that counts the calls it gets and fails them on command.
class WatchedStream : public SvMemoryStream {
 public:
  int reads = 0;
  int writes = 0;
  int seeks = 0;
  std::uint32_t error = 0;
  bool exhausted = false;

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    ++reads;
    SetError(error);
    if (exhausted) throw std::bad_alloc();
    return HasError() ? 0 : SvMemoryStream::GetData(data, count);
  }
  unsigned long PutData(const char* data, unsigned long count) override {
    ++writes;
    if (exhausted) throw std::bad_alloc();
    return SvMemoryStream::PutData(data, count);
  }
  unsigned long SeekPos(unsigned long position) override {
    ++seeks;
    return SvMemoryStream::SeekPos(position);
  }
};

TEST(StreamErrors, FirstErrorWins) {
  SvMemoryStream stream;
  EXPECT_FALSE(stream.HasError());
  stream.SetError(codes::ReadError);
  stream.SetError(codes::WriteError);
  EXPECT_EQ(stream.GetError(), codes::ReadError);
  stream.SetError(codes::WriteError | codes::WarningBit);
  EXPECT_EQ(stream.GetError(), codes::ReadError);
  stream.ResetError();
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST(StreamErrors, AnErrorReplacesAWarningAndAWarningNothing) {
  SvMemoryStream stream;
  stream.SetError(codes::DiskFull | codes::WarningBit);
  EXPECT_FALSE(stream.HasError());
  stream.SetError(codes::ReadError | codes::WarningBit);
  EXPECT_EQ(stream.GetError(), codes::DiskFull | codes::WarningBit);
  stream.SetError(codes::WriteError);
  EXPECT_EQ(stream.GetError(), codes::WriteError);
  EXPECT_TRUE(stream.HasError());
}

TEST(StreamErrors, CodesWithoutAnyOfTheLow30BitsAreNone) {
  SvMemoryStream stream;
  for (const std::uint32_t code : {0u, 0x40000000u, 0x80000000u, 0xC0000000u}) {
    stream.SetError(code);
    EXPECT_EQ(stream.GetError(), 0u);
  }
}

TEST(StreamErrors, NothingHappensWhileAnErrorStands) {
  WatchedStream stream;
  Fill(stream, "abc");
  stream.SetError(codes::General);
  char byte = 0;
  String line;
  EXPECT_EQ(stream.Read(&byte, 1), 0u);
  EXPECT_EQ(stream.Write("x", 1), 0u);
  EXPECT_EQ(stream.Seek(2), 0u);
  EXPECT_EQ(stream.Size(), 0u);
  EXPECT_FALSE(stream.SetStreamSize(1));
  EXPECT_FALSE(stream.ReadLine(line));
  EXPECT_FALSE(stream.WriteLine("x"));
  stream.Flush();
  EXPECT_EQ(stream.View(), "abc");
  stream.ResetError();
  EXPECT_EQ(stream.Read(&byte, 1), 1u);
  EXPECT_EQ(byte, 'a');
}

TEST(StreamErrors, AWarningHindersNothing) {
  SvMemoryStream stream;
  stream.SetError(codes::DiskFull | codes::WarningBit);
  EXPECT_TRUE(stream.WriteLine("x"));
  EXPECT_TRUE(stream.SetStreamSize(1));
}

TEST(StreamErrors, LackOfMemoryBecomesAnError) {
  WatchedStream stream;
  stream.exhausted = true;
  EXPECT_EQ(stream.Write("x", 1), 0u);
  EXPECT_EQ(stream.GetError(), codes::OutOfMemory);
}

TEST(Stream, OneCallIsOneCallBelow) {
  WatchedStream stream;
  const std::string bytes(1 << 20, 'x');
  EXPECT_EQ(stream.Write(bytes.data(), bytes.size()), bytes.size());
  stream.Seek(0);
  std::string read(bytes.size(), '\0');
  EXPECT_EQ(stream.Read(read.data(), read.size()), bytes.size());
  EXPECT_EQ(stream.writes, 1);
  EXPECT_EQ(stream.reads, 1);
  EXPECT_EQ(read, bytes);
}

TEST(Stream, EndIsNoError) {
  SvMemoryStream stream;
  Fill(stream, "abc");
  char buffer[8];
  EXPECT_EQ(stream.Read(buffer, 3), 3u);
  EXPECT_FALSE(stream.IsEof());
  EXPECT_EQ(stream.Read(buffer, 1), 0u);
  EXPECT_TRUE(stream.IsEof());
  EXPECT_EQ(stream.GetError(), 0u);
  stream.Seek(1);
  EXPECT_FALSE(stream.IsEof());
  EXPECT_EQ(stream.Read(buffer, 8), 2u);
  EXPECT_TRUE(stream.IsEof());
}

TEST(Stream, SeekTo0xFFFFFFFFIsSeekToTheEnd) {
  SvMemoryStream stream;
  Fill(stream, "abc");
  EXPECT_EQ(stream.Seek(0xFFFFFFFF), 3u);
  EXPECT_EQ(stream.Tell(), 3u);
  EXPECT_EQ(stream.Size(), 3u);
  EXPECT_EQ(stream.Tell(), 3u);
}

TEST(Stream, PositionsNeverWrap) {
  SvMemoryStream stream;
  Fill(stream, "abc");
  EXPECT_EQ(stream.Seek(SvStream::MaxSize), SvStream::MaxSize);
  char byte = 0;
  EXPECT_EQ(stream.Read(&byte, 1), 0u);
  EXPECT_TRUE(stream.IsEof());
  EXPECT_EQ(stream.Write("x", 1), 0u);
  EXPECT_EQ(stream.GetError(), 0x81Au);
  stream.ResetError();
  stream.Seek(SvStream::MaxSize - 1);
  EXPECT_EQ(stream.Write("xy", 2), 0u);
  EXPECT_EQ(stream.GetError(), 0x81Au);
  stream.ResetError();
  stream.Seek(0x100000000UL);
  EXPECT_EQ(stream.GetError(), 0x81Au);
  stream.ResetError();
  EXPECT_FALSE(stream.SetStreamSize(0xFFFFFFFF));
  EXPECT_EQ(stream.GetError(), 0x81Au);
  EXPECT_EQ(stream.View(), "abc");
}

TEST(StreamLines, EndInLFOrCROrCRLF) {
  for (const std::uint16_t step : std::initializer_list<std::uint16_t>{0, 1, 2, 3, 512, 65535}) {
    SvMemoryStream stream;
    stream.SetBufferSize(step);
    EXPECT_EQ(stream.GetBufferSize(), step);
    Fill(stream, "a\nbb\rccc\r\n\r\r\n\n\nlast");
    for (const char* expected : {"a", "bb", "ccc", "", "", "", "", "last"}) {
      String line("old");
      EXPECT_TRUE(stream.ReadLine(line)) << step;
      EXPECT_EQ(line, expected);
    }
    String line("old");
    EXPECT_FALSE(stream.ReadLine(line));
    EXPECT_EQ(line, "");
    EXPECT_TRUE(stream.IsEof());
    EXPECT_EQ(stream.GetError(), 0u);
  }
}

TEST(StreamLines, LeaveThePositionBehindTheirEnd) {
  SvMemoryStream stream;
  Fill(stream, "ab\r\ncd\ne");
  String line;
  stream.ReadLine(line);
  EXPECT_EQ(stream.Tell(), 4u);
  char byte = 0;
  stream.Read(&byte, 1);
  EXPECT_EQ(byte, 'c');
  stream.ReadLine(line);
  EXPECT_EQ(line, "d");
  EXPECT_EQ(stream.Tell(), 7u);
}

TEST(StreamLines, ACRAtTheVeryEndEndsTheLine) {
  for (const std::uint16_t step : std::initializer_list<std::uint16_t>{0, 512}) {
    SvMemoryStream stream;
    stream.SetBufferSize(step);
    Fill(stream, "a\r");
    String line;
    EXPECT_TRUE(stream.ReadLine(line));
    EXPECT_EQ(line, "a");
    EXPECT_FALSE(stream.ReadLine(line));
  }
}

TEST(StreamLines, KeepEveryOtherByte) {
  SvMemoryStream stream;
  const std::string bytes("\0\x01\xFF\x1A\t", 5);
  Fill(stream, bytes + "\n");
  String line;
  EXPECT_TRUE(stream.ReadLine(line));
  EXPECT_EQ(line.View(), bytes);
}

TEST(StreamLines, OfATextsGreatestLengthAreRead) {
  SvMemoryStream stream;
  const std::string longest(65535, 'x');
  Fill(stream, longest + "\n" + longest + "x\n");
  String line;
  EXPECT_TRUE(stream.ReadLine(line));
  EXPECT_EQ(line.View(), longest);
  EXPECT_FALSE(stream.ReadLine(line));
  EXPECT_EQ(line, "");
  EXPECT_EQ(stream.GetError(), 0x81Au);
}

TEST(StreamLines, ShowNothingStaleAfterTheBytesChanged) {
  SvMemoryStream stream;
  Fill(stream, "one\ntwo\n");
  String line;
  stream.ReadLine(line);
  stream.Write("TWO", 3);
  stream.Seek(4);
  EXPECT_TRUE(stream.ReadLine(line));
  EXPECT_EQ(line, "TWO");
}

TEST(StreamLines, AreNotGivenOutAfterAReadError) {
  WatchedStream stream;
  Fill(stream, "one\n");
  stream.error = codes::ReadError;
  String line("old");
  EXPECT_FALSE(stream.ReadLine(line));
  EXPECT_EQ(line, "");
  EXPECT_EQ(stream.GetError(), codes::ReadError);
}

TEST(StreamLines, AreWrittenWithLFInOneCall) {
  WatchedStream stream;
  EXPECT_TRUE(stream.WriteLine("one"));
  EXPECT_TRUE(stream.WriteLine(""));
  EXPECT_EQ(stream.View(), "one\n\n");
  EXPECT_EQ(stream.writes, 2);
}

TEST(StreamNumbers, AreFourBytesLowestFirst) {
  SvMemoryStream stream;
  stream << std::uint32_t{0x01020304} << std::uint32_t{0xFFFFFFFF};
  EXPECT_EQ(stream.View(), std::string_view("\x04\x03\x02\x01\xFF\xFF\xFF\xFF"));
  stream.Seek(0);
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  stream >> first >> second;
  EXPECT_EQ(first, 0x01020304u);
  EXPECT_EQ(second, 0xFFFFFFFFu);
}

TEST(StreamNumbers, CutShortReadAsZero) {
  SvMemoryStream stream;
  Fill(stream, "abc");
  std::uint32_t number = 7;
  stream >> number;
  EXPECT_EQ(number, 0u);
  EXPECT_TRUE(stream.IsEof());
}

template <class Number>
concept Streamable = requires(SvStream& stream, Number number) {
  stream << number;
};

TEST(StreamNumbers, OfUnsignedLongAreNotWritten) {
  static_assert(Streamable<std::uint32_t>);
  static_assert(!Streamable<unsigned long>);
}

TEST(StreamNumbers, AreWrittenAsDecimalText) {
  SvMemoryStream stream;
  stream.WriteDec(-2147483647 - 1);
  stream.WriteDec(std::int32_t{7});
  EXPECT_EQ(stream.View(), "-21474836487");
}

TEST(StreamNumbers, WithFractionsAreTheirShortestText) {
  for (const auto& [number, text] :
       {std::pair{0.1, "0.1"}, std::pair{-2.5, "-2.5"}, std::pair{3.0, "3"},
        std::pair{1e300, "1e+300"},
        std::pair{-1.7976931348623157e308, "-1.7976931348623157e+308"}}) {
    SvMemoryStream stream;
    stream.WriteDec(number);
    EXPECT_EQ(stream.View(), text);
  }
}

TEST(MemoryStream, FillsGapsWithZeroBytes) {
  SvMemoryStream stream;
  stream.Seek(2);
  stream.Write("x", 1);
  EXPECT_EQ(stream.View(), std::string_view("\0\0x", 3));
  EXPECT_TRUE(stream.IsWritable());
}

TEST(MemoryStream, ChangesSizeAndKeepsThePosition) {
  SvMemoryStream stream(0, 0);
  Fill(stream, "abc");
  stream.Seek(3);
  EXPECT_TRUE(stream.SetStreamSize(1));
  EXPECT_EQ(stream.Tell(), 3u);
  EXPECT_TRUE(stream.SetStreamSize(3));
  EXPECT_EQ(stream.View(), std::string_view("a\0\0", 3));
}

}  // namespace
