#include "demo/bank/procedures.h"

#include <algorithm>

namespace tmx::demo {
namespace {

// A picture of one white point.
constexpr std::string_view kPicture(
    "\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\x08\0\0\0\0\x3A\x7E\x9B\x55"
    "\0\0\0\x0AIDAT\x78\xDA\x63\xF8\x0F\0\1\1\1\0\x1B\xB6\xEE\x56\0\0\0\0IEND\xAE\x42\x60\x82",
    67);
constexpr std::string_view kFlickerCode = "1784047110112000050815";

// Two bytes with the length, then the bytes.
std::string WithLength(std::string_view bytes) {
  std::string out{static_cast<char>(bytes.size() / 256), static_cast<char>(bytes.size() % 256)};
  return out.append(bytes);
}

}  // namespace

const Procedure* FindProcedure(std::string_view function) {
  const auto found = std::find_if(kProcedures.begin(), kProcedures.end(),
                                  [&](const Procedure& p) { return p.function == function; });
  return found == kProcedures.end() ? nullptr : &*found;
}

const TanMedium* FindMedium(std::string_view user, std::string_view name) {
  const auto found = std::find_if(kMedia.begin(), kMedia.end(), [&](const TanMedium& medium) {
    return medium.user == user && medium.name == name;
  });
  return found == kMedia.end() ? nullptr : &*found;
}

std::string ChallengeBytes(const TanMedium& medium) {
  if (!medium.shows_picture) return std::string(kFlickerCode);
  return WithLength("image/png") + WithLength(kPicture);
}

}  // namespace tmx::demo
