#include "tmxtools/streams/crypt_stream.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/streams/crypt_fixture.h"

namespace tmx {
namespace {

constexpr unsigned short kTES = crypt_mode::Tagged | crypt_mode::Encrypt | crypt_mode::Sign;
const stored::Form kPlain{};
const stored::Form kEncrypted{false, true, false, false, kSessionKey, kWrappingKey, ""};
const stored::Form kSigned{false, false, true, false, kSessionKey, kWrappingKey, ""};
const stored::Form kAll{true, true, true, false, kSessionKey, kWrappingKey, ""};

// The stored bytes of a stream that wrote a text and was flushed.
std::string Written(const stored::Form& form, const std::string& text) {
  OpenCryptStream stream;
  EXPECT_TRUE(stream.OpenAs(form, kReadWrite));
  EXPECT_EQ(stream.Put(text), text.size());
  stream.Flush();
  return stream.Stored();
}

TEST(CryptStream, TheOptionsHaveTheirBits) {
  EXPECT_EQ(CRYPT_TAGGED, 0x2000);
  EXPECT_EQ(CRYPT_ENCRYPT, 0x4000);
  EXPECT_EQ(CRYPT_SIGN, 0x8000);
}

TEST(CryptStream, AnUnattachedStreamRefusesEverything) {
  HbCryptStream stream;
  EXPECT_EQ(stream.GetError(), 0u);
  char byte = 0;
  EXPECT_EQ(stream.Read(&byte, 1), 0u);
  EXPECT_EQ(stream.GetError(), 2831u);
  stream.ResetError();
  EXPECT_EQ(stream.Write(&byte, 1), 0u);
  EXPECT_EQ(stream.GetError(), 3088u);
  stream.ResetError();
  EXPECT_FALSE(stream.CheckSignature());
  EXPECT_EQ(stream.GetError(), 525u);
  stream.ResetError();
  EXPECT_FALSE(stream.SetStreamSize(0));
  EXPECT_EQ(stream.GetError(), 525u);
  stream.ResetError();
  stream.Flush();
  stream.Sync();
  stream.Close();
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST(CryptStream, WithoutAnInnerStreamInitAndOpenAre525) {
  OpenCryptStream stream;
  EXPECT_FALSE(stream.Init(nullptr, 0, nullptr, kReadWrite, nullptr, nullptr));
  EXPECT_EQ(stream.GetError(), 525u);
  stream.ResetError();
  EXPECT_FALSE(stream.Open());
  EXPECT_EQ(stream.GetError(), 525u);
  const HbCryptStream made(nullptr, 0, KeyBytes(kSessionKey), kReadWrite, nullptr, nullptr);
  EXPECT_EQ(made.GetError(), 525u);
}

TEST(CryptStream, TheConstructorPreparesAndDoesNotOpen) {
  SvMemoryStream inner;
  HbCryptStream stream(nullptr, 0, KeyBytes(kSessionKey), kReadWrite, &inner,
                       KeyBytes(kWrappingKey));
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(stream.Write("x", 1), 0u);
  EXPECT_EQ(stream.GetError(), 3088u);
  EXPECT_TRUE(inner.View().empty());
}

TEST(CryptStream, ANewStreamWithNothingWrittenIsAHeaderAndOneBlockOfPadding) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kPlain, kReadWrite));
  EXPECT_EQ(stream.Stored(), std::string("\0\0", 2)) << "the pad byte is 0 until the first flush";
  stream.Flush();
  EXPECT_EQ(stream.Stored(), std::string("\0\x08\0\0\0\0\0\0\0\x08", 10));
  EXPECT_EQ(stream.Size(), 0u);
  EXPECT_EQ(stream.Get(1), "");
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST(CryptStream, Exactly24BytesStore32) {
  for (const stored::Form& form : {kPlain, kEncrypted, kAll}) {
    EXPECT_EQ(Written(form, TextOf(24)).size(), stored::LayoutOf(form).data + 32);
    EXPECT_EQ(Written(form, TextOf(48)).size(), stored::LayoutOf(form).data + 56);
  }
}

TEST(CryptStream, BlocksReachTheInnerStreamBeforeThePadByteDoes) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kPlain, kReadWrite));
  stream.Put(TextOf(30));
  EXPECT_EQ(stream.Stored(), std::string("\0\0", 2) + TextOf(24));
  stream.Flush();
  EXPECT_EQ(stream.Stored()[1], 2);
}

