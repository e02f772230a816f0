// What the sandbox bank knows about money: its users, their accounts and what was booked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "demo/day.h"

namespace tmx::demo {

using Cents = std::int64_t;

/// With a comma and no zeros behind it that say nothing: "12,", "12,5", "0,07". Never negative.
std::string AmountText(Cents cents);
/// Digits with at most two behind a point, as XML writes amounts; at most 15 digits.
std::optional<Cents> ParseXmlAmount(std::string_view text);

inline constexpr std::string_view kBankCode = "99900011";
inline constexpr std::string_view kCountry = "280";
inline constexpr std::string_view kBic = "TMXTDE00XXX";
inline constexpr std::string_view kBankName = "Sandkastenbank";

/// The German IBAN of an account, and whether an IBAN's check digits are right.
std::string MakeIban(std::string_view bank_code, std::string_view account);
bool IsValidIban(std::string_view iban);

/// One booking; what leaves the account is negative.
struct Entry {
  Day day;
  Cents cents = 0;
  std::string name;  // of the other side
  std::string iban;  // of the other side
  std::string purpose;
};

struct Account {
  std::string number;
  std::string iban;
  std::string owner;  // the user's id
  std::string owner_name;
  std::string product;
  std::string type;               // as in HIUPD: 1 current, 10 savings
  std::vector<std::string> jobs;  // what its owner may do with it
  Cents opening = 0;              // before the first entry
  Cents credit = 0;
  std::vector<Entry> entries;  // by day

  Cents Balance() const;
  bool Allows(std::string_view job) const;
};

/// Who may use the bank. Wrong PINs in a row are counted by the bank.
struct User {
  std::string id;
  std::string customer;
  std::string name;
  std::string pin;
  std::vector<std::string> functions;  // security functions of the two-step procedures
  int wrong_pins = 0;
};

struct Transfer {
  std::string debtor_iban;
  std::string creditor_name;
  std::string creditor_iban;
  std::string purpose;
  Cents cents = 0;
};

/// The bank's books, made anew with the same content by each constructor. Not for several threads
/// at a time.
class Ledger {
 public:
  /// The newest booking is of the day before `today`; transfers are booked on `today`.
  explicit Ledger(Day today);

  User* FindUser(std::string_view id);
  std::vector<User>& Users() { return users_; }
  const std::vector<Account>& Accounts() const { return accounts_; }
  std::vector<const Account*> AccountsOf(std::string_view user) const;

  const Account* ByIban(std::string_view iban) const;
  const Account* ByNumber(std::string_view number) const;

  /// Why the transfer cannot be made, as the bank says it; nothing if it can.
  std::optional<std::string> Forbids(const Transfer& transfer) const;
  /// Moves the money. Only for a transfer that nothing forbids.
  void Book(const Transfer& transfer);

 private:
  Day today_;
  std::vector<User> users_;
  std::vector<Account> accounts_;
};

}  // namespace tmx::demo
