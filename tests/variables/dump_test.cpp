#include <limits>
#include <string>

#include "tests/support/print.h"
#include "tests/variables/failing_memory.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/variables/variables.h"

namespace {

constexpr char kHeader[] = "ID:       Type:    Value:\n";

std::string Dumped(const HbVariables& registry) {
  SvMemoryStream stream;
  registry.Dump(stream);
  EXPECT_EQ(stream.GetError(), 0u);
  return std::string(stream.View());
}
std::string DumpedFloat(float value) {
  HbVariables registry;
  registry.PutFieldFloat(value, 1);
  const std::string head = std::string(kHeader) + "1         FLOAT   ";
  const std::string text = Dumped(registry);
  EXPECT_EQ(text.substr(0, head.size()), head);
  return text.substr(head.size());
}

class OddVariable : public HbVariable {
 public:
  OddVariable() : HbVariable(1234) {}
  void SetNull() override {}

 protected:
  ~OddVariable() override = default;
};

TEST(Dump, OfAnEmptyRegistryIsTheHeaderLine) { EXPECT_EQ(Dumped(HbVariables()), kHeader); }

TEST(Dump, HasALineForEachEntryInTheOrderOfIds) {
  HbVariables registry;
  registry.PutFieldString("a text", 4294967295);
  registry.PutFieldDate(HbDate(5, 3, 2003), 200);
  registry.PutFieldTime(HbTime(1, 2, 3, 4), 4);
  registry.PutFieldInt16(-5, 5);
  registry.PutFieldInt32(-2147483648L, 6);
  registry.PutFieldFloat(0.1F, 7);
  registry.PutFieldAmount(HbAmount(-12345, 2, "EUR"), 8);
  registry.PutFieldBinary(reinterpret_cast<const unsigned char*>("0123456789ab"), 12, 9);
  registry.PutFieldBool(true, 10);
  registry.PutFieldBool(false, 11);
  EXPECT_EQ(Dumped(registry), std::string(kHeader) +
                                  "4         TIME    1020304\n"
                                  "5         INT16   -5\n"
                                  "6         INT32   -2147483648\n"
                                  "7         FLOAT   0.1\n"
                                  "8         AMOUNT  -12345\n"
                                  "9         BINARY  @12@<binary data>\n"
                                  "10        BOOL    J\n"
                                  "11        BOOL    N\n"
                                  "200       DATE    20030305\n"
                                  "4294967295STRING  a text\n");
}

TEST(Dump, ShowsTheEmptyValuesOfNullVariables) {
  HbVariables registry;
  for (const unsigned short type :
       std::initializer_list<unsigned short>{1, 2, 4, 5, 6, 7, 8, 9, 10}) {
    HbVariable* const variable = HbVariables::CreateVariable(type);
    registry.Register(type, variable);
    variable->DecRefCount();
  }
  EXPECT_EQ(Dumped(registry), std::string(kHeader) +
                                  "1         STRING  \n"
                                  "2         DATE    0\n"
                                  "4         TIME    0\n"
                                  "5         INT16   0\n"
                                  "6         INT32   0\n"
                                  "7         FLOAT   0\n"
                                  "8         AMOUNT  0\n"
                                  "9         BINARY  @0@<binary data>\n"
                                  "10        BOOL    N\n");
}

TEST(Dump, ShowsAnUnknownTypeByItsCode) {
  HbVariables registry;
  HbVariable* const variable = new OddVariable;
  registry.Register(1, variable);
  variable->DecRefCount();
  EXPECT_EQ(Dumped(registry), std::string(kHeader) + "1         1234    N.A.\n");
}

TEST(Dump, LeavesThePreviousRegistryOut) {
  HbVariables prev, registry(&prev);
  prev.PutFieldInt32(1, 1);
  EXPECT_EQ(Dumped(registry), kHeader);
}

TEST(Dump, WritesTextsOfAnyLengthAsTheyAre) {
  HbVariables registry;
  const std::string text = std::string(65533, 'x') + std::string("\n\0", 2);
  registry.PutFieldString(String(std::string_view(text)), 1);
  EXPECT_EQ(Dumped(registry), kHeader + ("1         STRING  " + text) + "\n");
}

TEST(Dump, WritesFloatsInPlainDecimalNotation) {
  EXPECT_EQ(DumpedFloat(-1.5F), "-1.5\n");
  EXPECT_EQ(DumpedFloat(16777216.0F), "16777216\n");
  EXPECT_EQ(DumpedFloat(1e-5F), "0.00001\n");
  const std::string largest = DumpedFloat(-std::numeric_limits<float>::max());
  EXPECT_EQ(largest, "-340282346638528859811704183484516925440\n");
  const std::string smallest = DumpedFloat(-std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(smallest, "-0." + std::string(44, '0') + "1\n");
}

TEST(Dump, AnAmountWithTooManyDigitsIsAStreamError) {
  HbAmount amount(1, 0, "");
  amount.SetPrecision(65535);
  HbVariables registry;
  registry.PutFieldAmount(amount, 1);
  SvMemoryStream stream;
  registry.Dump(stream);
  EXPECT_EQ(stream.GetError(), tmx::stream_error::InvalidParameter);
}

TEST(Dump, IsAStreamErrorWhenMemoryEnds) {
  HbVariables registry;
  registry.PutFieldString("a text that needs memory of its own", 1);
  registry.PutFieldInt32(2000000000L, 2);
  const std::string whole = Dumped(registry);
  bool done = false;
  for (std::size_t allowed = 0; !done; ++allowed) {
    SvMemoryStream stream;
    {
      const FailingMemory failing(allowed);
      registry.Dump(stream);
    }
    done = stream.GetError() == 0;
    if (done) {
      EXPECT_EQ(stream.View(), whole);
    } else {
      EXPECT_EQ(stream.GetError(), tmx::stream_error::OutOfMemory);
    }
  }
}

}  // namespace
