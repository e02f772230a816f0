#include "tmxtools/banking/dialog.h"

#include "tmxtools/banking/job.h"

HbDialog::HbDialog(HbJob* parent) : job_(parent) {}

HbDialog::~HbDialog() {
  callback_items_.Clear();
  ClearMessages();
}

HbJob* HbDialog::GetParentJob() const noexcept { return job_.Get(); }

HbDialog* HbDialog::FindLive(const void* address) noexcept {
  return static_cast<HbDialog*>(tmx::LiveEntry::Find(tmx::LiveEntry::Kind::kDialog, address));
}

bool HbDialog::AddMsg(HbMessage& message, unsigned short position) noexcept {
  if (!messages_.Insert(position, &message)) return false;
  message.dialog_.Set(this);
  return true;
}

void Unlink(HbDialog& dialog, HbMessage& message) noexcept {
  if (message.GetDialog() == &dialog) message.dialog_.Set(nullptr);
  dialog.messages_.Take(&message);
}
