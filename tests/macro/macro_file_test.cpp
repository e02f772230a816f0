// Compiled macro files: their bytecode, their index, and the stack in which they are looked up.
#include <gtest/gtest.h>

#include <memory>

#include "tests/macro/every_engine.h"
#include "tests/support/engine_run.h"
#include "tests/support/thrown_text.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/macro/bytecode.h"
#include "tmxtools/macro/macro_file.h"
#include "tmxtools/streams/file.h"

namespace tmx {
namespace {

constexpr unsigned kMalformed = 17490;

class MacroFileTest : public ::testing::Test {
 protected:
  MacroFileTest() { env_.MakeDir(EngineHost::kMacroDir); }

  void Put(const std::string& name, const std::string& bytes) {
    env_.Put(std::string(EngineHost::kMacroDir) + "/" + name, bytes);
  }
  void Put(const MacroImage& image) {
    if (image.index) Put(image.name + ".hbz", *image.index);
    if (image.code) Put(image.name + ".hbx", *image.code);
  }

  MemoryEnv env_;
  ScopedEnv scoped_{env_};
};

// ---- bytecode --------------------------------------------------------------------------------

class BytecodeTest : public MacroFileTest {
 protected:
  static constexpr const char* kName = "/home/macro/code";

  HbByteCode& Code(const std::string& bytes) {
    Put("code", bytes);
    HbError err;
    code_ = std::make_unique<HbByteCode>(String(kName), err, 0UL, static_cast<unsigned short>(0));
    EXPECT_FALSE(err.IsSet());
    return *code_;
  }
  HbByteCode& Code(const CodeBuilder& code) { return Code(code.Bytes()); }

  // Every failed read says so in the status and in the argument and stays where it is.
  template <class Read>
  void ExpectFailure(HbByteCode& code, Read read) {
    const unsigned short before = code.GetPC();
    HbError err;
    read(code, err);
    EXPECT_EQ(ChainOf(err), (ErrorChain{{kMalformed, kName}}));
    EXPECT_EQ(ChainOf(code.GetStatus()), (ErrorChain{{kMalformed, kName}}));
    EXPECT_EQ(code.GetPC(), before);
  }

  std::unique_ptr<HbByteCode> code_;
};

TEST_F(BytecodeTest, ReadersTakeBigEndianValues) {
  CodeBuilder bytes;
  bytes.Byte(255).Byte('x').Byte(1).Byte(0).U16(0x8001).U32(0xFFFFFFFE).RawDate(5, 3, 2003);
  bytes.RawText("text").RawText("1,5").RawText("").Byte(9);
  HbByteCode& code = Code(bytes);
  HbError err;
  EXPECT_EQ(code.ReadByte(err), 255);
  EXPECT_EQ(code.ReadChar(err), 'x');
  EXPECT_TRUE(code.ReadBool(err));
  EXPECT_FALSE(code.ReadBool(err));
  EXPECT_EQ(code.ReadInt(err), -32767);
  EXPECT_EQ(code.ReadLong(err), -2);
  EXPECT_EQ(code.ReadDate(err).GetDate(), 20030305U);
  String text;
  EXPECT_TRUE(code.ReadString(text, err));
  EXPECT_EQ(text, "text");
  EXPECT_EQ(code.ReadAmount(err), "1,5");
  EXPECT_TRUE(code.ReadString(text, err));
  EXPECT_EQ(text, "");
  EXPECT_FALSE(code.IsEof());
  EXPECT_EQ(code.ReadByte(err), 9);
  EXPECT_TRUE(code.IsEof());
  EXPECT_FALSE(err.IsSet());
  EXPECT_EQ(code.GetFileName(), kName);
}

TEST_F(BytecodeTest, AReadBeyondTheEndFailsAndStays) {
  HbByteCode& code = Code(CodeBuilder().Byte(1));
  code.SetPC(1);
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadByte(e), 0); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadChar(e), '\0'); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_FALSE(c.ReadBool(e)); });
  code.SetPC(0);
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadInt(e), 0); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadLong(e), 0); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_TRUE(c.ReadDate(e).IsNull()); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadAmount(e), ""); });
  code.SetPC(0xFFFF);
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadInt(e), 0); });
  ExpectFailure(code, [](HbByteCode& c, HbError& e) { EXPECT_EQ(c.ReadAmount(e), ""); });
}

