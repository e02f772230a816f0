// How the parts of the communication log report what fails.
#pragma once

#include <new>
#include <stdexcept>

#include "tmxtools/streams/protocol_file.h"

namespace tmx {

inline constexpr unsigned short kNoFreeName = 17398;
inline constexpr unsigned short kNotALog = 17400;
inline constexpr unsigned short kTextTooLong = 17743;  // an invalid parameter, as in any file
inline constexpr unsigned short kReadError = 17744;
inline constexpr unsigned short kOutOfMemory = 17748;
inline constexpr unsigned short kNoSuchPage = 33785;
inline constexpr unsigned short kLogNotOpen = 33786;

}  // namespace tmx

template <class Operation>
void HbProtocolFile::Guard(HbError& err, Operation operation) {
  try {
    operation();
  } catch (const std::bad_alloc&) {
    FailWithName(err, tmx::kOutOfMemory);
  } catch (const std::length_error&) {
    FailWithName(err, tmx::kTextTooLong);
  }
}
