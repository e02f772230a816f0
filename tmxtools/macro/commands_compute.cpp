// The commands that assign, compute and compare, and those that work on texts and dates.

#include <algorithm>

#include "tmxtools/core/amount.h"
#include "tmxtools/macro/operands.h"
#include "tmxtools/platform/upper_case.h"

using tmx::kMalformed;
using tmx::OpTypes;
using tmx::TypeCode;

namespace {

HbAmount AmountOf(const String& text) {
  HbAmount amount;
  amount.SetFromDecimalPointString(text, String());
  return amount;
}

// Arithmetic in 64 bits, of which the target keeps the low ones. False for a division by zero.
bool Compute(char op, std::int64_t a, std::int64_t b, std::int64_t& result) {
  result = 0;
  if ((op == '/' || op == '%') && b == 0) return false;
  switch (op) {
    case '+':
      result = a + b;
      break;
    case '-':
      result = a - b;
      break;
    case '*':
      result = a * b;
      break;
    case '/':
      result = a / b;
      break;
    case '%':
      result = a % b;
      break;
    default:
      return false;
  }
  return true;
}

// -1, 0 or 1.
template <typename Value>
int Order(const Value& a, const Value& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

int OrderWithoutCase(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const auto left = static_cast<unsigned char>(tmx::UpperCase(a[i]));
    const auto right = static_cast<unsigned char>(tmx::UpperCase(b[i]));
    if (left != right) return Order(left, right);
  }
  return Order(a.size(), b.size());
}

}  // namespace

// ---- assignment -------------------------------------------------------------------------------

template <class Variable, class Value>
void MeMacroEngine::Store(HbVariable* target, const Value& value) {
  static_cast<Variable*>(target)->Set(value);
  NotifyVariablesChanged();
}

template <class Operands>
void MeMacroEngine::CmdSet(Operands& in, int) {
  const auto type = static_cast<TypeCode>(in.RawByte());
  HbVariable* const target = in.Variable(type);
  switch (type) {
    case TypeCode::kString: {
      const String& value = in.Text();
      if (in.Ok()) Store<HbStringVariable>(target, value);
      break;
    }
    case TypeCode::kDate: {
      const HbDate value = in.Date();
      if (in.Ok()) Store<HbDateVariable>(target, value);
      break;
    }
    case TypeCode::kInt: {
      const short value = in.Int();
      if (in.Ok()) Store<HbIntVariable>(target, value);
      break;
    }
    case TypeCode::kLong: {
      const long value = in.Long();
      if (in.Ok()) Store<HbLongVariable>(target, value);
      break;
    }
    case TypeCode::kAmount: {
      const String& value = in.Amount();
      if (in.Ok()) Store<HbStringVariable>(target, value);
      break;
    }
    case TypeCode::kBool: {
      const bool value = in.Bool();
      if (in.Ok()) Store<HbBoolVariable>(target, value);
      break;
    }
    default:
      if (!in.GaveUp()) SetMacroStatus(kMalformed);
  }
}
TMX_COMMAND(CmdSet);

// ---- arithmetic -------------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::OpOnTexts(Operands& in, HbVariable* target, const OpTypes& types) {
  const String& a = in.Text();
  const String& b = in.Text();
  if (!in.Ok()) return;
  if (!types.supported) {
    SetMacroStatus(kMalformed);
    return;
  }
  Store<HbStringVariable>(target, a + b);
}

template <class Operands>
void MeMacroEngine::OpOnDates(Operands& in, HbVariable* target, char op, const OpTypes& types) {
  const HbDate date = in.Date();
  const short days = in.Int();
  if (!in.Ok()) return;
  if (!types.supported) SetMacroStatus(kMalformed);
  const HbDate result = !types.supported ? HbDate()
                        : op == '+'      ? HbDate(date + long{days})
                                         : HbDate(date - long{days});
  Store<HbDateVariable>(target, result);
}

// Int and long targets: numbers, or the days between two dates.
template <class Operands>
void MeMacroEngine::OpOnNumbers(Operands& in, HbVariable* target, char op, const OpTypes& types) {
  std::int64_t result = 0;
  if (types.left == TypeCode::kDate) {
    const HbDate a = in.Date();
    const HbDate b = in.Date();
    if (!in.Ok()) return;
    result = a - b;
  } else {
    const bool wide = types.left == TypeCode::kLong;
    const std::int64_t a = wide ? in.Long() : in.Int();
    const std::int64_t b = wide ? in.Long() : in.Int();
    if (!in.Ok()) return;
    if (!types.supported || !Compute(op, a, b, result)) SetMacroStatus(kMalformed);
  }
  if (target->GetType() == static_cast<unsigned short>(TypeCode::kInt)) {
    Store<HbIntVariable>(target, static_cast<short>(result));
  } else {
    Store<HbLongVariable>(target, long{static_cast<std::int32_t>(result)});
  }
}

