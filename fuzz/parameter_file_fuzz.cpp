// The decrypted contents of a parameter file: they are refused, and no user comes of it, or read;
// what was read is written as it stood or, once written, reads alike.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/stored_user.h"

namespace {

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

std::string Encode(const tmx::demo::StoredUsers& users) {
  std::vector<const tmx::demo::StoredUser*> all;
  for (const auto& user : users) all.push_back(user.get());
  return tmx::demo::EncodeUsers(all);
}

// False for contents that are refused.
bool Decode(std::string_view content, tmx::demo::StoredUsers& users) {
  HbError error;
  const bool is_read = tmx::demo::DecodeUsers(content, users, error);
  Check(is_read != error.IsSet(), "an error without a refusal, or a refusal without an error");
  Check(is_read || users.empty(), "refused contents give users");
  return is_read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tmx::demo::StoredUsers users;
  if (!Decode({reinterpret_cast<const char*>(data), size}, users)) return 0;
  const std::string written = Encode(users);
  tmx::demo::StoredUsers again;
  Check(Decode(written, again), "what was written is refused");
  Check(Encode(again) == written, "what was written reads differently");
  return 0;
}
