#include "demo/bank/answer_message.h"

#include <utility>

#include "demo/bank/ledger.h"

namespace tmx::demo {
namespace {

constexpr std::string_view kTime = "120000";

std::string TwelveDigits(long value) {
  std::string digits = std::to_string(value);
  return std::string(digits.size() < 12 ? 12 - digits.size() : 0, '0') + digits;
}

// Gives the segments of one message their numbers.
class Numbering {
 public:
  Numbering(std::optional<int> gap_at) : gap_at_(gap_at) {}
  std::string Next(Segment segment) {
    ++last_;
    segment.number = gap_at_ && last_ >= *gap_at_ ? last_ + 1 : last_;
    return ToBytes(segment);
  }

 private:
  std::optional<int> gap_at_;
  int last_ = 0;
};

// The bank's signature names the user whom it answers. With PIN and TAN nothing is computed.
Segment SignatureHead(const RequestMessage& request, const std::string& date) {
  const Signature& signature = *request.signature;
  Segment head("HNSHK", request.version == 300 ? 4 : 3);
  if (request.version == 300) head.Add({"PIN", signature.profile});
  head.Add(signature.function).Add(signature.reference).Add("1").Add("1");
  head.Add({"2", "", signature.system_id}).Add("1").Add({"1", date, kTime});
  head.Add({"1", "999", "1"}).Add({"6", "10", "19"});
  return head.Add({kCountry, kBankCode, signature.user, "S", "0", "0"});
}

Segment SignatureEnd(const RequestMessage& request) {
  return Segment("HNSHA", request.version == 300 ? 2 : 1).Add(request.signature->reference);
}

std::string Envelope(const RequestMessage& request, const std::string& date, std::string inner) {
  const Signature& signature = *request.signature;
  Segment head("HNVSK", request.version == 300 ? 3 : 2);
  head.number = 998;
  if (request.version == 300) head.Add({"PIN", signature.profile});
  head.Add("998").Add("1").Add({"2", "", signature.system_id}).Add({"1", date, kTime});
  head.groups.push_back({{"2", false},
                         {"2", false},
                         {"13", false},
                         {std::string(8, '\0'), true},
                         {"5", false},
                         {"1", false}});
  head.Add({kCountry, kBankCode, signature.user, "V", "0", "0"}).Add("0");
  Segment data("HNVSD", 1);
  data.number = 999;
  return ToBytes(head) + ToBytes(data.AddBinary(std::move(inner)));
}

Segment Codes(std::string code, const std::vector<std::vector<std::string>>& rows) {
  Segment segment(std::move(code), 2);
  for (const auto& row : rows) segment.Add(row);
  return segment;
}

}  // namespace

void AnswerMessage::ForMessage(std::string_view code, std::string_view text) {
  message_codes_.push_back({std::string(code), "", std::string(text)});
}

void AnswerMessage::ForSegment(int reference, std::string_view code, std::string_view text,
                               const std::vector<std::string>& parameters) {
  std::vector<std::string> row{std::string(code), "", std::string(text)};
  row.insert(row.end(), parameters.begin(), parameters.end());
  segment_codes_[reference].push_back(std::move(row));
  has_errors_ = has_errors_ || code.starts_with('9');
  has_warnings_ = has_warnings_ || code.starts_with('3');
}

std::vector<Segment> AnswerMessage::Body() const {
  std::vector<Segment> body{Codes("HIRMG", message_codes_)};
  for (const auto& [reference, rows] : segment_codes_) {
    body.push_back(Codes("HIRMS", rows));
    body.back().reference = reference;
  }
  body.insert(body.end(), data_.begin(), data_.end());
  return body;
}

std::vector<Segment> AnswerMessage::Refusal(int code) const {
  std::vector<Segment> body{Codes("HIRMG", {{"9050", "", "Teilweise fehlerhaft."}})};
  for (const auto& [reference, rows] : segment_codes_) {
    body.push_back(Codes("HIRMS", {{std::to_string(code), "", "Der Auftrag ist abgelehnt."}}));
    body.back().reference = reference;
  }
  return body;
}

std::string AnswerMessage::ToBytes(const RequestMessage& request, const std::string& dialog,
                                   const std::string& date, const MessageFaults& faults) const {
  const std::string number = std::to_string(faults.number.value_or(request.number));
  Segment head("HNHBK", 3);
  head.Add(TwelveDigits(0))
      .Add(std::to_string(request.version))
      .Add(faults.dialog.value_or(dialog));
  head.Add(number).Add({dialog, std::to_string(request.number)});

  Numbering numbering(faults.gap_at);
  std::string bytes = numbering.Next(head);
  std::string inner;
  if (request.signature) inner += numbering.Next(SignatureHead(request, date));
  for (Segment& segment : faults.refusal ? Refusal(*faults.refusal) : Body())
    if (faults.dropped != segment.code) inner += numbering.Next(std::move(segment));
  for (int i = 1; i <= faults.extra_segments; ++i)
    inner += numbering.Next(Segment("XXTST", i).Add("?").Add({"", "unbekannt"}).AddBinary("'+:@?"));
  if (request.signature) inner += numbering.Next(SignatureEnd(request));
  const std::string end = numbering.Next(Segment("HNHBS", 1).Add(number));

  bytes += request.signature ? Envelope(request, date, std::move(inner)) : inner;
  bytes += end;
  const std::string size = TwelveDigits(faults.size.value_or(static_cast<long>(bytes.size())));
  return bytes.replace(bytes.find('+') + 1, 12, size);
}

}  // namespace tmx::demo
