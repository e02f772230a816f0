// Texts of which nobody says whether they are ISO 8859-1 or UTF-8; what is valid UTF-8 is taken for
// it.
#pragma once

#include <string>
#include <string_view>

namespace tmx::tools {

std::string AsUtf8(std::string_view bytes);
// Characters that ISO 8859-1 does not have become "?".
std::string AsLatin1(std::string_view bytes);

}  // namespace tmx::tools
