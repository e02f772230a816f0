// The statuses of the objects of a conversation, the roles of signers and the parts of signatures.
#pragma once

#include <cstdint>

// How far an object has come. The order counts: statuses are compared by size.
enum HbStatus : std::int32_t {
  HbStatusOpen = 0,
  HbStatusSkipped = 1,
  HbStatusCancelled = 2,
  HbStatusSent = 3,
  HbStatusWarning = 4,
  HbStatusError = 5,
  HbStatusSuccess = 6,
};

// Who signs.
enum HbRole : std::int32_t {
  HbRoleIssuer = 1,
  HbRoleCosigner = 3,
  HbRoleTransmitter = 4,
};

// The parts of one signature. With PIN and TAN the second one is the text with the TAN.
enum HbSignDataType : std::int32_t {
  HbSignDataPart0 = 0,
  HbSignDataPart1 = 1,
  HbSignDataPart2 = 2,
};
