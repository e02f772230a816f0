// What the sandbox bank refuses: wrong messages, wrong senders, wrong beginnings.
#include <gmock/gmock.h>

#include <random>

#include "tests/demo/bank_client.h"

namespace tmx::demo {
namespace {

using testing::HasSubstr;

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// The length in HNHBK, and with a container the container's, made right again.
std::string Resized(std::string message) {
  const auto data = message.find("HNVSD:999:1+@");
  if (data != std::string::npos) {
    const auto start = data + 13;
    const auto inner = message.find('@', start) + 1;
    const auto end = message.rfind("'HNHBS");
    message.replace(start, inner - 1 - start, std::to_string(end - inner));
  }
  const std::string digits = std::to_string(message.size());
  return message.replace(message.find('+') + 1, 12, std::string(12 - digits.size(), '0') + digits);
}

class BankRefusals : public testing::Test {
 protected:
  BankRefusals() {
    client_.GetSystemId();
    client_.bpd = 12;
    client_.upd = 3;
  }

  // The first code about the message with its text, of an answer that ends the dialog.
  std::string Abort(const std::string& message) {
    const BankAnswer answer = TakeApart(bank_.Answer(message));
    const Segment& codes = answer.First("HIRMG");
    EXPECT_EQ(codes.At(codes.groups.size() - 1), "9800");
    return codes.At(0) + " " + codes.At(0, 2);
  }

  // The message of an order in a dialog that has begun, with one thing replaced in it.
  std::string Spoiled(std::string_view from, std::string_view to) {
    client_.Begin();
    return Resized(Replaced(client_.Message("HKSPA:#:1'"), from, to));
  }

  // The message that begins a dialog, with one thing replaced in it.
  std::string SpoiledBegin(std::string_view from, std::string_view to) {
    client_.dialog = "0";
    client_.number = 1;
    return Resized(Replaced(client_.Message("HKIDN:#:2+280:99900011+4711+" + client_.system_id +
                                            "+1'HKVVB:#:3+12+3+0+PRODUKT+1.0'HKTAN:#:7+4+HKIDN'"),
                            from, to));
  }

  std::string BeginCodes(std::string_view from, std::string_view to) {
    return TakeApart(bank_.Answer(SpoiledBegin(from, to))).Codes();
  }

