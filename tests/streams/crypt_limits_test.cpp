// Encrypted streams at the limits of their format: how long they become, and what memory they take.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/streams/crypt_fixture.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/streams/crypt_hash.h"

namespace tmx {
namespace {

// An inner stream that keeps the first and the last bytes alone; those between read as zeros.
class HollowStream : public SvStream {
 public:
  explicit HollowStream(unsigned long size = 0) : size_(size) { SetWritable(true); }
  unsigned long Length() const { return size_; }

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    count = std::min(count, size_ - std::min(size_, at_));
    std::fill_n(data, count, '\0');
    for (unsigned long i = at_; i < std::min<unsigned long>(at_ + count, head_.size()); ++i) {
      data[i - at_] = head_[i];
    }
    for (unsigned long i = 0; i < tail_.size(); ++i) {
      const unsigned long place = size_ - tail_.size() + i;
      if (size_ >= tail_.size() && place >= at_ && place < at_ + count) {
        data[place - at_] = tail_[i];
      }
    }
    at_ += count;
    return count;
  }
  unsigned long PutData(const char* data, unsigned long count) override {
    for (unsigned long i = at_; i < std::min<unsigned long>(at_ + count, head_.size()); ++i) {
      head_[i] = data[i - at_];
    }
    at_ += count;
    if (at_ >= size_ && count >= tail_.size()) {
      std::copy_n(data + count - tail_.size(), tail_.size(), tail_.begin());
    }
    size_ = std::max(size_, at_);
    return count;
  }
  unsigned long SeekPos(unsigned long position) override {
    return at_ = position == SeekToEnd ? size_ : position;
  }
  void SetSize(unsigned long size) override { size_ = size; }
  void FlushData() override {}

 private:
  unsigned long size_;
  unsigned long at_ = 0;
  std::array<char, 34> head_{};
  std::array<char, 8> tail_{};
};

constexpr unsigned short kTaggedSigned = crypt_mode::Tagged | crypt_mode::Sign;
// 65535 bytes of map are 524280 chunks, and the map reaches behind the last byte.
constexpr unsigned long kLongestRegion = 524279999;
constexpr unsigned long kHeader = 34;

bool OpenOver(OpenCryptStream& stream, HollowStream& inner, unsigned short mode) {
  inner.Seek(0);
  return stream.Init(nullptr, 0, nullptr, mode, &inner, KeyBytes(kWrappingKey)) && stream.Open();
}

void WriteUpTo(OpenCryptStream& stream, unsigned long end) {
  const std::string megabyte(1000000, 'x');
  while (!stream.HasError() && stream.Tell() < end) {
    stream.Write(megabyte.data(), std::min<unsigned long>(end - stream.Tell(), megabyte.size()));
  }
}

TEST(CryptLimits, ATaggedStreamTooLongForTheMapIs2321) {
  HollowStream inner;
  OpenCryptStream stream;
  ASSERT_TRUE(OpenOver(stream, inner, kReadWrite | kTaggedSigned));
  WriteUpTo(stream, 600000000);
  EXPECT_EQ(stream.GetError(), 2321u);
  EXPECT_EQ(inner.Length(), kHeader + kLongestRegion / 24 * 24) << "all whole blocks that fit";
  stream.ResetError();
  EXPECT_EQ(stream.Seek(0), 0u) << "what is stored stays within reach";
  EXPECT_EQ(stream.Get(10).size(), 10u);
  stream.Close();
}

// The map of a stream that is opened begins with some room, so this limit is lower.
TEST(CryptLimits, ATaggedStreamTooLongForTheMapsBeginningIs2321) {
  HollowStream inner;
  OpenCryptStream stream;
  ASSERT_TRUE(OpenOver(stream, inner, kReadWrite | kTaggedSigned));
  WriteUpTo(stream, 1000);
  stream.Close();
  inner.SetStreamSize(kHeader + 8000ul * (65535 - 128 + 1));
  EXPECT_FALSE(OpenOver(stream, inner, kReadOnly | kTaggedSigned));
  EXPECT_EQ(stream.GetError(), 2321u);
  stream.Close();
}

TEST(CryptLimits, AMapBeginsForNoLongerRegionThanItSays) {
  EXPECT_EQ(ChunkTree::MaxLengthAtStart, 523263999u);
  EXPECT_TRUE(DirtyChunkMap().Start(ChunkTree::MaxLengthAtStart));
  EXPECT_FALSE(DirtyChunkMap().Start(ChunkTree::MaxLengthAtStart + 1));
}

TEST(CryptLimits, TheLongestTaggedStreamTakesLessThan32MB) {
  HollowStream inner;
  OpenCryptStream stream;
  const std::string megabyte(1000000, 'x');
  const MeasuredMemory memory;
  ASSERT_TRUE(OpenOver(stream, inner, kReadWrite | kTaggedSigned));
  const unsigned long end = 8000ul * (65535 - 128);
  for (const unsigned long flushed : {400000000ul, 460000000ul, end}) {
    WriteUpTo(stream, flushed);
    stream.Flush();
    ASSERT_EQ(stream.GetError(), 0u);
  }
  stream.Close();
  ASSERT_TRUE(OpenOver(stream, inner, kReadOnly | kTaggedSigned)) << "the signature matches";
  EXPECT_EQ(stream.Size(), end);
  std::string read(1000000, '\0');
  EXPECT_EQ(stream.Read(read.data(), read.size()), read.size());
  stream.Close();
  EXPECT_LT(memory.Peak(), 32u << 20);
  EXPECT_GT(memory.Peak(), 10u << 20) << "as much as the hashes of all chunks";
}

TEST(CryptLimits, PositionsBeyond4GiBAre0x81A) {
  HollowStream inner(SvStream::MaxSize - 4);  // a region of whole cipher blocks
  OpenCryptStream stream;
  ASSERT_TRUE(stream.Init(nullptr, 0, nullptr, kReadWrite, &inner, nullptr) && stream.Open());
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(stream.Seek(SvStream::SeekToEnd), SvStream::MaxSize - 6);
  const std::string text(100, 'x');
  EXPECT_EQ(stream.Write(text.data(), text.size()), 0u);
  EXPECT_EQ(stream.GetError(), 0x81Au);
  stream.ResetError();
  EXPECT_EQ(stream.Write(text.data(), 3), 3u);
  stream.Flush();
  EXPECT_EQ(stream.GetError(), 0x81Au) << "the padding would not fit";
  stream.Close();
}

}  // namespace
}  // namespace tmx
