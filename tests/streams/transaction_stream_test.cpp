#include "tmxtools/streams/transaction_stream.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/reference_undo_log.h"
#include "tmxtools/platform/memory_stream.h"

namespace {

namespace codes = tmx::stream_error;
using tmx::reference::Number;
using tmx::reference::ReadUndoLog;
using tmx::reference::UndoRecord;
using tmx::reference::WriteUndoLog;

// A memory stream that counts its syncs and fails on command.
class WatchedStream : public SvMemoryStream {
 public:
  explicit WatchedStream(const std::string& bytes = {}) { Put(bytes); }

  void Put(const std::string& bytes) {
    SetStreamSize(0);
    Seek(0);
    Write(bytes.data(), bytes.size());
    Seek(0);
  }
  std::string Bytes() const { return std::string(View()); }

  int syncs = 0;
  int writes = 0;
  std::uint32_t write_error = 0;
  std::uint32_t size_error = 0;
  std::uint32_t sync_error = 0;
  std::uint32_t read_error = 0;

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    SetError(read_error);
    return HasError() ? 0 : SvMemoryStream::GetData(data, count);
  }
  unsigned long PutData(const char* data, unsigned long count) override {
    ++writes;
    SetError(write_error);
    return HasError() ? 0 : SvMemoryStream::PutData(data, count);
  }
  void SetSize(unsigned long size) override {
    SetError(size_error);
    if (!HasError()) SvMemoryStream::SetSize(size);
  }
  void SyncData() override {
    ++syncs;
    SetError(sync_error);
  }
};

void WriteAt(SvStream& stream, unsigned long position, const std::string& bytes) {
  stream.Seek(position);
  EXPECT_EQ(stream.Write(bytes.data(), bytes.size()), bytes.size());
}

std::string ReadAll(SvStream& stream) {
  std::string bytes(stream.Size(), '?');
  stream.Seek(0);
  bytes.resize(stream.Read(bytes.data(), bytes.size()));
  return bytes;
}

class Transaction : public testing::Test {
 protected:
  WatchedStream data_{"old bytes"};
  WatchedStream log_;
  HbTransactionStream stream_{&data_, &log_};
};

TEST_F(Transaction, TakesPositionBufferSizeAndAccessFromItsStreams) {
  EXPECT_EQ(stream_.GetBufferSize(), 256);
  EXPECT_TRUE(stream_.IsWritable());
  EXPECT_EQ(stream_.Tell(), 0u);
  EXPECT_EQ(HbTransactionStream().GetBufferSize(), 256);
  EXPECT_FALSE(HbTransactionStream().IsWritable());
}

TEST_F(Transaction, OutsideOfOneWritesGoStraightToTheData) {
  WriteAt(stream_, 4, "BYTES and more");
  EXPECT_EQ(data_.Bytes(), "old BYTES and more");
  EXPECT_EQ(log_.Bytes(), "");
  EXPECT_TRUE(stream_.SetStreamSize(3));
  EXPECT_EQ(data_.Bytes(), "old");
}

TEST_F(Transaction, BeginWritesTheStartingLength) {
  stream_.BeginTrans();
  EXPECT_EQ(log_.Bytes(), Number(9));
}

TEST_F(Transaction, OverwritingIsPrecededByARecordOfTheOldBytes) {
  stream_.BeginTrans();
  WriteAt(stream_, 4, "BYT");
  EXPECT_EQ(data_.Bytes(), "old bytes") << "the write waits for the log";
  EXPECT_EQ(ReadAll(stream_), "old BYTes");
  stream_.FlushLog();
  EXPECT_EQ(data_.Bytes(), "old BYTes");
  EXPECT_EQ(log_.Bytes(), WriteUndoLog({9, {{4, "byt"}}}));
}

TEST_F(Transaction, TheLogIsThatOfTheWorkedExample) {
  stream_.BeginTrans();
  WriteAt(stream_, 4, "B");
  WriteAt(stream_, 8, "S!");
  stream_.Flush();
  EXPECT_EQ(log_.Bytes(), std::string("\x09\0\0\0"
                                      "\x04\0\0\0\x01\0\0\0b\x04\0\0\0"
                                      "\x08\0\0\0\x01\0\0\0s\x11\0\0\0",
                                      30));
  EXPECT_EQ(data_.Bytes(), "old ByteS!");
}

