#include "demo/host/payment_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tmx::demo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> Payments(const std::string& amounts) {
  std::vector<std::string> texts;
  for (const HbAmount& amount : PaymentsIn("<Document><PmtInf>" + amounts + "</PmtInf></Document>"))
    texts.emplace_back(amount.GetFull().View());
  return texts;
}

TEST(PaymentFile, NamesTheAmountOfEachPayment) {
  EXPECT_THAT(
      Payments("<Amt><InstdAmt Ccy=\"EUR\">12.34</InstdAmt></Amt>"
               "<Amt><p:InstdAmt x=\"1\" Ccy='USD'> 7 </p:InstdAmt></Amt>"
               "<CtrlSum>19.34</CtrlSum><InstdAmt Ccy=\"EUR\">123456789012345.67</InstdAmt>"),
      ElementsAre("12,34 EUR", "7, USD", "123456789012345,67 EUR"));
}

TEST(PaymentFile, NamesNoAmountThatIsCommentedOut) {
  EXPECT_THAT(Payments("<!-- <InstdAmt Ccy=\"EUR\">99999.99</InstdAmt> -->"), IsEmpty());
}

TEST(PaymentFile, LeavesToTheBankWhatDoesNotReadAsAnAmount) {
  for (const char* const amount :
       {"<InstdAmt>1.00</InstdAmt>", "<InstdAmt Ccy=\"EURO\">1.00</InstdAmt>",
        "<InstdAmt Ccy=\"EUR\"></InstdAmt>", "<InstdAmt Ccy=\"EUR\">.</InstdAmt>",
        "<InstdAmt Ccy=\"EUR\">1.000.000</InstdAmt>", "<InstdAmt Ccy=\"EUR\">1,00</InstdAmt>",
        "<InstdAmt Ccy=\"EUR\">-1.00</InstdAmt>", "<InstdAmt Ccy=\"EUR\">1e9</InstdAmt>",
        "<InstdAmt Ccy=\"EUR\">1234567890123456789</InstdAmt>", "<InstdAmt Ccy=\"EUR>1</InstdAmt>",
        "<InstdAmt Ccy=\"EUR\"><x>1</x></InstdAmt>"})
    EXPECT_THAT(Payments(amount), IsEmpty()) << amount;
}

TEST(PaymentFile, MayBeAnyBytes) {
  for (const std::string& bytes : {std::string(), std::string("x"), std::string(300, '\0'),
                                   std::string("\xFF\xFE<\0D\0", 6), std::string("<InstdAmt")})
    EXPECT_THAT(PaymentsIn(bytes), IsEmpty());
}

std::string Problem(const std::string& pain, std::string format = "") {
  return ProblemOfPayment(pain, format);
}

std::string In(const std::string& name) { return "<Document xmlns=\"" + name + "\"/>"; }

constexpr const char* kUrn = "urn:iso:std:iso:20022:tech:xsd:pain.001.001.09";

TEST(PaymentFile, SaysInWhichFormatItIs) {
  for (const std::string& pain :
       {In(kUrn), "<?xml version='1.0'?><p:Document xmlns:p='" + std::string(kUrn) + "'/>",
        "<Document xmlns:xsi=\"urn:x\" xsi:y=\"pain.001.001.03\" xmlns=\"" + std::string(kUrn) +
            "\"></Document>"}) {
    std::string format;
    EXPECT_EQ(ProblemOfPayment(pain, format), "") << pain;
    EXPECT_EQ(format, kUrn);
  }
}

TEST(PaymentFile, MayHaveAnotherNameForItsFormatAtTheBank) {
  EXPECT_EQ(Problem(In(kUrn), kUrn), "");
  EXPECT_EQ(Problem(In(kUrn), "sepade.pain.001.001.09.xsd"), "");
  EXPECT_EQ(Problem(In(kUrn), "urn:x"), "") << "that is between user and bank";
  EXPECT_EQ(
      Problem(In(kUrn), "sepade.pain.001.001.03.xsd"),
      "is in the namespace " + std::string(kUrn) + ", which is not sepade.pain.001.001.03.xsd");
}

TEST(PaymentFile, IsNotWhatCannotBeAPain001) {
  EXPECT_EQ(Problem(""), "is empty");
  for (const std::string& bytes :
       {std::string("no XML"), std::string(300, '\0'), std::string("\xFF\xFE<\0D\0", 6),
        In(kUrn).substr(0, 40), In(kUrn) + In(kUrn)})
    EXPECT_EQ(Problem(bytes), "is no XML in UTF-8, or not whole") << bytes;
  EXPECT_EQ(Problem("<Document/>"), "is no pain.001: its root names no namespace");
  EXPECT_EQ(Problem("<Document xmlns=>x</Document>"),
            "is no pain.001: its root names no namespace");
  EXPECT_EQ(Problem(In("urn:iso:std:iso:20022:tech:xsd:pain.008.001.02")),
            "is no pain.001: its namespace is urn:iso:std:iso:20022:tech:xsd:pain.008.001.02");
}

TEST(PaymentFile, IsNotWhatNoMessageCanHold) {
  std::string pain = In(kUrn);
  pain.resize(kLongestPayment, ' ');
  EXPECT_EQ(Problem(pain), "");
  EXPECT_EQ(Problem(pain + ' '), "is longer than the longest message, 9999 KB");
}

}  // namespace
}  // namespace tmx::demo