TEST_F(BytecodeTest, WithoutBytesEveryReadFailsWhereverTheCounterStands) {
  HbError err;
  HbByteCode none(String("missing"), err, 0, 0);
  none.SetPC(5);
  err.Clear();
  EXPECT_EQ(none.ReadByte(err), 0);
  EXPECT_EQ(err.GetCode(), kMalformed);
  err.Clear();
  EXPECT_EQ(none.ReadAmount(err), "");
  EXPECT_EQ(err.GetCode(), kMalformed);
  EXPECT_EQ(none.GetPC(), 5);
}

TEST_F(BytecodeTest, AStringCannotEndWithTheBytecode) {
  const auto read = [](HbByteCode& c, HbError& e) {
    String text("old");
    EXPECT_FALSE(c.ReadString(text, e));
    EXPECT_EQ(text, "");
  };
  ExpectFailure(Code(CodeBuilder().RawText("text")), read);  // the zero is the last byte
  ExpectFailure(Code(std::string("text")), read);            // no zero at all
  ExpectFailure(Code(CodeBuilder().RawText("")), read);
}

TEST_F(BytecodeTest, AStringsZeroMayBeTheSecondToLastByte) {
  HbByteCode& code = Code(CodeBuilder().RawText("text").Byte(17));
  HbError err;
  String text;
  EXPECT_TRUE(code.ReadString(text, err));
  EXPECT_EQ(text, "text");
  EXPECT_EQ(code.GetPC(), 5);
}

TEST_F(BytecodeTest, ABoolByteOtherThanZeroAndOneIsAnErrorOfTheStatusAlone) {
  HbByteCode& code = Code(CodeBuilder().Byte(2));
  HbError err;
  EXPECT_FALSE(code.ReadBool(err));
  EXPECT_FALSE(err.IsSet());
  EXPECT_EQ(code.GetStatus().GetCode(), kMalformed);
  EXPECT_TRUE(code.IsEof());
}

ErrorChain LoadError(unsigned long offset, unsigned short length) {
  HbError err;
  const HbByteCode code(String("/home/macro/code"), err, offset, length);
  return ChainOf(err);
}

TEST_F(BytecodeTest, OffsetAndLengthMustLieInTheFile) {
  Put("code", "0123456789");
  EXPECT_EQ(LoadError(0, 10), ErrorChain{});
  EXPECT_EQ(LoadError(9, 1), ErrorChain{});
  EXPECT_EQ(LoadError(0, 11), (ErrorChain{{17488, ""}}));
  EXPECT_EQ(LoadError(10, 1), (ErrorChain{{17488, ""}}));
  EXPECT_EQ(LoadError(0xFFFFFFFF, 0xFFFF), (ErrorChain{{17488, ""}}));
  EXPECT_EQ(LoadError(0x100000004, 1), (ErrorChain{{17488, ""}}));
  EXPECT_EQ(LoadError(0x100000004, 0), (ErrorChain{{17488, ""}}));
  EXPECT_EQ(LoadError(~0UL, 2), (ErrorChain{{17488, ""}}));
}

TEST_F(BytecodeTest, LengthZeroTakesTheRestOfTheFile) {
  Put("code", "0123456789");
  HbError err;
  HbByteCode code(String("/home/macro/code"), err, 4, 0);
  EXPECT_EQ(code.ReadByte(err), '4');
  code.SetPC(6);
  EXPECT_TRUE(code.IsEof());
  EXPECT_EQ(LoadError(10, 0), ErrorChain{});
  EXPECT_EQ(LoadError(11, 0), (ErrorChain{{17488, ""}}));
}

TEST_F(BytecodeTest, MoreThan65535BytesAreRefused) {
  Put("code", std::string(65536, 'x'));
  EXPECT_EQ(LoadError(0, 0), (ErrorChain{{17489, ""}}));
  EXPECT_EQ(LoadError(1, 0), ErrorChain{});
  EXPECT_EQ(LoadError(1, 65535), ErrorChain{});
}

TEST_F(BytecodeTest, AFileThatIsNotOpenIsAnError) {
  EXPECT_EQ(LoadError(0, 0), (ErrorChain{{17487, "/home/macro/code"}}));
  HbFile file(String("/home/macro/code"));
  HbError err;
  HbByteCode code(file, err, 0UL, static_cast<unsigned short>(1));
  EXPECT_EQ(ChainOf(err), (ErrorChain{{17487, "/home/macro/code"}}));
  HbError read;
  EXPECT_EQ(code.ReadByte(read), 0);
  EXPECT_TRUE(read.IsSet());
}

