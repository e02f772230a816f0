#include "tmxtools/streams/cbc_crypter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cctype>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tmxtools/platform/memory_stream.h"

namespace {

using testing::ElementsAre;

constexpr unsigned char kKey[17] = "0123456789abcdef";
constexpr unsigned char kVector[9] = "vectorIV";

HbtdCbcCrypter MakeCrypter() {
  HbtdCbcCrypter crypter;
  crypter.SetKey(kKey);
  crypter.SetIV(kVector);
  return crypter;
}

// The same cipher by OpenSSL alone, over whole blocks.
std::string PeerCbc(const std::string& text, bool encrypt) {
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  EVP_CipherInit_ex2(context, EVP_des_ede_cbc(), kKey, kVector, encrypt ? 1 : 0, nullptr);
  EVP_CIPHER_CTX_set_padding(context, 0);
  std::string result(text.size() + 8, '\0');
  int length = 0;
  EVP_CipherUpdate(context, reinterpret_cast<unsigned char*>(result.data()), &length,
                   reinterpret_cast<const unsigned char*>(text.data()),
                   static_cast<int>(text.size()));
  EVP_CIPHER_CTX_free(context);
  result.resize(static_cast<std::size_t>(length));
  return result;
}

std::string Padded(const std::string& text) {
  const std::size_t count = 8 - text.size() % 8;
  return text + std::string(count - 1, '\0') + static_cast<char>(count);
}

std::string Sample(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text += static_cast<char>(i * 31 + i / 251);
  return text;
}

struct Outcome {
  bool ok = false;
  std::vector<unsigned> codes;  // newest first
  std::string param;
  std::string output;
  unsigned long in_position = 1;
  unsigned long out_position = 1;
};

std::vector<unsigned> CodesOf(const HbError& error) {
  std::vector<unsigned> codes;
  for (const HbError* link = &error; link != nullptr && link->IsSet(); link = link->GetPrev())
    codes.push_back(link->GetCode());
  return codes;
}

// A stream whose reads or writes end with an error after so many bytes.
class Limited : public SvMemoryStream {
 public:
  std::optional<unsigned long> readable, writable;
  bool fails_to_seek = false;

 protected:
  unsigned long GetData(char* data, unsigned long count) override {
    return Within(readable, count, tmx::stream_error::ReadError,
                  [&](unsigned long part) { return SvMemoryStream::GetData(data, part); });
  }
  unsigned long PutData(const char* data, unsigned long count) override {
    return Within(writable, count, tmx::stream_error::WriteError,
                  [&](unsigned long part) { return SvMemoryStream::PutData(data, part); });
  }
  unsigned long SeekPos(unsigned long position) override {
    if (fails_to_seek) SetError(tmx::stream_error::CannotSeek);
    return SvMemoryStream::SeekPos(position);
  }

 private:
  template <class Move>
  unsigned long Within(std::optional<unsigned long>& limit, unsigned long count,
                       std::uint32_t error, Move move) {
    if (!limit) return move(count);
    const unsigned long part = std::min(*limit, count);
    *limit -= part;
    if (part != count) SetError(error);
    return part == 0 ? 0 : move(part);
  }
};

enum class Way { kEncrypt, kDecrypt };

struct Faults {
  std::optional<unsigned long> readable, writable;
  bool input_cannot_seek = false;
  bool output_cannot_seek = false;
};

Outcome Process(HbtdCbcCrypter crypter, Way way, const std::string& text, bool pad,
                const Faults& faults = {}) {
  Limited in, out;
  in.Write(text.data(), static_cast<unsigned long>(text.size()));
  in.readable = faults.readable;
  in.fails_to_seek = faults.input_cannot_seek;
  out.writable = faults.writable;
  out.fails_to_seek = faults.output_cannot_seek;
  Outcome outcome;
  HbError error;
  outcome.ok = way == Way::kEncrypt ? crypter.Encrypt(error, in, out, pad)
                                    : crypter.Decrypt(error, in, out, pad);
  outcome.codes = CodesOf(error);
  if (error.IsSet()) outcome.param = std::string(error.GetParamText()->View());
  outcome.output = std::string(out.View());
  outcome.in_position = in.Tell();
  outcome.out_position = out.Tell();
  return outcome;
}

Outcome Encrypt(const std::string& text, bool pad) {
  return Process(MakeCrypter(), Way::kEncrypt, text, pad);
}
Outcome Decrypt(const std::string& text, bool pad) {
  return Process(MakeCrypter(), Way::kDecrypt, text, pad);
}

TEST(CbcCrypter, EmptyInputWithPaddingIsOneBlockOfSevenZerosAndEight) {
  const Outcome outcome = Encrypt("", true);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.output, PeerCbc(std::string(7, '\0') + '\x08', true));
}

