// The commands that take values from the input at the cursor.

#include <algorithm>

#include "tmxtools/core/amount.h"
#include "tmxtools/macro/operands.h"

using tmx::kMalformed;
using tmx::kUnexpectedInput;
using tmx::TypeCode;

namespace {

constexpr std::string_view kDefaultAmountFormat = "v,n";
constexpr std::uint16_t kNoLimit = 65535;
constexpr long kDaysToNextYear = 60;
constexpr std::size_t kDigitsOf64Bits = 18;
constexpr std::size_t kDigitsOf32Bits = 9;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view WithoutLeadingBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// The value of digits, wrapping in 32 bits.
std::uint32_t NumberOf(std::string_view digits) {
  std::uint32_t number = 0;
  for (const char c : digits) {
    if (!IsDigit(c)) break;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return number;
}

// The digits that a text begins with.
std::size_t CountDigits(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  return count;
}

// The length of an amount at the begin of a text that reads as it stands: digits, a comma and as
// many digits as there are decimals, and no zero too many in front. Else 0.
std::size_t PlainAmountLength(std::string_view text, std::size_t decimals) {
  const std::size_t whole = CountDigits(text);
  if (whole == 0 || (whole > 1 && text[0] == '0')) return 0;
  if (whole == text.size() || text[whole] != ',') return 0;
  const std::size_t fraction = CountDigits(text.substr(whole + 1));
  return fraction == decimals && fraction != 0 ? whole + 1 + fraction : 0;
}

// A date without a year is taken to lie in this year, or in the last one if it would lie more than
// 60 days ahead.
void InferYear(HbDate& date) {
  const Date today;
  HbDate today_without_year{today};
  today_without_year.SetYear(0);
  const bool last_year = date - today_without_year > kDaysToNextYear;
  date.SetYear(static_cast<unsigned short>(today.GetYear() - (last_year ? 1 : 0)));
}

// Whatever stands in formats of this length, dates of them take fewer than 65536 characters.
constexpr std::size_t kLongestUnwrapped = 32767;

// How many characters a date of this format takes, counted in 16 bits.
std::uint16_t DateWidth(std::string_view format) {
  std::size_t width = 0;
  for (const char c : format) width += c == 'd' || c == 'm' || c == 'y' ? 2 : 1;
  return static_cast<std::uint16_t>(width);
}

}  // namespace

unsigned short MeMacroEngine::GetNumDigits(unsigned short max) {
  const std::string_view field = InputFromCursor().substr(0, max);
  std::size_t length = 0;
  while (length < field.size() && field[length] == ' ') ++length;
  while (length < field.size() && IsDigit(field[length])) ++length;
  if (length == 0) SetLastCmdError(kUnexpectedInput);
  return static_cast<unsigned short>(length);
}

bool MeMacroEngine::OnlyBlanks(unsigned short max) const {
  for (const char c : InputFromCursor().substr(0, max))
    if (c != ' ') return false;
  return true;
}

// ---- texts ------------------------------------------------------------------------------------

std::string_view MeMacroEngine::FieldAtCursor(std::uint16_t length, const char* stop) const {
  const std::string_view field = InputFromCursor().substr(0, length);
  return stop != nullptr ? field.substr(0, field.find(*stop)) : field;
}

template <class Operands>
void MeMacroEngine::CmdReadString(Operands& in, int count) {
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kString));
  if (target == nullptr) return;
  const auto length = count >= 2 ? static_cast<std::uint16_t>(in.Int()) : kNoLimit;
  const char stop = count >= 3 ? in.Char() : '\0';
  if (!in.Ok()) return;
  if (input_pos_ > input_.Len()) {
    SetMacroStatus(kMalformed);
    return;
  }
  const std::string_view field = FieldAtCursor(length, count >= 3 ? &stop : nullptr);
  target->SetView(field);
  input_pos_ += static_cast<std::uint32_t>(field.size());
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadString);

// Skips one character behind the field, whatever it is; CmdReadString does not. That is meant so.
template <class Operands>
void MeMacroEngine::CmdReadAppend(Operands& in, int count) {
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kString));
  if (target == nullptr) return;
  const auto length = count >= 2 ? static_cast<std::uint16_t>(in.Int()) : kNoLimit;
  const char stop = count >= 3 ? in.Char() : '\0';
  if (!in.Ok()) return;
  const std::string_view field = FieldAtCursor(length, count >= 3 ? &stop : nullptr);
  String text = target->Get();
  text += field;
  target->Set(text);
  input_pos_ += static_cast<std::uint32_t>(field.size()) + 1;
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadAppend);

// ---- numbers ----------------------------------------------------------------------------------

