#include "demo/bank/parameters.h"

#include <string>
#include <utility>

#include "demo/bank/orders.h"
#include "demo/bank/procedures.h"

namespace tmx::demo {
namespace {

static_assert(kTan.size() <= kLongestTan);
static_assert(kPin.size() >= kShortestPin && kPin.size() <= kLongestPin);
static_assert(kOtherPin.size() >= kShortestPin && kOtherPin.size() <= kLongestPin);

std::string Text(std::string_view text) { return std::string(text); }
std::string Number(int number) { return std::to_string(number); }

// The beginning that all parameter segments have: orders a message, signatures, and from the later
// versions on the security class.
Segment Parameters(std::string code, int version, bool has_class) {
  Segment segment(std::move(code), version);
  segment.Add("1").Add("1");
  if (has_class) segment.Add("0");
  return segment;
}

// What HITANS says about one procedure, in the order of its elements.
std::vector<std::string> ProcedureElements(const Procedure& procedure, int version,
                                           bool asks_by_hand) {
  std::vector<std::string> elements{
      Text(procedure.function),
      "2",  // the order is sent first, the TAN afterwards
      Text(procedure.id),
      procedure.is_decoupled ? "Decoupled" : "HHD",
      procedure.is_decoupled ? "" : "1.4",
      Text(procedure.name),
      procedure.is_decoupled ? "" : Number(kLongestTan),
      procedure.is_decoupled ? "" : "1",  // digits
      procedure.is_decoupled ? "Freigabe" : "TAN",
      "2048",  // longest challenge
      "N",     // several TANs for one order
      "1",     // the TAN is given at once, in the same dialog
      "N",     // cancelling
      "0",     // account for short messages
      "0",     // account of the order
      "N",     // challenge class
      "N",     // structured challenge
      "00",    // no difference in the initialisation
      procedure.needs_medium ? "2" : "0",
      procedure.needs_medium ? "J" : "N",  // binary part of the challenge
      procedure.needs_medium ? "2" : "1",  // active media
  };
  if (version < 7) return elements;
  std::vector<std::string> waiting(5);
  if (procedure.is_decoupled)
    waiting = {Number(kMostStatusRequests), Number(kFirstWait), Number(kNextWait),
               asks_by_hand ? "J" : "N", asks_by_hand ? "N" : "J"};
  elements.insert(elements.end(), waiting.begin(), waiting.end());
  return elements;
}

Segment TanParameters(int version, bool asks_by_hand) {
  Segment segment = Parameters("HITANS", version, true);
  std::vector<std::string> group{"J", "N", "0"};  // one-step allowed, one TAN order, no hash
  for (const Procedure& procedure : kProcedures) {
    if (procedure.is_decoupled && version < 7) continue;
    const auto elements = ProcedureElements(procedure, version, asks_by_hand);
    group.insert(group.end(), elements.begin(), elements.end());
  }
  return segment.Add(group);
}

Segment PinParameters() {
  std::vector<std::string> group{Number(kShortestPin), Number(kLongestPin), Number(kLongestTan),
                                 "Benutzerkennung", "Kundennummer"};
  for (const OrderKind& kind : OrderKinds()) {
    group.push_back(Text(kind.code));
    group.push_back(kind.needs_tan ? "J" : "N");
  }
  group.insert(group.end(), {"HKTAN", "N"});
  return Parameters("HIPINS", 1, true).Add(group);
}

// The parameter segment of one order in one version.
Segment OrderParameters(const OrderKind& kind, int version) {
  const std::string code = "HI" + std::string(kind.code.substr(2)) + "S";
  const std::string days = Number(kStatementDays);
  if (kind.code == "HKSAL") return Parameters(code, version, version >= 6);
  if (kind.code == "HKKAZ") return Parameters(code, version, version >= 6).Add({days, "J", "N"});
  Segment segment = Parameters(code, version, true);
  if (kind.code == "HKCAZ") segment.Add({days, "J", "N", kCamt052, kCamt053});
  if (kind.code == "HKSPA") segment.Add({"J", "N", "N", kPain03, kPain09});
  return segment;
}

}  // namespace

std::vector<Segment> BankParameters(const BankOptions& options, int standard) {
  const bool is_300 = standard == 300;
  std::vector<Segment> segments;
  Segment bank("HIBPA", is_300 ? 3 : 2);
  bank.Add(Number(options.bpd_version)).Add({kCountry, kBankCode}).Add(Text(kBankName));
  bank.Add("3").Add("1").Add({"220", "300"}).Add("256");
  if (is_300) bank.Add("60").Add("300");
  segments.push_back(std::move(bank));

  Segment address("HIKOM", is_300 ? 4 : 3);
  address.Add({kCountry, kBankCode}).Add("1").Add({"3", options.address, "", "MIM", "1"});
  segments.push_back(std::move(address));

  Segment methods("HISHV", is_300 ? 3 : 2);
  methods.Add("N");
  is_300 ? methods.Add({"PIN", "1", "2"}) : methods.Add({"PIN", "1"});
  segments.push_back(std::move(methods));

  for (const OrderKind& kind : OrderKinds()) {
    for (int version = kind.first_version; version <= kind.last_version; ++version) {
      if (kind.Knows(version, standard)) segments.push_back(OrderParameters(kind, version));
    }
  }
  segments.push_back(PinParameters());
  if (is_300) {
    segments.push_back(TanParameters(6, options.asks_by_hand));
    segments.push_back(TanParameters(7, options.asks_by_hand));
  }
  return segments;
}

std::vector<Segment> UserParameters(const BankOptions& options, const Ledger& ledger,
                                    const User& user, int standard) {
  const bool is_300 = standard == 300;
  std::vector<Segment> segments;
  Segment head("HIUPA", is_300 ? 4 : 2);
  head.Add(user.id).Add(Number(options.upd_version)).Add("0");  // what is not listed is forbidden
  if (is_300) head.Add(user.name);
  segments.push_back(std::move(head));
  for (const Account* const account : ledger.AccountsOf(user.id)) {
    Segment segment("HIUPD", is_300 ? 6 : 4);
    segment.Add(AccountElements(*account));
    if (is_300) segment.Add(account->iban);
    segment.Add(user.customer);
    if (is_300) segment.Add(account->type);
    segment.Add("EUR").Add(account->owner_name).Add("").Add(account->product).Add("");
    for (const std::string& job : account->jobs) segment.Add({job, "1"});
    segments.push_back(std::move(segment));
  }
  return segments;
}

}  // namespace tmx::demo
