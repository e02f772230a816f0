// A second macro engine, written to be read rather than to be fast: every operand is read from the
// bytes when it is needed, commands are a plain switch, values lie in simple structs. The real
// engine is held against it on random programs. It shares the calendar and the big integers with
// the library and nothing else.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tests/support/run_outcome.h"
#include "tmxtools/platform/date.h"

namespace tmx {

class ReferenceEngine {
 public:
  // `macro_dir` is the directory of the macro files, for the file names in error texts.
  explicit ReferenceEngine(std::string macro_dir) : macro_dir_(std::move(macro_dir)) {}

  // Puts a file on top of those in which subroutines are looked up; "general" must be pushed first.
  void PushFile(const MacroImage& image) { files_.push_back({image}); }

  // Loads a subroutine and runs it to its end. `parameters` are variables of the host.
  // `max_fetches` ends a run that would go on for ever; HitLimit tells.
  RunOutcome Run(const std::string& sub, const std::vector<HostParam>& parameters = {},
                 const ObserverPlan& plan = {}, std::uint64_t max_fetches = ~std::uint64_t{0});
  bool HitLimit() const { return hit_limit_; }
  // Instructions fetched by the last run; at least as many as were dispatched.
  std::uint64_t Fetches() const { return fetches_; }

 private:
  struct Variable {
    unsigned type = 0;
    bool null = true;
    std::string text;         // string
    std::uint32_t date = 0;   // date, as YYYYMMDD
    std::int32_t number = 0;  // int, long, bool
  };
  using VariablePtr = std::shared_ptr<Variable>;
  struct Holder {
    unsigned type = 0;
    VariablePtr variable;
    std::optional<std::uint32_t> static_key;
  };
  struct Frame {
    std::string sub;
    std::string file_name;
    std::string bytes;
    std::uint16_t pc = 0;
    std::vector<Holder> holders;
    unsigned line = 0;
  };
  using FramePtr = std::unique_ptr<Frame>;
  struct File {
    MacroImage image;
    bool code_checked = false;
  };
  // The layout of a written value.
  struct Field {
    std::optional<unsigned> width;
    std::optional<char> fill;
    bool right = false;
  };

  // Files and frames.
  FramePtr LoadSub(const std::string& sub, ErrorChain& error);
  bool LoadFrom(File& file, const std::string& sub, FramePtr& frame, ErrorChain& error);
  void CacheSub(FramePtr frame);
  std::string PathOf(const File& file, const char* extension) const;

  // The run.
  bool Call(FramePtr frame, ErrorChain& error);
  bool Continue(ErrorChain* error);
  void Stop();
  unsigned ReadOpCode();
  void Dispatch(unsigned opcode, unsigned count);
  void RunCommand(unsigned opcode, unsigned count);
  void PushFrame(FramePtr frame);
  void PopFrame();
  bool CheckCount(unsigned count, unsigned least, unsigned most);

  // Errors.
  bool Failed() const { return !status_.empty(); }
  ErrorLink ErrorHere(unsigned code) const;
  void SetMacroStatus(unsigned code) { status_ = {ErrorHere(code)}; }
  void SetLastCmdError(unsigned code) { last_cmd_error_ = {ErrorHere(code)}; }

  // Observer.
  void Notify(ObserverEvent::Kind kind, unsigned opcode = 0);
  void VariablesChanged() { Notify(ObserverEvent::kVariablesChanged); }

  // Raw operands of the current frame.
  bool Has(unsigned size);
  unsigned Peek(unsigned offset) const;
  unsigned ReadByte();
  bool ReadBool();
  int ReadInt();
  unsigned ReadUInt() { return static_cast<unsigned>(ReadInt()) & 0xFFFF; }
  std::int32_t ReadLong();
  Date ReadDate();
  std::string ReadString();

  // Tagged operands.
  int ReadTag();
  void WrongTag(int tag);
  std::string ReadStringAttrib();
  std::string ReadAmountAttrib();
  int ReadIntAttrib();
  std::int32_t ReadLongAttrib();
  Date ReadDateAttrib();
  bool ReadBoolAttrib();
  char ReadCharAttrib();
  std::string ReadAttribAsString();
  Variable* ReadVariable(unsigned type);
  template <class Value, class FromVariable, class FromBytes>
  Value ReadAttrib(unsigned type, FromVariable from_variable, FromBytes from_bytes);

  // Variables.
  Holder* GetHolder(int id);
  Variable* GetVariable(int id, unsigned type);
  Variable* GetVariable(int id, unsigned type, bool create);
  static VariablePtr Create(unsigned type);
  void Preset(Variable& variable);
  void SetText(Variable* variable, std::string text);
  void SetDate(Variable* variable, Date date);
  void SetNumber(Variable* variable, std::int64_t number);
  VariableState StateOf(const Variable& variable) const;

  // Commands.
  void CmdHolder(unsigned opcode, unsigned count);
  void CmdHolderStatic();
  void CmdIfGoto();
  void InternalCmdCall(const std::string& name, unsigned count);
  void CmdVariableName();
  void CmdWriteString(unsigned count);
  void CmdWriteNumber(unsigned opcode, unsigned count);
  void CmdWriteDate(unsigned count);
  void CmdWriteAmount(unsigned count);
  void CmdReadText(bool append, unsigned count);
  void CmdReadInt(unsigned count);
  void CmdReadLong(unsigned count);
  void CmdReadDate();
  void CmdReadAmount(unsigned count);
  void CmdSearch(unsigned count);
  void CmdCompare();
  void CmdSet();
  void CmdOp();
  void OpString(char op, Variable* target);
  void OpDate(char op, Variable* target);
  void OpNumber(unsigned type, char op, Variable* target);
  void OpDateDifference(Variable* target);
  void OpAmount(char op, Variable* target);
  void CmdSubString();
  void CmdReplaceChars(unsigned count);
  void CmdEatLeadingChars(unsigned count);
  void CmdEraseTrailingChars(unsigned count);
  void CmdGetDatePart(unsigned opcode);
  void CmdSetDatePart(unsigned opcode);

  void SkipLiteral(int tag);
  void ReadLayout(Field& field, bool width, bool fill, bool right);
  void Write(std::string text, const Field& field);
  char InputAt(std::uint64_t position) const;
  unsigned GetNumDigits(std::uint64_t max);
  bool OnlyBlanks(std::uint64_t max) const;
  bool WalkDate(const std::string& format, Date& date);

  std::string macro_dir_;
  std::vector<File> files_;
  std::vector<FramePtr> kept_frames_;  // at most ten; a slot may be empty
  std::size_t next_kept_ = 0;
  std::vector<FramePtr> frames_;
  std::map<std::uint32_t, VariablePtr> statics_;

  ErrorChain status_;
  ErrorChain last_cmd_error_;
  std::string input_;
  std::uint32_t input_pos_ = 0;
  std::string output_;
  bool condition_ = false;
  bool resume_pending_ = false;

  ObserverPlan plan_;
  std::vector<ObserverEvent> events_;
  std::uint64_t breaks_ = 0;
  std::uint64_t steps_ = 0;
  std::uint64_t fetches_ = 0;
  std::uint64_t max_fetches_ = 0;
  bool hit_limit_ = false;
};

}  // namespace tmx
