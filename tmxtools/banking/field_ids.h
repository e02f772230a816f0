// The fields of segments that the object model itself reads and writes.
#pragma once

namespace tmx {

inline constexpr unsigned long kSegmentKennungField = 1000;  // String
inline constexpr unsigned long kSegmentVersionField = 1020;  // 16 bits

// Return codes ("HIRMG", "HIRMS", "INERR"): groups numbered from 0 without a gap, each with a code
// of 16 bits and two texts. The last one is only there when it is not empty.
inline constexpr unsigned long kReturnCodeField = 60000;
inline constexpr unsigned long kReturnTextField = 60020;
inline constexpr unsigned long kReturnParamField = 60030;
inline constexpr unsigned long kReturnCodeStep = 100130;

// User parameter data ("HIUPD"): the account's number and, for each job that is allowed on it, the
// job's name and the number of signatures that it needs (16 bits).
inline constexpr unsigned long kAccountField = 10000000;
inline constexpr unsigned long kAllowedJobField = 12024320;
inline constexpr unsigned long kSignaturesNeededField = 12024330;
inline constexpr unsigned long kAllowedJobStep = 101240;

}  // namespace tmx
