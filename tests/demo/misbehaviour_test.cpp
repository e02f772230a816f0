#include "demo/bank/misbehaviour.h"

#include <gmock/gmock.h>

#include "demo/bank/bank_endpoint.h"
#include "demo/base64.h"
#include "tests/demo/bank_client.h"

namespace tmx::demo {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

Script Parsed(std::string_view text) {
  auto script = Script::Parse(text);
  EXPECT_TRUE(std::holds_alternative<Script>(script)) << text;
  return std::holds_alternative<Script>(script) ? std::get<Script>(script) : Script();
}

// A first request, which a bank without a script answers well.
std::string Request() {
  SandboxBank unused;
  return BankClient(unused).PlainMessage(
      "HKIDN:#:2+280:99900011+9999999999+0+0'HKVVB:#:3+12+0+0+PRODUKT+1.0'");
}

HttpReply Reply(std::string_view script) {
  BankEndpoint endpoint({}, Parsed(script));
  return endpoint.Post(ToBase64(Request()));
}

std::string Answer(std::string_view script) {
  return FromBase64(Reply(script).body).value_or("no Base64");
}

TEST(Misbehaviour, WithoutAScriptTheAnswerIsWhole) {
  const HttpReply reply = Reply("# nothing\n\n  \r\n");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.delay.count(), 0);
  EXPECT_FALSE(reply.is_reset);
  EXPECT_EQ(TakeApart(*FromBase64(reply.body)).Codes(), "0010 0020@2 0020@3");
}

TEST(Misbehaviour, CutEndsTheAnswerEarly) {
  EXPECT_EQ(Answer("cut 20"), Answer("").substr(0, 20));
  EXPECT_EQ(Answer("cut 999999"), Answer(""));
  EXPECT_EQ(Answer("cut 0"), "");
}

TEST(Misbehaviour, SizeNamesAnotherSize) {
  EXPECT_THAT(Answer("size 17"),
              StartsWith("HNHBK:1:3+000000000017+300+SANDKASTEN-DIALOG-000001+1"));
  EXPECT_EQ(Answer("size 17").size(), Answer("").size());
}

TEST(Misbehaviour, MessageNumberIsAnotherInHeadAndEnd) {
  EXPECT_THAT(Answer("message-number 7"), HasSubstr("-000001+7+SANDKASTEN-DIALOG-000001:1'"));
  EXPECT_THAT(Answer("message-number 7"), testing::EndsWith(":1+7'"));
}

TEST(Misbehaviour, SegmentGapLeavesANumberOut) {
  EXPECT_THAT(Answer("segment-gap 3"), HasSubstr("HIRMG:2:2+"));
  EXPECT_THAT(Answer("segment-gap 3"), HasSubstr("HIRMS:4:2:2+"));
  EXPECT_THAT(Answer("segment-gap 1"), StartsWith("HNHBK:2:3+"));
}

TEST(Misbehaviour, DialogNamesAnotherDialog) {
  EXPECT_THAT(Answer("dialog X?1"), HasSubstr("+300+X??1+1+SANDKASTEN-DIALOG-000001:1'"));
}

TEST(Misbehaviour, DropLeavesSegmentsOutAndNoNumber) {
  EXPECT_THAT(Answer(""), HasSubstr("HIRMS:3:2:2+"));
  EXPECT_THAT(Answer(""), HasSubstr("HNHBS:5:1+"));
  const std::string answer = Answer("drop HIRMS");
  EXPECT_EQ(TakeApart(answer).Codes(), "0010");
  EXPECT_THAT(answer, HasSubstr("HNHBS:3:1+"));
  EXPECT_EQ(Answer("drop HIXXX"), Answer(""));
  EXPECT_EQ(Answer("drop HIRMS\ndrop HIXXX"), Answer("")) << "the later holds";
}

TEST(Misbehaviour, ExtraAddsUnknownSegments) {
  const BankAnswer answer = TakeApart(Answer("extra 2"));
  EXPECT_EQ(answer.Text("XXTST"), "XXTST+??+:unbekannt+@5@'+:@?'\nXXTST+??+:unbekannt+@5@'+:@?'\n");
  EXPECT_EQ(answer.Codes(), "0010 0020@2 0020@3");
}

TEST(Misbehaviour, GarbageIsNoAnswer) {
  EXPECT_EQ(Answer("garbage 1000").size(), 1000U);
  EXPECT_TRUE(ParseSegments(Answer("garbage 1000")).error);
  EXPECT_EQ(Answer("garbage 0"), "");
}

TEST(Misbehaviour, EmptyHasNoBody) { EXPECT_EQ(Reply("empty").body, ""); }

