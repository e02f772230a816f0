// The commands that append to the output.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>

#include "tmxtools/core/amount.h"
#include "tmxtools/macro/operands.h"

using tmx::FieldLayout;
using tmx::TypeCode;

namespace {

constexpr std::string_view kDefaultDateFormat = "dmyy";
constexpr std::string_view kDefaultAmountFormat = "v,n";

// Collects a value's text. Short ones, which are nearly all, need no memory.
class ValueText {
 public:
  std::string_view View() const {
    return long_.empty() ? std::string_view(short_, length_) : long_;
  }
  // Longer than any output; how much longer does not matter.
  bool IsTooLong() const { return long_.size() > String::MaxLen; }

  void Append(std::string_view part) {
    if (long_.empty() && length_ + part.size() <= sizeof short_) {
      std::memcpy(short_ + length_, part.data(), part.size());
      length_ += part.size();
    } else {
      AppendLong(part);
    }
  }
  void Append(char byte) {
    if (long_.empty() && length_ < sizeof short_) {
      short_[length_++] = byte;
    } else {
      AppendLong(std::string_view(&byte, 1));
    }
  }
  // A number with zeros in front of it up to a width.
  void AppendPadded(std::string_view number, std::size_t width) {
    for (std::size_t i = number.size(); i < width; ++i) Append("0");
    Append(number);
  }
  void AppendPadded(std::int64_t number, std::size_t width) {
    char digits[20];
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    AppendPadded(std::string_view(digits, static_cast<std::size_t>(end - digits)), width);
  }
  void AppendPadded(const BigInt& number, std::size_t width) {
    if (number.IsSmall()) {
      AppendPadded(number.Small(), width);
    } else {
      AppendPadded(number.ToString().View(), width);
    }
  }

 private:
  void AppendLong(std::string_view part) {
    if (long_.empty()) long_.assign(short_, length_);
    long_ += part;
  }

  char short_[64];
  std::size_t length_ = 0;
  std::string long_;
};

// The numbers from 00 to 99.
constexpr auto kTwoDigits = [] {
  std::array<std::array<char, 2>, 100> digits{};
  for (std::size_t i = 0; i < digits.size(); ++i)
    digits[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
  return digits;
}();

char* PutTwoDigits(char* out, unsigned number) {
  std::memcpy(out, kTwoDigits[number % 100].data(), 2);
  return out + 2;
}

// No character of a format stands for more; the two of a year above 9999 stand for five.
constexpr std::size_t kDateRoom = 3;

// Writes a date and gives the end of its text.
char* PutDate(char* out, const HbDate& date, std::string_view format) {
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == 'd') {
      out = PutTwoDigits(out, date.GetDay());
    } else if (format[i] == 'm') {
      out = PutTwoDigits(out, date.GetMonth());
    } else if (format[i] == 'y' && i + 1 < format.size() && format[i + 1] == 'y') {
      const unsigned year = date.GetYear();
      if (year > 9999) *out++ = static_cast<char>('0' + year / 10000);
      out = PutTwoDigits(out, year / 100);
      out = PutTwoDigits(out, year);
      ++i;
    } else if (format[i] == 'y') {
      out = PutTwoDigits(out, date.GetYear());
    } else {
      *out++ = format[i];
    }
  }
  return out;
}

// An amount as it is written: the digits before and behind the separator.
struct AmountDigits {
  std::string_view whole;
  std::string_view fraction;
};

// The digits of an amount whose text has them as they are to be written, which nearly all have:
// `decimals` places and no zero too many in front. Else no digits.
AmountDigits PlainDigits(std::string_view text, int decimals) {
  const auto places = static_cast<std::size_t>(std::max(decimals, 0));
  if (places == 0 || text.size() < places + 2) return {};
  const std::size_t comma = text.size() - places - 1;
  if (text[comma] != ',' || (text[0] == '0' && comma > 1)) return {};
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  const auto digits = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), is_digit));
  if (digits + 1 != text.size()) return {};
  return {text.substr(0, comma), text.substr(comma + 1)};
}

ValueText LayOutAmount(const AmountDigits& digits, std::string_view format) {
  ValueText text;
  for (std::size_t i = 0; i < format.size() && !text.IsTooLong(); ++i) {
    if (format[i] == 'v') {
      text.Append(digits.whole);
    } else if (format[i] == 'n') {
      text.Append(digits.fraction);
    } else {
      text.Append(format[i]);
    }
  }
  return text;
}

// The raw integer of the amount is split as it stands: the text is expected to carry exactly
// `decimals` places, no other number of places is brought to it. That is meant so.
ValueText FormatAmount(const String& amount_text, std::string_view format, int decimals) {
  const AmountDigits plain = PlainDigits(amount_text.View(), decimals);
  if (!plain.whole.empty()) return LayOutAmount(plain, format);
  HbAmount amount;
  amount.SetFromDecimalPointString(amount_text, String());
  BigInt whole = amount.IsNull() ? BigInt(0) : amount.GetBigInt(amount.GetPrecision());
  BigInt fraction(0);
  if (decimals > 0) {
    const BigInt unit = tmx::PowerOfTen(static_cast<unsigned short>(decimals));
    fraction = whole;
    fraction %= unit;
    whole /= unit;
  }
  ValueText whole_text, fraction_text;
  whole_text.AppendPadded(whole, 0);
  fraction_text.AppendPadded(fraction, static_cast<std::size_t>(std::max(decimals, 0)));
  return LayOutAmount({whole_text.View(), fraction_text.View()}, format);
}