// ---- macro files -----------------------------------------------------------------------------

using FileTest = MacroFileTest;

TEST_F(FileTest, ASubroutineIsLoadedByItsExactName) {
  Put(ImageBuilder("test").Sub("Sub", "\x01\x02").Sub("Other", "\x03").Build());
  HbMacroFile file("test", EngineHost::kMacroPath);
  HbError err;
  EXPECT_EQ(file.GetFileName(), "");
  const std::unique_ptr<HbByteCode> code(file.Load("Other", err));
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code->ReadByte(err), 3);
  EXPECT_TRUE(code->IsEof());
  EXPECT_EQ(code->GetFileName(), kCodeFile);
  EXPECT_EQ(file.GetFileName(), kCodeFile);
  EXPECT_EQ(file.Load("other", err), nullptr);
  EXPECT_EQ(file.Load("Othe", err), nullptr);
  EXPECT_FALSE(err.IsSet());
}

TEST_F(FileTest, TheFirstEntryOfANameCounts) {
  Put(ImageBuilder("test").Sub("Sub", "\x01").Sub("Sub", "\x02").Build());
  HbMacroFile file("test", EngineHost::kMacroPath);
  HbError err;
  const std::unique_ptr<HbByteCode> code(file.Load("Sub", err));
  EXPECT_EQ(code->ReadByte(err), 1);
}

// The error of the first lookup in files as given.
ErrorChain FirstLookup(const MacroImage& image, const char* sub = "Sub") {
  EngineHost host;
  host.Write(image);
  HbMacroFile file("test", EngineHost::kMacroPath);
  HbError err;
  const std::unique_ptr<HbByteCode> code(file.Load(sub, err));
  EXPECT_EQ(code == nullptr, err.IsSet());
  EXPECT_EQ(ChainOf(file.GetStatus()), ChainOf(err));
  return ChainOf(err);
}

TEST(MacroFileErrorTest, AMissingIndexIsAFileThatIsNotOpen) {
  EXPECT_EQ(FirstLookup({"other", std::nullopt, std::nullopt}), (ErrorChain{{17487, kIndexFile}}));
}

TEST(MacroFileErrorTest, AMissingCodeFileIsTheErrorOfItsStream) {
  MacroImage image = ImageBuilder("test").Sub("Sub", "x").Build();
  image.code.reset();
  EXPECT_EQ(FirstLookup(image), (ErrorChain{{0x4547, kCodeFile}}));
}

TEST(MacroFileErrorTest, AnIndexBeyond65535BytesIsRefused) {
  MacroImage image = ImageBuilder("test").Sub("Sub", "x").Build();
  while (image.index->size() <= 65535) *image.index += *image.index;
  EXPECT_EQ(FirstLookup(image), (ErrorChain{{17489, ""}}));
}

TEST(MacroFileErrorTest, AnIndexEntryThatIsCutShortIsAnError) {
  const MacroImage whole = ImageBuilder("test").Sub("Sub", "x").Sub("Tail", "y").Build();
  const std::size_t first = 4 + 8;
  for (std::size_t size = first + 1; size < whole.index->size(); ++size) {
    MacroImage cut = whole;
    cut.index->resize(size);
    SCOPED_TRACE(size);
    EXPECT_EQ(FirstLookup(cut), (ErrorChain{{kMalformed, kIndexFile}}));
  }
}

TEST(MacroFileErrorTest, TheMagicHasAFormatAndAVersion) {
  MacroImage image = ImageBuilder("test").Sub("Sub", "x").Build();
  for (const char* magic : {"XHOG", "JXOG", "XXXX"}) {
    image.code->replace(0, 4, magic);
    EXPECT_EQ(FirstLookup(image), (ErrorChain{{kMalformed, kCodeFile}}));
  }
  for (const char* magic : {"JHXG", "JHOX"}) {
    image.code->replace(0, 4, magic);
    EXPECT_EQ(FirstLookup(image), (ErrorChain{{17495, kCodeFile}}));
  }
  image.code = "JH";
  EXPECT_EQ(FirstLookup(image), (ErrorChain{{17495, kCodeFile}}));
  image.code = "";
  EXPECT_EQ(FirstLookup(image), (ErrorChain{{kMalformed, kCodeFile}}));
}

