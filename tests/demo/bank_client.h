// The client's side of a dialog with the sandbox bank: orders are written as text in the tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "demo/bank/sandbox_bank.h"
#include "demo/bank/secrets.h"

namespace tmx::demo {

// An answer out of its envelope.
struct BankAnswer {
  std::string bytes;
  std::string dialog;
  std::vector<Segment> segments;  // without envelope, HNHBK first

  // The return codes in their order, each with the number of the segment that it is about:
  // "0020@3", or the code alone when it is about the message.
  std::string Codes() const;
  bool Has(std::string_view code) const;
  // The segments with that code, without their numbers, one a line.
  std::string Text(std::string_view code) const;
  const Segment& First(std::string_view code) const;
};

// Checks length, numbers and envelope of the answer.
BankAnswer TakeApart(const std::string& bytes);

class BankClient {
 public:
  explicit BankClient(SandboxBank& bank) : bank_(&bank) {}

  // The orders with '#' where each segment's number belongs. The envelope is put around them.
  std::string Message(std::string_view orders) const;
  // The same without signature and envelope.
  std::string PlainMessage(std::string_view orders) const;

  BankAnswer Send(std::string_view orders, std::string_view tan = "");
  // A request as it stands; the answer's dialog id and the next number are taken over.
  BankAnswer SendBytes(const std::string& message);

  // Initialisation with the values below. Takes the system id over when there is a new one.
  BankAnswer Begin(std::string_view more_orders = "");
  // As a first contact, with an end: afterwards there is a system id.
  void GetSystemId();
  BankAnswer End();

  int standard = 300;
  std::string user = "4711";
  std::string customer = "4711";
  std::string pin{kPin};
  std::string tan;
  std::string function = "910";
  std::string system_id = "0";
  std::string dialog = "0";
  int number = 1;
  int bpd = 0;
  int upd = 0;

 private:
  SandboxBank* bank_;
};

}  // namespace tmx::demo
