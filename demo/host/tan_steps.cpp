#include "demo/host/tan_steps.h"

#include <algorithm>
#include <utility>

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr int kTanNeeded = 30;  // 0030
constexpr int kConfirmElsewhere = 3955;
constexpr int kNotYetConfirmed = 3956;
constexpr long kMostQuestions = 200;
constexpr long kLongestWait = 120;  // seconds between two questions

// What a bank asks for, but at least 1 and never without end.
long WithinLimit(long number, long most) { return std::clamp(number, 1L, most); }

bool HasAccount(const HbSegment& order) {
  return !TextOf(order, field::kIban).empty() || !TextOf(order, field::kAccountNumber).empty();
}

// The account as the order names it.
void CopyAccount(const HbSegment& order, HbSegment& tan) {
  for (const unsigned long id :
       {field::kIban, field::kBic, field::kAccountNumber, field::kSubaccount, field::kBankCode})
    PutText(tan, TextOf(order, id), id);
  if (const long country = NumberOf(order, field::kCountry); country != 0)
    tan.PutFieldInt32(country, field::kCountry);
}

// The challenge, which some banks let answer the order instead of its HKTAN.
const HbSegment* FindChallenge(const HbRequest& order, const HbRequest& tan) {
  const HbSegment* const own = FindResponse(tan, "HITAN");
  return own != nullptr ? own : FindResponse(order, "HITAN");
}

}  // namespace

TanSteps::TanSteps(BankDialog& dialog, const HbUser& user, const Access& access, Surface surface,
                   Report& report)
    : dialog_(dialog),
      user_(user),
      access_(access),
      surface_(std::move(surface)),
      report_(report) {}

HbRequest* TanSteps::NewRequest(const char* process, const std::string& order_code) {
  const auto procedure = TanProcedure::Find(user_, access_.security_function);
  if (!procedure) {
    report_.Fail(Outcome::kForbidden,
                 "HITANS of the bank's parameters does not describe the procedure " +
                     access_.security_function);
    return nullptr;
  }
  HbRequest& tan = dialog_.NewRequest("HKTAN", procedure->Version());
  PutText(tan.GetValues(), process, field::kTanProcess);
  PutText(tan.GetValues(), order_code, field::kOrderCode);
  if (!order_code.empty() && procedure->NeedsMedium())
    PutText(tan.GetValues(), access_.tan_medium, field::kTanMedium);
  return &tan;
}

HbRequest* TanSteps::NewFirstStep(const HbRequest& order, const std::string& order_code) {
  HbRequest* const tan = NewRequest("4", order_code);
  if (tan == nullptr) return nullptr;
  const TanProcedure procedure = *TanProcedure::Find(user_, access_.security_function);
  const auto forbid = [this](const std::string& why) {
    report_.Fail(Outcome::kForbidden, "HITANS " + why + " procedure " + access_.security_function);
    return nullptr;
  };
  if (procedure.IsDecoupled() && !CanAsk(procedure))
    return forbid("allows this client no questions after a confirmation by");
  if (!HasAccount(order.GetValues())) return tan;
  if (procedure.NeedsChallengeClass()) return forbid("demands a challenge class, of");
  if (procedure.NamesPayingAccount())
    return forbid("demands an account that pays for the messages of");
  if (procedure.NamesOrderAccount()) CopyAccount(order.GetValues(), tan->GetValues());
  return tan;
}

bool TanSteps::Send(std::vector<HbRequest*> requests, HbRequest& order,
                    const std::string& order_code) {
  HbRequest* const tan = NewFirstStep(order, order_code);
  if (tan != nullptr) {
    requests.push_back(tan);
    if (!dialog_.Send(requests)) return false;
    if (Finish(order, *tan)) return true;
  }
  dialog_.TellProblem(order);
  return false;
}