TEST_F(Transaction, WritingBeyondTheStartingLengthMakesNoUndoRecord) {
  stream_.BeginTrans();
  WriteAt(stream_, 9, " and more");
  EXPECT_EQ(log_.Bytes(), Number(9));
  EXPECT_EQ(data_.Bytes(), "old bytes and more");
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, AWriteAcrossTheStartingLengthIsSplitThere) {
  stream_.BeginTrans();
  WriteAt(stream_, 7, "ES and more");
  EXPECT_EQ(data_.Bytes(), "old bytes and more");
  EXPECT_EQ(stream_.Tell(), 18u);
  EXPECT_EQ(ReadUndoLog(log_.Bytes()).records, (std::vector<UndoRecord>{{7, "es"}}));
  EXPECT_EQ(ReadAll(stream_), "old bytES and more");
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, OverwritingTwiceLogsTwiceAndRollbackRestoresTheFirst) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "NEW");
  stream_.FlushLog();
  WriteAt(stream_, 0, "two");
  stream_.FlushLog();
  EXPECT_EQ(ReadUndoLog(log_.Bytes()).records, (std::vector<UndoRecord>{{0, "old"}, {0, "NEW"}}));
  EXPECT_EQ(data_.Bytes(), "two bytes");
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, CommitKeepsTheChangesAndEmptiesTheLog) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new bytes and more");
  stream_.CommitTrans();
  EXPECT_EQ(data_.Bytes(), "new bytes and more");
  EXPECT_EQ(log_.Bytes(), "");
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "new bytes and more") << "a rollback outside of one does nothing";
  stream_.CommitTrans();
  EXPECT_FALSE(stream_.HasError());
}

TEST_F(Transaction, NestedCommitsCountOnlyAtTheOutermost) {
  stream_.BeginTrans();
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new");
  stream_.CommitTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes") << "nothing is committed until the second commit";
  EXPECT_GT(log_.Size(), 4u);
  stream_.CommitTrans();
  EXPECT_EQ(data_.Bytes(), "new bytes");
  EXPECT_EQ(log_.Size(), 0u);
}

TEST_F(Transaction, AnInnerRollbackOnlyEndsTheInnerOne) {
  stream_.BeginTrans();
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new");
  stream_.RollbackTrans();
  EXPECT_EQ(ReadAll(stream_), "new bytes");
  stream_.RollbackTrans();
  EXPECT_EQ(ReadAll(stream_), "old bytes");
}

TEST_F(Transaction, The65536thNestedOneIsRefused) {
  for (int i = 0; i < 65535; ++i) stream_.BeginTrans();
  EXPECT_FALSE(stream_.HasError());
  stream_.BeginTrans();
  EXPECT_EQ(stream_.GetError(), codes::InvalidParameter);
}

TEST_F(Transaction, PendingWritesGoOnTheirWayOnceTheyFill8163Bytes) {
  data_.Put(std::string(20000, 'o'));
  stream_.BeginTrans();
  WriteAt(stream_, 100, std::string(4000, 'a'));
  WriteAt(stream_, 100, std::string(4146, 'b'));  // 8162 with two heads of 8 bytes
  EXPECT_EQ(data_.Bytes(), std::string(20000, 'o'));
  EXPECT_EQ(log_.syncs, 0);
  WriteAt(stream_, 0, "c");
  EXPECT_EQ(data_.Bytes().substr(0, 101), "c" + std::string(99, 'o') + "b");
  EXPECT_EQ(log_.syncs, 1);
  WriteAt(stream_, 200, std::string(8154, 'd'));
  EXPECT_EQ(data_.Bytes()[200], 'b') << "one byte less than the limit";
  stream_.FlushLog();
  WriteAt(stream_, 200, std::string(8155, 'e'));
  EXPECT_EQ(data_.Bytes()[200], 'e');
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), std::string(20000, 'o'));
}

