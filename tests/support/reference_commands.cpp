// The commands of the reference engine that compute, read the input and write the output.
#include <algorithm>
#include <stdexcept>

#include "tests/support/reference_amount.h"
#include "tests/support/reference_engine.h"

namespace tmx {
namespace {

constexpr std::size_t kMaxText = 65535;
constexpr char kLineFeed = '\n';

enum Type : unsigned { kString = 1, kDate = 2, kInt = 5, kLong = 6, kAmount = 8, kBool = 10 };

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// ISO 8859-1; sharp s and y with diaeresis have no capital there.
std::string Upper(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 'a' && byte <= 'z') || (byte >= 0xE0 && byte <= 0xFE && byte != 0xF7))
      c = static_cast<char>(byte - 32);
  }
  return text;
}

// Up to `length` characters from `start`, as many as there are.
std::string Part(const std::string& text, std::uint64_t start, std::uint64_t length) {
  return start >= text.size() ? "" : text.substr(start, length);
}

void TrimLeft(std::string& text) { text.erase(0, text.find_first_not_of(' ')); }
void TrimRight(std::string& text, char c) { text.erase(text.find_last_not_of(c) + 1); }

// Digits as a number that wraps to 32 bits.
std::int32_t ToNumber(const std::string& digits) {
  std::uint32_t number = 0;
  for (const char c : digits) {
    if (!IsDigit(c)) break;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return static_cast<std::int32_t>(number);
}

std::string Padded(std::string text, std::size_t width) {
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text;
}

// Widths, lengths and numbers of places are taken as unsigned.
unsigned Unsigned(int value) { return static_cast<std::uint16_t>(value); }

}  // namespace

// ---- output ----------------------------------------------------------------------------------

void ReferenceEngine::ReadLayout(Field& field, bool width, bool fill, bool right) {
  if (width) field.width = Unsigned(ReadIntAttrib());
  if (fill) field.fill = ReadCharAttrib();
  if (right) field.right = ReadBoolAttrib();
}

void ReferenceEngine::Write(std::string text, const Field& field) {
  if (Failed()) return;
  if (text.size() > kMaxText) throw std::length_error("value");
  if (field.width && text.size() > *field.width) text.resize(*field.width);
  const std::size_t missing = field.width ? *field.width - text.size() : 0;
  if (missing != 0) {
    if (!field.fill) {
      text += "\\#";
    } else if (field.right) {
      text.insert(0, missing, *field.fill);
    } else {
      text.append(missing, *field.fill);
    }
  }
  if (output_.size() + text.size() > kMaxText) throw std::length_error("output");
  output_ += text;
}

void ReferenceEngine::CmdWriteString(unsigned count) {
  if (!CheckCount(count, 1, 4)) return;
  Field field;
  const std::string text = ReadStringAttrib();
  ReadLayout(field, count >= 2, count >= 3, count >= 4);
  Write(text, field);
}

void ReferenceEngine::CmdWriteNumber(unsigned opcode, unsigned count) {
  if (!CheckCount(count, 1, 5)) return;
  Field field;
  const std::int32_t number = opcode == 25 ? ReadIntAttrib() : ReadLongAttrib();
  ReadLayout(field, count >= 2, count >= 3, count >= 4);
  Write(std::to_string(number), field);
}

void ReferenceEngine::CmdWriteDate(unsigned count) {
  if (!CheckCount(count, 1, 5)) return;
  Field field;
  const Date date = ReadDateAttrib();
  const std::string format = count >= 2 ? ReadStringAttrib() : "dmyy";
  ReadLayout(field, count >= 3, count >= 4, count >= 5);
  std::string text;
  for (std::size_t at = 0; at < format.size(); ++at) {
    if (format[at] == 'd') {
      text += Padded(std::to_string(date.GetDay()), 2);
    } else if (format[at] == 'm') {
      text += Padded(std::to_string(date.GetMonth()), 2);
    } else if (format[at] == 'y' && at + 1 < format.size() && format[at + 1] == 'y') {
      text += Padded(std::to_string(date.GetYear()), 4);
      ++at;
    } else if (format[at] == 'y') {
      text += Padded(std::to_string(date.GetYear() % 100), 2);
    } else {
      text += format[at];
    }
  }
  Write(text, field);
}