TEST(CryptStream, AnAlteredSignedStreamOpensInvalidAndReadsGive2831) {
  for (const stored::Form& form : {kSigned, kAll}) {
    std::string bytes = Written(form, "some text");
    bytes.back() = static_cast<char>(bytes.back() ^ 4);
    OpenCryptStream stream(bytes);
    EXPECT_FALSE(stream.OpenAs(form, kReadWrite));
    EXPECT_EQ(stream.GetError(), 0u) << "a signature that does not match sets no code";
    EXPECT_FALSE(stream.CheckSignature());
    EXPECT_EQ(stream.GetError(), 0u);
    EXPECT_EQ(stream.Get(1), "");
    EXPECT_EQ(stream.GetError(), 2831u);
    stream.ResetError();
    EXPECT_EQ(stream.Put("x"), 0u);
    EXPECT_EQ(stream.GetError(), 3088u);
    stream.ResetError();
    EXPECT_EQ(stream.Seek(5), 0u);
    EXPECT_EQ(stream.GetError(), 530u);
    stream.ResetError();
    stream.Flush();
    stream.Close();
    EXPECT_EQ(stream.Stored(), bytes) << "invariant 7";
  }
}

TEST(CryptStream, IsCryptStreamKnowsBothMagicsAndMovesThePosition) {
  const auto is = [](const std::string& bytes) {
    SvMemoryStream stream;
    stream.Write(bytes.data(), bytes.size());
    stream.Seek(0);
    const bool found = HbCryptStream::IsCryptStream(stream);
    EXPECT_EQ(stream.Tell(), std::min<std::size_t>(bytes.size(), 8));
    return found;
  };
  EXPECT_FALSE(is("QK25CRS"));
  EXPECT_TRUE(is("QK25CRST"));
  EXPECT_TRUE(is("QK26CRST and more"));
  EXPECT_FALSE(is("QK27CRST"));
  EXPECT_FALSE(is(""));
  SvMemoryStream stream;
  stream.Write("xQK26CRST", 9);
  stream.Seek(1);
  EXPECT_TRUE(HbCryptStream::IsCryptStream(stream)) << "from the position on";
}

TEST(CryptStream, ATaggedStreamWithTheOlderMagicIsRewrittenWhenOpenedWritable) {
  for (const bool encrypted : {false, true}) {
    for (const std::size_t length : {0u, 24u, 5000u, 60000u}) {
      stored::Form form = kAll;
      form.encrypted = encrypted;
      stored::Form older = form;
      older.older_magic = true;
      const std::string bytes = stored::Build(older, TextOf(length));
      OpenCryptStream reader(bytes);
      ASSERT_TRUE(reader.OpenAs(older, kReadOnly));
      EXPECT_EQ(reader.GetAll(), TextOf(length));
      EXPECT_EQ(reader.Stored(), bytes) << "a reader rewrites nothing";
      OpenCryptStream stream(bytes);
      ASSERT_TRUE(stream.OpenAs(older, kReadWrite));
      EXPECT_EQ(stream.Tell(), 0u);
      EXPECT_EQ(stream.Stored(), stored::Build(form, TextOf(length)));
      EXPECT_EQ(stream.GetAll(), TextOf(length));
    }
  }
}

TEST(CryptStream, AnOlderStreamWithABadSignatureIsNotRewritten) {
  stored::Form older = kAll;
  older.older_magic = true;
  std::string bytes = stored::Build(older, TextOf(100));
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  OpenCryptStream stream(bytes);
  EXPECT_FALSE(stream.OpenAs(older, kReadWrite));
  EXPECT_EQ(stream.Stored(), bytes);
}

// The key adjustment belongs to symmetric keys, and so does the upgrade.
TEST(CryptStream, AnOlderStreamUnderAnRsaKeyAloneKeepsItsMagic) {
  stored::Form older{true, true, true, true, kSessionKey, "", stored::TestRsaKey().private_pem};
  const std::string bytes = stored::Build(older, TextOf(100));
  OpenCryptStream stream(bytes);
  EXPECT_TRUE(stream.OpenAs(older, kReadWrite));
  EXPECT_EQ(stream.GetAll(), TextOf(100));
  EXPECT_EQ(stream.Stored(), bytes);
}

TEST(CryptStream, OtherSizesThanZeroAreIgnored) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put("some text");
  stream.Flush();
  const std::string bytes = stream.Stored();
  EXPECT_TRUE(stream.SetStreamSize(5));
  EXPECT_TRUE(stream.SetStreamSize(5000));
  EXPECT_EQ(stream.Size(), 9u);
  EXPECT_EQ(stream.Stored(), bytes);
}

