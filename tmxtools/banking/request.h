// One order inside a message.
#pragma once

#include <array>
#include <cstdint>

#include "tmxtools/banking/object.h"
#include "tmxtools/banking/segment.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/ref.h"
#include "tmxtools/platform/string.h"

class HbDialog;
class HbError;
class HbJob;
class HbMacroEngine;
class HbMessage;
class HbUser;

// One business transaction: its parameters in a segment, the segments to be sent that macros make
// of them, and the users who sign it.
//
// The signature of one role can be taken out as a block of bytes and put into a request of another
// job, which then finds its message, dialog and place there by the ids in the block (see
// docs/formats.md).
//
// Owner: its maker, or the job into which it was inserted; a message that lists it does not own it.
// It owns counted references on its values and items; users belong to the host and must outlive it.
// Empty state: no items, no users, stored ids 0xFFFF. Threads: its tree's. Codes: 17636 with 17640
// as its cause.
class TMX_EXPORT HbRequest : public HbObject {
 public:
  // Of ids and positions.
  static constexpr unsigned short kUnknown = 0xFFFF;

  HbRequest(const String& name, unsigned short version, unsigned short num_sigs_needed,
            void* client_data = nullptr, void* xhb_client_data = nullptr);
  ~HbRequest() override;

  // "HIRMG" and "HIRMS" change the status by their return codes; any other segment but "INBZG"
  // makes an open request successful.
  void InsertResponse(HbSegment* segment) override;

  // The Segmentkennung and the version of the values.
  String GetRequestName() const { return values_->GetSegmentKennung(); }
  unsigned short GetRequestVersion() const { return values_->GetSegmentVersion(); }
  HbSegment& GetValues() const noexcept { return *values_; }
  unsigned short GetNumSigsNeeded() const noexcept { return num_sigs_needed_; }
  bool GetSignIt() const noexcept { return sign_it_; }
  void SetSignIt(bool sign_it) noexcept { sign_it_ = sign_it; }
  // Set the status whatever it was.
  void SetSent() noexcept { SetStatus(HbStatusSent); }
  void SetSuccess() noexcept { SetStatus(HbStatusSuccess); }

  // A role that does not sign is ignored, and has no user.
  void AddUser(const HbUser* user, HbRole role) noexcept;
  const HbUser* GetUser(HbRole role) const noexcept;
  // The user who sends the request: the issuer; but the transmitter if the issuer does not use PIN
  // and TAN and more signatures are needed than those of an issuer and a cosigner who are both
  // there. Null without an issuer.
  const HbUser* GetSendingUser() const;

  HbMessage* GetMessage() const noexcept;
  HbJob* GetJob() const noexcept;
  // Positions in message, dialog and job, or kUnknown.
  unsigned short GetRequestId() const noexcept;
  unsigned short GetMessageId() const noexcept;
  unsigned short GetDialogId() const noexcept;
  // The ids that the last InsertSignature() read.
  unsigned short GetReqId() const noexcept { return req_id_; }
  unsigned short GetMsgId() const noexcept { return msg_id_; }
  unsigned short GetDlgId() const noexcept { return dlg_id_; }

  // A new item, which the request owns. Throws std::out_of_range if there are 65535 already.
  HbSegment& CreateItem(const String& name, unsigned short version);
  unsigned short ReqItemCount() const noexcept { return items_.Count(); }
  // Throws std::out_of_range behind the last.
  HbSegment* GetReqItem(unsigned short index) const { return items_.GetObject(index); }
  HbSegmentArray& GetReqItems() noexcept { return items_; }
  const HbSegmentArray& GetReqItems() const noexcept { return items_; }

  // Makes a message the parent and lists the request there. Nothing happens if it is the parent
  // already or is full. A former parent keeps the request in its list.
  void AddToMsg(HbMessage& message) noexcept;
  // Clears the parent if it is this message, whose list stays.
  void RemoveFromMsg(HbMessage& message) noexcept;

  using HbObject::GetResponse;
  using HbObject::ResponseCount;
  // The responses of several levels, one behind the other: 8 of the job, 4 of the dialog, 2 of the
  // message, 1 of the request itself. At most 65535 are counted.
  unsigned short ResponseCount(unsigned short mask) const noexcept;
  // Behind the last one null, but std::out_of_range if the request itself is among the levels.
  HbSegment* GetResponse(unsigned short index, unsigned short mask) const;

  // Whether the message has all three parts of a role's signature.
  bool IsSigned(HbRole role) const noexcept;
  // The length of the block that GetSign() makes, 0 if the message lacks a part.
  unsigned long GetSignSize(HbRole role) const noexcept;
  // Writes the block. `length` is the room in the buffer, then the length of the block. False, and
  // 0, if it does not fit or a part has a length but no bytes.
  bool GetSign(HbRole role, unsigned char* buffer, unsigned long& length) const noexcept;
  // Reads a block and takes the request into the message that its ids name. Parts that were read
  // before an error stay in the message.
  bool InsertSignature(HbError& error, const unsigned char* data, unsigned long length,
                       HbRole role);
  // The TAN, the second field between semicolons in the signature of a user with PIN and TAN. False
  // and empty without one.
  bool GetTANFromSignature(HbRole role, String& tan) const;

 private:
  friend class HbJob;
  friend class HbMacroEngine;
  friend void Unlink(HbJob& job, HbRequest& request) noexcept;

  // Takes over the caller's reference on the values.
  explicit HbRequest(HbSegment& values) noexcept;

  HbDialog* GetDialog() const noexcept;
  // The object whose responses a bit of a mask stands for; null without one.
  const HbObject* Level(unsigned short bit) const noexcept;

  tmx::ObjectPtr<HbMessage> message_;
  tmx::ObjectPtr<HbJob> job_;
  tmx::Ref<HbSegment> values_;
  std::array<const HbUser*, 3> users_{};
  unsigned short num_sigs_needed_ = 0;
  bool sign_it_ = false;
  unsigned short dlg_id_ = kUnknown;
  unsigned short msg_id_ = kUnknown;
  unsigned short req_id_ = kUnknown;
  HbSegmentArray items_;
};

namespace tmx {

// Who of three signers sends what needs a number of signatures.
const HbUser* SendingUser(const HbUser* issuer, const HbUser* cosigner, const HbUser* transmitter,
                          unsigned short signatures);

}  // namespace tmx