TEST_F(FileTest, TheMagicIsCheckedOnlyWhenTheCodeFileIsOpened) {
  Put(ImageBuilder("test").Sub("Sub", "\x01").Sub("Other", "\x02").Build());
  HbMacroFile file("test", EngineHost::kMacroPath);
  HbError err;
  std::unique_ptr<HbByteCode> code(file.Load("Sub", err));
  ASSERT_NE(code, nullptr);
  const auto opened = env_.Open(kCodeFile, {.read = true, .write = true});
  ASSERT_TRUE(opened.Ok());
  opened.value->WriteAt(0, "XXXX", 4);
  code.reset(file.Load("Other", err));
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code->ReadByte(err), 2);
  file.Close();
  EXPECT_EQ(file.Load("Other", err), nullptr);
  EXPECT_EQ(err.GetCode(), kMalformed);
}

TEST_F(FileTest, AWrongMagicIsReportedByEveryLookup) {
  MacroImage image = ImageBuilder("test").Sub("Sub", "\x01").Build();
  image.code->replace(0, 4, "JHOX");
  Put(image);
  HbMacroFile file("test", EngineHost::kMacroPath);
  for (int round = 0; round < 2; ++round) {
    HbError err;
    EXPECT_EQ(file.Load("Sub", err), nullptr);
    EXPECT_EQ(err.GetCode(), 17495);
  }
}

TEST_F(FileTest, ABrokenFileStaysBroken) {
  Put("test.hbz", "cut");
  HbMacroFile file("test", EngineHost::kMacroPath);
  for (int round = 0; round < 2; ++round) {
    HbError err;
    EXPECT_EQ(file.Load("Sub", err), nullptr);
    EXPECT_EQ(err.GetCode(), kMalformed);
  }
}

TEST_F(FileTest, CloseLetsGoOfTheFilesAndTheNextLoadOpensThemAgain) {
  Put(ImageBuilder("test").Sub("Sub", "\x01").Build());
  HbMacroFile file("test", EngineHost::kMacroPath);
  HbError err;
  std::unique_ptr<HbByteCode> code(file.Load("Sub", err));
  file.Close();
  EXPECT_EQ(file.GetFileName(), "");
  Put(ImageBuilder("test").Sub("Sub", "\x02").Build());
  code.reset(file.Load("Sub", err));
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(code->ReadByte(err), 2);
}

// ---- the stack -------------------------------------------------------------------------------

class FileStackTest : public MacroFileTest {
 protected:
  FileStackTest() {
    Put(ImageBuilder("general").Sub("Both", "\x01").Sub("General", "\x01").Build());
    Put(ImageBuilder("test").Sub("Both", "\x02").Sub("Test", "\x02").Build());
  }

  std::unique_ptr<HbStackFrame> Load(const std::string& sub) {
    err_.Clear();
    return std::unique_ptr<HbStackFrame>(stack_.LoadSub(String(std::string_view(sub)), err_));
  }
  unsigned FirstByte(const char* sub) {
    const std::unique_ptr<HbStackFrame> frame = Load(sub);
    HbError err;
    return frame == nullptr ? 0u : frame->GetByteCode()->ReadByte(err);
  }

  HbMacroFileStack stack_{EngineHost::kMacroPath};
  HbError err_;
};

TEST_F(FileStackTest, TheFirstPushPutsGeneralBelow) {
  EXPECT_TRUE(stack_.Push("test", err_));
  ASSERT_EQ(stack_.GetMacroFileCount(), 2);
  EXPECT_EQ(stack_.GetMacroFile(0)->GetName(), "general");
  EXPECT_EQ(stack_.GetMacroFile(1)->GetName(), "test");
  EXPECT_TRUE(stack_.Push("more", err_));
  EXPECT_EQ(stack_.GetMacroFileCount(), 3);
}

TEST_F(FileStackTest, AnIndexOutOfRangeThrows) {
  EXPECT_EQ(ThrownText([this] { stack_.GetMacroFile(0); }), kBadSubscript);
  stack_.Push("test", err_);
  EXPECT_EQ(ThrownText([this] { stack_.GetMacroFile(2); }), kBadSubscript);
}

TEST_F(FileStackTest, ALaterFileIsSearchedFirst) {
  stack_.Push("test", err_);
  EXPECT_EQ(FirstByte("Both"), 2U);
  EXPECT_EQ(FirstByte("General"), 1U);
  EXPECT_EQ(FirstByte("Test"), 2U);
}

