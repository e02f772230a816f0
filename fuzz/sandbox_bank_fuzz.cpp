// The sandbox bank over arbitrary bytes. The first byte says how they reach it: as a message, as
// what stands inside an envelope of a running dialog, as orders there, as a payment file, or as a
// script.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <variant>

#include "demo/bank/bank_endpoint.h"
#include "demo/bank/sandbox_bank.h"
#include "demo/bank/secrets.h"
#include "demo/xml.h"

namespace {

using tmx::demo::SandboxBank;

constexpr const char* kDialog = "SANDKASTEN-DIALOG-000001";
constexpr const char* kHead =
    "PIN:2+910+1+1+1+1::SANDKASTEN-4711-000001+1+1:20260115:110000+1:999:1"
    "+6:10:19+280:99900011:4711:S:0:0'";

std::string Message(const std::string& dialog, const std::string& number, const std::string& inner,
                    const std::string& end) {
  std::string message = "HNHBK:1:3+000000000000+300+" + dialog + "+" + number +
                        "'HNVSK:998:3+PIN:2+998+1+1::SANDKASTEN-4711-000001+1:20260115:110000+"
                        "2:2:13:@8@00000000:5:1+280:99900011:4711:V:0:0+0'HNVSD:999:1+@" +
                        std::to_string(inner.size()) + "@" + inner + "'HNHBS:" + end + ":1+" +
                        number + "'";
  const std::string size = std::to_string(message.size());
  return message.replace(10 + 12 - size.size(), size.size(), size);
}

std::string Signed(const std::string& orders, const std::string& number) {
  return "HNSHK:2:4+" + std::string(kHead) + orders + "HNSHA:" + number + ":2+1++" +
         std::string(tmx::demo::kPin) + ':' + std::string(tmx::demo::kTan) + '\'';
}

// A bank with a dialog that has begun; the dialog's next message is 2.
const SandboxBank& Begun() {
  static const SandboxBank bank = [] {
    SandboxBank fresh;
    fresh.Answer(Message("0", "1",
                         Signed("HKIDN:3:2+280:99900011+4711+SANDKASTEN-4711-000001+1'"
                                "HKVVB:4:3+12+3+0+P+1'HKTAN:5:7+4+HKIDN'",
                                "6"),
                         "7"));
    return fresh;
  }();
  return bank;
}

void Check(const std::string& answer) {
  const auto list = tmx::demo::ParseSegments(answer);
  if (!list.error && list.segments.size() >= 3 && list.segments[0].code == "HNHBK" &&
      std::strtoul(list.segments[0].At(0).c_str(), nullptr, 10) == answer.size())
    return;
  std::fprintf(stderr, "no message:\n%s\n", answer.c_str());
  std::abort();
}

void Script(const std::string& text) {
  const auto script = tmx::demo::Script::Parse(text);
  if (const auto* const error = std::get_if<tmx::demo::ScriptError>(&script)) {
    if (error->line < 1 || error->text.empty()) std::abort();
    return;
  }
  auto wrong = std::get<tmx::demo::Script>(script).For(1);
  wrong.garbage.reset();
  SandboxBank bank;
  bank.Answer("", wrong.message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  SandboxBank bank = Begun();
  switch (data[0] % 5) {
    case 0:
      Check(bank.Answer(bytes));
      break;
    case 1:
      Check(bank.Answer(Message(kDialog, "2", bytes, "5")));
      break;
    case 2:
      Check(bank.Answer(Message(kDialog, "2", Signed(bytes, "4"), "5")));
      break;
    case 3:
      tmx::demo::ParseXml(bytes);
      break;
    default:
      Script(bytes);
      break;
  }
  return 0;
}
