#include "compiler/abstract_step.h"

#include <algorithm>

#include "compiler/commands.h"
#include "compiler/keywords.h"
#include "compiler/operand_rules.h"

namespace tmx::compiler {
namespace {

// The types that have an assignment and a comparison.
bool IsValueType(TypeCode type) { return CanBePushed(type); }

bool Compares(TypeCode type, char op) {
  return op == '=' || (type != TypeCode::kBool && (op == '<' || op == '>'));
}

class Executor {
 public:
  Executor(std::string_view code, std::size_t pc, const FrameTypes& frame, EngineKind engine)
      : engine_(engine), reader_(code, pc) {
    step_.frame = frame;
  }

  Step Run() {
    std::uint32_t number = 0;
    if (Fetch(number)) Execute(number);
    if (!step_.faults.empty()) {
      step_.next.clear();
      step_.call.reset();
    }
    return std::move(step_);
  }

 private:
  // ---- errors --------------------------------------------------------------------------------
  void Fault(std::string text) { step_.faults.push_back({reader_.Pc(), std::move(text)}); }

  bool Raw(int size, std::uint32_t& value) {
    value = 0;
    if (reader_.Read(size, value)) return true;
    step_.faults.push_back({std::nullopt, "the subroutine ends inside an instruction"});
    return false;
  }

  bool Text() {
    if (reader_.ReadText(text_)) return true;
    text_ = {};
    step_.faults.push_back({std::nullopt, "a text does not end before the subroutine does"});
    return false;
  }

  // ---- fetch ---------------------------------------------------------------------------------
  bool Fetch(std::uint32_t& opcode) {
    for (;;) {
      step_.offset = reader_.Pc();
      step_.units.push_back(step_.offset);
      if (reader_.AtEnd()) {
        step_.faults.push_back({std::nullopt, "runs past the end of the subroutine"});
        return false;
      }
      if (!Raw(1, opcode)) return false;
      if (opcode == kFillerByte) continue;
      const Opcode* row = FindOpcode(static_cast<int>(opcode));
      if (row == nullptr || row->counted != Counted::kFetch) return true;
      std::uint32_t ignored = 0;
      if (!Raw(1, ignored) || !Raw(2, ignored)) return false;
    }
  }

  // The engine dispatches even when the count byte is missing; the count is 0 then.
  void Execute(std::uint32_t number) {
    std::uint32_t count = 0;
    Raw(1, count);
    step_.opcode = FindOpcode(static_cast<int>(number));
    if (step_.opcode == nullptr ||
        (step_.opcode->engine == EngineKind::kBanking && engine_ == EngineKind::kGeneric))
      return Fault("unknown opcode " + std::to_string(number));
    if (!step_.opcode->Accepts(static_cast<int>(count)))
      return Fault(std::string(step_.opcode->mnemonic) + " does not accept the count " +
                   std::to_string(count));
    count_ = static_cast<int>(count);
    ReadOperands();
    step_.end = reader_.Pc();
    Finish();
  }

  void ReadOperands() {
    const int operands = OperandsAt(*step_.opcode, count_);
    for (int i = 0; i < operands && !stop_; ++i) {
      ReadOperand(ShapeOf(*step_.opcode, i));
      if (i == 0 && !tagged_variable_) callee_ = std::string(text_);
    }
  }

  void ReadOperand(const Operand& shape) {
    std::uint32_t number = 0;
    switch (shape.kind) {
      case OperandKind::kRawType:
        Raw(1, number);
        type_ = static_cast<TypeCode>(number);
        return;
      case OperandKind::kRawOperator:
        Raw(1, number);
        op_ = static_cast<char>(number);
        return;
      case OperandKind::kRawBool:
        if (Raw(1, number) && number > 1)
          step_.warnings.push_back("a bool of " + std::to_string(number) + " reads as false");
        return;
      case OperandKind::kRawTarget:
        if (Raw(2, number)) target_ = number;
        return;
      case OperandKind::kRawLine:
      case OperandKind::kRawNumber:
        Raw(2, number);
        return;
      case OperandKind::kRawKey:
        Raw(4, key_);
        return;
      case OperandKind::kRawId:
      case OperandKind::kNewId:
        Raw(2, id_);
        if (shape.kind == OperandKind::kNewId && !step_.opcode->HasKey()) Declare();
        return;
      case OperandKind::kRawString:
        Text();
        return;
      case OperandKind::kDefault:
        return ReadDefault();
      case OperandKind::kArguments:
        return ReadArgument();
      case OperandKind::kOpLeft:
        LookAhead();
        if (!stop_) ReadTagged(shape, op_types_.left);
        return;
      case OperandKind::kOpRight:
        return ReadTagged(shape, op_types_.right);
      default:
        return ReadTagged(shape, shape.type == TypeCode::kTypeOfInstruction ? type_ : shape.type);
    }
  }

