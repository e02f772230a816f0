#include "demo/bank/ledger.h"

#include <gtest/gtest.h>

namespace tmx::demo {
namespace {

using std::chrono::January;
using std::chrono::year;

constexpr Day kToday = year(2026) / January / 15;

TEST(Ledger, DaysAreOfTheCalendar) {
  EXPECT_EQ(DayText(kToday), "20260115");
  EXPECT_EQ(ParseDay("20260115"), kToday);
  EXPECT_TRUE(ParseDay("20240229"));
  for (const char* const text :
       {"", "2026011", "202601155", "20260229", "20261301", "20260100", "2026011x"})
    EXPECT_EQ(ParseDay(text), std::nullopt) << text;
}

TEST(Ledger, AmountsHaveACommaAndNoZerosAtTheEnd) {
  const std::pair<Cents, const char*> rows[] = {{0, "0,"},    {1, "0,01"},    {10, "0,1"},
                                                {100, "1,"},  {1250, "12,5"}, {-1234, "12,34"},
                                                {1000, "10,"}};
  for (const auto& [cents, text] : rows) EXPECT_EQ(AmountText(cents), text);
}

TEST(Ledger, AmountsInXmlHaveAPoint) {
  const std::pair<const char*, Cents> rows[] = {{"0", 0},
                                                {"12", 1200},
                                                {"12.3", 1230},
                                                {"12.34", 1234},
                                                {"9999999999999.99", 999'999'999'999'999}};
  for (const auto& [text, cents] : rows) EXPECT_EQ(ParseXmlAmount(text), cents) << text;
  for (const char* const text :
       {"", ".", "1.", ".5", "1.234", "1,5", "-1", "1.x", "x", "99999999999999"})
    EXPECT_EQ(ParseXmlAmount(text), std::nullopt) << text;
}

TEST(Ledger, IbansHaveCheckDigits) {
  // The example that the standard of IBANs gives for Germany.
  EXPECT_EQ(MakeIban("37040044", "532013000"), "DE89370400440532013000");
  EXPECT_TRUE(IsValidIban("DE89370400440532013000"));
  EXPECT_TRUE(IsValidIban("GB82WEST12345698765432"));
  for (const char* const iban :
       {"", "DE88370400440532013000", "de89370400440532013000", "DE8937040044",
        "D189370400440532013000", "DE89 3704 0044 0532 0130 00"})
    EXPECT_FALSE(IsValidIban(iban)) << iban;
  EXPECT_FALSE(IsValidIban(std::string(35, 'A')));
}

TEST(Ledger, MoneyIsNeitherMadeNorLost) {
  Ledger ledger(kToday);
  const auto total = [&ledger] {
    Cents sum = 0;
    for (const Account& account : ledger.Accounts()) sum += account.Balance();
    return sum;
  };
  const Cents before = total();
  Transfer transfer;
  transfer.debtor_iban = ledger.ByNumber("1000471101")->iban;
  transfer.creditor_iban = ledger.ByNumber("1000471201")->iban;
  transfer.creditor_name = "x";
  transfer.cents = 777;
  ASSERT_EQ(ledger.Forbids(transfer), std::nullopt);
  ledger.Book(transfer);
  EXPECT_EQ(total(), before);
  transfer.debtor_iban = "DE0";
  EXPECT_EQ(ledger.Forbids(transfer), "Auftraggeberkonto unbekannt.");
}

TEST(Ledger, BookingsStandInTheOrderOfTheirDays) {
  const Ledger ledger(kToday);
  for (const Account& account : ledger.Accounts()) {
    EXPECT_TRUE(std::is_sorted(account.entries.begin(), account.entries.end(),
                               [](const Entry& a, const Entry& b) { return a.day < b.day; }));
  }
}

}  // namespace
}  // namespace tmx::demo