TEST_F(FileStackTest, WithoutFilesAndWithoutTheName) {
  EXPECT_EQ(Load("Both"), nullptr);
  EXPECT_EQ(ChainOf(err_), (ErrorChain{{17485, ""}}));
  stack_.Push("test", err_);
  EXPECT_EQ(Load("both"), nullptr);
  EXPECT_EQ(ChainOf(err_), (ErrorChain{{17492, "both"}}));
}

TEST_F(FileStackTest, AMissingFileShowsAtTheFirstLookupAndStopsIt) {
  EXPECT_TRUE(stack_.Push("missing", err_));
  EXPECT_EQ(Load("General"), nullptr);
  EXPECT_EQ(ChainOf(err_), (ErrorChain{{17487, "/home/macro/missing.hbz"}}));
}

TEST_F(FileStackTest, PopKeepsTheLastFileUnlessForced) {
  stack_.Push("test", err_);
  EXPECT_TRUE(stack_.Pop(false));
  EXPECT_EQ(FirstByte("Both"), 1U);
  EXPECT_FALSE(stack_.Pop(false));
  EXPECT_EQ(stack_.GetMacroFileCount(), 1);
  EXPECT_TRUE(stack_.Pop(true));
  EXPECT_EQ(stack_.GetMacroFileCount(), 0);
  EXPECT_FALSE(stack_.Pop(true));
}

TEST_F(FileStackTest, ClearPopsAsFarAsItMay) {
  stack_.Push("test", err_);
  stack_.Push("more", err_);
  stack_.Clear(false);
  EXPECT_EQ(stack_.GetMacroFileCount(), 1);
  stack_.Clear(true);
  EXPECT_EQ(stack_.GetMacroFileCount(), 0);
}

TEST_F(FileStackTest, WithoutMemoryNothingIsPushedOrLoaded) {
  Put(ImageBuilder("general").Sub("Sub", "\x01").Build());
  bool loaded = false;
  for (std::size_t allowed = 0; !loaded; ++allowed) {
    HbMacroFileStack stack(EngineHost::kMacroPath);
    HbError err;
    HbStackFrame* frame = nullptr;
    {
      const FailingMemory failing(allowed);
      if (stack.Push("general", err)) frame = stack.LoadSub("Sub", err);
    }
    loaded = frame != nullptr;
    stack.CacheSub(frame);
    ASSERT_LT(allowed, 1000U);
    EXPECT_TRUE(stack.GetMacroFileCount() <= 2 && (!loaded || stack.GetMacroFileCount() == 2));
  }
}

TEST_F(FileStackTest, CloseKeepsTheStack) {
  stack_.Push("test", err_);
  Load("Both");
  stack_.Close();
  EXPECT_EQ(stack_.GetMacroFileCount(), 2);
  EXPECT_EQ(FirstByte("Both"), 2U);
}

// ---- the frame cache -------------------------------------------------------------------------

class FrameCacheTest : public FileStackTest {
 protected:
  FrameCacheTest() {
    ImageBuilder many("many");
    for (int sub = 0; sub < 12; ++sub) many.Sub("Sub" + std::to_string(sub), "\x11");
    Put(many.Build());
    stack_.Push("many", err_);
  }

  // Loads a subroutine and gives its frame back; the frame's address tells it from others.
  HbStackFrame* LoadAndCache(int sub) {
    HbStackFrame* frame = Load("Sub" + std::to_string(sub)).release();
    stack_.CacheSub(frame);
    return frame;
  }
};

TEST_F(FrameCacheTest, AReturnedFrameIsHandedOutAgainReset) {
  std::unique_ptr<HbStackFrame> frame = Load("Sub0");
  HbStackFrame* const address = frame.get();
  frame->PushParam("parameter");
  frame->GetByteCode()->SetPC(1);
  stack_.CacheSub(frame.release());
  frame = Load("Sub0");
  EXPECT_EQ(frame.get(), address);
  EXPECT_EQ(frame->GetHolderCount(), 0);
  EXPECT_EQ(frame->GetByteCode()->GetPC(), 0);
  // It is in the cache no longer.
  EXPECT_NE(Load("Sub0").get(), address);
}

// Frames that the host made, under names that no file has: once such a frame has lost its slot,
// nothing brings it back.
class HostFrameCacheTest : public FrameCacheTest {
 protected:
  static std::string Name(int number) { return "Host" + std::to_string(number); }

