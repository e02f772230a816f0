// Accounts, balances, statements, media and transfers, as whole dialogs.
#include <gmock/gmock.h>

#include "tests/demo/bank_client.h"

namespace tmx::demo {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kIban = MakeIban("99900011", "1000471101");
const std::string kSavingsIban = MakeIban("99900011", "1000471102");
const std::string kOtherIban = MakeIban("99900011", "1000471201");
constexpr const char* kAccount = "1000471101::280:99900011";

// The format's name as it stands in a segment.
std::string Escaped(std::string_view text) {
  std::string out;
  for (const char c : text) out += c == ':' ? "?:" : std::string(1, c);
  return out;
}

const std::string kCamt = Escaped("urn:iso:std:iso:20022:tech:xsd:camt.052.001.02");
constexpr const char* kPain = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";

struct Payment {
  std::string from = kIban;
  std::string to = kOtherIban;
  std::string name = "J\xC3\xBCrgen &amp; Co";
  std::string amount = "12.34";
  std::string currency = "EUR";
  std::string purpose = "Miete &lt;7&gt;";
  std::string sum = "12.34";
  std::string count = "1";
  std::string schema = kPain;
};

std::string PaymentFile(const Payment& payment) {
  return "<?xml version=\"1.0\"?><!-- a -->\n<p:Document xmlns:p=\"" + payment.schema +
         "\"><p:CstmrCdtTrfInitn><GrpHdr><NbOfTxs>" + payment.count + "</NbOfTxs><CtrlSum>" +
         payment.sum + "</CtrlSum></GrpHdr><PmtInf><DbtrAcct><Id><IBAN>" + payment.from +
         "</IBAN></Id></DbtrAcct>\n<CdtTrfTxInf><Amt><InstdAmt Ccy=\"" + payment.currency + "\"> " +
         payment.amount + "\n</InstdAmt></Amt><Cdtr><Nm>" + payment.name +
         "</Nm></Cdtr><CdtrAcct><Id><IBAN>" + payment.to +
         "</IBAN></Id></CdtrAcct><RmtInf><Ustrd>" + payment.purpose +
         "</Ustrd></RmtInf><Leer/></CdtTrfTxInf></PmtInf></p:CstmrCdtTrfInitn></p:Document>";
}

std::string TransferOrder(const std::string& file, const std::string& account = kIban,
                          const std::string& format = Escaped(kPain)) {
  return "HKCCS:#:1+" + account + "+" + format + "+@" + std::to_string(file.size()) + "@" + file +
         "'";
}

class BankOrders : public testing::Test {
 protected:
  void SetUp() override {
    client_.GetSystemId();
    client_.bpd = 12;
    client_.upd = 3;
    client_.Begin();
  }

  // The user with the app instead of the cards.
  void BeginDecoupled() {
    client_.End();
    client_.function = "946";
    EXPECT_EQ(client_.Begin().Codes(), "3060 0020@3 0020@4 3920@4 3076@5");
  }

  std::string Refusal(const BankAnswer& answer) {
    EXPECT_THAT(answer.Codes(), StartsWith("9050 "));
    return answer.First("HIRMS").At(0, 2);
  }

  Cents BalanceOf(const std::string& iban) const { return bank_.Books().ByIban(iban)->Balance(); }

