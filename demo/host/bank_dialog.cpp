#include "demo/host/bank_dialog.h"

#include <memory>
#include <utility>

#include "demo/host/answer_check.h"
#include "demo/host/segment_values.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/protocol_file.h"

namespace tmx::demo {
namespace {

// Of the dialog's security variables, as the macros name them.
constexpr unsigned long kPinField = 4096;
constexpr unsigned long kTanField = 4099;

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

// Wrong PIN, and the ways to say that the access is locked.
bool ShutsOut(int code) { return code == 9942 || code == 9930 || code == 9931 || code == 3938; }

}  // namespace

BankDialog::BankDialog(HbJob& job, HbUser& user, HbMacroEngine& engine, const Access& access,
                       Exchange exchange, HbProgressInfoRecord* progress, Report& report)
    : job_(job),
      user_(user),
      access_(access),
      exchange_(std::move(exchange)),
      progress_(progress),
      report_(report),
      permissions_(user, report),
      runner_(engine),
      writer_(runner_),
      reader_(engine) {}

void BankDialog::Begin(std::string security_function) {
  ForgetPin();
  job_.ClearDialogs();
  job_.ClearRequests();
  not_taken_.clear();
  dialog_ = nullptr;
  security_function_ = std::move(security_function);
}

bool BankDialog::IsOpen() const { return dialog_ != nullptr && dialog_->GetDialogId() != "0"; }

bool BankDialog::End() {
  HbRequest& end = NewRequest("HKEND", 1);
  end.GetValues().PutFieldString(dialog_->GetDialogId(), field::kDialogId);
  const bool ended = Send({&end});
  ForgetPin();
  dialog_ = nullptr;
  return ended;
}

HbRequest& BankDialog::NewRequest(const char* name, unsigned short version) {
  auto request = std::make_unique<HbRequest>(name, version, 1);
  HbRequest& made = *request;
  made.AddUser(&user_, HbRoleIssuer);
  if (job_.InsertRequest(&made))
    static_cast<void>(request.release());
  else
    not_taken_.push_back(std::move(request));
  return made;
}

HbMessage* BankDialog::NewMessage(const std::vector<HbRequest*>& requests) {
  const auto refuse = [this](const char* what) {
    report_.Fail(Outcome::kNotWritten, std::string("the job has no room for another ") + what);
    return nullptr;
  };
  if (!not_taken_.empty()) return refuse("request");
  auto message = std::make_unique<HbMessage>(1, &user_, nullptr, nullptr);
  HbMessage& made = *message;
  for (HbRequest* const request : requests) made.AddRequest(*request);
  HbDialog* const dialog = job_.AddToDialog(made);
  if (dialog == nullptr) return refuse("message");
  dialog_ = dialog;
  static_cast<void>(message.release());
  made.SetMsgNo(static_cast<short>(dialog_->MessageCount()));
  made.SetClientData(dialog_);
  made.SetMsgHead(std::make_unique<HbRequest>("HNHBK", 3, 0).release());
  made.GetMsgHead()->AddUser(&user_, HbRoleIssuer);
  made.GetMsgHead()->SetClientData(&made);
  for (HbRequest* const request : requests) request->SetClientData(&made);
  return &made;
}

void BankDialog::FillHead(HbRequest& head, const HbMessage& message) {
  HbSegment& values = head.GetValues();
  const DateTime now;
  PutText(values, std::string(dialog_->GetDialogId().View()), field::kDialogId);
  values.PutFieldInt32(message.GetMsgNo(), field::kMessageNumber);
  PutText(values, access_.system_id, field::kSystemId);
  PutText(values, security_function_, field::kSecurityFunction);
  PutText(values, std::to_string(1000000 + message.GetMsgNo()), field::kControlReference);
  values.PutFieldDate(HbDate(now.GetDate()), field::kMessageDate);
  PutText(values, TimeText(now), field::kMessageTime);
  values.PutFieldInt32(user_.GetKIKLaenderkennzeichen(), field::kCountry);
  values.PutFieldString(user_.GetKIKKreditsinstitutscode(), field::kBankCode);
  values.PutFieldString(user_.GetBenutzerkennung(), field::kUserId);
}

bool BankDialog::AskPin(HbRequest& head) {
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
         report_.Fail(Outcome::kNotGiven, "no PIN was given");
}

void BankDialog::ForgetTan() { Forget(kTanField); }

void BankDialog::ForgetPin() { Forget(kPinField); }

void BankDialog::Forget(unsigned long secret) {
  for (unsigned short i = 0; i < job_.DialogCount(); ++i) {
    HbVariables& secrets = job_.GetDialog(i)->GetSecurityVariables();
    HbVariable* const variable = secrets[secret];
    if (variable != nullptr && variable->GetType() == kStringType) {
      // Memory that is given back keeps what it held.
      auto& text = static_cast<HbStringVariable&>(*variable);
      text.SetView(std::string(text.Get().Len(), '\0'));
    }
    secrets.Unregister(secret);
  }
}

void BankDialog::Log(std::string_view bytes, bool sent) {
  HbProtocolFile* const log = job_.GetProtocol();
  if (log == nullptr) return;
  const auto length = static_cast<unsigned long>(bytes.size());
  SvMemoryStream stream(length);
  stream.Write(bytes.data(), length);
  HbError error;
  if (!log->WriteMessage(stream, sent, error)) job_.InsertErrorResponse(error);
  // The log masks the secrets, the stream does not.
  stream.Seek(0);
  stream.Write(std::string(length, '\0').data(), length);
}

bool BankDialog::Send(const std::vector<HbRequest*>& requests) {
  if (SendMessage(requests)) return true;
  for (HbRequest* const request : requests) TellProblem(*request);
  return false;
}

void BankDialog::TellProblem(HbRequest& request) const {
  request.InsertErrorResponse(static_cast<unsigned short>(report_.outcome), HbStatusError,
                              String(report_.problem.c_str()), String());
}

bool BankDialog::Deliver(const std::vector<HbRequest*>& requests, std::string_view bytes,
                         std::string& answer) {
  if (progress_ != nullptr) {
    progress_->SetCurrentRequest(requests.front());
    progress_->SetInfoText(requests.front()->GetRequestName(), true);
  }
  std::string problem;
  const bool delivered = exchange_(bytes, answer, problem);
  if (progress_ != nullptr) {
    progress_->SetCurrentRequest(nullptr);
    progress_->StepDone(true);
  }
  return delivered || report_.Fail(Outcome::kNoAnswer, problem);
}

bool BankDialog::Write(HbMessage& message, SecretString& bytes) {
  HbRequest& head = *message.GetMsgHead();
  FillHead(head, message);
  if (!AskPin(head)) return false;
  HbError error;
  if (!writer_.Write(message, bytes, error))
    return report_.Fail(Outcome::kNotWritten, FullText(error));
  return permissions_.IsShortEnough(bytes.size());
}

bool BankDialog::SendMessage(const std::vector<HbRequest*>& requests) {
  if (report_.is_shut)
    return report_.Fail(Outcome::kRefused,
                        "nothing more is sent: the bank has refused the PIN or the access");
  HbMessage* const made = NewMessage(requests);
  if (made == nullptr) return false;
  HbMessage& message = *made;
  SecretString bytes;
  if (!Write(message, bytes)) {
    // The next message gets its number.
    const std::unique_ptr<HbMessage> withdrawn(&message);
    Unlink(*dialog_, message);
    return false;
  }
  Log(bytes, true);
  for (HbRequest* const request : requests) request->SetSent();
  std::string answer;
  if (!Deliver(requests, bytes, answer)) return false;
  Log(answer, false);
  return TakeAnswer(message, answer);
}

// An answer to something else tells this message nothing, but a refused PIN is refused.
bool BankDialog::TakeAnswer(HbMessage& message, const std::string& bytes) {
  const AnswerReader::Result answer = reader_.Read(bytes);
  const std::size_t before = report_.bank_texts.size();
  TakeCodes(answer);
  const std::string mismatch = MismatchOf(
      answer, bytes.size(), {std::string(dialog_->GetDialogId().View()), message.GetMsgNo()});
  if (mismatch.empty()) Distribute(message, answer);
  if (report_.is_shut) ForgetPin();
  if (report_.is_shut || message.GetStatus() == HbStatusError) {
    std::string texts;
    for (std::size_t i = before; i < report_.bank_texts.size(); ++i)
      if (report_.bank_texts[i].starts_with('9') || report_.bank_texts[i].starts_with("3938"))
        texts += (texts.empty() ? "" : "; ") + report_.bank_texts[i];
    return report_.Fail(Outcome::kRefused, "the bank has refused: " + texts);
  }
  if (!mismatch.empty()) return report_.Fail(Outcome::kWrongAnswer, mismatch);
  if (FindResponse(message, "HIRMG") != nullptr) return true;
  return report_.Fail(Outcome::kWrongAnswer, "the bank's answer holds no return codes");
}

void BankDialog::TakeCodes(const AnswerReader::Result& answer) {
  for (const Ref<HbSegment>& segment : answer.segments) {
    const std::string kind = CodeOf(*segment);
    if (kind != "HIRMG" && kind != "HIRMS") continue;
    ForEachCode(*segment, [&](short code, unsigned long at) {
      std::string number = std::to_string(code);
      number.insert(0, number.size() < 4 ? 4 - number.size() : 0, '0');
      report_.bank_texts.push_back(number + ' ' + TextOf(*segment, field::kReturnText + at));
      report_.is_shut = report_.is_shut || ShutsOut(code);
    });
  }
}

void BankDialog::Distribute(HbMessage& message, const AnswerReader::Result& answer) {
  for (const Ref<HbSegment>& segment : answer.segments) {
    const std::string code = CodeOf(*segment);
    if (code == "HNHBK") dialog_->SetDialogId(TextOf(*segment, field::kDialogId).c_str());
    if (IsEnvelope(code)) continue;
    const long reference = NumberOf(*segment, field::kSegmentReference);
    HbObject* target = &message;
    for (unsigned short i = 0; i < message.RequestCount() && reference != 0; ++i)
      if (message[i] != nullptr && MessageWriter::SegmentNumber(*message[i]) == reference)
        target = message[i];
    target->InsertResponse(segment.Get());
  }
}

}  // namespace tmx::demo
