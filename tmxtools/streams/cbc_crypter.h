// Whole streams and texts encrypted with two-key triple DES in CBC mode.
#pragma once

#include <cstdint>
#include <memory>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/crypto.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/stream.h"
#include "tmxtools/platform/string.h"

// Encrypts or decrypts under a key of 16 bytes and a starting vector of 8 (all zero at first).
//
// Padding: zero bytes up to a multiple of 8, at least one, the last of which holds their number. A
// text of a multiple of 8 bytes thus gets a block of its own. Without padding a length must be a
// multiple of 8.
//
// Owner: none; owns its schedules together with its copies. A copy shares the schedules of its
// source on purpose: SetKey() on the one changes the key of the other. The starting vectors are
// apart. Empty state: no key; operations then fail with the parameter "Key". Threads: one at a
// time, together with all copies.
//
// Codes: 17756 encrypting, 17757 decrypting (parameter "Input" or "Output": the stream's own error
// is the cause), 17758 no multiple of 8, 17759 a pad count above 8.
class TMX_EXPORT HbtdCbcCrypter {
 public:
  HbtdCbcCrypter();
  HbtdCbcCrypter(const HbtdCbcCrypter&);
  HbtdCbcCrypter& operator=(const HbtdCbcCrypter&);
  ~HbtdCbcCrypter();

  // 16 bytes; their parity does not matter.
  void SetKey(unsigned char const* const key);
  // 8 bytes.
  void SetIV(unsigned char const* const iv);

  // From the beginning of `in` to its end, written from the beginning of `out`, which must be
  // another stream; what `out` holds beyond stays. Afterwards both are without error and at 0.
  // After a failure `out` holds the blocks that were done.
  bool Encrypt(HbError& error, SvStream& in, SvStream& out, bool pad);
  bool Decrypt(HbError& error, SvStream& in, SvStream& out, bool pad);

  // The text's bytes, padded and encrypted, as lowercase hexadecimal digits, and back from digits
  // of either case. False leaves the text as it was: without key, when the result would be longer
  // than a text can be, and when the text is not what HexdumpEncrypt() makes.
  bool HexdumpEncrypt(String& text);
  bool HexdumpDecrypt(String& text);

 private:
  struct Schedules;
  class Run;

  bool HasKey() const;
  bool Process(tmx::CipherDirection direction, HbError& error, SvStream& in, SvStream& out,
               bool pad);

  std::shared_ptr<Schedules> schedules_;
  tmx::DesBlock starting_vector_{};
};
