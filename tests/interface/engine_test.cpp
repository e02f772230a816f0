// A host's view of the macro engine, over the shared library alone: compiled files on the disk, a
// run with an observer, and an engine of the host's own with every member that it may use.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/temp_dir.h"
#include "tmxtools/tmxtools.h"

namespace {

using std::string_literals::operator""s;

// A macro path with one file "test", whose one subroutine "Sub" is this code.
class MacroPath {
 public:
  explicit MacroPath(const std::string& code) {
    std::filesystem::create_directory(directory_.File("macro"));
    Write("general.hbz", "");
    Write("test.hbz", "Sub"s + "\0\0\0\0\4\0"s + static_cast<char>(code.size()) + "\0\0"s);
    Write("test.hbx", "JHOG" + code);
  }
  String Path() const { return String(std::string_view(directory_.Path())); }

 private:
  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(directory_.File("macro/" + name), std::ios::binary) << bytes;
  }

  tmx::TempDir directory_;
};

// Writes the first parameter, then a literal, and returns.
const std::string kEcho = "\7\1\0\41\7\1\0\1!\0\21\0"s;

class Watcher : public MeMacroObserver {
 public:
  bool ShouldBreak(unsigned short) override { return steps++ == 0; }
  void OnFramePushed() override {}
  void OnFramePopped() override {}
  void OnCurFrameChanged() override {}
  void OnVariablesChanged() override {}
  void OnRunFinished() override { ++ends; }

  int steps = 0;
  int ends = 0;
};

TEST(Interface, RunsAMacro) {
  const MacroPath files(kEcho);
  HbError err;
  MeMacroEngine engine(files.Path());
  ASSERT_TRUE(engine.PushFile("test", err));
  HbStackFrame* frame = engine.LoadSub("Sub", err);
  ASSERT_NE(frame, nullptr);
  frame->PushParam("hello");
  Watcher watcher;
  engine.SetObserver(&watcher);
  EXPECT_TRUE(engine.Call(frame, err));
  EXPECT_EQ(engine.GetOutput(), "");
  EXPECT_EQ(engine.GetCallStack()->Count(), 1);
  EXPECT_TRUE(engine.Continue(&err));
  EXPECT_EQ(engine.GetOutput(), "hello!");
  EXPECT_EQ(watcher.ends, 1);
  engine.SetObserver(nullptr);
  engine.Stop(true);
  EXPECT_FALSE(engine.GetStatus().IsSet());
  EXPECT_EQ(engine.GetMacroPath(), files.Path());
  EXPECT_EQ(engine.LoadSub("Other", err), nullptr);
  EXPECT_EQ(err.GetCode(), 17492);
  EXPECT_TRUE(engine.PopFile(false));
  engine.ClearFiles(true);
}

// An engine of the host's: a command 200, which uses every reader, and hooks of its own.
class HostEngine : public MeMacroEngine {
 public:
  using MeMacroEngine::MeMacroEngine;
  int finished = 0;
  std::string seen;

 protected:
  void OnFinished() override { ++finished; }
  void GetErrorText(unsigned short code, String& text) override {
    MeMacroEngine::GetErrorText(code, text);
  }
  void Dispatch(unsigned short opcode, unsigned short count) override {
    if (opcode != 200) return MeMacroEngine::Dispatch(opcode, count);
    const auto see = [this](const String& text) { seen += std::string(text.View()) + ' '; };
    see(String::FromInt(ReadByte()));
    see(ReadBool() ? "yes" : "no");
    seen += ReadChar();
    see(String::FromInt(ReadInt()));
    see(String::FromInt(ReadUInt()));
    see(String::FromInt(ReadLong()));
    see(String::FromInt(ReadDate().GetYear()));
    see(ReadAmount());
    see(ReadString());
    see(ReadStringAttrib());
    see(String::FromInt(ReadIntAttrib()));
    see(String::FromInt(ReadLongAttrib()));
    see(ReadAmountAttrib());
    see(String::FromInt(ReadDateAttrib().GetYear()));
    see(ReadBoolAttrib() ? "yes" : "no");
    seen += ReadCharAttrib();
    see(ReadAttribAsString());
    PushHolder(new HbVariableHolder(5));
    GetCurFrame()->PushParam(true);
    const short id = static_cast<short>(GetCurFrame()->GetMaxVarId() - 1);
    EXPECT_TRUE(IsNull(id));
    EXPECT_EQ(GetVariable(id, 5)->GetType(), 5);
    EXPECT_EQ(GetVariable(id, 6, false), nullptr);
    SetCurFrame(GetCurFrame());
    EXPECT_TRUE(OnlyBlanks(3));
    EXPECT_EQ(GetNumDigits(3), 0);
    HbError soft(17494);
    SetLastCmdError(soft);
    SetLastCmdError(17496);
  }
};

