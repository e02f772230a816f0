// What encrypted streams store, held against a writer and a reader of their own.
#include <gtest/gtest.h>

#include "tests/streams/crypt_fixture.h"

namespace tmx {
namespace {

std::string Case(const stored::Form& form, std::size_t length) {
  return NameOf(form) + ", " + std::to_string(length) + " bytes";
}

TEST(CryptStored, StreamsStoreWhatTheOtherWriterBuilds) {
  for (const stored::Form& form : AllForms()) {
    for (const std::size_t length : kLengths) {
      SCOPED_TRACE(Case(form, length));
      OpenCryptStream stream;
      ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
      ASSERT_EQ(stream.Put(TextOf(length)), length);
      stream.Flush();
      ASSERT_EQ(stream.GetError(), 0u);
      // RSA fills its blocks up with random bytes, so they are compared by what they hold.
      if (!form.UsesRsa()) ASSERT_EQ(stream.Stored(), stored::Build(form, TextOf(length)));
      ASSERT_EQ(stored::Parse(form, stream.Stored()), TextOf(length));
    }
  }
}

TEST(CryptStored, StreamsReadWhatTheOtherWriterBuilds) {
  for (const stored::Form& form : AllForms()) {
    for (const std::size_t length : kLengths) {
      for (const unsigned short access : {kReadOnly, kReadWrite}) {
        SCOPED_TRACE(Case(form, length));
        const std::string bytes = stored::Build(form, TextOf(length));
        OpenCryptStream stream(bytes);
        ASSERT_TRUE(stream.OpenAs(form, access));
        EXPECT_EQ(stream.Size(), length);
        ASSERT_EQ(stream.GetAll(), TextOf(length));
        EXPECT_TRUE(stream.CheckSignature() || !form.is_signed);
        stream.ResetError();
        stream.Close();
        EXPECT_EQ(stream.GetError(), 0u);
        ASSERT_EQ(stream.Stored(), bytes) << "reading changes nothing";
      }
    }
  }
}

TEST(CryptStored, AnAppendToAStreamThatWasOpenedAgainIsSignedLikeOneWrite) {
  for (const stored::Form& form : AllForms()) {
    if (form.UsesRsa()) continue;
    for (const std::size_t length : kLengths) {
      SCOPED_TRACE(Case(form, length));
      OpenCryptStream stream(stored::Build(form, TextOf(length)));
      ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
      stream.Seek(SvStream::SeekToEnd);
      for (std::size_t more = 1; more <= 3; ++more) {
        const std::string text = TextOf(length + 700 * more);
        ASSERT_EQ(stream.Put(text.substr(length + 700 * (more - 1))), 700u);
        stream.Flush();
        ASSERT_EQ(stream.Stored(), stored::Build(form, text));
      }
    }
  }
}

TEST(CryptStored, AChangeInTheMiddleIsSignedLikeOneWrite) {
  for (const stored::Form& form : AllForms()) {
    if (form.UsesRsa()) continue;
    for (const std::size_t length : {30u, 2000u, 9000u, 58500u}) {
      SCOPED_TRACE(Case(form, length));
      std::string text = TextOf(length);
      OpenCryptStream stream(stored::Build(form, text));
      ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
      for (const std::size_t at : {length / 2, std::size_t{0}, length - 10, std::size_t{17}}) {
        text.replace(at, 5, "other");
        stream.Seek(at);
        ASSERT_EQ(stream.Put("other"), 5u);
        stream.Flush();
        ASSERT_EQ(stream.Stored(), stored::Build(form, text));
      }
    }
  }
}

// A public key is enough to write, the private one is needed to read.
TEST(CryptStored, AnRsaStreamIsWrittenWithThePublicKeyAndReadWithThePrivateOne) {
  stored::Form form{true, true, true, false, kSessionKey, "", stored::TestRsaKey().public_pem};
  OpenCryptStream writer;
  ASSERT_TRUE(writer.OpenAs(form, kReadWrite));
  writer.Put("sealed");
  writer.Flush();
  OpenCryptStream without(writer.Stored());
  EXPECT_FALSE(without.OpenAs(form, kReadOnly));
  EXPECT_EQ(without.GetError(), 525u);
  OpenCryptStream writable(writer.Stored());
  EXPECT_FALSE(writable.OpenAs(form, kReadWrite));
  EXPECT_EQ(writable.GetError(), 525u);
  form.rsa_key = stored::TestRsaKey().private_pem;
  OpenCryptStream reader(writer.Stored());
  EXPECT_TRUE(reader.OpenAs(form, kReadOnly));
  EXPECT_EQ(reader.GetAll(), "sealed");
}

// "abc" under fixed keys, byte for byte, so that both writers cannot change together unnoticed.
TEST(CryptStored, AKnownStreamStaysAsItIs) {
  const stored::Form form{true, true, true, false, kSessionKey, kWrappingKey, ""};
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
  stream.Put("abc");
  stream.Flush();
  std::string hex;
  for (const char c : stream.Stored()) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += kDigits[static_cast<unsigned char>(c) >> 4];
    hex += kDigits[c & 15];
  }
  EXPECT_EQ(hex,
            "514b323643525354"
            "80abaa19a9fbd53d7d6d1da99eb3451c240e1219e04f1b33"
            "0105"
            "9655f329eee23bf9fe7e1fe850c785b5"
            "11dade68faf3b03d");
}

}  // namespace
}  // namespace tmx
