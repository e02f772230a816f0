#include "demo/bank/ledger.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>

#include "demo/bank/secrets.h"

namespace tmx::demo {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool AreDigits(std::string_view text) { return std::all_of(text.begin(), text.end(), IsDigit); }

std::string Padded(unsigned value, std::size_t width) {
  const std::string digits = std::to_string(value);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

// The remainder by 97 of letters and digits, a letter counting as two digits from 10 on.
unsigned Remainder97(std::string_view text) {
  unsigned rest = 0;
  for (const char c : text) {
    if (IsDigit(c)) {
      rest = (rest * 10 + static_cast<unsigned>(c - '0')) % 97;
    } else {
      rest = (rest * 100 + static_cast<unsigned>(c - 'A') + 10) % 97;
    }
  }
  return rest;
}

// One line of the invented past of an account: how many days ago, and what happened.
struct PastEntry {
  int days_ago;
  Cents cents;
  const char* name;
  const char* purpose;
};

constexpr std::array<PastEntry, 10> kCurrentPast{{
    {58, 285'000, "Muster Werke AG", "Gehalt"},
    {55, -82'050, "Hausverwaltung Beispiel", "Miete Wohnung 7"},
    {49, -4'599,
     "B\xFC"
     "cherstube am Eck",
     "Rechnung 1044"},
    {40, -12'000, "Stadtwerke Musterstadt", "Abschlag Strom + Gas"},
    {33, -1'999, "Tarif: Telefon?", "Kunde 'K-77' @ Netz"},
    {28, 285'000, "Muster Werke AG", "Gehalt"},
    {25, -82'050, "Hausverwaltung Beispiel", "Miete Wohnung 7"},
    {18, -6'340, "Lebensmittel Probe GmbH", "Einkauf 4411 ein etwas laengerer Verwendungszweck"},
    {9, 1'500, "J\xFCrgen Probe", "Danke f\xFCr die Karten"},
    {1, -3'307, "Lebensmittel Probe GmbH", "Einkauf 4502"},
}};
constexpr std::array<PastEntry, 1> kSavingsPast{{{31, 1'250, "Sandkastenbank", "Zinsen"}}};
constexpr std::array<PastEntry, 2> kSecondPast{
    {{30, 210'000, "Beispiel & Partner", "Honorar"}, {12, -9'900, "Verein Probe e.V.", "Beitrag"}}};

template <std::size_t N>
std::vector<Entry> Past(const std::array<PastEntry, N>& rows, Day today) {
  std::vector<Entry> entries;
  for (const PastEntry& row : rows) {
    entries.push_back({today - std::chrono::days{row.days_ago}, row.cents, row.name,
                       MakeIban("99900022", Padded(static_cast<unsigned>(row.days_ago), 4)),
                       row.purpose});
  }
  return entries;
}

Account MakeAccount(std::string number, const User& owner) {
  Account account;
  account.iban = MakeIban(kBankCode, number);
  account.number = std::move(number);
  account.owner = owner.id;
  account.owner_name = owner.name;
  return account;
}

}  // namespace

std::string AmountText(Cents cents) {
  const Cents size = std::abs(cents);
  std::string text = std::to_string(size / 100) + ',';
  if (size % 100 != 0) text += Padded(static_cast<unsigned>(size % 100), 2);
  if (text.back() == '0') text.pop_back();
  return text;
}

std::optional<Cents> ParseXmlAmount(std::string_view text) {
  const std::string_view whole = text.substr(0, text.find('.'));
  std::string_view rest = text.substr(whole.size());
  if (!rest.empty()) rest.remove_prefix(1);
  if (whole.empty() || whole.size() > 13 || rest.size() > 2) return std::nullopt;
  if (text.back() == '.' || !AreDigits(whole) || !AreDigits(rest)) return std::nullopt;
  Cents cents = 0;
  for (const char c : std::string(whole) + std::string(rest) + std::string(2 - rest.size(), '0'))
    cents = cents * 10 + (c - '0');
  return cents;
}

std::string MakeIban(std::string_view bank_code, std::string_view account) {
  std::string bban(bank_code);
  bban += std::string(10 - std::min<std::size_t>(10, account.size()), '0');
  bban += account;
  return "DE" + Padded(98 - Remainder97(bban + "DE00"), 2) + bban;
}

bool IsValidIban(std::string_view iban) {
  if (iban.size() < 15 || iban.size() > 34) return false;
  if (!IsUpper(iban[0]) || !IsUpper(iban[1])) return false;
  if (!std::all_of(iban.begin(), iban.end(), [](char c) { return IsDigit(c) || IsUpper(c); }))
    return false;
  return Remainder97(std::string(iban.substr(4)) + std::string(iban.substr(0, 4))) == 1;
}

Cents Account::Balance() const {
  return std::accumulate(entries.begin(), entries.end(), opening,
                         [](Cents sum, const Entry& entry) { return sum + entry.cents; });
}

bool Account::Allows(std::string_view job) const {
  return std::find(jobs.begin(), jobs.end(), job) != jobs.end();
}

Ledger::Ledger(Day today) : today_(today) {
  users_.push_back({"4711", "4711", "Erika Sandkorn", std::string(kPin), {"910", "946"}});
  users_.push_back({"4712", "K4712", "J\xFCrgen Probe", std::string(kOtherPin), {"946"}});

  Account current = MakeAccount("1000471101", users_[0]);
  current.product = "Girokonto";
  current.type = "1";
  current.jobs = {"HKTAN", "HKTAB", "HKSPA", "HKSAL", "HKKAZ", "HKCAZ", "HKCCS"};
  current.opening = 12'357;
  current.credit = 50'000;
  current.entries = Past(kCurrentPast, today);

  // Money can be looked at here but not sent, so that a client meets a job that UPD forbid.
  Account savings = MakeAccount("1000471102", users_[0]);
  savings.product = "Sparkonto";
  savings.type = "10";
  savings.jobs = {"HKTAN", "HKTAB", "HKSPA", "HKSAL", "HKKAZ"};
  savings.opening = 500'000;
  savings.entries = Past(kSavingsPast, today);

  Account second = MakeAccount("1000471201", users_[1]);
  second.product = "Girokonto";
  second.type = "1";
  second.jobs = current.jobs;
  second.entries = Past(kSecondPast, today);

  accounts_ = {std::move(current), std::move(savings), std::move(second)};
}

User* Ledger::FindUser(std::string_view id) {
  const auto found = std::find_if(users_.begin(), users_.end(),
                                  [id](const User& candidate) { return candidate.id == id; });
  return found == users_.end() ? nullptr : &*found;
}

std::vector<const Account*> Ledger::AccountsOf(std::string_view user) const {
  std::vector<const Account*> found;
  for (const Account& account : accounts_) {
    if (account.owner == user) found.push_back(&account);
  }
  return found;
}

const Account* Ledger::ByIban(std::string_view iban) const {
  const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                  [iban](const Account& account) { return account.iban == iban; });
  return found == accounts_.end() ? nullptr : &*found;
}

const Account* Ledger::ByNumber(std::string_view number) const {
  const auto found =
      std::find_if(accounts_.begin(), accounts_.end(),
                   [number](const Account& account) { return account.number == number; });
  return found == accounts_.end() ? nullptr : &*found;
}

std::optional<std::string> Ledger::Forbids(const Transfer& transfer) const {
  const Account* const from = ByIban(transfer.debtor_iban);
  if (from == nullptr) return "Auftraggeberkonto unbekannt.";
  if (transfer.cents <= 0)
    return "Der Betrag muss gr\xF6\xDF"
           "er als null sein.";
  if (transfer.creditor_name.empty()) return "Der Name des Empf\xE4ngers fehlt.";
  if (!IsValidIban(transfer.creditor_iban)) return "Die IBAN des Empf\xE4ngers ist falsch.";
  if (transfer.creditor_iban == transfer.debtor_iban)
    return "Auftraggeber- und Empf\xE4ngerkonto sind gleich.";
  const bool is_ours =
      transfer.creditor_iban.starts_with("DE") && transfer.creditor_iban.substr(4, 8) == kBankCode;
  if (is_ours && ByIban(transfer.creditor_iban) == nullptr)
    return "Das Konto des Empf\xE4ngers gibt es nicht.";
  if (transfer.cents > from->Balance() + from->credit) return "Die Deckung reicht nicht aus.";
  return std::nullopt;
}

void Ledger::Book(const Transfer& transfer) {
  const Account* const from = ByIban(transfer.debtor_iban);
  for (Account& account : accounts_) {
    if (account.iban == transfer.debtor_iban) {
      account.entries.push_back({today_, -transfer.cents, transfer.creditor_name,
                                 transfer.creditor_iban, transfer.purpose});
    } else if (account.iban == transfer.creditor_iban) {
      account.entries.push_back(
          {today_, transfer.cents, from->owner_name, transfer.debtor_iban, transfer.purpose});
    }
  }
}

}  // namespace tmx::demo
