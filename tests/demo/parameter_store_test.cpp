#include "demo/host/parameter_store.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/host/stored_segment.h"
#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tmxtools/banking/segment_set.h"
#include "tmxtools/banking/user_utilities.h"
#include "tmxtools/core/amount.h"
#include "tmxtools/streams/crypt_file_stream.h"

namespace tmx::demo {
namespace {

const ParameterStore::Key kKey(reinterpret_cast<const std::uint8_t*>("parameter key 16"));
const ParameterStore::Key kOtherKey(reinterpret_cast<const std::uint8_t*>("another key 1234"));
constexpr char kPath[] = "/home/bpd/users.par";

Ref<HbSegment> MakeSegment(const char* code, unsigned short version) {
  return MakeRef<HbSegment>(String(code), version);
}

// All types, null and not.
Ref<HbSegment> RichSegment() {
  auto segment = MakeSegment("HIUPD", 6);
  segment->PutFieldString(String("text\0with zero", 14), 2000);
  segment->PutFieldString("", 2010);
  segment->PutFieldDate(HbDate(21, 11, 2026), 2020);
  segment->PutFieldTime(HbTime(0, 0), 2030);
  segment->PutFieldTime(HbTime(), 2031);
  segment->PutFieldInt16(-3, 2040);
  segment->PutFieldInt32(-70000, 2050);
  segment->PutFieldFloat(0.1F, 2060);
  segment->PutFieldAmount(HbAmount(String("-123456789012345678901234567890"), 2, "EUR"), 2070);
  segment->PutFieldAmount(HbAmount(), 2071);
  segment->PutFieldBinary(reinterpret_cast<const unsigned char*>("a\0b"), 3, 2080);
  segment->PutFieldBool(true, 2090);
  for (const int type : {1, 2, 4, 5, 6, 7, 8, 9, 10}) {
    const auto null =
        Ref<HbVariable>::Adopt(HbVariables::CreateVariable(static_cast<unsigned short>(type)));
    segment->Register(3000UL + static_cast<unsigned long>(type), null.Get());
  }
  segment->PutFieldInt32(1, 0xFFFFFFFF);
  return segment;
}

std::unique_ptr<StoredUser> MakeUser(const char* name) {
  auto stored = std::make_unique<StoredUser>();
  HbInternalUser& user = *stored->user.GetInternalUser();
  user.SetHbciVersion(300);
  user.SetBenutzerName("M\xFCller");
  user.SetBenutzerkennung(name);
  user.SetKundenId("K1");
  user.SetKreditsinstitutsname("Bank");
  user.SetKIKKreditsinstitutscode("10020030");
  user.SetKIKLaenderkennzeichen(280);
  user.SetMode(static_cast<HbSecurityMode>(42));
  user.SetMedia(SecurityMediaPinTan);
  user.SetProtocol(CommunicationProtocolInternet);
  user.SetCommunicationAddr("https://localhost/");
  user.SetCommunicationAddrExt("ext");
  user.SetRpdId(7);
  stored->access = {"SYS1", "910", {"910", "920"}, "phone", "REG"};
  user.InsertBPDSegment(MakeSegment("HIBPA", 3).Get(), true);
  user.InsertBPDSegment(MakeSegment("HISALS", 7).Get(), true);
  user.InsertBPDSegment(RichSegment().Get(), false);
  user.InsertUPDSegment(RichSegment().Get());
  user.InsertUPDSegment(MakeSegment("HIUPA", 4).Get());
  auto old = std::make_unique<HbSegmentSet4HbciVersion>(220);
  old->InsertSegment(MakeSegment("HIUPD", 4).Get());
  user.GetOtherUpds()->InsertSegmentSet(old.release());
  user.InsertKIMSegment(MakeSegment("HIKIM", 2).Get());
  user.InsertWebBankingAddOnField(std::make_unique<String>("field").release());
  return stored;
}

StoredUsers Users(std::initializer_list<const char*> names) {
  StoredUsers users;
  for (const char* name : names) users.push_back(MakeUser(name));
  return users;
}

// Every field of a segment with its type, "null" or its value.
std::string Describe(const HbSegment& segment) {
  ByteWriter out;
  PutSegment(out, segment);
  return out.Take();
}

std::vector<std::string> Names(const StoredUsers& users) {
  std::vector<std::string> names;
  for (const auto& user : users) names.emplace_back(user->user.GetBenutzerkennung().View());
  return names;
}

std::string Content(const StoredUsers& users) {
  std::vector<const StoredUser*> all;
  for (const auto& user : users) all.push_back(user.get());
  return EncodeUsers(all);
}

std::string ErrorText(const HbError& error) {
  String text;
  error.GetFull(text);
  return std::string(text.View());
}

class ParameterStoreTest : public testing::Test {
 protected:
  void ExpectRefused(std::uint16_t code, const ParameterStore& store) {
    const std::string before = memory_.Get(kPath);
    StoredUsers users;
    HbError error;
    EXPECT_FALSE(store.Load(users, error));
    EXPECT_EQ(error.GetCode(), code) << ErrorText(error);
    EXPECT_THAT(ErrorText(error), testing::HasSubstr(kPath));
    EXPECT_TRUE(users.empty());
    error.Clear();
    EXPECT_FALSE(store.SaveUser(*MakeUser("new"), error));
    EXPECT_EQ(error.GetCode(), code) << ErrorText(error);
    EXPECT_EQ(memory_.Get(kPath), before);
  }
  void PutSealed(const std::string& content) {
    HbCryptFileStream stream(kPath, 3 | CRYPT_TAGGED | CRYPT_ENCRYPT | CRYPT_SIGN, nullptr, 0,
                             kOtherKey.Data(), kKey.Data());
    stream.SetStreamSize(0);
    stream.Write(content.data(), content.size());
    stream.Close();
    EXPECT_EQ(stream.GetError(), 0U);
  }

