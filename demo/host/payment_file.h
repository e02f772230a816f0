// What a payment file says, as far as a host looks into it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tmxtools/core/amount.h"

namespace tmx::demo {

// What HIBPA can allow for a message, and so longer than any payment file.
inline constexpr std::size_t kLongestPayment = 9999UL << 10;

// The amounts of the single payments in a pain.001, in its order. Those that do not read as an
// amount with a currency are left out, and so is all of a file that is no XML in UTF-8: what a host
// cannot read it leaves to the bank. Takes any bytes.
std::vector<HbAmount> PaymentsIn(std::string_view pain);

// Why a file cannot be sent as a pain.001 of a format, which is named as in HISPAS; empty if it
// can. An empty format becomes the namespace of the file. Takes any bytes.
std::string ProblemOfPayment(std::string_view pain, std::string& format);

}  // namespace tmx::demo
