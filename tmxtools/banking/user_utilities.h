// What follows from the way in which a user reaches the bank.
#pragma once

#include <cstdint>
#include <string>

#include "tmxtools/banking/user.h"
#include "tmxtools/platform/export.h"

namespace hbk {

// The kind of a user's banking, its macros and the directories of its stored parameter data, all
// derived from the security medium and the communication protocol.
//
// The directories are "bpd" beside the running program, in it a directory for the kind of access
// (not every access has one), in that the country's number, and there BANKCODE.HBCIVERSION. Without
// a bank code, or with one that would name another directory, the code is "xxxxxxxx". The name "*"
// is a pattern for all banks. All are empty when the system does not tell the program's directory.
// They throw std::length_error when the path is longer than a text.
//
// No objects. Threads: as the user. Sets no codes.
class TMX_EXPORT HbUserUtilities {
 public:
  enum HbBankingType : std::int32_t {
    BankingTypeUnknown = 0,
    BankingTypeSignature = 1,
    BankingTypeCept = 2,
    BankingTypeInternet = 3,
    BankingTypeWeb = 4,
    BankingTypePinTan = 5,
  };

  HbUserUtilities() = delete;

  static HbBankingType getBankingType(const HbUser& user);
  // Names of macro files separated by ";", empty if there are none for this access.
  static std::string getDefaultMacroFiles(HbSecurityMedia media, HbCommunicationProtocol protocol);
  static std::string getDefaultMacroFiles(const HbUser& user);
  // Parameter data from dialogs; empty for Cept, which has none.
  static std::string getOnlineBpdDir(const HbUser& user);
  // Parameter data that were delivered with the program, by access and for all accesses.
  static std::string getOfflineBpdDir(const HbUser& user);
  static std::string getOfflineGvBpdDir(const HbUser& user);
};

}  // namespace hbk
