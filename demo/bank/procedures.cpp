#include "demo/bank/procedures.h"

#include <algorithm>

namespace tmx::demo {
namespace {

// A picture of one white point.
constexpr std::string_view kPicture(
    "\211PNG\015\012\032\012\000\000\000\015IHDR\000\000\000\001\000\000\000\001\010\000\000\000"
    "\000:~\233U"
    "\000\000\000\012IDATx\332c\370\017\000\001\001\001\000\034\260\214\231\000\000\000\000IEND\256"
    "B`\202",
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
