#include "demo/bank/request_message.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "demo/bank/ledger.h"

namespace tmx::demo {
namespace {

constexpr int kEncryptionHead = 998;  // fixed number of HNVSK
constexpr int kEncryptedData = 999;   // fixed number of HNVSD

bool Is(const Segment& segment, std::string_view code, int version) {
  return segment.code == code && segment.version == version;
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  ReadResult Run() {
    if (!ReadMessage() && !result_.refusal) Refuse("9010", "Die Nachricht ist falsch aufgebaut.");
    return std::move(result_);
  }

 private:
  bool Refuse(std::string code, std::string text) {
    result_.refusal = Finding{std::move(code), std::move(text)};
    return false;
  }

  bool ReadMessage() {
    if (bytes_.size() > kLongestMessage) return Refuse("9010", "Die Nachricht ist zu lang.");
    SegmentList list = ParseSegments(bytes_);
    if (!list.segments.empty() && !ReadHead(list.segments.front())) return false;
    if (list.error) {
      return Refuse("9010", "Syntaxfehler bei Byte " + std::to_string(list.error->position) + ".");
    }
    if (list.segments.size() < 2) return Refuse("9010", "Die Nachricht ist unvollst\xE4ndig.");
    const bool has_envelope = list.segments[1].code == "HNVSK";
    if (has_envelope && !OpenEnvelope(list.segments)) return false;
    return CheckEnd(list.segments.back()) && CheckNumbers(list.segments) &&
           TakeOrders(std::move(list.segments), has_envelope);
  }

  bool ReadHead(const Segment& head) {
    RequestMessage& request = result_.request;
    if (!Is(head, "HNHBK", 3)) return Refuse("9110", "Nachrichtenkopf HNHBK:3 erwartet.");
    const auto version = ParseNumber(head.At(1));
    if (version != 300 && version != 220)
      return Refuse("9010", "Die HBCI-Version wird nicht unterst\xFCtzt.");
    request.version = *version;
    const auto number = ParseNumber(head.At(3));
    if (!number || *number == 0) return Refuse("9010", "Die Nachrichtennummer ist falsch.");
    request.number = *number;
    if (head.At(2).empty()) return Refuse("9010", "Die Dialogkennung fehlt.");
    request.dialog = head.At(2);
    const std::string length = std::to_string(bytes_.size());
    if (head.At(0) != std::string(12 - length.size(), '0') + length)
      return Refuse("9010",
                    "Die Nachrichtengr\xF6\xDF"
                    "e ist falsch.");
    return true;
  }

  // Puts the segments inside the envelope in its place.
  bool OpenEnvelope(std::vector<Segment>& segments) {
    const int head_version = result_.request.version == 300 ? 3 : 2;
    if (segments.size() != 4 || !Is(segments[1], "HNVSK", head_version) ||
        !Is(segments[2], "HNVSD", 1)) {
      return Refuse("9110", "Die Verschl\xFCsselung ist falsch aufgebaut.");
    }
    if (segments[1].number != kEncryptionHead || segments[2].number != kEncryptedData)
      return Refuse("9010", "HNVSK muss die Nummer 998 haben und HNVSD die 999.");
    const DataElement* const data = segments[2].Find(0);
    if (data == nullptr || !data->is_binary)
      return Refuse("9010", "HNVSD enth\xE4lt keine Bin\xE4rdaten.");
    encryption_ = segments[1];
    SegmentList inner = ParseSegments(data->bytes);
    if (inner.error) {
      return Refuse(
          "9010", "Syntaxfehler in HNVSD bei Byte " + std::to_string(inner.error->position) + ".");
    }
    Segment end = std::move(segments.back());
    segments.resize(1);
    segments.insert(segments.end(), std::make_move_iterator(inner.segments.begin()),
                    std::make_move_iterator(inner.segments.end()));
    segments.push_back(std::move(end));
    return true;
  }

  bool CheckEnd(const Segment& end) {
    if (!Is(end, "HNHBS", 1)) return Refuse("9110", "Nachrichtenabschluss HNHBS:1 erwartet.");
    if (ParseNumber(end.At(0)) != result_.request.number)
      return Refuse("9010", "Die Nachrichtennummern in HNHBK und HNHBS sind verschieden.");
    return true;
  }

  bool CheckNumbers(const std::vector<Segment>& segments) {
    int expected = 1;
    for (const Segment& segment : segments) {
      if (segment.number != expected++)
        return Refuse("9010",
                      "Die Segmentnummern sind nicht l\xFC"
                      "ckenlos.");
    }
    return true;
  }

  bool TakeOrders(std::vector<Segment> segments, bool has_envelope) {
    auto first = segments.begin() + 1;
    auto last = segments.end() - 1;
    if (has_envelope) {
      if (last - first < 2) return Refuse("9010", "Die Signatur fehlt.");
      if (!ReadSignature(*first, *(last - 1))) return false;
      ++first;
      --last;
    }
    if (first == last) return Refuse("9010", "Die Nachricht enth\xE4lt keinen Auftrag.");
    result_.request.orders.assign(std::make_move_iterator(first), std::make_move_iterator(last));
    return true;
  }

  bool ReadSignature(const Segment& head, const Segment& end) {
    const bool is_300 = result_.request.version == 300;
    if (!Is(head, "HNSHK", is_300 ? 4 : 3)) return Refuse("9110", "Signaturkopf HNSHK erwartet.");
    if (!Is(end, "HNSHA", is_300 ? 2 : 1))
      return Refuse("9110", "Signaturabschluss HNSHA erwartet.");
    // Version 300 puts the security profile in front.
    const std::size_t shift = is_300 ? 1 : 0;
    Signature signature;
    if (is_300 && (head.At(0, 0) != "PIN" || encryption_.At(0, 0) != "PIN"))
      return Refuse("9010", "Nur das Sicherheitsprofil PIN ist m\xF6glich.");
    if (is_300) signature.profile = head.At(0, 1);
    if (is_300 && encryption_.At(0, 1) != signature.profile)
      return Refuse("9010", "HNVSK und HNSHK nennen verschiedene Sicherheitsprofile.");
    signature.function = head.At(shift);
    signature.reference = head.At(shift + 1);
    signature.system_id = head.At(shift + 4, 2);
    signature.bank_code = head.At(shift + 9, 1);
    signature.user = head.At(shift + 9, 2);
    signature.pin = end.At(2, 0);
    signature.tan = end.At(2, 1);
    signature.end_number = end.number;
    if (encryption_.At(shift) != "998") return Refuse("9010", "Sicherheitsfunktion 998 erwartet.");
    if (encryption_.At(shift + 5, 2) != signature.user ||
        encryption_.At(shift + 2, 2) != signature.system_id) {
      return Refuse("9010", "HNVSK und HNSHK nennen verschiedene Absender.");
    }
    if (signature.reference.empty() || end.At(0) != signature.reference)
      return Refuse("9010", "Die Sicherheitskontrollreferenzen sind verschieden.");
    if (head.At(shift + 9, 0) != kCountry || signature.bank_code != kBankCode)
      return Refuse("9010", "Der Schl\xFCsselname nennt ein anderes Kreditinstitut.");
    if (signature.pin.empty()) return Refuse("9010", "Die PIN fehlt.");
    result_.request.signature = std::move(signature);
    return true;
  }

  std::string_view bytes_;
  ReadResult result_;
  Segment encryption_;  // HNVSK
};

}  // namespace

ReadResult ReadRequest(std::string_view bytes) { return Reader(bytes).Run(); }

}  // namespace tmx::demo
