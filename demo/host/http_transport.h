// The way to the bank: HTTP or HTTPS with messages in Base64.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace tmx::demo {

struct HttpOptions {
  std::string url;      // http:// or https://, with a host, perhaps a port and a path
  std::string ca_file;  // certificates in PEM that the bank's must come from; empty: the system's
  std::chrono::milliseconds connect_time{10000};
  std::chrono::milliseconds step_time{30000};    // for the next bytes to come or go
  std::chrono::milliseconds whole_time{120000};  // for a whole answer
  std::size_t most_bytes = 32UL << 20;           // of a body
};

// Sends messages and takes their answers. An HTTPS connection is made only if the certificate is
// valid and names the host; redirections are not followed.
//
// Owner: its maker. Empty state: none. Threads: one at a time. Each exchange has a connection of
// its own.
class HttpTransport {
 public:
  explicit HttpTransport(HttpOptions options) : options_(std::move(options)) {}

  // Why an address cannot be used; empty if it can. Credentials in it, for one, would be written
  // where it is, and without TLS a PIN may go to this computer only.
  static std::string ProblemOf(const std::string& url);

  // The answer's bytes; or false, and a sentence about what went wrong, which holds nothing of the
  // message. Nothing of the message stays in memory.
  bool Exchange(std::string_view message, std::string& answer, std::string& problem) const;

  // What Exchange makes of a reply: its status and its body in Base64.
  static bool TakeReply(int status, const std::string& body, std::string& answer,
                        std::string& problem);

 private:
  HttpOptions options_;
};

}  // namespace tmx::demo
