#include "demo/host/conversation.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "demo/host/parameter_intake.h"
#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr unsigned short kFints30 = 300;
constexpr unsigned short kHbci22 = 220;

ConversationOptions WithDefaults(ConversationOptions options) {
  if (!options.wait)
    options.wait = [](std::chrono::seconds time) { std::this_thread::sleep_for(time); };
  if (!options.show) options.show = [](const Challenge&) {};
  return options;
}

std::string NamesOf(const std::vector<ListedMedium>& media) {
  std::string names;
  for (const ListedMedium& medium : media)
    names += (names.empty() ? "'" : ", '") + medium.name + '\'';
  return names;
}

}  // namespace

Conversation::Conversation(HbJob& job, HbUser& user, HbMacroEngine& engine, Access& access,
                           Exchange exchange, ConversationOptions options)
    : user_(user),
      access_(access),
      options_(WithDefaults(std::move(options))),
      dialog_(job, user, engine, access, std::move(exchange), options_.progress, report_),
      tans_(dialog_, user, access, {options_.show, options_.wait, options_.is_confirmed}, report_),
      permissions_(user, report_) {
  if (!IsHbci22() && user_.GetHbciVersion() != kFints30) user_.SetHbciVersion(kFints30);
}

bool Conversation::IsHbci22() const { return user_.GetHbciVersion() == kHbci22; }

bool Conversation::MustSynchronise() const {
  return access_.system_id == "0" || (!IsHbci22() && access_.allowed_functions.empty());
}

bool Conversation::Open() {
  report_.Begin();
  const bool is_known = !MustSynchronise();
  if (is_known && !ChooseFunction()) return false;
  if ((!is_known || LacksMedium()) &&
      (!OpenDialog(true) || !ChooseFunction() || !ChooseMedium() || !dialog_.End()))
    return false;
  return OpenDialog(false);
}

bool Conversation::LacksMedium() const {
  const auto procedure = TanProcedure::Find(user_, access_.security_function);
  const std::string& wanted = options_.wanted_medium;
  return procedure && procedure->NeedsMedium() &&
         (access_.tan_medium.empty() || (!wanted.empty() && wanted != access_.tan_medium));
}

HbRequest& Conversation::NewIdentity() {
  HbRequest& identity = dialog_.NewRequest("HKIDN", 2);
  HbSegment& values = identity.GetValues();
  values.PutFieldInt32(user_.GetKIKLaenderkennzeichen(), field::kCountry);
  values.PutFieldString(user_.GetKIKKreditsinstitutscode(), field::kBankCode);
  values.PutFieldString(user_.GetKundenId(), field::kCustomerId);
  PutText(values, access_.system_id, field::kSystemId);
  PutText(values, "1", field::kSystemStatus);
  return identity;
}

HbRequest& Conversation::NewPreparation() {
  HbRequest& preparation = dialog_.NewRequest("HKVVB", IsHbci22() ? 2 : 3);
  HbSegment& values = preparation.GetValues();
  const HbSegment* const bank = user_.GetBPDSegment("HIBPA", 0, true);
  const HbSegment* const rights = user_.GetUPDSegment(String());
  values.PutFieldInt32(bank != nullptr ? NumberOf(*bank, field::kBpdVersion) : 0,
                       field::kBpdVersion);
  values.PutFieldInt32(rights != nullptr ? NumberOf(*rights, field::kUpdVersion) : 0,
                       field::kUpdVersion);
  values.PutFieldInt16(0, field::kDialogLanguage);
  const std::string& registered = access_.registration_number;
  PutText(values, registered.empty() ? options_.product : registered, field::kProductName);
  PutText(values, options_.product_version, field::kProductVersion);
  return preparation;
}

bool Conversation::OpenDialog(bool synchronise) {
  dialog_.Begin(synchronise ? kOneStep : access_.security_function);
  HbRequest& identity = NewIdentity();
  std::vector<HbRequest*> requests{&identity, &NewPreparation()};
  if (synchronise) {
    HbRequest& question = dialog_.NewRequest("HKSYN", IsHbci22() ? 2 : 3);
    question.GetValues().PutFieldInt16(0, field::kSyncMode);
    requests.push_back(&question);
  }
  const bool sent = dialog_.SecurityFunction() == kOneStep
                        ? dialog_.Send(requests)
                        : tans_.Send(requests, identity, "HKIDN");
  if (!sent) {
    if (IsRefusedAtOnce()) ForgetWhatTheBankGave();
    return false;
  }
  TakeParameters(*dialog_.Dialog(), user_, access_);
  return !synchronise || TakeSystemId(*requests.back());
}

bool Conversation::IsRefusedAtOnce() const {
  return report_.outcome == Outcome::kRefused && !report_.is_shut &&
         dialog_.Dialog()->MessageCount() == 1;
}