TEST(CbcCrypter, EmptyInputWithoutPaddingWritesNothing) {
  const Outcome outcome = Encrypt("", false);
  EXPECT_TRUE(outcome.ok);
  EXPECT_EQ(outcome.output, "");
}

TEST(CbcCrypter, SevenBytesWithoutPaddingAreRefusedWith17756BecauseOf17758) {
  const Outcome outcome = Encrypt("1234567", false);
  EXPECT_FALSE(outcome.ok);
  EXPECT_THAT(outcome.codes, ElementsAre(17756u, 17758u));
  EXPECT_EQ(outcome.output, "");
}

TEST(CbcCrypter, BlocksBeforeAnOddEndAreWrittenAllTheSame) {
  const Outcome outcome = Encrypt("12345678abc", false);
  EXPECT_FALSE(outcome.ok);
  EXPECT_EQ(outcome.output, PeerCbc("12345678", true));
}

TEST(CbcCrypter, DecryptingTwelveBytesIsRefusedWith17758) {
  const Outcome outcome = Decrypt("123456789012", true);
  EXPECT_FALSE(outcome.ok);
  EXPECT_THAT(outcome.codes, ElementsAre(17758u));
}

TEST(CbcCrypter, EveryLengthEqualsOpenSslAndComesBack) {
  for (const std::size_t length :
       {1u, 7u, 8u, 9u, 16u, 24u, 8184u, 8191u, 8192u, 8193u, 16384u, 20001u}) {
    const std::string text = Sample(length);
    const Outcome encrypted = Encrypt(text, true);
    EXPECT_TRUE(encrypted.ok);
    EXPECT_EQ(encrypted.output, PeerCbc(Padded(text), true)) << length;
    EXPECT_EQ(encrypted.in_position, 0u);
    EXPECT_EQ(encrypted.out_position, 0u);
    const Outcome decrypted = Decrypt(encrypted.output, true);
    EXPECT_TRUE(decrypted.ok);
    EXPECT_EQ(decrypted.output, text) << length;
    EXPECT_EQ(decrypted.in_position, 0u);
    EXPECT_EQ(decrypted.out_position, 0u);
  }
}

TEST(CbcCrypter, WithoutPaddingWholeBlocksComeBackAsTheyAre) {
  const std::string text = Sample(16400);
  const Outcome encrypted = Encrypt(text, false);
  EXPECT_EQ(encrypted.output, PeerCbc(text, true));
  EXPECT_EQ(Decrypt(encrypted.output, false).output, text);
}

TEST(CbcCrypter, PadCountZeroRemovesNothingOneToEightThatManyMoreIsRefusedWith17759) {
  for (unsigned count = 0; count < 256; ++count) {
    const std::string text = Sample(15) + static_cast<char>(count);
    const Outcome outcome = Decrypt(PeerCbc(text, true), true);
    EXPECT_EQ(outcome.ok, count <= 8) << count;
    if (count <= 8) {
      EXPECT_EQ(outcome.output, text.substr(0, 16 - count));
    } else {
      EXPECT_THAT(outcome.codes, ElementsAre(17759u));
      EXPECT_EQ(outcome.output, text.substr(0, 8));
    }
  }
}

TEST(CbcCrypter, EmptyCiphertextDecryptsToNothing) {
  EXPECT_TRUE(Decrypt("", true).ok);
  EXPECT_EQ(Decrypt("", true).output, "");
}