TEST_F(Transaction, LaterPendingWritesWinWhenTheyAreRead) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "AAAA");
  WriteAt(stream_, 2, "BBBB");
  WriteAt(stream_, 3, "C");
  stream_.Seek(1);
  char bytes[4];
  EXPECT_EQ(stream_.Read(bytes, 4), 4u) << "the overlay is clipped to the request";
  EXPECT_EQ(std::string(bytes, 4), "ABCB");
  EXPECT_EQ(stream_.Tell(), 5u);
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, PendingBytesBeyondTheEndStayReadableAndExtendTheData) {
  stream_.BeginTrans();
  WriteAt(stream_, 6, "XYZ");
  data_.SetStreamSize(2);  // by others, against the rules
  stream_.Seek(1);
  char bytes[6];
  EXPECT_EQ(stream_.Read(bytes, 6), 6u);
  EXPECT_EQ(std::string(bytes, 6), std::string("l\0\0\0\0X", 6));
  EXPECT_EQ(data_.Size(), 7u);
  stream_.Seek(0);
  EXPECT_EQ(stream_.Read(bytes, 2), 2u);
  EXPECT_EQ(data_.Size(), 7u) << "only when a pending write raised the count";
}

TEST_F(Transaction, CuttingLogsTheBytesThatGo) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new");
  stream_.Seek(6);
  EXPECT_TRUE(stream_.SetStreamSize(4));
  EXPECT_EQ(stream_.Tell(), 6u);
  EXPECT_EQ(data_.Bytes(), "new ");
  EXPECT_EQ(ReadUndoLog(log_.Bytes()).records, (std::vector<UndoRecord>{{0, "old"}, {4, "bytes"}}));
  WriteAt(stream_, 4, "things");
  EXPECT_EQ(ReadUndoLog(log_.Bytes()).records.size(), 2u) << "the protected length fell with it";
  EXPECT_EQ(data_.Bytes(), "new things");
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, GrowingAndCuttingBackLogsNothing) {
  stream_.BeginTrans();
  EXPECT_TRUE(stream_.SetStreamSize(20));
  EXPECT_TRUE(stream_.SetStreamSize(9));
  EXPECT_EQ(log_.Bytes(), Number(9));
  EXPECT_TRUE(stream_.SetStreamSize(12));
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, RollbackKeepsThePosition) {
  stream_.BeginTrans();
  WriteAt(stream_, 7, "and more");
  stream_.RollbackTrans();
  EXPECT_EQ(stream_.Tell(), 15u);
  stream_.Seek(4);
  char bytes[5];
  EXPECT_EQ(stream_.Read(bytes, 5), 5u);
  EXPECT_EQ(std::string(bytes, 5), "bytes");
}

TEST_F(Transaction, WithoutStreamsEverythingIsAnError) {
  const auto error_of = [](auto operation) {
    HbTransactionStream stream;
    operation(stream);
    return stream.GetError();
  };
  char byte = 0;
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Read(&byte, 1); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Write(&byte, 1); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Seek(1); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.SetStreamSize(1); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Flush(); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Sync(); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.FlushLog(); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.BeginTrans(); }), codes::General);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.CommitTrans(); }), codes::None);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.RollbackTrans(); }), codes::None);
  EXPECT_EQ(error_of([&](HbTransactionStream& s) { s.Close(); }), codes::None);
  WatchedStream one;
  EXPECT_EQ(error_of([&](HbTransactionStream& s) {
              s.SetStreams(&one, nullptr);
              s.BeginTrans();
            }),
            codes::General);
}

// ---- closing ----------------------------------------------------------------------------------

TEST_F(Transaction, CloseRollsBackOneThatIsOpen) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new");
  stream_.Close();
  EXPECT_EQ(data_.Bytes(), "old bytes");
  EXPECT_EQ(log_.Size(), 0u);
  EXPECT_FALSE(stream_.IsWritable());
  stream_.Write("x", 1);
  EXPECT_EQ(stream_.GetError(), codes::General);
}

