// The sandbox bank's two steps: an order waits for its TAN, or for a confirmation elsewhere.
#include <utility>

#include "demo/bank/procedures.h"
#include "demo/bank/sandbox_bank.h"

namespace tmx::demo {
namespace {

Segment TanAnswer(const Segment& tan, std::string_view process) {
  Segment answer("HITAN", tan.version);
  answer.reference = tan.number;
  return answer.Add(std::string(process));
}

bool IsKnownVersion(const Segment& tan) { return tan.version == 6 || tan.version == 7; }

// Where the elements of HKTAN stand from version 6 on.
constexpr std::size_t kReference = 4;
constexpr std::size_t kMore = 5;
constexpr std::size_t kMedium = 10;

}  // namespace

void SandboxBank::NoTanNeeded(Exchange& exchange, const Segment& tan) {
  if (!IsKnownVersion(tan))
    return Refuse(exchange.answer, tan, "HKTAN:6 oder HKTAN:7 erwartet.", "9110");
  exchange.answer.ForSegment(tan.number, "3076", "Keine starke Authentifizierung erforderlich.");
  exchange.answer.Add(TanAnswer(tan, "4").Add("").Add("noref").Add("nochallenge"));
}

void SandboxBank::AskForTan(Exchange& exchange, Dialog& dialog, const Segment& order,
                            const Segment& tan) {
  AnswerMessage& answer = exchange.answer;
  if (!IsKnownVersion(tan)) return Refuse(answer, tan, "HKTAN:6 oder HKTAN:7 erwartet.", "9110");
  const Procedure& procedure = *FindProcedure(dialog.function);
  if (procedure.is_decoupled && tan.version < 7)
    return Refuse(answer, tan, "Das Verfahren braucht HKTAN:7.");
  const TanMedium* const medium = FindMedium(dialog.user, tan.At(kMedium));
  if (procedure.needs_medium && medium == nullptr)
    return Refuse(answer, tan, "Das TAN-Medium fehlt oder ist unbekannt.");

  const std::string reference = Numbered("AUFTRAG-", ++last_reference_);
  dialog.waiting[reference] = {order};
  Segment result = TanAnswer(tan, "4").Add("").Add(reference);
  if (procedure.is_decoupled) {
    answer.ForSegment(tan.number, "3955",
                      "Freigabe erfolgt \xFC"
                      "ber einen anderen Kanal.");
    result.Add("Bitte geben Sie den Auftrag in der App frei.");
  } else {
    answer.ForSegment(tan.number, "0030", "Auftrag empfangen, TAN erforderlich.");
    result.Add("Bitte geben Sie die TAN von " + tan.At(kMedium) + " ein: " + order.code);
    result.AddBinary(ChallengeBytes(*medium)).Add("").Add(tan.At(kMedium));
  }
  answer.Add(std::move(result));
}

void SandboxBank::TakeTan(Exchange& exchange, Dialog& dialog, const Segment& tan) {
  AnswerMessage& answer = exchange.answer;
  if (!IsKnownVersion(tan)) return Refuse(answer, tan, "HKTAN:6 oder HKTAN:7 erwartet.", "9110");
  if (exchange.request.orders.size() != 1)
    return Refuse(answer, tan, "HKTAN steht hier allein.", "9120");
  const Procedure* const procedure = FindProcedure(dialog.function);
  const bool is_decoupled = procedure != nullptr && procedure->is_decoupled;
  if (procedure == nullptr || tan.At(0) != (is_decoupled ? "S" : "2"))
    return Refuse(answer, tan, "Der TAN-Prozess passt nicht zum Verfahren.");
  const std::string& reference = tan.At(kReference);
  if (!dialog.waiting.contains(reference))
    return Refuse(answer, tan, "Die Auftragsreferenz ist unbekannt.");
  if (tan.At(kMore) != "N") return Refuse(answer, tan, "Es gibt keine weitere TAN.");
  return is_decoupled ? TakeStatusRequest(exchange, dialog, reference, tan)
                      : TakeTanOf(exchange, dialog, reference, tan);
}

void SandboxBank::TakeTanOf(Exchange& exchange, Dialog& dialog, const std::string& reference,
                            const Segment& tan) {
  const Signature& signature = *exchange.request.signature;
  if (signature.tan.empty()) return Refuse(exchange.answer, tan, "Die TAN fehlt.");
  if (signature.tan == options_.tan) return RunWaiting(exchange, dialog, reference, tan);
  exchange.answer.ForSegment(signature.end_number, "9941", "Die TAN ist falsch.");
  DropWaiting(exchange, dialog, reference);
}

void SandboxBank::TakeStatusRequest(Exchange& exchange, Dialog& dialog,
                                    const std::string& reference, const Segment& tan) {
  int& requests = dialog.waiting[reference].status_requests;
  if (++requests > kMostStatusRequests) {
    Refuse(exchange.answer, tan, "Zu viele Statusabfragen, der Auftrag ist verworfen.");
    return DropWaiting(exchange, dialog, reference);
  }
  if (requests > options_.confirm_after) return RunWaiting(exchange, dialog, reference, tan);
  exchange.answer.ForSegment(tan.number, "3956", "Die Freigabe steht noch aus.");
  exchange.answer.Add(TanAnswer(tan, "S").Add("").Add(reference));
}

void SandboxBank::DropWaiting(Exchange& exchange, Dialog& dialog, const std::string& reference) {
  dialog.waiting.erase(reference);
  if (!dialog.is_open) Abort(exchange, {}, {});
}

void SandboxBank::RunWaiting(Exchange& exchange, Dialog& dialog, const std::string& reference,
                             const Segment& tan) {
  exchange.answer.Add(TanAnswer(tan, tan.At(0)).Add("").Add(reference));
  Segment order = std::move(dialog.waiting[reference].order);
  dialog.waiting.erase(reference);
  if (order.code == "HKIDN") {
    dialog.is_open = true;
    exchange.answer.ForSegment(tan.number, "0020", "Dialog begonnen.");
    return SendUserParameters(exchange, dialog, tan.number);
  }
  // The answer refers to the segment that this message has.
  order.number = tan.number;
  OrderContext context{options_, ledger_, *ledger_.FindUser(dialog.user)};
  FindOrderKind(order.code)->run(context, order, exchange.answer);
}

}  // namespace tmx::demo