TEST(CryptStream, SizeZeroEmptiesTheStreamAndWritesAFreshHeader) {
  for (const stored::Form& form : AllForms()) {
    SCOPED_TRACE(NameOf(form));
    OpenCryptStream stream;
    ASSERT_TRUE(stream.OpenAs(form, kReadWrite));
    stream.Put(TextOf(3000));
    stream.Flush();
    EXPECT_TRUE(stream.SetStreamSize(0));
    EXPECT_EQ(stream.Tell(), 0u);
    EXPECT_EQ(stream.Size(), 0u);
    EXPECT_EQ(stream.Stored().size(), stored::LayoutOf(form).data);
    stream.Put("after");
    stream.Flush();
    EXPECT_EQ(stored::Parse(form, stream.Stored()), "after");
  }
}

TEST(CryptStream, SizeZeroRevivesAStreamWhoseSignatureDoesNotMatch) {
  std::string bytes = Written(kAll, "some text");
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  OpenCryptStream stream(bytes);
  ASSERT_FALSE(stream.OpenAs(kAll, kReadWrite));
  EXPECT_TRUE(stream.SetStreamSize(0));
  EXPECT_EQ(stream.Put("anew"), 4u);
  stream.Flush();
  EXPECT_EQ(stored::Parse(kAll, stream.Stored()), "anew");
}

TEST(CryptStream, AReadOnlyStreamKeepsItsBytes) {
  const std::string bytes = Written(kAll, "some text");
  OpenCryptStream stream(bytes);
  ASSERT_TRUE(stream.OpenAs(kAll, kReadOnly));
  EXPECT_FALSE(stream.SetStreamSize(0));
  EXPECT_EQ(stream.GetError(), 3088u);
  stream.ResetError();
  EXPECT_EQ(stream.Put("x"), 0u);
  EXPECT_EQ(stream.GetError(), 3088u);
  stream.ResetError();
  EXPECT_EQ(stream.GetAll(), "some text");
  stream.Close();
  EXPECT_EQ(stream.Stored(), bytes);
}

TEST(CryptStream, BuffersAreSmallWhereReadsAndWritesMix) {
  OpenCryptStream both;
  both.OpenAs(kAll, kReadWrite);
  EXPECT_EQ(both.GetBufferSize(), 8);
  OpenCryptStream reader;
  reader.OpenAs(kAll, kReadOnly);
  EXPECT_EQ(reader.GetBufferSize(), 256);
}

// Seeking.

TEST(CryptStream, SeeksBeyondTheEndStopAtTheEnd) {
  OpenCryptStream stream(stored::Build(kAll, TextOf(100)));
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  EXPECT_EQ(stream.Seek(SvStream::SeekToEnd), 100u);
  EXPECT_EQ(stream.Seek(0), 0u);
  EXPECT_EQ(stream.Seek(104), 100u);
  EXPECT_EQ(stream.Seek(5000), 100u);
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST(CryptStream, SeeksIntoThePaddingAre530) {
  for (const unsigned long position : {101u, 102u, 103u}) {
    OpenCryptStream stream(stored::Build(kAll, TextOf(100)));
    ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
    EXPECT_EQ(stream.Seek(position), position);
    EXPECT_EQ(stream.GetError(), 530u);
    stream.ResetError();
    EXPECT_EQ(stream.Get(10), "");
    EXPECT_EQ(stream.Put("!"), 1u) << "the position has stopped at the end";
    stream.Flush();
    EXPECT_EQ(stored::Parse(kAll, stream.Stored()), TextOf(100) + "!");
  }
}

TEST(CryptStream, SeeksBeyondAnAppendThatIsNotStoredYetStopAtTheEnd) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put(TextOf(100));
  EXPECT_EQ(stream.Seek(101), 100u);
  EXPECT_EQ(stream.GetError(), 0u);
  stream.Flush();
  EXPECT_EQ(stream.Seek(101), 101u);
  EXPECT_EQ(stream.GetError(), 530u);
}

TEST(CryptStream, LeavingAChangedBlockStoresIt) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kPlain, kReadWrite));
  stream.Put(TextOf(30));
  stream.Seek(3);
  EXPECT_EQ(stream.Stored().substr(2), TextOf(30) + std::string("\0\x02", 2)) << "invariant 2";
  stream.Put("###");
  EXPECT_EQ(stream.Stored().substr(2, 6), TextOf(6));
  stream.Seek(25);
  EXPECT_EQ(stream.Stored().substr(2, 6), TextOf(3) + "###");
}

// Keys.

