#include "tmxtools/banking/user_utilities.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/support/fault_env.h"
#include "tests/support/memory_env.h"
#include "tmxtools/platform/env.h"

namespace {

using hbk::HbUserUtilities;

constexpr int kMedia[] = {-2147483647 - 1, -1, 0, 1, 2, 3, 99};
constexpr int kProtocols[] = {-1, 0, 1, 2, 3, 4, 97, 98, 99, 100};

// A user of bank 12345678 in Germany with HBCI version 300.
class Access {
 public:
  Access(int media, int protocol) {
    user_.SetMedia(static_cast<HbSecurityMedia>(media));
    user_.SetProtocol(static_cast<HbCommunicationProtocol>(protocol));
    user_.SetKIKLaenderkennzeichen(280);
    user_.SetKIKKreditsinstitutscode("12345678");
    user_.SetHbciVersion(300);
  }
  HbUser& User() { return user_; }
  int Type() const { return HbUserUtilities::getBankingType(user_); }
  std::string Macros() const { return HbUserUtilities::getDefaultMacroFiles(user_); }
  std::string Online() const { return HbUserUtilities::getOnlineBpdDir(user_); }
  std::string Offline() const { return HbUserUtilities::getOfflineBpdDir(user_); }
  std::string OfflineGv() const { return HbUserUtilities::getOfflineGvBpdDir(user_); }

 private:
  HbUser user_;
};

// In a system whose program lies in /home/bin.
class UserUtilities : public testing::Test {
 protected:
  tmx::MemoryEnv memory_;
  tmx::FaultEnv env_{memory_};
  tmx::ScopedEnv scoped_{env_};
};

int ExpectedType(int m, int p) {
  if (m == 0 || m == 1) return 1;
  if (m != 2) return 0;
  switch (p) {
    case 1:
    case 99:
      return 2;
    case 2:
      return 3;
    case 98:
      return 4;
    case 3:
      return 5;
    default:
      return 0;
  }
}

std::string ExpectedMacros(int m, int p) {
  if (m == 0 || m == 1) return "hbcim4";
  if (m == 2 && (p == 1 || p == 2 || p == 98 || p == 99)) return "i0m4;hbcim4";
  return m == 2 && p == 3 ? "pt0;hbcim4" : "";
}

std::string ExpectedOnlineKind(int m, int p) {
  if (m == 2 && p == 2) return "inetzw/";
  return m == 0 || m == 1 || p == 3 ? "hbci/" : "";
}

std::string ExpectedOfflineKind(int m, int p) {
  if (m == 2 && (p == 1 || p == 99)) return "ceptoffl/";
  if (m == 2 && p == 2) return "inetzwof/";
  if (m == 0 || m == 1 || p == 3) return "hbcioffl/";
  return m == 2 && p == 98 ? "weboffl/" : "";
}

TEST_F(UserUtilities, KnowEveryMediumWithEveryProtocol) {
  for (const int m : kMedia) {
    for (const int p : kProtocols) {
      SCOPED_TRACE(testing::Message() << "medium " << m << ", protocol " << p);
      const Access access(m, p);
      EXPECT_EQ(access.Type(), ExpectedType(m, p));
      EXPECT_EQ(access.Macros(), ExpectedMacros(m, p));
      EXPECT_EQ(HbUserUtilities::getDefaultMacroFiles(static_cast<HbSecurityMedia>(m),
                                                      static_cast<HbCommunicationProtocol>(p)),
                ExpectedMacros(m, p));
      const bool has_none = m == 2 && (p == 1 || p == 99);
      EXPECT_EQ(access.Online(),
                has_none ? "" : "/home/bin/bpd/" + ExpectedOnlineKind(m, p) + "280/12345678.300");
      EXPECT_EQ(access.Offline(), "/home/bin/bpd/" + ExpectedOfflineKind(m, p) + "280/*.300");
      EXPECT_EQ(access.OfflineGv(), "/home/bin/bpd/gvoffl/280/*.300");
    }
  }
}

TEST_F(UserUtilities, TakeMediumOneWithProtocol98ForASignature) {
  const Access access(1, 98);
  EXPECT_EQ(access.Type(), HbUserUtilities::BankingTypeSignature);
  EXPECT_EQ(access.Macros(), "hbcim4");
  EXPECT_EQ(access.Online(), "/home/bin/bpd/hbci/280/12345678.300");
}

TEST_F(UserUtilities, HaveNoKindOfOnlineDirectoryForTheWeb) {
  const Access access(2, 98);
  EXPECT_EQ(access.Type(), HbUserUtilities::BankingTypeWeb);
  EXPECT_EQ(access.Online(), "/home/bin/bpd/280/12345678.300");
  EXPECT_EQ(access.Offline(), "/home/bin/bpd/weboffl/280/*.300");
}

TEST_F(UserUtilities, PutAPlaceholderForAMissingBankCode) {
  Access access(2, 3);
  access.User().SetKIKKreditsinstitutscode("");
  EXPECT_EQ(access.Online(), "/home/bin/bpd/hbci/280/xxxxxxxx.300");
}

TEST_F(UserUtilities, KeepABankCodeFromNamingAnotherDirectory) {
  Access access(2, 3);
  for (const char* code : {"../../../etc/passwd", "/", "a/b", "..\\x"}) {
    access.User().SetKIKKreditsinstitutscode(code);
    EXPECT_EQ(access.Online(), "/home/bin/bpd/hbci/280/xxxxxxxx.300") << code;
  }
  access.User().SetKIKKreditsinstitutscode("..");
  EXPECT_EQ(access.Online(), "/home/bin/bpd/hbci/280/...300");
}

TEST_F(UserUtilities, SetTheVersionAsTheExtension) {
  Access access(2, 3);
  access.User().SetKIKKreditsinstitutscode("1234.old");
  EXPECT_EQ(access.Online(), "/home/bin/bpd/hbci/280/1234.300");
  HbUser fresh;
  EXPECT_EQ(HbUserUtilities::getOfflineGvBpdDir(fresh), "/home/bin/bpd/gvoffl/0/*.0");
}

TEST_F(UserUtilities, NameNoDirectoryWithoutThatOfTheProgram) {
  env_.Fail(tmx::EnvCall::kProgramDir, 1, std::errc::io_error, tmx::FaultEnv::Lasting::kForGood);
  const Access access(2, 3);
  EXPECT_EQ(access.Online(), "");
  EXPECT_EQ(access.Offline(), "");
  EXPECT_EQ(access.OfflineGv(), "");
}

TEST_F(UserUtilities, ThrowWhenAPathIsNoText) {
  Access access(2, 3);
  access.User().SetKIKKreditsinstitutscode(String(std::string(65530, '1')));
  EXPECT_THROW(access.Online(), std::length_error);
}

}  // namespace
