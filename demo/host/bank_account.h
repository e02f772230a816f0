// An account, as the bank names it.
#pragma once

#include <string>

namespace tmx::demo {

struct BankAccount {
  std::string iban, bic, number, subaccount, bank_code;
  long country = 280;
};

}  // namespace tmx::demo