TEST_F(Transaction, CloseOnlyReducesDeeperNestingByOne) {
  stream_.BeginTrans();
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new");
  stream_.Close();
  EXPECT_EQ(data_.Bytes(), "new bytes");
  EXPECT_EQ(log_.Bytes(), WriteUndoLog({9, {{0, "old"}}}));
  HbTransactionStream again(&data_, &log_);
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

TEST_F(Transaction, ADestroyedStreamLeavesTheUndoingToTheNext) {
  {
    HbTransactionStream other(&data_, &log_);
    other.BeginTrans();
    WriteAt(other, 0, "new");
    other.FlushLog();
  }
  EXPECT_EQ(data_.Bytes(), "new bytes");
  stream_.SetStreams(&data_, &log_);
  EXPECT_EQ(data_.Bytes(), "old bytes");
}

// ---- recovery ---------------------------------------------------------------------------------

class Recovery : public testing::Test {
 protected:
  std::string Recovered(const std::string& data, const std::string& log) {
    data_.Put(data);
    log_.Put(log);
    stream_.SetStreams(&data_, &log_);
    EXPECT_EQ(stream_.GetError(), 0u);
    EXPECT_EQ(log_.Bytes(), "");
    return data_.Bytes();
  }
  WatchedStream data_;
  WatchedStream log_;
  HbTransactionStream stream_;
};

TEST_F(Recovery, ALeftoverLogIsAppliedBeforeAnyUse) {
  EXPECT_EQ(Recovered("new bytes and more", WriteUndoLog({9, {{0, "old"}}})), "old bytes");
  EXPECT_EQ(Recovered("new", WriteUndoLog({9, {{0, "old"}, {3, " bytes"}}})), "old bytes");
}

TEST_F(Recovery, TheOldestSavedBytesWin) {
  EXPECT_EQ(Recovered("3333", WriteUndoLog({4, {{0, "0000"}, {0, "11"}, {1, "222"}}})), "0000");
}

TEST_F(Recovery, ALogOfFewerThanFourBytesIsEmpty) {
  EXPECT_EQ(Recovered("bytes", ""), "bytes");
  EXPECT_EQ(Recovered("bytes", "\x01"), "bytes");
  EXPECT_EQ(Recovered("bytes", std::string(3, '\0')), "bytes");
}

TEST_F(Recovery, WithoutARecordOnlyTheLengthIsRestored) {
  EXPECT_EQ(Recovered("bytes and more", Number(5)), "bytes");
  EXPECT_EQ(Recovered("byt", Number(5)), std::string("byt\0\0", 5));
}

TEST_F(Recovery, AnIncompleteLastRecordIsIgnored) {
  const std::string whole = WriteUndoLog({9, {{0, "old"}}});
  const std::string more = WriteUndoLog({9, {{0, "old"}, {4, "BYTES"}}});
  for (std::size_t size = whole.size(); size < more.size(); ++size) {
    EXPECT_EQ(Recovered("new bytes", more.substr(0, size)), "old bytes") << size;
    std::string zeroed = more.substr(0, size);
    zeroed.resize(more.size());
    // The last three bytes of its own position are zero anyway.
    EXPECT_EQ(Recovered("new bytes", zeroed), zeroed == more ? "old BYTES" : "old bytes") << size;
  }
}

TEST_F(Recovery, ARecordThatDoesNotEndInItsOwnPositionEndsTheWalk) {
  std::string log = WriteUndoLog({4, {{0, "a"}, {1, "b"}, {2, "c"}}});
  ASSERT_EQ(log[26], 17);
  log[26] = 4;
  EXPECT_EQ(Recovered("wxyz", log), "axyz");
}

TEST_F(Recovery, ALengthThatWouldWrapIsIncomplete) {
  for (const std::uint32_t length : {0xFFFFFFFFu, 0xFFFFFFFCu, 0xFFFFFFFBu, 0xFFFFFFF4u}) {
    EXPECT_EQ(Recovered("bytes and", Number(5) + Number(0) + Number(length) + Number(4) + "xxxx"),
              "bytes");
  }
}

TEST_F(Recovery, TheStartingLengthIsNeverTakenForALink) {
  // The number before the first record is the length; here it looks like a position.
  EXPECT_EQ(Recovered("12345678901234567", WriteUndoLog({17, {{0, "a"}, {1, "b"}}})),
            "ab345678901234567");
  EXPECT_EQ(Recovered("1234", WriteUndoLog({4, {{0, "a"}}})), "a234");
}

TEST_F(Recovery, ARecordBeyondWhatAStreamHoldsIsRefused) {
  // The first of these offsets means the end where it is sought.
  for (const std::uint32_t offset : {0xFFFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFDu}) {
    const std::string log = WriteUndoLog({5, {{offset, "xy"}}});
    data_.Put("bytes");
    log_.Put(log);
    stream_.SetStreams(&data_, &log_);
    EXPECT_EQ(stream_.GetError(), 0x81Au) << offset;
    EXPECT_EQ(data_.Bytes(), "bytes");
    EXPECT_EQ(log_.Bytes(), log);
  }
}

// A log of which a crash left a prefix, before the data was changed.
TEST_F(Recovery, ALengthThatWasCutChangesNothing) {
  for (const std::size_t size : {1u, 255u, 256u, 300u, 65536u, 70000u}) {
    const std::string data(size, 'd');
    const std::string whole = WriteUndoLog({static_cast<std::uint32_t>(size), {{0, "d"}}});
    for (std::size_t kept = 0; kept < whole.size(); ++kept) {
      EXPECT_TRUE(Recovered(data, whole.substr(0, kept)) == data) << size << " " << kept;
      std::string zeroed = whole.substr(0, std::min<std::size_t>(kept, 4));
      zeroed.resize(4);
      EXPECT_TRUE(Recovered(data, zeroed) == data) << size << " " << kept;
      zeroed = whole.substr(0, kept);
      zeroed.resize(whole.size());
      EXPECT_TRUE(Recovered(data, zeroed) == data) << size << " " << kept;
    }
  }
}

// Invariant 2 of the undo log: one that counts never looks like one that was cut.
TEST_F(Transaction, BeforeGreatGrowthAMarkFollowsTheLength) {
  const auto log_after_growth = [&](std::size_t length, std::size_t growth) {
    data_.Put(std::string(length, 'd'));
    log_.Put("");
    stream_.SetStreams(&data_, &log_);
    stream_.BeginTrans();
    WriteAt(stream_, length, std::string(growth, 'g'));
    const std::string log = log_.Bytes();
    EXPECT_TRUE(tmx::reference::Recover(data_.Bytes(), log) == std::string(length, 'd'));
    EXPECT_TRUE(ReadUndoLog(log).records.empty());
    HbTransactionStream next(&data_, &log_);
    EXPECT_EQ(data_.Size(), length);
    return log;
  };
  const auto length_alone = [](std::size_t length) {
    return Number(static_cast<std::uint32_t>(length));
  };
  const std::string mark(8, '\xFF');
  EXPECT_EQ(log_after_growth(0, 1), length_alone(0) + mark);
  for (const auto& [length, unit] : {std::pair<std::size_t, std::size_t>{1, 256},
                                     {255, 256},
                                     {256, 65536},
                                     {300, 65536},
                                     {65535, 65536},
                                     {65536, 1 << 24}}) {
    EXPECT_EQ(log_after_growth(length, unit - 1), length_alone(length)) << length;
    EXPECT_EQ(log_after_growth(length, unit), length_alone(length) + mark) << length;
  }
}

TEST_F(Transaction, TheFirstRecordTakesThePlaceOfTheMark) {
  data_.Put("");
  stream_.SetStreams(&data_, &log_);
  WriteAt(stream_, 0, "x");
  stream_.BeginTrans();
  WriteAt(stream_, 1, std::string(300, 'g'));
  EXPECT_EQ(log_.Bytes(), Number(1) + std::string(8, '\xFF'));
  WriteAt(stream_, 0, "y");
  EXPECT_EQ(log_.Bytes(), WriteUndoLog({1, {{0, "x"}}}));
  stream_.RollbackTrans();
  EXPECT_EQ(data_.Bytes(), "x");
}

// ---- barriers ---------------------------------------------------------------------------------

struct Syncs {
  int log;
  int data;
  bool operator==(const Syncs&) const = default;
};
void PrintTo(const Syncs& syncs, std::ostream* out) {
  *out << syncs.log << " of the log, " << syncs.data << " of the data";
}

class Barriers : public Transaction {
 protected:
  template <class Workload>
  Syncs During(Workload workload) {
    log_.syncs = data_.syncs = 0;
    workload();
    EXPECT_FALSE(stream_.HasError());
    return {log_.syncs, data_.syncs};
  }
};

TEST_F(Barriers, AreAsManyAsNeededAndNoMore) {
  data_.Put(std::string(30000, 'o'));
  // Logged bytes, data, clearing.
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              WriteAt(stream_, 10, std::string(1024, 'n'));
              stream_.CommitTrans();
            }),
            (Syncs{2, 1}));
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              for (unsigned long at = 0; at < 800; at += 8) WriteAt(stream_, at, "n");
              stream_.CommitTrans();
            }),
            (Syncs{2, 1}))
      << "one batch";
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              WriteAt(stream_, 0, std::string(20000, 'n'));
              WriteAt(stream_, 100, std::string(20000, 'n'));
              stream_.CommitTrans();
            }),
            (Syncs{3, 1}))
      << "two batches";
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              for (int i = 0; i < 50; ++i) WriteAt(stream_, stream_.Size(), "more");
              stream_.CommitTrans();
            }),
            (Syncs{2, 1}))
      << "the length before the first growth";
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              WriteAt(stream_, 0, "n");
              WriteAt(stream_, stream_.Size(), "more");
              WriteAt(stream_, 1, "n");
              WriteAt(stream_, stream_.Size(), "more");
              stream_.CommitTrans();
            }),
            (Syncs{3, 1}))
      << "the length, a batch, the clearing";
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              stream_.SetStreamSize(29000);
              stream_.CommitTrans();
            }),
            (Syncs{2, 1}));
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              stream_.BeginTrans();
              WriteAt(stream_, 0, "n");
              stream_.CommitTrans();
              stream_.Flush();
              stream_.FlushLog();
              stream_.CommitTrans();
            }),
            (Syncs{2, 1}))
      << "nested ones and flushes have none of their own";
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              WriteAt(stream_, 0, "m");
              stream_.RollbackTrans();
            }),
            (Syncs{2, 1}));
}