TEST(CryptStream, ASessionKeyMadeUpDiffersEachTime) {
  stored::Form form = kEncrypted;
  form.session_key.clear();
  const std::string first = Written(form, "same");
  const std::string second = Written(form, "same");
  EXPECT_NE(first.substr(2, 16), second.substr(2, 16));
  EXPECT_NE(first.substr(18), second.substr(18));
  EXPECT_EQ(stored::Parse(form, first), "same");
}

TEST(CryptStream, AReadersSessionKeyIsTheKeyEncryptionKeyAndTheOtherOneIsIgnored) {
  OpenCryptStream stream(Written(kAll, "some text"));
  ASSERT_TRUE(stream.OpenWith(kReadOnly | kTES, kWrappingKey, "xxxxxxxxxxxxxxxx"));
  EXPECT_EQ(stream.GetAll(), "some text");
}

TEST(CryptStream, AWritersSessionKeyIsIgnoredWhereTheStreamHasOne) {
  OpenCryptStream stream(Written(kAll, "some text"));
  ASSERT_TRUE(stream.OpenWith(kReadWrite | kTES, "xxxxxxxxxxxxxxxx", kWrappingKey));
  EXPECT_EQ(stream.GetAll(), "some text");
  stream.Put("!");
  stream.Flush();
  EXPECT_EQ(stream.Stored(), stored::Build(kAll, "some text!"));
}

TEST(CryptStream, BothKeysMayBeTheSame) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenWith(kReadWrite | kTES, kWrappingKey, kWrappingKey));
  stream.Put("a log");
  stream.Flush();
  OpenCryptStream reader(stream.Stored());
  ASSERT_TRUE(reader.OpenWith(kReadOnly | kTES, kWrappingKey, kWrappingKey));
  EXPECT_EQ(reader.GetAll(), "a log");
}

TEST(CryptStream, TheParityBitsOfAKeyDoNotCountInAnUntaggedStream) {
  std::string other = kWrappingKey;
  for (char& c : other) c = static_cast<char>(c ^ 1);
  OpenCryptStream stream(Written(kEncrypted, "some text"));
  ASSERT_TRUE(stream.OpenWith(kReadOnly, "", other));
  EXPECT_EQ(stream.GetAll(), "some text");
}

TEST(CryptStream, TheParityBitsOfTheFirst14BytesCountInATaggedStream) {
  for (std::size_t i = 0; i < 16; ++i) {
    std::string other = kWrappingKey;
    other[i] = static_cast<char>(other[i] ^ 1);
    OpenCryptStream stream(Written(kAll, "some text"));
    // The last two bytes are replaced; of the others each lowest bit stands in the replacement.
    EXPECT_EQ(stream.OpenWith(kReadOnly | kTES, "", other), i >= 14) << i;
  }
}

TEST(CryptStream, ASessionKeyAloneWritesNoKeyBlockAndCannotBeOpenedAgain) {
  OpenCryptStream stream;
  const unsigned short mode = kReadWrite | crypt_mode::Encrypt;
  ASSERT_TRUE(stream.OpenWith(mode, kSessionKey, ""));
  EXPECT_EQ(stream.Stored(), std::string("\1\0", 2));
  stream.Put("some text");
  stream.Flush();
  const stored::Form form{false, true, false, false, kSessionKey, "", ""};
  EXPECT_EQ(stored::Parse(form, stream.Stored()), "some text");
  OpenCryptStream again(stream.Stored());
  EXPECT_FALSE(again.OpenWith(mode, kSessionKey, ""));
  EXPECT_EQ(again.GetError(), 525u);
  EXPECT_EQ(again.Stored(), stream.Stored());
}

TEST(CryptStream, AKeyBlockThatNoKeyOpensIs525) {
  const std::string bytes = Written(kEncrypted, "some text");
  const auto opens = [&](unsigned short mode, const std::string& session,
                         const std::string& wrapping) {
    OpenCryptStream stream(bytes);
    EXPECT_FALSE(stream.OpenWith(mode, session, wrapping));
    EXPECT_EQ(stream.GetError(), 525u);
    EXPECT_EQ(stream.Get(1), "");
    EXPECT_EQ(stream.Stored(), bytes);
  };
  opens(kReadOnly, "", "");
  opens(kReadWrite, "", "");
  opens(kReadWrite | crypt_mode::Encrypt, "", "");
  opens(kReadWrite | crypt_mode::Encrypt, kSessionKey, "");
  // Without Encrypt a writer expects no key block.
  opens(kReadWrite, kSessionKey, kWrappingKey);
}

