// What the macros cost: taking a bank's answer apart into segments, beside a plain tokenizer over
// the same bytes, and putting an initialisation together, beside formatting it. Segments shows that
// a segment costs the same in a long answer as in a short one.

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <charconv>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/answer_reader.h"
#include "demo/host/message_writer.h"
#include "demo/segments/fields.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {
namespace {

// ---- the answers --------------------------------------------------------------------------------

constexpr int kSegments = 150;

class AnswerText {
 public:
  // A segment behind its code; `rest` begins with the version.
  void Add(std::string_view code, std::string_view rest) {
    text_ += fmt::format("{}:{}:{}'", code, number_++, rest);
    ++count_;
  }
  int count() const { return count_; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  int number_ = 2;
  int count_ = 0;
};

std::string WithLength(std::string_view bytes) {
  return fmt::format("@{}@{}", bytes.size(), bytes);
}

std::string Day(int number) {
  return fmt::format(
      ":20:BOOKED\r\n:25:99900011/4711\r\n:60F:C240105EUR1200,\r\n"
      ":61:2401{:02}0105D{},50NTRFNONREF\r\n:86:005?00TRANSFER?20Rent?21of"
      " January?32A. Landlord\r\n:62F:C240106EUR{},50\r\n-",
      1 + number % 28, 10 + number, 1100 - number);
}

void AddBalance(AnswerText& answer, int number) {
  answer.Add("HISAL", fmt::format("7:3+DE0299900011{0:010}:TESTDEXX:{0}::280:99900011+Giro+EUR+"
                                  "C:{1},25:EUR:20240105+D:{0},:EUR:20240106+500,:EUR",
                                  4711 + number, 1000 + number));
}

void AddAccount(AnswerText& answer, int number) {
  answer.Add("HIUPD", fmt::format("6:4+{0}::280:99900011+DE0299900011{0:010}+4711+1+EUR+"
                                  "Frieda Muster++Girokonto?: privat++HKSAL:1+HKKAZ:1+HKSPA:1+"
                                  "HKTAN:1+HKCCS:1:E:1000,:EUR+HKCAZ:1",
                                  4711 + number));
}

void AddCodes(AnswerText& answer, int reference) {
  answer.Add("HIRMS", fmt::format("2:{}+0020::Auftrag ausgef\xFChrt.", reference));
}

// An order's parameters; the macros have subroutines for some of them.
void AddParameters(AnswerText& answer, int number) {
  constexpr std::string_view kOrders[][2] = {
      {"HISALS", "7:4+1+1+0"},         {"HIDSES", "1:4+1+1+0+4:28"},
      {"HIKAZS", "7:4+1+1+0+90:N:N"},  {"HICDES", "1:4+1+1+0+4:1:90:2:28:0203060106"},
      {"HIDSCS", "1:4+1+1+1+2:28"},    {"HISPAS", "1:4+1+1+0+J:N:N:sepade.pain.001.003.03"},
      {"HIPAES", "1:4+1+1+0"},         {"HICCSS", "1:4+1+1+0"},
      {"HIQTGS", "1:4+1+1+0"},         {"HICSES", "1:4+1+1+0+1:360"},
      {"HITABS", "4:4+1+1+0"},         {"HIECAS", "1:4+1+1+0+J:N:N"},
      {"HICCMS", "1:4+1+1+0+500:J:J"}, {"HIPROS", "4:4+1+1+0"},
      {"HISALS", "5:4+1+1"},           {"HICUBS", "1:4+1+1+0"},
  };
  const auto& [code, rest] = kOrders[static_cast<std::size_t>(number) % std::size(kOrders)];
  answer.Add(code, rest);
}

// The answer to an initialisation and a few orders, as banks send it: mostly parameters.
const std::string& BankAnswer() {
  static const std::string answer = [] {
    AnswerText inner;
    inner.Add("HNSHK",
              "4+PIN:2+912+1000001+1+1+1::12345678+1+1:20240105:101112+1:999:1+6:10:16+"
              "280:99900011:4711:S:0:0");
    inner.Add("HIRMG", "2+3060::Bitte beachten Sie die enthaltenen Warnungen/Hinweise.");
    AddCodes(inner, 3);
    inner.Add("HIRMS",
              "2:4+3050::BPD nicht mehr aktuell.+3920::Zugelassene Verfahren:912:913:999+"
              "0901::PIN g\xFCltig.");
    inner.Add("HISYN", "4:5+8hR?+2xQ0001");
    inner.Add("HIBPA", "3:4+57+280:99900011+Testbank am Markt+3+1:2+300+0+10+900");
    inner.Add("HIKOM", "4:4+280:99900011+1+3:https?://bank.example/fints");
    inner.Add("HISHV", "3:4+J+RDH:10+PIN:1:2");
    inner.Add("HIPINS",
              "1:4+1+1+0+5:20:6:Benutzerkennung:Kundennummer:HKSAL:N:HKKAZ:N:HKSPA:N:"
              "HKCCS:J:HKTAN:N:HKTAB:N:HKCAZ:N:HKDSE:J:HKCSE:J:HKPAE:J:HKCCM:J:HKCDE:J:"
              "HKPRO:N:HKECA:N");
    inner.Add("HITANS",
              "6:4+1+1+1+N:N:0:912:2:HHD1.4:HHD::chipTAN manuell:6:1:TAN-Nummer:3:J:2:N:"
              "0:0:N:N:00:0:N:1:913:2:HHD1.4OPT:HHDOPT1::chipTAN optisch:6:1:TAN-Nummer:"
              "3:J:2:N:0:0:N:N:00:0:N:1");
    for (int i = 0; inner.count() < kSegments - 50; ++i) AddParameters(inner, i);
    inner.Add("HIUPA", "4:4+4711+3+0+Frieda Muster");
    for (int i = 0; i < 10; ++i) AddAccount(inner, i);
    inner.Add("HISPA",
              "1:5+J:DE02999000110000004711:TESTDEXX:4711::280:99900011+"
              "J:DE02999000110000004712:TESTDEXX:4712::280:99900011");
    for (int i = 0; i < 26; ++i) AddBalance(inner, i);
    inner.Add("HIKAZ", "7:6+" + WithLength(Day(3)) + '+' + WithLength(Day(4)));
    inner.Add("HITAN", "6:7+4++8hR42+Bitte TAN eingeben?: Freigabe der Anmeldung");
    for (int i = 0; inner.count() < kSegments - 5; ++i) AddCodes(inner, 3 + i);
    inner.Add("HNSHA", "2+1000001");
    const std::string rest =
        "HNVSK:998:3+PIN:2+998+1+2::12345678+1:20240105:101112+2:2:13:@8@00000000:6:1+"
        "280:99900011:4711:V:0:0+0'HNVSD:999:1+" +
        WithLength(inner.text()) + "'HNHBS:151:1+2'";
    constexpr std::size_t kHeadSize = 52;
    return fmt::format("HNHBK:1:3+{:012}+300+7L4G9QYZ+2+7L4G9QYZ:2'", kHeadSize + rest.size()) +
           rest;
  }();
  return answer;
}

// `count` segments of ten kinds, one kind after the other.
std::string Segments(int count) {
  AnswerText answer;
  for (int i = 0; i < count; ++i) {
    switch (i % 10) {
      case 0:
        AddCodes(answer, 3);
        break;
      case 1:
        AddBalance(answer, i % 100);
        break;
      case 2:
        AddAccount(answer, i % 100);
        break;
      case 3:
        answer.Add("HIKAZ", "7:6+" + WithLength(Day(i)));
        break;
      default:
        AddParameters(answer, i % 10);
    }
  }
  return answer.text();
}

// ---- our side -----------------------------------------------------------------------------------

// An engine with the shipped macros for PIN and TAN.
HbMacroEngine& Engine() {
  static const std::unique_ptr<HbMacroEngine> engine = [] {
    auto made = std::make_unique<HbMacroEngine>(TMX_BINARY_DIR "/bin");
    HbError error;
    for (const char* name : {"hbcim4", "pt0"})
      if (!made->PushFile(name, error)) throw std::runtime_error(FullText(error));
    return made;
  }();
  return *engine;
}

// An initialisation with its fields filled in.
class Initialisation {
 public:
  Initialisation() {
    user_.SetKIKLaenderkennzeichen(280);
    user_.SetKIKKreditsinstitutscode("99900011");
    user_.SetBenutzerkennung("4711");
    HbSegment& identity = Add("HKIDN", 2);
    identity.PutFieldInt32(280, field::kCountry);
    identity.PutFieldString("99900011", field::kBankCode);
    identity.PutFieldString("4711", field::kCustomerId);
    identity.PutFieldString("8hR2xQ0001", field::kSystemId);
    identity.PutFieldString("1", field::kSystemStatus);
    HbSegment& preparation = Add("HKVVB", 3);
    preparation.PutFieldInt32(57, field::kBpdVersion);
    preparation.PutFieldInt32(3, field::kUpdVersion);
    preparation.PutFieldInt16(0, field::kDialogLanguage);
    preparation.PutFieldString("tmxtools", field::kProductName);
    preparation.PutFieldString("1.0", field::kProductVersion);
    HbSegment& tan = Add("HKTAN", 6);
    tan.PutFieldString("4", field::kTanProcess);
    tan.PutFieldString("HKIDN", field::kOrderCode);
    tan.PutFieldString("Handy", field::kTanMedium);

    auto message = std::make_unique<HbMessage>(1, &user_, nullptr, nullptr);
    for (HbRequest* const request : requests_) message->AddRequest(*request);
    dialog_ = job_.AddToDialog(*message);
    message_ = message.release();
    message_->SetClientData(dialog_);
    message_->SetMsgHead(std::make_unique<HbRequest>("HNHBK", 3, 0).release());
    for (HbRequest* const request : requests_) request->SetClientData(message_);
    HbRequest& head = *message_->GetMsgHead();
    head.AddUser(&user_, HbRoleIssuer);
    head.SetClientData(message_);
    HbSegment& values = head.GetValues();
    values.PutFieldString("0", field::kDialogId);
    values.PutFieldInt32(1, field::kMessageNumber);
    values.PutFieldString("8hR2xQ0001", field::kSystemId);
    values.PutFieldString("912", field::kSecurityFunction);
    values.PutFieldString("1000001", field::kControlReference);
    values.PutFieldDate(HbDate(5, 1, 2024), field::kMessageDate);
    values.PutFieldString("101112", field::kMessageTime);
    values.PutFieldInt32(280, field::kCountry);
    values.PutFieldString("99900011", field::kBankCode);
    values.PutFieldString("4711", field::kUserId);
    constexpr unsigned long kPin = 4096;
    dialog_->GetSecurityVariables().PutFieldString("12345", kPin);
  }
  HbMessage& message() { return *message_; }

