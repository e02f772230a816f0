#include "tmxtools/variables/variable.h"

#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/variables/variables.h"

namespace {

struct Drop {
  void operator()(HbVariable* variable) const { variable->DecRefCount(); }
};
template <class Cell>
using Owned = std::unique_ptr<Cell, Drop>;

template <class Cell>
Owned<Cell> Make() {
  return Owned<Cell>(new Cell);
}

Owned<HbBinaryVariable> Binary(std::string_view bytes) {
  auto variable = Make<HbBinaryVariable>();
  variable->Set(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  return variable;
}
std::string_view Bytes(const HbBinaryVariable& variable) {
  return {reinterpret_cast<const char*>(variable.GetData()), variable.GetLength()};
}

// Counts its lives, to see who destroys it.
class WatchedVariable : public HbVariable {
 public:
  explicit WatchedVariable(int& alive) : HbVariable(99), alive_(alive) { ++alive_; }
  void SetNull() override {}

 protected:
  ~WatchedVariable() override { --alive_; }

 private:
  int& alive_;
};

TEST(HbVariable, IsDestroyedByTheReleaseThatFindsNoOtherOwner) {
  int alive = 0;
  HbVariable* const variable = new WatchedVariable(alive);
  EXPECT_EQ(variable->GetRefCount(), 0u);
  EXPECT_EQ(variable->GetType(), 99);
  EXPECT_TRUE(variable->IsNull());
  variable->IncRefCount();
  variable->IncRefCount();
  EXPECT_EQ(variable->GetRefCount(), 2u);
  variable->DecRefCount();
  variable->DecRefCount();
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(variable->GetRefCount(), 0u);
  variable->DecRefCount();
  EXPECT_EQ(alive, 0);
}

TEST(HbVariable, CanOnlyBeDestroyedThroughItsCount) {
  EXPECT_FALSE(std::is_destructible_v<HbVariable>);
  EXPECT_FALSE(std::is_destructible_v<HbStringVariable>);
  EXPECT_FALSE(std::is_destructible_v<HbAmountVariable>);
  EXPECT_FALSE(std::is_destructible_v<HbBinaryVariable>);
}

// Each type with its code, its empty value and another one.
template <class Cell>
struct Sample;
#define SAMPLE(Cell, code, empty, other)    \
  template <>                               \
  struct Sample<Cell> {                     \
    static constexpr unsigned kCode = code; \
    static auto Empty() { return empty; }   \
    static auto Other() { return other; }   \
  }
SAMPLE(HbStringVariable, 1, String(), String("text"));
SAMPLE(HbDateVariable, 2, HbDate(), HbDate(5, 3, 2003));
SAMPLE(HbTimeVariable, 4, HbTime(), HbTime(1, 2, 3, 4));
SAMPLE(HbIntVariable, 5, short{0}, short{-32768});
SAMPLE(HbLongVariable, 6, 0L, -2147483648L);
SAMPLE(HbFloatVariable, 7, 0.0F, -1.5F);
SAMPLE(HbAmountVariable, 8, HbAmount(), HbAmount(12345, 2, "EUR"));
SAMPLE(HbBoolVariable, 10, false, true);
#undef SAMPLE

template <class Cell>
class ValueCell : public testing::Test, public Sample<Cell> {};
using Cells = testing::Types<HbStringVariable, HbDateVariable, HbTimeVariable, HbIntVariable,
                             HbLongVariable, HbFloatVariable, HbAmountVariable, HbBoolVariable>;
TYPED_TEST_SUITE(ValueCell, Cells);

TYPED_TEST(ValueCell, StartsNullWithTheEmptyValue) {
  const auto variable = Make<TypeParam>();
  EXPECT_EQ(variable->GetType(), this->kCode);
  EXPECT_TRUE(variable->IsNull());
  EXPECT_TRUE(variable->Get() == this->Empty());
}

TYPED_TEST(ValueCell, SetStoresTheValueAndClearsTheNullFlag) {
  const auto variable = Make<TypeParam>();
  variable->Set(this->Other());
  EXPECT_FALSE(variable->IsNull());
  EXPECT_TRUE(variable->Get() == this->Other());
  variable->Set(variable->Get());
  EXPECT_TRUE(variable->Get() == this->Other());
}

TYPED_TEST(ValueCell, SettingTheEmptyValueIsNotNull) {
  const auto variable = Make<TypeParam>();
  variable->Set(this->Empty());
  EXPECT_FALSE(variable->IsNull());
}

TYPED_TEST(ValueCell, SetNullRestoresTheEmptyValue) {
  const auto variable = Make<TypeParam>();
  variable->Set(this->Other());
  variable->SetNull();
  EXPECT_TRUE(variable->IsNull());
  EXPECT_TRUE(variable->Get() == this->Empty());
}

TEST(HbTimeVariable, CanBeNotNullWhileItsTimeIsNull) {
  const auto variable = Make<HbTimeVariable>();
  variable->Set(HbTime());
  EXPECT_FALSE(variable->IsNull());
  EXPECT_TRUE(variable->Get().IsNull());
  variable->Set(HbTime(0L));
  EXPECT_FALSE(variable->Get().IsNull());
  variable->SetNull();
  EXPECT_TRUE(variable->Get().IsNull());
}

TEST(HbLongVariable, KeepsThirtyTwoBits) {
  const auto variable = Make<HbLongVariable>();
  variable->Set(0x1'0000'0005L);
  EXPECT_EQ(variable->Get(), 5);
  variable->Set(0x8000'0000L);
  EXPECT_EQ(variable->Get(), -2147483648L);
}

TEST(HbAmountVariable, KeepsPrecisionAndCurrency) {
  const auto variable = Make<HbAmountVariable>();
  variable->Set(HbAmount(12345, 3, "USD"));
  EXPECT_EQ(variable->Get().GetFull(), "12,345 USD");
  variable->Set(HbAmount());
  EXPECT_FALSE(variable->IsNull());
  EXPECT_TRUE(variable->Get().IsNull());
}

TEST(HbBinaryVariable, StartsNullWithoutData) {
  const auto variable = Make<HbBinaryVariable>();
  EXPECT_EQ(variable->GetType(), 9);
  EXPECT_TRUE(variable->IsNull());
  EXPECT_EQ(variable->GetData(), nullptr);
  EXPECT_EQ(variable->GetLength(), 0u);
  variable->SetNull();
  EXPECT_TRUE(variable->IsNull());
}

TEST(HbBinaryVariable, SetCopiesTheBytes) {
  std::string bytes("a\0b", 3);
  const auto variable = Binary(bytes);
  bytes[0] = 'x';
  EXPECT_FALSE(variable->IsNull());
  EXPECT_EQ(Bytes(*variable), std::string_view("a\0b", 3));
  variable->SetNull();
  EXPECT_TRUE(variable->IsNull());
  EXPECT_EQ(variable->GetData(), nullptr);
  EXPECT_EQ(variable->GetLength(), 0u);
}

TEST(HbBinaryVariable, SetOfNothingLeavesItNull) {
  const auto variable = Binary("abc");
  const unsigned char byte = 1;
  variable->Set(&byte, 0);
  EXPECT_TRUE(variable->IsNull());
  EXPECT_EQ(variable->GetLength(), 0u);
  variable->Set(nullptr, 5);
  EXPECT_TRUE(variable->IsNull());
}

TEST(HbBinaryVariable, SetTakesItsOwnBytes) {
  const auto variable = Binary("abcdef");
  variable->Set(variable->GetData() + 2, 3);
  EXPECT_EQ(Bytes(*variable), "cde");
}

TEST(HbBinaryVariable, AllocMakesRoomAndClearsTheNullFlag) {
  const auto variable = Make<HbBinaryVariable>();
  unsigned char* const data = variable->Alloc(3);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data, variable->GetData());
  EXPECT_EQ(variable->GetLength(), 3u);
  EXPECT_FALSE(variable->IsNull());
  std::copy_n("xyz", 3, data);
  EXPECT_EQ(Bytes(*variable), "xyz");
  EXPECT_EQ(variable->Alloc(0), nullptr);
  EXPECT_TRUE(variable->IsNull());
}

TEST(HbBinaryVariable, AFailedAllocationLeavesItNullAndEmpty) {
  const auto variable = Binary("abc");
  EXPECT_EQ(variable->Alloc(0x1'0000'0000UL), nullptr);
  EXPECT_TRUE(variable->IsNull());
  EXPECT_EQ(variable->GetLength(), 0u);
  const auto other = Binary("abc");
  {
    const FailingMemory failing(0);
    EXPECT_EQ(other->Alloc(10), nullptr);
    const unsigned char byte = 1;
    other->Set(&byte, 1);
  }
  EXPECT_TRUE(other->IsNull());
  EXPECT_EQ(other->GetData(), nullptr);
}

String Encoded(const HbBinaryVariable& variable) {
  String text("unchanged");
  EXPECT_TRUE(variable.Encode(text));
  return text;
}

TEST(HbBinaryVariable, EncodeWritesZeroAndQuestionMarkInverted) {
  EXPECT_EQ(Encoded(*Binary("abc")), "abc");
  EXPECT_EQ(Encoded(*Binary(std::string_view("\0", 1))), "?\xFF");
  EXPECT_EQ(Encoded(*Binary("?")), "?\xC0");
  EXPECT_EQ(Encoded(*Binary(std::string_view("a?\0b\xFF", 5))),
            "a?\xC0?\xFF"
            "b\xFF");
  EXPECT_EQ(Encoded(*Make<HbBinaryVariable>()), "");
}

TEST(HbBinaryVariable, EncodeFitsUpTo65529BytesAndNoMore) {
  std::string bytes(65529, 'x');
  String text;
  EXPECT_TRUE(Binary(bytes)->Encode(text));
  EXPECT_EQ(text.Len(), 65529);
  bytes[100] = '\0';
  text = "unchanged";
  EXPECT_FALSE(Binary(bytes)->Encode(text));
  EXPECT_EQ(text, "unchanged");
  bytes.pop_back();
  EXPECT_TRUE(Binary(bytes)->Encode(text));
  EXPECT_EQ(text.Len(), 65529);
  EXPECT_FALSE(Binary(std::string(65530, 'x'))->Encode(text));
}

TEST(HbBinaryVariable, DecodeOfNothingLeavesItNull) {
  const auto variable = Binary("abc");
  variable->Decode("");
  EXPECT_TRUE(variable->IsNull());
  EXPECT_EQ(variable->GetLength(), 0u);
}

TEST(HbBinaryVariable, DecodeDropsADanglingQuestionMark) {
  const auto variable = Make<HbBinaryVariable>();
  variable->Decode("ab?");
  EXPECT_EQ(Bytes(*variable), "ab");
  variable->Decode("?");
  EXPECT_TRUE(variable->IsNull());
}

TEST(HbBinaryVariable, DecodeNeverWritesBeyondTheDecodedLength) {
  const auto variable = Make<HbBinaryVariable>();
  variable->Decode("??a");
  EXPECT_EQ(Bytes(*variable), "\xC0");
  variable->Decode("??");
  EXPECT_TRUE(variable->IsNull());
}

TEST(HbBinaryVariable, EncodeAndDecodeReturnTheSameBytes) {
  std::mt19937 random(1);
  for (int round = 0; round < 500; ++round) {
    std::string bytes(random() % 300, '\0');
    // Some rounds use every byte, others only the two that are escaped.
    for (char& byte : bytes) {
      byte = round % 2 ? static_cast<char>(random() % 256) : "\0?"[random() % 2];
    }
    const String text = Encoded(*Binary(bytes));
    EXPECT_EQ(text.View().find('\0'), std::string_view::npos);
    const auto decoded = Make<HbBinaryVariable>();
    decoded->Decode(text);
    EXPECT_EQ(Bytes(*decoded), bytes);
    EXPECT_EQ(decoded->IsNull(), bytes.empty());
  }
}

TEST(RemoveUmlauts, WritesUmlautsWithTwoLetters) {
  EXPECT_EQ(HbVariable::RemoveUmlauts("\xE4\xDF"), "aess");
  EXPECT_EQ(HbVariable::RemoveUmlauts("\xC4\xD6\xDC\xDF\xE4\xF6\xFC"), "AeOeUessaeoeue");
  EXPECT_EQ(HbVariable::RemoveUmlauts("M\xFCller & S\xF6hne"), "Mueller & Soehne");
}

TEST(RemoveUmlauts, CopiesEveryOtherByte) {
  String text;
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  text.RemoveSet("\xC4\xD6\xDC\xDF\xE4\xF6\xFC");
  const String result = HbVariable::RemoveUmlauts(text);
  EXPECT_EQ(result, text);
  EXPECT_EQ(result.Data(), text.Data()) << "a text without umlauts is shared";
  EXPECT_EQ(HbVariable::RemoveUmlauts(""), "");
}

}  // namespace
