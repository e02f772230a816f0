// How an operation with a bank ended.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tmx::demo {

enum class Outcome : std::uint8_t {
  kDone,
  kForbidden,     // the parameters of bank or user do not allow it; it was not sent
  kNotGiven,      // the user gave no PIN or no TAN
  kNotWritten,    // the macros could not write the message
  kNoAnswer,      // the bank was not reached, or did not answer in time
  kWrongAnswer,   // what came back does not answer the message, or lacks what it must have
  kRefused,       // the bank says no
  kUncertain,     // an order that moves money was sent, but no answer says what became of it
  kNotConfirmed,  // the user has not confirmed elsewhere; what he confirms later still counts
};

// What all parts of a conversation report to. No text holds a secret.
struct Report {
  Outcome outcome = Outcome::kDone;
  std::string problem;                  // of the last operation, ISO 8859-1
  std::vector<std::string> bank_texts;  // a return code each, in the order of arrival
  bool is_shut = false;                 // the bank has refused the PIN or locked the access

  void Begin() {
    outcome = Outcome::kDone;
    problem.clear();
  }
  bool Fail(Outcome how, std::string why) {
    outcome = how;
    problem = std::move(why);
    return false;
  }
};

}  // namespace tmx::demo
