// One transmission within a dialog.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "tmxtools/banking/live_entry.h"
#include "tmxtools/banking/object.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/banking/segment.h"
#include "tmxtools/banking/signature_data.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/platform/ref.h"

class HbDialog;

// A message: the requests that it lists, head and tail, the encryption envelope, up to three
// signatures, and the heads and tails of the answer.
//
// Owner: its maker, or the dialog into which it was put; a job's list of presigned messages does
// not own them. It owns head, tail and crypt members, a counted reference on each answer segment,
// and the stream, but not the requests that it lists: a request that dies leaves null in its place,
// and requests outlive the message. Users belong to the host and must outlive it. Empty state: no
// parts, number 0. Threads: its tree's. Sets no codes.
class TMX_EXPORT HbMessage : public HbObject {
 public:
  HbMessage() : HbMessage(0, nullptr, nullptr, nullptr) {}
  HbMessage(unsigned short signatures, const HbUser* issuer, const HbUser* cosigner,
            const HbUser* transmitter);
  ~HbMessage() override;

  // "HIRMG" changes the status by its return codes; "HIRMS" does not.
  void InsertResponse(HbSegment* segment) override;
  unsigned short GetChildCount() const override { return RequestCount(); }
  HbObject* GetChild(unsigned short index) const override { return (*this)[index]; }

  HbDialog* GetDialog() const noexcept;
  unsigned short GetSignatures() const noexcept { return signatures_; }
  short GetMsgNo() const noexcept { return msg_no_; }
  void SetMsgNo(short number) noexcept { msg_no_ = number; }
  long GetAnswLen() const noexcept { return answ_len_; }
  void SetAnswLen(long length) noexcept { answ_len_ = static_cast<std::int32_t>(length); }

  unsigned short RequestCount() const noexcept { return requests_.Count(); }
  // May be null. Throws std::out_of_range behind the last.
  HbRequest* operator[](unsigned short index) const { return requests_.At(index); }
  // As GetResponseWithName(), over the names of the requests.
  HbRequest* GetRequestWithName(unsigned short& index, const char* name) const;
  // Makes this message the request's parent and appends the request; appends it again if it is the
  // parent already, on purpose. Nothing happens when there are 65535.
  void AddRequest(HbRequest& request) noexcept;
  // Destroys the requests, for messages that own what they list. No message of a job does.
  void ClearRequests() noexcept { requests_.DestroyAll(); }
  bool GetSignIt() const noexcept;
  // Whether a place is null. The name says the opposite; that is kept on purpose.
  bool RequestArrayOk() const noexcept;

  // Take over requests and destroy the former ones.
  HbRequest* GetMsgHead() const noexcept { return head_.Get(); }
  void SetMsgHead(HbRequest* head) noexcept { head_.Reset(head); }
  HbRequest* GetMsgTail() const noexcept { return tail_.Get(); }
  void SetMsgTail(HbRequest* tail) noexcept { tail_.Reset(tail); }
  HbRequest* GetCryptHead() const noexcept { return crypt_head_.Get(); }
  HbRequest* GetCryptedData() const noexcept { return crypted_data_.Get(); }
  void SetCryptMembers(HbRequest* head, HbRequest* data) noexcept;
  void ClearCryptMembers() noexcept { SetCryptMembers(nullptr, nullptr); }

  // Take over the caller's reference and dispose of the former segment.
  const HbSegment* GetAnswSignHead() const noexcept { return answ_sign_head_.Get(); }
  void SetAnswSignHead(HbSegment* segment) noexcept;
  const HbSegment* GetAnswSignTail() const noexcept { return answ_sign_tail_.Get(); }
  void SetAnswSignTail(HbSegment* segment) noexcept;
  const HbSegment* GetAnswCryptHead() const noexcept { return answ_crypt_head_.Get(); }
  void SetAnswCryptHead(HbSegment* segment) noexcept;
  const HbSegment* GetAnswCryptData() const noexcept { return answ_crypt_data_.Get(); }
  void SetAnswCryptData(HbSegment* segment) noexcept;
  void ClearAnswCryptMembers() noexcept;

  // The segments as they are encrypted. Takes the stream over and destroys the former one.
  SvCacheStream* GetCryptedSegsRep() const noexcept { return crypted_segs_rep_.get(); }
  void SetCryptedSegsRep(SvCacheStream* stream) noexcept;

  // A role that does not sign has no signature, and nothing is set for it.
  const HbUser* GetSignUser(HbRole role) const noexcept;
  void SetSignUser(HbRole role, const HbUser* user) noexcept;
  // As HbRequest::GetSendingUser().
  const HbUser* GetSendingUser() const;
  unsigned short GetSignSize(HbRole role, HbSignDataType type) const noexcept;
  const unsigned char* GetSign(HbRole role, HbSignDataType type) const noexcept;
  void SetSign(HbRole role, HbSignDataType type, const unsigned char* data,
               unsigned short size) noexcept;
  // Whether the first two parts are there.
  bool IsSigned(HbRole role) const noexcept;
  const SignatureData* GetSignatureData(HbRole role) const noexcept;
  SignatureData* GetSignatureData(HbRole role) noexcept;
  void ClearSignatureData(HbRole role) noexcept;
  void ClearSignatures() noexcept;

  // The message that lives at an address, or null: for pointers that a host keeps as client data.
  static HbMessage* FindLive(const void* address) noexcept;

 private:
  friend class HbDialog;
  friend class HbJob;
  friend class HbRequest;
  friend void Unlink(HbDialog& dialog, HbMessage& message) noexcept;
  friend void Unlink(HbMessage& message, HbRequest& request) noexcept;

  HbRequest* FirstRequest() const noexcept;

  tmx::LiveEntry live_{tmx::LiveEntry::Kind::kMessage, this};
  tmx::ObjectPtr<HbDialog> dialog_;
  unsigned short signatures_;
  short msg_no_ = 0;
  std::int32_t answ_len_ = 0;
  std::array<SignatureData, 3> signature_data_;
  tmx::ObjectOwner<HbRequest> head_;
  tmx::ObjectOwner<HbRequest> tail_;
  tmx::ObjectOwner<HbRequest> crypt_head_;
  tmx::ObjectOwner<HbRequest> crypted_data_;
  tmx::Ref<HbSegment> answ_sign_head_;
  tmx::Ref<HbSegment> answ_sign_tail_;
  tmx::Ref<HbSegment> answ_crypt_head_;
  tmx::Ref<HbSegment> answ_crypt_data_;
  tmx::ObjectList<HbRequest> requests_{tmx::WhenDead::kLeaveNull};
  std::unique_ptr<SvCacheStream> crypted_segs_rep_;
};

// Takes a request out of a message's list; it is no longer its parent. Nothing is destroyed.
TMX_EXPORT void Unlink(HbMessage& message, HbRequest& request) noexcept;
