// How a user's access to a bank is secured and reached. Hosts may store other values.
#pragma once

#include <cstdint>

// The security procedure, which only hosts and macros interpret: 0 asks for no signature.
enum HbSecurityMode : std::int32_t {
  SecurityModeNone = 0,
  SecurityModeDefault = 99,
};

// What orders are signed with. The first two are treated alike.
enum HbSecurityMedia : std::int32_t {
  SecurityMediaUnknown = -1,
  SecurityMediaCard = 0,
  SecurityMediaKeyFile = 1,
  // PIN and TAN; the TAN travels in part 1 of a signature, and the user who sends a message is
  // always its first signer.
  SecurityMediaPinTan = 2,
};

// The way to the bank.
enum HbCommunicationProtocol : std::int32_t {
  CommunicationProtocolCept = 1,
  CommunicationProtocolInternet = 2,
  CommunicationProtocolHbci = 3,
  CommunicationProtocolWeb = 98,
  CommunicationProtocolOther = 99,  // treated as Cept
};
