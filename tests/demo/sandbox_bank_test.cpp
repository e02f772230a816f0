#include "demo/bank/sandbox_bank.h"

#include <gmock/gmock.h>

#include "tests/demo/bank_client.h"

namespace tmx::demo {
namespace {

using testing::HasSubstr;

TEST(SandboxBank, AFirstContactGetsASystemIdAndAllParameters) {
  SandboxBank bank;
  BankClient client(bank);
  client.function = "999";
  const BankAnswer begun = client.Begin("HKSYN:#:3+0'");
  EXPECT_EQ(begun.Codes(), "3060 0020@3 0020@4 3050@4 3920@4 3050@4 0020@5");
  EXPECT_EQ(begun.Text("HISYN"), "HISYN+SANDKASTEN-4711-000001'\n");
  EXPECT_EQ(begun.Text("HIBPA"), "HIBPA+12+280:99900011+Sandkastenbank+3+1+220:300+256+60+300'\n");
  EXPECT_EQ(begun.First("HIRMS").At(0), "0020");
  EXPECT_TRUE(begun.Has("HIPINS"));
  EXPECT_TRUE(begun.Has("HIUPA"));
  EXPECT_EQ(client.End().Codes(), "0100 0010");
}

TEST(SandboxBank, ADialogOfTwoStepsTellsTheBalance) {
  SandboxBank bank;
  BankClient client(bank);
  client.GetSystemId();
  client.bpd = 12;
  client.upd = 3;
  const BankAnswer begun = client.Begin();
  EXPECT_EQ(begun.Codes(), "3060 0020@3 0020@4 3920@4 3076@5");
  EXPECT_FALSE(begun.Has("HIBPA"));
  EXPECT_FALSE(begun.Has("HIUPA"));
  const std::string iban = MakeIban("99900011", "1000471101");
  const BankAnswer balance = client.Send("HKSAL:#:7+" + iban + "+N'");
  EXPECT_EQ(balance.Codes(), "0010 0020@3");
  EXPECT_EQ(balance.Text("HISAL"), "HISAL+" + iban +
                                       ":TMXTDE00XXX:1000471101::280:99900011+Girokonto+EUR+"
                                       "C:3915,12:EUR:20260115:120000++500,:EUR+4415,12:EUR'\n");
  client.End();
}

TEST(SandboxBank, Version220TellsTheBalance) {
  SandboxBank bank;
  BankClient client(bank);
  client.standard = 220;
  client.function = "999";
  const BankAnswer begun = client.Begin("HKSYN:#:2+0'");
  EXPECT_EQ(begun.Codes(), "3060 0020@3 0020@4 3050@4 3050@4 0020@5");
  EXPECT_THAT(begun.Text("HISALS"), HasSubstr("HISALS+1+1"));
  const BankAnswer balance = client.Send("HKSAL:#:5+1000471101::280:99900011+N'");
  EXPECT_EQ(balance.Codes(), "0010 0020@3");
  EXPECT_TRUE(balance.Has("HISAL"));
  client.End();
}

}  // namespace
}  // namespace tmx::demo
