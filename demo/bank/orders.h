// What the bank does for its clients: one row an order, with the versions that it knows.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "demo/bank/answer_message.h"
#include "demo/bank/ledger.h"
#include "demo/bank/options.h"
#include "demo/hbci_syntax.h"

namespace tmx::demo {

/// What an order may use. Not owned; it lives for one request.
struct OrderContext {
  const BankOptions& options;
  Ledger& ledger;
  const User& user;
};

/// An order writes its answer, or codes that refuse it.
using OrderFunction = void (*)(OrderContext&, const Segment&, AnswerMessage&);
/// Whether an order can be done; if not it is refused.
using OrderCheck = bool (*)(OrderContext&, const Segment&, AnswerMessage&);

struct OrderKind {
  std::string_view code;
  int first_version;
  int last_version;
  int version_in_220;  // the one version of the older standard; 0 where it has none
  bool needs_tan;
  OrderCheck check;  // before a TAN is asked for; null for an order without
  OrderFunction run;

  bool Knows(int version, int standard) const {
    if (standard == 220) return version != 0 && version == version_in_220;
    return version >= first_version && version <= last_version;
  }
};

std::span<const OrderKind> OrderKinds();
/// Null for what the bank does not know.
const OrderKind* FindOrderKind(std::string_view code);

/// Orders that need files of their own; their rows stand in the table.
void RunStatement(OrderContext& context, const Segment& order, AnswerMessage& answer);
void RunCamtStatement(OrderContext& context, const Segment& order, AnswerMessage& answer);
bool CheckTransfer(OrderContext& context, const Segment& order, AnswerMessage& answer);
void RunTransfer(OrderContext& context, const Segment& order, AnswerMessage& answer);

/// The user's account that the group names, by IBAN or by number and bank code. Refuses the order
/// and gives null where there is none or where the user's parameters do not allow the job.
const Account* AccountOf(const OrderContext& context, const Segment& order, std::size_t group,
                         AnswerMessage& answer);

/// The elements of an account: number:sub:country:bank code.
std::vector<std::string> AccountElements(const Account& account);
/// The same with IBAN and BIC in front.
std::vector<std::string> InternationalElements(const Account& account);

void Refuse(AnswerMessage& answer, const Segment& order, std::string_view text,
            std::string_view code = "9010");

}  // namespace tmx::demo
