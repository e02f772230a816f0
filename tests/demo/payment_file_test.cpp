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

}  // namespace
}  // namespace tmx::demo
