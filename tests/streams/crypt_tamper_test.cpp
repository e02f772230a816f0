// What a signature refuses, bit by bit, and what it does not cover.
#include <gtest/gtest.h>

#include "tests/streams/crypt_fixture.h"

namespace tmx {
namespace {

// Whether a stream that was opened for reading gives nothing but an error.
bool IsRefused(OpenCryptStream& stream, bool valid) {
  if (valid) {
    stream.GetAll();
    return stream.HasError();
  }
  EXPECT_EQ(stream.Get(1), "");
  EXPECT_TRUE(stream.HasError());
  return true;
}

// Whether a reader refuses stored bytes.
bool IsRefused(const stored::Form& form, const std::string& bytes) {
  OpenCryptStream stream(bytes);
  return IsRefused(stream, stream.OpenAs(form, kReadOnly));
}

// The same for many bytes under one key, which is taken apart once.
class Reader {
 public:
  explicit Reader(const stored::Form& form) { stream_.OpenAs(form, kReadOnly); }

  bool Refuses(const std::string& bytes) {
    stream_.Close();
    stream_.inner.SetStreamSize(0);
    stream_.inner.Seek(0);
    stream_.inner.Write(bytes.data(), bytes.size());
    stream_.inner.Seek(0);
    stream_.ResetError();
    return IsRefused(stream_, stream_.Open(&stream_.inner));
  }

 private:
  OpenCryptStream stream_;
};

std::string Flipped(std::string bytes, std::size_t at, unsigned bit) {
  bytes[at] = static_cast<char>(bytes[at] ^ (1 << bit));
  return bytes;
}

std::vector<stored::Form> SignedForms() {
  std::vector<stored::Form> forms = AllForms();
  std::erase_if(forms, [](const stored::Form& form) { return !form.is_signed; });
  stored::Form older{true, true, true, true, kSessionKey, kWrappingKey, ""};
  forms.push_back(older);
  return forms;
}

// The key block lies outside of what is signed. A change there gives another session key, which
// only the padding of the last block can tell; without the bits that are parity it gives the same.
bool LiesInKeyBlock(const stored::Layout& layout, std::size_t at) {
  return at >= layout.key_block && at < layout.data;
}

TEST(CryptTamper, EveryBitOfASmallSignedStreamIsCoveredButTheKeyBlock) {
  for (const stored::Form& form : SignedForms()) {
    for (const std::size_t length : {0u, 5u, 24u, 60u}) {
      SCOPED_TRACE(NameOf(form) + ", " + std::to_string(length) + " bytes");
      const std::string bytes = stored::Build(form, TextOf(length));
      const stored::Layout layout = stored::LayoutOf(form);
      Reader reader(form);
      ASSERT_FALSE(reader.Refuses(bytes));
      for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (LiesInKeyBlock(layout, at)) continue;
        for (unsigned bit = 0; bit < 8; ++bit) {
          const std::string changed = Flipped(bytes, at, bit);
          // A reader that has met a key block expects encryption from then on.
          const bool refused =
              at == layout.key_block_flag ? IsRefused(form, changed) : reader.Refuses(changed);
          ASSERT_TRUE(refused) << at << ", bit " << bit;
        }
      }
      ASSERT_FALSE(reader.Refuses(bytes));
    }
  }
}

TEST(CryptTamper, EveryTruncationOfASmallSignedStreamIsRefused) {
  for (const stored::Form& form : SignedForms()) {
    for (const std::size_t length : {0u, 5u, 24u, 60u}) {
      SCOPED_TRACE(NameOf(form) + ", " + std::to_string(length) + " bytes");
      const std::string bytes = stored::Build(form, TextOf(length));
      Reader reader(form);
      for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
        ASSERT_TRUE(reader.Refuses(bytes.substr(0, kept))) << kept;
      }
      ASSERT_FALSE(reader.Refuses(bytes));
    }
  }
}

TEST(CryptTamper, AChangedKeyBlockIsNoticedByThePaddingAlone) {
  const stored::Form form{true, true, true, false, kSessionKey, kWrappingKey, ""};
  const stored::Layout layout = stored::LayoutOf(form);
  int refused = 0;
  int other_text = 0;
  for (int i = 0; i < 8; ++i) {
    const std::string bytes = stored::Build(form, TextOf(60 + static_cast<std::size_t>(i)));
    for (std::size_t at = layout.key_block; at < layout.data; ++at) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        OpenCryptStream stream(Flipped(bytes, at, bit));
        // The signature matches.
        ASSERT_TRUE(stream.OpenAs(form, kReadOnly));
        const std::string text = stream.GetAll();
        refused += stream.HasError() ? 1 : 0;
        other_text += !stream.HasError() && text != TextOf(60 + static_cast<std::size_t>(i));
      }
    }
  }
  EXPECT_GE(refused, 980) << "of 1024";
  EXPECT_GT(other_text, 0);
}

