// Why a server is not reached.
#pragma once

#include <chrono>
#include <string>

namespace tmx::demo {

// Looks again after a connection has failed, since what was told of that is not enough to mend it:
// the cause, and what to look at. `where` is a name or an address, perhaps with a port behind it;
// `[::1]` stands in brackets. Waits no longer than `patience`, apart from the name service's time.
std::string WhyUnreachable(const std::string& where, const std::string& usual_port,
                           std::chrono::milliseconds patience);

}  // namespace tmx::demo
