// The orders of a conversation.
#include <algorithm>
#include <string_view>
#include <utility>

#include "demo/host/conversation.h"
#include "demo/host/payment_file.h"
#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

constexpr int kMoreToCome = 3040;
constexpr int kMostPages = 1000;
constexpr unsigned short kFirstInternational = 7;

// MT940 wherever a bank has it, else camt.
struct StatementOrder {
  const char* code;
  unsigned short newest;
  unsigned short oldest;
  bool has_format;  // one of those that the bank offers
};
constexpr StatementOrder kStatementOrders[] = {{"HKKAZ", 7, 5, false}, {"HKCAZ", 1, 1, true}};

// The bank's format of a day's transactions, else its first; empty for a bank that names none.
std::string CamtFormat(const HbSegment& offer) {
  std::string format;
  for (unsigned long at = 0; HasText(offer, field::kCamtFormats + at, format); ++at)
    if (format.find("camt.052") != std::string::npos) return format;
  return TextOf(offer, field::kCamtFormats);
}

// Where the next page begins; empty behind the last. False if there is more, but nothing says
// where.
bool TakeContinuationMark(const HbObject& order, std::string& mark) {
  bool has_more = false;
  mark.clear();
  for (unsigned short i = 0; i < order.ResponseCount(); ++i) {
    const HbSegment& segment = *order.GetResponse(i);
    if (CodeOf(segment) != "HIRMS") continue;
    ForEachCode(segment, [&](short code, unsigned long at) {
      if (code != kMoreToCome) return;
      has_more = true;
      mark = TokenOf(segment, field::kReturnParameter + at);
    });
  }
  return !has_more || !mark.empty();
}

// The account whose fields stand that far from their ids.
BankAccount AccountOf(const HbSegment& segment, unsigned long at) {
  BankAccount account;
  account.number = TextOf(segment, field::kAccountNumber + at);
  account.iban = TextOf(segment, field::kIban + at);
  account.bic = TextOf(segment, field::kBic + at);
  account.subaccount = TextOf(segment, field::kSubaccount + at);
  account.country = NumberOf(segment, field::kCountry + at, account.country);
  account.bank_code = TextOf(segment, field::kBankCode + at);
  return account;
}

// The accounts that the user's parameters name.
std::vector<BankAccount> AccountsOf(const HbUser& user) {
  std::vector<BankAccount> accounts;
  for (unsigned short i = 0; i < user.UPDSegmentCount(); ++i)
    if (const HbSegment& segment = *user.GetUPDSegment(i); CodeOf(segment) == "HIUPD")
      accounts.push_back(AccountOf(segment, 0));
  return accounts;
}

// Whether an order names accounts by their IBANs.
bool IsInternational(std::string_view order, unsigned short version) {
  return order == "HKCAZ" || version >= kFirstInternational;
}

// The accounts that the bank names. A group without one costs no other; there are no fields behind
// the last.
std::vector<BankAccount> AccountsIn(const HbSegment& hispa) {
  constexpr unsigned long kAccountStep = 100;
  constexpr unsigned long kFields[] = {field::kIsSepaAccount, field::kIban,       field::kBic,
                                       field::kAccountNumber, field::kSubaccount, field::kCountry,
                                       field::kBankCode};
  std::vector<BankAccount> accounts;
  for (unsigned long at = 0;; at += kAccountStep) {
    if (std::ranges::all_of(kFields, [&](unsigned long id) { return hispa.IsNull(id + at); }))
      return accounts;
    BankAccount account = AccountOf(hispa, at);
    if (account.number.empty() && account.iban.empty()) continue;
    bool takes = true;
    account.takes_sepa = !hispa.GetFieldBool(takes, field::kIsSepaAccount + at) || takes;
    accounts.push_back(std::move(account));
  }
}

}  // namespace

