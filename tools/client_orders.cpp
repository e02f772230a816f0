#include "tools/client_orders.h"

#include <stdio_ext.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

#include "demo/day.h"
#include "demo/host/payment_writer.h"
#include "demo/host/segment_values.h"
#include "tools/command.h"
#include "tools/output.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

namespace field = demo::field;

using demo::BankAccount;
using demo::Conversation;
using demo::StoredUser;
using demo::TextOf;
using Json = nlohmann::ordered_json;

void Print(const ClientOptions& options, const Json& json, const std::string& table) {
  if (options.json)
    std::printf("%s\n", json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else
    std::fputs(table.c_str(), stdout);
}

// Amounts are written "12,5" or "12,"; people read two decimals.
std::string WithTwoDecimals(std::string amount) {
  const std::size_t comma = std::min(amount.find(','), amount.size());
  if (comma == amount.size()) amount += ',';
  while (amount.size() < comma + 3) amount += '0';
  return amount;
}

// ---- init -------------------------------------------------------------------------------------

Json AccountsInParameters(const HbUser& user, std::string& table) {
  Json accounts = Json::array();
  for (unsigned short i = 0; i < user.UPDSegmentCount(); ++i) {
    const HbSegment& account = *user.GetUPDSegment(i);
    if (demo::CodeOf(account) != "HIUPD") continue;
    const std::string iban = TextOf(account, field::kIban);
    const std::string number = TextOf(account, field::kAccountNumber);
    const std::string product = TextOf(account, field::kAccountProduct);
    accounts.push_back(
        {{"iban", Utf8(iban)}, {"number", Utf8(number)}, {"product", Utf8(product)}});
    table += ForOutput("account      " + (iban.empty() ? number : iban) + "  " + product) + '\n';
  }
  return accounts;
}

Json Procedures(const StoredUser& stored, std::string& table) {
  Json procedures = Json::array();
  for (const std::string& function : stored.access.allowed_functions) {
    const auto procedure = demo::TanProcedure::Find(stored.user, function);
    const std::string name = procedure ? procedure->Text(field::kProcedureName) : "";
    const bool is_chosen = function == stored.access.security_function;
    const std::string medium = is_chosen ? stored.access.tan_medium : "";
    procedures.push_back({{"function", Utf8(function)},
                          {"name", Utf8(name)},
                          {"chosen", is_chosen},
                          {"medium", Utf8(medium)}});
    table += ForOutput("procedure    " + function + "  " + name + (is_chosen ? ", chosen" : "") +
                       (medium.empty() ? "" : ", medium " + medium)) +
             '\n';
  }
  return procedures;
}

// The media of the chosen procedure; none where it needs none or the bank offers no list.
bool Media(Conversation& conversation, const StoredUser& stored, Json& listed, std::string& table) {
  const auto procedure = demo::TanProcedure::Find(stored.user, stored.access.security_function);
  std::vector<demo::ListedMedium> media;
  if (procedure && procedure->NeedsMedium() && !conversation.Media(media) &&
      conversation.LastOutcome() != demo::Outcome::kForbidden)
    return false;
  for (const demo::ListedMedium& medium : media) {
    const bool is_chosen = medium.name == stored.access.tan_medium;
    listed.push_back(
        {{"name", Utf8(medium.name)}, {"kind", Utf8(medium.kind)}, {"chosen", is_chosen}});
    table += ForOutput("medium       " + medium.name + (is_chosen ? ", chosen" : "")) + '\n';
  }
  return true;
}

}  // namespace

int ShowAccess(const ClientOptions& options, Conversation& conversation, const StoredUser& stored) {
  const HbSegment* const bank = stored.user.GetBPDSegment("HIBPA", 0, true);
  const HbSegment* const rights = stored.user.GetUPDSegment(String());
  const std::string name = bank != nullptr ? TextOf(*bank, field::kBankName) : "";
  const long bpd = bank != nullptr ? demo::NumberOf(*bank, field::kBpdVersion) : 0;
  const long upd = rights != nullptr ? demo::NumberOf(*rights, field::kUpdVersion) : 0;
  std::string user = rights != nullptr ? TextOf(*rights, field::kUserName) : "";
  if (user.empty()) user = stored.user.GetBenutzerkennung().View();
  std::string table =
      ForOutput("bank         " + name + "\nBPD version  " + std::to_string(bpd) +
                "\nUPD version  " + std::to_string(upd) + "\nuser         " + user) +
      '\n';
  const Json accounts = AccountsInParameters(stored.user, table);
  const Json procedures = Procedures(stored, table);
  Json media = Json::array();
  if (!Media(conversation, stored, media, table)) return Client::kFailed;
  Json texts = Json::array();
  for (const std::string& text : conversation.BankTexts()) {
    texts.push_back(Utf8(text));
    table += ForOutput("said         " + text) + '\n';
  }
  Print(options,
        Json{{"bank", Utf8(name)},
             {"bpd_version", bpd},
             {"upd_version", upd},
             {"user", Utf8(user)},
             {"accounts", accounts},
             {"procedures", procedures},
             {"media", media},
             {"said", texts}},
        table);
  return kDone;
}