void ReferenceEngine::CmdWriteAmount(unsigned count) {
  if (!CheckCount(count, 1, 6)) return;
  Field field;
  const std::string amount = ReadAmountAttrib();
  const std::string format = count >= 2 ? ReadStringAttrib() : "v,n";
  ReadLayout(field, count >= 3, false, false);
  // A negative number of places is none.
  const int wanted_places = count >= 4 ? ReadIntAttrib() : 2;
  const auto decimals = static_cast<unsigned>(std::max(wanted_places, 0));
  ReadLayout(field, false, count >= 5, count >= 6);
  if (Failed()) return;
  BigInt whole = ReferenceAmount::FromText(amount).value;
  if (!whole.IsSet()) whole = BigInt(0);
  BigInt fraction(0);
  if (decimals > 0) {
    fraction = whole % PowerOfTen(decimals);
    whole /= PowerOfTen(decimals);
  }
  std::string text;
  for (const char c : format) {
    if (c == 'v') {
      text += DigitsOf(whole);
    } else if (c == 'n') {
      text += Padded(DigitsOf(fraction), decimals);
    } else {
      text += c;
    }
    if (text.size() > kMaxText) throw std::length_error("amount");
  }
  Write(text, field);
}

// ---- input -----------------------------------------------------------------------------------

char ReferenceEngine::InputAt(std::uint64_t position) const {
  return position < input_.size() ? input_[position] : '\0';
}

unsigned ReferenceEngine::GetNumDigits(std::uint64_t max) {
  max &= 0xFFFF;
  std::uint64_t p = input_pos_;
  while (p < input_.size() && p - input_pos_ < max && InputAt(p) == ' ') ++p;
  while (p < input_.size() && p - input_pos_ < max && IsDigit(InputAt(p))) ++p;
  if (p == input_pos_) SetLastCmdError(17494);
  return static_cast<unsigned>(p - input_pos_);
}

bool ReferenceEngine::OnlyBlanks(std::uint64_t max) const {
  max &= 0xFFFF;
  std::uint64_t p = input_pos_;
  while (p < input_.size() && p - input_pos_ < max && InputAt(p) == ' ') ++p;
  return p >= input_.size() || p - input_pos_ >= max;
}

// 14 CmdReadString, 37 CmdReadAppend
void ReferenceEngine::CmdReadText(bool append, unsigned count) {
  if (!CheckCount(count, 1, 3)) return;
  Variable* target = ReadVariable(kString);
  if (target == nullptr) return;
  std::uint64_t length = count >= 2 ? Unsigned(ReadIntAttrib()) : 65535;
  const char stop = count >= 3 ? ReadCharAttrib() : '\0';
  if (Failed()) return;
  if (count >= 3 && input_pos_ < input_.size()) {
    const std::size_t found = input_.find(stop, input_pos_);
    if (found != std::string::npos) length = std::min<std::uint64_t>(length, found - input_pos_);
  }
  if (!append && input_pos_ > input_.size()) return SetMacroStatus(17490);
  const std::string text = Part(input_, input_pos_, length);
  if (append && target->text.size() + text.size() > kMaxText) throw std::length_error("append");
  input_pos_ += static_cast<std::uint32_t>(text.size()) + (append ? 1 : 0);
  SetText(target, append ? target->text + text : text);
}

// The limit is handed on as cursor plus length although it counts from the cursor.
void ReferenceEngine::CmdReadInt(unsigned count) {
  if (!CheckCount(count, 1, 2)) return;
  Variable* target = ReadVariable(kInt);
  if (target == nullptr) return;
  const unsigned length = count >= 2 ? Unsigned(ReadIntAttrib()) : 0;
  if (Failed()) return;
  const unsigned n = GetNumDigits(length == 0 ? 65535 : std::uint64_t{input_pos_} + length);
  std::string digits = Part(input_, input_pos_, n);
  TrimLeft(digits);
  SetNumber(target, ToNumber(digits));
}