  // ---- declarations --------------------------------------------------------------------------
  // Once all raw operands are read; the key of a static or field stands behind its id.
  void Declare() {
    if (!step_.faults.empty()) {
      stop_ = true;
      return;
    }
    HolderType* holder = step_.frame.Find(id_);
    if (holder == nullptr || !KeepsHolder(*step_.opcode)) {
      // Whether a variable is there makes a difference for statics, which share it, and for types
      // that have none. All others count as having one, which keeps the frames few.
      const bool as_good_as_there =
          CanBeStored(type_) && !Is(*step_.opcode, Command::CmdHolderStatic);
      step_.frame.Append({type_, as_good_as_there, false, 0});
      if (id_ != step_.frame.LastId())
        Fault("declares $" + std::to_string(id_) + " where $" +
              std::to_string(step_.frame.LastId()) + " is next");
      holder = step_.frame.Find(id_);
    }
    if (!Is(*step_.opcode, Command::CmdHolderStatic) || holder == nullptr) return;
    holder->is_static = true;
    holder->key = key_;
  }

  // The default is read with the type of the variable that is there, whatever is declared.
  void ReadDefault() {
    if (!UseVariable(id_, TypeCode::kNone) || !step_.faults.empty()) return;
    const TypeCode type = StorageOf(step_.frame.Find(id_)->type);
    if (type != TypeCode::kChar) ReadLiteral(type);
  }

  // ---- tagged operands -----------------------------------------------------------------------
  void ReadLiteral(TypeCode type) {
    std::uint32_t ignored = 0;
    if (IsText(type))
      Text();
    else if (LiteralSize(type) > 0)
      Raw(LiteralSize(type), ignored);
  }

  // False if the tag is not there. Tags are signed.
  bool ReadTag(std::uint32_t& tag, bool& is_variable) {
    if (!Raw(2, tag)) return false;
    is_variable = tagged_variable_ = tag >= kFirstVariableTag && tag <= 0x7FFF;
    return true;
  }

  // What the engine does to find the variable of a holder, made if need be.
  bool UseVariable(std::uint32_t id, TypeCode type) {
    HolderType* holder = step_.frame.Find(id);
    const std::string name = "$" + std::to_string(id);
    if (holder == nullptr) return Fault("no holder " + name), false;
    if (type != TypeCode::kNone && type != holder->type)
      return Fault(name + " is of type " + NameOfType(holder->type) + ", not " + NameOfType(type)),
             false;
    if (holder->has_variable) return true;
    if (!CanBeStored(holder->type))
      return Fault(name + " has the type " + NameOfType(holder->type) + ", which has no variables"),
             false;
    if (holder->is_static)
      step_.statics.push_back({holder->key, StorageOf(holder->type), reader_.Pc()});
    holder->has_variable = true;
    return true;
  }

  bool IsTextVariable(std::uint32_t id) {
    return StorageOf(step_.frame.Find(id)->type) == TypeCode::kString;
  }

  void ReadTagged(const Operand& shape, TypeCode wanted) {
    const bool of_instruction =
        shape.type == TypeCode::kTypeOfInstruction && shape.kind == OperandKind::kAttribute;
    if (of_instruction && !IsValueType(wanted)) {
      stop_ = true;
      return Fault("no values of type " + NameOfType(wanted) + " can be used here");
    }
    std::uint32_t tag = 0;
    bool is_variable = false;
    if (!ReadTag(tag, is_variable)) return;
    if (!is_variable)
      return ReadTaggedLiteral(shape, wanted, static_cast<TypeCode>(tag & 0xFF), tag);
    if (wanted == TypeCode::kChar) return Fault("a character must be a literal");
    if (TakesAnyText(shape)) {
      if (UseVariable(tag, TypeCode::kNone) && !HasTextForm(step_.frame.Find(tag)->type))
        Fault("$" + std::to_string(tag) + " has no text form");
      return;
    }
    const bool any_text = wanted == TypeCode::kString && shape.kind != OperandKind::kVariable;
    if (UseVariable(tag, any_text ? TypeCode::kNone : wanted) && any_text && !IsTextVariable(tag))
      Fault("$" + std::to_string(tag) + " of type " + NameOfType(step_.frame.Find(tag)->type) +
            " holds no text");
  }

  void ReadTaggedLiteral(const Operand& shape, TypeCode wanted, TypeCode type, std::uint32_t tag) {
    if (shape.kind == OperandKind::kVariable)
      return Fault("a variable is expected, not the tag " + std::to_string(tag));
    const bool known = tag < kFirstVariableTag;
    const bool good = known && (TakesAnyText(shape) ? HasTextForm(type) : type == wanted);
    if (!good)
      return Fault("the tag " + std::to_string(tag) + " is no " +
                   (wanted == TypeCode::kNone ? "value with a text form" : NameOfType(wanted)));
    ReadLiteral(type);
  }