// The limit handed to GetNumDigits is the cursor plus the length, although it is counted from the
// cursor, and the cursor does not move. Both are meant so.
template <class Operands>
void MeMacroEngine::CmdReadInt(Operands& in, int count) {
  auto* const target = static_cast<HbIntVariable*>(in.Variable(TypeCode::kInt));
  if (target == nullptr) return;
  const auto length = count >= 2 ? static_cast<std::uint16_t>(in.Int()) : std::uint16_t{0};
  if (!in.Ok()) return;
  const auto limit = length != 0 ? static_cast<std::uint16_t>(input_pos_ + length) : kNoLimit;
  const std::string_view field = InputFromCursor().substr(0, GetNumDigits(limit));
  target->Set(static_cast<short>(NumberOf(WithoutLeadingBlanks(field))));
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadInt);

// Skips no blanks, raises no error and does not move the cursor; that is meant so.
template <class Operands>
void MeMacroEngine::CmdReadLong(Operands& in, int count) {
  auto* const target = static_cast<HbLongVariable*>(in.Variable(TypeCode::kLong));
  if (target == nullptr) return;
  const auto length = count >= 2 ? static_cast<std::uint16_t>(in.Int()) : std::uint16_t{0};
  if (!in.Ok()) return;
  const std::uint64_t end = length != 0 ? std::uint64_t{input_pos_} + length : kNoLimit;
  const std::string_view field =
      InputFromCursor().substr(0, end > input_pos_ ? end - input_pos_ : 0);
  target->Set(static_cast<std::int32_t>(NumberOf(field)));
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadLong);

// ---- dates ------------------------------------------------------------------------------------

// Takes blanks and digits of one part of a date from the begin of `rest`; 0 and the soft error when
// there are none.
inline unsigned short MeMacroEngine::TakeDatePart(std::string_view& rest, std::size_t width) {
  const std::size_t end = std::min(width, rest.size());
  std::size_t length = 0;
  unsigned number = 0;
  while (length < end && rest[length] == ' ') ++length;
  for (; length < end && IsDigit(rest[length]); ++length)
    number = number * 10 + static_cast<unsigned>(rest[length] - '0');
  if (length == 0) SetLastCmdError(kUnexpectedInput);
  rest.remove_prefix(length);
  return static_cast<unsigned short>(number);
}

// False when a character does not match or the input ends before the format; the cursor stays then
// where that was seen.
bool MeMacroEngine::TakeDate(std::string_view format, HbDate& date) {
  std::string_view rest = InputFromCursor();
  const std::size_t length = rest.size();
  std::size_t i = 0;
  bool matches = true;
  while (matches && i < format.size() && !rest.empty()) {
    const char c = format[i++];
    if (c == 'd') {
      date.SetDay(TakeDatePart(rest, 2));
    } else if (c == 'm') {
      date.SetMonth(TakeDatePart(rest, 2));
    } else if (c == 'y' && i < format.size() && format[i] == 'y') {
      date.SetYear(TakeDatePart(rest, 4));
      ++i;
    } else if (c == 'y') {
      const unsigned short year = TakeDatePart(rest, 2);
      date.SetYear(static_cast<unsigned short>(year > 80 ? year + 1900 : year + 2000));
    } else {
      matches = rest[0] == c;
      if (matches) rest.remove_prefix(1);
    }
  }
  input_pos_ += static_cast<std::uint32_t>(length - rest.size());
  return matches && i == format.size();
}

// Whether nothing stands where a date of this format would.
inline bool MeMacroEngine::IsBlank(std::string_view format) const {
  // Nearly no date begins with a blank, and then the width need not be counted unless it may be 0.
  const bool has_width = !format.empty() && format.size() <= kLongestUnwrapped;
  if (has_width && !OnlyBlanks(1)) return false;
  return OnlyBlanks(DateWidth(format));
}

template <class Operands>
void MeMacroEngine::CmdReadDate(Operands& in, int) {
  auto* const target = static_cast<HbDateVariable*>(in.Variable(TypeCode::kDate));
  if (target == nullptr) return;
  const std::string_view format = in.Text().View();
  if (!in.Ok()) return;
  HbDate date = target->Get();
  if (!IsBlank(format)) {
    if (!TakeDate(format, date)) {
      SetLastCmdError(kUnexpectedInput);
      return;
    }
    if (date.GetYear() == 0) InferYear(date);
  }
  target->Set(date);
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadDate);

// ---- amounts ----------------------------------------------------------------------------------

// What is left of a field whose limit is a position of the input.
unsigned short MeMacroEngine::LeftUpTo(std::uint64_t limit) const {
  return static_cast<unsigned short>(
      std::min<std::uint64_t>(limit > input_pos_ ? limit - input_pos_ : 0, kNoLimit));
}