void ReferenceEngine::CmdReadLong(unsigned count) {
  if (!CheckCount(count, 1, 2)) return;
  Variable* target = ReadVariable(kLong);
  if (target == nullptr) return;
  const unsigned length = count >= 2 ? Unsigned(ReadIntAttrib()) : 0;
  if (Failed()) return;
  const std::uint64_t end = length == 0 ? 65535 : std::uint64_t{input_pos_} + length;
  std::string digits;
  for (std::uint64_t p = input_pos_; p < end && p < input_.size() && IsDigit(input_[p]); ++p)
    digits += input_[p];
  SetNumber(target, ToNumber(digits));
}

// False when a literal does not match or the input ends before the format does.
bool ReferenceEngine::WalkDate(const std::string& format, Date& date) {
  const auto number = [this](unsigned max) {
    const unsigned n = GetNumDigits(max);
    std::string digits = Part(input_, input_pos_, n);
    TrimLeft(digits);
    input_pos_ += n;
    return static_cast<unsigned short>(ToNumber(digits));
  };
  std::size_t at = 0;
  for (; at < format.size() && input_pos_ < input_.size(); ++at) {
    if (format[at] == 'd') {
      date.SetDay(number(2));
    } else if (format[at] == 'm') {
      date.SetMonth(number(2));
    } else if (format[at] == 'y' && at + 1 < format.size() && format[at + 1] == 'y') {
      date.SetYear(number(4));
      ++at;
    } else if (format[at] == 'y') {
      const unsigned short year = number(2);
      date.SetYear(static_cast<unsigned short>(year + (year > 80 ? 1900 : 2000)));
    } else if (input_[input_pos_] == format[at]) {
      ++input_pos_;
    } else {
      return false;
    }
  }
  return at >= format.size();
}

void ReferenceEngine::CmdReadDate() {
  Variable* target = ReadVariable(kDate);
  if (target == nullptr) return;
  const std::string format = ReadStringAttrib();
  if (Failed()) return;
  Date date(static_cast<unsigned long>(target->date));
  std::uint64_t width = 0;
  for (const char c : format) width += c == 'd' || c == 'm' || c == 'y' ? 2 : 1;
  if (OnlyBlanks(width)) return SetDate(target, date);
  if (!WalkDate(format, date)) return SetLastCmdError(17494);
  if (date.GetYear() == 0) {
    Date today;
    const unsigned short year = today.GetYear();
    today.SetYear(0);
    date.SetYear(date - today > 60 ? static_cast<unsigned short>(year - 1) : year);
  }
  SetDate(target, date);
}

void ReferenceEngine::CmdReadAmount(unsigned count) {
  if (!CheckCount(count, 1, 5)) return;
  Variable* target = ReadVariable(kAmount);
  if (target == nullptr) return;
  const std::string format = count >= 2 ? ReadStringAttrib() : "v,n";
  const unsigned width = count >= 3 ? Unsigned(ReadIntAttrib()) : 0;
  const unsigned decimals = count >= 4 ? Unsigned(ReadIntAttrib()) : 2;
  if (Failed()) return;
  ReferenceAmount amount = ReferenceAmount::FromText(target->text);
  const std::uint64_t limit = width != 0 ? std::uint64_t{input_pos_} + width : 65535;
  const std::uint64_t end = std::min<std::uint64_t>(limit, input_.size());

  for (const char c : format) {
    if (input_pos_ >= end) return SetLastCmdError(17494);
    const bool blank = OnlyBlanks(limit - input_pos_);
    if (c == 'v' && blank) {
      amount = {BigInt(0), decimals};
    } else if (c == 'v') {
      std::uint64_t from = input_pos_;
      while (from < end && input_[from] == ' ') ++from;
      std::uint64_t to = from;
      if (to < end && input_[to] == '-') ++to;
      while (to < end && (IsDigit(input_[to]) || input_[to] == '.')) ++to;
      if (to == from) return SetLastCmdError(17494);
      std::string digits = input_.substr(from, to - from);
      std::erase(digits, '.');
      amount = {Digits(digits), 0};
      amount.SetPrecision(decimals);
      input_pos_ = static_cast<std::uint32_t>(to);
    } else if (c == 'n' && !blank) {
      const unsigned n = GetNumDigits(limit - input_pos_);
      if (n == 0 || n > decimals) return SetLastCmdError(17494);
      std::string digits = input_.substr(input_pos_, n);
      TrimLeft(digits);
      ReferenceAmount fraction{Digits(digits), static_cast<std::uint32_t>(digits.size())};
      if (fraction.precision < decimals) fraction.SetPrecision(decimals);
      amount.DropFraction();
      amount.Add(fraction);
      input_pos_ += n;
    } else if (c != 'n' && !blank) {
      if (input_[input_pos_] != c) return SetLastCmdError(17494);
      ++input_pos_;
    }
  }
  SetText(target, amount.ToText());
}

