#include "demo/bank/statement.h"

#include <algorithm>
#include <cstdlib>

#include "demo/bank/parameters.h"
#include "demo/hbci_syntax.h"
#include "demo/xml.h"

namespace tmx::demo {
namespace {

constexpr std::size_t kLineLength = 65;     // of a field 86
constexpr std::size_t kPurposeLength = 27;  // of one of its subfields
constexpr std::size_t kMostPurposes = 10;   // subfields ?20 to ?29

// Has characters that must be escaped on the wire, as marks of real banks do.
std::string MarkPrefix(const Account& account) { return "S:" + account.number + "+"; }

std::string TwoDecimals(Cents cents, char point) {
  const std::string digits = std::to_string(std::abs(cents) + 100);
  const std::string whole = std::to_string(std::abs(cents) / 100);
  return whole + point + digits.substr(digits.size() - 2);
}

std::string ShortDay(Day day) { return DayText(day).substr(2); }

std::string Mt940Balance(std::string_view field, Day day, Cents cents) {
  return ":" + std::string(field) + ":" + (cents < 0 ? "D" : "C") + ShortDay(day) + "EUR" +
         TwoDecimals(cents, ',') + "\r\n";
}

// A '?' begins a subfield, so none may stand in a text.
std::string WithoutMarks(std::string text) {
  std::replace(text.begin(), text.end(), '?', ' ');
  return text;
}

// Lines are never begun with what begins a field or ends the statement.
std::string InLines(std::string_view text) {
  std::string out;
  while (text.size() > kLineLength) {
    std::size_t length = kLineLength;
    while (length > 1 && (text[length] == ':' || text[length] == '-')) --length;
    out.append(text.substr(0, length)).append("\r\n");
    text.remove_prefix(length);
  }
  return out.append(text);
}

std::string Mt940Entry(const Entry& entry) {
  const bool is_credit = entry.cents >= 0;
  std::string out = ":61:" + ShortDay(entry.day) + DayText(entry.day).substr(4) +
                    (is_credit ? "CR" : "DR") + TwoDecimals(entry.cents, ',') + "NTRFNONREF\r\n";
  std::string details = is_credit ? "166?00GUTSCHRIFT" : "177?00UEBERWEISUNG";
  const std::string purpose = "SVWZ+" + WithoutMarks(entry.purpose);
  for (std::size_t i = 0; i < kMostPurposes && i * kPurposeLength < purpose.size(); ++i)
    details += "?" + std::to_string(20 + i) + purpose.substr(i * kPurposeLength, kPurposeLength);
  details += "?31" + WithoutMarks(entry.iban) + "?32" + WithoutMarks(entry.name);
  return out + ":86:" + InLines(details) + "\r\n";
}

std::string XmlDay(Day day) {
  std::string text = DayText(day);
  return text.insert(6, "-").insert(4, "-");
}

std::string XmlAmount(Cents cents) {
  return "<Amt Ccy=\"EUR\">" + TwoDecimals(cents, '.') + "</Amt><CdtDbtInd>" +
         (cents < 0 ? "DBIT" : "CRDT") + "</CdtDbtInd>";
}

std::string CamtBalance(std::string_view code, Cents cents, Day day) {
  return "<Bal><Tp><CdOrPrtry><Cd>" + std::string(code) + "</Cd></CdOrPrtry></Tp>" +
         XmlAmount(cents) + "<Dt><Dt>" + XmlDay(day) + "</Dt></Dt></Bal>";
}

std::string CamtEntry(const Entry& entry) {
  const bool is_credit = entry.cents >= 0;
  const std::string party = is_credit ? "Dbtr" : "Cdtr";
  const std::string day = "<Dt>" + XmlDay(entry.day) + "</Dt>";
  return "<Ntry>" + XmlAmount(entry.cents) + "<Sts>BOOK</Sts><BookgDt>" + day +
         "</BookgDt><ValDt>" + day + "</ValDt><NtryDtls><TxDtls><RltdPties><" + party + "><Nm>" +
         XmlText(entry.name) + "</Nm></" + party + "><" + party + "Acct><Id><IBAN>" +
         XmlText(entry.iban) + "</IBAN></Id></" + party + "Acct></RltdPties><RmtInf><Ustrd>" +
         XmlText(entry.purpose) + "</Ustrd></RmtInf></TxDtls></NtryDtls></Ntry>";
}

}  // namespace

std::optional<StatementPage> MakePage(const Account& account, const StatementRequest& request,
                                      Day today) {
  const auto& all = account.entries;
  const auto before = [](const Entry& entry, Day day) { return entry.day < day; };
  const auto first = std::lower_bound(all.begin(), all.end(), request.from, before);
  const auto last = std::lower_bound(first, all.end(), request.to + std::chrono::days{1}, before);
  const auto count = static_cast<std::size_t>(last - first);

  std::size_t skipped = 0;
  if (!request.mark.empty()) {
    const std::string prefix = MarkPrefix(account);
    if (!request.mark.starts_with(prefix)) return std::nullopt;
    const auto number = ParseNumber(std::string_view(request.mark).substr(prefix.size()));
    if (!number || *number == 0 || static_cast<std::size_t>(*number) >= count) return std::nullopt;
    skipped = static_cast<std::size_t>(*number);
  }
  StatementPage page;
  page.account = &account;
  page.today = today;
  page.number = static_cast<int>(skipped / request.page_entries) + 1;
  page.opening = account.opening;
  const auto begin = first + static_cast<std::ptrdiff_t>(skipped);
  for (auto entry = all.begin(); entry != begin; ++entry) page.opening += entry->cents;
  page.closing = page.opening;
  const std::size_t size = std::min(request.page_entries, count - skipped);
  for (std::size_t i = 0; i < size; ++i) {
    const Entry& entry = begin[static_cast<std::ptrdiff_t>(i)];
    page.entries.push_back(&entry);
    page.closing += entry.cents;
  }
  if (skipped + size < count) page.next = MarkPrefix(account) + std::to_string(skipped + size);
  return page;
}

std::string WriteMt940(const StatementPage& page) {
  std::string number = std::to_string(page.number);
  number.insert(0, 3 - std::min<std::size_t>(3, number.size()), '0');
  std::string out = ":20:STARTUMS\r\n:25:" + std::string(kBankCode) + "/" + page.account->number +
                    "\r\n:28C:00001/" + number + "\r\n";
  out += Mt940Balance(page.number == 1 ? "60F" : "60M", page.entries.front()->day, page.opening);
  for (const Entry* const entry : page.entries) out += Mt940Entry(*entry);
  out += Mt940Balance(page.next ? "62M" : "62F", page.entries.back()->day, page.closing);
  return out + "-\r\n";
}

std::string WriteCamt(const StatementPage& page, std::string_view format) {
  const bool is_report = format == kCamt052;
  const std::string root = is_report ? "BkToCstmrAcctRpt" : "BkToCstmrStmt";
  const std::string part = is_report ? "Rpt" : "Stmt";
  const std::string time = "<CreDtTm>" + XmlDay(page.today) + "T12:00:00</CreDtTm>";
  const std::string number = std::to_string(page.number);
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Document xmlns=\"" +
                    std::string(format) + "\"><" + root + "><GrpHdr><MsgId>" +
                    page.account->number + "-" + number + "</MsgId>" + time + "</GrpHdr><" + part +
                    "><Id>" + number + "</Id>" + time + "<Acct><Id><IBAN>" + page.account->iban +
                    "</IBAN></Id><Ccy>EUR</Ccy></Acct>";
  out += CamtBalance(page.number == 1 ? "OPBD" : "ITBD", page.opening, page.entries.front()->day);
  out += CamtBalance(page.next ? "ITBD" : "CLBD", page.closing, page.entries.back()->day);
  for (const Entry* const entry : page.entries) out += CamtEntry(*entry);
  return out + "</" + part + "></" + root + "></Document>";
}

}  // namespace tmx::demo
