// The orders that ask for statements: MT940, and the same in XML.
#include <algorithm>
#include <utility>

#include "demo/bank/orders.h"
#include "demo/bank/parameters.h"
#include "demo/bank/statement.h"

namespace tmx::demo {
namespace {

// Both orders end with the same five elements: all accounts, first and last day, number of entries,
// continuation mark.
std::optional<StatementRequest> ReadRequest(const OrderContext& context, const Segment& order,
                                            std::size_t at, AnswerMessage& answer) {
  const auto refuse = [&](std::string_view text) {
    Refuse(answer, order, text);
    return std::nullopt;
  };
  StatementRequest request;
  const Day oldest = context.options.today - std::chrono::days{kStatementDays};
  const auto from = order.At(at + 1).empty() ? oldest : ParseDay(order.At(at + 1));
  const auto to = order.At(at + 2).empty() ? context.options.today : ParseDay(order.At(at + 2));
  if (order.At(at) != "N") return refuse("Ums\xE4tze gibt es nur f\xFCr ein Konto.");
  if (!from || !to) return refuse("Ein Datum ist falsch.");
  if (*from > *to) return refuse("Das Anfangsdatum liegt nach dem Enddatum.");
  request.from = std::max(*from, oldest);
  request.to = *to;
  request.page_entries = context.options.page_entries;
  if (!order.At(at + 3).empty()) {
    const auto most = ParseNumber(order.At(at + 3));
    if (!most || *most == 0) return refuse("Die Anzahl der Eintr\xE4ge ist falsch.");
    request.page_entries = std::min(request.page_entries, static_cast<std::size_t>(*most));
  }
  request.mark = order.At(at + 4);
  return request;
}

// The page that is asked for; nothing once the order is answered.
std::optional<StatementPage> PageFor(OrderContext& context, const Segment& order, std::size_t at,
                                     AnswerMessage& answer) {
  const Account* const account = AccountOf(context, order, 0, answer);
  if (account == nullptr) return std::nullopt;
  const auto request = ReadRequest(context, order, at, answer);
  if (!request) return std::nullopt;
  auto page = MakePage(*account, *request, context.options.today);
  if (!page) {
    Refuse(answer, order, "Der Aufsetzpunkt ist unbekannt.");
    return std::nullopt;
  }
  if (page->entries.empty()) {
    answer.ForSegment(order.number, "3010", "Es liegen keine Ums\xE4tze vor.");
    return std::nullopt;
  }
  answer.ForSegment(order.number, "0020", "Auftrag ausgef\xFChrt.");
  if (page->next)
    answer.ForSegment(order.number, "3040", "Es liegen weitere Ums\xE4tze vor.", {*page->next});
  return page;
}

}  // namespace

void RunStatement(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  const auto page = PageFor(context, order, 1, answer);
  if (!page) return;
  Segment result("HIKAZ", order.version);
  result.reference = order.number;
  answer.Add(std::move(result.AddBinary(WriteMt940(*page))));
}

void RunCamtStatement(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  const std::string& format = order.At(1);
  if (format != kCamt052 && format != kCamt053)
    return Refuse(answer, order, "Das Format der Ums\xE4tze wird nicht unterst\xFCtzt.");
  const auto page = PageFor(context, order, 2, answer);
  if (!page) return;
  Segment result("HICAZ", order.version);
  result.reference = order.number;
  result.Add(InternationalElements(*page->account)).Add(format);
  answer.Add(std::move(result.AddBinary(WriteCamt(*page, format))));
}

}  // namespace tmx::demo
