// The data of a user.
#pragma once

#include <memory>
#include <vector>

#include "tmxtools/banking/segment.h"
#include "tmxtools/banking/segment_set.h"
#include "tmxtools/banking/user_types.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbError;
class HbProviderData;  // the host's

// Everything that is known of one access to one bank: who the user is, how the access is secured
// and reached, and the parameter data that the bank sent: BPD in two lists, UPD in one set for each
// HBCI version, and KIM segments (messages of the bank).
//
// Segments that go in are counted; those that are handed out are borrowed.
//
// Owner: its HbUser. It owns a reference on each segment, the sets of UPD and the add-on fields;
// provider and client data belong to the host. Empty state: HBCI version 0 and no current set of
// UPD, security mode 99, media 2, protocol 1, everything else empty. Threads: the segments'. Sets
// no codes.
class TMX_EXPORT HbInternalUser {
 public:
  explicit HbInternalUser(void* client_data = nullptr, void* xhb_client_data = nullptr)
      : client_data_(client_data), xhb_client_data_(xhb_client_data) {}
  ~HbInternalUser();
  HbInternalUser(const HbInternalUser&) = delete;
  HbInternalUser& operator=(const HbInternalUser&) = delete;

  unsigned short GetHbciVersion() const noexcept { return hbci_version_; }
  // Another version drops all BPD and changes to that version's UPD.
  void SetHbciVersion(unsigned short version);

  const String& GetBenutzerName() const noexcept { return benutzer_name_; }
  void SetBenutzerName(const String& name) { benutzer_name_ = name; }
  const String& GetBenutzerkennung() const noexcept { return benutzerkennung_; }
  void SetBenutzerkennung(const String& kennung) { benutzerkennung_ = kennung; }
  const String& GetKundenId() const noexcept { return kunden_id_; }
  void SetKundenId(const String& id) { kunden_id_ = id; }
  const String& GetKreditsinstitutsname() const noexcept { return kreditsinstitutsname_; }
  void SetKreditsinstitutsname(const String& name) { kreditsinstitutsname_ = name; }
  const String& GetKIKKreditsinstitutscode() const noexcept { return kik_kreditsinstitutscode_; }
  void SetKIKKreditsinstitutscode(const String& code) { kik_kreditsinstitutscode_ = code; }
  unsigned short GetKIKLaenderkennzeichen() const noexcept { return kik_laenderkennzeichen_; }
  void SetKIKLaenderkennzeichen(unsigned short country) { kik_laenderkennzeichen_ = country; }

  HbSecurityMode GetMode() const noexcept { return mode_; }
  void SetMode(HbSecurityMode mode) noexcept { mode_ = mode; }
  HbSecurityMedia GetMedia() const noexcept { return media_; }
  void SetMedia(HbSecurityMedia media) noexcept { media_ = media; }
  HbCommunicationProtocol GetProtocol() const noexcept { return protocol_; }
  void SetProtocol(HbCommunicationProtocol protocol) noexcept { protocol_ = protocol; }
  const String& GetCommunicationAddr() const noexcept { return communication_addr_; }
  void SetCommunicationAddr(const String& address) { communication_addr_ = address; }
  const String& GetCommunicationAddrExt() const noexcept { return communication_addr_ext_; }
  void SetCommunicationAddrExt(const String& extension) { communication_addr_ext_ = extension; }
  unsigned short GetRpdId() const noexcept { return rpd_id_; }
  void SetRpdId(unsigned short id) noexcept { rpd_id_ = id; }
  HbProviderData* GetProviderData() const noexcept { return provider_data_; }
  void SetProviderData(HbProviderData* data) noexcept { provider_data_ = data; }
  void* GetClientData() const noexcept { return client_data_; }
  void SetClientData(void* data) noexcept { client_data_ = data; }
  void* GetXHbClientData() const noexcept { return xhb_client_data_; }
  void SetXHbClientData(void* data) noexcept { xhb_client_data_ = data; }

  bool IsBPDUpdated() const noexcept { return bpd_updated_; }
  void SetBPDUpdated(bool updated) noexcept { bpd_updated_ = updated; }
  bool IsUPDUpdated() const noexcept { return upd_updated_; }
  // Const, on purpose: who may only look at a user may still note that its UPD have changed.
  void SetUPDUpdated(bool updated) const noexcept { upd_updated_ = updated; }