TEST_F(Barriers, HoldForReadingAndAttachingNothing) {
  EXPECT_EQ(During([&] {
              ReadAll(stream_);
              stream_.Flush();
              stream_.SetStreams(&data_, &log_);
              stream_.Close();
            }),
            (Syncs{0, 0}));
}

TEST_F(Barriers, RecoverySyncsTheDataAndThenTheClearedLog) {
  log_.Put(WriteUndoLog({9, {{0, "new"}}}));
  EXPECT_EQ(During([&] { stream_.SetStreams(&data_, &log_); }), (Syncs{1, 1}));
  EXPECT_EQ(data_.Bytes(), "new bytes");
}

// Invariant 4.
TEST_F(Barriers, WhatWasWrittenOutsideIsSyncedBeforeATransactionBegins) {
  EXPECT_EQ(During([&] {
              WriteAt(stream_, 0, "new");
              WriteAt(stream_, 0, "new");
            }),
            (Syncs{0, 0}));
  EXPECT_EQ(During([&] { stream_.BeginTrans(); }), (Syncs{0, 1}));
  stream_.RollbackTrans();
  EXPECT_EQ(During([&] { stream_.BeginTrans(); }), (Syncs{0, 0}));
  stream_.RollbackTrans();
  EXPECT_EQ(During([&] {
              WriteAt(stream_, 0, "new");
              stream_.Sync();
              stream_.BeginTrans();
            }),
            (Syncs{0, 1}));
}

