#include "demo/segments/layouts.h"

#include <charconv>

namespace tmx::demo {
namespace {

// What stands in many segments.
#define ACCOUNT "AccountNumber:Subaccount:Country:BankCode"
#define OLD_ACCOUNT "AccountNumber:Country:BankCode"
#define SEPA_ACCOUNT "Iban:Bic:" ACCOUNT
#define BALANCE                                                        \
  "+AccountProduct+Currency"                                           \
  "+BookedSign:BookedAmount:BookedCurrency:BookedDate:BookedTime"      \
  "+PendingSign:PendingAmount:PendingCurrency:PendingDate:PendingTime" \
  "+CreditLine:CreditLineCurrency+Available:AvailableCurrency+Used:UsedCurrency"
#define ACCOUNT_OWNER "+Currency+OwnerName+OwnerName2+AccountProduct"
#define ACCOUNT_LIMIT "+LimitType:LimitAmount:LimitCurrency:LimitDays"
#define ALLOWED_JOBS                                                       \
  "+(AllowedJob:AllowedJobSignatures:AllowedJobLimitType:AllowedJobLimit:" \
  "AllowedJobLimitCurrency:AllowedJobLimitDays)*101240"
#define PERIOD "+AllAccounts+FromDate+ToDate+MaxEntries+Touchdown"
#define JOB_PARAMETERS "MaxJobs+MinSignatures"
#define PROCEDURE                                                                              \
  "SecurityFunction:ProcedureProcess:ProcedureId:ProcedureZkaName:ProcedureZkaVersion:"        \
  "ProcedureName:ProcedureTanLength:ProcedureTanFormat:ProcedureInputText:"                    \
  "ProcedureReplyLength:ProcedureManyTans:ProcedureDelay:ProcedureCancel:ProcedureSmsAccount:" \
  "ProcedureOrderAccount:ProcedureChallengeClass:ProcedureStructured:ProcedureInitMode:"       \
  "ProcedureMediumNeeded:ProcedureHhdAnswer:ProcedureActiveMedia"
#define MEDIUM                                                                                 \
  "MediumCard:MediumCardSequence:MediumCardType:MediumAccount:MediumSubaccount:MediumCountry:" \
  "MediumBankCode:MediumValidFrom:MediumValidTo:MediumList:MediumName:MediumSecretPhone:"      \
  "MediumPhone:MediumRest*1"
#define TAN_ORDER "TanProcess+OrderCode+" SEPA_ACCOUNT "+OrderHash+OrderReference"
#define TAN_END                                                                       \
  "+MoreTansFollow+CancelOrder+SmsAccountNumber:SmsSubaccount:SmsCountry:SmsBankCode" \
  "+ChallengeClass+ChallengeParameter*1+TanMedium"
#define RETURN_CODES "(ReturnCode:ReturnElement:ReturnText:ReturnParameter*10)*100130"

constexpr Layout kLayouts[] = {
    // Answers.
    {"HNHBK", 2, 3,
     "MessageSize+StandardVersion+DialogId+MessageNumber+AnsweredDialog:AnsweredMessage"},
    {"HNHBS", 1, 1, "MessageNumber"},
    {"HIRMG", 2, 2, RETURN_CODES},
    {"HIRMS", 2, 2, RETURN_CODES},
    {"HIBPA", 2, 3,
     "BpdVersion+Country:BankCode+BankName+MaxJobKinds+Language*1+StandardVersion*1+"
     "MaxMessageSize+MinTimeout+MaxTimeout"},
    {"HIKOM", 2, 4,
     "Country:BankCode+DefaultLanguage+"
     "(Service:ServiceAddress:ServiceAddress2:ServiceFilter:ServiceFilterVersion)*10"},
    {"HISHV", 2, 3, "MixingAllowed+(Method:MethodVersion*1)*100"},
    {"HIUPA", 2, 4, "UserId+UpdVersion+UpdUsage+UserName+UserData"},
    {"HIUPD", 3, 3, OLD_ACCOUNT "+CustomerId" ACCOUNT_OWNER ACCOUNT_LIMIT ALLOWED_JOBS},
    {"HIUPD", 4, 4, ACCOUNT "+CustomerId" ACCOUNT_OWNER ACCOUNT_LIMIT ALLOWED_JOBS},
    {"HIUPD", 5, 5, ACCOUNT "+CustomerId+AccountType" ACCOUNT_OWNER ACCOUNT_LIMIT ALLOWED_JOBS},
    {"HIUPD", 6, 6,
     ACCOUNT "+Iban+CustomerId+AccountType" ACCOUNT_OWNER ACCOUNT_LIMIT ALLOWED_JOBS
             "x999+AccountData"},
    {"HISYN", 3, 4, "SystemId+MessageNumber+SignatureId+SignatureId2"},
    {"HISAL", 3, 4, OLD_ACCOUNT BALANCE},
    {"HISAL", 5, 5, ACCOUNT BALANCE "+BalanceDate+BalanceTime+DueDate"},
    {"HISAL", 6, 6, ACCOUNT BALANCE "+Overdraft:OverdraftCurrency+BalanceDate:BalanceTime+DueDate"},
    {"HISAL", 7, 8,
     SEPA_ACCOUNT BALANCE "+Overdraft:OverdraftCurrency+BalanceDate:BalanceTime+DueDate"},
    {"HIKAZ", 4, 7, "Statement+PendingStatement"},
    {"HICAZ", 1, 1, SEPA_ACCOUNT "+CamtFormat+Statement*1+PendingStatement"},
    {"HISPA", 1, 3, "(IsSepaAccount:" SEPA_ACCOUNT ")*100"},
    {"HITAN", 4, 5,
     "TanProcess+OrderHash+OrderReference+Challenge+ChallengeHhdUc+ChallengeDate:ChallengeTime+"
     "TanListIndex+TanBeneficiary+TanMedium"},
    {"HITAN", 6, 7,
     "TanProcess+OrderHash+OrderReference+Challenge+ChallengeHhdUc+ChallengeDate:ChallengeTime+"
     "TanMedium"},
    {"HITAB", 4, 4, "TanOption+(MediumClass:MediumStatus:" MEDIUM ")*1000"},
    {"HITAB", 5, 5, "TanOption+(MediumClass:MediumStatus:MediumSecurityFunction:" MEDIUM ")*1000"},
    {"HIPINS", 1, 1,
     JOB_PARAMETERS "+SecurityClass+PinMinLength:PinMaxLength:TanMaxLength:UserIdText:"
                    "CustomerIdText:(TanJob:TanNeeded)*100"},
    {"HITANS", 6, 6,
     JOB_PARAMETERS "+SecurityClass+OneStepAllowed:ManyTansAllowed:HashMethod:(" PROCEDURE
                    ")*1000"},
    {"HITANS", 7, 7,
     JOB_PARAMETERS "+SecurityClass+OneStepAllowed:ManyTansAllowed:HashMethod:(" PROCEDURE
                    ":ProcedureMaxRequests:ProcedureWaitFirst:ProcedureWaitNext:ProcedureManual:"
                    "ProcedureAutomatic)*1000"},
    {"HISALS", 3, 5, JOB_PARAMETERS},
    {"HISALS", 6, 8, JOB_PARAMETERS "+SecurityClass"},
    {"HIKAZS", 5, 5, JOB_PARAMETERS "+StorageDays:MaxEntriesAllowed:AllAccountsAllowed"},
    {"HIKAZS", 6, 7,
     JOB_PARAMETERS "+SecurityClass+StorageDays:MaxEntriesAllowed:AllAccountsAllowed"},
    {"HICAZS", 1, 1,
     JOB_PARAMETERS
     "+SecurityClass+StorageDays:MaxEntriesAllowed:AllAccountsAllowed:CamtFormats*1"},
    {"HISPAS", 1, 1,
     JOB_PARAMETERS "+SecurityClass+SingleAccountAllowed:NationalAccountAllowed:"
                    "StructuredPurposeAllowed:SepaFormat*1"},
    {"HICCSS", 1, 1, JOB_PARAMETERS "+SecurityClass"},
    {"HITABS", 2, 5, JOB_PARAMETERS "+SecurityClass"},
    // Requests.
    {"HKIDN", 2, 2, "Country:BankCode+CustomerId+SystemId+SystemStatus"},
    {"HKVVB", 2, 3, "BpdVersion+UpdVersion+DialogLanguage+ProductName+ProductVersion"},
    {"HKSYN", 2, 3, "SyncMode"},
    {"HKEND", 1, 1, "DialogId"},
    {"HKSPA", 1, 1, "(" ACCOUNT ")*100"},
    {"HKSAL", 3, 4, OLD_ACCOUNT "+AllAccounts+Currency+MaxEntries+Touchdown"},
    {"HKSAL", 5, 6, ACCOUNT "+AllAccounts+MaxEntries+Touchdown"},
    {"HKSAL", 7, 8, SEPA_ACCOUNT "+AllAccounts+MaxEntries+Touchdown"},
    {"HKKAZ", 5, 6, ACCOUNT PERIOD},
    {"HKKAZ", 7, 7, SEPA_ACCOUNT PERIOD},
    {"HKCAZ", 1, 1, SEPA_ACCOUNT "+CamtFormats*1" PERIOD},
    {"HKCCS", 1, 1, SEPA_ACCOUNT "+PainFormat+PainMessage"},
    {"HKTAB", 4, 5, "MediumKind+MediumClassWanted"},
    {"HKTAN", 5, 5, TAN_ORDER "+TanListIndex" TAN_END},
    {"HKTAN", 6, 7, TAN_ORDER TAN_END "+HhdUcAnswer"},
};

// Reads a layout from left to right.
class LayoutParser {
 public:
  LayoutParser(std::string_view text, std::vector<Element>& elements)
      : rest_(text), elements_(elements) {}