int ListAccounts(const ClientOptions& options, Conversation& conversation, const StoredUser&) {
  std::vector<BankAccount> accounts;
  if (!conversation.Accounts(accounts)) return Client::kFailed;
  Json json = Json::array();
  std::string table;
  for (const BankAccount& account : accounts) {
    json.push_back({{"iban", Utf8(account.iban)},
                    {"bic", Utf8(account.bic)},
                    {"number", Utf8(account.number)},
                    {"bank_code", Utf8(account.bank_code)}});
    std::string line = account.number;
    for (const std::string* part : {&account.bic, &account.iban})
      if (!part->empty()) line = *part + "  " + line;
    table += ForOutput(line) + '\n';
  }
  Print(options, json, table);
  return kDone;
}

namespace {

// The accounts that are meant: the one that was named, or all. Gives an exit code.
int ChooseAccounts(const ClientOptions& options, Conversation& conversation,
                   std::vector<BankAccount>& chosen) {
  std::vector<BankAccount> accounts;
  if (!conversation.Accounts(accounts)) return Client::kFailed;
  for (BankAccount& account : accounts)
    if (options.account.empty() || account.iban == options.account ||
        account.number == options.account)
      chosen.push_back(std::move(account));
  return chosen.empty() ? Complain("the bank names no account " + options.account, kFindings)
                        : kDone;
}

std::string NameOf(const BankAccount& account) {
  return account.iban.empty() ? account.number : account.iban;
}

// Whether the dialog goes on after a failure.
bool GoesOn(const Conversation& conversation) {
  return !conversation.IsRefused() && (conversation.LastOutcome() == demo::Outcome::kRefused ||
                                       conversation.LastOutcome() == demo::Outcome::kForbidden);
}

// Asks for something of each account that is meant, which adds to its JSON. What fails for one
// costs that one only, or those that follow, too, where nothing more can be asked.
template <class Ask>
int AskForEach(const ClientOptions& options, Conversation& conversation, Json& json, Ask ask) {
  std::vector<BankAccount> accounts;
  if (const int code = ChooseAccounts(options, conversation, accounts); code != kDone) return code;
  int exit_code = kDone;
  bool goes_on = true;
  for (const BankAccount& account : accounts) {
    Json& answer =
        json.emplace_back(Json{{"iban", Utf8(account.iban)}, {"number", Utf8(account.number)}});
    if (goes_on && ask(account, answer)) continue;
    const std::string problem =
        goes_on ? conversation.Problem() : "not asked for after what went wrong before";
    answer["error"] = Utf8(problem);
    exit_code = std::max(exit_code, CodeOf(conversation.LastOutcome()));
    Complain(ForOutput(NameOf(account) + ": " + problem), exit_code);
    goes_on = goes_on && GoesOn(conversation);
  }
  return exit_code;
}

std::string BytesOf(const HbBinaryVariable& variable) {
  return std::string(reinterpret_cast<const char*>(variable.GetData()), variable.GetLength());
}

}  // namespace

int ShowBalances(const ClientOptions& options, Conversation& conversation, const StoredUser&) {
  Json json = Json::array();
  std::string table;
  const int code =
      AskForEach(options, conversation, json, [&](const BankAccount& account, Json& answer) {
        Ref<HbSegment> balance;
        if (!conversation.Balance(account, balance)) return false;
        const std::string amount = (TextOf(*balance, field::kBookedSign) == "D" ? "-" : "") +
                                   WithTwoDecimals(TextOf(*balance, field::kBookedAmount));
        const std::string currency = TextOf(*balance, field::kBookedCurrency);
        answer["booked"] = Utf8(amount);
        answer["currency"] = Utf8(currency);
        table += ForOutput(NameOf(account) + "  " + amount + ' ' + currency) + '\n';
        return true;
      });
  if (!json.empty()) Print(options, json, table);
  return code;
}