 private:
  HbSegment& Add(const char* name, unsigned short version) {
    auto request = std::make_unique<HbRequest>(name, version, 1);
    request->AddUser(&user_, HbRoleIssuer);
    job_.InsertRequest(request.get());
    requests_.push_back(request.release());
    return requests_.back()->GetValues();
  }

  HbUser user_{nullptr, nullptr};
  HbJob job_{nullptr, nullptr};
  HbDialog* dialog_ = nullptr;
  HbMessage* message_ = nullptr;
  std::vector<HbRequest*> requests_;
};

// ---- the peers ----------------------------------------------------------------------------------

// Elements of a segment, each a group of texts and binary data; the head is the first.
using PlainElement = std::vector<std::string>;
using PlainSegment = std::vector<PlainElement>;

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view message) : rest_(message) {}

  std::vector<PlainSegment> Run() {
    std::vector<PlainSegment> segments;
    while (!rest_.empty()) segments.push_back(TakeSegment());
    return segments;
  }

 private:
  PlainSegment TakeSegment() {
    PlainSegment segment;
    char delimiter = '+';
    while (delimiter != '\'') {
      PlainElement element;
      do {
        element.push_back(TakePart());
        if (rest_.empty()) throw std::runtime_error("the segment does not end");
        delimiter = rest_.front();
        rest_.remove_prefix(1);
      } while (delimiter == ':');
      segment.push_back(std::move(element));
    }
    return segment;
  }

