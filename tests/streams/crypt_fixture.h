// What the tests of encrypted streams share.
#pragma once

#include <string>
#include <vector>

#include "tests/support/stored_stream.h"
#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/crypt_stream.h"

namespace tmx {

inline constexpr unsigned short kReadOnly = stream_mode::Read;
inline constexpr unsigned short kReadWrite = stream_mode::Read | stream_mode::Write;

inline const std::string kSessionKey = "a session's key.";
inline const std::string kWrappingKey = "WRAPPING keys do";

// A key as the interface takes it; null for an empty one.
inline const unsigned char* KeyBytes(const std::string& key) {
  return key.empty() ? nullptr : reinterpret_cast<const unsigned char*>(key.data());
}

inline unsigned short ModeOf(const stored::Form& form, unsigned short access) {
  unsigned mode = access;
  if (form.tagged) mode |= crypt_mode::Tagged;
  if (form.encrypted) mode |= crypt_mode::Encrypt;
  if (form.is_signed) mode |= crypt_mode::Sign;
  return static_cast<unsigned short>(mode);
}

// An encrypted stream over bytes in memory that a test can see and change.
class OpenCryptStream : public HbCryptStream {
 public:
  using HbCryptStream::Init;
  using HbCryptStream::Open;

  // Begins with these stored bytes, at position 0.
  explicit OpenCryptStream(const std::string& stored = "") {
    inner.Write(stored.data(), stored.size());
    inner.Seek(0);
  }
  ~OpenCryptStream() override { Close(); }  // while there are bytes to write to

  // Hands over the keys that such an opening needs.
  bool OpenAs(const stored::Form& form, unsigned short access) {
    const bool writes = (access & stream_mode::Write) != 0;
    std::string rsa = form.rsa_key;
    auto* const key = rsa.empty() ? nullptr : reinterpret_cast<unsigned char*>(rsa.data());
    return Init(key, static_cast<long>(rsa.size()), writes ? KeyBytes(form.session_key) : nullptr,
                ModeOf(form, access), &inner, KeyBytes(form.wrapping_key)) &&
           Open();
  }
  bool OpenWith(unsigned short mode, const std::string& session_key,
                const std::string& wrapping_key) {
    return Init(nullptr, 0, KeyBytes(session_key), mode, &inner, KeyBytes(wrapping_key)) && Open();
  }

  unsigned long Put(const std::string& text) { return Write(text.data(), text.size()); }
  std::string Get(std::size_t count) {
    std::string text(count, '\0');
    text.resize(Read(text.data(), count));
    return text;
  }
  std::string GetAll() { return Get(Size()); }
  std::string Stored() const { return std::string(inner.View()); }

  SvMemoryStream inner;
};

// Text that shows where it comes from and does not repeat soon.
inline std::string TextOf(std::size_t length) {
  std::string text(length, '\0');
  unsigned state = 12345;
  for (char& c : text) {
    state = state * 1103515245u + 12345u;
    c = static_cast<char>(state >> 16);
  }
  return text;
}

// Every combination that can be read again, with symmetric keys and with an RSA key.
inline std::vector<stored::Form> AllForms() {
  std::vector<stored::Form> forms;
  for (const bool rsa : {false, true}) {
    for (const bool tagged : {false, true}) {
      for (const bool encrypted : {false, true}) {
        for (const bool is_signed : {false, true}) {
          if (tagged && !is_signed) continue;
          stored::Form form{tagged, encrypted, is_signed, false, kSessionKey, kWrappingKey, ""};
          if (rsa) form.rsa_key = stored::TestRsaKey().private_pem;
          forms.push_back(form);
        }
      }
    }
  }
  return forms;
}

inline std::string NameOf(const stored::Form& form) {
  std::string name = form.UsesRsa() ? "rsa" : "symmetric";
  if (form.tagged) name += form.older_magic ? " older" : " tagged";
  if (form.encrypted) name += " encrypted";
  if (form.is_signed) name += " signed";
  return name;
}

// Lengths around the ends of pieces, blocks, chunks and levels.
inline const std::size_t kLengths[] = {0,    1,    7,     8,     9,     16,    23,    24,    25,
                                       40,   47,   48,    49,    991,   992,   999,   1000,  1001,
                                       8500, 8999, 20000, 24500, 40500, 50007, 50030, 58500, 75100};

}  // namespace tmx