void ReferenceEngine::CmdSearch(unsigned count) {
  if (!CheckCount(count, 1, 255)) return;
  const std::string pattern = Upper(ReadStringAttrib());
  const int mode = count >= 2 ? ReadIntAttrib() : 0;
  Variable* column = count >= 3 ? ReadVariable(kInt) : nullptr;
  Variable* line = count >= 3 ? ReadVariable(kInt) : nullptr;
  if (Failed()) return;
  const std::size_t hit = pattern.empty()
                              ? std::string::npos
                              : Upper(Part(input_, input_pos_, input_.size())).find(pattern);
  condition_ = hit != std::string::npos;
  if (condition_) {
    // The hit counts from the cursor, but is used as a position in the whole input.
    std::size_t p = hit;
    if (mode == 0) {
      while (p > input_pos_ && input_[p] != kLineFeed) --p;
      if (input_[p] == kLineFeed) ++p;
    } else if (mode == 2) {
      while (p < input_.size() && input_[p] != kLineFeed) ++p;
      if (p < input_.size()) ++p;
    }
    input_pos_ = static_cast<std::uint32_t>(p);
  }
  if (condition_ && column != nullptr) {
    line->number = 0;
    line->null = false;
    int steps = -1;
    bool met = false;
    for (std::size_t q = hit; q >= 1; --q, ++steps) {
      if (input_[q] != kLineFeed) continue;
      if (!met) column->number = static_cast<std::int16_t>(steps);
      met = true;
      line->number = static_cast<std::int16_t>(line->number + 1);
    }
    if (!met) column->number = static_cast<std::int16_t>(hit);
    column->null = false;
  }
  VariablesChanged();
}

void ReferenceEngine::CmdEatLeadingChars(unsigned count) {
  if (!CheckCount(count, 0, 1)) return;
  char skipped = ' ';
  if (count == 1) {
    skipped = ReadCharAttrib();
    if (Failed()) return;
  }
  while (input_pos_ < input_.size() && input_[input_pos_] == skipped) ++input_pos_;
}

// ---- comparison, assignment, arithmetic ------------------------------------------------------