  std::string TakePart() {
    if (rest_.starts_with('@')) return TakeBinary();
    std::string text;
    for (;;) {
      std::size_t run = 0;
      while (run < rest_.size() && !IsSpecial(rest_[run])) ++run;
      text += rest_.substr(0, run);
      rest_.remove_prefix(run);
      if (rest_.size() < 2 || rest_.front() != '?') return text;
      text += rest_[1];
      rest_.remove_prefix(2);
    }
  }

  static bool IsSpecial(char c) { return c == '+' || c == ':' || c == '\'' || c == '?'; }

  std::string TakeBinary() {
    const std::size_t second = rest_.find('@', 1);
    std::size_t length = 0;
    std::from_chars(rest_.data() + 1, rest_.data() + second, length);
    std::string bytes(rest_.substr(second + 1, length));
    rest_.remove_prefix(second + 1 + length);
    return bytes;
  }

  std::string_view rest_;
};

// The segments of a message, those in the container behind it.
std::vector<PlainSegment> Tokenize(std::string_view message) {
  std::vector<PlainSegment> segments = Tokenizer(message).Run();
  for (std::size_t i = 0; i < segments.size(); ++i) {
    if (segments[i][0][0] != "HNVSD") continue;
    std::vector<PlainSegment> inner = Tokenizer(segments[i][1][0]).Run();
    segments.insert(segments.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                    std::make_move_iterator(inner.begin()), std::make_move_iterator(inner.end()));
    break;
  }
  return segments;
}

