// The hash's inner state is needed, which only the old interface shows.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "tests/support/stored_stream.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ripemd.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace tmx::stored {
namespace {

constexpr std::size_t kBlock = 24;
constexpr std::size_t kChunk = 1000;

void Require(bool holds) {
  if (!holds) throw std::runtime_error("OpenSSL failed");
}

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}
unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

// Two-key triple DES in CBC mode from a zero vector.
std::string Cbc(const std::string& key, const std::string& in, bool encrypts) {
  const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                           EVP_CIPHER_CTX_free);
  const unsigned char zero[8] = {};
  Require(EVP_CipherInit_ex(context.get(), EVP_des_ede_cbc(), nullptr, Bytes(key), zero,
                            encrypts ? 1 : 0) == 1);
  EVP_CIPHER_CTX_set_padding(context.get(), 0);
  std::string out(in.size() + 8, '\0');
  int done = 0;
  Require(EVP_CipherUpdate(context.get(), Bytes(out), &done, Bytes(in),
                           static_cast<int>(in.size())) == 1);
  Require(static_cast<std::size_t>(done) == in.size());
  out.resize(in.size());
  return out;
}

using RsaKey = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;

RsaKey LoadRsa(const std::string& pem) {
  const std::unique_ptr<BIO, int (*)(BIO*)> source(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  const bool is_public = pem.find("PUBLIC") != std::string::npos;
  RsaKey key(is_public ? PEM_read_bio_PUBKEY(source.get(), nullptr, nullptr, nullptr)
                       : PEM_read_bio_PrivateKey(source.get(), nullptr, nullptr, nullptr),
             EVP_PKEY_free);
  Require(key != nullptr);
  return key;
}

// RSA with the padding of PKCS #1 v1.5; nothing when the block cannot be opened.
std::optional<std::string> Rsa(const std::string& pem, const std::string& in, bool seals) {
  const RsaKey key = LoadRsa(pem);
  const std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)> context(
      EVP_PKEY_CTX_new(key.get(), nullptr), EVP_PKEY_CTX_free);
  Require((seals ? EVP_PKEY_encrypt_init(context.get()) : EVP_PKEY_decrypt_init(context.get())) ==
          1);
  Require(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1);
  std::string out(static_cast<std::size_t>(EVP_PKEY_get_size(key.get())), '\0');
  std::size_t length = out.size();
  const auto run = seals ? EVP_PKEY_encrypt : EVP_PKEY_decrypt;
  if (run(context.get(), Bytes(out), &length, Bytes(in), in.size()) != 1) return std::nullopt;
  out.resize(length);
  return out;
}

std::size_t RsaLength(const std::string& pem) {
  return static_cast<std::size_t>(EVP_PKEY_get_size(LoadRsa(pem).get()));
}

std::string OddParity(std::string key) {
  for (char& c : key) {
    unsigned ones = 0;
    for (int bit = 1; bit < 8; ++bit) ones += static_cast<unsigned char>(c) >> bit & 1u;
    c = static_cast<char>((static_cast<unsigned char>(c) & 0xFE) | (ones % 2 == 0 ? 1 : 0));
  }
  return key;
}

std::string WrappingKey(const Form& form) {
  return form.tagged && !form.older_magic ? AdjustedKey(form.wrapping_key)
                                          : OddParity(form.wrapping_key);
}

std::string Wrap(const Form& form, std::string text) {
  if (form.UsesRsa()) return Rsa(form.rsa_key, text, true).value();
  text.resize((text.size() + 7) / 8 * 8, '\0');
  return Cbc(WrappingKey(form), text, true);
}

std::optional<std::string> Unwrap(const Form& form, const std::string& block, std::size_t length) {
  if (form.UsesRsa()) {
    const auto text = Rsa(form.rsa_key, block, false);
    return text && text->size() == length ? text : std::nullopt;
  }
  return Cbc(WrappingKey(form), block, false).substr(0, length);
}

bool WrapsKeys(const Form& form) { return form.UsesRsa() || !form.wrapping_key.empty(); }

std::string EachBlock(const std::string& key, const std::string& in, bool encrypts) {
  std::string out;
  for (std::size_t at = 0; at < in.size(); at += kBlock)
    out += Cbc(key, in.substr(at, kBlock), encrypts);
  return out;
}

}  // namespace

std::string AdjustedKey(const std::string& given) {
  std::string key = OddParity(given);
  for (std::size_t half = 0; half < 2; ++half) {
    unsigned bits = 0;
    for (std::size_t i = 0; i < 7; ++i)
      bits |= (static_cast<unsigned>(given[7 * half + i]) & 1u) << (7 - i);
    key[14 + half] = static_cast<char>(bits);
  }
  return key;
}

