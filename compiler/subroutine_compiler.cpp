#include "compiler/subroutine_compiler.h"

#include <algorithm>
#include <utility>

#include "compiler/assembler.h"
#include "compiler/call_writer.h"
#include "compiler/commands.h"
#include "compiler/keywords.h"
#include "compiler/macro_image.h"
#include "compiler/operand_rules.h"
#include "compiler/operand_writer.h"
#include "compiler/scope.h"
#include "compiler/terms.h"

namespace tmx::compiler {
namespace {

using Label = Assembler::Label;

class SubroutineCompiler {
 public:
  SubroutineCompiler(const Subroutine& subroutine, const SubroutineContext& context,
                     Diagnostics& diagnostics, Temporaries& temporaries)
      : subroutine_(subroutine),
        context_(context),
        diagnostics_(diagnostics),
        temporaries_(temporaries),
        writer_(context.verbatim, scope_, assembler_, diagnostics),
        calls_(context, scope_, writer_, temporaries, diagnostics) {}

  std::string Run() {
    if (context_.marks)
      writer_.Write(Row(Command::CmdFile), {}, {TextTerm(context_.file_name, subroutine_.at)},
                    subroutine_.at);
    for (const Statement& parameter : subroutine_.parameters) Declare(parameter);
    DeclareTemporaries();
    Compile(subroutine_.body);
    if (!context_.verbatim && !assembler_.Unreachable()) {
      MarkLine(subroutine_.end);
      writer_.Write(Row(Command::CmdExit), {}, {}, subroutine_.end);
    }
    CheckEnd();
    return assembler_.Finish();
  }

 private:
  struct Loop {
    Label again;
    Label out;
    bool left = false;  // by a break
  };

  // ---- statements ----------------------------------------------------------------------------
  void Compile(const Block& block) {
    for (const Statement& statement : block) Compile(statement);
  }

  void Compile(const Statement& statement) {
    switch (statement.kind) {
      case Statement::Kind::kCommand:
        return Command(statement);
      case Statement::Kind::kDeclare:
        return DeclareInBody(statement);
      case Statement::Kind::kAssign:
        return Assign(statement);
      case Statement::Kind::kIf:
        return If(statement);
      case Statement::Kind::kWhile:
        return While(statement);
      case Statement::Kind::kLoop:
        return LoopForever(statement);
      case Statement::Kind::kBreak:
      case Statement::Kind::kContinue:
        return LeaveLoop(statement);
      case Statement::Kind::kLabel:
        return PlaceLabel(statement);
      case Statement::Kind::kRaw:
        return assembler_.Raw(statement.name);
    }
  }

  void MarkLine(Position at) {
    constexpr int kLastLine = 65535;
    if (!context_.marks || at.line == marked_line_ || at.line > kLastLine) return;
    marked_line_ = at.line;
    writer_.Write(Row(Command::CmdLine), {}, {NumberTerm(at.line, at)}, at);
  }

  void Command(const Statement& statement) {
    MarkLine(statement.at);
    if (statement.opcode->counted == Counted::kCall) return calls_.Write(statement);
    writer_.Write(*statement.opcode, statement.count, statement.operands, statement.at);
  }

  void Place(Label label) {
    assembler_.Place(label);
    marked_line_ = 0;  // jumps arrive from other lines
  }

  void Goto(Label label, Position at) {
    assembler_.Begin(Row(Command::CmdGoto), Row(Command::CmdGoto).usual_count, at);
    assembler_.Target(label);
  }

  void IfGoto(Label label, Position at) {
    assembler_.Begin(Row(Command::CmdIfGoto), Row(Command::CmdIfGoto).usual_count, at);
    assembler_.Byte(0);
    assembler_.Target(label);
  }