TEST(Misbehaviour, Base64IsSpoiled) {
  EXPECT_EQ(FromBase64(Reply("base64").body), std::nullopt);
  EXPECT_EQ(FromBase64(Reply("base64\nempty").body), std::nullopt);
}

TEST(Misbehaviour, StatusComesWithAPage) {
  const HttpReply reply = Reply("status 503");
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.type, "text/html");
  EXPECT_THAT(reply.body, HasSubstr("<h1>503</h1>"));
}

TEST(Misbehaviour, ResetAndDelayAreForTheServer) {
  EXPECT_TRUE(Reply("reset").is_reset);
  EXPECT_EQ(Reply("delay 250").delay.count(), 250);
}

TEST(Misbehaviour, ARuleMayHoldForOneRequest) {
  BankEndpoint endpoint({}, Parsed("request 2 status 500\nrequest 2 delay 5 # both\n"));
  const std::string request = ToBase64(Request());
  EXPECT_EQ(endpoint.Post(request).status, 200);
  const HttpReply second = endpoint.Post(request);
  EXPECT_EQ(second.status, 500);
  EXPECT_EQ(second.delay.count(), 5);
  EXPECT_EQ(endpoint.Post(request).status, 200);
}

TEST(Misbehaviour, TheLastRuleOfAKindHolds) {
  EXPECT_EQ(Reply("status 500\nstatus 501").status, 501);
}

TEST(Misbehaviour, EveryActionIsInTheHelp) {
  for (const char* const name : {"cut N", "size N", "message-number N", "segment-gap N",
                                 "dialog ID", "drop CODE", "refuse CODE", "extra N", "garbage N",
                                 "empty", "base64", "status CODE", "reset", "delay MS"})
    EXPECT_THAT(Script::Help(), HasSubstr("  " + std::string(name) + " "));
}

struct BadScript {
  const char* text;
  int line;
  const char* what;
};

TEST(Misbehaviour, WhatIsWrongInAScriptIsSaidWithItsLine) {
  const BadScript rows[] = {
      {"explode", 1, "there is no action 'explode'"},
      {"# a\n\nempty\ncut", 4, "'cut' needs an argument"},
      {"cut x", 1, "'x' is no number from 0 to 999999999"},
      {"cut -1", 1, "'-1' is no number from 0 to 999999999"},
      {"cut 1 2", 1, "'2' is too much"},
      {"empty 1", 1, "'1' is too much"},
      {"dialog", 1, "'dialog' needs an argument"},
      {"drop", 1, "'drop' needs an argument"},
      {"status 200", 1, "'200' is no number from 400 to 599"},
      {"delay 600001", 1, "'600001' is no number from 0 to 600000"},
      {"extra 0", 1, "'0' is no number from 1 to 1000"},
      {"request", 1, "'request' needs a number from 1 on"},
      {"request 0 empty", 1, "'request' needs a number from 1 on"},
      {"request empty", 1, "'request' needs a number from 1 on"},
      {"request 2 # empty", 1, "an action is missing"},
  };
  for (const BadScript& row : rows) {
    const auto script = Script::Parse(row.text);
    ASSERT_TRUE(std::holds_alternative<ScriptError>(script)) << row.text;
    EXPECT_EQ(std::get<ScriptError>(script).line, row.line) << row.text;
    EXPECT_EQ(std::get<ScriptError>(script).text, row.what) << row.text;
  }
}

TEST(BankEndpoint, ABodyThatIsNoBase64IsRefusedAndCounted) {
  BankEndpoint endpoint({}, Parsed("request 2 empty"));
  const HttpReply reply = endpoint.Post("HNHBK:1:3");
  EXPECT_EQ(reply.status, 400);
  EXPECT_THAT(reply.body, HasSubstr("The body is no Base64."));
  EXPECT_EQ(endpoint.Post(ToBase64(Request())).body, "");
}

TEST(BankEndpoint, TheBankDoesWhatItsAnswerDoesNotSay) {
  BankEndpoint endpoint({}, Parsed("request 1 cut 3"));
  EXPECT_EQ(FromBase64(endpoint.Post(ToBase64(Request())).body), "HNH");
  SandboxBank unused;
  BankClient client(unused);
  client.dialog = "SANDKASTEN-DIALOG-000001";
  client.number = 2;
  const std::string end = client.PlainMessage("HKEND:#:1+SANDKASTEN-DIALOG-000001'");
  EXPECT_EQ(TakeApart(*FromBase64(endpoint.Post(ToBase64(end)).body)).Codes(), "0100 0010");
}

}  // namespace
}  // namespace tmx::demo