  MemoryEnv memory_;
  FaultEnv env_{memory_};
  ScopedEnv scope_{env_};
  ParameterStore store_{kPath, kKey};
  HbError error_;
};

TEST_F(ParameterStoreTest, NoFileHoldsNoUsers) {
  StoredUsers users;
  EXPECT_TRUE(store_.Load(users, error_));
  EXPECT_TRUE(users.empty());
  auto user = MakeUser("a");
  EXPECT_FALSE(store_.LoadUser(user, error_));
  EXPECT_FALSE(error_.IsSet());
  EXPECT_FALSE(memory_.Info(kPath).Ok());
}

TEST_F(ParameterStoreTest, KeepsEverythingOfAUser) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_)) << ErrorText(error_);
  StoredUsers users;
  ASSERT_TRUE(store_.Load(users, error_)) << ErrorText(error_);
  ASSERT_EQ(users.size(), 1U);
  const HbInternalUser& user = *users[0]->user.GetInternalUser();
  EXPECT_EQ(user.GetHbciVersion(), 300);
  EXPECT_EQ(user.GetBenutzerName(), "M\xFCller");
  EXPECT_EQ(user.GetBenutzerkennung(), "a");
  EXPECT_EQ(user.GetKundenId(), "K1");
  EXPECT_EQ(user.GetKreditsinstitutsname(), "Bank");
  EXPECT_EQ(user.GetKIKKreditsinstitutscode(), "10020030");
  EXPECT_EQ(user.GetKIKLaenderkennzeichen(), 280);
  EXPECT_EQ(user.GetMode(), 42);
  EXPECT_EQ(user.GetMedia(), SecurityMediaPinTan);
  EXPECT_EQ(user.GetProtocol(), CommunicationProtocolInternet);
  EXPECT_EQ(user.GetCommunicationAddr(), "https://localhost/");
  EXPECT_EQ(user.GetCommunicationAddrExt(), "ext");
  EXPECT_EQ(user.GetRpdId(), 7);
  EXPECT_EQ(users[0]->access, (Access{"SYS1", "910", {"910", "920"}, "phone", "REG"}));
  EXPECT_EQ(user.BPDSegmentCount(true, false), 2);
  EXPECT_EQ(user.BPDSegmentCount(false, true), 1);
  EXPECT_EQ(user.GetBPDSegment(1, true, false)->GetSegmentKennung(), "HISALS");
  EXPECT_EQ(user.GetBPDSegment(1, true, false)->GetSegmentVersion(), 7);
  EXPECT_EQ(user.UPDSegmentCount(), 2);
  EXPECT_EQ(user.AllVersionUPDSegmentCount(), 3UL);
  EXPECT_EQ(user.GetOtherUpds()->GetSegmentSet4Version(220)->SegmentCount(), 1);
  EXPECT_EQ(user.KIMSegmentCount(), 1);
  EXPECT_EQ(user.WebBankingAddOnFieldCount(), 1);
  EXPECT_EQ(user.GetWebBankingAddOnField(1), "field");
  EXPECT_FALSE(user.IsBPDUpdated());
}

