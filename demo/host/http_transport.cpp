#include "demo/host/http_transport.h"

#include <arpa/inet.h>
#include <httplib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "demo/base64.h"
#include "demo/host/reach.h"
#include "demo/secret_string.h"

namespace tmx::demo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kOk = 200;
constexpr std::string_view kLoopback6 = "[::1]";
constexpr std::string_view kPlain = "http://";

struct Address {
  std::string server;  // scheme, host and port
  std::string path;
  bool is_secure = false;
};

bool IsHostChar(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
         c == '.';
}

// A port with its colon, or nothing.
bool IsPort(std::string_view text) {
  if (text.empty()) return true;
  text.remove_prefix(1);
  if (text.empty() || text.size() > 5) return false;
  int port = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    port = port * 10 + (c - '0');
  }
  return port >= 1 && port <= 65535;
}

// How much of a server is its host.
std::size_t HostLength(std::string_view server) {
  if (server.starts_with(kLoopback6)) return kLoopback6.size();
  return static_cast<std::size_t>(std::ranges::find_if_not(server, IsHostChar) - server.begin());
}

bool IsServer(std::string_view text) {
  const std::size_t length = HostLength(text);
  return length > 0 && (length == text.size() || text[length] == ':') &&
         IsPort(text.substr(length));
}

std::optional<Address> Split(const std::string& url) {
  for (const std::string_view scheme : {kPlain, std::string_view("https://")}) {
    if (!url.starts_with(scheme)) continue;
    const std::size_t end = std::min(url.find_first_of("/?#", scheme.size()), url.size());
    const std::string path = url.substr(end);
    const bool is_path = std::ranges::all_of(path, [](char c) { return c > ' ' && c < 0x7F; });
    if (!IsServer(std::string_view(url).substr(scheme.size(), end - scheme.size())) || !is_path ||
        path.find('#') != std::string::npos)
      return std::nullopt;
    return Address{url.substr(0, end), path.starts_with('/') ? path : "/" + path,
                   scheme == "https://"};
  }
  return std::nullopt;
}

// Whether bytes that go to this server stay on this computer.
bool IsLoopback(std::string_view server) {
  const std::string host(server.substr(0, HostLength(server)));
  std::array<unsigned char, 4> bytes{};
  return host == "localhost" || host == kLoopback6 ||
         (inet_pton(AF_INET, host.c_str(), bytes.data()) == 1 && bytes[0] == 127);
}

// Host and port of a server with its scheme.
std::string_view Authority(std::string_view server) { return server.substr(server.find("//") + 2); }

// Why a certificate is not taken. A valid one names another host.
std::string Distrust(const httplib::Client& client, const HttpOptions& options) {
  const long cause = client.get_openssl_verify_result();
  if (cause == X509_V_OK) return "the bank's certificate is not valid here: it names another host";
  return "the bank's certificate is not valid here: " +
         std::string(X509_verify_cert_error_string(cause)) + "; what signs it must stand in " +
         (options.ca_file.empty()
              ? "the system's certificates, or in a file to trust (tmx client --ca)"
              : options.ca_file);
}

// What went wrong, where, and what to look at.
std::string Describe(httplib::Error error, const httplib::Client& client, const Address& address,
                     const HttpOptions& options) {
  const std::string where(Authority(address.server));
  const std::string insecure = "no secure connection to " + where + ": ";
  switch (error) {
    case httplib::Error::ConnectionTimeout:
      return "the bank cannot be reached: no connection to " + where +
             " in time: is the address right, or is there a firewall?";
    case httplib::Error::Connection:
      return "the bank cannot be reached: no connection to " + where + ": " +
             WhyUnreachable(where, address.is_secure ? "443" : "80", options.connect_time);
    case httplib::Error::Read:
      return "the bank's answer is cut or does not come in time, from " + where;
    case httplib::Error::Write:
      return "the message cannot be sent to " + where + ", or not in time";
    case httplib::Error::SSLConnection:
      return insecure + "the other side does not speak TLS, or refuses it: is the port right?";
    case httplib::Error::SSLLoadingCerts:
      return insecure + "the file of certificates " + options.ca_file +
             " cannot be used: it must be readable and hold certificates in PEM";
    case httplib::Error::SSLServerVerification:
      return insecure + Distrust(client, options);
    default:
      return "the bank cannot be reached at " + where + ": " + httplib::to_string(error);
  }
}

