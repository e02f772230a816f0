// Holds request messages against the rules of the message standard, knowing nothing of the code
// that builds them.
#pragma once

#include <string>
#include <string_view>

namespace tmx::test {

/// The first rule that a message of version 300 breaks, or an empty text. Takes any bytes. Values
/// of one thread.
std::string CheckMessage(std::string_view bytes);

}  // namespace tmx::test
