#include "tmxtools/banking/user.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/banking/watch.h"
#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/core/error.h"

namespace {

// A "HIUPD" with an account number.
SegmentRef MakeAccount(const char* number) {
  SegmentRef segment = MakeSegment("HIUPD", 6);
  segment->PutFieldString(number, 10000000);
  return segment;
}

void PutJob(HbSegment& account, unsigned long group, const char* name) {
  account.PutFieldString(name, 12024320 + 101240 * group);
}
void PutSignatures(HbSegment& account, unsigned long group, short number) {
  account.PutFieldInt16(number, 12024330 + 101240 * group);
}

// Puts a new segment into the BPD and lends it.
HbSegment* PutBPD(HbInternalUser& user, const char* kennung, unsigned short version,
                  bool list1 = true) {
  const SegmentRef segment = MakeSegment(kennung, version);
  EXPECT_TRUE(user.InsertBPDSegment(segment.Get(), list1));
  return segment.Get();
}

TEST(HbUser, IsEmptyAtFirst) {
  HbUser user;
  const HbUser& looked_at = user;
  EXPECT_EQ(looked_at.GetHbciVersion(), 0);
  EXPECT_EQ(looked_at.GetBenutzerName(), "");
  EXPECT_EQ(looked_at.GetBenutzerkennung(), "");
  EXPECT_EQ(looked_at.GetKundenId(), "");
  EXPECT_EQ(looked_at.GetKreditsinstitutsname(), "");
  EXPECT_EQ(looked_at.GetKIKKreditsinstitutscode(), "");
  EXPECT_EQ(looked_at.GetKIKLaenderkennzeichen(), 0);
  EXPECT_EQ(looked_at.GetMode(), 99);
  EXPECT_EQ(looked_at.GetMedia(), 2);
  EXPECT_EQ(looked_at.GetProtocol(), 1);
  EXPECT_EQ(looked_at.GetCommunicationAddr(), "");
  EXPECT_EQ(looked_at.GetCommunicationAddrExt(), "");
  EXPECT_EQ(looked_at.GetRpdId(), 0);
  EXPECT_EQ(looked_at.GetProviderData(), nullptr);
  EXPECT_FALSE(looked_at.IsBPDUpdated());
  EXPECT_FALSE(looked_at.IsUPDUpdated());
  EXPECT_EQ(looked_at.BPDSegmentCount(true, true), 0);
  EXPECT_EQ(looked_at.UPDSegmentCount(), 0);
  EXPECT_EQ(looked_at.KIMSegmentCount(), 0);
  EXPECT_EQ(looked_at.WebBankingAddOnFieldCount(), 0);
  EXPECT_EQ(looked_at.GetInternalUser(), user.GetInternalUser());
  EXPECT_EQ(user.GetInternalUser()->GetUpds(), nullptr);
  EXPECT_EQ(user.GetInternalUser()->GetOtherUpds()->SegmentSetCount(), 0);
  EXPECT_EQ(user.GetInternalUser()->GetClientData(), nullptr);
  EXPECT_EQ(user.GetInternalUser()->GetXHbClientData(), nullptr);
}

TEST(HbUser, ForwardsWhatIsSetToItsInternalUser) {
  int provider = 0;
  auto* const provider_data = reinterpret_cast<HbProviderData*>(&provider);
  HbUser user;
  user.SetHbciVersion(300);
  user.SetBenutzerName("name");
  user.SetBenutzerkennung("kennung");
  user.SetKundenId("customer");
  user.SetKreditsinstitutsname("bank");
  user.SetKIKKreditsinstitutscode("12345678");
  user.SetKIKLaenderkennzeichen(280);
  user.SetMode(static_cast<HbSecurityMode>(-7));
  user.SetMedia(SecurityMediaCard);
  user.SetProtocol(CommunicationProtocolWeb);
  user.SetCommunicationAddr("https://bank");
  user.SetCommunicationAddrExt("ext");
  user.SetRpdId(65535);
  user.SetProviderData(provider_data);
  const HbInternalUser& internal = *user.GetInternalUser();
  EXPECT_EQ(internal.GetHbciVersion(), 300);
  EXPECT_EQ(internal.GetBenutzerName(), "name");
  EXPECT_EQ(internal.GetBenutzerkennung(), "kennung");
  EXPECT_EQ(internal.GetKundenId(), "customer");
  EXPECT_EQ(internal.GetKreditsinstitutsname(), "bank");
  EXPECT_EQ(internal.GetKIKKreditsinstitutscode(), "12345678");
  EXPECT_EQ(internal.GetKIKLaenderkennzeichen(), 280);
  EXPECT_EQ(internal.GetMode(), -7);
  EXPECT_EQ(internal.GetMedia(), 0);
  EXPECT_EQ(internal.GetProtocol(), 98);
  EXPECT_EQ(internal.GetCommunicationAddr(), "https://bank");
  EXPECT_EQ(internal.GetCommunicationAddrExt(), "ext");
  EXPECT_EQ(internal.GetRpdId(), 65535);
  EXPECT_EQ(internal.GetProviderData(), provider_data);
}

TEST(HbUser, ReadsFromItsInternalUser) {
  HbUser user;
  HbInternalUser& internal = *user.GetInternalUser();
  user.SetHbciVersion(300);
  HbSegment* const bpd = PutBPD(internal, "HISALS", 5);
  const SegmentRef upd = MakeAccount("7"), kim = MakeSegment("HIKIM");
  PutJob(*upd, 0, "HKSAL");
  PutSignatures(*upd, 0, 2);
  EXPECT_TRUE(internal.InsertUPDSegment(upd.Get()));
  EXPECT_TRUE(internal.InsertKIMSegment(kim.Get()));
  internal.SetBPDUpdated(true);
  internal.SetUPDUpdated(true);
  internal.InsertWebBankingAddOnField(std::make_unique<String>("field").release());

  const HbUser& looked_at = user;
  EXPECT_TRUE(looked_at.IsBPDUpdated());
  EXPECT_TRUE(looked_at.IsUPDUpdated());
  EXPECT_EQ(looked_at.BPDSegmentCount(true, false), 1);
  EXPECT_EQ(looked_at.GetBPDSegment(0, true, true), bpd);
  EXPECT_EQ(looked_at.GetBPDSegment("HKSAL", 0, false), bpd);
  EXPECT_EQ(looked_at.GetBPDSegment(String("HISALS"), 5, true), bpd);
  EXPECT_EQ(looked_at.UPDSegmentCount(), 1);
  EXPECT_EQ(looked_at.GetUPDSegment(0), upd.Get());
  EXPECT_EQ(looked_at.GetUPDSegment("7"), upd.Get());
  EXPECT_EQ(looked_at.GetNumSigNeeded("7", "HKSAL"), 2);
  EXPECT_EQ(looked_at.KIMSegmentCount(), 1);
  EXPECT_EQ(looked_at.GetKIMSegment(0), kim.Get());
  EXPECT_EQ(looked_at.WebBankingAddOnFieldCount(), 1);
  EXPECT_EQ(looked_at.GetWebBankingAddOnField(1), "field");
  user.ClearKIMs();
  EXPECT_EQ(looked_at.KIMSegmentCount(), 0);
}

TEST(HbUser, KeepsClientDataInItsInternalUser) {
  int host = 0, other = 0;
  HbUser user(&host, &other);
  HbInternalUser& internal = *user.GetInternalUser();
  EXPECT_EQ(internal.GetClientData(), &host);
  EXPECT_EQ(internal.GetXHbClientData(), &other);
  internal.SetClientData(&other);
  internal.SetXHbClientData(&host);
  EXPECT_EQ(internal.GetClientData(), &other);
  EXPECT_EQ(internal.GetXHbClientData(), &host);
}

TEST(HbInternalUser, NotesUpdatesAlsoWhenItIsConst) {
  HbInternalUser user;
  std::as_const(user).SetUPDUpdated(true);
  EXPECT_TRUE(user.IsUPDUpdated());
  EXPECT_FALSE(user.IsBPDUpdated());
  user.SetBPDUpdated(true);
  std::as_const(user).SetUPDUpdated(false);
  EXPECT_FALSE(user.IsUPDUpdated());
  EXPECT_TRUE(user.IsBPDUpdated());
}

TEST(HbInternalUser, DisposesEverythingInItsDestructor) {
  SegmentRef segments[5];
  std::vector<std::unique_ptr<Watch>> watches;
  for (SegmentRef& segment : segments) {
    segment = MakeSegment();
    watches.push_back(std::make_unique<Watch>(segment.Get()));
  }
  {
    HbInternalUser user;
    user.SetHbciVersion(220);
    user.InsertUPDSegment(segments[0].Get());
    user.SetHbciVersion(300);
    user.InsertUPDSegment(segments[1].Get());
    user.InsertBPDSegment(segments[2].Get(), true);
    user.InsertBPDSegment(segments[3].Get(), false);
    user.InsertKIMSegment(segments[4].Get());
    user.InsertWebBankingAddOnField(std::make_unique<String>("field").release());
    for (SegmentRef& segment : segments) segment = SegmentRef();
    for (const auto& watch : watches) EXPECT_TRUE(watch->IsAlive());
  }
  for (const auto& watch : watches) EXPECT_FALSE(watch->IsAlive());
}

// ---- bank parameter data ----------------------------------------------------------------------

TEST(HbInternalUser, HasTwoListsOfBPD) {
  HbInternalUser user;
  HbSegment* const a = PutBPD(user, "HIBPA", 3, true);
  HbSegment* const b = PutBPD(user, "HISALS", 5, true);
  HbSegment* const c = PutBPD(user, "HIKAZS", 5, false);
  EXPECT_FALSE(user.InsertBPDSegment(nullptr, true));
  EXPECT_EQ(user.BPDSegmentCount(true, false), 2);
  EXPECT_EQ(user.BPDSegmentCount(false, true), 1);
  EXPECT_EQ(user.BPDSegmentCount(true, true), 3);
  EXPECT_EQ(user.BPDSegmentCount(false, false), 0);

  EXPECT_EQ(user.GetBPDSegment(1, true, false), b);
  EXPECT_EQ(user.GetBPDSegment(0, false, true), c);
  for (const bool flag : {false, true}) {  // both lists or none: one behind the other
    EXPECT_EQ(user.GetBPDSegment(0, flag, flag), a);
    EXPECT_EQ(user.GetBPDSegment(1, flag, flag), b);
    EXPECT_EQ(user.GetBPDSegment(2, flag, flag), c);
  }
}

TEST(HbInternalUser, HasNullForAnIndexBehindTheLastBPD) {
  HbInternalUser user;
  EXPECT_EQ(user.GetBPDSegment(0, true, true), nullptr);
  PutBPD(user, "HISALS", 5, true);
  PutBPD(user, "HIKAZS", 5, false);
  EXPECT_EQ(user.GetBPDSegment(1, true, false), nullptr);
  EXPECT_EQ(user.GetBPDSegment(1, false, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment(2, true, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment(65535, false, false), nullptr);
}

TEST(HbInternalUser, ClearsTheSelectedListsOfBPD) {
  HbInternalUser user;
  const auto fill = [&user] {
    PutBPD(user, "HISALS", 5, true);
    PutBPD(user, "HISALS", 5, false);
  };
  fill();
  user.ClearBPDs(false, false);
  EXPECT_EQ(user.BPDSegmentCount(true, true), 2);
  user.ClearBPDs(true, false);
  EXPECT_EQ(user.BPDSegmentCount(true, false), 0);
  EXPECT_EQ(user.BPDSegmentCount(false, true), 1);
  fill();
  user.ClearBPDs(false, true);
  EXPECT_EQ(user.BPDSegmentCount(true, false), 1);
  EXPECT_EQ(user.BPDSegmentCount(false, true), 0);
}

TEST(HbInternalUser, CountsAtMost65535BPD) {
  HbInternalUser user;
  const SegmentRef segment = MakeSegment();
  for (int i = 0; i < 40000; ++i) {
    user.InsertBPDSegment(segment.Get(), true);
    user.InsertBPDSegment(segment.Get(), false);
  }
  EXPECT_EQ(user.BPDSegmentCount(true, true), 65535);
  EXPECT_EQ(user.GetBPDSegment(65535, true, true), segment.Get());
}

TEST(HbInternalUser, FindsTheParametersOfAJob) {
  HbInternalUser user;
  PutBPD(user, "HKSALS", 5);
  HbSegment* const five = PutBPD(user, "HISALS", 5, true);
  HbSegment* const six = PutBPD(user, "HISALS", 6, false);
  EXPECT_EQ(user.GetBPDSegment("HKSAL", 0, false), five);
  EXPECT_EQ(user.GetBPDSegment("HKSAL", 6, false), six);
  EXPECT_EQ(user.GetBPDSegment("HKSAL", 7, false), nullptr);
  EXPECT_EQ(user.GetBPDSegment("HKKAZ", 0, false), nullptr);
  EXPECT_EQ(user.GetBPDSegment(String("HKSAL"), 0, false), five);
}

TEST(HbInternalUser, FindsBPDByTheirSegmentkennung) {
  HbInternalUser user;
  HbSegment* const six = PutBPD(user, "HISALS", 6);
  HbSegment* const five = PutBPD(user, "HISALS", 5);
  EXPECT_EQ(user.GetBPDSegment("HISALS", 5, true), five);
  EXPECT_EQ(user.GetBPDSegment("HISALS", 0, true), six);
  EXPECT_EQ(user.GetBPDSegment(String("HISALS"), 5, true), five);
  EXPECT_EQ(user.GetBPDSegment("HISALS", 4, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment("HISAL", 0, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment("hisals", 0, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment("HKSAL", 0, true), nullptr);
}

TEST(HbInternalUser, MakesParameterNamesOfShortJobNames) {
  HbInternalUser user;
  HbSegment* const none = PutBPD(user, "S", 1);
  HbSegment* const one = PutBPD(user, "HI", 1);
  HbSegment* const two = PutBPD(user, "HIS", 1);
  EXPECT_EQ(user.GetBPDSegment("", 0, false), none);
  EXPECT_EQ(user.GetBPDSegment(nullptr, static_cast<unsigned short>(0), false), none);
  EXPECT_EQ(user.GetBPDSegment("H", 0, false), one);
  EXPECT_EQ(user.GetBPDSegment("HK", 0, false), two);
}

TEST(HbInternalUser, FindsNoBPDByNoName) {
  HbInternalUser user;
  PutBPD(user, "HISALS", 5);
  EXPECT_EQ(user.GetBPDSegment("", 0, true), nullptr);
  EXPECT_EQ(user.GetBPDSegment(String(std::string(65535, 'H')), 0, false), nullptr);
  EXPECT_EQ(user.GetBPDSegment(std::string(70000, 'H').c_str(), 0, false), nullptr);
}

TEST(HbInternalUser, PutsAReplacementToTheEnd) {
  HbInternalUser user;
  HbError error;
  PutBPD(user, "HISALS", 5);
  HbSegment* const last = PutBPD(user, "HIKAZS", 5);
  SegmentRef old = SegmentRef::Share(user.GetBPDSegment(0, true, false));
  const Watch watch(old.Get());
  SegmentRef replacement = MakeSegment("HISALS", 6);
  HbSegment* const raw = replacement.Get();
  EXPECT_TRUE(user.ReplaceBPDSegment(error, *old, *replacement, true));
  old = SegmentRef();
  replacement = SegmentRef();
  EXPECT_FALSE(watch.IsAlive());
  ASSERT_EQ(user.BPDSegmentCount(true, false), 2);
  EXPECT_EQ(user.GetBPDSegment(0, true, false), last);
  EXPECT_EQ(user.GetBPDSegment(1, true, false), raw);
  EXPECT_FALSE(error.IsSet());
}

TEST(HbInternalUser, AppendsAReplacementOfASegmentThatIsNotInTheList) {
  HbInternalUser user;
  HbError error;
  HbSegment* const first = PutBPD(user, "HISALS", 5, true);
  const SegmentRef replacement = MakeSegment("HISALS", 6);
  EXPECT_TRUE(user.ReplaceBPDSegment(error, *first, *replacement, false));  // it is in the other
  EXPECT_EQ(user.GetBPDSegment(0, true, false), first);
  EXPECT_EQ(user.GetBPDSegment(0, false, true), replacement.Get());
  EXPECT_TRUE(user.ReplaceBPDSegment(error, *MakeSegment(), *replacement, true));
  EXPECT_EQ(user.BPDSegmentCount(true, false), 2);
  EXPECT_FALSE(error.IsSet());
}

TEST(HbInternalUser, MovesASegmentThatReplacesItselfToTheEnd) {
  HbInternalUser user;
  HbError error;
  HbSegment* const only_here = PutBPD(user, "HISALS", 5);
  const Watch watch(only_here);
  HbSegment* const other = PutBPD(user, "HIKAZS", 5);
  EXPECT_TRUE(user.ReplaceBPDSegment(error, *only_here, *only_here, true));
  EXPECT_TRUE(watch.IsAlive());
  EXPECT_EQ(user.GetBPDSegment(0, true, false), other);
  EXPECT_EQ(user.GetBPDSegment(1, true, false), only_here);
  user.ClearBPDs(true, true);
  EXPECT_FALSE(watch.IsAlive());
}

// ---- user parameter data ----------------------------------------------------------------------

TEST(HbInternalUser, IgnoresUPDBeforeAVersionIsSet) {
  HbInternalUser user;
  const SegmentRef segment = MakeAccount("1");
  EXPECT_FALSE(user.InsertUPDSegment(segment.Get()));
  user.SetHbciVersion(0);  // the version that it has
  EXPECT_EQ(user.GetUpds(), nullptr);
  EXPECT_FALSE(user.InsertUPDSegment(segment.Get()));
  EXPECT_EQ(user.UPDSegmentCount(), 0);
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 0u);
  EXPECT_EQ(user.GetUPDSegment(0), nullptr);
  EXPECT_EQ(user.GetUPDSegment(65535), nullptr);
  EXPECT_EQ(user.GetUPDSegment("1"), nullptr);
  EXPECT_EQ(user.GetUPDSegment(""), nullptr);
  user.ClearUPDs(true);

  user.SetHbciVersion(300);
  EXPECT_TRUE(user.InsertUPDSegment(segment.Get()));
  EXPECT_FALSE(user.InsertUPDSegment(nullptr));
  EXPECT_EQ(user.UPDSegmentCount(), 1);
}

TEST(HbInternalUser, ThrowsForAnIndexBehindTheLastUPD) {
  HbInternalUser user;
  user.SetHbciVersion(300);
  EXPECT_EQ(ThrownText([&] { user.GetUPDSegment(0); }), kBadSubscript);
}

TEST(HbInternalUser, BringsTheUPDOfAVersionBack) {
  HbInternalUser user;
  const SegmentRef first = MakeAccount("1"), second = MakeAccount("2");
  user.SetHbciVersion(220);
  HbSegmentSet4HbciVersion* const set = user.GetUpds();
  user.InsertUPDSegment(first.Get());
  PutBPD(user, "HISALS", 5, true);
  PutBPD(user, "HISALS", 5, false);

  user.SetHbciVersion(220);  // the same: nothing happens
  EXPECT_EQ(user.BPDSegmentCount(true, true), 2);
  EXPECT_EQ(user.GetUpds(), set);

  user.SetHbciVersion(300);
  EXPECT_EQ(user.BPDSegmentCount(true, true), 0);
  EXPECT_EQ(user.UPDSegmentCount(), 0);
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 1u);
  EXPECT_EQ(user.GetUpds()->GetHbciVersion(), 300);
  EXPECT_EQ(user.GetOtherUpds()->GetSegmentSet4Version(220), set);
  user.InsertUPDSegment(second.Get());
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 2u);
  PutBPD(user, "HISALS", 5, true);

  user.SetHbciVersion(220);
  EXPECT_EQ(user.BPDSegmentCount(true, true), 0);
  EXPECT_EQ(user.GetUpds(), set);
  EXPECT_EQ(user.GetUPDSegment(0), first.Get());
  EXPECT_EQ(user.GetOtherUpds()->SegmentSetCount(), 1);
}

TEST(HbInternalUser, SaysWhetherAChangeOfVersionTouchesUPD) {
  HbInternalUser user;
  EXPECT_FALSE(user.SetUpdsForHbciVersion(220));  // no set, an empty one
  EXPECT_FALSE(user.SetUpdsForHbciVersion(300));  // two empty ones
  const SegmentRef segment = MakeAccount("1");
  user.InsertUPDSegment(segment.Get());
  EXPECT_FALSE(user.SetUpdsForHbciVersion(300));  // the version stays
  EXPECT_TRUE(user.SetUpdsForHbciVersion(220));   // the old one has segments
  EXPECT_EQ(user.UPDSegmentCount(), 0);
  EXPECT_TRUE(user.SetUpdsForHbciVersion(300));  // the new one has some
  EXPECT_EQ(user.UPDSegmentCount(), 1);
  EXPECT_EQ(user.GetHbciVersion(), 0);  // is left alone
  EXPECT_EQ(user.GetOtherUpds()->SegmentSetCount(), 1);
}

TEST(HbInternalUser, ClearsTheUPDOfTheVersionOrOfAllVersions) {
  HbInternalUser user;
  const SegmentRef segment = MakeAccount("1");
  for (const unsigned short version : std::initializer_list<unsigned short>{220, 300}) {
    user.SetHbciVersion(version);
    user.InsertUPDSegment(segment.Get());
  }
  user.ClearUPDs(false);
  EXPECT_EQ(user.UPDSegmentCount(), 0);
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 1u);
  user.ClearUPDs(true);
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 0u);
  EXPECT_EQ(user.GetOtherUpds()->SegmentSetCount(), 0);
  EXPECT_NE(user.GetUpds(), nullptr);
}

TEST(HbInternalUser, LosesNoUPDWhenMemoryEnds) {
  const SegmentRef segment = MakeAccount("1");
  for (std::size_t allowed = 0; allowed < 8; ++allowed) {
    HbInternalUser user;
    user.SetHbciVersion(300);
    user.InsertUPDSegment(segment.Get());
    try {
      const FailingMemory failing(allowed);
      user.SetUpdsForHbciVersion(220);
    } catch (const std::bad_alloc&) {
    }
    EXPECT_EQ(user.AllVersionUPDSegmentCount(), 1u) << allowed;
  }
}

TEST(HbInternalUser, FindsAccountsWithoutTheirLeadingZeros) {
  HbInternalUser user;
  user.SetHbciVersion(300);
  const SegmentRef other = MakeAccount("1230");
  const SegmentRef zero = MakeAccount("0123");
  const SegmentRef plain = MakeAccount("123");
  const SegmentRef no_account = MakeSegment("HISAL");
  no_account->PutFieldString("123", 10000000);
  for (const SegmentRef* segment : {&no_account, &other, &zero, &plain}) {
    user.InsertUPDSegment(segment->Get());
  }
  EXPECT_EQ(user.GetUPDSegment("000123"), zero.Get());
  EXPECT_EQ(user.GetUPDSegment("123"), zero.Get());
  EXPECT_EQ(user.GetUPDSegment("1230"), other.Get());
  EXPECT_EQ(user.GetUPDSegment("12"), nullptr);
  user.GetUpds()->RemoveSegment(2, 1);
  EXPECT_EQ(user.GetUPDSegment("000123"), plain.Get());
}

TEST(HbInternalUser, TakesAnAccountOfZerosForOneWithoutNumber) {
  HbInternalUser user;
  user.SetHbciVersion(300);
  const SegmentRef numbered = MakeAccount("1"), without = MakeSegment("HIUPD", 6);
  user.InsertUPDSegment(numbered.Get());
  EXPECT_EQ(user.GetUPDSegment("000"), nullptr);
  user.InsertUPDSegment(without.Get());
  EXPECT_EQ(user.GetUPDSegment("000"), without.Get());
}

TEST(HbInternalUser, HasTheGeneralUPDForNoAccount) {
  HbInternalUser user;
  user.SetHbciVersion(300);
  const SegmentRef account = MakeAccount(""), general = MakeSegment("HIUPA", 4),
                   later = MakeSegment("HIUPA", 4);
  user.InsertUPDSegment(account.Get());
  EXPECT_EQ(user.GetUPDSegment(""), nullptr);
  user.InsertUPDSegment(general.Get());
  user.InsertUPDSegment(later.Get());
  EXPECT_EQ(user.GetUPDSegment(""), general.Get());
}

TEST(HbInternalUser, SaysHowManySignaturesAJobNeeds) {
  HbInternalUser user;
  user.SetHbciVersion(300);
  const SegmentRef account = MakeAccount("0123");
  user.InsertUPDSegment(account.Get());
  EXPECT_EQ(user.GetNumSigNeeded("123", "HKSAL"), -1);
  PutJob(*account, 0, "HKKAZ");
  PutSignatures(*account, 0, 1);
  PutJob(*account, 1, "HKSAL");  // without a number, which leaves it to the next one
  PutJob(*account, 2, "HKSAL");
  PutSignatures(*account, 2, 2);
  PutJob(*account, 4, "HKCCS");  // behind a gap
  PutSignatures(*account, 4, 3);
  EXPECT_EQ(user.GetNumSigNeeded("123", "HKKAZ"), 1);
  EXPECT_EQ(user.GetNumSigNeeded("00123", "HKSAL"), 2);
  EXPECT_EQ(user.GetNumSigNeeded("123", "HKCCS"), -1);
  EXPECT_EQ(user.GetNumSigNeeded("123", ""), -1);
  EXPECT_EQ(user.GetNumSigNeeded("124", "HKSAL"), -1);
  EXPECT_EQ(user.GetNumSigNeeded("", "HKSAL"), -1);  // no general UPD
}

// ---- messages of the bank, add-on fields --------------------------------------------------------

TEST(HbInternalUser, KeepsTheMessagesOfTheBank) {
  HbInternalUser user;
  const SegmentRef a = MakeSegment("HIKIM"), b = MakeSegment("HIKIM");
  EXPECT_FALSE(user.InsertKIMSegment(nullptr));
  EXPECT_TRUE(user.InsertKIMSegment(a.Get()));
  EXPECT_TRUE(user.InsertKIMSegment(b.Get()));
  EXPECT_EQ(user.KIMSegmentCount(), 2);
  EXPECT_EQ(user.GetKIMSegment(1), b.Get());
  EXPECT_EQ(ThrownText([&] { user.GetKIMSegment(2); }), kBadSubscript);
  user.ClearKIMs();
  EXPECT_EQ(user.KIMSegmentCount(), 0);
}

TEST(HbInternalUser, EntersAnEmptyAddOnFieldWhenItIsAskedForOne) {
  const HbInternalUser user;
  EXPECT_EQ(user.GetWebBankingAddOnField(0), "");
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 1);
  EXPECT_EQ(&user.GetWebBankingAddOnField(5), &user.GetWebBankingAddOnField(1));
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 1);
}