// The result is stored in every case, even after an error of an operand, which then counts as its
// empty value; without a result A is stored. That is meant so.
template <class Operands>
void MeMacroEngine::OpOnAmounts(Operands& in, HbVariable* target, char op, const OpTypes& types) {
  HbAmount result = AmountOf(in.Amount());
  HbAmount other;
  long factor = 0;
  if (types.right == TypeCode::kLong) {
    factor = in.Long();
  } else {
    other = AmountOf(in.Amount());
  }
  if (in.GaveUp()) return;
  if (cur_frame_ == nullptr) return;
  const bool divides = types.right == TypeCode::kLong && op != '*';
  if (!types.supported || (divides && factor == 0)) {
    SetMacroStatus(kMalformed);
  } else if (op == '+') {
    result += other;
  } else if (op == '-') {
    result -= other;
  } else if (op == '*') {
    result *= BigInt(factor);
  } else if (op == '/') {
    result /= BigInt(factor);
  } else {
    result %= BigInt(factor);
  }
  if (target != nullptr) Store<HbStringVariable>(target, result.GetDecimalPointString());
}

template <class Operands>
void MeMacroEngine::CmdOp(Operands& in, int) {
  const auto type = static_cast<TypeCode>(in.RawByte());
  const char op = in.RawChar();
  HbVariable* const target = in.Variable(type);
  TypeCode type_of_right = TypeCode::kNone;
  if (!in.TypeOfSecond(type_of_right)) return;
  const OpTypes types = tmx::OpOperandTypes(type, op, type_of_right);
  switch (type) {
    case TypeCode::kString:
      return OpOnTexts(in, target, types);
    case TypeCode::kDate:
      return OpOnDates(in, target, op, types);
    case TypeCode::kInt:
    case TypeCode::kLong:
      return OpOnNumbers(in, target, op, types);
    case TypeCode::kAmount:
      return OpOnAmounts(in, target, op, types);
    default:
      if (!in.GaveUp()) SetMacroStatus(kMalformed);
  }
}
TMX_COMMAND(CmdOp);

// ---- comparison -------------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::CmdCompare(Operands& in, int) {
  const auto type = static_cast<TypeCode>(in.RawByte());
  const char op = in.RawChar();
  if (!in.Ok()) return;
  int order = 0;
  bool supported = op == '<' || op == '=' || op == '>';
  switch (type) {
    case TypeCode::kString: {
      const String& a = in.Text();
      const String& b = in.Text();
      if (in.Ok()) order = OrderWithoutCase(a.View(), b.View());
      break;
    }
    case TypeCode::kDate: {
      const HbDate a = in.Date();
      order = Order(a, in.Date());
      break;
    }
    case TypeCode::kInt: {
      const short a = in.Int();
      order = Order(a, in.Int());
      break;
    }
    case TypeCode::kLong: {
      const long a = in.Long();
      order = Order(a, in.Long());
      break;
    }
    case TypeCode::kAmount: {
      const HbAmount a = AmountOf(in.Amount());
      const HbAmount b = AmountOf(in.Amount());
      // A null amount is not equal to 0 although neither is less than the other.
      if (in.Ok() && supported) condition_ = op == '<' ? a < b : op == '=' ? a == b : a > b;
      if (in.Ok() && !supported) SetMacroStatus(kMalformed);
      return;
    }
    case TypeCode::kBool: {
      const bool a = in.Bool();
      order = a == in.Bool() ? 0 : 1;
      supported = op == '=';
      break;
    }
    default:
      supported = false;
  }
  if (!in.Ok()) return;
  if (!supported) {
    SetMacroStatus(kMalformed);
    return;
  }
  condition_ = op == '<' ? order < 0 : op == '=' ? order == 0 : order > 0;
}
TMX_COMMAND(CmdCompare);

template <class Operands>
void MeMacroEngine::CmdIsNull(Operands& in, int) {
  const short id = in.RawId();
  if (in.Ok()) condition_ = IsNull(id);
}
TMX_COMMAND(CmdIsNull);

// ---- texts ------------------------------------------------------------------------------------

