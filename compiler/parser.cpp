#include "compiler/parser.h"

#include <algorithm>
#include <utility>

#include "compiler/code_reader.h"
#include "compiler/commands.h"
#include "compiler/condition_parser.h"
#include "compiler/keywords.h"

namespace tmx::compiler {
namespace {

class Parser : private ConditionParser {
 public:
  using ConditionParser::ConditionParser;

  File Run() {
    File file;
    while (Cur().kind != TokenKind::kEnd) {
      try {
        ParseItem(file);
      } catch (const Mistake&) {
        SkipLine();
      }
    }
    return file;
  }

 private:
  // ---- file ----------------------------------------------------------------------------------
  void ParseItem(File& file) {
    const Token start = Cur();
    if (start.kind == TokenKind::kNewline) return SkipLine();
    Item item;
    item.at = start.at;
    if (TakeWordIf("sub")) {
      item.subroutine = ParseSubroutine();
    } else if (TakeWordIf("verbatim")) {
      file.verbatim = true;
      return EndOfLine();
    } else if (TakeWordIf("magic")) {
      if (Cur().kind != TokenKind::kText) Expected("the first bytes of the code file as a text");
      file.magic = Take().text;
      return EndOfLine();
    } else if (TakeWordIf("entry")) {
      item.kind = Item::Kind::kEntry;
      item.entry = ParseEntry();
    } else if (Cur().IsWord("raw") || Cur().IsWord("index_raw")) {
      item.kind = Take().text == "raw" ? Item::Kind::kRaw : Item::Kind::kIndexRaw;
      item.bytes = ParseBytes();
    } else {
      Expected("'sub'");
    }
    file.items.push_back(std::move(item));
  }

  Entry ParseEntry() {
    Entry entry;
    if (Cur().kind != TokenKind::kText) Expected("the name of an index entry as a text");
    entry.name = Take().text;
    Expect(",");
    entry.offset = Number("an offset", 0xFFFFFFFF);
    Expect(",");
    entry.length = static_cast<int>(Number("a length", 0xFFFF));
    if (TakeIf(",")) entry.reserved = static_cast<int>(Number("a reserved value", 0xFFFF));
    EndOfLine();
    return entry;
  }

  std::string ParseBytes() {
    std::string bytes;
    while (Cur().kind == TokenKind::kNumber || Cur().kind == TokenKind::kText) {
      if (Cur().kind == TokenKind::kText)
        bytes += Take().text;
      else
        bytes += static_cast<char>(Number("a byte", 255));
    }
    EndOfLine();
    return bytes;
  }

  std::string SubroutineName() {
    if (Cur().kind == TokenKind::kText) return Take().text;
    return NewName("the name of a subroutine").text;
  }

  // A mistake in the head still reads the body, so that its 'end' closes it.
  Subroutine ParseSubroutine() {
    Subroutine sub;
    sub.at = Cur().at;
    try {
      ParseHead(sub);
    } catch (const Mistake&) {
      SkipLine();
      sub.listed = !sub.name.empty();
    }
    sub.body = ParseBlock();
    sub.end = Cur().at;
    CloseBlock("sub", sub.at);
    return sub;
  }

  void ParseHead(Subroutine& sub) {
    sub.name = SubroutineName();
    if (TakeIf("(") && !TakeIf(")")) {
      do sub.parameters.push_back(ParseDeclaration(Row(Command::CmdHolderParam)));
      while (TakeIf(","));
      Expect(")");
    }
    while (Cur().kind == TokenKind::kWord) {
      if (TakeWordIf("reserved"))
        sub.reserved = static_cast<int>(Number("a reserved value", 0xFFFF));
      else if (TakeWordIf("unlisted"))
        sub.listed = false;
      else
        Expected("'reserved' or 'unlisted'");
    }
    EndOfLine();
  }

  // ---- statements ----------------------------------------------------------------------------
  bool AtBlockEnd() const {
    return Cur().kind == TokenKind::kEnd || AtWordLine("end") || AtWordLine("else") ||
           AtWordLine("elif") || (Cur().IsWord("sub") && Ahead().kind != TokenKind::kPunctuation);
  }
  bool AtWordLine(const char* word) const { return Cur().IsWord(word) && !Ahead().Is("="); }

  Block ParseBlock(bool in_if = false) {
    const Deeper deeper(*this);
    Block block;
    while (!AtBlockEnd() || (!in_if && (AtWordLine("else") || AtWordLine("elif")))) {
      try {
        if (AtBlockEnd())
          Fail(Cur().at, "'" + Cur().text + "' without 'if'");
        else if (Cur().kind == TokenKind::kNewline)
          SkipLine();
        else
          block.push_back(ParseStatement());
      } catch (const Mistake&) {
        SkipLine();
      }
    }
    return block;
  }

  void CloseBlock(const char* what, Position opened) {
    if (TakeWordIf("end")) return EndOfLine();
    Report(Cur().at, "expected 'end' of the '" + std::string(what) + "' in line " +
                         std::to_string(opened.line));
  }

  Statement ParseStatement() {
    const Token word = Cur();
    if (word.kind != TokenKind::kWord) Expected("a statement");
    if (Ahead().Is("=")) return ParseAssignment();
    if (Ahead().Is(":")) return ParseLabel();
    Skip();
    if (word.text == "if") return ParseIf(word.at);
    if (word.text == "while") return ParseWhile(word.at);
    if (word.text == "loop") return ParseLoop(word.at);
    if (word.text == "break") return Simple(Statement::Kind::kBreak, word.at);
    if (word.text == "continue") return Simple(Statement::Kind::kContinue, word.at);
    if (word.text == "raw") return ParseRaw(word.at);
    if (word.text == "filler") return Filler(word.at);
    if (word.text == "return") return ParseCommand(Row(Command::CmdExit), word.at);
    if (const Opcode* opcode = FindOpcode(word.text.c_str()))
      return IsDeclaration() ? ParseDeclarationLine(*opcode) : ParseCommand(*opcode, word.at);
    Fail(word.at,
         "unknown statement '" + word.text + "'" +
             (Cur().kind == TokenKind::kPunctuation ? "; variables are set by 'name = ...'" : ""));
  }

