#include "tmxtools/banking/internal_user.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "tmxtools/banking/field_ids.h"

namespace {

void Empty(HbSegmentArray& segments) { segments.Remove(0, segments.Count()); }

// The name of the segment with the parameters of a job: "HKSAL" gives "HISALS".
std::string ParameterSegmentOf(std::string_view job_name) {
  std::string name(job_name);
  name += 'S';
  if (name.size() > 1) name[1] = 'I';
  return name;
}

String TextField(const HbSegment& segment, unsigned long id) {
  String text;
  segment.GetFieldString(text, id);
  return text;
}

}  // namespace

HbInternalUser::~HbInternalUser() {
  ClearBPDs(true, true);
  ClearKIMs();
}

void HbInternalUser::SetHbciVersion(unsigned short version) {
  if (version == hbci_version_) return;
  ClearBPDs(true, true);
  hbci_version_ = version;
  SetUpdsForHbciVersion(version);
}

void HbInternalUser::ClearBPDs(bool list1, bool list2) noexcept {
  if (list1) Empty(bpds1_);
  if (list2) Empty(bpds2_);
}

unsigned short HbInternalUser::BPDSegmentCount(bool list1, bool list2) const noexcept {
  const int count = (list1 ? bpds1_.Count() : 0) + (list2 ? bpds2_.Count() : 0);
  return static_cast<unsigned short>(std::min<int>(count, UINT16_MAX));
}

bool HbInternalUser::InsertBPDSegment(HbSegment* segment, bool list1) noexcept {
  return BPDList(list1).Insert(segment);
}

HbSegment* HbInternalUser::GetBPDSegment(unsigned short index, bool list1, bool list2) const {
  if (list1 != list2) {
    const HbSegmentArray& list = BPDList(list1);
    return index < list.Count() ? list.GetObject(index) : nullptr;
  }
  if (index < bpds1_.Count()) return bpds1_.GetObject(index);
  return GetBPDSegment(static_cast<unsigned short>(index - bpds1_.Count()), false, true);
}

HbSegment* HbInternalUser::GetBPDSegment(const char* name, unsigned short version,
                                         bool is_segment_name) const {
  const std::string_view given = name != nullptr ? name : std::string_view();
  const std::string key = is_segment_name ? std::string(given) : ParameterSegmentOf(given);
  for (const HbSegmentArray* list : {&bpds1_, &bpds2_}) {
    for (unsigned short i = 0; i < list->Count(); ++i) {
      HbSegment* const segment = list->GetObject(i);
      if (segment->GetSegmentKennung() != std::string_view(key)) continue;
      if (version == 0 || segment->GetSegmentVersion() == version) return segment;
    }
  }
  return nullptr;
}

bool HbInternalUser::ReplaceBPDSegment(HbError&, const HbSegment& old, HbSegment& replacement,
                                       bool list1) {
  HbSegmentArray& list = BPDList(list1);
  const auto kept = tmx::Ref<HbSegment>::Share(&replacement);  // `old` may be the same segment
  for (unsigned short i = 0; i < list.Count(); ++i) {
    if (list.GetObject(i) != &old) continue;
    list.Remove(i, 1);
    break;
  }
  return list.Insert(&replacement);
}

void HbInternalUser::ClearUPDs(bool all_versions) noexcept {
  if (upds_ != nullptr) upds_->ClearSet();
  if (all_versions) other_upds_->Clear();
}

bool HbInternalUser::InsertUPDSegment(HbSegment* segment) noexcept {
  return upds_ != nullptr && upds_->InsertSegment(segment);
}

unsigned short HbInternalUser::UPDSegmentCount() const noexcept {
  return upds_ != nullptr ? upds_->SegmentCount() : std::uint16_t{0};
}

unsigned long HbInternalUser::AllVersionUPDSegmentCount() const {
  unsigned long count = UPDSegmentCount();
  for (unsigned short i = 0; i < other_upds_->SegmentSetCount(); ++i) {
    count += other_upds_->GetSegmentSet(i)->SegmentCount();
  }
  return count;
}

HbSegment* HbInternalUser::GetUPDSegment(unsigned short index) const {
  return upds_ != nullptr ? upds_->GetSegment(index) : nullptr;
}

HbSegment* HbInternalUser::GetUPDSegment(const String& account) const {
  const std::string_view wanted = account.IsEmpty() ? "HIUPA" : "HIUPD";
  const String key = String(account).TrimLeft('0');
  for (unsigned short i = 0; i < UPDSegmentCount(); ++i) {
    HbSegment* const segment = upds_->GetSegment(i);
    if (segment->GetSegmentKennung() != wanted) continue;
    if (account.IsEmpty() || TextField(*segment, tmx::kAccountField).TrimLeft('0') == key) {
      return segment;
    }
  }
  return nullptr;
}

short HbInternalUser::GetNumSigNeeded(const String& account, const String& job_name) const {
  const HbSegment* const segment = GetUPDSegment(account);
  if (segment == nullptr) return -1;
  String name;
  short number = 0;
  for (unsigned long at = 0; segment->GetFieldString(name, tmx::kAllowedJobField + at);
       at += tmx::kAllowedJobStep) {
    if (name == job_name && segment->GetFieldInt16(number, tmx::kSignaturesNeededField + at)) {
      return number;
    }
  }
  return -1;
}

bool HbInternalUser::SetUpdsForHbciVersion(unsigned short version) {
  if (upds_ != nullptr && upds_->GetHbciVersion() == version) return false;
  std::unique_ptr<HbSegmentSet4HbciVersion> next(
      other_upds_->RemoveSegmentSet(other_upds_->GetSegmentSet4Version(version)));
  if (next == nullptr) next = std::make_unique<HbSegmentSet4HbciVersion>(version);
  const bool changed = UPDSegmentCount() > 0 || next->SegmentCount() > 0;
  // With memory at its end the version stays, rather than that its segments are lost.
  if (upds_ != nullptr && !other_upds_->InsertSegmentSet(upds_.get())) return false;
  static_cast<void>(upds_.release());
  upds_ = std::move(next);
  return changed;
}

unsigned short HbInternalUser::WebBankingAddOnFieldCount() const noexcept {
  return static_cast<unsigned short>(add_on_fields_.size());
}

bool HbInternalUser::InsertWebBankingAddOnField(String* field) noexcept {
  if (field == nullptr || add_on_fields_.size() == UINT16_MAX) return false;
  try {
    add_on_fields_.emplace_back();
  } catch (const std::bad_alloc&) {
    return false;
  }
  add_on_fields_.back().reset(field);
  return true;
}

String& HbInternalUser::GetWebBankingAddOnField(unsigned short index) const {
  if (add_on_fields_.empty()) add_on_fields_.push_back(std::make_unique<String>());
  const std::size_t number = std::clamp<std::size_t>(index, 1, add_on_fields_.size());
  return *add_on_fields_[number - 1];
}