template <class Operands>
void MeMacroEngine::CmdSubString(Operands& in, int) {
  HbVariable* const target = in.Variable(TypeCode::kString);
  const String& source = in.Text();
  const auto start = static_cast<std::uint16_t>(in.Int());
  const auto length = static_cast<std::uint16_t>(in.Int());
  if (in.Ok()) Store<HbStringVariable>(target, source.Sub(start, length));
}
TMX_COMMAND(CmdSubString);

template <class Operands>
void MeMacroEngine::CmdStringLen(Operands& in, int) {
  HbVariable* const target = in.Variable(TypeCode::kInt);
  const String& text = in.Text();
  if (in.Ok()) Store<HbIntVariable>(target, static_cast<short>(text.Len()));
}
TMX_COMMAND(CmdStringLen);

template <class Operands>
void MeMacroEngine::CmdReplaceChars(Operands& in, int count) {
  HbVariable* const target = in.Variable(TypeCode::kString);
  const String& set = in.Text();
  const char replacement = count >= 3 ? in.Char() : '\0';
  if (!in.Ok()) return;
  String text = static_cast<HbStringVariable*>(target)->Get();
  if (count >= 3) {
    text.LineEndsToLF().ReplaceSet(set, replacement);
  } else {
    text.RemoveSet(set);
  }
  Store<HbStringVariable>(target, text);
}
TMX_COMMAND(CmdReplaceChars);

template <class Operands>
void MeMacroEngine::CmdEraseTrailingChars(Operands& in, int count) {
  HbVariable* const target = in.Variable(TypeCode::kString);
  const char character = count >= 2 ? in.Char() : ' ';
  if (!in.Ok()) return;
  String text = static_cast<HbStringVariable*>(target)->Get();
  text.TrimRight(character);
  Store<HbStringVariable>(target, text);
}
TMX_COMMAND(CmdEraseTrailingChars);

// ---- dates ------------------------------------------------------------------------------------

template <class Operands, typename Part>
void MeMacroEngine::GetDatePart(Operands& in, Part part) {
  const HbDate date = in.Date();
  HbVariable* const target = in.Variable(TypeCode::kInt);
  if (in.Ok()) Store<HbIntVariable>(target, static_cast<short>((date.*part)()));
}

template <class Operands>
void MeMacroEngine::CmdGetDay(Operands& in, int) {
  GetDatePart(in, &Date::GetDay);
}
TMX_COMMAND(CmdGetDay);

template <class Operands>
void MeMacroEngine::CmdGetMonth(Operands& in, int) {
  GetDatePart(in, &Date::GetMonth);
}
TMX_COMMAND(CmdGetMonth);

template <class Operands>
void MeMacroEngine::CmdGetYear(Operands& in, int) {
  GetDatePart(in, &Date::GetYear);
}
TMX_COMMAND(CmdGetYear);

template <class Operands, typename Part>
void MeMacroEngine::SetDatePart(Operands& in, Part part) {
  HbVariable* const target = in.Variable(TypeCode::kDate);
  const auto value = static_cast<unsigned short>(in.Int());
  if (!in.Ok()) return;
  HbDate date = static_cast<HbDateVariable*>(target)->Get();
  (date.*part)(value);
  Store<HbDateVariable>(target, date);
}

template <class Operands>
void MeMacroEngine::CmdSetDay(Operands& in, int) {
  SetDatePart(in, &Date::SetDay);
}
TMX_COMMAND(CmdSetDay);

template <class Operands>
void MeMacroEngine::CmdSetMonth(Operands& in, int) {
  SetDatePart(in, &Date::SetMonth);
}
TMX_COMMAND(CmdSetMonth);

template <class Operands>
void MeMacroEngine::CmdSetYear(Operands& in, int) {
  SetDatePart(in, &Date::SetYear);
}
TMX_COMMAND(CmdSetYear);

template <class Operands>
void MeMacroEngine::CmdGetCurrentDate(Operands& in, int) {
  HbVariable* const target = in.Variable(TypeCode::kDate);
  if (in.Ok()) Store<HbDateVariable>(target, HbDate(Date()));
}
TMX_COMMAND(CmdGetCurrentDate);

template <class Operands>
void MeMacroEngine::CmdEngineVersion(Operands& in, int) {
  constexpr short kVersion = 2;
  HbVariable* const target = in.Variable(TypeCode::kInt);
  if (in.Ok()) Store<HbIntVariable>(target, kVersion);
}
TMX_COMMAND(CmdEngineVersion);