TEST_F(Barriers, CanBeSwitchedOff) {
  EXPECT_TRUE(stream_.IsDurable());
  stream_.SetDurable(false);
  EXPECT_EQ(During([&] {
              stream_.BeginTrans();
              WriteAt(stream_, 0, "new bytes and more");
              stream_.CommitTrans();
              stream_.BeginTrans();
              WriteAt(stream_, 0, "old");
              stream_.RollbackTrans();
            }),
            (Syncs{0, 0}));
  EXPECT_EQ(data_.Bytes(), "new bytes and more");
}

// ---- failures ---------------------------------------------------------------------------------

TEST_F(Transaction, TakesOverErrorsByTheirLow30BitsAndNoWarnings) {
  data_.write_error = codes::DiskFull | 0x40000000;
  stream_.Write("x", 1);
  EXPECT_EQ(stream_.GetError(), codes::DiskFull);
  data_.write_error = 0;
  stream_.ResetError();
  EXPECT_FALSE(data_.HasError());
  data_.SetError(codes::DiskFull | codes::WarningBit);
  EXPECT_EQ(stream_.Write("x", 1), 1u);
  EXPECT_EQ(stream_.GetError(), 0u);
}

TEST_F(Transaction, ABeginningThatFailsLeavesNone) {
  log_.write_error = codes::DiskFull;
  stream_.BeginTrans();
  EXPECT_EQ(stream_.GetError(), codes::DiskFull);
  log_.write_error = 0;
  stream_.ResetError();
  WriteAt(stream_, 0, "new");
  EXPECT_EQ(data_.Bytes(), "new bytes") << "outside of a transaction";
  EXPECT_EQ(log_.Bytes(), "");
}