  void ClearBPDs(bool list1, bool list2) noexcept;
  unsigned short BPDSegmentCount(bool list1, bool list2) const noexcept;
  // False as HbSegmentArray::Insert.
  bool InsertBPDSegment(HbSegment* segment, bool list1) noexcept;
  // Of the selected list, or of list 1 and then list 2 if both or none are selected. Null behind
  // the last.
  HbSegment* GetBPDSegment(unsigned short index, bool list1, bool list2) const;
  // The first segment of both lists with a Segmentkennung and a version (0: any), or null. A name
  // that is not one of a segment is that of a job, "HKSAL", and means the parameters of the job,
  // "HISALS".
  HbSegment* GetBPDSegment(const char* name, unsigned short version, bool is_segment_name) const;
  HbSegment* GetBPDSegment(const String& name, unsigned short version, bool is_segment_name) const {
    return GetBPDSegment(name.Data(), version, is_segment_name);
  }
  // Removes `old` if the list has it. The replacement goes to the end in any case, on purpose, not
  // to the place of `old`; the error is never set. False as HbSegmentArray::Insert.
  bool ReplaceBPDSegment(HbError& error, const HbSegment& old, HbSegment& replacement, bool list1);

  // Null before a version was set.
  HbSegmentSet4HbciVersion* GetUpds() const noexcept { return upds_.get(); }
  HbSegmentSet4HbciVersionArray* GetOtherUpds() const noexcept { return other_upds_.get(); }
  // Empties the current set, with `all_versions` also deletes the others.
  void ClearUPDs(bool all_versions) noexcept;
  // False as HbSegmentArray::Insert, and without a current set.
  bool InsertUPDSegment(HbSegment* segment) noexcept;
  // Of the current set.
  unsigned short UPDSegmentCount() const noexcept;
  unsigned long AllVersionUPDSegmentCount() const;
  // Null without a current set; else throws std::out_of_range behind the last, unlike
  // GetBPDSegment and on purpose.
  HbSegment* GetUPDSegment(unsigned short index) const;
  // The "HIUPD" of an account, compared without leading zeros; for no account the first "HIUPA".
  // Null if there is none.
  HbSegment* GetUPDSegment(const String& account) const;
  // The number of signatures that a job needs on an account, -1 if the UPD do not say.
  short GetNumSigNeeded(const String& account, const String& job_name) const;
  // Makes the UPD of a version the current ones, empty ones if there are none, and keeps the former
  // ones. Whether the old or the new ones have segments; false if the version stays, also because
  // memory ends.
  bool SetUpdsForHbciVersion(unsigned short version);

  void ClearKIMs() noexcept { kims_.Remove(0, kims_.Count()); }
  unsigned short KIMSegmentCount() const noexcept { return kims_.Count(); }
  // Throws std::out_of_range behind the last.
  HbSegment* GetKIMSegment(unsigned short index) const { return kims_.GetObject(index); }
  bool InsertKIMSegment(HbSegment* segment) noexcept { return kims_.Insert(segment); }

  unsigned short WebBankingAddOnFieldCount() const noexcept;
  // Takes a field over and appends it. False, and the field stays the caller's, for null, for one
  // more than 65535, and when memory ends.
  bool InsertWebBankingAddOnField(String* field) noexcept;
  void ClearWebBankingAddOnFields() noexcept { add_on_fields_.clear(); }
  // Counted from 1; a number outside means the first or last field. Without any field an empty one
  // is entered first, on purpose, although this is const.
  String& GetWebBankingAddOnField(unsigned short index) const;

 private:
  const HbSegmentArray& BPDList(bool list1) const { return list1 ? bpds1_ : bpds2_; }
  HbSegmentArray& BPDList(bool list1) { return list1 ? bpds1_ : bpds2_; }

  std::unique_ptr<HbSegmentSet4HbciVersion> upds_;
  std::unique_ptr<HbSegmentSet4HbciVersionArray> other_upds_ =
      std::make_unique<HbSegmentSet4HbciVersionArray>();
  HbSegmentArray bpds1_;
  HbSegmentArray bpds2_;
  HbSegmentArray kims_;
  mutable bool upd_updated_ = false;
  bool bpd_updated_ = false;
  HbProviderData* provider_data_ = nullptr;
  unsigned short hbci_version_ = 0;
  String benutzer_name_;
  String benutzerkennung_;
  String kunden_id_;
  String kreditsinstitutsname_;
  String kik_kreditsinstitutscode_;
  unsigned short kik_laenderkennzeichen_ = 0;
  HbSecurityMode mode_ = SecurityModeDefault;
  HbSecurityMedia media_ = SecurityMediaPinTan;
  HbCommunicationProtocol protocol_ = CommunicationProtocolCept;
  String communication_addr_;
  String communication_addr_ext_;
  unsigned short rpd_id_ = 0;
  void* client_data_;
  void* xhb_client_data_;
  mutable std::vector<std::unique_ptr<String>> add_on_fields_;
};
