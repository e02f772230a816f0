// A host that makes transfers at a sandbox bank of its own.
#pragma once

#include <string>
#include <vector>

#include "demo/host/segment_values.h"
#include "tests/demo/host_fixture.h"

namespace tmx::demo {

inline constexpr const char* kPain = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";

inline std::string PaymentFile(const std::string& from, const std::string& to,
                               const std::string& amount) {
  return "<?xml version=\"1.0\"?><Document "
         "xmlns=\"urn:iso:std:iso:20022:tech:xsd:pain.001.001.03\">"
         "<CstmrCdtTrfInitn><GrpHdr><NbOfTxs>1</NbOfTxs><CtrlSum>" +
         amount + "</CtrlSum></GrpHdr><PmtInf><DbtrAcct><Id><IBAN>" + from +
         "</IBAN></Id></DbtrAcct><CdtTrfTxInf><Amt><InstdAmt Ccy=\"EUR\">" + amount +
         "</InstdAmt></Amt><Cdtr><Nm>Erika Muster</Nm></Cdtr><CdtrAcct><Id><IBAN>" + to +
         "</IBAN></Id></CdtrAcct><RmtInf><Ustrd>Miete</Ustrd></RmtInf></CdtTrfTxInf></PmtInf>"
         "</CstmrCdtTrfInitn></Document>";
}

// The opened conversation's first account, and another of the bank.
class TransferFixture : public HostFixture {
 protected:
  // Chooses the procedure whose orders are confirmed on another device.
  void Decouple() {
    ConversationOptions options;
    options.wanted_function = "946";
    Restart(options);
  }
  bool TransferTo(const std::string& amount) {
    if (!conversation().Open()) return false;
    std::vector<BankAccount> accounts;
    if (!conversation().Accounts(accounts)) return false;
    from_ = accounts[0];
    std::string to;
    for (const Account& account : bank_.Books().Accounts())
      if (account.iban != from_.iban) to = account.iban;
    return conversation().Transfer(from_, kPain, PaymentFile(from_.iban, to, amount));
  }
  // The transfer that was made last holds the problem.
  void ExpectFailedOrder(const std::string& problem) {
    const HbRequest* order = nullptr;
    for (unsigned short i = 0; i < job_.RequestCount(); ++i)
      if (job_.GetRequest(i)->GetRequestName() == "HKCCS") order = job_.GetRequest(i);
    ASSERT_NE(order, nullptr);
    EXPECT_EQ(order->GetStatus(), HbStatusError);
    const HbSegment* const error = FindResponse(*order, "INERR");
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(TextOf(*error, field::kReturnText), problem);
  }
  Cents Balance() { return bank_.Books().ByIban(from_.iban)->Balance(); }
  // What nobody has spent.
  Cents FirstBalance() { return SandboxBank().Books().ByIban(from_.iban)->Balance(); }

  BankAccount from_;
};

}  // namespace tmx::demo
