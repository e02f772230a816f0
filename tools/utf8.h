// Texts of which nobody says whether they are ISO 8859-1 or UTF-8; what is valid UTF-8 is taken for
// it.
#pragma once

#include <string>
#include <string_view>

#include "tools/log_bytes.h"

namespace tmx::tools {

std::string AsUtf8(std::string_view bytes);
bool IsUtf8(const Produce& text);

// The same for a text that comes in pieces. It is asked for twice.
void PutAsUtf8(const Produce& text, const Sink& to);
// Characters that ISO 8859-1 does not have become "?".
void PutAsLatin1(const Produce& text, const Sink& to);

}  // namespace tmx::tools