void ReferenceEngine::CmdCompare() {
  const unsigned type = ReadByte();
  const unsigned op = ReadByte();
  if (Failed()) return;
  int order = 0;
  const auto compare = [&order](const auto& a, const auto& b) {
    order = a < b ? -1 : b < a ? 1 : 0;
  };
  switch (type) {
    case kString: {
      const std::string a = Upper(ReadStringAttrib()), b = Upper(ReadStringAttrib());
      order = a.compare(b);
      break;
    }
    case kDate: {
      const Date a = ReadDateAttrib(), b = ReadDateAttrib();
      compare(a.GetDate(), b.GetDate());
      break;
    }
    case kInt: {
      const int a = ReadIntAttrib(), b = ReadIntAttrib();
      compare(a, b);
      break;
    }
    case kLong: {
      const std::int32_t a = ReadLongAttrib(), b = ReadLongAttrib();
      compare(a, b);
      break;
    }
    case kAmount: {
      const auto a = ReferenceAmount::FromText(ReadAmountAttrib());
      const auto b = ReferenceAmount::FromText(ReadAmountAttrib());
      if (Failed()) return;
      order = CompareAmounts(a, b);
      // Only "=" tells null amounts from zero.
      if (op == '=' && a.value.IsSet() != b.value.IsSet()) order = 1;
      break;
    }
    case kBool: {
      const bool a = ReadBoolAttrib(), b = ReadBoolAttrib();
      compare(a, b);
      break;
    }
    default:
      return SetMacroStatus(17490);
  }
  if (Failed()) return;
  if (op == '=') {
    condition_ = order == 0;
  } else if (op == '<' && type != kBool) {
    condition_ = order < 0;
  } else if (op == '>' && type != kBool) {
    condition_ = order > 0;
  } else {
    SetMacroStatus(17490);
  }
}

void ReferenceEngine::CmdSet() {
  const unsigned type = ReadByte();
  Variable* target = ReadVariable(type);
  switch (type) {
    case kString:
    case kAmount: {
      const std::string text = type == kString ? ReadStringAttrib() : ReadAmountAttrib();
      if (!Failed()) SetText(target, text);
      return;
    }
    case kDate: {
      const Date date = ReadDateAttrib();
      if (!Failed()) SetDate(target, date);
      return;
    }
    case kInt:
    case kLong:
    case kBool: {
      const std::int32_t number = type == kInt    ? ReadIntAttrib()
                                  : type == kLong ? ReadLongAttrib()
                                                  : ReadBoolAttrib();
      if (!Failed()) SetNumber(target, number);
      return;
    }
    default:
      return SetMacroStatus(17490);
  }
}

void ReferenceEngine::SkipLiteral(int tag) {
  switch (tag) {
    case 1:
    case 8:
      ReadString();
      break;
    case 2:
      ReadDate();
      break;
    case 5:
      ReadInt();
      break;
    case 6:
      ReadLong();
      break;
    case 10:
      ReadBool();
      break;
    case 12:
      ReadByte();
      break;
    default:
      break;
  }
}

void ReferenceEngine::CmdOp() {
  const unsigned type = ReadByte();
  const char op = static_cast<char>(ReadByte());
  Variable* target = ReadVariable(type);

  const std::uint16_t operands = frames_.back()->pc;
  const int tag_a = ReadInt();
  if (tag_a < 32) SkipLiteral(tag_a);
  const int tag_b = ReadInt();
  unsigned type_b = static_cast<unsigned>(tag_b);
  if (tag_b >= 32) {
    const Holder* holder = GetHolder(tag_b);
    if (holder == nullptr) return SetMacroStatus(17490);
    type_b = holder->type;
  }
  frames_.back()->pc = operands;

  switch (type) {
    case kString:
      return OpString(op, target);
    case kDate:
      return OpDate(op, target);
    case kInt:
      return type_b == kDate ? OpDateDifference(target) : OpNumber(type, op, target);
    case kLong:
      return op == '_' ? OpDateDifference(target) : OpNumber(type, op, target);
    case kAmount:
      return OpAmount(op, target);
    default:
      return SetMacroStatus(17490);
  }
}

void ReferenceEngine::OpString(char op, Variable* target) {
  const std::string a = ReadStringAttrib(), b = ReadStringAttrib();
  if (Failed()) return;
  if (op != '+') return SetMacroStatus(17490);
  SetText(target, a + b);
}

void ReferenceEngine::OpDate(char op, Variable* target) {
  const Date a = ReadDateAttrib();
  const int days = ReadIntAttrib();
  if (Failed()) return;
  if (op == '+') return SetDate(target, a + days);
  if (op == '-') return SetDate(target, a - days);
  SetMacroStatus(17490);
  SetDate(target, Date(0UL));
}

void ReferenceEngine::OpDateDifference(Variable* target) {
  const Date a = ReadDateAttrib(), b = ReadDateAttrib();
  if (!Failed()) SetNumber(target, a - b);
}

