// A user of a bank as hosts and requests hold it.
#pragma once

#include <memory>

#include "tmxtools/banking/internal_user.h"
#include "tmxtools/banking/user_types.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

// One access to one bank. What the operations do stands at those of HbInternalUser, to which they
// forward; parameter data are changed there alone.
//
// Owner: the host. It owns its HbInternalUser; jobs, messages and requests only point to users,
// which must therefore outlive them. Empty state, threads and codes: as HbInternalUser.
class TMX_EXPORT HbUser {
 public:
  explicit HbUser(void* client_data = nullptr, void* xhb_client_data = nullptr)
      : internal_(std::make_unique<HbInternalUser>(client_data, xhb_client_data)) {}

  HbInternalUser* GetInternalUser() noexcept { return internal_.get(); }
  const HbInternalUser* GetInternalUser() const noexcept { return internal_.get(); }

  unsigned short GetHbciVersion() const noexcept { return internal_->GetHbciVersion(); }
  void SetHbciVersion(unsigned short version) { internal_->SetHbciVersion(version); }
  const String& GetBenutzerName() const noexcept { return internal_->GetBenutzerName(); }
  void SetBenutzerName(const String& name) { internal_->SetBenutzerName(name); }
  const String& GetBenutzerkennung() const noexcept { return internal_->GetBenutzerkennung(); }
  void SetBenutzerkennung(const String& kennung) { internal_->SetBenutzerkennung(kennung); }
  const String& GetKundenId() const noexcept { return internal_->GetKundenId(); }
  void SetKundenId(const String& id) { internal_->SetKundenId(id); }
  const String& GetKreditsinstitutsname() const noexcept {
    return internal_->GetKreditsinstitutsname();
  }
  void SetKreditsinstitutsname(const String& name) { internal_->SetKreditsinstitutsname(name); }
  const String& GetKIKKreditsinstitutscode() const noexcept {
    return internal_->GetKIKKreditsinstitutscode();
  }
  void SetKIKKreditsinstitutscode(const String& code) {
    internal_->SetKIKKreditsinstitutscode(code);
  }
  unsigned short GetKIKLaenderkennzeichen() const noexcept {
    return internal_->GetKIKLaenderkennzeichen();
  }
  void SetKIKLaenderkennzeichen(unsigned short country) noexcept {
    internal_->SetKIKLaenderkennzeichen(country);
  }

  HbSecurityMode GetMode() const noexcept { return internal_->GetMode(); }
  void SetMode(HbSecurityMode mode) noexcept { internal_->SetMode(mode); }
  HbSecurityMedia GetMedia() const noexcept { return internal_->GetMedia(); }
  void SetMedia(HbSecurityMedia media) noexcept { internal_->SetMedia(media); }
  HbCommunicationProtocol GetProtocol() const noexcept { return internal_->GetProtocol(); }
  void SetProtocol(HbCommunicationProtocol protocol) noexcept { internal_->SetProtocol(protocol); }
  const String& GetCommunicationAddr() const noexcept { return internal_->GetCommunicationAddr(); }
  void SetCommunicationAddr(const String& address) { internal_->SetCommunicationAddr(address); }
  const String& GetCommunicationAddrExt() const noexcept {
    return internal_->GetCommunicationAddrExt();
  }
  void SetCommunicationAddrExt(const String& extension) {
    internal_->SetCommunicationAddrExt(extension);
  }
  unsigned short GetRpdId() const noexcept { return internal_->GetRpdId(); }
  void SetRpdId(unsigned short id) noexcept { internal_->SetRpdId(id); }
  HbProviderData* GetProviderData() const noexcept { return internal_->GetProviderData(); }
  void SetProviderData(HbProviderData* data) noexcept { internal_->SetProviderData(data); }

  bool IsBPDUpdated() const noexcept { return internal_->IsBPDUpdated(); }
  bool IsUPDUpdated() const noexcept { return internal_->IsUPDUpdated(); }

  unsigned short BPDSegmentCount(bool list1, bool list2) const noexcept {
    return internal_->BPDSegmentCount(list1, list2);
  }
  HbSegment* GetBPDSegment(unsigned short index, bool list1, bool list2) const {
    return internal_->GetBPDSegment(index, list1, list2);
  }
  HbSegment* GetBPDSegment(const char* name, unsigned short version, bool is_segment_name) const {
    return internal_->GetBPDSegment(name, version, is_segment_name);
  }
  HbSegment* GetBPDSegment(const String& name, unsigned short version, bool is_segment_name) const {
    return internal_->GetBPDSegment(name, version, is_segment_name);
  }
  unsigned short UPDSegmentCount() const noexcept { return internal_->UPDSegmentCount(); }
  HbSegment* GetUPDSegment(unsigned short index) const { return internal_->GetUPDSegment(index); }
  HbSegment* GetUPDSegment(const String& account) const {
    return internal_->GetUPDSegment(account);
  }
  short GetNumSigNeeded(const String& account, const String& job_name) const {
    return internal_->GetNumSigNeeded(account, job_name);
  }

  void ClearKIMs() noexcept { internal_->ClearKIMs(); }
  unsigned short KIMSegmentCount() const noexcept { return internal_->KIMSegmentCount(); }
  HbSegment* GetKIMSegment(unsigned short index) const { return internal_->GetKIMSegment(index); }

  unsigned short WebBankingAddOnFieldCount() const noexcept {
    return internal_->WebBankingAddOnFieldCount();
  }
  String& GetWebBankingAddOnField(unsigned short index) const {
    return internal_->GetWebBankingAddOnField(index);
  }

 private:
  std::unique_ptr<HbInternalUser> internal_;
};
