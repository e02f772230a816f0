// A user's conversation with a bank.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/access.h"
#include "demo/host/answer_reader.h"
#include "demo/host/macro_runner.h"
#include "demo/host/message_writer.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {

// How messages reach the bank: the answer's bytes, or false and why there is none.
using Exchange =
    std::function<bool(const std::string& message, std::string& answer, std::string& problem)>;

struct ConversationOptions {
  std::string product = "tmxtools";  // registration number of the product
  std::string product_version = "1.0";
  std::string wanted_function;  // empty: the first that the bank allows
  std::string wanted_medium;    // empty: the first that the bank names
  // Waits for a confirmation on another device; replaced by tests.
  std::function<void(std::chrono::seconds)> wait;
};

// An account, as the bank names it.
struct BankAccount {
  std::string iban, bic, number, subaccount, bank_code;
  long country = 280;
};

// Speaks with the bank for one user: opens a dialog, does what is asked, closes it. Each operation
// checks the parameters of bank and user before it builds a request; where they forbid it, the
// problem names the parameter.
//
// After a refused PIN or a lock nothing more is sent, not even the end of the dialog: a second try
// could lock the account.
//
// Owner: its maker; job, user, engine and access must outlive it. Empty state: no dialog. Threads:
// one at a time, together with the job. Errors are texts: Problem() of the last operation.
class Conversation {
 public:
  Conversation(HbJob& job, HbUser& user, HbMacroEngine& engine, Access& access, Exchange exchange,
               ConversationOptions options);
  ~Conversation();

  // Asks for a system id and the allowed procedures where they are missing, chooses a procedure and
  // opens a dialog. The parameters of bank and user go into the user.
  bool Open();
  bool Accounts(std::vector<BankAccount>& accounts);
  // The HISAL segment.
  bool Balance(const BankAccount& account, Ref<HbSegment>& balance);
  // The statements of all pages, in the bank's order.
  bool Statement(const BankAccount& account, const HbDate& from, const HbDate& to,
                 std::vector<Ref<HbSegment>>& pages);
  // A transfer in a pain.001.
  bool Transfer(const BankAccount& account, const std::string& pain_format,
                const std::string& pain);
  bool Close();

  const std::string& Problem() const { return problem_; }
  // Whether the bank has refused the PIN or locked the access.
  bool IsRefused() const { return refused_; }
  // What the bank has said, one return code a line, in the order of arrival.
  const std::vector<std::string>& BankTexts() const { return bank_texts_; }

 private:
  struct Order;

  bool Fail(std::string problem);
  HbRequest& NewRequest(const char* name, unsigned short version);
  // A message in the dialog, whose head holds what is around the requests.
  HbMessage& NewMessage(const std::vector<HbRequest*>& requests);
  bool Send(const std::vector<HbRequest*>& requests);
  void FillHead(HbRequest& head, const HbMessage& message);
  bool AskPin(HbRequest& head);
  void Log(std::string_view bytes, bool sent);
  void Distribute(HbMessage& message, const AnswerReader::Result& answer);
  void TakeCodes(const HbSegment& segment);

  bool OpenDialog(bool synchronise);
  void TakeParameters(const HbMessage& message);
  void TakeAllowedFunctions(const HbSegment& codes);
  bool ChooseFunction();
  bool ChooseMedium();
  bool EndDialog();

  // The newest version of an order that both sides know, 0 with a problem.
  unsigned short VersionOf(const char* order, unsigned short newest, unsigned short oldest);
  bool IsAllowedFor(const BankAccount& account, const char* order);
  bool NeedsTan(const char* order) const;
  const HbSegment* TanParameters() const;
  // The index of the chosen procedure in HITANS; -1 without one.
  int ProcedureIndex(const HbSegment& parameters) const;
  std::string ProcedureText(const HbSegment& parameters, unsigned long field) const;
  long ProcedureNumber(const HbSegment& parameters, unsigned long field, long otherwise) const;

  bool SendOrder(HbRequest& order);
  HbRequest* NewTanRequest(const char* process, const std::string& order_code);
  bool FinishWithTan(HbRequest& order, HbRequest& tan);
  bool WaitForConfirmation(HbRequest& order, HbRequest& tan);
  static bool HasCode(const HbObject& object, int wanted);

  HbJob& job_;
  HbUser& user_;
  Access& access_;
  Exchange exchange_;
  ConversationOptions options_;
  MacroRunner runner_;
  MessageWriter writer_;
  AnswerReader reader_;
  HbDialog* dialog_ = nullptr;   // of the job
  std::string dialog_function_;  // the security function of the whole dialog
  std::string problem_;
  std::vector<std::string> bank_texts_;
  bool refused_ = false;
};

}  // namespace tmx::demo