  Statement Simple(Statement::Kind kind, Position at) {
    Statement statement;
    statement.kind = kind;
    statement.at = at;
    EndOfLine();
    return statement;
  }

  Statement ParseRaw(Position at) {
    Statement statement;
    statement.kind = Statement::Kind::kRaw;
    statement.at = at;
    statement.name = ParseBytes();
    return statement;
  }

  Statement Filler(Position at) {
    Statement statement = Simple(Statement::Kind::kRaw, at);
    statement.name = static_cast<char>(kFillerByte);
    return statement;
  }

  Statement ParseLabel() {
    Statement statement;
    statement.kind = Statement::Kind::kLabel;
    statement.at = Cur().at;
    statement.name = NewName("a label").text;
    Expect(":");
    EndOfLine();
    return statement;
  }

  // A type and then a name: `local string x`. The generic form has a comma there.
  bool IsDeclaration() const {
    return Cur().kind == TokenKind::kWord && TypeNamed(Cur().text) != TypeCode::kNone &&
           (Ahead().kind == TokenKind::kWord || Ahead().kind == TokenKind::kNewline);
  }

  Statement ParseDeclaration(const Opcode& opcode) {
    Statement statement;
    statement.kind = Statement::Kind::kDeclare;
    statement.at = Cur().at;
    statement.opcode = &opcode;
    statement.type = Cur().kind == TokenKind::kWord ? TypeNamed(Cur().text) : TypeCode::kNone;
    if (statement.type == TypeCode::kNone || statement.type == TypeCode::kChar)
      Expected("the type of a variable");
    Skip();
    statement.name_at = Cur().at;
    statement.name = NewName("the name of a variable").text;
    const auto& operands = opcode.operands;
    const auto has = [&](OperandKind kind) {
      return std::any_of(operands.begin(), operands.begin() + opcode.operand_count,
                         [kind](const Operand& operand) { return operand.kind == kind; });
    };
    if (opcode.HasKey()) {
      ParseKey(statement);
    } else if (has(OperandKind::kDefault) && TakeIf("=")) {
      statement.value = ParseTerm();
    }
    return statement;
  }

  // `key 17`, `field 1010`, `field 2830 of "HIPINS" version 1`: each word names its operand.
  void ParseKey(Statement& statement) {
    const Opcode& opcode = *statement.opcode;
    for (int i = 0; i < opcode.operand_count; ++i) {
      const Operand& operand = opcode.operands[static_cast<std::size_t>(i)];
      if (operand.kind != OperandKind::kRawKey && operand.kind != OperandKind::kRawString &&
          operand.kind != OperandKind::kRawNumber)
        continue;
      if (!TakeWordIf(operand.name)) Expected("'" + std::string(operand.name) + "' and its value");
      statement.operands.push_back(ParseTerm());
    }
  }

  Statement ParseDeclarationLine(const Opcode& opcode) {
    Statement statement = ParseDeclaration(opcode);
    EndOfLine();
    return statement;
  }

  Statement ParseAssignment() {
    Statement statement;
    statement.kind = Statement::Kind::kAssign;
    statement.at = statement.name_at = Cur().at;
    statement.name = NewName("a variable").text;
    Expect("=");
    statement.operands.push_back(ParseTerm());
    while (Cur().kind == TokenKind::kPunctuation && Cur().text.size() == 1 &&
           std::string_view("+-*/%").find(Cur().text) != std::string_view::npos) {
      statement.ops += Take().text;
      statement.operands.push_back(ParseTerm());
    }
    EndOfLine();
    return statement;
  }

  Statement ParseCommand(const Opcode& opcode, Position at) {
    Statement statement = ParseCommandHead(opcode, at);
    EndOfLine();
    return statement;
  }

  Statement ParseBlockStatement(Statement::Kind kind, Position at) {
    Statement statement;
    statement.kind = kind;
    statement.at = at;
    return statement;
  }

  Statement ParseIf(Position at) {
    Statement statement = ParseBlockStatement(Statement::Kind::kIf, at);
    ParseBranch(statement, true);
    while (TakeWordIf("elif")) ParseBranch(statement, true);
    if (TakeWordIf("else")) ParseBranch(statement, false);
    CloseBlock("if", at);
    return statement;
  }

  Statement ParseWhile(Position at) {
    Statement statement = ParseBlockStatement(Statement::Kind::kWhile, at);
    ParseBranch(statement, true);
    CloseBlock("while", at);
    return statement;
  }

  Statement ParseLoop(Position at) {
    Statement statement = ParseBlockStatement(Statement::Kind::kLoop, at);
    ParseBranch(statement, false);
    CloseBlock("loop", at);
    return statement;
  }

  // A mistake in the condition still reads the block, so that its 'end' closes it.
  void ParseBranch(Statement& statement, bool has_condition) {
    Branch branch;
    try {
      if (has_condition) branch.condition = ParseCondition();
      EndOfLine();
    } catch (const Mistake&) {
      SkipLine();
    }
    branch.body = ParseBlock(statement.kind == Statement::Kind::kIf);
    statement.branches.push_back(std::move(branch));
  }
};

}  // namespace

File Parse(const Source& source, Diagnostics& diagnostics) {
  return Parser(source, diagnostics).Run();
}

}  // namespace tmx::compiler