TEST_F(ParameterStoreTest, KeepsFieldsOfAllTypesAndTheirNulls) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_)) << ErrorText(error_);
  StoredUsers users;
  ASSERT_TRUE(store_.Load(users, error_));
  const auto expected = RichSegment();
  const HbSegment& segment = *users.at(0)->user.GetUPDSegment(0);
  ASSERT_EQ(segment.Count(), expected->Count());
  HbVariablesIter iter(expected.Get());
  while (const HbVariable* variable = iter.GetNext()) {
    const unsigned long id = iter.GetId();
    ASSERT_NE(segment[id], nullptr) << id;
    EXPECT_EQ(segment[id]->GetType(), variable->GetType()) << id;
    EXPECT_EQ(segment[id]->IsNull(), variable->IsNull()) << id;
  }
  String text;
  EXPECT_TRUE(segment.GetFieldString(text, 2000));
  EXPECT_EQ(text.View(), std::string_view("text\0with zero", 14));
  HbDate date;
  EXPECT_TRUE(segment.GetFieldDate(date, 2020));
  EXPECT_EQ(date, HbDate(21, 11, 2026));
  HbTime time;
  EXPECT_TRUE(segment.GetFieldTime(time, 2030));
  EXPECT_FALSE(time.IsNull());
  EXPECT_TRUE(segment.GetFieldTime(time, 2031));
  EXPECT_TRUE(time.IsNull());
  short int16 = 0;
  EXPECT_TRUE(segment.GetFieldInt16(int16, 2040));
  EXPECT_EQ(int16, -3);
  long int32 = 0;
  EXPECT_TRUE(segment.GetFieldInt32(int32, 2050));
  EXPECT_EQ(int32, -70000);
  float number = 0;
  EXPECT_TRUE(segment.GetFieldFloat(number, 2060));
  EXPECT_EQ(number, 0.1F);
  HbAmount amount;
  EXPECT_TRUE(segment.GetFieldAmount(amount, 2070));
  EXPECT_EQ(amount.GetString(), "-123456789012345678901234567890");
  EXPECT_EQ(amount.GetPrecision(), 2);
  EXPECT_EQ(amount.GetCurrency(), "EUR");
  EXPECT_TRUE(segment.GetFieldAmount(amount, 2071));
  EXPECT_TRUE(amount.IsNull());
  ASSERT_NE(segment.GetBinaryVar(2080), nullptr);
  EXPECT_EQ(segment.GetBinaryVar(2080)->GetLength(), 3UL);
  bool flag = false;
  EXPECT_TRUE(segment.GetFieldBool(flag, 2090));
  EXPECT_TRUE(flag);
  EXPECT_EQ(Describe(segment), Describe(*expected));
}

TEST_F(ParameterStoreTest, AUserIsReplacedAndTheOthersStay) {
  ASSERT_TRUE(store_.Save(Users({"a", "b"}), error_)) << ErrorText(error_);
  auto changed = MakeUser("a");
  changed->access.system_id = "SYS2";
  ASSERT_TRUE(store_.SaveUser(*changed, error_)) << ErrorText(error_);
  StoredUsers users;
  ASSERT_TRUE(store_.Load(users, error_));
  EXPECT_THAT(Names(users), testing::ElementsAre("b", "a"));
  auto user = MakeUser("a");
  ASSERT_TRUE(store_.LoadUser(user, error_));
  EXPECT_EQ(user->access.system_id, "SYS2");
  ASSERT_TRUE(store_.Save({}, error_));
  EXPECT_FALSE(store_.LoadUser(user, error_));
  EXPECT_FALSE(error_.IsSet());
}

