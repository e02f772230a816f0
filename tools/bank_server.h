// The sandbox bank behind HTTP or HTTPS on the loopback address.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "demo/bank/bank_endpoint.h"

namespace tmx::tools {

struct ServerSetup {
  int port = 0;             // 0 takes any free one
  std::string certificate;  // files in PEM; HTTPS if they are named
  std::string key;
};

/// Takes requests on threads of its own from Serve to Stop or its end. Only programs on the same
/// machine reach it, and every wait for one of them has an end. Its functions belong to one thread.
class BankServer {
 public:
  BankServer();
  ~BankServer();

  /// Takes the port. Gives the reason when it cannot.
  std::optional<std::string> Bind(const ServerSetup& setup);
  int Port() const;

  /// After Bind; returns at once. The endpoint must live until Stop.
  void Serve(demo::BankEndpoint& endpoint);
  /// Answers that still wait are sent without their delay.
  void Stop();

 private:
  class Running;
  std::unique_ptr<Running> running_;
};

}  // namespace tmx::tools
