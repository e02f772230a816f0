#include "demo/bank/sandbox_bank.h"

#include <algorithm>
#include <utility>

#include "demo/bank/parameters.h"
#include "demo/bank/procedures.h"

namespace tmx::demo {
namespace {

constexpr std::string_view kAnonymous = "9999999999";  // customer without an account here
constexpr std::string_view kOneStep = "999";
constexpr std::string_view kSystemIdPrefix = "SANDKASTEN-";
constexpr std::size_t kMostDialogs = 100;  // the oldest give way
constexpr int kMostWrongPins = 3;

// System ids tell for whom they were made, so that a client may keep its own for the next run of
// the bank.
std::string SystemIdPrefix(std::string_view user) {
  return std::string(kSystemIdPrefix) + std::string(user) + "-";
}

const Segment* FindSegment(const std::vector<Segment>& segments, std::string_view code) {
  const auto found = std::find_if(segments.begin(), segments.end(),
                                  [code](const Segment& segment) { return segment.code == code; });
  return found == segments.end() ? nullptr : &*found;
}

long CountSegments(const std::vector<Segment>& segments, std::string_view code) {
  return std::count_if(segments.begin(), segments.end(),
                       [code](const Segment& segment) { return segment.code == code; });
}

}  // namespace

std::string SandboxBank::Numbered(std::string_view prefix, int number) {
  const std::string digits = std::to_string(number);
  return std::string(prefix) + std::string(6 - std::min<std::size_t>(6, digits.size()), '0') +
         digits;
}

SandboxBank::SandboxBank(BankOptions options)
    : options_(std::move(options)), ledger_(options_.today) {}

std::string SandboxBank::Answer(std::string_view request, const MessageFaults& faults) {
  ReadResult read = ReadRequest(request);
  Exchange exchange{std::move(read.request), {}, {}};
  exchange.dialog = exchange.request.dialog;
  if (read.refusal) {
    Abort(exchange, read.refusal->code, read.refusal->text);
  } else {
    Dispatch(exchange);
  }
  AnswerMessage& answer = exchange.answer;
  if (exchange.is_aborted || answer.HasErrors()) {
    answer.ForMessage("9050", "Die Nachricht enth\xE4lt Fehler.");
  } else if (answer.HasWarnings()) {
    answer.ForMessage("3060", "Bitte beachten Sie die enthaltenen Warnungen.");
  } else {
    answer.ForMessage("0010", "Nachricht entgegengenommen.");
  }
  if (exchange.is_aborted) answer.ForMessage("9800", "Dialog abgebrochen.");
  return answer.ToBytes(exchange.request, exchange.dialog, DayText(options_.today), faults);
}

void SandboxBank::Abort(Exchange& exchange, std::string_view code, std::string_view text) {
  if (!code.empty()) exchange.answer.ForMessage(code, text);
  exchange.is_aborted = true;
  dialogs_.erase(exchange.request.dialog);
}

void SandboxBank::Dispatch(Exchange& exchange) {
  const RequestMessage& request = exchange.request;
  if (request.dialog == "0") {
    if (request.number != 1)
      return Abort(exchange, "9010", "Ein Dialog beginnt mit der Nachricht 1.");
    return Initialise(exchange);
  }
  const auto found = dialogs_.find(request.dialog);
  if (found == dialogs_.end()) return Abort(exchange, "9010", "Der Dialog ist unbekannt.");
  Dialog& dialog = found->second;
  if (request.version != dialog.standard)
    return Abort(exchange, "9010", "Die HBCI-Version hat gewechselt.");
  if (request.number != dialog.last_number + 1)
    return Abort(exchange, "9010",
                 "Die Nachrichtennummer ist nicht die n\xE4"
                 "chste.");
  dialog.last_number = request.number;
  if (request.signature.has_value() == dialog.is_anonymous)
    return Abort(exchange, "9010", "Die Signatur passt nicht zum Dialog.");
  if (!dialog.is_anonymous && (!CheckSender(exchange, dialog) || !CheckPin(exchange))) return;
  Continue(exchange, dialog);
}

bool SandboxBank::CheckPin(Exchange& exchange) {
  const Signature& signature = *exchange.request.signature;
  User* const user = ledger_.FindUser(signature.user);
  const auto refuse = [&](std::string_view code, std::string_view text) {
    exchange.answer.ForSegment(signature.end_number, code, text);
    Abort(exchange, {}, {});
    return false;
  };
  if (user == nullptr) return refuse("9010", "Der Benutzer ist unbekannt.");
  if (user->wrong_pins >= kMostWrongPins) return refuse("9930", "Der Zugang ist gesperrt.");
  if (signature.pin == user->pin) {
    user->wrong_pins = 0;
    return true;
  }
  if (++user->wrong_pins < kMostWrongPins) return refuse("9942", "Die PIN ist falsch.");
  exchange.answer.ForSegment(signature.end_number, "3938", "Ihr Zugang ist vorl\xE4ufig gesperrt.");
  return refuse("9931", "Zugang gesperrt nach drei falschen PINs.");
}

bool SandboxBank::CheckSender(Exchange& exchange, const Dialog& dialog) {
  const Signature& signature = *exchange.request.signature;
  const auto& ids = dialog.system_ids;
  if (signature.user == dialog.user && signature.function == dialog.function &&
      std::find(ids.begin(), ids.end(), signature.system_id) != ids.end()) {
    return true;
  }
  Abort(exchange, "9010", "Benutzer, Kundensystem oder Sicherheitsfunktion haben gewechselt.");
  return false;
}

void SandboxBank::Initialise(Exchange& exchange) {
  const RequestMessage& request = exchange.request;
  const std::vector<Segment>& orders = request.orders;
  Dialog dialog;
  dialog.standard = request.version;
  dialog.is_anonymous = !request.signature;
  const Segment& identity = orders[0];
  if (identity.code != "HKIDN" || identity.version != 2) {
    exchange.answer.ForSegment(identity.number, "9120", "HKIDN:2 erwartet.");
    return Abort(exchange, {}, {});
  }
  const int preparation_version = request.version == 300 ? 3 : 2;
  if (orders.size() < 2 || orders[1].code != "HKVVB" || orders[1].version != preparation_version) {
    exchange.answer.ForSegment(identity.number, "9120", "Nach HKIDN wird HKVVB erwartet.");
    return Abort(exchange, {}, {});
  }
  const Segment* tan = nullptr;
  const Segment* synchronisation = nullptr;
  for (std::size_t i = 2; i < orders.size(); ++i) {
    const Segment& order = orders[i];
    const bool is_300 = request.version == 300;
    if (order.code == "HKTAN" && is_300 && tan == nullptr) {
      tan = &order;
    } else if (order.code == "HKSYN" && order.version == preparation_version &&
               synchronisation == nullptr && request.signature) {
      synchronisation = &order;
    } else {
      exchange.answer.ForSegment(order.number, "9120", "In der Initialisierung nicht erwartet.");
      return Abort(exchange, {}, {});
    }
  }
  if (!dialog.is_anonymous && !CheckPin(exchange)) return;
  const bool wants_system_id = synchronisation != nullptr;
  if (!CheckIdentity(exchange, dialog, identity, wants_system_id) ||
      !CheckFunction(exchange, dialog, tan))
    return;

  SendParameters(exchange, dialog, orders[1]);
  if (synchronisation != nullptr) Synchronise(exchange, dialog, *synchronisation);
  if (exchange.answer.HasErrors()) return Abort(exchange, {}, {});
  const bool has_two_steps = tan != nullptr && !dialog.is_anonymous;
  dialog.is_open = !has_two_steps || dialog.function == kOneStep || !options_.tan_at_login;
  if (!dialog.is_open) AskForTan(exchange, dialog, identity, *tan);
  if (dialog.is_open && has_two_steps) NoTanNeeded(exchange, *tan);
  if (exchange.answer.HasErrors()) return Abort(exchange, {}, {});
  if (dialog.is_open) SendUserParameters(exchange, dialog, orders[1].number);
  exchange.answer.ForSegment(identity.number, "0020", "Dialog begonnen.");
  exchange.dialog = Numbered("SANDKASTEN-DIALOG-", ++last_dialog_);
  if (dialogs_.size() == kMostDialogs) dialogs_.erase(dialogs_.begin());
  dialogs_.emplace(exchange.dialog, std::move(dialog));
}

bool SandboxBank::CheckIdentity(Exchange& exchange, Dialog& dialog, const Segment& identity,
                                bool wants_system_id) {
  const auto refuse = [&](std::string_view text) {
    exchange.answer.ForSegment(identity.number, "9010", text);
    Abort(exchange, {}, {});
    return false;
  };
  if (identity.At(0, 0) != kCountry || identity.At(0, 1) != kBankCode)
    return refuse("HKIDN nennt ein anderes Kreditinstitut.");
  dialog.customer = identity.At(1);
  if (dialog.is_anonymous) {
    if (identity.At(1) == kAnonymous && identity.At(2) == "0" && identity.At(3) == "0") return true;
    return refuse("Ohne Signatur ist nur der anonyme Zugang m\xF6glich.");
  }
  const Signature& signature = *exchange.request.signature;
  const User& user = *ledger_.FindUser(signature.user);
  if (dialog.customer != user.customer) return refuse("Die Kundennummer ist falsch.");
  if (identity.At(2) != signature.system_id)
    return refuse("HKIDN und HNSHK nennen verschiedene Kundensysteme.");
  const std::string prefix = SystemIdPrefix(user.id);
  if (signature.system_id != "0" &&
      (!signature.system_id.starts_with(prefix) || signature.system_id == prefix)) {
    return refuse("Die Kundensystem-ID ist unbekannt.");
  }
  if (signature.system_id == "0" && !wants_system_id)
    return refuse("Die Kundensystem-ID fehlt; HKSYN gibt eine.");
  if (identity.At(3) != "1") return refuse("Der Kundensystem-Status muss 1 sein.");
  dialog.user = user.id;
  dialog.system_ids = {signature.system_id};
  return true;
}

bool SandboxBank::CheckFunction(Exchange& exchange, Dialog& dialog, const Segment* tan) {
  if (dialog.is_anonymous) return true;
  const Signature& signature = *exchange.request.signature;
  const User& user = *ledger_.FindUser(dialog.user);
  dialog.function = signature.function;
  const bool is_one_step = signature.function == kOneStep;
  const bool is_300 = dialog.standard == 300;
  const bool is_known = std::find(user.functions.begin(), user.functions.end(),
                                  signature.function) != user.functions.end();
  if (!is_one_step && (!is_300 || !is_known)) {
    Abort(exchange, "9010", "Das Sicherheitsverfahren ist f\xFCr den Benutzer nicht zugelassen.");
    return false;
  }
  if (is_300 && signature.profile != (is_one_step ? "1" : "2")) {
    Abort(exchange, "9010", "Das Sicherheitsprofil passt nicht zur Sicherheitsfunktion.");
    return false;
  }
  if (!is_one_step && tan == nullptr) {
    Abort(exchange, "9010", "Im Zwei-Schritt-Verfahren geh\xF6rt HKTAN in die Initialisierung.");
    return false;
  }
  return true;
}

void SandboxBank::Synchronise(Exchange& exchange, Dialog& dialog, const Segment& order) {
  if (order.At(0) != "0")
    return Refuse(exchange.answer, order, "Nur die Kundensystem-ID wird synchronisiert.");
  dialog.system_ids.push_back(Numbered(SystemIdPrefix(dialog.user), ++last_system_id_));
  Segment answer("HISYN", dialog.standard == 300 ? 4 : 3);
  answer.reference = order.number;
  exchange.answer.Add(answer.Add(dialog.system_ids.back()));
  exchange.answer.ForSegment(order.number, "0020", "Auftrag ausgef\xFChrt.");
}

void SandboxBank::SendParameters(Exchange& exchange, Dialog& dialog, const Segment& versions) {
  const auto bpd = ParseNumber(versions.At(0));
  const auto upd = ParseNumber(versions.At(1));
  const auto language = ParseNumber(versions.At(2));
  if (!bpd || !upd || !language || *language > 3)
    return Refuse(exchange.answer, versions, "Versionen oder Sprache in HKVVB sind falsch.");
  if (versions.At(3).empty() || versions.At(4).empty())
    return Refuse(exchange.answer, versions, "Die Produktbezeichnung oder ihre Version fehlt.");
  AnswerMessage& answer = exchange.answer;
  answer.ForSegment(versions.number, "0020", "Auftrag ausgef\xFChrt.");
  if (*bpd < options_.bpd_version) {
    answer.ForSegment(versions.number, "3050", "BPD nicht mehr aktuell, neue Version folgt.");
    for (Segment& segment : BankParameters(options_, dialog.standard)) {
      segment.reference = versions.number;
      answer.Add(std::move(segment));
    }
  }
  dialog.wants_upd = !dialog.is_anonymous && *upd < options_.upd_version;
  if (dialog.is_anonymous) return;
  if (dialog.standard == 300) {
    answer.ForSegment(versions.number, "3920", "Zugelassene Zwei-Schritt-Verfahren.",
                      ledger_.FindUser(dialog.user)->functions);
  }
}

void SandboxBank::SendUserParameters(Exchange& exchange, const Dialog& dialog, int reference) {
  if (!dialog.wants_upd) return;
  exchange.answer.ForSegment(reference, "3050", "UPD nicht mehr aktuell, neue Version folgt.");
  for (Segment& segment :
       UserParameters(options_, ledger_, *ledger_.FindUser(dialog.user), dialog.standard)) {
    segment.reference = reference;
    exchange.answer.Add(std::move(segment));
  }
}

void SandboxBank::Continue(Exchange& exchange, Dialog& dialog) {
  const std::vector<Segment>& orders = exchange.request.orders;
  if (FindSegment(orders, "HKEND") != nullptr) return EndDialog(exchange, orders[0]);
  if (dialog.is_anonymous) {
    exchange.answer.ForSegment(orders[0].number, "9120", "Im anonymen Dialog nicht erlaubt.");
    return;
  }
  RunOrders(exchange, dialog);
}

void SandboxBank::EndDialog(Exchange& exchange, const Segment& order) {
  if (exchange.request.orders.size() != 1) {
    exchange.answer.ForSegment(order.number, "9120", "HKEND steht allein.");
    return Abort(exchange, {}, {});
  }
  if (order.version != 1) return Refuse(exchange.answer, order, "HKEND:1 erwartet.", "9110");
  if (order.At(0) != exchange.request.dialog)
    return Refuse(exchange.answer, order, "HKEND nennt einen anderen Dialog.");
  exchange.answer.ForMessage("0100", "Dialog beendet.");
  dialogs_.erase(exchange.request.dialog);
}

void SandboxBank::RunOrders(Exchange& exchange, Dialog& dialog) {
  const std::vector<Segment>& orders = exchange.request.orders;
  const Segment* const tan = FindSegment(orders, "HKTAN");
  if (CountSegments(orders, "HKTAN") > 1)
    return Refuse(exchange.answer, *tan, "Nur ein HKTAN in einer Nachricht.", "9120");
  if (tan != nullptr && tan->At(0) != "4") return TakeTan(exchange, dialog, *tan);
  if (!dialog.is_open)
    return Refuse(exchange.answer, orders[0], "Zuerst wird die TAN erwartet.", "9120");
  if (tan != nullptr && FindSegment(orders, tan->At(1)) == nullptr)
    return Refuse(exchange.answer, *tan, "HKTAN nennt einen Auftrag, der fehlt.");
  for (const Segment& order : orders) {
    if (&order != tan) RunOrder(exchange, dialog, order, tan);
  }
}

void SandboxBank::RunOrder(Exchange& exchange, Dialog& dialog, const Segment& order,
                           const Segment* tan) {
  const OrderKind* const kind = FindOrderKind(order.code);
  if (kind == nullptr) {
    const bool is_known_elsewhere =
        order.code == "HKIDN" || order.code == "HKVVB" || order.code == "HKSYN";
    return Refuse(exchange.answer, order,
                  is_known_elsewhere ? "Nur in der Initialisierung." : "Unbekannter Auftrag.",
                  is_known_elsewhere ? "9120" : "9110");
  }
  if (!kind->Knows(order.version, dialog.standard))
    return Refuse(exchange.answer, order, "Die Segmentversion wird nicht unterst\xFCtzt.", "9110");
  OrderContext context{options_, ledger_, *ledger_.FindUser(dialog.user)};
  const bool has_tan = tan != nullptr && tan->At(1) == order.code;
  if (!kind->needs_tan) {
    kind->run(context, order, exchange.answer);
    if (has_tan) NoTanNeeded(exchange, *tan);
    return;
  }
  if (dialog.function == kOneStep)
    return Refuse(exchange.answer, order, "Der Auftrag braucht ein Zwei-Schritt-Verfahren.");
  if (!has_tan) return Refuse(exchange.answer, order, "HKTAN fehlt neben dem Auftrag.");
  if (kind->check(context, order, exchange.answer)) AskForTan(exchange, dialog, order, *tan);
}

}  // namespace tmx::demo
