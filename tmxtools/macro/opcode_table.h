// The one table of macro opcodes. The engine's dispatch and count checks, the compiler, the
// disassembler, the verifier, the reference in docs/ and the random programs of the tests all come
// from it; nothing about the shape of a command is written anywhere else.
//
// An instruction is one opcode byte, one count byte and the operands that the count asks for. All
// integers are big-endian. A tagged operand starts with a 16-bit tag: 32 and above is the id of a
// holder of the current frame, below 32 the type code of a literal that follows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tmxtools/platform/export.h"

namespace tmx {

// Type codes of variables and of literals in bytecode.
enum class TypeCode : std::uint8_t {
  kNone = 0,
  kString = 1,
  kDate = 2,
  kTime = 4,
  kInt = 5,
  kLong = 6,
  kFloat = 7,
  kAmount = 8,
  kBinary = 9,
  kBool = 10,
  kChar = 12,               // literals only
  kTypeOfInstruction = 31,  // in the table only: the type in the instruction's first operand byte
};

inline constexpr int kFirstVariableTag = 32;  // tags from here on are holder ids
inline constexpr int kFirstHolderId = 33;     // the id of a frame's first holder

enum class OperandKind : std::uint8_t {
  kRawType,       // 1 byte, a type code
  kRawOperator,   // 1 byte, an operator character
  kRawBool,       // 1 byte, 0 or 1
  kRawTarget,     // 2 bytes, an offset in the subroutine
  kRawLine,       // 2 bytes, a line number
  kRawId,         // 2 bytes, the id of a holder that exists
  kNewId,         // 2 bytes, the id of the holder that the instruction declares
  kRawKey,        // 4 bytes, the key of a static variable or the id of a segment's field
  kRawNumber,     // 2 bytes, a number
  kRawString,     // bytes up to a zero byte
  kDefault,       // an untagged literal of the instruction's type
  kAttribute,     // tagged: a variable or a literal of the operand's type
  kAnyAttribute,  // tagged: a variable or a literal of any type that has a text form
  kVariable,      // tagged: a variable of the operand's type, never a literal
  kOpLeft,        // tagged: left operand of CmdOp, typed by OpOperandTypes
  kOpRight,       // tagged: right operand of CmdOp, typed by OpOperandTypes
  kArguments,     // the remaining count - 1 operands of a call, tagged, of any type
  kTextList,      // the remaining count - 1 operands, each like kAnyAttribute
};

struct Operand {
  OperandKind kind = OperandKind::kRawType;
  TypeCode type = TypeCode::kNone;  // of tagged operands
  std::uint8_t from_count = 0;      // present in instructions with this count or a larger one
  const char* name = nullptr;
};

enum class Counted : std::uint8_t {
  kChecked,  // counts outside [min_count, max_count] are refused with 17490
  kEither,   // only min_count and max_count are not refused
  kIfUsual,  // never refused; there are operands only with the usual count
  kIgnored,  // the command does not look at its count
  kCall,     // one for the name and one for each argument; 0 reads no argument either
  kFetch,    // handled while fetching, never dispatched; the count byte is not looked at
};

inline constexpr std::size_t kMaxOperands = 6;

// Which engine knows a command: the generic one, or only the one for banking.
enum class EngineKind : std::uint8_t { kGeneric, kBanking };

struct Opcode {
  EngineKind engine = EngineKind::kGeneric;
  std::uint8_t number = 0;
  const char* command = nullptr;   // name of the engine's command
  const char* mnemonic = nullptr;  // keyword of the statement in macro sources
  Counted counted = Counted::kIgnored;
  std::uint8_t min_count = 0;
  std::uint8_t max_count = 0;
  std::uint8_t usual_count = 0;  // what the compiler writes where the count does not matter
  std::array<Operand, kMaxOperands> operands{};
  std::uint8_t operand_count = 0;
  const char* doc = nullptr;