TEST(CryptTamper, AStreamCutToNothingBecomesAFreshOneForAWriter) {
  for (const stored::Form& form : SignedForms()) {
    OpenCryptStream stream("");
    EXPECT_TRUE(stream.OpenAs(form, kReadWrite));
    EXPECT_EQ(stream.Size(), 0u);
  }
}

// Regions of 9, 25 or 41 chunks, modulo 50: the hashes of the last two chunks are not signed.
bool EndsUnsigned(std::size_t chunks) {
  const std::size_t rest = chunks % 50;
  return chunks > 1 && (rest == 9 || rest == 25 || rest == 41);
}

TEST(CryptTamper, ChangesInTheLastTwoOf9_25Or41ChunksAreNotNoticed) {
  for (const bool encrypted : {false, true}) {
    const stored::Form form{true, encrypted, true, false, kSessionKey, kWrappingKey, ""};
    for (const std::size_t chunks :
         {2u, 8u, 9u, 10u, 24u, 25u, 26u, 40u, 41u, 42u, 50u, 59u, 60u, 75u, 91u}) {
      // The last chunk ends with the region, and the last block begins in it.
      const std::size_t length = chunks * 1000 - 101;
      const std::string bytes = stored::Build(form, TextOf(length));
      const std::size_t data = stored::LayoutOf(form).data;
      for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
        const bool is_signed = !EndsUnsigned(chunks) || chunk + 2 < chunks;
        const std::string changed = Flipped(bytes, data + 1000 * chunk + 333, chunk % 8);
        EXPECT_EQ(IsRefused(form, changed), is_signed) << chunk << " of " << chunks;
      }
    }
  }
}

// One level up the same holds for groups of 50 chunks: here 9 of them.
TEST(CryptTamper, ChangesInTheLastTwoOf9GroupsOfChunksAreNotNoticed) {
  const stored::Form form{true, false, true, false, kSessionKey, kWrappingKey, ""};
  const std::string bytes = stored::Build(form, TextOf(429899));
  const std::size_t data = stored::LayoutOf(form).data;
  Reader reader(form);
  for (std::size_t chunk = 0; chunk < 430; ++chunk) {
    const std::string changed = Flipped(bytes, data + 1000 * chunk + 333, chunk % 8);
    ASSERT_EQ(reader.Refuses(changed), chunk / 50 < 7) << chunk;
  }
}

TEST(CryptTamper, EveryByteOfAStreamOf9ChunksIsCoveredButThoseListed) {
  for (const bool encrypted : {false, true}) {
    const stored::Form form{true, encrypted, true, false, kSessionKey, kWrappingKey, ""};
    const std::string bytes = stored::Build(form, TextOf(8500));
    const stored::Layout layout = stored::LayoutOf(form);
    const std::size_t data = layout.data;
    // Of the hashes of chunks 0 to 8 only the first 128 bytes are signed: all of the first six, 8
    // bytes of the seventh. The last block is noticed by its padding if the change gets that far.
    const std::size_t last_block = data + 8496;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      const bool unsigned_chunk = at >= data + 7000;
      const bool may_pass = LiesInKeyBlock(layout, at) || at >= last_block;
      const bool refused = IsRefused(form, Flipped(bytes, at, at % 8));
      if (!may_pass) ASSERT_EQ(refused, !unsigned_chunk) << at;
    }
    ASSERT_TRUE(IsRefused(form, Flipped(bytes, bytes.size() - 1, 0)));
  }
}

TEST(CryptTamper, TruncationsOfAStreamOf9ChunksAreRefusedUnlessTheyEndInTheLastChunk) {
  const stored::Form form{true, true, true, false, kSessionKey, kWrappingKey, ""};
  const std::string bytes = stored::Build(form, TextOf(8500));
  const std::size_t data = stored::LayoutOf(form).data;
  for (std::size_t kept = 0; kept < bytes.size(); kept += kept < data ? 1 : 4) {
    // There the number of chunks is the same, and the padding alone can tell.
    const bool may_pass = kept > data + 8000;
    if (!may_pass) ASSERT_TRUE(IsRefused(form, bytes.substr(0, kept))) << kept;
  }
}

}  // namespace
}  // namespace tmx