TEST(CryptStream, AReaderNeedsNoEncryptToReadAKeyBlock) {
  OpenCryptStream stream(Written(kEncrypted, "some text"));
  EXPECT_TRUE(stream.OpenWith(kReadOnly, "", kWrappingKey));
  EXPECT_EQ(stream.GetAll(), "some text");
}

TEST(CryptStream, EncryptStaysInForceForAStreamWithoutKeyBlock) {
  OpenCryptStream reader(Written(kPlain, "some text"));
  EXPECT_TRUE(reader.OpenWith(kReadOnly | crypt_mode::Encrypt, kWrappingKey, ""));
  EXPECT_EQ(reader.GetError(), 525u) << "there is no session key to decrypt with";
  OpenCryptStream writer(Written(kPlain, "some text"));
  EXPECT_TRUE(writer.OpenWith(kReadWrite | crypt_mode::Encrypt, kSessionKey, kWrappingKey));
  EXPECT_EQ(writer.GetError(), 3861u) << "what is decrypted does not end in padding";
}

TEST(CryptStream, SigningWithoutAKeyIs525AtTheFlush) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenWith(kReadWrite | crypt_mode::Sign, kSessionKey, ""));
  EXPECT_EQ(stream.Put("some text"), 9u);
  EXPECT_EQ(stream.GetError(), 0u);
  stream.Flush();
  EXPECT_EQ(stream.GetError(), 525u);
}

TEST(CryptStream, CheckSignatureNeedsSign) {
  OpenCryptStream stream(Written(kEncrypted, "some text"));
  ASSERT_TRUE(stream.OpenAs(kEncrypted, kReadOnly));
  EXPECT_FALSE(stream.CheckSignature());
  EXPECT_EQ(stream.GetError(), 525u);
}

TEST(CryptStream, AValidStreamIsNotCheckedAgain) {
  OpenCryptStream stream(Written(kAll, "some text"));
  ASSERT_TRUE(stream.OpenAs(kAll, kReadOnly));
  stream.inner.Seek(50);
  stream.inner.Write("#", 1);
  EXPECT_TRUE(stream.CheckSignature());
}

TEST(CryptStream, FlushSignatureDoesNothing) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kSigned, kReadWrite));
  stream.Put("some text");
  EXPECT_FALSE(stream.FlushSignature());
  EXPECT_EQ(stream.GetError(), 0u);
  EXPECT_EQ(stream.Stored().substr(0, 24), std::string(24, 'S'));
}

TEST(CryptStream, KeysThatCannotBeUsedAre525) {
  std::string pem = "-----BEGIN nothing";
  auto* const key = reinterpret_cast<unsigned char*>(pem.data());
  for (const long length : {-1L, 1L, static_cast<long>(pem.size())}) {
    OpenCryptStream stream;
    EXPECT_FALSE(stream.Init(key, length, nullptr, kReadWrite | kTES, &stream.inner, nullptr));
    EXPECT_EQ(stream.GetError(), 525u);
    EXPECT_FALSE(stream.Open());
    EXPECT_EQ(stream.Stored(), "");
  }
  OpenCryptStream stream;
  EXPECT_TRUE(stream.Init(key, 0, nullptr, kReadWrite, &stream.inner, nullptr))
      << "no length, no key";
}

// Whoever resets the error and opens all the same has no key for anything.
TEST(CryptStream, AnInitThatFailedLeavesNoKeys) {
  for (const unsigned short options : {kTES, crypt_mode::Sign}) {
    OpenCryptStream stream;
    EXPECT_FALSE(stream.Init(nullptr, 0, KeyBytes(kSessionKey),
                             static_cast<unsigned short>(kReadWrite | options), nullptr,
                             KeyBytes(kWrappingKey)));
    stream.ResetError();
    EXPECT_TRUE(stream.Open(&stream.inner));
    EXPECT_EQ(stream.Put("some text"), 9u);
    EXPECT_EQ(stream.GetError(), 0u);
    stream.Flush();
    EXPECT_EQ(stream.GetError(), 525u);
    EXPECT_EQ(stream.Stored().find("text"), options == kTES ? std::string::npos : 7u);
  }
}

// Headers.