  // ---- declarations --------------------------------------------------------------------------
  void Declare(const Statement& statement) {
    MarkLine(statement.at);
    const int id = scope_.NextId();
    if (!scope_.AddNamed(statement.name, statement.type, statement.name_at))
      return diagnostics_.Error(statement.name_at,
                                "'" + statement.name + "' is already declared in line " +
                                    std::to_string(scope_.Find(statement.name)->at.line));
    WriteDeclaration(*statement.opcode, statement.type, id, statement.value, statement.at);
    for (std::size_t i = 0; i < statement.operands.size(); ++i)
      writer_.WriteKeyOperand(*statement.opcode, i, statement.operands[i]);
    if (context_.marks)
      writer_.Write(Row(Command::CmdVariableName), {},
                    {IdTerm(id, statement.at), TextTerm(statement.name, statement.at)},
                    statement.at);
  }

  // The holder stands in the scope already.
  void WriteDeclaration(const Opcode& opcode, TypeCode type, int id,
                        const std::optional<Term>& value, Position at) {
    Assembler& out = assembler_;
    const int count = opcode.HasKey() ? opcode.usual_count
                      : value         ? opcode.max_count
                                      : opcode.min_count;
    out.Begin(opcode, count, at);
    out.Byte(static_cast<int>(type));
    out.Number(id, 2);
    if (!value) return;
    if (!value->IsLiteral())
      return diagnostics_.Error(value->at, "a default is a literal, found " + Describe(*value));
    const TypeCode literal_type = LiteralType(*value, type);
    if (literal_type != type)
      return diagnostics_.Error(value->at, "the default must be of type " + NameOfType(type) +
                                               ", found " + Describe(*value));
    const LiteralBytes literal = EncodeLiteral(*value, type, context_.verbatim);
    if (!literal.error.empty()) return diagnostics_.Error(value->at, literal.error);
    out.Data(literal.bytes);
  }

  // A declaration must be met exactly once, and before what follows it.
  void DeclareInBody(const Statement& statement) {
    if (Is(*statement.opcode, Command::CmdHolderParam))
      diagnostics_.Error(statement.at, "parameters stand in parentheses behind the name");
    else if (depth_ > 0)
      diagnostics_.Error(statement.at, "variables are declared outside blocks");
    else if (label_placed_)
      diagnostics_.Error(statement.at, "variables are declared before the first label");
    Declare(statement);
    last_declaration_ = assembler_.Size();
  }

  void DeclareTemporaries() {
    calls_.TemporariesBegin(scope_.NextId());
    for (const TypeCode type : temporaries_)
      WriteDeclaration(Row(Command::CmdHolderLocal), type, scope_.Add(type), std::nullopt,
                       subroutine_.at);
  }

  // ---- assignments ---------------------------------------------------------------------------
  void Assign(const Statement& statement) {
    MarkLine(statement.at);
    Term target;
    target.text = statement.name;
    target.at = statement.name_at;
    const Variable* variable = writer_.Lookup(target);
    if (variable == nullptr) return;
    const TypeCode type = variable->type;
    const std::vector<Term>& from = statement.operands;
    if (statement.ops.empty())
      return writer_.Write(Row(Command::CmdSet), {},
                           {TypeTerm(type, statement.at), target, from[0]}, statement.at);
    Term left = from[0];
    for (std::size_t i = 0; i < statement.ops.size(); ++i) {
      const Term& right = from[i + 1];
      if (i > 0 && right.kind == Term::Kind::kName && right.text == statement.name)
        diagnostics_.Error(right.at, "'" + right.text + "' has changed before it is read here");
      Compute(type, statement.ops[i], target, left, right, statement.at);
      left = target;
    }
  }

  void Compute(TypeCode type, char op, const Term& target, const Term& left, const Term& right,
               Position at) {
    // For long targets the engine tells a difference of dates by an operator of its own.
    if (type == TypeCode::kLong && op == '-' && writer_.TypeOf(right) == TypeCode::kDate) op = '_';
    if (!OpOperandTypes(type, op, writer_.TypeOf(right)).supported)
      return diagnostics_.Error(at, std::string("variables of type ") + NameOfType(type) +
                                        " have no operator '" + op + "'");
    writer_.Write(Row(Command::CmdOp), {},
                  {TypeTerm(type, at), CharacterTerm(op, at), target, left, right}, at);
  }

