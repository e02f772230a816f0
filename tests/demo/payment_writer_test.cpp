#include "demo/host/payment_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "demo/xml.h"

namespace tmx::demo {
namespace {

using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

Payment Rent() {
  return {"Erika Sandkorn",
          "DE02120300000000202051",
          "BYLADEM1001",
          "M\xC3\xBCller & <S\xC3\xB6hne>",
          "DE14999000111000471102",
          "12.34",
          "Miete\tMai"};
}

std::string LeafOf(const std::string& pain, std::string_view path) {
  const auto document = ParseXml(pain);
  if (!document) return "no XML";
  const auto found = document->Find(path);
  return found.size() == 1 ? found[0]->text : std::to_string(found.size()) + " leaves";
}

using Leaves = std::vector<std::pair<std::string, std::string>>;

// Without the id and the time, which differ.
Leaves LeavesOf(std::string pain) {
  static const std::regex ids("<(MsgId|PmtInfId|CreDtTm)>[^<]+<");
  pain = std::regex_replace(pain, ids, "<$1>x<");
  Leaves leaves;
  const auto document = ParseXml(pain);
  if (!document) return leaves;
  const std::string root = "Document/CstmrCdtTrfInitn/";
  for (const XmlLeaf& leaf : document->leaves)
    leaves.emplace_back(leaf.path.substr(root.size()), leaf.text);
  return leaves;
}

// In the order of the schema; the formats differ in the names of BIC and day.
Leaves Expected(const std::string& bic, const std::string& day) {
  return {{"GrpHdr/MsgId", "x"},
          {"GrpHdr/CreDtTm", "x"},
          {"GrpHdr/NbOfTxs", "1"},
          {"GrpHdr/CtrlSum", "12.34"},
          {"GrpHdr/InitgPty/Nm", "Erika Sandkorn"},
          {"PmtInf/PmtInfId", "x"},
          {"PmtInf/PmtMtd", "TRF"},
          {"PmtInf/NbOfTxs", "1"},
          {"PmtInf/CtrlSum", "12.34"},
          {"PmtInf/PmtTpInf/SvcLvl/Cd", "SEPA"},
          {"PmtInf/" + day, "1999-01-01"},
          {"PmtInf/Dbtr/Nm", "Erika Sandkorn"},
          {"PmtInf/DbtrAcct/Id/IBAN", "DE02120300000000202051"},
          {"PmtInf/DbtrAgt/FinInstnId/" + bic, "BYLADEM1001"},
          {"PmtInf/ChrgBr", "SLEV"},
          {"PmtInf/CdtTrfTxInf/PmtId/EndToEndId", "NOTPROVIDED"},
          {"PmtInf/CdtTrfTxInf/Amt/InstdAmt", "12.34"},
          {"PmtInf/CdtTrfTxInf/Cdtr/Nm", "M\xFCller & <S\xF6hne>"},
          {"PmtInf/CdtTrfTxInf/CdtrAcct/Id/IBAN", "DE14999000111000471102"},
          {"PmtInf/CdtTrfTxInf/RmtInf/Ustrd", "Miete Mai"}};
}

TEST(PaymentWriter, WritesWhatTheFormatDemands) {
  EXPECT_THAT(LeavesOf(PainOf(Rent(), kPain00103)),
              ElementsAreArray(Expected("BIC", "ReqdExctnDt")));
  EXPECT_THAT(LeavesOf(PainOf(Rent(), kPain00109)),
              ElementsAreArray(Expected("BICFI", "ReqdExctnDt/Dt")));
  for (const char* const format : {kPain00103, kPain00109})
    EXPECT_THAT(PainOf(Rent(), format),
                HasSubstr(std::string("<Document xmlns=\"") + format + '"'));
  EXPECT_THAT(PainOf(Rent(), kPain00103), HasSubstr("<InstdAmt Ccy=\"EUR\">12.34<"));
}

TEST(PaymentWriter, GivesEachPaymentAnIdOfItsOwn) {
  const std::string pain = PainOf(Rent(), kPain00103);
  const std::string id = LeafOf(pain, "GrpHdr/MsgId");
  EXPECT_THAT(id, MatchesRegex("tmx[0-9]{8}T[0-9]{6}Z-[0-9A-F]{12}"));
  EXPECT_LE(id.size(), 35u);
  EXPECT_EQ(LeafOf(pain, "PmtInf/PmtInfId"), id);
  EXPECT_THAT(LeafOf(pain, "GrpHdr/CreDtTm"),
              MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
  EXPECT_NE(LeafOf(PainOf(Rent(), kPain00103), "GrpHdr/MsgId"), id);
}

TEST(PaymentWriter, LeavesOutWhatIsNotKnown) {
  Payment payment = Rent();
  payment.bic.clear();
  payment.purpose.clear();
  const std::string pain = PainOf(payment, kPain00103);
  EXPECT_EQ(LeafOf(pain, "DbtrAgt/FinInstnId/Othr/Id"), "NOTPROVIDED");
  EXPECT_THAT(pain, Not(HasSubstr("BIC")));
  EXPECT_THAT(pain, Not(HasSubstr("RmtInf")));
}

}  // namespace
}  // namespace tmx::demo