TEST(CryptStream, ATaggedStreamWithoutSignCanBeMadeAndNotOpenedAgain) {
  const unsigned short mode = kReadWrite | crypt_mode::Tagged | crypt_mode::Encrypt;
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenWith(mode, kSessionKey, kWrappingKey));
  stream.Put("some text");
  stream.Flush();
  EXPECT_EQ(stream.GetError(), 0u);
  OpenCryptStream again(stream.Stored());
  EXPECT_FALSE(again.OpenWith(mode, kSessionKey, kWrappingKey));
  EXPECT_EQ(again.GetError(), 0u);
  EXPECT_EQ(again.Get(1), "");
  EXPECT_EQ(again.GetError(), 2831u);
}

TEST(CryptStream, ATaggedStreamWithoutAKnownMagicIs3861) {
  for (const char* bytes : {"QK27CRST", "QK26CRS", "x"}) {
    for (const unsigned short access : {kReadOnly, kReadWrite}) {
      OpenCryptStream stream(bytes);
      EXPECT_FALSE(stream.OpenAs(kAll, access));
      EXPECT_EQ(stream.GetError(), 3861u) << bytes;
      EXPECT_EQ(stream.Stored(), bytes);
    }
  }
  OpenCryptStream empty;
  EXPECT_FALSE(empty.OpenAs(kAll, kReadOnly));
  EXPECT_EQ(empty.GetError(), 3861u);
}

TEST(CryptStream, AKeyBlockFlagOtherThan0Or1Is3861) {
  for (int flag = 2; flag < 256; ++flag) {
    std::string bytes = Written(kEncrypted, "some text");
    bytes[0] = static_cast<char>(flag);
    OpenCryptStream stream(bytes);
    EXPECT_FALSE(stream.OpenAs(kEncrypted, kReadOnly));
    EXPECT_EQ(stream.GetError(), 3861u) << flag;
  }
}

TEST(CryptStream, AHeaderCutShortIsRefused) {
  for (const stored::Form& form : AllForms()) {
    SCOPED_TRACE(NameOf(form));
    const std::string bytes = Written(form, "some text");
    for (std::size_t length = 1; length < stored::LayoutOf(form).data; ++length) {
      for (const unsigned short access : {kReadOnly, kReadWrite}) {
        OpenCryptStream stream(bytes.substr(0, length));
        EXPECT_FALSE(stream.OpenAs(form, access)) << length;
        EXPECT_EQ(stream.Get(1), "");
        EXPECT_TRUE(stream.HasError());
        stream.ResetError();
        stream.Close();
        EXPECT_EQ(stream.Stored(), bytes.substr(0, length));
      }
    }
  }
}

TEST(CryptStream, AnEmptyStreamBecomesAFreshOneOnlyForWriters) {
  OpenCryptStream reader;
  EXPECT_FALSE(reader.OpenAs(kSigned, kReadOnly));
  EXPECT_EQ(reader.Stored(), "");
  OpenCryptStream writer;
  EXPECT_TRUE(writer.OpenAs(kSigned, kReadWrite));
  EXPECT_EQ(writer.Stored(), std::string(24, 'S') + std::string(2, '\0'));
}

TEST(CryptStream, AnInnerStreamThatIsNotAtItsStartIsNotTakenForEmpty) {
  OpenCryptStream stream;
  stream.inner.Seek(5);
  EXPECT_FALSE(stream.OpenAs(kAll, kReadWrite));
  EXPECT_EQ(stream.GetError(), 3861u);
  OpenCryptStream filled(Written(kAll, "some text"));
  filled.inner.Seek(5);
  EXPECT_TRUE(filled.OpenAs(kAll, kReadOnly));
}

TEST(CryptStream, PaddingThatDoesNotMatchTheHeaderIs3861) {
  for (int pad_count = 0; pad_count < 256; ++pad_count) {
    std::string bytes = Written(kPlain, "some text");  // seven bytes of padding
    bytes[1] = static_cast<char>(pad_count);
    OpenCryptStream stream(bytes);
    EXPECT_TRUE(stream.OpenAs(kPlain, kReadOnly));
    EXPECT_EQ(stream.GetError(), pad_count == 7 ? 0u : 3861u) << pad_count;
    stream.ResetError();
    bytes[1] = '\7';
    bytes.back() = static_cast<char>(pad_count);
    OpenCryptStream other(bytes);
    EXPECT_TRUE(other.OpenAs(kPlain, kReadOnly));
    EXPECT_EQ(other.GetError(), pad_count == 7 ? 0u : 3861u) << pad_count;
  }
}

