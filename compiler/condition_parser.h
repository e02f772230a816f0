// Commands with their operands, and the conditions that are made of them.
#pragma once

#include <memory>

#include "compiler/operand_parser.h"
#include "tmxtools/macro/opcode_table.h"

namespace tmx::compiler {

using ConditionPtr = std::unique_ptr<Condition>;

class ConditionParser : protected OperandParser {
 public:
  using OperandParser::OperandParser;

 protected:
  // Counts the parser's own recursion, which a source must not drive without end.
  class Deeper {
   public:
    explicit Deeper(ConditionParser& parser);
    ~Deeper() { --depth_; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;

   private:
    int& depth_;
  };

  // Count and operands behind a command's name.
  Statement ParseCommandHead(const Opcode& opcode, Position at);
  ConditionPtr ParseCondition();

 private:
  void ParseCallOperands(Statement& statement);
  ConditionPtr ParseAnd();
  ConditionPtr ParseNot();
  ConditionPtr ParseTest();
  ConditionPtr ParseComparison();

  int depth_ = 0;
};

}  // namespace tmx::compiler