namespace {

// The statements on a page, in UTF-8, and in `table` as they are shown. XML is UTF-8 already; a
// page of it may hold a document for each day.
void AddPage(const HbSegment& page, Json& texts, std::string& table) {
  const bool is_xml = demo::CodeOf(page) == "HICAZ";
  for (unsigned long at = 0; const auto* booked = page.GetBinaryVar(field::kStatement + at); ++at) {
    const std::string text = BytesOf(*booked);
    texts.push_back(is_xml ? text : Utf8(text));
    table += is_xml ? text + '\n' : ForOutput(text);
  }
}

// A day that was checked; the null date for an empty text.
HbDate DateOf(const std::string& day) { return day.empty() ? HbDate() : HbDate(std::stoul(day)); }

}  // namespace

int PrintStatements(const ClientOptions& options, Conversation& conversation, const StoredUser&) {
  const HbDate from = DateOf(options.from);
  const HbDate to = DateOf(options.to);
  Json json = Json::array();
  std::string table;
  const int code =
      AskForEach(options, conversation, json, [&](const BankAccount& account, Json& answer) {
        std::vector<Ref<HbSegment>> pages;
        if (!conversation.Statement(account, from, to, pages)) return false;
        Json& texts = answer["pages"] = Json::array();
        for (const Ref<HbSegment>& page : pages) AddPage(*page, texts, table);
        if (texts.empty()) table += ForOutput(NameOf(account) + "  no bookings") + '\n';
        return true;
      });
  if (!json.empty()) Print(options, json, table);
  return code;
}

// ---- transfer ---------------------------------------------------------------------------------

std::string PaymentAmount(const std::string& text) {
  const std::size_t point = std::min(text.find_first_of(".,"), text.size());
  const std::string whole = text.substr(0, point);
  const std::string cents = point < text.size() ? text.substr(point + 1) : "0";
  const auto are_digits = [](const std::string& digits) {
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos;
  };
  if (!are_digits(whole) || !are_digits(cents) || whole.size() > 9 || cents.size() > 2) return "";
  return whole + '.' + cents + (cents.size() == 1 ? "0" : "");
}

namespace {

// As the bank names him, else by his id.
std::string OwnerOf(const BankAccount& account, const StoredUser& stored) {
  for (unsigned short i = 0; i < stored.user.UPDSegmentCount(); ++i) {
    const HbSegment& known = *stored.user.GetUPDSegment(i);
    const std::string name = TextOf(known, field::kOwnerName) + TextOf(known, field::kOwnerName2);
    if (demo::CodeOf(known) == "HIUPD" && !name.empty() &&
        TextOf(known, field::kAccountNumber) == account.number)
      return name;
  }
  const HbSegment* const rights = stored.user.GetUPDSegment(String());
  const std::string name = rights != nullptr ? TextOf(*rights, field::kUserName) : "";
  return name.empty() ? std::string(stored.user.GetBenutzerkennung().View()) : name;
}

demo::Payment PaymentOf(const ClientOptions& options, const BankAccount& from,
                        const StoredUser& stored) {
  return {Utf8(OwnerOf(from, stored)), from.iban,    from.bic,
          AsUtf8(options.name),        options.iban, PaymentAmount(options.amount),
          AsUtf8(options.purpose)};
}

// Who reads an exit code must not pay again because his disk is full.
void DropWhatCannotBePrinted() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
  __fpurge(stdout);
  std::clearerr(stdout);
  Complain("standard output: cannot be written, but the bank has taken the transfer", kDone);
}

}  // namespace

int MakeTransfer(const ClientOptions& options, Conversation& conversation,
                 const StoredUser& stored) {
  std::vector<BankAccount> accounts;
  if (const int code = ChooseAccounts(options, conversation, accounts); code != kDone) return code;
  const std::string format = options.pain_format.empty() ? demo::kPain00103 : options.pain_format;
  const std::string pain = options.pain.empty()
                               ? demo::PainOf(PaymentOf(options, accounts[0], stored), format)
                               : options.payment;
  if (pain.empty()) return Complain("there are no random bytes for the payment's id", kFindings);
  if (conversation.Transfer(accounts[0], format, pain)) {
    Print(options, Json{{"transferred", true}}, "The bank has taken the transfer.\n");
    DropWhatCannotBePrinted();
    return kDone;
  }
  if (conversation.LastOutcome() == demo::Outcome::kUncertain)
    Print(options, Json{{"transferred", nullptr}}, "");
  return Client::kFailed;
}

}  // namespace tmx::tools