TEST(CbcCrypter, ReadsFromTheBeginningWhereverTheStreamsStand) {
  HbtdCbcCrypter crypter = MakeCrypter();
  SvMemoryStream in, out;
  in.Write("12345678", 8);
  out.Write("abc", 3);
  HbError error;
  EXPECT_TRUE(crypter.Encrypt(error, in, out, false));
  EXPECT_EQ(out.View(), PeerCbc("12345678", true));
}

constexpr unsigned kSeekCode = 0x4552;
constexpr unsigned kReadCode = 0x4550;
constexpr unsigned kWriteCode = 0x4551;

unsigned CodeOf(Way way) { return way == Way::kEncrypt ? 17756u : 17757u; }

TEST(CbcCrypter, AStreamThatCannotBeRewoundIsNamedWithItsStateAsTheCause) {
  for (const Way way : {Way::kEncrypt, Way::kDecrypt}) {
    Faults faults;
    faults.input_cannot_seek = true;
    Outcome outcome = Process(MakeCrypter(), way, "12345678", true, faults);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.param, "Input");
    EXPECT_THAT(outcome.codes, ElementsAre(CodeOf(way), kSeekCode));
    faults = {};
    faults.output_cannot_seek = true;
    outcome = Process(MakeCrypter(), way, "12345678", true, faults);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.param, "Output");
    EXPECT_THAT(outcome.codes, ElementsAre(CodeOf(way), kSeekCode));
  }
}

TEST(CbcCrypter, AFailingOutputIsNamedWhereverItFails) {
  const std::string text = Sample(20000);
  for (const Way way : {Way::kEncrypt, Way::kDecrypt}) {
    for (const unsigned long writable : {0ul, 7ul, 8ul, 8192ul, 19992ul}) {
      Faults faults;
      faults.writable = writable;
      const Outcome outcome = Process(MakeCrypter(), way, text, false, faults);
      EXPECT_FALSE(outcome.ok);
      EXPECT_EQ(outcome.param, "Output");
      EXPECT_THAT(outcome.codes, ElementsAre(CodeOf(way), kWriteCode));
      EXPECT_EQ(outcome.output.size(), writable);
    }
  }
}

TEST(CbcCrypter, AFailingInputOfTheFirstBlockIsNamedInput) {
  for (const Way way : {Way::kEncrypt, Way::kDecrypt}) {
    Faults faults;
    faults.readable = 5;
    const Outcome outcome = Process(MakeCrypter(), way, Sample(64), true, faults);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.param, "Input");
    EXPECT_THAT(outcome.codes, ElementsAre(CodeOf(way), kReadCode));
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(CbcCrypter, AShortReadOfALaterBlockIsNamedOutputWhenEncrypting) {
  const std::string text = Sample(20000);
  for (const unsigned long readable : {8ul, 15ul, 8192ul, 8200ul, 19999ul}) {
    Faults faults;
    faults.readable = readable;
    Outcome outcome = Process(MakeCrypter(), Way::kEncrypt, text, true, faults);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.param, "Output");
    EXPECT_THAT(outcome.codes, ElementsAre(17756u, kReadCode));
    EXPECT_EQ(outcome.output, PeerCbc(text.substr(0, readable - readable % 8), true));
    outcome = Process(MakeCrypter(), Way::kDecrypt, text, true, faults);
    EXPECT_EQ(outcome.param, "Input");
    EXPECT_THAT(outcome.codes, ElementsAre(17757u, kReadCode));
    EXPECT_EQ(outcome.output, PeerCbc(text.substr(0, readable - readable % 8), false));
  }
}

TEST(CbcCrypter, WithoutAKeyNothingIsDone) {
  for (const Way way : {Way::kEncrypt, Way::kDecrypt}) {
    const Outcome outcome = Process(HbtdCbcCrypter(), way, "12345678", true);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.param, "Key");
    EXPECT_THAT(outcome.codes, ElementsAre(CodeOf(way)));
    EXPECT_EQ(outcome.output, "");
  }
  String text("abc");
  EXPECT_FALSE(HbtdCbcCrypter().HexdumpEncrypt(text));
  EXPECT_FALSE(HbtdCbcCrypter().HexdumpDecrypt(text));
  EXPECT_EQ(text.View(), "abc");
}

