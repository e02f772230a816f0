// An account, as the bank names it.
#pragma once

#include <string>

namespace tmx::demo {

struct BankAccount {
  std::string iban, bic, number, subaccount, bank_code;
  long country = 280;
  bool takes_sepa = true;  // unless the bank says otherwise
};

}  // namespace tmx::demo