TEST(HbInternalUser, CountsAddOnFieldsFromOneAndStaysAmongThem) {
  HbInternalUser user;
  for (const char* text : {"a", "b", "c"}) {
    EXPECT_TRUE(user.InsertWebBankingAddOnField(std::make_unique<String>(text).release()));
  }
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 3);
  EXPECT_EQ(user.GetWebBankingAddOnField(0), "a");
  EXPECT_EQ(user.GetWebBankingAddOnField(1), "a");
  EXPECT_EQ(user.GetWebBankingAddOnField(2), "b");
  EXPECT_EQ(user.GetWebBankingAddOnField(3), "c");
  EXPECT_EQ(user.GetWebBankingAddOnField(4), "c");
  EXPECT_EQ(user.GetWebBankingAddOnField(65535), "c");
  user.ClearWebBankingAddOnFields();
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 0);
}

TEST(HbInternalUser, RefusesAddOnFieldsThatItCannotOwn) {
  HbInternalUser user;
  EXPECT_FALSE(user.InsertWebBankingAddOnField(nullptr));
  auto field = std::make_unique<String>("a");
  {
    const FailingMemory failing(0);
    EXPECT_FALSE(user.InsertWebBankingAddOnField(field.get()));
  }
  EXPECT_TRUE(user.InsertWebBankingAddOnField(field.get()));
  static_cast<void>(field.release());
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 1);
}

TEST(HbInternalUser, RefusesMoreThan65535AddOnFields) {
  HbInternalUser user;
  for (int i = 0; i < 65535; ++i) {
    auto field = std::make_unique<String>();
    ASSERT_TRUE(user.InsertWebBankingAddOnField(field.get()));
    static_cast<void>(field.release());
  }
  String one_more;
  EXPECT_FALSE(user.InsertWebBankingAddOnField(&one_more));
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 65535);
}

}  // namespace
