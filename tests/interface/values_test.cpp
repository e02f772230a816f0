// A host's view of values, registries, texts and files: every public member is called as a host
// calls it, and found in the shared library, which is all that this program is linked with.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"
#include "tmxtools/tmxtools.h"

namespace {

String Text(const std::string& text) { return String(std::string_view(text)); }

TEST(Interface, Errors) {
  HbError none;
  const HbError first(17488), copy(first), second(17490, first), with_text(17490, "Sub");
  const HbError full(17490, String("Sub"), second);
  EXPECT_FALSE(none.IsSet());
  EXPECT_TRUE(copy && second);
  EXPECT_EQ(full.GetPrev()->GetPrev()->GetCode(), 17488);
  EXPECT_EQ(*with_text.GetParamText(), "Sub");
  EXPECT_NE(first.GetText(), nullptr);
  EXPECT_EQ(first.GetErrKind(), ErrKindError);

  HbError error = 0x4001;
  error.SetError(1);
  error.SetError(2, error);
  error.SetError(3, "three");
  error.SetError(4, "four", error);
  EXPECT_EQ(error.GetPrev()->GetCode(), 3);
  SvMemoryStream stream;
  stream.SetError(0x302);
  error.SetStreamState(stream);
  EXPECT_EQ(error.GetCode(), 0x4547);
  String text("old");
  none.GetFull(text);
  EXPECT_EQ(text, "");
  error = none;
  error = first;
  error.Clear();
  EXPECT_FALSE(error);
}

class Carrier : public HbErrorHandler {
 public:
  int told = 0;