TEST_F(ParameterStoreTest, NothingInTheFileIsPlain) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  EXPECT_THAT(memory_.Get(kPath), testing::Not(testing::HasSubstr("10020030")));
  EXPECT_FALSE(memory_.Info(std::string(kPath) + ".log").Ok());
  for (const char* const name : {".new", ".lock"})
    EXPECT_FALSE(memory_.Info(std::string(kPath) + name).Ok()) << name;
}

TEST_F(ParameterStoreTest, AWrongKeyLosesNothing) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  ExpectRefused(17749, ParameterStore(kPath, kOtherKey));
  StoredUsers users;
  EXPECT_TRUE(store_.Load(users, error_));
  EXPECT_EQ(users.size(), 1U);
}

TEST_F(ParameterStoreTest, EveryChangedByteIsNoticedAndNothingLost) {
  ASSERT_TRUE(store_.Save({}, error_));
  const std::string good = memory_.Get(kPath);
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 0x40);
    memory_.Put(kPath, bad);
    SCOPED_TRACE(i);
    ExpectRefused(17749, store_);
  }
}

TEST_F(ParameterStoreTest, EveryTruncationIsNoticedAndNothingLost) {
  ASSERT_TRUE(store_.Save({}, error_));
  const std::string good = memory_.Get(kPath);
  for (std::size_t length = 0; length < good.size(); ++length) {
    memory_.Put(kPath, good.substr(0, length));
    SCOPED_TRACE(length);
    ExpectRefused(17749, store_);
  }
}

TEST_F(ParameterStoreTest, AnUnknownVersionIsRefused) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  std::string content = Content(Users({"a"}));
  content[8] = 2;
  PutSealed(content);
  ExpectRefused(17750, store_);
}

TEST_F(ParameterStoreTest, AFileInUseIsRefused) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  SvFileStream log(String(kPath) + ".log",
                   stream_mode::Read | stream_mode::Write | stream_mode::DenyAll);
  ExpectRefused(17739, store_);
}

TEST_F(ParameterStoreTest, APatientStoreWaitsForWhoHasTheFileOpen) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  const ParameterStore patient(kPath, kKey, std::chrono::seconds(60));
  StoredUsers users;
  env_.Fail(EnvCall::kClaim, 1, std::errc::resource_unavailable_try_again);
  EXPECT_TRUE(patient.Load(users, error_)) << ErrorText(error_);
  EXPECT_FALSE(error_.IsSet());
  EXPECT_EQ(users.size(), 1u);
  env_.Fail(EnvCall::kClaim, 1, std::errc::resource_unavailable_try_again);
  EXPECT_TRUE(patient.SaveUser(*MakeUser("b"), error_)) << ErrorText(error_);
}

TEST_F(ParameterStoreTest, PatienceHasAnEnd) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  memory_.Put(kPath, "");
  const auto start = std::chrono::steady_clock::now();
  ExpectRefused(17749, ParameterStore(kPath, kKey, std::chrono::milliseconds(150)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(ParameterStoreTest, PatienceIsNotForAnotherKey) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  const auto start = std::chrono::steady_clock::now();
  ExpectRefused(17749, ParameterStore(kPath, kOtherKey, std::chrono::seconds(60)));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50));
}

TEST_F(ParameterStoreTest, ATooLongTextIsRefused) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  auto user = MakeUser("a");
  user->access.tan_medium = std::string(70000, 'x');
  EXPECT_FALSE(store_.SaveUser(*user, error_));
  EXPECT_EQ(error_.GetCode(), 17743) << ErrorText(error_);
  EXPECT_TRUE(store_.LoadUser(user, error_));
}

