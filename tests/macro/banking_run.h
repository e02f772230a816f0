// Runs macros on the banking engine, on the decoded path or reading bytes, for a request in a tree.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/macro/every_engine.h"
#include "tests/support/engine_run.h"
#include "tmxtools/banking/callback.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/macro/banking_engine.h"

namespace tmx {

inline constexpr unsigned kString1 = 1, kInt5 = 5, kLong6 = 6, kAmount8 = 8;

// A class of its own is not known to keep what Dispatch does, so it reads its commands' bytes.
class ByteReadingEngine : public HbMacroEngine {
 public:
  using HbMacroEngine::GetCurrentDialog;
  using HbMacroEngine::HbMacroEngine;
  using HbMacroEngine::ResetHolderOfClass;
};

// Calls a function whenever variables change, and counts.
class ChangeObserver : public MeMacroObserver {
 public:
  bool ShouldBreak(unsigned short) override { return false; }
  void OnFramePushed() override {}
  void OnFramePopped() override {}
  void OnCurFrameChanged() override {}
  void OnVariablesChanged() override {
    ++changes;
    if (on_change) on_change();
  }
  void OnRunFinished() override {}

  int changes = 0;
  std::function<void()> on_change;
};

enum class Path { kDecoded, kBytes, kObserved };

class BankingTest : public ::testing::TestWithParam<Path> {
 protected:
  BankingTest() {
    env_.MakeDir(EngineHost::kMacroDir);
    issuer_.SetMode(static_cast<HbSecurityMode>(1));
    issuer_.SetBenutzerName("Mustermann");
    issuer_.SetKIKKreditsinstitutscode("12345678");
    issuer_.SetRpdId(7);
    issuer_.SetHbciVersion(300);
    request_->AddUser(&issuer_, HbRoleIssuer);
    request_->SetClientData(message_.get());
    message_->SetClientData(dialog_.get());
    if (GetParam() == Path::kBytes) {
      engine_ = std::make_unique<ByteReadingEngine>(EngineHost::kMacroPath);
    } else {
      engine_ = std::make_unique<HbMacroEngine>(EngineHost::kMacroPath);
    }
    if (GetParam() == Path::kObserved) engine_->SetObserver(&observer_);
    engine_->SetRequest(request_.get());
  }

  void Load(const MacroImage& image) {
    for (const MacroImage& file : {image, ImageBuilder("general").Build()}) {
      const std::string path = std::string(EngineHost::kMacroDir) + "/" + file.name;
      env_.Put(path + ".hbz", *file.index);
      env_.Put(path + ".hbx", *file.code);
    }
    engine_->ClearFiles(true);
    ASSERT_TRUE(engine_->PushFile("test", err_));
  }
  bool RunImage(const MacroImage& image) {
    Load(image);
    err_.Clear();
    return engine_->Call(engine_->LoadSub("SUB", err_), err_);
  }
  bool Run(const CodeBuilder& code) { return RunImage(TestFile(code)); }

  void ExpectOk(const CodeBuilder& code) {
    EXPECT_TRUE(Run(code));
    EXPECT_FALSE(err_.IsSet()) << Text();
    EXPECT_FALSE(engine_->GetStatus().IsSet());
  }
  void ExpectError(const CodeBuilder& code, unsigned expected, const std::string& param) {
    EXPECT_FALSE(Run(code));
    ASSERT_TRUE(err_.IsSet());
    EXPECT_EQ(err_.GetCode(), expected);
    EXPECT_EQ(err_.GetParamText()->View(), param);
  }
  std::string Text() const {
    return err_.IsSet()
               ? std::to_string(err_.GetCode()) + " " + std::string(err_.GetParamText()->View())
               : "none";
  }
  std::string Output() const { return std::string(engine_->GetOutput().View()); }

  HbSegment& AddItem(const char* text) {
    HbSegment& item = request_->CreateItem("HKITEM", 1);
    item.PutFieldString(text, 2010);
    return item;
  }
  static Ref<HbSegment> MakeSegment(const char* name, unsigned short version, const char* text) {
    Ref<HbSegment> segment = MakeRef<HbSegment>(name, version);
    segment->PutFieldString(text, 2010);
    return segment;
  }
  void AddUpd(const char* text) {
    issuer_.GetInternalUser()->InsertUPDSegment(MakeSegment("HIUPD", 1, text).Get());
  }
  void AddBpd(const char* name, unsigned short version, const char* text) {
    issuer_.GetInternalUser()->InsertBPDSegment(MakeSegment(name, version, text).Get(), true);
  }
  // A handler that gives each value a text.
  void Answer(const char* text) {
    engine_->SetSecurityHdl(Link([this, text](void* data) {
      auto& asked = *static_cast<HbCallbackData*>(data);
      kinds_.push_back(asked.GetKind());
      message_texts_.push_back(std::string(asked.GetMessage().View()));
      for (unsigned short i = 0; i < asked.GetParameters()->Count(); ++i)
        static_cast<HbStringVariable*>(asked.GetParameters()->GetItem(i)->GetValue())->Set(text);
      return 1L;
    }));
  }
  HbCallbackItems& Items() { return *dialog_->GetCallbackItems(); }

  MemoryEnv env_;
  ScopedEnv scoped_{env_};
  HbUser issuer_;
  std::unique_ptr<HbRequest> request_ = std::make_unique<HbRequest>("HKSAL", 5, 2);
  std::unique_ptr<HbMessage> message_ = std::make_unique<HbMessage>();
  std::unique_ptr<HbDialog> dialog_ = std::make_unique<HbDialog>(nullptr);
  ChangeObserver observer_;
  std::unique_ptr<HbMacroEngine> engine_;
  HbError err_;
  std::vector<unsigned long> kinds_;
  std::vector<std::string> message_texts_;
};

inline const auto kEveryPath = ::testing::Values(Path::kDecoded, Path::kBytes, Path::kObserved);

// Declares the field of a class of segments in a string variable.
inline CodeBuilder Field(unsigned opcode, int id, std::uint32_t field, unsigned type = kString1) {
  return CodeBuilder().Op(opcode, 3).Byte(type).U16(static_cast<unsigned>(id)).U32(field);
}
inline CodeBuilder Write(int id) { return CodeBuilder().Op(7, 1).Var(id); }

}  // namespace tmx