unsigned short Conversation::VersionFor(const BankAccount& account, const char* order,
                                        unsigned short newest, unsigned short oldest) {
  const unsigned short version = permissions_.VersionOf(order, newest, oldest);
  if (version == 0 || !IsInternational(order, version) || !account.iban.empty() ||
      permissions_.AllowsNationalAccounts())
    return version;
  // Older versions name accounts by their numbers.
  const unsigned short national =
      IsInternational(order, oldest)
          ? 0
          : permissions_.VersionOf(order, kFirstInternational - 1, oldest);
  if (national == 0) permissions_.ForbidNationalAccount(account);
  return national;
}

bool Conversation::IsNameable(const BankAccount& account, const std::string& order,
                              unsigned short version) {
  const bool by_iban = IsInternational(order, version);
  if (by_iban && !account.iban.empty()) return true;
  if (!account.number.empty() && !account.bank_code.empty()) return true;
  return report_.Fail(Outcome::kForbidden,
                      order + " needs an account's " + (by_iban ? "IBAN, or its " : "") +
                          "number and bank code, and " + (IsHbci22() ? "HIUPD" : "HISPA") +
                          " does not name them");
}

bool Conversation::IsNameableInSepa(const BankAccount& account, const std::string& order) {
  if (!account.takes_sepa)
    return report_.Fail(Outcome::kForbidden,
                        "HISPA says that account " + account.number + " takes no SEPA orders");
  return !account.iban.empty() ||
         report_.Fail(Outcome::kForbidden, order + " needs the IBAN of account " + account.number +
                                               ", which HISPA does not name");
}

void Conversation::PutAccount(HbRequest& order, const BankAccount& account) {
  HbSegment& values = order.GetValues();
  PutText(values, account.iban, field::kIban);
  PutText(values, account.bic, field::kBic);
  if (IsInternational(order.GetRequestName().View(), order.GetRequestVersion()) &&
      !account.iban.empty() && !permissions_.AllowsNationalAccounts())
    return;
  PutText(values, account.number, field::kAccountNumber);
  PutText(values, account.subaccount, field::kSubaccount);
  values.PutFieldInt32(account.country, field::kCountry);
  PutText(values, account.bank_code, field::kBankCode);
}

bool Conversation::Accounts(std::vector<BankAccount>& accounts) {
  report_.Begin();
  accounts.clear();
  if (IsHbci22()) {
    accounts = AccountsOf(user_);
    return !accounts.empty() || report_.Fail(Outcome::kWrongAnswer, "HIUPD names no accounts");
  }
  const unsigned short version = permissions_.VersionOf("HKSPA", 1, 1);
  if (version == 0 || !permissions_.IsForPinAndTan("HKSPA")) return false;
  HbRequest& order = dialog_.NewRequest("HKSPA", version);
  if (!SendOrder(order)) return false;
  const HbSegment* const answer = FindResponse(order, "HISPA");
  if (answer == nullptr)
    return report_.Fail(Outcome::kWrongAnswer, "the bank has named no accounts");
  accounts = AccountsIn(*answer);
  return true;
}

bool Conversation::Balance(const BankAccount& account, Ref<HbSegment>& balance) {
  report_.Begin();
  const unsigned short version = VersionFor(account, "HKSAL", 8, IsHbci22() ? 3 : 5);
  if (version == 0 || !permissions_.IsAllowedFor(account, "HKSAL") ||
      !IsNameable(account, "HKSAL", version))
    return false;
  HbRequest& order = dialog_.NewRequest("HKSAL", version);
  PutAccount(order, account);
  order.GetValues().PutFieldBool(false, field::kAllAccounts);
  if (!SendOrder(order)) return false;
  balance = Ref<HbSegment>::Share(FindResponse(order, "HISAL"));
  return balance ? true : report_.Fail(Outcome::kWrongAnswer, "the bank has sent no balance");
}

bool Conversation::TakeFormat(const char* order, unsigned short version, std::string& format) {
  const HbSegment* const offer = user_.GetBPDSegment(order, version, false);
  if (offer != nullptr) format = CamtFormat(*offer);
  return !format.empty() ||
         report_.Fail(Outcome::kForbidden, "HICAZS names no format of statements");
}

