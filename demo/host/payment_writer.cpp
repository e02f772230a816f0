#include "demo/host/payment_writer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "demo/xml.h"
#include "tmxtools/platform/crypto.h"

namespace tmx::demo {
namespace {

constexpr const char* kAsSoonAsPossible = "1999-01-01";  // banks agree on this day for it

// Control characters become blanks: no escape would let them stand.
std::string Text(std::string_view utf8) {
  std::string text(utf8);
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < 0x20; }, ' ');
  return EscapedXml(text);
}

// An element that holds others, or text that is XML already.
std::string Element(const std::string& name, const std::string& content) {
  return '<' + name + '>' + content + "</" + name + '>';
}

std::string Account(const std::string& name, const std::string& iban) {
  return Element(name, Element("Id", Element("IBAN", Text(iban))));
}

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

// At most 35 characters: the time, and random digits for who pays twice in a second.
std::string IdAt(const std::string& now) {
  std::array<std::uint8_t, 6> random{};
  if (!CurrentCrypto().FillRandom(random.data(), random.size())) return "";
  std::string id = "tmx";
  for (const char c : now)
    if (c != '-' && c != ':') id += c;
  id += '-';
  for (const std::uint8_t byte : random) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X", byte);
    id += digits.data();
  }
  return id;
}

std::string Bank(const std::string& bic, bool is_new) {
  const bool is_bic = bic.size() == 8 || bic.size() == 11;
  return Element("FinInstnId", is_bic ? Element(is_new ? "BICFI" : "BIC", Text(bic))
                                      : Element("Othr", Element("Id", "NOTPROVIDED")));
}

std::string Transaction(const Payment& payment) {
  return Element(
      "CdtTrfTxInf",
      Element("PmtId", Element("EndToEndId", "NOTPROVIDED")) +
          Element("Amt", "<InstdAmt Ccy=\"EUR\">" + Text(payment.amount) + "</InstdAmt>") +
          Element("Cdtr", Element("Nm", Text(payment.name))) +
          Account("CdtrAcct", payment.to_iban) +
          (payment.purpose.empty() ? ""
                                   : Element("RmtInf", Element("Ustrd", Text(payment.purpose)))));
}

}  // namespace

std::string PainOf(const Payment& payment, std::string_view format) {
  const bool is_new = format == kPain00109;
  const std::string now = Now();
  const std::string id = IdAt(now);
  if (id.empty()) return "";
  const std::string sums = Element("NbOfTxs", "1") + Element("CtrlSum", Text(payment.amount));
  const std::string owner = Element("Nm", Text(payment.owner));
  const std::string head = Element(
      "GrpHdr", Element("MsgId", id) + Element("CreDtTm", now) + sums + Element("InitgPty", owner));
  const std::string day =
      is_new ? Element("Dt", kAsSoonAsPossible) : std::string(kAsSoonAsPossible);
  const std::string body =
      Element("PmtInf", Element("PmtInfId", id) + Element("PmtMtd", "TRF") + sums +
                            Element("PmtTpInf", Element("SvcLvl", Element("Cd", "SEPA"))) +
                            Element("ReqdExctnDt", day) + Element("Dbtr", owner) +
                            Account("DbtrAcct", payment.iban) +
                            Element("DbtrAgt", Bank(payment.bic, is_new)) +
                            Element("ChrgBr", "SLEV") + Transaction(payment));
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Document xmlns=\"" + std::string(format) +
         "\">" + Element("CstmrCdtTrfInitn", head + body) + "</Document>";
}

}  // namespace tmx::demo
