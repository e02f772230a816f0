#include "tmxtools/banking/user_utilities.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "tmxtools/platform/dir_entry.h"
#include "tmxtools/platform/program.h"

namespace hbk {
namespace {

using enum HbUserUtilities::HbBankingType;

// What follows from a medium and a protocol; the kinds are names of directories.
struct Access {
  HbCommunicationProtocol protocol;
  HbUserUtilities::HbBankingType type;
  const char* macro_files;
  const char* online_kind;
  const char* offline_kind;
};

constexpr std::array kPinTanAccesses = {
    Access{CommunicationProtocolCept, BankingTypeCept, "i0m4;hbcim4", "", "ceptoffl"},
    Access{CommunicationProtocolOther, BankingTypeCept, "i0m4;hbcim4", "", "ceptoffl"},
    Access{CommunicationProtocolInternet, BankingTypeInternet, "i0m4;hbcim4", "inetzw", "inetzwof"},
    Access{CommunicationProtocolWeb, BankingTypeWeb, "i0m4;hbcim4", "", "weboffl"},
    Access{CommunicationProtocolHbci, BankingTypePinTan, "pt0;hbcim4", "hbci", "hbcioffl"},
};
// With a signature the protocol does not matter.
constexpr Access kSignatureAccess = {{}, BankingTypeSignature, "hbcim4", "hbci", "hbcioffl"};
// The directories of HBCI are used with any medium.
constexpr Access kUnknownHbciAccess = {{}, BankingTypeUnknown, "", "hbci", "hbcioffl"};
constexpr Access kUnknownAccess = {{}, BankingTypeUnknown, "", "", ""};

const Access& AccessOf(HbSecurityMedia media, HbCommunicationProtocol protocol) {
  if (media == SecurityMediaCard || media == SecurityMediaKeyFile) return kSignatureAccess;
  if (media == SecurityMediaPinTan) {
    const auto* const found = std::ranges::find(kPinTanAccesses, protocol, &Access::protocol);
    return found != kPinTanAccesses.end() ? *found : kUnknownAccess;
  }
  return protocol == CommunicationProtocolHbci ? kUnknownHbciAccess : kUnknownAccess;
}

const Access& AccessOf(const HbUser& user) { return AccessOf(user.GetMedia(), user.GetProtocol()); }

std::string BpdDir(const HbUser& user, std::string_view kind, const String& bank) {
  const std::string program = tmx::ProgramDirectory();
  if (program.empty()) return {};
  DirEntry directory{String(program)};
  directory += "bpd";
  if (!kind.empty()) directory += String(kind);
  directory += String::FromInt(user.GetKIKLaenderkennzeichen());
  directory += bank;
  directory.SetExtension(String::FromInt(user.GetHbciVersion()));
  return std::string(directory.GetFull().View());
}

bool IsFileName(const String& name) {
  return !name.IsEmpty() && name.View().find_first_of("/\\") == std::string_view::npos;
}

}  // namespace

HbUserUtilities::HbBankingType HbUserUtilities::getBankingType(const HbUser& user) {
  return AccessOf(user).type;
}

std::string HbUserUtilities::getDefaultMacroFiles(HbSecurityMedia media,
                                                  HbCommunicationProtocol protocol) {
  return AccessOf(media, protocol).macro_files;
}

std::string HbUserUtilities::getDefaultMacroFiles(const HbUser& user) {
  return AccessOf(user).macro_files;
}

std::string HbUserUtilities::getOnlineBpdDir(const HbUser& user) {
  const Access& access = AccessOf(user);
  if (access.type == BankingTypeCept) return {};
  const String& code = user.GetKIKKreditsinstitutscode();
  return BpdDir(user, access.online_kind, IsFileName(code) ? code : "xxxxxxxx");
}

std::string HbUserUtilities::getOfflineBpdDir(const HbUser& user) {
  return BpdDir(user, AccessOf(user).offline_kind, "*");
}

std::string HbUserUtilities::getOfflineGvBpdDir(const HbUser& user) {
  return BpdDir(user, "gvoffl", "*");
}

}  // namespace hbk
