// Masking beside the same rules byte by byte, and beside copying alone. Every side starts from a
// fresh copy of the messages, in the same memory.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/support/reference_masking.h"
#include "tmxtools/streams/masking.h"

namespace {

constexpr std::size_t kSize = 1 << 20;

class Writer {
 public:
  std::string Digits(int count) {
    std::string text;
    while (count-- > 0) text += static_cast<char>('0' + random_() % 10);
    return text;
  }
  std::string Bytes(std::size_t count) {
    static constexpr std::string_view kBytes = " ABCDEFGHIJKLMNOP'+:?0123\r\n456789,./abcdefghij";
    std::string text;
    while (text.size() < count) text += kBytes[random_() % kBytes.size()];
    return text;
  }
  std::size_t Below(std::size_t limit) { return random_() % limit; }

 private:
  std::mt19937 random_{5};
};

std::string Account(Writer& make) {
  return "HIUPD:" + make.Digits(2) + ":4:4+" + make.Digits(10) + "::280:" + make.Digits(8) + "+" +
         make.Digits(10) + "+EUR+Max Mustermann++Girokonto++HKSAK:1+HKISA:1+HKSSP:1'";
}
std::string Signature(Writer& make) {
  return "HNSHA:6:2+" + make.Digits(7) + "++" + make.Digits(6) + ":" + make.Digits(6) + "'";
}
std::string Statement(Writer& make, std::size_t length) {
  return "HIKAZ:5:5:3+@" + std::to_string(length) + "@" + make.Bytes(length) + "'";
}

// Answers as a day's work brings them: heads, accounts, statements in binary data, one signature.
std::string OrdinaryTraffic() {
  Writer make;
  std::string text;
  while (text.size() < kSize) {
    text += "HNHBK:1:3+000000" + make.Digits(6) + "+220+" + make.Digits(12) +
            "+1'HNSHK:2:4+PIN:1+999+" + make.Digits(7) + "+1+1+1::" + make.Digits(12) +
            "+1+1:20240101:120000+1:999:1+6:10:16+280:" + make.Digits(8) + ":kunde" +
            make.Digits(4) +
            ":S:0:0'HIRMG:3:2+0010::Nachricht entgegengenommen.'HIRMS:4:2:3+0020::Auftrag "
            "ausgefuehrt.'";
    for (std::size_t i = make.Below(3) + 1; i != 0; --i)
      text += Statement(make, 600 + make.Below(2400));
    for (std::size_t i = make.Below(6); i != 0; --i) text += Account(make);
    text += Signature(make) + "HNHBS:7:1+1'";
  }
  return text;
}

// Every fourth segment is masked.
std::string DenseTraffic() {
  Writer make;
  std::string text;
  while (text.size() < kSize) {
    switch (make.Below(8)) {
      case 0:
        text += "HNHBK:1:3+000000" + make.Digits(6) + "+220+" + make.Digits(12) + "+1'";
        break;
      case 1:
        text += "IKPAN:4:2:3+" + make.Digits(10) + "+" + make.Digits(5) + ":280+geheim?+wort'";
        break;
      case 2:
        text += Account(make);
        break;
      case 3:
        text += Statement(make, 120);
        break;
      case 4:
        text +=
            "HIRMS:4:2:3+0020::Der Auftrag wurde ausgefuehrt. Vielen Dank fuer Ihren "
            "Auftrag.+3920::Zugelassene TAN-Verfahren fuer den Benutzer:900:901'";
        break;
      case 5:
        text += "HKUEB:3:5+" + make.Digits(10) + "::280:" + make.Digits(8) + "+" + make.Digits(10) +
                "::280:" + make.Digits(8) + "+Erika Mustermann++" + make.Digits(4) + "," +
                make.Digits(2) + ":EUR+51++Rechnung " + make.Digits(6) + ":Kunde " +
                make.Digits(8) + "'";
        break;
      case 6:
        text += Signature(make);
        break;
      default:
        text += "HISAL:5:6:3+" + make.Digits(10) + "::280:" + make.Digits(8) +
                "+Kontokorrent+EUR+C:" + make.Digits(4) + "," + make.Digits(2) + ":EUR:20030305'";
    }
  }
  return text;
}

void MaskOurs(char* data, std::size_t size) {
  static const tmx::MaskingList list;
  tmx::MessageMasker(list).Mask(data, size);
}
void MaskByByte(char* data, std::size_t size) {
  tmx::ReferenceMasker(tmx::MaskingList::kFixedList).Mask(data, size);
}
void OnlyCopy(char*, std::size_t) {}

template <std::string (*traffic)(), void (*mask)(char*, std::size_t)>
void Measure(benchmark::State& state) {
  static const std::string text = traffic();
  std::string ours = text, expected = text;
  MaskOurs(ours.data(), ours.size());
  MaskByByte(expected.data(), expected.size());
  if (ours != expected || ours == text) state.SkipWithError("the results differ");
  std::vector<char> buffer(text.size());
  for (auto _ : state) {
    std::memcpy(buffer.data(), text.data(), text.size());
    mask(buffer.data(), buffer.size());
    benchmark::DoNotOptimize(buffer.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

#define COMPARE(name, traffic)                                               \
  BENCHMARK_TEMPLATE(Measure, traffic, MaskOurs)->Name(name "_Ours");        \
  BENCHMARK_TEMPLATE(Measure, traffic, MaskByByte)->Name(name "_ByteRules"); \
  BENCHMARK_TEMPLATE(Measure, traffic, OnlyCopy)->Name(name "_Memcpy")
COMPARE("MaskOrdinary", OrdinaryTraffic);
COMPARE("MaskDense", DenseTraffic);
#undef COMPARE

}  // namespace