  constexpr bool Accepts(int count) const {
    if (counted == Counted::kEither) return count == min_count || count == max_count;
    return counted != Counted::kChecked || (count >= min_count && count <= max_count);
  }
  // Whether the last operand stands for all that the count has left.
  constexpr bool IsVariadic() const {
    const OperandKind last = operand_count > 0 ? operands[operand_count - 1u].kind : OperandKind{};
    return last == OperandKind::kArguments || last == OperandKind::kTextList;
  }
  // Whether the instruction declares a variable of a static, or of a segment's field.
  constexpr bool HasKey() const {
    for (const Operand& operand : operands)
      if (operand.kind == OperandKind::kRawKey) return true;
    return false;
  }
  // How many of the operands an instruction with this count has; a variadic one counts as one.
  constexpr int OperandsPresent(int count) const {
    if (counted == Counted::kIfUsual) return count == usual_count ? operand_count : 0;
    int present = 0;
    while (present < operand_count &&
           operands[static_cast<std::size_t>(present)].from_count <= count)
      ++present;
    return present;
  }
};

// The types of A and B of CmdOp (opcode 28) for the instruction's type, its operator and the type
// that the look-ahead found for B. Where `supported` is false CmdOp raises 17490 for the
// combination after it has read the operands with the types given here (none for kNone).
struct OpTypes {
  TypeCode left;
  TypeCode right;
  bool supported;
};
TMX_EXPORT OpTypes OpOperandTypes(TypeCode type, char op, TypeCode type_of_right);

// The row of an opcode, or null for a number or a mnemonic that no command has.
TMX_EXPORT const Opcode* FindOpcode(int number);
TMX_EXPORT const Opcode* FindOpcode(const char* mnemonic);

// ---- the table -------------------------------------------------------------------------------
// ROW(number, command, mnemonic, counts, documentation, operands...)
// clang-format off

#define TMX_BASE_OPCODES(ROW)                                                                      \
  ROW(1, CmdHolderParam, "param", Counts(2, 3),                                                    \
      "declares a parameter; a default overwrites what the caller passed",                         \
      RawType(2), NewId(2), Default(3))                                                            \
  ROW(2, CmdCompare, "compare", IgnoresCount(4),                                                   \
      "compares two values of one type with <, = or > and sets the condition",                     \
      RawType(), RawOperator(), OfType("left"), OfType("right"))                                   \
  ROW(3, CmdSet, "set", IgnoresCount(3),                                                           \
      "stores a value in a variable of the same type",                                             \
      RawType(), VariableOfType("target"), OfType("value"))                                        \
  ROW(5, CmdHolderLocal, "local", Counts(2, 3),                                                    \
      "declares a local variable",                                                                 \
      RawType(2), NewId(2), Default(3))                                                            \
  ROW(7, CmdWriteString, "write_string", Counts(1, 4),                                             \
      "appends a text to the output",                                                              \
      Text(1, "text"), Int(2, "width"), Char(3, "fill"), Bool(4, "right"))                         \
  ROW(8, CmdWriteDate, "write_date", Counts(1, 5),                                                 \
      "appends a date, by default as \"dmyy\"",                                                    \
      DateOf(1, "date"), Text(2, "format"), Int(3, "width"), Char(4, "fill"), Bool(5, "right"))    \
  ROW(9, CmdWriteAmount, "write_amount", Counts(1, 6),                                             \
      "appends an amount, by default as \"v,n\"",                                                  \
      Amount(1, "amount"), Text(2, "format"), Int(3, "width"), Int(4, "decimals"),                 \
      Char(5, "fill"), Bool(6, "right"))                                                           \
  ROW(10, CmdClear, "clear", IgnoresCount(0),                                                      \
      "empties the output")                                                                        \
  ROW(14, CmdReadString, "read_string", Counts(1, 3),                                              \
      "takes characters up to a length or a stop character, which stays",                          \
      StringVariable(1, "target"), Int(2, "length"), Char(3, "stop"))                              \
  ROW(15, CmdReadDate, "read_date", Counts(2, 2),                                                  \
      "takes a date in the layout of a format",                                                    \
      DateVariable(1, "target"), Text(2, "format"))                                                \
  ROW(16, CmdReadAmount, "read_amount", Counts(1, 5),                                              \
      "takes an amount in the layout of a format, by default \"v,n\"",                             \
      AmountVariable(1, "target"), Text(2, "format"), Int(3, "width"), Int(4, "decimals"))         \
  ROW(17, CmdExit, "exit", IgnoresCount(0),                                                        \
      "returns from the subroutine")                                                               \
  ROW(18, CmdSuccess, "success", IgnoresCount(0),                                                  \
      "sets the condition to whether no soft error is pending, and forgets it")                    \
  ROW(25, CmdWriteInt, "write_int", Counts(1, 5),                                                  \
      "appends a 16-bit integer",                                                                  \
      Int(1, "value"), Int(2, "width"), Char(3, "fill"), Bool(4, "right"))                         \
  ROW(28, CmdOp, "op", IgnoresCount(5),                                                            \
      "computes target = left operator right",                                                     \
      RawType(), RawOperator(), VariableOfType("target"), OpLeft(), OpRight())                     \
  ROW(30, CmdGoto, "goto", IgnoresCount(1),                                                        \
      "goes on at a label",                                                                        \
      RawTarget())                                                                                 \
  ROW(31, CmdIfGoto, "if_goto", IgnoresCount(2),                                                   \
      "goes on at a label if the condition holds; negate inverts the condition for good",          \
      RawBool("negate"), RawTarget())                                                              \
  ROW(32, CmdCall, "call", TakesArguments(),                                                       \
      "calls a subroutine by its name",                                                            \
      RawString("name"), Arguments())                                                              \
  ROW(33, CmdCallSub, "call_sub", TakesArguments(),                                                \
      "calls the subroutine whose name a text operand holds",                                      \
      Text(0, "name"), Arguments())                                                                \
  ROW(37, CmdReadAppend, "read_append", Counts(1, 3),                                              \
      "as read_string, but appends and skips one character after the field",                       \
      StringVariable(1, "target"), Int(2, "length"), Char(3, "stop"))                              \
  ROW(40, CmdStop, "stop", IgnoresCount(0),                                                        \
      "ends the subroutine with the soft error 17496")                                             \
  ROW(41, CmdGetDay, "get_day", Counts(2, 2),                                                      \
      "stores the day of a date",                                                                  \
      DateOf(1, "date"), IntVariable(2, "target"))                                                 \
  ROW(42, CmdGetMonth, "get_month", Counts(2, 2),                                                  \
      "stores the month of a date",                                                                \
      DateOf(1, "date"), IntVariable(2, "target"))                                                 \
  ROW(43, CmdGetYear, "get_year", Counts(2, 2),                                                    \
      "stores the year of a date",                                                                 \
      DateOf(1, "date"), IntVariable(2, "target"))                                                 \
  ROW(44, CmdSetDay, "set_day", Counts(2, 2),                                                      \
      "sets the day of a date variable",                                                           \
      DateVariable(1, "target"), Int(2, "value"))                                                  \
  ROW(45, CmdSetMonth, "set_month", Counts(2, 2),                                                  \
      "sets the month of a date variable",                                                         \
      DateVariable(1, "target"), Int(2, "value"))                                                  \
  ROW(46, CmdSetYear, "set_year", Counts(2, 2),                                                    \
      "sets the year of a date variable",                                                          \
      DateVariable(1, "target"), Int(2, "value"))                                                  \
  ROW(48, CmdReadInt, "read_int", Counts(1, 2),                                                    \
      "reads digits at the cursor as a 16-bit integer and leaves the cursor",                      \
      IntVariable(1, "target"), Int(2, "length"))                                                  \
  ROW(50, CmdWriteLong, "write_long", Counts(1, 5),                                                \
      "appends a 32-bit integer",                                                                  \
      Long(1, "value"), Int(2, "width"), Char(3, "fill"), Bool(4, "right"))                        \
  ROW(51, CmdSubString, "substring", Counts(4, 4),                                                 \
      "stores a part of a text",                                                                   \
      StringVariable(1, "target"), Text(2, "source"), Int(3, "start"), Int(4, "length"))           \
  ROW(52, CmdStringLen, "string_len", Counts(2, 2),                                                \
      "stores the length of a text",                                                               \
      IntVariable(1, "target"), Text(2, "text"))                                                   \
  ROW(54, CmdReadLong, "read_long", Counts(1, 2),                                                  \
      "reads digits at the cursor as a 32-bit integer and leaves the cursor",                      \
      LongVariable(1, "target"), Int(2, "length"))                                                 \
  ROW(55, CmdEatLeadingChars, "eat_leading", Counts(0, 1),                                         \
      "skips a character, by default the blank, as often as it stands at the cursor",              \
      Char(1, "character"))                                                                        \
  ROW(56, CmdEraseTrailingChars, "erase_trailing", Counts(1, 2),                                   \
      "removes a character, by default the blank, from the end of a text",                         \
      StringVariable(1, "target"), Char(2, "character"))                                           \
  ROW(57, CmdSearch, "search", Counts(1, 255),                                                     \
      "looks for a text from the cursor on without regard to case and moves the cursor",           \
      Text(1, "pattern"), Int(2, "mode"), IntVariable(3, "column"), IntVariable(3, "line"))        \
  ROW(58, CmdReceiveString, "receive_string", Counts(1, 1),                                        \
      "makes the text of a value the input",                                                       \
      AnyText(1, "value"))                                                                         \
  ROW(59, CmdReplaceChars, "replace_chars", Counts(2, 3),                                          \
      "removes the characters of a set, or turns line ends to LF and replaces them",               \
      StringVariable(1, "target"), Text(2, "set"), Char(3, "replacement"))                         \
  ROW(130, CmdDeclareHolder, "declare", Counts(2, 2),                                              \
      "declares a plain variable",                                                                 \
      RawType(2), NewId(2))                                                                        \
  ROW(145, CmdIsNull, "is_null", Counts(1, 1),                                                     \
      "sets the condition to whether a variable is null",                                          \
      RawId(1, "variable"))                                                                        \
  ROW(146, CmdEngineVersion, "engine_version", Counts(1, 1),                                       \
      "stores the engine's version, 2",                                                            \
      IntVariable(1, "target"))                                                                    \
  ROW(147, CmdHolderStatic, "static", Counts(3, 3),                                                \
      "declares a variable that keeps its value across calls under a key",                         \
      RawType(3), NewId(3), RawKey(3))                                                             \
  ROW(148, CmdGetCurrentDate, "current_date", Counts(1, 1),                                        \
      "stores today's date",                                                                       \
      DateVariable(1, "target"))                                                                   \
  ROW(150, CmdReceiveOutput, "receive_output", Counts(0, 0),                                       \
      "makes a copy of the output the input")                                                      \
  ROW(160, CmdFile, "file", IgnoresCount(1),                                                       \
      "names the source file, for diagnostics",                                                    \
      RawString("name"))                                                                           \
  ROW(161, CmdLine, "line", InFetch(),                                                             \
      "names the source line, for diagnostics",                                                    \
      RawLine())                                                                                   \
  ROW(163, CmdVariableName, "variable_name", IgnoresCount(2),                                      \
      "names a variable, for diagnostics",                                                         \
      RawId(0, "variable"), RawString("name"))


// The commands of the banking engine; the generic engine does not know them.
#define TMX_BANKING_OPCODES(ROW)                                                                   \
  ROW(6, CmdHolderResponse, "response", Counts(3, 3),                                              \
      "declares a field of the response that is being made",                                       \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(22, CmdAddRespCode, "add_response_code", Counts(1, 255),                                     \
      "records a return code with its text for the request, or marks it successful for 0",         \
      Int(1, "code"), Texts())                                                                     \
  ROW(24, CmdNeeds, "needs", Either(1, 6),                                                         \
      "lets the user be asked for a variable that has no value",                                   \
      RawId(1, "variable"), Text(6, "label"), Int(6, "control"), Bool(6, "flag"),                  \
      Int(6, "minimum"), Int(6, "maximum"))                                                        \
  ROW(26, CmdSecurityDialog, "security_dialog", Counts(0, 1),                                      \
      "asks the user for what is needed; a soft error if that is refused",                         \
      Text(1, "text"))                                                                             \
  ROW(27, CmdInvalidateSecurityVar, "invalidate", IgnoresCount(1),                                 \
      "makes a variable null, also for all others that share it",                                  \
      RawId(0, "variable"))                                                                        \
  ROW(38, CmdCreateResponse, "create_response", IfUsual(1),                                        \
      "begins a response segment; without its identifier it drops the one that was begun",         \
      Text(0, "identifier"))                                                                       \
  ROW(39, CmdCommitResponse, "commit_response", IgnoresCount(0),                                   \
      "hands the response segment to the request")                                                 \
  ROW(53, CmdReqSuccess, "request_success", Counts(0, 0),                                          \
      "marks the request successful")                                                              \
  ROW(60, CmdHolderSecurity, "security", Counts(3, 3),                                             \
      "declares a security variable of the dialog",                                                \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(69, CmdHolderRequest, "request", Counts(3, 3),                                               \
      "declares a field of the request's values",                                                  \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(128, CmdGetReqUserFlags, "request_users", Counts(2, 2),                                      \
      "stores three flags, for which roles the request has a user with a security mode",           \
      StringVariable(2, "target"), Int(2, "role"))                                                 \
  ROW(129, CmdGetReqSignCount, "request_signatures", Counts(1, 1),                                 \
      "stores how many signatures the request needs",                                              \
      IntVariable(1, "target"))                                                                    \
  ROW(132, CmdHolderRequestBpd, "request_bpd", Counts(3, 3),                                       \
      "declares a field of the bank's parameters for the request",                                 \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(133, CmdHolderGeneralBpd, "bpd", Counts(5, 5),                                               \
      "declares a field of a segment of the bank's parameters; version 0 is any",                  \
      RawType(5), NewId(5), RawField(5), RawString(5, "of"), RawNumber(5, "version"))              \
  ROW(134, CmdHolderRequestItem, "request_item", Counts(3, 3),                                     \
      "declares a field of the current request item",                                              \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(135, CmdHolderUpd, "upd", Counts(3, 3),                                                      \
      "declares a field of the user's parameters that goto_upd chooses",                           \
      RawType(3), NewId(3), RawField(3))                                                           \
  ROW(136, CmdFirstDEG, "first_deg", Counts(2, 2),                                                 \
      "moves a variable to the field where its groups begin",                                      \
      RawId(2, "variable"), Long(2, "start"))                                                      \
  ROW(137, CmdNextDEG, "next_deg", Counts(2, 2),                                                   \
      "moves a variable a step on, to the next group",                                             \
      RawId(2, "variable"), Long(2, "step"))                                                       \
  ROW(138, CmdGotoDEG, "goto_deg", Counts(4, 4),                                                   \
      "moves a variable to the field base + index * stride",                                       \
      RawId(4, "variable"), Long(4, "base"), Long(4, "stride"), Int(4, "index"))                   \
  ROW(139, CmdGotoUPD, "goto_upd", Counts(1, 1),                                                   \
      "chooses the segment of the user's parameters, counted from 0",                              \
      Int(1, "index"))                                                                             \
  ROW(140, CmdGetUserName, "user_name", Counts(2, 2),                                              \
      "stores the name of the request's user in a role",                                           \
      StringVariable(2, "target"), RawNumber(2, "role"))                                           \
  ROW(141, CmdGetUserBlz, "user_bank_code", Counts(2, 2),                                          \
      "stores the bank code of the request's user in a role",                                      \
      StringVariable(2, "target"), RawNumber(2, "role"))                                           \
  ROW(142, CmdGetUserRpdId, "user_rpd_id", Counts(1, 1),                                           \
      "stores the RPD id of the request's user",                                                   \
      IntVariable(1, "target"))                                                                    \
  ROW(143, CmdGetUserHbciVersion, "user_hbci_version", Counts(2, 2),                               \
      "stores the version of the standard of the request's user in a role",                        \
      IntVariable(2, "target"), RawNumber(2, "role"))                                              \
  ROW(144, CmdSetCurrentRequestItem, "select_item", Counts(1, 1),                                  \
      "chooses the request item, counted from 1",                                                  \
      Int(1, "number"))

// clang-format on

}  // namespace tmx
