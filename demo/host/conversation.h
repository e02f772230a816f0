// A user's conversation with a bank.
#pragma once

#include <string>
#include <vector>

#include "demo/host/bank_account.h"
#include "demo/host/bank_dialog.h"
#include "demo/host/permissions.h"
#include "demo/host/tan_media.h"
#include "demo/host/tan_steps.h"

namespace tmx::demo {

struct ConversationOptions {
  // Registration number of the product, unless the access has one.
  std::string product = "tmxtools";
  std::string product_version = "1.0";
  std::string wanted_function;  // empty: the first that the bank allows
  std::string wanted_medium;    // empty: the first that the bank lists
  ShowChallenge show;           // pictures and codes among them; empty: only the text is seen
  TanSteps::Wait wait;          // replaced by tests; empty: sleeps
  // Asked before each question after a confirmation where the bank allows none that the user has
  // not caused; empty: such procedures cannot be used.
  TanSteps::IsConfirmed is_confirmed;
  // Gets the order that is under way, and a step for each message; null: nobody looks.
  HbProgressInfoRecord* progress = nullptr;
};

// Speaks with the bank for one user: opens a dialog, does what is asked, closes it. Each operation
// checks the parameters of bank and user before it builds a request; where they forbid it, the
// problem names the parameter.
//
// It speaks FinTS 3.0, or HBCI 2.2 with a user of that version: then it knows no procedures with a
// TAN, and the user's parameters name the accounts. The engine must have the macro files that go
// with it. Where the bank refuses to begin a dialog, the next Open() asks for the system id and the
// procedures again.
//
// After a refused PIN or a lock nothing more is sent, not even the end of the dialog: a second try
// could lock the account.
//
// Owner: its maker; job, user, engine and access must outlive it. The job is for nothing else: what
// earlier dialogs have left in it goes when one begins. Empty state: no dialog. Threads:
// one at a time, together with the job. Errors are texts: Problem() of the last operation.
class Conversation {
 public:
  Conversation(HbJob& job, HbUser& user, HbMacroEngine& engine, Access& access, Exchange exchange,
               ConversationOptions options);
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // Asks for a system id and the allowed procedures where they are missing, chooses a procedure and
  // opens a dialog. The parameters of bank and user go into the user.
  bool Open();
  // All accounts that are named, in place of those that the list holds.
  bool Accounts(std::vector<BankAccount>& accounts);
  // The HISAL segment.
  bool Balance(const BankAccount& account, Ref<HbSegment>& balance);
  // The statements of all pages, in the bank's order: HIKAZ segments, or HICAZ of a bank that sends
  // XML only.
  bool Statement(const BankAccount& account, const HbDate& from, const HbDate& to,
                 std::vector<Ref<HbSegment>>& pages);
  // A transfer in a pain.001.
  bool Transfer(const BankAccount& account, const std::string& pain_format,
                const std::string& pain);
  // The TAN media that the bank lists for the procedure.
  bool Media(std::vector<ListedMedium>& media);
  bool Close();

  // How the last operation ended.
  Outcome LastOutcome() const { return report_.outcome; }
  const std::string& Problem() const { return report_.problem; }
  // Whether the bank has refused the PIN or locked the access.
  bool IsRefused() const { return report_.is_shut; }
  // What the bank has said, one return code a line, in the order of arrival.
  const std::vector<std::string>& BankTexts() const { return report_.bank_texts; }

 private:
  bool IsHbci22() const;
  bool MustSynchronise() const;
  bool OpenDialog(bool synchronise);
  HbRequest& NewIdentity();
  HbRequest& NewPreparation();
  // Whether the bank has refused to begin the dialog, but neither the PIN nor a TAN.
  bool IsRefusedAtOnce() const;
  // It may have withdrawn the system id or the procedure: the next dialog asks for both.
  void ForgetWhatTheBankGave();
  bool TakeSystemId(const HbRequest& synchronisation);
  bool ChooseFunction();
  // Why a procedure cannot be used; empty if it can.
  std::string ProblemWith(const std::string& function) const;
  // Whether the procedure needs a medium and none is known, or another one is wanted.
  bool LacksMedium() const;
  bool AskForMedia(std::vector<ListedMedium>& media);
  bool ChooseMedium();
  // The format in which a statement is asked for.
  bool TakeFormat(const char* order, unsigned short version, std::string& format);
  // In the dialect that bank and account allow; null with a problem.
  HbRequest* NewStatementRequest(const BankAccount& account);
  // The newest version of an order that the bank offers and that can name the account, as far as
  // HISPAS is about that; 0 with a problem.
  unsigned short VersionFor(const BankAccount& account, const char* order, unsigned short newest,
                            unsigned short oldest);
  // Whether an account has what an order must name, and what one in SEPA must.
  bool IsNameable(const BankAccount& account, const std::string& order, unsigned short version);
  bool IsNameableInSepa(const BankAccount& account, const std::string& order);
  void PutAccount(HbRequest& order, const BankAccount& account);
  bool SendOrder(HbRequest& order);

  HbUser& user_;
  Access& access_;
  ConversationOptions options_;
  Report report_;
  BankDialog dialog_;
  TanSteps tans_;
  Permissions permissions_;
};

}  // namespace tmx::demo
