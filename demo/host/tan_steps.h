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

  // How the steps reach the user. Both are given.
  struct Surface {
    ShowChallenge show;
    Wait wait;
  };

  TanSteps(BankDialog& dialog, const HbUser& user, const Access& access, Surface surface,
           Report& report);

  // Sends requests together with the HKTAN of one of them, gives the TAN or waits for the
  // confirmation, if the bank asks for one. What the bank then answers belongs to that request.
  bool Send(std::vector<HbRequest*> requests, HbRequest& order, const std::string& order_code);

 private:
  // An HKTAN; null with a problem.
  HbRequest* NewRequest(const char* process, const std::string& order_code);
  bool Finish(HbRequest& order, HbRequest& tan);
  // What the second step has brought belongs to the order.
  bool HandOver(HbRequest& order, const HbRequest& step);
  bool GiveTan(HbRequest& order, HbRequest& tan, const HbSegment& challenge);
  bool WaitForConfirmation(HbRequest& order, const HbSegment& challenge);

  BankDialog& dialog_;
  const HbUser& user_;
  const Access& access_;
  Surface surface_;
  Report& report_;
};

}  // namespace tmx::demo