  void CacheHostFrames(int count) {
    Put("host", "\x11");
    for (int number = 0; number < count; ++number) {
      HbError err;
      auto code = std::make_unique<HbByteCode>(String("/home/macro/host"), err, 0UL,
                                               static_cast<unsigned short>(0));
      ASSERT_FALSE(err.IsSet());
      stack_.CacheSub(
          std::make_unique<HbStackFrame>(std::move(code), String(std::string_view(Name(number))))
              .release());
    }
  }
  // The numbers of the frames that are still kept. They are taken out.
  std::vector<int> TakeKept(int count) {
    std::vector<int> kept;
    for (int number = 0; number < count; ++number) {
      if (Load(Name(number)) != nullptr) {
        kept.push_back(number);
      } else {
        EXPECT_EQ(ChainOf(err_), (ErrorChain{{17492, Name(number)}}));
      }
    }
    return kept;
  }
};

TEST_F(HostFrameCacheTest, TheEleventhFrameReplacesTheOldestSlotRoundRobin) {
  CacheHostFrames(12);
  EXPECT_EQ(TakeKept(12), (std::vector<int>{2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(HostFrameCacheTest, BehindTheLastSlotTheFirstIsReplacedAgain) {
  CacheHostFrames(22);
  EXPECT_EQ(TakeKept(22), (std::vector<int>{12, 13, 14, 15, 16, 17, 18, 19, 20, 21}));
}

TEST_F(HostFrameCacheTest, AnEmptySlotIsTakenBeforeOneIsReplaced) {
  CacheHostFrames(11);  // the last one took the first slot
  std::unique_ptr<HbStackFrame> taken = Load(Name(5));
  ASSERT_NE(taken, nullptr);
  LoadAndCache(0);  // into the slot of 5; the next one replaces the second
  LoadAndCache(1);
  EXPECT_EQ(TakeKept(11), (std::vector<int>{2, 3, 4, 6, 7, 8, 9, 10}));
}

TEST_F(HostFrameCacheTest, AnEmptiedCacheStartsAgainWithItsFirstSlot) {
  CacheHostFrames(13);
  stack_.Push("newer", err_);
  stack_.Pop(false);
  EXPECT_EQ(TakeKept(13), std::vector<int>{});
  CacheHostFrames(11);
  EXPECT_EQ(TakeKept(11), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_F(FrameCacheTest, AFrameThatLosesItsSlotIsKeptForItsSubroutine) {
  std::vector<HbStackFrame*> frames;
  for (int sub = 0; sub < 11; ++sub) frames.push_back(LoadAndCache(sub));
  EXPECT_EQ(Load("Sub0").get(), frames[0]);
}

TEST_F(FrameCacheTest, CloseKeepsTheFrames) {
  std::unique_ptr<HbStackFrame> frame = Load("Sub0");
  HbStackFrame* const address = frame.get();
  frame->SetMacroSourceLine(4711);  // a new frame at the same place would have none
  stack_.CacheSub(frame.release());
  stack_.Close();
  frame = Load("Sub0");
  EXPECT_EQ(frame.get(), address);
  EXPECT_EQ(frame->GetMacroSourceLine(), 4711);
}

TEST_F(FrameCacheTest, APushOrPopEmptiesTheCache) {
  LoadAndCache(0);
  Put(ImageBuilder("newer").Sub("Sub0", "\x12").Build());
  stack_.Push("newer", err_);
  EXPECT_EQ(FirstByte("Sub0"), 0x12U);
  stack_.CacheSub(Load("Sub0").release());
  stack_.Pop(false);
  EXPECT_EQ(FirstByte("Sub0"), 0x11U);
}

class Listener : public HbMacroFileStackListener {
 public:
  void OnFilePushed(const String& name) override { log += "+" + std::string(name.View()); }
  void OnFilePopped() override { log += "-"; }
  std::string log;
};

TEST_F(FileStackTest, TheListenerHearsOfPushesAndPops) {
  Listener listener;
  EXPECT_EQ(stack_.GetListener(), nullptr);
  stack_.SetListener(&listener);
  stack_.Push("test", err_);
  stack_.Pop(false);
  stack_.Pop(false);
  stack_.Pop(true);
  stack_.SetListener(nullptr);
  EXPECT_EQ(listener.log, "+general+test--");
}

}  // namespace
}  // namespace tmx
