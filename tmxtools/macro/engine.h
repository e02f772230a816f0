#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <typeinfo>

#include "tmxtools/core/date_time.h"
#include "tmxtools/core/error.h"
#include "tmxtools/macro/frame.h"
#include "tmxtools/macro/macro_file.h"
#include "tmxtools/macro/observer.h"
#include "tmxtools/macro/opcode_table.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"
#include "tmxtools/variables/variables.h"

namespace tmx {
class ByteOperands;
class DecodedOperands;
struct CallSite;
struct DecodedInstruction;
struct DecodedOperand;
struct FieldLayout;
}  // namespace tmx

// Executes compiled macros: loads subroutines from its macro files, builds frames of variables and
// runs one command after the other until the outermost frame returns.
//
//   HbError err;
//   MeMacroEngine engine("/path");            // files lie in /path/macro
//   engine.PushFile("greeting", err);         // and below it "general"
//   HbStackFrame* frame = engine.LoadSub("Greet", err);
//   if (frame != nullptr) {
//     frame->PushParam("world");
//     engine.Call(frame, err);                // takes the frame
//   }
//
// Two kinds of errors: a macro status (the base's status) aborts the run; the error of the last
// command unwinds frames until a caller tests it (opcode 18), and becomes the status when nobody
// does. Their parameter is the subroutine, " an Position " and the offset of the first byte not yet
// read. Texts are ISO 8859-1, at most 65535 bytes.
//
// Call returns true for a run that ended by itself even while the status is set (opcode 40 in the
// outermost frame): look at GetStatus, too. That is meant so.
//
// Owner: the host. It owns its file stack, its call stack and the static variables, and every frame
// handed to Call. Empty state: idle, no files. Threads: one at a time.
// Codes: 17485, 17487-17490, 17492, 17495 and stream errors from the files; 17490 malformed macro,
// division by zero, a text beyond 65535 bytes, more than 10000 frames; 17494 input not of the
// expected form; 17496 ended by opcode 40; 17499 already running; 17500 stopped by the host.
class TMX_EXPORT MeMacroEngine : public HbErrorHandler {
 public:
  static constexpr unsigned kMaxFrames = 10000;

  explicit MeMacroEngine(const String& macro_path);
  ~MeMacroEngine() override;
  MeMacroEngine(const MeMacroEngine&) = delete;
  MeMacroEngine& operator=(const MeMacroEngine&) = delete;

  // Aborts the run, if there is one: every frame is popped and the status becomes 17500. May be
  // called from the observer and other callbacks. The argument is not looked at.
  virtual void Stop(bool force);

 protected:
  // Called when the outermost frame has been popped.
  virtual void OnFinished();
  // The text of a code, by default its number in decimal.
  virtual void GetErrorText(unsigned short code, String& text);
  // Executes one command. A derived engine handles its own numbers and passes all others on.
  virtual void Dispatch(unsigned short opcode, unsigned short count);

 public:
  // Runs a subroutine in the frame, which the engine takes, unless the frame is on a call stack:
  // that is 17499, as is a call while the engine runs.
  bool Call(HbStackFrame* frame, HbError& err);
  // Goes on with a run that the observer paused. True when the run ended or paused again without
  // an error; the error goes to `err`, which may be null. Out of a callback it is refused like
  // Call.
  bool Continue(HbError* err);

  bool PushFile(const String& name, HbError& err);
  bool PopFile(bool force);
  void ClearFiles(bool force);
  // A frame for a subroutine, owned by the caller until it is handed to Call. Null with 17492 and
  // the reason as its previous error when it cannot be loaded.
  HbStackFrame* LoadSub(const String& name, HbError& err);
  const String& GetMacroPath() const { return macro_path_; }
  HbMacroFileStack& GetFileStack() { return file_stack_; }

  void SetObserver(MeMacroObserver* observer) { observer_ = observer; }
  MeMacroObserver* GetObserver() const { return observer_; }

  // Of the last or the present run.
  const String& GetOutput() const { return output_; }
  const String& GetInput() const { return input_; }
  unsigned long GetInputPos() const { return input_pos_; }
  bool GetCondition() const { return condition_; }
  const HbError& GetLastCmdError() const { return last_cmd_error_; }
  // The number of commands dispatched since Call.
  std::uint64_t GetStepCount() const { return steps_; }
  // Null when no macro runs.
  HbCallStack* GetCallStack() const { return call_stack_.get(); }
  // The static variables by their keys; null before the first declaration.
  HbVariables* GetStatics() const { return static_variables_.get(); }

