#include "tmxtools/banking/message.h"

#include <utility>

#include "tmxtools/banking/dialog.h"

namespace {

constexpr HbRole kRoles[] = {HbRoleIssuer, HbRoleCosigner, HbRoleTransmitter};

// Takes over a reference. Of a segment that is held already one of the two references goes, unless
// the caller had none to give.
void TakeOver(tmx::Ref<HbSegment>& held, HbSegment* segment) {
  if (segment != nullptr && held.Get() == segment && segment->GetRefCount() == 1) return;
  held = tmx::Ref<HbSegment>::Adopt(segment);
}

}  // namespace

HbMessage::HbMessage(unsigned short signatures, const HbUser* issuer, const HbUser* cosigner,
                     const HbUser* transmitter)
    : signatures_(signatures) {
  SetSignUser(HbRoleIssuer, issuer);
  SetSignUser(HbRoleCosigner, cosigner);
  SetSignUser(HbRoleTransmitter, transmitter);
}

// The requests are let go first: what dies then may look at them.
HbMessage::~HbMessage() {
  for (unsigned short i = 0; i < requests_.Count(); ++i)
    if (HbRequest* const request = requests_.Get(i)) request->RemoveFromMsg(*this);
  requests_.Clear();
  head_.Reset();
  tail_.Reset();
  ClearCryptMembers();
  crypted_segs_rep_.reset();
}

HbDialog* HbMessage::GetDialog() const noexcept { return dialog_.Get(); }

HbMessage* HbMessage::FindLive(const void* address) noexcept {
  return static_cast<HbMessage*>(tmx::LiveEntry::Find(tmx::LiveEntry::Kind::kMessage, address));
}

void HbMessage::InsertResponse(HbSegment* segment) {
  if (segment != nullptr && segment->GetSegmentKennung() == "HIRMG")
    UpdateStatusFromHIRMxSegment(segment);
  HbObject::InsertResponse(segment);
}

HbRequest* HbMessage::GetRequestWithName(unsigned short& index, const char* name) const {
  for (unsigned short i = index; i < RequestCount(); ++i) {
    HbRequest* const request = requests_.Get(i);
    if (request == nullptr || request->GetRequestName() != name) continue;
    index = i;
    return request;
  }
  index = 0;
  return nullptr;
}

HbRequest* HbMessage::FirstRequest() const noexcept {
  for (unsigned short i = 0; i < RequestCount(); ++i) {
    if (HbRequest* const request = requests_.Get(i)) return request;
  }
  return nullptr;
}

void HbMessage::AddRequest(HbRequest& request) noexcept {
  if (request.GetMessage() != this) {
    request.AddToMsg(*this);
  } else {
    requests_.Append(&request);
  }
}

bool HbMessage::GetSignIt() const noexcept {
  for (unsigned short i = 0; i < RequestCount(); ++i) {
    const HbRequest* const request = requests_.Get(i);
    if (request != nullptr && request->GetSignIt()) return true;
  }
  return false;
}

bool HbMessage::RequestArrayOk() const noexcept {
  for (unsigned short i = 0; i < RequestCount(); ++i) {
    if (requests_.Get(i) == nullptr) return true;
  }
  return false;
}

void HbMessage::SetCryptMembers(HbRequest* head, HbRequest* data) noexcept {
  // Members that stay, if only in the other's place, must not be destroyed.
  for (HbRequest* const stays : {head, data}) {
    if (crypt_head_.Get() == stays) crypt_head_.Release();
    if (crypted_data_.Get() == stays) crypted_data_.Release();
  }
  crypt_head_.Reset(head);
  crypted_data_.Reset(data);
}

void HbMessage::SetAnswSignHead(HbSegment* segment) noexcept { TakeOver(answ_sign_head_, segment); }

void HbMessage::SetAnswSignTail(HbSegment* segment) noexcept { TakeOver(answ_sign_tail_, segment); }

void HbMessage::SetAnswCryptHead(HbSegment* segment) noexcept {
  TakeOver(answ_crypt_head_, segment);
}

void HbMessage::SetAnswCryptData(HbSegment* segment) noexcept {
  TakeOver(answ_crypt_data_, segment);
}

void HbMessage::ClearAnswCryptMembers() noexcept {
  SetAnswCryptHead(nullptr);
  SetAnswCryptData(nullptr);
}

void HbMessage::SetCryptedSegsRep(SvCacheStream* stream) noexcept {
  if (stream != crypted_segs_rep_.get()) crypted_segs_rep_.reset(stream);
}

const SignatureData* HbMessage::GetSignatureData(HbRole role) const noexcept {
  const short index = GetIndexFromRole(role);
  return index >= 0 ? &signature_data_[static_cast<std::size_t>(index)] : nullptr;
}

SignatureData* HbMessage::GetSignatureData(HbRole role) noexcept {
  return const_cast<SignatureData*>(std::as_const(*this).GetSignatureData(role));
}

const HbUser* HbMessage::GetSignUser(HbRole role) const noexcept {
  const SignatureData* const signature = GetSignatureData(role);
  return signature != nullptr ? signature->GetUser() : nullptr;
}

void HbMessage::SetSignUser(HbRole role, const HbUser* user) noexcept {
  if (SignatureData* const signature = GetSignatureData(role)) signature->SetUser(user);
}

const HbUser* HbMessage::GetSendingUser() const {
  return tmx::SendingUser(GetSignUser(HbRoleIssuer), GetSignUser(HbRoleCosigner),
                          GetSignUser(HbRoleTransmitter), signatures_);
}

unsigned short HbMessage::GetSignSize(HbRole role, HbSignDataType type) const noexcept {
  const SignatureData* const signature = GetSignatureData(role);
  return signature != nullptr ? signature->GetSignSize(type) : static_cast<unsigned short>(0);
}

const unsigned char* HbMessage::GetSign(HbRole role, HbSignDataType type) const noexcept {
  const SignatureData* const signature = GetSignatureData(role);
  return signature != nullptr ? signature->GetSign(type) : nullptr;
}

void HbMessage::SetSign(HbRole role, HbSignDataType type, const unsigned char* data,
                        unsigned short size) noexcept {
  if (SignatureData* const signature = GetSignatureData(role)) signature->SetSign(type, data, size);
}

bool HbMessage::IsSigned(HbRole role) const noexcept {
  return GetSign(role, HbSignDataPart0) != nullptr && GetSign(role, HbSignDataPart1) != nullptr;
}

void HbMessage::ClearSignatureData(HbRole role) noexcept {
  for (const HbSignDataType type : {HbSignDataPart0, HbSignDataPart1, HbSignDataPart2})
    SetSign(role, type, nullptr, 0);
}

void HbMessage::ClearSignatures() noexcept {
  for (const HbRole role : kRoles) ClearSignatureData(role);
}

void Unlink(HbMessage& message, HbRequest& request) noexcept {
  request.RemoveFromMsg(message);
  message.requests_.Take(&request);
}