// Each call of the system fails once or for good, and then the power goes: afterwards there are the
// old users or the new.
TEST_F(ParameterStoreTest, AFailureOfTheSystemLosesNothing) {
  for (const auto lasting : {FaultEnv::Lasting::kOnce, FaultEnv::Lasting::kForGood}) {
    for (const EnvCall call : {EnvCall::kOpen, EnvCall::kWrite, EnvCall::kSetSize, EnvCall::kSync,
                               EnvCall::kRead, EnvCall::kSyncDir}) {
      ASSERT_TRUE(store_.Save(Users({"a"}), error_)) << ErrorText(error_);
      bool saved = false;
      for (std::size_t n = 1; !saved && n < 400; ++n) {
        SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << " number " << n);
        HbError error;
        env_.Reset();
        env_.Fail(call, n, std::errc::io_error, lasting);
        saved = store_.SaveUser(*MakeUser("b"), error);
        env_.Reset();
        EXPECT_NE(saved, error.IsSet());
        if (lasting == FaultEnv::Lasting::kForGood) memory_.PowerCut();
        StoredUsers users;
        HbError after;
        ASSERT_TRUE(store_.Load(users, after)) << ErrorText(after);
        EXPECT_THAT(Names(users), testing::Contains("a"));
        if (saved) EXPECT_THAT(Names(users), testing::Contains("b"));
      }
      EXPECT_TRUE(saved);
    }
  }
}

// The first saving makes the file, which is whole or not there.
TEST_F(ParameterStoreTest, AFailureOfTheFirstSavingLeavesNoHalfFile) {
  for (const EnvCall call : {EnvCall::kOpen, EnvCall::kWrite, EnvCall::kSync, EnvCall::kRename,
                             EnvCall::kSyncDir, EnvCall::kMakeDir}) {
    bool saved = false;
    for (std::size_t n = 1; !saved && n < 400; ++n) {
      SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(call) << " number " << n);
      for (const char* name : {"", ".log", ".new", ".lock"})
        memory_.Remove(kPath + std::string(name));
      memory_.Remove("/home/bpd");
      env_.Reset();
      env_.Fail(call, n, std::errc::io_error, FaultEnv::Lasting::kForGood);
      HbError error;
      saved = store_.SaveUser(*MakeUser("a"), error);
      env_.Reset();
      EXPECT_NE(saved, error.IsSet());
      StoredUsers users;
      HbError after;
      ASSERT_TRUE(store_.Load(users, after)) << ErrorText(after);
      if (saved) EXPECT_THAT(Names(users), testing::ElementsAre("a"));
      EXPECT_TRUE(store_.SaveUser(*MakeUser("a"), after)) << ErrorText(after);
    }
    EXPECT_TRUE(saved);
  }
}

// Has something else happen once a file was opened.
class MeanwhileEnv : public FaultEnv {
 public:
  using FaultEnv::FaultEnv;
  // After so many openings from now.
  void Meanwhile(std::size_t openings, std::function<void()> happens) {
    openings_ = openings;
    happens_ = std::move(happens);
  }
  EnvResult<std::unique_ptr<EnvFile>> Open(const std::string& path, FileAccess access) override {
    auto opened = FaultEnv::Open(path, access);
    if (openings_ > 0 && --openings_ == 0) happens_();
    return opened;
  }

 private:
  std::size_t openings_ = 0;
  std::function<void()> happens_;
};

TEST_F(ParameterStoreTest, TwoFirstSavingsAtOnceLoseNothing) {
  constexpr std::uint16_t in_use = 17739;
  MeanwhileEnv env(memory_);
  const ScopedEnv scope(env);
  std::size_t both = 0;
  for (std::size_t n = 1; n < 12; ++n) {
    SCOPED_TRACE(testing::Message() << "opening " << n);
    for (const char* name : {"", ".log", ".new", ".lock"})
      memory_.Remove(kPath + std::string(name));
    HbError other;
    bool other_saved = false;
    env.Meanwhile(n, [&] { other_saved = store_.SaveUser(*MakeUser("other"), other); });
    HbError error;
    const bool saved = store_.SaveUser(*MakeUser("own"), error);
    env.Meanwhile(0, {});
    EXPECT_TRUE(saved || error.GetCode() == in_use) << ErrorText(error);
    EXPECT_TRUE(other_saved || !other.IsSet() || other.GetCode() == in_use) << ErrorText(other);
    std::vector<std::string> expected;
    if (other_saved) expected.emplace_back("other");
    if (saved) expected.emplace_back("own");
    StoredUsers users;
    HbError after;
    ASSERT_TRUE(store_.Load(users, after)) << ErrorText(after);
    EXPECT_THAT(Names(users), testing::UnorderedElementsAreArray(expected));
    both += saved && other_saved ? 1 : 0;
  }
  EXPECT_GT(both, 0u) << "they met";
}

