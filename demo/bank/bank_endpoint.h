// The sandbox bank as a web server sees it: the body of a POST in, status and body out.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "demo/bank/misbehaviour.h"
#include "demo/bank/sandbox_bank.h"

namespace tmx::demo {

struct HttpReply {
  int status = 200;
  std::string body;
  std::string type = "text/plain";
  std::chrono::milliseconds delay{0};  // to wait before it is sent
  bool is_reset = false;               // close the connection instead of sending the body
};

/// Takes Base64 off and puts it on, and misbehaves as the script says. Owns the bank. Several
/// threads may post at a time; the bank answers them one after the other.
class BankEndpoint {
 public:
  explicit BankEndpoint(BankOptions options = {}, Script script = {});

  /// A body that is no Base64 gets the status 400 and does not reach the bank; it counts as a
  /// request.
  HttpReply Post(std::string_view body);

 private:
  std::mutex mutex_;
  SandboxBank bank_;
  Script script_;
  int requests_ = 0;
};

}  // namespace tmx::demo
