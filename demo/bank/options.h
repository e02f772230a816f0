// What a host program or a test may choose about the sandbox bank.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "demo/bank/ledger.h"
#include "demo/bank/secrets.h"

namespace tmx::demo {

struct BankOptions {
  std::string address = "127.0.0.1";  // as HIKOM names it
  // The bank's calendar stands still, so that every run gives the same answers.
  Day today = std::chrono::year(2026) / std::chrono::January / 15;
  std::string tan{kTan};         // right for every challenge
  int confirm_after = 1;         // so many questions say that the user has not yet confirmed
  bool asks_by_hand = false;     // clients may ask for a confirmation only at their user's word
  bool tan_at_login = false;     // the initialisation with a two-step procedure needs a TAN too
  std::size_t page_entries = 4;  // of a statement
  int bpd_version = 12;
  int upd_version = 3;
};

}  // namespace tmx::demo