  std::string Run() {
    do {
      if (!elements_.empty() && elements_.back().step != 0 && elements_.back().most == 0)
        return "elements behind a repetition";
      if (!TakeElement()) return problem_;
    } while (Take('+'));
    return rest_.empty() ? "" : "unexpected '" + std::string(rest_) + "'";
  }

 private:
  bool Fail(std::string problem) {
    problem_ = std::move(problem);
    return false;
  }

  bool Take(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool TakeNumber(std::uint32_t& number, const char* what) {
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc() || number == 0) return Fail(std::string(what) + " is missing");
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return true;
  }

  bool TakePart(std::vector<Part>& parts) {
    const std::string_view name = rest_.substr(0, rest_.find_first_of("+:()*"));
    Part part{FindField(name)};
    if (part.field == nullptr) return Fail("unknown field '" + std::string(name) + "'");
    rest_.remove_prefix(name.size());
    if (Take('*') && !TakeNumber(part.step, "a step")) return false;
    parts.push_back(part);
    return true;
  }

  bool TakeParts(std::vector<Part>& parts) {
    do {
      if (!parts.empty() && parts.back().step != 0) return Fail("parts behind a repetition");
      if (!TakePart(parts)) return false;
    } while (!rest_.starts_with(":(") && Take(':'));
    return true;
  }

  // "(" parts ")*" step
  bool TakeRepeated(std::vector<Part>& parts, std::uint32_t& step) {
    if (!TakeParts(parts)) return false;
    if (!Take(')') || !Take('*')) return Fail("')*' is missing");
    return TakeNumber(step, "a step");
  }

  bool TakeElement() {
    Element& element = elements_.emplace_back();
    if (Take('(')) {
      return TakeRepeated(element.parts, element.step) &&
             (!Take('x') || TakeNumber(element.most, "a count"));
    }
    if (!TakeParts(element.parts)) return false;
    if (!rest_.starts_with(":(")) return true;
    rest_.remove_prefix(2);
    return TakeRepeated(element.again, element.again_step);
  }

  std::string_view rest_;
  std::vector<Element>& elements_;
  std::string problem_;
};

}  // namespace

std::span<const Layout> AllLayouts() { return kLayouts; }

std::string ParseLayout(std::string_view text, std::vector<Element>& elements) {
  elements.clear();
  return LayoutParser(text, elements).Run();
}

}  // namespace tmx::demo