TEST(Interface, AnEngineOfTheHostsOwnReadsEveryOperand) {
  const std::string literals = "\7\1c\377\377\377\377\0\0\0\1\5\3\24\3"s + "1,\0a\0"s + "\0\1b\0"s +
                               "\0\5\0\2"s + "\0\6\0\0\0\3"s + "\0\10"s + "2,\0"s +
                               "\0\2\5\3\24\3"s + "\0\12\1"s + "\0\14d"s + "\0\5\0\4"s;
  const MacroPath files("\310\1"s + literals + "\22\0\21\0"s);
  HbError err;
  HostEngine engine(files.Path());
  ASSERT_TRUE(engine.PushFile("test", err));
  EXPECT_TRUE(engine.Call(engine.LoadSub("Sub", err), err));
  EXPECT_EQ(engine.seen, "7 yes c-1 65535 1 2003 1, a b 2 3 2, 2003 yes d4 ");
  EXPECT_FALSE(engine.GetCondition());
  EXPECT_EQ(engine.finished, 1);
}

TEST(Interface, FramesAndHolders) {
  const MacroPath files(kEcho);
  HbError err;
  HbStackFrame frame(nullptr, "Sub");
  const short int16 = 1;
  const long int32 = 2;
  frame.PushParam(String("text"));
  frame.PushParam(HbDate(5, 3, 2003));
  frame.PushParam(int16);
  frame.PushParam(int32);
  frame.PushParam(3);
  frame.PushParam(true);
  frame.PushParam(std::string_view("view"));
  frame.PushParam(HbAmount(12345, 2, "EUR"));
  HbVariable* const shared = HbVariables::CreateVariable(1);
  frame.PushParameter(shared);
  HbVariables registry(nullptr, nullptr, nullptr);
  auto* const holder = new HbVariableHolder(1, &registry, 1000UL, 3);
  frame.PushHolder(holder);
  holder->SetVariable(shared);
  shared->DecRefCount();
  EXPECT_EQ(frame.GetHolderCount(), 10);
  EXPECT_EQ(frame.GetMaxVarId(), 42);
  EXPECT_EQ(frame.GetHolder(42), frame.GetHolderByPos(9));
  const auto* const amount = static_cast<HbStringVariable*>(frame.GetHolder(40)->GetVariable());
  EXPECT_EQ(amount->Get(), "123,45");
  EXPECT_EQ(frame.SetMacroSourceLine(7), 7);
  EXPECT_EQ(frame.GetMacroSourceLine(), 7);
  frame.Clear();

  HbCallStack stack;
  stack.PushFrame(&frame);
  EXPECT_EQ(stack.CurFrame(), stack[0]);
  EXPECT_THROW(stack[1], std::out_of_range);
  EXPECT_EQ(stack.PopFrame(), &frame);
  EXPECT_EQ(stack.Count(), 0);
}

TEST(Interface, MacroFilesAndBytecode) {
  const MacroPath files(kEcho);
  HbError err;
  HbMacroFile file("test", files.Path());
  const std::unique_ptr<HbByteCode> code(file.Load("Sub", err));
  ASSERT_NE(code, nullptr);
  EXPECT_EQ(file.GetFileName(), code->GetFileName());
  HbByteCode from_file(code->GetFileName(), err, 4UL, 12);
  EXPECT_EQ(from_file.ReadByte(err), 7);
  EXPECT_TRUE(from_file.ReadBool(err));
  EXPECT_EQ(from_file.ReadChar(err), '\0');
  from_file.SetPC(2);
  EXPECT_EQ(from_file.ReadInt(err), 33);
  EXPECT_EQ(from_file.ReadLong(err), 0x07010001);
  String text;
  EXPECT_TRUE(from_file.ReadString(text, err));
  EXPECT_EQ(text, "!");
  EXPECT_FALSE(from_file.IsEof());
  EXPECT_EQ(from_file.GetPC(), 10);
  from_file.ReadAmount(err);
  EXPECT_TRUE(from_file.ReadDate(err).IsNull());
  EXPECT_EQ(err.GetCode(), 17490);
  file.Close();

  HbMacroFileStack stack(files.Path());
  err.Clear();
  EXPECT_TRUE(stack.Push("test", err));
  EXPECT_EQ(stack.GetMacroFileCount(), 2);
  EXPECT_NE(stack.GetMacroFile(1), nullptr);
  HbStackFrame* const frame = stack.LoadSub("Sub", err);
  ASSERT_NE(frame, nullptr);
  stack.CacheSub(frame);
  EXPECT_EQ(stack.LoadSub("Sub", err), frame);
  stack.CacheSub(frame);
  stack.Close();
  EXPECT_TRUE(stack.Pop(false));
  stack.Clear(true);
}

}  // namespace