  // ---- blocks and conditions -----------------------------------------------------------------
  void Body(const Branch& branch) {
    ++depth_;
    Compile(branch.body);
    --depth_;
  }

  void If(const Statement& statement) {
    const Label out = assembler_.NewLabel();
    for (std::size_t i = 0; i < statement.branches.size(); ++i) {
      const Branch& branch = statement.branches[i];
      const Label next = assembler_.NewLabel();
      if (branch.condition != nullptr) {
        const Label then = assembler_.NewLabel();
        Test(*branch.condition, then, next, then);
        Place(then);
      }
      Body(branch);
      if (i + 1 < statement.branches.size() && !assembler_.Unreachable()) Goto(out, statement.at);
      Place(next);
    }
    Place(out);
  }

  void While(const Statement& statement) {
    const Branch& branch = statement.branches[0];
    const Loop loop{assembler_.NewLabel(), assembler_.NewLabel(), false};
    const Label body = assembler_.NewLabel();
    MarkLine(statement.at);
    Goto(loop.again, statement.at);
    Place(body);
    LoopBody(branch, loop);
    Place(loop.again);
    if (branch.condition != nullptr) Test(*branch.condition, body, loop.out, loop.out);
    Place(loop.out);
  }

  void LoopForever(const Statement& statement) {
    const Loop loop{assembler_.NewLabel(), assembler_.NewLabel(), false};
    Place(loop.again);
    const bool left = LoopBody(statement.branches[0], loop);
    MarkLine(statement.at);
    Goto(loop.again, statement.at);
    if (left) Place(loop.out);
  }

  // Tells whether a break leaves the loop.
  bool LoopBody(const Branch& branch, const Loop& loop) {
    loops_.push_back(loop);
    Body(branch);
    const bool left = loops_.back().left;
    loops_.pop_back();
    return left;
  }

  void LeaveLoop(const Statement& statement) {
    MarkLine(statement.at);
    const bool breaks = statement.kind == Statement::Kind::kBreak;
    if (loops_.empty())
      return diagnostics_.Error(statement.at,
                                std::string(breaks ? "'break'" : "'continue'") + " outside a loop");
    Goto(breaks ? loops_.back().out : loops_.back().again, statement.at);
    loops_.back().left = loops_.back().left || breaks;
  }

  // Code that goes on at `yes` if the condition holds and at `no` if not; `next` is the one of
  // the two that will be placed right behind.
  void Test(const Condition& condition, Label yes, Label no, Label next) {
    switch (condition.kind) {
      case Condition::Kind::kNot:
        return Test(*condition.first, no, yes, next);
      case Condition::Kind::kAnd:
      case Condition::Kind::kOr: {
        const Label second = assembler_.NewLabel();
        const bool both = condition.kind == Condition::Kind::kAnd;
        Test(*condition.first, both ? second : yes, both ? no : second, second);
        Place(second);
        return Test(*condition.second, yes, no, next);
      }
      default:
        SetFlag(condition);
        return Branches(condition.at, yes, no, next);
    }
  }

  void SetFlag(const Condition& condition) {
    MarkLine(condition.at);
    if (condition.kind == Condition::Kind::kTest)
      return writer_.Write(*condition.test.opcode, condition.test.count, condition.test.operands,
                           condition.at);
    if (condition.kind == Condition::Kind::kCompare) Compare(condition);
  }

  void Branches(Position at, Label yes, Label no, Label next) {
    IfGoto(yes, at);
    if (no != next) Goto(no, at);
  }

  void Compare(const Condition& condition) {
    const TypeCode type = ComparedType(condition.left, condition.right);
    for (const Term* term : {&condition.left, &condition.right})
      if (term->kind == Term::Kind::kName && writer_.Lookup(*term) == nullptr) return;
    if (type == TypeCode::kBool && condition.relation != '=')
      return diagnostics_.Error(condition.at, "bools compare with = and != only");
    writer_.Write(Row(Command::CmdCompare), {},
                  {TypeTerm(type, condition.at), CharacterTerm(condition.relation, condition.at),
                   condition.left, condition.right},
                  condition.at);
  }