  // The second operand's type rules an operation, and is looked up before the first is read.
  void LookAhead() {
    const std::size_t begin = reader_.Pc();
    std::uint32_t tag = 0;
    bool is_variable = false;
    if (ReadTag(tag, is_variable) && !is_variable && tag < kFirstVariableTag)
      ReadLiteral(static_cast<TypeCode>(tag));
    if (!ReadTag(tag, is_variable)) tag = 0;
    TypeCode right = tag < kFirstVariableTag ? static_cast<TypeCode>(tag) : TypeCode::kNone;
    if (is_variable) {
      const HolderType* holder = step_.frame.Find(tag);
      if (holder == nullptr) {
        stop_ = true;
        return Fault("no holder $" + std::to_string(tag));
      }
      right = holder->type;
    }
    reader_.SetPc(begin);
    op_types_ = OpOperandTypes(type_, op_, right);
    if (op_types_.left != TypeCode::kNone) return;
    stop_ = true;
    Fault("no operations of type " + NameOfType(type_));
  }

  // ---- calls ---------------------------------------------------------------------------------
  void ReadArgument() {
    if (!step_.faults.empty()) {
      stop_ = true;
      return;
    }
    const std::size_t begin = reader_.Pc();
    std::uint32_t tag = 0;
    bool is_variable = false;
    if (!ReadTag(tag, is_variable)) return;
    if (is_variable) {
      if (step_.frame.Find(tag) == nullptr) return Fault("no holder $" + std::to_string(tag));
      const TypeCode type = step_.frame.Find(tag)->type;
      if (UseVariable(tag, type)) parameters_.push_back({type, true, false, 0});
      return;
    }
    const auto type = static_cast<TypeCode>(tag < kFirstVariableTag ? tag : 0);
    if (!CanBePushed(type)) {
      reader_.SetPc(begin);  // stays unread and is executed after the call
      step_.warnings.push_back("the tag " + std::to_string(tag) + " passes nothing");
      return;
    }
    ReadLiteral(type);
    // An amount arrives as its text.
    parameters_.push_back({StorageOf(type), true, false, 0});
  }

  // ---- effects -------------------------------------------------------------------------------
  void Finish() {
    const Opcode& opcode = *step_.opcode;
    if (opcode.HasKey() && step_.faults.empty()) Declare();
    if (Is(opcode, Command::CmdCompare) && !stop_ && !Compares(type_, op_))
      Fault(std::string("no comparison '") + op_ + "' of type " + NameOfType(type_));
    if (Is(opcode, Command::CmdOp) && !stop_ && !op_types_.supported)
      Fault(std::string("no operation '") + op_ + "' of type " + NameOfType(type_));
    CheckHolder();
    if (Is(opcode, Command::CmdIsNull)) MayFindStatic();
    if (Is(opcode, Command::CmdReadAmount))
      step_.warnings.push_back("reads -12,50 as -11,50: the fraction is added");
    if (!step_.faults.empty()) return;
    if (opcode.counted == Counted::kCall) MakeCall();
    GoOn();
  }

  // What the commands that name a holder by its raw id ask of it.
  void CheckHolder() {
    const bool names = Is(*step_.opcode, Command::CmdVariableName);
    const bool needs = Is(*step_.opcode, Command::CmdNeeds);
    const bool moves = Is(*step_.opcode, Command::CmdFirstDEG) ||
                       Is(*step_.opcode, Command::CmdNextDEG) ||
                       Is(*step_.opcode, Command::CmdGotoDEG);
    if ((!names && !needs && !moves) || !step_.faults.empty()) return;
    if (step_.frame.Find(id_) == nullptr) return Fault("no holder $" + std::to_string(id_));
    if (moves && id_ >= step_.frame.LastId())
      Fault("$" + std::to_string(id_) + " is the last holder, which cannot be moved");
  }

  // A test for null looks for a static's variable and does not make one.
  void MayFindStatic() {
    HolderType* holder = step_.frame.Find(id_);
    if (holder == nullptr || !holder->is_static || holder->has_variable) return;
    step_.also = step_.frame;
    step_.also->Find(id_)->has_variable = true;
  }

  void MakeCall() { step_.call = CallMade{std::move(callee_), std::move(parameters_)}; }

  void GoOn() {
    const Opcode& opcode = *step_.opcode;
    if (Is(opcode, Command::CmdExit) || Is(opcode, Command::CmdStop)) return;
    if (!Is(opcode, Command::CmdGoto)) step_.next.push_back(step_.end);
    if (target_) step_.next.push_back(*target_);
  }

  EngineKind engine_;
  CodeReader reader_;
  Step step_;
  int count_ = 0;
  bool stop_ = false;
  TypeCode type_ = TypeCode::kNone;
  char op_ = 0;
  OpTypes op_types_{};
  std::uint32_t id_ = 0;
  std::uint32_t key_ = 0;
  std::optional<std::size_t> target_;
  std::string_view text_;
  bool tagged_variable_ = false;       // what the last tagged operand was
  std::optional<std::string> callee_;  // a first operand that is a text
  std::vector<HolderType> parameters_;
};

}  // namespace

Step ExecuteOnTypes(std::string_view code, std::size_t pc, const FrameTypes& frame,
                    EngineKind engine) {
  return Executor(code, pc, frame, engine).Run();
}

}  // namespace tmx::compiler
