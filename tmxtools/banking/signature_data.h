// The signature of one role.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "tmxtools/banking/object_types.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/secret.h"

class HbUser;

// The three parts of a signature and who made it. The second part may hold a TAN, so the bytes are
// wiped when they are dropped.
//
// Owner: its message. It owns its bytes; the user belongs to the host. Empty state: no bytes, sizes
// 0, no user. Threads: its message's. Sets no codes.
class TMX_EXPORT SignatureData {
 public:
  SignatureData() = default;
  SignatureData(const SignatureData&) = delete;
  SignatureData& operator=(const SignatureData&) = delete;

  // 0 and null for an unknown type.
  unsigned short GetSignSize(HbSignDataType type) const noexcept;
  const unsigned char* GetSign(HbSignDataType type) const noexcept;
  // Copies bytes, which may be the part's own. The size is kept as given even without bytes, on
  // purpose. An unknown type is ignored; when memory ends the part has a size and no bytes.
  void SetSign(HbSignDataType type, const unsigned char* data, unsigned short size) noexcept;
  const HbUser* GetUser() const noexcept { return user_; }
  void SetUser(const HbUser* user) noexcept { user_ = user; }

 private:
  struct Part {
    tmx::SecretBytes bytes;
    unsigned short size = 0;
  };

  const Part* FindPart(HbSignDataType type) const noexcept;

  std::array<Part, 3> parts_;
  const HbUser* user_ = nullptr;
};
