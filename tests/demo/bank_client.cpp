#include "tests/demo/bank_client.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tmx::demo {
namespace {

std::string Sized(std::string message) {
  const std::string digits = std::to_string(message.size());
  return message.replace(message.find("LLLLLLLLLLLL"), 12,
                         std::string(12 - digits.size(), '0') + digits);
}

// Puts numbers from `next` on in the place of "#".
std::string Numbered(std::string_view text, int& next) {
  std::string out;
  for (const char c : text) out += c == '#' ? std::to_string(next++) : std::string(1, c);
  return out;
}

}  // namespace

std::string BankAnswer::Codes() const {
  std::string out;
  for (const Segment& segment : segments) {
    if (segment.code != "HIRMG" && segment.code != "HIRMS") continue;
    for (std::size_t i = 0; i < segment.groups.size(); ++i) {
      if (!out.empty()) out += ' ';
      out += segment.At(i);
      if (segment.reference) out += '@' + std::to_string(*segment.reference);
    }
  }
  return out;
}

bool BankAnswer::Has(std::string_view code) const {
  return std::any_of(segments.begin(), segments.end(),
                     [code](const Segment& segment) { return segment.code == code; });
}

std::string BankAnswer::Text(std::string_view code) const {
  std::string out;
  for (const Segment& segment : segments) {
    if (segment.code != code) continue;
    const std::string text = ToBytes(segment);
    out += code;
    out += text.substr(text.find('+'));
    out += '\n';
  }
  return out;
}

const Segment& BankAnswer::First(std::string_view code) const {
  static const Segment none;
  for (const Segment& segment : segments) {
    if (segment.code == code) return segment;
  }
  return none;
}

BankAnswer TakeApart(const std::string& bytes) {
  BankAnswer answer;
  answer.bytes = bytes;
  const SegmentList outer = ParseSegments(bytes);
  EXPECT_FALSE(outer.error) << outer.error->what;
  for (const Segment& segment : outer.segments) {
    if (segment.code == "HNVSK") {
      EXPECT_EQ(segment.number, 998);
    } else if (segment.code == "HNVSD") {
      EXPECT_EQ(segment.number, 999);
      const SegmentList inner = ParseSegments(segment.At(0));
      EXPECT_FALSE(inner.error) << inner.error->what;
      answer.segments.insert(answer.segments.end(), inner.segments.begin(), inner.segments.end());
    } else {
      answer.segments.push_back(segment);
    }
  }
  int expected = 1;
  for (const Segment& segment : answer.segments) EXPECT_EQ(segment.number, expected++);
  EXPECT_EQ(answer.segments.front().code, "HNHBK");
  EXPECT_EQ(answer.segments.back().code, "HNHBS");
  EXPECT_EQ(std::stoul(answer.segments.front().At(0)), bytes.size());
  EXPECT_EQ(answer.segments.front().At(3), answer.segments.back().At(0));
  answer.dialog = answer.segments.front().At(2);
  return answer;
}

std::string BankClient::PlainMessage(std::string_view orders) const {
  int next = 1;
  return Sized(Numbered("HNHBK:#:3+LLLLLLLLLLLL+" + std::to_string(standard) + "+" + dialog + "+" +
                            std::to_string(number) + "'" + std::string(orders) + "HNHBS:#:1+" +
                            std::to_string(number) + "'",
                        next));
}

std::string BankClient::Message(std::string_view orders) const {
  const bool is_300 = standard == 300;
  const std::string profile = is_300 ? (function == "999" ? "PIN:1+" : "PIN:2+") : "";
  const std::string time = "+1:20260115:110000+";
  const std::string number_text = std::to_string(number);
  int next = 2;
  std::string inner = std::string("HNSHK:#:") + (is_300 ? "4+" : "3+") + profile + function +
                      "+7654321+1+1+1::" + system_id + "+1" + time +
                      "1:999:1+6:10:19+280:99900011:" + user + ":S:0:0'";
  inner += orders;
  inner += std::string("HNSHA:#:") + (is_300 ? "2" : "1") + "+7654321++" + pin +
           (tan.empty() ? "" : ":" + tan) + "'";
  inner = Numbered(inner, next);
  return Sized("HNHBK:1:3+LLLLLLLLLLLL+" + std::to_string(standard) + "+" + dialog + "+" +
               number_text + "'HNVSK:998:" + (is_300 ? "3+" : "2+") + profile +
               "998+1+1::" + system_id + time + "2:2:13:@8@00000000:5:1+280:99900011:" + user +
               ":V:0:0+0'HNVSD:999:1+@" + std::to_string(inner.size()) + "@" + inner +
               "'HNHBS:" + std::to_string(next) + ":1+" + number_text + "'");
}

BankAnswer BankClient::SendBytes(const std::string& message) {
  BankAnswer answer = TakeApart(bank_->Answer(message));
  dialog = answer.dialog;
  ++number;
  return answer;
}

BankAnswer BankClient::Send(std::string_view orders, std::string_view the_tan) {
  tan = the_tan;
  const std::string message = Message(orders);
  tan.clear();
  return SendBytes(message);
}

BankAnswer BankClient::Begin(std::string_view more_orders) {
  dialog = "0";
  number = 1;
  const std::string version = standard == 300 ? "3" : "2";
  std::string orders = "HKIDN:#:2+280:99900011+" + customer + "+" + system_id +
                       "+1'HKVVB:#:" + version + "+" + std::to_string(bpd) + "+" +
                       std::to_string(upd) + "+0+9FA6681DEC0CF3046BFC2F8A6+1.0'";
  if (function != "999") orders += "HKTAN:#:7+4+HKIDN'";
  BankAnswer answer = Send(orders + std::string(more_orders));
  if (answer.Has("HISYN")) system_id = answer.First("HISYN").At(0);
  return answer;
}

void BankClient::GetSystemId() {
  const std::string chosen = function;
  function = "999";
  const BankAnswer begun = Begin(standard == 300 ? "HKSYN:#:3+0'" : "HKSYN:#:2+0'");
  EXPECT_TRUE(begun.Has("HISYN")) << begun.Codes();
  End();
  function = chosen;
}

BankAnswer BankClient::End() { return Send("HKEND:#:1+" + dialog + "'"); }

}  // namespace tmx::demo
