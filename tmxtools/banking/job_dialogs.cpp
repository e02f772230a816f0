// In which dialog of a job a message is sent.
#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <string_view>

#include "tmxtools/banking/job.h"

namespace {

constexpr std::string_view kKeyChange = "HKSAK";

// Requests that are answered for a dialog of their own.
constexpr std::array<std::string_view, 11> kDialogControl = {kKeyChange, "HKSYN", "HKSSP", "IKBVA",
                                                             "IKBVB",    "IKBVL", "IKBVN", "IKBVS",
                                                             "IKSAK",    "IKSPA", "INUPD"};

bool IsDialogControl(const String& name) {
  return std::find(kDialogControl.begin(), kDialogControl.end(), name.View()) !=
         kDialogControl.end();
}

// Of what stands in the first place, if anything does.
const HbRequest* RequestAtFront(const HbMessage& message) {
  return message.RequestCount() > 0 ? message[0] : nullptr;
}

String NameOf(const HbRequest* request) {
  return request != nullptr ? request->GetRequestName() : String();
}

}  // namespace

HbDialog* HbJob::FindDialogFor(const HbMessage& message, bool is_dialog_control) const {
  if (message.RequestCount() == 1 && is_dialog_control) return nullptr;
  const HbUser* const sender = message.GetSendingUser();
  for (unsigned short i = 0; i < DialogCount(); ++i) {
    const HbMessage* const first = GetMessage(i, 0);
    if (first == nullptr || first->GetSendingUser() != sender) continue;
    const HbRequest* const request = RequestAtFront(*first);
    if (request != nullptr && !IsDialogControl(request->GetRequestName())) return GetDialog(i);
  }
  return nullptr;
}

unsigned short HbJob::NewDialogPosition(const HbMessage& message, const HbDialog* after,
                                        bool is_key_change) const {
  if (after != nullptr) {
    const auto index = dialogs_.Find(after);
    if (!index) throw std::out_of_range("element not found.");
    return static_cast<unsigned short>(*index + 1);
  }
  const HbUser* const sender = message.GetSendingUser();
  for (unsigned short i = 0; i < DialogCount(); ++i) {
    const HbMessage* const first = GetMessage(i, 0);
    if (first != nullptr && first->GetSendingUser() == sender)
      return static_cast<unsigned short>(is_key_change ? i : i + 1);
  }
  return DialogCount();
}

HbDialog* HbJob::AddToDialog(HbMessage& message, const HbDialog* after) {
  const String name = NameOf(RequestAtFront(message));
  const bool is_key_change = name == kKeyChange;
  const unsigned short position_in_dialog = is_key_change ? 0 : UINT16_MAX;
  if (HbDialog* const dialog = FindDialogFor(message, IsDialogControl(name)))
    return dialog->AddMsg(message, position_in_dialog) ? dialog : nullptr;

  const unsigned short position = NewDialogPosition(message, after, is_key_change);
  std::unique_ptr<HbDialog> dialog(new (std::nothrow) HbDialog(this));
  if (dialog == nullptr || !dialogs_.Insert(position, dialog.get()) ||
      !dialog->AddMsg(message, position_in_dialog))
    return nullptr;
  return dialog.release();
}