// Results wrap to the width of the target.
void ReferenceEngine::OpNumber(unsigned type, char op, Variable* target) {
  const std::int64_t a = type == kInt ? ReadIntAttrib() : ReadLongAttrib();
  const std::int64_t b = type == kInt ? ReadIntAttrib() : ReadLongAttrib();
  if (Failed()) return;
  std::int64_t result = 0;
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
    case '%':
      if (b == 0) {
        SetMacroStatus(17490);
      } else {
        result = op == '/' ? a / b : a % b;
      }
      break;
    default:
      SetMacroStatus(17490);
      break;
  }
  SetNumber(target, result);
}

// The result is stored in every case, also after an operand error.
void ReferenceEngine::OpAmount(char op, Variable* target) {
  ReferenceAmount a = ReferenceAmount::FromText(ReadAmountAttrib());
  if (op == '*' || op == '/' || op == '%') {
    const std::int32_t b = ReadLongAttrib();
    if (op == '*') {
      a.value *= BigInt(b);
    } else if (b == 0) {
      SetMacroStatus(17490);
    } else if (op == '/') {
      a.value /= BigInt(b);
    } else {
      a.value %= BigInt(b);
    }
  } else {
    const ReferenceAmount b = ReferenceAmount::FromText(ReadAmountAttrib());
    if (op == '+') {
      a.Add(b);
    } else if (op == '-') {
      a.Subtract(b);
    } else {
      SetMacroStatus(17490);
    }
  }
  if (target != nullptr) SetText(target, a.ToText());
}

// ---- texts and dates -------------------------------------------------------------------------

void ReferenceEngine::CmdSubString() {
  Variable* target = ReadVariable(kString);
  const std::string source = ReadStringAttrib();
  const unsigned start = Unsigned(ReadIntAttrib());
  const unsigned length = Unsigned(ReadIntAttrib());
  if (!Failed()) SetText(target, Part(source, start, length));
}

void ReferenceEngine::CmdReplaceChars(unsigned count) {
  if (!CheckCount(count, 2, 3)) return;
  Variable* target = ReadVariable(kString);
  const std::string set = ReadStringAttrib();
  const char replacement = count == 3 ? ReadCharAttrib() : '\0';
  if (Failed()) return;
  const auto in_set = [&set](char c) { return set.find(c) != std::string::npos; };
  std::string text;
  for (std::size_t at = 0; at < target->text.size(); ++at) {
    char c = target->text[at];
    if (count == 2) {
      if (!in_set(c)) text += c;
      continue;
    }
    if (c == '\r') {
      c = kLineFeed;
      if (at + 1 < target->text.size() && target->text[at + 1] == kLineFeed) ++at;
    }
    text += in_set(c) ? replacement : c;
  }
  SetText(target, text);
}

void ReferenceEngine::CmdEraseTrailingChars(unsigned count) {
  if (!CheckCount(count, 1, 2)) return;
  Variable* target = ReadVariable(kString);
  const char erased = count == 2 ? ReadCharAttrib() : ' ';
  if (Failed()) return;
  std::string text = target->text;
  TrimRight(text, erased);
  SetText(target, text);
}

void ReferenceEngine::CmdGetDatePart(unsigned opcode) {
  const Date date = ReadDateAttrib();
  Variable* target = ReadVariable(kInt);
  if (Failed()) return;
  SetNumber(target, opcode == 41 ? date.GetDay() : opcode == 42 ? date.GetMonth() : date.GetYear());
}

void ReferenceEngine::CmdSetDatePart(unsigned opcode) {
  Variable* target = ReadVariable(kDate);
  const auto value = static_cast<unsigned short>(ReadIntAttrib());
  if (Failed()) return;
  Date date(static_cast<unsigned long>(target->date));
  if (opcode == 44) date.SetDay(value);
  if (opcode == 45) date.SetMonth(value);
  if (opcode == 46) date.SetYear(value);
  SetDate(target, date);
}

}  // namespace tmx
