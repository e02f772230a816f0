// tmx client and tmx bank serve as programs: results, misbehaving banks over HTTP, and no secret in
// anything that is written.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "tests/tools/client_fixture.h"

namespace tmx {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(ClientTest, ShowsWhatItLearntAndWhatItIsAskedFor) {
  StartBank("");
  const Ending init = Client("init");
  EXPECT_EQ(init.code, 0) << init.output;
  EXPECT_THAT(init.output, StartsWith("bank         Sandkastenbank\n"
                                      "BPD version  12\n"
                                      "UPD version  3\n"
                                      "user         Erika Sandkorn\n"
                                      "account      DE"));
  EXPECT_THAT(init.output, HasSubstr("\nprocedure    910  Kartenleser, chosen, medium Karte 1\n"));
  EXPECT_THAT(init.output, HasSubstr("\nprocedure    946  Freigabe-App\n"));
  EXPECT_THAT(init.output, HasSubstr("\nmedium       Karte 1, chosen\n"
                                     "medium       Leser + Kamera\n"));
  const Ending strange = Client("accounts --medium Unbekannt");
  EXPECT_EQ(strange.code, 1);
  EXPECT_THAT(strange.output, HasSubstr("the bank lists no TAN medium 'Unbekannt', but 'Karte 1', "
                                        "'Leser + Kamera'\n"));
  const Ending balance = Client("balance --account 1000471102");
  EXPECT_EQ(balance.code, 0);
  EXPECT_THAT(balance.output, HasSubstr("  5012,50 EUR\n"));
  const Ending statement = Client("statement --account 1000471101 --json");
  EXPECT_EQ(statement.code, 0);
  EXPECT_THAT(statement.output, HasSubstr(":20:"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, MakesATransferAndShowsItsChallenge) {
  StartBank("");
  const std::string to = Ibans().at(1);
  const Ending flicker =
      Client("transfer --account 1000471101 --name Erika --amount 12,3 --to " + to);
  EXPECT_EQ(flicker.code, 0) << flicker.output;
  EXPECT_THAT(flicker.output, HasSubstr("Flicker code: 1784047110112000050815\n"));
  EXPECT_THAT(flicker.output, HasSubstr("The bank has taken the transfer.\n"));
  const Ending picture = Client(
      "transfer --account 1000471101 --name Erika --amount 1 --medium 'Leser + Kamera' "
      "--picture " +
      written_.File("picture") + " --to " + to);
  EXPECT_EQ(picture.code, 0) << picture.output;
  EXPECT_THAT(picture.output, HasSubstr("Picture (image/png): " + written_.File("picture")));
  EXPECT_THAT(Content(written_.File("picture")), StartsWith("\x89PNG"));
  const Ending newer = Client(
      "transfer --account 1000471101 --name 'A & B' --amount 0,50 --purpose '<x>' --pain-format "
      "urn:iso:std:iso:20022:tech:xsd:pain.001.001.09 --to " +
      to);
  EXPECT_EQ(newer.code, 0) << newer.output;
  EXPECT_THAT(Client("balance --account 1000471102").output, HasSubstr("  5026,30 EUR\n"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, SpeaksHbci22) {
  StartBank("");
  const Ending init = Client("init --hbci 220");
  EXPECT_EQ(init.code, 0) << init.output;
  EXPECT_THAT(init.output, StartsWith("bank         Sandkastenbank\n"
                                      "BPD version  12\n"
                                      "UPD version  3\n"
                                      "user         4711\n"
                                      "account      1000471101  Girokonto\n"));
  EXPECT_THAT(init.output, Not(HasSubstr("procedure")));
  EXPECT_EQ(Client("accounts --hbci 220").output, "1000471101\n1000471102\n");
  EXPECT_EQ(Client("balance --hbci 220").output,
            "1000471101  3915,12 EUR\n1000471102  5012,50 EUR\n");
  EXPECT_TRUE(std::filesystem::exists(written_.File("data/bpd/inetzw/280/99900011.220/users.par")));
  ExpectNoSecrets();
}

// Each version keeps parameters of its own.
TEST_F(ClientTest, ChangesBetweenTheVersionsOfTheStandard) {
  StartBank("");
  for (const char* const version : {"300", "220", "300", "220"}) {
    const Ending ending = Client(std::string("balance --account 1000471102 --hbci ") + version);
    EXPECT_EQ(ending.code, 0);
    EXPECT_THAT(ending.output, HasSubstr("  5012,50 EUR\n"));
  }
  ExpectNoSecrets();
}

// How a client ends that meets a misbehaving bank.
struct ScriptedEnding {
  const char* script;
  int code;
  const char* text;
};

class ClientAtABadBank : public ClientTest {
 protected:
  // Of this client, at banks that it does not know yet.
  void ExpectEndings(const std::string& arguments, std::initializer_list<ScriptedEnding> endings) {
    for (const ScriptedEnding& expected : endings) {
      SCOPED_TRACE(expected.script);
      StartAgain(expected.script);
      const Ending ending = Client(arguments + " --wait 5");
      EXPECT_EQ(ending.code, expected.code);
      EXPECT_THAT(ending.output, HasSubstr(expected.text));
    }
    ExpectNoSecrets();
  }
};

TEST_F(ClientAtABadBank, SaysHowItEnded) {
  ExpectEndings("balance",
                {{"cut 200", 1, "it is cut or damaged"},
                 {"size 5", 1, "it is cut or damaged"},
                 {"message-number 8", 1, "the bank's answer has the message number 8 instead of 1"},
                 {"dialog FREMD", 1, "the bank's answer refers to another dialog"},
                 {"request 5 dialog FREMD", 1, "the bank's answer belongs to another dialog"},
                 {"garbage 5000", 1, "what the bank has sent is no message"},
                 {"empty", 1, "the bank's answer is empty"},
                 {"base64", 1, "the bank's answer is no Base64"},
                 {"status 503", 1, "the bank's server answers with status 503"},
                 {"reset", 1, "the bank's answer is cut or does not come in time"},
                 {"delay 30000", 1, "the bank's answer does not come in time"},
                 {"segment-gap 3", 0, "5012,50 EUR"},
                 {"extra 20", 0, "5012,50 EUR"},
                 {"delay 10", 0, "5012,50 EUR"}});
}

const std::string kTransfer =
    "transfer --account 1000471101 --name Erika --amount 1 --to DE02120300000000202051";

// The sixth message is the transfer, the seventh brings the TAN.
TEST_F(ClientAtABadBank, SaysNoTransferIsMadeThatTheBankHasNotMade) {
  const char* const uncertain = "the transfer may have been carried out";
  ExpectEndings(kTransfer, {{"request 6 drop HITAN", 5,
                             "the bank wants a TAN, but its answer has no HITAN; the transfer "
                             "may have been carried out"},
                            {"request 6 drop HIRMS", 5, uncertain},
                            {"request 7 drop HIRMS", 5, uncertain},
                            {"request 7 cut 100", 5, uncertain},
                            {"request 7 reset", 5, uncertain},
                            {"request 7 delay 30000", 5, uncertain},
                            {"extra 3", 0, "The bank has taken the transfer.\n"}});
}

TEST_F(ClientTest, SaysInJsonThatNobodyKnowsWhatBecameOfATransfer) {
  StartBank("request 7 reset");
  const Ending ending = Client(kTransfer + " --json");
  EXPECT_EQ(ending.code, 5);
  EXPECT_THAT(ending.output, HasSubstr("{\n  \"transferred\": null\n}\n"));
}

// A script must not pay again because of what happened after the payment.
TEST_F(ClientTest, ATransferIsDoneThoughItsWordsCannotBePrinted) {
  StartBank("");
  const std::string errors = written_.File("errors");
  const int full = std::system((Command(kTransfer) + " >/dev/full 2>" + errors).c_str());
  EXPECT_EQ(WEXITSTATUS(full), 0);
  EXPECT_THAT(Content(errors), HasSubstr("the bank has taken the transfer\n"));
  const int closed = std::system(("( " + Command(kTransfer) + "; echo $? >" +
                                  written_.File("code") + " ) 2>" + errors + " | true")
                                     .c_str());
  EXPECT_EQ(closed, 0);
  EXPECT_EQ(Content(written_.File("code")), "0\n");
  EXPECT_THAT(Content(errors), HasSubstr("the bank has taken the transfer\n"));
}

TEST_F(ClientTest, ATransferIsDoneThoughTheParametersCannotBeKept) {
  StartBank("request 7 delay 2000");
  std::atomic<bool> sent = false;
  std::thread thief([&] {
    const std::string data = written_.File("data");
    while (!std::filesystem::exists(data) && !sent) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::filesystem::remove_all(data);
    std::ofstream(data) << "in the way";
  });
  const Ending ending = Client(kTransfer);
  sent = true;
  thief.join();
  EXPECT_EQ(ending.code, 0);
  EXPECT_THAT(ending.output, HasSubstr("The bank has taken the transfer.\n"));
  EXPECT_THAT(ending.output, HasSubstr("users.par"));
}

TEST_F(ClientTest, SendsNothingWhereTheParametersCannotBeKept) {
  StartBank("");
  std::ofstream(written_.File("data")) << "in the way";
  const Ending ending = Client(kTransfer);
  EXPECT_EQ(ending.code, 1);
  EXPECT_THAT(ending.output, HasSubstr("users.par"));
  std::filesystem::remove(written_.File("data"));
  EXPECT_THAT(Client("balance --account 1000471101").output, HasSubstr("  3915,12 EUR\n"));
}

// An order would wait at the bank for what is found missing only then.
TEST_F(ClientTest, LooksAtItsFilesBeforeAnythingIsSent) {
  url_ = "http://127.0.0.1:9/";  // nobody is asked
  const std::string empty = written_.File("empty");
  std::ofstream(empty).close();
  const std::string missing = written_.File("missing");
  for (const std::string option : {"--pin-file", "--tan-file", "--ca"}) {
    for (const auto& [file, why] :
         {std::pair(missing, "No such file or directory"),
          std::pair(written_.Path(), "Is a directory"), std::pair(empty, "is empty")}) {
      const Ending ending = ClientWithout(option, kTransfer + ' ' + option + ' ' + file);
      EXPECT_EQ(ending.code, 2);
      EXPECT_EQ(ending.output, "tmx client: " + option + ' ' + file + ": " + why + '\n');
    }
  }
  EXPECT_FALSE(std::filesystem::exists(written_.File("data")));
}

TEST_F(ClientTest, LooksAtAPaymentBeforeAnythingIsSent) {
  url_ = "http://127.0.0.1:9/";
  const std::string file = written_.File("payment");
  const auto expect = [&](const std::string& content, const std::string& why,
                          const std::string& more = "") {
    std::ofstream(file) << content;
    const Ending ending = Client("transfer --account 1000471101 --pain " + file + more);
    EXPECT_EQ(ending.code, 2);
    EXPECT_EQ(ending.output, "tmx client: --pain " + file + ": " + why + '\n');
  };
  const std::string urn = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.09";
  const std::string pain = "<Document xmlns=\"" + urn + "\"></Document>";
  expect("", "is empty");
  expect("IBAN;BIC\n", "is no XML in UTF-8, or not whole");
  expect(pain.substr(0, pain.size() - 2), "is no XML in UTF-8, or not whole");
  expect("<html/>", "is no pain.001: its root names no namespace");
  expect("<Document xmlns='urn:x:camt.053.001.02'/>",
         "is no pain.001: its namespace is urn:x:camt.053.001.02");
  expect(pain, "is in the namespace " + urn + ", which is not urn:x:pain.001.001.03",
         " --pain-format urn:x:pain.001.001.03");
  expect(pain + std::string(10 << 20, ' '), "is longer than the longest message, 9999 KB");
  std::filesystem::remove(file);
  EXPECT_THAT(Client("transfer --account 1000471101 --pain " + file).output,
              HasSubstr(file + ": No such file or directory\n"));
}

// The format is that of the file.
TEST_F(ClientTest, SendsAPaymentThatItIsGiven) {
  StartBank("");
  const std::string file = written_.File("payment");
  const std::string from = Ibans().at(0);
  const std::string to = Ibans().at(1);
  std::ofstream(file)
      << "<Document xmlns=\"urn:iso:std:iso:20022:tech:xsd:pain.001.001.09\"><PmtInf>"
         "<DbtrAcct><Id><IBAN>" +
             from +
             "</IBAN></Id></DbtrAcct><CdtTrfTxInf><Amt>"
             "<InstdAmt Ccy=\"EUR\">2.50</InstdAmt></Amt><Cdtr><Nm>Erika</Nm></Cdtr><CdtrAcct><Id>"
             "<IBAN>" +
             to + "</IBAN></Id></CdtrAcct></CdtTrfTxInf></PmtInf></Document>";
  const Ending ending = Client("transfer --account 1000471101 --pain " + file);
  EXPECT_EQ(ending.code, 0) << ending.output;
  EXPECT_THAT(Client("balance --account 1000471102").output, HasSubstr("  5015,00 EUR\n"));
}

TEST_F(ClientTest, SaysWhereThereAreNoBookings) {
  StartBank("");
  const std::string period = " --account 1000471101 --from 20260115 --to 20260115";
  EXPECT_EQ(Client("statement" + period).output, Ibans().at(0) + "  no bookings\n");
  EXPECT_THAT(Client("statement --json" + period).output, HasSubstr("\"pages\": []"));
}

// The sixth message asks for the first account, the next for the others.
TEST_F(ClientTest, AnAccountThatFailsCostsNoOther) {
  StartBank("");
  const std::string refused = Ibans().at(0) + ": the bank has refused: 9050 ";
  StartAgain("request 6 refuse 9210");
  const Ending statement = Client("statement");
  EXPECT_EQ(statement.code, 3);
  EXPECT_THAT(statement.output, HasSubstr("tmx client: " + refused));
  EXPECT_THAT(statement.output, HasSubstr("; 9210 Der Auftrag ist abgelehnt."));
  EXPECT_THAT(statement.output, HasSubstr(":25:99900011/1000471102"));
  EXPECT_THAT(statement.output, Not(HasSubstr(":25:99900011/1000471101")));
  StartAgain("request 6 refuse 9210");
  const Ending balance = Client("balance --json");
  EXPECT_EQ(balance.code, 3);
  EXPECT_THAT(balance.output, HasSubstr("\"number\": \"1000471101\",\n    \"error\": \"the bank"));
  EXPECT_THAT(balance.output, HasSubstr("\"booked\": \"5012,50\""));
}

TEST_F(ClientTest, AfterALostAnswerNoOtherAccountIsAskedFor) {
  StartBank("request 7 reset");
  const Ending ending = Client("balance");
  EXPECT_EQ(ending.code, 1);
  EXPECT_THAT(ending.output, HasSubstr("  3915,12 EUR\n"));
  EXPECT_THAT(ending.output, HasSubstr("the bank's answer is cut or does not come in time"));
  StartAgain("request 6 reset");
  EXPECT_THAT(Client("balance").output,
              HasSubstr(": not asked for after what went wrong before\n"));
}

TEST_F(ClientTest, KeepsTheProductBetweenRuns) {
  StartBank("");
  const std::string product = "9FA6681DEC0CF3046BFC2F8A6";
  EXPECT_EQ(Client("accounts").code, 0);
  EXPECT_THAT(LastLog(), Not(HasSubstr(product)));
  EXPECT_EQ(Client("accounts --product " + product).code, 0);
  EXPECT_THAT(LastLog(), HasSubstr(product));
  EXPECT_EQ(Client("accounts").code, 0);
  EXPECT_THAT(LastLog(), HasSubstr(product));
}

TEST_F(ClientTest, SeveralRunsShareTheirData) {
  StartBank("");
  std::string runs;
  std::string waits;
  for (const char* const name : {"a", "b", "c", "d"}) {
    runs += Command("accounts") + " >" + written_.File(name) + " 2>&1 & " + name + "=$!; ";
    waits += std::string("wait $") + name + " || exit 1; ";
  }
  EXPECT_EQ(std::system((runs + waits).c_str()), 0)
      << Content(written_.File("a")) << Content(written_.File("b")) << Content(written_.File("c"))
      << Content(written_.File("d"));
}

TEST_F(ClientTest, SaysWhenADayHasNoMoreNamesForLogs) {
  url_ = "http://127.0.0.1:9/";
  EXPECT_THAT(Client("accounts").output, HasSubstr("the bank cannot be reached"));
  const std::filesystem::path first =
      std::filesystem::directory_iterator(written_.File("log"))->path();
  std::filesystem::path last = first;
  last.replace_filename(first.filename().string().substr(0, 5) + "999.pro");
  std::filesystem::rename(first, last);
  const Ending ending = Client("accounts");
  EXPECT_EQ(ending.code, 1);
  EXPECT_THAT(ending.output, HasSubstr("(17398)"));
}

TEST_F(ClientTest, WritesOnlyWhatNobodyElseCanRead) {
  StartBank("");
  const mode_t before = umask(0);
  const Ending ending = Client("accounts");
  umask(before);
  EXPECT_EQ(ending.code, 0);
  std::size_t files = 0;
  for (const char* const directory : {"data", "log"})
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(written_.File(directory))) {
      ++files;
      EXPECT_EQ(entry.status().permissions() &
                    (std::filesystem::perms::group_all | std::filesystem::perms::others_all),
                std::filesystem::perms::none)
          << entry.path();
    }
  EXPECT_GT(files, 2u);
}

TEST_F(ClientTest, SendsAWrongPinOnce) {
  StartBank("");
  Write("pin", "99999\n");
  for (const char* const code : {"9942", "9942", "9931"}) {
    const Ending ending = Client("balance");
    EXPECT_EQ(ending.code, 3);
    EXPECT_THAT(ending.output, HasSubstr(code));
  }
  Write("pin", std::string(demo::kPin));
  const Ending locked = Client("balance");
  EXPECT_EQ(locked.code, 3);
  EXPECT_THAT(locked.output, HasSubstr("9930"));
  ExpectNoSecrets();
}

TEST_F(ClientTest, IsSilentAboutProgressWithoutATerminal) {
  StartBank("");
  const Ending ending = Client("accounts");
  EXPECT_EQ(ending.code, 0);
  EXPECT_THAT(ending.output, Not(HasSubstr("\r")));
  EXPECT_THAT(ending.output, Not(HasSubstr("#")));
}

}  // namespace
}  // namespace tmx
