// Every code that the library can raise. The texts stand in resources/textres.bin, the tables of
// docs/errors.md are printed from here.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace tmx {

struct ErrorCode {
  std::uint16_t code;
  std::string_view name;
  std::string_view arises;  // where and when
};

// Why a stream failed, whatever it stands on.
inline constexpr std::string_view kStreamFailure = "any stream, through HbError::SetStreamState()";

// In rising order. 17740 and 17749 mean two things each; 2701 to 2708 are no errors but the texts
// of the statuses of requests, messages, dialogs and jobs.
inline constexpr auto kErrorCodes = std::to_array<ErrorCode>({
    {2701, "StatusOpen", "status text of an object: nothing has happened yet"},
    {2702, "StatusSkipped", "status text of an object: it was skipped"},
    {2703, "StatusCancelled", "status text of an object: it was cancelled"},
    {2704, "StatusSent", "status text of an object: sent, not yet answered"},
    {2705, "StatusWarning", "status text of an object: the bank answered with a warning"},
    {2706, "StatusError", "status text of an object: the bank answered with an error"},
    {2707, "StatusSuccess", "status text of an object: done"},
    {2708, "StatusUnknown", "status text of an object: any other status"},
    {17398, "NoFreeLogName", "communication log: all 1000 file names of today are taken"},
    {17400, "NotALog",
     "communication log: the file does not begin with the header line, or a page cannot be read"},
    {17485, "NoMacroFile", "macro files: a subroutine is asked for while no file is pushed"},
    {17487, "MacroFileNotOpen", "bytecode: the macro file is not open"},
    {17488, "MacroFileTooShort", "bytecode: the macro file ends before offset and length"},
    {17489, "MacroFileTooLong", "bytecode: more than 65535 bytes without a length"},
    {17490, "MalformedMacro",
     "macro engine: unknown opcode, wrong count, tag or id, read past the end, too long a text, "
     "too deep a recursion"},
    {17492, "SubroutineNotFound", "macro files: the subroutine is in no pushed file"},
    {17494, "UnexpectedInput", "read commands: the input does not have the expected form"},
    {17495, "WrongMacroVersion", "macro files: the code file has another version"},
    {17496, "StoppedByMacro", "macro engine: the macro ended itself"},
    {17497, "SecurityDialogDeclined", "security dialog: there is no handler, or it declined"},
    {17498, "NoDialog", "banking commands: the request has no message, or its message no dialog"},
    {17499, "MacroRunning", "macro engine: a macro is called while another one runs"},
    {17500, "StoppedByHost", "macro engine: the host ended the run"},
    {17501, "NoRequest", "banking commands: a command needs a request"},
    {17636, "SignatureRefused", "requests: a signature cannot be inserted"},
    {17640, "BadSignatureBlock",
     "requests: cause of 17636, the block is damaged or names no message"},
    {17735, "FileNotFound", kStreamFailure},
    {17736, "PathNotFound", kStreamFailure},
    {17737, "TooManyOpenFiles", kStreamFailure},
    {17738, "AccessDenied", kStreamFailure},
    {17739, "LockingViolation", kStreamFailure},
    {17740, "InvalidAccess",
     "any stream, through HbError::SetStreamState(); line files: the file is not open"},
    {17741, "GeneralStreamError", kStreamFailure},
    {17742, "CannotCreate", kStreamFailure},
    {17743, "InvalidParameter", kStreamFailure},
    {17744, "ReadError", kStreamFailure},
    {17745, "WriteError", kStreamFailure},
    {17746, "CannotSeek", kStreamFailure},
    {17747, "CannotTell", kStreamFailure},
    {17748, "OutOfMemory", kStreamFailure},
    {17749, "WrongFormat",
     "any stream, through HbError::SetStreamState(); scripts: the kind of a record is not exactly "
     "one character"},
    {17750, "WrongVersion", kStreamFailure},
    {17751, "DiskFull", kStreamFailure},
    {17752, "OtherStreamError",
     "any stream, through HbError::SetStreamState(): any error that has no code of its own"},
    {17756, "EncryptFailed", "CBC crypter: a stream failed while encrypting"},
    {17757, "DecryptFailed", "CBC crypter: a stream failed while decrypting"},
    {17758, "NotWholeBlocks", "CBC crypter: the length is not a multiple of eight"},
    {17759, "BadPadding", "CBC crypter: the pad count of the last block is above eight"},
    {18444, "AnsweredWithReservation",
     "error responses of a request: reported as return code 3210"},
    {18593, "RefusedByBank", "error responses of a request: reported as return code 9000"},
    {33785, "NoSuchPage", "communication log: the page does not exist"},
    {33786, "LogNotOpen", "communication log: the file is not open"},
});

// Null for a code that the library never raises.
constexpr const ErrorCode* FindErrorCode(std::uint16_t code) {
  const auto row = std::ranges::lower_bound(kErrorCodes, code, {}, &ErrorCode::code);
  return row != kErrorCodes.end() && row->code == code ? row : nullptr;
}

static_assert(std::ranges::adjacent_find(kErrorCodes, std::ranges::greater_equal{},
                                         &ErrorCode::code) == kErrorCodes.end());

}  // namespace tmx