 protected:
  // A derived engine whose Dispatch keeps every opcode of the table as it is may let the engine
  // run decoded code; without it each command goes through Dispatch.
  void EnableDecodedDispatch() { decoded_allowed_ = true; }

  HbStackFrame* GetCurFrame() const { return cur_frame_; }
  void SetCurFrame(HbStackFrame* frame);
  void PushFrame(HbStackFrame* frame);
  void PushHolder(HbVariableHolder* holder);

  unsigned short ReadOpCode();
  // Raw operands. A failed read moves the bytecode's error into the status.
  unsigned short ReadByte();
  bool ReadBool();
  char ReadChar();
  short ReadInt();
  unsigned short ReadUInt();
  long ReadLong();
  HbDate ReadDate();
  const String& ReadAmount();
  const String& ReadString();
  // Tagged operands: a variable or a literal. The texts are valid until the next such read.
  const String& ReadStringAttrib();
  short ReadIntAttrib();
  long ReadLongAttrib();
  const String& ReadAmountAttrib();
  HbDate ReadDateAttrib();
  bool ReadBoolAttrib();
  char ReadCharAttrib();
  const String& ReadAttribAsString();
  // A variable; null after an error.
  HbVariable* ReadVariable(unsigned short type);
  HbStringVariable* ReadStringVariable();
  HbDateVariable* ReadDateVariable();
  HbStringVariable* ReadAmountVariable();
  HbIntVariable* ReadIntVariable();
  HbLongVariable* ReadLongVariable();

  // The variable of a holder of the current frame, made if need be. Null after setting 17490.
  HbVariable* GetVariable(short id, unsigned short type);
  // Null when there is none, or one of another type.
  HbVariable* GetVariable(short id, unsigned short type, bool create);
  bool IsNull(short id);
  // Reads an untagged literal of the variable's type into it.
  void PresetVariable(HbVariable* variable);

  void SetMacroStatus(unsigned short code);
  void SetLastCmdError(unsigned short code);
  void SetLastCmdError(HbError& error) { last_cmd_error_ = error; }

  // Digits at the cursor with the blanks before them, at most `max` characters; 17494 for none.
  unsigned short GetNumDigits(unsigned short max);
  // Whether only blanks stand at the cursor up to `max` characters or the end of the input.
  bool OnlyBlanks(unsigned short max) const;
  void NotifyVariablesChanged() {
    if (observer_ != nullptr) observer_->OnVariablesChanged();
  }

  // Derived engines clear it to leave the run loop after the present command.
  bool running_ = false;

 private:
  friend class tmx::ByteOperands;
  friend class tmx::DecodedOperands;

