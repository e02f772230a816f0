#include "demo/host/reach.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <system_error>

namespace tmx::demo {
namespace {

using Clock = std::chrono::steady_clock;

// A socket, closed at the end.
class Socket {
 public:
  explicit Socket(const addrinfo& address)
      : file_(socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
  ~Socket() {
    if (file_ >= 0) close(file_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // 0, or the system's number of what went wrong.
  int Connect(const addrinfo& address, Clock::time_point end) const {
    if (connect(file_, address.ai_addr, address.ai_addrlen) == 0) return 0;
    if (errno != EINPROGRESS) return errno;
    pollfd waiting{file_, POLLOUT, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (poll(&waiting, 1, static_cast<int>(std::max(left, std::int64_t{0}))) <= 0) return ETIMEDOUT;
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt(file_, SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
  }

 private:
  int file_;
};

std::string Cause(int error) {
  const std::string name = std::generic_category().message(error);
  if (error == 0) return "somebody listens there by now: try again";
  if (error == ECONNREFUSED)
    return name + ": does the bank's server run there, and is the port right?";
  return name + ": is this computer on the network, and is the address right?";
}

}  // namespace

std::string WhyUnreachable(const std::string& where, const std::string& usual_port,
                           std::chrono::milliseconds patience) {
  const std::size_t behind = where.starts_with('[') ? where.find(']') : 0;
  const std::size_t colon = where.find(':', behind);
  std::string host = where.substr(0, colon);
  if (behind > 0) host = host.substr(1, behind - 1);
  const std::string port = colon == std::string::npos ? usual_port : where.substr(colon + 1);
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(host.c_str(), port.c_str(), &wanted, &found); error != 0)
    return "the name " + host + " is not known (" + gai_strerror(error) +
           "): is it right, and is this computer on the network?";
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, freeaddrinfo);
  const auto end = Clock::now() + patience;
  int error = ECONNREFUSED;
  for (const addrinfo* each = found; each != nullptr && error != 0; each = each->ai_next)
    error = Socket(*each).Connect(*each, end);
  return Cause(error);
}

}  // namespace tmx::demo