  SandboxBank bank_;
  BankClient client_{bank_};
};

TEST_F(BankRefusals, ARightMessageIsTheMeasure) {
  EXPECT_EQ(BeginCodes("PRODUKT", "PRODUKT"), "3060 0020@3 0020@4 3920@4 3076@5");
  EXPECT_EQ(TakeApart(bank_.Answer(Spoiled("HKSPA", "HKSPA"))).Codes(), "0010 0020@3");
}

TEST_F(BankRefusals, WhatIsNoMessage) {
  EXPECT_EQ(Abort(""), "9010 Die Nachricht ist unvollst\xE4ndig.");
  EXPECT_EQ(Abort("GET / HTTP/1.1"), "9010 Syntaxfehler bei Byte 14.");
  EXPECT_EQ(Abort("HKSPA:1:1'"), "9110 Nachrichtenkopf HNHBK:3 erwartet.");
  EXPECT_EQ(Abort("HNHBK:1:3+000000000027+300+0+1'"),
            "9010 Die Nachrichtengr\xF6\xDF"
            "e ist falsch.");
  EXPECT_EQ(Abort("HNHBK:1:3+000000000031+300+0+1'"), "9010 Die Nachricht ist unvollst\xE4ndig.");
  EXPECT_EQ(Abort("HNHBK:1:3+000000000043+300+0+1'HNHBS:2:1+1'"),
            "9010 Die Nachricht enth\xE4lt keinen Auftrag.");
  EXPECT_EQ(Abort(std::string(256 * 1024 + 1, '+')), "9010 Die Nachricht ist zu lang.");
}

TEST_F(BankRefusals, TheMessagesOwnNumbersMustBeRight) {
  EXPECT_EQ(Abort(Spoiled("+300+", "+201+")), "9010 Die HBCI-Version wird nicht unterst\xFCtzt.");
  EXPECT_EQ(Abort(Spoiled("+2'HNVSK", "+0'HNVSK")), "9010 Die Nachrichtennummer ist falsch.");
  EXPECT_EQ(Abort(Spoiled("+2'HNVSK", "+'HNVSK")), "9010 Die Nachrichtennummer ist falsch.");
  EXPECT_EQ(Abort(Resized(Replaced(Spoiled("+2'HNVSK", "+3'HNVSK"), "1+2'", "1+3'"))),
            "9010 Die Nachrichtennummer ist nicht die n\xE4"
            "chste.");
  EXPECT_EQ(Abort(Spoiled("1+2'", "1+3'")),
            "9010 Die Nachrichtennummern in HNHBK und HNHBS sind verschieden.");
  EXPECT_EQ(Abort(Spoiled("HKSPA:3", "HKSPA:4")),
            "9010 Die Segmentnummern sind nicht l\xFC"
            "ckenlos.");
  EXPECT_EQ(Abort(Spoiled("HNHBS:5", "HNHBS:4")),
            "9010 Die Segmentnummern sind nicht l\xFC"
            "ckenlos.");
  EXPECT_EQ(Abort(Replaced(Spoiled("HKSPA", "HKSPA"), "+0000000", "+0000001")),
            "9010 Die Nachrichtengr\xF6\xDF"
            "e ist falsch.");
  EXPECT_EQ(Abort(Replaced(Spoiled("HKSPA", "HKSPA"), "+000000", "+00000")),
            "9010 Die Nachrichtengr\xF6\xDF"
            "e ist falsch.");
  EXPECT_EQ(Abort(Spoiled("HNHBS:5:1", "HNHBS:5:2")),
            "9110 Nachrichtenabschluss HNHBS:1 erwartet.");
}

TEST_F(BankRefusals, TheDialogMustBeTheRightOne) {
  EXPECT_EQ(Abort(Spoiled("+SANDKASTEN-DIALOG", "+ANDERER-DIALOG")),
            "9010 Der Dialog ist unbekannt.");
  EXPECT_EQ(Abort(Spoiled("+300+SANDKASTEN-DIALOG-000003", "+300+")),
            "9010 Die Dialogkennung fehlt.");
  EXPECT_EQ(Abort(Resized(Replaced(SpoiledBegin("+0+1'HNVSK", "+0+2'HNVSK"), "HNHBS:7:1+1'",
                                   "HNHBS:7:1+2'"))),
            "9010 Ein Dialog beginnt mit der Nachricht 1.");
  client_.Begin();
  EXPECT_EQ(Abort(client_.PlainMessage("HKSPA:#:1'")), "9010 Die Signatur passt nicht zum Dialog.");
  client_.Begin();
  client_.standard = 220;
  client_.function = "999";
  EXPECT_EQ(Abort(client_.Message("HKSPA:#:1'")), "9010 Die HBCI-Version hat gewechselt.");
}

TEST_F(BankRefusals, AnAbortedDialogIsGone) {
  client_.Begin();
  const std::string right = client_.Message("HKSPA:#:1'");
  Abort(Resized(Replaced(right, "HKSPA:3", "HKSPA:7")));
  EXPECT_EQ(Abort(right), "9010 Der Dialog ist unbekannt.");
}

TEST_F(BankRefusals, TheEnvelopeMustBeWhole) {
  EXPECT_EQ(Abort(Spoiled("HNVSK:998", "HNVSK:997")),
            "9010 HNVSK muss die Nummer 998 haben und HNVSD die 999.");
  EXPECT_EQ(Abort(Spoiled("HNVSK:998:3", "HNVSK:998:2")),
            "9110 Die Verschl\xFCsselung ist falsch aufgebaut.");
  EXPECT_EQ(Abort(Spoiled("+PIN:2+998", "+PIN:1+998")),
            "9010 HNVSK und HNSHK nennen verschiedene Sicherheitsprofile.");
  EXPECT_EQ(Abort(Spoiled("+PIN:2+998", "+RDH:2+998")),
            "9010 Nur das Sicherheitsprofil PIN ist m\xF6glich.");
  EXPECT_EQ(Abort(Spoiled("+998+", "+4+")), "9010 Sicherheitsfunktion 998 erwartet.");
  EXPECT_EQ(Abort(Spoiled(":4711:V", ":4712:V")),
            "9010 HNVSK und HNSHK nennen verschiedene Absender.");
  EXPECT_EQ(Abort(Spoiled("HNSHK:2:4", "HNSHK:2:3")), "9110 Signaturkopf HNSHK erwartet.");
  EXPECT_EQ(Abort(Spoiled("HNSHA:4:2", "HNSHA:4:1")), "9110 Signaturabschluss HNSHA erwartet.");
  EXPECT_EQ(Abort(Spoiled("+7654321++", "+7654320++")),
            "9010 Die Sicherheitskontrollreferenzen sind verschieden.");
  EXPECT_EQ(Abort(Spoiled("99900011:4711:S", "99900012:4711:S")),
            "9010 Der Schl\xFCsselname nennt ein anderes Kreditinstitut.");
  EXPECT_EQ(Abort(Spoiled("++" + std::string(kPin) + "'", "++'")), "9010 Die PIN fehlt.");
  EXPECT_EQ(Abort(Spoiled("HKSPA:3:1'", "HKSPA:3:1?")),
            "9010 Syntaxfehler in HNVSD bei Byte " +
                std::to_string(client_.Message("HKSPA:#:1'").find("HNSHA") -
                               client_.Message("HKSPA:#:1'").find("HNSHK")) +
                ".");
  client_.Begin();
  EXPECT_EQ(Abort(Resized(Replaced(client_.Message("HKSPA:#:1'"), "HKSPA:3:1'HNSHA:4", "HNSHA:3"))),
            "9010 Die Segmentnummern sind nicht l\xFC"
            "ckenlos.");
  client_.Begin();
  EXPECT_EQ(Abort(client_.Message("")), "9010 Die Nachricht enth\xE4lt keinen Auftrag.");
  EXPECT_EQ(
      Abort(Resized("HNHBK:1:3+000000000089+300+0+1'HNVSK:998:3+PIN:1'HNVSD:999:1+@10@HKSPA:2:1''"
                    "HNHBS:3:1+1'")),
      "9010 Die Signatur fehlt.");
  EXPECT_EQ(Abort(Resized(
                "HNHBK:1:3+000000000077+300+0+1'HNVSK:998:3+PIN:1'HNVSD:999:1+text'HNHBS:3:1+1'")),
            "9010 HNVSD enth\xE4lt keine Bin\xE4rdaten.");
}

TEST_F(BankRefusals, TheSenderMustStayTheSame) {
  const char* const text = "9010 Benutzer, Kundensystem oder Sicherheitsfunktion haben gewechselt.";
  client_.Begin();
  client_.function = "946";
  EXPECT_EQ(Abort(client_.Message("HKSPA:#:1'")), text);
  client_.function = "910";
  client_.Begin();
  client_.system_id += "1";
  EXPECT_EQ(Abort(client_.Message("HKSPA:#:1'")), text);
}

TEST_F(BankRefusals, ABeginningMustNameEverything) {
  EXPECT_EQ(BeginCodes("HKIDN:3:2", "HKIDN:3:3"), "9050 9800 9120@3");
  EXPECT_EQ(BeginCodes("HKIDN:3:2", "HKSPA:3:1"), "9050 9800 9120@3");
  EXPECT_EQ(BeginCodes("HKVVB:4:3", "HKVVB:4:2"), "9050 9800 9120@3");
  EXPECT_EQ(BeginCodes("HKTAN:5:7+4+HKIDN", "HKSPA:5:1"), "9050 9800 9120@5");
  EXPECT_EQ(BeginCodes("HKTAN:5:7", "HKTAN:5:5"), "9050 9800 0020@4 3920@4 9110@5");
  EXPECT_EQ(BeginCodes("+12+3+0+", "+x+3+0+"), "9050 9800 9010@4");
  EXPECT_EQ(BeginCodes("+12+3+0+", "+12+3+4+"), "9050 9800 9010@4");
  EXPECT_EQ(BeginCodes("+PRODUKT+", "++"), "9050 9800 9010@4");
  EXPECT_EQ(BeginCodes("+PRODUKT+1.0", "+PRODUKT"), "9050 9800 9010@4");
  EXPECT_EQ(BeginCodes("280:99900011+4711", "280:99900012+4711"), "9050 9800 9010@3");
  EXPECT_EQ(BeginCodes("280:99900011+4711", "280:99900011+4712"), "9050 9800 9010@3");
  EXPECT_EQ(BeginCodes("+4711+" + client_.system_id, "+4711+0"), "9050 9800 9010@3");
  EXPECT_EQ(BeginCodes("+1'HKVVB", "+0'HKVVB"), "9050 9800 9010@3");
  EXPECT_EQ(BeginCodes("PIN:2+910", "PIN:2+999"), "9010 9050 9800");
  EXPECT_EQ(BeginCodes("PIN:2+910", "PIN:2+911"), "9010 9050 9800");
}

TEST_F(BankRefusals, TwoStepsNeedHktanInTheBeginning) {
  client_.dialog = "0";
  client_.number = 1;
  EXPECT_EQ(Abort(client_.Message("HKIDN:#:2+280:99900011+4711+" + client_.system_id +
                                  "+1'HKVVB:#:3+12+3+0+PRODUKT+1.0'")),
            "9010 Im Zwei-Schritt-Verfahren geh\xF6rt HKTAN in die Initialisierung.");
}

TEST_F(BankRefusals, SystemIdsMustBeTheUsersOwn) {
  client_.system_id = "SANDKASTEN-4712-000001";
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9010@3");
  client_.system_id = "SANDKASTEN-4711-";
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9010@3");
  // Ids are kept by clients longer than the bank lives.
  client_.system_id = "SANDKASTEN-4711-000099";
  EXPECT_EQ(client_.Begin().Codes(), "3060 0020@3 0020@4 3920@4 3076@5");
  client_.system_id = "0";
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9010@3");
  client_.function = "999";
  EXPECT_EQ(client_.Begin("HKSYN:#:3+1'").Codes(), "9050 9800 0020@4 3920@4 9010@5");
  EXPECT_EQ(client_.Begin("HKSYN:#:3+0'HKSYN:#:3+0'").Codes(), "9050 9800 9120@6");
}

TEST_F(BankRefusals, ThreeWrongPinsLockTheUser) {
  client_.pin = "11111";
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9942@6");
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9942@6");
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 3938@6 9931@6");
  client_.pin = kPin;
  EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9930@6");
  BankClient other(bank_);
  other.user = "4712";
  other.customer = "K4712";
  other.pin = kOtherPin;
  other.function = "946";
  other.GetSystemId();
  EXPECT_EQ(other.Begin().Codes(), "3060 0020@3 0020@4 3050@4 3920@4 3050@4 3076@5");
}

TEST_F(BankRefusals, ARightPinForgetsTheWrongOnes) {
  for (int i = 0; i < 4; ++i) {
    client_.pin = "11111";
    EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9942@6");
    EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9942@6");
    client_.pin = kPin;
    EXPECT_EQ(client_.Begin().Codes(), "3060 0020@3 0020@4 3920@4 3076@5");
  }
}

TEST_F(BankRefusals, AWrongPinEndsARunningDialog) {
  client_.Begin();
  client_.pin = "11111";
  EXPECT_EQ(client_.Send("HKSPA:#:1'").Codes(), "9050 9800 9942@4");
  client_.pin = kPin;
  EXPECT_EQ(client_.Send("HKSPA:#:1'").Codes(), "9010 9050 9800");
}

TEST_F(BankRefusals, UnknownUsersAreRefusedWithoutALock) {
  client_.user = "4713";
  for (int i = 0; i < 5; ++i) EXPECT_EQ(client_.Begin().Codes(), "9050 9800 9010@6");
}

TEST_F(BankRefusals, ProceduresOfOtherUsersAreRefused) {
  BankClient other(bank_);
  other.user = "4712";
  other.customer = "K4712";
  other.pin = kOtherPin;
  other.GetSystemId();
  EXPECT_EQ(other.Begin().Codes(), "9010 9050 9800");
}

TEST_F(BankRefusals, OrdersOfTheBeginningAndTheEndHaveTheirPlace) {
  client_.Begin();
  EXPECT_EQ(client_.Send("HKIDN:#:2+280:99900011+4711+1+1'").Codes(), "9050 9120@3");
  EXPECT_EQ(client_.Send("HKEND:#:1+x'").Codes(), "9050 9010@3");
  EXPECT_EQ(client_.Send("HKEND:#:2+" + client_.dialog + "'").Codes(), "9050 9110@3");
  EXPECT_EQ(client_.Send("HKSPA:#:1'HKEND:#:1+" + client_.dialog + "'").Codes(),
            "9050 9800 9120@3");
}

TEST(SandboxBankAnonymous, ParametersOfTheBankAreForEverybody) {
  SandboxBank bank;
  BankClient client(bank);
  const BankAnswer begun = client.SendBytes(client.PlainMessage(
      "HKIDN:#:2+280:99900011+9999999999+0+0'HKVVB:#:3+0+0+0+PRODUKT+1.0'HKTAN:#:6+4+HKIDN'"));
  EXPECT_EQ(begun.Codes(), "3060 0020@2 0020@3 3050@3");
  EXPECT_TRUE(begun.Has("HITANS"));
  EXPECT_FALSE(begun.Has("HIUPA"));
  EXPECT_EQ(client.SendBytes(client.PlainMessage("HKSPA:#:1'")).Codes(), "9050 9120@2");
  const BankAnswer end = client.SendBytes(client.PlainMessage("HKEND:#:1+" + client.dialog + "'"));
  EXPECT_EQ(end.Codes(), "0100 0010");
  client.dialog = "0";
  client.number = 1;
  EXPECT_EQ(client
                .SendBytes(client.PlainMessage(
                    "HKIDN:#:2+280:99900011+4711+0+0'HKVVB:#:3+0+0+0+PRODUKT+1.0'"))
                .Codes(),
            "9050 9800 9010@2");
}

TEST(SandboxBankLogin, ATanMayBeAskedForInTheBeginning) {
  BankOptions options;
  options.tan_at_login = true;
  SandboxBank bank(options);
  BankClient client(bank);
  client.GetSystemId();
  client.bpd = 12;
  const std::string begin = "HKIDN:#:2+280:99900011+4711+" + client.system_id +
                            "+1'HKVVB:#:3+12+0+0+PRODUKT+1.0'HKTAN:#:7+4+HKIDN+++++++++Karte 1'";
  const auto start = [&] {
    client.dialog = "0";
    client.number = 1;
    return client.Send(begin);
  };
  const BankAnswer begun = start();
  EXPECT_EQ(begun.Codes(), "3060 0020@3 0020@4 3920@4 0030@5");
  EXPECT_FALSE(begun.Has("HIUPA"));
  EXPECT_EQ(client.Send("HKSPA:#:1'").Codes(), "9050 9120@3");
  const BankAnswer open = client.Send("HKTAN:#:7+2++++AUFTRAG-000001+N'", kTan);
  EXPECT_EQ(open.Codes(), "3060 0020@3 3050@3");
  EXPECT_TRUE(open.Has("HIUPA"));
  EXPECT_EQ(client.Send("HKSPA:#:1'").Codes(), "0010 0020@3");

  start();
  EXPECT_EQ(client.Send("HKTAN:#:7+2++++AUFTRAG-000002+N'", "111111").Codes(), "9050 9800 9941@4");
  EXPECT_EQ(client.Send("HKSPA:#:1'").Codes(), "9010 9050 9800");
  // Without a medium nothing begins.
  EXPECT_EQ(client.Begin().Codes(), "9050 9800 0020@4 3920@4 9010@5");
}

TEST(SandboxBankVersions, ParametersAreSentWhenTheyAreNewer) {
  BankOptions options;
  options.bpd_version = 13;
  options.upd_version = 4;
  SandboxBank bank(options);
  BankClient client(bank);
  client.GetSystemId();
  client.bpd = 12;
  client.upd = 4;
  const BankAnswer newer_bank = client.Begin();
  EXPECT_EQ(newer_bank.Codes(), "3060 0020@3 0020@4 3050@4 3920@4 3076@5");
  EXPECT_EQ(newer_bank.First("HIBPA").At(0), "13");
  EXPECT_FALSE(newer_bank.Has("HIUPA"));
  client.bpd = 13;
  client.upd = 3;
  const BankAnswer newer_user = client.Begin();
  EXPECT_FALSE(newer_user.Has("HIBPA"));
  EXPECT_EQ(newer_user.First("HIUPA").At(1), "4");
}

TEST(SandboxBankVersions, ParametersSayWhatTheBankDoes) {
  SandboxBank bank;
  BankClient client(bank);
  client.function = "999";
  const BankAnswer begun = client.Begin("HKSYN:#:3+0'");
  EXPECT_EQ(begun.Text("HIKOM"), "HIKOM+280:99900011+1+3:127.0.0.1::MIM:1'\n");
  EXPECT_EQ(begun.Text("HISHV"), "HISHV+N+PIN:1:2'\n");
  EXPECT_EQ(begun.Text("HISALS"), "HISALS+1+1'\nHISALS+1+1+0'\nHISALS+1+1+0'\nHISALS+1+1+0'\n");
  EXPECT_EQ(begun.Text("HIKAZS"),
            "HIKAZS+1+1+90:J:N'\nHIKAZS+1+1+0+90:J:N'\nHIKAZS+1+1+0+90:J:N'\n");
  EXPECT_EQ(begun.Text("HIPINS"),
            "HIPINS+1+1+0+5:12:6:Benutzerkennung:Kundennummer:HKSAL:N:HKSPA:N:HKKAZ:N:HKCAZ:N:"
            "HKCCS:J:HKTAB:N:HKTAN:N'\n");
  // Version 6 cannot describe the procedure with the app.
  EXPECT_EQ(begun.Text("HITANS"),
            "HITANS+1+1+0+J:N:0:910:2:HHD1.4:HHD:1.4:Kartenleser:6:1:TAN:2048:N:1:N:0:0:N:N:00:2:"
            "J:2'\n"
            "HITANS+1+1+0+J:N:0:910:2:HHD1.4:HHD:1.4:Kartenleser:6:1:TAN:2048:N:1:N:0:0:N:N:00:2:"
            "J:2::::::946:2:APP:Decoupled::Freigabe-App:::Freigabe:2048:N:1:N:0:0:N:N:00:0:N:1:10:"
            "2:1:N:J'\n");
  EXPECT_THAT(begun.Text("HIUPA"), HasSubstr("HIUPA+4711+3+0+Erika Sandkorn'"));
  EXPECT_EQ(begun.First("HIUPD").At(0), "1000471101");
  EXPECT_EQ(begun.First("HIUPD").At(2), "4711");
}

TEST(SandboxBankDialogs, TheOldestOfTooManyDialogsIsForgotten) {
  SandboxBank bank;
  BankClient client(bank);
  client.GetSystemId();
  client.Begin();
  BankClient old = client;
  for (int i = 0; i < 100; ++i) client.Begin();
  EXPECT_EQ(old.Send("HKSPA:#:1'").Codes(), "9010 9050 9800");
  EXPECT_EQ(client.Send("HKSPA:#:1'").Codes(), "0010 0020@3");
}

TEST(SandboxBankBytes, EqualRequestsGetEqualAnswers) {
  std::string answers[2];
  for (std::string& all : answers) {
    SandboxBank bank;
    BankClient client(bank);
    client.GetSystemId();
    all += client.Begin().bytes;
    all += client.Send("HKSPA:#:1'").bytes;
  }
  EXPECT_EQ(answers[0], answers[1]);
}

TEST(SandboxBankBytes, AnyBytesGetAWellFormedAnswer) {
  SandboxBank bank;
  BankClient client(bank);
  client.GetSystemId();
  client.Begin();
  const std::string message =
      client.Message("HKKAZ:#:7+DE1+N+20250101'HKCCS:#:1+a+b+@12@<a><b>x</b>'HKTAN:#:7+4+HKCCS'");
  std::mt19937 random(7);
  const auto below = [&random](std::size_t end) { return random() % end; };
  constexpr std::string_view kLetters = "'+:@?0123456789<>/HNKSADabc\xFF\n";
  for (int run = 0; run < 5000; ++run) {
    // Every other message has its lengths right again, so that the orders are read.
    const bool is_resized = run % 2 == 0;
    const std::size_t first = is_resized ? message.find("HKKAZ") : 0;
    std::size_t length = (is_resized ? message.find("HNSHA") : message.size()) - first;
    std::string spoiled = message;
    for (std::size_t changes = 1 + below(4); changes > 0 && length > 20; --changes) {
      const std::size_t at = first + below(length - 20);
      const char letter = kLetters[below(kLetters.size())];
      const std::size_t kind = below(3);
      if (kind == 0) spoiled[at] = letter;
      if (kind == 1) {
        spoiled.insert(at, 1, letter);
        ++length;
      }
      if (kind == 2) {
        const std::size_t erased = below(20);
        spoiled.erase(at, erased);
        length -= erased;
      }
    }
    SandboxBank fresh = bank;
    EXPECT_FALSE(TakeApart(fresh.Answer(is_resized ? Resized(spoiled) : spoiled)).Codes().empty());
  }
}

}  // namespace
}  // namespace tmx::demo
