#include "demo/host/conversation.h"

#include <algorithm>
#include <thread>

#include "demo/segments/fields.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/protocol_file.h"

namespace tmx::demo {
namespace {

constexpr unsigned short kStandardVersion = 300;
constexpr const char* kOneStep = "999";
constexpr int kTanNeeded = 30;  // 0030
constexpr int kConfirmElsewhere = 3955;
constexpr int kNotYetConfirmed = 3956;
constexpr int kAllowedFunctions = 3920;
constexpr int kMoreToCome = 3040;
constexpr unsigned long kReturnStep = 100130;
constexpr unsigned long kProcedureStep = 1000;
constexpr unsigned long kAllowedJobStep = 101240;
constexpr unsigned long kTanJobStep = 100;
constexpr unsigned long kAccountStep = 100;
constexpr unsigned long kMediumStep = 1000;
constexpr int kMostPages = 1000;

std::string TextOf(const HbSegment& segment, unsigned long id) {
  String text;
  segment.GetFieldString(text, id);
  return std::string(text.View());
}

bool HasText(const HbSegment& segment, unsigned long id, std::string& text) {
  String value;
  if (!segment.GetFieldString(value, id)) return false;
  text = value.View();
  return true;
}

long NumberOf(const HbSegment& segment, unsigned long id, long otherwise = 0) {
  long number = 0;
  return segment.GetFieldInt32(number, id) ? number : otherwise;
}

void PutText(HbSegment& segment, const std::string& text, unsigned long id) {
  if (!text.empty()) segment.PutFieldString(String(text.c_str()), id);
}

void PutAccount(HbSegment& segment, const BankAccount& account) {
  PutText(segment, account.iban, field::kIban);
  PutText(segment, account.bic, field::kBic);
  PutText(segment, account.number, field::kAccountNumber);
  PutText(segment, account.subaccount, field::kSubaccount);
  segment.PutFieldInt32(account.country, field::kCountry);
  PutText(segment, account.bank_code, field::kBankCode);
}

std::string CodeOf(const HbSegment& segment) {
  return std::string(segment.GetSegmentKennung().View());
}

// HHMMSS
std::string TimeText(const DateTime& moment) {
  const Time time = moment.GetTime();
  std::string text;
  for (const unsigned short part : {time.GetHour(), time.GetMin(), time.GetSec()}) {
    text += static_cast<char>('0' + part / 10);
    text += static_cast<char>('0' + part % 10);
  }
  return text;
}

// Segments around the others, which belong to no request.
bool IsEnvelope(const std::string& code) {
  return code == "HNHBK" || code == "HNVSK" || code == "HNVSD" || code == "HNSHK" ||
         code == "HNSHA" || code == "HNHBS";
}

bool IsBankParameter(const std::string& code) {
  return code == "HIBPA" || code == "HIKOM" || code == "HISHV" ||
         (code.size() == 6 && code.starts_with("HI") && code.ends_with('S'));
}

// Each return code of a segment with its place in it.
template <class Visit>
void ForEachCode(const HbSegment& segment, Visit visit) {
  short code = 0;
  for (unsigned long at = 0; segment.GetFieldInt16(code, field::kReturnCode + at);
       at += kReturnStep)
    visit(code, at);
}

HbSegment* FindResponse(const HbObject& object, const char* code) {
  unsigned short index = 0;
  return object.GetResponseWithName(index, code);
}

}  // namespace

Conversation::Conversation(HbJob& job, HbUser& user, HbMacroEngine& engine, Access& access,
                           Exchange exchange, ConversationOptions options)
    : job_(job),
      user_(user),
      access_(access),
      exchange_(std::move(exchange)),
      options_(std::move(options)),
      runner_(engine),
      writer_(runner_),
      reader_(engine) {
  if (user_.GetHbciVersion() != kStandardVersion) user_.SetHbciVersion(kStandardVersion);
  if (!options_.wait)
    options_.wait = [](std::chrono::seconds time) { std::this_thread::sleep_for(time); };
}

Conversation::~Conversation() = default;

bool Conversation::Fail(std::string problem) {
  problem_ = std::move(problem);
  return false;
}

// ---- messages ---------------------------------------------------------------------------------

HbRequest& Conversation::NewRequest(const char* name, unsigned short version) {
  auto request = std::make_unique<HbRequest>(name, version, 1);
  HbRequest& made = *request;
  made.AddUser(&user_, HbRoleIssuer);
  if (job_.InsertRequest(request.get())) static_cast<void>(request.release());
  return made;
}

HbMessage& Conversation::NewMessage(const std::vector<HbRequest*>& requests) {
  auto message = std::make_unique<HbMessage>(1, &user_, nullptr, nullptr);
  HbMessage& made = *message;
  for (HbRequest* const request : requests) made.AddRequest(*request);
  dialog_ = job_.AddToDialog(made);
  static_cast<void>(message.release());
  made.SetMsgNo(static_cast<short>(dialog_->MessageCount()));
  made.SetClientData(dialog_);
  made.SetMsgHead(std::make_unique<HbRequest>("HNHBK", 3, 0).release());
  made.GetMsgHead()->AddUser(&user_, HbRoleIssuer);
  made.GetMsgHead()->SetClientData(&made);
  for (HbRequest* const request : requests) request->SetClientData(&made);
  return made;
}

void Conversation::FillHead(HbRequest& head, const HbMessage& message) {
  HbSegment& values = head.GetValues();
  const DateTime now;
  PutText(values, std::string(dialog_->GetDialogId().View()), field::kDialogId);
  values.PutFieldInt32(message.GetMsgNo(), field::kMessageNumber);
  PutText(values, access_.system_id, field::kSystemId);
  PutText(values, dialog_function_, field::kSecurityFunction);
  PutText(values, std::to_string(1000000 + message.GetMsgNo()), field::kControlReference);
  values.PutFieldDate(HbDate(now.GetDate()), field::kMessageDate);
  PutText(values, TimeText(now), field::kMessageTime);
  values.PutFieldInt32(user_.GetKIKLaenderkennzeichen(), field::kCountry);
  values.PutFieldString(user_.GetKIKKreditsinstitutscode(), field::kBankCode);
  values.PutFieldString(user_.GetBenutzerkennung(), field::kUserId);
}

bool Conversation::AskPin(HbRequest& head) {
  long shortest = 1;
  long longest = 99;
  if (const HbSegment* const parameters = user_.GetBPDSegment("HIPINS", 0, true)) {
    shortest = NumberOf(*parameters, field::kPinMinLength, shortest);
    longest = NumberOf(*parameters, field::kPinMaxLength, longest);
  }
  HbError error;
  std::string ignored;
  return runner_.Run(head, "AskPin", error, ignored, static_cast<short>(shortest),
                     static_cast<short>(longest)) ||
         Fail("no PIN was given");
}

void Conversation::Log(std::string_view bytes, bool sent) {
  HbProtocolFile* const log = job_.GetProtocol();
  if (log == nullptr) return;
  SvMemoryStream stream;
  stream.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
  HbError error;
  if (!log->WriteMessage(stream, sent, error)) job_.InsertErrorResponse(error);
}

// Sends one message and gives its answer to those whom it concerns. False when nothing came back,
// or the bank refused the message as a whole.
bool Conversation::Send(const std::vector<HbRequest*>& requests) {
  if (refused_) return Fail("nothing more is sent: the bank has refused the PIN or the access");
  HbMessage& message = NewMessage(requests);
  HbRequest& head = *message.GetMsgHead();
  FillHead(head, message);
  HbError error;
  std::string bytes;
  if (!AskPin(head)) return false;
  if (!writer_.Write(message, bytes, error)) return Fail(FullText(error));
  Log(bytes, true);
  for (HbRequest* const request : requests) request->SetSent();
  std::string answer;
  if (!exchange_(bytes, answer, problem_)) return false;
  Log(answer, false);
  const AnswerReader::Result read = reader_.Read(answer);
  const std::size_t before = bank_texts_.size();
  Distribute(message, read);
  if (FindResponse(message, "HIRMG") == nullptr)
    return Fail("the answer holds no return codes" +
                (read.problems.empty() ? std::string() : ": " + read.problems.front().what));
  if (!refused_ && message.GetStatus() != HbStatusError) return true;
  std::string texts;
  for (std::size_t i = before; i < bank_texts_.size(); ++i)
    if (bank_texts_[i].starts_with('9') || bank_texts_[i].starts_with("3938"))
      texts += (texts.empty() ? "" : "; ") + bank_texts_[i];
  return Fail("the bank has refused: " + texts);
}

void Conversation::TakeCodes(const HbSegment& segment) {
  ForEachCode(segment, [&](short code, unsigned long at) {
    std::string number = std::to_string(code);
    number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
    bank_texts_.push_back(number + ' ' + TextOf(segment, field::kReturnText + at));
    refused_ = refused_ || code == 9942 || code == 9930 || code == 9931 || code == 3938;
  });
}

void Conversation::Distribute(HbMessage& message, const AnswerReader::Result& answer) {
  for (const Ref<HbSegment>& segment : answer.segments) {
    const std::string code = CodeOf(*segment);
    if (code == "HNHBK") {
      const std::string dialog = TextOf(*segment, field::kDialogId);
      if (!dialog.empty()) dialog_->SetDialogId(dialog.c_str());
    }
    if (IsEnvelope(code)) continue;
    if (code == "HIRMG" || code == "HIRMS") TakeCodes(*segment);
    const long reference = NumberOf(*segment, field::kSegmentReference);
    HbObject* target = &message;
    for (unsigned short i = 0; i < message.RequestCount() && reference != 0; ++i)
      if (message[i] != nullptr && MessageWriter::SegmentNumber(*message[i]) == reference)
        target = message[i];
    target->InsertResponse(segment.Get());
  }
}

bool Conversation::HasCode(const HbObject& object, int wanted) {
  bool found = false;
  for (unsigned short i = 0; i < object.ResponseCount(); ++i)
    if (CodeOf(*object.GetResponse(i)) == "HIRMS")
      ForEachCode(*object.GetResponse(i),
                  [&](short code, unsigned long) { found = found || code == wanted; });
  return found;
}

// ---- opening and closing ----------------------------------------------------------------------

bool Conversation::Open() {
  if (access_.system_id == "0" || access_.allowed_functions.empty()) {
    if (!OpenDialog(true) || !ChooseFunction() || !ChooseMedium() || !EndDialog()) return false;
  } else if (!ChooseFunction()) {
    return false;
  }
  return OpenDialog(false);
}

bool Conversation::OpenDialog(bool synchronise) {
  job_.ClearDialogs();
  dialog_ = nullptr;
  dialog_function_ = synchronise ? kOneStep : access_.security_function;
  HbRequest& identity = NewRequest("HKIDN", 2);
  identity.GetValues().PutFieldInt32(user_.GetKIKLaenderkennzeichen(), field::kCountry);
  identity.GetValues().PutFieldString(user_.GetKIKKreditsinstitutscode(), field::kBankCode);
  identity.GetValues().PutFieldString(user_.GetKundenId(), field::kCustomerId);
  PutText(identity.GetValues(), access_.system_id, field::kSystemId);
  PutText(identity.GetValues(), "1", field::kSystemStatus);

  HbRequest& preparation = NewRequest("HKVVB", 3);
  HbSegment& values = preparation.GetValues();
  const HbSegment* const bank = user_.GetBPDSegment("HIBPA", 0, true);
  const HbSegment* const rights = user_.GetUPDSegment(String());
  values.PutFieldInt32(bank != nullptr ? NumberOf(*bank, field::kBpdVersion) : 0,
                       field::kBpdVersion);
  values.PutFieldInt32(rights != nullptr ? NumberOf(*rights, field::kUpdVersion) : 0,
                       field::kUpdVersion);
  values.PutFieldInt16(0, field::kDialogLanguage);
  PutText(values, options_.product, field::kProductName);
  PutText(values, options_.product_version, field::kProductVersion);

  std::vector<HbRequest*> requests{&identity, &preparation};
  HbRequest* tan = nullptr;
  if (synchronise) {
    HbRequest& sync = NewRequest("HKSYN", 3);
    sync.GetValues().PutFieldInt16(0, field::kSyncMode);
    requests.push_back(&sync);
  } else if (dialog_function_ != kOneStep) {
    tan = NewTanRequest("4", "HKIDN");
    if (tan == nullptr) return false;
    requests.push_back(tan);
  }
  if (!Send(requests)) return false;
  TakeParameters(*requests[0]->GetMessage());
  if (synchronise) {
    const HbSegment* const answer = FindResponse(*requests.back(), "HISYN");
    const std::string id = answer != nullptr ? TextOf(*answer, field::kSystemId) : "";
    if (id.empty()) return Fail("the bank has given no system id");
    access_.system_id = id;
    return true;
  }
  return tan == nullptr || FinishWithTan(identity, *tan);
}

// What stands in an answer about bank, user and allowed procedures.
void Conversation::TakeParameters(const HbMessage& message) {
  std::vector<HbSegment*> all;
  const auto collect = [&all](const HbObject& object) {
    for (unsigned short i = 0; i < object.ResponseCount(); ++i)
      all.push_back(object.GetResponse(i));
  };
  collect(message);
  for (unsigned short i = 0; i < message.RequestCount(); ++i) collect(*message[i]);
  HbInternalUser& user = *user_.GetInternalUser();
  const auto has = [&all](const char* code) {
    return std::any_of(all.begin(), all.end(),
                       [code](const HbSegment* each) { return CodeOf(*each) == code; });
  };
  const bool bank = has("HIBPA");
  const bool rights = has("HIUPA");
  if (bank) user.ClearBPDs(true, true);
  if (rights) user.ClearUPDs(false);
  for (HbSegment* const segment : all) {
    const std::string code = CodeOf(*segment);
    if (bank && IsBankParameter(code)) user.InsertBPDSegment(segment, true);
    if (rights && (code == "HIUPA" || code == "HIUPD")) user.InsertUPDSegment(segment);
    if (code == "HIRMS") TakeAllowedFunctions(*segment);
  }
  if (bank) user.SetBPDUpdated(true);
  if (rights) user.SetUPDUpdated(true);
}

void Conversation::TakeAllowedFunctions(const HbSegment& codes) {
  constexpr unsigned long kParameterStep = 10;
  ForEachCode(codes, [&](short code, unsigned long at) {
    if (code != kAllowedFunctions) return;
    access_.allowed_functions.clear();
    std::string function;
    for (unsigned long id = field::kReturnParameter + at; HasText(codes, id, function);
         id += kParameterStep)
      access_.allowed_functions.push_back(function);
  });
}

bool Conversation::ChooseFunction() {
  const auto& allowed = access_.allowed_functions;
  if (!options_.wanted_function.empty()) {
    if (std::find(allowed.begin(), allowed.end(), options_.wanted_function) == allowed.end())
      return Fail("the bank does not allow the procedure " + options_.wanted_function);
    access_.security_function = options_.wanted_function;
  }
  const bool is_chosen =
      access_.security_function != kOneStep &&
      std::find(allowed.begin(), allowed.end(), access_.security_function) != allowed.end();
  for (std::size_t i = 0; i < allowed.size() && !is_chosen; ++i) {
    if (allowed[i] == kOneStep) continue;
    access_.security_function = allowed[i];
    break;
  }
  if (access_.security_function != kOneStep && TanParameters() == nullptr)
    return Fail("HITANS of the bank's parameters does not describe the procedure " +
                access_.security_function);
  return true;
}

// Asks for the names of the media if the procedure needs one. The dialog goes on as it began.
bool Conversation::ChooseMedium() {
  if (access_.security_function == kOneStep) return true;
  if (!options_.wanted_medium.empty()) access_.tan_medium = options_.wanted_medium;
  if (ProcedureText(*TanParameters(), field::kProcedureMediumNeeded) != "2" ||
      !access_.tan_medium.empty())
    return true;
  const unsigned short version = VersionOf("HKTAB", 5, 4);
  if (version == 0) return false;
  HbRequest& question = NewRequest("HKTAB", version);
  PutText(question.GetValues(), "0", field::kMediumKind);
  PutText(question.GetValues(), "A", field::kMediumClassWanted);
  if (!Send({&question})) return false;
  const HbSegment* const media = FindResponse(question, "HITAB");
  std::string name;
  for (unsigned long at = 0; media != nullptr; at += kMediumStep) {
    std::string kind;
    if (!HasText(*media, field::kMediumClass + at, kind)) break;
    if (HasText(*media, field::kMediumName + at, name)) break;
  }
  if (name.empty()) return Fail("the bank names no TAN medium, but the procedure needs one");
  access_.tan_medium = name;
  return true;
}

bool Conversation::EndDialog() {
  HbRequest& end = NewRequest("HKEND", 1);
  end.GetValues().PutFieldString(dialog_->GetDialogId(), field::kDialogId);
  return Send({&end});
}

bool Conversation::Close() {
  if (dialog_ == nullptr || refused_ || dialog_->GetDialogId() == "0") return true;
  const bool ended = EndDialog();
  dialog_ = nullptr;
  return ended;
}

// ---- what is allowed --------------------------------------------------------------------------

unsigned short Conversation::VersionOf(const char* order, unsigned short newest,
                                       unsigned short oldest) {
  for (unsigned short version = newest; version >= oldest; --version)
    if (user_.GetBPDSegment(order, version, false) != nullptr) return version;
  std::string parameter = std::string(order) + 'S';
  parameter[1] = 'I';
  Fail("the bank does not offer " + std::string(order) + ": its parameters hold no " + parameter +
       " of version " + std::to_string(oldest) + " to " + std::to_string(newest));
  return 0;
}

bool Conversation::IsAllowedFor(const BankAccount& account, const char* order) {
  const HbSegment* const rights = user_.GetUPDSegment(String(account.number.c_str()));
  if (rights == nullptr) return true;
  std::string job;
  for (unsigned long at = 0; HasText(*rights, field::kAllowedJob + at, job); at += kAllowedJobStep)
    if (job == order) return true;
  const HbSegment* const general = user_.GetUPDSegment(String());
  if (general != nullptr && TextOf(*general, field::kUpdUsage) == "1") return true;
  return Fail("HIUPD does not name " + std::string(order) + " among the orders of account " +
              account.number);
}

bool Conversation::NeedsTan(const char* order) const {
  const HbSegment* const parameters = user_.GetBPDSegment("HIPINS", 0, true);
  if (parameters == nullptr) return false;
  std::string job;
  for (unsigned long at = 0; HasText(*parameters, field::kTanJob + at, job); at += kTanJobStep) {
    bool needed = false;
    if (job == order) return parameters->GetFieldBool(needed, field::kTanNeeded + at) && needed;
  }
  return false;
}

// ---- TAN --------------------------------------------------------------------------------------

int Conversation::ProcedureIndex(const HbSegment& parameters) const {
  std::string function;
  for (int i = 0;
       HasText(parameters,
               field::kSecurityFunction + kProcedureStep * static_cast<unsigned long>(i), function);
       ++i)
    if (function == access_.security_function) return i;
  return -1;
}

const HbSegment* Conversation::TanParameters() const {
  for (unsigned short version = 7; version >= 6; --version) {
    const HbSegment* const parameters = user_.GetBPDSegment("HITANS", version, true);
    if (parameters != nullptr && ProcedureIndex(*parameters) >= 0) return parameters;
  }
  return nullptr;
}

std::string Conversation::ProcedureText(const HbSegment& parameters, unsigned long id) const {
  return TextOf(parameters,
                id + kProcedureStep * static_cast<unsigned long>(ProcedureIndex(parameters)));
}

long Conversation::ProcedureNumber(const HbSegment& parameters, unsigned long id,
                                   long otherwise) const {
  return NumberOf(parameters,
                  id + kProcedureStep * static_cast<unsigned long>(ProcedureIndex(parameters)),
                  otherwise);
}

HbRequest* Conversation::NewTanRequest(const char* process, const std::string& order_code) {
  const HbSegment* const parameters = TanParameters();
  if (parameters == nullptr) {
    Fail("HITANS of the bank's parameters does not describe the procedure " +
         access_.security_function);
    return nullptr;
  }
  HbRequest& tan = NewRequest("HKTAN", parameters->GetSegmentVersion());
  PutText(tan.GetValues(), process, field::kTanProcess);
  PutText(tan.GetValues(), order_code, field::kOrderCode);
  if (!order_code.empty() && ProcedureText(*parameters, field::kProcedureMediumNeeded) == "2")
    PutText(tan.GetValues(), access_.tan_medium, field::kTanMedium);
  return &tan;
}

bool Conversation::SendOrder(HbRequest& order) {
  std::vector<HbRequest*> requests{&order};
  HbRequest* tan = nullptr;
  const std::string name(order.GetRequestName().View());
  if (dialog_function_ != kOneStep && NeedsTan(name.c_str())) {
    tan = NewTanRequest("4", name);
    if (tan == nullptr) return false;
    requests.push_back(tan);
  }
  if (!Send(requests)) return false;
  if (tan != nullptr && !FinishWithTan(order, *tan)) return false;
  if (order.GetStatus() == HbStatusError) return Fail("the bank has refused " + name);
  return true;
}

// Gives the TAN or waits for the confirmation, if the bank asks for one. What the bank then answers
// belongs to the order.
bool Conversation::FinishWithTan(HbRequest& order, HbRequest& tan) {
  if (HasCode(tan, kConfirmElsewhere)) return WaitForConfirmation(order, tan);
  const bool needed = HasCode(tan, kTanNeeded) || HasCode(order, kTanNeeded);
  const HbSegment* const challenge = FindResponse(tan, "HITAN");
  if (!needed || challenge == nullptr) return true;
  HbRequest* const answer = NewTanRequest("2", "");
  if (answer == nullptr) return false;
  PutText(answer->GetValues(), TextOf(*challenge, field::kOrderReference), field::kOrderReference);
  answer->GetValues().PutFieldBool(false, field::kMoreTansFollow);
  const HbSegment& parameters = *TanParameters();
  std::string label = ProcedureText(parameters, field::kProcedureInputText);
  if (label.empty()) label = "TAN";
  HbError error;
  std::string ignored;
  const std::string text = TextOf(*challenge, field::kChallenge);
  if (!runner_.Run(tan, "AskTan", error, ignored, std::string_view(text), std::string_view(label),
                   static_cast<short>(ProcedureNumber(parameters, field::kProcedureTanLength, 99))))
    return Fail("no TAN was given: the order is not carried out");
  if (!Send({answer})) return false;
  for (unsigned short i = 0; i < answer->ResponseCount(); ++i)
    if (CodeOf(*answer->GetResponse(i)) != "HITAN") order.InsertResponse(answer->GetResponse(i));
  return true;
}

bool Conversation::WaitForConfirmation(HbRequest& order, HbRequest& tan) {
  const HbSegment* const challenge = FindResponse(tan, "HITAN");
  if (challenge == nullptr) return Fail("the bank waits for a confirmation without HITAN");
  const std::string reference = TextOf(*challenge, field::kOrderReference);
  const HbSegment& parameters = *TanParameters();
  const long most = ProcedureNumber(parameters, field::kProcedureMaxRequests, 20);
  long wait = ProcedureNumber(parameters, field::kProcedureWaitFirst, 5);
  bank_texts_.push_back("     " + TextOf(*challenge, field::kChallenge));
  for (long i = 0; i < most; ++i) {
    options_.wait(std::chrono::seconds(wait));
    HbRequest* const question = NewTanRequest("S", "");
    if (question == nullptr) return false;
    PutText(question->GetValues(), reference, field::kOrderReference);
    question->GetValues().PutFieldBool(false, field::kMoreTansFollow);
    if (!Send({question})) return false;
    if (!HasCode(*question, kNotYetConfirmed)) {
      for (unsigned short r = 0; r < question->ResponseCount(); ++r)
        if (CodeOf(*question->GetResponse(r)) != "HITAN")
          order.InsertResponse(question->GetResponse(r));
      return true;
    }
    wait = ProcedureNumber(parameters, field::kProcedureWaitNext, 2);
  }
  return Fail("the order was not confirmed in time");
}

// ---- orders -----------------------------------------------------------------------------------

bool Conversation::Accounts(std::vector<BankAccount>& accounts) {
  const unsigned short version = VersionOf("HKSPA", 1, 1);
  if (version == 0) return false;
  HbRequest& order = NewRequest("HKSPA", version);
  if (!SendOrder(order)) return false;
  const HbSegment* const answer = FindResponse(order, "HISPA");
  if (answer == nullptr) return Fail("the bank has named no accounts");
  for (unsigned long at = 0;; at += kAccountStep) {
    BankAccount account;
    const bool more = HasText(*answer, field::kAccountNumber + at, account.number);
    account.iban = TextOf(*answer, field::kIban + at);
    if (!more && account.iban.empty()) return true;
    account.bic = TextOf(*answer, field::kBic + at);
    account.subaccount = TextOf(*answer, field::kSubaccount + at);
    account.country = NumberOf(*answer, field::kCountry + at, account.country);
    account.bank_code = TextOf(*answer, field::kBankCode + at);
    accounts.push_back(std::move(account));
  }
}

bool Conversation::Balance(const BankAccount& account, Ref<HbSegment>& balance) {
  const unsigned short version = VersionOf("HKSAL", 8, 5);
  if (version == 0 || !IsAllowedFor(account, "HKSAL")) return false;
  HbRequest& order = NewRequest("HKSAL", version);
  PutAccount(order.GetValues(), account);
  order.GetValues().PutFieldBool(false, field::kAllAccounts);
  if (!SendOrder(order)) return false;
  balance = Ref<HbSegment>::Share(FindResponse(order, "HISAL"));
  return balance ? true : Fail("the bank has sent no balance");
}

bool Conversation::Statement(const BankAccount& account, const HbDate& from, const HbDate& to,
                             std::vector<Ref<HbSegment>>& pages) {
  const unsigned short version = VersionOf("HKKAZ", 7, 5);
  if (version == 0 || !IsAllowedFor(account, "HKKAZ")) return false;
  std::string mark;
  for (int page = 0; page < kMostPages; ++page) {
    HbRequest& order = NewRequest("HKKAZ", version);
    PutAccount(order.GetValues(), account);
    order.GetValues().PutFieldBool(false, field::kAllAccounts);
    if (!from.IsNull()) order.GetValues().PutFieldDate(from, field::kFromDate);
    if (!to.IsNull()) order.GetValues().PutFieldDate(to, field::kToDate);
    PutText(order.GetValues(), mark, field::kTouchdown);
    if (!SendOrder(order)) return false;
    mark.clear();
    for (unsigned short i = 0; i < order.ResponseCount(); ++i) {
      HbSegment* const segment = order.GetResponse(i);
      if (CodeOf(*segment) == "HIKAZ") pages.push_back(Ref<HbSegment>::Share(segment));
      if (CodeOf(*segment) == "HIRMS")
        ForEachCode(*segment, [&](short code, unsigned long at) {
          if (code == kMoreToCome) mark = TextOf(*segment, field::kReturnParameter + at);
        });
    }
    if (mark.empty()) return true;
  }
  return Fail("the bank sends pages without end");
}

bool Conversation::Transfer(const BankAccount& account, const std::string& pain_format,
                            const std::string& pain) {
  if (VersionOf("HKCCS", 1, 1) == 0 || !IsAllowedFor(account, "HKCCS")) return false;
  HbRequest& order = NewRequest("HKCCS", 1);
  PutText(order.GetValues(), account.iban, field::kIban);
  PutText(order.GetValues(), account.bic, field::kBic);
  PutText(order.GetValues(), pain_format, field::kPainFormat);
  order.GetValues().PutFieldBinary(reinterpret_cast<const unsigned char*>(pain.data()), pain.size(),
                                   field::kPainMessage);
  return SendOrder(order);
}

}  // namespace tmx::demo