HbRequest* Conversation::NewStatementRequest(const BankAccount& account) {
  std::string problems;
  for (const StatementOrder& order : kStatementOrders) {
    const unsigned short version = VersionFor(account, order.code, order.newest, order.oldest);
    std::string format;
    if (version == 0 || !permissions_.IsAllowedFor(account, order.code) ||
        !IsNameable(account, order.code, version) ||
        (order.has_format && !TakeFormat(order.code, version, format))) {
      problems += (problems.empty() ? "" : "; ") + report_.problem;
      continue;
    }
    HbRequest& request = dialog_.NewRequest(order.code, version);
    PutAccount(request, account);
    request.GetValues().PutFieldBool(false, field::kAllAccounts);
    PutText(request.GetValues(), format, field::kCamtFormats);
    report_.Begin();
    return &request;
  }
  report_.problem = problems;
  return nullptr;
}

bool Conversation::Statement(const BankAccount& account, const HbDate& from, const HbDate& to,
                             std::vector<Ref<HbSegment>>& pages) {
  report_.Begin();
  std::string mark;
  for (int page = 0; page < kMostPages; ++page) {
    HbRequest* const order = NewStatementRequest(account);
    if (order == nullptr) return false;
    if (!from.IsNull()) order->GetValues().PutFieldDate(from, field::kFromDate);
    if (!to.IsNull()) order->GetValues().PutFieldDate(to, field::kToDate);
    PutText(order->GetValues(), mark, field::kTouchdown);
    if (!SendOrder(*order)) return false;
    for (unsigned short i = 0; i < order->ResponseCount(); ++i) {
      const std::string code = CodeOf(*order->GetResponse(i));
      if (code == "HIKAZ" || code == "HICAZ")
        pages.push_back(Ref<HbSegment>::Share(order->GetResponse(i)));
    }
    if (!TakeContinuationMark(*order, mark))
      return report_.Fail(Outcome::kWrongAnswer,
                          "the statement is not complete: the bank has more (3040), but does not "
                          "say where it goes on");
    if (mark.empty()) return true;
  }
  return report_.Fail(Outcome::kWrongAnswer, "the bank sends pages without end");
}

bool Conversation::Transfer(const BankAccount& account, const std::string& pain_format,
                            const std::string& pain) {
  report_.Begin();
  if (permissions_.VersionOf("HKCCS", 1, 1) == 0 || !permissions_.IsAllowedFor(account, "HKCCS") ||
      !IsNameableInSepa(account, "HKCCS") || !permissions_.TakesFormat(pain_format) ||
      !permissions_.AreWithinLimits(account, "HKCCS", PaymentsIn(pain)))
    return false;
  HbRequest& order = dialog_.NewRequest("HKCCS", 1);
  PutText(order.GetValues(), account.iban, field::kIban);
  PutText(order.GetValues(), account.bic, field::kBic);
  PutText(order.GetValues(), pain_format, field::kPainFormat);
  order.GetValues().PutFieldBinary(reinterpret_cast<const unsigned char*>(pain.data()), pain.size(),
                                   field::kPainMessage);
  if (SendOrder(order)) {
    if (FindResponse(order, "HIRMS") != nullptr) return true;
    report_.Fail(Outcome::kWrongAnswer, "the bank's answer does not say what became of HKCCS");
  }
  if (report_.outcome == Outcome::kNotConfirmed)
    return report_.Fail(Outcome::kUncertain, std::string(report_.problem));
  if (report_.outcome != Outcome::kNoAnswer && report_.outcome != Outcome::kWrongAnswer)
    return false;
  return report_.Fail(Outcome::kUncertain,
                      report_.problem +
                          "; the transfer may have been carried out: look at the statement before "
                          "it is made again");
}

}  // namespace tmx::demo
