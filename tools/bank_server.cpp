#include "tools/bank_server.h"

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>
#include <utility>

namespace tmx::tools {
namespace {

constexpr const char* kLoopback = "127.0.0.1";
constexpr std::size_t kLongestBody = 1024 * 1024;
constexpr std::size_t kThreads = 8;
constexpr std::chrono::seconds kLongestWait{5};  // for a client's next bytes
constexpr int kIdleSeconds = 1;                  // until a connection without requests is closed

// Without SO_REUSEPORT, with which a second bank would get the port of the first.
void SetSocketOptions(socket_t socket) {
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

class BankServer::Running {
 public:
  std::optional<std::string> Bind(const ServerSetup& setup) {
    if (setup.certificate.empty()) {
      server_ = std::make_unique<httplib::Server>();
    } else {
      server_ = std::make_unique<httplib::SSLServer>(setup.certificate.c_str(), setup.key.c_str());
      if (!server_->is_valid())
        return setup.certificate + ", " + setup.key + ": no certificate with its key in PEM";
    }
    server_->set_socket_options(SetSocketOptions);
    server_->set_payload_max_length(kLongestBody);
    server_->set_read_timeout(kLongestWait);
    server_->set_write_timeout(kLongestWait);
    server_->set_keep_alive_timeout(kIdleSeconds);
    server_->new_task_queue = [] {
      return std::make_unique<httplib::ThreadPool>(kThreads).release();
    };
    port_ = setup.port;
    if (port_ == 0)
      port_ = server_->bind_to_any_port(kLoopback);
    else if (!server_->bind_to_port(kLoopback, port_))
      port_ = -1;
    if (port_ > 0) return std::nullopt;
    return "port " + std::to_string(setup.port) + " cannot be taken";
  }

  void Serve(demo::BankEndpoint& endpoint) {
    server_->Post(".*",
                  [this, &endpoint](const httplib::Request& request, httplib::Response& response) {
                    Answer(endpoint.Post(request.body), response);
                  });
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // A server that does not run yet cannot be stopped.
    while (!server_->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  void Stop() {
    {
      const std::lock_guard guard(mutex_);
      is_stopping_ = true;
    }
    stopping_.notify_all();
    if (!thread_.joinable()) return;
    server_->stop();
    thread_.join();
  }

  int Port() const { return port_; }

 private:
  void Answer(demo::HttpReply reply, httplib::Response& response) {
    {
      std::unique_lock lock(mutex_);
      stopping_.wait_for(lock, reply.delay, [this] { return is_stopping_; });
    }
    response.status = reply.status;
    if (!reply.is_reset) return response.set_content(std::move(reply.body), reply.type.c_str());
    // The head promises a body that does not come.
    response.set_content_provider(
        reply.body.size() + 1, reply.type.c_str(),
        [](std::size_t, std::size_t, httplib::DataSink&) { return false; });
  }

  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable stopping_;
  bool is_stopping_ = false;
  int port_ = -1;
};

BankServer::BankServer() : running_(std::make_unique<Running>()) {}
BankServer::~BankServer() { Stop(); }

std::optional<std::string> BankServer::Bind(const ServerSetup& setup) {
  // A client that goes away must not end the bank.
  std::signal(SIGPIPE, SIG_IGN);
  return running_->Bind(setup);
}

int BankServer::Port() const { return running_->Port(); }
void BankServer::Serve(demo::BankEndpoint& endpoint) { running_->Serve(endpoint); }
void BankServer::Stop() { running_->Stop(); }

}  // namespace tmx::tools
