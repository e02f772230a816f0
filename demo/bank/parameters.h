// Bank and user parameter data, made from the tables of orders, procedures and accounts.
#pragma once

#include <vector>

#include "demo/bank/ledger.h"
#include "demo/bank/options.h"
#include "demo/hbci_syntax.h"

namespace tmx::demo {

/// The formats of statements in XML and of transfers that the bank reads.
inline constexpr std::string_view kCamt052 = "urn:iso:std:iso:20022:tech:xsd:camt.052.001.02";
inline constexpr std::string_view kCamt053 = "urn:iso:std:iso:20022:tech:xsd:camt.053.001.02";
inline constexpr std::string_view kPain03 = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.03";
inline constexpr std::string_view kPain09 = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.09";

/// How many days back a statement reaches.
inline constexpr int kStatementDays = 90;

/// HIBPA, HIKOM, HISHV and the parameters of every order, for a version of the standard.
std::vector<Segment> BankParameters(const BankOptions& options, int standard);

/// HIUPA and one HIUPD for each of the user's accounts.
std::vector<Segment> UserParameters(const BankOptions& options, const Ledger& ledger,
                                    const User& user, int standard);

}  // namespace tmx::demo
