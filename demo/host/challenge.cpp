#include "demo/host/challenge.h"

#include <algorithm>
#include <optional>

#include "demo/host/segment_values.h"

namespace tmx::demo {
namespace {

// Two bytes with a length, the higher one first, then so many bytes.
std::optional<std::string_view> TakeBlock(std::string_view& bytes) {
  if (bytes.size() < 2) return std::nullopt;
  const std::size_t length = static_cast<std::size_t>(static_cast<unsigned char>(bytes[0])) * 256 +
                             static_cast<unsigned char>(bytes[1]);
  if (length > bytes.size() - 2) return std::nullopt;
  const std::string_view block = bytes.substr(2, length);
  bytes.remove_prefix(2 + length);
  return block;
}

bool IsType(std::string_view text) {
  return text.find('/') != std::string_view::npos && text.size() <= 100 &&
         std::ranges::all_of(text, [](char c) { return c > ' ' && c < '\x7F'; });
}

}  // namespace

Challenge ReadChallenge(const HbSegment& hitan, bool is_elsewhere) {
  Challenge challenge;
  challenge.text = BytesOf(hitan, field::kChallenge);
  challenge.medium = TextOf(hitan, field::kTanMedium);
  challenge.bytes = BytesOf(hitan, field::kChallengeHhdUc);
  challenge.is_elsewhere = is_elsewhere;
  if (challenge.bytes.empty()) return challenge;
  std::string_view rest = challenge.bytes;
  const auto type = TakeBlock(rest);
  const auto picture = type && IsType(*type) ? TakeBlock(rest) : std::nullopt;
  challenge.kind = picture ? ChallengeKind::kPicture : ChallengeKind::kFlicker;
  if (!picture) return challenge;
  challenge.type = *type;
  challenge.bytes = std::string(*picture);
  return challenge;
}

}  // namespace tmx::demo