std::string Ripemd160InPieces(const std::string& bytes) {
  const std::size_t rest = bytes.size() % 64;
  std::string digest(RIPEMD160_DIGEST_LENGTH, '\0');
  RIPEMD160_CTX context;
  Require(RIPEMD160_Init(&context) == 1);
  const bool loses_last_block = rest > 48 && rest < 56;
  if (!loses_last_block) {
    Require(RIPEMD160_Update(&context, bytes.data(), bytes.size()) == 1);
    Require(RIPEMD160_Final(Bytes(digest), &context) == 1);
    return digest;
  }
  Require(RIPEMD160_Update(&context, bytes.data(), bytes.size() - rest) == 1);
  const RIPEMD160_LONG words[] = {context.A, context.B, context.C, context.D, context.E};
  for (std::size_t i = 0; i < digest.size(); ++i)
    digest[i] = static_cast<char>(words[i / 4] >> 8 * (i % 4));
  return digest;
}

std::string RegionDigest(bool tagged, const std::string& region) {
  if (!tagged || region.size() <= kChunk) return Ripemd160InPieces(region);
  std::string above;
  for (std::size_t at = 0; at < region.size(); at += kChunk)
    above += Ripemd160InPieces(region.substr(at, kChunk));
  return RegionDigest(tagged, above);
}

Layout LayoutOf(const Form& form) {
  const std::size_t wrapped_digest = form.UsesRsa() ? RsaLength(form.rsa_key) : 24;
  const std::size_t wrapped_key = form.UsesRsa() ? wrapped_digest : 16;
  Layout layout;
  layout.signature = form.tagged ? 8 : 0;
  layout.key_block_flag =
      layout.signature + (form.is_signed && WrapsKeys(form) ? wrapped_digest : 0);
  layout.pad_count = layout.key_block_flag + 1;
  layout.key_block = layout.pad_count + 1;
  layout.data = layout.key_block + (form.encrypted && WrapsKeys(form) ? wrapped_key : 0);
  return layout;
}

std::string Build(const Form& form, const std::string& text) {
  const char pad_count = static_cast<char>(8 - text.size() % 8);
  std::string region = text + std::string(static_cast<std::size_t>(pad_count - 1), '\0');
  region += pad_count;
  if (form.encrypted) region = EachBlock(OddParity(form.session_key), region, true);
  std::string bytes = form.tagged ? (form.older_magic ? "QK25CRST" : "QK26CRST") : "";
  if (form.is_signed) bytes += Wrap(form, RegionDigest(form.tagged, region));
  bytes += form.encrypted ? '\1' : '\0';
  bytes += pad_count;
  if (form.encrypted && WrapsKeys(form)) bytes += Wrap(form, OddParity(form.session_key));
  return bytes + region;
}

std::optional<std::string> Parse(const Form& form, const std::string& bytes) {
  const Layout layout = LayoutOf(form);
  const std::string magic = form.older_magic ? "QK25CRST" : "QK26CRST";
  if (bytes.size() <= layout.data || (bytes.size() - layout.data) % 8 != 0) return std::nullopt;
  if (form.tagged && bytes.compare(0, 8, magic) != 0) return std::nullopt;
  if (bytes[layout.key_block_flag] != (form.encrypted ? 1 : 0)) return std::nullopt;
  std::string region = bytes.substr(layout.data);
  if (form.is_signed) {
    const std::string field =
        bytes.substr(layout.signature, layout.key_block_flag - layout.signature);
    if (Unwrap(form, field, 20) != RegionDigest(form.tagged, region)) return std::nullopt;
  }
  if (form.encrypted) {
    const auto session =
        WrapsKeys(form)
            ? Unwrap(form, bytes.substr(layout.key_block, layout.data - layout.key_block), 16)
            : OddParity(form.session_key);
    if (!session) return std::nullopt;
    region = EachBlock(*session, region, false);
  }
  const auto pad_count = static_cast<std::size_t>(static_cast<unsigned char>(region.back()));
  if (pad_count < 1 || pad_count > 8 || bytes[layout.pad_count] != region.back())
    return std::nullopt;
  const std::string padding = std::string(pad_count - 1, '\0') + region.back();
  if (region.substr(region.size() - pad_count) != padding) return std::nullopt;
  return region.substr(0, region.size() - pad_count);
}

const RsaPair& TestRsaKey() {
  static const RsaPair pair = [] {
    const RsaKey key(EVP_RSA_gen(1024u), EVP_PKEY_free);
    Require(key != nullptr);
    const auto write = [&](auto put) {
      const std::unique_ptr<BIO, int (*)(BIO*)> sink(BIO_new(BIO_s_mem()), BIO_free);
      put(sink.get());
      char* data = nullptr;
      const long length = BIO_get_mem_data(sink.get(), &data);
      return std::string(data, static_cast<std::size_t>(length));
    };
    return RsaPair{write([&](BIO* sink) {
                     Require(PEM_write_bio_PrivateKey(sink, key.get(), nullptr, nullptr, 0, nullptr,
                                                      nullptr) == 1);
                   }),
                   write([&](BIO* sink) { Require(PEM_write_bio_PUBKEY(sink, key.get()) == 1); })};
  }();
  return pair;
}

}  // namespace tmx::stored