TEST_F(Transaction, ACommitThatFailsRollsBackAndKeepsItsError) {
  for (std::uint32_t WatchedStream::*const error :
       {&WatchedStream::write_error, &WatchedStream::sync_error}) {
    stream_.BeginTrans();
    WriteAt(stream_, 0, "new");
    log_.*error = codes::WriteError;
    if (error == &WatchedStream::write_error) {
      stream_.Write("x", 1);
      EXPECT_EQ(stream_.GetError(), codes::WriteError);
    }
    stream_.CommitTrans();
    EXPECT_EQ(stream_.GetError(), codes::WriteError);
    EXPECT_EQ(data_.Bytes(), "old bytes");
    log_.*error = 0;
    stream_.ResetError();
    stream_.RollbackTrans();
    EXPECT_EQ(ReadAll(stream_), "old bytes") << "there is no transaction any more";
    EXPECT_EQ(log_.Bytes(), "");
  }
}

// Invariant 5.
TEST_F(Transaction, WhatCouldNotBeUndoneIsTriedAgainBeforeTheNextOperation) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "new bytes and more");
  stream_.FlushLog();
  data_.write_error = codes::WriteError;
  stream_.RollbackTrans();
  EXPECT_EQ(stream_.GetError(), codes::WriteError);
  EXPECT_NE(log_.Bytes(), "");
  stream_.ResetError();
  stream_.BeginTrans();
  EXPECT_EQ(stream_.GetError(), codes::WriteError);
  EXPECT_NE(log_.Bytes(), "");
  data_.write_error = 0;
  stream_.ResetError();
  stream_.BeginTrans();
  EXPECT_EQ(data_.Bytes(), "old bytes");
  EXPECT_EQ(log_.Bytes(), Number(9));
}

TEST_F(Transaction, ALogThatCannotBeReadIsNotTakenForEmpty) {
  log_.Put(WriteUndoLog({9, {{0, "new"}}}));
  log_.read_error = codes::ReadError;
  stream_.SetStreams(&data_, &log_);
  EXPECT_EQ(stream_.GetError(), codes::ReadError);
  EXPECT_EQ(data_.Bytes(), "old bytes");
  log_.read_error = 0;
  stream_.ResetError();
  EXPECT_EQ(ReadAll(stream_), "new bytes");
}

TEST_F(Transaction, ARecordThatCouldNotBeWrittenLeavesNoRest) {
  stream_.BeginTrans();
  WriteAt(stream_, 0, "n");
  data_.read_error = codes::ReadError;
  stream_.Seek(2);
  EXPECT_EQ(stream_.Write("xx", 2), 0u);
  EXPECT_EQ(stream_.GetError(), codes::ReadError);
  EXPECT_EQ(stream_.Tell(), 2u);
  data_.read_error = 0;
  stream_.ResetError();
  WriteAt(stream_, 3, "y");
  EXPECT_EQ(log_.Bytes(), WriteUndoLog({9, {{0, "o"}, {3, " "}}}));
}

