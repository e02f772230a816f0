// Each subroutine of the file "general", with good and with malformed texts.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/macros/shipped.h"

namespace tmx::test {
namespace {

HostParam Null(unsigned type) { return {type, true, ""}; }
HostParam At(int position) { return {5, false, std::to_string(position)}; }
HostParam Number(long number) { return {6, false, std::to_string(number)}; }
HostParam Amount(std::string amount) { return {8, false, std::move(amount)}; }
HostParam Day(std::string day) { return {2, false, std::move(day)}; }
HostParam Flag(bool flag) { return {10, false, flag ? "true" : "false"}; }

// A run that is over, as a text: the values of the parameters from `first` on, or "!" and the name
// of the fault.
std::string Told(const RunOutcome& run, std::size_t first) {
  if (!run.ok || !run.status.empty()) {
    const ErrorLink link = run.status.empty() ? ErrorLink{} : run.status.front();
    const std::string fault = link.param.substr(0, link.param.find(' '));
    return (link.code == 17496 ? "!" : "hard error: ") + fault;
  }
  std::string values;
  for (std::size_t i = first; i < run.params.size(); ++i)
    values += (i == first ? "" : "|") + run.params[i].value;
  return values;
}

class General : public testing::Test {
 protected:
  std::string Told(const std::string& sub, const std::vector<HostParam>& params,
                   std::size_t first) {
    return test::Told(host_.Run(sub, params), first);
  }
  // position|text|kind|delimiter
  std::string Part(const std::string& data, int at = 0) {
    return Told("ReadPart", {Text(data), At(at), Null(1), Null(1), Null(1)}, 1);
  }
  std::string Value(const std::string& sub, unsigned type, const std::string& data) {
    return Told(sub, {Text(data), At(0), Null(type), Null(1)}, 2);
  }
  std::string Output(const std::string& sub, const std::vector<HostParam>& params) {
    const RunOutcome run = host_.Run(sub, params);
    EXPECT_TRUE(run.ok && run.status.empty()) << sub;
    return run.output;
  }
  std::string Written(const std::string& sub, const HostParam& value) {
    return Output(sub, {Text("+:"), value});
  }

