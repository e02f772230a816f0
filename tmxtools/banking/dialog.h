// One connection with a bank.
#pragma once

#include "tmxtools/banking/callback.h"
#include "tmxtools/banking/live_entry.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/object.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variables.h"

class HbJob;

// The messages of one session, its id, what the user is asked for and the values of its security.
//
// Owner: its job, or its maker as long as no job lists it. It owns its messages; a message that
// dies leaves its list. Empty state: no messages, no items, dialog id "0". Threads: its tree's.
// Sets no codes.
class TMX_EXPORT HbDialog : public HbObject {
 public:
  explicit HbDialog(HbJob* parent);
  ~HbDialog() override;

  unsigned short GetChildCount() const override { return MessageCount(); }
  HbObject* GetChild(unsigned short index) const override { return GetMsg(index); }

  HbJob* GetParentJob() const noexcept;
  HbCallbackItems* GetCallbackItems() noexcept { return &callback_items_; }
  const HbCallbackItems* GetCallbackItems() const noexcept { return &callback_items_; }
  HbVariables& GetSecurityVariables() noexcept { return security_variables_; }
  const HbVariables& GetSecurityVariables() const noexcept { return security_variables_; }
  const String& GetDialogId() const noexcept { return dialog_id_; }
  void SetDialogId(const String& id) { dialog_id_ = id; }

  unsigned short MessageCount() const noexcept { return messages_.Count(); }
  // Throws std::out_of_range behind the last.
  HbMessage* GetMsg(unsigned short index) const { return messages_.At(index); }
  // Takes a message over and puts it at a position, or at the end if that is not below the count.
  // False, and the message stays the caller's, when there are 65535 and when memory ends.
  bool AddMsg(HbMessage& message, unsigned short position) noexcept;
  // Destroys the messages.
  void ClearMessages() noexcept { messages_.DestroyAll(); }

  // The dialog that lives at an address, or null: for pointers that a host keeps as client data.
  static HbDialog* FindLive(const void* address) noexcept;

 private:
  friend class HbJob;
  friend class HbRequest;
  friend void Unlink(HbJob& job, HbDialog& dialog) noexcept;
  friend void Unlink(HbDialog& dialog, HbMessage& message) noexcept;

  HbMessage* FirstMessage() const noexcept { return messages_.Get(0); }

  tmx::LiveEntry live_{tmx::LiveEntry::Kind::kDialog, this};
  tmx::ObjectPtr<HbJob> job_;
  String dialog_id_ = "0";
  HbVariables security_variables_;
  tmx::ObjectList<HbMessage> messages_{tmx::WhenDead::kRemovePlace};
  HbCallbackItems callback_items_;
};

// Takes a message out of a dialog, which no longer owns it.
TMX_EXPORT void Unlink(HbDialog& dialog, HbMessage& message) noexcept;