// "v": an optional "-" and digits with dots between them. False when nothing was there.
bool MeMacroEngine::TakeIntegerPart(std::uint64_t limit, unsigned short decimals,
                                    HbAmount& amount) {
  std::string_view field = InputFromCursor().substr(0, LeftUpTo(limit));
  const std::size_t blanks = std::min(field.find_first_not_of(' '), field.size());
  if (blanks == field.size()) {
    amount = HbAmount(0, decimals, String());
    return true;
  }
  field.remove_prefix(blanks);
  const bool negative = field[0] == '-';
  std::size_t length = negative ? 1 : 0;
  std::int64_t number = 0;
  while (length < field.size() && (IsDigit(field[length]) || field[length] == '.')) {
    if (length < kDigitsOf64Bits && field[length] != '.')
      number = number * 10 + (field[length] - '0');
    ++length;
  }
  if (length == 0) return false;
  if (length <= kDigitsOf64Bits) {
    amount = HbAmount(negative ? -number : number, 0, String());
  } else {
    String digits(field.substr(0, length));
    digits.RemoveSet(String("."));
    amount = HbAmount(digits, 0, String());
  }
  amount.SetPrecision(decimals);
  input_pos_ += static_cast<std::uint32_t>(blanks + length);
  return true;
}

// "n": the digits behind the separator. They are added to the running amount even when it is
// negative, so that "-12,50" reads as -11,50. That is meant so.
bool MeMacroEngine::TakeFraction(std::uint64_t limit, unsigned short decimals, HbAmount& amount) {
  if (OnlyBlanks(LeftUpTo(limit))) return true;
  const unsigned short length = GetNumDigits(LeftUpTo(limit));
  if (length == 0 || length > decimals) return false;
  // Drop the fraction that the amount already has.
  BigInt whole = amount.IsNull() ? BigInt(0) : amount.GetBigInt(amount.GetPrecision());
  if (amount.GetPrecision() != 0) whole /= tmx::PowerOfTen(amount.GetPrecision());
  amount = HbAmount(whole, 0, String());

  std::string_view digits = WithoutLeadingBlanks(InputFromCursor().substr(0, length));
  const auto places = static_cast<unsigned short>(digits.size());
  HbAmount fraction = places <= kDigitsOf32Bits
                          ? HbAmount(static_cast<long>(NumberOf(digits)), places, String())
                          : HbAmount(String(digits), places, String());
  if (places < decimals) fraction.SetPrecision(decimals);
  amount += fraction;
  input_pos_ += length;
  return true;
}

bool MeMacroEngine::TakeAmount(std::string_view format, std::uint64_t limit,
                               unsigned short decimals, HbAmount& amount) {
  for (const char c : format) {
    if (input_pos_ >= limit || input_pos_ >= input_.Len()) return false;
    if (c == 'v') {
      if (!TakeIntegerPart(limit, decimals, amount)) return false;
    } else if (c == 'n') {
      if (!TakeFraction(limit, decimals, amount)) return false;
    } else if (!OnlyBlanks(LeftUpTo(limit))) {
      if (input_.At(static_cast<std::uint16_t>(input_pos_)) != c) return false;
      ++input_pos_;
    }
  }
  return true;
}

// Count 5 is accepted and reads four operands; that is meant so.
template <class Operands>
void MeMacroEngine::CmdReadAmount(Operands& in, int count) {
  auto* const target = static_cast<HbStringVariable*>(in.Variable(TypeCode::kAmount));
  if (target == nullptr) return;
  const std::string_view format = count >= 2 ? in.Text().View() : kDefaultAmountFormat;
  const auto width = count >= 3 ? static_cast<std::uint16_t>(in.Int()) : std::uint16_t{0};
  const auto decimals = count >= 4 ? static_cast<std::uint16_t>(in.Int()) : std::uint16_t{2};
  if (!in.Ok()) return;
  // Nearly all amounts need no arithmetic.
  if (format == kDefaultAmountFormat && width == 0 && input_pos_ < kNoLimit) {
    const std::string_view rest = InputFromCursor();
    if (const std::size_t length = PlainAmountLength(rest, decimals); length != 0) {
      target->SetView(rest.substr(0, length));
      input_pos_ += static_cast<std::uint32_t>(length);
      NotifyVariablesChanged();
      return;
    }
  }
  // Where the integer part comes first it replaces whatever the variable held.
  HbAmount amount;
  if (!format.starts_with('v') && !target->Get().IsEmpty())
    amount.SetFromDecimalPointString(target->Get(), String("DEM"));
  const std::uint64_t limit = width != 0 ? std::uint64_t{input_pos_} + width : kNoLimit;
  if (!TakeAmount(format, limit, decimals, amount)) {
    SetLastCmdError(kUnexpectedInput);
    return;
  }
  target->Set(amount.GetDecimalPointString());
  NotifyVariablesChanged();
}
TMX_COMMAND(CmdReadAmount);
