// The messages of a dialog with a bank.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/access.h"
#include "demo/host/answer_reader.h"
#include "demo/host/macro_runner.h"
#include "demo/host/message_writer.h"
#include "demo/host/permissions.h"
#include "demo/host/report.h"
#include "demo/secret_string.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/progress.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {

// How messages reach the bank: the answer's bytes, or false and why there is none. A message holds
// secrets: who makes copies of it should wipe them.
using Exchange =
    std::function<bool(std::string_view message, std::string& answer, std::string& problem)>;

// Writes messages by the macros, sends them, logs them and gives each segment of the answer to the
// request that it answers, or to the message.
//
// After a refused PIN or a lock nothing more is sent, not even the end of the dialog: a second try
// could lock the account.
//
// Owner: its maker; everything that it is made of must outlive it. Requests, messages and dialogs
// belong to the job, which nobody else uses. Empty state: no dialog. Threads: one at a time,
// together with the job.
class BankDialog {
 public:
  BankDialog(HbJob& job, HbUser& user, HbMacroEngine& engine, const Access& access,
             Exchange exchange, HbProgressInfoRecord* progress, Report& report);

  // Destroys the job's dialogs and requests; the next message begins another dialog. The security
  // function is that of the whole dialog.
  void Begin(std::string security_function);
  // Tells the bank that the dialog is over.
  bool End();
  // Whether the bank has opened a dialog that nobody has ended yet.
  bool IsOpen() const;
  const std::string& SecurityFunction() const { return security_function_; }
  // The dialog of the last message; null before the first.
  const HbDialog* Dialog() const { return dialog_; }
  MacroRunner& Runner() { return runner_; }

  // Valid until the next dialog begins. One for which the job has no room cannot be sent.
  HbRequest& NewRequest(const char* name, unsigned short version);
  // Sends one message. False when nothing came back that answers it, or when the bank refuses the
  // message as a whole; then each request has an error response, whose code is the outcome.
  bool Send(const std::vector<HbRequest*>& requests);
  // Gives a request that has failed an error response with the outcome and the problem.
  void TellProblem(HbRequest& request) const;
  // A TAN is for one message: no later one carries it.
  void ForgetTan();
  // For a dialog that was never opened, whose end nobody tells the bank.
  void ForgetPin();

 private:
  bool SendMessage(const std::vector<HbRequest*>& requests);
  bool TakeAnswer(HbMessage& message, const std::string& bytes);
  // A message in the dialog, whose head holds what is around the requests; null with a problem.
  HbMessage* NewMessage(const std::vector<HbRequest*>& requests);
  // The bytes of a message that may be sent.
  bool Write(HbMessage& message, SecretString& bytes);
  void FillHead(HbRequest& head, const HbMessage& message);
  bool AskPin(HbRequest& head);
  // In all dialogs of the job.
  void Forget(unsigned long secret);
  void Log(std::string_view bytes, bool sent);
  // Tells the progress what is under way, and counts the step once it is over.
  bool Deliver(const std::vector<HbRequest*>& requests, std::string_view bytes,
               std::string& answer);
  void TakeCodes(const AnswerReader::Result& answer);
  void Distribute(HbMessage& message, const AnswerReader::Result& answer);

  HbJob& job_;
  HbUser& user_;
  const Access& access_;
  Exchange exchange_;
  HbProgressInfoRecord* progress_;  // may be null
  Report& report_;
  Permissions permissions_;
  MacroRunner runner_;
  MessageWriter writer_;
  AnswerReader reader_;
  HbDialog* dialog_ = nullptr;                         // of the job
  std::vector<std::unique_ptr<HbRequest>> not_taken_;  // by the job
  std::string security_function_;
};

}  // namespace tmx::demo