void Prepare(httplib::Client& client, const HttpOptions& options) {
  client.set_connection_timeout(options.connect_time);
  client.set_read_timeout(options.step_time);
  client.set_write_timeout(options.step_time);
  client.set_follow_location(false);
  client.set_keep_alive(false);
  client.enable_server_certificate_verification(true);
  if (!options.ca_file.empty()) client.set_ca_cert_path(options.ca_file);
}

// Ends a client's waiting when the time is over, wherever it waits.
class Deadline {
 public:
  Deadline(httplib::Client& client, Clock::duration time)
      : client_(client), thread_([this, time] { Watch(time); }) {}
  ~Deadline() {
    {
      const std::lock_guard lock(mutex_);
      is_done_ = true;
    }
    done_.notify_all();
    thread_.join();
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  bool IsOver() const { return is_over_; }

 private:
  static constexpr std::chrono::milliseconds kAgain{50};

  // Stopping again and again meets a connection that comes about meanwhile.
  void Watch(Clock::duration time) {
    std::unique_lock lock(mutex_);
    const auto is_done = [this] { return is_done_; };
    for (bool done = done_.wait_for(lock, time, is_done); !done;
         done = done_.wait_for(lock, kAgain, is_done)) {
      is_over_ = true;
      client_.stop();
    }
  }

  httplib::Client& client_;
  std::mutex mutex_;
  std::condition_variable done_;
  bool is_done_ = false;
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

// An answer's body while it comes.
struct Body {
  std::string bytes;
  std::string problem;  // why no more of it is taken
};

// The status, or what went wrong in `body.problem`.
int Post(const HttpOptions& options, const Address& address, const SecretString& message,
         Body& body) {
  httplib::Client client(address.server);
  if (!client.is_valid()) {
    body.problem = Describe(httplib::Error::SSLLoadingCerts, client, address, options);
    return 0;
  }
  Prepare(client, options);
  httplib::Request request;
  request.method = "POST";
  request.path = address.path;
  // A request is copied with its body, but not with what it gets its body from.
  request.content_length_ = message.size();
  request.content_provider_ = [&message](std::size_t at, std::size_t count,
                                         httplib::DataSink& sink) {
    return sink.write(message.data() + at, count);
  };
  request.headers = {{"Content-Type", "text/plain"}};
  request.content_receiver = [&](const char* data, std::size_t count, std::uint64_t,
                                 std::uint64_t length) {
    if (length > options.most_bytes || count > options.most_bytes - body.bytes.size())
      body.problem = "the bank's answer is too large";
    else
      body.bytes.append(data, count);
    return body.problem.empty();
  };
  const Deadline deadline(client, options.whole_time);
  const httplib::Result result = client.send(request);
  if (result && !deadline.IsOver()) return result->status;
  if (deadline.IsOver()) body.problem = "the bank's answer does not come in time";
  if (body.problem.empty()) body.problem = Describe(result.error(), client, address, options);
  return 0;
}

}  // namespace

std::string HttpTransport::ProblemOf(const std::string& url) {
  if (const auto address = Split(url)) {
    if (address->is_secure || IsLoopback(std::string_view(address->server).substr(kPlain.size())))
      return "";
    return "use https://, since the PIN would go over the network in clear; http:// is for this "
           "computer alone";
  }
  return "must be http:// or https:// with a host, perhaps a port from 1 to 65535 and a path";
}

bool HttpTransport::Exchange(std::string_view message, std::string& answer,
                             std::string& problem) const {
  if (const std::string wrong = ProblemOf(options_.url); !wrong.empty()) {
    problem = "the address of the bank: " + wrong;
    return false;
  }
  const auto address = Split(options_.url);
  Body body;
  const int status = Post(options_, *address, ToBase64<SecretString>(message), body);
  problem = body.problem;
  return problem.empty() && TakeReply(status, body.bytes, answer, problem);
}

bool HttpTransport::TakeReply(int status, const std::string& body, std::string& answer,
                              std::string& problem) {
  const auto fail = [&](std::string why) {
    problem = std::move(why);
    return false;
  };
  if (status != kOk) return fail("the bank's server answers with status " + std::to_string(status));
  auto decoded = FromBase64(body);
  if (!decoded) return fail("the bank's answer is no Base64");
  if (decoded->empty()) return fail("the bank's answer is empty");
  answer = std::move(*decoded);
  return true;
}

}  // namespace tmx::demo