 protected:
  void OnStatusSet() override { ++told; }
};

TEST(Interface, ErrorHandlers) {
  Carrier carrier;
  HbErrorHandler& handler = carrier;
  EXPECT_EQ(handler.SetStatus(17490).GetCode(), 17490);
  EXPECT_EQ(handler.SetStatus(17491, "text").GetCode(), 17491);
  EXPECT_EQ(handler.SetStatus(17492, HbError(1)).GetPrev()->GetCode(), 1);
  EXPECT_EQ(handler.SetStatus(17493, "text", HbError(2)).GetPrev()->GetCode(), 2);
  EXPECT_EQ(handler.SetStatus(HbError(17494)).GetCode(), 17494);
  EXPECT_EQ(carrier.told, 5);
  handler.ResetStatus();
  EXPECT_FALSE(handler.GetStatus().IsSet());
  const HbErrorHandler copied(handler);
  handler = copied;
}

TEST(Interface, DatesAndTimes) {
  const unsigned long raw_date = 20030305;
  const unsigned short day = 5, month = 3, year = 2003, hour = 12, minute = 34, second = 56;
  const HbDate null, from_raw(raw_date), from_date(Date(5, 3, 2003)), from_parts(day, month, year);
  EXPECT_TRUE(null.IsNull());
  EXPECT_TRUE(from_raw == from_parts && from_date == from_parts && null < from_raw);
  EXPECT_FALSE(from_raw != from_parts || from_raw > from_parts);

  const long raw_time = 12345600;
  HbTime time;
  EXPECT_TRUE(time.IsNull());
  EXPECT_TRUE(HbTime(raw_time) == HbTime(hour, minute, second, 0));
  EXPECT_TRUE(time < HbTime(Time(0L)) && time <= HbTime() && time >= HbTime() && !(time > time));
  EXPECT_TRUE(time != HbTime(0));
  time.SetTime(raw_date);
  time.SetHour(hour);
  time.SetMin(minute);
  time.SetSec(second);
  time.Set100Sec(day);
  EXPECT_EQ(time.GetTime(), 12345605);

  HbDateTime moment;
  EXPECT_TRUE(moment.IsNull());
  const DateTime foundation(Date(5, 3, 2003), Time(raw_time));
  moment = foundation;
  EXPECT_FALSE(moment.IsNull());
  EXPECT_TRUE(moment == HbDateTime(foundation) && moment > HbDateTime(Time(raw_time)));
  EXPECT_TRUE(moment >= HbDateTime(Date(5, 3, 2003)) && HbDateTime() < moment);
  EXPECT_TRUE(moment <= HbDateTime(Date(5, 3, 2003), Time(raw_time)));
  const long raw = 20040305;
  moment.SetDate(raw);
  moment.SetTime(raw_time);
  EXPECT_EQ(moment.GetDate().GetYear(), 2004);
}

TEST(Interface, Amounts) {
  const short narrow = 12345;
  const unsigned short precision = 2;
  const unsigned long wide = 12345;
  const String currency("EUR");
  const HbAmount amount(12345, precision, currency);
  for (const HbAmount& same :
       {HbAmount(narrow, precision, currency), HbAmount(precision, precision, currency),
        HbAmount(wide, precision, currency), HbAmount(12345L, precision, currency),
        HbAmount(12345U, precision, currency), HbAmount(BigInt(12345), precision, currency),
        HbAmount(String("12345"), precision, currency), HbAmount("12345", 2, "EUR")}) {
    EXPECT_EQ(same == amount, same.GetString() == "12345");
  }
  HbAmount sum;
  EXPECT_TRUE(sum.IsNull() && sum.IsZero() && !sum.IsNeg());
  sum = amount;
  sum += amount;
  sum -= HbAmount(1, 0, "EUR");
  sum *= BigInt(3);
  sum /= BigInt(2);
  sum %= BigInt(100000);
  sum *= 2;
  EXPECT_EQ(sum.GetFull(), "737,70 EUR");
  EXPECT_TRUE(sum != amount && sum > amount && sum >= amount && !(sum < amount || sum <= amount));
  sum.SetPrecision(0);
  EXPECT_EQ(sum.GetPrecision(), 0);
  EXPECT_EQ(sum.GetDecimalPointString(), "738,");
  EXPECT_TRUE(sum.GetBigInt(1) == BigInt(7380));
  sum.SetFromDecimalPointString("1.234,56", "EUR");
  EXPECT_EQ(sum.GetCurrency(), "EUR");
  EXPECT_EQ(HbAmount::GetCurrencyPrecision("STC"), 4);
}

TEST(Interface, VariablesAndRegistries) {
  HbVariables outer(nullptr, nullptr, nullptr), inner(&outer, &outer, nullptr);
  const unsigned long id = 1000;
  const unsigned char bytes[] = {'?', 0, 'x'};
  EXPECT_TRUE(outer.PutFieldString("text", 1));
  EXPECT_TRUE(outer.PutFieldDate(HbDate(5, 3, 2003), 2));
  EXPECT_TRUE(outer.PutFieldTime(HbTime(12, 0), 4));
  EXPECT_TRUE(outer.PutFieldInt16(5, 5));
  EXPECT_TRUE(outer.PutFieldInt32(6L, 6));
  EXPECT_TRUE(outer.PutFieldFloat(7.5F, 7));
  EXPECT_TRUE(outer.PutFieldAmount(HbAmount(8, 0, "EUR"), 8));
  EXPECT_TRUE(outer.PutFieldBinary(bytes, sizeof bytes, 9));
  EXPECT_TRUE(outer.PutFieldBool(true, 10));

  String text;
  HbDate date;
  HbTime time;
  short int16 = 0;
  long int32 = 0;
  float number = 0;
  HbAmount amount;
  bool flag = false;
  unsigned char buffer[8];
  unsigned long length = sizeof buffer;
  EXPECT_TRUE(inner.GetFieldString(text, 1) && inner.GetFieldDate(date, 2));
  EXPECT_TRUE(inner.GetFieldTime(time, 4) && inner.GetFieldInt16(int16, 5));
  EXPECT_TRUE(inner.GetFieldInt32(int32, 6) && inner.GetFieldFloat(number, 7));
  EXPECT_TRUE(inner.GetFieldAmount(amount, 8) && inner.GetFieldBool(flag, 10));
  EXPECT_TRUE(inner.GetFieldBinary(buffer, length, 9));
  EXPECT_TRUE(text == "text" && int16 == 5 && int32 == 6 && flag && length == 3);

  auto* const binary = static_cast<HbBinaryVariable*>(HbVariables::CreateVariable(9));
  const HbBinaryVariable& read_only = *binary;
  binary->Set(bytes, sizeof bytes);
  EXPECT_TRUE(binary->Encode(text));
  binary->Decode(text);
  EXPECT_EQ(binary->GetLength(), 3U);
  EXPECT_EQ(binary->GetData()[1], read_only.GetData()[1]);
  EXPECT_TRUE(inner.PutBinaryVar(binary, id));
  EXPECT_EQ(inner.GetBinaryVar(id), binary);
  EXPECT_NE(binary->Alloc(2), nullptr);
  binary->SetNull();
  binary->DecRefCount();

  EXPECT_EQ(inner[id], binary);
  EXPECT_EQ(inner.GetType(id), 9);
  EXPECT_TRUE(inner.IsNull(id));
  EXPECT_EQ(inner.Count(), 1U);
  EXPECT_EQ(inner.PosToId(0), id);
  EXPECT_EQ(outer.GetFollowingId(2), 4U);
  EXPECT_TRUE(inner.Unregister(id));
  HbVariable* const variable = HbVariables::CreateVariable(6);
  static_cast<HbLongVariable*>(variable)->Set(long{7});
  inner.Register(id, variable);
  variable->DecRefCount();
  EXPECT_EQ(static_cast<HbLongVariable*>(inner[id])->Get(), 7);

  HbVariablesIter walk(&inner);
  EXPECT_EQ(walk.GetFirst(), variable);
  EXPECT_EQ(walk.GetId(), id);
  EXPECT_EQ(walk.GetNext()->GetType(), 1);
  SvMemoryStream stream;
  inner.Dump(stream);
  EXPECT_NE(stream.View().find("INT32   7"), std::string_view::npos);
  inner.Clear();
  inner.SetPrev(nullptr);
  inner.SetClientData(&outer);
  inner.SetXHbClientData(&outer);
  EXPECT_TRUE(inner.GetPrev() == nullptr && inner.GetClientData() == inner.GetXHbClientData());
  EXPECT_EQ(HbVariable::RemoveUmlauts("\xE4\xDF"), "aess");
}

TEST(Interface, TextResources) {
  const tmx::TempDir directory;
  HbTextResFile file;
  file.section().add_value("a", "b");
  file.add_section("DEUTSCH").add_value("42", "zweiundvierzig");
  EXPECT_TRUE(file.exist_section("DEUTSCH") && file.is_valid());
  ASSERT_TRUE(file.save(directory.File("texts")));
  HbTextResFile loaded;
  ASSERT_TRUE(loaded.load(directory.File("texts")));
  EXPECT_TRUE(loaded.section("DEUTSCH") == file.section("DEUTSCH"));
  HbTextResSection_iter section = loaded.begin();
  EXPECT_TRUE((*section).exist_value("42") && (*section).is_valid());
  HbTextRes_const_iter entry = static_cast<const HbTextResSection&>(*section).begin();
  EXPECT_EQ((*entry).value(), "zweiundvierzig");
  EXPECT_TRUE(++entry == static_cast<const HbTextResSection&>(*section).end());
  EXPECT_EQ((*--entry).name(), "42");
  HbTextResSection_const_iter second = static_cast<const HbTextResFile&>(loaded).begin();
  EXPECT_TRUE(++second != static_cast<const HbTextResFile&>(loaded).end());
}

class Resolver : public IMessageResolver {
 public:
  bool canResolve(unsigned short code) const override { return code == 9999; }
  std::string getMessage(unsigned short) override { return "of the host"; }
  bool setLanguage(hbk::HbLanguageType) override { return false; }
};

TEST(Interface, MessageResolvers) {
  Resolver resolver;
  MessageResolverManager* const manager = MessageResolverManager::getInstance();
  manager->add(&resolver);
  EXPECT_EQ(manager->getMessage(9999), "of the host");
  manager->remove(&resolver);
  const auto german = static_cast<hbk::HbLanguageType>(1031);
  HbTextResolver::Init("ignored, as the library has begun", german);
  EXPECT_TRUE(HbTextResolver::isInit());
  EXPECT_FALSE(HbTextResolver::exist(9999, german));
  EXPECT_EQ(HbTextResolver::GetText(9999, german), "[9999]:unknown resource");
  IniFileMessageResolver texts("ignored");
  EXPECT_FALSE(texts.setLanguage(german) || texts.canResolve(9999));
  EXPECT_EQ(XORCryptor::decrypt(XORCryptor::encrypt("text")), "text");
  EXPECT_EQ(XORCryptor::decryptHex("0g"), "");
}

TEST(Interface, FilesAndScripts) {
  const tmx::TempDir directory;
  const String name = Text(directory.File("records"));
  HbError err;
  HbFile file;
  const unsigned short write = 0x2;
  ASSERT_TRUE(file.Open(err, name, write, nullptr, 0, nullptr, nullptr));
  EXPECT_TRUE(file.IsOpen() && file.GetStream() != nullptr);
  EXPECT_TRUE(file.WriteLine("A;x;y", err));
  EXPECT_FALSE(file.GetStreamError(err));
  file.Close();
  HbFile reader(err, name, 0x1), named(name);
  String line;
  EXPECT_TRUE(reader.ReadLine(line, err));
  EXPECT_EQ(named.GetFileName(), name);
  EXPECT_TRUE(named.Open(err, 0x1, nullptr, 16, nullptr, nullptr));

  HbScript script(name, err), closed;
  char kind = 0;
  unsigned short fields = 0;
  EXPECT_TRUE(script.NextToken(kind, line, fields, err));
  EXPECT_TRUE(kind == 'A' && fields == 3);
  closed.PushBackLine("B;1");
  EXPECT_TRUE(closed.NextToken(kind, line, fields, err));
  EXPECT_EQ(kind, 'B');
}

}  // namespace