  // A literal takes the type of the variable that it is compared with.
  TypeCode ComparedType(const Term& left, const Term& right) {
    const TypeCode from_right = writer_.TypeOf(right);
    return left.IsLiteral() ? writer_.TypeOf(left, from_right) == from_right || right.IsLiteral()
                                  ? writer_.TypeOf(left, from_right)
                                  : from_right
                            : writer_.TypeOf(left);
  }

  // ---- labels --------------------------------------------------------------------------------
  void PlaceLabel(const Statement& statement) {
    NamedLabel& label = writer_.LabelNamed(statement.name);
    if (assembler_.IsPlaced(label.label))
      return diagnostics_.Error(statement.at, "the label '" + statement.name + "' stands twice");
    if (label.used && label.first_jump < last_declaration_ && !context_.verbatim)
      diagnostics_.Error(label.first_use,
                         "the jump to '" + statement.name + "' leaves out a declaration");
    labels_at_.emplace_back(statement.name, statement.at);
    label_placed_ = label_placed_ || !context_.verbatim;
    Place(label.label);
  }

  void CheckEnd() {
    for (const auto& [name, label] : writer_.Labels())
      if (!assembler_.IsPlaced(label.label))
        diagnostics_.Error(label.first_use, "unknown label '" + name + "'");
    for (const auto& [name, at] : labels_at_)
      if (!writer_.Labels()[name].used)
        diagnostics_.Warning(at, "no jump goes to the label '" + name + "'");
    for (const auto& [name, variable] : scope_.Named())
      if (!variable.used && !IsParameter(variable))
        diagnostics_.Warning(variable.at, "'" + name + "' is never used");
    if (const auto at = assembler_.TextAtEnd())
      diagnostics_.Error(*at, "a text may not be the last thing in a subroutine");
    if (assembler_.Size() > kLongestSubroutine)
      diagnostics_.Error(subroutine_.at, "'" + subroutine_.name + "' has " +
                                             std::to_string(assembler_.Size()) +
                                             " bytes, at most " +
                                             std::to_string(kLongestSubroutine) + " are possible");
    if (assembler_.Size() == 0 && subroutine_.listed)
      diagnostics_.Error(subroutine_.at, "'" + subroutine_.name + "' is empty");
  }

  bool IsParameter(const Variable& variable) const {
    return variable.id < kFirstHolderId + static_cast<int>(subroutine_.parameters.size());
  }

  const Subroutine& subroutine_;
  const SubroutineContext& context_;
  Diagnostics& diagnostics_;
  Temporaries& temporaries_;
  Scope scope_;
  Assembler assembler_;
  OperandWriter writer_;
  CallWriter calls_;
  std::vector<Loop> loops_;
  std::vector<std::pair<std::string, Position>> labels_at_;
  std::size_t last_declaration_ = 0;
  int marked_line_ = 0;
  int depth_ = 0;
  bool label_placed_ = false;
};

}  // namespace

std::string CompileSubroutine(const Subroutine& subroutine, const SubroutineContext& context,
                              Diagnostics& diagnostics) {
  Temporaries temporaries;
  for (;;) {
    Diagnostics found;
    const std::size_t known = temporaries.size();
    std::string code = SubroutineCompiler(subroutine, context, found, temporaries).Run();
    if (temporaries.size() != known && !found.HasErrors()) continue;
    for (const Diagnostic& diagnostic : found.All()) {
      if (diagnostic.severity == Severity::kError)
        diagnostics.Error(diagnostic.at, diagnostic.text);
      else
        diagnostics.Warning(diagnostic.at, diagnostic.text);
    }
    return code;
  }
}

}  // namespace tmx::compiler