// Reads width, fill and alignment, which are the operands number `first` to `first` + 2.
template <class Operands>
inline FieldLayout ReadLayout(Operands& in, int count, int first) {
  FieldLayout layout;
  if (count < first) return layout;
  layout.has_width = true;
  layout.width = static_cast<std::uint16_t>(in.Int());
  layout.has_fill = count > first;
  if (layout.has_fill) layout.fill = in.Char();
  if (count > first + 1) layout.right = in.Bool();
  return layout;
}

}  // namespace

void MeMacroEngine::AppendField(std::string_view value, const FieldLayout& layout) {
  if (!layout.has_width && output_.Len() + value.size() <= String::MaxLen) {
    output_ += value;
    return;
  }
  if (value.size() > String::MaxLen) {  // no text, so that there is nothing to cut either
    SetMacroStatus(tmx::kMalformed);
    return;
  }
  if (layout.has_width && value.size() > layout.width) value = value.substr(0, layout.width);
  const std::size_t missing = layout.has_width ? layout.width - value.size() : 0;
  // A short field without a fill character is marked; that is meant so.
  const bool marked = missing > 0 && !layout.has_fill;
  const std::size_t filled = layout.has_fill ? missing : 0;
  const std::size_t length = output_.Len() + value.size() + filled;
  if (length + (marked ? 2 : 0) > String::MaxLen) {
    SetMacroStatus(tmx::kMalformed);
    return;
  }
  if (filled > 0 && layout.right)
    output_.PadTo(static_cast<std::uint16_t>(output_.Len() + filled), layout.fill);
  output_ += value;
  if (filled > 0 && !layout.right) output_.PadTo(static_cast<std::uint16_t>(length), layout.fill);
  if (marked) output_ += std::string_view("\\#");
}

template <class Operands>
void MeMacroEngine::CmdWriteString(Operands& in, int count) {
  const String& text = in.Text();
  const FieldLayout layout = ReadLayout(in, count, 2);
  if (in.Ok()) AppendField(text.View(), layout);
}
TMX_COMMAND(CmdWriteString);

template <class Operands>
void MeMacroEngine::CmdWriteDate(Operands& in, int count) {
  const HbDate date = in.Date();
  const std::string_view format = count >= 2 ? in.Text().View() : kDefaultDateFormat;
  const FieldLayout layout = ReadLayout(in, count, 3);
  if (!in.Ok()) return;
  char short_text[64];
  std::string long_text;
  char* text = short_text;
  if (format.size() * kDateRoom > sizeof short_text) {
    long_text.resize(format.size() * kDateRoom);
    text = long_text.data();
  }
  const char* const end = PutDate(text, date, format);
  AppendField(std::string_view(text, static_cast<std::size_t>(end - text)), layout);
}
TMX_COMMAND(CmdWriteDate);

template <class Operands>
void MeMacroEngine::CmdWriteAmount(Operands& in, int count) {
  const String& amount = in.Amount();
  const std::string_view format = count >= 2 ? in.Text().View() : kDefaultAmountFormat;
  FieldLayout layout;
  layout.has_width = count >= 3;
  if (layout.has_width) layout.width = static_cast<std::uint16_t>(in.Int());
  const int decimals = count >= 4 ? in.Int() : 2;
  layout.has_fill = count >= 5;
  if (layout.has_fill) layout.fill = in.Char();
  if (count >= 6) layout.right = in.Bool();
  if (in.Ok()) AppendField(FormatAmount(amount, format, decimals).View(), layout);
}
TMX_COMMAND(CmdWriteAmount);

void MeMacroEngine::AppendNumber(std::int32_t value, const FieldLayout& layout) {
  char digits[16];
  const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  AppendField(std::string_view(digits, static_cast<std::size_t>(end - digits)), layout);
}

// Both number commands accept a fifth operand and do not read it; that is meant so.
template <class Operands>
void MeMacroEngine::CmdWriteInt(Operands& in, int count) {
  const short value = in.Int();
  const FieldLayout layout = ReadLayout(in, count, 2);
  if (in.Ok()) AppendNumber(value, layout);
}
TMX_COMMAND(CmdWriteInt);

template <class Operands>
void MeMacroEngine::CmdWriteLong(Operands& in, int count) {
  const auto value = static_cast<std::int32_t>(in.Long());
  const FieldLayout layout = ReadLayout(in, count, 2);
  if (in.Ok()) AppendNumber(value, layout);
}
TMX_COMMAND(CmdWriteLong);

template <class Operands>
void MeMacroEngine::CmdClear(Operands&, int) {
  output_.Clear();
}
TMX_COMMAND(CmdClear);
