#include "demo/host/stored_user.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <tuple>
#include <utility>

#include "demo/host/stored_segment.h"
#include "tmxtools/banking/segment_set.h"

namespace tmx::demo {
namespace {

constexpr std::string_view kMagic = "TMXUSERS";
constexpr std::uint32_t kVersion = 1;
constexpr std::uint16_t kWrongFormat = 17749;
constexpr std::uint16_t kWrongVersion = 17750;

struct TextField {
  const String& (HbInternalUser::*get)() const noexcept;
  void (HbInternalUser::*set)(const String& text);
};

constexpr TextField kTexts[] = {
    {&HbInternalUser::GetBenutzerName, &HbInternalUser::SetBenutzerName},
    {&HbInternalUser::GetBenutzerkennung, &HbInternalUser::SetBenutzerkennung},
    {&HbInternalUser::GetKundenId, &HbInternalUser::SetKundenId},
    {&HbInternalUser::GetKreditsinstitutsname, &HbInternalUser::SetKreditsinstitutsname},
    {&HbInternalUser::GetKIKKreditsinstitutscode, &HbInternalUser::SetKIKKreditsinstitutscode},
    {&HbInternalUser::GetCommunicationAddr, &HbInternalUser::SetCommunicationAddr},
    {&HbInternalUser::GetCommunicationAddrExt, &HbInternalUser::SetCommunicationAddrExt},
};

constexpr std::string Access::*kAccessTexts[] = {&Access::system_id, &Access::security_function,
                                                 &Access::tan_medium, &Access::registration_number};

// Segments that a function hands out by their index.
template <class SegmentAt>
void PutSegments(ByteWriter& out, unsigned short count, SegmentAt segment_at) {
  out.PutCount(count);
  for (unsigned short i = 0; i < count; ++i) PutSegment(out, *segment_at(i));
}
template <class Insert>
void GetSegments(ByteReader& in, Insert insert) {
  for (std::size_t left = in.GetCount(); left > 0 && !in.Failed(); --left) {
    const Ref<HbSegment> segment = GetSegment(in);
    if (!in.Failed() && !insert(segment.Get())) in.Fail();
  }
}

void PutSet(ByteWriter& out, const HbSegmentSet4HbciVersion& set) {
  out.Put(static_cast<std::uint16_t>(set.GetHbciVersion()));
  PutSegments(out, set.SegmentCount(), [&](unsigned short i) { return set.GetSegment(i); });
}

void PutUpds(ByteWriter& out, const HbInternalUser& user) {
  const HbSegmentSet4HbciVersion* const current = user.GetUpds();
  const HbSegmentSet4HbciVersionArray& others = *user.GetOtherUpds();
  out.PutCount(others.SegmentSetCount() + (current != nullptr ? 1U : 0U));
  if (current != nullptr) PutSet(out, *current);
  for (unsigned short i = 0; i < others.SegmentSetCount(); ++i)
    PutSet(out, *others.GetSegmentSet(i));
}

// The set of a version, a new one if there is none.
HbSegmentSet4HbciVersion* UpdsOf(HbInternalUser& user, unsigned short version) {
  HbSegmentSet4HbciVersion* const current = user.GetUpds();
  if (current != nullptr && current->GetHbciVersion() == version) return current;
  HbSegmentSet4HbciVersionArray& others = *user.GetOtherUpds();
  if (auto* const other = others.GetSegmentSet4Version(version)) return other;
  auto made = std::make_unique<HbSegmentSet4HbciVersion>(version);
  return others.InsertSegmentSet(made.get()) ? made.release() : nullptr;
}

void GetUpds(ByteReader& in, HbInternalUser& user) {
  for (std::size_t left = in.GetCount(); left > 0 && !in.Failed(); --left) {
    HbSegmentSet4HbciVersion* const set = UpdsOf(user, in.Get<std::uint16_t>());
    if (set == nullptr) return in.Fail();
    GetSegments(in, [&](HbSegment* segment) { return set->InsertSegment(segment); });
  }
}

void PutUserData(ByteWriter& out, const HbInternalUser& user) {
  out.Put(static_cast<std::uint16_t>(user.GetHbciVersion()));
  out.Put(static_cast<std::uint16_t>(user.GetKIKLaenderkennzeichen()));
  out.Put(static_cast<std::uint16_t>(user.GetRpdId()));
  out.Put(static_cast<std::int32_t>(user.GetMode()));
  out.Put(static_cast<std::int32_t>(user.GetMedia()));
  out.Put(static_cast<std::int32_t>(user.GetProtocol()));
  for (const TextField& text : kTexts) out.PutText((user.*text.get)().View());
}

void GetUserData(ByteReader& in, HbInternalUser& user) {
  user.SetHbciVersion(in.Get<std::uint16_t>());
  user.SetKIKLaenderkennzeichen(in.Get<std::uint16_t>());
  user.SetRpdId(in.Get<std::uint16_t>());
  user.SetMode(static_cast<HbSecurityMode>(in.Get<std::int32_t>()));
  user.SetMedia(static_cast<HbSecurityMedia>(in.Get<std::int32_t>()));
  user.SetProtocol(static_cast<HbCommunicationProtocol>(in.Get<std::int32_t>()));
  for (const TextField& text : kTexts) (user.*text.set)(String(in.GetText()));
}

void PutAccess(ByteWriter& out, const Access& access) {
  for (const auto text : kAccessTexts) out.PutText(access.*text);
  out.PutCount(access.allowed_functions.size());
  for (const std::string& function : access.allowed_functions) out.PutText(function);
}

void GetAccess(ByteReader& in, Access& access) {
  for (const auto text : kAccessTexts) access.*text = in.GetText();
  for (std::size_t left = in.GetCount(); left > 0 && !in.Failed(); --left)
    access.allowed_functions.emplace_back(in.GetText());
}

void PutUser(ByteWriter& out, const StoredUser& stored) {
  const HbInternalUser& user = *stored.user.GetInternalUser();
  PutUserData(out, user);
  PutAccess(out, stored.access);
  for (const bool list1 : {true, false}) {
    PutSegments(out, user.BPDSegmentCount(list1, !list1),
                [&](unsigned short i) { return user.GetBPDSegment(i, list1, !list1); });
  }
  PutUpds(out, user);
  PutSegments(out, user.KIMSegmentCount(), [&](unsigned short i) { return user.GetKIMSegment(i); });
  const unsigned short fields = user.WebBankingAddOnFieldCount();
  out.PutCount(fields);
  for (unsigned i = 1; i <= fields; ++i)
    out.PutText(user.GetWebBankingAddOnField(static_cast<unsigned short>(i)).View());
}

void GetUser(ByteReader& in, StoredUser& stored) {
  HbInternalUser& user = *stored.user.GetInternalUser();
  GetUserData(in, user);
  GetAccess(in, stored.access);
  for (const bool list1 : {true, false})
    GetSegments(in, [&](HbSegment* segment) { return user.InsertBPDSegment(segment, list1); });
  GetUpds(in, user);
  GetSegments(in, [&](HbSegment* segment) { return user.InsertKIMSegment(segment); });
  for (std::size_t left = in.GetCount(); left > 0 && !in.Failed(); --left) {
    auto field = std::make_unique<String>(in.GetText());
    if (user.InsertWebBankingAddOnField(field.get())) static_cast<void>(field.release());
  }
}

}  // namespace

bool StoredUser::IsSameAs(const StoredUser& other) const {
  const auto identity = [](const HbUser& of) {
    return std::tuple(of.GetKIKLaenderkennzeichen(), of.GetKIKKreditsinstitutscode(),
                      of.GetBenutzerkennung(), of.GetKundenId());
  };
  return identity(user) == identity(other.user);
}

std::string EncodeUsers(const std::vector<const StoredUser*>& users) {
  ByteWriter out;
  out.PutBytes(kMagic);
  out.Put(kVersion);
  out.PutCount(users.size());
  for (const StoredUser* user : users) PutUser(out, *user);
  return out.Take();
}

bool DecodeUsers(std::string_view content, StoredUsers& users, HbError& error) {
  ByteReader in(content);
  if (in.GetBytes(kMagic.size()) != kMagic) {
    error.SetError(kWrongFormat, "no parameter data");
    return false;
  }
  const auto version = in.Get<std::uint32_t>();
  if (!in.Failed() && version != kVersion) {
    error.SetError(kWrongVersion, String::FromInt(version) + " is not known here");
    return false;
  }
  StoredUsers read;
  for (std::size_t left = in.GetCount(); left > 0 && !in.Failed(); --left)
    GetUser(in, *read.emplace_back(std::make_unique<StoredUser>()));
  if (in.Failed() || !in.IsAtEnd()) {
    error.SetError(kWrongFormat, "damaged parameter data");
    return false;
  }
  std::ranges::move(read, std::back_inserter(users));
  return true;
}

}  // namespace tmx::demo