void Conversation::ForgetWhatTheBankGave() {
  access_.system_id = Access().system_id;
  access_.allowed_functions.clear();
}

bool Conversation::TakeSystemId(const HbRequest& synchronisation) {
  const HbSegment* const answer = FindResponse(synchronisation, "HISYN");
  const std::string id = answer != nullptr ? TextOf(*answer, field::kSystemId) : "";
  if (id.empty()) return report_.Fail(Outcome::kWrongAnswer, "the bank has given no system id");
  access_.system_id = id;
  return true;
}

std::string Conversation::ProblemWith(const std::string& function) const {
  if (function == kOneStep) return "";
  const auto procedure = TanProcedure::Find(user_, function);
  if (!procedure)
    return "HITANS of the bank's parameters does not describe the procedure " + function;
  if (procedure->SendsOrderFirst()) return "";
  return "HITANS demands the TAN before the order (process 1) of procedure " + function;
}

bool Conversation::ChooseFunction() {
  const auto& allowed = access_.allowed_functions;
  const auto is_allowed = [&allowed](const std::string& function) {
    return std::ranges::find(allowed, function) != allowed.end();
  };
  std::string chosen = access_.security_function;
  if (!options_.wanted_function.empty()) {
    if (!is_allowed(options_.wanted_function))
      return report_.Fail(Outcome::kForbidden,
                          "the bank does not allow the procedure " + options_.wanted_function);
    chosen = options_.wanted_function;
  }
  if (chosen == kOneStep || !is_allowed(chosen)) {
    const auto has_two_steps = [](const std::string& function) { return function != kOneStep; };
    auto first = std::ranges::find_if(allowed, [&](const std::string& function) {
      return has_two_steps(function) && ProblemWith(function).empty();
    });
    // If none can be used, the problem is that of the first.
    if (first == allowed.end()) first = std::ranges::find_if(allowed, has_two_steps);
    if (first != allowed.end()) chosen = *first;
  }
  if (std::string problem = ProblemWith(chosen); !problem.empty())
    return report_.Fail(Outcome::kForbidden, std::move(problem));
  if (chosen != access_.security_function) access_.tan_medium.clear();  // another's
  access_.security_function = chosen;
  return true;
}

bool Conversation::AskForMedia(std::vector<ListedMedium>& media) {
  media.clear();
  const unsigned short version = permissions_.VersionOf("HKTAB", 5, 4);
  if (version == 0 || !permissions_.IsForPinAndTan("HKTAB")) return false;
  HbRequest& question = dialog_.NewRequest("HKTAB", version);
  PutText(question.GetValues(), "0", field::kMediumKind);
  PutText(question.GetValues(), "A", field::kMediumClassWanted);
  if (!dialog_.Send({&question})) return false;
  if (const HbSegment* const list = FindResponse(question, "HITAB")) media = MediaIn(*list);
  std::erase_if(media, [this](const ListedMedium& medium) {
    return !medium.function.empty() && medium.function != access_.security_function;
  });
  return true;
}

bool Conversation::Media(std::vector<ListedMedium>& media) {
  report_.Begin();
  return AskForMedia(media);
}

// The dialog goes on as it began.
bool Conversation::ChooseMedium() {
  if (!LacksMedium()) return true;
  const std::string& wanted = options_.wanted_medium;
  std::vector<ListedMedium> media;
  if (!AskForMedia(media)) {
    // A bank that offers no list must be told a name all the same.
    if (report_.outcome != Outcome::kForbidden || wanted.empty()) return false;
    report_.Begin();
    access_.tan_medium = wanted;
    return true;
  }
  if (media.empty())
    return report_.Fail(Outcome::kWrongAnswer,
                        "the bank lists no TAN medium, but the procedure needs one");
  const auto found =
      wanted.empty() ? media.begin() : std::ranges::find(media, wanted, &ListedMedium::name);
  if (found == media.end())
    return report_.Fail(Outcome::kForbidden,
                        "the bank lists no TAN medium '" + wanted + "', but " + NamesOf(media));
  access_.tan_medium = found->name;
  return true;
}

bool Conversation::Close() {
  report_.Begin();
  const bool closed = report_.is_shut || !dialog_.IsOpen() || dialog_.End();
  dialog_.ForgetPin();
  return closed;
}

bool Conversation::SendOrder(HbRequest& order) {
  const std::string name(order.GetRequestName().View());
  const bool one_step = dialog_.SecurityFunction() == kOneStep;
  if (one_step && !permissions_.AllowsOneStep(name.c_str())) return false;
  const bool with_tan = !one_step && permissions_.NeedsTan(name.c_str());
  if (!(with_tan ? tans_.Send({&order}, order, name) : dialog_.Send({&order}))) return false;
  if (order.GetStatus() != HbStatusError) return true;
  return report_.Fail(Outcome::kRefused, "the bank has refused " + name);
}

}  // namespace tmx::demo
