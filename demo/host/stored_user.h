// Users with their parameter data as bytes.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "demo/host/access.h"
#include "tmxtools/banking/user.h"
#include "tmxtools/core/error.h"

namespace tmx::demo {

// A user with everything that is kept between runs. Provider and client data are the host's and
// not kept, nor whether parameter data were updated.
//
// Owner: its maker. Empty state: that of its parts. Threads: the user's.
struct StoredUser {
  HbUser user;
  Access access;

  // Country, bank code, Benutzerkennung and Kunden-ID are equal.
  bool IsSameAs(const StoredUser& other) const;
};

using StoredUsers = std::vector<std::unique_ptr<StoredUser>>;

// The plain content of a parameter file, as docs/formats.md has it. Throws std::length_error for a
// text beyond 65535 bytes or too many users.
std::string EncodeUsers(const std::vector<const StoredUser*>& users);

// Takes any bytes. False with 17750 for a version that is not known here and 17749 for anything
// else that is no such content; `users` is then as it was.
bool DecodeUsers(std::string_view content, StoredUsers& users, HbError& error);

}  // namespace tmx::demo