TEST(CryptStream, PaddingAbove8Is3861EvenWhereTheHeaderAgrees) {
  for (const int pad_count : {9, 24, 255}) {
    for (const std::size_t length : {3u, 8u, 24u, 30u, 100u}) {
      std::string bytes = std::string("\0", 1) + static_cast<char>(pad_count) +
                          std::string(length, static_cast<char>(pad_count));
      OpenCryptStream stream(bytes);
      stream.OpenAs(kPlain, kReadWrite);
      stream.Get(1000);
      EXPECT_EQ(stream.GetError(), 3861u);
    }
  }
}

TEST(CryptStream, APlainLengthThatIsNoMultipleOf8Is3861) {
  for (const std::size_t length : {1u, 2u, 7u, 9u, 23u, 25u, 100u}) {
    OpenCryptStream stream(std::string("\0\1", 2) + std::string(length, '\1'));
    stream.OpenAs(kPlain, kReadOnly);
    stream.Get(length);
    EXPECT_EQ(stream.GetError(), 3861u) << length;
  }
}

TEST(CryptStream, AnEncryptedLengthThatIsNoMultipleOf8Is525) {
  const std::string bytes = Written(kEncrypted, TextOf(20));
  OpenCryptStream stream(bytes.substr(0, bytes.size() - 3));
  stream.OpenAs(kEncrypted, kReadOnly);
  EXPECT_EQ(stream.GetError(), 525u);
}

// A process that ended before its first flush leaves whole blocks and a pad byte of 0.
TEST(CryptStream, AnUnflushedStreamThatEndsInAZeroByteCanBeReadAndContinued) {
  const std::string text = TextOf(23) + '\0';
  const std::string bytes = std::string("\0\0", 2) + text;
  OpenCryptStream reader(bytes);
  ASSERT_TRUE(reader.OpenAs(kPlain, kReadOnly));
  EXPECT_EQ(reader.Get(100), text);
  reader.Seek(0);
  EXPECT_EQ(reader.Get(100), text);
  EXPECT_EQ(reader.GetError(), 0u);
  OpenCryptStream writer(bytes);
  ASSERT_TRUE(writer.OpenAs(kPlain, kReadWrite));
  EXPECT_EQ(writer.Seek(SvStream::SeekToEnd), 24u);
  EXPECT_EQ(writer.Put("more"), 4u);
  writer.Flush();
  EXPECT_EQ(stored::Parse(kPlain, writer.Stored()), text + "more");
}

TEST(CryptStream, ASignedStreamIsNotOpenedWithoutAKey) {
  OpenCryptStream stream(Written(kPlain, "some text"));
  EXPECT_FALSE(stream.OpenWith(kReadWrite | crypt_mode::Sign, kSessionKey, ""));
  EXPECT_EQ(stream.GetError(), 525u);
}

TEST(CryptStream, AWriteAfterAReadThatEndsWithABlockGoesIntoTheNextOne) {
  OpenCryptStream stream(Written(kAll, TextOf(100)));
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  EXPECT_EQ(stream.Get(24), TextOf(24));
  EXPECT_EQ(stream.Put("##"), 2u);
  stream.Flush();
  EXPECT_EQ(stored::Parse(kAll, stream.Stored()), TextOf(100).replace(24, 2, "##"));
}

TEST(CryptStream, ALastBlockThatCouldNotBeReadIsReadAgain) {
  std::string bytes = Written(kPlain, "some text");
  OpenCryptStream stream(bytes);
  ASSERT_TRUE(stream.OpenAs(kPlain, kReadWrite));
  stream.inner.Seek(bytes.size() - 1);
  stream.inner.Write("\x05", 1);
  OpenCryptStream damaged(stream.Stored());
  EXPECT_TRUE(damaged.OpenAs(kPlain, kReadWrite));
  EXPECT_EQ(damaged.GetError(), 3861u);
  damaged.ResetError();
  EXPECT_EQ(damaged.Get(1), "");
  EXPECT_EQ(damaged.GetError(), 3861u);
  damaged.inner.Seek(bytes.size() - 1);
  damaged.inner.Write("\x07", 1);
  damaged.ResetError();
  EXPECT_EQ(damaged.Get(100), "some text");
}

TEST(CryptStream, AfterALastBlockThatCouldNotBeReadSeeksStillFindTheEnd) {
  const std::string text = TextOf(100);
  for (const bool to_end : {true, false}) {
    const std::string bytes = Written(kPlain, text);
    OpenCryptStream stream(bytes);
    ASSERT_TRUE(stream.OpenAs(kPlain, kReadWrite));
    stream.inner.SetStreamSize(bytes.size() - 1);
    stream.Seek(98);
    EXPECT_EQ(stream.GetError(), 2831u);
    stream.inner.Seek(bytes.size() - 1);
    stream.inner.Write(&bytes.back(), 1);
    stream.ResetError();
    EXPECT_EQ(stream.Size(), 100u);
    EXPECT_EQ(stream.Seek(to_end ? SvStream::SeekToEnd : 100), 100u);
    EXPECT_EQ(stream.Put("!"), 1u);
    stream.Flush();
    EXPECT_EQ(stream.GetError(), 0u);
    EXPECT_EQ(stored::Parse(kPlain, stream.Stored()), text + "!");
  }
}