bool TanSteps::Finish(HbRequest& order, HbRequest& tan) {
  const bool elsewhere = HasCode(tan, kConfirmElsewhere) || HasCode(order, kConfirmElsewhere);
  if (!elsewhere && !HasCode(tan, kTanNeeded) && !HasCode(order, kTanNeeded)) return true;
  const HbSegment* const challenge = FindChallenge(order, tan);
  if (challenge == nullptr)
    return report_.Fail(
        Outcome::kWrongAnswer,
        std::string(elsewhere ? "the bank waits for a confirmation" : "the bank wants a TAN") +
            ", but its answer has no HITAN");
  if (TokenOf(*challenge, field::kOrderReference).empty())
    return report_.Fail(Outcome::kWrongAnswer,
                        "the bank's HITAN does not name the order that it is about");
  return elsewhere ? WaitForConfirmation(order, *challenge) : GiveTan(order, tan, *challenge);
}

// Without a return code nobody knows whether the order was carried out.
bool TanSteps::HandOver(HbRequest& order, const HbRequest& step) {
  for (unsigned short i = 0; i < step.ResponseCount(); ++i)
    if (CodeOf(*step.GetResponse(i)) != "HITAN") order.InsertResponse(step.GetResponse(i));
  return FindResponse(step, "HIRMS") != nullptr ||
         report_.Fail(Outcome::kWrongAnswer,
                      "the bank's answer does not say what became of the order");
}

bool TanSteps::GiveTan(HbRequest& order, HbRequest& tan, const HbSegment& challenge) {
  HbRequest* const answer = NewRequest("2", "");
  if (answer == nullptr) return false;
  PutText(answer->GetValues(), TokenOf(challenge, field::kOrderReference), field::kOrderReference);
  answer->GetValues().PutFieldBool(false, field::kMoreTansFollow);
  const TanProcedure procedure = *TanProcedure::Find(user_, access_.security_function);
  std::string label = procedure.Text(field::kProcedureInputText);
  if (label.empty()) label = "TAN";
  const Challenge shown = ReadChallenge(challenge, false);
  surface_.show(shown);
  HbError error;
  std::string ignored;
  const bool given = dialog_.Runner().Run(
      tan, "AskTan", error, ignored, std::string_view(shown.text).substr(0, String::MaxLen),
      std::string_view(label),
      static_cast<short>(procedure.Number(field::kProcedureTanLength, 99)));
  const bool sent = given && dialog_.Send({answer});
  dialog_.ForgetTan();
  if (!given)
    return report_.Fail(Outcome::kNotGiven, "no TAN was given: the order is not carried out");
  return sent && HandOver(order, *answer);
}

bool TanSteps::CanAsk(const TanProcedure& procedure) const {
  return procedure.AllowsAutomaticQuestions() ||
         (procedure.AllowsManualQuestions() && surface_.is_confirmed);
}

bool TanSteps::WaitForConfirmation(HbRequest& order, const HbSegment& challenge) {
  const std::string reference = TokenOf(challenge, field::kOrderReference);
  const TanProcedure procedure = *TanProcedure::Find(user_, access_.security_function);
  const long most = WithinLimit(procedure.Number(field::kProcedureMaxRequests, 20), kMostQuestions);
  long wait = procedure.Number(field::kProcedureWaitFirst, 5);
  surface_.show(ReadChallenge(challenge, true));
  for (long i = 0; i < most; ++i) {
    surface_.wait(std::chrono::seconds(WithinLimit(wait, kLongestWait)));
    if (!procedure.AllowsAutomaticQuestions() && (!CanAsk(procedure) || !surface_.is_confirmed()))
      return report_.Fail(Outcome::kNotConfirmed,
                          "the order was not confirmed; confirmed later, it is still carried out");
    HbRequest* const question = NewRequest("S", "");
    if (question == nullptr) return false;
    PutText(question->GetValues(), reference, field::kOrderReference);
    question->GetValues().PutFieldBool(false, field::kMoreTansFollow);
    if (!dialog_.Send({question})) return false;
    if (!HasCode(*question, kNotYetConfirmed)) return HandOver(order, *question);
    wait = procedure.Number(field::kProcedureWaitNext, 2);
  }
  return report_.Fail(
      Outcome::kNotConfirmed,
      "the order was not confirmed in time; confirmed later, it is still carried out");
}

}  // namespace tmx::demo
