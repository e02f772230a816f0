// Macros of the banking engine from their sources: compiled, verified, taken apart and run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "compiler/disassembler.h"
#include "compiler/verifier.h"
#include "tests/compiler/compile_and_run.h"
#include "tmxtools/banking/callback.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/macro/banking_engine.h"

namespace tmx::compiler {
namespace {

using ::testing::IsEmpty;

// Every command of the banking engine, as macro authors write it.
constexpr const char* kEverything = R"(sub All()
  request string Value field 2010
  request_item string Item field 2020
  request_bpd int Days field 2860
  bpd long Most field 2870 of "HIPINS" version 0
  upd amount Limit field 2030
  security string Tan field 4099
  response string Number field 2010
  local string text
  local int n
  needs Tan
  needs Tan, "TAN", 1, true, 4, n
  security_dialog
  security_dialog "once more"
  if success
    invalidate Tan
  end
  create_response "HIXXX"
  first_deg Number, 2010
  next_deg Number, 100
  goto_deg Number, 2010, 100, n
  commit_response
  create_response
  goto_upd n
  select_item 2
  request_users text, 0
  request_signatures n
  user_name text, 1
  user_bank_code text, 3
  user_rpd_id n
  user_hbci_version n, 4
  add_response_code 3040
  add_response_code n, "text", text, 24.12.2003
  request_success
end
)";

std::string Findings(const MacroImage& image, EngineKind engine) {
  std::string out;
  for (const Finding& finding : Verify({{"f", image.index, image.code}}, {}, engine).findings)
    out += Describe(finding) + '\n';
  return out;
}

TEST(BankingMacros, TheVerifierAcceptsEveryCommandForTheBankingEngineAlone) {
  const MacroImage image = CompileOrFail(kEverything);
  EXPECT_THAT(Findings(image, EngineKind::kBanking), IsEmpty());
  EXPECT_THAT(Findings(image, EngineKind::kGeneric), ::testing::HasSubstr("unknown opcode 69"));
}

TEST(BankingMacros, TakenApartAndCompiledAgainTheyAreTheSame) {
  for (const bool marks : {true, false}) {
    CompileOptions options;
    options.debug_marks = marks;
    const MacroImage image = CompileOrFail(kEverything, options);
    const Disassembly disassembly = Disassemble(image);
    EXPECT_THAT(disassembly.problems, IsEmpty());
    const MacroImage again = CompileOrFail(disassembly.source, options);
    EXPECT_TRUE(again.code == image.code) << disassembly.source;
    EXPECT_TRUE(again.index == image.index);
  }
}

// The example of the documentation that asks for a PIN.
std::string DocumentedExample() {
  std::ifstream file(TMX_SOURCE_DIR "/docs/macro-language.md", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::size_t sub = text.find("sub Accounts(");
  return sub == std::string::npos ? "" : text.substr(sub, text.find("```", sub) - sub);
}

class Documented : public ::testing::Test {
 protected:
  Documented() {
    user_.SetHbciVersion(300);
    request_.AddUser(&user_, HbRoleIssuer);
    request_.GetValues().PutFieldString("/EUR", 2010);
    request_.SetClientData(&message_);
    message_.SetClientData(&dialog_);
    const Ref<HbSegment> bpd = MakeRef<HbSegment>("HIPINS", static_cast<unsigned short>(1));
    bpd->PutFieldInt16(4, 2830);
    user_.GetInternalUser()->InsertBPDSegment(bpd.Get(), true);
    for (const char* account : {"1001", "1002"}) {
      const Ref<HbSegment> upd = MakeRef<HbSegment>("HIUPD", static_cast<unsigned short>(6));
      upd->PutFieldString(account, 2010);
      user_.GetInternalUser()->InsertUPDSegment(upd.Get());
    }
    env_.MakeDir("/home/macro");
  }

  void Run(const Link& handler) {
    const MacroImage image = CompileOrFail(DocumentedExample());
    env_.Put("/home/macro/general.hbz", "");
    env_.Put("/home/macro/general.hbx", "JHOG");
    env_.Put("/home/macro/test.hbz", image.index);
    env_.Put("/home/macro/test.hbx", image.code);
    HbMacroEngine engine("/home");
    engine.SetSecurityHdl(handler);
    engine.SetRequest(&request_);
    HbError err;
    ASSERT_TRUE(engine.PushFile("test", err));
    HbStackFrame* const frame = engine.LoadSub("Accounts", err);
    ASSERT_NE(frame, nullptr);
    frame->PushParam(static_cast<short>(2));
    EXPECT_TRUE(engine.Call(frame, err)) << err.GetCode();
    EXPECT_FALSE(engine.GetStatus().IsSet());
  }

  MemoryEnv env_;
  ScopedEnv scoped_{env_};
  HbUser user_;
  HbDialog dialog_{nullptr};
  HbMessage message_;
  HbRequest request_{"HKSPA", 1, 1};
};

TEST_F(Documented, TheExampleAsksForThePinAndMakesAResponseForEachAccount) {
  unsigned short shortest = 0;
  Run(Link([&shortest](void* data) {
    shortest = static_cast<HbCallbackData*>(data)->GetParameters()->GetItem(0)->GetMinLenght();
    return 1L;
  }));
  EXPECT_EQ(shortest, 4);
  ASSERT_EQ(request_.ResponseCount(), 2);
  for (unsigned short i = 0; i < 2; ++i) {
    String number;
    EXPECT_TRUE(request_.GetResponse(i)->GetFieldString(number, 2010));
    EXPECT_EQ(number, i == 0 ? "1001/EUR" : "1002/EUR");
  }
  EXPECT_EQ(request_.GetStatus(), HbStatusSuccess);
}

TEST_F(Documented, TheExampleRecordsThatThereWasNoPin) {
  Run(Link([](void*) { return 0L; }));
  EXPECT_EQ(request_.GetStatus(), HbStatusError);
  EXPECT_EQ(request_.ResponseCount(), 1);
}

}  // namespace
}  // namespace tmx::compiler
