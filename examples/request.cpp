// One request from the host's objects to the wire and back: the job and its tree, the engine with a
// handler for secrets, the response segments and the statuses that follow from return codes. The
// macro path, below which lies macro/request.hbz, is the program's argument.

#include <iostream>
#include <memory>
#include <string>

#include "tmxtools/tmxtools.h"

// Of the request's values, and of the response's.
enum Field : unsigned long { kAccount = 10000000, kSign = 5000, kAmount = 5010 };

// Puts a question for a balance into a job's tree.
HbRequest& AskForBalance(HbJob& job, HbUser& user) {
  auto owned = std::make_unique<HbRequest>("HKSAL", 5, 1);
  HbRequest& request = *owned;
  request.AddUser(&user, HbRoleIssuer);
  request.GetValues().PutFieldString("1234567", kAccount);
  if (job.InsertRequest(owned.get())) owned.release();  // the job's from here on

  auto made = std::make_unique<HbMessage>(1, &user, nullptr, nullptr);
  HbMessage& message = *made;
  message.AddRequest(request);
  HbDialog* const dialog = job.AddToDialog(*made.release());  // the dialog's from here on
  request.SetClientData(&message);  // where the engine looks for the message,
  message.SetClientData(dialog);    // and for the dialog with its secrets
  return request;
}

// The user types what the macros need. Here that is always the same.
long Give(void* data) {
  HbCallbackItems& items = *static_cast<HbCallbackData*>(data)->GetParameters();
  for (unsigned short i = 0; i < items.Count(); ++i) {
    HbCallbackItem& item = *items.GetItem(i);
    std::cout << "asked for the " << item.GetLabel().Data() << '\n';
    HbVariable* const value = item.GetValue();
    if (value == nullptr || value->GetType() != tmx::kStringType) return 0;  // macros choose
    static_cast<HbStringVariable*>(value)->Set("12345");
  }
  return 1;
}

// Runs a subroutine that has its parameters.
bool Run(HbMacroEngine& engine, HbRequest& request, HbStackFrame* frame) {
  HbError error;
  engine.SetRequest(&request);
  if (frame == nullptr) return false;
  if (engine.Call(frame, error) && !engine.GetStatus().IsSet()) return true;
  std::cout << "the macro failed: " << error.GetCode() << '\n';
  return false;
}

// The request's bytes are the engine's output.
bool Build(HbMacroEngine& engine, HbRequest& request) {
  HbError error;
  HbStackFrame* const frame = engine.LoadSub("HKSAL5", error);
  if (frame != nullptr) frame->PushParam(long{3});  // number of the segment
  if (!Run(engine, request, frame)) return false;
  std::cout << "to be sent: " << engine.GetOutput().Data() << '\n';
  request.SetSent();
  return true;
}

// Makes a response of the request from a segment's elements.
void Take(HbMacroEngine& engine, HbRequest& request, const char* macro, const char* elements) {
  HbError error;
  HbStackFrame* const frame = engine.LoadSub(macro, error);
  if (frame != nullptr) frame->PushParam(elements);
  Run(engine, request, frame);
}

void Show(const HbRequest& request) {
  unsigned short at = 0;
  if (const HbSegment* const balance = request.GetResponseWithName(at, "HISAL")) {
    String sign;
    String amount;
    balance->GetFieldString(sign, kSign);
    balance->GetFieldString(amount, kAmount);
    std::cout << "balance " << (sign == "D" ? "-" : "") << amount.Data() << '\n';
  }
  std::cout << "request: " << (request.IsSuccess() ? "successful" : "not successful") << '\n';
}

int main(int argc, char** argv) {
  HbUser user(nullptr, nullptr);  // outlives the job
  user.SetBenutzerkennung("4711");
  user.SetKIKKreditsinstitutscode("99900011");
  HbJob job;
  HbRequest& request = AskForBalance(job, user);

  HbMacroEngine engine(argc > 1 ? argv[1] : ".");
  engine.SetSecurityHdl(Link(&Give));
  HbError error;
  if (!engine.PushFile("request", error) || !Build(engine, request)) return 1;
  // Here the bank would answer.
  Take(engine, request, "HIRMS2", "0020::Auftrag ausgef\xFChrt.");
  Take(engine, request, "HISAL5", "1234567+Giro+EUR+C:1523,07:EUR:20260115");
  engine.SetRequest(nullptr);
  Show(request);
}
