#include "compiler/call_writer.h"

#include <string>

#include "compiler/commands.h"
#include "compiler/keywords.h"
#include "compiler/operand_rules.h"
#include "compiler/terms.h"

namespace tmx::compiler {
namespace {

std::string Plural(std::size_t count, const char* what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

}  // namespace

void CallWriter::Write(const Statement& call) {
  std::vector<Term> operands = call.operands;
  constexpr std::size_t kMostArguments = 254;  // the count is a byte and counts the name too
  if (operands.size() - 1 > kMostArguments)
    return diagnostics_.Error(
        call.at, "a call passes at most 254 arguments, not " + std::to_string(operands.size() - 1));
  const std::vector<TypeCode>* parameters = FindParameters(call);
  if (parameters != nullptr && operands.size() - 1 > parameters->size())
    diagnostics_.Warning(call.at, "'" + operands[0].text + "' takes " +
                                      Plural(parameters->size(), "parameter") +
                                      ", the call passes " + std::to_string(operands.size() - 1));
  std::vector<bool> taken(temporaries_.size(), false);
  for (std::size_t i = 1; i < operands.size(); ++i) {
    const TypeCode wanted =
        parameters != nullptr && i <= parameters->size() ? (*parameters)[i - 1] : TypeCode::kNone;
    Argument(operands[i], wanted, taken);
  }
  writer_.Write(*call.opcode, call.count, operands, call.at);
}

// The parameters of the subroutine that a literal call names, if it is known.
const std::vector<TypeCode>* CallWriter::FindParameters(const Statement& call) {
  const Term& name = call.operands[0];
  const bool literal = call.opcode->operands[0].kind == OperandKind::kRawString
                           ? name.kind == Term::Kind::kName || name.kind == Term::Kind::kText
                           : name.kind == Term::Kind::kText;
  if (!literal || context_.verbatim) return nullptr;
  for (const Signatures* known : {&context_.own, context_.others}) {
    if (known == nullptr) continue;
    if (const auto found = known->find(name.text); found != known->end()) return &found->second;
  }
  if (context_.others != nullptr)
    diagnostics_.Warning(name.at, "no source of this build has a subroutine '" + name.text + "'");
  return nullptr;
}

// A literal amount that is passed as it is arrives as a text, so it takes the way through a
// variable, as copies of variables do.
void CallWriter::Argument(Term& argument, TypeCode wanted, std::vector<bool>& taken) {
  TypeCode type = writer_.TypeOf(argument, wanted);
  if (wanted != TypeCode::kNone && type != TypeCode::kNone && type != wanted)
    return diagnostics_.Error(argument.at, "the parameter is of type " + NameOfType(wanted) +
                                               ", found " + Describe(argument) + " of type " +
                                               NameOfType(type));
  if (argument.IsLiteral() && argument.type == TypeCode::kNone) argument.type = type;
  const bool through_variable =
      argument.by_value ? !argument.IsLiteral() : type == TypeCode::kAmount && argument.IsLiteral();
  if (!through_variable || type == TypeCode::kNone) return;
  if (context_.verbatim) {
    if (argument.by_value)
      diagnostics_.Error(argument.at, "'value' needs a variable that verbatim sources lack");
    return;
  }
  const Term copy = IdTerm(Temporary(type, taken), argument.at);
  writer_.Write(Row(Command::CmdSet), {}, {TypeTerm(type, argument.at), copy, argument},
                argument.at);
  argument = copy;
}

int CallWriter::Temporary(TypeCode type, std::vector<bool>& taken) {
  for (std::size_t i = 0; i < taken.size(); ++i)
    if (!taken[i] && temporaries_[i] == type) {
      taken[i] = true;
      return first_temporary_ + static_cast<int>(i);
    }
  // The next pass declares it with the others; for this one any holder will do.
  temporaries_.push_back(type);
  taken.push_back(true);
  return scope_.Add(type);
}

}  // namespace tmx::compiler
