// What a payment file says, as far as a host looks into it.
#pragma once

#include <string_view>
#include <vector>

#include "tmxtools/core/amount.h"

namespace tmx::demo {

// The amounts of the single payments in a pain.001, in its order. Those that do not read as an
// amount with a currency are left out, and so is all of a file that is no XML in UTF-8: what a host
// cannot read it leaves to the bank. Takes any bytes.
std::vector<HbAmount> PaymentsIn(std::string_view pain);

}  // namespace tmx::demo