// Errors.

TEST(CryptStream, TheFirstErrorWinsAndBlocksUntilItIsReset) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put("some text");
  stream.SetError(0xE14);
  EXPECT_EQ(stream.Put("x"), 0u);
  EXPECT_EQ(stream.Get(1), "");
  EXPECT_FALSE(stream.CheckSignature());
  stream.Flush();
  stream.SetError(530);
  EXPECT_EQ(stream.GetError(), 0xE14u);
  stream.ResetError();
  stream.Seek(0);
  EXPECT_EQ(stream.GetAll(), "some text");
}

TEST(CryptStream, AWarningBlocksNothing) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.SetError(0x80000000u | 530);
  EXPECT_EQ(stream.Put("some text"), 9u);
  stream.inner.SetError(0x80000000u | 530);
  stream.Flush();
  EXPECT_EQ(stream.GetError(), 0x80000000u | 530) << "a warning of the inner stream is nothing";
  EXPECT_EQ(stored::Parse(kAll, stream.Stored()), "some text");
}

TEST(CryptStream, ErrorsOfTheInnerStreamAreHandedOnWithTheirLow30Bits) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put("some text");
  stream.inner.SetError(0x40000909);
  stream.Flush();
  EXPECT_EQ(stream.GetError(), 0x909u);
  stream.ResetError();
  EXPECT_EQ(stream.inner.GetError(), 0u) << "the inner stream's error is reset too";
  stream.Flush();
  EXPECT_EQ(stored::Parse(kAll, stream.Stored()), "some text");
}

TEST(CryptStream, StoredBytesThatVanishWhileAStreamIsOpenAre2831) {
  OpenCryptStream stream(Written(kAll, TextOf(1000)));
  ASSERT_TRUE(stream.OpenAs(kAll, kReadOnly));
  stream.inner.SetStreamSize(500);
  EXPECT_EQ(stream.Get(1000).size(), 0u);
  EXPECT_EQ(stream.GetError(), 2831u);
}

// A stream that stops to take bytes and does not say so.
class FullStream : public SvMemoryStream {
 public:
  unsigned long room = 60;

 protected:
  unsigned long PutData(const char* data, unsigned long count) override {
    const unsigned long taken = std::min(count, room);
    room -= taken;
    return SvMemoryStream::PutData(data, taken);
  }
};

TEST(CryptStream, AnInnerStreamThatTakesLessIs3088) {
  FullStream inner;
  OpenCryptStream stream;
  ASSERT_TRUE(stream.Init(nullptr, 0, nullptr, kReadWrite, &inner, nullptr) && stream.Open());
  EXPECT_EQ(stream.Put(TextOf(100)), 0u);
  EXPECT_EQ(stream.GetError(), 3088u);
  stream.Close();
}

TEST(CryptStream, SyncFlushes) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put("some text");
  stream.Sync();
  EXPECT_EQ(stored::Parse(kAll, stream.Stored()), "some text");
}

TEST(CryptStream, LinesCanBeReadAndWritten) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  const String lines[] = {"one", "", "a line that is longer than a block of twenty-four bytes"};
  for (const String& line : lines) EXPECT_TRUE(stream.WriteLine(line));
  stream.Seek(0);
  String line;
  for (const String& expected : lines) {
    EXPECT_TRUE(stream.ReadLine(line));
    EXPECT_EQ(line, expected);
  }
  EXPECT_FALSE(stream.ReadLine(line));
  EXPECT_EQ(stream.GetError(), 0u);
}

TEST(CryptStream, AStreamCanBeOpenedAgainAfterItWasClosed) {
  OpenCryptStream stream;
  ASSERT_TRUE(stream.OpenAs(kAll, kReadWrite));
  stream.Put("some text");
  stream.Close();
  EXPECT_EQ(stream.Get(1), "");
  EXPECT_EQ(stream.GetError(), 2831u);
  stream.ResetError();
  ASSERT_TRUE(stream.Open(&stream.inner));
  EXPECT_EQ(stream.GetAll(), "some text");
}

}  // namespace
}  // namespace tmx