  MacroHost host_;
};

TEST_F(General, APartEndsAtEachDelimiter) {
  EXPECT_EQ(Part("ab+c'"), "3|ab|text|+");
  EXPECT_EQ(Part("ab:c'"), "3|ab|text|:");
  EXPECT_EQ(Part("ab'"), "3|ab|text|'");
  EXPECT_EQ(Part("xx+ab'", 3), "6|ab|text|'");
}

TEST_F(General, EmptyPartsAreEmptyTexts) {
  EXPECT_EQ(Part("+a'"), "1||text|+");
  EXPECT_EQ(Part("::a'", 1), "2||text|:");
  EXPECT_EQ(Part("'"), "1||text|'");
}

TEST_F(General, AnEscapeTakesTheNextCharacterAsItIs) {
  EXPECT_EQ(Part("?+?:?'??+x'"), "9|+:'?|text|+");
  EXPECT_EQ(Part("a?@b'"), "5|a@b|text|'");
  EXPECT_EQ(Part("?@3?@abc'"), "9|@3@abc|text|'");
  EXPECT_EQ(Part("?a'"), "3|a|text|'");
}

TEST_F(General, AnAtSignInsideATextIsAnOrdinaryCharacter) {
  EXPECT_EQ(Part("a@5@b'"), "6|a@5@b|text|'");
}

TEST_F(General, BytesAbove127AndControlCharactersStay) {
  const std::string text = "\xE4\xF6\xFC\xDF\xFF\r\n\x01";
  EXPECT_EQ(Part(text + "+"), "9|" + text + "|text|+");
  const std::string zero("a\0b", 3);
  EXPECT_EQ(Part(zero + "'"), "4|" + zero + "|text|'");
}

TEST_F(General, BinaryDataMayHoldDelimitersAndEscapes) {
  EXPECT_EQ(Part("@8@a+b:c'?@+x'"), "12|a+b:c'?@|binary|+");
  EXPECT_EQ(Part("@1@''"), "5|'|binary|'");
  EXPECT_EQ(Part("@0@:x'"), "4||binary|:");
  EXPECT_EQ(Part("@003@abc'"), "9|abc|binary|'");
}

TEST_F(General, BinaryDataThatIsAnnouncedTooShortGoesOnToTheNextDelimiter) {
  EXPECT_EQ(Part("@3@abcde+x'"), "9|abcde|mended|+");
  EXPECT_EQ(Part("@0@ab'"), "6|ab|mended|'");
}

TEST_F(General, BinaryDataThatIsAnnouncedOneTooLongEndsAtItsDelimiter) {
  EXPECT_EQ(Part("@4@abc+x'"), "7|abc|mended|+");
  EXPECT_EQ(Part("@4@abc'HNHBS:2:1+1'"), "7|abc|mended|'");
  EXPECT_EQ(Part("@4@abc'"), "7|abc|mended|'");
}

TEST_F(General, PositionsPast32767AreReached) {
  const std::string data = std::string(40000, 'x') + "+y'";
  const std::string position = std::to_string(40001 - 65536);
  EXPECT_EQ(Part(data), position + "|" + std::string(40000, 'x') + "|text|+");
  EXPECT_EQ(Part("@40000@" + data),
            std::to_string(40008 - 65536) + "|" + std::string(40000, 'x') + "|binary|+");
}

TEST_F(General, ATextOfFullLengthIsReadToItsEnd) {
  const std::string text(65534, 'x');
  EXPECT_EQ(Part(text + "'"), "-1|" + text + "|text|'");
  EXPECT_EQ(Told("HasMore", {Text(text + "'"), At(-1), Null(10)}, 2), "false");
  EXPECT_EQ(Told("HasMore", {Text(text + "'"), At(-2), Null(10)}, 2), "true");
}

TEST_F(General, ATextThatEndsInAnEscapeIsAFault) {
  EXPECT_EQ(Part("ab?"), "!CutOffInEscape");
  EXPECT_EQ(Part("?"), "!CutOffInEscape");
}

TEST_F(General, ATextWithoutItsTerminatorIsAFault) {
  EXPECT_EQ(Part("ab"), "!ElementNotEnded");
  EXPECT_EQ(Part(""), "!ElementNotEnded");
  EXPECT_EQ(Part("ab?'"), "!ElementNotEnded");
  EXPECT_EQ(Part("@2@abc"), "!ElementNotEnded");
  EXPECT_EQ(Part("@2@ab"), "!ElementNotEnded");
}

TEST_F(General, BinaryDataLongerThanTheTextIsAFault) {
  EXPECT_EQ(Part("@9@abc'"), "!BinaryTooLong");
  EXPECT_EQ(Part("@65535@abc'"), "!BinaryTooLong");
  EXPECT_EQ(Part("@65540@abc'"), "!BinaryTooLong");
  EXPECT_EQ(Part("@99999999999999999999@abc'"), "!BinaryTooLong");
}

TEST_F(General, AnAtSignWithoutALengthIsAFault) {
  EXPECT_EQ(Part("@@abc'"), "!BinaryWithoutLength");
  EXPECT_EQ(Part("@3abc'"), "!BinaryWithoutLength");
  EXPECT_EQ(Part("@-3@abc'"), "!BinaryWithoutLength");
  EXPECT_EQ(Part("@12"), "!BinaryWithoutLength");
  EXPECT_EQ(Part("@"), "!BinaryWithoutLength");
}

TEST_F(General, AHeadHasThreeOrFourParts) {
  const auto head = [this](const std::string& data) {
    return Told("ReadHead", {Text(data), At(0), Null(1), Number(0), Number(0), Number(7), Null(1)},
                2);
  };
  EXPECT_EQ(head("HISAL:4:6:3+x'"), "HISAL|4|6|3|+");
  EXPECT_EQ(head("HISAL:4:6'"), "HISAL|4|6|0|'");
  EXPECT_EQ(head("HISAL:4:6:+x'"), "HISAL|4|6|0|+");
  EXPECT_EQ(head("HISAL+x'"), "!NotAHead");
  EXPECT_EQ(head("HISAL:4+x'"), "!NotAHead");
  EXPECT_EQ(head("HISAL:4:6:3:1+x'"), "!NotAHead");
  EXPECT_EQ(head("HISAL:x:6+x'"), "!NotANumber");
  EXPECT_EQ(head("HISAL"), "!ElementNotEnded");
}

TEST_F(General, DatesAreEightDigitsAndInTheCalendar) {
  EXPECT_EQ(Value("ReadDate", 2, "20040229+"), "20040229|+");
  EXPECT_EQ(Value("ReadDate", 2, "19991231'"), "19991231|'");
  EXPECT_EQ(Value("ReadDate", 2, "+"), "0|+");
  for (const char* bad :
       {"20030229'", "20031301'", "20030001'", "20030100'", "20030132'", "2003010'", "200301011'",
        "2003010a'", " 2003010'", "2003-1-1'", "20030101 '", "00000000'"})
    EXPECT_EQ(Value("ReadDate", 2, bad), "!NotADate") << bad;
}

TEST_F(General, AmountsAreReadWithTheirSignAndAllTheirDecimals) {
  for (const char* amount :
       {"123,45", "-12,50", "0,", "0,00", "0,05", "-0,05", "7,", "-7,", "1000,", "12,5",
        "0,123456789", "99999999999999999999999,99", "-99999999999999999999999,01"})
    EXPECT_EQ(Value("ReadAmount", 8, amount + std::string("+")), amount + std::string("|+"));
  EXPECT_EQ(Value("ReadAmount", 8, "'"), "|'");
}

TEST_F(General, WhatIsNotWrittenAsAnAmountIsAFault) {
  for (const char* bad : {"12", "-", "--5,", "-,5", ",", ",5", "1.000,00", "1,2,3", "a", "1,a",
                          "1,-5", "007,5", "+5,", " 5,", "5, ", "1 2,", "5 ,"})
    EXPECT_EQ(Told("ToAmount", {Text(bad), Null(8)}, 1), "!NotAnAmount") << bad;
}

TEST_F(General, YesAndNoAreJAndN) {
  EXPECT_EQ(Value("ReadYesNo", 10, "J+"), "true|+");
  EXPECT_EQ(Value("ReadYesNo", 10, "N+"), "false|+");
  EXPECT_EQ(Value("ReadYesNo", 10, "+"), "false|+");
  EXPECT_EQ(Value("ReadYesNo", 10, "JN+"), "!NotYesOrNo");
  EXPECT_EQ(Value("ReadYesNo", 10, "1+"), "!NotYesOrNo");
}

TEST_F(General, NumbersMayHaveLeadingZeros) {
  EXPECT_EQ(Value("ReadNumber", 6, "000000001418+"), "1418|+");
  EXPECT_EQ(Value("ReadNumber", 6, "2147483647+"), "2147483647|+");
  EXPECT_EQ(Value("ReadNumber", 6, "000+"), "0|+");
  EXPECT_EQ(Value("ReadNumber", 6, "+"), "0|+");
  for (const char* bad : {"2147483648'", "4294967297'", "12a'", "a'", "-1'", " 1'", "1 '"})
    EXPECT_EQ(Value("ReadNumber", 6, bad), "!NotANumber") << bad;
}

TEST_F(General, ACallerCanGoOnBehindAPartThatIsNoDate) {
  host_.Add("caller", R"(
sub Caller(string data)
  local int pos = 0
  local date day
  local string ended
  call ReadDate(data, pos, day, ended)
  if not success
    write_string "no date, "
  end
  call ReadDate(data, pos, day, ended)
  if success
    write_date day, "d.m.yy"
  end
end
)");
  EXPECT_EQ(Output("Caller", {Text("tomorrow+20031224'")}), "no date, 24.12.2003");
}

TEST_F(General, TheRestOfAnElementOrASegmentIsPassed) {
  EXPECT_EQ(Told("SkipElement", {Text("b:@3@c+d:e+f'g"), At(0), Text(":")}, 1), "11|+");
  EXPECT_EQ(Told("SkipElement", {Text("b+f'"), At(0), Text("+")}, 1), "0|+");
  EXPECT_EQ(Told("SkipSegment", {Text("b:@3@c'd:e?'+f'g'"), At(0), Text("+")}, 1), "15|'");
  EXPECT_EQ(Told("SkipSegment", {Text("b:c"), At(0), Text("+")}, 1), "!ElementNotEnded");
}

TEST_F(General, LengthsDoNotTurnNegative) {
  for (const std::size_t length : {0u, 1u, 32767u, 32768u, 32769u, 65535u})
    EXPECT_EQ(Told("LengthOf", {Text(std::string(length, 'x')), Null(6)}, 1),
              std::to_string(length));
}

TEST_F(General, WrittenTextsAreEscaped) {
  EXPECT_EQ(Written("WriteText", Text("a+b:c'd?e@f")), "+:a?+b?:c?'d??e?@f");
  EXPECT_EQ(Written("WriteText", Text("+")), "+:?+");
  EXPECT_EQ(Written("WriteText", Text("plain \xE4")), "+:plain \xE4");
  EXPECT_EQ(Written("WriteText", Text("")), "");
}

TEST_F(General, EveryByteIsReadAsItWasWritten) {
  std::string text;
  for (int c = 0; c < 256; ++c) text += static_cast<char>(c);
  const std::string written = Output("WriteText", {Text(""), Text(text)});
  EXPECT_EQ(Part(written + "'"), std::to_string(written.size() + 1) + "|" + text + "|text|'");
}

TEST_F(General, WrittenBinaryDataHasItsLength) {
  EXPECT_EQ(Written("WriteBinary", Text("a+b'")), "+:@4@a+b'");
  EXPECT_EQ(Written("WriteBinary", Text("")), "+:@0@");
  const std::string large(40000, '+');
  EXPECT_EQ(Written("WriteBinary", Text(large)), "+:@40000@" + large);
}

TEST_F(General, WrittenAmountsKeepTheirDecimalsAndHaveAComma) {
  for (const char* amount : {"123,45", "0,", "-12,50", "-0,05", "1000,", "0,123456"})
    EXPECT_EQ(Written("WriteAmount", Amount(amount)), std::string("+:") + amount);
  EXPECT_EQ(Written("WriteAmount", Amount("12")), "+:12,");
  EXPECT_EQ(Written("WriteAmount", Amount("1.234,5")), "+:1234,5");
  EXPECT_EQ(Written("WriteAmount", Amount("")), "");
}

TEST_F(General, WrittenDatesAreYearMonthDay) {
  EXPECT_EQ(Written("WriteDate", Day("20031224")), "+:20031224");
  EXPECT_EQ(Written("WriteDate", Null(2)), "");
}

TEST_F(General, WrittenFlagsAndNumbers) {
  EXPECT_EQ(Written("WriteYesNo", Flag(true)), "+:J");
  EXPECT_EQ(Written("WriteYesNo", Flag(false)), "+:N");
  EXPECT_EQ(Written("WriteNumber", Number(0)), "+:0");
  EXPECT_EQ(Written("WriteNumber", Number(123456)), "+:123456");
}

TEST_F(General, AHeadIsWrittenWithAndWithoutAReference) {
  EXPECT_EQ(Output("WriteHead", {Text("HISAL"), Number(4), Number(6), Number(3)}), "HISAL:4:6:3");
  EXPECT_EQ(Output("WriteHead", {Text("HKSAL"), Number(4), Number(6), Number(0)}), "HKSAL:4:6");
}

// Writes A:1:1+x::+:y++z:++:' part by part.
constexpr char kTrailing[] = R"(
sub Trailing(bool keep)
  local string pending = ""
  call WriteHead("A", 1, 1, 0)
  call NextElement(pending, keep)
  call WriteText(pending, "x")
  call NextPart(pending)
  call WriteText(pending, "")
  call NextPart(pending)
  call NextElement(pending, keep)
  call NextPart(pending)
  call WriteText(pending, "y")
  call NextElement(pending, keep)
  call NextElement(pending, keep)
  call WriteText(pending, "z")
  call NextPart(pending)
  call NextElement(pending, keep)
  call NextElement(pending, keep)
  call NextPart(pending)
  call EndSegment(pending, keep)
end
)";

TEST_F(General, EmptyElementsAndPartsAtTheEndAreLeftOutOrKept) {
  host_.Add("trailing", kTrailing);
  EXPECT_EQ(Output("Trailing", {Flag(false)}), "A:1:1+x+:y++z'");
  EXPECT_EQ(Output("Trailing", {Flag(true)}), "A:1:1+x::+:y++z:++:'");
}

TEST_F(General, ALongEscapedTextIsReadInTimeLinearInItsLength) {
  const auto steps = [this](std::size_t length) {
    std::string data;
    while (data.size() < length) data += "abcdefgh?+";
    return host_.Run("ReadText", {Text(data + "'"), At(0), Null(1), Null(1)}).steps;
  };
  EXPECT_LT(steps(60000), 11 * steps(6000));
}

// The example of docs/macros.md, as it stands there.
TEST_F(General, TheExampleOfTheDocsRuns) {
  const std::string docs = *ReadFile(TMX_SOURCE_DIR "/docs/macros.md");
  const std::string begin = "```hbm\n";
  const std::size_t at = docs.find(begin) + begin.size();
  host_.Add("docs", docs.substr(at, docs.find("```\n", at) - at));
  EXPECT_EQ(Output("Balances", {Text("HIRMG:2:2+0010::ok'HISAL:3:6:3+77?+1::280:10+Giro'"
                                     "HISAL:4:6:3+78::280:10+Sparen'")}),
            "77+1\n78\n");
}

class Answer : public testing::Test {
 protected:
  MacroHost host_{{"macros/answer.hbm"}};
};

TEST_F(Answer, TheContainerIsTakenApart) {
  const std::string inner = "HNSHK:2:4+x'HISAL:3:6:3+@3@a'b+'HNSHA:4:2+1'";
  const std::string message = "HNHBK:1:3'HNVSK:998:3+PIN:2'HNVSD:999:1+@" +
                              std::to_string(inner.size()) + "@" + inner + "'HNHBS:5:1+1'";
  const RunOutcome run = host_.Run("TakeApart", {Text(message)});
  EXPECT_EQ(run.output,
            "HNHBK 1 3 0\nHNVSK 998 3 1\nHNVSD 999 1 1\nHNSHK 2 4 1\nHISAL 3 6 2\nHNSHA 4 2 "
            "1\nHNHBS 5 1 1\n");
  EXPECT_EQ(host_.Run("WriteBack", {Text(message)}).output, message);
}

TEST_F(Answer, WhatIsWrongAndWasCopedWithIsTold) {
  const RunOutcome run =
      host_.Run("TakeApart", {Text("HNHBK:1:3+000000000099+300'HIKAZ:4:6:3+@2@abc'HNHBS:5:1+1'")});
  EXPECT_EQ(run.output,
            "! the message has 58 bytes and announces 99\n"
            "HNHBK 1 3 2\n"
            "! the next segment announces a wrong length of binary data\n"
            "! the next segment should have the number 2\n"
            "HIKAZ 4 6 1\n"
            "HNHBS 5 1 1\n");
}

TEST_F(Answer, AMendedLengthIsWrittenAsItShouldBe) {
  EXPECT_EQ(host_.Run("WriteBack", {Text("HIKAZ:4:6+@2@abc'")}).output, "HIKAZ:4:6+@3@abc'");
}

TEST_F(Answer, AnEmptyMessageHasNoSegments) {
  EXPECT_EQ(host_.Run("WriteBack", {Text("")}).output, "");
}

TEST_F(Answer, AMessageThatIsCutOffAnywhereIsAFault) {
  const std::string message = "HISAL:4:6:3+a?+b:@3@x'y++c'";
  for (std::size_t length = 1; length < message.size(); ++length) {
    const std::string cut = message.substr(0, length);
    EXPECT_EQ(Told(host_.Run("WriteBack", {Text(cut)}), 0).front(), '!') << cut;
    EXPECT_EQ(Told(host_.Run("TakeApart", {Text(cut)}), 0).front(), '!') << cut;
  }
}

}  // namespace
}  // namespace tmx::test
