#include "tests/macro/every_engine.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/engine_run.h"
#include "tests/support/reference_engine.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/macro/banking_engine.h"

namespace tmx {
namespace {

bool IsGeneral(const MacroImage& image) { return image.name == "general"; }

void Load(EngineHost& host, const std::vector<MacroImage>& files) {
  if (std::ranges::none_of(files, IsGeneral)) host.Write(ImageBuilder("general").Build());
  for (const MacroImage& image : files) IsGeneral(image) ? host.Write(image) : host.PushFile(image);
}

void Load(ReferenceEngine& engine, const std::vector<MacroImage>& files) {
  if (std::ranges::none_of(files, IsGeneral)) engine.PushFile(ImageBuilder("general").Build());
  for (const MacroImage& image : files) engine.PushFile(image);
}

RunOutcome Production(EngineHost::Variant variant, const std::vector<MacroImage>& files,
                      const std::string& sub, const std::vector<HostParam>& params,
                      const ObserverPlan& plan) {
  EngineHost host(variant);
  Load(host, files);
  return host.Run(sub, params, plan);
}

RunOutcome Reference(const std::vector<MacroImage>& files, const std::string& sub,
                     const std::vector<HostParam>& params, const ObserverPlan& plan) {
  ReferenceEngine engine(EngineHost::kMacroDir);
  Load(engine, files);
  return engine.Run(sub, params, plan);
}

class DispatchingBankingEngine : public HbMacroEngine {
 public:
  using HbMacroEngine::HbMacroEngine;
};

// Where a banking engine works, with what it lacks left out.
struct Surroundings {
  explicit Surroundings(Lacking lacking) {
    const auto add_parameters = [this](const char* name, unsigned short version) {
      issuer.GetInternalUser()->InsertBPDSegment(MakeRef<HbSegment>(name, version).Get(), true);
    };
    add_parameters("HISALS", 5);
    add_parameters("Callee", 1);
    if (lacking != Lacking::kIssuer) request.AddUser(&issuer, HbRoleIssuer);
    if (lacking != Lacking::kMessage) request.SetClientData(&message);
    if (lacking != Lacking::kDialog) message.SetClientData(&dialog);
  }

  HbUser issuer;
  HbRequest request{"HKSAL", 5, 2};
  HbMessage message;
  HbDialog dialog{nullptr};
};

template <class Engine>
RunOutcome Banking(const std::vector<MacroImage>& files, const std::string& sub, Lacking lacking,
                   const ObserverPlan& plan = {}) {
  Surroundings surroundings(lacking);
  auto engine = std::make_unique<Engine>(EngineHost::kMacroPath);
  if (lacking != Lacking::kRequest) engine->SetRequest(&surroundings.request);
  engine->SetSecurityHdl(Link([](void*) { return 1L; }));
  EngineHost host(std::move(engine));
  Load(host, files);
  return host.Run(sub, {}, plan);
}

void ExpectSame(const RunOutcome& a, const RunOutcome& b, const char* who) {
  EXPECT_EQ(Differences(a, b), "") << who;
}

}  // namespace

std::string At(const std::string& sub, std::size_t position) {
  return sub + " an Position " + std::to_string(position);
}

MacroImage TestFile(const CodeBuilder& code) {
  return ImageBuilder("test").Sub("SUB", code).Build();
}

RunOutcome RunFiles(const std::vector<MacroImage>& files, const std::string& sub,
                    const std::vector<HostParam>& params) {
  const RunOutcome outcome = Production(EngineHost::kPlain, files, sub, params, {});
  ExpectSame(outcome, Reference(files, sub, params, {}), "reference engine");
  ExpectSame(outcome, Production(EngineHost::kDispatching, files, sub, params, {}),
             "engine that dispatches every command");
  RunOutcome observed = ObserveFiles(files, sub, params);
  observed.events.clear();
  ExpectSame(outcome, observed, "observed engine");
  return outcome;
}

RunOutcome RunCode(const CodeBuilder& code, const std::vector<HostParam>& params) {
  return RunFiles({TestFile(code)}, "SUB", params);
}

RunOutcome RunBankingFiles(const std::vector<MacroImage>& files, const std::string& sub,
                           Lacking lacking) {
  const auto outcome = Banking<HbMacroEngine>(files, sub, lacking);
  ExpectSame(outcome, Banking<DispatchingBankingEngine>(files, sub, lacking),
             "banking engine that dispatches every command");
  ObserverPlan plan;
  plan.attached = true;
  RunOutcome observed = Banking<HbMacroEngine>(files, sub, lacking, plan);
  observed.events.clear();
  ExpectSame(outcome, observed, "observed banking engine");
  return outcome;
}

RunOutcome RunBankingCode(const CodeBuilder& code, Lacking lacking) {
  return RunBankingFiles({TestFile(code)}, "SUB", lacking);
}

RunOutcome ObserveFiles(const std::vector<MacroImage>& files, const std::string& sub,
                        const std::vector<HostParam>& params, ObserverPlan plan) {
  plan.attached = true;
  const RunOutcome outcome = Production(EngineHost::kPlain, files, sub, params, plan);
  ExpectSame(outcome, Reference(files, sub, params, plan), "reference engine, observed");
  return outcome;
}

void ExpectNoError(const RunOutcome& outcome) {
  EXPECT_TRUE(outcome.loaded);
  EXPECT_TRUE(outcome.ok) << ToText(outcome);
  EXPECT_EQ(outcome.error, ErrorChain{});
  EXPECT_EQ(outcome.status, ErrorChain{});
}

void ExpectMacroError(const RunOutcome& outcome, unsigned code, const std::string& param) {
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.error, (ErrorChain{{code, param}}));
  EXPECT_EQ(outcome.status, (ErrorChain{{code, param}}));
}

}  // namespace tmx