TEST_F(Transaction, BytesThatAreProtectedButGoneAreAnError) {
  stream_.BeginTrans();
  data_.SetStreamSize(2);  // by others, against the rules
  stream_.Seek(5);
  EXPECT_EQ(stream_.Write("x", 1), 0u);
  EXPECT_EQ(stream_.GetError(), codes::ReadError);
}

// ---- many of them -----------------------------------------------------------------------------

// Random operations beside a plain text as model.
class RandomTransactions {
 public:
  explicit RandomTransactions(unsigned seed) : random_(seed) {
    data_.Put(RandomBytes(Below(2) == 0 ? 40 : 30000));
    stream_.SetStreams(&data_, &log_);
    stream_.SetDurable(Below(2) == 0);
    model_ = committed_ = data_.Bytes();
  }
  void Step() {
    switch (Below(12)) {
      case 0:
        if (depth_ == 0) committed_ = model_;
        stream_.BeginTrans();
        ++depth_;
        break;
      case 1:
        stream_.CommitTrans();
        if (depth_ > 0) --depth_;
        break;
      case 2:
        if (depth_ == 1) model_ = committed_;
        stream_.RollbackTrans();
        if (depth_ > 0) --depth_;
        break;
      case 3:
        SetSize();
        break;
      case 4:
        Below(2) == 0 ? stream_.Flush() : stream_.FlushLog();
        break;
      case 5:
        if (Below(4) == 0) Reattach();
        break;
      case 6:
      case 7:
        Read();
        break;
      default:
        Write();
    }
    ASSERT_EQ(stream_.GetError(), 0u);
    ASSERT_TRUE(stream_.Size() == model_.size());
  }
  void Compare() { ASSERT_TRUE(ReadAll(stream_) == model_); }

 private:
  std::size_t Below(std::size_t limit) { return random_() % limit; }
  std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>('a' + Below(26));
    return bytes;
  }
  std::size_t Length() { return Below(8) == 0 ? Below(12000) : 1 + Below(60); }

  void SetSize() {
    const std::size_t size = Below(3) == 0 ? Below(model_.size() + 50)
                                           : model_.size() - std::min(model_.size(), Below(20));
    ASSERT_TRUE(stream_.SetStreamSize(size));
    model_.resize(size);
  }
  void Reattach() {
    stream_.SetStreams(&data_, &log_);
    if (depth_ > 0) model_ = committed_;
    depth_ = 0;
    ASSERT_EQ(data_.Bytes(), model_);
  }
  void Read() {
    const std::size_t at = Below(model_.size() + 5);
    std::string bytes(Length(), '?');
    stream_.Seek(at);
    bytes.resize(stream_.Read(bytes.data(), bytes.size()));
    const std::string expected = at < model_.size() ? model_.substr(at, bytes.size()) : "";
    ASSERT_TRUE(bytes == expected);
    ASSERT_EQ(stream_.Tell(), at + bytes.size());
  }
  void Write() {
    const std::size_t at = Below(model_.size() + 5);
    const std::string bytes = RandomBytes(Length());
    WriteAt(stream_, at, bytes);
    if (at + bytes.size() > model_.size()) model_.resize(at + bytes.size());
    model_.replace(at, bytes.size(), bytes);
    ASSERT_EQ(stream_.Tell(), at + bytes.size());
  }

  std::mt19937 random_;
  WatchedStream data_;
  WatchedStream log_;
  HbTransactionStream stream_;
  std::string model_;
  std::string committed_;
  int depth_ = 0;
};

TEST(RandomTransactionsTest, BehaveAsAPlainTextWithCopies) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    RandomTransactions run(seed);
    for (int step = 0; step < 200 && !testing::Test::HasFatalFailure(); ++step) {
      run.Step();
      if (step % 8 == 0) run.Compare();
    }
    if (testing::Test::HasFatalFailure()) return;
  }
}

}  // namespace
