// Statements of account: which bookings stand on a page, and how a page is written.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "demo/bank/ledger.h"

namespace tmx::demo {

/// A part of an account's bookings with the balances around it. Points into the ledger.
struct StatementPage {
  const Account* account = nullptr;
  Day today;
  int number = 1;  // counted from 1
  Cents opening = 0;
  Cents closing = 0;
  std::vector<const Entry*> entries;
  std::optional<std::string> next;  // the mark that asks for the next page
};

/// What a client asks for.
struct StatementRequest {
  Day from;
  Day to;  // with this day
  std::size_t page_entries = 1;
  std::string mark;  // empty for the first page
};

/// Nothing if the mark was not made for this account. A page without entries if there are none.
std::optional<StatementPage> MakePage(const Account& account, const StatementRequest& request,
                                      Day today);

/// MT940 in ISO 8859-1; pages but the first and last have intermediate balances.
std::string WriteMt940(const StatementPage& page);

/// camt.052 or camt.053 in UTF-8, by the format's name.
std::string WriteCamt(const StatementPage& page, std::string_view format);

}  // namespace tmx::demo