  SandboxBank bank_;
  BankClient client_{bank_};
};

TEST_F(BankOrders, AccountsAreListed) {
  const BankAnswer answer = client_.Send("HKSPA:#:1'");
  EXPECT_EQ(answer.Text("HISPA"), "HISPA+J:" + kIban + ":TMXTDE00XXX:1000471101::280:99900011+J:" +
                                      kSavingsIban + ":TMXTDE00XXX:1000471102::280:99900011'\n");
  const BankAnswer one = client_.Send("HKSPA:#:1+1000471102::280:99900011'");
  EXPECT_EQ(one.Text("HISPA"),
            "HISPA+J:" + kSavingsIban + ":TMXTDE00XXX:1000471102::280:99900011'\n");
  EXPECT_EQ(client_.Send("HKSPA:#:1+1000471201::280:99900011'").Codes(), "9050 9010@3");
}

TEST_F(BankOrders, EveryVersionOfTheBalanceNamesTheAccountItsOwnWay) {
  const std::string balance =
      "+Girokonto+EUR+C:3915,12:EUR:20260115:120000++500,:EUR+4415,12:EUR'\n";
  for (const char* const version : {"5", "6"}) {
    const BankAnswer answer =
        client_.Send(std::string("HKSAL:#:") + version + "+" + kAccount + "+N'");
    EXPECT_EQ(answer.Text("HISAL"), std::string("HISAL+") + kAccount + balance);
    EXPECT_EQ(std::to_string(answer.First("HISAL").version), version);
  }
  for (const char* const version : {"7", "8"}) {
    for (const std::string& account : {kIban, "::" + std::string(kAccount)}) {
      const BankAnswer answer =
          client_.Send(std::string("HKSAL:#:") + version + "+" + account + "+N'");
      EXPECT_EQ(answer.Text("HISAL"), "HISAL+" + kIban + ":TMXTDE00XXX:" + kAccount + balance);
    }
  }
}

TEST_F(BankOrders, AllAccountsHaveABalanceEach) {
  const BankAnswer answer = client_.Send("HKSAL:#:7+" + kIban + "+J'");
  EXPECT_THAT(answer.Text("HISAL"), HasSubstr("Girokonto+EUR+C:3915,12:EUR"));
  EXPECT_THAT(answer.Text("HISAL"), HasSubstr("Sparkonto+EUR+C:5012,5:EUR"));
}

TEST_F(BankOrders, ForeignAndUnknownAccountsAreRefused) {
  for (const std::string& account :
       {kOtherIban, MakeIban("99900022", "1"), std::string("::1000471101::280:99900022"),
        std::string("::1000471101::0:99900011"), std::string("::1::280:99900011"), std::string()}) {
    EXPECT_EQ(Refusal(client_.Send("HKSAL:#:7+" + account + "+N'")), "Das Konto ist unbekannt.");
  }
  EXPECT_EQ(client_.Send("HKSAL:#:7+" + kIban + "+X'").Codes(), "9050 9010@3");
}

TEST_F(BankOrders, SeveralOrdersInAMessageAreAnsweredEach) {
  const BankAnswer answer =
      client_.Send("HKSAL:#:7+" + kIban + "+N'HKXYZ:#:1'HKSPA:#:1'HKSAL:#:4+1'");
  EXPECT_EQ(answer.Codes(), "9050 0020@3 9110@4 0020@5 9110@6");
  EXPECT_EQ(answer.First("HISAL").reference, 3);
  EXPECT_EQ(answer.First("HISPA").reference, 5);
}

TEST_F(BankOrders, AStatementComesInPages) {
  const std::string order = "HKKAZ:#:7+" + kIban + "+N";
  const BankAnswer first = client_.Send(order + "'");
  EXPECT_EQ(first.Codes(), "3060 0020@3 3040@3");
  EXPECT_EQ(first.First("HIRMS").At(1, 3), "S:1000471101+4");
  const std::string page = first.First("HIKAZ").At(0);
  EXPECT_TRUE(first.First("HIKAZ").Find(0)->is_binary);
  EXPECT_THAT(page, StartsWith(":20:STARTUMS\r\n:25:99900011/1000471101\r\n:28C:00001/001\r\n"
                               ":60F:C251118EUR123,57\r\n:61:2511181118CR2850,00NTRFNONREF\r\n"
                               ":86:166?00GUTSCHRIFT?20SVWZ+Gehalt?31"));
  EXPECT_THAT(page, EndsWith(":62M:C251206EUR1987,08\r\n-\r\n"));
  EXPECT_THAT(page, HasSubstr("B\xFC"
                              "cherstube"));

  const BankAnswer second = client_.Send(order + "++++S?:1000471101?+4'");
  EXPECT_EQ(second.Codes(), "3060 0020@3 3040@3");
  EXPECT_THAT(second.First("HIKAZ").At(0), HasSubstr(":28C:00001/002\r\n:60M:"));
  EXPECT_THAT(second.First("HIKAZ").At(0), HasSubstr("?32Tarif: Telefon "));
  const BankAnswer third = client_.Send(order + "++++S?:1000471101?+8'");
  EXPECT_EQ(third.Codes(), "0010 0020@3");
  EXPECT_THAT(third.First("HIKAZ").At(0), EndsWith(":62F:C260114EUR3915,12\r\n-\r\n"));
}

TEST_F(BankOrders, LinesOfAStatementAreNeverLongerThan65) {
  const std::string page =
      client_.Send("HKKAZ:#:7+" + kIban + "+N++++S?:1000471101?+4'").First("HIKAZ").At(0);
  for (std::size_t at = 0; at < page.size();) {
    const auto end = page.find("\r\n", at);
    ASSERT_NE(end, std::string::npos);
    const std::string line = page.substr(at, end - at);
    // The tag of a field counts for itself.
    EXPECT_LE(line.size(), line.starts_with(':') ? 69U : 65U) << line;
    at = end + 2;
  }
}

TEST_F(BankOrders, DaysAndTheNumberOfEntriesBoundAStatement) {
  const std::string order = "HKKAZ:#:5+" + std::string(kAccount) + "+N+";
  const BankAnswer days = client_.Send(order + "20251206+20251218'");
  EXPECT_EQ(days.Codes(), "0010 0020@3");
  EXPECT_THAT(days.First("HIKAZ").At(0), HasSubstr(":61:2512061206DR120,00"));
  EXPECT_THAT(days.First("HIKAZ").At(0), HasSubstr(":61:2512181218CR2850,00"));
  EXPECT_THAT(days.First("HIKAZ").At(0), Not(HasSubstr(":61:251127")));
  const BankAnswer few = client_.Send(order + "++1'");
  EXPECT_EQ(few.First("HIRMS").At(1, 3), "S:1000471101+1");
  EXPECT_EQ(client_.Send(order + "++9999'").First("HIRMS").At(1, 3), "S:1000471101+4");
  const BankAnswer none = client_.Send(order + "20260115+20260115'");
  EXPECT_EQ(none.Codes(), "3060 3010@3");
  EXPECT_FALSE(none.Has("HIKAZ"));
  // Older bookings than the bank keeps are none.
  EXPECT_EQ(client_.Send(order + "20000101+20000102'").Codes(), "3060 3010@3");
}

TEST_F(BankOrders, WrongElementsOfAStatementAreRefused) {
  const std::string order = "HKKAZ:#:7+" + kIban + "+";
  for (const char* const rest :
       {"J", "N+20260230", "N++2026011", "N+20260102+20260101", "N+++0", "N+++x", "N++++X",
        "N++++S?:1000471101?+10", "N++++S?:1000471101?+0", "N++++S?:1000471101?+x",
        "N++++S?:1000471102?+1"}) {
    EXPECT_EQ(client_.Send(order + rest + "'").Codes(), "9050 9010@3") << rest;
  }
}

TEST_F(BankOrders, AStatementInXmlComesInPages) {
  const std::string order = "HKCAZ:#:1+" + kIban + "+" + kCamt + "+N";
  const BankAnswer first = client_.Send(order + "'");
  EXPECT_EQ(first.Codes(), "3060 0020@3 3040@3");
  const std::string page = first.First("HICAZ").At(2);
  EXPECT_EQ(first.First("HICAZ").At(1), "urn:iso:std:iso:20022:tech:xsd:camt.052.001.02");
  EXPECT_THAT(page, HasSubstr("<BkToCstmrAcctRpt><GrpHdr>"));
  EXPECT_THAT(page, HasSubstr("<Cd>OPBD</Cd></CdOrPrtry></Tp><Amt Ccy=\"EUR\">123.57</Amt>"));
  EXPECT_THAT(page, HasSubstr("<Nm>B\xC3\xBC"
                              "cherstube am Eck</Nm>"));
  EXPECT_THAT(page, HasSubstr("<BookgDt><Dt>2025-11-18</Dt></BookgDt>"));
  const BankAnswer last = client_.Send(order + "++++S?:1000471101?+8'");
  EXPECT_EQ(last.Codes(), "0010 0020@3");
  EXPECT_THAT(last.First("HICAZ").At(2), HasSubstr("<Cd>CLBD</Cd>"));
  const std::string booked = Escaped("urn:iso:std:iso:20022:tech:xsd:camt.053.001.02");
  EXPECT_THAT(client_.Send("HKCAZ:#:1+" + kIban + "+" + booked + "+N'").First("HICAZ").At(2),
              HasSubstr("<BkToCstmrStmt>"));
  EXPECT_EQ(client_.Send("HKCAZ:#:1+" + kIban + "+xml+N'").Codes(), "9050 9010@3");
  // The savings account's owner may look at MT940 only.
  EXPECT_EQ(Refusal(client_.Send("HKCAZ:#:1+" + kSavingsIban + "+" + kCamt + "+N'")),
            "Der Auftrag ist f\xFCr dieses Konto nicht erlaubt.");
}

TEST_F(BankOrders, MediaAreListedInBothVersions) {
  EXPECT_EQ(client_.Send("HKTAB:#:4+0+A'").Text("HITAB"),
            "HITAB+0+G:1:6725990001::::::::::Karte 1+G:1:6725990002::::::::::Leser ?+ Kamera'\n");
  EXPECT_EQ(client_.Send("HKTAB:#:5+0+A'").Text("HITAB"),
            "HITAB+0+G:1:910:6725990001::::::::::Karte 1+G:1:910:6725990002::::::::::"
            "Leser ?+ Kamera'\n");
  EXPECT_EQ(client_.Send("HKTAB:#:5+0'").Codes(), "9050 9010@3");
}

TEST_F(BankOrders, ATransferMovesMoneyOnceItsTanIsThere) {
  const BankAnswer asked =
      client_.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'");
  EXPECT_EQ(asked.Codes(), "0010 0030@4");
  EXPECT_EQ(asked.Text("HITAN"),
            "HITAN+4++AUFTRAG-000001+Bitte geben Sie die TAN von Karte 1 ein?: HKCCS+"
            "@22@1784047110112000050815++Karte 1'\n");
  EXPECT_EQ(BalanceOf(kIban), 391'512);
  const BankAnswer done = client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan);
  EXPECT_EQ(done.Codes(), "0010 0020@3");
  EXPECT_EQ(done.Text("HITAN"), "HITAN+2++AUFTRAG-000001'\n");
  EXPECT_EQ(BalanceOf(kIban), 390'278);
  EXPECT_EQ(BalanceOf(kOtherIban), 201'334);
  EXPECT_THAT(client_.Send("HKSAL:#:7+" + kIban + "+N'").Text("HISAL"), HasSubstr("C:3902,78:EUR"));
  const std::string page = client_.Send("HKKAZ:#:7+" + kIban + "+N+20260115'").First("HIKAZ").At(0);
  EXPECT_THAT(page, HasSubstr(":61:2601150115DR12,34NTRF"));
  EXPECT_THAT(page, HasSubstr("SVWZ+Miete <7>"));
  EXPECT_THAT(page, HasSubstr("J\xFC\r\nrgen & Co"));  // a line is full
  // The order is gone with its TAN.
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan).Codes(), "9050 9010@3");
}

TEST_F(BankOrders, TheOtherMediumShowsAPicture) {
  const BankAnswer asked =
      client_.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:7+4+HKCCS+++++++++Leser ?+ Kamera'");
  const std::string& picture = asked.First("HITAN").At(4);
  EXPECT_TRUE(asked.First("HITAN").Find(4)->is_binary);
  EXPECT_EQ(picture.substr(0, 11), std::string("\0\x09image/png", 11));
  EXPECT_EQ(picture.substr(13, 4), "\x89PNG");
  EXPECT_EQ(picture.size(), 13U + static_cast<unsigned char>(picture[12]));
}

TEST_F(BankOrders, AWrongTanDropsTheOrder) {
  client_.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'").Codes(), "9050 9010@3");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", "654321").Codes(), "9050 9941@4");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan).Codes(), "9050 9010@3");
  EXPECT_EQ(BalanceOf(kIban), 391'512);
  EXPECT_EQ(client_.End().Codes(), "0100 0010");
}

TEST_F(BankOrders, AConfirmationElsewhereIsAskedForUntilItIsThere) {
  BeginDecoupled();
  const BankAnswer asked = client_.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:7+4+HKCCS'");
  EXPECT_EQ(asked.Codes(), "3060 3955@4");
  EXPECT_EQ(asked.Text("HITAN"),
            "HITAN+4++AUFTRAG-000001+Bitte geben Sie den Auftrag in der App frei.'\n");
  const BankAnswer waiting = client_.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'");
  EXPECT_EQ(waiting.Codes(), "3060 3956@3");
  EXPECT_EQ(waiting.Text("HITAN"), "HITAN+S++AUFTRAG-000001'\n");
  EXPECT_EQ(BalanceOf(kIban), 391'512);
  EXPECT_EQ(client_.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'").Codes(), "0010 0020@3");
  EXPECT_EQ(BalanceOf(kIban), 390'278);
}

TEST(BankConfirmation, TooManyQuestionsDropTheOrder) {
  BankOptions options;
  options.confirm_after = 1000;
  SandboxBank bank(options);
  BankClient client(bank);
  client.GetSystemId();
  client.function = "946";
  client.Begin();
  client.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:7+4+HKCCS'");
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(client.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'").Codes(), "3060 3956@3");
  EXPECT_EQ(client.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'").Codes(), "9050 9010@3");
  EXPECT_EQ(client.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'").First("HIRMS").At(0, 2),
            "Die Auftragsreferenz ist unbekannt.");
}

TEST_F(BankOrders, WhatHktanMustNotSayIsRefused) {
  const std::string order = TransferOrder(PaymentFile({}));
  EXPECT_EQ(Refusal(client_.Send(order)), "HKTAN fehlt neben dem Auftrag.");
  EXPECT_EQ(Refusal(client_.Send(order + "HKTAN:#:6+4+HKSAL'")),
            "HKTAN nennt einen Auftrag, der fehlt.");
  EXPECT_EQ(Refusal(client_.Send(order + "HKTAN:#:6+4+HKCCS'")),
            "Das TAN-Medium fehlt oder ist unbekannt.");
  EXPECT_EQ(client_.Send(order + "HKTAN:#:5+4+HKCCS'").Codes(), "9050 9110@4");
  EXPECT_EQ(client_.Send("HKTAN:#:5+2++++AUFTRAG-000001+N'").Codes(), "9050 9110@3");
  EXPECT_EQ(Refusal(client_.Send("HKTAN:#:7+S++++AUFTRAG-000001+N'")),
            "Der TAN-Prozess passt nicht zum Verfahren.");
  EXPECT_EQ(client_.Send(order + "HKTAN:#:6+4+HKCCS'HKTAN:#:6+4+HKCCS'").Codes(), "9050 9120@4");
  client_.Send(order + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'HKSPA:#:1'", kTan).Codes(),
            "9050 9120@3");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+J'", kTan).Codes(), "9050 9010@3");
  BeginDecoupled();
  EXPECT_EQ(Refusal(client_.Send(order + "HKTAN:#:6+4+HKCCS'")), "Das Verfahren braucht HKTAN:7.");
}

TEST_F(BankOrders, AnOrderThatNeedsNoTanSaysSo) {
  const BankAnswer answer = client_.Send("HKSPA:#:1'HKTAN:#:6+4+HKSPA'");
  EXPECT_EQ(answer.Codes(), "3060 0020@3 3076@4");
  EXPECT_EQ(answer.Text("HITAN"), "HITAN+4++noref+nochallenge'\n");
}

TEST_F(BankOrders, OneStepIsNotEnoughForATransfer) {
  client_.End();
  client_.function = "999";
  client_.Begin();
  EXPECT_EQ(Refusal(client_.Send(TransferOrder(PaymentFile({})) + "HKTAN:#:6+4+HKCCS'")),
            "Der Auftrag braucht ein Zwei-Schritt-Verfahren.");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan).Codes(), "9050 9010@3");
}

struct BadPayment {
  void (*spoil)(Payment&);
  const char* reason;
};

TEST_F(BankOrders, WrongPaymentsAreRefusedBeforeATanIsAskedFor) {
  const BadPayment rows[] = {
      {[](Payment& p) { p.amount = p.sum = "4415.13"; }, "Die Deckung reicht nicht aus."},
      {[](Payment& p) { p.amount = p.sum = "0.00"; },
       "Der Betrag muss gr\xF6\xDF"
       "er als null sein."},
      {[](Payment& p) { p.amount = p.sum = "1.234"; }, "Der Betrag ist falsch oder nicht in Euro."},
      {[](Payment& p) { p.amount = p.sum = "-1"; }, "Der Betrag ist falsch oder nicht in Euro."},
      {[](Payment& p) { p.currency = "USD"; }, "Der Betrag ist falsch oder nicht in Euro."},
      {[](Payment& p) { p.sum = "12.35"; }, "Die Kontrollsumme ist falsch."},
      {[](Payment& p) { p.count = "2"; }, "Die Anzahl der Auftr\xE4ge ist falsch."},
      {[](Payment& p) { p.to = "DE00999000110000000001"; },
       "Die IBAN des Empf\xE4ngers ist falsch."},
      {[](Payment& p) { p.to = MakeIban("99900011", "5"); },
       "Das Konto des Empf\xE4ngers gibt es nicht."},
      {[](Payment& p) { p.to = kIban; }, "Auftraggeber- und Empf\xE4ngerkonto sind gleich."},
      {[](Payment& p) { p.name = " "; }, "Der Name des Empf\xE4ngers fehlt."},
      {[](Payment& p) { p.name = std::string(71, 'x'); },
       "Name oder Verwendungszweck sind zu lang."},
      {[](Payment& p) { p.purpose = std::string(141, 'x'); },
       "Name oder Verwendungszweck sind zu lang."},
      {[](Payment& p) { p.from = kOtherIban; },
       "Der Zahlungsauftrag nennt ein anderes Auftraggeberkonto."},
      {[](Payment& p) { p.schema = "x"; },
       "Der Zahlungsauftrag hat ein anderes Format, als der Auftrag nennt."},
      {[](Payment& p) { p.purpose = "<a>"; }, "Der Zahlungsauftrag ist kein XML."},
      {[](Payment& p) { p.amount = "<b>1</b>"; },
       "Es ist genau eine \xDC"
       "berweisung m\xF6glich."},
  };
  for (const BadPayment& row : rows) {
    Payment payment;
    row.spoil(payment);
    const BankAnswer answer =
        client_.Send(TransferOrder(PaymentFile(payment)) + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'");
    EXPECT_EQ(Refusal(answer), row.reason);
    EXPECT_FALSE(answer.Has("HITAN"));
  }
  const std::string tan = "HKTAN:#:6+4+HKCCS+++++++++Karte 1'";
  EXPECT_EQ(Refusal(client_.Send(TransferOrder(PaymentFile({}), kIban, "pain") + tan)),
            "Das Format wird nicht unterst\xFCtzt.");
  EXPECT_EQ(Refusal(client_.Send("HKCCS:#:1+" + kIban + "+" + Escaped(kPain) + "+x'" + tan)),
            "Der Zahlungsauftrag fehlt.");
  EXPECT_EQ(Refusal(client_.Send(TransferOrder(PaymentFile({}), kSavingsIban) + tan)),
            "Der Auftrag ist f\xFCr dieses Konto nicht erlaubt.");
}

TEST_F(BankOrders, MoneyMayLeaveTheBankAndUseTheCredit) {
  Payment payment;
  payment.to = MakeIban("99900022", "77");
  payment.amount = payment.sum = "4415.12";
  client_.Send(TransferOrder(PaymentFile(payment)) + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'");
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan).Codes(), "0010 0020@3");
  EXPECT_EQ(BalanceOf(kIban), -50'000);
  EXPECT_THAT(client_.Send("HKSAL:#:7+" + kIban + "+N'").Text("HISAL"), HasSubstr("D:500,:EUR"));
}

TEST_F(BankOrders, MoneyThatIsGoneMeanwhileStopsTheSecondTransfer) {
  Payment payment;
  payment.amount = payment.sum = "4000.00";
  const std::string order =
      TransferOrder(PaymentFile(payment)) + "HKTAN:#:6+4+HKCCS+++++++++Karte 1'";
  client_.Send(order);
  client_.Send(order);
  EXPECT_EQ(client_.Send("HKTAN:#:6+2++++AUFTRAG-000001+N'", kTan).Codes(), "0010 0020@3");
  EXPECT_EQ(Refusal(client_.Send("HKTAN:#:6+2++++AUFTRAG-000002+N'", kTan)),
            "Die Deckung reicht nicht aus.");
}

}  // namespace
}  // namespace tmx::demo