TEST(CbcCrypter, TheStartingVectorIsZeroUntilItIsSet) {
  HbtdCbcCrypter without, with;
  without.SetKey(kKey);
  with.SetKey(kKey);
  with.SetIV(reinterpret_cast<const unsigned char*>("\0\0\0\0\0\0\0\0"));
  EXPECT_EQ(Process(without, Way::kEncrypt, "12345678", false).output,
            Process(with, Way::kEncrypt, "12345678", false).output);
}

TEST(CbcCrypter, CopiesShareTheirSchedulesOnPurposeButNotTheirVectors) {
  HbtdCbcCrypter first;
  first.SetIV(kVector);
  HbtdCbcCrypter second;
  second = first;
  second.SetKey(kKey);
  second.SetIV(reinterpret_cast<const unsigned char*>("another!"));
  EXPECT_EQ(Process(first, Way::kEncrypt, "12345678", false).output, PeerCbc("12345678", true));
  EXPECT_NE(Process(second, Way::kEncrypt, "12345678", false).output, PeerCbc("12345678", true));
}

TEST(CbcCrypter, SchedulesOutliveTheirMakerAndAreFreedOnce) {
  HbtdCbcCrypter kept;
  {
    HbtdCbcCrypter maker = MakeCrypter();
    kept = maker;
    kept = static_cast<const HbtdCbcCrypter&>(kept);
  }
  EXPECT_EQ(Process(kept, Way::kEncrypt, "12345678", false).output, PeerCbc("12345678", true));
}

std::string HexOf(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    digits += pair;
  }
  return digits;
}

TEST(CbcCrypter, HexdumpsArePaddedAndLowercase) {
  for (const std::size_t length : {0u, 1u, 7u, 8u, 100u}) {
    const std::string sample = Sample(length);
    String text{std::string_view(sample)};
    ASSERT_TRUE(MakeCrypter().HexdumpEncrypt(text));
    EXPECT_EQ(text.View(), HexOf(PeerCbc(Padded(sample), true)));
    ASSERT_TRUE(MakeCrypter().HexdumpDecrypt(text));
    EXPECT_EQ(text.View(), sample);
  }
}

TEST(CbcCrypter, HexdumpsAreReadInEitherCase) {
  String text("Purpose");
  ASSERT_TRUE(MakeCrypter().HexdumpEncrypt(text));
  std::string upper(text.View());
  for (char& digit : upper) digit = static_cast<char>(std::toupper(digit));
  text = String(std::string_view(upper));
  ASSERT_TRUE(MakeCrypter().HexdumpDecrypt(text));
  EXPECT_EQ(text.View(), "Purpose");
}

TEST(CbcCrypter, WhatIsNoHexdumpStaysAsItIs) {
  const std::string bad_padding = HexOf(PeerCbc(Sample(7) + '\x09', true));
  for (const std::string& bad : {std::string("0"), std::string("0g"), std::string("001122"),
                                 std::string("00112233445566 7"), bad_padding}) {
    String text{std::string_view(bad)};
    EXPECT_FALSE(MakeCrypter().HexdumpDecrypt(text)) << bad;
    EXPECT_EQ(text.View(), bad);
  }
}

TEST(CbcCrypter, ATextWhoseHexdumpIsLongerThanATextStaysAsItIs) {
  const std::string longest = Sample(32759);  // 32760 bytes with padding
  String text{std::string_view(longest)};
  EXPECT_TRUE(MakeCrypter().HexdumpEncrypt(text));
  EXPECT_EQ(text.Len(), 65520);
  const std::string too_long = Sample(32760);
  text = String(std::string_view(too_long));
  EXPECT_FALSE(MakeCrypter().HexdumpEncrypt(text));
  EXPECT_EQ(text.View(), too_long);
}

}  // namespace
