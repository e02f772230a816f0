// Decrypts any bytes. The first byte's lowest bit asks for padding; what decrypts must encrypt to
// the same bytes again, unless its pad count was one that encrypting never makes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tmxtools/platform/memory_stream.h"
#include "tmxtools/streams/cbc_crypter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static HbtdCbcCrypter crypter = [] {
    HbtdCbcCrypter made;
    made.SetKey(reinterpret_cast<const unsigned char*>("0123456789abcdef"));
    return made;
  }();
  if (size < 1) return 0;
  const bool pad = (data[0] & 1) != 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);

  SvMemoryStream in, plain, again;
  in.Write(bytes.data(), static_cast<unsigned long>(bytes.size()));
  HbError error;
  const bool decrypted = crypter.Decrypt(error, in, plain, pad);
  if (decrypted == error.IsSet()) std::abort();
  if (!decrypted) return 0;
  if (!crypter.Encrypt(error, plain, again, pad && plain.View().size() != bytes.size()))
    std::abort();
  // Padding may hold anything before its count, so only the blocks before it are compared.
  const std::size_t sure = pad && bytes.size() >= 8 ? bytes.size() - 8 : bytes.size();
  if (again.View().substr(0, sure) != bytes.substr(0, sure)) std::abort();

  String text(bytes.substr(0, 1000));
  const String before = text;
  if (!crypter.HexdumpDecrypt(text) && text != before) std::abort();
  return 0;
}
