#include "demo/host/stored_segment.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>

#include "tmxtools/core/amount.h"
#include "tmxtools/core/date_time.h"
#include "tmxtools/variables/variables.h"

namespace tmx::demo {
namespace {

constexpr std::uint8_t kNull = 0;
constexpr std::uint8_t kSet = 1;

// A flag: anything but 0 and 1 is damage.
bool GetFlag(ByteReader& in) {
  const auto flag = in.Get<std::uint8_t>();
  if (flag > 1) in.Fail();
  return flag == 1;
}

void Put(ByteWriter& out, const String& text) { out.PutText(text.View()); }
void Get(ByteReader& in, String& text) { text.Assign(in.GetText()); }

void Put(ByteWriter& out, const HbDate& date) {
  out.Put(static_cast<std::uint32_t>(date.GetDate()));
}
void Get(ByteReader& in, HbDate& date) { date.SetDate(in.Get<std::uint32_t>()); }

void Put(ByteWriter& out, const HbTime& time) {
  out.Put(static_cast<std::uint8_t>(!time.IsNull()));
  if (!time.IsNull()) out.Put(static_cast<std::int32_t>(time.GetTime()));
}
void Get(ByteReader& in, HbTime& time) {
  if (GetFlag(in)) time = HbTime(long{in.Get<std::int32_t>()});
}

void Put(ByteWriter& out, float number) { out.Put(std::bit_cast<std::uint32_t>(number)); }
void Get(ByteReader& in, float& number) { number = std::bit_cast<float>(in.Get<std::uint32_t>()); }

void Put(ByteWriter& out, bool flag) { out.Put(static_cast<std::uint8_t>(flag)); }
void Get(ByteReader& in, bool& flag) { flag = GetFlag(in); }

void Put(ByteWriter& out, short number) { out.Put(number); }
void Get(ByteReader& in, short& number) { number = in.Get<std::int16_t>(); }

void Put(ByteWriter& out, long number) { out.Put(static_cast<std::int32_t>(number)); }
void Get(ByteReader& in, long& number) { number = in.Get<std::int32_t>(); }

void Put(ByteWriter& out, const HbAmount& amount) {
  out.Put(static_cast<std::uint8_t>(!amount.IsNull()));
  if (!amount.IsNull()) out.PutText(amount.GetString().View());
  out.Put(static_cast<std::uint16_t>(amount.GetPrecision()));
  out.PutText(amount.GetCurrency().View());
}
void Get(ByteReader& in, HbAmount& amount) {
  BigInt value;
  if (GetFlag(in)) {
    const std::string_view digits = in.GetText();
    value = BigInt(String(digits));
    if (value.ToString() != digits) in.Fail();
  }
  const auto precision = in.Get<std::uint16_t>();
  amount = HbAmount(value, precision, String(in.GetText()));
}

template <class Cell, class Value>
void PutCell(ByteWriter& out, const HbVariable& variable) {
  Put(out, Value(static_cast<const Cell&>(variable).Get()));
}
template <class Cell, class Value>
void GetCell(ByteReader& in, HbVariable& variable) {
  Value value{};
  Get(in, value);
  static_cast<Cell&>(variable).Set(value);
}

void PutBinary(ByteWriter& out, const HbVariable& variable) {
  const auto& binary = static_cast<const HbBinaryVariable&>(variable);
  out.Put(static_cast<std::uint32_t>(binary.GetLength()));
  out.PutBytes({reinterpret_cast<const char*>(binary.GetData()), binary.GetLength()});
}
void GetBinary(ByteReader& in, HbVariable& variable) {
  const std::string_view bytes = in.GetBytes(in.Get<std::uint32_t>());
  if (bytes.empty()) in.Fail();  // it would be null
  static_cast<HbBinaryVariable&>(variable).Set(reinterpret_cast<const unsigned char*>(bytes.data()),
                                               bytes.size());
}

struct Format {
  VariableType type;
  void (*put)(ByteWriter& out, const HbVariable& variable);
  void (*get)(ByteReader& in, HbVariable& variable);
};

template <class Cell, class Value>
constexpr Format FormatOf() {
  return {Cell::kType, PutCell<Cell, Value>, GetCell<Cell, Value>};
}

constexpr Format kFormats[] = {
    FormatOf<HbStringVariable, String>(),   FormatOf<HbDateVariable, HbDate>(),
    FormatOf<HbTimeVariable, HbTime>(),     FormatOf<HbIntVariable, short>(),
    FormatOf<HbLongVariable, long>(),       FormatOf<HbFloatVariable, float>(),
    FormatOf<HbAmountVariable, HbAmount>(), FormatOf<HbBoolVariable, bool>(),
    {kBinaryType, PutBinary, GetBinary},
};

const Format* FindFormat(unsigned short type) {
  const auto* const found = std::ranges::find(kFormats, type, &Format::type);
  return found != std::end(kFormats) ? found : nullptr;
}

void GetField(ByteReader& in, HbSegment& segment, unsigned long id) {
  const auto type = in.Get<std::uint8_t>();
  const Format* const format = FindFormat(type);
  const auto variable = Ref<HbVariable>::Adopt(HbVariables::CreateVariable(type));
  if (format == nullptr || !variable) return in.Fail();
  if (GetFlag(in)) format->get(in, *variable);
  if (in.Failed()) return;
  segment.Register(id, variable.Get());
}

}  // namespace

void PutSegment(ByteWriter& out, const HbSegment& segment) {
  std::uint32_t left = static_cast<std::uint32_t>(segment.Count());
  out.Put(left);
  HbVariablesIter iter(&segment);
  for (; left > 0; --left) {
    const HbVariable& variable = *iter.GetNext();
    out.Put(static_cast<std::uint32_t>(iter.GetId()));
    out.Put(static_cast<std::uint8_t>(variable.GetType()));
    out.Put(variable.IsNull() ? kNull : kSet);
    if (!variable.IsNull()) FindFormat(variable.GetType())->put(out, variable);
  }
}

Ref<HbSegment> GetSegment(ByteReader& in) {
  auto segment = MakeRef<HbSegment>();
  std::int64_t last = -1;
  for (auto left = in.Get<std::uint32_t>(); left > 0 && !in.Failed(); --left) {
    const auto id = in.Get<std::uint32_t>();
    if (id <= last) in.Fail();
    last = id;
    GetField(in, *segment, id);
  }
  return segment;
}

}  // namespace tmx::demo
