// A bank that lives in memory, for tests, samples and experiments. It speaks FinTS 3.0 with PIN and
// TAN (version 300 of the standard) and, of version 220, initialisation and balance.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "demo/bank/answer_message.h"
#include "demo/bank/ledger.h"
#include "demo/bank/options.h"
#include "demo/bank/orders.h"
#include "demo/bank/request_message.h"

namespace tmx::demo {

/// The whole bank without its network: a request's bytes in, the answer's bytes out. Every request
/// gets an answer, whatever its bytes are; equal requests in equal order get equal answers. One
/// thread at a time. Nothing outlives the object.
class SandboxBank {
 public:
  explicit SandboxBank(BankOptions options = {});

  /// Messages as they stand before Base64. `faults` spoil the answer, not what the bank does.
  std::string Answer(std::string_view request, const MessageFaults& faults = {});

  const BankOptions& Options() const { return options_; }
  Ledger& Books() { return ledger_; }
  const Ledger& Books() const { return ledger_; }

 private:
  // An order that waits for its TAN or its confirmation.
  struct WaitingOrder {
    Segment order;
    int status_requests = 0;
  };

  struct Dialog {
    int last_number = 1;
    int standard = 300;
    bool is_anonymous = false;
    bool is_open = true;  // false until a TAN at login was given
    bool wants_upd = false;
    std::string user;
    std::string customer;
    std::vector<std::string> system_ids;  // one, or two after a new one was given
    std::string function;
    std::map<std::string, WaitingOrder> waiting;  // by reference
  };

  // One request with its answer.
  struct Exchange {
    RequestMessage request;
    AnswerMessage answer;
    std::string dialog;  // as the answer names it
    bool is_aborted = false;
  };

  static std::string Numbered(std::string_view prefix, int number);

  void Dispatch(Exchange& exchange);
  void Abort(Exchange& exchange, std::string_view code, std::string_view text);

  // Who sends, and with which PIN. Each refuses and gives false.
  bool CheckPin(Exchange& exchange);
  bool CheckSender(Exchange& exchange, const Dialog& dialog);

  void Initialise(Exchange& exchange);
  bool CheckIdentity(Exchange& exchange, Dialog& dialog, const Segment& identity,
                     bool wants_system_id);
  bool CheckFunction(Exchange& exchange, Dialog& dialog, const Segment* tan);
  void Synchronise(Exchange& exchange, Dialog& dialog, const Segment& order);
  void SendParameters(Exchange& exchange, Dialog& dialog, const Segment& versions);
  void SendUserParameters(Exchange& exchange, const Dialog& dialog, int reference);

  void Continue(Exchange& exchange, Dialog& dialog);
  void EndDialog(Exchange& exchange, const Segment& order);
  void RunOrders(Exchange& exchange, Dialog& dialog);
  void RunOrder(Exchange& exchange, Dialog& dialog, const Segment& order, const Segment* tan);

  void AskForTan(Exchange& exchange, Dialog& dialog, const Segment& order, const Segment& tan);
  void NoTanNeeded(Exchange& exchange, const Segment& tan);
  void TakeTan(Exchange& exchange, Dialog& dialog, const Segment& tan);
  void TakeTanOf(Exchange& exchange, Dialog& dialog, const std::string& reference,
                 const Segment& tan);
  void TakeStatusRequest(Exchange& exchange, Dialog& dialog, const std::string& reference,
                         const Segment& tan);
  void DropWaiting(Exchange& exchange, Dialog& dialog, const std::string& reference);
  void RunWaiting(Exchange& exchange, Dialog& dialog, const std::string& reference,
                  const Segment& tan);

  BankOptions options_;
  Ledger ledger_;
  std::map<std::string, Dialog> dialogs_;
  int last_dialog_ = 0;
  int last_system_id_ = 0;
  int last_reference_ = 0;
};

}  // namespace tmx::demo
