// What a bank and a user have agreed on, apart from the parameter data of a HbUser.
#pragma once

#include <string>
#include <vector>

namespace tmx::demo {

// Kept between runs.
struct Access {
  std::string system_id = "0";            // "0": the bank has given none yet
  std::string security_function = "999";  // "999": the bank has named none yet
  std::vector<std::string> allowed_functions;
  std::string tan_medium;
  std::string registration_number;  // of the product; empty: that of ConversationOptions

  friend bool operator==(const Access&, const Access&) = default;
};

}  // namespace tmx::demo
