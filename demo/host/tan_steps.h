// Orders with a TAN or a confirmation on another device.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "demo/host/bank_dialog.h"
#include "demo/host/challenge.h"
#include "demo/host/tan_procedure.h"

namespace tmx::demo {

// The second step of a two-step procedure. Owner: its maker; everything that it is made of must
// outlive it. Empty state: none. Threads: the dialog's.
class TanSteps {
 public:
  // Waits before the bank is asked whether the user has confirmed.
  using Wait = std::function<void(std::chrono::seconds)>;

  // Asks the user whether he has confirmed; false if he gives up.
  using IsConfirmed = std::function<bool()>;

  // How the steps reach the user. All are given, but `is_confirmed` may be empty: then procedures
  // that ask only at the user's word cannot be used.
  struct Surface {
    ShowChallenge show;
    Wait wait;
    IsConfirmed is_confirmed;
  };

  TanSteps(BankDialog& dialog, const HbUser& user, const Access& access, Surface surface,
           Report& report);

  // Sends requests together with the HKTAN of one of them, gives the TAN or waits for the
  // confirmation, if the bank asks for one. What the bank then answers belongs to that request.
  bool Send(std::vector<HbRequest*> requests, HbRequest& order, const std::string& order_code);

 private:
  // An HKTAN; null with a problem.
  HbRequest* NewRequest(const char* process, const std::string& order_code);
  // The HKTAN beside an order; null with a problem.
  HbRequest* NewFirstStep(const HbRequest& order, const std::string& order_code);
  bool Finish(HbRequest& order, HbRequest& tan);
  // What the second step has brought belongs to the order.
  bool HandOver(HbRequest& order, const HbRequest& step);
  bool GiveTan(HbRequest& order, HbRequest& tan, const HbSegment& challenge);
  bool WaitForConfirmation(HbRequest& order, const HbSegment& challenge);
  // Whether there is a way to ask the bank for a confirmation.
  bool CanAsk(const TanProcedure& procedure) const;

  BankDialog& dialog_;
  const HbUser& user_;
  const Access& access_;
  Surface surface_;
  Report& report_;
};

}  // namespace tmx::demo
