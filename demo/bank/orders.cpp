#include "demo/bank/orders.h"

#include <algorithm>
#include <array>
#include <utility>

#include "demo/bank/procedures.h"

namespace tmx::demo {
namespace {

std::string Sign(Cents cents) { return cents < 0 ? "D" : "C"; }

// The group of an account begins with the IBAN from these versions on.
bool NamesIban(const Segment& order) {
  return (order.code == "HKSAL" || order.code == "HKKAZ") ? order.version >= 7 : true;
}

void AddBalance(OrderContext& context, const Segment& order, const Account& account,
                AnswerMessage& answer) {
  const std::string today = DayText(context.options.today);
  const Cents balance = account.Balance();
  const Cents available = balance + account.credit;
  Segment result("HISAL", order.version);
  result.reference = order.number;
  result.Add(NamesIban(order) ? InternationalElements(account) : AccountElements(account));
  result.Add(account.product).Add("EUR");
  result.Add({Sign(balance), AmountText(balance), "EUR", today, "120000"}).Add("");
  result.Add({AmountText(account.credit), "EUR"}).Add({AmountText(available), "EUR"});
  answer.Add(std::move(result));
}

void RunBalance(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  const Account* const account = AccountOf(context, order, 0, answer);
  if (account == nullptr) return;
  if (order.At(1) != "J" && order.At(1) != "N")
    return Refuse(answer, order, "Das Feld f\xFCr alle Konten muss J oder N enthalten.");
  for (const Account* const candidate : context.ledger.AccountsOf(context.user.id)) {
    if (candidate == account || order.At(1) == "J") AddBalance(context, order, *candidate, answer);
  }
  answer.ForSegment(order.number, "0020", "Auftrag ausgef\xFChrt.");
}

void RunAccounts(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  Segment result("HISPA", 1);
  result.reference = order.number;
  const auto add = [&result](const Account& account) {
    auto elements = InternationalElements(account);
    elements.insert(elements.begin(), "J");
    result.Add(elements);
  };
  if (order.groups.empty()) {
    for (const Account* const account : context.ledger.AccountsOf(context.user.id)) add(*account);
  }
  for (std::size_t i = 0; i < order.groups.size(); ++i) {
    const Account* const account = context.ledger.ByNumber(order.At(i, 0));
    if (account == nullptr || account->owner != context.user.id)
      return Refuse(answer, order, "Das Konto ist unbekannt.");
    add(*account);
  }
  answer.Add(std::move(result));
  answer.ForSegment(order.number, "0020", "Auftrag ausgef\xFChrt.");
}

void RunMedia(OrderContext& context, const Segment& order, AnswerMessage& answer) {
  if (order.At(0).empty() || order.At(1).empty())
    return Refuse(answer, order, "Art und Klasse der TAN-Medien fehlen.");
  Segment result("HITAB", order.version);
  result.reference = order.number;
  result.Add("0");
  for (const TanMedium& medium : kMedia) {
    if (medium.user != context.user.id) continue;
    std::vector<std::string> elements(order.version == 4 ? 13 : 14);
    elements[0] = "G";
    elements[1] = "1";
    if (order.version == 5) elements[2] = "910";
    elements[order.version == 4 ? 2 : 3] = medium.card;
    elements.back() = medium.name;
    result.Add(elements);
  }
  if (result.groups.size() == 1)
    return answer.ForSegment(order.number, "3010", "Es gibt keine TAN-Medien.");
  answer.Add(std::move(result));
  answer.ForSegment(order.number, "0020", "Auftrag ausgef\xFChrt.");
}

constexpr std::array kOrderKinds{
    OrderKind{"HKSAL", 5, 8, 5, false, nullptr, RunBalance},
    OrderKind{"HKSPA", 1, 1, 0, false, nullptr, RunAccounts},
    OrderKind{"HKKAZ", 5, 7, 0, false, nullptr, RunStatement},
    OrderKind{"HKCAZ", 1, 1, 0, false, nullptr, RunCamtStatement},
    OrderKind{"HKCCS", 1, 1, 0, true, CheckTransfer, RunTransfer},
    OrderKind{"HKTAB", 4, 5, 0, false, nullptr, RunMedia},
};

}  // namespace

std::span<const OrderKind> OrderKinds() { return kOrderKinds; }

const OrderKind* FindOrderKind(std::string_view code) {
  const auto found = std::find_if(kOrderKinds.begin(), kOrderKinds.end(),
                                  [code](const OrderKind& kind) { return kind.code == code; });
  return found == kOrderKinds.end() ? nullptr : &*found;
}

const Account* AccountOf(const OrderContext& context, const Segment& order, std::size_t group,
                         AnswerMessage& answer) {
  // An IBAN may stand alone; without one number and bank code must be there.
  const std::size_t shift = NamesIban(order) ? 2 : 0;
  const bool has_iban = shift != 0 && !order.At(group, 0).empty();
  const Account* const account = has_iban ? context.ledger.ByIban(order.At(group, 0))
                                          : context.ledger.ByNumber(order.At(group, shift));
  const bool is_our_bank = has_iban || (order.At(group, shift + 2) == kCountry &&
                                        order.At(group, shift + 3) == kBankCode);
  if (account == nullptr || !is_our_bank || account->owner != context.user.id) {
    Refuse(answer, order, "Das Konto ist unbekannt.");
    return nullptr;
  }
  if (!account->Allows(order.code)) {
    Refuse(answer, order, "Der Auftrag ist f\xFCr dieses Konto nicht erlaubt.");
    return nullptr;
  }
  return account;
}

std::vector<std::string> AccountElements(const Account& account) {
  return {account.number, "", std::string(kCountry), std::string(kBankCode)};
}

std::vector<std::string> InternationalElements(const Account& account) {
  auto elements = AccountElements(account);
  elements.insert(elements.begin(), {account.iban, std::string(kBic)});
  return elements;
}

void Refuse(AnswerMessage& answer, const Segment& order, std::string_view text,
            std::string_view code) {
  answer.ForSegment(order.number, code, text);
}

}  // namespace tmx::demo