// What an initialisation is made of.
struct Values {
  int country = 280;
  std::string bank = "99900011", user = "4711", customer = "4711", system = "8hR2xQ0001";
  std::string status = "1", product = "tmxtools", version = "1.0", medium = "Handy";
  int bpd = 57, upd = 3, language = 0, message = 1;
  std::string dialog = "0", function = "912", reference = "1000001", pin = "12345";
  std::string date = "20240105", time = "101112", order = "HKIDN";
};

std::string Format(const Values& v) {
  std::string body;
  fmt::format_to(std::back_inserter(body),
                 "HNSHK:{}:4+PIN:{}+{}+{}+1+1+1::{}+1+1:{}:{}+1:999:1+6:10:16+{}:{}:{}:S:0:0'", 2,
                 2, v.function, v.reference, v.system, v.date, v.time, v.country, v.bank, v.user);
  fmt::format_to(std::back_inserter(body), "HKIDN:{}:2+{}:{}+{}+{}+{}'", 3, v.country, v.bank,
                 v.customer, v.system, v.status);
  fmt::format_to(std::back_inserter(body), "HKVVB:{}:3+{}+{}+{}+{}+{}'", 4, v.bpd, v.upd,
                 v.language, v.product, v.version);
  fmt::format_to(std::back_inserter(body), "HKTAN:{}:6+4+{}+++++++++{}'", 5, v.order, v.medium);
  fmt::format_to(std::back_inserter(body), "HNSHA:{}:2+{}++{}'", 6, v.reference, v.pin);
  std::string rest;
  fmt::format_to(std::back_inserter(rest),
                 "HNVSK:998:3+PIN:{}+998+1+1::{}+1:{}:{}+2:2:13:@8@00000000:5:1+{}:{}:{}:V:0:0+0'"
                 "HNVSD:999:1+@{}@{}'HNHBS:{}:1+{}'",
                 2, v.system, v.date, v.time, v.country, v.bank, v.user, body.size(), body, 7,
                 v.message);
  std::string head;
  fmt::format_to(std::back_inserter(head), "+300+{}+{}'", v.dialog, v.message);
  constexpr std::size_t kBeforeHead = 22;  // HNHBK:1:3+ and the size
  std::string message;
  fmt::format_to(std::back_inserter(message), "HNHBK:1:3+{:012}{}{}",
                 kBeforeHead + head.size() + rest.size(), head, rest);
  return message;
}

// ---- the benchmarks -----------------------------------------------------------------------------

void Answer_Ours(benchmark::State& state) {
  AnswerReader reader(Engine());
  std::size_t segments = 0;
  for (auto _ : state) {
    const AnswerReader::Result result = reader.Read(BankAnswer());
    segments = result.segments.size();
    if (!result.problems.empty()) state.SkipWithError(result.problems.front().what.c_str());
  }
  if (segments != Tokenize(BankAnswer()).size()) state.SkipWithError("a segment is missing");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(BankAnswer().size()));
}
void Answer_Tokenizer(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Tokenize(BankAnswer()));
}

void Segments_Ours(benchmark::State& state) {
  AnswerReader reader(Engine());
  const std::string answer = Segments(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(reader.Read(answer));
}
// As many segments, ten in a message.
void Segments_TenAtATime(benchmark::State& state) {
  AnswerReader reader(Engine());
  const std::string answer = Segments(10);
  for (auto _ : state)
    for (std::int64_t i = 0; i < state.range(0); i += 10)
      benchmark::DoNotOptimize(reader.Read(answer));
}

void Message_Ours(benchmark::State& state) {
  Initialisation initialisation;
  MacroRunner runner(Engine());
  MessageWriter writer(runner);
  SecretString bytes;
  HbError error;
  for (auto _ : state)
    if (!writer.Write(initialisation.message(), bytes, error)) {
      state.SkipWithError(FullText(error).c_str());
      break;
    }
  if (std::string_view(bytes) != Format(Values()))
    state.SkipWithError(("not the same message: " + std::string(bytes)).c_str());
}
void Message_Fmt(benchmark::State& state) {
  const Values values;
  for (auto _ : state) benchmark::DoNotOptimize(Format(values));
}

BENCHMARK(Answer_Ours);
BENCHMARK(Answer_Tokenizer);
BENCHMARK(Segments_Ours)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(Segments_TenAtATime)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(Message_Ours);
BENCHMARK(Message_Fmt);

}  // namespace
}  // namespace tmx::demo