  bool HasStatus() const { return GetStatus().IsSet(); }
  String Position() const;
  bool EndUnwound(HbError* err) const;
  void DispatchGuarded(unsigned short opcode);
  bool MayRunDecoded() const;
  // The class whose Dispatch and DispatchDecoded agree: only objects of exactly this class run
  // decoded code without being asked to.
  virtual const std::type_info& DecodingType() const;
  // As Dispatch, for decoded operands of a command that this engine does not know. False, and
  // nothing changed, to have the command read byte by byte.
  virtual bool DispatchDecoded(unsigned short opcode, unsigned short count,
                               tmx::DecodedOperands& operands);
  // Executes decoded commands until one must be read byte by byte or the run needs attention.
  void RunDecoded();
  void LeaveDecoded(HbStackFrame& frame, std::uint16_t pc, std::uint64_t steps);
  bool RunDecodedCommand(HbStackFrame& frame, const tmx::DecodedInstruction& instruction);
  bool DeclareDecoded(HbStackFrame& frame, const tmx::DecodedInstruction& instruction);
  bool Borrow(tmx::HolderList caller, const tmx::CallSite& site, HbVariableHolder** borrowed) const;
  HbStackFrame* CallDecoded(HbStackFrame& caller, tmx::CallSite& site, std::uint16_t return_to);
  bool ResolveCall(tmx::CallSite& site);
  bool PassDecoded(tmx::HolderList caller, const tmx::CallSite& site, HbStackFrame& callee);
  bool PassReferences(tmx::HolderList caller, const std::int16_t* ids, std::size_t count,
                      HbStackFrame& callee);
  void PopFrame();
  void InternalCmdCall(const String& name, int count);
  void PassArgument(HbStackFrame& callee);
  void DeclareHolder(unsigned short type, short id, unsigned short holder_class);
  // The variable of a holder that has none yet, made if need be. Null, and nothing changed, where
  // that is not all there is to do.
  HbVariable* MakeVariable(short id, const HbVariableHolder& holder, unsigned short type);
  bool ResolveInRegistry(HbVariableHolder& holder, unsigned short storage, bool create);
  // False for a variable that cannot be converted to a text.
  static bool TextOf(const HbVariable& variable, String& text);
  void TakeSecret(HbVariableHolder& holder);
  void ReadPreset(HbVariable& variable);
  template <typename Value>
  Value ReadRaw(Value (HbByteCode::*read)(HbError&));
  bool ReadTag(int literal_type, unsigned short holder_type, HbVariable*& variable);
  template <class Variable, typename Value>
  Value ReadTagged(tmx::TypeCode type, Value (MeMacroEngine::*read_literal)());
  // Appends a value to the output, laid out in a field; 17490 when the output would be too long.
  void AppendField(std::string_view value, const tmx::FieldLayout& layout);
  void AppendNumber(std::int32_t value, const tmx::FieldLayout& layout);
  // The input from the cursor on; empty when the cursor stands behind the end.
  std::string_view InputFromCursor() const {
    const std::string_view input = input_.View();
    return input_pos_ < input.size() ? input.substr(input_pos_) : std::string_view();
  }
  // Moves the cursor behind the characters at it that are this one.
  void EatLeading(char character) {
    const std::string_view rest = InputFromCursor();
    std::uint32_t skipped = 0;
    while (skipped < rest.size() && rest[skipped] == character) ++skipped;
    input_pos_ += skipped;
  }
  // What a text command takes: up to `length` characters, none from `stop` on.
  std::string_view FieldAtCursor(std::uint16_t length, const char* stop) const;
  unsigned short LeftUpTo(std::uint64_t limit) const;
  unsigned short TakeDatePart(std::string_view& rest, std::size_t width);
  bool TakeDate(std::string_view format, HbDate& date);
  bool IsBlank(std::string_view format) const;
  bool TakeAmount(std::string_view format, std::uint64_t limit, unsigned short decimals,
                  HbAmount& amount);
  bool TakeIntegerPart(std::uint64_t limit, unsigned short decimals, HbAmount& amount);
  bool TakeFraction(std::uint64_t limit, unsigned short decimals, HbAmount& amount);
  void MoveCursorToHit(std::uint32_t hit, short mode);
  void LocateHit(std::uint32_t hit, HbIntVariable& column, HbIntVariable& line) const;

  template <class Variable, class Value>
  void Store(HbVariable* target, const Value& value);
  template <class Operands>
  void OpOnTexts(Operands& in, HbVariable* target, const tmx::OpTypes& types);
  template <class Operands>
  void OpOnDates(Operands& in, HbVariable* target, char op, const tmx::OpTypes& types);
  template <class Operands>
  void OpOnNumbers(Operands& in, HbVariable* target, char op, const tmx::OpTypes& types);
  template <class Operands>
  void OpOnAmounts(Operands& in, HbVariable* target, char op, const tmx::OpTypes& types);
  template <class Operands, typename Part>
  void GetDatePart(Operands& in, Part part);
  template <class Operands, typename Part>
  void SetDatePart(Operands& in, Part part);

  // Each command of the table, reading its operands from the bytes or from decoded code.
#define TMX_DECLARE_COMMAND(number, command, ...) \
  template <class Operands>                       \
  void command(Operands& in, int count);
  TMX_BASE_OPCODES(TMX_DECLARE_COMMAND)
#undef TMX_DECLARE_COMMAND

  HbStackFrame* cur_frame_ = nullptr;
  std::unique_ptr<HbVariables> static_variables_;
  String macro_path_;
  HbMacroFileStack file_stack_;
  std::unique_ptr<HbCallStack> call_stack_;
  String input_;
  std::uint32_t input_pos_ = 0;
  String output_;
  String attrib_scratch_;
  bool condition_ = false;
  HbError last_cmd_error_;
  HbError read_error_;
  HbError spare_error_;  // where there is no memory to make one, so that a run always ends
  MeMacroObserver* observer_ = nullptr;
  bool resume_pending_ = false;
  bool in_run_ = false;
  bool stopped_ = false;
  bool decoded_allowed_ = false;
  std::uint64_t steps_ = 0;
};