TEST_F(ParameterStoreTest, WhatWasSavedOutlivesAPowerCut) {
  ASSERT_TRUE(store_.Save(Users({"a"}), error_));
  ASSERT_TRUE(store_.SaveUser(*MakeUser("b"), error_));
  memory_.PowerCut();
  StoredUsers users;
  ASSERT_TRUE(store_.Load(users, error_)) << ErrorText(error_);
  EXPECT_THAT(Names(users), testing::ElementsAre("a", "b"));
}

TEST_F(ParameterStoreTest, LiesWhereTheDirectoriesOfUsersSay) {
  const auto stored = MakeUser("a");
  EXPECT_EQ(ParameterFilePath(stored->user, ""), "/home/bin/bpd/inetzw/280/10020030.300/users.par");
  EXPECT_EQ(ParameterFilePath(stored->user, "/data"),
            "/data/bpd/inetzw/280/10020030.300/users.par");
  HbUser cept;
  cept.SetMedia(SecurityMediaPinTan);
  cept.SetProtocol(CommunicationProtocolCept);
  const std::string none = hbk::HbUserUtilities::getOnlineBpdDir(cept);
  EXPECT_EQ(ParameterFilePath(cept, "").empty(), none.empty());
}

TEST(StoredUserTest, EveryTruncatedContentIsRefused) {
  const std::string content = Content(Users({"a"}));
  for (std::size_t length = 0; length < content.size(); ++length) {
    StoredUsers users;
    HbError error;
    ASSERT_FALSE(DecodeUsers(content.substr(0, length), users, error)) << length;
    EXPECT_EQ(error.GetCode(), 17749);
    EXPECT_TRUE(users.empty());
  }
}

TEST(StoredUserTest, BytesBehindTheEndAreRefused) {
  StoredUsers users;
  HbError error;
  EXPECT_FALSE(DecodeUsers(Content(Users({"a"})) + '\0', users, error));
  EXPECT_EQ(error.GetCode(), 17749);
}

TEST(StoredUserTest, WhatIsReadIsWrittenAlike) {
  const std::string content = Content(Users({"a", "b"}));
  StoredUsers users;
  HbError error;
  ASSERT_TRUE(DecodeUsers(content, users, error));
  EXPECT_EQ(Content(users), content);
}

// A segment with one field, in the form that docs/formats.md gives.
bool IsRead(std::string_view field) {
  ByteWriter out;
  out.Put(std::uint32_t{1});
  out.Put(std::uint32_t{2000});
  out.PutBytes(field);
  const std::string bytes = out.Take();
  ByteReader in(bytes);
  const auto segment = GetSegment(in);
  return !in.Failed() && in.IsAtEnd() && segment->Count() == 1;
}

TEST(StoredUserTest, FieldsThatAreNeverWrittenAreRefused) {
  using namespace std::literals;
  EXPECT_TRUE(IsRead("\x01\x01\x02\x00xy"sv));
  EXPECT_TRUE(IsRead("\x01\x00"sv));
  EXPECT_FALSE(IsRead("\x01\x02\x00\x00"sv)) << "flag";
  EXPECT_FALSE(IsRead("\x03\x00"sv)) << "type";
  EXPECT_FALSE(IsRead("\x0A\x01\x02"sv)) << "bool";
  EXPECT_TRUE(IsRead("\x0A\x01\x01"sv));
  EXPECT_FALSE(IsRead("\x09\x01\x00\x00\x00\x00"sv)) << "empty binary";
  EXPECT_FALSE(IsRead("\x09\x01\xFF\xFF\xFF\xFFx"sv)) << "binary that is cut";
  EXPECT_FALSE(IsRead("\x08\x01\x01\x02\x00\x30\x37\x02\x00\x00\x00"sv)) << "leading zero";
  EXPECT_TRUE(IsRead("\x08\x01\x01\x01\x00\x37\x02\x00\x00\x00"sv));
}

TEST(StoredUserTest, FieldIdsAscend) {
  using namespace std::literals;
  const auto bytes = "\x02\x00\x00\x00\x02\x00\x00\x00\x01\x00\x02\x00\x00\x00\x01\x00"sv;
  ByteReader in(bytes);
  GetSegment(in);
  EXPECT_TRUE(in.Failed());
}

}  // namespace
}  // namespace tmx::demo
