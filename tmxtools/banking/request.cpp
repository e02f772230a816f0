#include "tmxtools/banking/request.h"

#include <algorithm>

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/job.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/user.h"

namespace {

// The levels of responses in the order in which they are put together.
constexpr unsigned short kJobLevel = 8;
constexpr unsigned short kDialogLevel = 4;
constexpr unsigned short kMessageLevel = 2;
constexpr unsigned short kOwnLevel = 1;
constexpr unsigned short kLevels[] = {kJobLevel, kDialogLevel, kMessageLevel, kOwnLevel};

}  // namespace

HbRequest::HbRequest(const String& name, unsigned short version, unsigned short num_sigs_needed,
                     void* client_data, void* xhb_client_data)
    : HbObject(client_data, xhb_client_data),
      values_(tmx::MakeRef<HbSegment>(name, version)),
      num_sigs_needed_(num_sigs_needed) {}

HbRequest::HbRequest(HbSegment& values) noexcept : values_(tmx::Ref<HbSegment>::Adopt(&values)) {}

HbRequest::~HbRequest() {
  // An array does not give up its references on its own.
  items_.Remove(0, items_.Count());
}

void HbRequest::InsertResponse(HbSegment* segment) {
  if (segment == nullptr) return;
  const String kennung = segment->GetSegmentKennung();
  if (kennung == "HIRMG" || kennung == "HIRMS") {
    UpdateStatusFromHIRMxSegment(segment);
  } else if (GetStatus() == HbStatusOpen && kennung != "INBZG") {
    SetSuccess();
  }
  HbObject::InsertResponse(segment);
}

void HbRequest::AddUser(const HbUser* user, HbRole role) noexcept {
  const short index = GetIndexFromRole(role);
  if (index >= 0) users_[static_cast<std::size_t>(index)] = user;
}

const HbUser* HbRequest::GetUser(HbRole role) const noexcept {
  const short index = GetIndexFromRole(role);
  return index >= 0 ? users_[static_cast<std::size_t>(index)] : nullptr;
}

const HbUser* HbRequest::GetSendingUser() const {
  return tmx::SendingUser(users_[0], users_[1], users_[2], num_sigs_needed_);
}

const HbUser* tmx::SendingUser(const HbUser* issuer, const HbUser* cosigner,
                               const HbUser* transmitter, unsigned short signatures) {
  if (issuer == nullptr || issuer->GetMedia() == SecurityMediaPinTan) return issuer;
  if (signatures < 2 || (signatures == 2 && cosigner != nullptr)) return issuer;
  return transmitter;
}

HbMessage* HbRequest::GetMessage() const noexcept { return message_.Get(); }

HbJob* HbRequest::GetJob() const noexcept { return job_.Get(); }

HbDialog* HbRequest::GetDialog() const noexcept {
  const HbMessage* const message = GetMessage();
  return message != nullptr ? message->GetDialog() : nullptr;
}

unsigned short HbRequest::GetRequestId() const noexcept {
  const HbMessage* const message = GetMessage();
  return message != nullptr ? message->requests_.Find(this).value_or(kUnknown) : kUnknown;
}

unsigned short HbRequest::GetMessageId() const noexcept {
  const HbDialog* const dialog = GetDialog();
  return dialog != nullptr ? dialog->messages_.Find(GetMessage()).value_or(kUnknown) : kUnknown;
}

unsigned short HbRequest::GetDialogId() const noexcept {
  const HbDialog* const dialog = GetDialog();
  const HbJob* const job = dialog != nullptr ? dialog->GetParentJob() : nullptr;
  return job != nullptr ? job->dialogs_.Find(dialog).value_or(kUnknown) : kUnknown;
}

HbSegment& HbRequest::CreateItem(const String& name, unsigned short version) {
  const auto item = tmx::MakeRef<HbSegment>(name, version);
  const unsigned short index = items_.Count();
  items_.Insert(item.Get());
  return *items_.GetObject(index);
}

void HbRequest::AddToMsg(HbMessage& message) noexcept {
  if (GetMessage() != &message && message.requests_.Append(this)) message_.Set(&message);
}

void HbRequest::RemoveFromMsg(HbMessage& message) noexcept {
  if (GetMessage() == &message) message_.Set(nullptr);
}

const HbObject* HbRequest::Level(unsigned short bit) const noexcept {
  switch (bit) {
    case kJobLevel:
      return GetJob();
    case kDialogLevel:
      return GetDialog();
    case kMessageLevel:
      return GetMessage();
    default:
      return this;
  }
}

unsigned short HbRequest::ResponseCount(unsigned short mask) const noexcept {
  unsigned long count = 0;
  for (const unsigned short bit : kLevels) {
    const HbObject* const level = (mask & bit) != 0 ? Level(bit) : nullptr;
    if (level != nullptr) count += level->ResponseCount();
  }
  return static_cast<unsigned short>(std::min<unsigned long>(count, UINT16_MAX));
}

HbSegment* HbRequest::GetResponse(unsigned short index, unsigned short mask) const {
  for (const unsigned short bit : kLevels) {
    const HbObject* const level = (mask & bit) != 0 ? Level(bit) : nullptr;
    if (level == nullptr) continue;
    if (level == this || index < level->ResponseCount()) return level->GetResponse(index);
    index = static_cast<unsigned short>(index - level->ResponseCount());
  }
  return nullptr;
}
