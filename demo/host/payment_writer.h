// Payment files that a host makes itself.
#pragma once

#include <string>
#include <string_view>

namespace tmx::demo {

// One SEPA transfer in euros. Texts are UTF-8.
struct Payment {
  std::string owner, iban, bic;  // of the account that pays; without a BIC the bank knows its own
  std::string name, to_iban;     // of who is paid
  std::string amount;            // as 12.34
  std::string purpose;           // may be empty
};

inline constexpr const char* kPain00103 = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";
inline constexpr const char* kPain00109 = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.09";

// A pain.001 of one of these two formats, with an id of its own, to be carried out as soon as
// possible. Characters that XML cannot hold become blanks. Empty without random bytes.
std::string PainOf(const Payment& payment, std::string_view format);

}  // namespace tmx::demo
