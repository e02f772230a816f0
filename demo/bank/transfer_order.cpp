// The order that sends money: a payment file with one transfer.
#include <algorithm>
#include <string>
#include <variant>

#include "demo/bank/orders.h"
#include "demo/bank/parameters.h"
#include "demo/xml.h"

namespace tmx::demo {
namespace {

constexpr std::size_t kLongestPurpose = 140;
constexpr std::size_t kLongestName = 70;

// The text of the only leaf with that end of its path; empty where there is none or more.
std::string OnlyText(const XmlDocument& document, std::string_view path_end) {
  const auto found = document.Find(path_end);
  return found.size() == 1 ? found.front()->text : std::string();
}

// The transfer in the order, or why it cannot be read or made.
std::variant<Transfer, std::string> ReadTransfer(const Segment& order) {
  const std::string& format = order.At(1);
  if (format != kPain03 && format != kPain09) return "Das Format wird nicht unterst\xFCtzt.";
  const DataElement* const file = order.Find(2);
  if (file == nullptr || !file->is_binary) return "Der Zahlungsauftrag fehlt.";
  const auto document = ParseXml(file->bytes);
  if (!document) return "Der Zahlungsauftrag ist kein XML.";
  if (document->root_attributes.find(format) == std::string::npos)
    return "Der Zahlungsauftrag hat ein anderes Format, als der Auftrag nennt.";
  const auto amounts = document->Find("CdtTrfTxInf/Amt/InstdAmt");
  if (amounts.size() != 1)
    return "Es ist genau eine \xDC"
           "berweisung m\xF6glich.";
  const auto cents = ParseXmlAmount(amounts.front()->text);
  if (!cents || amounts.front()->attributes.find("\"EUR\"") == std::string::npos)
    return "Der Betrag ist falsch oder nicht in Euro.";
  for (const XmlLeaf* const sum : document->Find("CtrlSum")) {
    if (ParseXmlAmount(sum->text) != cents) return "Die Kontrollsumme ist falsch.";
  }
  for (const XmlLeaf* const count : document->Find("NbOfTxs")) {
    if (count->text != "1") return "Die Anzahl der Auftr\xE4ge ist falsch.";
  }
  Transfer transfer;
  transfer.debtor_iban = OnlyText(*document, "DbtrAcct/Id/IBAN");
  transfer.creditor_iban = OnlyText(*document, "CdtrAcct/Id/IBAN");
  transfer.creditor_name = OnlyText(*document, "Cdtr/Nm");
  for (const XmlLeaf* const line : document->Find("RmtInf/Ustrd")) transfer.purpose += line->text;
  transfer.cents = *cents;
  if (transfer.creditor_name.size() > kLongestName || transfer.purpose.size() > kLongestPurpose)
    return "Name oder Verwendungszweck sind zu lang.";
  if (transfer.debtor_iban != order.At(0, 0))
    return "Der Zahlungsauftrag nennt ein anderes Auftraggeberkonto.";
  return transfer;
}

// The transfer if it can be made; otherwise it is refused.
std::optional<Transfer> ReadyTransfer(const OrderContext& context, const Segment& order,
                                      AnswerMessage& answer) {
  if (AccountOf(context, order, 0, answer) == nullptr) return std::nullopt;
  const auto read = ReadTransfer(order);
  if (const auto* const reason = std::get_if<std::string>(&read)) {
    Refuse(answer, order, *reason);
    return std::nullopt;
  }
  const Transfer& transfer = std::get<Transfer>(read);
  if (const auto reason = context.ledger.Forbids(transfer)) {
    Refuse(answer, order, *reason);
    return std::nullopt;
  }
  return transfer;
}

}  // namespace

bool CheckTransfer(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  return ReadyTransfer(context, order, answer).has_value();
}

void RunTransfer(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  const auto transfer = ReadyTransfer(context, order, answer);
  if (!transfer) return;
  context.ledger.Book(*transfer);
  answer.ForSegment(order.number, "0020",
                    "\xDC"
                    "berweisung ausgef\xFChrt.");
}

}  // namespace tmx::demo
