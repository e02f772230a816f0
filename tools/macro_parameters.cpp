#include "tools/macro_parameters.h"

#include <charconv>
#include <cstdint>
#include <utility>

#include "compiler/keywords.h"
#include "compiler/operand_rules.h"
#include "demo/day.h"
#include "tmxtools/core/amount.h"
#include "tmxtools/core/date_time.h"
#include "tmxtools/variables/variable_types.h"
#include "tmxtools/variables/variables.h"

namespace tmx::tools {
namespace {

template <typename Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool ParseDate(std::string_view text, HbDate& date) {
  unsigned number = 0;
  if (text.size() != 8 || !ParseNumber(text, number)) return false;
  date = HbDate(static_cast<unsigned long>(number));
  return number == 0 || demo::ParseDay(text).has_value();  // 0 is no date
}

// What --param takes, for messages.
constexpr std::pair<TypeCode, const char*> kTakes[] = {
    {TypeCode::kString, "a string of at most 65535 bytes"},
    {TypeCode::kDate, "a date as YYYYMMDD, or 00000000 for none"},
    {TypeCode::kInt, "an int from -32768 to 32767"},
    {TypeCode::kLong, "a long from -2147483648 to 2147483647"},
    {TypeCode::kBool, "a bool, true or false"},
    {TypeCode::kAmount, "an amount like -1234,56"},
};

}  // namespace

std::string WhyRefused(const std::string& parameter) {
  const std::size_t colon = parameter.find(':');
  if (colon != std::string::npos)
    for (const auto& [type, taken] : kTakes)
      if (type == compiler::TypeNamed(parameter.substr(0, colon)))
        return "'" + parameter.substr(colon + 1) + "' is not " + taken;
  return "'" + parameter + "' is not TYPE:VALUE with TYPE string, date, int, long, bool or amount";
}

Parameters::~Parameters() {
  for (const Parameter& parameter : parameters_) parameter.variable->DecRefCount();
}

bool Parameters::Push(HbStackFrame& frame, const std::string& parameter) {
  const std::size_t colon = parameter.find(':');
  if (colon == std::string::npos) return false;
  const std::string value = parameter.substr(colon + 1);
  switch (compiler::TypeNamed(parameter.substr(0, colon))) {
    case TypeCode::kString:
      return PushText(frame, value);
    case TypeCode::kDate: {
      HbDate date;
      return ParseDate(value, date) && PushNew<HbDateVariable>(frame, TypeCode::kDate, date);
    }
    case TypeCode::kInt: {
      short number = 0;
      return ParseNumber(value, number) && PushNew<HbIntVariable>(frame, TypeCode::kInt, number);
    }
    case TypeCode::kLong: {
      std::int32_t number = 0;
      return ParseNumber(value, number) &&
             PushNew<HbLongVariable>(frame, TypeCode::kLong, long{number});
    }
    case TypeCode::kBool:
      return (value == "true" || value == "false") &&
             PushNew<HbBoolVariable>(frame, TypeCode::kBool, value == "true");
    case TypeCode::kAmount:
      return compiler::IsAmountText(value) && PushAmount(frame, value);
    default:
      return false;
  }
}

bool Parameters::PushText(HbStackFrame& frame, const std::string& text) {
  return text.size() <= String::MaxLen &&
         PushNew<HbStringVariable>(frame, TypeCode::kString, Text(text));
}

template <class Variable, class Value>
bool Parameters::PushNew(HbStackFrame& frame, TypeCode type, const Value& value) {
  HbVariable* const variable = HbVariables::CreateVariable(static_cast<unsigned short>(type));
  static_cast<Variable*>(variable)->Set(value);
  frame.PushParameter(variable);
  parameters_.push_back({type, variable});
  return true;
}

bool Parameters::PushAmount(HbStackFrame& frame, const std::string& text) {
  HbAmount amount;
  amount.SetFromDecimalPointString(Text(text), String());
  frame.PushParam(amount);
  const auto last = static_cast<unsigned short>(frame.GetHolderCount() - 1);
  HbVariable* const variable = frame.GetHolderByPos(last)->GetVariable();
  variable->IncRefCount();
  parameters_.push_back({TypeCode::kAmount, variable});
  return true;
}

}  // namespace tmx::tools
